// frmTrack: the race on the main window, the circuit beside the dashboard.
#pragma once

#include <QWidget>

namespace vm {

class CircuitView;
class Dashboard;
class GameController;

class RaceWindow : public QWidget {
 public:
  explicit RaceWindow(GameController& controller, QWidget* parent = nullptr);

  CircuitView& Circuit() { return *circuit_; }
  Dashboard& Board() { return *dashboard_; }

 private:
  void Refresh();

  GameController& controller_;
  CircuitView* circuit_ = nullptr;
  Dashboard* dashboard_ = nullptr;
};

}  // namespace vm
