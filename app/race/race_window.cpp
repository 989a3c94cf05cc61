#include "app/race/race_window.h"

#include <QHBoxLayout>
#include <QSplitter>

#include "app/game_controller.h"
#include "app/race/circuit_view.h"
#include "app/race/dashboard.h"

namespace vm {

RaceWindow::RaceWindow(GameController& controller, QWidget* parent) : QWidget(parent), controller_(controller) {
  setObjectName(QStringLiteral("frmTrack"));
  circuit_ = new CircuitView(controller_);
  dashboard_ = new Dashboard(controller_);
  auto* split = new QSplitter(Qt::Horizontal);
  split->addWidget(circuit_);
  split->addWidget(dashboard_);
  split->setStretchFactor(0, 3);
  split->setStretchFactor(1, 2);
  auto* layout = new QHBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(split);
  connect(&controller_, &GameController::raceChanged, this, &RaceWindow::Refresh);
  connect(&controller_, &GameController::commandsChanged, this, &RaceWindow::Refresh);
}

void RaceWindow::Refresh() {
  circuit_->Refresh();
  dashboard_->Refresh();
}

}  // namespace vm
