#include "cli/bench_command.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <ostream>

#include "ai/drivers.h"
#include "cars/car_file.h"
#include "cli/commands.h"
#include "core/numbers.h"
#include "core/paths.h"
#include "core/race_log.h"
#include "core/track_file.h"
#include "core/units.h"
#include "engine/laps.h"
#include "engine/turn_engine.h"
#include "game/race_config.h"
#include "game/race_files.h"
#include "game/saved_race.h"
#include "rules/result_table_file.h"
#include "ui/scripted_console.h"

namespace vm {

namespace {

constexpr int kDefaultBenchLaps = 5;
constexpr std::uint64_t kDefaultBenchSeed = 1;
constexpr int kTurnsPerLapLimit = 200;  // far beyond any race that moves at all
constexpr int kSavedRaceRepeats = 50;
// Half distance: the lap tables half filled and the highlights of fifty laps, as a file mid-race is.
constexpr int kSavedRaceLap = kMaxLaps / 2;
constexpr std::uint64_t kFnvOffset = 14695981039346656037ull;
constexpr std::uint64_t kFnvPrime = 1099511628211ull;

std::uint64_t Fold(std::uint64_t hash, long long value) {
  for (int byte = 0; byte < 8; ++byte) {
    hash ^= static_cast<std::uint64_t>(value >> (8 * byte)) & 0xffu;
    hash *= kFnvPrime;
  }
  return hash;
}

std::string Hex(std::uint64_t v) {
  char text[17];
  std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(v));
  return text;
}

struct BenchArgs {
  int Laps = kDefaultBenchLaps;
  int Cars = kMaxCars;
  std::uint64_t Seed = kDefaultBenchSeed;
  int FilesLap = kSavedRaceLap;  // the leader's lap when the saved-race files are timed; 0 for none
};

std::optional<BenchArgs> ParseBench(const std::vector<std::string>& args, std::ostream& err) {
  BenchArgs a;
  for (size_t i = 0; i < args.size(); i += 2) {
    const std::string& opt = args[i];
    if (i + 1 >= args.size()) {
      err << "bench: " << opt << " needs a value\n" << kBenchUsage;
      return std::nullopt;
    }
    if (opt == "--laps" || opt == "--cars" || opt == "--files-lap") {
      const int top = opt == "--cars" ? kMaxCars : kMaxLaps;
      const int bottom = opt == "--files-lap" ? 0 : 1;
      std::optional<int> n = ParseWholeNumber(args[i + 1]);
      if (!n || *n < bottom || *n > top) {
        err << "bench: " << opt << " takes a whole number from " << bottom << " to " << top << "\n";
        return std::nullopt;
      }
      (opt == "--laps" ? a.Laps : opt == "--cars" ? a.Cars : a.FilesLap) = *n;
    } else if (opt == "--seed") {
      std::optional<std::uint64_t> s = ParseSeed(args[i + 1]);
      if (!s) {
        err << "bench: --seed takes a whole number\n";
        return std::nullopt;
      }
      a.Seed = *s;
    } else {
      err << "bench: unexpected argument \"" << opt << "\"\n" << kBenchUsage;
      return std::nullopt;
    }
  }
  return a;
}

std::vector<std::string> CircuitsIn(const std::string& folder) {
  std::vector<std::string> tracks;
  std::error_code ec;
  for (std::filesystem::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec))
    if (it->path().extension() == ".trk") tracks.push_back(it->path().string());
  std::sort(tracks.begin(), tracks.end());
  return tracks;
}

// The bench's field before a circuit is chosen: every car of Field40.crs up to `cars`, all driven
// by the AI, no qualifying, the wear allotment lasting the race.
std::optional<FileError> SetUpBenchField(RaceState& rs, const std::string& dataFolder, int laps, int cars) {
  if (std::optional<FileError> e =
          LoadCarFile(rs, JoinPath(dataFolder, "Field40.crs"), JoinPath(dataFolder, "Cars"), SetupPointsRule::Replace))
    return e;
  if (std::optional<FileError> e = LoadResultTables(rs.Tables, JoinPath(dataFolder, "Default.rst"))) return e;
  rs.GameMode = kModeSingle;
  rs.QualifyingMethod = "none";
  rs.RaceLaps = laps;
  rs.StartWearAllotment = laps;
  rs.CarCount = std::min(cars, rs.CarsInFile);
  for (int car = 1; car <= kMaxCars; ++car) rs.CarIsAI[car] = true;
  return std::nullopt;
}

