// velomark-cli check and start: any game file loaded as the game loads it, and the program's
// start-up on a data folder.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace vm {

inline constexpr const char* kGameCommandsUsage =
    "  check FILE\n"
    "      load a .trk, .crs, .rst, .rac, .slq, .tms or VMR.ini file as the game does: \"ok\", or the\n"
    "      first problem with its line and field (status 2)\n"
    "  start [--accept | --decline]\n"
    "      start the game on the data folder (--data DIR, else the one beside the program): read the\n"
    "      settings, answer the agreement if it is still pending, load the default files, and print the\n"
    "      mode screen's commands\n";

// Runs `check FILE` (args without the command name).
int CheckCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

// Runs `start` on a data folder (args without the command name).
int StartCommand(const std::vector<std::string>& args, const std::string& dataFolder, std::ostream& out,
                 std::ostream& err);

}  // namespace vm
