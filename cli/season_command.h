// velomark-cli season: makes a season, runs its races with computer drivers, and prints its
// standings, all headless.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace vm {

inline constexpr const char* kSeasonUsage =
    "  season new FILE.sea --cars FILE.crs --race TRACK.trk:LAPS [--race ...] [--name NAME]\n"
    "         [--drivers N] [--points P1,P2,...] [--bonus POLE,LEADLAP,FASTLAP,LEADMOST] [--pits STOPS]\n"
    "         [--qualifying METHOD] [--weather] [--tables FILE.rst]\n"
    "      write a new season file: its schedule, its field and its point scale\n"
    "  season show FILE.sea [--type driver|team|ratings|profiles|schedule] [--json]\n"
    "      print the standings rebuilt from the season file\n"
    "  season race FILE.sea [--seed N] [--json]\n"
    "      run the season's next race (or its paused race) with every car driven by the computer,\n"
    "      write its .res file and the season's update, and print the finish and the standings\n";

int SeasonCommand(const std::vector<std::string>& args, const std::string& dataFolder, std::ostream& out,
                  std::ostream& err);

}  // namespace vm
