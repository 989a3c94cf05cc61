#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "core/curve_scan.h"
#include "core/race_state.h"
#include "core/track.h"
#include "tools/track_builder.h"

namespace vm {
namespace {

// The bend most cases approach: spaces 10..12, limits 100/120/140 from lane 1 out.
TrackBuilder& Bend(TrackBuilder& b) { return b.Curve(10, 12, {100, 120, 140}); }

struct ScanCase {
  const char* name;
  std::function<void(TrackBuilder&)> shape;  // on a 3-lane, 40-space straight, racing line lane 1
  int space, lane;
  int spaces, limit;
  bool found;
  const char* label;
};

void RunScanCases(const std::vector<ScanCase>& cases) {
  for (const ScanCase& c : cases) {
    SCOPED_TRACE(c.name);
    TrackBuilder b(3, 40);
    c.shape(b);
    const auto t = std::make_unique<Track>(b.Build());
    const CurveScan scan = ScanNextCurve(*t, c.space, c.lane);
    EXPECT_EQ(std::tuple(scan.SpacesToCurve, scan.CurveLimit, scan.Found, SpcSpdText(scan)),
              std::tuple(c.spaces, c.limit, c.found, c.label));
  }
}

// Counting: -20 to start, +20 per index from the next space, an index lost where the car's lane
// or the racing line is a skip cell.
TEST(ScanNextCurve, CountsRealCellsAlongTheLine) {
  RunScanCases({
      // Indices 6..10 walked: 0, 20, 40, 60, 80.
      {"plain approach", [](TrackBuilder& b) { Bend(b); }, 5, 2, 4, 140, true, "4/140"},
      {"curve on the next space", [](TrackBuilder& b) { Bend(b); }, 9, 1, 0, 140, true, "0/140"},
      {"skip on the car's lane", [](TrackBuilder& b) { Bend(b).Skip(7, 2); }, 5, 2, 3, 140, true, "3/140"},
      {"skip on the racing line", [](TrackBuilder& b) { Bend(b).Skip(8, 1); }, 5, 2, 3, 140, true, "3/140"},
      {"both at one index lose it once", [](TrackBuilder& b) { Bend(b).Skip(7, 1).Skip(7, 2); }, 5, 2, 3, 140,
       true, "3/140"},
      {"both at two indices", [](TrackBuilder& b) { Bend(b).Skip(7, 2).Skip(8, 1); }, 5, 2, 2, 140, true,
       "2/140"},
      {"skip on a third lane does not count", [](TrackBuilder& b) { Bend(b).Skip(7, 3).Skip(8, 3); }, 5, 2, 4,
       140, true, "4/140"},
      // Index 10's line cell is a skip: not the curve, and not counted; the scan stops at 11.
      {"racing-line curve cell is a skip", [](TrackBuilder& b) { Bend(b).Skip(10, 1).Limit(10, 3, 250); }, 5, 2,
       4, 140, true, "4/140"},
      // The next index is a skip on the car's lane and already the curve: -20 reads as 1000.
      {"negative count", [](TrackBuilder& b) { b.Curve(6, 6, {100, 120, 140}).Skip(6, 2); }, 5, 2, 1000, 140,
       true, "25+/140"},
  });
}

TEST(ScanNextCurve, StopsOnlyOnTheRacingLine) {
  RunScanCases({
      {"300 on the line is open, 299 a curve", [](TrackBuilder& b) { b.Limit(10, 1, 300).Limit(20, 1, 299); },
       5, 1, 14, 299, true, "14/299"},
      {"a curve off the line is passed", [](TrackBuilder& b) { b.Limit(10, 3, 150).Limit(30, 1, 200); }, 5, 1,
       24, 200, true, "24/200"},
      {"25 spaces away", [](TrackBuilder& b) { b.Limit(31, 1, 200); }, 5, 1, 25, 200, true, "25+/200"},
      {"31st index is the last looked at", [](TrackBuilder& b) { b.Limit(36, 1, 200); }, 5, 1, 30, 200, true,
       "25+/200"},
      {"32nd index is beyond reach", [](TrackBuilder& b) { b.Limit(37, 1, 200); }, 5, 1, 30, 0, false,
       "25+/Str"},
      // Two lanes of rank 1: the highest is the line.
      {"highest rank-1 lane curves", [](TrackBuilder& b) { b.Rank(10, 3, 1).Limit(10, 3, 150); }, 5, 1, 4, 150,
       true, "4/150"},
      {"lower rank-1 lane curving is passed", [](TrackBuilder& b) { b.Rank(10, 3, 1).Limit(10, 1, 150); }, 5, 1,
       30, 0, false, "25+/Str"},
      {"racing line on lane 2", [](TrackBuilder& b) { b.RacingLine(2).Curve(10, 10, {999, 180, 999}); }, 5, 3, 4,
       180, true, "4/180"},
      {"limit under 20 shows as a straight", [](TrackBuilder& b) { b.Limit(20, 1, 15); }, 5, 1, 14, 15, true,
       "14/Str"},
  });
}

TEST(ScanNextCurve, ReportsTheFastestLanePulledDownAhead) {
  RunScanCases({
      {"fastest lane of the index", [](TrackBuilder& b) { b.Curve(10, 10, {100, 999, 160}); }, 5, 1, 4, 160,
       true, "4/160"},
      {"only limits below 300 count", [](TrackBuilder& b) { b.Curve(10, 10, {100, 300, 999}); }, 5, 1, 4, 100,
       true, "4/100"},
      {"lower on the same rank next space", [](TrackBuilder& b) { Bend(b).Limit(11, 3, 130); }, 5, 2, 4, 130,
       true, "4/130"},
      {"lower two spaces on", [](TrackBuilder& b) { Bend(b).Limit(12, 3, 110); }, 5, 2, 4, 110, true, "4/110"},
      {"lowest of the two wins", [](TrackBuilder& b) { Bend(b).Limit(11, 3, 110).Limit(12, 3, 130); }, 5, 2, 4,
       110, true, "4/110"},
      {"three spaces on is too far", [](TrackBuilder& b) { Bend(b).Limit(13, 3, 60); }, 5, 2, 4, 140, true,
       "4/140"},
      {"another rank does not pull", [](TrackBuilder& b) { Bend(b).Limit(11, 1, 50).Limit(12, 2, 50); }, 5, 2, 4,
       140, true, "4/140"},
      // At space 11 rank 3 sits on lane 2: its 90 pulls, lane 3's 140 does not.
      {"the rank, not the lane", [](TrackBuilder& b) { Bend(b).Rank(11, 2, 3).Rank(11, 3, 2).Limit(11, 2, 90); },
       5, 2, 4, 90, true, "4/90"},
      // No cell of rank 3 at space 11: nothing there to pull the limit to 0.
      {"no cell of the rank ahead", [](TrackBuilder& b) { Bend(b).Rank(11, 3, 0).Limit(11, 3, 0); }, 5, 2, 4, 140,
       true, "4/140"},
      {"higher ahead does not raise it", [](TrackBuilder& b) { b.Curve(10, 10, {100, 120, 140}).Limit(11, 3, 200); },
       5, 2, 4, 140, true, "4/140"},
  });
}

TEST(ScanNextCurve, WrapsPastTheLine) {
  RunScanCases({
      // 39, 40, 1, 2, 3.
      {"curve after the line", [](TrackBuilder& b) { Bend(b).Curve(3, 4, {120, 140, 160}); }, 38, 1, 4, 160, true,
       "4/160"},
      {"pull-down across the line", [](TrackBuilder& b) { b.Curve(40, 40, {130, 140, 150}).Limit(1, 3, 90); }, 35,
       1, 4, 90, true, "4/90"},
      {"car on the last space", [](TrackBuilder& b) { Bend(b); }, 40, 1, 9, 140, true, "9/140"},
  });

  // A lap shorter than the reach: the scan laps round to the curve the car is in.
  auto t = std::make_unique<Track>(TrackBuilder(2, 10).Curve(5, 5, {100, 120}).Build());
  const CurveScan scan = ScanNextCurve(*t, 5, 1);
  EXPECT_EQ(std::tuple(scan.Found, scan.SpacesToCurve, scan.CurveLimit), std::tuple(true, 9, 120));
}

TEST(ScanNextCurve, ForACarWhereItStands) {
  auto rs = std::make_unique<RaceState>();
  TrackBuilder b(3, 40);
  rs->track = Bend(b).Skip(7, 2).Build();
  rs->CarSpace[3] = 5;
  rs->CarLane[3] = 2;
  CurveScan scan = ScanNextCurve(*rs, 3);
  EXPECT_EQ(std::tuple(scan.SpacesToCurve, scan.CurveLimit, SpcSpdText(scan)), std::tuple(3, 140, "3/140"));
  for (int car : {0, 41, -1}) {
    scan = ScanNextCurve(*rs, car);
    EXPECT_EQ(std::tuple(scan.Found, scan.CurveLimit), std::tuple(false, 0)) << car;
  }
}

TEST(CurveLabel, SpacesAndLimitText) {
  struct Case {
    int spaces, limit;
    bool found;
    const char* label;
  };
  const std::vector<Case> cases = {
      {24, 120, true, "24/120"}, {25, 120, true, "25+/120"}, {30, 20, true, "25+/20"},
      {25, 19, true, "25+/Str"}, {3, 19, true, "3/Str"},     {3, 20, true, "3/20"},
      {0, 0, true, "0/Str"},     {0, 299, true, "0/299"},    {1000, 80, true, "25+/80"},
      {30, 0, false, "25+/Str"}, {4, 0, false, "25+/Str"},
  };
  for (const Case& c : cases) {
    const CurveScan scan{.SpacesToCurve = c.spaces, .CurveLimit = c.limit, .Found = c.found};
    EXPECT_EQ(SpcSpdText(scan), c.label) << c.spaces << "/" << c.limit << (c.found ? "" : " not found");
  }
}

}  // namespace
}  // namespace vm
