#include "engine/steering.h"

#include "core/units.h"
#include "engine/contact.h"
#include "engine/laps.h"
#include "engine/slipstream.h"
#include "rules/consequences.h"

namespace vm {

namespace {

// --- Reading the grid ------------------------------------------------------------------------

// Reads of the grid take any index a walk may reach: past TrackLength they wrap, and space 0
// (the empty column) stays readable for the look behind space 1.
int Limit(const Track& t, int space, int lane) { return t.CellSpeedLimit[WrapSpace(t, space)][lane]; }
bool Skip(const Track& t, int space, int lane) { return t.CellSkip[WrapSpace(t, space)][lane]; }
int Rank(const Track& t, int space, int lane) { return t.CellLaneRank[WrapSpace(t, space)][lane]; }
bool Occupied(const Track& t, int space, int lane) { return t.CellOccupant[WrapSpace(t, space)][lane] != 0; }

// The next cell of a lane after `space`: the first index that is no skip, passing at most two
// skipped indices. For a side lane a skip without a rank is not passed: it is no cell at all, and
// the rank test closes that step.
int NextCellIndex(const Track& t, int space, int lane, bool sideLane) {
  int index = NextSpace(t, space);
  for (int skipped = 0; skipped < 2; ++skipped) {
    const bool passes = Skip(t, index, lane) && (!sideLane || Rank(t, index, lane) > 0);
    if (!passes) break;
    index = NextSpace(t, index);
  }
  return index;
}

// The three indices a lane offers ahead: its next cell, the cell after it, and the index after that.
struct LaneAhead {
  int Next = 0;
  int After = 0;
  int Third = 0;
};

LaneAhead WalkLane(const Track& t, int space, int lane, bool sideLane) {
  LaneAhead ahead;
  ahead.Next = NextCellIndex(t, space, lane, sideLane);
  ahead.After = NextCellIndex(t, ahead.Next, lane, sideLane);
  ahead.Third = NextSpace(t, ahead.After);
  return ahead;
}

// The side of the lower lane rank at a space, seen from `lane`; only a curve cell gives a side.
char SideOfLowerRank(const Track& t, int space, int lane, int leftLane, int rightLane) {
  if (Limit(t, space, lane) >= kNoLimit) return ' ';
  const int own = Rank(t, space, lane);
  char side = ' ';
  const int left = Rank(t, space, leftLane);
  if (left > 0 && own < left) side = 'R';
  if (left > 0 && own > left) side = 'L';
  // The lane to the right is tested second and wins.
  const int right = Rank(t, space, rightLane);
  if (right > 0 && own < right) side = 'L';
  if (right > 0 && own > right) side = 'R';
  return side;
}

int OpenCount(const RaceState& rs) {
  return (rs.CanGoLeft ? 1 : 0) + (rs.CanGoStraight ? 1 : 0) + (rs.CanGoRight ? 1 : 0);
}

// Leaves only the first open step of `order` open.
void LeaveOnly(bool* const order[3]) {
  bool kept = false;
  for (int i = 0; i < 3; ++i) {
    if (*order[i] && !kept) {
      kept = true;
      continue;
    }
    *order[i] = false;
  }
}

// True when the inner lane's curve cells have run out: the next lane toward the racing line shows
// no skip cell beyond the next index before its curve ends.
bool CurveEndAhead(const RaceState& rs, int space, int lane) {
  const Track& t = rs.track;
  if (Limit(t, space, lane) >= kNoLimit) return true;
  const int own = Rank(t, space, lane);
  // On the racing line itself there is no lane further in.
  if (own <= 1) return true;
  int inner = 0;
  for (int r = 1; r <= kMaxLanes && inner == 0; ++r)
    if (Rank(t, space, r) == own - 1) inner = r;
  if (inner == 0) return true;
  int found = 0;
  for (int k = 1; k <= 15; ++k) {
    const int index = space + k;
    const bool hasRank = Rank(t, index, inner) > 0;
    if (hasRank && Skip(t, index, inner)) {
      found = index;
      break;
    }
    if (hasRank && !Skip(t, index, inner) && Limit(t, index, inner) >= kNoLimit + 1) break;
  }
  return found == 0 || found == space + 1;
}

// True when a step into the next lane would cross behind a curve cell: the index behind the car
// (no wrap: at space 1 it reads the empty column 0) holds an open cell while the inner lane's
// curve goes on.
bool CurveStepBlockedAt(const RaceState& rs, int space, int lane) {
  if (CurveEndAhead(rs, space, lane)) return false;
  const Track& t = rs.track;
  const int behind = space - 1;
  for (int l = 0; l <= kMaxLanes; ++l)
    if (!t.CellSkip[behind][l] && t.CellSpeedLimit[behind][l] >= kNoLimit + 1) return true;
  return false;
}

// True when the step from `oldLane` into `newLane`, which has landed at `space`, goes toward the
// lane that has skip cells ahead.
bool IsInwardStep(const Track& t, int space, int oldLane, int newLane) {
  const bool oldHasCell = Rank(t, space, oldLane) > 0;
  for (int k = 0; k <= 15; ++k) {
    const int index = space + k;
    if (oldHasCell) {
      if (Limit(t, index, newLane) > kNoLimit && !Skip(t, index, newLane)) return false;
      if (Skip(t, index, newLane) && !Skip(t, index, oldLane)) return true;
    } else {
      if (Limit(t, index, oldLane) > kNoLimit && !Skip(t, index, oldLane)) return false;
      if (!Skip(t, index, newLane) && Skip(t, index, oldLane)) return true;
    }
  }
  return false;
}

// --- Moving the car --------------------------------------------------------------------------

// Brings a space index past the line back onto the lap and counts the crossing.
void WrapAtLine(RuleContext& ctx, int& space) {
  const int length = ctx.rs.track.TrackLength;
  if (space > length) {
    space -= length;
    CrossLine(ctx);
  }
}

// Steps 3 to 5 of a straight step, shared by the lane changes: the block is spent; on a free
// cell the car moves there and the checks run, on an occupied one it goes back.
void Land(RuleContext& ctx) {
  RaceState& rs = ctx.rs;
  Track& t = rs.track;
  const int car = rs.CurrentCar;
  // Step 3.
  rs.SpacesLeft -= 1;
  // Step 4.
  if (t.CellOccupant[rs.CarSpace[car]][rs.CarLane[car]] == 0) {
    if (t.CellOccupant[rs.TargetSpace][rs.TargetLane] == car) t.CellOccupant[rs.TargetSpace][rs.TargetLane] = 0;
    t.CellOccupant[rs.CarSpace[car]][rs.CarLane[car]] = car;
    CheckApexMarks(ctx);
    CheckCurveSpeed(ctx);
    AfterStep(ctx);
    return;
  }
  // Step 5.
  rs.CarSpace[car] = rs.TargetSpace;
  rs.CarLane[car] = rs.TargetLane;
}

// Where a lane change of the current car lands, before the line is counted: the space may run
// one lap past TrackLength. Sets nothing else; from a curve cell `inward` takes whether the step
// goes toward the lane that has skip cells ahead (from an open cell it is left as it was).
int LaneChangeSpace(const RaceState& rs, int direction, bool& inward) {
  const Track& t = rs.track;
  const int car = rs.CurrentCar;
  const int oldLane = rs.CarLane[car];
  const int newLane = oldLane + direction;
  const int oldSpace = rs.CarSpace[car];
  int space = oldSpace + 1;
  // Step 2.
  if (Limit(t, oldSpace, oldLane) < kNoLimit) {
    inward = IsInwardStep(t, space, oldLane, newLane);
    const char side = direction > 0 ? 'L' : 'R';
    if (inward && rs.ApexSideNow == side) {
      // Along the inside the inner lane has fewer cells: the step goes sideways.
      if (Rank(t, space, newLane) > 0) {
        space = oldSpace;
        for (int passed = 0; passed < 2 && Skip(t, space, newLane); ++passed) ++space;
      }
    } else {
      for (int passed = 0; passed < 2 && Skip(t, space, oldLane); ++passed) ++space;
    }
  }
  // Step 3: from an open cell no skip cell is passed over in the old lane's column.
  // A car never stands on a skip cell: whatever the walk above read, the landing cell of the new
  // lane is passed over like any skip, at most twice as the grid is drawn.
  for (int passed = 0; passed < 2 && Skip(t, space, newLane); ++passed) ++space;
  return space;
}

void ChangeLane(RuleContext& ctx, int direction) {
  RaceState& rs = ctx.rs;
  const Track& t = rs.track;
  const int car = rs.CurrentCar;
  const int oldLane = rs.CarLane[car];
  const int newLane = oldLane + direction;
  // The edge lane refuses the step silently and keeps the block.
  if (newLane < 1 || newLane > t.TrackLanes) return;
  // Step 1.
  rs.TargetSpace = rs.CarSpace[car];
  rs.TargetLane = oldLane;
  int space = LaneChangeSpace(rs, direction, rs.InwardStep);
  rs.CarLane[car] = newLane;
  // Step 4.
  WrapAtLine(ctx, space);
  rs.CarSpace[car] = space;
  Land(ctx);
}

// --- Apex bookkeeping ------------------------------------------------------------------------

// Charges the 20 MPH an apex line lent the car.
void SettleAtTwenty(RuleContext& ctx) {
  ctx.rs.SpeedOverBy = 20;
  ctx.rs.CurveCheckDone = true;
  SettleCornering(ctx);
}

void ClearApex(RaceState& rs, int car) {
  rs.CarApexNumber[car] = 0;
  rs.CarApexLimit[car] = 0;
  rs.CarApexSpeed[car] = 0;
  rs.CarOnApexCells[car] = false;
}

// A race checks no curve before the car has started its first lap; Practice always does.
bool BeforeFirstLap(const RaceState& rs, int car) { return rs.CarLap[car] == 0 && rs.GameMode != kModePractice; }

// Where the apex line goes from the car's cell: its next listed cell, passing over one that is a
// skip in the grid, is in the same lane ('S'), a higher one ('L') or a lower one ('R').
char ApexLineDirection(const RaceState& rs, int car) {
  const Track& t = rs.track;
  const auto [apex, index] = FindApex(t, rs.CarLane[car], rs.CarSpace[car]);
  if (apex == 0) return 'S';
  int next = index + 1;
  if (next <= kMaxApexCells && t.ApexCells[apex][next].Lane != 0) {
    const ApexCell& cell = t.ApexCells[apex][next];
    if (t.CellSkip[cell.Space][cell.Lane]) ++next;
  }
  if (next > kMaxApexCells || t.ApexCells[apex][next].Lane == 0) return 'S';
  const int lane = t.ApexCells[apex][next].Lane;
  if (lane > rs.CarLane[car]) return 'L';
  if (lane < rs.CarLane[car]) return 'R';
  return 'S';
}

}  // namespace

char RacingSide(const Track& t, int space) {
  for (int lane = 1; lane < t.TrackLanes; ++lane) {
    const int low = Rank(t, space, lane);
    const int high = Rank(t, space, lane + 1);
    if (low > 0 && high > 0) return high > low ? 'L' : 'R';
  }
  return 'S';
}

std::pair<int, int> StepLanding(const RaceState& rs, Step step) {
  const Track& t = rs.track;
  const int car = rs.CurrentCar;
  const int lane = rs.CarLane[car];
  if (step == Step::Straight) return {NextCellIndex(t, rs.CarSpace[car], lane, false), lane};
  const int direction = step == Step::Left ? 1 : step == Step::Right ? -1 : 0;
  if (direction == 0 || lane + direction < 1 || lane + direction > t.TrackLanes) return {0, 0};
  bool inward = false;
  return {WrapSpace(t, LaneChangeSpace(rs, direction, inward)), lane + direction};
}

// --- Open steps ------------------------------------------------------------------------------

void ComputeOpenSteps(RaceState& rs) {
  const Track& t = rs.track;
  const int car = rs.CurrentCar;
  const int s = rs.CarSpace[car];
  const int lane = rs.CarLane[car];
  rs.CanGoLeft = rs.CanGoStraight = rs.CanGoRight = true;
  rs.ApexSideNow = rs.ApexSideNext = ' ';
  rs.CurveStepBlocked = false;
  const int limitHere = Limit(t, s, lane);
  const bool inCurve = limitHere < kNoLimit;

  // Step 1.
  if (lane + 1 <= t.TrackLanes) {
    rs.LeftLane = lane + 1;
  } else {
    rs.LeftLane = t.TrackLanes;
    rs.CanGoLeft = false;
  }
  if (lane - 1 >= 1) {
    rs.RightLane = lane - 1;
  } else {
    rs.RightLane = 0;
    rs.CanGoRight = false;
  }
  if (inCurve) rs.CurveStepBlocked = CurveStepBlockedAt(rs, s, lane);
  const LaneAhead a = WalkLane(t, s, lane, false);
  const LaneAhead b = WalkLane(t, s, rs.LeftLane, true);
  const LaneAhead c = WalkLane(t, s, rs.RightLane, true);
  const int left = rs.LeftLane;
  const int right = rs.RightLane;

  // Step 2.
  if (Rank(t, c.Next, right) < 1) rs.CanGoRight = false;
  if (Rank(t, b.Next, left) < 1) rs.CanGoLeft = false;
  if (Rank(t, a.Next, lane) < 1) rs.CanGoStraight = false;

  // Step 3.
  if (!inCurve) {
    if (Occupied(t, a.Next, lane)) rs.CanGoStraight = false;
    if (Occupied(t, b.Next, left)) rs.CanGoLeft = false;
    if (Occupied(t, c.Next, right)) rs.CanGoRight = false;
  }

  // Step 4.
  if (inCurve) {
    rs.ApexSideNow = SideOfLowerRank(t, s, lane, left, right);
    const int next = NextSpace(t, s);
    rs.ApexSideNext = SideOfLowerRank(t, next, lane, lane + 1 <= t.TrackLanes ? lane + 1 : t.TrackLanes, lane - 1);
    const char side = rs.ApexSideNow;
    if (side == 'R' || side == 'L') {
      // The roles of the two sides, seen from the side where the lower rank lies: "inner" is that
      // side, "outer" the other.
      const bool sideR = side == 'R';
      bool& canInner = sideR ? rs.CanGoRight : rs.CanGoLeft;
      bool& canOuter = sideR ? rs.CanGoLeft : rs.CanGoRight;
      const LaneAhead& in = sideR ? c : b;
      const LaneAhead& out = sideR ? b : c;
      const int innerLane = sideR ? right : left;
      const int outerLane = sideR ? left : right;
      if (rs.CurveStepBlocked) canInner = false;
      const bool aSkip = Skip(t, a.Next, lane);
      const int aRank = Rank(t, a.Next, lane);
      if (aSkip && aRank > 0) {
        // The car's line runs through the skip cell.
        if (Occupied(t, a.After, lane)) rs.CanGoStraight = false;
        if (Occupied(t, out.After, outerLane)) canOuter = false;
        if (Occupied(t, in.After, innerLane)) canInner = false;
      } else if (aSkip) {
        if (Occupied(t, a.After, lane)) rs.CanGoStraight = false;
        if (Occupied(t, out.After, outerLane)) canOuter = false;
        if (Occupied(t, in.Next, innerLane)) canInner = false;
      } else if (rs.ApexSideNext != rs.ApexSideNow || Limit(t, a.Next, lane) >= kNoLimit) {
        if (Occupied(t, a.Next, lane)) rs.CanGoStraight = false;
        const int outerIndex = Skip(t, out.Next, lane) ? out.After : out.Next;
        if (Occupied(t, outerIndex, outerLane)) canOuter = false;
        if (Occupied(t, in.Next, innerLane)) canInner = false;
      } else {
        if (Limit(t, s, lane) != Limit(t, s, innerLane)) {
          if (Occupied(t, s, innerLane)) canInner = false;
        } else if (Occupied(t, in.Next, innerLane)) {
          canInner = false;
        }
        if (Occupied(t, a.Next, lane)) rs.CanGoStraight = false;
        if (Occupied(t, out.Next, outerLane)) canOuter = false;
      }
    }
  }

  // Step 5.
  const int limitNext = Limit(t, a.Next, lane);
  if (rs.OptNoLaneChangeInCurves && limitHere > 0 && limitHere < kNoLimit && limitNext > 0 && limitNext < kNoLimit &&
      rs.CarApexNumber[car] == 0) {
    rs.CanGoLeft = rs.CanGoRight = false;
  }

  // Step 6.
  if (rs.BlueFlagInForce && !rs.OptBlueFlag) rs.BlueFlagInForce = false;
  if (rs.BlueFlagInForce && OpenCount(rs) >= 2) {
    const char side = RacingSide(t, s);
    if (side == 'S') {
      if (OpenCount(rs) == 3) {
        rs.CanGoLeft = rs.CanGoRight = false;
      } else if (rs.CanGoStraight) {
        rs.CanGoStraight = false;
      } else if (rs.CanGoRight) {
        rs.CanGoRight = false;
      } else {
        rs.CanGoLeft = false;
      }
    } else if (side == 'R') {
      bool* const order[3] = {&rs.CanGoRight, &rs.CanGoStraight, &rs.CanGoLeft};
      LeaveOnly(order);
    } else {
      bool* const order[3] = {&rs.CanGoLeft, &rs.CanGoStraight, &rs.CanGoRight};
      LeaveOnly(order);
    }
  }

  // Step 7.
  if (rs.CarIsAI[car] && limitNext == kOpenStraight && rs.CarApexNumber[car] == 0 && OpenCount(rs) >= 2) {
    const char side = RacingSide(t, s);
    if (side == 'L' && Rank(t, s, left) >= 3) rs.CanGoLeft = false;
    if (side == 'R' && Rank(t, s, right) >= 3) rs.CanGoRight = false;
    if (side == 'S' && Rank(t, s, lane) >= 3) rs.CanGoStraight = false;
  }
}

// --- Steps -----------------------------------------------------------------------------------

void StepStraight(RuleContext& ctx) {
  RaceState& rs = ctx.rs;
  const Track& t = rs.track;
  const int car = rs.CurrentCar;
  const int lane = rs.CarLane[car];
  // Step 1.
  rs.TargetLane = lane;
  rs.TargetSpace = rs.CarSpace[car];
  // Step 2.
  int space = rs.CarSpace[car] + 1;
  WrapAtLine(ctx, space);
  for (int passed = 0; passed < 2 && t.CellSkip[space][lane]; ++passed) {
    ++space;
    WrapAtLine(ctx, space);
  }
  rs.CarSpace[car] = space;
  // Steps 3 to 5.
  Land(ctx);
}

void StepLeft(RuleContext& ctx) { ChangeLane(ctx, +1); }

void StepRight(RuleContext& ctx) { ChangeLane(ctx, -1); }

// --- Checks after a step ---------------------------------------------------------------------

namespace {

// Charges the 20 an apex line lent when the car has left it for an open cell.
void SettleOwedOnOpenCell(RuleContext& ctx, int limit) {
  RaceState& rs = ctx.rs;
  const int car = rs.CurrentCar;
  if (limit >= kNoLimit + 1 && rs.CarOnApexCells[car] && rs.CarCurveOwes[car]) {
    SettleAtTwenty(ctx);
    rs.CarCurveExcessPaid[car] = 0;
    rs.CarCurveOwes[car] = false;
  }
}

}  // namespace

void CheckApexMarks(RuleContext& ctx) {
  RaceState& rs = ctx.rs;
  const Track& t = rs.track;
  const int car = rs.CurrentCar;
  if (BeforeFirstLap(rs, car)) return;
  rs.CurveCheckDone = false;
  const int space = rs.CarSpace[car];
  const int lane = rs.CarLane[car];
  const int mark = t.CellApexMark[space][lane];
  const int limit = t.CellSpeedLimit[space][lane];
  const int oldLimit = t.CellSpeedLimit[rs.TargetSpace][rs.TargetLane];
  const bool onLine = rs.CarApexNumber[car] != 0;
  // The apex line of the cell is looked up only where a mark asks for it: most steps have none.
  auto apexHere = [&] { return FindApex(t, lane, space).first; };

  // Step 1.
  if (mark == kApexFirst) {
    if (rs.CarOnApexCells[car] && onLine && rs.CarCurveOwes[car]) {
      SettleAtTwenty(ctx);
      rs.CarCurveExcessPaid[car] = 0;
      rs.CarCurveOwes[car] = false;
      ClearApex(rs, car);
    } else {
      rs.CarOnApexCells[car] = false;
    }
    if (limit < kNoLimit) {
      rs.CarOnApexCells[car] = true;
      rs.CarApexNumber[car] = apexHere();
      // The scan along the lane for the curve's first cell has no effect and is left out.
    }
    return;
  }
  if (!onLine) return;

  // Step 2.
  if (mark == kApexInside) {
    if (apexHere() != rs.CarApexNumber[car]) {
      if (oldLimit >= kNoLimit) {
        ClearApex(rs, car);
      } else {
        SettleOwedOnOpenCell(ctx, limit);
        if (limit < kNoLimit && rs.CarCurveOwes[car]) {
          SettleAtTwenty(ctx);
          rs.CarCurveOwes[car] = false;
          ClearApex(rs, car);
        }
      }
      rs.CarOnApexCells[car] = false;
    } else if (limit < kNoLimit) {
      rs.CarOnApexCells[car] = true;
      rs.CarApexLimit[car] = limit;
      rs.CarApexSpeed[car] = rs.WorkSpeed;
    }
    return;
  }

  // Step 3.
  if (mark == kApexLast) {
    if (apexHere() == rs.CarApexNumber[car]) {
      // The line was followed to its end: the 20 it lent is not charged.
      rs.CarApexNumber[car] = 0;
      rs.CarApexLimit[car] = 0;
      return;
    }
    SettleOwedOnOpenCell(ctx, limit);
    if (limit < kNoLimit && rs.CarCurveOwes[car]) {
      SettleAtTwenty(ctx);
      rs.CarCurveOwes[car] = false;
    }
    ClearApex(rs, car);
    return;
  }

  // Step 4: the car has left the line.
  SettleOwedOnOpenCell(ctx, limit);
  if (limit < kNoLimit && rs.CarOnApexCells[car] && rs.CarCurveOwes[car]) {
    rs.SpeedOverBy = rs.CarNewSpeed[car] - limit - rs.CarCurveExcessPaid[car];
    if (rs.SpeedOverBy < 20) rs.SpeedOverBy = 20;
    rs.CurveCheckDone = true;
    SettleCornering(ctx);
    rs.CarCurveOwes[car] = false;
  }
  if (t.CellLaneRank[space][lane] > t.CellLaneRank[rs.TargetSpace][rs.TargetLane] && oldLimit < kNoLimit &&
      rs.CarCurveOwes[car]) {
    SettleAtTwenty(ctx);
    rs.CarCurveOwes[car] = false;
  }
  ClearApex(rs, car);
}

void CheckCurveSpeed(RuleContext& ctx) {
  RaceState& rs = ctx.rs;
  const Track& t = rs.track;
  const int car = rs.CurrentCar;
  if (rs.CarLap[car] > rs.RaceLaps || BeforeFirstLap(rs, car)) return;
  const int space = rs.CarSpace[car];
  const int lane = rs.CarLane[car];
  const int bonus = rs.CarApexNumber[car] != 0 ? 20 : 0;
  const int limit = t.CellSpeedLimit[space][lane];
  const int oldLimit = t.CellSpeedLimit[rs.TargetSpace][rs.TargetLane];

  // Step 1.
  if (bonus == 20 && rs.WorkSpeed >= limit + 20) rs.CarCurveOwes[car] = true;
  // Step 2. CurveCheckDone is this step's own mark; SkipCornerCheck the one-shot mark other rules set.
  if (!rs.CurveCheckDone && !rs.SkipCornerCheck) {
    if (limit > kNoLimit) rs.CarCurveRankPaid[car] = 0;
    rs.SameLimitStep = oldLimit < kNoLimit && limit < kNoLimit && limit >= oldLimit;
    if (rs.SameLimitStep) rs.CarCurveEntryLimit[car] = limit;
    if (bonus == 20 && rs.WorkSpeed >= limit + 20 && !rs.SameLimitStep) rs.CarCurveOwes[car] = true;
    if (rs.WorkSpeed > limit + bonus && !rs.SameLimitStep) {
      rs.SpeedOverBy = rs.WorkSpeed - (limit + bonus + rs.CarCurveExcessPaid[car]);
      const int rank = t.CellLaneRank[space][lane];
      if (rs.CarCurveRankPaid[car] == 0 || rs.CarCurveRankPaid[car] > rank || rs.SpeedOverBy >= 1) {
        rs.CarCurveRankPaid[car] = rank;
        if (rs.SpeedOverBy > 0) SettleCornering(ctx);
      }
    }
  }
  // Step 3.
  rs.CurveCheckDone = false;
  rs.SkipCornerCheck = false;
  // Step 4.
  if (limit > kNoLimit) {
    rs.CarCurveExcessPaid[car] = 0;
    rs.CornerPaidTotal = 0;
    if (rs.CarApexNumber[car] == 0) rs.CarCurveOwes[car] = false;
  }
}

void AfterStep(RuleContext& ctx) {
  RaceState& rs = ctx.rs;
  if (rs.SpacesLeft < 1 && !rs.ReplayRunning) {
    rs.MoveEnded = true;
    rs.BlueFlagInForce = false;
  }
}

void EndMoveEarly(RuleContext& ctx) {
  // The blue flag's plain stop and the collision avoidance roll are both the rules' own part.
  CollisionAvoidance(ctx);
  AfterStep(ctx);
}

std::pair<int, int> FindApex(const Track& track, int lane, int space) {
  for (int apex = 1; apex <= kMaxApexes; ++apex)
    for (int index = 1; index <= kMaxApexCells; ++index) {
      const ApexCell& cell = track.ApexCells[apex][index];
      if (cell.Lane == lane && cell.Space == space) return {apex, index};
    }
  return {0, 0};
}

// --- The panel -------------------------------------------------------------------------------

SteeringPanel LoadSteeringFrame(RuleContext& ctx) {
  RaceState& rs = ctx.rs;
  const int car = rs.CurrentCar;
  rs.MoveEnded = false;
  // Step 1.
  rs.SpacesLeft = rs.CarNewSpeed[car] / kMphPerSpace;
  // Step 2. The tow may add blocks to SpacesLeft; WorkSpeed stays the chosen speed.
  const SlipstreamNotice notice = SettleSlipstream(ctx);
  // Step 3.
  SteeringPanel panel;
  panel.Car = car;
  panel.SpacesLeft = rs.SpacesLeft;
  if (rs.SpacesLeft > 0) {
    BlueFlagAtMoveStart(ctx);
    panel = LoadSteeringButtons(ctx);
  }
  // Step 4. A car with no space to move gets no panel.
  panel.Shown = rs.SpacesLeft > 0;
  panel.BlueFlagShown = rs.BlueFlagInForce && rs.OptBlueFlag;
  panel.Slipstream1Shown = notice.Plus20;
  panel.Slipstream2Shown = notice.Plus40;
  panel.SlipstreamCancelled = notice.Cancelled;
  return panel;
}

SteeringPanel LoadSteeringButtons(RuleContext& ctx) {
  RaceState& rs = ctx.rs;
  const Track& t = rs.track;
  const int car = rs.CurrentCar;
  SteeringPanel panel;
  panel.Car = car;
  // Step 1.
  ComputeOpenSteps(rs);
  rs.ApexDirection = 'S';
  rs.WorkSpeed = rs.CarNewSpeed[car];
  panel.Straight = {"Straight", true, false, Step::Straight};
  panel.Left = {"Left", true, false, Step::Left};
  panel.Right = {"Right", true, false, Step::Right};
  panel.InTurnLeft = {"", false, false, Step::Left};
  panel.InTurnRight = {"", false, false, Step::Right};
  // Step 2.
  panel.EnterPitVisible =
      rs.PitLaneOpen && t.PitEntrySpace > 0 && rs.CarSpace[car] == t.PitEntrySpace && !rs.CarInPit[car];
  // Step 3. The enabled states are worked out for every car: a car with none is blocked.
  panel.Straight.Enabled = rs.CanGoStraight;
  panel.Left.Enabled = rs.CanGoLeft;
  panel.Right.Enabled = rs.CanGoRight;
  // Step 4.
  if (rs.CarApexNumber[car] != 0) {
    panel.Straight.Caption = "Follow Apex";
    panel.Left.Caption = "Left of Apex";
    panel.Right.Caption = "Right of Apex";
    rs.ApexDirection = ApexLineDirection(rs, car);
    if (rs.ApexDirection == 'R') {
      panel.Straight.Takes = Step::Right;
      panel.Straight.Enabled = rs.CanGoRight;
      panel.Left.Takes = Step::Straight;
      panel.Left.Enabled = rs.CanGoStraight;
      panel.Right.Visible = panel.Right.Enabled = false;
      panel.InTurnLeft.Visible = panel.InTurnLeft.Enabled = rs.CanGoLeft;
    } else if (rs.ApexDirection == 'L') {
      panel.Straight.Takes = Step::Left;
      panel.Straight.Enabled = rs.CanGoLeft;
      panel.Right.Takes = Step::Straight;
      panel.Right.Enabled = rs.CanGoStraight;
      panel.Left.Visible = panel.Left.Enabled = false;
      panel.InTurnRight.Visible = panel.InTurnRight.Enabled = rs.CanGoRight;
    }
  }
  panel.ApexDirection = rs.ApexDirection;
  // Step 5.
  const bool anyEnabled = panel.Straight.Enabled || panel.Left.Enabled || panel.Right.Enabled ||
                          panel.InTurnLeft.Enabled || panel.InTurnRight.Enabled;
  if (rs.SpacesLeft > 0 && !anyEnabled) {
    EndMoveEarly(ctx);
    panel.Blocked = true;
  }
  panel.SpacesLeft = rs.SpacesLeft;
  panel.Shown = rs.SpacesLeft > 0;
  return panel;
}

SteeringPanel PressSteering(RuleContext& ctx, SteeringCommand command) {
  RaceState& rs = ctx.rs;
  const char d = rs.ApexDirection;
  const bool plain = d == ' ' || d == 'S';
  switch (command) {
    case SteeringCommand::cmdLeft:
      if (plain) StepLeft(ctx);
      else if (d == 'R') StepStraight(ctx);
      break;
    case SteeringCommand::cmdRight:
      if (plain) StepRight(ctx);
      else if (d == 'L') StepStraight(ctx);
      break;
    case SteeringCommand::cmdStraight:
      if (plain) StepStraight(ctx);
      else if (d == 'L') StepLeft(ctx);
      else if (d == 'R') StepRight(ctx);
      break;
    case SteeringCommand::cmdInTurnLeft:
      StepLeft(ctx);
      break;
    case SteeringCommand::cmdInTurnRight:
      StepRight(ctx);
      break;
    case SteeringCommand::cmdEndEarly:
      EndMoveEarly(ctx);
      break;
    case SteeringCommand::cmdEnterPit:
      break;
  }
  return LoadSteeringButtons(ctx);
}

}  // namespace vm
