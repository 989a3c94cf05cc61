#include "game/qualifying.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>
#include <vector>

#include "core/units.h"

namespace vm {

namespace {

constexpr std::string_view kOK = "OK";
constexpr std::string_view kRequalify = "Requalify";
constexpr std::string_view kMoveUp = "Move Up";
constexpr std::string_view kMoveDown = "Move Down";
constexpr std::string_view kBeginLap = "Begin Qualifying Lap";
constexpr std::string_view kStartRace = "Start Race";
constexpr std::string_view kCancelRace = "Cancel Race";

// A lap time of 9000 s or more is the mark of a car that never finished its lap.
constexpr double kNoTime = 9000;

std::string Pressed(const ListPanel& panel, const ListAnswer& answer) {
  if (answer.Button < 0 || answer.Button >= static_cast<int>(panel.Buttons.size())) return "";
  return panel.Buttons[static_cast<size_t>(answer.Button)];
}

std::string Fixed(double value, int decimals) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", decimals, value);
  return text;
}

ListPanel Panel(std::string name, std::string caption, std::vector<std::string> columns) {
  ListPanel panel;
  panel.Name = std::move(name);
  panel.Caption = std::move(caption);
  panel.Columns = std::move(columns);
  return panel;
}

// The first four columns every grid list shares.
std::vector<std::string> GridRow(const RaceState& rs, int pos) {
  const int car = rs.RunningOrder[static_cast<size_t>(pos)];
  return {std::to_string(pos), rs.DriverName[car], rs.CarTeam[car], std::to_string(rs.CarStartSpeed[car])};
}

int FieldSize(const RaceState& rs) { return std::clamp(rs.CarCount, 0, kMaxCars); }

// A missing scratch file gets the game's usual message; any other failure says what went wrong,
// so that a start refused for it is never a silent one.
void ReportScratchError(Console& console, const FileError& error, const std::string& path) {
  if (error.Code == FileErrorCode::NotFound) {
    ReportFileError(console, static_cast<int>(error.Code), path);
  } else {
    console.ShowMessage(error.Describe(), "Qualifying", MessageKind::Critical);
  }
}

}  // namespace

std::string QualifyTimeText(double seconds) {
  const long long ms = std::llround(std::fabs(seconds) * 1000.0);
  const long long h = ms / 3600000, m = ms / 60000 % 60, s = ms / 1000 % 60, frac = ms % 1000;
  char text[64];
  if (h > 0) {
    std::snprintf(text, sizeof text, "%lld:%02lld:%02lld.%03lld", h, m, s, frac);
  } else {
    std::snprintf(text, sizeof text, "%lld:%02lld.%03lld", m, s, frac);
  }
  return (seconds < 0 && ms > 0 ? "-" : "") + std::string(text);
}

Qualifying::Qualifying(RaceEngine& engine, QualifyingFiles files) : engine_(engine), files_(std::move(files)) {
  nextEndRace_ = std::move(engine_.Seams.EndRace);
  engine_.Seams.Qualify = [this](RuleContext&) { return Qualify(); };
  engine_.Seams.EndRace = [this](RuleContext& ctx) { LapEnded(ctx); };
}

Qualifying::~Qualifying() {
  engine_.Seams.Qualify = nullptr;
  engine_.Seams.EndRace = std::move(nextEndRace_);
}

bool Qualifying::Qualify() {
  RaceState& rs = Rs();
  if (rs.RaceStartRefused || rs.RaceEndedByUser || rs.GameMode == kModePractice) return true;
  if (rs.QualifyingMethod == kQualifySingleLap) {
    if (rs.QualifyingLapRunning || rs.QualifyingDone) return true;
    // The list is shown from the top, once the reset has returned, not from inside it.
    if (BeginSingleLapQualifying()) rs.QualifyingListPending = true;
    return false;
  }
  if (rs.QualifyingMethod == kQualifyStartSpeed) StartSpeedQualifying();
  if (rs.QualifyingMethod == kQualifyManual) ManualGrid();
  return true;
}

bool Qualifying::CanRequalify() const { return Rs().GameMode != kModeSeason && Rs().AllowRequalifying; }

// --- Start speed ----------------------------------------------------------------------------------

