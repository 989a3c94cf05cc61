#include "ai/speed_search.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <type_traits>
#include <utility>

#include "ai/line_choice.h"
#include "core/textfile.h"
#include "core/units.h"
#include "engine/speed.h"
#include "rules/risk.h"
#include "rules/weather.h"

namespace vm {

namespace {

// Every per-car field a move or a rule can change, saved and put back around the trials: whatever
// a trial can touch must come back. The generator is not among them: trials draw from it as live
// play does.
#define VM_SEARCH_CAR_FIELDS(X)                                                                              \
  X(CarSpace) X(CarLane) X(CarSpeed) X(CarNewSpeed) X(CarDraftTarget) X(CarSlipSpeed) X(CarLap) X(CarWears)  \
  X(CarStatus) X(CarOutOfRace) X(CarEngineDamaged) X(CarBrakesDamaged) X(CarInPit) X(CarWetTires)            \
  X(CarStintLaps) X(CarStintLapsLeft) X(CarApexNumber) X(CarOnApexCells) X(CarApexLimit) X(CarApexSpeed)     \
  X(CarCurveEntryLimit) X(CarCurveRankPaid) X(CarCurveExcessPaid) X(CarCurveOwes) X(CarLapClock)             \
  X(CarRaceClock) X(CarRaceDistance) X(CarMoveCount) X(CarAvgSpeed) X(CarStartSpeed) X(CarAcceleration)     \
  X(CarDeceleration) X(CarTopSpeed) X(CarIsAI)

// The race-wide working values the speed check, the steps and the rules leave behind.
#define VM_SEARCH_GLOBAL_FIELDS(X)                                                                           \
  X(CurrentCar) X(CarsOut) X(WorkSpeed) X(WorkTopSpeed) X(MaxNewSpeed) X(MinNewSpeed) X(SpacesLeft)          \
  X(SpeedChecked) X(AccelChecked) X(DecelChecked) X(CanGoLeft) X(CanGoRight) X(CanGoStraight) X(PaceSpeed)   \
  X(NextCellLimit) X(NextIsExit) X(ExitAccelAllowed) X(TargetSpace) X(TargetLane) X(LeftLane) X(RightLane)    \
  X(ApexSideNow) X(ApexSideNext) X(CurveStepBlocked) X(InwardStep) X(ApexDirection) X(SameLimitStep)         \
  X(CurveCheckDone) X(MoveEnded) X(DraftOffered) X(CurveEntrySpeed) X(SlipBonusKind) X(SlipBonusOfMove)      \
  X(SlipCancelled) X(BlueFlagCar) X(BlueFlagSide) X(BlueFlagSpacesLost) X(AITrialMove) X(AISpeedSearch)      \
  X(BlueFlagInForce) X(SkipCornerCheck) X(Die1) X(Die2) X(TableResult) X(SpeedOverBy) X(DecelOverBy)         \
  X(AccelOverBy) X(TopSpeedOverBy) X(WearShortfall) X(CornerPaidTotal) X(ResultContext) X(RiskPassed)        \
  X(DiceCountRequested) X(ManualDiceResult)

template <class T>
using Plain = std::remove_cvref_t<T>;

struct CarFields {
#define VM_DECLARE(name) Plain<decltype(std::declval<RaceState&>().name[0])> name{};
  VM_SEARCH_CAR_FIELDS(VM_DECLARE)
#undef VM_DECLARE
  int CellHeld = 0;  // what the car's cell held (the car itself while it stands on the track)
};

struct GlobalFields {
#define VM_DECLARE(name) Plain<decltype(std::declval<RaceState&>().name)> name{};
  VM_SEARCH_GLOBAL_FIELDS(VM_DECLARE)
#undef VM_DECLARE
};

constexpr int kTowOneStep = 100;  // a target above this gives one space
constexpr int kTowKept = 120;     // below this the link is cut
constexpr int kTowTwoSteps = 180;
constexpr int kApexAllowance = 20;
constexpr int kPitSpeedMargin = 60;  // the pit approach brakes only while the speed stays above this
constexpr int kCurveWalk = 20;       // spaces the braking look-ahead walks
constexpr int kGentleWalk = 15;      // spaces CurveIsGentle looks for the next curve
constexpr int kGentleMargin = 40;
constexpr int kTopSpaces = kSpeedButtons - 1;  // 240 MPH closes the speed scale
constexpr int kNoCurve = 999;
constexpr int kNoSecondCurve = 1000;
// The race flags that would lift the curve cap and draft the car ahead are not part of this game's
// settings: both are off.
constexpr bool kCurveCapOff = false;
constexpr bool kAutoDraft = false;

int Rnd(double x) { return static_cast<int>(RoundHalfEven(x)); }
int FloorStep(int mph) { return mph / kMphPerSpace * kMphPerSpace; }

bool OnGrid(int space, int lane) { return space >= 1 && space <= kMaxSpaces && lane >= 1 && lane <= kMaxLanes; }

int LimitAt(const Track& t, int space, int lane) {
  return OnGrid(space, lane) ? t.CellSpeedLimit[space][lane] : kNoLimit;
}

// The next space of a lane, passing over cells that do not count (at most three in a row).
int NextCounted(const Track& t, int space, int lane) {
  int next = NextSpace(t, space);
  for (int k = 0; k < 3 && OnGrid(next, lane) && t.CellSkip[next][lane]; ++k) next = NextSpace(t, next);
  return next;
}

// The lowest limit above 0 of the usable cells of a row.
int RowLimit(const Track& t, int space) {
  int lowest = kOpenStraight;
  for (int lane = 1; lane <= kMaxLanes; ++lane) {
    const int limit = t.CellSpeedLimit[space][lane];
    if (t.CellLaneRank[space][lane] > 0 && !t.CellSkip[space][lane] && limit > 0) lowest = std::min(lowest, limit);
  }
  return lowest;
}

struct CurvesAhead {
  int Limit1 = kNoCurve, Dist1 = kNoCurve;
  int Limit2 = kNoSecondCurve, Dist2 = kNoSecondCurve;
  bool TwoCurves = false;
};

// The next two curves on the racing line within 20 counted spaces: their limits (the lowest of
// the row, over the curve's first three spaces while the line stays on one lane) and the MPH
// that reaches them.
CurvesAhead CurveAhead(const RaceState& rs, int car) {
  const Track& t = rs.track;
  CurvesAhead c;
  int space = rs.CarSpace[car];
  int dist = 0;
  int stage = 0;  // 0 looking for the first curve, 1 for its exit marker, 2 for the second curve
  int firstNumber = 0, firstLane = 0, sameLaneLeft = 0;
  for (int walked = 0, counted = 0; counted < kCurveWalk && walked < 3 * kCurveWalk && t.TrackLength > 0; ++walked) {
    space = NextSpace(t, space);
    const int lane = RacingLineLane(t, space);
    if (lane == 0 || t.CellSkip[space][lane]) continue;
    ++counted;
    dist += kMphPerSpace;
    const int limit = t.CellSpeedLimit[space][lane];
    if (sameLaneLeft > 0) {
      if (lane == firstLane && limit < kNoLimit) c.Limit1 = std::min(c.Limit1, RowLimit(t, space));
      --sameLaneLeft;
    }
    if (stage == 0 && limit < kNoLimit) {
      c.Limit1 = RowLimit(t, space);
      c.Dist1 = dist;
      firstNumber = t.SpaceCurveNumber[space];
      firstLane = lane;
      sameLaneLeft = 2;
      stage = 1;
    } else if (stage == 1 && limit == kOpenStraight) {
      stage = 2;
    } else if (stage == 2 && limit < kNoLimit) {
      c.Limit2 = RowLimit(t, space);
      c.Dist2 = dist;
      // The same curve going on at the same limit is one curve.
      c.TwoCurves = !(c.Limit2 == c.Limit1 && t.SpaceCurveNumber[space] == firstNumber);
      break;
    }
  }
  return c;
}

// Whether the curve after the one the car leaves is gentle: within 15 spaces of its lane, the
// first curve cell's limit is no more than 40 under what the car can reach.
bool CurveIsGentle(const RaceState& rs, int car) {
  const Track& t = rs.track;
  const int lane = rs.CarLane[car];
  int space = rs.CarSpace[car];
  for (int k = 0; k < kGentleWalk; ++k) {
    space = NextCounted(t, space, lane);
    const int limit = LimitAt(t, space, lane);
    if (limit > 0 && limit < kNoLimit) return rs.CarAcceleration[car] + rs.CarSpeed[car] <= limit + kGentleMargin;
  }
  return false;
}

// Spaces from `from` forward to `to` along the lap, 0 when they are the same.
int SpacesForward(const Track& t, int from, int to) {
  const int d = to - from;
  return d >= 0 ? d : d + t.TrackLength;
}

class SpeedSearch {
 public:
  void Run(RuleContext& ctx);

