// The season's standings, rebuilt from the season file each time they are shown and never stored:
// each driver's place and points per race, the teams' points, and the five grids of the standings
// window as plain rows of text.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "cars/car_file.h"
#include "core/race_state.h"
#include "core/report_input.h"
#include "season/season_file.h"

namespace vm {

// The rebuilt tables. Index [race][driver] (or [race][team]), both 1..40; index 0 of the second
// collects whatever an empty place scores and is never shown.
struct SeasonPoints {
  using Table = std::array<std::array<int, kMaxCars + 1>, kMaxSeasonRaces + 1>;
  Table RacePlace{};                                 // the place the driver took, 0 for none
  Table RacePoints{};                                // the driver's points in that race
  Table TeamPoints{};                                // the team's points in that race
  std::array<std::string, kMaxCars + 1> TeamList{};  // 1..TeamCount, in order of first appearance
  int TeamCount = 0;
};

// Rebuilds the tables from the results of every race of the schedule, unrun ones included (their
// empty places score for index 0 only). Laps led are stored by place but read here by driver
// number, so a driver's lead bonuses go by the laps led of the car that took the place equal to
// his number; every driver matching the most laps so read, the pole or the fast lap gets the
// bonus. Only the first `Drivers` places score.
SeasonPoints RebuildSeasonPoints(const SeasonFileData& season);

// Returns the points of a driver (or of a team, by its index in TeamList) over the races run.
int DriverTotal(const SeasonFileData& season, const SeasonPoints& points, int driver);
int TeamTotal(const SeasonFileData& season, const SeasonPoints& points, int team);

// The grids of the standings window, in the order its type list offers them.
enum class SeasonGridType { Driver, Team, Ratings, Profiles, Schedule };
inline constexpr int kSeasonGridTypes = 5;

// The entry of the type list (cmbType) for a grid: "Driver", "Team", "Ratings", "Profiles",
// "Schedule".
std::string_view SeasonGridTypeName(SeasonGridType type);

struct SeasonGridRow {
  std::vector<std::string> Cells;
  bool Grey = false;  // a computer car's row, shown on grey
};

// One grid as text: its headings, its rows in the order shown, and where the race columns start.
struct SeasonGrid {
  std::string Name;  // the grid's own name: "fgDriverStandings", "fgRatings", ...
  std::vector<std::string> Columns;
  std::vector<SeasonGridRow> Rows;
  int FirstRaceColumn = -1;  // the column of race 1, -1 for a grid without race columns
};

// Returns the race of a grid's column, or 0 when the column holds no race.
int RaceOfColumn(const SeasonGrid& grid, int column);

// Everything the standings window shows.
struct SeasonStandings {
  SeasonPoints Points;
  std::array<SeasonGrid, kSeasonGridTypes> Grids;
  std::string Caption;  // lblSeasonName

  const SeasonGrid& Grid(SeasonGridType type) const { return Grids[static_cast<size_t>(type)]; }
};

// Rebuilds the points and fills every grid. `tracksFolder` is where a schedule's track is looked
// for when its path as written is not on this machine; a track that cannot be read has a blank
// name.
SeasonStandings BuildSeasonStandings(const SeasonFileData& season, const std::string& tracksFolder);

// The caption: "Season: " + name + " (" + races run + " of " + races + " races complete)".
std::string SeasonCaption(const SeasonFileData& season);

// The compact profile of a car for the grids and reports: "LP-E/RP-S" and the like for a computer
// car, "HUMAN    " for a person's.
std::string ProfileText(const CarRecord& car);

// The risk profile of a car, in the order SS/A/D/T/C/CA joined by "/"; "N/A  " for a person's car.
std::string RiskText(const CarRecord& car);

// A standings grid as the reports take it: each row's name and total, in the grid's order.
std::vector<StandingLine> StandingLines(const SeasonGrid& grid);

// The printed season standings' input: the grids, the rules, and each race run with its finish
// and its figures. `tracksFolder` finds the schedule's tracks; `appPath` holds the logo.
SeasonReportInput SeasonReportInputOf(const SeasonFileData& season, const std::string& tracksFolder,
                                      const std::string& appPath, const std::string& stamp);

}  // namespace vm
