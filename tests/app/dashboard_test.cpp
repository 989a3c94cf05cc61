// The race dashboard drives a real race through the controller: the speed buttons show the engine's
// frame (colour, marker, open or closed), the keys and buttons choose and steer, the race controls
// open only while the engine waits on them, keys typed while the cars move are taken once, in
// order, and a short race runs to the flag from the keyboard alone.
#include "app/race/dashboard.h"

#include <gtest/gtest.h>

#include <QCheckBox>
#include <QCoreApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QListWidget>
#include <QPixmap>
#include <QPushButton>
#include <QRadioButton>
#include <QTableWidget>
#include <string>

#include "app/race/panel_speed.h"
#include "app/race/race_window.h"
#include "cars/car_file.h"
#include "core/track_file.h"
#include "engine/laps.h"
#include "rules/weather.h"
#include "tests/app/app_fixture.h"

namespace vm {
namespace {

using testing_support::Child;

// With VELOMARK_SCREENSHOTS set to a folder, a window is written there as race-NAME.png (the
// whole window at the start, in the middle of the race and at the flag; the panels), for a person
// to look at.
void ShootWindow(QWidget& window, const char* name) {
  const QByteArray folder = qgetenv("VELOMARK_SCREENSHOTS");
  if (folder.isEmpty()) return;
  QCoreApplication::processEvents();
  EXPECT_TRUE(window.grab().save(QString::fromLocal8Bit(folder) + "/race-" + name + ".png")) << name;
}

class DashboardTest : public testing_support::AppFixture {
 protected:
  // A race of `cars` cars of the bundled car file on Kestrel, car 1 a person's unless `allAI`.
  void StartRace(int cars, int laps, bool allAI = false, const char* mode = "Single", bool weather = false) {
    StartUp();
    SetModeMenus(controller.Session(), controller.Race(), mode);
    RaceState& rs = controller.Race();
    rs.GameMode = mode;
    ASSERT_FALSE(LoadCarFile(rs, Data() + "/Default.crs", Data() + "/Cars", SetupPointsRule::Replace));
    ASSERT_FALSE(LoadTrack(rs.track, Data() + "/Tracks/Kestrel.trk"));
    rs.CarCount = cars;
    rs.QualifyingMethod = "none";
    if (std::string(mode) != "Practice") rs.RaceLaps = laps;
    rs.StartWearAllotment = rs.RaceLaps;
    rs.PitLaneOpen = false;
    rs.WeatherEnabled = weather;
    for (int car = 1; car <= cars; ++car) rs.CarIsAI[car] = allAI || car != 1;
    CommandsAfterTrackLoad(controller.Session());
    controller.Session().BackgroundShown = false;  // the mode screen gives way to the race
    controller.SetMoveDelayOverride(0);
    window->resize(1100, 760);
    window->show();
    controller.Run(Cmd::mnuRaceStartRace);
    ASSERT_TRUE(rs.RaceRunning);
  }

  Dashboard& Board() { return window->Race().Board(); }
  QPushButton* Button(const char* name) { return Child<QPushButton>(Board(), name); }
  Waiting Wait() { return controller.Engine().WaitingFor(); }
  void Key(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
    QKeyEvent press(QEvent::KeyPress, key, modifiers);
    QCoreApplication::sendEvent(&Board(), &press);
  }
  // The key that selects speed button i.
  static int SpeedKey(int i) { return i < 10 ? Qt::Key_0 + i : Qt::Key_A + i - 10; }

