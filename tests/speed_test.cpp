#include "engine/speed.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "core/curve_scan.h"
#include "tests/rules_fixture.h"
#include "tools/track_builder.h"

namespace vm {
namespace {

using testing_support::kRiskFails;
using testing_support::PlainThen;
using testing_support::TwoDice;

// The buttons as one letter each: W white, G green, R red (all enabled), - grey and closed.
std::string Row(const SpeedFrame& f) {
  std::string row;
  for (const SpeedButton& b : f.Buttons) {
    if (!b.Enabled) row += b.Colour == kColourGrey ? '-' : '?';
    else if (b.Colour == kColourWhite) row += 'W';
    else if (b.Colour == kColourGreen) row += 'G';
    else if (b.Colour == kColourRed) row += 'R';
    else row += '?';
  }
  return row;
}

// Names a row of a parameter table in the test output.
template <typename Case>
  requires requires(const Case& c) { c.Name; }
void PrintTo(const Case& c, std::ostream* os) { *os << c.Name; }

class SpeedTest : public testing_support::RulesTest {
 protected:
  // The current car's design and where it is in the race.
  void Design(int accel, int decel, int top, int start) {
    rs.CarAcceleration[kCar] = accel;
    rs.CarDeceleration[kCar] = decel;
    rs.CarTopSpeed[kCar] = top;
    rs.CarStartSpeed[kCar] = start;
  }
  void Moving(int lap, int speed) {
    rs.CarLap[kCar] = lap;
    rs.CarSpeed[kCar] = speed;
  }
};

// --- The button table ------------------------------------------------------------------------

struct RangeCase {
  const char* Name;
  int Lap, Speed, Accel, Decel, Top, Start;
  bool StandingStart, SingleLap;
  int Max, Min;
  const char* Row;  // buttons 0, 20, ... 240
};

class SpeedRange : public SpeedTest, public ::testing::WithParamInterface<RangeCase> {};

TEST_P(SpeedRange, ColoursEachButtonByTheFirstRowThatHolds) {
  const RangeCase& c = GetParam();
  Human();
  Design(c.Accel, c.Decel, c.Top, c.Start);
  Moving(c.Lap, c.Speed);
  rs.RaceStandingStart = c.StandingStart;
  rs.QualifyingLapRunning = c.SingleLap;

  const SpeedFrame f = LoadSpeedFrame(ctx);

  EXPECT_EQ(std::tuple(rs.MaxNewSpeed, rs.MinNewSpeed, Row(f)), std::tuple(c.Max, c.Min, c.Row));
  EXPECT_EQ(f.Buttons.back().Speed, 240);
  for (const SpeedButton& b : f.Buttons) EXPECT_TRUE(b.Seen);
}

INSTANTIATE_TEST_SUITE_P(
    Speed, SpeedRange,
    ::testing::Values(
        // On the grid the start speed is the top of the range and nothing below is red.
        RangeCase{"GridStart", 0, 0, 40, 40, 200, 60, false, false, 60, 0, "WGGGR--------"},
        RangeCase{"StandingStartHoldsACarWithALap", 1, 0, 40, 40, 200, 60, true, false, 60, 0, "WGGGR--------"},
        RangeCase{"StoppedCarWithALapAccelerates", 1, 0, 40, 40, 200, 60, false, false, 40, 0, "WGGR---------"},
        RangeCase{"QualifyingLapRunningAccelerates", 0, 0, 40, 40, 200, 60, true, true, 40, 0, "WGGR---------"},
        // At top speed one button above stays red and open.
        RangeCase{"TopSpeed", 2, 200, 40, 40, 200, 60, false, false, 200, 160, "----RRRRGGWR-"},
        RangeCase{"From180Braking40", 2, 180, 40, 40, 300, 60, false, false, 220, 140, "---RRRRGGWGGR"},
        RangeCase{"MinimumZeroHasNoRedBelow", 2, 40, 40, 60, 200, 60, false, false, 80, 0, "GGWGGR-------"},
        // The scale ends at 240 even when the range would reach higher.
        RangeCase{"EndOfScale", 2, 220, 60, 40, 400, 60, false, false, 280, 180, "-----RRRRGGWG"},
        // A damaged top speed under the car's speed: the rows below CarSpeed still win.
        RangeCase{"TopSpeedCutBelowSpeed", 2, 200, 40, 40, 160, 60, false, false, 160, 160, "----RRRRGGW--"}));

// --- The curve rules --------------------------------------------------------------------------

// Lane 1: a curve 10..12 of 60 with 40 at space 11. Lane 2: 60, 100, 60. Apex line 1 runs from
// lane 2 into lane 1. Further on: skip cells, and a curve over the line.
Track CurveTrack() {
  return TrackBuilder(2, 50)
      .Curve(10, 12, {60, 60})
      .Limit(11, 1, 40)
      .Limit(11, 2, 100)
      .Apex(1, {{2, 10}, {1, 11}, {1, 12}})
      .Curve(20, 20, {80, 80})
      .Skip(21, 22, 1)
      .Limit(23, 1, 40)
      .Curve(30, 35, {80, 80})
      .Skip(31, 33, 1)
      .Limit(34, 1, 40)
      .Curve(40, 40, {60, 60})
      .Skip(41, 43, 1)
      .Curve(48, 50, {60, 60})
      .Limit(1, 1, 40)
      .Build();
}

struct CurveCase {
  const char* Name;
  const char* Mode;
  int Lap, Speed, Space, Lane, Apex;
  bool AccelFromExit;
  const char* Row;
};

class SpeedCurve : public SpeedTest, public ::testing::WithParamInterface<CurveCase> {};

TEST_P(SpeedCurve, ClosesButtonsThatSpeedUpPastTheLimit) {
  const CurveCase& c = GetParam();
  rs.track = CurveTrack();
  Human();
  rs.GameMode = c.Mode;
  Design(60, 40, 240, 100);
  Moving(c.Lap, c.Speed);
  rs.CarSpace[kCar] = c.Space;
  rs.CarLane[kCar] = c.Lane;
  rs.CarApexNumber[kCar] = c.Apex;
  rs.OptAccelFromCurveExit = c.AccelFromExit;

  EXPECT_EQ(Row(LoadSpeedFrame(ctx)), c.Row);
}

INSTANTIATE_TEST_SUITE_P(
    Speed, SpeedCurve,
    ::testing::Values(
        // Limit 60, next 40: 60 and over are off, 40 stays green.
        CurveCase{"NextCellCaps", "Single", 2, 0, 10, 1, 0, false, "WGG----------"},
        // On the apex line the next cell is the listed one (40, not lane 2's 100), plus 20.
        CurveCase{"ApexLineKeepsSixty", "Single", 2, 0, 10, 2, 1, false, "WGGG---------"},
        // Before the first crossing only the car's own cell caps, except in practice.
        CurveCase{"GridCarCappedByOwnCell", "Single", 0, 0, 10, 1, 0, false, "WGGG---------"},
        CurveCase{"PracticeCapsFromTheGrid", "Practice", 0, 0, 10, 1, 0, false, "WGG----------"},
        // Speed already carried is never closed; only speeding up is.
        CurveCase{"HoldingSpeedAboveTheLimit", "Single", 2, 100, 10, 1, 0, false, "RRRGGW-------"},
        CurveCase{"LastCurveCellNoExitAccel", "Single", 2, 60, 12, 1, 0, false, "RGGW---------"},
        CurveCase{"LastCurveCellExitAccel", "Single", 2, 60, 12, 1, 0, true, "RGGWGGGR-----"},
        CurveCase{"OpenCellBeforeTheCurve", "Single", 2, 60, 9, 1, 0, false, "RGGWGGGR-----"}));

struct NextCellCase {
  const char* Name;
  int Space, Lane, Apex;
  bool AccelFromExit;
  int Limit;
  bool IsExit, ExitAllowed;
};

class SpeedNextCell : public SpeedTest, public ::testing::WithParamInterface<NextCellCase> {};

TEST_P(SpeedNextCell, FindsTheCellAheadOnTheCarsLine) {
  const NextCellCase& c = GetParam();
  rs.track = CurveTrack();
  rs.CarSpace[kCar] = c.Space;
  rs.CarLane[kCar] = c.Lane;
  rs.CarApexNumber[kCar] = c.Apex;
  rs.OptAccelFromCurveExit = c.AccelFromExit;

  NextCells(rs);
  EXPECT_EQ(std::tuple(rs.NextCellLimit, rs.NextIsExit, rs.ExitAccelAllowed),
            std::tuple(c.Limit, c.IsExit, c.ExitAllowed));
}

INSTANTIATE_TEST_SUITE_P(
    Speed, SpeedNextCell,
    ::testing::Values(NextCellCase{"ListedApexCell", 10, 2, 1, false, 40, false, false},
                      NextCellCase{"OwnLaneWithoutApex", 10, 2, 0, false, 100, false, false},
                      NextCellCase{"LastApexCellFallsBackToTheLane", 12, 1, 1, false, 999, false, false},
                      NextCellCase{"TwoSkipCellsPassed", 20, 1, 0, false, 40, false, false},
                      NextCellCase{"ThirdSkipCellIsTheNextCell", 30, 1, 0, false, 80, false, false},
                      NextCellCase{"SkipCellIsNoExit", 40, 1, 0, true, 999, false, true},
                      NextCellCase{"WrapsAtTrackLength", 50, 1, 0, false, 40, false, false},
                      NextCellCase{"ApexNumberOutOfRange", 10, 2, 99, false, 100, false, false},
                      NextCellCase{"OffTheTrack", 0, 0, 0, false, kNoLimit, false, true}));

// --- The dashboard ----------------------------------------------------------------------------

TEST_F(SpeedTest, DashboardShowsTheCarAndClearsTheTurnMarks) {
  Human();
  TakeDesignCopies(rs);
  rs.CarAcceleration[kCar] = 20;  // engine damage
  rs.CarDRM[kCar] = -1;
  rs.CarWears[kCar] = -2;
  rs.CarsFinished = 2;
  rs.OrderIndex = 1;
  rs.RunningOrder[1] = 1;
  rs.CarSpeed[1] = 140;
  rs.AccelChecked = rs.DecelChecked = true;
  rs.SpacesLeft = 3;
  rs.CarDraftTarget[kCar] = 2;

  const SpeedFrame f = LoadSpeedFrame(ctx);
  EXPECT_EQ(std::tuple(f.Car, f.Driver, f.RacePosition, f.Acc, f.DRM, f.Wears, f.ShowAutoPilot, f.ShowTires),
            std::tuple(kCar, "Driver 3", "3rd Place", "20", "-1", 0, true, false));
  EXPECT_EQ(std::tuple(f.AccColour, f.DecColour, f.TopSpdColour), std::tuple(kColourRed, kColourWhite, kColourWhite));
  EXPECT_EQ(f.SpcSpd, SpcSpdText(ScanNextCurve(rs, kCar)));
  EXPECT_EQ(std::tuple(rs.PaceSpeed, rs.AccelChecked, rs.DecelChecked, rs.SpacesLeft, rs.CarDraftTarget[kCar]),
            std::tuple(140, false, false, 0.0, 0));

  // A pace already known stays; an AI car gets no autopilot button.
  rs.CarIsAI[kCar] = true;
  rs.CarSpeed[1] = 60;
  EXPECT_FALSE(LoadSpeedFrame(ctx).ShowAutoPilot);
  EXPECT_EQ(rs.PaceSpeed, 140);
}

TEST(SpeedPlace, NamesThePlace) {
  const std::vector<std::pair<int, std::string>> cases{
      {1, "Leader"}, {2, "2nd Place"}, {3, "3rd Place"}, {4, "4th Place"}, {21, "21th Place"}, {22, "22th Place"}};
  for (const auto& [place, text] : cases) EXPECT_EQ(PlaceText(place), text) << place;
}

// --- Settling a chosen speed -----------------------------------------------------------------

struct LimitCase {
  const char* Name;
  int Lap, Speed, Accel, Top, Work;
  bool StandingStart, SingleLap, Restart, RuleOff, AccelCheckedBefore;
  std::vector<double> Draws;
  std::vector<int> Kinds;
  bool AccelCheckedAfter;
  int WearsAfter;
};

class SpeedLimits : public SpeedTest, public ::testing::WithParamInterface<LimitCase> {};

TEST_P(SpeedLimits, RoutesEachExcessToItsTable) {
  const LimitCase& c = GetParam();
  Design(c.Accel, 40, c.Top, 60);
  Moving(c.Lap, c.Speed);
  rs.RaceStandingStart = c.StandingStart;
  rs.QualifyingLapRunning = c.SingleLap;
  rs.RestartAfterPit = c.Restart;
  rs.StartRuleOff = c.RuleOff;
  ComputeSpeedRange(rs);
  rs.WorkSpeed = c.Work;
  rs.AccelChecked = c.AccelCheckedBefore;
  Script(c.Draws);

  CheckSpeedLimits(ctx);

  EXPECT_EQ(log.Kinds(), c.Kinds);
  ExpectDraws(c.Draws.size());
  EXPECT_EQ(std::tuple(rs.AccelChecked, rs.CarWears[kCar]), std::tuple(c.AccelCheckedAfter, c.WearsAfter));
  EXPECT_EQ(std::tuple(rs.SpeedChecked, rs.DecelChecked, rs.DecelOverBy, rs.AccelOverBy, rs.TopSpeedOverBy),
            std::tuple(true, true, 0, 0, 0));
}

const std::vector<double> kNone;
const std::vector<double> kSafeAccel = PlainThen(1, 1);
const std::vector<double> kSafeStart = TwoDice(1, 1);

INSTANTIATE_TEST_SUITE_P(
    Speed, SpeedLimits,
    ::testing::Values(
        // 120 braking to 20 is 60 over: two wears and a brake test.
        LimitCase{"DecelerationTestsBrakes", 2, 120, 40, 200, 20, false, false, false, false, false,
                  PlainThen(1, 1), {kLogBrakeTested}, false, 3},
        LimitCase{"DecelerationRiskFailsPaysAWear", 2, 120, 40, 200, 60, false, false, false, false, false,
                  {kRiskFails}, {}, false, 4},
        LimitCase{"GridStartTable", 0, 0, 40, 200, 80, false, false, false, false, false, kSafeStart,
                  {kLogStartSpeedExceeded}, true, 5},
        LimitCase{"GridWithinStartSpeed", 0, 0, 40, 200, 60, false, false, false, false, false, kNone, {}, false, 5},
        LimitCase{"StandingStartTable", 1, 0, 40, 200, 80, true, false, false, false, false, kSafeStart,
                  {kLogStartSpeedExceeded}, true, 5},
        LimitCase{"StoppedWithALapAccelerates", 1, 0, 40, 200, 80, false, false, false, false, false, kSafeAccel,
                  {kLogAccelExceeded}, true, 5},
        LimitCase{"QualifyingLapRunningAccelerates", 1, 0, 40, 200, 80, true, true, false, false, false, kSafeAccel,
                  {kLogAccelExceeded}, true, 5},
        LimitCase{"RestartFromStandstill", 3, 0, 40, 200, 80, false, false, true, false, false, kSafeStart,
                  {kLogStartSpeedExceeded}, true, 5},
        LimitCase{"RestartWithStartRuleOff", 3, 0, 40, 200, 80, false, false, true, true, false, kSafeAccel,
                  {kLogAccelExceeded}, true, 5},
        LimitCase{"RestartRuleSparesARollingCar", 3, 80, 40, 200, 160, false, false, true, false, false, kSafeAccel,
                  {kLogAccelExceeded}, true, 5},
        LimitCase{"AccelerationTable", 2, 120, 40, 200, 180, false, false, false, false, false, kSafeAccel,
                  {kLogAccelExceeded}, true, 5},
        LimitCase{"TopSpeedOnly", 2, 180, 40, 200, 220, false, false, false, false, false, kSafeAccel,
                  {kLogTopSpeedExceeded}, true, 5},
        LimitCase{"TopSpeedIsASecondRoll", 2, 180, 20, 200, 220, false, false, false, false, false,
                  testing_support::Cat({kSafeAccel, kSafeAccel}), {kLogAccelExceeded, kLogTopSpeedExceeded}, true, 5},
        // Engine damage on the first roll costs 20 MPH, which takes the car back to its top speed.
        LimitCase{"EngineDamageEndsTheTopSpeedExcess", 2, 160, 40, 200, 220, false, false, false, false, false,
                  PlainThen(5, 6), {kLogEngineAccelDamage}, true, 5},
        LimitCase{"AccelCheckedStillJudgesTopSpeed", 2, 180, 20, 200, 220, false, false, false, false, true,
                  kSafeAccel, {kLogTopSpeedExceeded}, true, 5},
        LimitCase{"WithinRangeLeavesAccelUnchecked", 2, 120, 40, 200, 140, false, false, false, false, false, kNone,
                  {}, false, 5}));

// A green button above the car's speed never costs a roll and a red one always does: the buttons
// and the check follow one rule for a car moving off from standstill.
TEST_F(SpeedTest, ButtonsAndCheckAgreeOnEveryStandstill) {
  struct Case {
    const char* what;
    int lap, start, accel;
    bool restart, ruleOff, singleLap;
  };
  const Case cases[] = {
      {"restart, start speed above acceleration", 3, 60, 40, true, false, false},
      {"restart, start speed below acceleration", 3, 40, 60, true, false, false},
      {"restart with the start rule off", 3, 40, 60, true, true, false},
      {"standing mid-race", 3, 40, 60, false, false, false},
      {"on the grid", 0, 40, 60, false, false, false},
      {"on the grid of a qualifying lap", 0, 40, 60, false, false, true},
  };
  for (const Case& c : cases) {
    Design(c.accel, 40, 200, c.start);
    Moving(c.lap, 0);
    rs.RestartAfterPit = c.restart;
    rs.StartRuleOff = c.ruleOff;
    rs.QualifyingLapRunning = c.singleLap;
    const RaceState before = rs;
    const SpeedFrame frame = LoadSpeedFrame(ctx);
    for (int i = 1; i < kSpeedButtons; ++i) {
      const SpeedButton& b = frame.Buttons[static_cast<size_t>(i)];
      if (!b.Enabled) continue;
      SCOPED_TRACE(std::string(c.what) + ", " + std::to_string(b.Speed) + " MPH");
      rs = before;
      rs.SpeedChecked = false;
      const auto draws = rng.Draws();
      ChooseSpeed(ctx, i);
      EXPECT_EQ(rng.Draws() > draws, b.Colour == kColourRed);
    }
  }
}

TEST_F(SpeedTest, ChecksRunOnceATurn) {
  Moving(2, 120);
  ComputeSpeedRange(rs);
  rs.WorkSpeed = 180;
  Script(kSafeAccel);
  CheckSpeedLimits(ctx);
  rs.AccelChecked = false;
  rs.WorkSpeed = 240;
  rs.CarTopSpeed[kCar] = 100;
  CheckSpeedLimits(ctx);
  ExpectDraws(4);  // one roll only
  EXPECT_EQ(log.Kinds(), (std::vector<int>{kLogAccelExceeded}));
  EXPECT_EQ(rs.WorkTopSpeed, 200);
}

// --- Pressing a speed button ------------------------------------------------------------------

struct ChooseCase {
  const char* Name;
  bool InPit;
  int StatusBefore, Lap, Speed, Button;
  bool Restart, AccelCheckedBefore;
  std::vector<double> Draws;
  int StatusAfter, NewSpeedAfter, WorkAfter;
  bool Checked;
};

class SpeedChoice : public SpeedTest, public ::testing::WithParamInterface<ChooseCase> {};

TEST_P(SpeedChoice, SetsTheMoveAndPutsASurvivingCarBackInTheRunning) {
  const ChooseCase& c = GetParam();
  rs.CarInPit[kCar] = c.InPit;
  rs.CarStatus[kCar] = c.StatusBefore;
  Moving(c.Lap, c.Speed);
  rs.RestartAfterPit = c.Restart;
  ComputeSpeedRange(rs);
  rs.AccelChecked = c.AccelCheckedBefore;
  Script(c.Draws);

  ChooseSpeed(ctx, c.Button);

  ExpectDraws(c.Draws.size());
  EXPECT_EQ(std::tuple(rs.CarStatus[kCar], rs.CarNewSpeed[kCar], rs.WorkSpeed, rs.SpacesLeft, rs.SpeedChecked),
            std::tuple(c.StatusAfter, c.NewSpeedAfter, c.WorkAfter, c.WorkAfter / 20.0, c.Checked));
}

INSTANTIATE_TEST_SUITE_P(
    Speed, SpeedChoice,
    ::testing::Values(
        ChooseCase{"SpunCarRunsAgain", false, kSpinning, 2, 120, 6, false, false, kNone, kRunning, 120, 120, true},
        ChooseCase{"StandingStillKeepsTheStatus", false, kSpinning, 2, 0, 0, false, false, kNone, kSpinning, 0, 0,
                   true},
        // The press clears an earlier acceleration mark, so the excess is rolled for.
        ChooseCase{"PressRejudgesAcceleration", false, kRunning, 2, 120, 9, false, true, kSafeAccel, kRunning, 180, 180,
                   true},
        ChooseCase{"PitLaneSkipsTheChecks", true, kStalled, 2, 0, 12, false, false, kNone, kRunning, 240, 240, false},
        ChooseCase{"PitLaneStandingStill", true, kStalled, 2, 0, 0, false, false, kNone, kStalled, 0, 0, false},
        ChooseCase{"StallOnRestartStaysStalled", false, kRunning, 3, 0, 4, true, false, TwoDice(5, 6), kStalled, 0, 0,
                   true},
        // A stall on the grid is a crash: the car keeps its chosen speed on paper and stays out.
        ChooseCase{"GridStallIsOut", false, kRunning, 0, 0, 4, false, false, TwoDice(5, 6), kOutOfRace, 80, 0,
                   true}));

TEST_F(SpeedTest, ButtonOutsideTheRowChangesNothing) {
  for (int i : {-1, kSpeedButtons, 1000}) {
    ChooseSpeed(ctx, i);
    EXPECT_EQ(std::tuple(rs.WorkSpeed, rs.CarNewSpeed[kCar], rs.SpeedChecked), std::tuple(120, 120, false)) << i;
  }
}

}  // namespace
}  // namespace vm
