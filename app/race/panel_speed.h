// frameSpeed: the 13 speed buttons as the engine's frame colours them, the slipstream tick, the tire
// choice before the first move and the auto-pilot. One button is selected for the keyboard: the
// digits and the arrows move the selection, Enter takes it.
#pragma once

#include <QWidget>
#include <array>

#include "engine/speed.h"

class QCheckBox;
class QLabel;
class QPushButton;
class QRadioButton;

namespace vm {

class GameController;

class SpeedPanelView : public QWidget {
 public:
  explicit SpeedPanelView(GameController& controller, QWidget* parent = nullptr);

  // Draws the frame. A fresh frame (a new car or a new turn) clears the tick and selects anew.
  void Load(const SpeedFrame& frame, bool fresh);
  // A key while the engine waits for this panel; false when the key is not the panel's.
  bool Key(int key, Qt::KeyboardModifiers modifiers);

  int Selected() const { return selected_; }
  // The key that selects button i: "0".."9", then "A", "B", "C" for 200, 220 and 240.
  static QString KeyName(int i);

 private:
  bool Open(int i) const;
  void Select(int i);
  // Moves the selection to the next open button up (+1) or down (-1).
  void Step(int direction);
  void Take(int i);
  void DrawButtons();

  GameController& controller_;
  SpeedFrame frame_;
  int selected_ = -1;
  std::array<QPushButton*, kSpeedButtons> buttons_{};
  QCheckBox* draft_ = nullptr;
  QWidget* tires_ = nullptr;
  QRadioButton* rain_ = nullptr;
  QRadioButton* dry_ = nullptr;
  QPushButton* autoPilot_ = nullptr;
};

}  // namespace vm
