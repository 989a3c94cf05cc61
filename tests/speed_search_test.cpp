// The AI's speed search: speeds worked out by hand on small tracks with forced random values, and
// whole forty-car races in which the search must leave nothing behind but the AI cars' speeds.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "ai/drivers.h"
#include "ai/speed_search.h"
#include "core/track_file.h"
#include "core/units.h"
#include "engine/turn_engine.h"
#include "game/race_setup.h"
#include "rules/result_table_file.h"
#include "tests/rules_fixture.h"
#include "tools/track_builder.h"

namespace vm {
namespace {

using testing_support::DifferingFields;
using testing_support::Face;

// What the search may change: the speeds and tows of the AI cars. Copies them from `after` into
// `before` and returns the fields that still differ.
std::vector<std::string> Trace(RaceState& before, const RaceState& after) {
  for (int car = 1; car <= kMaxCars; ++car) {
    if (!before.CarIsAI[car]) continue;
    before.CarNewSpeed[car] = after.CarNewSpeed[car];
    before.CarDraftTarget[car] = after.CarDraftTarget[car];
  }
  return DifferingFields(before, after);
}

// One AI car on a three-lane, 200-space track, at 160 MPH on lap 2 of 10, with its risks at 0.
class SpeedSearchTest : public testing_support::RaceBench {
 protected:
  static constexpr int kCar = 1;

  SpeedSearchTest() {
    rs.Tables = testing_support::UsualTables();
    rs.GameMode = "Single";
    rs.RaceLaps = 10;
    rs.CarCount = 1;
    rs.RunningOrder[1] = kCar;
    rs.CarIsAI[kCar] = true;
    rs.CarStartSpeed[kCar] = 100;
    rs.CarAcceleration[kCar] = 40;
    rs.CarDeceleration[kCar] = 40;
    rs.CarTopSpeed[kCar] = 200;
    rs.CarWearPerLap[kCar] = 4;
    rs.CarWears[kCar] = 0;
    rs.CarLap[kCar] = 2;
    rs.CarStintLaps[kCar] = 10;
    rs.CarStintLapsLeft[kCar] = 3;
    rs.CarLapProfile[kCar] = 2;
    rs.CarRaceProfile[kCar] = 2;
    SetSpeed(kCar, 160);
    UseTrack(TrackBuilder(3, 200));
  }

  void UseTrack(const TrackBuilder& b) {
    rs.track = b.Build();
    Place(kCar, 10, 1);
  }
  void Place(int car, int space, int lane) {
    auto& cells = rs.track.CellOccupant;
    if (cells[rs.CarSpace[car]][rs.CarLane[car]] == car) cells[rs.CarSpace[car]][rs.CarLane[car]] = 0;
    rs.CarSpace[car] = space;
    rs.CarLane[car] = lane;
    cells[space][lane] = car;
  }
  void SetSpeed(int car, int mph) { rs.CarSpeed[car] = rs.CarNewSpeed[car] = mph; }

