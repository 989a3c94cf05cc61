#include "ai/line_choice.h"

#include <algorithm>
#include <array>

#include "ai/line_direction.h"
#include "core/units.h"
#include "engine/contact.h"
#include "engine/slipstream.h"
#include "engine/steering.h"
#include "rules/pit_stops.h"
#include "rules/weather.h"

namespace vm {

namespace {

// The speeds of the car followed that give one and two blocks of tow.
constexpr int kTowCleared = 120;
constexpr int kOneBlockTow = 100;
constexpr int kTwoBlockTow = 180;
// The pit speed limit is the deceleration + 60; the AI takes the pit lane up to 20 MPH a wear
// over it, paying for the excess with the wears it comes in for.
constexpr int kPitMargin = 60;

bool Stopped(const RaceState& rs, int car) {
  const int status = rs.CarStatus[car];
  return status == kSpinning || status == kOutOfRace || status == kSpinningOffCell || rs.CarInPit[car];
}

int CellLimit(const RaceState& rs, int car) { return rs.track.CellSpeedLimit[rs.CarSpace[car]][rs.CarLane[car]]; }

// Step 2: the blocks of tow the car takes from its target this move; a tow that is lost clears
// the target. Only a real move compares the target's speed with the car's: the search keeps the
// tow until it compares the speed it chooses.
int SlipBonus(RaceState& rs, int car, bool real) {
  const int target = rs.CarDraftTarget[car];
  if (!IsCarNumber(target)) return 0;
  const int t = rs.CarNewSpeed[target];
  const int own = rs.CarNewSpeed[car];
  const int room = FindCurveEntrySpeed(rs, car);
  int steps = 0;
  // A target at 101..119 is let go, yet still gives its one block this move.
  if (t < kTowCleared) rs.CarDraftTarget[car] = 0;
  if (t > kOneBlockTow) steps = 1;
  if (t >= kTwoBlockTow) steps = 2;
  // The tow would carry the car into the curve.
  if (own + kMphPerSpace * steps > room && own <= room && !rs.OptCurveEntryBySlipstream) steps = 0;
  if (real && own > t) steps = 0;
  if (steps == 0) rs.CarDraftTarget[car] = 0;
  return steps;
}

// Step 3: a lapped car shown the blue flag gives up the blocks that would keep the lapping car
// behind it; its speed, and the tow, go with them.
void BlueFlagAtStart(RuleContext& ctx, int car, int& speed, int& slip) {
  RaceState& rs = ctx.rs;
  rs.BlueFlagInForce = false;
  rs.SpacesLeft = speed / kMphPerSpace + slip;
  BlueFlagAtMoveStart(ctx);
  if (rs.BlueFlagSpacesLost > 0) {
    slip = 0;
    speed = rs.CarNewSpeed[car];
  }
}

// --- One step further ----------------------------------------------------------------------

struct Open {
  bool Left = true;
  bool Straight = true;
  bool Right = true;
  bool Any() const { return Left || Straight || Right; }
  bool Can(Step s) const { return s == Step::Left ? Left : (s == Step::Right ? Right : Straight); }
};

Open OpenNow(const RaceState& rs) { return {rs.CanGoLeft, rs.CanGoStraight, rs.CanGoRight}; }

// What ComputeOpenSteps leaves behind, put back after a look one step further.
struct SteeringWork {
  bool CanGoLeft, CanGoStraight, CanGoRight, CurveStepBlocked, BlueFlagInForce;
  int LeftLane, RightLane;
  char ApexSideNow, ApexSideNext;
};

SteeringWork SaveWork(const RaceState& rs) {
  return {rs.CanGoLeft, rs.CanGoStraight, rs.CanGoRight, rs.CurveStepBlocked, rs.BlueFlagInForce,
          rs.LeftLane,  rs.RightLane,     rs.ApexSideNow, rs.ApexSideNext};
}

void RestoreWork(RaceState& rs, const SteeringWork& w) {
  rs.CanGoLeft = w.CanGoLeft;
  rs.CanGoStraight = w.CanGoStraight;
  rs.CanGoRight = w.CanGoRight;
  rs.CurveStepBlocked = w.CurveStepBlocked;
  rs.BlueFlagInForce = w.BlueFlagInForce;
  rs.LeftLane = w.LeftLane;
  rs.RightLane = w.RightLane;
  rs.ApexSideNow = w.ApexSideNow;
  rs.ApexSideNext = w.ApexSideNext;
}

// Stands the car for a moment where `step` would take it and asks whether it could go on from
// there; everything is put back. A step onto a car leads nowhere.
bool GoesOn(RaceState& rs, Step step) {
  const int car = rs.CurrentCar;
  const auto [space, lane] = StepLanding(rs, step);
  auto& cells = rs.track.CellOccupant;
  if (space == 0 || cells[space][lane] != 0) return false;
  const SteeringWork work = SaveWork(rs);
  const int fromSpace = rs.CarSpace[car];
  const int fromLane = rs.CarLane[car];
  const int fromOccupant = cells[fromSpace][fromLane];
  cells[fromSpace][fromLane] = 0;
  cells[space][lane] = car;
  rs.CarSpace[car] = space;
  rs.CarLane[car] = lane;
  ComputeOpenSteps(rs);
  const bool goesOn = OpenNow(rs).Any();
  rs.CarSpace[car] = fromSpace;
  rs.CarLane[car] = fromLane;
  cells[space][lane] = 0;
  cells[fromSpace][fromLane] = fromOccupant;
  RestoreWork(rs, work);
  return goesOn;
}

// NextCanLeft, NextCanStraight, NextCanRight: all true on the last block of the move.
Open LookTwoAhead(RaceState& rs, const Open& now) {
  Open next;
  if (rs.SpacesLeft <= 1) return next;
  next.Left = now.Left && GoesOn(rs, Step::Left);
  next.Straight = now.Straight && GoesOn(rs, Step::Straight);
  next.Right = now.Right && GoesOn(rs, Step::Right);
  return next;
}

void Take(RuleContext& ctx, Step step) {
  if (step == Step::Left) StepLeft(ctx);
  else if (step == Step::Right) StepRight(ctx);
  else StepStraight(ctx);
}

// --- Step 4c: the pit gate -----------------------------------------------------------------------

bool WrongTires(const RaceState& rs, int car) {
  const bool dry = rs.TrackCondition == kTrackDry;
  return dry == rs.CarWetTires[car];
}

bool WantsPits(const RaceState& rs, int car) {
  if (rs.GameMode == kModePractice || !rs.PitLaneOpen || rs.track.PitEntrySpace < 1) return false;
  if (rs.CarSpace[car] != rs.track.PitEntrySpace) return false;
  const bool wears = rs.CarLap[car] < rs.RaceLaps - 1 && rs.CarWears[car] < 3;
  const bool tires =
      rs.WeatherEnabled && rs.CarLap[car] > 1 && WrongTires(rs, car) && rs.CarStintLapsLeft[car] > rs.MinPitDuration;
  return wears || tires;
}

enum class PitGate { DrivePast, Entered, TooFast };

PitGate PitEntryTest(RuleContext& ctx, int car, int speed) {
  RaceState& rs = ctx.rs;
  if (!WantsPits(rs, car)) return PitGate::DrivePast;
  if (speed > rs.CarDeceleration[car] + kMphPerSpace * rs.CarWears[car] + kPitMargin) return PitGate::TooFast;
  EnterPit(ctx);
  // In a trial the pit lane has no effect: the car drives on past the entrance.
  if (!rs.CarInPit[car]) return PitGate::DrivePast;
  // The move ends at the entrance, and with it any blue flag.
  AfterStep(ctx);
  return PitGate::Entered;
}

// --- Step 4e: the apex line ------------------------------------------------------------------

// True when a car stands on a cell of the line after `index`.
bool ApexPathBlocked(const RaceState& rs, int car, int apex, int index) {
  const Track& t = rs.track;
  for (int i = index + 1; i <= kMaxApexCells && t.ApexCells[apex][i].Lane != 0; ++i) {
    const int other = t.CellOccupant[t.ApexCells[apex][i].Space][t.ApexCells[apex][i].Lane];
    if (other != 0 && other != car) return true;
  }
  return false;
}

// The lane of the line's next cell after `index`, passing over one that is a skip in the grid;
// 0 at the line's end.
int NextApexLane(const Track& t, int apex, int index) {
  int next = index + 1;
  if (next <= kMaxApexCells && t.ApexCells[apex][next].Lane != 0) {
    const ApexCell& cell = t.ApexCells[apex][next];
    if (t.CellSkip[cell.Space][cell.Lane]) ++next;
  }
  return next <= kMaxApexCells ? t.ApexCells[apex][next].Lane : 0;
}

// Takes the line's next step when it is open; false leaves the step to the line choice.
bool FollowApex(RuleContext& ctx, int car, const Open& now, const Open& next) {
  const RaceState& rs = ctx.rs;
  if (rs.CarApexNumber[car] <= 0) return false;
  const auto [apex, index] = FindApex(rs.track, rs.CarLane[car], rs.CarSpace[car]);
  if (apex == 0 || ApexPathBlocked(rs, car, apex, index)) return false;
  const int lane = NextApexLane(rs.track, apex, index);
  const int here = rs.CarLane[car];
  Step step = Step::None;
  if (lane == here && now.Straight && next.Straight) step = Step::Straight;
  if (lane != 0 && lane > here && now.Left) step = Step::Left;
  if (lane != 0 && lane < here && now.Right) step = Step::Right;
  if (step == Step::None) return false;
  Take(ctx, step);
  return true;
}

// --- Steps 4f to 4i: the line choice ---------------------------------------------------------

// Step 4i: the preferred step when it is open, led by where each open step can go on; otherwise
// the first open one of the other two.
Step ByPreference(char preference, const Open& now, const Open& next) {
  std::array<Step, 3> order = {Step::Straight, Step::Right, Step::Left};
  if (preference == 'R') order = {Step::Right, Step::Straight, Step::Left};
  if (preference == 'L') order = {Step::Left, Step::Straight, Step::Right};
  if (now.Can(order[0])) {
    for (Step s : order)
      if (now.Can(s) && next.Can(s)) return s;
    return order[0];
  }
  return now.Can(order[1]) ? order[1] : order[2];
}

// Step 4h: in a curve the car keeps to its line while the lane's rank holds.
bool KeepsCurveLine(const RaceState& rs, int car, bool exitInReach) {
  if (CellLimit(rs, car) >= kNoLimit || exitInReach || !rs.CanGoStraight) return false;
  const Track& t = rs.track;
  const int lane = rs.CarLane[car];
  const int ahead = StepLanding(rs, Step::Straight).first;
  return t.CellLaneRank[ahead][lane] == t.CellLaneRank[rs.CarSpace[car]][lane];
}

void ChooseAndStep(RuleContext& ctx, int car, int spacesLeft, const Open& now, const Open& next) {
  RaceState& rs = ctx.rs;
  // Step 4f.
  const bool exitInReach = CurveExitInReach(rs, car);
  const char preference = ChooseDirection(rs, spacesLeft, InsideLaneWorthIt(rs, car));
  // Steps 4g and 4h.
  if (KeepsCurveLine(rs, car, exitInReach)) {
    StepStraight(ctx);
    return;
  }
  // Step 4i.
  Take(ctx, ByPreference(preference, now, next));
}

// --- Step 4: the move, block by block ---------------------------------------------------------

enum class BlockEnd { Next, MoveOver, Impossible };

// One block of the move: the move goes on, is over (the car took the pit lane), or cannot be
// made at this speed (boxed in, or a trial too fast for the pit gate).
BlockEnd OneBlock(RuleContext& ctx, int car, int spacesLeft, int speed, MovePlan& plan) {
  RaceState& rs = ctx.rs;
  const bool real = !InSearch(rs);
  rs.WorkSpeed = rs.CarNewSpeed[car];
  // Step 4b.
  ComputeOpenSteps(rs);
  const Open now = OpenNow(rs);
  if (!now.Any()) {
    plan.WearsUsed = kMoveImpossible;
    if (real) EndMoveEarly(ctx);
    return BlockEnd::Impossible;
  }
  const Open next = LookTwoAhead(rs, now);
  // Step 4c.
  const PitGate gate = PitEntryTest(ctx, car, speed);
  if (gate == PitGate::Entered) return BlockEnd::MoveOver;
  if (gate == PitGate::TooFast) {
    plan.WearsUsed = kMoveImpossible;
    if (!real) return BlockEnd::Impossible;
  }
  // Step 4e; step 4d is in PlanMove.
  if (!FollowApex(ctx, car, now, next)) ChooseAndStep(ctx, car, spacesLeft, now, next);
  // Step 4j. The display paces the real move with CarMovementDelay; here there is none to wait for.
  if (!Stopped(rs, car)) plan.LowestLimit = std::min(plan.LowestLimit, CellLimit(rs, car));
  return BlockEnd::Next;
}

}  // namespace

MovePlan PlanMove(RuleContext& ctx, int wearsBefore, int& speed) {
  RaceState& rs = ctx.rs;
  MovePlan plan;
  const int car = rs.CurrentCar;
  // Step 1.
  plan.WearsUsed = kMoveImpossible;
  if (!IsCarNumber(car)) return plan;
  plan.LowestLimit = std::min(plan.LowestLimit, CellLimit(rs, car));
  const bool real = !InSearch(rs);
  rs.MoveEnded = false;
  // Step 2.
  int slip = SlipBonus(rs, car, real);
  rs.SlipBonusKind = rs.SlipBonusOfMove = slip;
  // Step 3. A trial sees no flag.
  bool autoYield = false;
  rs.BlueFlagInForce = false;
  if (real) {
    BlueFlagAtStart(ctx, car, speed, slip);
    autoYield = rs.BlueFlagInForce;
    rs.SlipBonusOfMove = slip;
    rs.CarSlipSpeed[car] = speed + kMphPerSpace * slip;
  }
  // Step 4.
  const int total = speed / kMphPerSpace + slip;
  for (int step = 1; step <= total && !Stopped(rs, car) && !rs.MoveEnded; ++step) {
    // Step 4a.
    const int spacesLeft = total - step + 1;
    rs.SpacesLeft = spacesLeft;
    // Step 4d. A car making way for a lapping car drops its apex plan.
    if (real && autoYield && rs.CarIsAI[car]) rs.CarApexNumber[car] = 0;
    const BlockEnd end = OneBlock(ctx, car, spacesLeft, speed, plan);
    if (end == BlockEnd::Impossible) return plan;
    if (end == BlockEnd::MoveOver) break;
  }
  // A real move whose last block met a car, or that had none to run, ends here all the same.
  if (real && rs.SpacesLeft < 1) AfterStep(ctx);
  // Step 5.
  plan.WearsUsed = wearsBefore - rs.CarWears[car];
  return plan;
}

void DriveAIMove(RuleContext& ctx) {
  RaceState& rs = ctx.rs;
  const int car = rs.CurrentCar;
  if (!IsCarNumber(car) || Stopped(rs, car)) return;
  int speed = rs.CarNewSpeed[car];
  PlanMove(ctx, rs.CarWears[car], speed);
}

}  // namespace vm
