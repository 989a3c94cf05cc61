#include "engine/turn_engine.h"

#include "engine/laps.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "tests/rules_fixture.h"
#include "tools/track_builder.h"

namespace vm {
namespace {

// A straight 3-lane track of 40 spaces and cars that only a script drives.
class EngineTest : public testing_support::RaceBench {
 protected:
  EngineTest() : RaceBench(3) {
    rs.track = TrackBuilder(3, 40).Build();
    rs.Tables = testing_support::UsualTables();
    rs.GameMode = "Single";
    rs.RaceLaps = 2;
  }

  void Cars(int count, bool ai = false) {
    rs.CarCount = count;
    for (int car = 1; car <= count; ++car) {
      rs.DriverName[car] = "Car " + std::to_string(car);
      rs.CarStartSpeed[car] = 60;
      rs.CarAcceleration[car] = 40;
      rs.CarDeceleration[car] = 40;
      rs.CarTopSpeed[car] = 200;
      rs.CarWearPerLap[car] = 2;
      rs.CarIsAI[car] = ai;
    }
  }

  // AI cars that run straight on at a fixed speed, in place of the AI still to come.
  void SimpleAI(int speed) {
    engine.Seams.ChooseAISpeeds = [speed](RuleContext& c) {
      for (int car = 1; car <= c.rs.CarCount; ++car)
        if (c.rs.CarIsAI[car]) c.rs.CarNewSpeed[car] = speed;
    };
    engine.Seams.PlanMove = [](RuleContext& c) {
      c.rs.SpacesLeft = c.rs.CarNewSpeed[c.rs.CurrentCar] / 20;
      c.rs.MoveEnded = false;
      while (c.rs.SpacesLeft >= 1 && !c.rs.MoveEnded) StepStraight(c);
    };
  }

  // Drives the human in front: a speed, then straight steps until the move ends.
  void DriveStraight(int mph) {
    ASSERT_EQ(engine.WaitingFor(), Waiting::Speed) << engine.WaitDescription();
    engine.NewSpeed(mph / 20);
  }
  // Steps the car now steering straight on until its move is over.
  void StepAllStraight() {
    const int car = rs.CurrentCar;
    while (engine.WaitingFor() == Waiting::Steering && rs.CurrentCar == car) engine.Steer(SteeringCommand::cmdStraight);
  }

  // The car leaves the race as a crash would leave it.
  void TakeOut(int car) {
    rs.CarOutOfRace[car] = true;
    rs.CarStatus[car] = kOutOfRace;
    ClearCarCell(rs, car);
    ++rs.CarsOut;
  }

  std::vector<int> Order() const {
    std::vector<int> order;
    for (int pos = 1; pos <= rs.CarCount - rs.CarsFinished; ++pos) order.push_back(rs.RunningOrder[pos]);
    return order;
  }

