// The box score read back as its reader sees it: the rich text's lines and the page's table rows,
// compared with figures worked out by hand for a small race.
#include "reports/box_score.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

namespace vm {
namespace {

using Cells = std::vector<std::string>;

// A four-car race of three laps on a one-mile line (40 spaces). Car 4 crashes on lap 2.
//   Grid: Bo Diaz (pole), Ann Park, Cy Lee, Di Moss.
//   Lap 1 led by Bo, lap 2 by Ann, lap 3 is the finish: Ann, Bo, Cy. Ann leads 2, Bo 1, Cy 0.
//   Fast lap: Ann's 125.25 on lap 2; Bo equals it on lap 3, too late to take it.
std::unique_ptr<RaceState> SmallRace() {
  auto rs = std::make_unique<RaceState>();
  rs->GameMode = "Single", rs->RaceLaps = 3, rs->CarCount = 4, rs->CarSetupPoints = 30;
  rs->track.TrackName = "Ridge Park", rs->track.TrackPlace1 = "Hollins", rs->track.TrackPlace2 = "Virginia";
  rs->track.TrackDistanceMiles = 1.0, rs->track.RacingLineSpaces = 40, rs->QualifyingMethod = "Single Lap";
  const char* names[] = {"", "Ann Park", "Bo Diaz", "Cy Lee", "Di Moss"};
  const char* teams[] = {"", "Reds", "Blues", "Reds", "Greens"};
  for (int car = 1; car <= 4; ++car) {
    rs->DriverName[car] = names[car], rs->CarTeam[car] = teams[car], rs->CarIsAI[car] = car != 1;
    rs->CarStartSpeed[car] = 100, rs->CarAcceleration[car] = 40, rs->CarDeceleration[car] = 60;
    rs->CarTopSpeed[car] = 200, rs->CarWearPerLap[car] = 3, rs->CarDRM[car] = 1;
  }
  TakeDesignCopies(*rs);
  rs->CarDesign[4].Acceleration = 60;  // Di Moss lost 20 MPH of acceleration in the race
  rs->CarLapProfile = {0, 0, 1, 3, 2};
  rs->CarRaceProfile = {0, 0, 2, 3, 1};
  rs->CarRiskSS[2] = 10, rs->CarRiskA[2] = 20, rs->CarRiskD[2] = 30;
  rs->CarRiskT[2] = 40, rs->CarRiskC[2] = 50, rs->CarRiskCA[2] = 60;
  rs->QualifyTime = {0, 31.25, 30.5, 9003, 33};
  rs->LapOrder[0] = rs->LapOrder[1] = {0, 2, 1, 3, 4};
  rs->LapOrder[2] = {0, 1, 2, 3};
  rs->LapSpeedMph[1] = {0, 110, 115.5, 100, 90};
  rs->LapSpeedMph[2] = {0, 125.25, 118, 101, 0};
  rs->LapSpeedMph[3] = {0, 124, 125.25, 99, 0};
  rs->LapGap[1] = {0, 1.35, 0, 4.5, 9};
  rs->LapGap[2] = {0, 0, 2.7, 10.8, 0};
  rs->LapGap[3] = {0, 0, 2.25, 90, 0};
  rs->LapWearsUsed[3] = {0, 1, 1, 2, 0};
  rs->FinishOrder = {0, 1, 2, 3};
  rs->FinishOrderCount = rs->CarsFinished = 3;
  rs->CarRaceClock = {0, 20, 20.5, 40, 9};
  rs->CarLap = {0, 4, 4, 4, 2};
  rs->CarOutOfRace[4] = true, rs->CarsOut = 1;
  rs->PointStructure = {0, 10, 6, 4, 3};
  rs->PointsPole = 1, rs->PointsLeadLap = 2, rs->PointsFastLap = 3, rs->PointsLeadMost = 5;
  rs->Highlights = {"(Lap 1/Move 3) Spin - 3 Cy Lee, Chance", "Ann Park takes the flag"};
  rs->Tables.SS1 = {2, 2, 9}, rs->Tables.SS2 = {0, 10, 12};
  rs->Tables.CH1 = {2, 1, 1};  // disabled: left out of the report
  rs->Tables.CH2 = {0, 2, 9}, rs->Tables.CH3 = {0, 10, 12};
  return rs;
}

// The rich text's lines as they read: control words and braces gone; for fixed columns, runs of
// blanks made one.
std::vector<std::string> RichLines(const std::string& rtf, bool collapse = false) {
  std::vector<std::string> lines;
  std::string line;
  for (size_t i = 0; i < rtf.size(); ++i) {
    const char c = rtf[i];
    if (c == '\\' && i + 1 < rtf.size() && std::isalpha(static_cast<unsigned char>(rtf[i + 1]))) {
      size_t j = i + 1;
      while (j < rtf.size() && std::isalpha(static_cast<unsigned char>(rtf[j]))) ++j;
      const std::string word = rtf.substr(i + 1, j - i - 1);
      while (j < rtf.size() && (std::isdigit(static_cast<unsigned char>(rtf[j])) || rtf[j] == '-')) ++j;
      if (j < rtf.size() && rtf[j] == ' ') ++j;
      i = j - 1;
      if (word == "par") lines.push_back(line);
      if (word == "par" || word == "pard") line.clear();  // the body starts at the first \pard
    } else if (c == '\\' && i + 1 < rtf.size()) {
      line += rtf[++i];
    } else if (c != '{' && c != '}' && c != '\n') {
      if (!collapse || c != ' ' || (!line.empty() && line.back() != ' ')) line += c;
    }
  }
  if (collapse)
    for (std::string& l : lines)
      if (!l.empty() && l.back() == ' ') l.pop_back();
  return lines;
}

// Expected lines written as one text, '|' between them.
std::vector<std::string> Split(const std::string& text) {
  std::vector<std::string> parts(1);
  for (const char c : text) c == '|' ? parts.emplace_back() : parts.back() += c;
  return parts;
}

struct PageRow {
  std::string Open;  // the row's opening tag
  Cells cells;
  bool operator==(const Cells& other) const { return cells == other; }
};

std::string StripTags(const std::string& html) {
  std::string out;
  bool inTag = false;
  for (const char c : html) {
    inTag = c == '<' || (inTag && c != '>');
    if (!inTag && c != '>') out += c;
  }
  return out == "&nbsp;" ? "" : out;
}

// Every table row of the page, its cells as plain text.
std::vector<PageRow> PageRows(const std::string& html) {
  std::vector<PageRow> rows;
  for (size_t at = html.find("<TR"); at != std::string::npos; at = html.find("<TR", at + 1)) {
    const size_t end = html.find("</TR>", at);
    PageRow row{html.substr(at, html.find('>', at) - at + 1), {}};
    for (size_t td = html.find("<TD", at); td != std::string::npos && td < end; td = html.find("<TD", td + 1))
      row.cells.push_back(StripTags(html.substr(td, html.find("</TD>", td) - td)));
    rows.push_back(row);
  }
  return rows;
}

// The page's plain lines (those ending in a break), as text.
std::vector<std::string> PageLines(const std::string& html) {
  std::vector<std::string> lines;
  for (size_t br = html.find("<BR>"); br != std::string::npos; br = html.find("<BR>", br + 1)) {
    const size_t from = html.rfind('\n', br);
    lines.push_back(StripTags(html.substr(from == std::string::npos ? 0 : from + 1, br - from - 1)));
  }
  return lines;
}

// The `count` lines or rows that follow the first one equal to `head`; none when fewer follow.
template <typename T, typename Head>
std::vector<T> After(const std::vector<T>& items, const Head& head, size_t count) {
  const auto it = std::find(items.begin(), items.end(), head);
  if (static_cast<size_t>(items.end() - it) <= count) return {};
  return {it + 1, it + 1 + static_cast<std::ptrdiff_t>(count)};
}

template <typename T, typename V>
bool Has(const std::vector<T>& items, const V& value) {
  return std::find(items.begin(), items.end(), value) != items.end();
}

BoxScoreOptions Options() {
  BoxScoreOptions o;
  o.AppPath = "/nonexistent/";
  o.Stamp = "Tuesday, Nov 24 2026 - 04:18:25 PM";
  return o;
}

const Cells kStandingsHead{"Pos", "Driver", "Avg. Speed", "Time", "Laps Led", "Fast Lap", "Points", "Team"};

TEST(BoxScoreTest, FinalStandingsFiguresInBothForms) {
  const BoxScore box = BuildBoxScore(*SmallRace(), Options());
  // Average speed = 40 x 3 / (clock x 4.5) x 90: Ann 20 turns 120.00, Bo 20.5 turns 117.07 (10800 /
  // 92.25), Cy 40 turns 60.00. Ann's time 20 x 4.5 = 90 s; the others' gaps reversed: -2.25 s rounds
  // to -00:02, -90 s is -01:30. Points: Ann 10 + fast 3 + most laps 5 + led 2 = 20; Bo 6 + pole 1 +
  // led 2 = 9; Cy 4. Di Moss crashed on lap 2: no speed, no points.
  const auto rows = After(PageRows(box.Html), kStandingsHead, 4);
  ASSERT_EQ(rows.size(), 4u);
  EXPECT_EQ(rows[0].cells, (Cells{"1", "Ann Park", "120.00 MPH", "01:30", "2", "125.25 MPH(2)", "20", "Reds"}));
  EXPECT_EQ(rows[1].cells, (Cells{"2", "Bo Diaz", "117.07 MPH", "-00:02", "1", "125.25 MPH(3)", "9", "Blues"}));
  EXPECT_EQ(rows[2].cells, (Cells{"3", "Cy Lee", "60.00 MPH", "-01:30", "0", "101.00 MPH(2)", "4", "Reds"}));
  EXPECT_EQ(rows[3].cells, (Cells{"", "Di Moss", "", "Crash", "Lap 2", "", "", "Greens"}));
  EXPECT_EQ((Cells{rows[0].Open, rows[1].Open, rows[3].Open}),
            (Cells{"<TR bgcolor=#FFFF66>", "<TR bgcolor=#FFFFCC>", "<TR>"}));
  EXPECT_EQ(After(RichLines(box.Rtf, true), "Pos Driver Avg Speed Time Laps Led Fast Lap Points Team", 4),
            Split("1 Ann Park 120.00 MPH 01:30 2 125.25 MPH(2) 20 Reds|2 Bo Diaz 117.07 MPH -00:02 1 125.25 MPH(3) 9 "
                  "Blues|3 Cy Lee 60.00 MPH -01:30 0 101.00 MPH(2) 4 Reds|Di Moss Crash - Lap 2 Greens"));
  const RaceFigures& f = box.Figures;
  EXPECT_EQ(std::tuple(f.CarLapsLed[1], f.MostLapsLed, f.PoleCar, f.FastLapCar), std::tuple(2, 2, 2, 1));
  // The page draws its charts; the rich text cannot.
  EXPECT_NE(box.Html.find("<svg"), std::string::npos);
  EXPECT_EQ(box.Rtf.find("svg"), std::string::npos);
}

TEST(BoxScoreTest, PointsEdgeCases) {
  struct Case {
    const char* name;
    void (*change)(RaceState&);
    const char* rows;  // pos, laps led, points of the three finishers
  } cases[] = {
      // No lap run: nobody led, the most is 0, and every finisher's 0 matches it (+5 each).
      {"no lap finished", [](RaceState& rs) { rs.RaceLaps = 0; }, "1 0 15|2 0 12|3 0 9"},
      {"no points at all: the winner is still marked",
       [](RaceState& rs) {
         rs.PointStructure = {};
         rs.PointsPole = rs.PointsLeadLap = rs.PointsFastLap = rs.PointsLeadMost = 0;
       },
       "1 2 |2 1 |3 0 "},
      {"practice scores nothing", [](RaceState& rs) { rs.GameMode = "Practice"; }, "1 2 |2 1 |3 0 "},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    auto rs = SmallRace();
    c.change(*rs);
    const auto rows = After(PageRows(BuildBoxScore(*rs, Options()).Html), kStandingsHead, 3);
    ASSERT_EQ(rows.size(), 3u);
    std::vector<std::string> got;
    for (const PageRow& r : rows) got.push_back(r.cells[0] + " " + r.cells[4] + " " + r.cells[6]);
    EXPECT_EQ(got, Split(c.rows));
    EXPECT_EQ(rows[0].Open, "<TR bgcolor=#FFFF66>");
  }
}

TEST(BoxScoreTest, HeadAndRaceInformation) {
  auto rs = SmallRace();
  rs->WeatherEnabled = true;
  rs->WeatherCycles = 4;
  rs->OptBlueFlag = rs->OptNoLaneChangeInCurves = true;
  const BoxScore box = BuildBoxScore(*rs, Options());
  EXPECT_NE(box.Html.find("<TITLE>Velomark 2007 - Race Results</TITLE>"), std::string::npos);
  EXPECT_NE(box.Html.find("/nonexistent/Reports/VMR2007.bmp"), std::string::npos);
  const std::vector<std::string> expected = Split(
      "Single Race|Tuesday, Nov 24 2026 - 04:18:25 PM||Race Information|Ridge Park|Hollins|Virginia|Track Length:  1 "
      "miles|Race Setup|Race Distance: 3 laps, 3 miles|Cars: 4|Setup Points: 30|Qualifying Method: Single Lap|Pit "
      "Status:  Closed|Game Options|Prevent Curve Entry as a result of Slipstream|Prevent Acceleration from curve "
      "exit|Blue Flag cars being lapped|Prevent Slipstreaming in Curves|Prevent Lane Changes in Curves|Weather "
      "Enabled, 4 Cycles|Point Structure|Pole: 1|Lead 1+ Laps: 2|Lead Most Laps: 5|Fast Lap: 3|1st: 10|2nd: 6|3rd: "
      "4|4th: 3|5th: 0|6th: 0|7th: 0|8th: 0|9th: 0|10th: 0||Final Standings:");
  const std::vector<std::string> rich = RichLines(box.Rtf);
  auto first = std::find(rich.begin(), rich.end(), "Single Race");
  ASSERT_GE(rich.end() - first, static_cast<std::ptrdiff_t>(expected.size()));
  EXPECT_EQ(std::vector<std::string>(first, first + static_cast<std::ptrdiff_t>(expected.size())), expected);
  // Without a bonus there is no point structure; nor when the bonus is only the scale.
  rs->PointsPole = rs->PointsLeadLap = rs->PointsFastLap = rs->PointsLeadMost = 0;
  EXPECT_FALSE(Has(RichLines(BuildBoxScore(*rs, Options()).Rtf), "Point Structure"));
}

TEST(BoxScoreTest, PitLinesDifferBetweenForms) {
  const std::string stops =
      ": Minimum Required Stops = 2, Start Allotment = 10 laps, Pit Replenishment = 8 laps, Minimum Pit Duration = 6 "
      "race turns";
  struct Case {
    bool open, repair;
    std::string page, rich;
  } cases[] = {
      {false, false, "Pit Status:  Closed", "Pit Status:  Closed"},
      {true, true, "Pit Status: Repair Only, Minimum Pit Duration = 6",
       "Pit Setup: Repair Only, Minimum Pit Duration = 6"},
      {true, false, "Pit Status" + stops, "Pit Setup" + stops},
  };
  for (const Case& c : cases) {
    auto rs = SmallRace();
    rs->PitLaneOpen = c.open, rs->PitRepairOnly = c.repair;
    rs->MinPitDuration = 6, rs->MinPitStops = 2, rs->StartWearAllotment = 10, rs->PitReplenishment = 8;
    const BoxScore box = BuildBoxScore(*rs, Options());
    EXPECT_TRUE(Has(PageLines(box.Html), c.page)) << c.page;
    EXPECT_TRUE(Has(RichLines(box.Rtf), c.rich)) << c.rich;
  }
}

TEST(BoxScoreTest, TitlesAndSectionsByModeAndSwitches) {
  struct Case {
    const char* mode;
    bool archive, lapByLap, tables;
    const char* title;
    bool season;
  } cases[] = {
      {"Single", false, true, true, "Single Race", false},
      {"Season", false, false, true, "Season:  Summer Cup  - Race # 3", true},
      {"Season", true, true, false, "Race Results", true},
      {"Practice", false, false, false, "Practice", false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.title);
    auto rs = SmallRace();
    rs->GameMode = c.mode;
    BoxScoreOptions o = Options();
    o.SeasonName = "Summer Cup", o.SeasonRace = 3;
    o.Archive = c.archive, o.LapByLap = c.lapByLap, o.ResultTables = c.tables;
    o.DriverStandings = {{"Ann Park", 44}, {"Bo Diaz", 30}};
    o.TeamStandings = {{"Reds", 60}};
    const BoxScore box = BuildBoxScore(*rs, o);
    const auto rich = RichLines(box.Rtf, true);
    const auto rows = PageRows(box.Html);
    EXPECT_TRUE(Has(PageLines(box.Html), c.title));
    EXPECT_EQ(Has(rows, Cells{"Lap By Lap Standings:"}), c.lapByLap);
    EXPECT_EQ(Has(rich, "Lap By Lap Standings:"), c.lapByLap);
    EXPECT_EQ(Has(rows, Cells{"Results Tables Used"}), c.tables);
    EXPECT_EQ(Has(rich, "Results Tables Used"), c.tables);
    EXPECT_EQ(Has(rows, Cells{"Season Standings"}), c.season);
    EXPECT_EQ(Has(rich, "Driver Standings:"), c.season);
    EXPECT_EQ(Has(rich, "Point Structure"), std::string(c.mode) != "Practice");
    if (c.season && !c.archive) {
      const auto drivers = After(rows, Cells{"Driver", "Points"}, 2);
      ASSERT_EQ(drivers.size(), 2u);
      EXPECT_EQ(drivers[1].cells, (Cells{"Bo Diaz", "30"}));
      EXPECT_EQ(After(rich, "Team Standings:", 2), Split("Team Total|Reds 60"));
    }
  }
}

TEST(BoxScoreTest, HighlightsGridLapsAndTables) {
  const BoxScore box = BuildBoxScore(*SmallRace(), Options());
  // Only the entry that begins with a driver is bold.
  EXPECT_NE(box.Html.find("<B>Ann Park takes the flag</B>"), std::string::npos);
  EXPECT_EQ(box.Html.find("<B>(Lap 1/Move 3)"), std::string::npos);
  EXPECT_TRUE(Has(RichLines(box.Rtf), "(Lap 1/Move 3) Spin - 3 Cy Lee, Chance"));

  // Grid order from lap 0, qualifying times for a single lap, Di Moss's present acceleration.
  const Cells gridHead{"Driver", "Qual Time", "Start",   "Acc",          "Dec", "Top",
                       "Wear",   "DRM",       "Profile", "S/A/D/T/Ch/C", "Team"};
  const auto grid = After(PageRows(box.Html), gridHead, 4);
  ASSERT_EQ(grid.size(), 4u);
  EXPECT_EQ(grid[0].cells, (Cells{"Bo Diaz", "0:30.500", "100", "40", "60", "200", "3", "+1", "LP-E/RP-S",
                                  "10/20/30/40/50/60", "Blues"}));
  EXPECT_EQ(grid[1].cells,
            (Cells{"Ann Park", "0:31.250", "100", "40", "60", "200", "3", "+1", "HUMAN    ", "N/A  ", "Reds"}));
  EXPECT_EQ(grid[2].cells,
            (Cells{"Cy Lee", "", "100", "40", "60", "200", "3", "+1", "LP-L/RP-L", "0/0/0/0/0/0", "Reds"}));
  EXPECT_EQ(grid[3].cells[8], "LP-S/RP-E");

  // The last lap reads the finish order, the crashed car at its end with no speed.
  const std::vector<std::string> rich = RichLines(box.Rtf, true);
  EXPECT_EQ(After(rich, "Lap: 3", 5),
            Split("Driver Wear Speed Interval|Ann Park 1 124.00 MPH 0.00 sec.|Bo Diaz 1 125.25 MPH 2.25 sec.|Cy Lee 2 "
                  "99.00 MPH 90.00 sec.|Di Moss 0 0.00 MPH 0.00 sec."));
  // A disabled success row is left out; the table words are the editor's.
  EXPECT_EQ(After(rich, "Start Speed (2D6)", 3),
            Split("Dice Roll Result|2 - 9 Start Speed Safely Exceeded, +20 MPH|10 - 12 Engine Stall - 0 MPH"));
  EXPECT_EQ(After(rich, "Chance (2D6)", 3), Split("Dice Roll Result|2 - 9 Spin|10 - 12 Crash, Out Of Race"));
}

TEST(BoxScoreTest, LapByLapGridOfTheScreen) {
  const auto grid = LapByLapGrid(*SmallRace());
  ASSERT_EQ(grid.size(), 4u);
  ASSERT_EQ(grid[0].size(), 21u);
  EXPECT_EQ((Cells{grid[0][0], grid[0][1], grid[0][2], grid[0][3], grid[0][11], grid[0][12], grid[0][20]}),
            (Cells{"Lap", "1st", "2nd", "3rd", "11th", "12th", "20th"}));
  EXPECT_EQ((Cells(grid[1].begin(), grid[1].begin() + 6)),
            (Cells{"1", "Bo Diaz 115.50 MPH 0.00 sec.", "Ann Park 110.00 MPH 1.35 sec.", "Cy Lee 100.00 MPH 4.50 sec.",
                   "Di Moss 90.00 MPH 9.00 sec.", ""}));
  EXPECT_EQ(grid[3][4], "Di Moss 0.00 MPH 0.00 sec.");
}

TEST(BoxScoreTest, PracticeResultsListEachCarsLaps) {
  auto rs = SmallRace();
  rs->GameMode = "Practice";
  const auto rich = RichLines(BuildPracticeResults(*rs, Options()).Rtf, true);
  EXPECT_TRUE(Has(rich, "Practice"));
  for (const char* absent : {"Final Standings:", "Point Structure", "Season Standings"})
    EXPECT_FALSE(Has(rich, absent)) << absent;
  // A lap's time is 40 x 90 / speed: 3600 / 110 = 32.727 s, 3600 / 125.25 = 28.743 s.
  EXPECT_EQ(After(rich, "Ann Park", 4),
            Split("Lap Time Speed Wear|1 0:32.727 110.00 MPH 0|2 0:28.743 125.25 MPH 0|3 0:29.032 124.00 MPH 1"));
  EXPECT_EQ(After(rich, "Di Moss", 2), Split("Lap Time Speed Wear|1 0:40.000 90.00 MPH 0"));
}

TEST(BoxScoreTest, SeasonStandingsReport) {
  SeasonReportInput in;
  in.SeasonName = "Summer Cup";
  in.AppPath = "/nonexistent/";
  in.Schedule = {{"Race", "Track"}, {{"1", "Ridge Park"}, {"2", "Lake Run"}}};
  in.Drivers = {{"Driver", "Team", "Total"}, {{"Ann Park", "Reds", "20"}, {"Bo Diaz", "Blues", "0"}}};
  in.Teams = {{"Team", "Total"}, {{"Reds", "20"}}};
  in.RuleLines = {"Pit Status:  Closed"};
  in.Races = {{1, "Ridge Park", {{"Ann Park", 20}, {"Bo Diaz", 0}}, "Bo Diaz", "Ann Park", "Ann Park"}};
  const BoxScore box = BuildSeasonReport(in);
  EXPECT_NE(box.Html.find("<TITLE>Velomark 2007 - Season Standings</TITLE>"), std::string::npos);
  for (const char* line : {"Season: Summer Cup", "Standings:", "Pit Status:  Closed", "Pole: Bo Diaz"})
    EXPECT_TRUE(Has(RichLines(box.Rtf), line)) << line;
  EXPECT_EQ(After(RichLines(box.Rtf, true), "Driver Team Total", 2), Split("Ann Park Reds 20|Bo Diaz Blues 0"));
  const auto rows = After(PageRows(box.Html), Cells{"Pos", "Driver", "Points"}, 2);
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[0].Open, "<TR bgcolor=#FFFF66>");
  EXPECT_EQ(rows[1].cells, (Cells{"2", "Bo Diaz", ""}));
}

TEST(BoxScoreTest, ReportTimeLeavesOutEmptyHours) {
  EXPECT_EQ(ReportTime(90), "01:30");
  EXPECT_EQ(ReportTime(3725), "01:02:05");
  EXPECT_EQ(ReportTime(-2.25), "-00:02");
}

}  // namespace
}  // namespace vm
