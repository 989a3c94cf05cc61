#include "reports/box_score.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <string_view>

#include "core/paths.h"
#include "core/result_tables.h"
#include "core/units.h"
#include "reports/race_charts.h"
#include "reports/report_document.h"

namespace vm {

namespace {

constexpr std::string_view kRaceResultsTitle = "Velomark 2007 - Race Results";
constexpr std::string_view kSeasonStandingsTitle = "Velomark 2007 - Season Standings";
constexpr std::string_view kLogo = "Reports/VMR2007.bmp";

// The two forms differ in a few words and headings, so each is written by its own document; what
// they share goes to both.
struct Forms {
  explicit Forms(std::string_view title) : page(std::string(title)), rich(std::string(title)) {}

  void Line(std::string_view text, bool bold = false) {
    page.Line(text, bold);
    rich.Line(text, bold);
  }
  void Line(std::string_view pageText, std::string_view richText) {
    page.Line(pageText);
    rich.Line(richText);
  }
  void Section(std::string_view heading) {
    page.Section(heading);
    rich.Section(heading);
  }
  void Subsection(std::string_view heading) {
    page.Subsection(heading);
    rich.Subsection(heading);
  }
  void BeginTable(const std::vector<ReportColumn>& columns) {
    page.BeginTable(columns);
    rich.BeginTable(columns);
  }
  void Row(const std::vector<std::string>& cells, RowMark mark = RowMark::Plain) {
    page.Row(cells, mark);
    rich.Row(cells, mark);
  }
  void EndTable() {
    page.EndTable();
    rich.EndTable();
  }
  void Head(const std::string& appPath, std::string_view title, const std::string& stamp) {
    page.Logo(JoinPath(appPath, kLogo));
    rich.Logo(JoinPath(appPath, kLogo));
    page.Title(title);
    rich.Title(title);
    if (!stamp.empty()) Line(stamp);
  }

