#include "rules/consequences.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "rules/panels.h"
#include "tests/rules_fixture.h"

namespace vm {
namespace {

using testing_support::Cat;
using testing_support::ChanceCrash;
using testing_support::ChanceSafe;
using testing_support::ChanceSpin;
using testing_support::Face;
using testing_support::Highlighted;
using testing_support::kRiskFails;
using testing_support::kRiskPasses;
using testing_support::PlainThen;
using testing_support::TwoDice;

class ConsequencesTest : public testing_support::RulesTest {
 protected:
  // The current car's acceleration, deceleration and top speed.
  std::tuple<int, int, int> Ratings() const {
    return {rs.CarAcceleration[kCar], rs.CarDeceleration[kCar], rs.CarTopSpeed[kCar]};
  }
  // Where the current move stands: work speed, new speed, last speed, spaces left.
  std::tuple<int, int, int, double> Motion() const {
    return {rs.WorkSpeed, rs.CarNewSpeed[kCar], rs.CarSpeed[kCar], rs.SpacesLeft};
  }
  void SetMotion(int work, int newSpeed, double spaces) {
    rs.WorkSpeed = work;
    rs.CarNewSpeed[kCar] = newSpeed;
    rs.SpacesLeft = spaces;
  }
};

// One way through a choice table: who decides (a human's option, or an AI car's risk), the
// draws that follow, and what the car looks like afterwards.
struct ChoiceCase {
  const char* Name;
  int Over;
  const char* HumanOption;  // "1", "2"; nullptr for an AI car
  std::vector<double> Draws;
  int WearsBefore;
  int WearsAfter;
  int StatusAfter;
  std::vector<int> LogKinds;
};

void PrintTo(const ChoiceCase& c, std::ostream* os) { *os << c.Name; }

class ChoiceTable : public testing_support::RulesTest, public ::testing::WithParamInterface<ChoiceCase> {
 protected:
  // Arranges the row's car, settles it, and checks what every choice table shares.
  void SettleRow(int& overBy, void (*settle)(RuleContext&), const char* context) {
    const ChoiceCase& c = GetParam();
    if (c.HumanOption) {
      Human();
      Answer(c.HumanOption);
      if (c.StatusAfter == kOutOfRace) Answer("1");  // the crash panel's Continue
    }
    rs.CarWears[kCar] = c.WearsBefore;
    overBy = c.Over;
    Script(c.Draws);
    settle(ctx);
    EXPECT_EQ(rs.CarWears[kCar], c.WearsAfter);
    EXPECT_EQ(rs.CarStatus[kCar], c.StatusAfter);
    EXPECT_EQ(rs.CarOutOfRace[kCar], c.StatusAfter == kOutOfRace);
    EXPECT_EQ(log.Kinds(), c.LogKinds);
    ExpectDraws(c.Draws.size());
    EXPECT_EQ(rs.ResultContext, context);
  }
};

class CorneringTable : public ChoiceTable {};

TEST_P(CorneringTable, SettlesTheExcessAsItsRowSays) {
  const ChoiceCase& c = GetParam();
  rs.CarCurveExcessPaid[kCar] = 20;
  SettleRow(rs.SpeedOverBy, SettleCornering, "Cornering");
  EXPECT_EQ(rs.CarCurveExcessPaid[kCar], 20 + c.Over);
  EXPECT_EQ(rs.CornerPaidTotal, c.Over);
  EXPECT_EQ(rs.LapWearsUsed[2][kCar], c.WearsBefore - std::max(c.WearsAfter, 0));
  EXPECT_TRUE(CheckRaceState(rs).empty());
}

INSTANTIATE_TEST_SUITE_P(
    EveryRow, CorneringTable,
    ::testing::Values(
        ChoiceCase{"Human20UsesAWear", 20, "1", {}, 5, 4, kRunning, {}},
        ChoiceCase{"Human20ConsultsChance", 20, "2", ChanceSafe(), 5, 5, kRunning, {kLogChanceSuccess}},
        ChoiceCase{"AI20RiskFailsPaysAWear", 20, nullptr, {kRiskFails}, 5, 4, kRunning, {}},
        ChoiceCase{"AI20RiskPassesRollsChance", 20, nullptr, Cat({{kRiskPasses}, ChanceSafe()}), 5, 5, kRunning,
                   {kLogChanceSuccess}},
        ChoiceCase{"Human40UsesTwoWears", 40, "1", {}, 5, 3, kRunning, {}},
        ChoiceCase{"Human40OneWearAndChanceSpins", 40, "2", Cat({ChanceSpin(), {Face(2)}}), 5, 4, kSpinning,
                   {kLogSpin, kLogSpinDamage}},
        ChoiceCase{"AI40RiskFailsPaysTwo", 40, nullptr, {kRiskFails}, 5, 3, kRunning, {}},
        ChoiceCase{"AI40RiskPassesOneWearAndChanceCrashes", 40, nullptr, Cat({{kRiskPasses}, ChanceCrash()}), 5, 4,
                   kOutOfRace, {kLogCrash}},
        ChoiceCase{"Human60TwoWearsAndChance", 60, "1", ChanceSafe(), 5, 3, kRunning, {kLogChanceSuccess}},
        ChoiceCase{"AI60TwoWearsAndChanceWithoutRisk", 60, nullptr, ChanceSafe(), 5, 3, kRunning,
                   {kLogChanceSuccess}},
        ChoiceCase{"Human80Crashes", 80, "1", {}, 5, 5, kOutOfRace, {kLogCrash}},
        ChoiceCase{"AI120Crashes", 120, nullptr, {}, 5, 5, kOutOfRace, {kLogCrash}},
        ChoiceCase{"ExcessBetweenRowsMatchesNothing", 30, nullptr, {}, 5, 5, kRunning, {}},
        // Shortfall: each wear not paid is one Chance roll; a spin in the row's own roll starts afresh
        // with no shortfall, so the owed roll is never made.
        ChoiceCase{"NoWearsLeftAt20ChoosingTheWear", 20, "1", ChanceSafe(), 0, 0, kRunning, {kLogChanceSuccess}},
        ChoiceCase{"SpinInRowRollCancelsShortfall", 60, nullptr, Cat({ChanceSpin(), {Face(1)}}), 1, 0, kSpinning,
                   {kLogSpin, kLogSpinDamage}}));

TEST_F(ConsequencesTest, CorneringRowRollComesBeforeTheShortfallRoll) {
  // 1 wear at 60 over: the row's roll (safe, logged for the curve) comes first, then the shortfall's.
  rs.CarWears[kCar] = 1;
  rs.SpeedOverBy = 60;
  Script(Cat({ChanceSafe(), ChanceSpin(), {Face(1)}}));
  SettleCornering(ctx);
  EXPECT_EQ(log.events, (std::vector<Highlighted>{{kLogChanceSuccess, kCar, "Cornering"},
                                                  {kLogSpin, kCar, "Chance Table"},
                                                  {kLogSpinDamage, kCar, " "}}));
  EXPECT_EQ(std::tuple(rs.CarWears[kCar], rs.LapWearsUsed[2][kCar], rs.WearShortfall), std::tuple(0, 1, 0));
  ExpectDraws(9);
}

TEST_F(ConsequencesTest, CorneringPanelShowsTheExcessTheWearsAndOnlyItsFrame) {
  Human();
  rs.CarWears[kCar] = 7;
  rs.SpeedOverBy = 40;
  Answer("1");
  SettleCornering(ctx);
  EXPECT_EQ(Shown("CHOOSE"), (std::vector<std::string>{
                                 "CHOOSE frmCorneringTable [Speed Over By 40; Wears Remaining 7 of 12 Wears] "
                                 "(Use 2 Wears | Use 1 Wear AND Consult Chance Table) -> 1"}));
  rs.GameMode = "Practice";
  EXPECT_EQ(WearsLine(rs, kCar), "5 of 4 Wears");
  rs.CarWears[kCar] = -3;  // a trial may overdraw; the panel never shows it
  EXPECT_EQ(WearsLine(rs, kCar), "0 of 4 Wears");
}

TEST_F(ConsequencesTest, BlueFlagCorneringTakesNoTableButSpacesAndSpeed) {
  rs.BlueFlagInForce = true;
  rs.track.CellSpeedLimit[20][1] = 100;
  rs.SpeedOverBy = 40;
  rs.SpacesLeft = 5;
  SettleCornering(ctx);
  EXPECT_EQ(Motion(), std::tuple(100, 100, 100, 3.0));
  EXPECT_EQ(std::tuple(rs.SpeedOverBy, rs.CarWears[kCar]), std::tuple(0, 5));

  // On an open cell with a limit the excess comes off the speed; with under two spaces left, all go.
  rs.track.CellSpeedLimit[20][1] = 500;
  rs.SpeedOverBy = 20;
  rs.SpacesLeft = 1.5;
  SettleCornering(ctx);
  EXPECT_EQ(std::tuple(rs.CarNewSpeed[kCar], rs.SpacesLeft), std::tuple(80, 0.0));

  // On an open straight nothing changes at all.
  rs.track.CellSpeedLimit[20][1] = kOpenStraight;
  rs.SpeedOverBy = 20;
  rs.SpacesLeft = 4;
  SettleCornering(ctx);
  EXPECT_EQ(std::tuple(rs.CarNewSpeed[kCar], rs.SpacesLeft, rs.SpeedOverBy), std::tuple(80, 4.0, 20));
  ExpectDraws(0);

  // The search ignores the flag and prices the table.
  rs.AITrialMove = true;
  Script({kRiskFails});
  SettleCornering(ctx);
  EXPECT_EQ(rs.CarWears[kCar], 4);
}

TEST_F(ConsequencesTest, PitEntrySharesTheRowsButCrashesAsCorneringAndAddsNothingToTheCurve) {
  Human();
  rs.SpeedOverBy = 80;
  Answer("1");
  Answer("1");
  SettlePitEntry(ctx);
  EXPECT_EQ(rs.ResultContext, "Pit Entry");
  EXPECT_EQ(log.events, (std::vector<Highlighted>{{kLogCrash, kCar, "Cornering"}}));
  EXPECT_EQ(rs.CarStatus[kCar], kOutOfRace);
  EXPECT_EQ(rs.CornerPaidTotal, 0);
  EXPECT_EQ(Shown("CHOOSE").at(0),
            "CHOOSE frmPitEntry [Excess Speed =  80; Entry Speed =  100; , Current Speed =  120; "
            "Wears Remaining 5 of 12 Wears] (Crash - Out of Race) -> 1");
}

TEST_F(ConsequencesTest, PitEntryAIRiskDecidesAsInACurve) {
  rs.SpeedOverBy = 20;
  Script(Cat({{kRiskPasses}, ChanceSafe()}));
  SettlePitEntry(ctx);
  EXPECT_EQ(log.events, (std::vector<Highlighted>{{kLogChanceSuccess, kCar, "Pit Entry"}}));
  ExpectDraws(5);
}

// ---------------------------------------------------------------------------------------------
// Deceleration

class DecelerationTable : public ChoiceTable {};

TEST_P(DecelerationTable, SettlesTheOverBrakingAsItsRowSays) {
  SettleRow(rs.DecelOverBy, SettleDeceleration, "Deceleration");
  EXPECT_EQ(rs.DecelOverBy, 0);
}

// Test Brakes results with modifier 0 on the usual table.
std::vector<double> BrakesHold() { return PlainThen(2, 2); }  // 4
std::vector<double> BrakesFail() { return PlainThen(6, 5); }  // 11

INSTANTIATE_TEST_SUITE_P(
    EveryRow, DecelerationTable,
    ::testing::Values(
        ChoiceCase{"Human20UsesAWear", 20, "1", {}, 5, 4, kRunning, {}},
        ChoiceCase{"Human20TestsBrakes", 20, "2", BrakesHold(), 5, 5, kRunning, {kLogBrakeTested}},
        ChoiceCase{"AI20RiskFailsPaysAWear", 20, nullptr, {kRiskFails}, 5, 4, kRunning, {}},
        // Where the human tests the brakes, the AI that takes the risk rolls Chance.
        ChoiceCase{"AI20RiskPassesRollsChance", 20, nullptr, Cat({{kRiskPasses}, ChanceSafe()}), 5, 5, kRunning,
                   {kLogChanceSuccess}},
        ChoiceCase{"Human40UsesTwoWears", 40, "1", {}, 5, 3, kRunning, {}},
        ChoiceCase{"Human40OneWearAndBrakesFail", 40, "2", BrakesFail(), 5, 3, kRunning, {kLogBrakeDamage}},
        ChoiceCase{"AI40RiskFailsPaysTwo", 40, nullptr, {kRiskFails}, 5, 3, kRunning, {}},
        ChoiceCase{"AI40RiskPassesOneWearAndChance", 40, nullptr, Cat({{kRiskPasses}, ChanceSpin(), {Face(3)}}), 5,
                   4, kSpinning, {kLogSpin, kLogSpinDamage}},
        ChoiceCase{"Human60TwoWearsAndTest", 60, "1", BrakesHold(), 5, 3, kRunning, {kLogBrakeTested}},
        ChoiceCase{"AI60TwoWearsAndTestWithoutRisk", 60, nullptr, BrakesHold(), 5, 3, kRunning, {kLogBrakeTested}},
        ChoiceCase{"AI80ThreeWearsAndTest", 80, nullptr, BrakesHold(), 5, 2, kRunning, {kLogBrakeTested}},
        ChoiceCase{"Human80ThreeWearsAndTest", 80, "1", BrakesFail(), 5, 1, kRunning, {kLogBrakeDamage}},
        ChoiceCase{"Over80MatchesNothing", 100, nullptr, {}, 5, 5, kRunning, {}},
        // One wear at 80: two short, two Chance rolls at once, then the brake test.
        ChoiceCase{"ShortfallRollsComeBeforeTheBrakeTest", 80, nullptr, Cat({ChanceSafe(), ChanceSafe(), BrakesHold()}),
                   1, 0, kRunning, {kLogChanceSuccess, kLogChanceSuccess, kLogBrakeTested}}));

TEST_F(ConsequencesTest, BrakeTestLogsItsRollAndFailedBrakesCostARatingAndAWear) {
  Script(BrakesHold());
  rs.CarDRM[kCar] = 1;
  RollTestBrakes(ctx);
  EXPECT_EQ(log.events, (std::vector<Highlighted>{{kLogBrakeTested, kCar, "5"}}));
  EXPECT_EQ(std::tuple(rs.Die2, rs.TableResult, rs.CarWears[kCar]), std::tuple(4, 5, 5));
  log.events.clear();

  // A failed test with no wear left: the rating goes, and the missing wear is a Chance roll.
  rs.CarWears[kCar] = 0;
  Script(Cat({BrakesFail(), ChanceSafe()}));
  RollTestBrakes(ctx);
  EXPECT_EQ(Ratings(), std::tuple(40, 20, 200));
  EXPECT_TRUE(rs.CarBrakesDamaged[kCar]);
  EXPECT_EQ(log.Kinds(), (std::vector<int>{kLogBrakeDamage, kLogChanceSuccess}));
  ExpectDraws(12);

  // Brakes down to nothing put the car out; the wear and its roll no longer apply.
  Script(BrakesFail());
  RollTestBrakes(ctx);
  EXPECT_EQ(std::tuple(rs.CarStatus[kCar], rs.CarsOut, rs.track.CellOccupant[20][1]), std::tuple(kOutOfRace, 1, 0));
  EXPECT_EQ(rng.ScriptLeft(), 0u);
}

// ---------------------------------------------------------------------------------------------
// Acceleration, top speed and start speed

TEST_F(ConsequencesTest, AccelerationTableSafeLogsEachExcessAndClearsThem) {
  Human();
  rs.AccelOverBy = 20;
  rs.TopSpeedOverBy = 20;
  Script(PlainThen(4, 5));
  SettleAcceleration(ctx);
  EXPECT_EQ(log.Kinds(), (std::vector<int>{kLogAccelExceeded, kLogTopSpeedExceeded}));
  EXPECT_EQ(std::tuple(rs.AccelOverBy, rs.TopSpeedOverBy), std::tuple(0, 0));
  EXPECT_EQ(Shown("ROLL"), (std::vector<std::string>{"ROLL frmAccelerationTable [Die Roll Modifier 0] dice 9, "
                                                     "result 9 -> Top Speed Safely Exceeded (green)"}));
  ExpectDraws(4);
}

TEST_F(ConsequencesTest, EngineDamageCostsTwentyNowAndTheRatingForGood) {
  rs.AccelOverBy = 60;
  SetMotion(160, 160, 8);
  Script(PlainThen(5, 6));
  SettleAcceleration(ctx);
  EXPECT_EQ(Ratings(), std::tuple(20, 40, 200));
  EXPECT_TRUE(rs.CarEngineDamaged[kCar]);
  EXPECT_EQ(Motion(), std::tuple(140, 140, 100, 7.0));
  EXPECT_EQ(log.Kinds(), (std::vector<int>{kLogEngineAccelDamage}));
  ExpectDraws(4);
}

TEST_F(ConsequencesTest, TopSpeedDamageBelow121PutsTheCarOut) {
  Human();
  rs.CarTopSpeed[kCar] = 140;
  rs.TopSpeedOverBy = 20;
  Script(PlainThen(6, 6));
  Answer("2");  // End Race on the crash panel
  SettleAcceleration(ctx);
  EXPECT_EQ(std::tuple(rs.CarTopSpeed[kCar], rs.CarStatus[kCar], rs.RaceEndedByUser),
            std::tuple(120, kOutOfRace, true));
  EXPECT_EQ(log.Kinds(), (std::vector<int>{kLogEngineTopDamage, kLogCrash}));
  EXPECT_EQ(Shown("CRASH"), (std::vector<std::string>{"CRASH Driver 3 has crashed. (Continue | End Race) -> End Race"}));
  EXPECT_EQ(Shown("ROLL").at(0), "ROLL frmAccelerationTable [Die Roll Modifier 0] dice 12, result 12 -> Engine Damage (red)");
}

TEST_F(ConsequencesTest, HumanStartTableShowsItsRowsAndAGridStallEndsInTheCrashPanel) {
  Human();
  rs.CarSpeed[kCar] = 0;
  rs.CarDRM[kCar] = 1;
  rs.Tables.SS1 = {2, 1, 1};  // success disabled, as the editor stores it: every roll stalls
  rs.Tables.SS2 = {0, 2, 12};
  Answer("1");
  Script(TwoDice(1, 1));
  SettleStartSpeed(ctx);
  const RollPanel panel = TableRollPanel(rs, TableId::StartSpeed);
  EXPECT_TRUE(panel.Rows[0].Hidden);
  EXPECT_EQ(panel.Rows[1].Text, "Engine Stall - 0 MPH");
  EXPECT_EQ(Shown("ROLL"), (std::vector<std::string>{"ROLL frmStartTable [Die Roll Modifier +1] dice 2, result 3 -> "
                                                     "Engine Stalled (red)"}));
  EXPECT_EQ(Shown("CRASH").size(), 1u);
  EXPECT_EQ(log.events, (std::vector<Highlighted>{{kLogOutStalled, kCar, " "}}));
  EXPECT_EQ(std::tuple(rs.ResultContext, rs.CarOutOfRace[kCar]), std::tuple("Start Speed", true));
  ExpectDraws(2);
}

// ---------------------------------------------------------------------------------------------
// Collision avoidance

class CollisionAvoidanceTable : public ChoiceTable {};

TEST_P(CollisionAvoidanceTable, SettlesTheShedSpeedAsItsRowSays) {
  SettleRow(rs.DecelOverBy, SettleCollisionAvoidance, "Collision Avoidance");
}

INSTANTIATE_TEST_SUITE_P(
    EveryRow, CollisionAvoidanceTable,
    ::testing::Values(
        ChoiceCase{"Human20UsesAWear", 20, "1", {}, 5, 4, kRunning, {}},
        ChoiceCase{"Human20RollsCollision", 20, "2", PlainThen(1, 2), 5, 5, kRunning, {kLogSpeedReduced}},
        ChoiceCase{"AI20RiskFailsPaysAWear", 20, nullptr, {kRiskFails}, 5, 4, kRunning, {}},
        // The AI that takes the risk rolls Chance, not the Collision table.
        ChoiceCase{"AI20RiskPassesRollsChance", 20, nullptr, Cat({{kRiskPasses}, ChanceSafe()}), 5, 5, kRunning,
                   {kLogChanceSuccess}},
        ChoiceCase{"Human40OneWearAndCollisionSpins", 40, "1", Cat({PlainThen(4, 4), {Face(4)}}), 5, 4, kSpinning,
                   {kLogSpin, kLogEngineAccelDamage}},
        ChoiceCase{"AI40OneWearAndCollisionCrashes", 40, nullptr, PlainThen(6, 4), 5, 4, kOutOfRace, {kLogCrash}},
        ChoiceCase{"Human60Crashes", 60, "1", {}, 5, 5, kOutOfRace, {kLogCrash}},
        ChoiceCase{"Under20MatchesNothing", 10, nullptr, {}, 5, 5, kRunning, {}}));

TEST_F(ConsequencesTest, ABlockedCarShedsItsSpacesAsSpeed) {
  SetMotion(120, 100, 1);
  Script({kRiskFails});
  CollisionAvoidance(ctx);
  EXPECT_EQ(std::tuple(rs.CarNewSpeed[kCar], rs.CarSpeed[kCar], rs.SpacesLeft, rs.CarWears[kCar]),
            std::tuple(80, 80, 0.0, 4));

  // Three spaces to shed is a crash, named for the rule.
  rs.CarNewSpeed[kCar] = 120;
  rs.SpacesLeft = 3;
  CollisionAvoidance(ctx);
  EXPECT_EQ(log.events, (std::vector<Highlighted>{{kLogCrash, kCar, "Collision Avoidance"}}));
  EXPECT_EQ(std::tuple(rs.CarNewSpeed[kCar], rs.SpacesLeft), std::tuple(60, 0.0));
  ExpectDraws(1);
}

TEST_F(ConsequencesTest, UnderABlueFlagABlockedCarOnlyLosesItsSpaces) {
  rs.BlueFlagInForce = true;
  SetMotion(120, 100, 2);
  rs.CarDraftTarget[kCar] = 2;
  CollisionAvoidance(ctx);
  EXPECT_EQ(Motion(), std::tuple(60, 60, 60, 0.0));
  EXPECT_EQ(std::tuple(rs.CarDraftTarget[kCar], rs.CarWears[kCar]), std::tuple(0, 5));
  rs.SpacesLeft = 9;
  CollisionAvoidance(ctx);
  EXPECT_EQ(rs.CarNewSpeed[kCar], 0);
  ExpectDraws(0);
}

// ---------------------------------------------------------------------------------------------
// Chance, Collision and Spin Damage

TEST_F(ConsequencesTest, SpinDamageRowsEachDamageTheirRating) {
  struct Row {
    int Die;
    std::vector<int> Kinds;
    std::tuple<int, int, int> Ratings;
  };
  for (const Row& row : {Row{3, {kLogSpinDamage}, {40, 40, 200}}, Row{4, {kLogEngineAccelDamage}, {20, 40, 200}},
                         Row{5, {kLogBrakeDamage}, {40, 20, 200}}, Row{6, {kLogEngineTopDamage}, {40, 40, 180}}}) {
    SCOPED_TRACE(row.Die);
    rs.CarAcceleration[kCar] = rs.CarDeceleration[kCar] = 40;
    rs.CarTopSpeed[kCar] = 200;
    log.events.clear();
    Script({Face(row.Die)});
    RollSpinDamage(ctx);
    EXPECT_EQ(rs.Die1, row.Die);
    EXPECT_EQ(log.Kinds(), row.Kinds);
    EXPECT_EQ(Ratings(), row.Ratings);
  }
  ExpectDraws(4);
}

TEST_F(ConsequencesTest, SpinDamageAddsTheSpeedModifierAndClampsAtSix) {
  // 3 + 2 (car) + 2 (speed 200) = 7, clamped to 6: top speed damage.
  rs.CarSpeed[kCar] = 200;
  rs.CarDRM[kCar] = 2;
  Human();
  Script({Face(3)});
  RollSpinDamage(ctx);
  EXPECT_EQ(std::tuple(rs.TableResult, rs.CarTopSpeed[kCar]), std::tuple(6, 180));
  EXPECT_EQ(Shown("ROLL"), (std::vector<std::string>{"ROLL frmSpinDamageTable [Car Die Roll Modifier +2; Speed Die Roll "
                                                     "Modifier +2] dice 3, result 6 ->  Spin - Engine Damage - Top "
                                                     "Speed (red)"}));
  // A one-die table draws once per die: two dice on a hand-made table draw twice.
  rs.Tables.SD1.DiceCount = 2;
  Script(TwoDice(1, 1));
  RollSpinDamage(ctx);
  ExpectDraws(3);
}

TEST_F(ConsequencesTest, ChanceRollDrawsFourAndSpinsIntoSpinDamage) {
  rs.CarSpeed[kCar] = 80;                  // speed modifier -1
  Script(Cat({ChanceSpin(), {Face(5)}}));  // spin damage 5 - 1 = 4: engine
  rs.ResultContext = "Cornering";
  RollChance(ctx);
  EXPECT_EQ(rs.CarStatus[kCar], kSpinning);
  EXPECT_EQ(std::tuple(rs.WorkSpeed, rs.CarSpeed[kCar], rs.SpacesLeft), std::tuple(0, 60, 0.0));
  EXPECT_EQ(Ratings(), std::tuple(20, 40, 200));
  EXPECT_EQ(log.events, (std::vector<Highlighted>{{kLogSpin, kCar, "Chance Table"}, {kLogEngineAccelDamage, kCar, " "}}));
  ExpectDraws(5);
}

TEST_F(ConsequencesTest, HumanSeesEachRollAndTheCrashPanel) {
  Human();
  Script(Cat({ChanceSafe(), ChanceCrash(), ChanceSafe()}));
  Answer("1");
  int count = 3;
  ChanceRolls(ctx, count);
  EXPECT_EQ(count, 0);
  // The crash ends the series: the third roll is never made.
  EXPECT_EQ(Shown("ROLL"), (std::vector<std::string>{
                               "ROLL frmChanceTable [Die Roll Modifier 0] dice 2, result 2 -> Safely Driven (green)",
                               "ROLL frmChanceTable [Die Roll Modifier 0] dice 10, result 10 -> Crash - Out of Race (red)"}));
  EXPECT_EQ(Shown("CRASH").size(), 1u);
  EXPECT_FALSE(rs.RaceEndedByUser);
  EXPECT_EQ(rng.ScriptLeft(), 4u);
  EXPECT_TRUE(CheckRaceState(rs).empty());
}

TEST_F(ConsequencesTest, CollisionTableSpinsAndCrashesNamedForTheTable) {
  Script(Cat({PlainThen(3, 5), {Face(1)}, PlainThen(6, 6)}));
  RollCollision(ctx);
  RollCollision(ctx);
  EXPECT_EQ(log.events, (std::vector<Highlighted>{{kLogSpin, kCar, "Collision Table"},
                                                  {kLogSpinDamage, kCar, " "},
                                                  {kLogCrash, kCar, "Collision Table"}}));
  ExpectDraws(9);
}

TEST_F(ConsequencesTest, TestBrakesIsOneRollWhateverTheCountAndNoneForACarThatIsOut) {
  int count = 3;
  Script(BrakesHold());
  TestBrakes(ctx, count);
  EXPECT_EQ(count, 0);
  rs.CarOutOfRace[kCar] = true;
  count = 1;
  TestBrakes(ctx, count);
  int owed = 2;
  ChanceRolls(ctx, owed);
  EXPECT_EQ(owed, 0);
  ExpectDraws(4);
}

// ---------------------------------------------------------------------------------------------
// ApplyResult, live and as the AI's search sees it

struct OutcomeCase {
  const char* Name;
  int Lap;
  bool Out, Search, Trial;
  std::vector<double> Draws;
  void (*Act)(RuleContext&);  // acts on car 3
  int Wears, Status, Shortfall, LapWears;
  std::vector<int> Kinds;
};

TEST_F(ConsequencesTest, OutcomesChangeTheCarOrOnlyCountWears) {
  constexpr int car = kCar;
  const std::vector<OutcomeCase> cases = {
      {"a finished car is left alone", 11, false, false, false, {},
       [](RuleContext& c) { ApplyResult(c, car, {.Wears = 2, .Spin = true}); }, 5, kRunning, 0, 0, {}},
      {"a car that is out is left alone", 2, true, false, false, {},
       [](RuleContext& c) { ApplyResult(c, car, {.Crash = true}); }, 5, kRunning, 0, 0, {}},
      {"wears run out into a shortfall", 4, false, false, false, {},
       [](RuleContext& c) { for (int i = 0; i < 2; ++i) ApplyResult(c, car, {.Wears = 3}); }, 0, kRunning, 1, 5, {}},
      {"an outcome without wears owes none", 4, false, false, false, {},
       [](RuleContext& c) { for (int w : {3, 3, 0}) ApplyResult(c, car, {.Wears = w}); }, 0, kRunning, 0, 5, {}},
      // Damage to a car standing still stops at 0 MPH; a rating of 0 puts the car out.
      {"a zero rating is out", 2, false, false, false, {},
       [](RuleContext& c) {
         c.rs.CarSpeed[car] = 0;
         c.rs.CarAcceleration[car] = 20;
         c.rs.WorkSpeed = c.rs.CarNewSpeed[car] = 20;
         c.rs.SpacesLeft = 0.5;
         ApplyResult(c, car, {.EngineAccel = true});
         EXPECT_EQ(std::tuple(c.rs.WorkSpeed, c.rs.CarSpeed[car], c.rs.SpacesLeft), std::tuple(0, 0, 0.0));
         EXPECT_TRUE(CheckRaceState(c.rs).empty());
       },
       5, kOutOfRace, 0, 0, {kLogEngineAccelDamage, kLogCrash}},
      {"the search sees every outcome as wears", 2, false, true, false, {},
       [](RuleContext& c) {
         ApplyResult(c, car, {.Spin = true});
         ApplyResult(c, car, {.Wears = 3});
         ApplyResult(c, car, {.BrakeDamage = true, .Stall = true});
       },
       -3, kRunning, 0, 0, {}},
      // A trial move draws as a live one; the Chance crash costs one wear, the Collision crash
      // five, the spin damage five.
      {"trial rolls draw as live ones", 2, false, false, true, Cat({ChanceCrash(), PlainThen(6, 6), {Face(6)}}),
       [](RuleContext& c) {
         RollChance(c);
         RollCollision(c);
         RollSpinDamage(c);
       },
       -6, kRunning, 0, 0, {}},
      // Cornering at 40 with the risk taken: a trial Chance roll (one wear), then one wear.
      {"a trial corner", 2, false, false, true, Cat({{kRiskPasses}, ChanceCrash()}),
       [](RuleContext& c) {
         c.rs.SpeedOverBy = 40;
         SettleCornering(c);
       },
       3, kRunning, 0, 0, {}},
      // The search's commit clears the trial but not the search: the table is looked up, its spin
      // costs five wears, and spin damage is rolled but changes nothing.
      {"the search's commit rolls in full and pays cheaply", 2, false, true, false, Cat({ChanceSpin(), {Face(6)}}),
       [](RuleContext& c) { RollChance(c); }, 0, kRunning, 0, 0, {}},
  };
  for (const OutcomeCase& c : cases) {
    SCOPED_TRACE(c.Name);
    Reset();
    rs.CarLap[kCar] = c.Lap;
    rs.CarOutOfRace[kCar] = c.Out;
    rs.AISpeedSearch = c.Search;
    rs.AITrialMove = c.Trial;
    Script(c.Draws);
    c.Act(ctx);
    EXPECT_EQ(std::tuple(rs.CarWears[kCar], rs.CarStatus[kCar], rs.WearShortfall, rs.LapWearsUsed[c.Lap][kCar]),
              std::tuple(c.Wears, c.Status, c.Shortfall, c.LapWears));
    EXPECT_EQ(rs.CarsOut, c.Status == kOutOfRace ? 1 : 0);
    EXPECT_EQ(log.Kinds(), c.Kinds);
    ExpectDraws(c.Draws.size());
  }
  EXPECT_TRUE(console.Transcript().empty());
}

}  // namespace
}  // namespace vm
