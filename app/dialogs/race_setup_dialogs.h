// Dialogs of the race setup (frmRaceSetup) and the default game settings (frmRaceOptions).
#pragma once

namespace vm {

class GameController;

// Registers the dialogs with the controller under their form names.
void RegisterRaceSetupDialogs(GameController& controller);

}  // namespace vm
