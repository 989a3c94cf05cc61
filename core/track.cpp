#include "core/track.h"

#include <algorithm>
#include <cstdio>

#include "core/paths.h"

namespace vm {

// Every load clears the five lanes so that unread cells are skip cells without a rank. The
// dry limit goes too, so a cell the file does not hold can never bring back an old limit.
void ClearTrackForLoad(Track& t) {
  if (!t.EverLoaded) {
    // The first load after start-up starts from an empty grid.
    t = Track{};
    for (auto& row : t.CellImage) row.fill(" ");
  }
  for (int space = 1; space <= kMaxSpaces; ++space) {
    for (int lane = 1; lane <= kMaxLanes; ++lane) {
      t.CellX[space][lane] = 0;
      t.CellY[space][lane] = 0;
      t.CellApexMark[space][lane] = 0;
      t.CellSpeedLimit[space][lane] = 0;
      t.CellDrySpeedLimit[space][lane] = 0;
      t.CellLaneRank[space][lane] = 0;
      t.CellSkip[space][lane] = true;
    }
  }
  t.SpaceCurveNumber.fill(0);
  // Apex lines go on every load, not only the first: lines left by an earlier track would
  // change the payments on this one.
  for (auto& apex : t.ApexCells) apex.fill(ApexCell{});
  t.ApexCount = 0;  // counts the blocks of the file being read
  t.PitEntrySpace = 0;
  t.PitExitSpace = 0;
  t.TrackDefaultCarFile.clear();
  t.PodiumLeft = 0;
  t.PodiumTop = 0;
}

int SpaceAhead(const Track& t, int space, int n) {
  if (t.TrackLength <= 0) return space;
  int s = (space - 1 + n) % t.TrackLength;
  if (s < 0) s += t.TrackLength;
  return s + 1;
}

bool IsCurveSpace(const Track& t, int space) {
  for (int lane = 1; lane <= kMaxLanes; ++lane) {
    if (!t.CellSkip[space][lane] && t.CellSpeedLimit[space][lane] < kNoLimit) return true;
  }
  return false;
}

void DeriveCurveNumbers(Track& t) {
  t.SpaceCurveNumber.fill(0);
  int number = 0;
  bool inCurve = false;
  for (int space = 1; space <= t.TrackLength; ++space) {
    if (IsCurveSpace(t, space)) {
      if (!inCurve) ++number;
      inCurve = true;
      t.SpaceCurveNumber[space] = number;
    } else {
      inCurve = false;
    }
  }
}

int CurveCount(const Track& t) {
  return *std::max_element(t.SpaceCurveNumber.begin(), t.SpaceCurveNumber.end());
}

namespace {

int Rank(const Track& t, int space, int lane) { return t.CellLaneRank[space][lane]; }

// True when the ranks at a space grow toward lane 1: lane 3 no higher than lane 2, and lane 1
// at least lane 2 or without a cell. The pit lanes then sit on the high-numbered side.
bool RanksGrowTowardLaneOne(const Track& t, int space) {
  return Rank(t, space, 3) <= Rank(t, space, 2) &&
         (Rank(t, space, 1) >= Rank(t, space, 2) || Rank(t, space, 1) == 0);
}

int HighestLane(const Track& t, int space, bool (*pred)(int), int fallback) {
  for (int lane = kMaxLanes; lane >= 1; --lane)
    if (pred(Rank(t, space, lane))) return lane;
  return fallback;
}

int LowestLane(const Track& t, int space, bool (*pred)(int), int fallback) {
  for (int lane = 1; lane <= kMaxLanes; ++lane)
    if (pred(Rank(t, space, lane))) return lane;
  return fallback;
}

bool IsRacingLine(int rank) { return rank == 1; }
bool HasCell(int rank) { return rank > 0; }

}  // namespace

void DerivePitLanes(Track& t) {
  const int exit = t.PitExitSpace;
  if (RanksGrowTowardLaneOne(t, exit)) {
    t.PitExitLane = HighestLane(t, exit, IsRacingLine, 1);
    t.PitExitLaneAlt = LowestLane(t, exit, HasCell, 2);
  } else {
    t.PitExitLane = LowestLane(t, exit, IsRacingLine, 1);
    t.PitExitLaneAlt = HighestLane(t, exit, HasCell, 2);
  }
  const int entry = t.PitEntrySpace;
  t.PitEntryLane = RanksGrowTowardLaneOne(t, entry) ? HighestLane(t, entry, IsRacingLine, 1)
                                                    : LowestLane(t, entry, IsRacingLine, 1);
}

int RacingLineLane(const Track& t, int space) { return HighestLane(t, space, IsRacingLine, 0); }

std::string FormatNumber(double value) {
  char buf[40];
  std::snprintf(buf, sizeof buf, "%.15G", value);
  std::string out(buf);
  if (out == "-0") out = "0";
  return out;
}

std::string PadTag(std::string_view tag) {
  std::string out(tag.substr(0, 6));
  out.resize(6, ' ');
  return out;
}

std::string TrackCaption(const Track& t) {
  return t.TrackName + "  (" + t.TrackPlace1 + ", " + t.TrackPlace2 + ", " +
         FormatNumber(t.TrackDistanceMiles) + " miles)";
}

std::vector<std::string> TrackChooserLines(const TrackHeader& h) {
  return {
      h.TrackName + " (" + h.TrackTag.substr(0, 6) + ")",
      h.TrackPlace1,
      h.TrackPlace2,
      "Distance: " + FormatNumber(h.TrackDistanceMiles) + " miles",
      "Racing Line: " + std::to_string(h.RacingLineSpaces) + " spaces",
  };
}

std::string TrackPictureFile(const Track& t) { return ReplaceExtension(t.TrackFile, ".gif"); }

std::string TrackDefaultCarPath(const Track& t) {
  if (t.TrackDefaultCarFile.empty()) return "";
  return DirName(t.TrackFile) + t.TrackDefaultCarFile + ".crs";
}

std::pair<int, int> GridLanes(const Track& t) {
  const int a = t.CellLaneRank[1][1], b = t.CellLaneRank[1][2], c = t.CellLaneRank[1][3];
  const int n = t.TrackLanes;
  auto pick = [n](std::pair<int, int> two, std::pair<int, int> three, std::pair<int, int> four) {
    if (n == 2) return two;
    if (n == 3) return three;
    return four;  // four lanes, and five, which the rule does not name
  };
  std::pair<int, int> lanes{1, std::min(2, std::max(1, n))};
  if (n < 2) return {1, 1};
  if (b < c || (a != 0 && a < b)) lanes = pick({1, 2}, {1, 3}, {2, 4});
  if ((b < a && a != 0) || (c < b && c != 0)) lanes = pick({2, 1}, {3, 1}, {4, 2});
  return lanes;
}

}  // namespace vm
