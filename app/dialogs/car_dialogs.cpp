#include "app/dialogs/car_dialogs.h"

#include "app/game_controller.h"

namespace vm {

void RegisterCarDialogs(GameController& controller) { (void)controller; }

}  // namespace vm
