#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "engine/laps.h"
#include "tests/rules_fixture.h"

namespace vm {
namespace {

using testing_support::Highlighted;

// Four cars on a 2-lane line of 200 spaces, in a race of 10 laps; car 1 leads.
class LapTest : public testing_support::RaceBench {
 protected:
  LapTest() {
    rs.GameMode = "Single";
    rs.CarCount = 4;
    rs.RaceLaps = 10;
    rs.track.TrackLength = 200;
    rs.track.RacingLineSpaces = 200;
    for (int s = 1; s <= 200; ++s)
      for (int lane = 1; lane <= 2; ++lane) rs.track.CellLaneRank[s][lane] = lane;
    for (int car = 1; car <= 4; ++car) {
      rs.DriverName[car] = "Driver " + std::to_string(car);
      rs.RunningOrder[car] = car;
      rs.CarLap[car] = 3;
      rs.CarNewSpeed[car] = 120;
    }
  }

  // The current car crosses the line with `spacesLeft` blocks of its move still to spend.
  void Cross(int car, double lapClock, double spacesLeft, int slipBonus = 0) {
    rs.CurrentCar = car;
    rs.CarLapClock[car] = lapClock;
    rs.SpacesLeft = spacesLeft;
    rs.SlipBonusOfMove = slipBonus;
    CrossLine(ctx);
  }
};

TEST_F(LapTest, LapTimeAndSpeedCarryTheUnspentShareIntoTheNextLap) {
  struct Case {
    const char* what;
    double clock;  // turns on the lap clock, this turn included
    int speed;
    double spacesLeft;
    int slip;
    double lapMph, carried;
  };
  const Case cases[] = {
      // 20 turns on a line of 200 spaces: 200 / (20 x 4.5) x 90.
      {"the leader's lap of 20 turns", 20.5, 120, 3, 0, 200.0, 0.5},
      {"blocks left at the line", 20, 120, 4, 0, 18000.0 / 87.0, 2.0 / 3.0},
      {"on a slipstream bonus", 20, 120, 2, 1, 18000.0 * 7.0 / 621.0, 2.0 / 7.0},
      {"standing", 20, 0, 0, 0, 200.0, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    rs.LapOrder[3].fill(0);
    rs.CarNewSpeed[1] = c.speed;
    rs.FinishLapMode = rs.FinishRaceMode = true;
    rs.CarLap[1] = 3;
    Cross(1, c.clock, c.spacesLeft, c.slip);
    EXPECT_EQ(rs.CarLap[1], 4);
    EXPECT_NEAR(rs.LapSpeedMph[3][1], c.lapMph, 1e-9);
    EXPECT_NEAR(rs.CarLapClock[1], c.carried, 1e-12);
    EXPECT_EQ(rs.LapOrder[3][1], 1);
    // The first car of the lap stops an unattended run.
    EXPECT_FALSE(rs.FinishLapMode);
    EXPECT_FALSE(rs.FinishRaceMode);
  }
}

TEST_F(LapTest, GapsToTheLeaderAndToTheWinner) {
  struct Case {
    const char* what;
    int winnerClockOrZero;  // a winner's lap clock, or 0 for no finisher
    int leaderLap;
    double leaderClock;
    int car, carLap;
    double carClock;
    int speed;
    double spacesLeft, gap;
    bool outAhead = false;  // car 3, out of the race, still stands first in the order
  };
  const Case cases[] = {
      {"the leader", 0, 4, 20, 1, 3, 20, 120, 3, 0},
      {"same lap, half a turn of blocks left", 0, 4, 2, 2, 3, 20, 120, 3, (2 - 0.5) * 4.5},
      {"lapped once: one own lap added", 0, 5, 2, 2, 3, 20, 120, 3, (20 + 2 - 0.5) * 4.5},
      {"a lap quicker than the leader's clock", 0, 4, 25, 2, 3, 20, 120, 3, 0},
      {"after the winner, standing counts as 20 MPH", 3, 11, 0, 2, 10, 20, 0, 1, (3 - 1) * 4.5},
      {"after the winner, two laps down", 3, 11, 0, 2, 8, 20, 120, 3, (40 + 3 - 0.5) * 4.5},
      {"a car gone out leads nothing", 0, 4, 2, 2, 3, 20, 120, 3, (2 - 0.5) * 4.5, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    rs.CarsFinished = c.winnerClockOrZero > 0 ? 1 : 0;
    rs.RunningOrder = c.outAhead ? PerCar<int>{0, 3, 1, 2, 4} : PerCar<int>{0, 1, 2, 3, 4};
    rs.CarOutOfRace[3] = c.outAhead;
    rs.FinishOrder[1] = 4;
    rs.CarLap[4] = 11;
    rs.CarLapClock[4] = c.winnerClockOrZero;
    rs.CarLap[1] = c.leaderLap;
    rs.CarLapClock[1] = c.leaderClock;
    rs.CarLap[c.car] = c.carLap;
    rs.CarLapClock[c.car] = c.carClock;
    rs.CarNewSpeed[c.car] = c.speed;
    rs.SpacesLeft = c.spacesLeft;
    EXPECT_NEAR(ComputeGap(rs, c.car), c.gap, 1e-9);
  }
}

TEST_F(LapTest, LastLapStopsTheRaceClockAndMeasuresFromTheWinner) {
  // Two cars take the flag in one turn, before anyone has left the track as a finisher.
  rs.CarLap[1] = rs.CarLap[2] = 10;
  rs.CarRaceClock[1] = rs.CarRaceClock[2] = 50;
  Cross(2, 20, 2);  // one block after this one
  Cross(1, 20, 5);  // four blocks after this one
  EXPECT_NEAR(rs.CarRaceClock[2], 50 - 1.0 / 6.0, 1e-12);
  EXPECT_NEAR(rs.CarRaceClock[1], 50 - 4.0 / 6.0, 1e-12);
  rs.FinishOrder[1] = 2;
  rs.FinishOrder[2] = 1;
  rs.FinishOrderCount = rs.CarsFinished = 2;
  rs.LeadCar = 2;
  log.events.clear();
  SortFinishers(ctx);
  EXPECT_EQ(rs.FinishOrder[1], 1);
  EXPECT_EQ(rs.FinishOrder[2], 2);
  EXPECT_EQ(log.events, (std::vector<Highlighted>{{kLogLeadChange, 1, " ", 2}}));

  // Later, with a winner: the gap is the race clocks' difference; a lapped car keeps racing.
  rs.CarLap[3] = 10;
  rs.CarRaceClock[3] = 53;
  Cross(3, 20, 4);
  EXPECT_NEAR(rs.CarRaceClock[3], 52.5, 1e-12);
  EXPECT_NEAR(rs.LapGap[10][3], (52.5 - rs.CarRaceClock[1]) * 4.5, 1e-9);
  rs.CarLap[4] = 9;
  rs.CarRaceClock[4] = 53;
  Cross(4, 20, 4);
  EXPECT_EQ(rs.CarLap[4], 10);
  EXPECT_EQ(rs.CarRaceClock[4], 53);
}

TEST_F(LapTest, FinishOrderTies) {
  struct Case {
    const char* what;
    double clock2, clock3;
    int speed2, speed3, lane2, lane3, first;
  };
  const Case cases[] = {
      {"smaller race clock", 40.5, 40.25, 200, 100, 1, 1, 3},
      {"equal clocks: higher speed", 40.5, 40.5, 100, 120, 1, 1, 3},
      {"equal speeds: lower lane rank", 40.5, 40.5, 120, 120, 2, 1, 3},
      {"all equal: the order stands", 40.5, 40.5, 120, 120, 1, 1, 2},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    log.events.clear();
    rs.LeadCar = 2;
    rs.FinishOrder[1] = 2;
    rs.FinishOrder[2] = 3;
    rs.FinishOrderCount = 2;
    rs.CarRaceClock[2] = c.clock2;
    rs.CarRaceClock[3] = c.clock3;
    rs.CarSpeed[2] = c.speed2;
    rs.CarSpeed[3] = c.speed3;
    rs.CarSpace[2] = rs.CarSpace[3] = 5;
    rs.CarLane[2] = c.lane2;
    rs.CarLane[3] = c.lane3;
    SortFinishers(ctx);
    EXPECT_EQ(rs.FinishOrder[1], c.first);
    EXPECT_EQ(rs.LeadCar, c.first);
    EXPECT_EQ(log.events.size(), c.first == 2 ? 0u : 1u);
  }
}

TEST_F(LapTest, RedFlagRanksRunningCarsByDistanceAfterTheFinishers) {
  // Cars 1, 2 and 3 run in that order with car 1 in the lead; car 4 is out or has finished. Every
  // running car has the same race clock, and the car behind is the faster one.
  struct Case {
    const char* what;
    bool fourFinished;
    int lap2, space1, space2;
    std::vector<int> order;
    int leadCar;
    size_t lines;
  };
  const Case cases[] = {
      {"faster but behind stays behind", false, 3, 50, 40, {1, 2, 3}, 1, 0},
      {"level cars keep their running order", false, 3, 50, 50, {1, 2, 3}, 1, 0},
      {"a lap up wins from a lower space", false, 4, 150, 10, {2, 1, 3}, 2, 1},
      {"passed in this turn: a real change", false, 3, 50, 60, {2, 1, 3}, 2, 1},
      {"after a finisher no change is logged", true, 3, 50, 40, {4, 1, 2, 3}, 4, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    log.events.clear();
    rs.FinishOrder.fill(0);
    rs.FinishOrderCount = rs.CarsFinished = c.fourFinished ? 1 : 0;
    rs.FinishOrder[1] = c.fourFinished ? 4 : 0;
    rs.CarOutOfRace[4] = !c.fourFinished;
    rs.RunningOrder = c.fourFinished ? PerCar<int>{0, 1, 2, 3} : PerCar<int>{0, 1, 2, 3, 4};
    rs.LeadCar = c.fourFinished ? 4 : 1;
    rs.CarRaceClock = {0, 40, 40, 40, 38.5};
    rs.CarSpeed = {0, 100, 140, 60, 0};
    rs.CarLap[2] = c.lap2;
    rs.CarSpace = {0, c.space1, c.space2, 5, 0};
    rs.CarLane = {0, 1, 1, 1, 0};
    EXPECT_EQ(SortRaceEnd(ctx), c.order);
    EXPECT_EQ(rs.LeadCar, c.leadCar);
    EXPECT_EQ(log.events.size(), c.lines);
    EXPECT_EQ(PodiumCars(rs), c.fourFinished ? std::vector<int>{4} : std::vector<int>{});
  }
}

TEST_F(LapTest, LapOrderSortsByGapWithCarsOutBehind) {
  rs.LapOrder[3] = {0, 1, 4, 2};
  rs.LapGap[3] = {0, 0, 9, 0, 1};
  rs.CarOutOfRace[4] = true;
  rs.CarLap[1] = 4;
  rs.CarLapClock[1] = 1;
  rs.FinishLapMode = true;
  Cross(3, 20, 0);  // 1 turn behind the leader: 4.5 seconds
  EXPECT_EQ(rs.LapGap[3][3], 4.5);
  EXPECT_EQ(rs.LapOrder[3], (PerCar<int>{0, 1, 3, 2, 4}));
  EXPECT_TRUE(rs.FinishLapMode);
}

TEST_F(LapTest, FastestLapTakesTheRecordLabelAndLog) {
  Cross(1, 20, 0);  // 200 MPH
  rs.CarLap[1] = 2;
  Cross(1, 18, 0);  // 222.22 MPH
  rs.CarLap[2] = 3;
  Cross(2, 19, 0);  // slower: no record
  EXPECT_NEAR(rs.FastestLapMph, 2000.0 / 9.0, 1e-9);
  EXPECT_EQ(rs.FastestLapSeconds, 81);
  EXPECT_EQ(rs.FastestLapText, "Fastest Lap: Driver 1 222.22 MPH (Lap 2)");
  EXPECT_EQ(log.events, (std::vector<Highlighted>{{kLogFastLap, 1, "200.00 MPH"}, {kLogFastLap, 1, "222.22 MPH"}}));
}

TEST_F(LapTest, AverageSpeedCountsTheSpacesOfEachMove) {
  struct Case {
    const char* what;
    int from, to;
    bool standingStart;
    int count;
    double average;
  };
  // One earlier move at 100 MPH; a lap is 200 spaces.
  const Case cases[] = {
      {"six spaces", 10, 16, false, 2, 110},
      {"across the line", 198, 4, false, 2, 110},
      {"standing still adds nothing", 10, 10, false, 2, 50},
      {"the standing start is not counted", 10, 16, true, 1, 100},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    rs.CarMoveCount[1] = 1;
    rs.CarAvgSpeed[1] = 100;
    rs.RaceStandingStart = c.standingStart;
    rs.MoveStartSpace = c.from;
    rs.CarSpace[1] = c.to;
    CalcAvgSpeed(rs, 1);
    EXPECT_EQ(rs.CarMoveCount[1], c.count);
    EXPECT_DOUBLE_EQ(rs.CarAvgSpeed[1], c.average);
  }
}

TEST(LapTexts, TimeFormats) {
  const std::pair<double, const char*> hms[] = {
      {0, "00:00"}, {754, "12:34"}, {59.6, "01:00"}, {3723, "01:02:03"}, {-9.2, "-00:09"}};
  for (const auto& [seconds, text] : hms) EXPECT_EQ(FormatTimeHMS(seconds), text) << seconds;
  const std::pair<double, const char*> ms[] = {
      {83.456, "1:23.456"}, {0.5, "0:00.500"}, {600, "10:00.000"}, {59.9996, "1:00.000"}, {-4.5, "-0:04.500"}};
  for (const auto& [seconds, text] : ms) EXPECT_EQ(FormatTimeMS(seconds), text) << seconds;
}

// The whole field's order at the end: the finishers as they took the flag, then the cars still
// running by distance, then those out of the race by distance (the one out last ahead), ties by
// number; a car never twice.
TEST(FinalFinishOrderTest, FinishersThenRunningThenOutByDistance) {
  auto rs = std::make_unique<RaceState>();
  rs->CarCount = 7;
  rs->FinishOrder[1] = 4;
  rs->FinishOrder[2] = 2;
  rs->FinishOrder[3] = 4;  // a stray repeat is dropped
  const int distance[] = {0, 50, 0, 120, 0, 90, 120, 90};
  const bool out[] = {false, true, false, false, false, true, false, false};
  for (int car = 1; car <= 7; ++car) {
    rs->CarRaceDistance[car] = distance[car];
    rs->CarOutOfRace[car] = out[car];
  }
  EXPECT_EQ(FinalFinishOrder(*rs), (std::vector<int>{4, 2, 3, 6, 7, 5, 1}));
  rs->CarCount = 0;
  EXPECT_EQ(FinalFinishOrder(*rs), (std::vector<int>{4, 2}));
}

}  // namespace
}  // namespace vm
