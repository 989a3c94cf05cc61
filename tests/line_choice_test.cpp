#include "ai/line_choice.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "ai/drivers.h"
#include "ai/line_direction.h"
#include "engine/turn_engine.h"
#include "tests/rules_fixture.h"
#include "tools/track_builder.h"

namespace vm {
namespace {

// Car 3 drives; cars 1 and 2 stand where a case puts them (or off the track).
class LineChoiceTest : public testing_support::RulesTest {
 protected:
  // A fresh race on track `t`, with no car on it.
  void Use(const Track& t) {
    Reset();
    rs.track = t;
    for (auto& column : rs.track.CellOccupant) column.fill(0);
    for (int car = 1; car <= 3; ++car) rs.CarSpace[car] = rs.CarLane[car] = 0;
  }

  // A whole move of car 3 at `speed` from (space, lane), as a trial or as the real move.
  MovePlan Move(int space, int lane, int speed, bool trial) {
    Place(kCar, space, lane);
    rs.CarNewSpeed[kCar] = rs.CarSpeed[kCar] = speed;
    rs.AITrialMove = trial;
    int mph = speed;
    return PlanMove(ctx, rs.CarWears[kCar], mph);
  }

  std::tuple<int, int> Where() const { return {rs.CarSpace[kCar], rs.CarLane[kCar]}; }
};

// Lane 1 is the racing line; the curve at 20..25 is fastest there.
Track CurveAhead() { return TrackBuilder(3, 40).Curve(20, 25, {120, 100, 80}).Build(); }

// The apex line runs outside, inside, outside through a curve whose inner lane is slowest.
Track ApexCurve() {
  return TrackBuilder(3, 40)
      .Curve(20, 25, {80, 100, 120})
      .Apex(1, {{3, 20}, {2, 21}, {1, 22}, {1, 23}, {2, 24}, {3, 25}})
      .Build();
}

// From the outer lane the car keeps its lane until the two lane changes it needs fill the
// spaces before the curve, then moves in one lane a step: at space 17, then at 18. In a curve of
// one limit only a shorter inner lane (skip cells at 21, 22 and 25, 26) is worth the steps. Trial
// and real move drive alike, without a roll.
TEST_F(LineChoiceTest, MovesToTheCurvesLaneAsLateAsItCan) {
  struct Case {
    std::string Name;
    Track TrackUsed;
    int Speed;
    std::tuple<int, int> End;
  };
  const Track evenShort = TrackBuilder(3, 40).Curve(20, 29, {100, 100, 100}).Skip(21, 22, 1).Skip(25, 26, 1).Build();
  const Track even = TrackBuilder(3, 40).Curve(20, 29, {100, 100, 100}).Build();
  const std::vector<Case> cases = {
      {"faster inside, 3 spaces short", CurveAhead(), 140, {17, 3}},
      {"faster inside, 2 spaces short", CurveAhead(), 160, {18, 2}},
      {"faster inside, at the curve", CurveAhead(), 180, {19, 1}},
      {"one limit, shorter inside", evenShort, 180, {19, 1}},
      {"one limit, no shorter inside", even, 180, {19, 3}},
  };
  for (bool trial : {true, false}) {
    for (const Case& c : cases) {
      SCOPED_TRACE(c.Name + (trial ? " trial" : " real"));
      Use(c.TrackUsed);
      const MovePlan plan = Move(10, 3, c.Speed, trial);
      EXPECT_EQ(Where(), c.End);
      EXPECT_EQ(std::tuple(plan.WearsUsed, plan.LowestLimit), std::tuple(0, kOpenStraight));
      EXPECT_EQ(rng.Draws(), 0u);
    }
  }
}

// The heading before a curve, from space 10 of a track whose racing line is lane 2.
TEST_F(LineChoiceTest, NextCurveDirectionTakesTheBestLimitThenRankOneThenTheApex) {
  struct Case {
    std::string Name;
    Track TrackUsed;
    CurveHeading Expected;
  };
  const auto base = [] { return TrackBuilder(3, 40).RacingLine(2); };
  const std::vector<Case> cases = {
      {"highest limit", base().Curve(14, 16, {80, 100, 120}).Build(), {true, 3, 4, 120, false}},
      {"a tie goes to rank 1", base().Curve(14, 16, {100, 100, 100}).Build(), {true, 2, 4, 100, false}},
      {"an apex start on the way",
       base().Curve(14, 16, {80, 100, 120}).Apex(1, {{1, 13}, {2, 14}, {1, 15}}).Build(),
       {true, 1, 3, 120, true}},
      {"the curve at the next space: no apex look",
       base().Curve(11, 16, {80, 100, 120}).Apex(1, {{1, 11}, {2, 12}, {1, 13}}).Build(),
       {true, 3, 1, 120, false}},
      {"no curve in fifteen spaces", base().Curve(30, 32, {80, 100, 120}).Build(), {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.Name);
    Use(c.TrackUsed);
    Place(kCar, 10, 2);
    const CurveHeading h = NextCurveDirection(rs, kCar);
    EXPECT_EQ(std::tuple(h.Found, h.Lane, h.Distance, h.Limit, h.Apex),
              std::tuple(c.Expected.Found, c.Expected.Lane, c.Expected.Distance, c.Expected.Limit, c.Expected.Apex));
  }
}

// The apex line (lowest limit 80, + 20) carries 100. At 20 a move the car takes it at the curve's
// first cell and follows it cell by cell, right, right, straight, left, left, to its last cell,
// where the plan ends. A whole move at 100 follows it paying nothing.
TEST_F(LineChoiceTest, TakesAnApexLineAndFollowsItCellByCell) {
  const std::vector<std::tuple<int, int, int>> cells = {{20, 3, 1}, {21, 2, 1}, {22, 1, 1},
                                                        {23, 1, 1}, {24, 2, 1}, {25, 3, 0}};
  for (bool trial : {true, false}) {
    SCOPED_TRACE(trial ? "trial" : "real");
    Use(ApexCurve());
    Place(kCar, 19, 3);
    for (const auto& cell : cells) {
      Move(rs.CarSpace[kCar], rs.CarLane[kCar], 20, trial);
      EXPECT_EQ(std::tuple(rs.CarSpace[kCar], rs.CarLane[kCar], rs.CarApexNumber[kCar]), cell);
    }
    Use(ApexCurve());
    const MovePlan plan = Move(19, 3, 100, trial);
    EXPECT_EQ(std::tuple(rs.CarSpace[kCar], rs.CarLane[kCar], rs.CarApexNumber[kCar]), std::tuple(24, 2, 1));
    EXPECT_EQ(std::tuple(plan.WearsUsed, plan.LowestLimit), std::tuple(0, 80));
    EXPECT_EQ(std::tuple(rng.Draws(), log.events.size()), std::tuple(0u, 0u));
  }
}

// The line choice before the curve at 12 wants Right; what is open decides.
TEST_F(LineChoiceTest, ExecutesThePreferenceByWhatIsOpenAndWhereItLeads) {
  struct Case {
    std::string Name;
    std::vector<std::tuple<int, int>> Cars;
    int Speed;
    std::tuple<int, int> End;
  };
  const std::vector<Case> cases = {
      {"Right open: right", {}, 20, {11, 1}},
      {"only Left open: left", {{11, 1}, {11, 2}}, 20, {11, 3}},
      // Right leads into a dead end at (11, 1); straight goes on, then left past the cars.
      {"Right leads nowhere: straight", {{12, 1}, {12, 2}}, 40, {12, 3}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.Name);
    Use(TrackBuilder(3, 40).Curve(12, 15, {120, 100, 80}).Build());
    int other = 1;
    for (const auto& [space, lane] : c.Cars) {
      Place(other, space, lane);
      other = other == 1 ? 2 : 1;
    }
    const MovePlan plan = Move(10, 2, c.Speed, true);
    EXPECT_EQ(Where(), c.End);
    EXPECT_EQ(std::tuple(plan.WearsUsed, rng.Draws()), std::tuple(0, 0u));
  }
}

// On the racing line with one block left, a car two spaces ahead would stand right in front:
// the car ends beside it instead, unless a car it has not lapped holds that side too.
TEST_F(LineChoiceTest, EndsBesideACarRatherThanBehindIt) {
  struct Case {
    std::string Name;
    int SideLap;  // the lap of car 2 at (12, 2); 0: no car there
    std::tuple<int, int> End;
  };
  const std::vector<Case> cases = {
      {"side free: moves over", 0, {11, 2}},
      {"a lapped car on the side: moves over", 1, {11, 2}},
      {"a car on the same lap on the side: stays", 2, {11, 1}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.Name);
    Use(TrackBuilder(3, 40).Build());
    Place(1, 12, 1);
    if (c.SideLap > 0) Place(2, 12, 2);
    rs.CarLap[2] = c.SideLap;
    Move(10, 1, 20, true);
    EXPECT_EQ(Where(), c.End);
  }
}

// Boxed in on a straight: a trial rejects the speed untouched; the real move stops the car with
// the collision avoidance roll for the 20 MPH it cannot cover (risk fails: 1 wear).
TEST_F(LineChoiceTest, ABoxedInCarCannotMove) {
  for (bool trial : {true, false}) {
    SCOPED_TRACE(trial ? "trial" : "real");
    Use(TrackBuilder(3, 40).Build());
    rs.CarCount = 4;
    rs.CarIsAI[4] = true;
    Place(1, 11, 1);
    Place(2, 11, 2);
    Place(4, 11, 3);
    rs.CarWears[kCar] = 5;
    if (!trial) Script({testing_support::kRiskFails});
    const MovePlan plan = Move(10, 2, 20, trial);
    EXPECT_EQ(plan.WearsUsed, kMoveImpossible);
    EXPECT_EQ(Where(), std::tuple(10, 2));
    EXPECT_EQ(std::tuple(rs.CarWears[kCar], rs.CarNewSpeed[kCar]), trial ? std::tuple(5, 20) : std::tuple(4, 0));
  }
  ExpectDraws(1);
}

// The pit entrance at 10; the gate is the deceleration 40 + 20 a wear + 60.
TEST_F(LineChoiceTest, PitGate) {
  constexpr double kFails = testing_support::kRiskFails;
  struct Case {
    std::string Name;
    int Wears;
    int Speed;
    bool Trial;
    std::vector<double> Rolls;
    int WearsUsed;
    bool InPit;
    std::tuple<int, int> End;
  };
  const std::vector<Case> cases = {
      {"2 wears at the pit limit: enters, nothing to pay", 2, 100, false, {}, 0, true, {10, 1}},
      {"2 wears at the gate 140: enters, pays 2 for 40 over", 2, 140, false, {kFails}, 2, true, {10, 1}},
      {"3 wears: does not want the pits", 3, 100, false, {}, 0, false, {15, 1}},
      {"20 over the gate in a trial: rejected", 2, 160, true, {}, kMoveImpossible, false, {10, 1}},
      {"20 over the gate in the real move: drives past", 2, 160, false, {}, 0, false, {18, 1}},
      {"at the gate in a trial: the pit lane has no effect", 2, 140, true, {}, 0, false, {17, 1}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.Name);
    Use(TrackBuilder(2, 40).PitLane(10, 15).Build());
    rs.PitLaneOpen = true;
    rs.CarWears[kCar] = c.Wears;
    Script(c.Rolls);
    const MovePlan plan = Move(10, 1, c.Speed, c.Trial);
    EXPECT_EQ(plan.WearsUsed, c.WearsUsed);
    EXPECT_EQ(rs.CarInPit[kCar], c.InPit);
    EXPECT_EQ(rs.PitQueue.size(), c.InPit ? 1u : 0u);
    // A car in the pit lane has left its cell; any other stands where its move ended.
    if (c.InPit) {
      EXPECT_EQ(rs.track.CellOccupant[10][1], 0);
    } else {
      EXPECT_EQ(Where(), c.End);
    }
    ExpectDraws(c.Rolls.size());
  }
}

// Car 1 is the tow; car 3 runs at 140 on a straight (or before a curve at 18).
TEST_F(LineChoiceTest, Slipstream) {
  struct Case {
    std::string Name;
    int Lead;
    bool Curve;
    bool Trial;
    int End;
    int Target;
    int SlipSpeed;
  };
  const std::vector<Case> cases = {
      {"slower lead, real move: no tow, target cleared", 120, false, false, 17, 0, 140},
      {"slower lead, trial: one block kept", 120, false, true, 18, 1, 0},
      {"lead at 180: two blocks", 180, false, false, 19, 1, 180},
      {"lead at 110, trial: cleared, one block still counts", 110, false, true, 18, 0, 0},
      {"the tow would carry the car into the curve", 180, true, false, 17, 0, 140},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.Name);
    Use(c.Curve ? TrackBuilder(2, 40).Curve(18, 22, {100, 100}).Build() : TrackBuilder(2, 40).Build());
    rs.CarSlipSpeed[kCar] = 0;
    Place(1, 30, 2);
    rs.CarNewSpeed[1] = c.Lead;
    rs.CarDraftTarget[kCar] = 1;
    const MovePlan plan = Move(10, 1, 140, c.Trial);
    EXPECT_EQ(std::tuple(rs.CarSpace[kCar], rs.CarDraftTarget[kCar], rs.CarSlipSpeed[kCar]),
              std::tuple(c.End, c.Target, c.SlipSpeed));
    EXPECT_EQ(std::tuple(plan.WearsUsed, rng.Draws()), std::tuple(0, 0u));
  }
}

// Car 1, a lap ahead at 200, comes up behind car 3 (80 MPH, four blocks from space 10): the flag
// stands. Lane 2 is the side away from the racing line: the car moves there and runs on. With no
// two lanes free at 13 and 14, it gives up two blocks and ends at 12 at 40. A trial sees no flag.
TEST_F(LineChoiceTest, BlueFlagMakesWay) {
  struct Case {
    std::string Name;
    bool Narrow;
    bool Trial;
    std::tuple<int, int> End;
    int Speed;
  };
  const std::vector<Case> cases = {
      {"room at the end: moves over", false, false, {14, 2}, 80},
      {"no room at 13, 14: two blocks given up", true, false, {12, 2}, 40},
      {"trial: no flag", false, true, {14, 1}, 80},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.Name);
    TrackBuilder b(2, 40);
    if (c.Narrow) b.Rank(13, 2, 0).Rank(14, 2, 0);
    Use(b.Build());
    rs.OptBlueFlag = true;
    rs.BlueFlagInForce = false;
    Place(1, 8, 1);
    rs.CarLap[1] = 3;
    rs.CarNewSpeed[1] = 200;
    const MovePlan plan = Move(10, 1, 80, c.Trial);
    EXPECT_EQ(Where(), c.End);
    EXPECT_EQ(std::tuple(rs.CarNewSpeed[kCar], plan.WearsUsed, rng.Draws()), std::tuple(c.Speed, 0, 0u));
  }
}

// Four AI cars at a fixed 100 MPH race three laps of a track with a skip-cell curve and an apex
// curve; the state is sound after every pass and the race runs to the flag.
TEST(LineChoiceRace, AICarsRaceACurvyTrackSoundly) {
  auto state = std::make_unique<RaceState>();
  RaceState& rs = *state;
  rs.track = TrackBuilder(3, 60)
                 .Curve(15, 20, {100, 120, 140})
                 .Skip(16, 17, 1)
                 .Curve(40, 45, {80, 100, 120})
                 .Apex(1, {{3, 40}, {2, 41}, {1, 42}, {1, 43}, {2, 44}, {3, 45}})
                 .Build();
  rs.Tables = testing_support::UsualTables();
  rs.GameMode = "Single";
  rs.RaceLaps = 3;
  rs.CarCount = 4;
  for (int car = 1; car <= 4; ++car) {
    rs.DriverName[car] = "Car " + std::to_string(car);
    rs.CarStartSpeed[car] = 100;
    rs.CarAcceleration[car] = 40;
    rs.CarDeceleration[car] = 40;
    rs.CarTopSpeed[car] = 200;
    rs.CarWearPerLap[car] = 4;
    rs.CarIsAI[car] = true;
  }
  Random rng(11);
  testing_support::AutoConsole console;
  testing_support::RecordingLog log;
  RaceEngine engine(rs, rng, console, log);
  UseAIDrivers(engine);
  engine.Seams.ChooseAISpeeds = [](RuleContext& c) {
    for (int car = 1; car <= c.rs.CarCount; ++car)
      if (c.rs.CarIsAI[car]) c.rs.CarNewSpeed[car] = 100;
  };
  std::vector<std::string> faults;
  int passes = 0;
  engine.Seams.SaveUndoFile = [&](RuleContext& c) {
    ++passes;
    for (const std::string& f : CheckRaceState(c.rs)) faults.push_back("pass " + std::to_string(passes) + ": " + f);
  };
  engine.StartRace();
  engine.FinishRace();
  EXPECT_EQ(engine.WaitingFor(), Waiting::RaceOver);
  EXPECT_TRUE(faults.empty()) << faults.front();
  EXPECT_GE(passes, 30);
  EXPECT_EQ(rs.CarsFinished + rs.CarsOut, 4);
}

}  // namespace
}  // namespace vm
