// The controller's race: commands reach the engine, the windows hear of every car's move, and a
// command that comes while the cars move is kept and carried out afterwards, never inside another.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QObject>
#include <vector>

#include "core/track_file.h"
#include "core/units.h"
#include "tests/app/app_fixture.h"

namespace vm {
namespace {

class RaceControllerTest : public testing_support::AppFixture {
 protected:
  void SetUp() override {
    SetUpSmallRace(true);
    controller.SetMoveDelayOverride(1);  // a yield after every car
  }

  // The slowest speed above standing still on the person's panel.
  int SlowestSpeed() {
    for (const SpeedButton& b : controller.Engine().SpeedPanel().Buttons)
      if (b.Enabled && b.Seen && b.Speed > 0) return b.Speed / 20;
    return 0;
  }
};

TEST_F(RaceControllerTest, InputWhileCarsMoveWaitsForThemAndIsNotLost) {
  int moves = 0;
  QObject::connect(&controller, &GameController::raceChanged, &controller, [&] { ++moves; });
  controller.Run(Cmd::mnuRaceStartRace);
  ASSERT_EQ(controller.Engine().WaitingFor(), Waiting::Speed);
  EXPECT_FALSE(controller.Busy());

  // The person's speed sends the cars on; while they move, another command comes in.
  int pressedWhileBusy = 0;
  Waiting seenInside = Waiting::Nothing;
  const auto inside = QObject::connect(&controller, &GameController::raceChanged, &controller, [&] {
    if (!controller.Busy() || pressedWhileBusy > 0) return;
    ++pressedWhileBusy;
    seenInside = controller.Engine().WaitingFor();
    controller.Steer(SteeringCommand::cmdStraight);
    // Kept, not run: the engine is where it was.
    EXPECT_EQ(controller.Engine().WaitingFor(), seenInside);
  });
  const int before = moves;
  const int startSpace = controller.Race().CarSpace[1];
  controller.NewSpeed(SlowestSpeed());
  QObject::disconnect(inside);
  EXPECT_EQ(pressedWhileBusy, 1);
  EXPECT_GT(moves - before, 2);  // the windows heard of the AI cars' moves one by one
  EXPECT_FALSE(controller.Busy());
  // The kept press was carried out once the engine was back: the person's car has moved on.
  EXPECT_NE(controller.Race().CarSpace[1], startSpace) << controller.Engine().WaitDescription();
}

TEST_F(RaceControllerTest, APersonDrivesARaceToTheFlagThroughTheController) {
  controller.SetMoveDelayOverride(0);
  controller.Run(Cmd::mnuRaceStartRace);
  for (int guard = 0; guard < 3000 && controller.Engine().WaitingFor() != Waiting::RaceOver; ++guard) {
    switch (controller.Engine().WaitingFor()) {
      case Waiting::Speed: controller.NewSpeed(SlowestSpeed()); break;
      case Waiting::Steering: {
        const SteeringPanel& p = controller.Engine().SteeringPanelShown();
        controller.Steer(p.Straight.Visible && p.Straight.Enabled ? SteeringCommand::cmdStraight
                         : p.Left.Visible && p.Left.Enabled       ? SteeringCommand::cmdLeft
                         : p.Right.Visible && p.Right.Enabled     ? SteeringCommand::cmdRight
                                                                  : SteeringCommand::cmdEndEarly);
        break;
      }
      case Waiting::PitContinue: controller.PitContinue(); break;
      default: controller.NextTurn(); break;
    }
  }
  EXPECT_EQ(controller.Engine().WaitingFor(), Waiting::RaceOver);
  EXPECT_GT(controller.Race().FinishOrderCount, 0);
}

// The race menu follows the engine: Save and Undo at the start of a turn once one has ended, and
// neither once the person has chosen a speed.
TEST_F(RaceControllerTest, SaveAndUndoFollowTheTurn) {
  controller.SetMoveDelayOverride(0);
  controller.Run(Cmd::mnuRaceStartRace);
  const GameSession& g = controller.Session();
  EXPECT_TRUE(g[Cmd::mnuRaceSave].Enabled);
  EXPECT_FALSE(g[Cmd::mnuRaceUndo].Enabled);  // nothing to take back yet
  // Two turns, so that there is a turn before the last to go back to.
  for (int turn = 1; turn <= 2; ++turn) {
    controller.NewSpeed(SlowestSpeed());
    if (controller.Engine().WaitingFor() == Waiting::Steering) {
      EXPECT_FALSE(g[Cmd::mnuRaceSave].Enabled);
      EXPECT_FALSE(g[Cmd::mnuRaceUndo].Enabled);
    }
    for (int guard = 0; guard < 50 && controller.Engine().WaitingFor() == Waiting::Steering; ++guard)
      controller.Steer(SteeringCommand::cmdEndEarly);
    ASSERT_EQ(controller.Engine().WaitingFor(), Waiting::Speed);
    EXPECT_TRUE(g[Cmd::mnuRaceSave].Enabled);
    EXPECT_TRUE(g[Cmd::mnuRaceUndo].Enabled);
  }
  controller.Run(Cmd::mnuRaceUndo);
  EXPECT_TRUE(controller.Race().TurnWasUndone);
  EXPECT_FALSE(g[Cmd::mnuRaceUndo].Enabled);  // one level
}

// The race's qualifying runs in the window too: ranked by start speed, the grid is shown before
// the first panel; on single laps the list comes up once the start has returned, and each lap is
// one car's race through the same controller.
TEST_F(RaceControllerTest, QualifyingFormsTheGridBeforeTheRace) {
  controller.SetMoveDelayOverride(0);
  RaceState& rs = controller.Race();
  rs.QualifyingMethod = "Start Speed";
  controller.Run(Cmd::mnuRaceStartRace);
  bool listed = false;
  for (const std::string& line : console.Transcript())
    listed = listed || line.rfind("LIST frmQualifyingStartSpeed", 0) == 0;
  EXPECT_TRUE(listed);
  ASSERT_TRUE(rs.RaceRunning);
  for (int pos = 1; pos <= rs.CarCount; ++pos) EXPECT_EQ(rs.RunningOrder[pos], rs.LapOrder[0][pos]) << pos;
  console.AddAnswer("yes");  // red flag
  controller.Run(Cmd::mnuRaceEndRace);
  ASSERT_FALSE(rs.RaceRunning);

  // Single laps: the start waits for the list, shown by the pending steps.
  for (int car = 1; car <= 4; ++car) rs.CarIsAI[car] = true;
  rs.QualifyingMethod = "Single Lap";
  controller.Session()[Cmd::mnuRaceStartRace].Enabled = true;
  // Each car's lap, then the race: the list's first button begins the next lap, "Start Race" the race.
  for (int lap = 0; lap < 4; ++lap) console.AddAnswer("1");
  console.AddAnswer("1");
  controller.Run(Cmd::mnuRaceStartRace);
  EXPECT_FALSE(rs.RaceRunning);
  EXPECT_TRUE(rs.QualifyingListPending);
  for (int guard = 0; guard < 2000 && !(rs.RaceRunning && !rs.QualifyingLapRunning); ++guard) {
    // A lap of computer cars waits on the race controls like any race of theirs.
    if (rs.QualifyingLapRunning && controller.Engine().WaitingFor() == Waiting::RaceControl) controller.NextTurn();
    QCoreApplication::processEvents();
  }
  ASSERT_TRUE(rs.RaceRunning);
  int laps = 0;
  for (const std::string& line : console.Transcript()) laps += line.rfind("LIST frmQualifyingSingleLap", 0) == 0;
  EXPECT_GE(laps, 4);
  for (int car = 1; car <= 4; ++car) EXPECT_GT(rs.QualifySpeed[car], 0) << car;
}

}  // namespace
}  // namespace vm
