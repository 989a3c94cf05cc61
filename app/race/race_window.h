// frmTrack: the race on the main window, the circuit beside the dashboard.
#pragma once

#include <QWidget>
#include <string>

class QLabel;
class QTimer;

namespace vm {

class CircuitView;
class Dashboard;
class GameController;

class RaceWindow : public QWidget {
 public:
  explicit RaceWindow(GameController& controller, QWidget* parent = nullptr);

  CircuitView& Circuit() { return *circuit_; }
  Dashboard& Board() { return *dashboard_; }
  // frmWeatherHover: the weather's change, shown over the circuit for two seconds when no person
  // drives (a driver sees it on the dashboard); nullptr until first needed.
  QLabel* WeatherHover() { return weatherHover_; }

 private:
  void Refresh();
  void ShowWeatherChange();

  GameController& controller_;
  CircuitView* circuit_ = nullptr;
  Dashboard* dashboard_ = nullptr;
  QLabel* weatherHover_ = nullptr;
  QTimer* hoverTimer_ = nullptr;
  std::string shownSky_;  // the weather last drawn, empty between races
};

}  // namespace vm
