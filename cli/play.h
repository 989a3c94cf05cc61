// velomark-cli play: a race driven by a script of the human drivers' choices, so that anyone can
// run the same race again and get the same result.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "core/random.h"

namespace vm {

// Exit status when the script ends while the race still waits for something.
inline constexpr int kExitScriptEnded = 3;

// Runs `play` with the arguments after the command name; `rng` already holds any global --rnd values.
int Play(const std::vector<std::string>& args, Random& rng, std::ostream& out, std::ostream& err);

// The usage lines of the command.
extern const char* const kPlayUsage;

}  // namespace vm