void Qualifying::RankByStartSpeed() {
  RaceState& rs = Rs();
  Random& rng = engine_.Context().rng;
  const int n = FieldSize(rs);
  // A car planned for more stops carries less: with short stints it gets a second roll.
  const bool hasRatio = rs.StartWearAllotment > 0;
  const double ratio = hasRatio ? static_cast<double>(rs.PitReplenishment) / rs.StartWearAllotment : 0;
  for (int car = 1; car <= n; ++car) {
    double adjust = std::floor(rng.Rnd() * 50);
    const bool pitting = rs.PitStrategy[car] == 1 && rs.PitLaneOpen && hasRatio;
    if (pitting && ratio <= 0.5) {
      adjust += std::floor(rng.Rnd() * 50);
    } else if (pitting && ratio <= 0.75) {
      adjust += std::floor(rng.Rnd() * 25);
    }
    adjust += rs.CarQualifyBonus[car] * 30;
    adjust_[static_cast<size_t>(car)] = adjust;
    rs.CarNewSpeed[car] = static_cast<int>(std::floor(rs.CarStartSpeed[car] * 100 + adjust));
  }
  // All cars stand level, so the ranking alone orders them; equal ranks keep their places.
  std::stable_sort(rs.RunningOrder.begin() + 1, rs.RunningOrder.begin() + 1 + n,
                   [&rs](int a, int b) { return rs.CarNewSpeed[a] > rs.CarNewSpeed[b]; });
  for (int pos = 1; pos <= n; ++pos) rs.LapOrder[0][pos] = rs.RunningOrder[pos];
  for (int car = 1; car <= n; ++car) rs.CarNewSpeed[car] = 0;
}

void Qualifying::StartSpeedQualifying() {
  RaceState& rs = Rs();
  for (;;) {
    RankByStartSpeed();
    ListPanel panel = Panel("frmQualifyingStartSpeed", "Start Speed Qualifying - Results",
                            {"Grid", "Driver", "Team", "Start", "Adjust"});
    for (int pos = 1; pos <= FieldSize(rs); ++pos) {
      const int car = rs.RunningOrder[pos];
      std::vector<std::string> row = GridRow(rs, pos);
      row.push_back(std::to_string(std::lround(adjust_[static_cast<size_t>(car)])));
      panel.Rows.push_back(std::move(row));
      panel.RowIsAI.push_back(rs.CarIsAI[car]);
    }
    // The closing button comes last, so that a panel left to its default closes.
    if (CanRequalify()) panel.Buttons.emplace_back(kRequalify);
    panel.Buttons.emplace_back(kOK);
    // A row picked changes nothing here: only a button closes or ranks again.
    ListAnswer answer;
    do answer = Ui().ShowList(panel);
    while (answer.Button < 0);
    if (Pressed(panel, answer) != kRequalify) return;
  }
}

// --- Manual grid ----------------------------------------------------------------------------------

void Qualifying::ManualGrid() {
  RaceState& rs = Rs();
  const int n = FieldSize(rs);
  // A season's grid is fixed before the dialog opens: it only shows it.
  const bool season = rs.GameMode == kModeSeason;
  int selected = -1;
  for (;;) {
    ListPanel panel = Panel("frmQualifyingManual", "Starting Grid - Manual Setup", {"Grid", "Driver", "Team", "Start"});
    panel.Selected = selected;
    panel.SelectionReturns = !season;
    for (int pos = 1; pos <= n; ++pos) {
      panel.Rows.push_back(GridRow(rs, pos));
      panel.RowIsAI.push_back(rs.CarIsAI[rs.RunningOrder[pos]]);
    }
    if (!season) panel.Buttons = {std::string(kMoveUp), std::string(kMoveDown)};
    if (CanRequalify()) panel.Buttons.emplace_back(kRequalify);
    panel.Buttons.emplace_back(kOK);
    const ListAnswer answer = Ui().ShowList(panel);
    if (answer.Button < 0) {
      if (!season && answer.Row >= 0 && answer.Row < n) selected = answer.Row;
      continue;
    }
    const std::string pressed = Pressed(panel, answer);
    const int pos = selected + 1;  // the selected row's grid place
    if (pressed == kMoveUp && selected >= 1) {
      std::swap(rs.RunningOrder[pos], rs.RunningOrder[pos - 1]);
      selected -= 1;
    } else if (pressed == kMoveDown && selected >= 0 && pos < n) {
      std::swap(rs.RunningOrder[pos], rs.RunningOrder[pos + 1]);
      selected += 1;
    } else if (pressed == kRequalify) {
      RankByStartSpeed();
      selected = -1;
    } else if (pressed == kOK) {
      for (int p = 1; p <= n; ++p) rs.LapOrder[0][p] = rs.RunningOrder[p];
      return;
    }
  }
}

// --- Single lap -----------------------------------------------------------------------------------

bool Qualifying::BeginSingleLapQualifying() {
  RaceState& rs = Rs();
  if (std::optional<FileError> error = WriteRaceConfig(rs, files_.ConfigPath, files_.CarsFolder)) {
    ReportScratchError(Ui(), *error, files_.ConfigPath);
    rs.RaceStartRefused = true;
    return false;
  }
  rs.QualifyCarCount = rs.CarCount;
  for (int car = 1; car <= kMaxCars; ++car) {
    rs.QualifyTime[car] = kNoTime + car;
    rs.QualifySpeed[car] = 0;
    rs.QualifyWearsUsed[car] = 0;
    rs.QualifyOrder[car] = car;
  }
  rs.QualifyIndex = 1;
  return true;
}

