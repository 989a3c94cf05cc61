#include "app/race/race_window.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QSplitter>
#include <QTimer>

#include "app/game_controller.h"
#include "app/race/circuit_view.h"
#include "app/race/dashboard.h"
#include "rules/weather.h"

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
  ShowWeatherChange();
}

void RaceWindow::ShowWeatherChange() {
  const RaceState& rs = controller_.Race();
  if (!rs.RaceRunning || !rs.WeatherEnabled) {
    shownSky_.clear();
    return;
  }
  const std::string sky = "Weather - " + SkyText(rs.WeatherValue) + ", Track - " + rs.TrackCondition;
  const bool changed = !shownSky_.empty() && sky != shownSky_;
  shownSky_ = sky;
  if (!changed || rs.FirstHumanCar != 0) return;
  if (weatherHover_ == nullptr) {
    weatherHover_ = new QLabel(circuit_);
    weatherHover_->setObjectName(QStringLiteral("frmWeatherHover"));
    weatherHover_->setFrameStyle(QFrame::Box);
    weatherHover_->setAutoFillBackground(true);
    weatherHover_->setMargin(10);
    QFont big = weatherHover_->font();
    big.setPointSizeF(big.pointSizeF() * 1.4);
    big.setBold(true);
    weatherHover_->setFont(big);
    hoverTimer_ = new QTimer(this);
    hoverTimer_->setSingleShot(true);
    connect(hoverTimer_, &QTimer::timeout, weatherHover_, &QWidget::hide);
  }
  weatherHover_->setText(QString::fromStdString(sky));
  weatherHover_->adjustSize();
  weatherHover_->move((circuit_->width() - weatherHover_->width()) / 2, 12);
  weatherHover_->show();
  weatherHover_->raise();
  hoverTimer_->start(2000);
}

}  // namespace vm
