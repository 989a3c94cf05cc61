// Pictures of the program's windows without a screen: the main window or any dialog of the game,
// rendered offscreen and written as PNG, so tests and reviewers can look at each of them.
#pragma once

#include <QString>
#include <string>

namespace vm {

class GameController;
class MainWindow;

// "frmMain" for the main window, or a dialog's form name. Returns "" when written, else why not.
std::string SaveScreenshot(GameController& controller, MainWindow& window, const std::string& show,
                           const QString& file);

}  // namespace vm
