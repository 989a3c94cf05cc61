#include "cli/game_commands.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <memory>
#include <ostream>

#include "cars/car_file.h"
#include "cars/team_file.h"
#include "cli/commands.h"
#include "core/paths.h"
#include "core/track_check.h"
#include "core/track_file.h"
#include "game/race_config.h"
#include "game/settings_file.h"
#include "game/startup.h"
#include "rules/result_table_file.h"
#include "ui/scripted_console.h"

namespace vm {

namespace {

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
  return text;
}

std::string Extension(const std::string& path) {
  const std::string base = BaseName(path);
  const size_t dot = base.rfind('.');
  return dot == std::string::npos ? "" : Lower(base.substr(dot));
}

}  // namespace

int CheckCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  if (args.size() != 1) {
    err << "usage: velomark-cli check FILE\n";
    return kExitUsage;
  }
  const std::string& file = args[0];
  const std::string ext = Extension(file);
  auto rs = std::make_unique<RaceState>();
  const std::string folder = DirName(NativePath(file));
  std::optional<FileError> e;
  if (ext == ".trk") {
    e = LoadTrack(rs->track, file);
    if (!e) {
      // A track beside the data folder's Cars is checked against the car pictures too.
      TrackCheckOptions options;
      const std::string cars = folder + "../Cars";
      if (std::filesystem::is_directory(cars)) options.CarsFolder = cars;
      const std::vector<TrackFinding> findings = CheckTrack(rs->track, options);
      for (const TrackFinding& f : findings) out << file << ": " << Describe(f) << "\n";
      if (!findings.empty()) return kExitFileError;
    }
  } else if (ext == ".crs") {
    e = LoadCarFile(*rs, file, folder, SetupPointsRule::RaiseOnly);
  } else if (ext == ".rst") {
    e = LoadResultTables(rs->Tables, file);
  } else if (ext == ".rac" || ext == ".slq") {
    // The track a configuration names is looked for beside it as well.
    e = ReadRaceConfig(*rs, file, folder, TrackLoaderFromFolder(folder));
  } else if (ext == ".tms") {
    std::vector<std::string> names;
    e = LoadTeamFile(names, file);
  } else if (ext == ".ini") {
    e = ReadSettings(*rs, file);
  } else {
    err << "check: \"" << file << "\" is none of .trk, .crs, .rst, .rac, .slq, .tms or VMR.ini\n";
    return kExitUsage;
  }
  if (e) {
    out << e->Describe() << "\n";
    return kExitFileError;
  }
  out << "ok\n";
  return kExitOk;
}

int StartCommand(const std::vector<std::string>& args, const std::string& dataFolder, std::ostream& out,
                 std::ostream& err) {
  std::vector<std::string> answers;
  for (const std::string& a : args) {
    if (a == "--accept") {
      answers = {"1"};
    } else if (a == "--decline") {
      answers = {"2"};
    } else {
      err << "usage: velomark-cli [--data DIR] start [--accept | --decline]\n";
      return kExitUsage;
    }
  }
  ScriptedConsole console(answers, /*strict=*/false);
  auto rs = std::make_unique<RaceState>();
  GameSession g;
  Random rng;
  const bool started = StartUp(g, *rs, rng, console, dataFolder);
  for (const std::string& message : console.Messages()) err << message << "\n";
  if (g.AgreementDeclined) {
    const bool answered = !answers.empty();
    err << (answered ? "The agreement was declined: nothing was changed.\n"
                     : "The agreement has not been accepted yet: start again with --accept or --decline.\n");
    return kExitUsage;
  }
  if (!started) return kExitFileError;
  out << "data folder: " << g.AppPath << "\n";
  out << "status: " << g.StatusText << "\n";
  out << "car file: " << rs->CurrentCarFile << " (" << rs->CarsInFile << " cars, " << rs->CarSetupPoints
      << " design points)\n";
  out << "result tables: " << g.WorkFileName << "\n";
  out << "enabled:";
  for (int i = 0; i < kCommandCount; ++i)
    if (g.Commands[static_cast<size_t>(i)].Enabled) out << " " << CommandName(static_cast<Cmd>(i));
  out << "\n";
  return kExitOk;
}

}  // namespace vm
