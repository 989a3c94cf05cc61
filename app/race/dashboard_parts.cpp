#include "app/race/dashboard_parts.h"

#include <QHBoxLayout>
#include <QVBoxLayout>
#include <algorithm>
#include <initializer_list>

#include "core/curve_scan.h"
#include "engine/speed.h"

namespace vm::dash {

QString WithKey(const QString& caption, const QString& key) {
  return caption + QStringLiteral("  [") + key + QStringLiteral("]");
}

ButtonLook SpeedLook(int colour) {
  switch (colour) {
    case kColourGreen:
      return {QStringLiteral("#1f7a1f"), QStringLiteral("white"), QString(),
              QStringLiteral("Safe: within the car's acceleration and braking")};
    case kColourRed:
      return {QStringLiteral("#c62828"), QStringLiteral("white"), QStringLiteral("!"),
              QStringLiteral("Over the limit: paid on a result table")};
    case kColourGrey:
      return {QStringLiteral("#c4c4c4"), QStringLiteral("#5a5a5a"), QString(),
              QStringLiteral("Out of reach this turn")};
    default:
      return {QStringLiteral("white"), QStringLiteral("black"), QStringLiteral("="),
              QStringLiteral("Holds the speed the car has now")};
  }
}

namespace {

// A rating below the car's design is red and starred, so that damage reads without colour too.
void ShowRating(QLabel* label, const char* name, const std::string& value, int colour) {
  const bool damaged = colour == kColourRed;
  label->setText(QString::fromLatin1(name) + QLatin1Char(' ') + Q(value) +
                 (damaged ? QStringLiteral(" *") : QString()));
  label->setStyleSheet(damaged ? QStringLiteral("color: #c62828; font-weight: bold;") : QString());
  label->setToolTip(damaged ? QStringLiteral("Damaged: below the car's design") : QString());
}

QLabel* Named(const char* name, QWidget* parent) {
  auto* label = new QLabel(parent);
  label->setObjectName(QString::fromLatin1(name));
  return label;
}

}  // namespace

DriverBox::DriverBox(QWidget* parent) : QWidget(parent) {
  setObjectName(QStringLiteral("DashboardCar"));
  driver_ = Named("lblDriver", this);
  QFont bold = driver_->font();
  bold.setBold(true);
  bold.setPointSizeF(bold.pointSizeF() * 1.2);
  driver_->setFont(bold);
  position_ = Named("txtRacePosition", this);
  position_->setFont(bold);
  position_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
  spcSpd_ = Named("lblSpcSpd", this);
  spcSpd_->setToolTip(QStringLiteral("Spaces to the next curve / its speed limit"));
  speed_ = Named("txtSpeed", this);
  speed_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
  wears_ = Named("picTotalWears", this);
  wears_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
  acc_ = Named("Acc", this);
  dec_ = Named("Dec", this);
  topSpd_ = Named("TopSpd", this);
  others_ = Named("lblRatings", this);
  // Three lines: who and where, the move ahead, the car's ratings and wears.
  auto* next = new QLabel(QStringLiteral("Next curve:"), this);
  next->setToolTip(spcSpd_->toolTip());
  auto row = [](std::initializer_list<QWidget*> left, QWidget* right) {
    auto* line = new QHBoxLayout;
    line->setSpacing(12);
    for (QWidget* w : left) line->addWidget(w);
    line->addStretch(1);
    line->addWidget(right);
    return line;
  };
  auto* column = new QVBoxLayout(this);
  column->setContentsMargins(0, 0, 0, 0);
  column->setSpacing(2);
  column->addLayout(row({driver_}, position_));
  auto* curve = row({next, spcSpd_}, speed_);
  curve->setSpacing(4);
  column->addLayout(curve);
  column->addLayout(row({acc_, dec_, topSpd_, others_}, wears_));
}

DriverBox::Card DriverBox::FromRace(const RaceState& rs, int car) {
  Card c;
  if (!IsCarNumber(car)) return c;
  const CarRatings& design = rs.CarDesign[car];
  auto against = [](int working, int designed) { return working < designed ? kColourRed : kColourWhite; };
  c.Driver = rs.DriverName[car];
  c.Position = PlaceText(rs.CarsFinished + rs.OrderIndex);
  c.SpcSpd = SpcSpdText(ScanNextCurve(rs, car));
  c.Acc = std::to_string(rs.CarAcceleration[car]);
  c.Dec = std::to_string(rs.CarDeceleration[car]);
  c.TopSpd = std::to_string(rs.CarTopSpeed[car]);
  c.WPL = std::to_string(rs.CarWearPerLap[car]);
  c.StSp = std::to_string(rs.CarStartSpeed[car]);
  c.DRM = FormatDRM(rs.CarDRM[car]);
  c.AccColour = against(rs.CarAcceleration[car], design.Acceleration);
  c.DecColour = against(rs.CarDeceleration[car], design.Deceleration);
  c.TopSpdColour = against(rs.CarTopSpeed[car], design.TopSpeed);
  c.Wears = std::max(0, rs.CarWears[car]);
  c.Speed = rs.CarNewSpeed[car];
  return c;
}

void DriverBox::Show(const Card& card) {
  driver_->setText(Q(card.Driver));
  position_->setText(Q(card.Position));
  spcSpd_->setText(Q(card.SpcSpd));
  speed_->setText(card.Speed < 0 ? QString() : QStringLiteral("Speed %1").arg(card.Speed));
  ShowRating(acc_, "Acc", card.Acc, card.AccColour);
  ShowRating(dec_, "Dec", card.Dec, card.DecColour);
  ShowRating(topSpd_, "Top", card.TopSpd, card.TopSpdColour);
  others_->setText(QStringLiteral("WPL %1   StSp %2   DRM %3").arg(Q(card.WPL), Q(card.StSp), Q(card.DRM)));
  wears_->setText(QStringLiteral("Wears %1").arg(card.Wears));
}

}  // namespace vm::dash
