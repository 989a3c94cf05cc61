// The box score: the full report of a race, built in one pass as rich text and as an HTML page
// with its lap and gap charts; the practice results; and the lap-by-lap grid of the screen.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "core/race_state.h"
#include "core/report_input.h"
#include "engine/laps.h"

namespace vm {

struct BoxScoreOptions {
  bool LapByLap = true;      // mnuViewLapByLap: the "Lap By Lap Standings:" section
  bool ResultTables = true;  // mnuViewResultTables: the "Results Tables Used" section
  std::string AppPath;       // the data folder, for the logo "Reports\VMR2007.bmp"
  std::string Stamp;         // the date and time line under the title
  // In a season: its name, the race's number, and the standings including this race (the caller
  // rebuilds them from the season). An archive report of an earlier race is headed "Race Results".
  std::string SeasonName;
  int SeasonRace = 0;
  bool Archive = false;
  std::vector<StandingLine> DriverStandings;
  std::vector<StandingLine> TeamStandings;
};

struct BoxScore {
  std::string Rtf;
  std::string Html;
  RaceFigures Figures;  // laps led, most laps led, pole and fast lap, as the report counted them
};

// The report of the race as it stands once over: the title by GameMode, the race information,
// setup, options and point structure, the final standings (average speed, time or gap behind
// the winner, laps led, fast lap, points with every bonus, team; the cars out of the race after
// them), the highlights, the starting grid, the lap-by-lap standings, the season standings and
// the result tables, each section as the options ask. The page also draws a lap chart (places
// by lap) and a gap chart (seconds behind the leader by lap).
BoxScore BuildBoxScore(const RaceState& rs, const BoxScoreOptions& options);

// The practice results: the report without points, final standings or season; each car's laps.
BoxScore BuildPracticeResults(const RaceState& rs, const BoxScoreOptions& options);

// fgLapByLap: "Lap|1st|2nd|...|20th", a row per lap, each cell the driver with speed " MPH" and
// gap " sec." ("0.00 sec." for the leader).
std::vector<std::vector<std::string>> LapByLapGrid(const RaceState& rs);

// A time as the report prints it: "hh:mm:ss", the hours left out when there are none, with the
// sign and parts of the lap-time routine.
std::string ReportTime(double seconds);

// The printed season standings: the heading "Season: " with the name, "Standings:", the schedule,
// the drivers and teams, the rule lines, then each run race's finish and figures. Figures stays
// empty.
BoxScore BuildSeasonReport(const SeasonReportInput& input);

}  // namespace vm
