// Dialogs of the track chooser (frmTrackLoad) with the circuit's picture.
#pragma once

namespace vm {

class GameController;

// Registers the dialogs with the controller under their form names.
void RegisterTrackDialogs(GameController& controller);

}  // namespace vm
