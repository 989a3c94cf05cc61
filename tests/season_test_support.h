// One small season worked out by hand, shared by the standings and the standings window tests.
#pragma once

#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "season/season_file.h"

namespace vm::testing_support {

// Places score 50, 30, 20, 10, then nothing; the bonuses are powers of two so that every total
// tells which of them it holds: pole 1, a lap led 2, fast lap 4, most laps led 8.
//
// Five drivers:  1 Ada Lind   "Reds"   person
//                2 Bo Krantz  "Blues"  computer, lap profile 1, race profile 3, risks SS1 C2 D3 CA4 A5 T6
//                3 Cy Moreau  " "      computer
//                4 Di Foster  "Reds"   computer
//                5 Ed Varga   "blues"  person (a team apart: names are compared exactly)
//
// Race 1 (KSTRL) finish 1 2 3 4 5; laps led by place 6 4 0 0 0; pole car 2; fast lap car 3.
//   car 1: 50 + most 8 + led 2 = 60   car 2: 30 + pole 1 + led 2 = 33   car 3: 20 + fast 4 = 24
//   car 4: 10                          car 5: place 5 is outside the scale: 0, shown "5"
// Race 2 (BRANN) finish 3 1 5 2 4; laps led by place 7 0 3 0 0; pole car 4; fast lap car 1.
//   Car 3 really led 7 laps and car 5 three, but read by number car 1 has 7 (place 1's), car 3 has
//   3 (place 3's) and car 5 none: most 7.
//   car 3: 50 + led 2 = 52 (its own box score: 60)   car 1: 30 + fast 4 + most 8 + led 2 = 44
//   car 5: 20 (led 3 laps, no bonus)   car 2: 10   car 4: place 5, 0 + pole 1 = 1 (led no lap)
// Race 3 (PVELA) finish 2 4 3 1 and nobody in place 5; laps led by place 4 4 4 1 0; pole car 3;
//   fast lap car 2. Read by number car 2, 3 and 1 have 4 and car 4 has 1: most 4, a tie of three.
//   car 2: 50 + fast 4 + most 8 + led 2 = 64   car 4: 30 + led 2 = 32
//   car 3: 20 + pole 1 + most 8 + led 2 = 31   car 1: 10 + most 8 + led 2 = 20   car 5: no place
//
// Totals after three races: car 1 124, car 2 107, car 3 107, car 4 43, car 5 20; after two: 104,
// 43, 76, 11, 20.
inline std::unique_ptr<SeasonFileData> ThreeRaceSeason() {
  auto s = std::make_unique<SeasonFileData>();
  std::tie(s->Name, s->Races, s->Drivers, s->NextRace) = std::tuple("Test Cup", 3, 5, 4);
  std::tie(s->PointStructure[1], s->PointStructure[2], s->PointStructure[3], s->PointStructure[4]) =
      std::tuple(50, 30, 20, 10);
  std::tie(s->PointsPole, s->PointsLeadLap, s->PointsFastLap, s->PointsLeadMost) = std::tuple(1, 2, 4, 8);
  const std::vector<std::tuple<const char*, const char*, bool>> drivers{{"Ada Lind", "Reds", false},
                                                                        {"Bo Krantz", "Blues", true},
                                                                        {"Cy Moreau", " ", true},
                                                                        {"Di Foster", "Reds", true},
                                                                        {"Ed Varga", "blues", false}};
  for (size_t i = 0; i < drivers.size(); ++i) {
    CarRecord& c = s->Field[i + 1].Car;
    std::tie(c.DriverName, c.Team, c.IsAI) = drivers[i];
  }
  s->Field[6].Car.Team = "Ghosts";  // a line past the field, with a team of its own: it counts nowhere
  CarRecord& bo = s->Field[2].Car;
  std::tie(bo.LapProfile, bo.RaceProfile, bo.RiskSS, bo.RiskC, bo.RiskD, bo.RiskCA, bo.RiskA, bo.RiskT) =
      std::tuple(1, 3, 1, 2, 3, 4, 5, 6);
  std::tie(bo.StartSpeed, bo.Acceleration, bo.Deceleration, bo.TopSpeed, bo.WearPerLap, bo.DRM) =
      std::tuple(60, 40, 80, 220, 5, -1);

  // Finish by place, laps led by place, pole, fast lap.
  const std::vector<std::tuple<std::vector<int>, std::vector<int>, int, int>> results{
      {{1, 2, 3, 4, 5}, {6, 4, 0, 0, 0}, 2, 3},
      {{3, 1, 5, 2, 4}, {7, 0, 3, 0, 0}, 4, 1},
      {{2, 4, 3, 1, 0}, {4, 4, 4, 1, 0}, 3, 2}};
  for (size_t r = 0; r < results.size(); ++r) {
    SeasonResult& row = s->Results[r + 1];
    const auto& [finish, led, pole, fast] = results[r];
    for (size_t p = 0; p < finish.size(); ++p)
      std::tie(row.Finish[p + 1], row.LapsLed[p + 1]) = std::tie(finish[p], led[p]);
    std::tie(row.PoleCar, row.FastLapCar) = std::tuple(pole, fast);
    row.MostLaps = 99;  // never read: the most laps are found again by number
  }
  const std::string tracks = std::string(VELOMARK_DATA) + "/Tracks/";
  s->Schedule[1] = {tracks + "Kestrel.trk", "10", "KSTRL ", false, 10, 10, 48.0, false, 5};
  s->Schedule[2] = {"C:\\Games\\Nowhere.trk", "12", "BRANN ", true, 5, 3, 14.96, false, 4};
  s->Schedule[3] = {tracks + "Porto.trk", "8", "PVELA ", true, 8, 0, 31.4, true, 5};
  return s;
}

}  // namespace vm::testing_support
