// Pit stops and weather with forced random values: what a stop costs and gives, when the car
// comes back and where, how the weather walks and what wrong tires cost in a curve.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "core/units.h"
#include "engine/steering.h"
#include "engine/turn_engine.h"
#include "rules/pit_stops.h"
#include "rules/weather.h"
#include "tests/rules_fixture.h"
#include "tools/track_builder.h"

namespace vm {
namespace {

using testing_support::Cat;
using testing_support::ChanceSafe;
using testing_support::Face;
using testing_support::Highlighted;
using testing_support::kRiskFails;
using testing_support::kRiskPasses;
using testing_support::PlainThen;

class PitTest : public testing_support::RulesTest {
 protected:
  PitTest() { Open(); }

  // The fixture's car 3 stands on the pit entrance at 20/1; the pit exit is at 5, past the line.
  void Open() {
    rs.PitLaneOpen = true;
    rs.MinPitDuration = 5;
    rs.StartWearAllotment = 6;
    rs.PitReplenishment = 5;
    rs.track.PitEntrySpace = 20;
    rs.track.PitExitSpace = 5;
    rs.track.PitExitLane = 1;
    rs.track.PitExitLaneAlt = 2;
    rs.CarDesign[kCar] = {0, 60, 60, 40, 4, 200};
  }

