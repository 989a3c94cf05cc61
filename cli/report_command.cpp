#include "cli/report_command.h"

#include <memory>
#include <optional>
#include <ostream>

#include "cli/commands.h"
#include "core/paths.h"
#include "core/stamp.h"
#include "core/textfile.h"
#include "core/units.h"
#include "game/race_config.h"
#include "game/saved_race.h"
#include "reports/box_score.h"
#include "season/season_file.h"
#include "season/season_standings.h"

namespace vm {

namespace {

bool EndsWith(const std::string& text, std::string_view end) {
  if (text.size() < end.size()) return false;
  for (size_t i = 0; i < end.size(); ++i)
    if (std::tolower(static_cast<unsigned char>(text[text.size() - end.size() + i])) != end[i]) return false;
  return true;
}

}  // namespace

int ReportCommand(const std::vector<std::string>& args, const std::string& dataFolder, std::ostream& out,
                  std::ostream& err) {
  std::string input, output;
  std::optional<bool> html;
  for (size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "--html" || args[i] == "--rtf") {
      html = args[i] == "--html";
    } else if (args[i] == "-o" && i + 1 < args.size()) {
      output = args[++i];
    } else if (input.empty() && args[i].rfind("-", 0) != 0) {
      input = args[i];
    } else {
      err << "report: unexpected argument \"" << args[i] << "\"\n" << kReportUsage;
      return kExitUsage;
    }
  }
  if (input.empty() || output.empty()) {
    err << "report: a saved race or a season, and -o FILE, are needed\n" << kReportUsage;
    return kExitUsage;
  }
  // Without --html or --rtf the output file's extension decides.
  const bool asHtml = html.value_or(EndsWith(output, ".html") || EndsWith(output, ".htm"));
  const std::string carsFolder = JoinPath(dataFolder, "Cars");
  BoxScore report;
  if (EndsWith(input, ".sea")) {
    auto season = std::make_unique<SeasonFileData>();
    if (std::optional<FileError> e = ReadSeasonFile(*season, input, carsFolder)) {
      err << "velomark-cli: " << e->Describe() << "\n";
      return kExitFileError;
    }
    report = BuildSeasonReport(
        SeasonReportInputOf(*season, JoinPath(dataFolder, "Tracks"), JoinPath(dataFolder, ""), StampNow()));
  } else {
    auto rs = std::make_unique<RaceState>();
    if (std::optional<FileError> e = ReadSavedRace(*rs, input, carsFolder, SavedRaceKind::Rip,
                                                   TrackLoaderFromFolder(JoinPath(dataFolder, "Tracks")))) {
      err << "velomark-cli: " << e->Describe() << "\n";
      return kExitFileError;
    }
    BoxScoreOptions options;
    options.AppPath = JoinPath(dataFolder, "");
    options.Stamp = StampNow();
    report = rs->GameMode == kModePractice ? BuildPracticeResults(*rs, options) : BuildBoxScore(*rs, options);
  }
  if (std::optional<FileError> e = WriteFileAtomic(output, asHtml ? report.Html : report.Rtf)) {
    err << "velomark-cli: " << e->Describe() << "\n";
    return kExitFileError;
  }
  out << "report written: " << output << (asHtml ? " (HTML)" : " (RTF)") << "\n";
  return kExitOk;
}

}  // namespace vm
