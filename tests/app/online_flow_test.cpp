// Online racing in the desktop program: two programs in one process, a host and a player joined
// over loopback, each driving its own car by pressing its race window's live buttons, to the flag.
#include <gtest/gtest.h>

#include <QAction>
#include <QCheckBox>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTimer>
#include <filesystem>
#include <functional>
#include <memory>

#include "app/dialogs.h"
#include "app/dialogs/chat_window.h"
#include "app/dialogs/online_window.h"
#include "app/game_controller.h"
#include "app/main_window.h"
#include "app/race/race_window.h"
#include "net/net_session.h"
#include "online/online_race.h"
#include "ui/scripted_console.h"

namespace vm {
namespace {

// One program: its own data folder, console, controller and main window, in Single Race mode with
// the race set up on the default track. Its dialogs of the setup are confirmed at once.
struct Machine {
  QTemporaryDir folder;
  ScriptedConsole console{{}, false};
  GameController controller{&console};
  std::unique_ptr<MainWindow> window;

  Machine() {
    std::filesystem::copy(VELOMARK_DATA, Data(), std::filesystem::copy_options::recursive);
    RegisterDialogs(controller);
    for (const char* form : {"frmCarSetup", "frmRaceSetup"})
      controller.SetDialog(form, [](GameController&, QWidget* parent) {
        auto dialog = std::make_unique<QDialog>(parent);
        QTimer::singleShot(0, dialog.get(), &QDialog::accept);
        return dialog;
      });
    window = std::make_unique<MainWindow>(controller);
    console.AddAnswer("1");  // the agreement
    EXPECT_TRUE(controller.StartUp(Data()));
    console.AddAnswer("1");  // "New Race"
    controller.cmdSingleRaceMode();
    controller.SetMoveDelayOverride(0);
    window->show();
  }

  std::string Data() const { return folder.path().toStdString() + "/data"; }
  RaceWindow& Race() { return window->Race(); }
  Waiting Wait() { return controller.Engine().WaitingFor(); }

  template <typename W>
  W* Find(const char* name) {
    return window->findChild<W*>(QString::fromLatin1(name));
  }

  // Presses a live button of the race window, as a person would; false when none is live here.
  bool Press() {
    if (controller.Busy() || !controller.LocalTurn()) return false;
    switch (Wait()) {
      case Waiting::Speed: {
        // The fastest open speed not shown red: a car that stands still never sees the flag.
        const SpeedFrame& frame = controller.Engine().SpeedPanel();
        for (int i = kSpeedButtons - 1; i >= 0; --i) {
          const SpeedButton& b = frame.Buttons[static_cast<size_t>(i)];
          QPushButton* button = Find<QPushButton>(("cmdSpeed" + std::to_string(i)).c_str());
          if (b.Colour != kColourRed && button->isVisible() && button->isEnabled()) {
            button->click();
            return true;
          }
        }
        controller.NewSpeed(0);
        return true;
      }
      case Waiting::Steering:
        for (const char* name : {"cmdStraight", "cmdLeft", "cmdRight", "cmdInTurnLeft", "cmdInTurnRight"}) {
          QPushButton* button = Find<QPushButton>(name);
          if (button->isVisible() && button->isEnabled()) {
            button->click();
            return true;
          }
        }
        controller.Steer(SteeringCommand::cmdEndEarly);
        return true;
      case Waiting::PitContinue: Find<QPushButton>("cmdPitContinue")->click(); return true;
      case Waiting::RaceControl:
      case Waiting::Paused: Find<QPushButton>("cmdFinishRace")->click(); return true;
      default: return false;
    }
  }
};

// Runs the events until `done`; false when a minute passes first (a hang, never a measure). `step`
// runs whenever a race has moved: most events are lines of the records going by.
bool RunUntil(const std::function<bool()>& done, const std::function<void()>& step = {},
              std::initializer_list<GameController*> watched = {}) {
  bool moved = true;
  std::vector<QMetaObject::Connection> links;
  for (GameController* c : watched)
    links.push_back(QObject::connect(c, &GameController::raceChanged, [&moved] { moved = true; }));
  QElapsedTimer clock;
  clock.start();
  bool finished = true;
  while (!done()) {
    if (clock.elapsed() > 60000) {
      finished = false;
      break;
    }
    if (step && (moved || watched.size() == 0)) {
      moved = false;
      step();
    }
    QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
  }
  for (const QMetaObject::Connection& link : links) QObject::disconnect(link);
  return finished;
}

void Screenshot(QWidget& widget, const char* name) {
  const QByteArray folder = qgetenv("VELOMARK_SCREENSHOTS");
  if (folder.isEmpty()) return;
  widget.grab().save(QString::fromLocal8Bit(folder) + QStringLiteral("/online-") + QString::fromLatin1(name) +
                     QStringLiteral(".png"));
}

class OnlineFlowTest : public ::testing::Test {
 protected:
  void SetUp() override {
    host.controller.SetOnlinePreparation([](NetSession& net, ChatWindow& chat) {
      net.SetListenAddress(QHostAddress::LocalHost);
      net.SetSendInterval(0);
      chat.SetOnlinePort(0);
      // The logs of every line shown slow a record's thousand lines down; they are a lesson, not play.
      chat.findChild<QCheckBox*>(QStringLiteral("chkTutorial"))->setChecked(false);
    });
    client.controller.SetOnlinePreparation([this](NetSession& net, ChatWindow& chat) {
      net.SetSendInterval(0);
      chat.findChild<QCheckBox*>(QStringLiteral("chkTutorial"))->setChecked(false);
      chat.SetOnlinePort(host.controller.Net()->ListeningPort());
    });
    // A small field over one lap; the player who joins drives car 2.
    RaceState& rs = host.controller.Race();
    rs.CarCount = 4;
    rs.RaceLaps = 1;
    rs.QualifyingMethod = "none";
  }

