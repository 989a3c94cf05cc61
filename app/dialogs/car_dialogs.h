// Dialogs of the car setup (frmCarSetup) and the result table editor (frmResultTableSetup).
#pragma once

namespace vm {

class GameController;

// Registers the dialogs with the controller under their form names.
void RegisterCarDialogs(GameController& controller);

}  // namespace vm