 private:
  void SaveAll(const RaceState& rs);
  void RestoreAll(RaceState& rs);
  static void SaveCar(const RaceState& rs, int car, CarFields& f);
  static void RestoreCar(RaceState& rs, int car, const CarFields& f);
  static void SaveGlobals(const RaceState& rs, GlobalFields& g);
  static void RestoreGlobals(RaceState& rs, const GlobalFields& g);
  void PrepareAITargets(RaceState& rs, int cars);
  int ChooseForCar(RuleContext& ctx, int car, int& slipSteps, int& target);
  void Commit(RuleContext& ctx, int car, int chosen, int slipSteps, bool human);

  PerCar<CarFields> first_{};
  CarFields second_{};
  GlobalFields globals_{};
  GlobalFields carGlobals_{};
  std::array<std::array<int, kMaxLanes + 2>, kMaxSpaces + 1> occupant_{};
  CellTable<int> limits_{};
};

void SpeedSearch::SaveCar(const RaceState& rs, int car, CarFields& f) {
#define VM_COPY(name) f.name = rs.name[car];
  VM_SEARCH_CAR_FIELDS(VM_COPY)
#undef VM_COPY
  const int space = rs.CarSpace[car], lane = rs.CarLane[car];
  f.CellHeld = OnGrid(space, lane) ? rs.track.CellOccupant[space][lane] : 0;
}

void SpeedSearch::RestoreCar(RaceState& rs, int car, const CarFields& f) {
  auto& cells = rs.track.CellOccupant;
  const int space = rs.CarSpace[car], lane = rs.CarLane[car];
  if (OnGrid(space, lane) && cells[space][lane] == car) cells[space][lane] = 0;
#define VM_COPY(name) rs.name[car] = f.name;
  VM_SEARCH_CAR_FIELDS(VM_COPY)
#undef VM_COPY
  if (OnGrid(f.CarSpace, f.CarLane)) cells[f.CarSpace][f.CarLane] = f.CellHeld;
}

void SpeedSearch::SaveGlobals(const RaceState& rs, GlobalFields& g) {
#define VM_COPY(name) g.name = rs.name;
  VM_SEARCH_GLOBAL_FIELDS(VM_COPY)
#undef VM_COPY
}

void SpeedSearch::RestoreGlobals(RaceState& rs, const GlobalFields& g) {
#define VM_COPY(name) rs.name = g.name;
  VM_SEARCH_GLOBAL_FIELDS(VM_COPY)
#undef VM_COPY
}

void SpeedSearch::SaveAll(const RaceState& rs) {
  for (int car = 1; car <= kMaxCars; ++car) SaveCar(rs, car, first_[car]);
  SaveGlobals(rs, globals_);
  occupant_ = rs.track.CellOccupant;
  // The weather shifts the shared limits for each car's tires.
  if (rs.WeatherEnabled) limits_ = rs.track.CellSpeedLimit;
}

void SpeedSearch::RestoreAll(RaceState& rs) {
  for (int car = 1; car <= kMaxCars; ++car) {
    const CarFields& f = first_[car];
    const int speed = rs.CarNewSpeed[car], target = rs.CarDraftTarget[car];
#define VM_COPY(name) rs.name[car] = f.name;
    VM_SEARCH_CAR_FIELDS(VM_COPY)
#undef VM_COPY
    // An AI car keeps its decision; a human's speed and tow stay as chosen.
    if (f.CarIsAI) {
      rs.CarNewSpeed[car] = speed;
      rs.CarDraftTarget[car] = target;
    }
  }
  rs.track.CellOccupant = occupant_;
  if (rs.WeatherEnabled) rs.track.CellSpeedLimit = limits_;
  RestoreGlobals(rs, globals_);
}

void SpeedSearch::PrepareAITargets(RaceState& rs, int cars) {
  const Track& t = rs.track;
  for (int pos = 1; pos <= cars; ++pos) {
    const int car = rs.RunningOrder[pos];
    if (!IsCarNumber(car) || !rs.CarIsAI[car]) continue;
    rs.CarDraftTarget[car] = 0;
    if (rs.CarInPit[car]) continue;
    const int space = rs.CarSpace[car], lane = rs.CarLane[car];
    if (!OnGrid(space, lane) || t.TrackLength < 1) continue;
    const int ahead = NextCounted(t, space, lane);
    const int twoAhead = NextCounted(t, ahead, lane);
    if (t.CellSpeedLimit[space][lane] == kOpenStraight && !rs.RestartAfterPit &&
        t.CellSpeedLimit[twoAhead][lane] == kOpenStraight && t.CellOccupant[twoAhead][lane] != 0)
      rs.CarDraftTarget[car] = t.CellOccupant[twoAhead][lane];
    if (kAutoDraft && t.CellOccupant[ahead][lane] != 0) rs.CarDraftTarget[car] = t.CellOccupant[ahead][lane];
  }
}

void SpeedSearch::Run(RuleContext& ctx) {
  RaceState& rs = ctx.rs;
  const int cars = std::clamp(rs.CarCount - rs.CarsFinished, 0, kMaxCars);
  // With no AI car to decide for, playing the humans forward would only draw.
  bool anyAI = false;
  for (int pos = 1; pos <= cars; ++pos)
    anyAI = anyAI || (IsCarNumber(rs.RunningOrder[pos]) && rs.CarIsAI[rs.RunningOrder[pos]]);
  if (!anyAI) return;
  // Preparation, steps 1 and 2.
  SaveAll(rs);
  rs.AISpeedSearch = true;
  PrepareAITargets(rs, cars);
  for (int car = 1; car <= kMaxCars; ++car) {
    // A stall is the only status that survives into the search.
    if (rs.CarStatus[car] != kStalled) rs.CarStatus[car] = kRunning;
    rs.CarIsAI[car] = true;
  }
  for (int pos = 1; pos <= cars; ++pos) {
    const int car = rs.RunningOrder[pos];
    if (!IsCarNumber(car)) continue;
    const bool ai = first_[car].CarIsAI;
    // Step 1.
    ApplyWeatherLimits(rs, car);
    // Step 2. A car out of the race has nothing to move on the trial field.
    if (rs.CarInPit[car] || rs.CarOutOfRace[car]) {
      if (ai) rs.CarNewSpeed[car] = 0;
      continue;
    }
    // Step 3.
    SaveCar(rs, car, second_);
    // Step 4.
    if (!ai) {
      Commit(ctx, car, rs.CarNewSpeed[car], 0, true);
      continue;
    }
    int slipSteps = 0, target = 0;
    const int chosen = ChooseForCar(ctx, car, slipSteps, target);
    rs.CarDraftTarget[car] = target;
    Commit(ctx, car, chosen, slipSteps, false);
  }
  RestoreAll(rs);
}

int SpeedSearch::ChooseForCar(RuleContext& ctx, int car, int& slipSteps, int& target) {
  RaceState& rs = ctx.rs;
  const Track& t = rs.track;
  const CarFields& saved = second_;
  SaveGlobals(rs, carGlobals_);
  rs.CurrentCar = car;
  // Step 5.
  rs.AITrialMove = true;
  // Step 6.
  const int speed = saved.CarSpeed;
  const int ownLimit = LimitAt(t, saved.CarSpace, saved.CarLane);
  int minSpaces = Rnd((speed - saved.CarDeceleration) / 20.0);
  int maxSafe = Rnd((speed + saved.CarAcceleration) / 20.0);
  int maxTry = Rnd((speed + saved.CarAcceleration) / 20.0 + 1);
  if (saved.CarTopSpeed / 20.0 < maxSafe) maxSafe = saved.CarTopSpeed / kMphPerSpace;
  if (saved.CarTopSpeed / 20.0 + 1 < maxTry) maxTry = saved.CarTopSpeed / kMphPerSpace + 1;
  if (speed == 0) {
    maxSafe = maxTry =
        Rnd((rs.RestartAfterPit || saved.CarLap < 1 ? saved.CarStartSpeed : saved.CarAcceleration) / 20.0);
    const bool passed = RiskRoll(rs, ctx.rng, car, "SS");
    if (rs.RestartAfterPit && passed) maxSafe = maxTry = Rnd(saved.CarStartSpeed / 20.0 + 1);
  }
  if (ownLimit < kNoLimit && !kCurveCapOff) {
    ComputeSpeedRange(rs);
    if (ownLimit / 20.0 < maxTry) maxTry = Rnd(ownLimit / 20.0);
    // On an apex line the ceiling is limit + 20, never above the car's own (MaxNewSpeed + 20).
    if (saved.CarApexNumber > 0 && (ownLimit + kApexAllowance) / 20.0 > maxTry)
      maxTry = std::min(Rnd((ownLimit + kApexAllowance) / 20.0), (rs.MaxNewSpeed + kApexAllowance) / kMphPerSpace);
    if (speed / 20.0 > maxTry) maxTry = Rnd(speed / 20.0);
  }
  maxTry = std::min(maxTry, kTopSpaces);

  // Step 7.
  const bool practice = rs.GameMode == kModePractice;
  const int lap = practice ? rs.RaceLaps : saved.CarLap;
  // The curves of a lap: CurveCount, as a lap may end on a straight; with none, progress is 0.
  const int curves = CurveCount(t);
  const int curveHere = OnGrid(saved.CarSpace, 1) ? t.SpaceCurveNumber[saved.CarSpace] : 0;
  const double progress = curves > 0 ? static_cast<double>(curveHere) / curves : 0.0;
  const int raceProfile = rs.CarRaceProfile[car];
  auto byProfile = [&](double amount) { return raceProfile == 1 ? -amount : raceProfile == 3 ? amount : 1.0; };
  double reserve = 1.0;
  const int stintLaps = saved.CarStintLaps, stintLeft = saved.CarStintLapsLeft;
  if (!practice && rs.PitLaneOpen) {
    const double stintDone = stintLaps - stintLeft + progress;
    reserve = stintLaps / 2.0 < stintDone ? byProfile(stintLaps - stintLeft + 1) : byProfile(stintLeft);
    if (stintLeft <= 1) reserve = 0;
  } else {
    const double done = lap - 1 + progress;
    reserve = rs.RaceLaps / 2.0 < done ? byProfile(rs.RaceLaps - lap + 1) : byProfile(lap);
    if (lap == rs.RaceLaps) reserve = 0;
  }

  // Step 8.
  const int wears = saved.CarWears;
  const double perLap = rs.CarWearPerLap[car] + rs.CarWearBonus[car];
  double available = wears - perLap * (stintLeft - 1);
  if (practice) {
    available = wears;
  } else if (rs.PitLaneOpen && lap >= stintLaps && stintLaps > 1) {
    available = wears - (static_cast<double>(rs.PitReplenishment) / (stintLaps - 1) * perLap) * (stintLeft - 1);
  }
  double lapLeft = (1.0 - progress) * perLap;
  if (curves / 2.0 > curveHere) lapLeft *= rs.CarLapProfile[car] == 1 ? 0.3 : rs.CarLapProfile[car] == 3 ? 1.7 : 1.0;
  const double spare = available - lapLeft + 1.0 - reserve;
  int allowance = static_cast<int>(std::floor(spare + 0.67));
  if (spare < 0) allowance = 0;
  if (spare > 2.0) allowance = 2;
  if (wears == 0) allowance = 0;
  if (lap == rs.RaceLaps && wears == 1 && curveHere < curves - 1) allowance = 0;
  if (wears < allowance) allowance = wears;
  const int allowanceMph = Rnd(allowance * 20.0);

  // Step 9.
  slipSteps = 0;
  target = saved.CarDraftTarget;
  if (target > 0) {
    const int lead = rs.CarNewSpeed[target];
    if (lead < kTowKept) target = 0;
    if (lead > kTowOneStep) slipSteps = 1;
    if (lead >= kTowTwoSteps) slipSteps = 2;
  }

  // Step 10.
  int chosen = 0;
  for (int spaces = minSpaces; spaces <= maxTry; ++spaces) {
    if (spaces <= 0) continue;
    RestoreCar(rs, car, saved);
    RestoreGlobals(rs, carGlobals_);
    rs.CarDraftTarget[car] = target;
    rs.CurrentCar = car;
    ComputeSpeedRange(rs);
    rs.WorkSpeed = spaces * kMphPerSpace;
    rs.SpacesLeft = spaces;
    rs.CarNewSpeed[car] = rs.WorkSpeed;
    rs.WorkTopSpeed = rs.CarTopSpeed[car];
    // Every trial is checked afresh, or each one after the first would settle nothing.
    rs.SpeedChecked = false;
    rs.DecelChecked = false;
    rs.AccelChecked = speed == 0 || rs.RestartAfterPit;
    rs.AITrialMove = true;
    CheckSpeedLimits(ctx);
    chosen = spaces * kMphPerSpace;
    rs.AITrialMove = true;
    int moveSpeed = rs.CarNewSpeed[car];
    const MovePlan plan = PlanMove(ctx, wears, moveSpeed);
    int wearsUsed = plan.WearsUsed;
    NextCells(rs);
    if (LimitAt(t, rs.CarSpace[car], rs.CarLane[car]) < kNoLimit && rs.NextIsExit && wearsUsed == 2 &&
        CurveIsGentle(rs, car) && wears > 1)
      wearsUsed = 1;
    if (wearsUsed <= allowance) continue;
    // The first speed that costs more than the driver will spend ends the search.
    if (spaces == minSpaces && wears < 1) {
      chosen = minSpaces * kMphPerSpace;
      break;
    }
    chosen = spaces == minSpaces ? minSpaces * kMphPerSpace : spaces * kMphPerSpace - kMphPerSpace;
    const int pitAhead = SpacesForward(t, saved.CarSpace, t.PitEntrySpace);
    const bool reachesPit = rs.PitLaneOpen && t.PitEntrySpace > 0 && pitAhead >= 1 &&
                            pitAhead <= chosen / kMphPerSpace + slipSteps;
    if (slipSteps > 0 && chosen <= plan.LowestLimit - kMphPerSpace * slipSteps &&
        speed + saved.CarAcceleration >= chosen + kMphPerSpace * slipSteps &&
        (!reachesPit || saved.CarLap < rs.RaceLaps - 1 || wears >= 3)) {
      chosen += kMphPerSpace * slipSteps;
      target = 0;
      slipSteps = 0;
    }
    // A tow from a car slower than the trial speed is dropped in real moves only.
    if (spaces == minSpaces && wearsUsed > wears && spaces * kMphPerSpace > kMphPerSpace)
      chosen = spaces * kMphPerSpace - kMphPerSpace;
    break;
  }

  // Step 11.
  RestoreCar(rs, car, saved);
  RestoreGlobals(rs, carGlobals_);
  rs.CurrentCar = car;

  // Step 12.
  if ((saved.CarStatus == kSpinning || saved.CarStatus == kStalled) && chosen > saved.CarStartSpeed)
    chosen = FloorStep(saved.CarStartSpeed);
  NextCells(rs);
  if (ownLimit < kNoLimit && speed > 0 && !rs.NextIsExit) {
    const int allowed = rs.NextCellLimit + (saved.CarApexNumber > 0 ? kApexAllowance : 0);
    if (chosen > allowed && chosen > speed) chosen = std::max(allowed, speed);
  }
  if (chosen > maxSafe * kMphPerSpace) {
    if (chosen > saved.CarAcceleration + speed && !RiskRoll(rs, ctx.rng, car, "A"))
      chosen = FloorStep(saved.CarAcceleration + speed);
    if (chosen > saved.CarTopSpeed && !RiskRoll(rs, ctx.rng, car, "T")) chosen = FloorStep(saved.CarTopSpeed);
  }
  // The braking look-ahead.
  const CurvesAhead c = CurveAhead(rs, car);
  const int d = saved.CarDeceleration;
  const int b = kMphPerSpace * slipSteps;
  const int pad = wears > 2 && allowance >= 1 ? kMphPerSpace : 0;
  while (chosen > 0) {
    const int s = chosen;
    int why = 0;
    if (s - d > c.Limit1 + pad && c.Dist1 <= s + b) why = 1;  // too fast for the curve this turn
    else if (s - 2 * d >= c.Limit1 + pad && c.Dist1 > s + b) why = 2;  // for it next turn
    else if (c.Dist1 - b - 2 * s + d < 0 && c.Dist1 > s + b && s - 2 * d >= c.Limit1 + pad) why = 3;
    else if (c.Dist1 - b - s < s - d && c.Dist1 > s && s - d > c.Limit1 + allowanceMph) why = 4;
    else if (s - d > c.Limit2 + pad && c.TwoCurves && c.Dist2 <= b + 2 * s - d) why = 5;  // the second curve
    if (why == 0) break;
    // On the last lap a car that crosses the line before the curve need not brake for it.
    if (why != 4 && saved.CarLap == rs.RaceLaps && saved.CarSpace + c.Dist1 / kMphPerSpace > t.TrackLength) break;
    chosen -= kMphPerSpace;
  }
  // SlowCarAhead is not asked: nothing reads its answer.
  // The pit approach.
  if (!practice && rs.PitLaneOpen) {
    const bool dry = rs.TrackCondition == kTrackDry;
    const bool wet = rs.TrackCondition == kTrackWet;
    const bool wrong = rs.WeatherEnabled && ((dry && saved.CarWetTires) || (wet && !saved.CarWetTires));
    const int g = kMphPerSpace * (t.PitEntrySpace - saved.CarSpace);
    if ((wrong || (saved.CarLap < rs.RaceLaps - 1 && wears < 3)) && g > 0) {
      int s = chosen;
      if (g < 3 * s - 3 * d && g > s && s - 3 * d > kPitSpeedMargin) s -= d;
      if (g < 2 * s - d && g > s && s - 2 * d > kPitSpeedMargin) s -= d;
      if (g < s && s - d > kPitSpeedMargin) s -= d;
      chosen = s;
    }
  }
  return std::max(0, chosen);
}

void SpeedSearch::Commit(RuleContext& ctx, int car, int chosen, int slipSteps, bool human) {
  RaceState& rs = ctx.rs;
  // Step 13. The cheap forms of the rules hold here too (AISpeedSearch is still set).
  rs.CurrentCar = car;
  rs.AITrialMove = false;
  rs.SpeedChecked = false;
  rs.AccelChecked = false;
  rs.DecelChecked = false;
  ComputeSpeedRange(rs);
  rs.WorkSpeed = chosen;
  rs.SpacesLeft = chosen / kMphPerSpace + slipSteps;
  rs.CarNewSpeed[car] = chosen;
  // A human's speed was settled on its panel: its move alone may draw.
  if (!human) {
    CheckSpeedLimits(ctx);
    rs.CarNewSpeed[car] = rs.WorkSpeed;
  }
  int moveSpeed = rs.CarNewSpeed[car];
  PlanMove(ctx, rs.CarWears[car], moveSpeed);
}

}  // namespace

void ChooseAISpeeds(RuleContext& ctx) {
  // Kept across searches so that a search allocates nothing once warmed up.
  static SpeedSearch search;
  search.Run(ctx);
}

}  // namespace vm