  ReportDocument page;
  ReportDocument rich;
};

std::string Fixed2(double value) {
  char text[48];
  std::snprintf(text, sizeof text, "%.2f", value);
  return text;
}

// A figure as the game prints a plain number: no trailing zeros, no point for a whole number.
std::string Plain(double value) {
  char text[48];
  std::snprintf(text, sizeof text, "%.3f", value);
  std::string s = text;
  while (!s.empty() && s.back() == '0') s.pop_back();
  if (!s.empty() && s.back() == '.') s.pop_back();
  return s == "-0" ? "0" : s;
}

std::string Ordinal(int n) {
  const int tens = n % 100;
  const int last = n % 10;
  const char* tail = (tens >= 11 && tens <= 13) ? "th" : last == 1 ? "st" : last == 2 ? "nd" : last == 3 ? "rd" : "th";
  return std::to_string(n) + tail;
}

std::string Name(const RaceState& rs, int car) { return IsCarNumber(car) ? rs.DriverName[car] : std::string(); }

int Cars(const RaceState& rs) { return std::clamp(rs.CarCount, 0, kMaxCars); }
int Laps(const RaceState& rs) { return std::clamp(rs.RaceLaps, 0, kMaxLaps); }

// The state as the report reads it: the whole field in FinishOrder, and that order as the last
// lap's. A race of no laps keeps its grid, which LapOrder[0] holds.
std::unique_ptr<RaceState> Prepare(const RaceState& rs) {
  auto p = std::make_unique<RaceState>(rs);
  const std::vector<int> order = FinalFinishOrder(rs);
  for (size_t place = 1; place <= kMaxCars; ++place)
    p->FinishOrder[place] = place <= order.size() ? order[place - 1] : 0;
  p->FinishOrderCount = static_cast<int>(order.size());
  if (Laps(*p) >= 1) p->LapOrder[static_cast<size_t>(Laps(*p))] = p->FinishOrder;
  return p;
}

std::string TitleLine(const RaceState& rs, const BoxScoreOptions& options) {
  if (rs.GameMode == kModePractice) return "Practice";
  if (rs.GameMode != kModeSeason) return "Single Race";
  if (options.Archive) return "Race Results";
  // The page's bold title, with its two blanks after the colon, serves both forms.
  return "Season:  " + options.SeasonName + "  - Race # " + std::to_string(options.SeasonRace);
}

void PitLines(Forms& f, const RaceState& rs) {
  const std::string duration = "Minimum Pit Duration = " + std::to_string(rs.MinPitDuration);
  if (!rs.PitLaneOpen) {
    f.Line("Pit Status:  Closed");
  } else if (rs.PitRepairOnly) {
    f.Line("Pit Status: Repair Only, " + duration, "Pit Setup: Repair Only, " + duration);
  } else {
    const std::string tail = "Minimum Required Stops = " + std::to_string(rs.MinPitStops) +
                             ", Start Allotment = " + std::to_string(rs.StartWearAllotment) +
                             " laps, Pit Replenishment = " + std::to_string(rs.PitReplenishment) + " laps, " +
                             duration + " race turns";
    f.Line("Pit Status: " + tail, "Pit Setup: " + tail);
  }
}

void GameOptions(Forms& f, const RaceState& rs) {
  f.Subsection("Game Options");
  f.Line(rs.OptCurveEntryBySlipstream ? "Allow Curve Entry as a result of Slipstream"
                                      : "Prevent Curve Entry as a result of Slipstream");
  f.Line(rs.OptAccelFromCurveExit ? "Allow Acceleration from curve exit" : "Prevent Acceleration from curve exit");
  f.Line(rs.OptBlueFlag ? "Blue Flag cars being lapped" : "Do not Blue Flag cars being lapped");
  f.Line(rs.OptSlipstreamInCurves ? "Allow Slipstreaming in Curves" : "Prevent Slipstreaming in Curves");
  f.Line(rs.OptNoLaneChangeInCurves ? "Prevent Lane Changes in Curves" : "Allow Lane Changes in Curves");
  f.Line(rs.WeatherEnabled ? "Weather Enabled, " + std::to_string(rs.WeatherCycles) + " Cycles" : "Weather Disabled");
}

void PointStructure(Forms& f, const RaceState& rs) {
  if (rs.PointsPole <= 0 && rs.PointsLeadLap <= 0 && rs.PointsLeadMost <= 0 && rs.PointsFastLap <= 0) return;
  f.Subsection("Point Structure");
  const std::pair<const char*, int> bonuses[] = {{"Pole: ", rs.PointsPole},
                                                 {"Lead 1+ Laps: ", rs.PointsLeadLap},
                                                 {"Lead Most Laps: ", rs.PointsLeadMost},
                                                 {"Fast Lap: ", rs.PointsFastLap}};
  for (const auto& [label, points] : bonuses)
    if (points > 0) f.Line(label + std::to_string(points));
  for (size_t place = 1; place <= 10; ++place)
    f.Line(Ordinal(static_cast<int>(place)) + ": " + std::to_string(rs.PointStructure[place]));
}

void RaceInformation(Forms& f, const RaceState& rs, bool withPoints) {
  const Track& t = rs.track;
  f.Section("Race Information");
  f.Line(t.TrackName, true);
  f.Line(t.TrackPlace1);
  f.Line(t.TrackPlace2);
  f.Line("Track Length:  " + Plain(t.TrackDistanceMiles) + " miles");
  f.Subsection("Race Setup");
  f.Line("Race Distance: " + std::to_string(rs.RaceLaps) + " laps, " + Plain(rs.RaceLaps * t.TrackDistanceMiles) +
         " miles");
  f.Line("Cars: " + std::to_string(rs.CarCount));
  f.Line("Setup Points: " + std::to_string(rs.CarSetupPoints));
  f.Line("Qualifying Method: " + rs.QualifyingMethod);
  PitLines(f, rs);
  GameOptions(f, rs);
  if (withPoints) PointStructure(f, rs);
}

// The fastest of a car's laps as "123.45 MPH(7)", the first of equal laps; "" when it ran none.
std::string FastLapText(const RaceState& rs, int car) {
  double best = 0;
  int bestLap = 0;
  for (int lap = 1; lap <= Laps(rs); ++lap)
    if (rs.LapSpeedMph[static_cast<size_t>(lap)][car] > best) {
      best = rs.LapSpeedMph[static_cast<size_t>(lap)][car];
      bestLap = lap;
    }
  return bestLap == 0 ? "" : Fixed2(best) + " MPH(" + std::to_string(bestLap) + ")";
}

int CarPoints(const RaceState& rs, const RaceFigures& fig, int place, int car) {
  int points = place <= 50 ? rs.PointStructure[static_cast<size_t>(place)] : 0;
  if (car == fig.FastLapCar) points += rs.PointsFastLap;
  if (car == fig.PoleCar) points += rs.PointsPole;
  // With no lap led by anyone the most is 0, and every finisher's 0 matches it.
  if (fig.CarLapsLed[car] == fig.MostLapsLed) points += rs.PointsLeadMost;
  if (fig.CarLapsLed[car] > 0) points += rs.PointsLeadLap;
  return points;
}

void FinalStandings(Forms& f, const RaceState& rs, const RaceFigures& fig, bool withPoints) {
  f.Section("Final Standings:");
  f.BeginTable({{"Pos", "Pos", 4, true},
                {"Driver", "Driver", 22},
                {"Avg. Speed", "Avg Speed", 15, true},
                {"Time", "Time", 10, true},
                {"Laps Led", "Laps Led", 9, true},
                {"Fast Lap", "Fast Lap", 17, true},
                {"Points", "  Points", 8, true},
                {"Team", "Team", 20}});
  const int out = std::clamp(rs.CarsOut, 0, Cars(rs));
  const int finishers = Cars(rs) - out;
  const double winnerClock = rs.CarRaceClock[static_cast<size_t>(std::max(rs.FinishOrder[1], 0))];
  for (int place = 1; place <= finishers; ++place) {
    const int car = rs.FinishOrder[static_cast<size_t>(place)];
    if (!IsCarNumber(car)) continue;
    const double clock = rs.CarRaceClock[car];
    const double avg = clock > 0 ? rs.track.RacingLineSpaces * rs.RaceLaps / (clock * 4.5) * 90 : 0;
    const std::string time =
        place == 1 ? ReportTime(winnerClock * 4.5) : ReportTime(rs.LapGap[static_cast<size_t>(Laps(rs))][car] * -1);
    const int points = withPoints ? CarPoints(rs, fig, place, car) : 0;
    const RowMark mark = place == 1 ? RowMark::Winner : points > 0 ? RowMark::Points : RowMark::Plain;
    f.Row({std::to_string(place), rs.DriverName[car], Fixed2(avg) + " MPH", time, std::to_string(fig.CarLapsLed[car]),
           FastLapText(rs, car), points > 0 ? std::to_string(points) : "", rs.CarTeam[car]},
          mark);
  }
  // The cars out of the race, from the worst place forward.
  for (int place = Cars(rs); place > finishers; --place) {
    const int car = rs.FinishOrder[static_cast<size_t>(place)];
    if (!IsCarNumber(car)) continue;
    const std::string lap = "Lap " + std::to_string(rs.CarLap[car]);
    f.page.Row({"", rs.DriverName[car], "", "Crash", lap, "", "", rs.CarTeam[car]});
    f.rich.Row({"", rs.DriverName[car], "Crash - " + lap, "", "", "", "", rs.CarTeam[car]});
  }
  f.EndTable();
}

// An entry that begins with one of the race's drivers is a heading of its own.
bool BeginsWithDriver(const RaceState& rs, const std::string& entry) {
  for (int car = 1; car <= Cars(rs); ++car) {
    const std::string& name = rs.DriverName[car];
    if (!name.empty() && entry.compare(0, name.size(), name) == 0) return true;
  }
  return false;
}

void Highlights(Forms& f, const RaceState& rs) {
  f.Section("Race Highlights:");
  for (const std::string& entry : rs.Highlights) f.Line(entry, BeginsWithDriver(rs, entry));
}

std::string ProfileCell(const RaceState& rs, int car) {
  if (!rs.CarIsAI[car]) return "HUMAN    ";
  static constexpr std::array<std::string_view, 4> kLap{"", "LP-E/", "LP-S/", "LP-L/"};
  static constexpr std::array<std::string_view, 4> kRace{"", "RP-E", "RP-S", "RP-L"};
  auto pick = [](const auto& names, int v) {
    return std::string(v >= 1 && v <= 3 ? names[static_cast<size_t>(v)] : "");
  };
  return pick(kLap, rs.CarLapProfile[car]) + pick(kRace, rs.CarRaceProfile[car]);
}

std::string RiskCell(const RaceState& rs, int car) {
  if (!rs.CarIsAI[car]) return "N/A  ";
  const int risks[] = {rs.CarRiskSS[car], rs.CarRiskA[car], rs.CarRiskD[car],
                       rs.CarRiskT[car],  rs.CarRiskC[car], rs.CarRiskCA[car]};
  std::string text;
  for (int r : risks) text += (text.empty() ? "" : "/") + std::to_string(r);
  return text;
}

std::string DrmCell(int drm) {
  const std::string text = FormatDRM(drm);
  return text.empty() ? std::to_string(drm) : text;
}

void StartingGrid(Forms& f, const RaceState& rs) {
  const bool qualTime = rs.QualifyingMethod == "Single Lap";
  f.Section("Starting Grid:");
  std::vector<ReportColumn> columns{{"Driver", "Driver", 22}};
  if (qualTime) columns.push_back({"Qual Time", "Qual Time", 10, true});
  for (const char* head : {"Start", "Acc", "Dec", "Top", "Wear", "DRM"}) columns.push_back({head, head, 6, true});
  columns.push_back({"Profile", "Profile", 11});
  columns.push_back({"S/A/D/T/Ch/C", "S/A/D/T/Ch/C", 20});
  columns.push_back({"Team", "Team", 20});
  f.BeginTable(columns);
  for (int place = 1; place <= Cars(rs); ++place) {
    const int car = rs.LapOrder[0][static_cast<size_t>(place)];
    if (!IsCarNumber(car)) continue;
    std::vector<std::string> cells{rs.DriverName[car]};
    if (qualTime) {
      const double t = rs.QualifyTime[car];
      cells.push_back(t > 0 && t < 9000 ? FormatTimeMS(t) : "");
    }
    // A rating the race changed shows its present value: that rule is the narrower one, and the
    // present value is the design's wherever nothing changed.
    for (int v : {rs.CarStartSpeed[car], rs.CarAcceleration[car], rs.CarDeceleration[car], rs.CarTopSpeed[car],
                  rs.CarWearPerLap[car]})
      cells.push_back(std::to_string(v));
    cells.push_back(DrmCell(rs.CarDRM[car]));
    cells.push_back(ProfileCell(rs, car));
    cells.push_back(RiskCell(rs, car));
    cells.push_back(rs.CarTeam[car]);
    f.Row(cells);
  }
  f.EndTable();
}

void LapByLapSection(Forms& f, const RaceState& rs) {
  f.Section("Lap By Lap Standings:");
  for (int lap = 1; lap <= Laps(rs); ++lap) {
    const size_t l = static_cast<size_t>(lap);
    f.Subsection("Lap: " + std::to_string(lap));
    f.BeginTable({{"Driver", "Driver", 22},
                  {"Wear", "Wear", 6, true},
                  {"Speed", "Speed", 12, true},
                  {"Interval", "Interval", 14, true}});
    for (int place = 1; place <= Cars(rs); ++place) {
      const int car = rs.LapOrder[l][static_cast<size_t>(place)];
      if (!IsCarNumber(car)) continue;
      f.Row({rs.DriverName[car], std::to_string(rs.LapWearsUsed[l][car]), FormatMph(rs.LapSpeedMph[l][car]),
             Fixed2(rs.LapGap[l][car]) + " sec."});
    }
    f.EndTable();
  }
}

void StandingsTable(Forms& f, std::string_view heading, std::string_view nameHead, bool archive,
                    const std::vector<StandingLine>& lines) {
  f.page.Subsection(heading);
  f.rich.Subsection(std::string(heading) + ":");
  // An archive's table is the season up to that race, headed by its total.
  f.BeginTable({{std::string(nameHead), std::string(nameHead), 22},
                {archive ? "Total " : "Points", archive ? "Total " : " Total", 8, true}});
  for (const StandingLine& line : lines) f.Row({line.Name, std::to_string(line.Points)});
  f.EndTable();
}

void SeasonSection(Forms& f, const BoxScoreOptions& options) {
  f.Section("Season Standings");
  StandingsTable(f, "Driver Standings", "Driver", options.Archive, options.DriverStandings);
  StandingsTable(f, "Team Standings", "Team", options.Archive, options.TeamStandings);
}

void ResultTablesSection(Forms& f, const ResultTables& tables) {
  f.Section("Results Tables Used");
  for (const TableInfo& info : AllTables()) {
    const TableRow& first = RowOf(tables, info.Id, 0);
    f.Subsection(std::string(info.Name) + " (" + std::to_string(first.DiceCount) + "D6)");
    f.BeginTable({{"Dice Roll", "Dice Roll", 10}, {"Result", "Result", 56}});
    // A success row that can never be rolled is left out; the weather has none.
    const int disabledHigh = info.Id == TableId::SpinDamage ? 0 : 1;
    for (int i = 0; i < info.RowCount; ++i) {
      const TableRow& row = RowOf(tables, info.Id, i);
      if (i == 0 && info.Id != TableId::Weather && row.RangeHigh == disabledHigh) continue;
      f.Row({std::to_string(row.RangeLow) + " - " + std::to_string(row.RangeHigh),
             std::string(info.RowLabels[static_cast<size_t>(i)])});
    }
    f.EndTable();
  }
}

void Tail(Forms& f, const RaceState& rs, const BoxScoreOptions& options) {
  if (options.LapByLap) LapByLapSection(f, rs);
  if (rs.GameMode == kModeSeason) SeasonSection(f, options);
  if (options.ResultTables) ResultTablesSection(f, rs.Tables);
}

void PracticeLaps(Forms& f, const RaceState& rs) {
  f.Section("Practice Laps:");
  for (int car = 1; car <= Cars(rs); ++car) {
    f.Subsection(rs.DriverName[car]);
    f.BeginTable(
        {{"Lap", "Lap", 5, true}, {"Time", "Time", 10, true}, {"Speed", "Speed", 12, true}, {"Wear", "Wear", 6, true}});
    const int laps = std::clamp(rs.CarLap[car] - 1, 0, kMaxLaps);
    for (int lap = 1; lap <= laps; ++lap) {
      const double mph = rs.LapSpeedMph[static_cast<size_t>(lap)][car];
      // The lap's time comes back from its speed over the racing line.
      const std::string time = mph > 0 ? FormatTimeMS(rs.track.RacingLineSpaces * 90.0 / mph) : "";
      f.Row(
          {std::to_string(lap), time, FormatMph(mph), std::to_string(rs.LapWearsUsed[static_cast<size_t>(lap)][car])});
    }
    f.EndTable();
  }
}

std::vector<ReportColumn> ColumnsOf(const ReportTableText& table) {
  std::vector<ReportColumn> columns;
  for (size_t c = 0; c < table.Columns.size(); ++c) {
    size_t width = table.Columns[c].size();
    for (const auto& row : table.Rows)
      if (c < row.size()) width = std::max(width, row[c].size());
    columns.push_back({table.Columns[c], table.Columns[c], static_cast<int>(width) + 2});
  }
  return columns;
}

void TextTable(Forms& f, std::string_view heading, const ReportTableText& table) {
  f.Subsection(heading);
  f.BeginTable(ColumnsOf(table));
  for (const auto& row : table.Rows) f.Row(row);
  f.EndTable();
}

void SeasonRaceResult(Forms& f, const SeasonReportRace& race) {
  f.Subsection("Race # " + std::to_string(race.Race) + " - " + race.Track);
  const std::pair<const char*, const std::string*> figures[] = {
      {"Pole: ", &race.Pole}, {"Fast Lap: ", &race.FastLap}, {"Most Laps Led: ", &race.MostLaps}};
  for (const auto& [label, driver] : figures)
    if (!driver->empty()) f.Line(label + *driver);
  f.BeginTable({{"Pos", "Pos", 4, true}, {"Driver", "Driver", 22}, {"Points", "  Points", 8, true}});
  for (size_t i = 0; i < race.Finish.size(); ++i) {
    const StandingLine& line = race.Finish[i];
    const RowMark mark = i == 0 ? RowMark::Winner : line.Points > 0 ? RowMark::Points : RowMark::Plain;
    f.Row({std::to_string(i + 1), line.Name, line.Points > 0 ? std::to_string(line.Points) : ""}, mark);
  }
  f.EndTable();
}

}  // namespace

std::string ReportTime(double seconds) { return FormatTimeHMS(seconds); }

BoxScore BuildBoxScore(const RaceState& rs, const BoxScoreOptions& options) {
  const std::unique_ptr<RaceState> p = Prepare(rs);
  BoxScore score;
  score.Figures = CountRaceFigures(*p);
  const bool withPoints = p->GameMode != kModePractice;
  Forms f(kRaceResultsTitle);
  f.Head(options.AppPath, TitleLine(*p, options), options.Stamp);
  RaceInformation(f, *p, withPoints);
  FinalStandings(f, *p, score.Figures, withPoints);
  f.page.HtmlOnly(LapChartSvg(*p));
  f.page.HtmlOnly(GapChartSvg(*p));
  Highlights(f, *p);
  StartingGrid(f, *p);
  Tail(f, *p, options);
  score.Rtf = f.rich.Rtf();
  score.Html = f.page.Html();
  return score;
}

BoxScore BuildPracticeResults(const RaceState& rs, const BoxScoreOptions& options) {
  const std::unique_ptr<RaceState> p = Prepare(rs);
  BoxScore score;
  score.Figures = CountRaceFigures(*p);
  Forms f(kRaceResultsTitle);
  f.Head(options.AppPath, "Practice", options.Stamp);
  RaceInformation(f, *p, false);
  PracticeLaps(f, *p);
  Highlights(f, *p);
  StartingGrid(f, *p);
  if (options.LapByLap) LapByLapSection(f, *p);
  if (options.ResultTables) ResultTablesSection(f, p->Tables);
  score.Rtf = f.rich.Rtf();
  score.Html = f.page.Html();
  return score;
}

std::vector<std::vector<std::string>> LapByLapGrid(const RaceState& rs) {
  constexpr int kGridPlaces = 20;
  const std::unique_ptr<RaceState> p = Prepare(rs);
  std::vector<std::vector<std::string>> grid;
  std::vector<std::string> head{"Lap"};
  for (int place = 1; place <= kGridPlaces; ++place) head.push_back(Ordinal(place));
  grid.push_back(std::move(head));
  for (int lap = 1; lap <= Laps(*p); ++lap) {
    const size_t l = static_cast<size_t>(lap);
    std::vector<std::string> row{std::to_string(lap)};
    for (int place = 1; place <= kGridPlaces; ++place) {
      const int car = place <= Cars(*p) ? p->LapOrder[l][static_cast<size_t>(place)] : 0;
      if (!IsCarNumber(car)) {
        row.emplace_back();
        continue;
      }
      const double gap = place == 1 ? 0.0 : p->LapGap[l][car];
      row.push_back(Name(*p, car) + " " + FormatMph(p->LapSpeedMph[l][car]) + " " + Fixed2(gap) + " sec.");
    }
    grid.push_back(std::move(row));
  }
  return grid;
}

BoxScore BuildSeasonReport(const SeasonReportInput& input) {
  Forms f(kSeasonStandingsTitle);
  f.Head(input.AppPath, "Season: " + input.SeasonName, input.Stamp);
  f.Section("Standings:");
  TextTable(f, "Schedule", input.Schedule);
  TextTable(f, "Driver Standings", input.Drivers);
  TextTable(f, "Team Standings", input.Teams);
  if (!input.RuleLines.empty()) {
    f.Subsection("Rules");
    for (const std::string& line : input.RuleLines) f.Line(line);
  }
  if (!input.Races.empty()) {
    f.Section("Race Results");
    for (const SeasonReportRace& race : input.Races) SeasonRaceResult(f, race);
  }
  BoxScore score;
  score.Rtf = f.rich.Rtf();
  score.Html = f.page.Html();
  return score;
}

}  // namespace vm
