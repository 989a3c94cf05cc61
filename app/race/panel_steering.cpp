#include "app/race/panel_steering.h"

#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>
#include <cmath>

#include "app/game_controller.h"
#include "app/race/dashboard_parts.h"

namespace vm {

using dash::Q;
using dash::WithKey;

namespace {

const QString kKeyLeft = QStringLiteral("\u2190");
const QString kKeyRight = QStringLiteral("\u2192");
const QString kKeyStraight = QStringLiteral("\u2191");

QPushButton* StepButton(const char* name, QWidget* parent) {
  auto* b = new QPushButton(parent);
  b->setObjectName(QString::fromLatin1(name));
  b->setFocusPolicy(Qt::NoFocus);
  b->setMinimumHeight(34);
  QSizePolicy keep = b->sizePolicy();
  keep.setRetainSizeWhenHidden(true);
  b->setSizePolicy(keep);
  return b;
}

QLabel* Notice(const char* name, const QString& text, const char* style, QWidget* parent) {
  auto* label = new QLabel(text, parent);
  label->setObjectName(QString::fromLatin1(name));
  label->setStyleSheet(QString::fromLatin1(style));
  label->setAlignment(Qt::AlignCenter);
  return label;
}

void ShowButton(QPushButton* b, const SteeringButton& s, const QString& key) {
  b->setText(WithKey(Q(s.Caption), key));
  b->setVisible(s.Visible);
  b->setEnabled(s.Visible && s.Enabled);
}

}  // namespace

SteeringPanelView::SteeringPanelView(GameController& controller, QWidget* parent)
    : QWidget(parent), controller_(controller) {
  setObjectName(QStringLiteral("frameSteering"));
  straight_ = StepButton("cmdStraight", this);
  left_ = StepButton("cmdLeft", this);
  right_ = StepButton("cmdRight", this);
  inTurnLeft_ = StepButton("cmdInTurnLeft", this);
  inTurnRight_ = StepButton("cmdInTurnRight", this);
  enterPit_ = StepButton("cmdEnterPit", this);
  endEarly_ = StepButton("cmdEndEarly", this);
  enterPit_->setText(WithKey(QStringLiteral("Enter Pit"), QStringLiteral("P")));
  endEarly_->setText(WithKey(QStringLiteral("End Move"), QStringLiteral("E")));
  endEarly_->setToolTip(QStringLiteral("Stops short: the blocks left are paid as braking"));
  const std::pair<QPushButton*, SteeringCommand> commands[] = {{straight_, SteeringCommand::cmdStraight},
                                                               {left_, SteeringCommand::cmdLeft},
                                                               {right_, SteeringCommand::cmdRight},
                                                               {inTurnLeft_, SteeringCommand::cmdInTurnLeft},
                                                               {inTurnRight_, SteeringCommand::cmdInTurnRight},
                                                               {enterPit_, SteeringCommand::cmdEnterPit},
                                                               {endEarly_, SteeringCommand::cmdEndEarly}};
  for (const auto& [button, command] : commands)
    connect(button, &QPushButton::clicked, this, [this, c = command] { Press(c); });

  blocks_ = new QLabel(this);
  blocks_->setObjectName(QStringLiteral("txtMovementBlocks"));
  blocks_->setAlignment(Qt::AlignCenter);
  QFont big = blocks_->font();
  big.setBold(true);
  big.setPointSizeF(big.pointSizeF() * 1.6);
  blocks_->setFont(big);
  blocks_->setToolTip(QStringLiteral("Movement blocks left in this move"));
  slip1_ = Notice("lblSlipstream1", QStringLiteral("Slipstream +20"), "color: #1b5e20; font-weight: bold;", this);
  slip2_ = Notice("lblSlipstream2", QStringLiteral("Slipstream +40"), "color: #1b5e20; font-weight: bold;", this);
  slipCancelled_ = Notice("lblSlipstreamCancelled", QString(), "color: #b71c1c;", this);
  blueFlag_ = Notice("ImgBlueFlag", QStringLiteral("Blue flag: make way"),
                     "background: #1565c0; color: white; font-weight: bold; padding: 2px;", this);

  auto* grid = new QGridLayout;
  grid->setSpacing(4);
  grid->addWidget(inTurnLeft_, 0, 0);
  grid->addWidget(straight_, 0, 1);
  grid->addWidget(inTurnRight_, 0, 2);
  grid->addWidget(left_, 1, 0);
  grid->addWidget(blocks_, 1, 1);
  grid->addWidget(right_, 1, 2);
  grid->addWidget(enterPit_, 2, 0);
  grid->addWidget(endEarly_, 2, 2);
  auto* column = new QVBoxLayout(this);
  column->setContentsMargins(0, 0, 0, 0);
  column->addLayout(grid);
  column->addWidget(slip1_);
  column->addWidget(slip2_);
  column->addWidget(slipCancelled_);
  column->addWidget(blueFlag_);
}

void SteeringPanelView::Load(const SteeringPanel& panel) {
  panel_ = panel;
  ShowButton(straight_, panel.Straight, kKeyStraight);
  ShowButton(left_, panel.Left, kKeyLeft);
  ShowButton(right_, panel.Right, kKeyRight);
  ShowButton(inTurnLeft_, panel.InTurnLeft, QStringLiteral("Shift+") + kKeyLeft);
  ShowButton(inTurnRight_, panel.InTurnRight, QStringLiteral("Shift+") + kKeyRight);
  enterPit_->setVisible(panel.EnterPitVisible);
  enterPit_->setEnabled(panel.EnterPitVisible);
  endEarly_->setEnabled(panel.SpacesLeft >= 1);
  const int blocks = static_cast<int>(std::floor(panel.SpacesLeft));
  blocks_->setText(QString::number(blocks) + (blocks == 1 ? QStringLiteral(" block") : QStringLiteral(" blocks")));
  slip1_->setVisible(panel.Slipstream1Shown);
  slip2_->setVisible(panel.Slipstream2Shown);
  slipCancelled_->setText(Q(panel.SlipstreamCancelled));
  slipCancelled_->setVisible(!panel.SlipstreamCancelled.empty());
  blueFlag_->setVisible(panel.BlueFlagShown);
}

bool SteeringPanelView::Open(SteeringCommand command) const {
  switch (command) {
    case SteeringCommand::cmdStraight: return panel_.Straight.Visible && panel_.Straight.Enabled;
    case SteeringCommand::cmdLeft: return panel_.Left.Visible && panel_.Left.Enabled;
    case SteeringCommand::cmdRight: return panel_.Right.Visible && panel_.Right.Enabled;
    case SteeringCommand::cmdInTurnLeft: return panel_.InTurnLeft.Visible && panel_.InTurnLeft.Enabled;
    case SteeringCommand::cmdInTurnRight: return panel_.InTurnRight.Visible && panel_.InTurnRight.Enabled;
    case SteeringCommand::cmdEnterPit: return panel_.EnterPitVisible;
    case SteeringCommand::cmdEndEarly: return panel_.SpacesLeft >= 1;
  }
  return false;
}

void SteeringPanelView::Press(SteeringCommand command) {
  if (!Open(command) || controller_.Busy() || controller_.Engine().WaitingFor() != Waiting::Steering) return;
  controller_.Steer(command);
}

bool SteeringPanelView::Key(int key, Qt::KeyboardModifiers modifiers) {
  if (modifiers & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier)) return false;
  const bool shift = modifiers & Qt::ShiftModifier;
  switch (key) {
    case Qt::Key_Up: Press(SteeringCommand::cmdStraight); return true;
    case Qt::Key_Left: Press(shift ? SteeringCommand::cmdInTurnLeft : SteeringCommand::cmdLeft); return true;
    case Qt::Key_Right: Press(shift ? SteeringCommand::cmdInTurnRight : SteeringCommand::cmdRight); return true;
    case Qt::Key_P: Press(SteeringCommand::cmdEnterPit); return true;
    case Qt::Key_E: Press(SteeringCommand::cmdEndEarly); return true;
    default: return false;
  }
}

}  // namespace vm
