#include "engine/contact.h"

#include <algorithm>
#include <cmath>

#include "core/units.h"
#include "engine/steering.h"

namespace vm {

namespace {

// The walk looks back this many indices from where the move would end.
// A lapping car moves this much faster than the pace it is held to.
constexpr int kLappingMargin = 40;

// Brings an index of a walk that may run past the line either way back onto the lap.
int OnLap(const Track& t, int index) {
  if (t.TrackLength < 1) return std::clamp(index, 0, kMaxSpaces);
  while (index > t.TrackLength) index -= t.TrackLength;
  while (index < 1) index += t.TrackLength;
  return index;
}

bool Skip(const Track& t, int index, int lane) { return t.CellSkip[OnLap(t, index)][lane]; }
int Rank(const Track& t, int index, int lane) { return t.CellLaneRank[OnLap(t, index)][lane]; }
int Limit(const Track& t, int index, int lane) { return t.CellSpeedLimit[OnLap(t, index)][lane]; }
int Occupant(const Track& t, int index, int lane) { return t.CellOccupant[OnLap(t, index)][lane]; }

// Where a move of `spaces` blocks would end, counted on from the car's own lap so that indices
// past the line stay comparable: the index, the skip cells of the racing line passed on the way
// (a car on the racing line covers them too), and whether the line is crossed.
struct Landing {
  int Index = 0;
  int Skips = 0;
  int Wrapped = 0;
};

Landing FindLanding(const RaceState& rs, int car, int spaces) {
  const Track& t = rs.track;
  const int from = rs.CarSpace[car];
  Landing l;
  // Step 1.
  l.Index = from + spaces;
  // Step 2.
  for (int k = 0; k <= spaces + 1; ++k) {
    const int index = l.Index - k;
    for (int lane = 1; lane <= kMaxLanes; ++lane)
      if (Skip(t, index, lane) && Rank(t, index, lane) == 1) ++l.Skips;
    if (index <= from) break;
  }
  l.Index += l.Skips;
  l.Wrapped = l.Index > t.TrackLength ? 1 : 0;
  return l;
}

// A free cell a car may stand on to make way.
bool FreeToStand(const Track& t, int index, int lane) {
  const int rank = Rank(t, index, lane);
  return rank >= 1 && rank <= 4 && Occupant(t, index, lane) == 0 && !Skip(t, index, lane);
}

}  // namespace

bool CheckBlueFlag(RuleContext& ctx, int car, int spaces) {
  RaceState& rs = ctx.rs;
  const Track& t = rs.track;
  rs.BlueFlagInForce = false;
  rs.BlueFlagCar = 0;
  if (!IsCarNumber(car)) return false;
  const Landing p = FindLanding(rs, car, spaces);
  // Step 3.
  int limitSeen = kOpenStraight;
  for (int j = 0; j <= kLookAheadSpaces; ++j) {
    const int index = p.Index - j;
    // Behind the line the cars are counted on the car's own lap again.
    const int w = index > t.TrackLength ? p.Wrapped : 0;
    for (int lane = 1; lane <= kMaxLanes; ++lane) {
      const int limit = Limit(t, index, lane);
      if (limit >= 1 && limit < limitSeen && Rank(t, index, lane) == 2) limitSeen = limit;
      const int other = Occupant(t, index, lane);
      if (!IsCarNumber(other)) continue;
      if (limitSeen == kOpenStraight) limitSeen = rs.CarNewSpeed[other] + kMphPerSpace;
      const int reach = static_cast<int>(
          std::floor(p.Skips + index + (limitSeen + kLappingMargin) / static_cast<double>(kMphPerSpace)));
      if (rs.CarLap[other] > rs.CarLap[car] + w && rs.CarLap[other] >= 1 && p.Index <= reach) {
        rs.BlueFlagInForce = true;
        rs.BlueFlagCar = other;
        return true;
      }
    }
  }
  return false;
}

int BlueFlagYield(RuleContext& ctx, int car, int spaces) {
  const Track& t = ctx.rs.track;
  if (!IsCarNumber(car)) return 0;
  const int from = ctx.rs.CarSpace[car];
  for (int k = spaces; k >= 1; --k) {
    const int index = from + k;
    int freeLanes = 0;
    for (int lane = 1; lane <= kMaxLanes; ++lane) {
      // A lane whose cell here is a skip offers its next two indices instead.
      const bool free = FreeToStand(t, index, lane) ||
                        (Skip(t, index, lane) && (FreeToStand(t, index + 1, lane) || FreeToStand(t, index + 2, lane)));
      if (free) ++freeLanes;
    }
    if (freeLanes >= 2) return spaces - k;
  }
  return spaces;
}

bool CheckLappedAhead(RuleContext& ctx, int car, int spaces) {
  const RaceState& rs = ctx.rs;
  const Track& t = rs.track;
  if (!IsCarNumber(car)) return false;
  const Landing p = FindLanding(rs, car, spaces);
  for (int j = 0; j <= kLookAheadSpaces; ++j) {
    const int index = p.Index - j;
    if (index <= rs.CarSpace[car]) break;
    const int w = index > t.TrackLength ? p.Wrapped : 0;
    for (int lane = 1; lane <= kMaxLanes; ++lane) {
      const int other = Occupant(t, index, lane);
      if (IsCarNumber(other) && other != car && rs.CarLap[other] < rs.CarLap[car] + w) return true;
    }
  }
  return false;
}

bool BlueFlagAtMoveStart(RuleContext& ctx) {
  RaceState& rs = ctx.rs;
  const int car = rs.CurrentCar;
  rs.BlueFlagSpacesLost = 0;
  if (!rs.OptBlueFlag || !IsCarNumber(car)) return false;
  const int n = static_cast<int>(std::floor(rs.SpacesLeft));
  // Steps 1 to 3.
  if (!CheckBlueFlag(ctx, car, n)) return false;
  rs.BlueFlagSide = RacingSide(rs.track, rs.CarSpace[car]);
  // Step 4.
  const int lost = BlueFlagYield(ctx, car, n);
  rs.BlueFlagSpacesLost = lost;
  // Step 5.
  if (lost > 0) {
    rs.SlipBonusKind = 0;
    rs.CarNewSpeed[car] = std::max(0, static_cast<int>(std::floor((rs.SpacesLeft - lost) * kMphPerSpace)));
    rs.CarSpeed[car] = rs.CarNewSpeed[car];
    rs.WorkSpeed = rs.CarNewSpeed[car];
    rs.SpacesLeft = rs.WorkSpeed / kMphPerSpace;
    rs.CarDraftTarget[car] = 0;
  }
  // Step 6: the flag is up; the open steps make way for the lapping car.
  return true;
}

}  // namespace vm
