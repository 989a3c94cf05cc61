// Qualifying: the grid of a race, ranked by start speed with a random part, timed one car at a
// time on a flying lap, or set by hand. It runs inside the race reset and, for the timed laps,
// at the end of each lap's one-car race.
#pragma once

#include <string>

#include "engine/turn_engine.h"
#include "game/race_config.h"
#include "ui/console.h"

namespace vm {

// The scratch copy of the race that the timed laps are run from and the real race comes back from.
struct QualifyingFiles {
  std::string ConfigPath;  // RaceConfig.slq
  std::string CarsFolder;  // taken off car pictures on writing, put back on reading
  RaceConfigTrackLoader LoadTrack;
};

class Qualifying {
 public:
  // Fills the engine's Qualify and EndRace seams. An EndRace handler already there still ends
  // every race that is not a qualifying lap.
  Qualifying(RaceEngine& engine, QualifyingFiles files);
  ~Qualifying();
  Qualifying(const Qualifying&) = delete;
  Qualifying& operator=(const Qualifying&) = delete;

  // Step 5 of the race reset: forms the grid order. False holds the start: the single-lap list
  // is pending, or the scratch file could not be written.
  bool Qualify();
  // While the single-lap list is pending and no race runs: shows it and does what it is told.
  // The main window calls this whenever it becomes active again.
  void ShowPendingList();

  // frmQualifyingStartSpeed: ranks the field and shows the result until closed.
  void StartSpeedQualifying();
  // frmQualifyingManual: the player orders the grid.
  void ManualGrid();
  // Writes RaceConfig.slq and readies the timing tables; false (and the start refused) when the
  // file cannot be written.
  bool BeginSingleLapQualifying();
  // The single-lap list as it would show now.
  ListPanel SingleLapPanel() const;

 private:
  RaceState& Rs() const { return engine_.Context().rs; }
  Console& Ui() const { return engine_.Context().console; }
  // The random ranking behind Start Speed qualifying: RunningOrder and LapOrder[0].
  void RankByStartSpeed();
  bool CanRequalify() const;
  void BeginLap();
  void StartQualifiedRace();
  void CancelRace();
  void LapEnded(RuleContext& ctx);
  // Reads RaceConfig.slq back into the race; on failure reports it and calls the start off.
  bool RestoreRace();
  // Stops qualifying with the whole field back and no race started.
  void CallOff();

  RaceEngine& engine_;
  QualifyingFiles files_;
  std::function<void(RuleContext&)> nextEndRace_;
  PerCar<double> adjust_{};  // the "Adjust" column of the last start-speed ranking
  bool lapOfOurs_ = false;   // a qualifying lap this object began is on the track
};

// A lap time to the thousandth, the hours shown only when there are some: "1:17.143", "1:02:03.500".
std::string QualifyTimeText(double seconds);

}  // namespace vm