  int Choose() {
    ChooseAISpeeds(ctx);
    return rs.CarNewSpeed[kCar];
  }
};

// Off the grid the search tries up to the start speed; a passed "SS" adds a step only for a
// restart under the start rule, and that step is then settled on the start table.
TEST_F(SpeedSearchTest, OffTheGridTheStartSpeedIsTheCeiling) {
  struct Case {
    bool restart;
    double ssRoll;
    int speed;
    int draws;
  } cases[] = {
      {false, 0.1, 100, 1},
      {false, 0.9, 100, 1},
      {true, 0.1, 120, 3},  // the SS roll, then the start table's two dice in the commit
      {true, 0.9, 100, 1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << "restart " << c.restart << ", roll " << c.ssRoll);
    rng = Random(7);
    SetSpeed(kCar, 0);
    rs.CarLap[kCar] = 0;
    rs.CarRiskSS[kCar] = 50;
    rs.RestartAfterPit = c.restart;
    rng.Script({c.ssRoll, Face(1), Face(1)});
    EXPECT_EQ(Choose(), c.speed);
    EXPECT_EQ(rng.Draws(), static_cast<std::uint64_t>(c.draws));
  }
}

// From 160 with 40 to spare the search runs to 220; with no risk taken the speed falls back to
// 200, the acceleration and the top speed. Ahead of a curve the look-ahead then brakes by 20s.
TEST_F(SpeedSearchTest, TheLookAheadBrakesForTheCurveAheadBy20s) {
  struct Case {
    const char* what;
    int curveFirst;  // 0: none
    int limit;
    int space;
    int lap;
    int speed;
  } cases[] = {
      {"an open track", 0, 0, 10, 2, 200},
      {"80 twelve spaces on: too fast next turn", 22, 80, 10, 2, 140},
      {"120 twelve spaces on: too fast within two moves", 22, 120, 10, 2, 160},
      {"160 twelve spaces on: nothing to brake for", 22, 160, 10, 2, 200},
      {"80 past the line on the last lap", 2, 80, 190, 10, 200},
      {"80 past the line on an earlier lap", 2, 80, 190, 5, 140},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    TrackBuilder b(3, 200);
    if (c.curveFirst > 0) b.Curve(c.curveFirst, c.curveFirst + 9, {c.limit, c.limit, c.limit});
    UseTrack(b);
    Place(kCar, c.space, 1);
    rs.CarLap[kCar] = c.lap;
    SetSpeed(kCar, 160);
    EXPECT_EQ(Choose(), c.speed);
  }
}

// At 220 the car is over its acceleration and its top speed: the trial rolls both (eight dice,
// forced safe), then "A" and "T" decide whether 220 is kept. A kept 220 is rolled again in the
// commit; a cut one is not.
TEST_F(SpeedSearchTest, ARiskProfileTakesOrRefusesTheAccelerationAndTopSpeedTables) {
  struct Case {
    int riskA, riskT;
    std::vector<double> rolls;
    int speed;
    int draws;
  } cases[] = {
      {0, 0, {}, 200, 8},
      {50, 50, {0.1, 0.1}, 220, 18},
      {50, 50, {0.1, 0.9}, 200, 10},
      {50, 50, {0.9}, 200, 9},  // cut to 200, which is no longer over the top speed
      {100, 0, {0.99}, 200, 9},  // "T" at 0 never passes and draws nothing
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << "A " << c.riskA << ", T " << c.riskT << ", rolls " << c.rolls.size());
    rng = Random(7);
    SetSpeed(kCar, 160);
    rs.CarRiskA[kCar] = c.riskA;
    rs.CarRiskT[kCar] = c.riskT;
    std::vector<double> script(8, Face(1));
    script.insert(script.end(), c.rolls.begin(), c.rolls.end());
    for (int i = 0; i < 8; ++i) script.push_back(Face(1));
    rng.Script(script);
    EXPECT_EQ(Choose(), c.speed);
    EXPECT_EQ(rng.Draws(), static_cast<std::uint64_t>(c.draws));
  }
}

// At 120 with a curve of 80 five spaces on: 80 stops short of it, 100 pays a wear there, 120 two.
// A driver whose wears are spoken for by the laps to come drives inside the limit; one with a wear
// to spend now takes 100. Lap 2 of 10, 4 wears a lap, 3 laps left of the stint, on a straight.
TEST_F(SpeedSearchTest, TheWearAllowanceDecidesWhetherTheCurveIsPaidFor) {
  struct Case {
    int wears;
    int lapProfile, raceProfile;
    int speed;
  } cases[] = {
      {5, 2, 2, 80},    // 5 - 2 x 4 wears left over: -3, nothing to spend
      {13, 2, 2, 100},  // 5 - 4 this lap + 1 - 1 reserve = 1
      {10, 2, 2, 80},   // 2 - 4 + 1 - 1 = -2
      {10, 1, 2, 100},  // early in the lap an Early driver reserves 0.3 of the lap: 2 - 1.2 + 1 - 1 = 0.8
      {9, 1, 2, 80},    // 1 - 1.2 + 1 - 1 = -0.2
      {10, 2, 1, 100},  // an Early race profile spends its lap number: 2 - 4 + 1 + 2 = 1
      {10, 2, 3, 80},   // a Late one keeps it: 2 - 4 + 1 - 2 = -3
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.wears << " wears, profiles " << c.lapProfile << "/" << c.raceProfile);
    UseTrack(TrackBuilder(3, 200).Curve(15, 24, {80, 80, 80}));
    SetSpeed(kCar, 120);
    rs.CarWears[kCar] = c.wears;
    rs.CarLapProfile[kCar] = c.lapProfile;
    rs.CarRaceProfile[kCar] = c.raceProfile;
    EXPECT_EQ(Choose(), c.speed);
    EXPECT_EQ(rs.CarWears[kCar], c.wears);
  }
}

// At 120 with a curve of 40 two spaces on even the slowest speed without over-braking, 80, costs
// two wears. With none left the car takes it whatever it costs; with one it brakes harder still.
TEST_F(SpeedSearchTest, ACarWithNoWearsTakesItsSlowestSpeed) {
  struct Case {
    int wears;
    int speed;
  } cases[] = {{0, 80}, {1, 60}};
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.wears << " wears");
    UseTrack(TrackBuilder(3, 200).Curve(12, 21, {40, 40, 40}));
    SetSpeed(kCar, 120);
    rs.CarWears[kCar] = c.wears;
    EXPECT_EQ(Choose(), c.speed);
  }
}

