#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "core/track.h"
#include "tools/track_builder.h"

namespace vm {
namespace {

// SpaceCurveNumber for spaces 1..n as digits, "0012..." — one digit a space.
std::string CurveDigits(const Track& t) {
  std::string out;
  for (int space = 1; space <= t.TrackLength; ++space) out += std::to_string(t.SpaceCurveNumber[space]);
  return out;
}

TEST(TrackCurveNumbers, NumberedFromSpaceOne) {
  struct Case {
    const char* name;
    std::function<void(TrackBuilder&)> shape;  // on a 3-lane, 12-space straight
    const char* digits;
    int count;
  };
  const std::vector<Case> cases = {
      {"no curve", [](TrackBuilder&) {}, "000000000000", 0},
      {"two curves", [](TrackBuilder& b) { b.Curve(3, 5, {100, 120, 140}).Curve(8, 9, {80, 90, 100}); },
       "001110022000", 2},
      {"one straight space splits a curve",
       [](TrackBuilder& b) { b.Curve(3, 4, {100, 120, 140}).Curve(6, 7, {100, 120, 140}); }, "001102200000", 2},
      {"over the line counts twice", [](TrackBuilder& b) { b.Curve(11, 2, {100, 120, 140}); }, "110000000022",
       2},
      {"whole lap", [](TrackBuilder& b) { b.Curve(1, 12, {100, 120, 140}); }, "111111111111", 1},
      {"only a skip cell below 300 is no curve",
       [](TrackBuilder& b) { b.Limit(4, 2, 200).Limit(5, 1, 100).Skip(5, 1).Limit(6, 2, 200); }, "000102000000",
       2},
      {"a skip on one lane while another curves",
       [](TrackBuilder& b) { b.Curve(5, 6, {100, 120, 140}).Skip(5, 1); }, "000011000000", 1},
      {"300 is open, 299 a curve", [](TrackBuilder& b) { b.Limit(4, 1, 300).Limit(7, 3, 299); },
       "000000100000", 1},
      {"an outer lane alone makes a curve", [](TrackBuilder& b) { b.Limit(10, 3, 250); }, "000000000100", 1},
      {"lanes take turns in one curve", [](TrackBuilder& b) { b.Limit(3, 1, 100).Limit(4, 3, 200); },
       "001100000000", 1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    TrackBuilder b(3, 12);
    c.shape(b);
    const auto t = std::make_unique<Track>(b.Build());
    EXPECT_EQ(CurveDigits(*t), c.digits);
    EXPECT_EQ(CurveCount(*t), c.count);
  }
}

TEST(TrackCurveNumbers, RebuildForgetsOldNumbers) {
  auto t = std::make_unique<Track>(TrackBuilder(2, 10).Curve(2, 3, {100, 120}).Curve(6, 7, {100, 120}).Build());
  ASSERT_EQ(CurveDigits(*t), "0110022000");
  // The weather is not the derivation's business, but a rebuilt table must not keep stale numbers.
  for (int lane = 1; lane <= 2; ++lane) t->CellSpeedLimit[2][lane] = t->CellSpeedLimit[3][lane] = 999;
  DeriveCurveNumbers(*t);
  EXPECT_EQ(CurveDigits(*t), "0000011000");
  EXPECT_EQ(CurveCount(*t), 1);
}

TEST(TrackPitLanes, SearchesFollowTheRanks) {
  using Ranks = std::array<int, 5>;  // lanes 1..5
  struct Case {
    const char* name;
    Ranks exitRanks, entryRanks;
    int exitLane, exitAlt, entryLane;
  };
  const std::vector<Case> cases = {
      {"line on lane 1", {1, 2, 3, 0, 0}, {1, 2, 3, 0, 0}, 1, 3, 1},
      {"line on the outer lane", {3, 2, 1, 0, 0}, {3, 2, 1, 0, 0}, 3, 1, 3},
      {"line in the middle", {2, 1, 2, 0, 0}, {2, 1, 2, 0, 0}, 2, 3, 2},
      {"five lanes, line on lane 4", {4, 3, 2, 1, 2}, {4, 3, 2, 1, 2}, 4, 1, 4},
      {"lane 1 without a cell", {0, 2, 1, 0, 0}, {0, 2, 1, 0, 0}, 3, 2, 3},
      {"lane 1 on the line, lane 2 off it", {1, 2, 1, 0, 0}, {1, 2, 1, 0, 0}, 1, 3, 1},
      {"equal ranks take the high side", {2, 2, 2, 1, 0}, {2, 2, 2, 1, 0}, 4, 1, 4},
      {"no racing line, high side", {3, 2, 2, 0, 0}, {3, 2, 1, 0, 0}, 1, 1, 3},
      {"no racing line, low side", {2, 2, 3, 0, 0}, {2, 2, 3, 0, 0}, 1, 3, 1},
      {"entry and exit differ", {1, 2, 3, 0, 0}, {3, 2, 1, 0, 0}, 1, 3, 3},
      {"no cells at the exit", {0, 0, 0, 0, 0}, {1, 2, 3, 0, 0}, 1, 2, 1}};
  constexpr int kEntry = 7, kExit = 3;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    TrackBuilder b(5, 10);
    for (int lane = 1; lane <= 5; ++lane) {
      b.Rank(kExit, lane, c.exitRanks[lane - 1]);
      b.Rank(kEntry, lane, c.entryRanks[lane - 1]);
    }
    const auto t = std::make_unique<Track>(b.PitLane(kEntry, kExit).Build());
    EXPECT_EQ(std::tuple(t->PitExitLane, t->PitExitLaneAlt, t->PitEntryLane),
              std::tuple(c.exitLane, c.exitAlt, c.entryLane));
  }
}

TEST(TrackPitLanes, NoPitLaneGivesTheStartingValues) {
  auto t = std::make_unique<Track>(TrackBuilder(3, 10).RacingLine(3).PitLane(5, 6).Build());
  ASSERT_EQ(std::tuple(t->PitExitLane, t->PitExitLaneAlt, t->PitEntryLane), std::tuple(3, 1, 3));
  t->PitEntrySpace = t->PitExitSpace = 0;
  DerivePitLanes(*t);
  EXPECT_EQ(std::tuple(t->PitExitLane, t->PitExitLaneAlt, t->PitEntryLane), std::tuple(1, 2, 1));
}

TEST(TrackRacingLine, HighestLaneOfRankOne) {
  auto t = std::make_unique<Track>(
      TrackBuilder(3, 4).Rank(2, 3, 1).Rank(3, 1, 2).Rank(3, 2, 1).Rank(4, 1, 2).Build());
  // Space 2: lanes 1 and 3 both on the line; space 4: nobody; space 5: beyond the track.
  std::vector<int> lanes;
  for (int space = 1; space <= 5; ++space) lanes.push_back(RacingLineLane(*t, space));
  EXPECT_EQ(lanes, (std::vector<int>{1, 3, 2, 0, 0}));
}

TEST(TrackTitles, CaptionAndChooserLines) {
  auto t = std::make_unique<Track>(
      TrackBuilder(3, 100).Named("Silverton Ring", "Silverton", "Colorado", "SILV", 2.5).Build());
  EXPECT_EQ(TrackCaption(*t), "Silverton Ring  (Silverton, Colorado, 2.5 miles)");
  EXPECT_EQ(TrackChooserLines(*t),
            (std::vector<std::string>{"Silverton Ring (SILV  )", "Silverton", "Colorado", "Distance: 2.5 miles",
                                      "Racing Line: 100 spaces"}));
  TrackHeader h;
  h.TrackName = "Long Tag Park";
  h.TrackPlace1 = "North";
  h.TrackTag = "LONGTAGNAME";
  h.TrackDistanceMiles = 0.75;
  h.RacingLineSpaces = 27;
  EXPECT_EQ(TrackChooserLines(h), (std::vector<std::string>{"Long Tag Park (LONGTA)", "North", "",
                                                            "Distance: 0.75 miles", "Racing Line: 27 spaces"}));
}

TEST(TrackTitles, MilesWithoutTrailingZeros) {
  const std::vector<std::pair<double, std::string>> cases = {
      {2.5, "2.5"},     {0.75, "0.75"}, {3, "3"},     {12.0, "12"}, {0.1, "0.1"},
      {1.125, "1.125"}, {0.025, "0.025"}, {0, "0"}, {-0.0, "0"},  {0.1 + 0.2, "0.3"},
  };
  for (const auto& [miles, text] : cases) EXPECT_EQ(FormatNumber(miles), text) << miles;
  auto t = std::make_unique<Track>(TrackBuilder(1, 120).Named("Oval", "A", "B", "OV", 3).Build());
  EXPECT_EQ(TrackCaption(*t), "Oval  (A, B, 3 miles)");
}

TEST(TrackCompanions, PictureAndDefaultCarBesideTheTrackFile) {
  struct Case {
    std::string trackFile, carReference, picture, carPath;
  };
  const std::vector<Case> cases = {
      {"Tracks/Oval.trk", "Stock", "Tracks/Oval.gif", "Tracks/Stock.crs"},
      {"Tracks/Oval.TRK", "", "Tracks/Oval.gif", ""},
      {R"(C:\Game\Tracks\Ring.trk)", "Ring Car", R"(C:\Game\Tracks\Ring.gif)", R"(C:\Game\Tracks\Ring Car.crs)"},
      {"Ring.trk", "Fast", "Ring.gif", "Fast.crs"},
      {"/data/my.tracks/Le.Mans.trk", "LM", "/data/my.tracks/Le.Mans.gif", "/data/my.tracks/LM.crs"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.trackFile);
    auto t = std::make_unique<Track>();
    t->TrackFile = c.trackFile;
    t->TrackDefaultCarFile = c.carReference;
    EXPECT_EQ(TrackPictureFile(*t), c.picture);
    EXPECT_EQ(TrackDefaultCarPath(*t), c.carPath);
  }
}

}  // namespace
}  // namespace vm
