#include "app/race/circuit_view.h"

#include "app/game_controller.h"

namespace vm {

CircuitView::CircuitView(GameController& controller, QWidget* parent) : QWidget(parent), controller_(controller) {
  setObjectName(QStringLiteral("picTrack"));
}

void CircuitView::Refresh() { update(); }

}  // namespace vm
