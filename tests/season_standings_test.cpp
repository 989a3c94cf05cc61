// The season's standings rebuilt from its file: points per race and driver, the laps led read by
// driver number although stored by place, the team totals and the grids' text, all worked out by
// hand for one small season.
#include "season/season_standings.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "season/season_file.h"
#include "tests/temp_dir.h"

namespace vm {
namespace {

using Cells = std::vector<std::string>;

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
//   Read by number the laps led are 6 4 0 0 0: most 6. Numbers and places agree, all is as it looks.
//   car 1: 50 + most 8 + led 2 = 60   car 2: 30 + pole 1 + led 2 = 33   car 3: 20 + fast 4 = 24
//   car 4: 10                          car 5: place 5 is outside the scale: 0, shown "5"
// Race 2 (BRANN) finish 3 1 5 2 4; laps led by place 7 0 3 0 0; pole car 4; fast lap car 1.
//   Car 3 really led 7 laps and car 5 three, but read by number car 1 has 7 (place 1's), car 3 has
//   3 (place 3's) and car 5 none: most 7.
//   car 3: 50 + led 2 = 52 (its own box score: 60)   car 1: 30 + fast 4 + most 8 + led 2 = 44
//   car 5: 20 (led 3 laps, no bonus)   car 2: 10   car 4: place 5, 0 + pole 1 = 1 (led no lap)
// Race 3 (PVELA) finish 2 4 3 1 and nobody in place 5; laps led by place 4 4 4 1 0; pole car 3;
//   fast lap car 2. Read by number: car 2 has 4, car 4 has 1, car 3 has 4, car 1 has 4: most 4,
//   a tie of three.
//   car 2: 50 + fast 4 + most 8 + led 2 = 64   car 4: 30 + led 2 = 32
//   car 3: 20 + pole 1 + most 8 + led 2 = 31   car 1: 10 + most 8 + led 2 = 20   car 5: no place
//
// Totals after three races: car 1 60+44+20 = 124, car 2 33+10+64 = 107, car 3 24+52+31 = 107,
// car 4 10+1+32 = 43, car 5 0+20+0 = 20.
std::unique_ptr<SeasonFileData> ThreeRaceSeason() {
  auto s = std::make_unique<SeasonFileData>();
  s->Name = "Test Cup";
  s->Races = 3;
  s->Drivers = 5;
  s->NextRace = 4;
  s->PointStructure[1] = 50;
  s->PointStructure[2] = 30;
  s->PointStructure[3] = 20;
  s->PointStructure[4] = 10;
  s->PointsPole = 1;
  s->PointsLeadLap = 2;
  s->PointsFastLap = 4;
  s->PointsLeadMost = 8;
  const std::vector<std::tuple<const char*, const char*, bool>> drivers{{"Ada Lind", "Reds", false},
                                                                        {"Bo Krantz", "Blues", true},
                                                                        {"Cy Moreau", " ", true},
                                                                        {"Di Foster", "Reds", true},
                                                                        {"Ed Varga", "blues", false}};
  for (size_t i = 0; i < drivers.size(); ++i) {
    CarRecord& c = s->Field[i + 1].Car;
    c.DriverName = std::get<0>(drivers[i]);
    c.Team = std::get<1>(drivers[i]);
    c.IsAI = std::get<2>(drivers[i]);
  }
  // A line past the field, with a team of its own: it must count nowhere.
  s->Field[6].Car.Team = "Ghosts";
  CarRecord& bo = s->Field[2].Car;
  bo.LapProfile = 1;
  bo.RaceProfile = 3;
  bo.RiskSS = 1;
  bo.RiskC = 2;
  bo.RiskD = 3;
  bo.RiskCA = 4;
  bo.RiskA = 5;
  bo.RiskT = 6;
  bo.StartSpeed = 60;
  bo.Acceleration = 40;
  bo.Deceleration = 80;
  bo.TopSpeed = 220;
  bo.WearPerLap = 5;
  bo.DRM = -1;

  // Finish by place, laps led by place, pole, fast lap.
  const std::vector<std::tuple<std::vector<int>, std::vector<int>, int, int>> results{
      {{1, 2, 3, 4, 5}, {6, 4, 0, 0, 0}, 2, 3},
      {{3, 1, 5, 2, 4}, {7, 0, 3, 0, 0}, 4, 1},
      {{2, 4, 3, 1, 0}, {4, 4, 4, 1, 0}, 3, 2}};
  for (size_t r = 0; r < results.size(); ++r) {
    SeasonResult& row = s->Results[r + 1];
    const auto& [finish, led, pole, fast] = results[r];
    for (size_t p = 0; p < finish.size(); ++p) {
      row.Finish[p + 1] = finish[p];
      row.LapsLed[p + 1] = led[p];
    }
    row.PoleCar = pole;
    row.FastLapCar = fast;
    row.MostLaps = 99;  // never read: the most laps are found again by number
  }
  const std::vector<std::string> abbrevs{"KSTRL ", "BRANN ", "PVELA "};
  for (size_t r = 0; r < abbrevs.size(); ++r) s->Schedule[r + 1].Abbrev = abbrevs[r];
  return s;
}

TEST(SeasonPointsTest, EveryPlaceAndPointOfTheRaces) {
  const auto s = ThreeRaceSeason();
  const SeasonPoints p = RebuildSeasonPoints(*s);
  // [race][car 1..5]
  const int places[4][5] = {{}, {1, 2, 3, 4, 5}, {2, 4, 1, 5, 3}, {4, 1, 3, 2, 0}};
  const int points[4][5] = {{}, {60, 33, 24, 10, 0}, {44, 10, 52, 1, 20}, {20, 64, 31, 32, 0}};
  for (int r = 1; r <= 3; ++r) {
    for (int car = 1; car <= 5; ++car) {
      EXPECT_EQ(p.RacePlace[r][car], places[r][car - 1]) << "race " << r << " car " << car;
      EXPECT_EQ(p.RacePoints[r][car], points[r][car - 1]) << "race " << r << " car " << car;
    }
  }
  const std::vector<int> totals{124, 107, 107, 43, 20};
  for (int car = 1; car <= 5; ++car) EXPECT_EQ(DriverTotal(*s, p, car), totals[car - 1]) << car;
}

// Reading the laps led by place, as a box score does, would give race 2's winner the lead bonuses
// and car 1 only the fast lap: the season table must not do that.
TEST(SeasonPointsTest, LapsLedAreReadByDriverNumberNotByPlace) {
  auto s = ThreeRaceSeason();
  EXPECT_EQ(RebuildSeasonPoints(*s).RacePoints[2][3], 52);
  EXPECT_EQ(RebuildSeasonPoints(*s).RacePoints[2][1], 44);
  // Laps led by place 3 (car 5's place) make car 3, by its number, the most: 52 + 8 = 60, and car
  // 1 drops to 30 + fast 4 + led 2 = 36.
  s->Results[2].LapsLed[3] = 9;
  const SeasonPoints p = RebuildSeasonPoints(*s);
  EXPECT_EQ(p.RacePoints[2][3], 60);
  EXPECT_EQ(p.RacePoints[2][1], 36);
  EXPECT_EQ(p.RacePoints[2][5], 20);
}

TEST(SeasonPointsTest, TeamsInOrderOfFirstAppearanceWithTotalsOfTheirDrivers) {
  const auto s = ThreeRaceSeason();
  const SeasonPoints p = RebuildSeasonPoints(*s);
  ASSERT_EQ(p.TeamCount, 4);
  EXPECT_EQ(Cells(p.TeamList.begin() + 1, p.TeamList.begin() + 5), (Cells{"Reds", "Blues", " ", "blues"}));
  // Reds = cars 1 and 4: 60+10, 44+1, 20+32. The empty place 5 of race 3 belongs to no team.
  const int team[4][4] = {{}, {70, 33, 24, 0}, {45, 10, 52, 20}, {52, 64, 31, 0}};
  for (int r = 1; r <= 3; ++r) {
    for (int t = 1; t <= 4; ++t) EXPECT_EQ(p.TeamPoints[r][t], team[r][t - 1]) << "race " << r << " team " << t;
  }
  EXPECT_EQ(TeamTotal(*s, p, 1), DriverTotal(*s, p, 1) + DriverTotal(*s, p, 4));
  EXPECT_EQ(TeamTotal(*s, p, 3), DriverTotal(*s, p, 3));
}

TEST(SeasonStandingsTest, DriverGridAfterThreeRaces) {
  const auto s = ThreeRaceSeason();
  const SeasonStandings st = BuildSeasonStandings(*s, "");
  const SeasonGrid& g = st.Grid(SeasonGridType::Driver);
  EXPECT_EQ(g.Columns, (Cells{"Driver", "Team", "Total", " KSTRL ", " BRANN ", " PVELA "}));
  // Cars 2 and 3 tie on 107 and stay in number order; car 4 is "5(1)" by the pole alone, car 5 is
  // "5" outside the scale and "DNF" where he has no place.
  const std::vector<std::pair<Cells, bool>> rows{{{"Ada Lind", "Reds", "124", "1(60)", "2(44)", "4(20)"}, false},
                                                 {{"Bo Krantz", "Blues", "107", "2(33)", "4(10)", "1(64)"}, true},
                                                 {{"Cy Moreau", " ", "107", "3(24)", "1(52)", "3(31)"}, true},
                                                 {{"Di Foster", "Reds", "43", "4(10)", "5(1)", "2(32)"}, true},
                                                 {{"Ed Varga", "blues", "20", "5", "3(20)", "DNF"}, false}};
  ASSERT_EQ(g.Rows.size(), rows.size());
  for (size_t i = 0; i < rows.size(); ++i) {
    EXPECT_EQ(g.Rows[i].Cells, rows[i].first) << i;
    EXPECT_EQ(g.Rows[i].Grey, rows[i].second) << i;
  }
  EXPECT_EQ(st.Caption, "Season: Test Cup (3 of 3 races complete)");
  EXPECT_EQ(RaceOfColumn(g, 2), 0);
  EXPECT_EQ(RaceOfColumn(g, 3), 1);
  EXPECT_EQ(RaceOfColumn(g, 5), 3);
  EXPECT_EQ(RaceOfColumn(g, 6), 0);
}

// After two races (the third paused, its figures already in its row) the totals are 104, 43, 76,
// 11 and 20. Sorted as numbers, not as text, which would put "76" above "104" and "20" above "11".
TEST(SeasonStandingsTest, TotalsSortAsNumbersAndAPausedRaceDoesNotCount) {
  auto s = ThreeRaceSeason();
  s->NextRace = 3;
  s->RaceStored = true;
  const SeasonStandings st = BuildSeasonStandings(*s, "");
  const SeasonGrid& g = st.Grid(SeasonGridType::Driver);
  EXPECT_EQ(g.Columns.size(), 5u);
  Cells order;
  for (const SeasonGridRow& row : g.Rows) order.push_back(row.Cells[0] + "=" + row.Cells[2]);
  EXPECT_EQ(order, (Cells{"Ada Lind=104", "Cy Moreau=76", "Bo Krantz=43", "Ed Varga=20", "Di Foster=11"}));
  EXPECT_EQ(st.Caption, "Season: Test Cup (2 of 3 races complete)");

  const SeasonGrid& teams = st.Grid(SeasonGridType::Team);
  ASSERT_EQ(teams.Rows.size(), 4u);
  EXPECT_EQ(teams.Rows[0].Cells, (Cells{"Reds", "115", "70", "45"}));
  EXPECT_EQ(teams.Rows[1].Cells, (Cells{" ", "76", "24", "52"}));
  EXPECT_EQ(teams.Rows[2].Cells, (Cells{"Blues", "43", "33", "10"}));
  EXPECT_EQ(teams.Rows[3].Cells, (Cells{"blues", "20", "- ", "20"}));
}

TEST(SeasonStandingsTest, TeamGridAfterThreeRaces) {
  const auto s = ThreeRaceSeason();
  const SeasonStandings st = BuildSeasonStandings(*s, "");
  const SeasonGrid& g = st.Grid(SeasonGridType::Team);
  EXPECT_EQ(g.Columns, (Cells{"Team", "Total", " KSTRL ", " BRANN ", " PVELA "}));
  // Blues and " " tie on 107 and keep the order of the team list.
  const std::vector<Cells> rows{{"Reds", "167", "70", "45", "52"},
                                {"Blues", "107", "33", "10", "64"},
                                {" ", "107", "24", "52", "31"},
                                {"blues", "20", "- ", "20", "- "}};
  ASSERT_EQ(g.Rows.size(), rows.size());
  for (size_t i = 0; i < rows.size(); ++i) EXPECT_EQ(g.Rows[i].Cells, rows[i]) << i;
  EXPECT_EQ(RaceOfColumn(g, 1), 0);
  EXPECT_EQ(RaceOfColumn(g, 2), 1);
}

// A new season: zero rows give every place's points to index 0 and nothing to drivers or teams.
TEST(SeasonStandingsTest, ASeasonWithNoRaceRun) {
  auto s = ThreeRaceSeason();
  s->NextRace = 1;
  for (SeasonResult& r : s->Results) r = SeasonResult{};
  const SeasonStandings st = BuildSeasonStandings(*s, "");
  // The last place assigned is 5, worth 0, then fast lap 4 + pole 1 + most 8 (0 laps = 0 laps).
  EXPECT_EQ(st.Points.RacePlace[2][0], 5);
  EXPECT_EQ(st.Points.RacePoints[2][0], 13);
  for (int r = 1; r <= 3; ++r) {
    for (int i = 1; i <= kMaxCars; ++i) {
      EXPECT_EQ(st.Points.RacePoints[r][i], 0);
      EXPECT_EQ(st.Points.TeamPoints[r][i], 0);
    }
  }
  const SeasonGrid& g = st.Grid(SeasonGridType::Driver);
  EXPECT_EQ(g.Columns, (Cells{"Driver", "Team", "Total"}));
  Cells order;
  for (const SeasonGridRow& row : g.Rows) order.push_back(row.Cells[0] + "=" + row.Cells[2]);
  EXPECT_EQ(order, (Cells{"Ada Lind=0", "Bo Krantz=0", "Cy Moreau=0", "Di Foster=0", "Ed Varga=0"}));
  EXPECT_EQ(st.Grid(SeasonGridType::Team).Columns, (Cells{"Team", "Total"}));
  EXPECT_EQ(st.Caption, "Season: Test Cup (0 of 3 races complete)");
}

TEST(SeasonStandingsTest, RatingsAndProfiles) {
  const auto s = ThreeRaceSeason();
  const SeasonStandings st = BuildSeasonStandings(*s, "");
  const SeasonGrid& ratings = st.Grid(SeasonGridType::Ratings);
  EXPECT_EQ(ratings.Columns, (Cells{"Driver", "Team", "Points", "Start", "Acc", "Dec", "Top", "WrLap", "DRM"}));
  ASSERT_EQ(ratings.Rows.size(), 5u);  // by number, not by points
  EXPECT_EQ(ratings.Rows[1].Cells, (Cells{"Bo Krantz", "Blues", "107", "60", "40", "80", "220", "5", "-1"}));
  EXPECT_EQ(ratings.Rows[4].Cells, (Cells{"Ed Varga", "blues", "20", "40", "20", "20", "140", "4", "2"}));

  const SeasonGrid& profiles = st.Grid(SeasonGridType::Profiles);
  EXPECT_EQ(profiles.Columns, (Cells{"Driver", "Team", "Lap Profile", "Race Profile", "SS/C/D/CA"}));
  ASSERT_EQ(profiles.Rows.size(), 5u);
  EXPECT_EQ(profiles.Rows[0].Cells, (Cells{"Ada Lind", "Reds", "HUMAN    ", "HUMAN    ", "N/A  "}));
  EXPECT_FALSE(profiles.Rows[0].Grey);
  // Risks in the order SS, A, D, T, C, CA.
  EXPECT_EQ(profiles.Rows[1].Cells, (Cells{"Bo Krantz", "Blues", "Early", "Late", "1/5/3/6/2/4"}));
  EXPECT_TRUE(profiles.Rows[1].Grey);
  EXPECT_EQ(profiles.Rows[2].Cells[2], "Steady");
}

TEST(SeasonStandingsTest, CompactProfileTexts) {
  const std::vector<std::tuple<bool, int, int, std::string>> cases{
      {true, 1, 1, "LP-E/RP-E"}, {true, 2, 3, "LP-S/RP-L"}, {true, 3, 2, "LP-L/RP-S"}, {false, 1, 3, "HUMAN    "}};
  for (const auto& [ai, lap, race, text] : cases) {
    CarRecord c;
    c.IsAI = ai;
    c.LapProfile = lap;
    c.RaceProfile = race;
    EXPECT_EQ(ProfileText(c), text);
  }
}

// Track names come from each race's .trk file: a path from another machine is found by its name in
// the tracks folder; a missing or broken file leaves the name blank.
TEST(SeasonStandingsTest, ScheduleGrid) {
  testing_support::TempDir dir;
  auto s = ThreeRaceSeason();
  s->Races = 4;
  const std::string tracks = std::string(VELOMARK_DATA) + "/Tracks";
  s->Schedule[1] = {"D:\\Velo\\Tracks\\KESTREL.TRK", "10", "KSTRL ", false, 10, 10, 48.0, false, 5};
  s->Schedule[2] = {"C:\\Games\\Nowhere.trk", "12", "BRANN ", true, 5, 3, 14.96, false, 4};
  s->Schedule[3] = {tracks + "/Porto.trk", "8", "PVELA ", true, 8, 0, 31.4, true, 5};
  s->Schedule[4] = {dir.Add("Broken.trk", "rubbish\n"), "7", "BROKE ", true, 3, 2, 6.34, false, 6};
  const SeasonStandings st = BuildSeasonStandings(*s, tracks);
  const SeasonGrid& g = st.Grid(SeasonGridType::Schedule);
  EXPECT_EQ(g.Columns, (Cells{"Race", "Track", "Abbrev", "Laps", "Miles", "Min Stops", "Repair Only", "Turn/Pit"}));
  // Min stops: (12 - 5) / 3 + 0.5 = 2.83 -> 2; (7 - 3) / 2 + 0.5 = 2.5 -> 2; repair only 0.
  const std::vector<Cells> rows{{"1", "Kestrel Speedbowl", "KSTRL ", "10", "48.0", "Closed", "Closed", "Closed"},
                                {"2", "", "BRANN ", "12", "15.0", "2", "No", "4"},
                                {"3", "Porto Vela Street Circuit", "PVELA ", "8", "31.4", "0", "Yes", "5"},
                                {"4", "", "BROKE ", "7", "6.3", "2", "No", "6"}};
  ASSERT_EQ(g.Rows.size(), rows.size());
  for (size_t i = 0; i < rows.size(); ++i) EXPECT_EQ(g.Rows[i].Cells, rows[i]) << i;
}

// A hand-edited file may hold car numbers outside the field and counts outside their range: the
// standings are built without reading outside the tables.
TEST(SeasonStandingsTest, HostileNumbersStayInsideTheTables) {
  auto s = ThreeRaceSeason();
  s->Results[1].Finish[1] = 99;
  s->Results[1].Finish[2] = -4;
  s->Results[1].PoleCar = 41;
  s->Results[2].Finish[3] = 6;  // a line past the field takes place 3
  const SeasonStandings st = BuildSeasonStandings(*s, "");
  EXPECT_EQ(st.Grid(SeasonGridType::Driver).Rows.size(), 5u);
  EXPECT_EQ(st.Points.RacePlace[1][1], 0);
  EXPECT_EQ(st.Points.RacePlace[2][5], 0);

  for (const auto& [races, drivers, next] :
       std::vector<std::tuple<int, int, int>>{{0, 0, 1}, {55, 60, 70}, {-3, -1, -9}}) {
    s->Races = races;
    s->Drivers = drivers;
    s->NextRace = next;
    const SeasonStandings any = BuildSeasonStandings(*s, "");
    EXPECT_LE(any.Grid(SeasonGridType::Driver).Columns.size(), 3u + kMaxSeasonRaces);
    EXPECT_LE(any.Grid(SeasonGridType::Driver).Rows.size(), static_cast<size_t>(kMaxCars));
  }
}

}  // namespace
}  // namespace vm
