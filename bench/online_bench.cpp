// The cost of one turn record on each side: the host builds the whole race of forty cars as a
// TIP, the player stores it line by line and reads it back. A race turn hands over several.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <memory>
#include <sstream>

#include "ai/drivers.h"
#include "cli/play.h"
#include "core/race_log.h"
#include "core/track_file.h"
#include "engine/turn_engine.h"
#include "online/chat_session.h"
#include "online/turn_records.h"
#include "ui/scripted_console.h"

namespace {

const std::string kData = std::string(VELOMARK_DATA) + "/";

// Forty computer cars on the shipped circuit, ten race turns in.
std::unique_ptr<vm::RaceState> FortyCars() {
  auto rs = std::make_unique<vm::RaceState>();
  std::ostringstream err;
  const auto a = vm::ParsePlay({"--track", kData + "Tracks/Brannock.trk", "--tables", kData + "Default.rst", "--cars",
                                kData + "Field40.crs", "--laps", "3"},
                               err);
  if (!a || vm::SetUpRace(*rs, *a, err) != 0) return rs;
  rs->CarIsAI.fill(true);
  vm::Random rng;
  rng.Seed(1);
  vm::ScriptedConsole console({}, false);
  vm::HighlightList log(*rs);
  vm::RaceEngine engine(*rs, rng, console, log);
  vm::UseAIDrivers(engine);
  engine.StartRace();
  for (int turn = 0; turn < 10 && engine.WaitingFor() == vm::Waiting::RaceControl; ++turn) engine.NextTurn();
  return rs;
}

void BM_TipBuilt(benchmark::State& state) {
  const auto rs = FortyCars();
  size_t lines = 0;
  for (auto _ : state) lines = vm::BuildTipBurst(*rs, vm::RecordKind::TIP, 1, kData).size();
  state.counters["lines"] = static_cast<double>(lines);
}
BENCHMARK(BM_TipBuilt)->Unit(benchmark::kMillisecond);

void BM_TipStoredAndRead(benchmark::State& state) {
  const auto rs = FortyCars();
  const auto burst = vm::BuildTipBurst(*rs, vm::RecordKind::TIP, 1, kData);
  const std::string folder = (std::filesystem::temp_directory_path() / "velomark-online-bench").string();
  vm::RecordChannel channel(folder, 2, 2);
  auto got = std::make_unique<vm::RaceState>(*rs);
  const vm::OnlineTrackLoader none;
  for (auto _ : state) {
    std::optional<vm::RecordChannel::Completed> done;
    for (const std::string& line : burst) {
      const vm::TaggedLine t = vm::SplitTag(line);
      if (auto d = channel.Line(t.Tag, t.Payload)) done = d;
    }
    vm::TipHeader header;
    if (!done || vm::ReadTipFile(*got, done->Path, vm::RecordSender::Host, kData, none, header))
      state.SkipWithError("the record was refused");
  }
  std::filesystem::remove_all(folder);
}
BENCHMARK(BM_TipStoredAndRead)->Unit(benchmark::kMillisecond);

}  // namespace
