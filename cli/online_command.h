// velomark-cli host and join: an online race run headless, each program driving its own car from
// a script, so that whole online races run over loopback.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "core/random.h"

namespace vm {

// Exit status when the network failed: no port to listen on, no host, the host gone mid-race.
inline constexpr int kExitNetwork = 5;

extern const char* const kOnlineUsage;

// Runs `host` with the arguments after the command name.
int HostCommand(const std::vector<std::string>& args, const std::string& dataFolder, Random& rng, std::ostream& out,
                std::ostream& err);

// Runs `join` with the arguments after the command name.
int JoinCommand(const std::vector<std::string>& args, const std::string& dataFolder, Random& rng, std::ostream& out,
                std::ostream& err);

}  // namespace vm