// In a curve the search stops at the limit, on an apex line 20 above it, but never above the
// car's own reach plus one step. At 40 with 20 to spare, in a curve of 100 on an apex line, that
// reach is 80 (120 would be the apex allowance); a certain "A" keeps the 80 over the acceleration.
// Off the line the reach decides as well; in a curve of 40 the search stops at 40.
TEST_F(SpeedSearchTest, OnAnApexLineTheCeilingIsTheLimitPlus20ButNeverAboveTheCarsOwn) {
  struct Case {
    int apex;
    int limit;
    int speed;
  } cases[] = {{1, 100, 80}, {0, 100, 80}, {0, 40, 40}};
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << "apex " << c.apex << ", limit " << c.limit);
    UseTrack(TrackBuilder(3, 200).Curve(5, 40, {c.limit, c.limit, c.limit}));
    SetSpeed(kCar, 40);
    rs.CarAcceleration[kCar] = 20;
    rs.CarApexNumber[kCar] = c.apex;
    rs.CarRiskA[kCar] = 100;
    EXPECT_EQ(Choose(), c.speed);
  }
}

// On a straight the AI car takes the car two cells ahead in its lane as its tow, a human at 160
// here, who moves first. The search runs to 180, cut to 160 with no "A": no faster than the car
// ahead, so the tow is kept. A car ahead below 120 gives none; one three cells on is not taken.
TEST_F(SpeedSearchTest, TheCarTwoCellsAheadOnAStraightBecomesTheTow) {
  constexpr int kAhead = 2;
  struct Case {
    int space;
    int speed;
    int tow;
  } cases[] = {{12, 160, kAhead}, {12, 100, 0}, {13, 160, 0}};
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << "ahead on " << c.space << " at " << c.speed);
    UseTrack(TrackBuilder(3, 200));
    rs.CarCount = 2;
    rs.RunningOrder[1] = kAhead;
    rs.RunningOrder[2] = kCar;
    rs.CarIsAI[kAhead] = false;
    rs.CarLap[kAhead] = 2;
    rs.CarAcceleration[kAhead] = rs.CarDeceleration[kAhead] = 40;
    rs.CarTopSpeed[kAhead] = 200;
    SetSpeed(kAhead, c.speed);
    Place(kAhead, c.space, 1);
    SetSpeed(kCar, 120);
    EXPECT_EQ(Choose(), 160);
    EXPECT_EQ(rs.CarDraftTarget[kCar], c.tow);
    EXPECT_EQ(rs.CarNewSpeed[kAhead], c.speed);
  }
}

// Three cars near the line, the last a human who chose 140: the trials and commits of all three
// cross it, and the field comes back as it was, with only the AI cars' speeds chosen.
TEST_F(SpeedSearchTest, TrialsAcrossTheLineLeaveNoTrace) {
  rs.CarCount = 3;
  for (int car = 2; car <= 3; ++car) {
    rs.CarIsAI[car] = car == 2;
    rs.CarStartSpeed[car] = 100;
    rs.CarAcceleration[car] = 40;
    rs.CarDeceleration[car] = 40;
    rs.CarTopSpeed[car] = 200;
    rs.CarWearPerLap[car] = 4;
    rs.CarWears[car] = 6;
    rs.CarLap[car] = 3;
    rs.CarStintLaps[car] = 10;
    rs.CarStintLapsLeft[car] = 8;
    rs.CarRiskCA[car] = 50;
    rs.RunningOrder[car] = car;
    SetSpeed(car, 120);
  }
  rs.CarWears[kCar] = 6;
  rs.CarLap[kCar] = 3;
  rs.CarLapClock[kCar] = 11;
  rs.CarRaceClock[kCar] = 30;
  rs.LapOrder[2][1] = 2;
  Place(kCar, 198, 1);
  Place(2, 196, 2);
  Place(3, 195, 1);
  rs.CarNewSpeed[3] = 140;
  auto before = std::make_unique<RaceState>(rs);
  ChooseAISpeeds(ctx);
  EXPECT_EQ(Trace(*before, rs), std::vector<std::string>{});
  EXPECT_EQ(rs.CarNewSpeed[kCar], 200);
  EXPECT_EQ(rs.CarNewSpeed[2], 160);
  EXPECT_EQ(rs.CarNewSpeed[3], 140);
  EXPECT_TRUE(log.events.empty());
  EXPECT_EQ(CheckRaceState(rs), std::vector<std::string>{});
}

