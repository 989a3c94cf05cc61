// velomark-cli bench: seeded races of computer drivers on every shipped circuit, timed, with a
// signature of their results that is the same on every machine and in every run.
#pragma once

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

#include "core/race_state.h"

namespace vm {

inline constexpr const char* kBenchUsage =
    "  bench [--laps N] [--cars K] [--seed S]\n"
    "      race K computer cars (40) of the data folder's Field40.crs over N laps (5) of every circuit\n"
    "      in its Tracks folder with seed S; one line per race, the totals, the time and a signature\n"
    "      of the results\n";

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

// Runs `bench` with the arguments after the command name, on the data folder.
int BenchCommand(const std::vector<std::string>& args, const std::string& dataFolder, std::ostream& out,
                 std::ostream& err);

}  // namespace vm