int LeaderLap(const RaceState& rs) {
  int lap = 0;
  for (int car = 1; car <= rs.CarCount; ++car) lap = std::max(lap, rs.CarLap[car]);
  return lap;
}

double Milliseconds(std::chrono::steady_clock::time_point since) {
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - since).count();
}

double Median(std::vector<double> values) {
  if (values.empty()) return 0;
  const auto mid = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), mid, values.end());
  return *mid;
}

// Prints what the undo file costs each turn and what loading a saved race costs, on a race under way.
bool ReportSavedRaceTimings(const std::string& dataFolder, std::uint64_t seed, int lap, std::ostream& out,
                            std::ostream& err) {
  auto rs = std::make_unique<RaceState>();
  const ScratchFolder folder(true, "velomark-bench-");
  SavedRaceTimings t;
  std::optional<FileError> e = BenchRaceUnderWay(*rs, dataFolder, seed, lap);
  if (!e && !folder.Made())
    e = FileError{FileErrorCode::WriteFailed, "", 0, "", "no temporary folder for the saved-race files"};
  if (!e)
    e = TimeSavedRace(*rs, folder.Path(), JoinPath(dataFolder, "Cars"), JoinPath(dataFolder, "Tracks"),
                      kSavedRaceRepeats, t);
  if (e) {
    err << "velomark-cli: " << e->Describe() << "\n";
    return false;
  }
  char line[96];
  std::snprintf(line, sizeof line, "undo file write: %.2f ms per turn (%d cars, %d laps)\n", t.UndoWriteMs,
                rs->CarCount, rs->RaceLaps);
  out << line;
  std::snprintf(line, sizeof line, "saved race load: %.2f ms\n", t.LoadMs);
  out << line;
  return true;
}

}  // namespace

AIRaceResult RunAIRace(RaceState& rs, std::uint64_t seed, const std::function<void()>& afterPass) {
  Random rng(seed);
  ScriptedConsole console({}, false);  // computer drivers see no panel; any question takes its default
  HighlightList log(rs);
  RaceEngine engine(rs, rng, console, log);
  UseAIDrivers(engine);
  AIRaceResult result;
  if (afterPass) engine.Seams.SaveUndoFile = [&afterPass](RuleContext&) { afterPass(); };
  engine.StartRace();
  const int limit = std::max(1, rs.RaceLaps) * kTurnsPerLapLimit;
  while (engine.WaitingFor() != Waiting::RaceOver && result.Turns < limit) {
    if (engine.WaitingFor() != Waiting::RaceControl && engine.WaitingFor() != Waiting::Paused) break;
    ++result.Turns;
    engine.NextTurn();
  }
  result.Ended = engine.WaitingFor() == Waiting::RaceOver;
  if (!result.Ended) engine.EndRace();
  result.Order = std::vector<int>(rs.FinishOrder.begin() + 1, rs.FinishOrder.begin() + 1 + rs.FinishOrderCount);
  for (int car = 1; car <= rs.CarCount; ++car) {
    if (rs.CarLap[car] > rs.RaceLaps) ++result.Finished;
    if (rs.CarOutOfRace[car]) ++result.Out;
  }
  return result;
}

std::optional<FileError> SetUpBenchRace(RaceState& rs, const std::string& dataFolder, int laps, int cars) {
  if (std::optional<FileError> e = SetUpBenchField(rs, dataFolder, laps, cars)) return e;
  const std::string tracks = JoinPath(dataFolder, "Tracks");
  const std::vector<std::string> circuits = CircuitsIn(tracks);
  if (circuits.empty()) return FileError{FileErrorCode::NotFound, tracks, 0, "", "no circuits in the folder"};
  return LoadTrack(rs.track, circuits.front());
}

std::optional<FileError> BenchRaceUnderWay(RaceState& rs, const std::string& dataFolder, std::uint64_t seed, int lap) {
  if (std::optional<FileError> e = SetUpBenchRace(rs, dataFolder, kMaxLaps, kMaxCars)) return e;
  Random rng(seed);
  ScriptedConsole console({}, false);
  HighlightList log(rs);
  RaceEngine engine(rs, rng, console, log);
  UseAIDrivers(engine);
  engine.StartRace();
  for (int turns = 0; turns < lap * kTurnsPerLapLimit && LeaderLap(rs) < lap; ++turns) {
    if (engine.WaitingFor() != Waiting::RaceControl && engine.WaitingFor() != Waiting::Paused) break;
    engine.NextTurn();
  }
  return std::nullopt;
}

