// The car setup window (frmCarSetup): a field of cars edited through CarSetupDialog, with each
// car's picture shown large.
#pragma once

#include <QDialog>
#include <memory>

namespace vm {

class GameController;

// Builds the window over the game's cars; OK keeps the edits, Cancel and Escape put them back.
std::unique_ptr<QDialog> MakeCarSetupWindow(GameController& controller, QWidget* parent);

}  // namespace vm
