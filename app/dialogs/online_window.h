// frmOnlineWindow: the online race at a glance beside the race window: this player's driver, the
// driver whose turn it is, and the host's remedies for a player who has gone quiet.
#pragma once

#include <QWidget>

class QLabel;
class QLineEdit;
class QPushButton;

namespace vm {

class GameController;

class OnlineWindow : public QWidget {
  Q_OBJECT

 public:
  explicit OnlineWindow(GameController& controller, QWidget* parent = nullptr);

  // RefreshOnlineWindow: the two names, and which buttons this machine offers now.
  void Refresh();

 private:
  GameController& controller_;
  QLineEdit* txtDriverName_ = nullptr;
  QLineEdit* txtCurrentDriverName_ = nullptr;
  QLabel* lblTurn_ = nullptr;
  QPushButton* cmdLoadTip_ = nullptr;
  QPushButton* cmdAutoPilot_ = nullptr;
  int autoPilotCar_ = 0;
};

}  // namespace vm