  RaceEngine engine{rs, rng, console, log};
};

TEST_F(EngineTest, GridRowsRunBackFromTheLineInTheLanesTheRanksChoose) {
  Cars(5);
  // The fractional bonus over the race's 2 laps, rounded half to even: 0, 1, 0, 2, 1.
  rs.CarWearBonus = {0, 0.1, 0.4, 0.25, 0.75, 0.5};
  rs.track = TrackBuilder(3, 40).Curve(36, 38, {100, 120, 140}).Skip(40, 40, 3).Build();
  engine.RaceReset();
  // Ranks 1, 2, 3 from lane 1: the rows use lanes 1 and 3. Space 40 lane 3 is a skip cell, so the
  // second car takes lane 2 there; the curve pushes the next row back to space 35.
  struct Where {
    int Space, Lane, Bonus;
  };
  const Where expected[] = {{40, 1, 0}, {40, 2, 1}, {39, 1, 0}, {39, 3, 2}, {35, 1, 1}};
  for (int car = 1; car <= 5; ++car) {
    SCOPED_TRACE(car);
    EXPECT_EQ(rs.CarSpace[car], expected[car - 1].Space);
    EXPECT_EQ(rs.CarLane[car], expected[car - 1].Lane);
    // Wear per lap x laps x wear factor, and the rounded bonus.
    EXPECT_EQ(rs.CarWears[car], 2 * 2 * 1 + expected[car - 1].Bonus);
  }
  EXPECT_TRUE(CheckRaceState(rs).empty());
}

TEST_F(EngineTest, PracticeScattersTheCarsFromScriptedDraws) {
  Cars(2);
  rs.GameMode = "Practice";
  // Car 1: space Int(0.5 x 25) + 14 = 26 in lane 2. Car 2: the same space is taken, so one space
  // back and a drawn lane: Int(0.9 x 3) + 1 = 3.
  rng.Script({0.5, 0.5, 0.9});
  engine.RaceReset();
  EXPECT_EQ(rs.CarSpace[1], 26);
  EXPECT_EQ(rs.CarLane[1], 2);
  EXPECT_EQ(rs.CarSpace[2], 25);
  EXPECT_EQ(rs.CarLane[2], 3);
  EXPECT_EQ(rs.CarWears[2], 2);
  EXPECT_EQ(rng.Draws(), 3u);
}

TEST_F(EngineTest, SteeringSortBreaksTiesBySpeedThenLaneAndKeepsStalledCarsBehind) {
  Cars(4);
  engine.RaceReset();
  auto put = [&](int car, int space, int lane, int speed) {
    ClearCarCell(rs, car);
    rs.CarSpace[car] = space;
    rs.CarLane[car] = lane;
    rs.track.CellOccupant[space][lane] = car;
    rs.CarNewSpeed[car] = speed;
    rs.CarLap[car] = 1;
  };
  put(1, 10, 3, 100);
  put(2, 10, 1, 100);
  put(3, 10, 2, 120);
  put(4, 12, 3, 20);
  rs.OrderIndex = 1;
  engine.SortForSteering();
  // Car 4 is furthest on; car 3 is faster; of 1 and 2 at equal speed the better lane (rank 1) goes first.
  EXPECT_EQ(Order(), (std::vector<int>{4, 3, 2, 1}));
  EXPECT_EQ(rs.CurrentCar, 4);
  EXPECT_EQ(rs.CarRaceDistance[4], 12);

  // After the turn only the lane counts, and a car that is not running keeps its place behind.
  rs.RunningOrder = {0, 3, 1, 2, 4};
  rs.CarStatus[2] = kStalled;
  rs.LeadCar = 3;
  engine.SortAfterTurn();
  EXPECT_EQ(Order(), (std::vector<int>{4, 3, 1, 2}));
  EXPECT_EQ(log.Kinds(), (std::vector<int>{kLogLeadChange}));
  EXPECT_EQ(rs.LeadCar, 4);
}

TEST_F(EngineTest, CurveCreditCountsSkipCellsOfTheCarsOwnRank) {
  Cars(2);
  rs.track = TrackBuilder(2, 40).Curve(10, 20, {100, 120}).Skip(11, 12, 1).Build();
  engine.RaceReset();
  for (int car : {1, 2}) ClearCarCell(rs, car);
  rs.CarLap[1] = rs.CarLap[2] = 1;
  // Car 1 in lane 1 at space 10: skip cells at 11 (+1.0) and 12 (+0.1) put it ahead of car 2 at
  // space 11 in lane 2, which has none.
  rs.CarSpace[1] = 10, rs.CarLane[1] = 1;
  rs.CarSpace[2] = 11, rs.CarLane[2] = 2;
  rs.track.CellOccupant[10][1] = 1;
  rs.track.CellOccupant[11][2] = 2;
  rs.RunningOrder = {0, 2, 1};
  rs.OrderIndex = 1;
  engine.SortForSteering();
  EXPECT_EQ(Order(), (std::vector<int>{1, 2}));
}

// Two human drivers over two turns: who is asked and who steers when, a pause pressed in each
// pass, a start roll made once, and a leader who crashes and leads nothing.
TEST_F(EngineTest, TwoHumansRaceTwoTurnsWithPausesAndACrashedLeader) {
  Cars(2);
  engine.StartRace();
  EXPECT_EQ(engine.WaitDescription(), "car 1: speed");
  EXPECT_EQ(engine.LapCaption(), "Race Start");
  engine.PauseRace();
  DriveStraight(40);
  // Car 2 takes the red 80 on the grid: a start table roll, safely driven (2 + 0 = 2).
  rng.Script(testing_support::TwoDice(1, 1));
  DriveStraight(80);
  // Both on the grid's front row: the faster car moves first; the pause waits for the turn's end.
  EXPECT_EQ(engine.WaitDescription(), "car 2: steering, 4 blocks left");
  StepAllStraight();
  EXPECT_EQ(engine.WaitDescription(), "car 1: steering, 2 blocks left");
  StepAllStraight();
  EXPECT_EQ(engine.WaitingFor(), Waiting::Paused);
  EXPECT_EQ(std::tuple(rs.PauseRequested, rs.ContinueTurns, rs.RaceStandingStart), std::tuple(false, false, false));
  EXPECT_EQ(std::tuple(rs.CarSpace[2], rs.CarSpace[1], rs.CarSpeed[2], rs.CarSpeed[1]), std::tuple(4, 2, 80, 40));
  EXPECT_TRUE(CheckRaceState(rs).empty());
  // The next turn asks the new leader first and repeats no roll.
  engine.NextTurn();
  EXPECT_EQ(engine.WaitDescription(), "car 2: speed");
  DriveStraight(100);
  EXPECT_EQ(engine.WaitDescription(), "car 1: speed");
  DriveStraight(80);
  engine.PauseRace();
  EXPECT_EQ(engine.WaitDescription(), "car 2: steering, 5 blocks left");
  StepAllStraight();  // car 2 to space 9
  // The leader goes out while car 1 moves; car 1 stays behind its wreck.
  TakeOut(2);
  StepAllStraight();  // car 1 to space 6
  EXPECT_EQ(engine.WaitingFor(), Waiting::Paused);
  EXPECT_EQ(Order(), (std::vector<int>{1, 2}));
  EXPECT_EQ(rs.CarSpace[1], 6);
  EXPECT_EQ(engine.LapCaption(), "Lap 1 of 2");
  // The leader's speed history and the pace are car 1's, and car 1 is asked first.
  EXPECT_EQ(std::tuple(rs.LeaderSpeedCount, rs.LeaderSpeedHistory[2], rs.PaceSpeed), std::tuple(2, 4, 80));
  EXPECT_EQ(ComputeGap(rs, 1), 0);
  engine.NextTurn();
  EXPECT_EQ(engine.WaitDescription(), "car 1: speed");
  EXPECT_EQ(engine.SpeedPanel().RacePosition, "Leader");
  EXPECT_EQ(rng.Draws(), 2u);
  EXPECT_EQ(log.Kinds(), (std::vector<int>{kLogStartSpeedExceeded}));
  // Outside a season the red flag asks first, and ends the race only on a yes.
  console.AddAnswer("no");
  EXPECT_FALSE(engine.EndRaceRC());
  EXPECT_EQ(console.Transcript().back(), "ASK Are you sure you want to RED FLAG this race ? -> no");
  EXPECT_EQ(engine.WaitingFor(), Waiting::Speed);
  console.AddAnswer("yes");
  EXPECT_TRUE(engine.EndRaceRC());
  EXPECT_EQ(std::tuple(engine.WaitingFor(), rs.RaceEndedByUser), std::tuple(Waiting::RaceOver, true));
}

// Two AI cars at ten spaces a turn on a 40-space lap: a stop after every turn, Finish Lap to the
// turn in which the leader crosses, Finish Race to the flag.
TEST_F(EngineTest, AICarsStopEachTurnThenRunALapThenTheRace) {
  Cars(2, true);
  rs.RaceLaps = 5;
  rs.CarStartSpeed[1] = rs.CarStartSpeed[2] = 200;
  SimpleAI(200);
  engine.StartRace();
  EXPECT_EQ(engine.WaitingFor(), Waiting::RaceControl);
  // Both moved ten spaces from the front row at space 40, across the line.
  EXPECT_EQ(std::tuple(rs.CarSpace[1], rs.CarSpace[2], rs.CarLap[1]), std::tuple(10, 10, 1));
  engine.NextTurn();
  EXPECT_EQ(engine.WaitingFor(), Waiting::RaceControl);
  EXPECT_EQ(rs.CarSpace[1], 20);
  engine.FinishLap();
  // Two turns to space 40, a third across the line: there it stops.
  EXPECT_EQ(engine.WaitingFor(), Waiting::RaceControl);
  EXPECT_EQ(std::tuple(rs.CarSpace[1], rs.CarLap[1], rs.CarRaceClock[1]), std::tuple(10, 2, 5.0));
  EXPECT_EQ(std::tuple(rs.FinishLapMode, rs.FinishRaceMode), std::tuple(false, false));
  // Finish Race runs to the end with no further stop.
  engine.FinishRace();
  EXPECT_EQ(engine.WaitingFor(), Waiting::RaceOver);
  EXPECT_EQ(std::tuple(rs.RaceOver, rs.CarsFinished, rs.FinishOrderCount), std::tuple(true, 2, 2));
  // Level on distance, the car in the better lane takes the flag first.
  EXPECT_EQ(std::tuple(rs.FinishOrder[1], rs.FinishOrder[2]), std::tuple(1, 2));
  EXPECT_EQ(engine.LapCaption(), "Final Standings");
  EXPECT_EQ(rng.Draws(), 0u);
}

TEST_F(EngineTest, AutoPilotLastsOneRaceTurn) {
  Cars(2);
  SimpleAI(60);
  engine.StartRace();
  engine.AutoPilot();  // car 1 hands over
  EXPECT_TRUE(rs.CarIsAI[1]);
  EXPECT_EQ(engine.WaitDescription(), "car 2: speed");
  DriveStraight(40);
  // Car 1 drove itself at 60 and car 2 steers now.
  EXPECT_EQ(rs.CarNewSpeed[1], 60);
  StepAllStraight();
  EXPECT_FALSE(rs.CarIsAI[1]);
  EXPECT_EQ(engine.WaitDescription(), "car 1: speed");
}

TEST_F(EngineTest, ACarOutOfTheRaceNeverSteersAndTheLastCarOutEndsTheRace) {
  Cars(3);
  engine.StartRace();
  DriveStraight(40);
  DriveStraight(60);
  // Car 1 goes out before the speed pass ends, still holding its chosen 40 MPH.
  TakeOut(1);
  DriveStraight(60);
  // Car 2, level with car 1 and faster, is sorted first and moves first.
  EXPECT_EQ(engine.WaitDescription(), "car 2: steering, 3 blocks left");
  StepAllStraight();
  EXPECT_EQ(engine.WaitDescription(), "car 3: steering, 3 blocks left");
  StepAllStraight();
  EXPECT_EQ(engine.WaitDescription(), "car 2: speed");
  EXPECT_EQ(Order(), (std::vector<int>{2, 3, 1}));
  EXPECT_EQ(rs.CarSpace[1], 40);
  EXPECT_EQ(rs.CarLap[1], 0);
  EXPECT_EQ(rs.CarMoveCount[1], 0);
  EXPECT_TRUE(CheckRaceState(rs).empty());
  // Car 2 goes out at its own prompt: its slot is passed over; the last car out ends the race.
  TakeOut(2);
  DriveStraight(60);
  EXPECT_EQ(engine.WaitDescription(), "car 3: speed");
  TakeOut(3);
  engine.NewSpeed(3);  // holding its speed: no table to settle
  EXPECT_EQ(engine.WaitingFor(), Waiting::RaceOver);
  EXPECT_TRUE(rs.RaceOver);
}

TEST_F(EngineTest, AnAICarsCheckSettlesTheSpeedChosenThisTurn) {
  Cars(1, true);
  rs.RaceLaps = 3;
  const std::vector<int> speeds{60, 140, 200};
  size_t turn = 0;
  SimpleAI(0);
  engine.Seams.ChooseAISpeeds = [&](RuleContext& c) { c.rs.CarNewSpeed[1] = speeds[turn++]; };
  // Two acceleration rolls, each safely driven.
  rng.Script(testing_support::Cat({testing_support::PlainThen(1, 1), testing_support::PlainThen(1, 1)}));
  engine.StartRace();
  engine.NextTurn();
  engine.NextTurn();
  EXPECT_EQ(turn, 3u);
  EXPECT_EQ(log.Kinds(), (std::vector<int>{kLogAccelExceeded, kLogAccelExceeded}));
  EXPECT_EQ(rng.Draws(), 8u);
  EXPECT_EQ(rs.CarSpace[1], 20);
  EXPECT_EQ(rs.CarSpeed[1], 200);
}

TEST_F(EngineTest, AStallOnTheGridPutsTheCarOutOnceTheRaceIsUnderWay) {
  Cars(2);
  engine.StartRace();
  EXPECT_TRUE(rs.RestartAfterPit);
  // Both take the red 80 on the grid and both roll an 11: engine stalled. In the first turn nobody
  // has a lap yet, so car 2 only stalls.
  rng.Script(testing_support::Cat({testing_support::TwoDice(1, 1), testing_support::TwoDice(5, 6)}));
  DriveStraight(80);
  DriveStraight(80);
  EXPECT_EQ(rs.CarStatus[2], kStalled);
  StepAllStraight();
  EXPECT_FALSE(rs.RestartAfterPit);
  EXPECT_EQ(engine.WaitDescription(), "car 1: speed");
  DriveStraight(80);
  // Still on the grid with car 1 under way: the same stall is the end of car 2's race.
  rng.Script(testing_support::TwoDice(5, 6));
  console.AddAnswer("1");  // the crash panel: Continue
  DriveStraight(80);
  EXPECT_TRUE(rs.CarOutOfRace[2]);
  EXPECT_EQ(rs.CarsOut, 1);
  EXPECT_EQ(log.Kinds(), (std::vector<int>{kLogStartSpeedExceeded, kLogStall, kLogOutStalled}));
  EXPECT_EQ(rs.track.CellOccupant[rs.CarSpace[2]][rs.CarLane[2]], 0);
}

TEST_F(EngineTest, ASpunCarLeavesItsCellAtItsSlotAndStandsWhereItWas) {
  Cars(2);
  engine.StartRace();
  rs.CarStatus[2] = kSpinning;
  rs.CarSpeed[2] = 80;
  const int space = rs.CarSpace[2], lane = rs.CarLane[2];
  DriveStraight(40);
  EXPECT_EQ(rs.CurrentCar, 2);
  EXPECT_EQ(rs.CarStatus[2], kRunning);
  EXPECT_EQ(rs.CarSpeed[2], 0);
  EXPECT_EQ(rs.track.CellOccupant[space][lane], 0);
  EXPECT_EQ(rs.CarSpace[2], space);
  EXPECT_EQ(rs.CarLane[2], lane);
}

}  // namespace
}  // namespace vm
