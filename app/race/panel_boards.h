// The race's boards under the panels, one tab each: the leaderboard, the lap history of one car,
// the pit lane and the highlights of the race log.
#pragma once

#include <QStringList>
#include <QTabWidget>
#include <cstddef>

#include "core/race_state.h"

class QComboBox;
class QLabel;
class QListWidget;
class QTableWidget;

namespace vm {

class RaceBoards : public QTabWidget {
 public:
  explicit RaceBoards(QWidget* parent = nullptr);

  // Redraws every board from the race; `currentCar` is marked on the leaderboard (0 for none).
  void Show(const RaceState& rs, int currentCar);

  // The car whose laps the history shows: the chosen one, else the leader (the winner once
  // someone has finished); 0 when there is none.
  static int HistoryCar(const RaceState& rs, int chosen);

 private:
  void ShowLeaderboard(const RaceState& rs, int currentCar);
  void ShowLapHistory(const RaceState& rs);
  void ShowPitLane(const RaceState& rs);
  void ShowHighlights(const RaceState& rs);

  QTableWidget* leaderboard_ = nullptr;
  QComboBox* historyCar_ = nullptr;
  QTableWidget* history_ = nullptr;
  QLabel* pitHead_ = nullptr;
  QTableWidget* pitLane_ = nullptr;
  QStringList pitHeads_;
  QListWidget* highlights_ = nullptr;
  const RaceState* shown_ = nullptr;  // the race last drawn, for a change of the history's car
  int shownCars_ = -1;
};

}  // namespace vm
