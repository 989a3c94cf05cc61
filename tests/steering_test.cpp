#include "engine/steering.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "core/track_file.h"
#include "tests/rules_fixture.h"
#include "tools/track_builder.h"

namespace vm {
namespace {

using testing_support::kRiskFails;

// A 3-lane, 30-space track, racing line on lane 1, with a curve over 10..20 whose inner lane
// skips 12 and 13.
Track SkipCurve(int inner = 80, int middle = 100, int outer = 120) {
  return TrackBuilder(3, 30).Curve(10, 20, {inner, middle, outer}).Skip(12, 13, 1).Build();
}

class SteerTest : public testing_support::RulesTest {
 protected:
  void Use(const Track& t) {
    rs.track = t;
    for (auto& column : rs.track.CellOccupant) column.fill(0);
    for (int car = 1; car <= 3; ++car) rs.CarSpace[car] = rs.CarLane[car] = 0;
  }
  // The open steps of the current car as "L", "S", "R" in that order.
  std::string Open() {
    ComputeOpenSteps(rs);
    return std::string(rs.CanGoLeft ? "L" : "") + (rs.CanGoStraight ? "S" : "") + (rs.CanGoRight ? "R" : "");
  }
  std::pair<int, int> Cell() const { return {rs.CarSpace[kCar], rs.CarLane[kCar]}; }
};

struct OpenCase {
  const char* Name;
  Track TrackUsed;
  int Space, Lane;
  std::vector<std::pair<int, int>> Occupied;  // (space, lane) held by other cars
  bool AI;
  std::string Expected;
};

TEST_F(SteerTest, OpenSteps) {
  const Track straight = TrackBuilder(3, 30).Build();
  const Track mirrored = TrackBuilder(3, 30).RacingLine(3).Curve(10, 20, {120, 100, 80}).Skip(12, 13, 3).Build();
  const std::vector<OpenCase> cases = {
      {"middle of a straight", straight, 10, 2, {}, false, "LSR"},
      {"lowest lane has no Right", straight, 10, 1, {}, false, "LS"},
      {"highest lane has no Left", straight, 10, 3, {}, false, "SR"},
      {"cars ahead close Straight and Left", straight, 10, 2, {{11, 2}, {11, 3}}, false, "R"},
      {"a car beside does not block", straight, 10, 2, {{10, 1}}, false, "LSR"},
      {"the walk wraps at the line", straight, 30, 2, {{1, 2}}, false, "LR"},
      {"a lane without a cell", TrackBuilder(3, 30).Rank(11, 3, 0).Build(), 10, 2, {}, false, "SR"},
      {"AI keeps off rank 3 on a straight", straight, 10, 2, {}, true, "SR"},
      {"curve: the inner cell beside closes Right", SkipCurve(), 11, 2, {{11, 1}}, false, "LS"},
      {"curve: the inner next cell does not", SkipCurve(), 11, 2, {{14, 1}}, false, "LSR"},
      {"curve of one limit: the inner next cell closes", SkipCurve(100, 100, 100), 11, 2, {{14, 1}}, false, "LS"},
      {"curve entry: the inner lane still skips ahead", SkipCurve(), 10, 2, {}, false, "LS"},
      {"mirrored curve: the inner cell beside closes Left", mirrored, 11, 2, {{11, 3}}, false, "SR"},
      {"mirrored curve entry closes Left", mirrored, 10, 2, {}, false, "SR"},
      {"curve: the car ahead closes Straight", SkipCurve(), 11, 2, {{12, 2}}, false, "LR"},
  };
  for (const OpenCase& c : cases) {
    Use(c.TrackUsed);
    rs.CarIsAI[kCar] = c.AI;
    Place(kCar, c.Space, c.Lane);
    int other = 1;
    for (auto [space, lane] : c.Occupied) Place(other++, space, lane);
    EXPECT_EQ(Open(), c.Expected) << c.Name;
  }
}

TEST_F(SteerTest, RuleOptionsCloseSteps) {
  struct Case {
    const char* Name;
    bool NoLaneChange, OptBlue, BlueUp;
    int Apex;
    std::pair<int, int> Occupied;
    std::string Expected;
    bool BlueAfter;
  };
  const std::vector<Case> cases = {
      {"no lane change in a curve", true, false, false, 0, {0, 0}, "S", false},
      {"on an apex line the lanes stay open", true, false, false, 1, {0, 0}, "LSR", false},
      {"blue flag: make way to the left", false, true, true, 0, {0, 0}, "L", true},
      {"blue flag: Left taken, Straight stays", false, true, true, 0, {12, 3}, "S", true},
      {"blue flag without the option is dropped", false, false, true, 0, {0, 0}, "LSR", false},
  };
  for (const Case& c : cases) {
    Use(SkipCurve(100, 100, 100));
    Human();
    Place(kCar, 11, 2);
    if (c.Occupied.first != 0) Place(1, c.Occupied.first, c.Occupied.second);
    rs.OptNoLaneChangeInCurves = c.NoLaneChange;
    rs.OptBlueFlag = c.OptBlue;
    rs.BlueFlagInForce = c.BlueUp;
    rs.CarApexNumber[kCar] = c.Apex;
    EXPECT_EQ(Open(), c.Expected) << c.Name;
    EXPECT_EQ(rs.BlueFlagInForce, c.BlueAfter) << c.Name;
  }
}

// One step from a cell with three blocks left: where the car lands, the blocks it has left and
// its lap. A car never stands on a skip cell: every walk passes the skips of the lane it ends in.
TEST_F(SteerTest, StepsPassSkipCellsAndStopAtCarsAndEdges) {
  struct Case {
    const char* Name;
    Track TrackUsed;
    void (*Press)(RuleContext&);
    int Space, Lane;
    std::pair<int, int> Expected;
    double SpacesAfter = 2;
    int LapAfter = 2;
    bool Planned = true;    // the open steps worked out first, as the panel does
    bool CarAhead = false;  // car 1 at 11/1
  };
  const Track curve = SkipCurve(100, 100, 100);
  const Track straight = TrackBuilder(2, 30).Build();
  const std::vector<Case> cases = {
      {"straight past two skips covers three indices", curve, StepStraight, 11, 1, {14, 1}},
      {"straight onto a plain cell", curve, StepStraight, 14, 1, {15, 1}},
      {"out of the inner lane passes its skips", curve, StepLeft, 11, 1, {14, 2}},
      {"into the inner lane along the inside goes sideways", curve, StepRight, 11, 2, {11, 1}},
      {"a lane change on a straight passes nothing", curve, StepLeft, 5, 1, {6, 2}},
      {"from an open cell into a curve whose inner lane skips its first cell",
       TrackBuilder(3, 30).Curve(10, 20, {80, 100, 120}).Skip(10, 1).Build(), StepRight, 9, 2, {11, 1}},
      {"outward in a curve onto the outer lane's skip",
       TrackBuilder(3, 30).Curve(10, 20, {80, 100, 120}).Skip(12, 2).Build(), StepLeft, 11, 1, {13, 2}},
      {"two skips in the new lane", TrackBuilder(2, 30).Skip(11, 12, 1).Build(), StepRight, 10, 2, {13, 1}},
      {"the new lane's skip just past the line", TrackBuilder(2, 20).Skip(1, 2).Build(), StepLeft, 20, 1, {2, 2}, 2,
       3},
      {"one skip before the line", TrackBuilder(2, 20).Skip(20, 20, 1).Build(), StepStraight, 19, 1, {1, 1}, 2, 3},
      {"two skips before the line", TrackBuilder(2, 20).Skip(19, 20, 1).Build(), StepStraight, 18, 1, {1, 1}, 2, 3},
      {"the skip just after the line", TrackBuilder(2, 20).Skip(1, 1, 1).Build(), StepStraight, 20, 1, {2, 1}, 2, 3},
      {"a step onto a car is undone with its block spent", straight, StepStraight, 10, 1, {10, 1}, 2, 2, false, true},
      {"the edge lane refuses a lane change and keeps the block", straight, StepLeft, 10, 2, {10, 2}, 3, 2, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.Name);
    Use(c.TrackUsed);
    Place(kCar, c.Space, c.Lane);
    if (c.CarAhead) Place(1, 11, 1);
    rs.CarLap[kCar] = 2;
    rs.SpacesLeft = 3;
    if (c.Planned) ComputeOpenSteps(rs);
    c.Press(ctx);
    EXPECT_EQ(Cell(), c.Expected);
    EXPECT_EQ(std::tuple(rs.SpacesLeft, rs.CarLap[kCar]), std::tuple(c.SpacesAfter, c.LapAfter));
    EXPECT_EQ(rs.track.CellOccupant[c.Expected.first][c.Expected.second], kCar);
    const int left = Cell() == std::pair(c.Space, c.Lane) ? kCar : c.CarAhead ? 1 : 0;
    EXPECT_EQ(rs.track.CellOccupant[c.Space][c.Lane], left);
    if (c.CarAhead) {
      EXPECT_EQ(rs.track.CellOccupant[11][1], 1);
    }
  }
}

// Every step from every cell of the circuits the game ships ends on a cell a car can stand on.
TEST_F(SteerTest, NoStepOnAShippedCircuitEndsOnASkipCell) {
  for (const char* name : {"Tarnock", "Kestrel", "Porto", "Brannock"}) {
    Track loaded;
    ASSERT_FALSE(LoadTrack(loaded, std::string(VELOMARK_DATA) + "/Tracks/" + name + ".trk")) << name;
    Use(loaded);
    rs.CarLap[kCar] = 0;  // no curve rolls: only where the car lands is tested
    const Track& t = rs.track;
    int steps = 0;
    for (int space = 1; space <= t.TrackLength; ++space) {
      for (int lane = 1; lane <= t.TrackLanes; ++lane) {
        if (t.CellSkip[space][lane] || t.CellLaneRank[space][lane] == 0) continue;
        for (auto step : {StepLeft, StepStraight, StepRight}) {
          Place(kCar, space, lane);
          rs.SpacesLeft = 2;
          ComputeOpenSteps(rs);
          step(ctx);
          const int s = rs.CarSpace[kCar], l = rs.CarLane[kCar];
          EXPECT_FALSE(t.CellSkip[s][l]) << name << " from " << space << "/" << lane << " to " << s << "/" << l;
          rs.track.CellOccupant[s][l] = 0;
          ++steps;
        }
      }
    }
    EXPECT_GT(steps, 3 * t.TrackLength) << name;
  }
}

// A curve of 100 over 10..13 and 80 over 14..16 on lane 1; the car at 120 drives straight through.
TEST_F(SteerTest, CurvePaymentsByModeAndLap) {
  struct Case {
    const char* Mode;
    int Lap;
    int Draws;
    std::vector<int> PaidAfterStep;  // CarCurveExcessPaid after each step from 9 to 17
  };
  const std::vector<Case> cases = {
      {"Single", 2, 2, {0, 20, 20, 20, 20, 40, 40, 40, 0}},
      {"Single", 0, 0, {0, 0, 0, 0, 0, 0, 0, 0, 0}},
      {"Practice", 0, 2, {0, 20, 20, 20, 20, 40, 40, 40, 0}},
  };
  for (const Case& c : cases) {
    Use(TrackBuilder(2, 30).Curve(10, 13, {100, 120}).Curve(14, 16, {80, 100}).Build());
    rs.GameMode = c.Mode;
    rs.CarLap[kCar] = c.Lap;
    rs.CarWears[kCar] = 5;
    rs.CarCurveExcessPaid[kCar] = 0;
    Place(kCar, 8, 1);
    rs.SpacesLeft = 9;
    rng.Seed(7);
    if (c.Draws > 0) Script(std::vector<double>(static_cast<size_t>(c.Draws), kRiskFails));
    std::vector<int> paid;
    for (int i = 0; i < 9; ++i) {
      StepStraight(ctx);
      paid.push_back(rs.CarCurveExcessPaid[kCar]);
    }
    EXPECT_EQ(paid, c.PaidAfterStep) << c.Mode << " lap " << c.Lap;
    EXPECT_EQ(rs.CarWears[kCar], 5 - c.Draws) << c.Mode << " lap " << c.Lap;
    ExpectDraws(static_cast<std::uint64_t>(c.Draws));
    EXPECT_TRUE(rs.MoveEnded);
  }
}

// An apex line over a curve of 100 on every lane: (10,3) (11,2) (12,1) (13,1) (14,2).
class SteerApexTest : public SteerTest {
 protected:
  SteerApexTest() {
    Use(TrackBuilder(3, 30)
            .Curve(10, 20, {100, 100, 100})
            .Apex(1, {{3, 10}, {2, 11}, {1, 12}, {1, 13}, {2, 14}})
            .PitLane(9, 2)
            .Build());
    Human();
    rs.CarNewSpeed[kCar] = 120;
    rs.WorkSpeed = 120;
  }
  SteeringPanel StartAt(int space, int lane, int apex) {
    Place(kCar, space, lane);
    rs.CarApexNumber[kCar] = apex;
    rs.CarOnApexCells[kCar] = rs.CarCurveOwes[kCar] = false;
    rs.SpacesLeft = 6;
    return LoadSteeringButtons(ctx);
  }
};

TEST_F(SteerApexTest, ButtonsFollowTheApexLine) {
  struct Case {
    int Space, Lane, Apex;
    char Direction;
    SteeringButton Straight, Left, Right, InTurnLeft, InTurnRight;
  };
  const SteeringButton hiddenLeft{"", false, false, Step::Left};
  const SteeringButton hiddenRight{"", false, false, Step::Right};
  const std::vector<Case> cases = {
      {9, 2, 0, 'S', {"Straight", true, true, Step::Straight}, {"Left", true, true, Step::Left},
       {"Right", true, true, Step::Right}, hiddenLeft, hiddenRight},
      {10, 3, 1, 'R', {"Follow Apex", true, true, Step::Right}, {"Left of Apex", true, true, Step::Straight},
       {"Right of Apex", false, false, Step::Right}, hiddenLeft, hiddenRight},
      {11, 2, 1, 'R', {"Follow Apex", true, true, Step::Right}, {"Left of Apex", true, true, Step::Straight},
       {"Right of Apex", false, false, Step::Right}, {"", true, true, Step::Left}, hiddenRight},
      {12, 1, 1, 'S', {"Follow Apex", true, true, Step::Straight}, {"Left of Apex", true, true, Step::Left},
       {"Right of Apex", true, false, Step::Right}, hiddenLeft, hiddenRight},
      {13, 1, 1, 'L', {"Follow Apex", true, true, Step::Left}, {"Left of Apex", false, false, Step::Left},
       {"Right of Apex", true, true, Step::Straight}, hiddenLeft, hiddenRight},
  };
  auto same = [](const SteeringButton& a, const SteeringButton& b) {
    return a.Caption == b.Caption && a.Visible == b.Visible && a.Enabled == b.Enabled && a.Takes == b.Takes;
  };
  rs.PitLaneOpen = true;  // the entrance's button shows only with the pit lane open
  for (const Case& c : cases) {
    Use(rs.track);
    const SteeringPanel p = StartAt(c.Space, c.Lane, c.Apex);
    const std::string at = std::to_string(c.Space) + "/" + std::to_string(c.Lane);
    EXPECT_EQ(p.ApexDirection, c.Direction) << at;
    EXPECT_TRUE(same(p.Straight, c.Straight)) << at;
    EXPECT_TRUE(same(p.Left, c.Left)) << at;
    EXPECT_TRUE(same(p.Right, c.Right)) << at;
    EXPECT_TRUE(same(p.InTurnLeft, c.InTurnLeft)) << at;
    EXPECT_TRUE(same(p.InTurnRight, c.InTurnRight)) << at;
    EXPECT_EQ(p.EnterPitVisible, c.Space == 9) << at;
  }
}

// "Follow Apex" pressed from the first cell of each apex line visits the listed cells in turn and
// ends on the last with nothing charged, at a speed the line's curve cells allow: on the sample
// Oval and on every shipped circuit.
TEST_F(SteerTest, FollowApexRunsEveryLineToItsEnd) {
  const std::string data = std::string(VELOMARK_DATA) + "/Tracks/";
  int walked = 0;
  for (const std::string& file : {std::string(VELOMARK_FIXTURES) + "/Oval.trk", data + "Tarnock.trk",
                                  data + "Kestrel.trk", data + "Porto.trk", data + "Brannock.trk"}) {
    SCOPED_TRACE(file);
    Track loaded;
    ASSERT_FALSE(LoadTrack(loaded, file));
    Use(loaded);
    Human();
    const Track& t = rs.track;
    for (int apex = 1; apex <= t.ApexCount; ++apex) {
      std::vector<std::pair<int, int>> cells;  // (space, lane) as Cell() gives them
      int slowest = 999;
      for (int k = 1; k <= kMaxApexCells && t.ApexCells[apex][k].Lane != 0; ++k) {
        const ApexCell c = t.ApexCells[apex][k];
        cells.emplace_back(c.Space, c.Lane);
        slowest = std::min(slowest, t.CellSpeedLimit[c.Space][c.Lane]);
      }
      if (cells.size() < 2) continue;
      Place(kCar, cells[0].first, cells[0].second);
      rs.CarApexNumber[kCar] = apex;
      rs.CarOnApexCells[kCar] = true;
      rs.CarCurveOwes[kCar] = false;
      rs.CarNewSpeed[kCar] = rs.WorkSpeed = slowest;
      rs.SpacesLeft = static_cast<double>(cells.size());
      LoadSteeringButtons(ctx);
      for (size_t k = 1; k < cells.size(); ++k) {
        PressSteering(ctx, SteeringCommand::cmdStraight);
        ASSERT_EQ(Cell(), cells[k]) << "apex " << apex << " cell " << k + 1;
      }
      EXPECT_EQ(rs.CarApexNumber[kCar], 0) << "apex " << apex;
      ++walked;
      rs.track.CellOccupant[cells.back().first][cells.back().second] = 0;
    }
  }
  EXPECT_GE(walked, 10);
  EXPECT_EQ(rs.CarWears[kCar], 5);
  ExpectDraws(0);
}

TEST_F(SteerApexTest, PressesTakeTheStepOfTheirApexRole) {
  struct Case {
    SteeringCommand Command;
    std::pair<int, int> Expected;
  };
  const std::vector<Case> cases = {
      {SteeringCommand::cmdStraight, {11, 2}},
      {SteeringCommand::cmdLeft, {11, 3}},
      {SteeringCommand::cmdRight, {10, 3}},  // hidden on a line going right: nothing happens
  };
  for (const Case& c : cases) {
    Use(rs.track);
    StartAt(10, 3, 1);
    PressSteering(ctx, c.Command);
    EXPECT_EQ(Cell(), c.Expected);
  }
}

TEST_F(SteerApexTest, FollowingTheLineToItsLastCellCostsNothing) {
  rs.CarIsAI[kCar] = true;
  Place(kCar, 9, 3);
  rs.SpacesLeft = 6;
  for (auto step : {StepStraight, StepRight, StepRight, StepStraight, StepLeft}) step(ctx);
  EXPECT_EQ(Cell(), std::make_pair(14, 2));
  EXPECT_EQ(rs.CarApexNumber[kCar], 0);
  EXPECT_TRUE(rs.CarCurveOwes[kCar]);  // owed only while the curve lasts
  EXPECT_EQ(rs.CarWears[kCar], 5);
  ExpectDraws(0);
}

TEST_F(SteerApexTest, LeavingTheLineEarlyPaysTheOwedTwenty) {
  struct Case {
    const char* Name;
    Track TrackUsed;
    int ExcessPaidAfter;
  };
  // Leaving onto a curve cell pays the true excess (20 here) and keeps it paid; onto an open
  // cell pays 20 and the curve is over.
  const std::vector<Case> cases = {
      {"onto a curve cell", rs.track, 20},
      {"onto an open cell", TrackBuilder(3, 30)
                                .Curve(10, 11, {100, 100, 100})
                                .Limit(12, 2, 400)
                                .Apex(1, {{3, 10}, {2, 11}, {1, 12}, {1, 13}, {2, 14}})
                                .Build(),
       0},
  };
  for (const Case& c : cases) {
    Use(c.TrackUsed);
    rs.CarIsAI[kCar] = true;
    rs.CarWears[kCar] = 5;
    rng.Seed(7);
    Script({kRiskFails});
    Place(kCar, 9, 3);
    rs.SpacesLeft = 6;
    StepStraight(ctx);  // (10,3): mark 1
    StepRight(ctx);     // (11,2): on the line, at 120 the 20 of the line is owed
    EXPECT_TRUE(rs.CarCurveOwes[kCar]) << c.Name;
    StepStraight(ctx);  // (12,2): off the line
    EXPECT_EQ(rs.CarWears[kCar], 4) << c.Name;
    EXPECT_EQ(rs.CarCurveExcessPaid[kCar], c.ExcessPaidAfter) << c.Name;
    EXPECT_FALSE(rs.CarCurveOwes[kCar]) << c.Name;
    EXPECT_EQ(rs.CarApexNumber[kCar], 0) << c.Name;
    ExpectDraws(1);
  }
}

TEST_F(SteerTest, StoppingShort) {
  struct Case {
    const char* Name;
    bool Blocked;  // stopped by the panel rather than by cmdEndEarly
    bool BlueFlag;
    int Draws, WearsAfter, NewSpeedAfter;
  };
  const std::vector<Case> cases = {
      {"end early sheds 20 by collision avoidance", false, false, 1, 4, 100},
      {"a blocked car is stopped the same way", true, false, 1, 4, 100},
      {"under a blue flag no roll", true, true, 0, 5, 100},
  };
  for (const Case& c : cases) {
    Use(TrackBuilder(2, 30).Build());
    rs.CarWears[kCar] = 5;
    rs.CarNewSpeed[kCar] = rs.CarSpeed[kCar] = 120;
    rng.Seed(7);
    if (c.Draws > 0) Script({kRiskFails});
    Place(kCar, 10, 1);
    rs.SpacesLeft = 1;
    rs.MoveEnded = false;
    rs.OptBlueFlag = rs.BlueFlagInForce = c.BlueFlag;
    SteeringPanel p;
    if (c.Blocked) {
      Place(1, 11, 1);
      Place(2, 11, 2);
      p = LoadSteeringButtons(ctx);
    } else {
      PressSteering(ctx, SteeringCommand::cmdEndEarly);
    }
    EXPECT_EQ(p.Blocked, c.Blocked) << c.Name;
    EXPECT_EQ(rs.SpacesLeft, 0) << c.Name;
    EXPECT_TRUE(rs.MoveEnded) << c.Name;
    EXPECT_FALSE(rs.BlueFlagInForce) << c.Name;
    EXPECT_EQ(rs.CarWears[kCar], c.WearsAfter) << c.Name;
    EXPECT_EQ(rs.CarNewSpeed[kCar], c.NewSpeedAfter) << c.Name;
    EXPECT_EQ(rs.CarSpeed[kCar], c.NewSpeedAfter) << c.Name;
    ExpectDraws(static_cast<std::uint64_t>(c.Draws));
  }
}

TEST_F(SteerTest, FrameOfACarWithoutSpacesShowsNoPanel) {
  Use(TrackBuilder(2, 30).Build());
  Human();
  Place(kCar, 10, 1);
  for (int speed : {0, 60}) {
    rs.CarNewSpeed[kCar] = speed;
    const SteeringPanel p = LoadSteeringFrame(ctx);
    EXPECT_EQ(p.Shown, speed > 0);
    EXPECT_EQ(rs.SpacesLeft, speed / 20);
  }
}

TEST(SteerFindApex, FindsTheLineAndCell) {
  const Track t = TrackBuilder(3, 30).Apex(4, {{3, 10}, {2, 11}}).Build();
  EXPECT_EQ(FindApex(t, 2, 11), std::make_pair(4, 2));
  EXPECT_EQ(FindApex(t, 3, 11), std::make_pair(0, 0));
}

}  // namespace
}  // namespace vm
