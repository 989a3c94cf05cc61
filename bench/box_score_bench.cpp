// The box score of a full field: forty cars over a hundred laps, both forms with every section on,
// which is the report's heaviest load (some 4,000 rows in the lap-by-lap section alone).
#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "core/units.h"
#include "reports/box_score.h"

namespace {

// Lap tables as a race leaves them: each car a little slower than the one ahead, the order
// shuffled a step every lap, gaps growing with the place, highlights every few laps, and the last
// four cars out of the race.
std::unique_ptr<vm::RaceState> FullRace() {
  auto rs = std::make_unique<vm::RaceState>();
  rs->GameMode = std::string(vm::kModeSingle);
  rs->track.TrackName = "Bench Oval";
  rs->track.TrackDistanceMiles = 2.5;
  rs->track.RacingLineSpaces = 100;
  rs->RaceLaps = vm::kMaxLaps;
  rs->CarCount = vm::kMaxCars;
  rs->QualifyingMethod = "Single Lap";
  rs->PointsPole = rs->PointsLeadLap = rs->PointsFastLap = rs->PointsLeadMost = 1;
  for (int place = 1; place <= 50; ++place)
    rs->PointStructure[static_cast<size_t>(place)] = place <= 10 ? 11 - place : 0;
  const int out = 4;
  for (int car = 1; car <= vm::kMaxCars; ++car) {
    rs->DriverName[car] = "Driver " + std::to_string(car);
    rs->CarTeam[car] = "Team " + std::to_string((car + 1) / 2);
    rs->CarIsAI[car] = car % 5 != 0;
    rs->CarLapProfile[car] = car % 3 + 1;
    rs->CarRaceProfile[car] = (car + 1) % 3 + 1;
    rs->CarRiskSS[car] = car;
    rs->CarStartSpeed[car] = 100;
    rs->CarAcceleration[car] = 40;
    rs->CarDeceleration[car] = 60;
    rs->CarTopSpeed[car] = 200;
    rs->CarWearPerLap[car] = 3;
    rs->QualifyTime[car] = 60 + car * 0.1;
    rs->LapOrder[0][static_cast<size_t>(car)] = car;
    rs->CarRaceClock[car] = 2000 + car * 3.5;
    rs->CarLap[car] = vm::kMaxLaps + 1;
  }
  vm::TakeDesignCopies(*rs);
  for (int lap = 1; lap <= vm::kMaxLaps; ++lap) {
    const size_t l = static_cast<size_t>(lap);
    for (int place = 1; place <= vm::kMaxCars; ++place) {
      // Neighbours trade places on alternate laps.
      int car = place;
      if (lap % 2 == 0 && place < vm::kMaxCars) car = place % 2 == 1 ? place + 1 : place - 1;
      if (car > vm::kMaxCars - out && lap > 50) continue;
      rs->LapOrder[l][static_cast<size_t>(place)] = car;
      rs->LapSpeedMph[l][car] = 150 - car * 0.25 + (lap * 7 % 11) * 0.1;
      rs->LapGap[l][car] = (place - 1) * 1.75;
      rs->LapWearsUsed[l][car] = (car + lap) % 3;
    }
    if (lap % 3 == 0)
      rs->Highlights.push_back("(Lap " + std::to_string(lap) + "/Move 12) Spin - 12 Driver 7, Chance Table");
  }
  for (int car = vm::kMaxCars - out + 1; car <= vm::kMaxCars; ++car) {
    rs->CarOutOfRace[car] = true;
    rs->CarLap[car] = 51;
  }
  rs->CarsOut = out;
  for (int place = 1; place <= vm::kMaxCars - out; ++place) rs->FinishOrder[static_cast<size_t>(place)] = place;
  rs->FinishOrderCount = rs->CarsFinished = vm::kMaxCars - out;
  return rs;
}

void BM_BoxScoreOf40CarsOver100Laps(benchmark::State& state) {
  const auto rs = FullRace();
  vm::BoxScoreOptions options;
  options.Stamp = "Tuesday, Nov 24 2026 - 04:18:25 PM";
  size_t bytes = 0;
  for (auto _ : state) {
    const vm::BoxScore box = vm::BuildBoxScore(*rs, options);
    bytes = box.Rtf.size() + box.Html.size();
    benchmark::DoNotOptimize(bytes);
  }
  state.counters["bytes"] = static_cast<double>(bytes);
}
BENCHMARK(BM_BoxScoreOf40CarsOver100Laps)->Unit(benchmark::kMillisecond);

}  // namespace
