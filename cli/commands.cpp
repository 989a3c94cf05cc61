#include "cli/commands.h"

#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <random>
#include <system_error>

#include "cli/bench_command.h"
#include "cli/cars_command.h"
#include "cli/game_commands.h"
#include "cli/online_command.h"
#include "cli/play.h"
#include "cli/report_command.h"
#include "cli/season_command.h"
#include "core/curve_scan.h"
#include "core/numbers.h"
#include "core/random.h"
#include "core/track_file.h"
#include "game/startup.h"
#include "rules/result_table_file.h"

namespace vm {

namespace {

const std::string kUsage =
    std::string(
        "usage: velomark-cli [--rnd V1,V2,...] [--data DIR] COMMAND ...\n"
        "commands:\n"
        "  track-info FILE.trk [--json] [--scan SPACE LANE]\n"
        "      load a track as the game does and print its caption, chooser lines and tables\n"
        "  tables FILE.rst [--json]\n"
        "      load result tables as the game does and print each row: name, dice, low, high\n") +
    "  cars FILE.crs [--json]\n"
    "      load a car file as the game does and print each car with its design cost\n" +
    kGameCommandsUsage + kPlayUsage + kOnlineUsage + kSeasonUsage + kReportUsage + kBenchUsage;

struct TrackInfoArgs {
  std::string file;
  bool json = false;
  std::optional<std::pair<int, int>> scan;  // space, lane
};

std::optional<TrackInfoArgs> ParseTrackInfo(const std::vector<std::string>& args, size_t i, std::ostream& err) {
  TrackInfoArgs a;
  for (; i < args.size(); ++i) {
    if (args[i] == "--json") {
      a.json = true;
    } else if (args[i] == "--scan") {
      std::optional<int> space = i + 1 < args.size() ? ParseWholeNumber(args[i + 1]) : std::nullopt;
      std::optional<int> lane = i + 2 < args.size() ? ParseWholeNumber(args[i + 2]) : std::nullopt;
      if (!space || !lane) {
        err << "track-info: --scan takes a space and a lane, both whole numbers\n";
        return std::nullopt;
      }
      a.scan = std::make_pair(*space, *lane);
      i += 2;
    } else if (a.file.empty() && args[i].rfind("--", 0) != 0) {
      a.file = args[i];
    } else {
      err << "track-info: unexpected argument \"" << args[i] << "\"\n" << kUsage;
      return std::nullopt;
    }
  }
  if (a.file.empty()) {
    err << "track-info: which track file?\n" << kUsage;
    return std::nullopt;
  }
  return a;
}

int TrackInfo(const TrackInfoArgs& a, std::ostream& out, std::ostream& err) {
  Track track;
  if (std::optional<FileError> e = LoadTrack(track, a.file)) {
    err << "velomark-cli: " << e->Describe() << "\n";
    return kExitFileError;
  }
  std::optional<std::string> spcSpd;
  if (a.scan) {
    const auto [space, lane] = *a.scan;
    if (space < 1 || space > track.TrackLength || lane < 1 || lane > track.TrackLanes) {
      err << "track-info: --scan needs a space in 1.." << track.TrackLength << " and a lane in 1.." << track.TrackLanes
          << "\n";
      return kExitUsage;
    }
    spcSpd = SpcSpdText(ScanNextCurve(track, space, lane));
  }

  nlohmann::ordered_json j;
  j["Caption"] = TrackCaption(track);
  j["ChooserLines"] = TrackChooserLines(track);
  j["TrackLength"] = track.TrackLength;
  j["TrackLanes"] = track.TrackLanes;
  j["RacingLineSpaces"] = track.RacingLineSpaces;
  j["TrackWearFactor"] = track.TrackWearFactor;
  j["CurveCount"] = CurveCount(track);
  j["ApexCount"] = track.ApexCount;
  j["PitEntrySpace"] = track.PitEntrySpace;
  j["PitExitSpace"] = track.PitExitSpace;
  j["PitEntryLane"] = track.PitEntryLane;
  j["PitExitLane"] = track.PitExitLane;
  j["PitExitLaneAlt"] = track.PitExitLaneAlt;
  j["TrackDefaultCarFile"] = TrackDefaultCarPath(track);
  if (spcSpd) j["SpcSpd"] = *spcSpd;

  if (a.json) {
    out << j.dump(2) << "\n";
    return kExitOk;
  }
  for (const auto& [key, value] : j.items()) {
    if (value.is_array()) {
      out << key << ":\n";
      for (const auto& line : value) out << "  " << line.get<std::string>() << "\n";
    } else if (value.is_string()) {
      out << key << ": " << value.get<std::string>() << "\n";
    } else {
      out << key << ": " << value.dump() << "\n";
    }
  }
  return kExitOk;
}

struct TablesArgs {
  std::string file;
  bool json = false;
};

// Reads the arguments of `tables`; nullopt once it has said what is wrong.
std::optional<TablesArgs> ParseTables(const std::vector<std::string>& args, size_t i, std::ostream& err) {
  TablesArgs a;
  for (; i < args.size(); ++i) {
    if (args[i] == "--json") {
      a.json = true;
    } else if (a.file.empty() && args[i].rfind("--", 0) != 0) {
      a.file = args[i];
    } else {
      err << "tables: unexpected argument \"" << args[i] << "\"\n" << kUsage;
      return std::nullopt;
    }
  }
  if (a.file.empty()) {
    err << "tables: which result table file?\n" << kUsage;
    return std::nullopt;
  }
  return a;
}

// Prints the 19 rows in file order, as lines or as a JSON array.
int Tables(const TablesArgs& a, std::ostream& out, std::ostream& err) {
  ResultTables tables;
  if (std::optional<FileError> e = LoadResultTables(tables, a.file)) {
    err << "velomark-cli: " << e->Describe() << "\n";
    return kExitFileError;
  }
  nlohmann::ordered_json rows = nlohmann::ordered_json::array();
  for (const TableInfo& info : AllTables()) {
    for (int i = 0; i < info.RowCount; ++i) {
      const TableRow& row = RowOf(tables, info.Id, i);
      const std::string name(info.RowNames[static_cast<size_t>(i)]);
      if (a.json) {
        rows.push_back({{"name", name}, {"dice", row.DiceCount}, {"low", row.RangeLow}, {"high", row.RangeHigh}});
      } else {
        out << name << " " << row.DiceCount << " " << row.RangeLow << " " << row.RangeHigh << "\n";
      }
    }
  }
  if (a.json) out << rows.dump(2) << "\n";
  return kExitOk;
}

}  // namespace

ScratchFolder::ScratchFolder(bool wanted, std::string_view prefix) {
  if (!wanted) return;
  std::random_device entropy;
  std::error_code ec;
  const std::filesystem::path base = std::filesystem::temp_directory_path(ec);
  for (int attempt = 0; attempt < 100 && path_.empty() && !ec; ++attempt) {
    const std::filesystem::path candidate = base / (std::string(prefix) + std::to_string(entropy()));
    if (std::filesystem::create_directory(candidate, ec)) path_ = candidate;
  }
}

ScratchFolder::~ScratchFolder() {
  std::error_code ec;
  if (!path_.empty()) std::filesystem::remove_all(path_, ec);
}

int RunCli(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  Random rng;
  rng.SeedFromClock();
  std::string dataFolder = DefaultDataFolder();
  size_t i = 0;
  while (i < args.size() && args[i].rfind("--", 0) == 0) {
    if (args[i] == "--rnd" && i + 1 < args.size()) {
      std::string why;
      std::optional<std::vector<double>> values = ParseRndScript(args[i + 1], &why);
      if (!values) {
        err << "velomark-cli: --rnd: " << why << "\n";
        return kExitUsage;
      }
      rng.Script(*values);
      i += 2;
    } else if (args[i] == "--data" && i + 1 < args.size()) {
      dataFolder = args[i + 1];
      i += 2;
    } else if (args[i] == "--help") {
      out << kUsage;
      return kExitOk;
    } else {
      err << "velomark-cli: unknown option \"" << args[i] << "\"\n" << kUsage;
      return kExitUsage;
    }
  }
  if (i >= args.size()) {
    err << kUsage;
    return kExitUsage;
  }
  const std::string& command = args[i];
  if (command == "track-info") {
    std::optional<TrackInfoArgs> a = ParseTrackInfo(args, i + 1, err);
    return a ? TrackInfo(*a, out, err) : kExitUsage;
  }
  if (command == "play")
    return Play(std::vector<std::string>(args.begin() + static_cast<long>(i) + 1, args.end()), rng, out, err);
  if (command == "cars") return CarsCommand({args.begin() + static_cast<long>(i) + 1, args.end()}, out, err);
  if (command == "check") return CheckCommand({args.begin() + static_cast<long>(i) + 1, args.end()}, out, err);
  if (command == "start")
    return StartCommand({args.begin() + static_cast<long>(i) + 1, args.end()}, dataFolder, out, err);
  if (command == "host")
    return HostCommand({args.begin() + static_cast<long>(i) + 1, args.end()}, dataFolder, rng, out, err);
  if (command == "join")
    return JoinCommand({args.begin() + static_cast<long>(i) + 1, args.end()}, dataFolder, rng, out, err);
  if (command == "season")
    return SeasonCommand({args.begin() + static_cast<long>(i) + 1, args.end()}, dataFolder, out, err);
  if (command == "report")
    return ReportCommand({args.begin() + static_cast<long>(i) + 1, args.end()}, dataFolder, out, err);
  if (command == "bench")
    return BenchCommand({args.begin() + static_cast<long>(i) + 1, args.end()}, dataFolder, out, err);
  if (command == "tables") {
    std::optional<TablesArgs> a = ParseTables(args, i + 1, err);
    return a ? Tables(*a, out, err) : kExitUsage;
  }
  err << "velomark-cli: unknown command \"" << command << "\"\n" << kUsage;
  return kExitUsage;
}

}  // namespace vm
