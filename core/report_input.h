// What the reports are handed from the season, as plain tables: the standings and the printed
// season report's input. The season fills them; the reports print them.
#pragma once

#include <string>
#include <vector>

namespace vm {

// A line of a standings table handed in from the season: a name and its points.
struct StandingLine {
  std::string Name;
  int Points = 0;
};

// A table handed in as text: its headings and its rows, in the order they are to be shown.
struct ReportTableText {
  std::vector<std::string> Columns;
  std::vector<std::vector<std::string>> Rows;
};

// One race of a season already run, as its results file tells it.
struct SeasonReportRace {
  int Race = 0;
  std::string Track;
  std::vector<StandingLine> Finish;  // every place, first place first: the driver and his points
  std::string Pole;                  // the drivers of the race's figures, "" when none
  std::string FastLap;
  std::string MostLaps;
};

// What the printed season standings need, converted by the caller from the season.
struct SeasonReportInput {
  std::string SeasonName;
  std::string AppPath;  // the data folder, for the logo
  std::string Stamp;
  ReportTableText Schedule;  // the schedule grid
  ReportTableText Drivers;   // the driver standings grid, sorted
  ReportTableText Teams;     // the team standings grid, sorted
  std::vector<std::string> RuleLines;
  std::vector<SeasonReportRace> Races;  // the races run, in order
};

}  // namespace vm
