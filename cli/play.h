// velomark-cli play: a race driven by a script of the human drivers' choices, so that anyone can
// run the same race again and get the same result.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "core/race_state.h"
#include "core/random.h"
#include "core/units.h"

namespace vm {

// Exit status when the script ends while the race still waits for something.
inline constexpr int kExitScriptEnded = 3;

// Runs `play` with the arguments after the command name; `rng` already holds any global --rnd values.
int Play(const std::vector<std::string>& args, Random& rng, std::ostream& out, std::ostream& err);

// The usage lines of the command.
extern const char* const kPlayUsage;

// The arguments of play: the race to set up and how to run it.
struct PlayArgs {
  std::string track, tables, script, dumpJson, cars, config, resume, saveFile;
  int saveAt = 0;  // the race turn after which saveFile is written; 0 for none
  std::vector<std::string> designs;
  std::optional<int> laps, carsRacing, pits;
  bool weather = false;
  std::optional<std::string> qualifying;
  std::string mode{kModeSingle};
  std::optional<std::uint64_t> seed;
  std::vector<double> rnd;
  bool log = false;
  bool leaderboard = false;  // the running order each time the leader starts a lap
};

// Reads play's arguments; says what is wrong and returns nullopt on a fault.
std::optional<PlayArgs> ParsePlay(const std::vector<std::string>& args, std::ostream& err);

// Sets up the race from the command line: a configuration, a track, tables, cars and settings.
// Returns kExitOk, or the status of a failure it has told.
int SetUpRace(RaceState& rs, const PlayArgs& a, std::ostream& err);

}  // namespace vm
