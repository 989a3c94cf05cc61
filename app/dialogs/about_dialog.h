// frmAbout: the program's name, version and makers.
#pragma once

namespace vm {

class GameController;

void RegisterAboutDialog(GameController& controller);

}  // namespace vm
