#include "app/race/panel_speed.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

#include "app/game_controller.h"
#include "app/race/dashboard_parts.h"

namespace vm {

using dash::Q;
using dash::WithKey;

namespace {

constexpr int kButtonColumns = 4;

QPushButton* KeyButton(const char* name, QWidget* parent) {
  auto* b = new QPushButton(parent);
  b->setObjectName(QString::fromLatin1(name));
  // The dashboard takes the keys itself: a focused button would eat Space and the arrows.
  b->setFocusPolicy(Qt::NoFocus);
  return b;
}

}  // namespace

QString SpeedPanelView::KeyName(int i) {
  return i < 10 ? QString::number(i) : QString(QLatin1Char(static_cast<char>('A' + i - 10)));
}

SpeedPanelView::SpeedPanelView(GameController& controller, QWidget* parent) : QWidget(parent), controller_(controller) {
  setObjectName(QStringLiteral("frameSpeed"));
  auto* grid = new QGridLayout;
  grid->setSpacing(3);
  for (int i = 0; i < kSpeedButtons; ++i) {
    QPushButton* b = KeyButton(("cmdSpeed" + std::to_string(i)).c_str(), this);
    b->setMinimumHeight(30);
    // A closed button keeps its place, so that the rows do not shift from turn to turn.
    QSizePolicy keep = b->sizePolicy();
    keep.setRetainSizeWhenHidden(true);
    b->setSizePolicy(keep);
    connect(b, &QPushButton::clicked, this, [this, i] { Take(i); });
    buttons_[static_cast<size_t>(i)] = b;
    grid->addWidget(b, i / kButtonColumns, i % kButtonColumns);
  }
  auto* legend = new QLabel(QStringLiteral("!  over the limit, a table roll     =  the speed held\n"
                                           "0-9, A-C or \u2191\u2193 select, Enter takes it"),
                            this);
  legend->setObjectName(QStringLiteral("lblSpeedLegend"));
  legend->setStyleSheet(QStringLiteral("color: #505050;"));

  draft_ = new QCheckBox(this);
  draft_->setObjectName(QStringLiteral("ckDraft"));
  draft_->setFocusPolicy(Qt::NoFocus);

  tires_ = new QWidget(this);
  tires_->setObjectName(QStringLiteral("frameTires"));
  rain_ = new QRadioButton(QStringLiteral("Rain tires"), tires_);
  rain_->setObjectName(QStringLiteral("optTiresRain"));
  dry_ = new QRadioButton(QStringLiteral("Dry tires"), tires_);
  dry_->setObjectName(QStringLiteral("optTiresDry"));
  for (QRadioButton* r : {rain_, dry_}) {
    r->setFocusPolicy(Qt::NoFocus);
    connect(r, &QRadioButton::clicked, this, [this, r] { controller_.ChooseTires(r == rain_); });
  }
  auto* tireRow = new QHBoxLayout(tires_);
  tireRow->setContentsMargins(0, 0, 0, 0);
  tireRow->addWidget(new QLabel(WithKey(QStringLiteral("Tires"), QStringLiteral("T")), tires_));
  tireRow->addWidget(rain_);
  tireRow->addWidget(dry_);
  tireRow->addStretch();

  autoPilot_ = KeyButton("cmdAutoPilot", this);
  autoPilot_->setText(WithKey(QStringLiteral("Auto Pilot"), QStringLiteral("O")));
  autoPilot_->setToolTip(QStringLiteral("The computer drives this car for this race turn"));
  connect(autoPilot_, &QPushButton::clicked, this, [this] {
    if (!controller_.Busy() && controller_.Engine().WaitingFor() == Waiting::Speed) controller_.AutoPilot();
  });

  auto* bottom = new QHBoxLayout;
  bottom->addWidget(draft_, 1);
  bottom->addWidget(autoPilot_);
  auto* column = new QVBoxLayout(this);
  column->setContentsMargins(0, 0, 0, 0);
  column->addWidget(tires_);
  column->addLayout(grid);
  column->addWidget(legend);
  column->addLayout(bottom);
}

void SpeedPanelView::Load(const SpeedFrame& frame, bool fresh) {
  frame_ = frame;
  if (fresh) {
    draft_->setChecked(false);
    selected_ = -1;
    // The speed held first, else the fastest safe choice, else whatever is open.
    for (int i = 0; i < kSpeedButtons; ++i)
      if (Open(i) && frame_.Buttons[static_cast<size_t>(i)].Colour == kColourWhite) selected_ = i;
    for (int i = 0; i < kSpeedButtons && selected_ < 0; ++i)
      if (Open(i) && frame_.Buttons[static_cast<size_t>(i)].Colour == kColourGreen) selected_ = i;
    for (int i = kSpeedButtons - 1; i >= 0 && selected_ < 0; --i)
      if (Open(i)) selected_ = i;
  } else if (selected_ >= 0 && !Open(selected_)) {
    Step(-1);
  }
  draft_->setVisible(frame_.DraftShown);
  draft_->setText(WithKey(QStringLiteral("Slipstream: follow car %1").arg(frame_.DraftOffered), QStringLiteral("D")));
  tires_->setVisible(frame_.ShowTires);
  rain_->setChecked(frame_.WetTires);
  dry_->setChecked(!frame_.WetTires);
  autoPilot_->setVisible(frame_.ShowAutoPilot);
  DrawButtons();
}

bool SpeedPanelView::Open(int i) const {
  if (i < 0 || i >= kSpeedButtons) return false;
  const SpeedButton& b = frame_.Buttons[static_cast<size_t>(i)];
  return b.Enabled && b.Seen;
}

void SpeedPanelView::DrawButtons() {
  for (int i = 0; i < kSpeedButtons; ++i) {
    const SpeedButton& b = frame_.Buttons[static_cast<size_t>(i)];
    QPushButton* button = buttons_[static_cast<size_t>(i)];
    const dash::ButtonLook look = dash::SpeedLook(b.Colour);
    const bool selected = i == selected_;
    QString caption = QString::number(b.Speed);
    if (!look.Marker.isEmpty()) caption += QLatin1Char(' ') + look.Marker;
    button->setText((selected ? QStringLiteral("> ") : QString()) + WithKey(caption, KeyName(i)));
    button->setToolTip(look.Tip + (selected ? QStringLiteral(" (selected: Enter takes it)") : QString()));
    button->setStyleSheet(QStringLiteral("QPushButton { background: %1; color: %2; border: %3px solid %4; "
                                         "border-radius: 3px; padding: 2px 4px; font-weight: %5; }")
                              .arg(look.Background, look.Foreground,
                                   selected ? QStringLiteral("3") : QStringLiteral("1"),
                                   selected ? QStringLiteral("#0d47a1") : QStringLiteral("#555555"),
                                   selected ? QStringLiteral("bold") : QStringLiteral("normal")));
    button->setEnabled(b.Enabled);
    button->setVisible(b.Seen);
  }
}

void SpeedPanelView::Select(int i) {
  if (!Open(i)) return;
  selected_ = i;
  DrawButtons();
}

void SpeedPanelView::Step(int direction) {
  const int from = selected_ < 0 ? (direction > 0 ? -1 : kSpeedButtons) : selected_;
  for (int i = from + direction; i >= 0 && i < kSpeedButtons; i += direction) {
    if (Open(i)) {
      Select(i);
      return;
    }
  }
}

void SpeedPanelView::Take(int i) {
  // A press that arrives after the wait has ended is stale: the next frame will be drawn anew.
  if (!Open(i) || controller_.Busy() || controller_.Engine().WaitingFor() != Waiting::Speed) return;
  controller_.NewSpeed(i, frame_.DraftShown && draft_->isChecked());
}

bool SpeedPanelView::Key(int key, Qt::KeyboardModifiers modifiers) {
  if (modifiers & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier)) return false;
  if (key >= Qt::Key_0 && key <= Qt::Key_9) {
    Select(key - Qt::Key_0);
    return true;
  }
  if (key >= Qt::Key_A && key <= Qt::Key_C) {
    Select(10 + key - Qt::Key_A);
    return true;
  }
  switch (key) {
    case Qt::Key_Up: Step(+1); return true;
    case Qt::Key_Down: Step(-1); return true;
    case Qt::Key_Return:
    case Qt::Key_Enter: Take(selected_); return true;
    case Qt::Key_D:
      if (frame_.DraftShown) draft_->toggle();
      return true;
    case Qt::Key_T:
      if (frame_.ShowTires) controller_.ChooseTires(!frame_.WetTires);
      return true;
    case Qt::Key_O:
      if (frame_.ShowAutoPilot) autoPilot_->click();
      return true;
    default: return false;
  }
}

}  // namespace vm
