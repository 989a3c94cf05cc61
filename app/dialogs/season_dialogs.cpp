#include "app/dialogs/season_dialogs.h"

#include <QDialog>
#include <memory>

#include "app/dialogs/season_display_window.h"
#include "app/dialogs/season_setup_window.h"
#include "app/game_controller.h"

namespace vm {

void RegisterSeasonDialogs(GameController& controller) {
  controller.SetDialog("frmSeasonSetup", [](GameController& c, QWidget* parent) {
    return MakeSeasonSetupWindow(c.Race(), c.Ui(), c.Session().AppPath, parent);
  });
  controller.SetDialog("frmSeasonDisplay", [](GameController& c, QWidget* parent) {
    return MakeSeasonDisplayWindow(c.Season().Season(), c.Session().TracksFolder, c.Session().SeasonRaceStored, parent);
  });
}

}  // namespace vm
