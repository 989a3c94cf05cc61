// The AI's speed search for a full field in mid-race: forty AI cars, each trying its speeds
// through the line choice and the rules' cheap forms, the field played forward and put back.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "ai/drivers.h"
#include "ai/speed_search.h"
#include "core/race_log.h"
#include "core/units.h"
#include "engine/turn_engine.h"
#include "tools/track_builder.h"
#include "ui/scripted_console.h"

namespace {

constexpr int kTurnsRun = 30;  // far enough for the field to string out over the curves

std::unique_ptr<vm::RaceState> FieldOfAICars() {
  auto rs = std::make_unique<vm::RaceState>();
  vm::TrackBuilder b(5, 300);
  for (int c = 0; c < 6; ++c) b.Curve(30 + c * 45, 42 + c * 45, {100, 120, 140, 160, 180});
  rs->track = b.Build();
  rs->Tables.SS1 = {2, 2, 9};
  rs->Tables.SS2 = {0, 10, 12};
  rs->Tables.A1 = {2, 2, 9};
  rs->Tables.A2 = {0, 10, 12};
  rs->Tables.TB1 = {2, 2, 9};
  rs->Tables.TB2 = {0, 10, 12};
  rs->Tables.CH1 = {2, 2, 6};
  rs->Tables.CH2 = {0, 7, 9};
  rs->Tables.CH3 = {0, 10, 12};
  rs->Tables.CT1 = {2, 2, 6};
  rs->Tables.CT2 = {0, 7, 9};
  rs->Tables.CT3 = {0, 10, 12};
  rs->Tables.SD1 = {1, 1, 3};
  rs->Tables.SD2 = {0, 4, 4};
  rs->Tables.SD3 = {0, 5, 5};
  rs->Tables.SD4 = {0, 6, 6};
  rs->GameMode = vm::kModeSingle;
  rs->RaceLaps = 20;
  rs->CarCount = vm::kMaxCars;
  for (int car = 1; car <= vm::kMaxCars; ++car) {
    rs->DriverName[car] = "Car " + std::to_string(car);
    rs->CarIsAI[car] = true;
    rs->CarStartSpeed[car] = 60 + 20 * (car % 3);
    rs->CarAcceleration[car] = 40 + 20 * (car % 2);
    rs->CarDeceleration[car] = 40 + 20 * (car % 4 == 0 ? 1 : 0);
    rs->CarTopSpeed[car] = 160 + 20 * (car % 4);
    rs->CarWearPerLap[car] = 2 + car % 3;
    rs->CarLapProfile[car] = 1 + car % 3;
    rs->CarRaceProfile[car] = 1 + car / 3 % 3;
    rs->CarRiskA[car] = rs->CarRiskT[car] = rs->CarRiskC[car] = rs->CarRiskD[car] = car % 3 * 30;
  }
  return rs;
}

void BM_SpeedSearchOf40AICars(benchmark::State& state) {
  auto rs = FieldOfAICars();
  vm::Random rng(1);
  vm::ScriptedConsole console({}, false);
  vm::NullRaceLog log;
  vm::RaceEngine engine(*rs, rng, console, log);
  vm::UseAIDrivers(engine);
  engine.StartRace();
  for (int turn = 0; turn < kTurnsRun && engine.WaitingFor() == vm::Waiting::RaceControl; ++turn) engine.NextTurn();
  vm::ChooseAISpeeds(engine.Context());  // warm-up
  // The search leaves nothing but the chosen speeds, so it can run again on the same field.
  for (auto _ : state) {
    vm::ChooseAISpeeds(engine.Context());
    benchmark::DoNotOptimize(rs->CarNewSpeed[1]);
  }
}
BENCHMARK(BM_SpeedSearchOf40AICars)->Unit(benchmark::kMicrosecond);

}  // namespace
