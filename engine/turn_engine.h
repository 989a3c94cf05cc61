// The turn engine: whose turn it is, in which order cars choose and move, what ends a race turn
// and what happens between two turns. It is re-entrant: RaceSequence returns whenever it waits
// for a human (a speed, a steering button, the pit lane's continue) or for the race controls,
// and each command re-enters it.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "core/race_state.h"
#include "engine/speed.h"
#include "engine/steering.h"
#include "rules/rule_context.h"

namespace vm {

// What RaceSequence stopped for.
enum class Waiting {
  Nothing,      // not started
  Speed,        // a human's speed panel (NewSpeed)
  PitContinue,  // a human car in the pit lane (cmdPitContinue)
  Steering,     // a human's steering panel
  RaceControl,  // no human on the track: cmdNextTurn, cmdFinishLap or cmdFinishRace
  Paused,       // paused at the end of a turn: cmdNextTurn restarts
  RaceOver,
  Elsewhere,  // online: the turn is on another player's machine
};

// The work of subsystems that plug into the turn: each is called where the turn needs it and
// does nothing until its subsystem fills it in.
// Said when a season race is to be paused in the middle of a race turn.
inline constexpr std::string_view kPauseBetweenTurnsText =
    "A season race can be paused only between race turns: finish this turn first.";

struct EngineSeams {
  // Step 5 of the race reset: forms the grid order by the race's qualifying method. Returns false
  // when the start must wait (single-lap qualifying has its list to show, or the start was refused).
  std::function<bool(RuleContext&)> Qualify;
  std::function<void(RuleContext&)> ChooseAISpeeds;  // every AI car's CarNewSpeed
  std::function<void(RuleContext&)> PlanMove;        // the whole move of the current AI car
  std::function<void(RuleContext&)> SaveUndoFile;    // at the end of every race turn
  std::function<void(RuleContext&)> EndRace;         // the end of a race, with its results
  std::function<void()> Yield;                       // let the window's events run
  // Online racing. A speed pass is about to be served: at the top of a race turn, and after the
  // steering pass when the turns run on.
  std::function<void(RuleContext&)> TurnBegins;
  // A human's speed (or auto-pilot) is settled, and a human's move has ended. Returning true holds
  // the engine there: the turn goes on on another machine.
  std::function<bool(RuleContext&)> SpeedChosen;
  std::function<bool(RuleContext&)> MoveMade;
};

class RaceEngine {
 public:
  RaceEngine(RaceState& rs, Random& rng, Console& console, RaceLog& log);

  RuleContext& Context() { return ctx_; }
  EngineSeams Seams;

  // Clears the race part of the state, plans the stints, qualifies (Seams.Qualify) and places the
  // cars: a grid in RunningOrder, in Practice at random places around the track, or the one car
  // of a single qualifying lap on its flying start. Returns false when qualifying holds the start.
  bool RaceReset();
  // mnuRaceStartRace: the reset (unless a saved race was loaded), the start weather and tires,
  // the design copies and the wear allotment, then the first race turn. Returns without a race
  // when the reset held the start (RaceStartRefused, or a single-lap list pending).
  void StartRace(bool loaded = false);

  // Begins a race turn from the top.
  void RaceControl();
  // Runs until the engine must wait for a human or the race controls, or the race ends.
  void RaceSequence();

  // Commands of the track window.
  void NewSpeed(int i, bool draft = false);
  void PitContinue();
  // optTires on the speed panel of a car that has not yet run: rain (wet) or dry tires. False
  // when the panel offers no tire choice.
  bool ChooseTires(bool wet);
  void Steer(SteeringCommand command);
  void AutoPilot();
  void NextTurn();
  void FinishLap();
  void FinishRace();
  // Asks for a pause, taken when the current race turn has ended: a pause after the speed pass
  // would begin the turn again and repeat every choice and roll.
  void PauseRace();
  // cmdEndRaceRC: asks, then ends the race (outside Season) and returns whether it did. In Season
  // it returns whether the person agreed to pause, and the season then saves and ends the race;
  // only between race turns, since only a turn's start can be saved.
  bool EndRaceRC();
  void EndRace();

  // Online: the speed or the move the engine waits for was made on another machine and is in the
  // state already; the engine goes on as after the panel's own command.
  void TakeSpeedFromElsewhere();
  void TakeMoveFromElsewhere();
  // Online: the engine waits while the turn is on another machine.
  void WaitElsewhere() { waiting_ = Waiting::Elsewhere; }

  // Takes up a race whose state was put back mid-turn (a snapshot, a saved race): the engine
  // waits again for what it waited for then, with the panel recomputed.
  void Resume(Waiting waiting);

  Waiting WaitingFor() const { return waiting_; }
  // Whether the last race turn may be taken back now: from the end of a turn, whose state the
  // undo files hold, until a human chooses a speed in the next one or the race ends.
  bool UndoOffered() const { return undoOffered_; }
  // Whether the race stands between two race turns, nothing of the next one chosen yet: only then
  // does a saved race hold all of it.
  bool AtTurnStart() const { return atTurnStart_; }
  // How many races have been started afresh (not taken up from a file): files kept for one race
  // know by it that another has begun.
  int FreshStarts() const { return freshStarts_; }
  // "car 3: steering, 4 blocks left", for people and scripts.
  std::string WaitDescription() const;
  const SpeedFrame& SpeedPanel() const { return speedFrame_; }
  const SteeringPanel& SteeringPanelShown() const { return steeringPanel_; }
  // The caption of the lap counter: "Race Start", "Lap 3 of 10", "Final Lap", "Final Standings".
  const std::string& LapCaption() const { return lapCaption_; }

  // The order sorts, open for tests.
  void SortForSteering();
  void SortAfterTurn();
  // Moves on to the next car that can act and does all end-of-pass work.
  void NextCar();

 private:
  enum class Stage { Serve, Advance, Return };

  void BeginTurn();
  Stage Serve();
  Stage AdvanceRound();
  Stage SteeringSlot();
  void EndOfPass();
  // Steps 5 and 6 of NextCar for the car at OrderIndex: returns false when it is passed over.
  bool TakeSlot();
  // Notes whether the current car is AI, and puts it on auto-pilot while that is in force.
  void MarkCurrentCarAI();
  void Sort(bool forSteering);
  double RaceDistance(int car) const;
  bool HumanOnTrack() const;
  int FindFirstHumanCar() const;
  void PlaceGrid();
  void PlacePractice();
  void PlaceQualifyingCar();
  // Step 6 of the reset after single-lap qualifying: the fastest lap first.
  void SortByQualifySpeed();
  void Finish(Waiting why);
  // One turn of the pit lane; a car released past the line counts its crossing there.
  void ServePitLane();
  // The move of an AI car, or of a car put on auto-pilot in the middle of its slot, whose speed
  // was settled when its driver chose it.
  void DriveAI(int car, bool speedSettled);
  // Lets an online seam hold the engine; returns whether it did.
  bool HeldBy(const std::function<bool(RuleContext&)>& seam);
  // The end of a race turn: the undo files are written and the turn may be taken back.
  void SaveUndoFile();
  template <class F>
  void Call(const F& seam) {
    if (seam) seam(ctx_);
  }

  RaceState& rs_;
  RuleContext ctx_;
  Waiting waiting_ = Waiting::Nothing;
  SpeedFrame speedFrame_;
  SteeringPanel steeringPanel_;
  std::string lapCaption_ = "Race Start";
  bool undoOffered_ = false;
  bool atTurnStart_ = false;
  int freshStarts_ = 0;
};

}  // namespace vm
