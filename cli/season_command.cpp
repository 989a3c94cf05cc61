#include "cli/season_command.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>

#include "ai/drivers.h"
#include "cars/car_file.h"
#include "cli/commands.h"
#include "core/numbers.h"
#include "core/paths.h"
#include "core/race_log.h"
#include "core/random.h"
#include "core/track_file.h"
#include "core/units.h"
#include "engine/turn_engine.h"
#include "game/modes.h"
#include "game/qualifying.h"
#include "game/race_config.h"
#include "game/race_setup.h"
#include "game/saved_race.h"
#include "rules/result_table_file.h"
#include "season/season_commands.h"
#include "season/season_file.h"
#include "season/season_standings.h"
#include "ui/scripted_console.h"

namespace vm {

namespace {

constexpr int kTurnLimitPerLap = 200;  // far beyond any race: a stuck race ends the command, not the machine

// The season's folders in a data folder, as the game has them.
GameSession SessionFor(const std::string& dataFolder) {
  GameSession g;
  g.AppPath = JoinPath(dataFolder, "");
  g.CarsFolder = JoinPath(dataFolder, "Cars");
  g.TracksFolder = JoinPath(dataFolder, "Tracks");
  return g;
}

std::optional<std::vector<int>> NumberList(const std::string& text) {
  std::vector<int> values;
  size_t from = 0;
  while (from <= text.size()) {
    const size_t comma = std::min(text.find(',', from), text.size());
    const std::optional<int> v = ParseWholeNumber(std::string_view(text).substr(from, comma - from));
    if (!v || *v < 0 || *v > 1000) return std::nullopt;
    values.push_back(*v);
    from = comma + 1;
  }
  return values;
}

// The wear allotments of a race with `stops` pit stops in `laps` laps: what lasts to the first
// stop, and what each stop gives, one more lap when the two fall short of the race.
std::pair<int, int> Allotments(int laps, int stops) {
  if (stops <= 0) return {laps, 0};
  const int start = static_cast<int>(laps / static_cast<double>(stops + 1) + 0.5);
  int each = laps / (stops + 1);
  if (start + stops * each < laps) ++each;
  return {start, each};
}

struct NewArgs {
  std::string file, cars, name, tables, qualifying = "Start Speed";
  std::vector<std::pair<std::string, int>> races;
  int drivers = 0;
  int stops = -1;  // the pit lane closed
  bool weather = false;
  std::vector<int> points, bonus;
};

int NewSeason(const std::vector<std::string>& args, const std::string& dataFolder, std::ostream& out,
              std::ostream& err) {
  NewArgs a;
  for (size_t i = 1; i < args.size(); ++i) {
    const std::string& arg = args[i];
    const bool more = i + 1 < args.size();
    auto value = [&]() -> const std::string& { return args[++i]; };
    if (arg == "--cars" && more) {
      a.cars = value();
    } else if (arg == "--name" && more) {
      a.name = value();
    } else if (arg == "--tables" && more) {
      a.tables = value();
    } else if (arg == "--qualifying" && more) {
      a.qualifying = value();
    } else if (arg == "--weather") {
      a.weather = true;
    } else if (arg == "--race" && more) {
      const std::string& race = value();
      const size_t colon = race.rfind(':');
      const std::optional<int> laps =
          colon == std::string::npos ? std::nullopt : ParseWholeNumber(std::string_view(race).substr(colon + 1));
      if (!laps || *laps < 1 || *laps > kMaxLaps) {
        err << "season new: --race wants TRACK.trk:LAPS with 1 to " << kMaxLaps << " laps, not \"" << race << "\"\n";
        return kExitUsage;
      }
      a.races.emplace_back(race.substr(0, colon), *laps);
    } else if ((arg == "--drivers" || arg == "--pits") && more) {
      const std::optional<int> n = ParseWholeNumber(value());
      if (!n || *n < 0 || *n > kMaxCars) {
        err << "season new: " << arg << " wants a number from 0 to " << kMaxCars << "\n";
        return kExitUsage;
      }
      (arg == "--drivers" ? a.drivers : a.stops) = *n;
    } else if ((arg == "--points" || arg == "--bonus") && more) {
      std::optional<std::vector<int>> list = NumberList(value());
      if (!list || list->size() > (arg == "--bonus" ? 4U : static_cast<size_t>(kMaxCars))) {
        err << "season new: " << arg << " wants numbers separated by commas\n";
        return kExitUsage;
      }
      (arg == "--points" ? a.points : a.bonus) = *list;
    } else if (a.file.empty() && arg.rfind("--", 0) != 0) {
      a.file = arg;
    } else {
      err << "season new: unexpected argument \"" << arg << "\"\n" << kSeasonUsage;
      return kExitUsage;
    }
  }
  if (a.file.empty() || a.cars.empty() || a.races.empty() || a.races.size() > kMaxSeasonRaces) {
    err << "season new: a season file, a car file and 1 to " << kMaxSeasonRaces << " races are needed\n"
        << kSeasonUsage;
    return kExitUsage;
  }
  const std::string carsFolder = JoinPath(dataFolder, "Cars");
  auto rs = std::make_unique<RaceState>();
  if (std::optional<FileError> e = LoadCarFile(*rs, a.cars, carsFolder, SetupPointsRule::Replace)) {
    err << "velomark-cli: " << e->Describe() << "\n";
    return kExitFileError;
  }
  const std::string tables = a.tables.empty() ? JoinPath(dataFolder, "Default.rst") : a.tables;
  if (std::optional<FileError> e = LoadResultTables(rs->Tables, tables)) {
    err << "velomark-cli: " << e->Describe() << "\n";
    return kExitFileError;
  }
  auto season = std::make_unique<SeasonFileData>();
  SeasonFileData& s = *season;
  s.Name = a.name.empty() ? SeasonBaseName(a.file) : a.name;
  s.Races = static_cast<int>(a.races.size());
  s.Drivers = a.drivers > 0 ? std::min(a.drivers, rs->CarsInFile) : rs->CarsInFile;
  s.CarSetupPoints = rs->CarSetupPoints;
  s.WeatherEnabled = a.weather;
  s.QualifyingMethod = a.qualifying;
  const std::vector<int> points =
      a.points.empty() ? std::vector<int>(kPointPresets[0].Places.begin(), kPointPresets[0].Places.end()) : a.points;
  std::copy(points.begin(), points.end(), s.PointStructure.begin() + 1);
  int* bonuses[] = {&s.PointsPole, &s.PointsLeadLap, &s.PointsFastLap, &s.PointsLeadMost};
  for (size_t k = 0; k < a.bonus.size(); ++k) *bonuses[k] = a.bonus[k];
  for (int r = 1; r <= s.Races; ++r) {
    const auto& [track, laps] = a.races[static_cast<size_t>(r - 1)];
    TrackHeader header;
    if (std::optional<FileError> e = TrackPreview(track, header)) {
      err << "velomark-cli: " << e->Describe() << "\n";
      return kExitFileError;
    }
    SeasonRace& race = s.Schedule[static_cast<size_t>(r)];
    race.TrackFile = track;
    race.Laps = std::to_string(laps);
    race.Abbrev = (header.TrackTag + "      ").substr(0, 6);
    race.PitOpen = a.stops >= 0;
    std::tie(race.StartAllotment, race.PitReplenishment) = Allotments(laps, race.PitOpen ? a.stops : 0);
    race.Miles = laps * header.TrackDistanceMiles;
  }
  for (int car = 1; car <= kMaxCars; ++car) {
    SeasonDriver& d = s.Field[static_cast<size_t>(car)];
    if (car <= rs->CarsInFile) d.Car = GetCar(*rs, car);
  }
  s.Tables = rs->Tables;
  if (std::optional<FileError> e = WriteSeasonFile(s, a.file, SeasonWriter::Create, carsFolder)) {
    err << "velomark-cli: " << e->Describe() << "\n";
    return kExitFileError;
  }
  out << "season written: " << a.file << " (" << s.Races << " races, " << s.Drivers << " drivers)\n";
  return kExitOk;
}

// Answers every panel of a race of computer drivers: the qualifying lists drive each car's lap in
// turn and then start the race; anything else takes its default.
class HeadlessConsole : public ScriptedConsole {
 public:
  HeadlessConsole() : ScriptedConsole({}, false) {}
  ListAnswer ShowList(const ListPanel& panel) override {
    auto button = [&panel](std::string_view caption) {
      const auto it = std::find(panel.Buttons.begin(), panel.Buttons.end(), caption);
      return it == panel.Buttons.end() ? -1 : static_cast<int>(it - panel.Buttons.begin());
    };
    const int lap = button("Begin Qualifying Lap");
    if (lap >= 0 && panel.Shaded >= 0) return {lap, panel.Shaded};
    for (std::string_view caption : {"Start Race", "OK"})
      if (button(caption) >= 0) return {button(caption), -1};
    return ScriptedConsole::ShowList(panel);
  }
};

nlohmann::ordered_json GridJson(const SeasonGrid& grid) {
  nlohmann::ordered_json rows = nlohmann::ordered_json::array();
  for (const SeasonGridRow& row : grid.Rows) {
    nlohmann::ordered_json r;
    for (size_t c = 0; c < grid.Columns.size() && c < row.Cells.size(); ++c) r[grid.Columns[c]] = row.Cells[c];
    r["AI"] = row.Grey;
    rows.push_back(std::move(r));
  }
  return rows;
}

void PrintGrid(const SeasonGrid& grid, std::ostream& out) {
  std::vector<size_t> widths(grid.Columns.size(), 0);
  auto measure = [&widths](const std::vector<std::string>& cells) {
    for (size_t c = 0; c < cells.size() && c < widths.size(); ++c) widths[c] = std::max(widths[c], cells[c].size());
  };
  measure(grid.Columns);
  for (const SeasonGridRow& row : grid.Rows) measure(row.Cells);
  auto line = [&](const std::vector<std::string>& cells, bool ai) {
    std::string text;
    for (size_t c = 0; c < widths.size(); ++c) {
      const std::string cell = c < cells.size() ? cells[c] : "";
      text += cell + std::string(widths[c] - cell.size() + 2, ' ');
    }
    while (!text.empty() && text.back() == ' ') text.pop_back();
    out << text << (ai ? "  (AI)" : "") << "\n";
  };
  line(grid.Columns, false);
  for (const SeasonGridRow& row : grid.Rows) line(row.Cells, row.Grey);
}

std::optional<SeasonGridType> GridTypeNamed(const std::string& name) {
  if (name == "driver") return SeasonGridType::Driver;
  if (name == "team") return SeasonGridType::Team;
  if (name == "ratings") return SeasonGridType::Ratings;
  if (name == "profiles") return SeasonGridType::Profiles;
  if (name == "schedule") return SeasonGridType::Schedule;
  return std::nullopt;
}

int ShowSeason(const std::vector<std::string>& args, const std::string& dataFolder, std::ostream& out,
               std::ostream& err) {
  std::string file;
  bool json = false;
  SeasonGridType type = SeasonGridType::Driver;
  for (size_t i = 1; i < args.size(); ++i) {
    if (args[i] == "--json") {
      json = true;
    } else if (args[i] == "--type" && i + 1 < args.size()) {
      const std::optional<SeasonGridType> t = GridTypeNamed(args[++i]);
      if (!t) {
        err << "season show: --type is driver, team, ratings, profiles or schedule\n";
        return kExitUsage;
      }
      type = *t;
    } else if (file.empty() && args[i].rfind("--", 0) != 0) {
      file = args[i];
    } else {
      err << "season show: unexpected argument \"" << args[i] << "\"\n" << kSeasonUsage;
      return kExitUsage;
    }
  }
  if (file.empty()) {
    err << "season show: which season file?\n" << kSeasonUsage;
    return kExitUsage;
  }
  auto season = std::make_unique<SeasonFileData>();
  if (std::optional<FileError> e = ReadSeasonFile(*season, file, JoinPath(dataFolder, "Cars"))) {
    err << "velomark-cli: " << e->Describe() << "\n";
    return kExitFileError;
  }
  const SeasonStandings standings = BuildSeasonStandings(*season, JoinPath(dataFolder, "Tracks"));
  const SeasonGrid& grid = standings.Grid(type);
  if (json) {
    nlohmann::ordered_json j;
    j["Season"] = season->Name;
    j["Caption"] = standings.Caption;
    j["NextRace"] = season->NextRace;
    j["Races"] = season->Races;
    j["RaceStored"] = season->RaceStored;
    j["Drivers"] = GridJson(standings.Grid(SeasonGridType::Driver));
    j["Teams"] = GridJson(standings.Grid(SeasonGridType::Team));
    out << j.dump(2) << "\n";
    return kExitOk;
  }
  out << standings.Caption << "\n";
  PrintGrid(grid, out);
  return kExitOk;
}

int RaceSeason(const std::vector<std::string>& args, const std::string& dataFolder, std::ostream& out,
               std::ostream& err) {
  std::string file;
  bool json = false;
  std::optional<std::uint64_t> seed;
  for (size_t i = 1; i < args.size(); ++i) {
    if (args[i] == "--json") {
      json = true;
    } else if (args[i] == "--seed" && i + 1 < args.size()) {
      const std::optional<int> n = ParseWholeNumber(args[++i]);
      if (!n || *n < 0) {
        err << "season race: --seed wants a whole number\n";
        return kExitUsage;
      }
      seed = static_cast<std::uint64_t>(*n);
    } else if (file.empty() && args[i].rfind("--", 0) != 0) {
      file = args[i];
    } else {
      err << "season race: unexpected argument \"" << args[i] << "\"\n" << kSeasonUsage;
      return kExitUsage;
    }
  }
  if (file.empty()) {
    err << "season race: which season file?\n" << kSeasonUsage;
    return kExitUsage;
  }
  GameSession g = SessionFor(dataFolder);
  g.SeasonFile = file;
  auto rs = std::make_unique<RaceState>();
  rs->GameMode = kModeSeason;
  Random rng;
  if (seed)
    rng.Seed(*seed);
  else
    rng.SeedFromClock();
  HeadlessConsole console;
  HighlightList log(*rs);
  RaceEngine engine(*rs, rng, console, log);
  UseAIDrivers(engine);
  const ScratchFolder scratch(true, "velomark-season-");
  PerCar<bool> drivenBy{};  // who drives each car in the season, put back before the file is written
  SeasonHooks hooks;
  hooks.LoadTrack = [&] {
    if (std::optional<FileError> e = LoadTrack(rs->track, g.PendingTrackFile)) {
      err << "velomark-cli: " << e->Describe() << "\n";
      return false;
    }
    return true;
  };
  SeasonCommands season(g, *rs, console, hooks);
  engine.Seams.EndRace = [&](RuleContext&) {
    rs->CarIsAI = drivenBy;
    season.RaceFinished();
  };
  Qualifying qualifying(engine, {scratch.File("RaceConfig.slq"), g.CarsFolder, TrackLoaderFromFolder(g.TracksFolder)});
  if (!season.LoadSeason()) return kExitFileError;
  if (season.Season().NextRace > season.Season().Races) {
    out << "the season is over: " << season.Season().Races << " races run\n";
    return kExitOk;
  }
  const int race = season.Season().NextRace;
  const bool resumed = g.SeasonRaceStored;
  // The cars of the season keep their drivers in the file; here the computer drives them all.
  auto allAI = [&] {
    drivenBy = rs->CarIsAI;
    for (int car = 1; car <= kMaxCars; ++car) rs->CarIsAI[car] = true;
  };
  // The paused race is taken up from the season's .rip; its cars are driven by the computer
  // from the first move on, so they are handed over before the race starts again.
  bool loaded = false;
  season.SetLoadSavedRace([&] {
    const std::string rip = ReplaceExtension(g.SeasonFile, kSavedRaceExtension);
    if (std::optional<FileError> e =
            ReadSavedRace(*rs, rip, g.CarsFolder, SavedRaceKind::Rip, TrackLoaderFromFolder(g.TracksFolder), &rng)) {
      err << "velomark-cli: " << e->Describe() << "\n";
      g.FatalLoadError = true;
      return false;
    }
    allAI();
    g.RaceLoaded = true;
    CommandsAtRaceStart(g, *rs);
    engine.StartRace(true);
    loaded = true;
    return true;
  });
  season.mnuSeasonNextRace();
  if (g.FatalLoadError || (resumed && !loaded)) return kExitFileError;
  if (!resumed) {
    if (rs->track.TrackFile.empty()) return kExitFileError;
    allAI();
    CommandsAtRaceStart(g, *rs);
    engine.StartRace();
  }
  const long limit = static_cast<long>(std::max(1, rs->RaceLaps)) * kTurnLimitPerLap;
  for (long turn = 0; engine.WaitingFor() != Waiting::RaceOver && turn < limit; ++turn) {
    if (rs->QualifyingListPending && !rs->RaceRunning) {
      qualifying.ShowPendingList();
    } else if (engine.WaitingFor() == Waiting::RaceControl || engine.WaitingFor() == Waiting::Paused) {
      engine.FinishRace();
    } else {
      break;  // a panel for a person, which no car of this race has
    }
  }
  if (engine.WaitingFor() != Waiting::RaceOver) {
    err << "velomark-cli: the race did not reach its end\n";
    return kExitFileError;
  }
  const SeasonFileData& s = season.Season();
  if (json) {
    nlohmann::ordered_json j;
    j["Race"] = race;
    j["Track"] = rs->track.TrackName;
    nlohmann::ordered_json finish = nlohmann::ordered_json::array();
    for (int place = 1; place <= rs->FinishOrderCount; ++place) {
      const int car = rs->FinishOrder[place];
      finish.push_back({{"Place", place}, {"Car", car}, {"Driver", rs->DriverName[car]}});
    }
    j["Finish"] = std::move(finish);
    j["NextRace"] = s.NextRace;
    const SeasonStandings standings = BuildSeasonStandings(s, g.TracksFolder);
    j["Drivers"] = GridJson(standings.Grid(SeasonGridType::Driver));
    out << j.dump(2) << "\n";
    return kExitOk;
  }
  out << "Race " << race << " of " << s.Races << ": " << rs->track.TrackName << (resumed ? " (resumed)" : "") << "\n";
  for (int place = 1; place <= rs->FinishOrderCount; ++place) {
    const int car = rs->FinishOrder[place];
    out << "  " << place << ". #" << car << " " << rs->DriverName[car] << "\n";
  }
  const SeasonStandings standings = BuildSeasonStandings(s, g.TracksFolder);
  out << standings.Caption << "\n";
  PrintGrid(standings.Grid(SeasonGridType::Driver), out);
  return kExitOk;
}

}  // namespace

int SeasonCommand(const std::vector<std::string>& args, const std::string& dataFolder, std::ostream& out,
                  std::ostream& err) {
  const std::string verb = args.empty() ? "" : args[0];
  if (verb == "new") return NewSeason(args, dataFolder, out, err);
  if (verb == "show") return ShowSeason(args, dataFolder, out, err);
  if (verb == "race") return RaceSeason(args, dataFolder, out, err);
  err << "season: new, show or race?\n" << kSeasonUsage;
  return kExitUsage;
}

}  // namespace vm