std::optional<FileError> TimeSavedRace(const RaceState& rs, const std::string& folder, std::string_view carsFolder,
                                       const std::string& tracksFolder, int repeats, SavedRaceTimings& timings) {
  const std::string rip = JoinPath(folder, "Bench.rip");
  if (std::optional<FileError> e = WriteSavedRace(rs, rip, carsFolder, SavedRaceKind::Rip)) return e;
  const RaceConfigTrackLoader loadTrack = TrackLoaderFromFolder(tracksFolder);
  auto loaded = std::make_unique<RaceState>(rs);
  auto laps = std::make_unique<LapLinesCache>();  // kept from turn to turn, as the game keeps it
  std::vector<double> writes, loads;
  for (int i = 0; i < repeats; ++i) {
    auto began = std::chrono::steady_clock::now();
    if (std::optional<FileError> e = WriteUndoFiles(rs, folder, carsFolder, laps.get())) return e;
    writes.push_back(Milliseconds(began));
    began = std::chrono::steady_clock::now();
    if (std::optional<FileError> e = ReadSavedRace(*loaded, rip, carsFolder, SavedRaceKind::Rip, loadTrack)) return e;
    loads.push_back(Milliseconds(began));
  }
  timings.UndoWriteMs = Median(std::move(writes));
  timings.LoadMs = Median(std::move(loads));
  return std::nullopt;
}

std::uint64_t ResultSignature(const RaceState& rs, const AIRaceResult& result, std::uint64_t signature) {
  std::uint64_t h = signature == 0 ? kFnvOffset : signature;
  h = Fold(h, static_cast<long long>(result.Order.size()));
  for (int car : result.Order) {
    h = Fold(h, car);
    h = Fold(h, rs.CarLap[car]);
    h = Fold(h, rs.CarStatus[car]);
    // Race time to the thousandth of a turn: the same on every machine.
    h = Fold(h, std::llround(rs.CarRaceClock[car] * 1000.0));
  }
  return h;
}

int BenchCommand(const std::vector<std::string>& args, const std::string& dataFolder, std::ostream& out,
                 std::ostream& err) {
  std::optional<BenchArgs> a = ParseBench(args, err);
  if (!a) return kExitUsage;
  auto start = std::make_unique<RaceState>();
  if (std::optional<FileError> e = SetUpBenchField(*start, dataFolder, a->Laps, a->Cars)) {
    err << "velomark-cli: " << e->Describe() << "\n";
    return kExitFileError;
  }
  const std::vector<std::string> circuits = CircuitsIn(JoinPath(dataFolder, "Tracks"));
  if (circuits.empty()) {
    err << "velomark-cli: no circuits in " << JoinPath(dataFolder, "Tracks") << "\n";
    return kExitFileError;
  }
  auto rs = std::make_unique<RaceState>();
  std::uint64_t signature = 0;
  int finished = 0, out_ = 0, turns = 0;
  const auto began = std::chrono::steady_clock::now();
  for (const std::string& circuit : circuits) {
    *rs = *start;
    if (std::optional<FileError> e = LoadTrack(rs->track, circuit)) {
      err << "velomark-cli: " << e->Describe() << "\n";
      return kExitFileError;
    }
    const auto raceBegan = std::chrono::steady_clock::now();
    const AIRaceResult r = RunAIRace(*rs, a->Seed);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - raceBegan).count();
    signature = ResultSignature(*rs, r, signature);
    finished += r.Finished;
    out_ += r.Out;
    turns += r.Turns;
    const int winner = r.Order.empty() ? 0 : r.Order.front();
    char time[32];
    std::snprintf(time, sizeof time, "%.3f s", seconds);
    out << BaseName(circuit) << ": " << rs->CarCount << " cars, " << rs->RaceLaps << " laps, " << r.Finished
        << " finished, " << r.Out << " out, " << r.Turns << " turns" << (r.Ended ? "" : " (stopped at the turn limit)")
        << ", winner " << (IsCarNumber(winner) ? rs->DriverName[winner] : std::string("none")) << ", " << time << "\n";
  }
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
  char time[32];
  std::snprintf(time, sizeof time, "%.3f s", seconds);
  out << "Total: " << circuits.size() << " races, " << finished << " finished, " << out_ << " out, " << turns
      << " turns, " << time << "\n";
  if (a->FilesLap > 0 && !ReportSavedRaceTimings(dataFolder, a->Seed, a->FilesLap, out, err)) return kExitFileError;
  out << "Signature: " << Hex(signature) << "\n";
  return kExitOk;
}

}  // namespace vm
