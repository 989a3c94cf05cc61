#include "rules/pit_stops.h"

#include <algorithm>
#include <cmath>

#include "core/textfile.h"
#include "core/units.h"
#include "rules/consequences.h"
#include "rules/panels.h"
#include "rules/weather.h"

namespace vm {

namespace {

constexpr int kTaskFull = 1;
constexpr int kTaskRepair = 2;
constexpr int kTaskBoth = 3;
constexpr int kTaskSplash = 4;
constexpr int kRainOffset = 4;  // rain codes 5..8 stand four above the dry ones

int Floor(double v) { return static_cast<int>(std::floor(v)); }
int Round(double v) { return static_cast<int>(RoundHalfEven(v)); }

bool RainCode(int code) { return code > kTaskSplash; }
// The dry code a task code stands for: 0..4.
int DryCode(int code) { return code == kTaskTiresRain ? kTaskTiresDry : RainCode(code) ? code - kRainOffset : code; }
bool CarriesWears(int code) {
  const int d = DryCode(code);
  return d == kTaskFull || d == kTaskBoth || d == kTaskSplash;
}
bool Repairs(int code) {
  const int d = DryCode(code);
  return d == kTaskRepair || d == kTaskBoth;
}

// Step 2 of a stop's end: the stint is planned anew over the laps still to run.
void PlanStintAfterStop(RaceState& rs, int car) {
  const int lapsLeft = rs.RaceLaps - rs.CarLap[car];
  const int stopsLeft = rs.PitReplenishment > 0
                            ? Round(static_cast<double>(lapsLeft) / rs.PitReplenishment + 0.49)
                            : 0;
  rs.CarStintLaps[car] = stopsLeft != 0 ? Floor(static_cast<double>(lapsLeft) / stopsLeft) : lapsLeft;
  rs.CarStintLaps[car] += 1;
  rs.CarStintLapsLeft[car] = rs.CarStintLaps[car];
}

// Step 3: the wears of a replenishment, a splash giving half, capped at a full allotment, and the
// car's fractional bonus over the replenished laps on top.
void Replenish(RaceState& rs, int car, bool splash) {
  const int perLap = rs.CarWearPerLap[car];
  const int laps = rs.PitReplenishment;
  rs.CarWears[car] += splash ? Round(perLap * laps * 0.5) : perLap * laps;
  const int cap = rs.StartWearAllotment < laps ? perLap * laps : perLap * rs.StartWearAllotment;
  rs.CarWears[car] = std::min(rs.CarWears[car], cap);
  rs.CarWears[car] += Round(laps * rs.CarWearBonus[car]);
}

bool FreeCell(const Track& t, int space, int lane) {
  return lane >= 1 && lane <= t.TrackLanes && lane <= kMaxLanes && t.CellLaneRank[space][lane] > 0 &&
         !t.CellSkip[space][lane] && t.CellOccupant[space][lane] == 0;
}

// Step 6: the car comes back at the pit exit, in the first free lane from PitExitLane toward
// PitExitLaneAlt, stepping a space back (wrapping) while those lanes are taken. False when no such
// cell is free anywhere on the lap; the car then waits another turn.
bool ReturnToTrack(RaceState& rs, int car) {
  Track& t = rs.track;
  if (t.TrackLength < 1) return false;
  const int from = t.PitExitLane, to = t.PitExitLaneAlt;
  const int step = to >= from ? 1 : -1;
  int space = std::clamp(t.PitExitSpace, 1, t.TrackLength);
  for (int tries = 0; tries < t.TrackLength; ++tries) {
    for (int lane = from;; lane += step) {
      if (FreeCell(t, space, lane)) {
        t.CellOccupant[static_cast<size_t>(space)][static_cast<size_t>(lane)] = car;
        rs.CarSpace[car] = space;
        rs.CarLane[car] = lane;
        rs.CarInPit[car] = false;
        return true;
      }
      if (lane == to) break;
    }
    space = space > 1 ? space - 1 : t.TrackLength;
  }
  return false;
}

// The tail of the pit entry settlement: the car joins the queue with its task and its time.
PitQueueEntry QueueForPit(RuleContext& ctx, const PitDecisions& d) {
  RaceState& rs = ctx.rs;
  const int car = rs.CurrentCar;
  // Step 1.
  rs.CarInPit[car] = true;
  rs.CornerPaidTotal += rs.SpeedOverBy;
  rs.CarCurveExcessPaid[car] += rs.SpeedOverBy;
  // Steps 3 to 5.
  PitQueueEntry e;
  e.Car = car;
  e.TaskCode = TaskCodeFor(d);
  const int minTurns = rs.MinPitDuration;
  e.ReleaseTurns = minTurns + 1;
  // A splash is shorter; its rain-tire twin keeps the full time, as it always has.
  if (e.TaskCode == kTaskSplash) e.ReleaseTurns = Floor((minTurns + 1) * 0.6) + 1;
  // Step 6. Repairs take a random while longer.
  if (e.TaskCode != kTaskTiresDry && e.TaskCode != kTaskTiresRain && !d.Full)
    e.ReleaseTurns = Floor(minTurns * ctx.rng.Rnd() * 0.5) + e.ReleaseTurns + 1;
  return e;
}

}  // namespace

void PlanStints(RaceState& rs) {
  // Step 1.
  for (int car = 1; car <= kMaxCars; ++car) {
    rs.CarStintLaps[car] = rs.RaceLaps;
    rs.CarStintLapsLeft[car] = rs.RaceLaps;
  }
  if (!rs.PitLaneOpen) return;
  // Step 2.
  for (int car = 1; car <= kMaxCars; ++car) {
    rs.CarStintLaps[car] = rs.StartWearAllotment;
    if (rs.PitStrategy[car] == 1 && !rs.PitRepairOnly && rs.PitReplenishment > 0) {
      const double stints = static_cast<double>(rs.RaceLaps - rs.StartWearAllotment) / rs.PitReplenishment + 2;
      rs.CarStintLaps[car] = rs.CarStintLapsLeft[car] = Round(rs.RaceLaps / stints);
    }
    if (rs.CarStintLaps[car] < 1) rs.CarStintLaps[car] = rs.RaceLaps;
    if (rs.CarStintLapsLeft[car] < 1) rs.CarStintLapsLeft[car] = rs.RaceLaps;
  }
}

void CountStintLap(RaceState& rs, int car) {
  if (IsCarNumber(car)) rs.CarStintLapsLeft[car] = std::max(1, rs.CarStintLapsLeft[car] - 1);
}

PitDecisions AIPitDecisions(const RaceState& rs) {
  const int car = rs.CurrentCar;
  PitDecisions d;
  d.DryTires = !(rs.WeatherEnabled && rs.TrackCondition == kTrackWet);
  const bool damaged = rs.CarEngineDamaged[car] || rs.CarBrakesDamaged[car];
  if (rs.PitRepairOnly) {
    d.Repair = damaged;
  } else if (!damaged) {
    d.Full = true;
    d.Splash = rs.PitReplenishment / 2.0 > rs.RaceLaps - rs.CarLap[car];
  } else {
    d.Both = true;
  }
  return d;
}

PitDecisions PanelDecisions(const PitStopChoice& c) {
  PitDecisions d;
  d.Full = c.Wear && !c.Repair;
  d.Repair = !c.Wear && c.Repair;
  d.Both = c.Wear && c.Repair;
  d.Splash = c.SplashGo && c.Wear;
  d.DryTires = !c.RainTires;
  return d;
}

int TaskCodeFor(const PitDecisions& d) {
  int code = kTaskTiresDry;
  if (d.Full) code = kTaskFull;
  if (d.Repair) code = kTaskRepair;
  if (d.Both) code = kTaskBoth;
  if (d.Splash) code = kTaskSplash;
  if (!d.DryTires) code = code == kTaskTiresDry ? kTaskTiresRain : code + kRainOffset;
  return code;
}

void EnterPit(RuleContext& ctx) {
  RaceState& rs = ctx.rs;
  const int car = rs.CurrentCar;
  if (InSearch(rs) || !IsCarNumber(car) || rs.CarInPit[car]) return;
  // Steps 1 and 2. "Pit Speed Limit = 60 MPH + Max Decleration".
  ClearCarCell(rs, car);
  const int pitLimit = rs.CarDeceleration[car] + 60;
  rs.SpeedOverBy = std::max(0, rs.CarNewSpeed[car] - pitLimit);
  // Step 3. A human decides the stop on the same panel that settles the excess.
  PitDecisions decisions;
  if (HumanAtPanel(rs)) {
    const PitStopChoice preset{0, !rs.PitRepairOnly, rs.CarEngineDamaged[car] || rs.CarBrakesDamaged[car], false,
                               rs.WeatherEnabled ? rs.TrackCondition == kTrackWet : rs.CarWetTires[car]};
    const PitStopChoice choice = ctx.console.ChoosePitStop(PitEntryPanel(rs), preset);
    SettlePitEntry(ctx, choice.Option);
    decisions = PanelDecisions(choice);
  } else {
    SettlePitEntry(ctx);
    decisions = AIPitDecisions(rs);
  }
  if (rs.CarStatus[car] == kRunning) {
    PitQueueEntry entry = QueueForPit(ctx, decisions);
    // Step 4. The spaces carried are the move's rest rounded, not a draw.
    entry.SpacesCarried = std::max(0, Round(rs.SpacesLeft));
    rs.PitQueue.push_back(entry);
    if (!rs.ReplayRunning) ctx.log.LogHighlight(kLogEnterPit, car, 0, PitStopText(rs, entry));
  } else if (!rs.CarOutOfRace[car] && rs.track.CellOccupant[rs.CarSpace[car]][rs.CarLane[car]] == 0) {
    // A car that spun at the entrance stays on the track where it stood.
    rs.track.CellOccupant[rs.CarSpace[car]][rs.CarLane[car]] = car;
  }
  rs.SpacesLeft = 0;
  rs.CarSpeed[car] = 0;
  rs.CarNewSpeed[car] = 0;
  rs.WorkSpeed = 0;
}

std::vector<int> ProcessPitLane(RuleContext& ctx) {
  RaceState& rs = ctx.rs;
  std::vector<int> released;
  for (size_t i = 0; i < rs.PitQueue.size();) {
    PitQueueEntry& e = rs.PitQueue[i];
    // Step 1.
    if (e.ReleaseTurns > 1) {
      e.ReleaseTurns -= 1;
      ++i;
      continue;
    }
    const int car = e.Car;
    if (!IsCarNumber(car)) {
      rs.PitQueue.erase(rs.PitQueue.begin() + static_cast<std::ptrdiff_t>(i));
      continue;
    }
    // Steps 2 and 3. A Repair Only race gives no wears and plans no stint.
    if (!rs.PitRepairOnly && CarriesWears(e.TaskCode)) {
      PlanStintAfterStop(rs, car);
      Replenish(rs, car, DryCode(e.TaskCode) == kTaskSplash);
    }
    // Step 4.
    if (rs.WeatherEnabled) rs.CarWetTires[car] = RainCode(e.TaskCode);
    // Step 5.
    if (Repairs(e.TaskCode)) {
      rs.CarEngineDamaged[car] = false;
      rs.CarBrakesDamaged[car] = false;
      rs.CarAcceleration[car] = rs.CarDesign[car].Acceleration;
      rs.CarDeceleration[car] = rs.CarDesign[car].Deceleration;
      rs.CarTopSpeed[car] = rs.CarDesign[car].TopSpeed;
    }
    // Step 6. A stop is over only once the car has a cell to come back to.
    if (!ReturnToTrack(rs, car)) {
      ++i;
      continue;
    }
    rs.PitQueue.erase(rs.PitQueue.begin() + static_cast<std::ptrdiff_t>(i));
    released.push_back(car);
  }
  return released;
}

std::string PitStopText(const RaceState& rs, const PitQueueEntry& e, bool panel) {
  const int car = e.Car;
  const int dry = DryCode(e.TaskCode);
  std::string text;
  if (dry == kTaskTiresDry) {
    text = "Change Tires Only";
  } else if (dry == kTaskFull) {
    text = panel ? "Wear Replenishment Only - Full Stop" : "Wear Replenishment - Full Stop";
  } else if (dry == kTaskSplash) {
    text = "Wear Replenishment - Splash and Go";
  } else {
    text = dry == kTaskRepair ? "Damage Repair" : "Wear Replenishment and Damage Repair";
    const bool engine = IsCarNumber(car) && rs.CarEngineDamaged[car];
    const bool brakes = IsCarNumber(car) && rs.CarBrakesDamaged[car];
    const char* damage = engine && brakes ? " - Engine Damage, Brake Damage ("
                         : engine         ? " - Engine Damage ("
                         : brakes         ? " - Brake Damage ("
                                          : nullptr;
    if (damage != nullptr)
      text += damage + std::to_string(e.ReleaseTurns - rs.MinPitDuration) + " additional race turns)";
  }
  if (rs.WeatherEnabled) text += RainCode(e.TaskCode) ? ", Rain Tires" : ", Dry Tires";
  return text;
}

PitLaneView RefreshPitLane(const RaceState& rs) {
  PitLaneView view;
  const std::string minTurns = std::to_string(rs.MinPitDuration);
  if (rs.PitRepairOnly) {
    view.Head = "Open for REPAIR only     Minimum turns in Pit per stop = " + minTurns;
  } else {
    view.Head = "Open for REPAIR AND WEAR     Min turns in Pit/stop = " + minTurns +
                "     Required Stops = " + std::to_string(rs.MinPitStops) +
                "     Start Allot = " + std::to_string(rs.StartWearAllotment) +
                " laps     Pit Replen = " + std::to_string(rs.PitReplenishment) + " laps";
  }
  for (const PitQueueEntry& e : rs.PitQueue)
    view.Rows.push_back({IsCarNumber(e.Car) ? rs.DriverName[e.Car] : "", std::to_string(e.ReleaseTurns),
                         PitStopText(rs, e, true)});
  return view;
}

}  // namespace vm
