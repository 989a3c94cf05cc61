// The saved-race files on a race at half distance: forty computer cars of Field40.crs over 100 laps
// of the first shipped circuit. The undo file is written at the top of every turn, so it must stay
// far below what a player notices; a .rip is loaded once, but with its track.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "cli/bench_command.h"
#include "cli/commands.h"
#include "core/paths.h"
#include "game/race_config.h"
#include "game/race_files.h"
#include "game/saved_race.h"

namespace {

const std::string kData = VELOMARK_DATA;
const std::string kCars = vm::JoinPath(kData, "Cars");
const std::string kTracks = vm::JoinPath(kData, "Tracks");

// Played once for every benchmark: the race takes far longer than all the files together. At half
// distance, and on the last lap, when the lap tables are full.
const vm::RaceState& RaceUnderWay(int lap = vm::kMaxLaps / 2) {
  static std::map<int, std::unique_ptr<vm::RaceState>> races;
  std::unique_ptr<vm::RaceState>& rs = races[lap];
  if (!rs) {
    rs = std::make_unique<vm::RaceState>();
    if (std::optional<vm::FileError> e = vm::BenchRaceUnderWay(*rs, kData, 1, lap)) {
      std::fprintf(stderr, "saved_race_bench: %s\n", e->Describe().c_str());
      std::exit(1);
    }
  }
  return *rs;
}

void Fail(benchmark::State& state, const std::optional<vm::FileError>& e) {
  if (e) state.SkipWithError(e->Describe().c_str());
}

void Describe(benchmark::State& state, size_t bytes, const vm::RaceState& rs) {
  state.counters["bytes"] = static_cast<double>(bytes);
  state.counters["highlights"] = static_cast<double>(rs.Highlights.size());
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
}

// The whole per-turn cost: UFA.rip becomes UFB.rip and the race is written as UFA.rip.
void BM_UndoFileTurn(benchmark::State& state) {
  const vm::RaceState& rs = RaceUnderWay(static_cast<int>(state.range(0)));
  const vm::ScratchFolder folder(true, "velomark-bench-");
  if (!folder.Made()) return state.SkipWithError("no temporary folder");
  vm::LapLinesCache laps;
  for (auto _ : state) {
    if (std::optional<vm::FileError> e = vm::WriteUndoFiles(rs, folder.Path(), kCars, &laps)) return Fail(state, e);
  }
  Describe(state, vm::SavedRaceText(rs, kCars, vm::SavedRaceKind::Undo).size(), rs);
}
BENCHMARK(BM_UndoFileTurn)->Arg(vm::kMaxLaps / 2)->Arg(vm::kMaxLaps - 1)->Unit(benchmark::kMillisecond);

// The worst case: every car runs every lap, so all 101 rows of the lap tables hold a car, a gap and
// a speed of full precision for each of the forty.
void BM_UndoFileTurnFullTables(benchmark::State& state) {
  auto rs = std::make_unique<vm::RaceState>(RaceUnderWay());
  for (int lap = 0; lap <= vm::kMaxLaps; ++lap)
    for (int car = 1; car <= vm::kMaxCars; ++car) {
      rs->LapOrder[lap][car] = car;
      rs->LapGap[lap][car] = car * 1.0 / 3.0 + lap / 7.0;
      rs->LapSpeedMph[lap][car] = 180.0 + 200.0 / (car + lap + 3.0);
      rs->LapWearsUsed[lap][car] = car % 4;
    }
  const vm::ScratchFolder folder(true, "velomark-bench-");
  if (!folder.Made()) return state.SkipWithError("no temporary folder");
  // As in a race, the lap lines are kept from turn to turn, and each turn cars cross the line: two
  // laps' rows change.
  vm::LapLinesCache laps;
  int turn = 0;
  for (auto _ : state) {
    for (int lap : {turn % vm::kMaxLaps, turn % vm::kMaxLaps + 1}) rs->LapGap[lap][1 + turn % vm::kMaxCars] += 0.125;
    ++turn;
    if (std::optional<vm::FileError> e = vm::WriteUndoFiles(*rs, folder.Path(), kCars, &laps)) return Fail(state, e);
  }
  Describe(state, vm::SavedRaceText(*rs, kCars, vm::SavedRaceKind::Undo).size(), *rs);
}
BENCHMARK(BM_UndoFileTurnFullTables)->Unit(benchmark::kMillisecond);

// The text of that undo file alone, without the disk.
void BM_UndoFileText(benchmark::State& state) {
  const vm::RaceState& rs = RaceUnderWay(static_cast<int>(state.range(0)));
  size_t bytes = 0;
  for (auto _ : state) {
    std::string text = vm::SavedRaceText(rs, kCars, vm::SavedRaceKind::Undo);
    bytes = text.size();
    benchmark::DoNotOptimize(text.data());
  }
  Describe(state, bytes, rs);
}
BENCHMARK(BM_UndoFileText)->Arg(vm::kMaxLaps / 2)->Arg(vm::kMaxLaps - 1)->Unit(benchmark::kMillisecond);

// Resuming a saved race: the .rip read from disk, its track loaded by name through the folder.
void BM_ReadSavedRace(benchmark::State& state) {
  const vm::RaceState& rs = RaceUnderWay();
  const vm::ScratchFolder folder(true, "velomark-bench-");
  if (!folder.Made()) return state.SkipWithError("no temporary folder");
  const std::string rip = vm::JoinPath(folder.Path(), "Race.rip");
  if (std::optional<vm::FileError> e = vm::WriteSavedRace(rs, rip, kCars, vm::SavedRaceKind::Rip))
    return Fail(state, e);
  const vm::RaceConfigTrackLoader loadTrack = vm::TrackLoaderFromFolder(kTracks);
  auto loaded = std::make_unique<vm::RaceState>();
  for (auto _ : state) {
    if (std::optional<vm::FileError> e = vm::ReadSavedRace(*loaded, rip, kCars, vm::SavedRaceKind::Rip, loadTrack))
      return Fail(state, e);
  }
  Describe(state, vm::SavedRaceText(rs, kCars, vm::SavedRaceKind::Rip).size(), rs);
}
BENCHMARK(BM_ReadSavedRace)->Unit(benchmark::kMillisecond);

// The same .rip parsed from memory: with the track loaded (1) and with the track kept (0), so that
// the file read, the track file and the race's own fields show apart.
void BM_ParseSavedRace(benchmark::State& state) {
  const vm::RaceState& rs = RaceUnderWay();
  const std::string text = vm::SavedRaceText(rs, kCars, vm::SavedRaceKind::Rip);
  const vm::RaceConfigTrackLoader loadTrack =
      state.range(0) == 1 ? vm::TrackLoaderFromFolder(kTracks) : vm::RaceConfigTrackLoader{};
  auto loaded = std::make_unique<vm::RaceState>(rs);
  for (auto _ : state) {
    if (std::optional<vm::FileError> e =
            vm::ParseSavedRace(*loaded, text, "Race.rip", kCars, vm::SavedRaceKind::Rip, loadTrack))
      return Fail(state, e);
  }
  Describe(state, text.size(), rs);
}
BENCHMARK(BM_ParseSavedRace)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond);

}  // namespace
