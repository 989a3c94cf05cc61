#include "app/race/dashboard.h"

#include "app/game_controller.h"

namespace vm {

Dashboard::Dashboard(GameController& controller, QWidget* parent) : QWidget(parent), controller_(controller) {
  setObjectName(QStringLiteral("picDashboard"));
}

void Dashboard::Refresh() { update(); }

}  // namespace vm
