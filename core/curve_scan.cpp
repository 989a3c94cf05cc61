#include "core/curve_scan.h"

namespace vm {

namespace {

constexpr int kScanSpaces = 31;

int LaneOfRank(const Track& t, int space, int rank) {
  for (int lane = 1; lane <= kMaxLanes; ++lane)
    if (t.CellLaneRank[space][lane] == rank) return lane;
  return 0;
}

// The limit reported for a curve found at `space`: the highest limit in 1..299 across the lanes,
// pulled down by a lower limit on the same rank at the next two spaces. On a tie the lowest lane
// gives the rank.
int CurveLimitAt(const Track& t, int space) {
  int limit = 0;
  int limitLane = 0;
  for (int lane = 1; lane <= kMaxLanes; ++lane) {
    const int l = t.CellSpeedLimit[space][lane];
    if (l > 0 && l < kNoLimit && l > limit) {
      limit = l;
      limitLane = lane;
    }
  }
  if (limitLane == 0) return limit;
  const int rank = t.CellLaneRank[space][limitLane];
  int ahead = space;
  for (int k = 1; k <= 2; ++k) {
    ahead = NextSpace(t, ahead);
    const int lane = LaneOfRank(t, ahead, rank);
    const int l = lane == 0 ? 0 : t.CellSpeedLimit[ahead][lane];
    if (l > 0 && l < limit) limit = l;
  }
  return limit;
}

}  // namespace

CurveScan ScanNextCurve(const Track& t, int space, int lane) {
  CurveScan scan;
  if (t.TrackLength <= 0 || lane < 0 || lane > kMaxLanes) return scan;
  int counter = -20;
  int index = space < 0 || space > t.TrackLength ? 0 : space;
  for (int k = 1; k <= kScanSpaces; ++k) {
    index = NextSpace(t, index);
    counter += 20;
    const int railLane = RacingLineLane(t, index);
    // Skip cells along the car's lane or the racing line are no real cells of the line.
    if (t.CellSkip[index][lane] || t.CellSkip[index][railLane]) counter -= 20;
    if (!t.CellSkip[index][railLane] && t.CellSpeedLimit[index][railLane] < kNoLimit) {
      scan.CurveLimit = CurveLimitAt(t, index);
      scan.Found = true;
      break;
    }
  }
  scan.SpacesToCurve = counter < 0 ? 1000 : counter / 20;
  return scan;
}

CurveScan ScanNextCurve(const RaceState& rs, int car) {
  if (!IsCarNumber(car)) return {};
  return ScanNextCurve(rs.track, rs.CarSpace[car], rs.CarLane[car]);
}

std::string SpcSpdText(const CurveScan& scan) {
  if (!scan.Found) return "25+/Str";  // nothing within reach reads as a long straight
  const bool hasLimit = scan.CurveLimit >= 20;
  if (scan.SpacesToCurve > 24) return hasLimit ? "25+/" + std::to_string(scan.CurveLimit) : "25+/Str";
  return std::to_string(scan.SpacesToCurve) + (hasLimit ? "/" + std::to_string(scan.CurveLimit) : "/Str");
}

}  // namespace vm