  std::vector<std::string> LogTexts() const {
    std::vector<std::string> texts;
    for (const Highlighted& h : log.events) texts.push_back(h.Text);
    return texts;
  }
};

// A stop's whole entry, AI and human: what it costs at the entrance, which task it is given,
// how long it lasts and what the log says.
TEST_F(PitTest, EntrySettlesTheExcessAndQueuesTheStop) {
  struct Case {
    const char* name;
    std::function<void(RaceState&)> setup;
    std::vector<double> draws;
    bool queued;
    PitQueueEntry entry;  // Car, ReleaseTurns, TaskCode, SpacesCarried
    int wears;
    std::vector<std::string> log;
  };
  const std::vector<Case> cases = {
      // 40 + 60 is the pit limit: entering at exactly it costs nothing; a full stop draws nothing.
      {"at the limit", [](RaceState&) {}, {}, true, {kCar, 6, 1, 6}, 5, {"Wear Replenishment - Full Stop"}},
      {"20 over, risk fails: a wear", [](RaceState& r) { r.CarNewSpeed[kCar] = 120; }, {kRiskFails}, true,
       {kCar, 6, 1, 6}, 4, {"Wear Replenishment - Full Stop"}},
      {"20 over, risk passes: a Chance roll", [](RaceState& r) { r.CarNewSpeed[kCar] = 120; },
       Cat({{kRiskPasses}, ChanceSafe()}), true, {kCar, 6, 1, 6}, 5,
       {"Pit Entry", "Wear Replenishment - Full Stop"}},
      // 80 over crashes for cornering, not for the pit entry, and nothing joins the queue.
      {"80 over crashes", [](RaceState& r) { r.CarNewSpeed[kCar] = 180; }, {}, false, {}, 5, {"Cornering"}},
      // Damage: wears and repair, with a random while added: Int(5 x 0.9 x 0.5) + 6 + 1.
      {"damaged: both, longer", [](RaceState& r) { r.CarEngineDamaged[kCar] = true; }, {0.9}, true,
       {kCar, 9, 3, 6}, 5, {"Wear Replenishment and Damage Repair - Engine Damage (4 additional race turns)"}},
      // Repair Only: only damage brings a task; a sound car changes tires.
      {"repair only, sound", [](RaceState& r) { r.PitRepairOnly = true; }, {}, true, {kCar, 6, 0, 6}, 5,
       {"Change Tires Only"}},
      {"repair only, brakes", [](RaceState& r) {
         r.PitRepairOnly = true;
         r.CarBrakesDamaged[kCar] = true;
       },
       {0.0}, true, {kCar, 7, 2, 6}, 5, {"Damage Repair - Brake Damage (2 additional race turns)"}},
      // Half a replenishment (2.5 laps) sees out the 2 laps left: a splash, shorter by 0.6.
      {"splash near the end", [](RaceState& r) { r.CarLap[kCar] = 8; }, {}, true, {kCar, 4, 4, 6}, 5,
       {"Wear Replenishment - Splash and Go"}},
      // With weather on a wet track the AI takes rain tires.
      {"rain tires", [](RaceState& r) {
         r.WeatherEnabled = true;
         r.TrackCondition = "Wet";
       },
       {}, true, {kCar, 6, 5, 6}, 5, {"Wear Replenishment - Full Stop, Rain Tires"}},
      // A human decides on the panel: wear and repair, rain tires, and the frame's second option.
      {"human, 40 over", [](RaceState& r) {
         r.CarIsAI[kCar] = false;
         r.CarNewSpeed[kCar] = 140;
       },
       Cat({ChanceSafe(), {0.5}}), true, {kCar, 8, 7, 6}, 4,
       {"Pit Entry", "Wear Replenishment and Damage Repair"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Reset();
    Open();
    rs.CarNewSpeed[kCar] = 100;
    c.setup(rs);
    if (!rs.CarIsAI[kCar]) {
      Answer("pit-stop wear repair rain");
      Answer("2");
    }
    Script(c.draws);
    EnterPit(ctx);
    ExpectDraws(c.draws.size());
    EXPECT_EQ(rs.track.CellOccupant[20][1], 0);
    EXPECT_EQ(rs.CarInPit[kCar], c.queued);
    ASSERT_EQ(rs.PitQueue.size(), c.queued ? 1u : 0u);
    if (c.queued) {
      EXPECT_EQ(rs.PitQueue[0], c.entry);
    }
    EXPECT_EQ(rs.CarWears[kCar], c.wears);
    EXPECT_EQ(LogTexts(), c.log);
    EXPECT_EQ(std::tuple(rs.CarSpeed[kCar], rs.CarNewSpeed[kCar], rs.SpacesLeft), std::tuple(0, 0, 0.0));
    EXPECT_TRUE(CheckRaceState(rs).empty());
  }
}

// The stop counts down, and ends on its last turn: wears replenished and capped, the stint
// planned anew, tires and repairs as the task says, the car back at the exit.
TEST_F(PitTest, ReleaseGivesWhatTheTaskSaysAtTheExit) {
  struct Case {
    const char* name;
    int task;
    int wearsBefore;
    int wears;
    int stint;
    bool wet;
    int accel;
  };
  // Wear per lap 4, replenishment 5 laps, start allotment 6 laps: a cap of 24, then a bonus of
  // Round(5 x 0.3) = 2. The stint over 18 laps left: Round(18 / 5 + 0.49) = 4 stops, so 4 + 1.
  const std::vector<Case> cases = {
      {"full", 1, 3, 3 + 20 + 2, 5, false, 20},
      {"full, capped", 1, 10, 24 + 2, 5, false, 20},
      {"splash", 4, 3, 3 + 10 + 2, 5, false, 20},
      {"repair", 2, 3, 3, 10, false, 60},
      {"both in rain", 7, 3, 25, 5, true, 60},
      {"tires only in rain", 9, 3, 3, 10, true, 20},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Reset();
    Open();
    rs.WeatherEnabled = true;
    rs.RaceLaps = 30;
    rs.CarLap[kCar] = 12;
    rs.CarStintLaps[kCar] = rs.CarStintLapsLeft[kCar] = 10;
    rs.CarWearBonus[kCar] = 0.3;
    rs.CarWears[kCar] = c.wearsBefore;
    rs.CarAcceleration[kCar] = 20;
    rs.CarEngineDamaged[kCar] = true;
    rs.track.CellOccupant[20][1] = 0;
    rs.CarInPit[kCar] = true;
    rs.PitQueue = {{kCar, 3, c.task, 2}};
    EXPECT_TRUE(ProcessPitLane(ctx).empty());
    EXPECT_TRUE(ProcessPitLane(ctx).empty());
    EXPECT_EQ(rs.PitQueue[0].ReleaseTurns, 1);
    EXPECT_EQ(ProcessPitLane(ctx), std::vector<int>{kCar});
    EXPECT_TRUE(rs.PitQueue.empty());
    EXPECT_EQ(std::tuple(rs.CarWears[kCar], rs.CarStintLaps[kCar], rs.CarStintLapsLeft[kCar]),
              std::tuple(c.wears, c.stint, c.stint));
    EXPECT_EQ(std::tuple(rs.CarWetTires[kCar], rs.CarAcceleration[kCar], rs.CarEngineDamaged[kCar]),
              std::tuple(c.wet, c.accel, c.accel == 20));
    EXPECT_EQ(std::tuple(rs.CarSpace[kCar], rs.CarLane[kCar], rs.CarInPit[kCar]), std::tuple(5, 1, false));
    EXPECT_EQ(rs.track.CellOccupant[5][1], kCar);
    EXPECT_EQ(rng.Draws(), 0u);
  }
}

TEST_F(PitTest, RepairOnlyGivesNoWearsAndTheExitStepsBackWhenTaken) {
  rs.PitRepairOnly = true;
  rs.CarWears[kCar] = 1;
  rs.track.CellOccupant[20][1] = 0;
  rs.CarInPit[kCar] = true;
  rs.PitQueue = {{kCar, 1, 3, 0}};
  // Both exit lanes are taken at the exit: the car comes out a space back, in the first lane.
  Place(1, 5, 1);
  Place(2, 5, 2);
  EXPECT_EQ(ProcessPitLane(ctx), std::vector<int>{kCar});
  EXPECT_EQ(std::tuple(rs.CarWears[kCar], rs.CarSpace[kCar], rs.CarLane[kCar]), std::tuple(1, 4, 1));
  EXPECT_EQ(rs.CarStintLaps[kCar], 0);
  // A second car in the queue behind a released one keeps its place and counts on.
  rs.PitQueue = {{1, 1, 1, 0}, {2, 4, 1, 0}};
  rs.CarInPit[1] = rs.CarInPit[2] = true;
  rs.track.CellOccupant[5][1] = rs.track.CellOccupant[5][2] = 0;
  EXPECT_EQ(ProcessPitLane(ctx), std::vector<int>{1});
  ASSERT_EQ(rs.PitQueue.size(), 1u);
  EXPECT_EQ(rs.PitQueue[0], (PitQueueEntry{2, 3, 1, 0}));
}

TEST_F(PitTest, StintsAtTheStartAndThePitDisplay) {
  rs.RaceLaps = 30;
  rs.StartWearAllotment = 10;
  rs.PitReplenishment = 10;
  rs.PitStrategy[2] = 1;
  PlanStints(rs);
  // "More Stops": 30 / ((30 - 10) / 10 + 2) = 7.5, rounded to even 8.
  EXPECT_EQ(std::tuple(rs.CarStintLaps[1], rs.CarStintLapsLeft[1]), std::tuple(10, 30));
  EXPECT_EQ(std::tuple(rs.CarStintLaps[2], rs.CarStintLapsLeft[2]), std::tuple(8, 8));
  rs.PitLaneOpen = false;
  PlanStints(rs);
  EXPECT_EQ(std::tuple(rs.CarStintLaps[2], rs.CarStintLapsLeft[2]), std::tuple(30, 30));
  CountStintLap(rs, 2);
  EXPECT_EQ(rs.CarStintLapsLeft[2], 29);
  rs.CarStintLapsLeft[2] = 1;
  CountStintLap(rs, 2);
  EXPECT_EQ(rs.CarStintLapsLeft[2], 1);

  rs.MinPitStops = 2;
  rs.PitQueue = {{kCar, 4, 1, 0}};
  PitLaneView view = RefreshPitLane(rs);
  EXPECT_EQ(view.Head,
            "Open for REPAIR AND WEAR     Min turns in Pit/stop = 5     Required Stops = 2     Start Allot = 10 laps"
            "     Pit Replen = 10 laps");
  ASSERT_EQ(view.Rows.size(), 1u);
  EXPECT_EQ(view.Rows[0], (std::array<std::string, 3>{"Driver 3", "4", "Wear Replenishment Only - Full Stop"}));
  rs.PitRepairOnly = true;
  EXPECT_EQ(RefreshPitLane(rs).Head, "Open for REPAIR only     Minimum turns in Pit per stop = 5");
}

// --- Weather ----------------------------------------------------------------------------------

class WeatherTest : public testing_support::RulesTest {
 protected:
  WeatherTest() { rs.WeatherEnabled = true; }

  // A Weather table roll: two plain dice, then two dice that total `total` (2..12).
  static std::vector<double> Roll(int total) {
    const int a = total > 7 ? 6 : 1;
    return PlainThen(a, total - a);
  }
};

TEST_F(WeatherTest, TheScaleGivesSkyAndTrack) {
  struct Case {
    int value, prev;
    const char* before;
    const char* sky;
    const char* track;
  };
  const Case cases[] = {
      {2, 9, "Dry", "Raining (2)", "Wet"},  {4, 4, "Dry", "Raining (4)", "Wet"},
      {5, 4, "Dry", "Cloudy (5)", "Wet"},   {6, 5, "Wet", "Cloudy (6)", "Dry"},
      {7, 6, "Wet", "Clear (7)", "Dry"},    {12, 12, "Wet", "Clear (12)", "Dry"},
      {13, 12, "Wet", "Error", "Wet"},      {1, 2, "Dry", "Error", "Dry"},
  };
  for (const Case& c : cases) {
    rs.WeatherValue = c.value;
    rs.PrevWeatherValue = c.prev;
    rs.TrackCondition = c.before;
    ApplyWeather(rs);
    EXPECT_EQ(std::pair(SkyText(c.value), rs.TrackCondition), std::pair(std::string(c.sky), std::string(c.track)))
        << c.value;
  }
}

// Rolls in turn: improving from 4 to a wet cloudy 5, steady makes it dry, worsening at 2 stays 2.
TEST_F(WeatherTest, RollsWalkTheScale) {
  rs.WeatherValue = rs.PrevWeatherValue = 4;
  rs.TrackCondition = "Wet";
  Script(Cat({Roll(11), Roll(7)}));
  RollWeather(ctx, kCar, false);
  EXPECT_EQ(std::tuple(rs.WeatherValue, rs.PrevWeatherValue, rs.TrackCondition), std::tuple(5, 4, "Wet"));
  RollWeather(ctx, kCar, false);
  EXPECT_EQ(std::tuple(rs.WeatherValue, rs.PrevWeatherValue, rs.TrackCondition), std::tuple(5, 5, "Dry"));
  rs.WeatherValue = 2;
  Script(Roll(3));
  RollWeather(ctx, kCar, true);
  EXPECT_EQ(rs.WeatherValue, 2);
  ExpectDraws(12);
  const std::vector<Highlighted> logged = {{kLogWeather, kCar, "Improving (5), Track - Wet"},
                                           {kLogWeather, kCar, "Steady (5), Track - Dry"},
                                           {kLogWeather, kCar, "Worsening (2), Track - Wet"}};
  EXPECT_EQ(log.events, logged);
  EXPECT_EQ(Shown("ROLL frmWeatherTable"),
            std::vector<std::string>{"ROLL frmWeatherTable [Previous Weather Cloudy (5); Current Weather Raining (2); "
                                     "Previous Track Condition: Dry; Current Track Condition: Dry; Track Roll "
                                     "Modifier 0] dice 3, result 3 -> Left (red)"});
}

// A roll falls due on the leader's lap that opens a cycle, at a space drawn along the lap, and is
// rolled once the leader has passed it; with weather off nothing is drawn at all.
TEST_F(WeatherTest, RollsFallDueOnCycleLapsAndComeAtTheirSpace) {
  rs.RaceLaps = 10;
  rs.WeatherCycles = 1;  // every 5 laps: lap 6 (lap 11 is past the race)
  Script({0.5});
  for (int lap = 2; lap <= 11; ++lap) {
    rs.CarLap[1] = lap;
    WeatherTiming(ctx, 1);
    EXPECT_EQ(rs.WeatherRollPending, lap == 6) << lap;
    rs.WeatherRollPending = false;
  }
  ExpectDraws(1);
  EXPECT_EQ(rs.WeatherRollSpace, 25);  // Int(0.5 x 40) + 5
  // A wet track under clouds: a steady roll at the space dries it.
  rs.WeatherRollPending = true;
  rs.WeatherValue = 5;
  rs.PrevWeatherValue = 4;
  rs.TrackCondition = "Wet";
  rs.CarSpace[1] = 25;
  CheckWeatherRoll(ctx, 1);
  EXPECT_TRUE(rs.WeatherRollPending);
  rs.CarSpace[1] = 26;
  Script(Roll(7));
  CheckWeatherRoll(ctx, 1);
  EXPECT_EQ(std::tuple(rs.WeatherRollPending, rs.WeatherValue, rs.TrackCondition), std::tuple(false, 5, "Dry"));
  EXPECT_TRUE(Shown("ROLL").empty());  // AI cars only: nobody sees it
  ExpectDraws(5);

  // Too many cycles for the laps make no cycle; weather off draws nothing.
  rs.WeatherCycles = 10;
  rs.CarLap[1] = 2;
  WeatherTiming(ctx, 1);
  rs.WeatherCycles = 1;
  rs.WeatherEnabled = false;
  rs.CarLap[1] = 6;
  WeatherTiming(ctx, 1);
  rs.WeatherRollPending = true;
  CheckWeatherRoll(ctx, 1);
  EXPECT_EQ(rng.Draws(), 5u);
}

TEST_F(WeatherTest, StartRollsTheScaleAndFitsTheTires) {
  // Nobody at the machine: the roll comes unseen; 5 is a dry cloudy start, AI cars draw for tires.
  Answer("2");
  Script(Cat({Roll(5), {0.1, 0.9, 0.35}}));
  StartWeather(ctx);
  EXPECT_EQ(std::tuple(rs.WeatherValue, rs.PrevWeatherValue, rs.TrackCondition), std::tuple(5, 5, "Dry"));
  EXPECT_EQ(std::tuple(rs.CarWetTires[1], rs.CarWetTires[2], rs.CarWetTires[3]), std::tuple(true, false, true));
  ExpectDraws(7);
  EXPECT_EQ(log.events, (std::vector<Highlighted>{{kLogPreRaceWeather, 0, "Cloudy (5), Track - Dry"}}));
  // A human at the machine picks the cycles and sees the start table; rain puts everyone on rain tires.
  Reset();
  rs.WeatherEnabled = true;
  rs.FirstHumanCar = kCar;
  Answer("3");
  Script(Roll(3));
  StartWeather(ctx);
  EXPECT_EQ(std::tuple(rs.WeatherCycles, rs.WeatherValue, rs.TrackCondition), std::tuple(3, 3, "Wet"));
  EXPECT_EQ(std::tuple(rs.CarWetTires[1], rs.CarWetTires[2], rs.CarWetTires[3]), std::tuple(true, true, true));
  EXPECT_EQ(Shown("ROLL frmWeatherTableStart").size(), 1u);  // the unseen first roll showed nothing
  EXPECT_EQ(Shown("NUMBER frmWeatherSetup").back(),
            "NUMBER frmWeatherSetup Number of Weather Cycles During Race 0..9 -> 3");
  // Weather off: a clear dry track and no draw.
  Reset();
  StartWeather(ctx);
  EXPECT_EQ(std::tuple(rs.WeatherValue, rs.TrackCondition, rs.CarWetTires[1]), std::tuple(12, "Dry", false));
  EXPECT_EQ(rng.Draws(), 0u);
}

// Wrong tires cost 20 MPH in every curve, dry tires on a wet track as rain tires on a dry one:
// the same speed through the same curve is paid on the wrong tires only.
TEST_F(WeatherTest, WrongTiresPayInTheCurve) {
  for (int s = 25; s <= 30; ++s) rs.track.CellSpeedLimit[s][1] = rs.track.CellDrySpeedLimit[s][1] = 100;
  struct Case {
    const char* track;
    bool wet;
    int limit;
    int wears;
  };
  const Case cases[] = {{"Dry", false, 100, 5}, {"Dry", true, 80, 4}, {"Wet", true, 100, 5}, {"Wet", false, 80, 4}};
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.track) + (c.wet ? " on rain tires" : " on dry tires"));
    rs.CarWears[kCar] = 5;
    rs.CarCurveExcessPaid[kCar] = rs.CarCurveRankPaid[kCar] = 0;
    rs.TrackCondition = c.track;
    rs.CarWetTires[kCar] = c.wet;
    ApplyWeatherLimits(rs, kCar);
    EXPECT_EQ(rs.track.CellSpeedLimit[25][1], c.limit);
    EXPECT_EQ(rs.track.CellSpeedLimit[25][2], kOpenStraight);
    rs.track.CellOccupant[rs.CarSpace[kCar]][1] = 0;
    Place(kCar, 25, 1);
    rs.TargetSpace = 24;
    rs.TargetLane = 1;
    rs.WorkSpeed = 100;
    if (c.limit < 100) Script({kRiskFails});  // 20 over: the AI pays a wear
    CheckCurveSpeed(ctx);
    EXPECT_EQ(rs.CarWears[kCar], c.wears);
    EXPECT_EQ(rng.ScriptLeft(), 0u);
  }
  rs.WeatherEnabled = false;
  ApplyWeatherLimits(rs, kCar);
  EXPECT_EQ(rs.track.CellSpeedLimit[25][1], 80);
  RestoreDryLimits(rs.track);
  EXPECT_EQ(rs.track.CellSpeedLimit[25][1], 100);
}


// --- In the turn engine ----------------------------------------------------------------------------

// One human car on a straight 3-lane lap of 40 with the pit lane from 30 round to 4: the tire
// choice on its first panel, a stop at the entrance that waits out the minimum and comes back past
// the line, the crossing counted at the release and the lap timed through the stop.
TEST(PitLaneInARace, AStopWaitsItsTurnsAndTheReleaseCrossesTheLine) {
  auto state = std::make_unique<RaceState>();
  RaceState& rs = *state;
  Random rng(5);
  ScriptedConsole console;
  testing_support::RecordingLog log;
  RaceEngine engine(rs, rng, console, log);
  rs.track = TrackBuilder(3, 40).PitLane(30, 4).Build();
  rs.Tables = testing_support::UsualTables();
  rs.GameMode = "Single";
  rs.RaceLaps = 3;
  rs.CarCount = 1;
  rs.DriverName[1] = "Ann";
  rs.CarStartSpeed[1] = rs.CarAcceleration[1] = rs.CarDeceleration[1] = 60;
  rs.CarTopSpeed[1] = 200;
  rs.CarWearPerLap[1] = 2;
  rs.PitLaneOpen = true;
  rs.StartWearAllotment = 2;
  rs.PitReplenishment = 2;
  rs.MinPitDuration = 2;
  rs.WeatherEnabled = true;
  console.AddAnswer("0");                  // no weather cycles
  rng.Script(PlainThen(6, 6));             // a clear start
  engine.StartRace();
  EXPECT_EQ(rs.RaceWearsMultiplier, 2);
  EXPECT_EQ(std::tuple(rs.WeatherValue, rs.TrackCondition, rs.CarWears[1]), std::tuple(12, "Dry", 4));
  ASSERT_TRUE(engine.SpeedPanel().ShowTires);
  EXPECT_FALSE(engine.SpeedPanel().WetTires);
  EXPECT_TRUE(engine.ChooseTires(true));
  // Ten turns at 60 bring the car from the grid to the entrance, three spaces a turn.
  for (int turn = 1; turn <= 10; ++turn) {
    ASSERT_EQ(engine.WaitingFor(), Waiting::Speed) << turn;
    EXPECT_EQ(engine.SpeedPanel().ShowTires, turn == 1);
    engine.NewSpeed(3);
    for (int step = 0; step < 3; ++step) engine.Steer(SteeringCommand::cmdStraight);
    EXPECT_TRUE(CheckRaceState(rs).empty()) << turn;
  }
  EXPECT_TRUE(rs.CarWetTires[1]);
  EXPECT_EQ(std::tuple(rs.CarSpace[1], rs.CarLap[1]), std::tuple(30, 1));
  engine.NewSpeed(3);
  ASSERT_TRUE(engine.SteeringPanelShown().EnterPitVisible);
  console.AddAnswer("pit-stop wear dry");  // wears, and back to dry tires
  engine.Steer(SteeringCommand::cmdEnterPit);
  ASSERT_EQ(rs.PitQueue, (std::vector<PitQueueEntry>{{1, 2, 1, 3}}));
  EXPECT_EQ(rs.track.CellOccupant[30][rs.CarLane[1]], 0);
  EXPECT_EQ(rs.Highlights.size(), 0u);  // the recording log keeps them instead
  EXPECT_EQ(log.events.back(), (Highlighted{kLogEnterPit, 1, "Wear Replenishment - Full Stop, Dry Tires"}));
  // The minimum of two turns is waited out on the pit panel.
  for (int turn = 12; turn <= 13; ++turn) {
    ASSERT_EQ(engine.WaitingFor(), Waiting::PitContinue) << turn;
    EXPECT_TRUE(rs.CarInPit[1]);
    engine.PitContinue();
    EXPECT_TRUE(CheckRaceState(rs).empty()) << turn;
  }
  EXPECT_FALSE(rs.CarInPit[1]);
  EXPECT_EQ(std::tuple(rs.CarSpace[1], rs.CarLap[1], rs.CarSpeed[1]), std::tuple(4, 2, 0));
  EXPECT_EQ(rs.track.CellOccupant[4][rs.CarLane[1]], 1);
  // Lap 1 ran from the crossing in turn 1 (a whole turn left over) to the release in turn 13.
  EXPECT_DOUBLE_EQ(rs.LapSpeedMph[1][1], rs.track.RacingLineSpaces / (13 * kSecondsPerTurn) * 90.0);
  // Back out dry, with a fresh stint planned over the 2 laps left at the stop as 2 + 1, one of
  // them counted off at the release's crossing.
  EXPECT_EQ(std::tuple(rs.CarWetTires[1], rs.CarStintLaps[1], rs.CarStintLapsLeft[1]), std::tuple(false, 3, 2));
  EXPECT_EQ(engine.WaitingFor(), Waiting::Speed);
}

}  // namespace
}  // namespace vm
