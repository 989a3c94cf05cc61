// The season's windows by their form names, for the screenshots and anything that opens a form by
// name: the setup (frmSeasonSetup) and the standings of the season loaded (frmSeasonDisplay).
#pragma once

namespace vm {

class GameController;

void RegisterSeasonDialogs(GameController& controller);

}  // namespace vm
