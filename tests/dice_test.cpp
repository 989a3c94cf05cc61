#include "rules/dice.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "rules/consequences.h"
#include "rules/panels.h"
#include "rules/risk.h"
#include "tests/rules_fixture.h"

namespace vm {
namespace {

using testing_support::Cat;
using testing_support::Face;
using testing_support::PlainThen;
using testing_support::TwoDice;

class DiceTest : public testing_support::RulesTest {};

TEST_F(DiceTest, ComputerDiceSumOnlyForOneToThreeDice) {
  TableRow row{3, 0, 0};
  int result = -1;
  Script({Face(1), Face(6), Face(4)});
  RollDice(ctx, row, result, false);
  EXPECT_EQ(result, 11);
  for (int count : {0, 4, -1}) {
    row.DiceCount = count;
    result = 99;
    RollDice(ctx, row, result, false);
    EXPECT_EQ(result, 99);
  }
  ExpectDraws(3);
}

TEST_F(DiceTest, ManualDiceAreTypedByHumansAndForWeatherWhoeverDrives) {
  // Who types: [AllowManualDice][human car][forced manual]
  struct Case {
    bool Allow, HumanCar, Forced, Manual;
  };
  for (const Case& c : {Case{false, true, true, false}, Case{true, false, false, false}, Case{true, true, false, true},
                        Case{true, false, true, true}, Case{true, true, true, true}}) {
    SCOPED_TRACE(testing::Message() << c.Allow << c.HumanCar << c.Forced);
    rs.AllowManualDice = c.Allow;
    rs.CarIsAI[kCar] = !c.HumanCar;
    const std::uint64_t before = rng.Draws();
    const size_t shown = console.Transcript().size();
    if (c.Manual) Answer("8");
    int result = 0;
    RollDice(ctx, rs.Tables.CH1, result, c.Forced);
    EXPECT_EQ(console.Transcript().size(), shown + (c.Manual ? 1 : 0));
    EXPECT_EQ(rng.Draws() - before, c.Manual ? 0u : 2u);
    if (c.Manual) {
      EXPECT_EQ(result, 8);
    }
  }
  EXPECT_EQ(console.Transcript().back(), "DICE Enter Manual Dice Roll (without Die Roll Modifier) 2..12 -> 8");
  // A one-die table offers 1 to 6.
  Answer("1");
  int result = 0;
  RollDice(ctx, rs.Tables.SD1, result, true);
  EXPECT_EQ(result, 1);
  EXPECT_EQ(console.Transcript().back(), "DICE Enter Manual Dice Roll (without Die Roll Modifier) 1..6 -> 1");
}

TEST_F(DiceTest, ManualDiceEnterTheBareDiceAndTheModifierIsAddedAfter) {
  Human();
  rs.AllowManualDice = true;
  rs.CarDRM[kCar] = 2;
  Answer("5");
  Answer("1");            // the spin damage die
  Script(TwoDice(1, 1));  // the two unused draws still happen
  RollChance(ctx);
  EXPECT_EQ(rs.Die2, 5);
  EXPECT_EQ(Shown("ROLL").at(0),
            "ROLL frmChanceTable [Die Roll Modifier +2] dice 5, result 7 -> Spin On Track (red)");
  EXPECT_EQ(log.Kinds(), (std::vector<int>{kLogSpin, kLogSpinDamage}));
  ExpectDraws(2);
}

TEST_F(DiceTest, ClampsModifiersAndLookupDecideTheRow) {
  struct Case {
    const char* Name;
    TableRow CH1, CH2, CH3;
    int DRM;
    int A, B;
    std::vector<int> Kinds;
  };
  const TableRow ch2{0, 7, 9}, ch3{0, 10, 12};
  for (const Case& c : {
           // A disabled success row (1-1) with -2: 2 - 2 = 0, clamped to 2, which is a spin.
           Case{"DisabledSuccessStillSpins", {2, 1, 1}, {0, 2, 9}, ch3, -2, 1, 1, {kLogSpin, kLogSpinDamage}},
           Case{"SameDiceUsualTableIsSafe", {2, 2, 6}, ch2, ch3, -2, 1, 1, {kLogChanceSuccess}},
           // 12 + 2 clamps to 12, which still crashes.
           Case{"TopClampsAt12", {2, 2, 6}, ch2, ch3, 2, 6, 6, {kLogCrash}},
           // Overlapping rows fire both, in order.
           Case{"OverlapFiresEveryRow", {2, 2, 7}, ch2, ch3, 0, 3, 4, {kLogChanceSuccess, kLogSpin, kLogSpinDamage}},
           Case{"GapFiresNothing", {2, 2, 5}, {0, 8, 9}, ch3, 0, 3, 3, {}},
       }) {
    SCOPED_TRACE(c.Name);
    rs.CarStatus[kCar] = kRunning;
    rs.CarOutOfRace[kCar] = false;
    Place(kCar, 20, 1);
    rs.Tables.CH1 = c.CH1;
    rs.Tables.CH2 = c.CH2;
    rs.Tables.CH3 = c.CH3;
    rs.CarDRM[kCar] = c.DRM;
    log.events.clear();
    const bool spins = std::find(c.Kinds.begin(), c.Kinds.end(), kLogSpin) != c.Kinds.end();
    Script(spins ? Cat({PlainThen(c.A, c.B), {Face(1)}}) : PlainThen(c.A, c.B));
    RollChance(ctx);
    EXPECT_EQ(log.Kinds(), c.Kinds);
    EXPECT_EQ(rng.ScriptLeft(), 0u);
  }
}

TEST(SpeedModifierTest, BandsOfTheLastSpeed) {
  const std::pair<int, int> bands[] = {{0, -1}, {80, -1}, {99, -1}, {100, 0}, {139, 0}, {140, 1},
                                       {179, 1}, {180, 2}, {240, 2}};
  for (auto [speed, drm] : bands) EXPECT_EQ(SpeedDRM(speed), drm) << speed;
}

TEST_F(DiceTest, RiskRollDrawsOnceUnlessTheRiskIsZero) {
  struct Case {
    const char* Category;
    int Percent;
    double Rnd;  // below 0: no draw expected
    bool Passes;
  };
  const double none = -1;
  for (const Case& c : {Case{"C", 0, none, false}, Case{"CA", 0, none, false}, Case{"X", 50, none, false},
                        Case{"D", 50, 0.5, true}, Case{"D", 50, 0.51, false}, Case{"SS", 100, 0.999999, true},
                        Case{"A", 1, 0.0, true}, Case{"T", -5, 0.0, false}}) {
    SCOPED_TRACE(testing::Message() << c.Category << " " << c.Percent);
    rs.CarRiskSS[kCar] = rs.CarRiskA[kCar] = rs.CarRiskD[kCar] = c.Percent;
    rs.CarRiskT[kCar] = rs.CarRiskC[kCar] = rs.CarRiskCA[kCar] = c.Percent;
    const std::uint64_t before = rng.Draws();
    if (c.Rnd >= 0) Script({c.Rnd});
    EXPECT_EQ(RiskRoll(rs, rng, kCar, c.Category), c.Passes);
    EXPECT_EQ(rs.RiskPassed, c.Passes);
    EXPECT_EQ(rng.Draws() - before, c.Rnd >= 0 ? 1u : 0u);
  }
  // A careful driver always pays: an AI car with no CA risk pays the wear and draws nothing.
  rs.CarRiskCA[kCar] = 0;
  rs.DecelOverBy = 20;
  const std::uint64_t before = rng.Draws();
  SettleCollisionAvoidance(ctx);
  EXPECT_EQ(rs.CarWears[kCar], 4);
  EXPECT_EQ(rng.Draws(), before);
}

TEST_F(DiceTest, RollPanelsPrintRowsAndHideADisabledSuccessRow) {
  rs.CarDRM[kCar] = -1;
  rs.Tables.CH1 = {2, 1, 1};
  RollPanel chance = TableRollPanel(rs, TableId::Chance);
  EXPECT_EQ(chance.Name, "frmChanceTable");
  ASSERT_EQ(chance.Rows.size(), 3u);
  EXPECT_TRUE(chance.Rows[0].Hidden);
  EXPECT_FALSE(chance.Rows[1].Hidden);
  EXPECT_EQ(chance.Rows[2].Text, "Crash, Out Of Race");
  EXPECT_EQ(chance.Values.at(0).Text, "-1");

  // Spin Damage is disabled at 0 but its panel tests for 1: a disabled SD1 stays in view, a
  // one-value SD1 of 1 - 1 is hidden.
  rs.Tables.SD1 = {1, 0, 0};
  EXPECT_FALSE(TableRollPanel(rs, TableId::SpinDamage).Rows[0].Hidden);
  rs.Tables.SD1 = {1, 1, 1};
  const RollPanel spin = TableRollPanel(rs, TableId::SpinDamage);
  EXPECT_TRUE(spin.Rows[0].Hidden);
  EXPECT_EQ(spin.Notes.front(), "+2    180 or higher");
  EXPECT_EQ(spin.Values.at(1).Label, "Speed Die Roll Modifier");
  EXPECT_EQ(TableRollPanel(rs, TableId::StartSpeed).Caption, "Start Speed Exceeded Table");
}

}  // namespace
}  // namespace vm
