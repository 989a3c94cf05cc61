// Small pieces the dashboard's panels share: text conversion, the key hint on a caption, the look of
// the engine's 16-colour table, and the driver box that heads the speed and steering panels.
#pragma once

#include <QLabel>
#include <QString>
#include <QWidget>
#include <string>
#include <string_view>

#include "core/race_state.h"

namespace vm::dash {

inline QString Q(std::string_view text) { return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())); }

// "120  [6]": a button's caption with the key that presses it.
QString WithKey(const QString& caption, const QString& key);

// What a speed button's colour says, told also by a marker and a tip, never by colour alone.
struct ButtonLook {
  QString Background;
  QString Foreground;
  QString Marker;  // after the speed: "!" risky, "=" the speed held; empty for safe and closed
  QString Tip;
};
ButtonLook SpeedLook(int colour);

// The driver, place, ratings, wears and the next curve of the car on the panel.
class DriverBox : public QWidget {
 public:
  explicit DriverBox(QWidget* parent = nullptr);

  // Texts of one car. The ratings' colours are the engine's: red when below the car's design.
  struct Card {
    std::string Driver, Position, SpcSpd, Acc, Dec, TopSpd, WPL, StSp, DRM;
    int AccColour = 15, DecColour = 15, TopSpdColour = 15;
    int Wears = 0;
    int Speed = -1;  // the speed of the move, shown while steering; -1 hides it
  };
  // The card of a car read off the race, for the panels the engine gives no card for.
  static Card FromRace(const RaceState& rs, int car);

  void Show(const Card& card);

 private:
  QLabel* driver_ = nullptr;
  QLabel* position_ = nullptr;
  QLabel* spcSpd_ = nullptr;
  QLabel* speed_ = nullptr;
  QLabel* wears_ = nullptr;
  QLabel* acc_ = nullptr;
  QLabel* dec_ = nullptr;
  QLabel* topSpd_ = nullptr;
  QLabel* others_ = nullptr;
};

}  // namespace vm::dash