  // Drives one wait of the engine from the keyboard: the fastest safe speed up to `top`, the
  // straight step when open, else any open step, else the end of the move; the race controls run
  // the race on when no person is on the track.
  void DriveByKeys(int top) {
    const RaceState& rs = controller.Race();
    switch (Wait()) {
      case Waiting::Speed: {
        int pick = -1;
        for (const SpeedButton& b : controller.Engine().SpeedPanel().Buttons)
          if (b.Enabled && b.Seen && b.Colour != kColourRed && b.Speed <= top) pick = b.Speed / 20;
        if (pick < 0) pick = 0;
        Key(SpeedKey(pick));
        ASSERT_EQ(Board().SpeedPanel().Selected(), pick);
        Key(Qt::Key_Return);
        break;
      }
      case Waiting::Steering: {
        const SteeringPanel& p = controller.Engine().SteeringPanelShown();
        auto open = [](const SteeringButton& b) { return b.Visible && b.Enabled; };
        const double before = rs.SpacesLeft;
        const int car = p.Car;
        if (open(p.Straight))
          Key(Qt::Key_Up);
        else if (open(p.Left))
          Key(Qt::Key_Left);
        else if (open(p.Right))
          Key(Qt::Key_Right);
        else if (open(p.InTurnLeft))
          Key(Qt::Key_Left, Qt::ShiftModifier);
        else if (open(p.InTurnRight))
          Key(Qt::Key_Right, Qt::ShiftModifier);
        else
          Key(Qt::Key_E);
        // Each key is one step: the move goes on with one block fewer, or it is over.
        if (Wait() == Waiting::Steering && rs.CurrentCar == car) {
          ASSERT_LT(rs.SpacesLeft, before);
        }
        break;
      }
      case Waiting::PitContinue: Key(Qt::Key_Return); break;
      case Waiting::RaceControl:
      case Waiting::Paused: Key(Qt::Key_F); break;
      default: FAIL() << controller.Engine().WaitDescription();
    }
  }
};

TEST_F(DashboardTest, TheSpeedButtonsShowTheFrameInColourAndInWords) {
  StartRace(3, 1);
  ASSERT_EQ(Wait(), Waiting::Speed);
  const SpeedFrame& frame = controller.Engine().SpeedPanel();
  bool sawRed = false;
  for (int i = 0; i < kSpeedButtons; ++i) {
    SCOPED_TRACE(i);
    const SpeedButton& b = frame.Buttons[static_cast<size_t>(i)];
    QPushButton* button = Button(("cmdSpeed" + std::to_string(i)).c_str());
    EXPECT_EQ(button->isEnabled(), b.Enabled);
    EXPECT_EQ(button->isVisible(), b.Seen);
    const QString key = QStringLiteral("[") + SpeedPanelView::KeyName(i) + QStringLiteral("]");
    EXPECT_TRUE(button->text().contains(QString::number(b.Speed) + (b.Colour == kColourRed ? " !" : "")))
        << button->text().toStdString();
    EXPECT_TRUE(button->text().endsWith(key)) << button->text().toStdString();
    // The colour is told in words too: the red ones are marked and their tip says why.
    EXPECT_EQ(button->text().contains(QStringLiteral("!")), b.Colour == kColourRed);
    EXPECT_EQ(button->text().contains(QStringLiteral("=")), b.Colour == kColourWhite);
    EXPECT_FALSE(button->toolTip().isEmpty());
    if (b.Colour == kColourRed) {
      sawRed = true;
      EXPECT_TRUE(button->toolTip().contains(QStringLiteral("Over the limit")));
      EXPECT_TRUE(button->styleSheet().contains(QStringLiteral("#c62828")));
    }
  }
  // On the grid the start speed is the top safe choice, one step over it is red.
  EXPECT_TRUE(sawRed);
  EXPECT_EQ(Child<QLabel>(Board(), "lblDriver")->text().toStdString(), frame.Driver);
  EXPECT_EQ(Child<QLabel>(Board(), "lblSpcSpd")->text().toStdString(), frame.SpcSpd);
  EXPECT_EQ(Child<QLabel>(Board(), "txtRacePosition")->text().toStdString(), frame.RacePosition);
  EXPECT_EQ(Child<QCheckBox>(Board(), "ckDraft")->isVisible(), frame.DraftShown);
  EXPECT_EQ(Button("cmdAutoPilot")->isVisible(), frame.ShowAutoPilot);
  EXPECT_FALSE(Button("cmdStraight")->isVisible());
  EXPECT_FALSE(Button("cmdNextTurn")->isEnabled());

  ShootWindow(Board(), "speed-panel");
}

// With weather the first speed panel offers the tires; T swaps them, and the sky is told.
TEST_F(DashboardTest, TheTireChoiceAndTheWeatherShowWithWeatherOn) {
  StartRace(2, 1, false, "Single", true);
  ASSERT_EQ(Wait(), Waiting::Speed);
  const SpeedFrame& frame = controller.Engine().SpeedPanel();
  ASSERT_TRUE(frame.ShowTires);
  EXPECT_TRUE(Child<QWidget>(Board(), "frameTires")->isVisible());
  auto* rain = Child<QRadioButton>(Board(), "optTiresRain");
  EXPECT_EQ(rain->isChecked(), frame.WetTires);
  const bool wet = frame.WetTires;
  Key(Qt::Key_T);
  EXPECT_EQ(controller.Engine().SpeedPanel().WetTires, !wet);
  EXPECT_EQ(rain->isChecked(), !wet);
  const RaceState& rs = controller.Race();
  EXPECT_EQ(Child<QLabel>(Board(), "lblWeather")->text().toStdString(),
            "Weather - " + SkyText(rs.WeatherValue) + ", Track - " + rs.TrackCondition);
  // The choice goes with the speed: the car runs on the tires ticked.
  Key(Qt::Key_0);
  Key(Qt::Key_Return);
  EXPECT_EQ(rs.CarWetTires[1], !wet);
}

// With no person on the track a change of weather is shown over the circuit for a moment; a
// person's race tells it on the dashboard alone.
TEST_F(DashboardTest, AWeatherChangeHoversOverTheCircuitOnlyWhenNoPersonDrives) {
  for (const bool allAI : {true, false}) {
    StartRace(3, 5, allAI, "Single", true);
    RaceState& rs = controller.Race();
    ASSERT_EQ(rs.FirstHumanCar != 0, !allAI);
    RaceWindow& race = window->Race();
    EXPECT_TRUE(race.WeatherHover() == nullptr || !race.WeatherHover()->isVisible());
    rs.WeatherValue = rs.WeatherValue > 1 ? rs.WeatherValue - 1 : 2;
    ApplyWeather(rs);
    controller.NotifyChanged();
    const std::string sky = "Weather - " + SkyText(rs.WeatherValue) + ", Track - " + rs.TrackCondition;
    if (allAI) {
      ASSERT_NE(race.WeatherHover(), nullptr);
      EXPECT_TRUE(race.WeatherHover()->isVisible());
      EXPECT_EQ(race.WeatherHover()->text().toStdString(), sky);
      ShootWindow(*window, "weather-hover");
      race.WeatherHover()->hide();
    } else {
      EXPECT_TRUE(race.WeatherHover() == nullptr || !race.WeatherHover()->isVisible());
    }
    controller.Run(Cmd::mnuRaceEndRace);
  }
}

TEST_F(DashboardTest, KeysSelectOnlyOpenSpeedsAndEnterTakesTheSelection) {
  StartRace(3, 1);
  ASSERT_EQ(Wait(), Waiting::Speed);
  const SpeedFrame& frame = controller.Engine().SpeedPanel();
  int closed = -1, top = -1;
  for (int i = 0; i < kSpeedButtons; ++i) {
    const SpeedButton& b = frame.Buttons[static_cast<size_t>(i)];
    if (!b.Enabled && closed < 0) closed = i;
    if (b.Enabled && b.Seen) top = i;
  }
  ASSERT_GE(closed, 0);
  ASSERT_GT(top, 1);
  // The selection starts on an open button.
  const int first = Board().SpeedPanel().Selected();
  ASSERT_GE(first, 0);
  EXPECT_TRUE(frame.Buttons[static_cast<size_t>(first)].Enabled);
  Key(SpeedKey(closed));
  EXPECT_EQ(Board().SpeedPanel().Selected(), first) << "a closed button cannot be selected";
  Key(SpeedKey(top));
  EXPECT_EQ(Board().SpeedPanel().Selected(), top);
  Key(Qt::Key_Up);
  EXPECT_EQ(Board().SpeedPanel().Selected(), top) << "nothing open above the top";
  Key(Qt::Key_Down);
  EXPECT_LT(Board().SpeedPanel().Selected(), top);
  EXPECT_TRUE(Button(("cmdSpeed" + std::to_string(Board().SpeedPanel().Selected())).c_str())->text().startsWith("> "));
  const int taken = Board().SpeedPanel().Selected();
  EXPECT_EQ(Wait(), Waiting::Speed) << "selecting takes nothing";
  Key(Qt::Key_Enter);
  EXPECT_NE(Wait(), Waiting::Speed);
  EXPECT_EQ(controller.Race().CarNewSpeed[1], taken * 20);
}

TEST_F(DashboardTest, SteeringButtonsAndArrowsTakeOneStepEach) {
  StartRace(3, 1);
  ASSERT_EQ(Wait(), Waiting::Speed);
  Button("cmdSpeed3")->click();  // 60, the start speed of the first car: three blocks
  ASSERT_EQ(Wait(), Waiting::Steering);
  const RaceState& rs = controller.Race();
  ASSERT_EQ(rs.SpacesLeft, 3);
  EXPECT_TRUE(Button("cmdLeft")->text().endsWith(QStringLiteral("[\u2190]")));
  EXPECT_TRUE(Button("cmdRight")->text().endsWith(QStringLiteral("[\u2192]")));
  EXPECT_TRUE(Button("cmdStraight")
                  ->text()
                  .startsWith(QString::fromStdString(controller.Engine().SteeringPanelShown().Straight.Caption)));
  EXPECT_EQ(Child<QLabel>(Board(), "txtMovementBlocks")->text(), QStringLiteral("3 blocks"));
  EXPECT_FALSE(Button("cmdSpeed0")->isVisible());
  EXPECT_FALSE(Button("cmdFinishRace")->isEnabled());

  ShootWindow(Board(), "steering-panel");

  ASSERT_TRUE(Button("cmdStraight")->isEnabled());
  const int space = rs.CarSpace[1];
  Button("cmdStraight")->click();
  EXPECT_EQ(rs.SpacesLeft, 2);
  EXPECT_NE(rs.CarSpace[1], space);
  EXPECT_EQ(Child<QLabel>(Board(), "txtMovementBlocks")->text(), QStringLiteral("2 blocks"));
  // A key of a closed step does nothing; an open one steps once.
  const SteeringPanel& p = controller.Engine().SteeringPanelShown();
  if (!p.EnterPitVisible) {
    Key(Qt::Key_P);
    EXPECT_EQ(rs.SpacesLeft, 2);
  }
  ASSERT_TRUE(p.Straight.Enabled);
  Key(Qt::Key_Up);
  EXPECT_EQ(rs.SpacesLeft, 1);
  Key(Qt::Key_E);  // the move ends short: the last block is shed
  EXPECT_NE(Wait(), Waiting::Steering);
}

// Keys that arrive while the cars move are held and taken against the panel that is up once the
// engine waits: the two arrows typed during the computer cars' moves are two steps, not none
// and not four.
TEST_F(DashboardTest, KeysTypedWhileTheCarsMoveAreTakenOnceInOrder) {
  StartRace(3, 1);
  ASSERT_EQ(Wait(), Waiting::Speed);
  Key(Qt::Key_3);
  for (int k = 0; k < 2; ++k)
    QCoreApplication::postEvent(&Board(), new QKeyEvent(QEvent::KeyPress, Qt::Key_Up, Qt::NoModifier));
  Key(Qt::Key_Return);
  // The arrows came in during the engine's yields, while the computer cars chose: held, then
  // taken against the steering panel.
  EXPECT_EQ(Board().KeysWaiting(), 0U);
  const RaceState& rs = controller.Race();
  ASSERT_EQ(Wait(), Waiting::Steering);
  EXPECT_EQ(rs.SpacesLeft, 1);
}

TEST_F(DashboardTest, TheLeaderboardAndHighlightsFollowTheRace) {
  StartRace(3, 1);
  const RaceState& rs = controller.Race();
  auto* board = Child<QTableWidget>(Board(), "fgLeaderBoard");
  ASSERT_EQ(board->rowCount(), 3);
  for (int pos = 1; pos <= 3; ++pos) {
    EXPECT_EQ(board->item(pos - 1, 1)->text(), QString::number(rs.RunningOrder[pos]));
    EXPECT_EQ(board->item(pos - 1, 2)->text().toStdString(), rs.DriverName[rs.RunningOrder[pos]]);
  }
  // Gaps: the leader's own word, the gap the line last timed, whole laps down by distance, and
  // none before a car has finished a lap.
  {
    RaceState& r = controller.Race();
    const int leader = r.RunningOrder[1], second = r.RunningOrder[2], third = r.RunningOrder[3];
    const int length = r.track.TrackLength;
    r.RaceLaps = 10;
    r.CarLap[leader] = 4;
    r.CarRaceDistance[leader] = 3 * length + 10;
    r.CarLap[second] = 4;
    r.CarRaceDistance[second] = 3 * length + 2;
    r.LapGap[3][second] = 4.25;
    r.CarLap[third] = 3;
    r.CarRaceDistance[third] = 2 * length + 9;
    controller.NotifyChanged();
    EXPECT_EQ(board->item(0, 4)->text().toStdString(), "Leader");
    EXPECT_EQ(board->item(1, 4)->text().toStdString(), "+0:04.250");
    EXPECT_EQ(board->item(2, 4)->text().toStdString(), "+1 Lap");
    r.CarRaceDistance[third] = 3 * length;
    r.CarLap[second] = 1;
    controller.NotifyChanged();
    EXPECT_EQ(board->item(1, 4)->text().toStdString(), "-");
  }
  auto* log = Child<QListWidget>(Board(), "lstHighlights");
  EXPECT_EQ(log->count(), static_cast<int>(rs.Highlights.size()));
  controller.Race().Highlights.push_back("(Lap 1/Move 3) Spin - 3 Alex Moreau, test");
  controller.NotifyChanged();
  ASSERT_EQ(log->count(), static_cast<int>(rs.Highlights.size()));
  EXPECT_EQ(log->item(log->count() - 1)->text().toStdString(), rs.Highlights.back());
  // A log begun again (a new race) is shown anew, not added to the old one.
  controller.Race().Highlights = {"(Pre-Race) Weather - Clear (8), Track - Dry"};
  controller.NotifyChanged();
  ASSERT_EQ(log->count(), 1);
  EXPECT_EQ(log->item(0)->text(), QStringLiteral("(Pre-Race) Weather - Clear (8), Track - Dry"));
}

TEST_F(DashboardTest, TheRaceControlsOpenOnlyWhileTheEngineWaitsOnThem) {
  StartRace(3, 2, true);
  ASSERT_EQ(Wait(), Waiting::RaceControl);
  EXPECT_TRUE(Button("cmdNextTurn")->isEnabled());
  EXPECT_TRUE(Button("cmdFinishLap")->isEnabled());
  EXPECT_TRUE(Button("cmdFinishRace")->isEnabled());
  EXPECT_TRUE(Button("cmdEndRaceRC")->isEnabled());
  EXPECT_EQ(Button("cmdEndRaceRC")->text(), QStringLiteral("End Race  [Esc]"));
  const std::string caption = controller.Engine().LapCaption();
  EXPECT_EQ(Child<QLabel>(Board(), "CurrentLap")->text().toStdString(), caption);

  // A pause asked for is taken at the end of the next turn; it cannot be asked twice.
  Key(Qt::Key_H);
  EXPECT_TRUE(controller.Race().PauseRequested);
  EXPECT_FALSE(Button("cmdPauseRace")->isEnabled());
  Key(Qt::Key_Space);
  EXPECT_EQ(Wait(), Waiting::Paused);
  EXPECT_TRUE(Button("cmdNextTurn")->isEnabled());
  EXPECT_FALSE(Button("cmdPauseRace")->isEnabled());

  Button("cmdFinishRace")->click();
  EXPECT_EQ(Wait(), Waiting::RaceOver);
  for (const char* name : {"cmdNextTurn", "cmdFinishLap", "cmdFinishRace", "cmdPauseRace", "cmdEndRaceRC"})
    EXPECT_FALSE(Button(name)->isEnabled()) << name;
  auto* board = Child<QTableWidget>(Board(), "fgLeaderBoard");
  EXPECT_EQ(board->item(0, 4)->text(), QStringLiteral("Finished"));
  // The leader's laps, newest first, each with its time and speed.
  auto* history = Child<QTableWidget>(Board(), "fgLapHistory");
  ASSERT_EQ(history->rowCount(), 2);
  EXPECT_EQ(history->item(0, 0)->text(), QStringLiteral("2"));
  EXPECT_TRUE(history->item(0, 2)->text().endsWith(QStringLiteral(" MPH")));
}

TEST_F(DashboardTest, PracticeHasNoFinishButtonsAndEndsAsPractice) {
  StartRace(2, 0, true, "Practice");
  EXPECT_FALSE(Button("cmdFinishLap")->isVisibleTo(&Board()));
  EXPECT_FALSE(Button("cmdFinishRace")->isVisibleTo(&Board()));
  EXPECT_EQ(Button("cmdEndRaceRC")->text(), QStringLiteral("End Practice  [Esc]"));
  Key(Qt::Key_F);  // the finish is no practice key
  EXPECT_EQ(Wait(), Waiting::RaceControl);
}

TEST_F(DashboardTest, AOneLapRaceRunsToTheFlagFromTheKeyboard) {
  StartRace(6, 1);
  ShootWindow(*window, "start");
  bool midShot = false;
  for (int guard = 0; guard < 3000 && Wait() != Waiting::RaceOver; ++guard) {
    ASSERT_NO_FATAL_FAILURE(DriveByKeys(100));
    const int leader = RaceLeader(controller.Race());
    if (!midShot && IsCarNumber(leader) &&
        controller.Race().CarSpace[leader] > controller.Race().track.TrackLength / 2 &&
        controller.Race().CarLap[leader] >= 1) {
      ShootWindow(*window, "middle");
      midShot = true;
    }
  }
  ASSERT_EQ(Wait(), Waiting::RaceOver);
  ShootWindow(*window, "flag");
  EXPECT_EQ(Board().KeysWaiting(), 0U);
  auto* board = Child<QTableWidget>(Board(), "fgLeaderBoard");
  EXPECT_EQ(board->rowCount(), 6);
  EXPECT_EQ(Child<QLabel>(Board(), "CurrentLap")->text(), QStringLiteral("Final Standings"));
  EXPECT_EQ(Child<QListWidget>(Board(), "lstHighlights")->count(),
            static_cast<int>(controller.Race().Highlights.size()));
}

}  // namespace
}  // namespace vm
