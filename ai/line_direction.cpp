#include "ai/line_direction.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "core/units.h"
#include "engine/slipstream.h"
#include "engine/steering.h"

namespace vm {

namespace {

// How far ahead InsideLaneWorthIt counts curve cells.
constexpr int kWorthItSpaces = 20;
// The rows ahead ChooseDirection's passing test looks at: the move ends within three blocks.
constexpr int kPassingBlocks = 3;


bool OnTrack(const Track& t, int lane) { return lane >= 1 && lane <= t.TrackLanes; }

// A cell a car may stand on: it has a rank and is no skip.
bool Usable(const Track& t, int space, int lane) {
  return OnTrack(t, lane) && t.CellLaneRank[space][lane] > 0 && !t.CellSkip[space][lane];
}

// The next cell of a lane: the next index, past up to two skip cells.
int NextCell(const Track& t, int space, int lane) {
  int index = NextSpace(t, space);
  for (int passed = 0; passed < 2 && t.CellSkip[index][lane]; ++passed) index = NextSpace(t, index);
  return index;
}

char Toward(int from, int to) { return to > from ? 'L' : (to < from ? 'R' : 'S'); }
int Offset(char direction) { return direction == 'L' ? 1 : (direction == 'R' ? -1 : 0); }

// Step 1: the first limit along a lane within fifteen spaces, and whether an apex line starts
// on the way. A lane that ends, or has no curve in reach, reads 0.
struct LaneLook {
  int Limit = 0;
  bool ApexMark = false;
};

LaneLook LookAlong(const Track& t, int space, int lane) {
  LaneLook look;
  if (!OnTrack(t, lane)) return look;
  for (int k = 1; k <= kLookAheadSpaces; ++k) {
    const int index = WrapSpace(t, space + k);
    if (t.CellSkip[index][lane]) continue;
    if (t.CellLaneRank[index][lane] < 1) break;
    if (t.CellApexMark[index][lane] == kApexFirst) look.ApexMark = true;
    if (t.CellSpeedLimit[index][lane] < kNoLimit) {
      look.Limit = t.CellSpeedLimit[index][lane];
      break;
    }
  }
  return look;
}

// Looks of lanes lane - 2 .. lane + 2, at indices 0 .. 4.
using FiveLooks = std::array<LaneLook, 5>;

// Steps 2 and 4: the side of the best limit ahead; a side lane level with the best wins when an
// apex line starts on it.
char BestLimitSide(const FiveLooks& looks) {
  int best = looks[2].Limit;
  char direction = 'S';
  const std::array<std::pair<int, char>, 4> order = {{{0, 'R'}, {1, 'R'}, {4, 'L'}, {3, 'L'}}};
  for (const auto& [i, side] : order) {
    if (looks[i].Limit > best) {
      best = looks[i].Limit;
      direction = side;
    }
  }
  if (best > 0 && looks[1].Limit == best && looks[1].ApexMark) direction = 'R';
  if (best > 0 && looks[3].Limit == best && looks[3].ApexMark) direction = 'L';
  return direction;
}

// Step 3: the side of the racing line at the next counted space.
char InsideSide(const Track& t, int space, int lane) {
  const int ahead = NextCell(t, space, lane);
  if (t.CellLaneRank[ahead][lane] <= 1) return 'S';
  for (int l = 1; l <= t.TrackLanes; ++l)
    if (t.CellLaneRank[ahead][l] == 1) return Toward(lane, l);
  return 'S';
}

// Step 6, on a straight: head for the curve's lane once the lane changes it needs use up the
// spaces left before it (or at once under a blue flag); until then keep the lane.
char HeadForCurve(const RaceState& rs, int car, int ownLimit, bool insideWorthIt) {
  const CurveHeading h = NextCurveDirection(rs, car);
  const int lane = rs.CarLane[car];
  if (!h.Found || h.Lane == lane) return 'S';
  // A lane no faster than the car's own is worth the steps only for an apex line or a shorter way.
  if (!h.Apex && !insideWorthIt && ownLimit >= h.Limit) return 'S';
  const bool due = h.Distance - 1 <= std::abs(h.Lane - lane) || rs.BlueFlagInForce;
  return due ? Toward(lane, h.Lane) : 'S';
}

// Step 7: the free apex start in the next row: the only one, or the lowest rank of several
// whose line carries the car's speed with the wears in hand (the lowest rank when none does).
int PickApexLane(const RaceState& rs, int car, int row) {
  const Track& t = rs.track;
  const int wears = std::min(rs.CarWears[car], 2);
  int pick = 0, suited = 0, count = 0;
  for (int lane = 1; lane <= t.TrackLanes; ++lane) {
    if (t.CellApexMark[row][lane] != kApexFirst || !Usable(t, row, lane) || t.CellOccupant[row][lane] != 0) continue;
    ++count;
    const int rank = t.CellLaneRank[row][lane];
    if (pick == 0 || rank < t.CellLaneRank[row][pick]) pick = lane;
    const int gain = ApexGain(t, FindApex(t, lane, row).first);
    const bool suits = gain > 0 && rs.CarNewSpeed[car] <= gain - kMphPerSpace + kMphPerSpace * wears;
    if (suits && (suited == 0 || rank < t.CellLaneRank[row][suited])) suited = lane;
  }
  return count >= 2 && suited != 0 ? suited : pick;
}

// Step 7: takes an apex line that starts in the next row, within one lane, when it carries the
// car's speed (limit + 20 at least) and the curve comes within this move.
char TakeApex(RaceState& rs, int car, int spacesLeft, char direction) {
  const Track& t = rs.track;
  if (rs.CarApexNumber[car] != 0 || rs.CarLap[car] < 1 || rs.CarLap[car] > rs.RaceLaps || rs.BlueFlagInForce)
    return direction;
  const int lane = rs.CarLane[car];
  const int row = NextSpace(t, rs.CarSpace[car]);
  const int pick = PickApexLane(rs, car, row);
  if (pick == 0 || std::abs(pick - lane) > 1) return direction;
  const int apex = FindApex(t, pick, row).first;
  const int roomSpaces = FindCurveEntrySpeed(rs, car) / kMphPerSpace;
  if (apex == 0 || ApexGain(t, apex) < rs.CarNewSpeed[car] || roomSpaces >= spacesLeft) return direction;
  rs.CarApexNumber[car] = apex;
  return Toward(lane, pick);
}

// A car on a lane at a row that the passing test keeps clear of: any car when it is the lane
// wanted, a car not lapped by this one on a side lane.
bool Holds(const RaceState& rs, int car, int row, int lane, bool anyCar) {
  const int other = rs.track.CellOccupant[row][lane];
  if (!IsCarNumber(other) || other == car) return false;
  return anyCar || rs.CarLap[other] >= rs.CarLap[car];
}

// Step 8: when the move would end right behind a car on the inside line, ends it beside that car
// instead, on the free side of lower rank.
char MakeRoomToPass(const RaceState& rs, int car, int spacesLeft, char direction, char inside) {
  if (spacesLeft < 1 || spacesLeft > kPassingBlocks || direction != inside) return direction;
  const Track& t = rs.track;
  const int lane = rs.CarLane[car];
  const int row = WrapSpace(t, rs.CarSpace[car] + spacesLeft + 1);
  if (!OnTrack(t, lane + Offset(direction)) || !Holds(rs, car, row, lane + Offset(direction), true)) return direction;
  char chosen = direction;
  int chosenRank = 0;
  for (char side : {'L', 'S', 'R'}) {
    const int l = lane + Offset(side);
    if (side == direction || !Usable(t, row, l) || Holds(rs, car, row, l, false)) continue;
    const int rank = t.CellLaneRank[row][l];
    if (chosenRank == 0 || rank < chosenRank) {
      chosen = side;
      chosenRank = rank;
    }
  }
  return chosen;
}

}  // namespace

CurveHeading NextCurveDirection(const RaceState& rs, int car) {
  const Track& t = rs.track;
  CurveHeading h;
  for (int k = 1; k <= kLookAheadSpaces && !h.Found; ++k) {
    const int row = WrapSpace(t, rs.CarSpace[car] + k);
    for (int lane = 1; lane <= t.TrackLanes; ++lane) {
      const int limit = t.CellSpeedLimit[row][lane];
      if (!Usable(t, row, lane) || limit >= kNoLimit) continue;
      const bool lowerRank = h.Found && limit == h.Limit && t.CellLaneRank[row][lane] < t.CellLaneRank[row][h.Lane];
      if (!h.Found || limit > h.Limit || lowerRank) h = {true, lane, k, limit, false};
    }
  }
  // An apex line starting on the way is the better entry; a curve at the next space leaves no
  // room to look for one.
  int apexRank = 0;
  for (int j = 1; h.Found && h.Distance > 1 && j <= h.Distance; ++j) {
    const int row = WrapSpace(t, rs.CarSpace[car] + j);
    for (int lane = 1; lane <= t.TrackLanes; ++lane) {
      if (t.CellApexMark[row][lane] != kApexFirst || !Usable(t, row, lane)) continue;
      if (t.CellLaneRank[row][lane] <= apexRank) continue;
      apexRank = t.CellLaneRank[row][lane];
      h = {true, lane, j, h.Limit, true};
    }
  }
  return h;
}

bool CurveExitInReach(const RaceState& rs, int car) {
  const Track& t = rs.track;
  const int space = rs.CarSpace[car];
  const int lane = rs.CarLane[car];
  if (rs.CarApexNumber[car] != 0 || t.CellSpeedLimit[space][lane] >= kNoLimit) return false;
  return t.CellSpeedLimit[NextCell(t, space, lane)][lane] == kOpenStraight;
}

bool InsideLaneWorthIt(const RaceState& rs, int car) {
  const Track& t = rs.track;
  const int space = rs.CarSpace[car];
  const int lane = rs.CarLane[car];
  const int inner = RacingLineLane(t, space);
  if (inner == 0 || inner == lane) return false;
  int own = 0, inside = 0;
  for (int k = 1; k <= kWorthItSpaces; ++k) {
    const int row = WrapSpace(t, space + k);
    if (Usable(t, row, lane) && t.CellSpeedLimit[row][lane] < kNoLimit) ++own;
    if (Usable(t, row, inner) && t.CellSpeedLimit[row][inner] < kNoLimit) ++inside;
  }
  return own - inside > std::abs(t.CellLaneRank[space][lane] - t.CellLaneRank[space][inner]);
}

int ApexGain(const Track& t, int apex) {
  if (apex < 1 || apex > kMaxApexes) return 0;
  int lowest = 0;
  for (int i = 1; i <= kMaxApexCells && t.ApexCells[apex][i].Lane != 0; ++i) {
    const ApexCell& cell = t.ApexCells[apex][i];
    const int limit = t.CellSpeedLimit[cell.Space][cell.Lane];
    if (limit > 0 && limit < kNoLimit && (lowest == 0 || limit < lowest)) lowest = limit;
  }
  return lowest == 0 ? 0 : lowest + kMphPerSpace;
}

char ChooseDirection(RaceState& rs, int spacesLeft, bool insideWorthIt) {
  const Track& t = rs.track;
  const int car = rs.CurrentCar;
  const int space = rs.CarSpace[car];
  const int lane = rs.CarLane[car];
  // Step 1.
  FiveLooks looks;
  for (int i = 0; i < 5; ++i) looks[i] = LookAlong(t, space, lane - 2 + i);
  // Steps 2 and 4.
  char direction = BestLimitSide(looks);
  // Step 3.
  const char inside = InsideSide(t, space, lane);
  // Step 6. Step 5's highest rank only labels the straight-on choice.
  if (t.CellSpeedLimit[NextCell(t, space, lane)][lane] >= kNoLimit)
    direction = HeadForCurve(rs, car, looks[2].Limit, insideWorthIt);
  // Step 7.
  direction = TakeApex(rs, car, spacesLeft, direction);
  // Step 8.
  return MakeRoomToPass(rs, car, spacesLeft, direction, inside);
}

}  // namespace vm
