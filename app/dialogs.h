// The game's dialogs, each registered with the controller under its form name.
#pragma once

namespace vm {

class GameController;

void RegisterDialogs(GameController& controller);

}  // namespace vm
