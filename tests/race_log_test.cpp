#include "core/race_log.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "core/race_state.h"

namespace vm {
namespace {

class RaceLogTest : public ::testing::Test {
 protected:
  RaceLogTest() {
    rs.DriverName[4] = "Ann Arbor";
    rs.DriverName[7] = "Bo Lind";
    rs.CarLap[4] = 3;
    rs.CarRaceClock[4] = 17.6;  // the move is the whole part
    rs.CarLap[7] = 0;
    rs.CarRaceClock[7] = 2;
  }
  std::unique_ptr<RaceState> state = std::make_unique<RaceState>();
  RaceState& rs = *state;
  HighlightList log{rs};
};

TEST_F(RaceLogTest, EveryKindWritesItsLine) {
  const struct {
    int Kind, Car, Other;
    const char* Text;
    const char* Line;
  } cases[] = {
      {kLogLeadChange, 4, 7, " ", "(Lap 3/Move 17) Lead Change - Ann Arbor passes Bo Lind"},
      {kLogStall, 4, 0, " ", "(Lap 3/Move 17) Stall - Ann Arbor"},
      {kLogStall, 7, 0, " ", "(Start/Move 2) Stall - Bo Lind"},
      {kLogSpin, 4, 0, "Chance Table", "(Lap 3/Move 17) Spin -  Ann Arbor, Chance Table"},
      {kLogBrakeDamage, 4, 0, " ", "(Lap 3/Move 17) Car Damage -  Ann Arbor, Brakes: Deceleration reduced by 20 MPH"},
      {kLogEngineAccelDamage, 4, 0, " ",
       "(Lap 3/Move 17) Car Damage -  Ann Arbor, Engine: Acceleration reduced by 20 MPH"},
      {kLogEngineTopDamage, 4, 0, " ", "(Lap 3/Move 17) Car Damage -  Ann Arbor, Engine: Top Speed reduced by 20 MPH"},
      {kLogCrash, 4, 0, "Cornering", "(Lap 3/Move 17) Crash -  Ann Arbor, Cornering"},
      {kLogChanceSuccess, 4, 0, "Deceleration", "(Lap 3/Move 17) Successful Chance Roll, Ann Arbor - Deceleration"},
      {kLogSpeedReduced, 4, 0, " ", "(Lap 3/Move 17) Speed Reduced - Ann Arbor"},
      // The speed pass's rolls show the move to come.
      {kLogBrakeTested, 4, 0, "7", "(Lap 3/Move 18) Brake Tested - Ann Arbor"},
      {kLogAccelExceeded, 4, 0, " ", "(Lap 3/Move 18) Acceleration Exceeded - Ann Arbor"},
      {kLogTopSpeedExceeded, 4, 0, " ", "(Lap 3/Move 18) Top Speed Exceeded - Ann Arbor"},
      {kLogStartSpeedExceeded, 7, 0, " ", "(Start/Move 2) Start Speed Exceeded - Bo Lind"},
      {kLogFastLap, 4, 0, "131.45 MPH", "(Lap 2/Move 17) Fast Lap - Ann Arbor, 131.45 MPH"},
      {kLogOutStalled, 7, 0, " ", "(Lap 0/Move 2) Out Of Race, Stalled - Bo Lind"},
      {kLogEnterPit, 4, 0, "Change Tires Only", "(Lap 3/Move 17) Enter Pit - Ann Arbor, Change Tires Only"},
      {kLogBlueFlag, 4, 0, "2", "(Lap 3/Move 17) Blue Flag - Ann Arbor, 2 spaces lost"},
      {kLogPreRaceWeather, 0, 0, "Raining (3), Track - Wet", "(Pre-Race) Weather - Raining (3), Track - Wet"},
      {kLogWeather, 4, 0, "Steady (6), Track - Dry", "(Lap 3/Move 17) Weather - Steady (6), Track - Dry"},
  };
  std::vector<std::string> expected;
  for (const auto& c : cases) {
    rs.HighlightText = "pending";
    log.LogHighlight(c.Kind, c.Car, c.Other, c.Text);
    expected.push_back(c.Line);
    EXPECT_EQ(rs.HighlightText, " ") << c.Line;
  }
  EXPECT_EQ(rs.Highlights, expected);
}

TEST_F(RaceLogTest, SomeKindsAndSomeMomentsWriteNothing) {
  std::vector<std::string> shown;
  log.OnLine = [&](const std::string& line) { shown.push_back(line); };
  for (int kind : {0, static_cast<int>(kLogSpinDamage), 21, -3}) log.LogHighlight(kind, 4, 0, " ");
  // A replay, the AI's trial moves and search, and a silenced log write nothing either.
  for (bool* quiet : {&rs.ReplayRunning, &rs.AITrialMove, &rs.AISpeedSearch, &log.Silenced}) {
    *quiet = true;
    log.LogHighlight(kLogCrash, 4, 0, "Cornering");
    *quiet = false;
  }
  EXPECT_TRUE(rs.Highlights.empty());
  log.LogHighlight(kLogStall, 4, 0, " ");
  EXPECT_EQ(shown, (std::vector<std::string>{"(Lap 3/Move 17) Stall - Ann Arbor"}));
  ResetRaceState(rs);
  EXPECT_TRUE(rs.Highlights.empty());
}

}  // namespace
}  // namespace vm
