// The headless program's commands, kept apart from main() so tests can run them.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace vm {

// Exit statuses of velomark-cli.
inline constexpr int kExitOk = 0;
inline constexpr int kExitUsage = 1;
inline constexpr int kExitFileError = 2;

// Runs one command line (without the program name); writes results to out, problems to err.
int RunCli(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

}  // namespace vm
