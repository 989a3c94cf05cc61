#include "rules/weather.h"

#include <algorithm>
#include <cmath>

#include "rules/dice.h"

namespace vm {

namespace {

constexpr int kLowest = 2;
constexpr int kHighest = 12;
constexpr int kFirstCloudy = 5;  // 5 and 6 are cloudy, below is rain, above clear
constexpr int kFirstClear = 7;
constexpr int kMostCycles = 10;  // cmbWeatherCycle lists 0 to this, within the race's laps
constexpr int kWrongTiresMph = 20;

std::string TrackLine(const RaceState& rs) { return SkyText(rs.WeatherValue) + ", Track - " + rs.TrackCondition; }

bool HumanRacing(const RaceState& rs) {
  const int n = std::clamp(rs.CarCount - rs.CarsFinished, 0, kMaxCars);
  for (int pos = 1; pos <= n; ++pos) {
    const int car = rs.RunningOrder[pos];
    if (IsCarNumber(car) && !rs.CarOutOfRace[car] && !rs.CarIsAI[car]) return true;
  }
  return false;
}

// Throws the Weather table's dice: two plain dice, then the table's own, always typed by hand
// when manual dice are allowed. No modifier; the result is held to the scale.
RollResult ThrowWeather(RuleContext& ctx) {
  RaceState& rs = ctx.rs;
  DrawPlainDice(ctx);
  RollDice(ctx, rs.Tables.W1, rs.Die2, true);
  rs.TableResult = Clamp(rs.Die2, kLowest, kHighest);
  return RollResult{rs.Die2, rs.TableResult, "", ResultColour::None};
}

// The start reads the thrown result on the scale directly, not on the table's rows; clouds at the
// start are dry.
void TakeStartRoll(RuleContext& ctx) {
  RaceState& rs = ctx.rs;
  rs.WeatherValue = rs.PrevWeatherValue = rs.TableResult;
  ApplyWeather(rs);
  if (!InSearch(rs)) ctx.log.LogHighlight(kLogPreRaceWeather, 0, 0, TrackLine(rs));
}

RollPanel StartWeatherPanel() {
  RollPanel p;
  p.Name = "frmWeatherTableStart";
  p.Caption = "Weather Table - Race Start";
  p.Rows = {
      {kLowest, kFirstCloudy - 1, "Rain"}, {kFirstCloudy, kFirstClear - 1, "Cloudy"}, {kFirstClear, kHighest, "Clear"}};
  return p;
}

RollPanel WeatherPanel(const RaceState& rs) {
  RollPanel p;
  p.Name = "frmWeatherTable";
  p.Caption = "Weather Table";
  p.Values = {{"Previous Weather", SkyText(rs.PrevWeatherValue)},
              {"Current Weather", SkyText(rs.WeatherValue)},
              {"Previous Track Condition:", rs.TrackCondition},
              {"Current Track Condition:", rs.TrackCondition},
              {"Track Roll Modifier", "0"}};
  const TableRow* rows[] = {&rs.Tables.W1, &rs.Tables.W2, &rs.Tables.W3};
  const char* texts[] = {"  Move Left", "  Steady", "  Move Right"};
  for (int i = 0; i < 3; ++i) p.Rows.push_back({rows[i]->RangeLow, rows[i]->RangeHigh, texts[i]});
  return p;
}

// Sets every curve cell `cut` MPH below its dry limit. Only real curve limits move: a cell with
// no limit at all is no cell. Every curve cell moves together, so the first one tells whether the
// table already stands where it should: the common case of a car on the same tires as the last.
void ShiftCurveLimits(Track& t, int cut) {
  bool first = true;
  for (int space = 1; space <= kMaxSpaces; ++space)
    for (int lane = 1; lane <= kMaxLanes; ++lane) {
      const int dryLimit = t.CellDrySpeedLimit[space][lane];
      if (dryLimit <= 0 || dryLimit >= kNoLimit) continue;
      if (first && t.CellSpeedLimit[space][lane] == dryLimit - cut) return;
      first = false;
      t.CellSpeedLimit[space][lane] = dryLimit - cut;
    }
}

}  // namespace

std::string SkyText(int value) {
  const std::string v = "(" + std::to_string(value) + ")";
  if (value >= kLowest && value < kFirstCloudy) return "Raining " + v;
  if (value >= kFirstCloudy && value < kFirstClear) return "Cloudy " + v;
  if (value >= kFirstClear && value <= kHighest) return "Clear " + v;
  return "Error";
}

void ApplyWeather(RaceState& rs) {
  const int v = rs.WeatherValue;
  if (v >= kLowest && v < kFirstCloudy) {
    rs.TrackCondition = kTrackWet;
  } else if (v >= kFirstCloudy && v < kFirstClear) {
    rs.TrackCondition = rs.PrevWeatherValue >= kFirstCloudy ? kTrackDry : kTrackWet;
  } else if (v >= kFirstClear && v <= kHighest) {
    rs.TrackCondition = kTrackDry;
  }
}

void StartWeather(RuleContext& ctx) {
  RaceState& rs = ctx.rs;
  if (rs.WeatherEnabled && !rs.QualifyingLapRunning) {
    const int most = std::clamp(rs.RaceLaps - 1, 0, kMostCycles);
    NumberPanel setup{"frmWeatherSetup", "Weather Setup", "Number of Weather Cycles During Race", 0, most,
                      std::clamp(rs.WeatherCycles, 0, most)};
    rs.WeatherCycles = std::clamp(ctx.console.ChooseNumber(setup), 0, most);
  }
  rs.WeatherValue = kHighest;
  rs.WeatherRollPending = false;
  if (rs.WeatherEnabled) {
    auto roll = [&] {
      RollResult r = ThrowWeather(ctx);
      r.Text = SkyText(r.TableResult);
      r.Colour = r.TableResult < kFirstCloudy ? ResultColour::Red : ResultColour::Green;
      return r;
    };
    if (rs.FirstHumanCar != 0) {
      ctx.console.RollTable(StartWeatherPanel(), roll, [&] { TakeStartRoll(ctx); });
    } else {
      RollStartWeather(ctx);
    }
  }
  rs.PrevWeatherValue = rs.WeatherValue;
  ApplyWeather(rs);
  const int n = std::clamp(rs.CarCount, 0, kMaxCars);
  for (int car = 1; car <= n; ++car) {
    rs.CarWetTires[car] = rs.WeatherValue < kFirstCloudy;
    if (rs.WeatherValue == kFirstCloudy && rs.CarIsAI[car])
      rs.CarWetTires[car] = static_cast<int>(std::floor(ctx.rng.Rnd() * 10)) + 1 < 5;
  }
}

void RollStartWeather(RuleContext& ctx) {
  ThrowWeather(ctx);
  TakeStartRoll(ctx);
}

void WeatherTiming(RuleContext& ctx, int car) {
  RaceState& rs = ctx.rs;
  if (!rs.WeatherEnabled || rs.WeatherCycles < 1 || InSearch(rs) || !IsCarNumber(car)) return;
  const int lap = rs.CarLap[car];
  if (lap < 2 || lap > rs.RaceLaps) return;
  // Fewer laps than cycles make no cycle at all.
  const int every = rs.RaceLaps / (rs.WeatherCycles + 1);
  if (every < 1 || (lap - 1) % every != 0) return;
  rs.WeatherRollPending = true;
  rs.WeatherRollSpace = static_cast<int>(std::floor(ctx.rng.Rnd() * (rs.track.TrackLength - 10))) + 5;
}

void CheckWeatherRoll(RuleContext& ctx, int leader) {
  RaceState& rs = ctx.rs;
  if (!rs.WeatherEnabled || !rs.WeatherRollPending || !IsCarNumber(leader)) return;
  if (rs.CarSpace[leader] <= rs.WeatherRollSpace) return;
  // A roll shown to a human is over once shown, as one rolled unseen.
  RollWeather(ctx, leader, HumanRacing(rs));
  rs.WeatherRollPending = false;
}

void RollWeather(RuleContext& ctx, int logCar, bool shown) {
  RaceState& rs = ctx.rs;
  RowHits rows;
  auto roll = [&] {
    RollResult r = ThrowWeather(ctx);
    rows = RowsHolding(rs.Tables, TableId::Weather, r.TableResult);
    for (int row : rows) {
      static const char* const kShown[] = {"Left", "Steady", "Right"};
      r.Text = kShown[row];
      r.Colour = row == 0 ? ResultColour::Red : ResultColour::Green;
    }
    return r;
  };
  auto settle = [&] {
    for (int row : rows) {
      rs.PrevWeatherValue = rs.WeatherValue;
      if (row == 0) rs.WeatherValue = std::max(kLowest, rs.WeatherValue - 1);
      if (row == 2) rs.WeatherValue = std::min(kHighest, rs.WeatherValue + 1);
      ApplyWeather(rs);
      static const char* const kTrend[] = {"Worsening (", "Steady (", "Improving ("};
      const std::string text =
          kTrend[row] + std::to_string(rs.WeatherValue) + "), Track - " + rs.TrackCondition;
      if (!InSearch(rs)) ctx.log.LogHighlight(kLogWeather, logCar, 0, text);
    }
  };
  if (shown) {
    ctx.console.RollTable(WeatherPanel(rs), roll, settle);
  } else {
    roll();
    settle();
  }
}

void ApplyWeatherLimits(RaceState& rs, int car) {
  if (!rs.WeatherEnabled || !IsCarNumber(car)) return;
  const bool dry = rs.TrackCondition == kTrackDry;
  const int cut = (dry && rs.CarWetTires[car]) || (!dry && !rs.CarWetTires[car]) ? kWrongTiresMph : 0;
  ShiftCurveLimits(rs.track, cut);
}

void RestoreDryLimits(Track& t) { ShiftCurveLimits(t, 0); }

}  // namespace vm
