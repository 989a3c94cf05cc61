#include "app/dialogs/track_dialogs.h"

#include "app/game_controller.h"

namespace vm {

void RegisterTrackDialogs(GameController& controller) { (void)controller; }

}  // namespace vm
