// The race's dashboard: the speed panel, the steering panel, the race controls, the leaderboard,
// the lap history, the pit lane, the highlights and the weather, each drawn from the engine's
// panels and the race state, each button sending its command to the controller.
//
// The whole race can be played from the keyboard, whichever widget of the race window has the
// focus: a key that comes while the cars move waits and is taken, in order, once the engine waits
// again, so that no key is lost and none is read against a panel that is no longer up.
#pragma once

#include <QWidget>
#include <deque>
#include <utility>

#include "engine/turn_engine.h"

class QLabel;
class QPushButton;
class QStackedWidget;

namespace vm {

class GameController;
class RaceBoards;
class SpeedPanelView;
class SteeringPanelView;

namespace dash {
class DriverBox;
}

class Dashboard : public QWidget {
 public:
  explicit Dashboard(GameController& controller, QWidget* parent = nullptr);

  // Shows the race as it stands now: the panel the engine waits on, the boards, the log.
  void Refresh();

  // A key of the race, as if pressed on the dashboard; false when the key means nothing here.
  bool TakeKey(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier);
  // Keys that came while the cars moved and wait for the engine.
  size_t KeysWaiting() const { return keys_.size(); }

  SpeedPanelView& SpeedPanel() { return *speed_; }
  SteeringPanelView& SteeringPanel() { return *steering_; }
  RaceBoards& Boards() { return *boards_; }

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  // What the engine waits for as far as the dashboard is concerned: nothing while cars move.
  Waiting Wait() const;
  bool KeyNow(int key, Qt::KeyboardModifiers modifiers);
  void TakeWaitingKeys();
  void ShowControls(Waiting wait);
  QWidget* BuildControls();

  GameController& controller_;
  QLabel* lapCaption_ = nullptr;
  QLabel* weather_ = nullptr;
  QLabel* fastestLap_ = nullptr;
  dash::DriverBox* driver_ = nullptr;
  QStackedWidget* panels_ = nullptr;
  SpeedPanelView* speed_ = nullptr;
  SteeringPanelView* steering_ = nullptr;
  QLabel* pitDriver_ = nullptr;
  QPushButton* pitContinue_ = nullptr;
  QLabel* idle_ = nullptr;
  QPushButton* nextTurn_ = nullptr;
  QPushButton* finishLap_ = nullptr;
  QPushButton* finishRace_ = nullptr;
  QPushButton* pause_ = nullptr;
  QPushButton* endRace_ = nullptr;
  RaceBoards* boards_ = nullptr;

  std::deque<std::pair<int, Qt::KeyboardModifiers>> keys_;
  bool takingKeys_ = false;
  // The speed frame last drawn, by car and race clock: a new one selects its button afresh.
  Waiting lastWait_ = Waiting::Nothing;
  int lastSpeedCar_ = 0;
  double lastSpeedClock_ = -1;
};

}  // namespace vm