  // Hosts, and has the other program join; both know the joined car's number after.
  void Join() {
    const GameSession& g = host.controller.Session();
    ASSERT_TRUE(g[Cmd::mnuOnlineRacingHost].Enabled);
    host.controller.Run(Cmd::mnuOnlineRacingHost);
    ASSERT_NE(host.controller.Chat(), nullptr);
    ASSERT_TRUE(host.controller.Online() && host.controller.OnlineHosting());
    client.controller.Run(Cmd::mnuOnlineRacingJoin);
    ASSERT_TRUE(RunUntil([&] {
      return host.controller.Shared()->RemoteConnection[2] != 0 && client.controller.Shared()->OnlineCar == 2;
    }));
    EXPECT_EQ(client.controller.Chat()->OnlineCar(), 2);
  }

  Machine host;
  Machine client;
};

TEST_F(OnlineFlowTest, TheMenusFollowTheSession) {
  const GameSession& g = host.controller.Session();
  EXPECT_TRUE(host.window->MenuOf(Cmd::mnuOnlineLevel)->menuAction()->isVisible());
  EXPECT_TRUE(g[Cmd::mnuFileLoadSavedRace].Enabled);
  Join();
  // Online: nothing loaded from a file, nothing taken back, no second session.
  for (Machine* m : {&host, &client}) {
    const GameSession& s = m->controller.Session();
    EXPECT_TRUE(s[Cmd::mnuOnlineMode].Checked);
    EXPECT_TRUE(m->window->ActionOf(Cmd::mnuOnlineMode)->isChecked());
    for (Cmd c : {Cmd::mnuFileLoadSavedRace, Cmd::mnuFileLoadRace, Cmd::mnuOnlineRacingHost, Cmd::mnuOnlineRacingJoin,
                  Cmd::mnuRaceUndo})
      EXPECT_FALSE(s[c].Enabled) << CommandName(c);
  }
  // The race is the host's to set up and start.
  EXPECT_TRUE(g[Cmd::mnuRaceStartRace].Enabled);
  EXPECT_FALSE(client.controller.Session()[Cmd::mnuRaceStartRace].Enabled);
  // Leaving the mode closes the session first and gives the commands back.
  host.controller.cmdExitMode();
  EXPECT_FALSE(host.controller.Online());
  EXPECT_EQ(host.controller.Chat(), nullptr);
  EXPECT_FALSE(host.window->MenuOf(Cmd::mnuOnlineLevel)->menuAction()->isVisible());
  // The host gone, the player's session ends as well.
  ASSERT_TRUE(RunUntil([&] { return !client.controller.Chat()->OnlineMode(); }));
}

TEST_F(OnlineFlowTest, AHostAndAPlayerRaceToTheSameFlag) {
  Join();
  host.controller.Run(Cmd::mnuRaceStartRace);
  ASSERT_TRUE(host.controller.Race().RaceRunning);
  int waitedSeen = 0, liveSeen = 0;
  bool shotWaiting = false;
  auto check = [&](Machine& m) {
    if (m.controller.Busy() || !m.controller.Race().RaceRunning) return;
    const Waiting w = m.Wait();
    const bool speed = m.Find<QWidget>("frameSpeed")->isVisible();
    const bool steering = m.Find<QWidget>("frameSteering")->isVisible();
    if (!m.controller.LocalTurn()) {
      // Another machine has the turn: no panel is live here, and the window says whose it is.
      ++waitedSeen;
      EXPECT_FALSE(speed || steering) << m.controller.Engine().WaitDescription();
      EXPECT_TRUE(m.Find<QLabel>("lblWaiting")->text().startsWith(QStringLiteral("Waiting for")));
      if (!shotWaiting && &m == &client && w == Waiting::Elsewhere) {
        shotWaiting = true;
        Screenshot(*m.window, "race-waiting");
        Screenshot(*m.controller.OnlineView(), "online-window");
        Screenshot(*host.controller.Chat(), "chat-in-race");
      }
    } else if (w == Waiting::Speed || w == Waiting::Steering) {
      ++liveSeen;
      EXPECT_TRUE(w == Waiting::Speed ? speed : steering);
    }
  };
  const bool over = RunUntil([&] { return host.Wait() == Waiting::RaceOver && client.Wait() == Waiting::RaceOver; },
                             [&] {
                               check(host);
                               check(client);
                               host.Press();
                               client.Press();
                             },
                             {&host.controller, &client.controller});
  ASSERT_TRUE(over) << "host: " << host.controller.Engine().WaitDescription()
                    << ", player: " << client.controller.Engine().WaitDescription();
  EXPECT_GT(waitedSeen, 0);
  EXPECT_GT(liveSeen, 0);
  EXPECT_TRUE(shotWaiting);
  // The client's race window opened with the host's race, and both end with the same standings.
  EXPECT_TRUE(client.controller.Session().TrackWindowOpen);
  const RaceState& a = host.controller.Race();
  const RaceState& b = client.controller.Race();
  ASSERT_GT(a.FinishOrderCount, 0);
  ASSERT_EQ(a.FinishOrderCount, b.FinishOrderCount);
  for (int place = 1; place <= a.FinishOrderCount; ++place)
    EXPECT_EQ(a.FinishOrder[static_cast<size_t>(place)], b.FinishOrder[static_cast<size_t>(place)]) << place;
  // The online window names each program's own driver.
  auto* mine = client.controller.OnlineView()->findChild<QLineEdit*>(QStringLiteral("txtDriverName"));
  EXPECT_TRUE(mine->text().contains(QString::fromStdString(b.DriverName[2])));
}

TEST_F(OnlineFlowTest, TheHostHandsASilentPlayersCarToTheAI) {
  Join();
  host.controller.Run(Cmd::mnuRaceStartRace);
  // The host chooses his speed; then the race waits for the player's, who does not answer.
  ASSERT_TRUE(RunUntil([&] { return host.Press() || !host.controller.LocalTurn(); }));
  ASSERT_TRUE(RunUntil([&] {
    host.Press();
    return !host.controller.LocalTurn() && host.controller.Race().CurrentCar == 2;
  }));
  OnlineWindow& view = *host.controller.OnlineView();
  view.Refresh();
  auto* autoPilot = view.findChild<QPushButton*>(QStringLiteral("cmdAutoPilot"));
  ASSERT_TRUE(autoPilot->isEnabled());
  EXPECT_EQ(autoPilot->text(), QStringLiteral("Auto-pilot car 2"));
  autoPilot->click();
  EXPECT_TRUE(host.controller.Race().CarIsAI[2]);
  // The race goes on without the player to the flag.
  ASSERT_TRUE(RunUntil([&] { return host.Wait() == Waiting::RaceOver; }, [&] { host.Press(); }, {&host.controller}));
}

}  // namespace
}  // namespace vm
