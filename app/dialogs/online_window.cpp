#include "app/dialogs/online_window.h"

#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "app/game_controller.h"
#include "online/online_race.h"

namespace vm {

namespace {

QLineEdit* NameBox(const char* name) {
  auto* box = new QLineEdit;
  box->setObjectName(QString::fromLatin1(name));
  box->setReadOnly(true);
  box->setMinimumWidth(220);
  return box;
}

QString CarAndDriver(const RaceState& rs, int car) {
  if (!IsCarNumber(car)) return QString();
  return QStringLiteral("%1 (car %2)").arg(QString::fromStdString(rs.DriverName[car])).arg(car);
}

}  // namespace

OnlineWindow::OnlineWindow(GameController& controller, QWidget* parent)
    : QWidget(parent, Qt::Window), controller_(controller) {
  setObjectName(QStringLiteral("frmOnlineWindow"));
  setWindowTitle(QStringLiteral("Online Race"));
  txtDriverName_ = NameBox("txtDriverName");
  txtCurrentDriverName_ = NameBox("txtCurrentDriverName");
  lblTurn_ = new QLabel;
  lblTurn_->setObjectName(QStringLiteral("lblTurn"));
  lblTurn_->setWordWrap(true);
  cmdLoadTip_ = new QPushButton(QStringLiteral("&Load TIP"));
  cmdLoadTip_->setObjectName(QStringLiteral("cmdLoadTip"));
  cmdLoadTip_->setToolTip(QStringLiteral("Puts the last race state from the host into play again"));
  cmdAutoPilot_ = new QPushButton;
  cmdAutoPilot_->setObjectName(QStringLiteral("cmdAutoPilot"));
  cmdAutoPilot_->setToolTip(
      QStringLiteral("Hands the car whose player does not answer to the AI for the rest "
                     "of the race"));

  auto* form = new QFormLayout;
  form->addRow(QStringLiteral("Your driver:"), txtDriverName_);
  form->addRow(QStringLiteral("Driver to move:"), txtCurrentDriverName_);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(cmdLoadTip_);
  buttons->addWidget(cmdAutoPilot_);
  buttons->addStretch(1);
  auto* column = new QVBoxLayout(this);
  column->addLayout(form);
  column->addWidget(lblTurn_);
  column->addLayout(buttons);

  connect(cmdLoadTip_, &QPushButton::clicked, this, [this] { controller_.LoadTipAgain(); });
  connect(cmdAutoPilot_, &QPushButton::clicked, this, [this] {
    if (autoPilotCar_ != 0) controller_.AutoPilotCar(autoPilotCar_);
  });
  Refresh();
}

void OnlineWindow::Refresh() {
  const OnlineRace* race = controller_.Shared();
  if (race == nullptr) return;
  const RaceState& rs = controller_.Race();
  const bool host = race->OnlineHost;
  const Waiting w = controller_.Engine().WaitingFor();
  const bool turn = w == Waiting::Speed || w == Waiting::Steering || w == Waiting::PitContinue;
  txtDriverName_->setText(race->OnlineCar != 0 ? CarAndDriver(rs, race->OnlineCar)
                                               : QStringLiteral("(no car yet: the host gives one)"));
  // The host knows whose turn it is from his own race; a client from the last record.
  const int current = host ? (turn ? rs.CurrentCar : 0) : race->Tip.TipCar;
  txtCurrentDriverName_->setText(CarAndDriver(rs, current));
  QString says;
  if (w == Waiting::RaceOver)
    says = QStringLiteral("The race is over.");
  else if (controller_.Online() && rs.RaceRunning)
    says = controller_.LocalTurn() ? QStringLiteral("Your turn.") : QString::fromStdString(controller_.WaitingText());
  lblTurn_->setText(says);

  // A client may take the last record again when the turn seems lost; the host has none to take.
  cmdLoadTip_->setVisible(!host);
  cmdLoadTip_->setEnabled(!host && race->Tip.TipCar != 0 && race->WaitingForOther && w != Waiting::RaceOver);
  // The host may hand over a car whose player is awaited: gone, or silent.
  autoPilotCar_ = 0;
  if (host && turn && !controller_.Busy() && IsCarNumber(rs.CurrentCar) && race->RemoteConnection[rs.CurrentCar] != 0)
    autoPilotCar_ = rs.CurrentCar;
  cmdAutoPilot_->setVisible(host);
  cmdAutoPilot_->setEnabled(autoPilotCar_ != 0);
  cmdAutoPilot_->setText(autoPilotCar_ != 0 ? QStringLiteral("Auto-pilot car %1").arg(autoPilotCar_)
                                            : QStringLiteral("Auto-pilot"));
}

}  // namespace vm
