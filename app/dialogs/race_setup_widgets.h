// Widgets both setup dialogs share: combo and check boxes shown from the model's controls, and the
// point structure frame. They only show values and report edits; the dialog owns the model.
#pragma once

#include <QGroupBox>
#include <QString>
#include <array>
#include <functional>
#include <string>
#include <vector>

#include "game/race_setup.h"

class QCheckBox;
class QComboBox;
class QLineEdit;
class QRadioButton;

namespace vm {

// Shows the model's combo box: its list, its text (added to the list when it is not there) and its
// state, without reporting a change.
void ShowCombo(QComboBox* widget, const ComboBox& box);
// Fills a combo box with the numbers and shows `value`.
void ShowCombo(QComboBox* widget, const std::vector<int>& items, int value);
// The number a combo box shows; `fallback` when it shows none.
int ComboNumber(const QComboBox* widget, int fallback = 0);
// Shows the model's check box without reporting a change.
void ShowCheck(QCheckBox* widget, const CheckBox& box);

// The bonus boxes in their order on the frame.
enum class PointsBonus { Pole, LeadLap, FastLap, LeadMost };
inline constexpr int kPointsBonusCount = 4;

struct PointsFrameValues {
  int Preset = kCustomPointsIndex;
  std::array<std::string, kEditablePlaces> Places;
  std::array<std::string, kPointsBonusCount> Bonus;  // in the order of PointsBonus
};

class PointsFrame : public QGroupBox {
 public:
  explicit PointsFrame(QWidget* parent = nullptr);

  // Called when the player clicks a preset button, types into a place box, or leaves a bonus box.
  std::function<void(int index)> PresetChosen;
  std::function<void(int index, const std::string& text)> PlaceEdited;
  std::function<void(PointsBonus which, const std::string& text)> BonusEdited;

  // Shows the values; no edit is reported for them.
  void Show(const PointsFrameValues& values);

  // Reports a bonus box whose text the player changed but has not left yet, so OK sees it.
  void FlushBonusBoxes();

 private:
  std::array<QRadioButton*, kPointPresets.size() + 1> presets_{};
  std::array<QLineEdit*, kEditablePlaces> places_{};
  std::array<QLineEdit*, kPointsBonusCount> bonus_{};
  std::array<QString, kPointsBonusCount> shownBonus_;
  bool showing_ = false;
};

// The points a bonus box holds as the race or the settings keep them: a text that is not a number
// is 0, and the box shows that 0 as well.
std::string BonusBoxText(const std::string& text);

}  // namespace vm
