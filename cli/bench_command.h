// velomark-cli bench: seeded races of computer drivers on every shipped circuit, timed, with a
// signature of their results that is the same on every machine and in every run.
#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/race_state.h"
#include "core/textfile.h"

namespace vm {

inline constexpr const char* kBenchUsage =
    "  bench [--laps N] [--cars K] [--seed S] [--files-lap L]\n"
    "      race K computer cars (40) of the data folder's Field40.crs over N laps (5) of every circuit\n"
    "      in its Tracks folder with seed S; one line per race, the totals, the time and a signature\n"
    "      of the results, then what writing the undo file each turn and loading a saved race cost\n"
    "      in a race of 40 cars over 100 laps on the first circuit, its leader on lap L (50; 0 for none)\n";

// What one race of computer drivers came to.
struct AIRaceResult {
  std::vector<int> Order;  // finishers by place, then the cars still running, then those out
  int Finished = 0;
  int Out = 0;
  int Turns = 0;
  bool Ended = false;  // false when the turn limit stopped it
};

// Runs the race set up in `rs` (track, tables, cars, laps) with every car driven by the AI and
// seed `seed`, to the flag or to a limit of turns; `afterPass` runs at the end of every pass.
AIRaceResult RunAIRace(RaceState& rs, std::uint64_t seed, const std::function<void()>& afterPass = {});

// Folds a race's results into a signature: the order, and each car's laps, status and race time.
std::uint64_t ResultSignature(const RaceState& rs, const AIRaceResult& result, std::uint64_t signature);

// The bench's field of computer cars (the first `cars` of Field40.crs) set up for `laps` laps of
// the data folder's first circuit, not yet started.
std::optional<FileError> SetUpBenchRace(RaceState& rs, const std::string& dataFolder, int laps, int cars);

// A race well under way, for timing the saved-race files: the bench's field of 40 computer cars over
// kMaxLaps laps of the data folder's first circuit, played with seed `seed` until the leader is on
// lap `lap`.
std::optional<FileError> BenchRaceUnderWay(RaceState& rs, const std::string& dataFolder, std::uint64_t seed, int lap);

// Milliseconds per run, the median of the repeats.
struct SavedRaceTimings {
  double UndoWriteMs = 0;  // WriteUndoFiles: the rotation and the newer file
  double LoadMs = 0;       // ReadSavedRace of the race's .rip, its track included
};

// Times the undo files and a .rip of `rs`, each `repeats` times, with the files in `folder`.
std::optional<FileError> TimeSavedRace(const RaceState& rs, const std::string& folder, std::string_view carsFolder,
                                       const std::string& tracksFolder, int repeats, SavedRaceTimings& timings);

// Runs `bench` with the arguments after the command name, on the data folder.
int BenchCommand(const std::vector<std::string>& args, const std::string& dataFolder, std::ostream& out,
                 std::ostream& err);

}  // namespace vm