using testing_support::ShippedTracks;

// Forty AI cars of varied designs and characters race a few laps on every shipped circuit, every
// other one with pit stops and weather. At every turn the search may change nothing but the AI
// cars' speeds and tows, and leaves a sound state.
TEST(SpeedSearchRace, FortyAICarsRaceEveryShippedCircuitAndEachSearchLeavesNoTrace) {
  ResultTables tables;
  ASSERT_FALSE(LoadResultTables(tables, std::string(VELOMARK_DATA) + "/Default.rst"));
  const std::vector<std::string> tracks = ShippedTracks();
  ASSERT_GE(tracks.size(), 4u);
  for (size_t i = 0; i < tracks.size(); ++i) {
    SCOPED_TRACE(tracks[i]);
    auto rs = std::make_unique<RaceState>();
    ASSERT_FALSE(LoadTrack(rs->track, tracks[i]));
    rs->Tables = tables;
    rs->GameMode = kModeSingle;
    rs->RaceLaps = 3;
    rs->CarCount = kMaxCars;
    // Every other circuit with the pit lane open, stints to plan for, and the weather on.
    if (i % 2 == 1) {
      rs->RaceLaps = 5;
      rs->PitLaneOpen = true;
      rs->MinPitStops = 2;
      const WearAllotment allot = ComputeWearAllotment(rs->RaceLaps, rs->MinPitStops);
      rs->StartWearAllotment = allot.StartWearAllotment;
      rs->PitReplenishment = allot.PitReplenishment;
      rs->WeatherEnabled = true;
    }
    for (int car = 1; car <= kMaxCars; ++car) {
      rs->DriverName[car] = "Car " + std::to_string(car);
      rs->CarIsAI[car] = true;
      rs->CarStartSpeed[car] = 60 + 20 * (car % 3);
      rs->CarAcceleration[car] = 40 + 20 * (car % 2);
      rs->CarDeceleration[car] = 40 + 20 * (car % 4 == 0 ? 1 : 0);
      rs->CarTopSpeed[car] = 140 + 20 * (car % 4);
      rs->CarWearPerLap[car] = 2 + car % 3;
      rs->CarDRM[car] = car % 5 - 2;
      rs->CarLapProfile[car] = 1 + car % 3;
      rs->CarRaceProfile[car] = 1 + car / 3 % 3;
      rs->CarRiskSS[car] = car % 2 * 50;
      rs->CarRiskA[car] = car % 3 * 30;
      rs->CarRiskD[car] = car % 4 * 25;
      rs->CarRiskT[car] = car % 5 * 20;
      rs->CarRiskC[car] = car % 6 * 20;
      rs->CarRiskCA[car] = car % 7 * 15;
      rs->CarWetTires[car] = car % 4 == 0;
      rs->PitStrategy[car] = car % 3 == 0 ? 1 : 0;
    }
    Random rng(1000 + i);
    testing_support::AutoConsole console;
    NullRaceLog log;
    RaceEngine engine(*rs, rng, console, log);
    UseAIDrivers(engine);
    auto before = std::make_unique<RaceState>();
    int searches = 0, faults = 0;
    auto search = engine.Seams.ChooseAISpeeds;
    engine.Seams.ChooseAISpeeds = [&](RuleContext& c) {
      *before = *rs;
      search(c);
      ++searches;
      const std::vector<std::string> trace = Trace(*before, *rs);
      const std::vector<std::string> unsound = CheckRaceState(*rs);
      if ((!trace.empty() || !unsound.empty()) && ++faults <= 3) {
        ADD_FAILURE() << "search " << searches << " left a trace in " << testing::PrintToString(trace) << "; "
                      << testing::PrintToString(unsound);
      }
    };
    engine.StartRace();
    for (int turn = 0; turn < 500 && engine.WaitingFor() != Waiting::RaceOver; ++turn) {
      if (engine.WaitingFor() != Waiting::RaceControl && engine.WaitingFor() != Waiting::Paused) break;
      engine.NextTurn();
    }
    EXPECT_GT(searches, 10);
    EXPECT_TRUE(engine.WaitingFor() == Waiting::RaceOver) << "the race did not run to its end: " << engine.WaitDescription() << " after " << searches << " searches, leader lap " << rs->CarLap[rs->RunningOrder[1]];
    EXPECT_EQ(faults, 0);
    EXPECT_TRUE(CheckRaceState(*rs).empty());
  }
}

}  // namespace
}  // namespace vm
