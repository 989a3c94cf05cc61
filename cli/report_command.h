// velomark-cli report: the box score of a saved race, or the standings report of a season, as
// rich text or as an HTML page.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace vm {

inline constexpr const char* kReportUsage =
    "  report RACE.rip|SEASON.sea [--html|--rtf] -o FILE\n"
    "      write the box score of a saved race as it stands, or a season's standings report\n";

int ReportCommand(const std::vector<std::string>& args, const std::string& dataFolder, std::ostream& out,
                  std::ostream& err);

}  // namespace vm
