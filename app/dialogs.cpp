#include "app/dialogs.h"

#include "app/dialogs/about_dialog.h"
#include "app/dialogs/car_dialogs.h"
#include "app/dialogs/race_setup_dialogs.h"
#include "app/dialogs/season_dialogs.h"
#include "app/dialogs/track_dialogs.h"
#include "app/game_controller.h"

namespace vm {

void RegisterDialogs(GameController& controller) {
  RegisterRaceSetupDialogs(controller);
  RegisterCarDialogs(controller);
  RegisterTrackDialogs(controller);
  RegisterAboutDialog(controller);
  RegisterSeasonDialogs(controller);
}

}  // namespace vm
