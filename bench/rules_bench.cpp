// The cheap form of the rules is what the AI's speed search runs for every speed it tries, for
// every car, every race turn: the cost of one settlement there bounds the search.
#include <benchmark/benchmark.h>

#include <memory>

#include "rules/consequences.h"
#include "ui/scripted_console.h"

namespace {

struct Bench {
  Bench() {
    rs->Tables.CH1 = {2, 2, 6};
    rs->Tables.CH2 = {0, 7, 9};
    rs->Tables.CH3 = {0, 10, 12};
    rs->Tables.SD1 = {1, 1, 3};
    rs->Tables.SD2 = {0, 4, 4};
    rs->Tables.SD3 = {0, 5, 5};
    rs->Tables.SD4 = {0, 6, 6};
    rs->RaceLaps = 10;
    rs->CurrentCar = 1;
    rs->CarIsAI[1] = true;
    rs->CarLap[1] = 1;
    rs->CarRiskC[1] = 50;
    rs->AISpeedSearch = true;
    rs->AITrialMove = true;
  }
  std::unique_ptr<vm::RaceState> rs = std::make_unique<vm::RaceState>();
  vm::Random rng{1};
  vm::ScriptedConsole console;
  vm::NullRaceLog log;
  vm::RuleContext ctx{*rs, rng, console, log};
};

// A trial at 40 over in a curve: a risk roll, then either two wears or a wear and a Chance roll.
void BM_TrialCornering(benchmark::State& state) {
  Bench b;
  for (auto _ : state) {
    b.rs->CarWears[1] = 5;
    b.rs->SpeedOverBy = 40;
    vm::SettleCornering(b.ctx);
    benchmark::DoNotOptimize(b.rs->CarWears[1]);
  }
}
BENCHMARK(BM_TrialCornering);

// A live Chance roll for an AI car, with its lookup, spin and spin damage.
void BM_LiveChanceRoll(benchmark::State& state) {
  Bench b;
  b.rs->AISpeedSearch = false;
  b.rs->AITrialMove = false;
  for (auto _ : state) {
    b.rs->CarStatus[1] = vm::kRunning;
    b.rs->CarOutOfRace[1] = false;
    b.rs->CarAcceleration[1] = b.rs->CarDeceleration[1] = 200;
    b.rs->CarTopSpeed[1] = 400;
    vm::RollChance(b.ctx);
    benchmark::DoNotOptimize(b.rs->CarStatus[1]);
  }
}
BENCHMARK(BM_LiveChanceRoll);

}  // namespace
