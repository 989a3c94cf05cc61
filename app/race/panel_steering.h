// frameSteering: the step buttons with the engine's captions (the apex ones on an apex line), the
// in-turn steps, the pit entrance, the end of the move, the blocks left and the slipstream and blue
// flag notices. Each press is one step through the controller.
#pragma once

#include <QWidget>

#include "engine/steering.h"

class QLabel;
class QPushButton;

namespace vm {

class GameController;

class SteeringPanelView : public QWidget {
 public:
  explicit SteeringPanelView(GameController& controller, QWidget* parent = nullptr);

  void Load(const SteeringPanel& panel);
  // A key while the engine waits for this panel; false when the key is not the panel's.
  bool Key(int key, Qt::KeyboardModifiers modifiers);

 private:
  // Sends the command when its button is open now.
  void Press(SteeringCommand command);
  bool Open(SteeringCommand command) const;

  GameController& controller_;
  SteeringPanel panel_;
  QPushButton* straight_ = nullptr;
  QPushButton* left_ = nullptr;
  QPushButton* right_ = nullptr;
  QPushButton* inTurnLeft_ = nullptr;
  QPushButton* inTurnRight_ = nullptr;
  QPushButton* enterPit_ = nullptr;
  QPushButton* endEarly_ = nullptr;
  QLabel* blocks_ = nullptr;
  QLabel* slip1_ = nullptr;
  QLabel* slip2_ = nullptr;
  QLabel* slipCancelled_ = nullptr;
  QLabel* blueFlag_ = nullptr;
};

}  // namespace vm
