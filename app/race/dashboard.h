// The race's dashboard: the speed panel, the steering panel, the race controls, the leaderboard,
// the lap history, the pit lane, the highlights and the weather, each drawn from the engine's
// panels and the race state, each button sending its command to the controller.
#pragma once

#include <QWidget>

namespace vm {

class GameController;

class Dashboard : public QWidget {
 public:
  explicit Dashboard(GameController& controller, QWidget* parent = nullptr);

  // Shows the race as it stands now: the panel the engine waits on, the boards, the log.
  void Refresh();

 private:
  GameController& controller_;
};

}  // namespace vm
