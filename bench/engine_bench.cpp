// One steering pass of a full field: forty cars, each pressing its steering buttons space by
// space on a five-lane track, with the curve and apex checks after every step.
#include <benchmark/benchmark.h>

#include <memory>

#include "core/race_log.h"
#include "core/units.h"
#include "engine/turn_engine.h"
#include "rules/weather.h"
#include "tools/track_builder.h"
#include "ui/scripted_console.h"

namespace {

std::unique_ptr<vm::RaceState> FieldOnTheGrid() {
  auto rs = std::make_unique<vm::RaceState>();
  vm::TrackBuilder b(5, 600);
  for (int c = 0; c < 10; ++c) b.Curve(60 + c * 55, 75 + c * 55, {200, 210, 220, 230, 240});
  rs->track = b.Build();
  rs->Tables.CH1 = {2, 2, 6};
  rs->Tables.CH2 = {0, 7, 9};
  rs->Tables.CH3 = {0, 10, 12};
  rs->GameMode = vm::kModeSingle;
  rs->RaceLaps = 5;
  rs->CarCount = vm::kMaxCars;
  for (int car = 1; car <= vm::kMaxCars; ++car) {
    rs->CarStartSpeed[car] = 100;
    rs->CarAcceleration[car] = 40;
    rs->CarDeceleration[car] = 40;
    rs->CarTopSpeed[car] = 200;
    rs->CarWearPerLap[car] = 3;
  }
  return rs;
}

void BM_SteeringPassOf40Cars(benchmark::State& state) {
  auto start = FieldOnTheGrid();
  vm::Random rng(1);
  vm::ScriptedConsole console({}, false);
  vm::NullRaceLog log;
  // The field after its speed pass: every car at 100 MPH, waiting to steer.
  auto rs = std::make_unique<vm::RaceState>(*start);
  vm::RaceEngine engine(*rs, rng, console, log);
  engine.StartRace();
  while (engine.WaitingFor() == vm::Waiting::Speed) engine.NewSpeed(5);
  *start = *rs;
  std::int64_t steps = 0;
  for (auto _ : state) {
    state.PauseTiming();
    *rs = *start;
    engine.Resume(vm::Waiting::Steering);
    state.ResumeTiming();
    while (engine.WaitingFor() == vm::Waiting::Steering) {
      engine.Steer(vm::SteeringCommand::cmdStraight);
      ++steps;
    }
  }
  state.counters["steps"] = benchmark::Counter(static_cast<double>(steps), benchmark::Counter::kAvgIterations);
}
BENCHMARK(BM_SteeringPassOf40Cars)->Unit(benchmark::kMicrosecond);

// The curve limits set for each car before its slot, in the weather: on a field all on the same
// tires (range 0) the table already suits the car; with every other car on the wrong tires
// (range 1) all of the track's curve cells move each time.
void BM_WeatherLimitsPerCar(benchmark::State& state) {
  auto rs = FieldOnTheGrid();
  rs->WeatherEnabled = true;
  rs->TrackCondition = "Wet";
  for (int car = 1; car <= vm::kMaxCars; ++car) rs->CarWetTires[car] = state.range(0) == 1 && car % 2 == 0;
  int car = 0;
  for (auto _ : state) {
    car = car % vm::kMaxCars + 1;
    vm::ApplyWeatherLimits(*rs, car);
    benchmark::DoNotOptimize(rs->track.CellSpeedLimit[60][1]);
  }
}
BENCHMARK(BM_WeatherLimitsPerCar)->Arg(0)->Arg(1)->Unit(benchmark::kNanosecond);

}  // namespace
