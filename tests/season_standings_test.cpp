// The season's standings rebuilt from its file: points per race and driver, the laps led read by
// driver number although stored by place, the team totals and the grids' text, all worked out by
// hand for one small season.
#include "season/season_standings.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "tests/season_test_support.h"
#include "tests/temp_dir.h"

namespace vm {
namespace {

using Cells = std::vector<std::string>;
using testing_support::ThreeRaceSeason;

std::vector<Cells> RowsOf(const SeasonGrid& g) {
  std::vector<Cells> rows;
  for (const SeasonGridRow& row : g.Rows) rows.push_back(row.Cells);
  return rows;
}

// Every place and point of the three races shows in the driver grid as "place(points)".
TEST(SeasonStandingsTest, GridsAfterThreeRaces) {
  const auto s = ThreeRaceSeason();
  const SeasonStandings st = BuildSeasonStandings(*s, "");
  const SeasonGrid& g = st.Grid(SeasonGridType::Driver);
  EXPECT_EQ(g.Columns, (Cells{"Driver", "Team", "Total", " KSTRL ", " BRANN ", " PVELA "}));
  // Cars 2 and 3 tie on 107 and stay in number order; car 4 is "5(1)" by the pole alone, car 5 is
  // "5" outside the scale and "DNF" where he has no place.
  EXPECT_EQ(RowsOf(g), (std::vector<Cells>{{"Ada Lind", "Reds", "124", "1(60)", "2(44)", "4(20)"},
                                           {"Bo Krantz", "Blues", "107", "2(33)", "4(10)", "1(64)"},
                                           {"Cy Moreau", " ", "107", "3(24)", "1(52)", "3(31)"},
                                           {"Di Foster", "Reds", "43", "4(10)", "5(1)", "2(32)"},
                                           {"Ed Varga", "blues", "20", "5", "3(20)", "DNF"}}));
  std::vector<bool> grey;
  for (const SeasonGridRow& row : g.Rows) grey.push_back(row.Grey);
  EXPECT_EQ(grey, (std::vector<bool>{false, true, true, true, false}));
  EXPECT_EQ(st.Caption, "Season: Test Cup (3 of 3 races complete)");
  EXPECT_EQ(std::tuple(RaceOfColumn(g, 2), RaceOfColumn(g, 3), RaceOfColumn(g, 5), RaceOfColumn(g, 6)),
            std::tuple(0, 1, 3, 0));

  // Teams in order of first appearance; Blues and " " tie on 107 and keep it. Reds = cars 1 and 4;
  // the empty place 5 of race 3 and the line past the field belong to no team.
  const SeasonGrid& teams = st.Grid(SeasonGridType::Team);
  EXPECT_EQ(teams.Columns, (Cells{"Team", "Total", " KSTRL ", " BRANN ", " PVELA "}));
  EXPECT_EQ(RowsOf(teams), (std::vector<Cells>{{"Reds", "167", "70", "45", "52"},
                                               {"Blues", "107", "33", "10", "64"},
                                               {" ", "107", "24", "52", "31"},
                                               {"blues", "20", "- ", "20", "- "}}));
  EXPECT_EQ(std::tuple(RaceOfColumn(teams, 1), RaceOfColumn(teams, 2)), std::tuple(0, 1));
  EXPECT_EQ(std::tuple(st.Points.TeamCount, st.Points.TeamList[1], st.Points.TeamList[4]),
            std::tuple(4, "Reds", "blues"));
}

// Reading the laps led by place, as a box score does, would give race 2's winner the lead bonuses
// and car 1 only the fast lap: the season table must not do that.
TEST(SeasonStandingsTest, LapsLedAreReadByDriverNumberNotByPlace) {
  auto s = ThreeRaceSeason();
  // Laps led by place 3 (car 5's place) make car 3, by its number, the most: 52 + 8 = 60, and car
  // 1 drops to 30 + fast 4 + led 2 = 36.
  s->Results[2].LapsLed[3] = 9;
  const SeasonPoints p = RebuildSeasonPoints(*s);
  EXPECT_EQ(std::tuple(p.RacePoints[2][3], p.RacePoints[2][1], p.RacePoints[2][5]), std::tuple(60, 36, 20));
}

// After two races (the third paused, its figures already in its row) the totals sort as numbers,
// not as text, which would put "76" above "104" and "20" above "11".
TEST(SeasonStandingsTest, TotalsSortAsNumbersAndAPausedRaceDoesNotCount) {
  auto s = ThreeRaceSeason();
  s->NextRace = 3;
  s->RaceStored = true;
  const SeasonStandings st = BuildSeasonStandings(*s, "");
  EXPECT_EQ(RowsOf(st.Grid(SeasonGridType::Driver)),
            (std::vector<Cells>{{"Ada Lind", "Reds", "104", "1(60)", "2(44)"},
                                {"Cy Moreau", " ", "76", "3(24)", "1(52)"},
                                {"Bo Krantz", "Blues", "43", "2(33)", "4(10)"},
                                {"Ed Varga", "blues", "20", "5", "3(20)"},
                                {"Di Foster", "Reds", "11", "4(10)", "5(1)"}}));
  EXPECT_EQ(st.Caption, "Season: Test Cup (2 of 3 races complete)");
  EXPECT_EQ(RowsOf(st.Grid(SeasonGridType::Team)), (std::vector<Cells>{{"Reds", "115", "70", "45"},
                                                                       {" ", "76", "24", "52"},
                                                                       {"Blues", "43", "33", "10"},
                                                                       {"blues", "20", "- ", "20"}}));
}

// A new season: zero rows give every place's points to index 0 and nothing to drivers or teams.
TEST(SeasonStandingsTest, ASeasonWithNoRaceRun) {
  auto s = ThreeRaceSeason();
  s->NextRace = 1;
  for (SeasonResult& r : s->Results) r = SeasonResult{};
  const SeasonStandings st = BuildSeasonStandings(*s, "");
  // The last place assigned is 5, worth 0, then fast lap 4 + pole 1 + most 8 (0 laps = 0 laps).
  EXPECT_EQ(std::tuple(st.Points.RacePlace[2][0], st.Points.RacePoints[2][0]), std::tuple(5, 13));
  for (int r = 1; r <= 3; ++r) {
    for (int i = 1; i <= kMaxCars; ++i)
      EXPECT_EQ(std::tuple(st.Points.RacePoints[r][i], st.Points.TeamPoints[r][i]), std::tuple(0, 0));
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
  // Risks in the order SS, A, D, T, C, CA.
  EXPECT_EQ(profiles.Rows[1].Cells, (Cells{"Bo Krantz", "Blues", "Early", "Late", "1/5/3/6/2/4"}));
  EXPECT_EQ(std::tuple(profiles.Rows[0].Grey, profiles.Rows[1].Grey, profiles.Rows[2].Cells[2]),
            std::tuple(false, true, "Steady"));

  for (const auto& [ai, lap, race, text] :
       std::vector<std::tuple<bool, int, int, std::string>>{{true, 1, 1, "LP-E/RP-E"},
                                                            {true, 2, 3, "LP-S/RP-L"},
                                                            {true, 3, 2, "LP-L/RP-S"},
                                                            {false, 1, 3, "HUMAN    "}}) {
    CarRecord c;
    std::tie(c.IsAI, c.LapProfile, c.RaceProfile) = std::tuple(ai, lap, race);
    EXPECT_EQ(ProfileText(c), text);
  }
}

// Track names come from each race's .trk file: a path from another machine is found by its name in
// the tracks folder; a missing or broken file leaves the name blank.
TEST(SeasonStandingsTest, ScheduleGrid) {
  testing_support::TempDir dir;
  auto s = ThreeRaceSeason();
  s->Races = 4;
  s->Schedule[1].TrackFile = "D:\\Velo\\Tracks\\KESTREL.TRK";
  s->Schedule[4] = {dir.Add("Broken.trk", "rubbish\n"), "7", "BROKE ", true, 3, 2, 6.34, false, 6};
  const SeasonStandings st = BuildSeasonStandings(*s, std::string(VELOMARK_DATA) + "/Tracks");
  const SeasonGrid& g = st.Grid(SeasonGridType::Schedule);
  EXPECT_EQ(g.Columns, (Cells{"Race", "Track", "Abbrev", "Laps", "Miles", "Min Stops", "Repair Only", "Turn/Pit"}));
  // Min stops: (12 - 5) / 3 + 0.5 = 2.83 -> 2; (7 - 3) / 2 + 0.5 = 2.5 -> 2; repair only 0.
  EXPECT_EQ(RowsOf(g),
            (std::vector<Cells>{{"1", "Kestrel Speedbowl", "KSTRL ", "10", "48.0", "Closed", "Closed", "Closed"},
                                {"2", "", "BRANN ", "12", "15.0", "2", "No", "4"},
                                {"3", "Porto Vela Street Circuit", "PVELA ", "8", "31.4", "0", "Yes", "5"},
                                {"4", "", "BROKE ", "7", "6.3", "2", "No", "6"}}));
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
  EXPECT_EQ(
      std::tuple(st.Grid(SeasonGridType::Driver).Rows.size(), st.Points.RacePlace[1][1], st.Points.RacePlace[2][5]),
      std::tuple(5u, 0, 0));
  for (const auto& [races, drivers, next] :
       std::vector<std::tuple<int, int, int>>{{0, 0, 1}, {55, 60, 70}, {-3, -1, -9}}) {
    std::tie(s->Races, s->Drivers, s->NextRace) = std::tuple(races, drivers, next);
    const SeasonStandings any = BuildSeasonStandings(*s, "");
    EXPECT_LE(any.Grid(SeasonGridType::Driver).Columns.size(), 3u + kMaxSeasonRaces);
    EXPECT_LE(any.Grid(SeasonGridType::Driver).Rows.size(), static_cast<size_t>(kMaxCars));
  }
}

}  // namespace
}  // namespace vm
