// The result table editor window (frmResultTableSetup) over ResultTableEditor.
#pragma once

#include <QDialog>
#include <memory>

namespace vm {

class GameController;

// Builds the editor over the game's result tables; OK keeps the edits, Cancel and Escape put
// the ranges back.
std::unique_ptr<QDialog> MakeResultTableWindow(GameController& controller, QWidget* parent);

}  // namespace vm