ListPanel Qualifying::SingleLapPanel() const {
  const RaceState& rs = Rs();
  const int field = std::clamp(rs.QualifyCarCount, 0, kMaxCars);
  const int driven = std::clamp(rs.QualifyIndex - 1, 0, field);
  std::vector<int> cars(rs.QualifyOrder.begin() + 1, rs.QualifyOrder.begin() + 1 + field);
  std::stable_sort(cars.begin(), cars.begin() + driven,
                   [&rs](int a, int b) { return rs.QualifySpeed[a] > rs.QualifySpeed[b]; });
  ListPanel panel = Panel("frmQualifyingSingleLap", "Single Lap Qualifying - Results",
                          {" ", "", "Driver", "Team", "Time", "Speed", "Wr Used"});
  for (int row = 0; row < field; ++row) {
    const int car = cars[static_cast<size_t>(row)];
    if (!IsCarNumber(car)) continue;
    std::string time = "-", speed = "-", wears = "-";
    if (row < driven) {
      time = rs.QualifyTime[car] >= kNoTime ? "Crash" : QualifyTimeText(rs.QualifyTime[car]);
      speed = Fixed(rs.QualifySpeed[car], 2) + " mph";
      wears = std::to_string(rs.CarWearPerLap[car]);
    }
    panel.Rows.push_back(
        {std::to_string(row + 1), std::to_string(car), rs.DriverName[car], rs.CarTeam[car], time, speed, wears});
    panel.RowIsAI.push_back(rs.CarIsAI[car]);
  }
  if (rs.QualifyIndex <= field) {
    panel.Shaded = driven;
    panel.Buttons = {std::string(kBeginLap), std::string(kCancelRace)};
  } else {
    panel.Buttons = {std::string(kStartRace)};
  }
  return panel;
}

void Qualifying::ShowPendingList() {
  RaceState& rs = Rs();
  while (rs.QualifyingListPending && !rs.RaceRunning) {
    rs.QualifyingDone = false;
    rs.PitLaneOpen = false;
    const ListPanel panel = SingleLapPanel();
    const std::string pressed = Pressed(panel, Ui().ShowList(panel));
    if (pressed == kBeginLap) {
      BeginLap();
    } else if (pressed == kStartRace) {
      StartQualifiedRace();
    } else if (pressed == kCancelRace) {
      CancelRace();
    }
  }
}

void Qualifying::BeginLap() {
  RaceState& rs = Rs();
  rs.QualifyingLapRunning = true;
  rs.QualifyingListPending = false;
  // LoadQualifyingLap: the race as set up, then one car over one lap.
  if (!RestoreRace()) return;
  rs.RaceLaps = 1;
  rs.CarCount = 1;
  rs.PitLaneOpen = false;
  rs.WeatherEnabled = false;
  lapOfOurs_ = true;
  engine_.StartRace();
}

void Qualifying::StartQualifiedRace() {
  RaceState& rs = Rs();
  rs.QualifyingListPending = false;
  rs.QualifyingLapRunning = false;
  rs.QualifyingDone = true;
  // LoadQualifyingRace: the race as set up; the reset then grids it by the lap speeds.
  if (!RestoreRace()) return;
  rs.RaceConfigLoaded = false;
  engine_.StartRace();
}

void Qualifying::CancelRace() {
  if (!Ui().AskYesNo("Are you sure you want to RED FLAG this race ?", "End Race")) return;
  // The one-lap, one-car settings of the timed laps must not outlive qualifying.
  RestoreRace();
  CallOff();
}

void Qualifying::LapEnded(RuleContext& ctx) {
  RaceState& rs = Rs();
  if (!lapOfOurs_) {
    if (nextEndRace_) nextEndRace_(ctx);
    return;
  }
  lapOfOurs_ = false;
  if (!rs.QualifyingLapRunning) {
    // The engine's red flag took the lap's marks down: it calls the whole qualifying off.
    RestoreRace();
    CallOff();
    return;
  }
  // A car that crashed or stalled out keeps its "no time" and its speed of 0.
  const int car = IsCarNumber(rs.QualifyIndex) ? rs.QualifyOrder[static_cast<size_t>(rs.QualifyIndex)] : 0;
  if (IsCarNumber(car)) rs.QualifyWearsUsed[car] = rs.LapWearsUsed[0][car] + rs.LapWearsUsed[1][car];
  rs.QualifyIndex += 1;
  rs.QualifyingListPending = true;
}

bool Qualifying::RestoreRace() {
  RaceState& rs = Rs();
  if (std::optional<FileError> error = ReadRaceConfig(rs, files_.ConfigPath, files_.CarsFolder, files_.LoadTrack)) {
    ReportScratchError(Ui(), *error, files_.ConfigPath);
    CallOff();
    return false;
  }
  return true;
}

void Qualifying::CallOff() {
  RaceState& rs = Rs();
  if (rs.QualifyCarCount > 0) rs.CarCount = rs.QualifyCarCount;
  rs.QualifyingLapRunning = false;
  rs.QualifyingListPending = false;
  rs.QualifyingDone = false;
  rs.RaceStartRefused = true;
  lapOfOurs_ = false;
}

}  // namespace vm
