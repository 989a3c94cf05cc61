#include "engine/laps.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "rules/pit_stops.h"
#include "rules/weather.h"

namespace vm {

namespace {

bool IsLap(int lap) { return lap >= 0 && lap <= kMaxLaps; }

// The share of this turn still unspent when the line is crossed, counting slipstream blocks.
double UnspentShare(const RaceState& rs, int car) {
  if (rs.CarNewSpeed[car] == 0) return 0;
  return rs.SpacesLeft * kMphPerSpace / (rs.CarNewSpeed[car] + rs.SlipBonusOfMove * kMphPerSpace);
}

// The lap's speed: the racing line run in the lap's turns.
double LapMph(const RaceState& rs, double turns) {
  if (turns <= 0) return 0;
  return rs.track.RacingLineSpaces / (turns * kSecondsPerTurn) * 90.0;
}

int Winner(const RaceState& rs) { return rs.CarsFinished >= 1 ? rs.FinishOrder[1] : 0; }

int LaneRank(const RaceState& rs, int car) {
  const int space = rs.CarSpace[car], lane = rs.CarLane[car];
  const bool onCell = space >= 1 && space <= kMaxSpaces && lane >= 1 && lane <= kMaxLanes;
  const int rank = onCell ? rs.track.CellLaneRank[space][lane] : 0;
  // A car off the track has no rank and yields to one that has.
  return rank > 0 ? rank : kMaxLanes + 1;
}

// True when `b` should finish ahead of `a`.
bool FinishesAhead(const RaceState& rs, int b, int a) {
  if (rs.CarRaceClock[b] != rs.CarRaceClock[a]) return rs.CarRaceClock[b] < rs.CarRaceClock[a];
  if (rs.CarSpeed[b] != rs.CarSpeed[a]) return rs.CarSpeed[b] > rs.CarSpeed[a];
  return LaneRank(rs, b) < LaneRank(rs, a);
}

// Sorts a lap's order by gap, the smaller ahead; empty places and cars out of the race go behind.
void SortLapOrder(RaceState& rs, int lap) {
  PerCar<int>& order = rs.LapOrder[static_cast<size_t>(lap)];
  const int n = std::clamp(rs.CarCount, 0, kMaxCars);
  auto counts = [&](int car) { return IsCarNumber(car) && !rs.CarOutOfRace[car]; };
  for (int round = 1; round <= n; ++round) {
    for (int pos = 1; pos < n; ++pos) {
      const int a = order[pos], b = order[pos + 1];
      if (!counts(b)) continue;
      if (!counts(a) || rs.LapGap[lap][b] < rs.LapGap[lap][a]) std::swap(order[pos], order[pos + 1]);
    }
  }
}

void KeepFastestLap(RuleContext& ctx, int car, int lap, double seconds) {
  RaceState& rs = ctx.rs;
  const double mph = rs.LapSpeedMph[lap][car];
  if (mph <= rs.FastestLapMph) return;
  rs.FastestLapMph = mph;
  rs.FastestLapSeconds = seconds;
  LogFastestLap(ctx, car, mph);
  rs.FastestLapText = FastestLapLabel(rs.DriverName[car], mph, lap);
}

}  // namespace

bool StillRunning(const RaceState& rs, int car) {
  return IsCarNumber(car) && !rs.CarOutOfRace[car] && rs.CarStatus[car] != kOutOfRace;
}

int RaceLeaderPlace(const RaceState& rs) {
  const int n = std::clamp(rs.CarCount - rs.CarsFinished, 0, kMaxCars);
  for (int pos = 1; pos <= n; ++pos)
    if (StillRunning(rs, rs.RunningOrder[pos])) return pos;
  return 0;
}

int RaceLeader(const RaceState& rs) {
  const int pos = RaceLeaderPlace(rs);
  return pos == 0 ? 0 : rs.RunningOrder[pos];
}

bool RaceUnderWay(const RaceState& rs) {
  // Every car, not 1..CarCount: a qualifying lap races one car whose number may be higher.
  for (int car = 1; car <= kMaxCars; ++car)
    if (rs.CarLap[car] > 0) return true;
  return false;
}

void CrossLine(RuleContext& ctx) {
  RaceState& rs = ctx.rs;
  const int car = rs.CurrentCar;
  if (!IsCarNumber(car) || !IsLap(rs.CarLap[car])) return;
  // A trial of the AI's speed search only counts the lap: no clock, order, stint or draw.
  if (InSearch(rs)) {
    rs.CarLap[car] += 1;
    return;
  }
  const bool live = !rs.ReplayRunning;
  const double fraction = UnspentShare(rs, car);
  double lapSeconds = 0;
  // Step 1. The grid stands behind the line: the first crossing starts lap 1 and times nothing.
  if (rs.CarLap[car] >= 1 && live) {
    const int lap = rs.CarLap[car];
    rs.CarLapClock[car] -= fraction;
    rs.LapSpeedMph[lap][car] = LapMph(rs, rs.CarLapClock[car]);
    if (rs.QualifyingLapRunning && lap == 1 && rs.CarLapClock[car] > 0) {
      // A grain of chance parts cars that ran the same number of turns.
      rs.CarLapClock[car] += ctx.rng.Rnd() * (1.0 / rs.CarLapClock[car]);
      rs.LapSpeedMph[lap][car] = LapMph(rs, rs.CarLapClock[car]);
      rs.QualifySpeed[car] = rs.LapSpeedMph[lap][car];
      rs.QualifyTime[car] = rs.CarLapClock[car] * kSecondsPerTurn;
    }
    lapSeconds = rs.CarLapClock[car] * kSecondsPerTurn;
    rs.LapGap[lap][car] = ComputeGap(rs, car);
    rs.CarLapClock[car] = fraction;
  }
  // Step 2. The race clock stops at the end of the block that took the flag.
  if (rs.CarLap[car] == rs.RaceLaps && live) {
    if (rs.CarNewSpeed[car] > 0)
      rs.CarRaceClock[car] -=
          (rs.SpacesLeft - 1) * kMphPerSpace / (rs.CarNewSpeed[car] + rs.SlipBonusOfMove * kMphPerSpace);
    const int winner = Winner(rs);
    if (IsCarNumber(winner) && winner != car)
      rs.LapGap[rs.CarLap[car]][car] = (rs.CarRaceClock[car] - rs.CarRaceClock[winner]) * kSecondsPerTurn;
  }
  // Step 3.
  rs.CarLap[car] += 1;
  // Step 4.
  if (live && rs.GameMode == kModePractice) rs.CarWears[car] = rs.CarWearPerLap[car];
  // Step 5.
  const int done = rs.CarLap[car] - 1;
  if (done >= 1 && live) {
    CountStintLap(rs, car);
    PerCar<int>& order = rs.LapOrder[static_cast<size_t>(done)];
    const auto freePlace = std::find(order.begin() + 1, order.end(), 0);
    if (freePlace != order.end()) *freePlace = car;
    KeepFastestLap(ctx, car, done, lapSeconds);
    SortLapOrder(rs, done);
    if (order[1] == car && rs.FinishLapMode) {
      rs.FinishLapMode = false;
      rs.FinishRaceMode = false;
    }
  }
  // Step 6.
  const int lap = rs.CarLap[car];
  if (car == RaceLeader(rs) && rs.CarsFinished == 0 && live && lap >= 2 && lap <= rs.RaceLaps) WeatherTiming(ctx, car);
}

double ComputeGap(const RaceState& rs, int car) {
  if (!IsCarNumber(car)) return 0;
  // Step 1.
  const int winner = Winner(rs);
  const int reference = IsCarNumber(winner) ? winner : RaceLeader(rs);
  if (!IsCarNumber(reference)) return 0;
  // Step 2.
  const int lapsDown = rs.CarLap[car] + 1 >= rs.CarLap[reference] ? 0 : rs.CarLap[reference] - rs.CarLap[car] - 1;
  // Step 3.
  const double down = lapsDown * rs.CarLapClock[car];
  const double speed = rs.CarNewSpeed[car] == 0 ? kMphPerSpace : rs.CarNewSpeed[car];
  // Step 4.
  if (!IsCarNumber(winner) && (car == reference || down + rs.CarLapClock[car] < rs.CarLapClock[reference])) return 0;
  const double base = down + rs.CarLapClock[reference];
  // Step 5.
  return (base - rs.SpacesLeft / (speed / kMphPerSpace + rs.SlipBonusOfMove)) * kSecondsPerTurn;
}

void CalcAvgSpeed(RaceState& rs, int car) {
  if (rs.RaceStandingStart || !IsCarNumber(car)) return;
  int spaces = rs.CarSpace[car] - rs.MoveStartSpace;
  // Only a move across the line comes out below 0; a car that stood still ran 0 spaces, not a lap.
  if (spaces < 0) spaces += rs.track.TrackLength;
  rs.CarMoveCount[car] += 1;
  const int count = rs.CarMoveCount[car];
  rs.CarAvgSpeed[car] = ((count - 1) * rs.CarAvgSpeed[car] + spaces * kMphPerSpace) / count;
}

void LogFastestLap(RuleContext& ctx, int car, double mph) {
  if (!InSearch(ctx.rs) && !ctx.rs.ReplayRunning) ctx.log.LogHighlight(kLogFastLap, car, 0, FormatMph(mph));
}

void LogLeadChange(RuleContext& ctx, int newLeader, int oldLeader) {
  if (!InSearch(ctx.rs) && !ctx.rs.ReplayRunning) ctx.log.LogHighlight(kLogLeadChange, newLeader, oldLeader, " ");
}

bool TakeLeadChange(RuleContext& ctx, int newLeader, double newDistance, double leadCarDistance) {
  RaceState& rs = ctx.rs;
  if (!IsCarNumber(newLeader) || newLeader == rs.LeadCar) return false;
  if (newDistance < leadCarDistance) return false;
  if (rs.CarLap[newLeader] < 1 || rs.CarLap[newLeader] > rs.RaceLaps || rs.CarsFinished > 0) return false;
  // The first leader of the race has nobody to pass: it takes the lead without a line.
  if (IsCarNumber(rs.LeadCar)) LogLeadChange(ctx, newLeader, rs.LeadCar);
  rs.LeadCar = newLeader;
  return true;
}

void SortFinishers(RuleContext& ctx) {
  RaceState& rs = ctx.rs;
  PerCar<int>& order = rs.FinishOrder;
  const int n = std::clamp(rs.FinishOrderCount, 0, kMaxCars);
  for (int round = 1; round <= n; ++round) {
    for (int pos = 1; pos < n; ++pos) {
      const int a = order[pos], b = order[pos + 1];
      if (!IsCarNumber(a) || !IsCarNumber(b) || !FinishesAhead(rs, b, a)) continue;
      std::swap(order[pos], order[pos + 1]);
      if (pos == 1 && rs.LeadCar != b) {
        LogLeadChange(ctx, b, rs.LeadCar);
        rs.LeadCar = b;
      }
    }
  }
}

std::vector<int> SortRaceEnd(RuleContext& ctx) {
  RaceState& rs = ctx.rs;
  auto listed = [&](int car) {
    return std::find(rs.FinishOrder.begin() + 1, rs.FinishOrder.begin() + 1 + rs.FinishOrderCount, car) !=
           rs.FinishOrder.begin() + 1 + rs.FinishOrderCount;
  };
  // Cars that took the flag in this pass rank with the finishers, by their clocks.
  std::vector<int> running;
  for (int pos = 1; pos <= std::min(rs.CarCount - rs.CarsFinished, kMaxCars); ++pos) {
    const int car = rs.RunningOrder[pos];
    if (!StillRunning(rs, car) || listed(car)) continue;
    if (rs.CarLap[car] > rs.RaceLaps && rs.FinishOrderCount < kMaxCars) {
      rs.FinishOrder[static_cast<size_t>(++rs.FinishOrderCount)] = car;
    } else {
      running.push_back(car);
    }
  }
  SortFinishers(ctx);
  // The cars still racing rank by the distance they have run, laps first; their clocks are the
  // same race turns, so clock and speed would say nothing of who is ahead.
  auto distance = [&](int car) { return (rs.CarLap[car] - 1) * rs.track.TrackLength + rs.CarSpace[car]; };
  std::stable_sort(running.begin(), running.end(), [&](int a, int b) { return distance(a) > distance(b); });
  // Only a car truly ahead of the leader takes the lead here.
  if (rs.FinishOrderCount == 0 && !running.empty()) {
    const int first = running.front();
    const int lead = rs.LeadCar;
    if (!IsCarNumber(lead) || distance(first) > distance(lead))
      TakeLeadChange(ctx, first, distance(first), IsCarNumber(lead) ? distance(lead) : 0);
  }
  for (int car : running) {
    if (rs.FinishOrderCount >= kMaxCars) break;
    rs.FinishOrder[static_cast<size_t>(++rs.FinishOrderCount)] = car;
  }
  return {rs.FinishOrder.begin() + 1, rs.FinishOrder.begin() + 1 + rs.FinishOrderCount};
}

std::vector<int> PodiumCars(const RaceState& rs) {
  const int n = std::clamp(std::min(rs.CarsFinished, rs.FinishOrderCount), 0, 3);
  return {rs.FinishOrder.begin() + 1, rs.FinishOrder.begin() + 1 + n};
}

std::string FormatTimeHMS(double seconds) {
  const long long whole = std::llround(std::fabs(seconds));
  char text[40];
  const long long h = whole / 3600, m = whole / 60 % 60, s = whole % 60;
  if (h == 0) {
    std::snprintf(text, sizeof text, "%02lld:%02lld", m, s);
  } else {
    std::snprintf(text, sizeof text, "%02lld:%02lld:%02lld", h, m, s);
  }
  return (seconds < 0 && whole > 0 ? "-" : "") + std::string(text);
}

std::string FormatTimeMS(double seconds) {
  const long long ms = std::llround(std::fabs(seconds) * 1000.0);
  char text[40];
  std::snprintf(text, sizeof text, "%lld:%02lld.%03lld", ms / 60000, ms / 1000 % 60, ms % 1000);
  return (seconds < 0 && ms > 0 ? "-" : "") + std::string(text);
}

std::string FormatMph(double mph) {
  char text[40];
  std::snprintf(text, sizeof text, "%.2f MPH", mph);
  return text;
}

std::string FastestLapLabel(const std::string& name, double mph, int lap) {
  char number[32];
  std::snprintf(number, sizeof number, "%.2f", mph);
  return "Fastest Lap: " + name + " " + number + " MPH (" + "Lap " + std::to_string(lap) + ")";
}

std::vector<RaceStartChoice> RaceStartChoices(int raceLaps) {
  const std::string whiteFlag = "White Flag - Lap " + std::to_string(raceLaps);
  if (raceLaps == 2) return {{"Race Start", 0}, {whiteFlag, 2}};
  const int half = raceLaps / 2;
  return {{"Race Start", 0},
          {"Half Way Point - Lap " + std::to_string(half), half},
          {whiteFlag, raceLaps},
          {"Checkered Flag", raceLaps + 1}};
}

std::vector<int> FinalFinishOrder(const RaceState& rs) {
  std::vector<int> order;
  std::array<bool, kMaxCars + 1> placed{};
  // The table is read to its first empty place, whatever the count says: a race's end may have
  // placed the cars still on the track behind the finishers.
  for (int place = 1; place <= kMaxCars && IsCarNumber(rs.FinishOrder[static_cast<size_t>(place)]); ++place) {
    const int car = rs.FinishOrder[static_cast<size_t>(place)];
    if (!placed[static_cast<size_t>(car)]) {
      placed[static_cast<size_t>(car)] = true;
      order.push_back(car);
    }
  }
  std::vector<int> rest;
  for (int car = 1; car <= std::min(rs.CarCount, kMaxCars); ++car)
    if (!placed[static_cast<size_t>(car)]) rest.push_back(car);
  std::stable_sort(rest.begin(), rest.end(), [&rs](int a, int b) {
    if (rs.CarOutOfRace[a] != rs.CarOutOfRace[b]) return !rs.CarOutOfRace[a];
    return rs.CarRaceDistance[a] > rs.CarRaceDistance[b];
  });
  order.insert(order.end(), rest.begin(), rest.end());
  return order;
}

RaceFigures CountRaceFigures(const RaceState& rs) {
  RaceFigures f;
  const int laps = std::clamp(rs.RaceLaps, 0, kMaxLaps);
  for (int lap = 1; lap <= laps; ++lap) {
    // The last lap's order is the finish order, whatever the lap table says.
    const int leader = lap == laps ? rs.FinishOrder[1] : rs.LapOrder[lap][1];
    if (IsCarNumber(leader)) ++f.CarLapsLed[leader];
  }
  f.MostLapsLed = *std::max_element(f.CarLapsLed.begin() + 1, f.CarLapsLed.end());
  f.PoleCar = IsCarNumber(rs.LapOrder[0][1]) ? rs.LapOrder[0][1] : 0;
  // Lap by lap, so that of equal laps the first run keeps the record, as it did in the race.
  double best = 0;
  const int cars = std::clamp(rs.CarCount, 0, kMaxCars);
  for (int lap = 1; lap <= laps; ++lap)
    for (int car = 1; car <= cars; ++car)
      if (rs.LapSpeedMph[lap][car] > best) {
        best = rs.LapSpeedMph[lap][car];
        f.FastLapCar = car;
      }
  return f;
}

}  // namespace vm
