#include "app/dialogs/car_dialogs.h"

#include <QDialog>
#include <memory>

#include "app/dialogs/car_setup_window.h"
#include "app/dialogs/result_table_window.h"
#include "app/game_controller.h"

namespace vm {

void RegisterCarDialogs(GameController& controller) {
  controller.SetDialog("frmCarSetup", [](GameController& c, QWidget* parent) { return MakeCarSetupWindow(c, parent); });
  controller.SetDialog("frmResultTableSetup",
                       [](GameController& c, QWidget* parent) { return MakeResultTableWindow(c, parent); });
}

}  // namespace vm
