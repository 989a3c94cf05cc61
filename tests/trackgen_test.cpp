#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "core/track.h"
#include "core/track_file.h"
#include "tools/trackgen.h"

namespace vm {
namespace {

const std::string kHeader =
    "name Gen Test\nplace1 Here\nplace2 There\ntag GEN\n# the miles follow from the racing line\nlanes 3\ncar 60 40 60 180 6\n";

// A counter-clockwise square, the line near the start of the bottom side.
std::string Square(const std::string& turn = "left 90 radius 28 limits 60 80 100") {
  return kHeader + "straight 8\n" + turn + " exit 2 500 apex\nstraight 30\n" + turn + "\nstraight 30\n" + turn +
         "\nstraight 30\n" + turn + "\nstraight 22\n";
}

std::unique_ptr<Track> Build(const std::string& text) {
  TrackDescription d;
  auto error = ParseTrackDescription(text, "gen.txt", d);
  EXPECT_FALSE(error) << error->Describe();
  auto t = std::make_unique<Track>();
  if (!error) error = BuildTrack(d, *t);
  EXPECT_FALSE(error) << error->Describe();
  return t;
}

std::optional<FileError> Attempt(const std::string& text) {
  TrackDescription d;
  if (auto error = ParseTrackDescription(text, "gen.txt", d)) return error;
  auto t = std::make_unique<Track>();
  return BuildTrack(d, *t);
}

std::string SkipPattern(const Track& t, int first, int last, int lane) {
  std::string s;
  for (int space = first; space <= last; ++space) s += t.CellSkip[space][lane] ? 's' : 'o';
  return s;
}

TEST(TrackGenGeometry, CellsPerLaneThroughCurves) {
  // The outermost lane has a cell at every index; inner lanes skip evenly, never three in a row.
  struct Case {
    std::string turn;
    int first, last;
    std::vector<std::string> patterns;  // lanes 1..3
  };
  const std::vector<Case> cases = {
      {"left 90 radius 28 limits 60 80 100", 9, 14, {"oooooo", "oosooo", "sososo"}},
      {"right 90 radius 28 limits 60 80 100", 9, 14, {"sososo", "oosooo", "oooooo"}},
  };
  for (const Case& c : cases) {
    auto t = Build(Square(c.turn));
    for (int lane = 1; lane <= 3; ++lane)
      EXPECT_EQ(SkipPattern(*t, c.first, c.last, lane), c.patterns[lane - 1]) << c.turn << " lane " << lane;
    EXPECT_FALSE(t->CellSkip[c.first - 1][1] || t->CellSkip[c.last + 1][3]) << "straights have every cell";
  }
  // A half circle: 16 indices; the inside has 9 cells, the middle 13.
  auto t = Build(kHeader +
                 "right 180 radius 42 limits 60 80 100\nstraight 30\nright 180 radius 42 limits 60 80 100\nstraight 30\n");
  EXPECT_EQ(std::tuple(SkipPattern(*t, 1, 16, 1), SkipPattern(*t, 1, 16, 2), SkipPattern(*t, 1, 16, 3), t->TrackSpaces),
            std::tuple("ososososoosososo", "oosoooosooooosoo", std::string(16, 'o'), 92));
}

TEST(TrackGenGeometry, RanksAndLimitsPerIndex) {
  auto t = Build(Square());
  // Left curves: lane 3 is the inside, rank 1, lowest limit; straights lean to the next curve.
  for (int space : {1, 10, 11, 15, 40, 144}) {
    const bool curve = space >= 9 && space <= 14;
    for (int lane = 1; lane <= 3; ++lane) {
      EXPECT_EQ(t->CellLaneRank[space][lane], 4 - lane) << space;
      const int want = curve ? 60 + 20 * (3 - lane) : (space == 15 ? 500 : kOpenStraight);
      EXPECT_EQ(t->CellSpeedLimit[space][lane], want) << space << "/" << lane;
    }
  }
  EXPECT_EQ(std::tuple(t->CellSpeedLimit[16][2], t->CellSpeedLimit[17][2]), std::tuple(500, kOpenStraight));
  EXPECT_EQ(GridLanes(*t), std::make_pair(3, 1));
  EXPECT_EQ(GridLanes(*Build(Square("right 90 radius 28 limits 60 80 100"))), std::make_pair(1, 3));
  // The apex runs along the inside's real cells, first, inside, last.
  EXPECT_EQ(std::tuple(t->ApexCount, t->ApexCells[1][1], t->ApexCells[1][3]),
            std::tuple(1, ApexCell{3, 10}, ApexCell{3, 14}));
  EXPECT_EQ(std::tuple(t->CellApexMark[10][3], t->CellApexMark[12][3], t->CellApexMark[14][3]),
            std::tuple(kApexFirst, kApexInside, kApexLast));
}

TEST(TrackGenGeometry, HeadingsOnASquare) {
  auto t = Build(Square());
  struct Run {
    int first, last;
    const char* octant;
  };
  for (const Run& r : std::vector<Run>{{1, 8, "1"}, {15, 44, "3"}, {51, 80, "5"}, {87, 116, "7"}, {123, 144, "1"}})
    for (int space = r.first; space <= r.last; ++space)
      for (int lane = 1; lane <= 3; ++lane) EXPECT_EQ(t->CellImage[space][lane], r.octant) << space;
  EXPECT_EQ(t->CellImage[11][1], "2");  // mid-curve, heading north-east
  // East along the bottom: 14 units apart, lane 3 (left of travel) above lane 1 on the picture.
  EXPECT_EQ(t->CellX[2][1] - t->CellX[1][1], 14);
  EXPECT_EQ(t->CellY[1][1] - t->CellY[1][3], 28);
  EXPECT_EQ(t->CellY[17][2], t->CellY[18][2] + 14);  // north is up the picture
}

TEST(TrackGenGeometry, LoopCloses) {
  // A bottom side three spaces too long: the drift is spread over the straights.
  for (const std::string extra : {"", "straight 3\n"}) {
    auto t = Build(Square() + extra);
    for (int lane = 1; lane <= 3; ++lane) {
      const int n = t->TrackSpaces;
      const double gap = std::hypot(t->CellX[1][lane] - t->CellX[n][lane], t->CellY[1][lane] - t->CellY[n][lane]);
      EXPECT_NEAR(gap, 14, 1.5) << "lane " << lane << extra;
    }
    int left = 1000, top = 1000;
    for (int space = 1; space <= t->TrackSpaces; ++space)
      for (int lane = 1; lane <= 3; ++lane) {
        left = std::min(left, t->CellX[space][lane]);
        top = std::min(top, t->CellY[space][lane]);
      }
    EXPECT_EQ(std::pair(left, top), std::pair(47, 47));
  }
}

TEST(TrackGenSummary, NumbersOfASquare) {
  auto t = Build(Square() + "pit entry -5 exit 3\n");
  const TrackGenSummary s = SummariseTrack(*t, 40);
  EXPECT_EQ(std::tuple(s.Spaces, s.Curves, s.RacingLineSpaces, s.LongestSkipRun), std::tuple(144, 4, 132, 1));
  EXPECT_EQ(std::tuple(s.RealCells[1], s.RealCells[2], s.RealCells[3]), std::tuple(144, 140, 132));
  EXPECT_EQ(std::tuple(t->PitEntrySpace, t->PitExitSpace), std::tuple(140, 3));
  EXPECT_EQ(t->TrackDistanceMiles, 3.3);  // 132 spaces of a fortieth of a mile
}

TEST(TrackGenFile, RoundTrip) {
  auto built = Build(Square() + "pit entry 130 exit 5\ncarfile Gen\nwear 2\npodium 120 80\n");
  built->TrackFile = "Tracks/Gen.trk";
  auto read = std::make_unique<Track>();
  ASSERT_FALSE(LoadTrackText(*read, TrackFileText(*built), "Tracks/Gen.trk"));
  EXPECT_TRUE(*read == *built);
}

TEST(TrackGenErrors, NameTheLine) {
  struct Case {
    std::string text;
    int line;
    std::string field;
  };
  const std::string line = "\nline\n";
  const std::vector<Case> cases = {
      {kHeader + "bogus 3\n", 8, "bogus"},
      {"lanes 7\n", 1, "lanes"},
      {"# a comment\nmiles far\n", 2, "miles"},
      {"tag TOOLONG\n", 1, "tag"},
      {kHeader + "name Again\n", 8, "name"},
      {kHeader + "straight 30\nleft 90 radius 28 limits 80 60 100\n", 9, "left"},
      {kHeader + "straight 30\nleft 90 limits 60 80 100\n", 9, "left"},
      {kHeader + "straight 30\nleft 90 radius 28 limits 60 80\n", 9, "limits"},
      {"name X\nplace1 A\nplace2 B\ntag T\nwear 1\nlanes 2\nstraight 30\n", 7, "car"},
      // Descriptions that cannot be laid out.
      {Square() + "left 90 radius 28 limits 60 80 100\nstraight 30\n", 18, "left"},  // turns 450
      {kHeader + "straight 21\nleft 180 spaces 20 limits 60 80 100\nstraight 21\n"
                 "left 180 spaces 20 limits 60 80 100\nstraight 20\n", 12, "line"},
      {kHeader + "lanes 5\n", 8, "lanes"},
      {Square("left 90 radius 28 limits 60 80 100 exit 31"), 11, "exit"},
      {Square() + "pit entry 11 exit 3\n", 17, "pit"},
      {Square() + "straight 500\n", 17, "straight"},
      // Numbers that are no numbers at all.
      {"# a comment\nmiles nan\n", 2, "miles"},
      {"heading NaN\n", 1, "heading"},
      {"podium -nan 80\n", 1, "podium"},
      {kHeader + "straight 30\nleft nan radius 28 limits 60 80 100\n", 9, "left"},
      {kHeader + "straight 30\nleft 90 radius nan limits 60 80 100\n", 9, "left"},
      {kHeader + "straight 30\nleft 90 radius infinity limits 60 80 100\n", 9, "left"},
  };
  for (const Case& c : cases) {
    const auto error = Attempt(c.text);
    ASSERT_TRUE(error) << c.text;
    EXPECT_EQ(std::tuple(error->Line, error->Field), std::tuple(c.line, c.field)) << error->Describe();
  }
  // Five lanes round a tight curve would need three skip cells in a row.
  std::string five = kHeader + "lanes 5\n";
  five.replace(five.find("lanes 3\n"), 8, "");
  const auto error = Attempt(five + "left 360 radius 10 limits 40 50 60 70 80\nstraight 30\n");
  ASSERT_TRUE(error);
  EXPECT_EQ(std::tuple(error->Line, error->Field), std::tuple(8, "radius"));
}

}  // namespace
}  // namespace vm
