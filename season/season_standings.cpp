#include "season/season_standings.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <system_error>

#include "core/numbers.h"
#include "core/paths.h"
#include "core/track_file.h"

namespace vm {

namespace {

// A file's counts are not trusted to stay in range.
int RaceCount(const SeasonFileData& s) { return std::clamp(s.Races, 0, kMaxSeasonRaces); }
int DriverCount(const SeasonFileData& s) { return std::clamp(s.Drivers, 0, kMaxCars); }
int RacesRun(const SeasonFileData& s) { return std::clamp(s.NextRace - 1, 0, RaceCount(s)); }

// A car number outside the field stands for no car: it scores, harmlessly, for index 0.
int CarAt(const SeasonResult& result, int place) {
  const int car = result.Finish[static_cast<size_t>(place)];
  return car >= 1 && car <= kMaxCars ? car : 0;
}

// Index 0 is no driver; an empty name keeps it out of team " ", which every new driver has.
const std::string& TeamOf(const SeasonFileData& s, int car) {
  static const std::string kNoTeam;
  return car == 0 ? kNoTeam : s.Field[static_cast<size_t>(car)].Car.Team;
}

// Step 3.1: the highest laps-led figure read by the number of each car in the finish.
int MostLedRead(const SeasonResult& result) {
  int most = 0;
  for (int place = 1; place <= kMaxCars; ++place)
    most = std::max(most, result.LapsLed[static_cast<size_t>(CarAt(result, place))]);
  return most;
}

// Step 3.2: what the car at a place scores, its laps led read by its number.
int PlacePoints(const SeasonFileData& s, const SeasonResult& result, int place, int mostLed) {
  const int car = CarAt(result, place);
  const int led = result.LapsLed[static_cast<size_t>(car)];
  int points = s.PointStructure[static_cast<size_t>(place)];
  if (car == result.FastLapCar) points += s.PointsFastLap;
  if (car == result.PoleCar) points += s.PointsPole;
  if (led == mostLed) points += s.PointsLeadMost;
  if (led > 0) points += s.PointsLeadLap;
  return points;
}

std::string Number(int value) { return std::to_string(value); }

std::string OneDecimal(double value) {
  char text[64];
  std::snprintf(text, sizeof text, "%.1f", value);
  return text;
}

// A generic sort reads cells that both hold numbers as numbers, so "10" ranks above "9", and any
// other pair as text.
bool GenericAbove(const std::string& a, const std::string& b) {
  const std::optional<double> x = ParseNumber(a);
  const std::optional<double> y = ParseNumber(b);
  if (x && y) return *x > *y;
  return a > b;
}

// Descending on one column; equal cells keep the order they came in (driver or team order).
void SortDescending(SeasonGrid& grid, size_t column) {
  std::stable_sort(grid.Rows.begin(), grid.Rows.end(), [column](const SeasonGridRow& a, const SeasonGridRow& b) {
    return GenericAbove(a.Cells[column], b.Cells[column]);
  });
}

std::vector<std::string> RaceHeadings(const SeasonFileData& s) {
  std::vector<std::string> headings;
  for (int r = 1; r <= RacesRun(s); ++r) headings.push_back(" " + s.Schedule[static_cast<size_t>(r)].Abbrev);
  return headings;
}

SeasonGrid DriverGrid(const SeasonFileData& s, const SeasonPoints& p) {
  SeasonGrid grid{"fgDriverStandings", {"Driver", "Team", "Total"}, {}, 3};
  for (const std::string& h : RaceHeadings(s)) grid.Columns.push_back(h);
  for (int d = 1; d <= DriverCount(s); ++d) {
    const CarRecord& car = s.Field[static_cast<size_t>(d)].Car;
    SeasonGridRow row{{car.DriverName, car.Team, Number(DriverTotal(s, p, d))}, car.IsAI};
    for (int r = 1; r <= RacesRun(s); ++r) {
      const int place = p.RacePlace[static_cast<size_t>(r)][static_cast<size_t>(d)];
      const int points = p.RacePoints[static_cast<size_t>(r)][static_cast<size_t>(d)];
      if (points > 0) {
        row.Cells.push_back(Number(place) + "(" + Number(points) + ")");
      } else {
        row.Cells.push_back(place != 0 ? Number(place) : "DNF");
      }
    }
    grid.Rows.push_back(std::move(row));
  }
  SortDescending(grid, 2);
  return grid;
}

// The teams are shown in the drivers' grid, hence its name.
SeasonGrid TeamGrid(const SeasonFileData& s, const SeasonPoints& p) {
  SeasonGrid grid{"fgDriverStandings", {"Team", "Total"}, {}, 2};
  for (const std::string& h : RaceHeadings(s)) grid.Columns.push_back(h);
  for (int t = 1; t <= p.TeamCount; ++t) {
    SeasonGridRow row{{p.TeamList[static_cast<size_t>(t)], Number(TeamTotal(s, p, t))}, false};
    for (int r = 1; r <= RacesRun(s); ++r) {
      const int points = p.TeamPoints[static_cast<size_t>(r)][static_cast<size_t>(t)];
      row.Cells.push_back(points != 0 ? Number(points) : "- ");
    }
    grid.Rows.push_back(std::move(row));
  }
  SortDescending(grid, 1);
  return grid;
}

SeasonGrid RatingsGrid(const SeasonFileData& s, const SeasonPoints& p) {
  SeasonGrid grid{"fgRatings", {"Driver", "Team", "Points", "Start", "Acc", "Dec", "Top", "WrLap", "DRM"}, {}, -1};
  for (int d = 1; d <= DriverCount(s); ++d) {
    const CarRecord& c = s.Field[static_cast<size_t>(d)].Car;
    grid.Rows.push_back(
        {{c.DriverName, c.Team, Number(DriverTotal(s, p, d)), Number(c.StartSpeed), Number(c.Acceleration),
          Number(c.Deceleration), Number(c.TopSpeed), Number(c.WearPerLap), Number(c.DRM)},
         false});
  }
  return grid;
}

std::string ProfileWord(int profile) {
  switch (profile) {
    case 1: return "Early";
    case 2: return "Steady";
    case 3: return "Late";
    default: return "";
  }
}

std::string ProfileLetter(int profile) {
  switch (profile) {
    case 1: return "E";
    case 2: return "S";
    case 3: return "L";
    default: return "?";
  }
}

SeasonGrid ProfilesGrid(const SeasonFileData& s) {
  SeasonGrid grid{"fgDrivers", {"Driver", "Team", "Lap Profile", "Race Profile", "SS/C/D/CA"}, {}, -1};
  for (int d = 1; d <= DriverCount(s); ++d) {
    const CarRecord& c = s.Field[static_cast<size_t>(d)].Car;
    // Each profile column names its own profile; a person drives without one.
    const std::string lap = c.IsAI ? ProfileWord(c.LapProfile) : ProfileText(c);
    const std::string race = c.IsAI ? ProfileWord(c.RaceProfile) : ProfileText(c);
    grid.Rows.push_back({{c.DriverName, c.Team, lap, race, RiskText(c)}, c.IsAI});
  }
  return grid;
}

// The schedule's track as it stands on this machine: the path as written (either separator, any
// case), or else the file of that name in the tracks folder, as a season made elsewhere has it.
std::string TrackName(const std::string& stored, const std::string& tracksFolder) {
  std::string path = ResolvePath(NativePath(stored));
  std::error_code ec;
  if (!std::filesystem::is_regular_file(path, ec))
    path = ResolvePath(JoinPath(tracksFolder, BaseName(NativePath(stored))));
  TrackHeader header;
  if (TrackPreview(path, header)) return "";
  return header.TrackName;
}

// The whole part of (laps - allotment) / replenishment + 0.5; none without replenishment.
int MinStops(const SeasonRace& race, int laps) {
  if (race.RepairOnly || race.PitReplenishment == 0) return 0;
  return static_cast<int>(std::floor(static_cast<double>(laps - race.StartAllotment) / race.PitReplenishment + 0.5));
}

SeasonGrid ScheduleGrid(const SeasonFileData& s, const std::string& tracksFolder) {
  SeasonGrid grid{
      "fgSeason", {"Race", "Track", "Abbrev", "Laps", "Miles", "Min Stops", "Repair Only", "Turn/Pit"}, {}, -1};
  for (int r = 1; r <= RaceCount(s); ++r) {
    const SeasonRace& race = s.Schedule[static_cast<size_t>(r)];
    const std::optional<int> laps = ParseWholeNumber(race.Laps);
    SeasonGridRow row{{Number(r), TrackName(race.TrackFile, tracksFolder), race.Abbrev,
                       laps ? Number(*laps) : race.Laps, OneDecimal(race.Miles)},
                      false};
    if (race.PitOpen) {
      row.Cells.push_back(Number(MinStops(race, laps.value_or(0))));
      row.Cells.push_back(race.RepairOnly ? "Yes" : "No");
      row.Cells.push_back(Number(race.MinPitTurns));
    } else {
      row.Cells.insert(row.Cells.end(), 3, "Closed");
    }
    grid.Rows.push_back(std::move(row));
  }
  return grid;
}

}  // namespace

SeasonPoints RebuildSeasonPoints(const SeasonFileData& s) {
  SeasonPoints p;  // Step 1: zeroed.
  // Step 2. Exact names: "Reds" and "Reds " are two teams.
  for (int d = 1; d <= DriverCount(s); ++d) {
    const std::string& team = TeamOf(s, d);
    const auto end = p.TeamList.begin() + 1 + p.TeamCount;
    if (std::find(p.TeamList.begin() + 1, end, team) == end) p.TeamList[static_cast<size_t>(++p.TeamCount)] = team;
  }
  // Steps 3 and 4, over every race of the schedule.
  for (int r = 1; r <= RaceCount(s); ++r) {
    const SeasonResult& result = s.Results[static_cast<size_t>(r)];
    const int mostLed = MostLedRead(result);
    for (int place = 1; place <= DriverCount(s); ++place) {
      const int car = CarAt(result, place);
      const int points = PlacePoints(s, result, place, mostLed);
      p.RacePlace[static_cast<size_t>(r)][static_cast<size_t>(car)] = place;
      p.RacePoints[static_cast<size_t>(r)][static_cast<size_t>(car)] = points;
      for (int t = 1; t <= p.TeamCount; ++t) {
        if (p.TeamList[static_cast<size_t>(t)] == TeamOf(s, car))
          p.TeamPoints[static_cast<size_t>(r)][static_cast<size_t>(t)] += points;
      }
    }
  }
  return p;
}

int DriverTotal(const SeasonFileData& season, const SeasonPoints& points, int driver) {
  int total = 0;
  for (int r = 1; r <= RacesRun(season); ++r)
    total += points.RacePoints[static_cast<size_t>(r)][static_cast<size_t>(driver)];
  return total;
}

int TeamTotal(const SeasonFileData& season, const SeasonPoints& points, int team) {
  int total = 0;
  for (int r = 1; r <= RacesRun(season); ++r)
    total += points.TeamPoints[static_cast<size_t>(r)][static_cast<size_t>(team)];
  return total;
}

std::string_view SeasonGridTypeName(SeasonGridType type) {
  switch (type) {
    case SeasonGridType::Driver: return "Driver";
    case SeasonGridType::Team: return "Team";
    case SeasonGridType::Ratings: return "Ratings";
    case SeasonGridType::Profiles: return "Profiles";
    case SeasonGridType::Schedule: return "Schedule";
  }
  return "";
}

int RaceOfColumn(const SeasonGrid& grid, int column) {
  if (grid.FirstRaceColumn < 0 || column < grid.FirstRaceColumn || column >= static_cast<int>(grid.Columns.size())) {
    return 0;
  }
  return column - grid.FirstRaceColumn + 1;
}

SeasonStandings BuildSeasonStandings(const SeasonFileData& season, const std::string& tracksFolder) {
  SeasonStandings st;
  st.Points = RebuildSeasonPoints(season);
  st.Grids[static_cast<size_t>(SeasonGridType::Driver)] = DriverGrid(season, st.Points);
  st.Grids[static_cast<size_t>(SeasonGridType::Team)] = TeamGrid(season, st.Points);
  st.Grids[static_cast<size_t>(SeasonGridType::Ratings)] = RatingsGrid(season, st.Points);
  st.Grids[static_cast<size_t>(SeasonGridType::Profiles)] = ProfilesGrid(season);
  st.Grids[static_cast<size_t>(SeasonGridType::Schedule)] = ScheduleGrid(season, tracksFolder);
  st.Caption = SeasonCaption(season);
  return st;
}

std::string SeasonCaption(const SeasonFileData& season) {
  return "Season: " + season.Name + " (" + Number(season.NextRace - 1) + " of " + Number(season.Races) +
         " races complete)";
}

std::string ProfileText(const CarRecord& car) {
  if (!car.IsAI) return "HUMAN    ";
  return "LP-" + ProfileLetter(car.LapProfile) + "/RP-" + ProfileLetter(car.RaceProfile);
}

std::string RiskText(const CarRecord& car) {
  if (!car.IsAI) return "N/A  ";
  std::string text;
  for (int risk : {car.RiskSS, car.RiskA, car.RiskD, car.RiskT, car.RiskC, car.RiskCA}) {
    text += (text.empty() ? "" : "/") + Number(risk);
  }
  return text;
}

namespace {

ReportTableText TableOf(const SeasonGrid& grid) {
  ReportTableText table{grid.Columns, {}};
  for (const SeasonGridRow& row : grid.Rows) table.Rows.push_back(row.Cells);
  return table;
}

}  // namespace

std::vector<StandingLine> StandingLines(const SeasonGrid& grid) {
  // The name and the total, in the grid's sorted order.
  std::vector<StandingLine> lines;
  const auto total = std::find(grid.Columns.begin(), grid.Columns.end(), "Total");
  const size_t at = static_cast<size_t>(total - grid.Columns.begin());
  for (const SeasonGridRow& row : grid.Rows)
    if (!row.Cells.empty() && at < row.Cells.size()) lines.push_back({row.Cells[0], std::atoi(row.Cells[at].c_str())});
  return lines;
}

SeasonReportInput SeasonReportInputOf(const SeasonFileData& season, const std::string& tracksFolder,
                                      const std::string& appPath, const std::string& stamp) {
  const SeasonStandings standings = BuildSeasonStandings(season, tracksFolder);
  SeasonReportInput in;
  in.SeasonName = season.Name;
  in.AppPath = appPath;
  in.Stamp = stamp;
  in.Schedule = TableOf(standings.Grid(SeasonGridType::Schedule));
  in.Drivers = TableOf(standings.Grid(SeasonGridType::Driver));
  in.Teams = TableOf(standings.Grid(SeasonGridType::Team));
  auto yes = [](bool on) { return std::string(on ? "Yes" : "No"); };
  in.RuleLines = {"Setup Points: " + std::to_string(season.CarSetupPoints), "Cars Locked: " + yes(season.LockCars),
                  "Damage Accumulated: " + yes(season.AccumulateDamage),
                  "Qualifying Method: " + season.QualifyingMethod,
                  season.WeatherEnabled ? "Weather Enabled" : "Weather Disabled"};
  auto name = [&season](int car) {
    return IsCarNumber(car) ? season.Field[static_cast<size_t>(car)].Car.DriverName : std::string();
  };
  const SeasonGrid& schedule = standings.Grid(SeasonGridType::Schedule);
  for (int r = 1; r < season.NextRace && r <= season.Races; ++r) {
    const SeasonResult& result = season.Results[static_cast<size_t>(r)];
    SeasonReportRace race;
    race.Race = r;
    if (static_cast<size_t>(r - 1) < schedule.Rows.size() && schedule.Rows[static_cast<size_t>(r - 1)].Cells.size() > 1)
      race.Track = schedule.Rows[static_cast<size_t>(r - 1)].Cells[1];
    for (int place = 1; place <= season.Drivers; ++place) {
      const int car = result.Finish[static_cast<size_t>(place)];
      if (IsCarNumber(car))
        race.Finish.push_back(
            {name(car), standings.Points.RacePoints[static_cast<size_t>(r)][static_cast<size_t>(car)]});
    }
    race.Pole = name(result.PoleCar);
    race.FastLap = name(result.FastLapCar);
    for (int place = 1; place <= kMaxCars; ++place)
      if (result.MostLaps > 0 && result.LapsLed[static_cast<size_t>(place)] == result.MostLaps)
        race.MostLaps = name(result.Finish[static_cast<size_t>(place)]);
    in.Races.push_back(std::move(race));
  }
  return in;
}

}  // namespace vm
