// The circuit with its cars: the track's picture, each car's picture turned to its heading at its
// cell with its number beside it, the current car flashing, the leader circled, zoom and scroll,
// and what the mouse hovers over told in a tip.
#pragma once

#include <QWidget>

namespace vm {

class GameController;

class CircuitView : public QWidget {
 public:
  explicit CircuitView(GameController& controller, QWidget* parent = nullptr);

  // Draws the race as it stands now.
  void Refresh();

 private:
  GameController& controller_;
};

}  // namespace vm
