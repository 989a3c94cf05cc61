// What a person waits for: from their last input of a step (a speed, or the last steering press)
// to the next panel they answer, with 39 computer cars in the field and no movement delay. The
// engine runs every AI car's speed search and move in between. The bundled field of forty on the
// first shipped circuit, car 40 driven by a careful person.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "ai/drivers.h"
#include "cli/bench_command.h"
#include "core/race_log.h"
#include "engine/turn_engine.h"
#include "ui/scripted_console.h"

namespace {

constexpr int kHuman = 40;

// The careful person: the slowest speed above standing still, straight on where they can.
void Answer(vm::RaceEngine& engine) {
  switch (engine.WaitingFor()) {
    case vm::Waiting::Speed: {
      int pick = 0;
      for (const vm::SpeedButton& b : engine.SpeedPanel().Buttons)
        if (b.Enabled && b.Seen && b.Speed > 0 && pick == 0) pick = b.Speed;
      engine.NewSpeed(pick / 20);
      break;
    }
    case vm::Waiting::Steering: {
      const vm::SteeringPanel& p = engine.SteeringPanelShown();
      vm::SteeringCommand c = vm::SteeringCommand::cmdEndEarly;
      if (p.Right.Visible && p.Right.Enabled) c = vm::SteeringCommand::cmdRight;
      if (p.Left.Visible && p.Left.Enabled) c = vm::SteeringCommand::cmdLeft;
      if (p.Straight.Visible && p.Straight.Enabled) c = vm::SteeringCommand::cmdStraight;
      engine.Steer(c);
      break;
    }
    case vm::Waiting::PitContinue: engine.PitContinue(); break;
    default: engine.NextTurn(); break;
  }
}

void BM_HumanInputToNextPanel(benchmark::State& state) {
  auto rs = std::make_unique<vm::RaceState>();
  if (std::optional<vm::FileError> e = vm::SetUpBenchRace(*rs, VELOMARK_DATA, 10, vm::kMaxCars)) {
    state.SkipWithError(e->Describe().c_str());
    return;
  }
  rs->CarIsAI[kHuman] = false;
  rs->CarMovementDelay = 0;
  vm::Random rng(3);
  vm::ScriptedConsole console({}, false);
  vm::HighlightList log(*rs);
  vm::RaceEngine engine(*rs, rng, console, log);
  vm::UseAIDrivers(engine);
  engine.StartRace();
  std::vector<double> waits;
  for (auto _ : state) {
    if (engine.WaitingFor() == vm::Waiting::RaceOver) {
      state.SkipWithError("the race ended before the timing did");
      break;
    }
    const auto began = std::chrono::steady_clock::now();
    Answer(engine);
    waits.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - began).count());
  }
  if (waits.empty()) return;
  std::sort(waits.begin(), waits.end());
  state.counters["median_ms"] = waits[waits.size() / 2];
  state.counters["p99_ms"] = waits[std::min(waits.size() - 1, waits.size() * 99 / 100)];
  state.counters["max_ms"] = waits.back();
  int out = 0, lap = 0;
  for (int car = 1; car <= rs->CarCount; ++car) {
    out += rs->CarOutOfRace[car] ? 1 : 0;
    lap = std::max(lap, rs->CarLap[car]);
  }
  state.counters["leader_lap"] = lap;
  state.counters["cars_out"] = out;
}
BENCHMARK(BM_HumanInputToNextPanel)->Iterations(400)->Unit(benchmark::kMillisecond);

}  // namespace
