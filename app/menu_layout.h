// The menu bar of the main window: which commands stand under which menu, with their captions
// before the modes set any, and their keys. The enabled states and captions in force come from the
// session's command table.
#pragma once

#include <QKeySequence>
#include <optional>
#include <string_view>
#include <vector>

#include "game/modes.h"

namespace vm {

// Commands of the window alone, beside the game's own.
enum class WindowCommand { None, FileExit, HelpAbout, ViewResultTables };

struct MenuItem {
  Cmd Command = Cmd::Count;  // Cmd::Count for a window command
  WindowCommand Window = WindowCommand::None;
  std::string_view Caption;
  QKeySequence Keys;
};

struct Menu {
  std::optional<Cmd> Level;  // the command whose state the whole menu follows; none: always there
  std::string_view Caption;
  std::vector<MenuItem> Items;
};

// The menus in their order on the bar.
const std::vector<Menu>& MenuLayout();

}  // namespace vm
