#include "app/dialogs/race_setup_dialogs.h"

#include "app/game_controller.h"

namespace vm {

void RegisterRaceSetupDialogs(GameController& controller) { (void)controller; }

}  // namespace vm
