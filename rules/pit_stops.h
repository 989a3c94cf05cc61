// Pit stops: a car leaves the track at the pit entrance, waits in the pit lane, a queue with no
// place on the track, for a number of race turns, and comes back with wears, repairs and tires.
//
// The settings go by their race setup names; the pit rules' own names for them are
// PitMinTurns (MinPitDuration), RequiredStops (MinPitStops), StartAllotLaps (StartWearAllotment),
// PitReplenishLaps (PitReplenishment) and WearMultiple (RaceWearsMultiplier). The required stops
// are shown, never enforced at the flag: the wear budget is what makes a car stop.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "rules/rule_context.h"

namespace vm {

// What a stop is for: the five decisions, taken on the pit entry panel or by the AI.
struct PitDecisions {
  bool Full = false;    // PitFull: wears only
  bool Repair = false;  // PitRepair: repairs only
  bool Both = false;    // PitBoth
  bool Splash = false;  // PitSplash: half the wears, a shorter stop
  bool DryTires = true;
  bool operator==(const PitDecisions&) const = default;
};

// TaskCode: dry tires 0..4, rain tires 5..9.
inline constexpr int kPitTaskCodes = 10;
inline constexpr int kTaskTiresDry = 0;
inline constexpr int kTaskTiresRain = 9;

// At the race reset: every car's stint, the laps its first allotment of wears lasts. A car on
// the "More Stops" strategy plans one stop more than the minimum.
void PlanStints(RaceState& rs);

// A lap off the stint of `car`, which has crossed the line after its first crossing.
void CountStintLap(RaceState& rs, int car);

// The AI's decisions for the current car's stop: repairs when damaged, wears otherwise (a splash
// when half a replenishment sees the race out), and tires for the track.
PitDecisions AIPitDecisions(const RaceState& rs);
// The decisions the pit entry panel's boxes stand for.
PitDecisions PanelDecisions(const PitStopChoice& choice);
// The task code of a stop: the later of full, repair, both, splash wins.
int TaskCodeFor(const PitDecisions& d);

// The current car, standing on the pit entrance, takes the pit lane: its cell is emptied, the
// excess over the pit speed limit is settled (on frmPitEntry for a human, who also decides the
// stop there), and unless the car spun or crashed it joins the back of the queue. The move ends.
// Nothing happens during the AI's trial moves.
void EnterPit(RuleContext& ctx);

// One race turn of the pit lane, at the end of the steering pass: each stop counts down, and a
// stop that is over gives its wears, repairs and tires and returns the car to the track at the
// pit exit. Returns the cars released, in the order they came out.
std::vector<int> ProcessPitLane(RuleContext& ctx);

// The text of a stop, as the log and the pit display's third column show it. `panel` gives the
// display's wording of a full stop.
std::string PitStopText(const RaceState& rs, const PitQueueEntry& entry, bool panel = false);

// The pit display: its head line and one row per car in the queue, front first.
struct PitLaneView {
  std::string Head;
  std::array<std::string, 3> Columns{"Driver", "Turns Remaining", "Pit Information"};
  std::vector<std::array<std::string, 3>> Rows;
};
PitLaneView RefreshPitLane(const RaceState& rs);

}  // namespace vm
