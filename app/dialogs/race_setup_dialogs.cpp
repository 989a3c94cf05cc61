#include "app/dialogs/race_setup_dialogs.h"

#include <QDialog>
#include <memory>
#include <string>

#include "app/dialogs/race_setup_form.h"
#include "app/dialogs/race_setup_options.h"
#include "app/game_controller.h"

namespace vm {

void RegisterRaceSetupDialogs(GameController& controller) {
  controller.SetDialog(std::string(kRaceSetupName), [](GameController& c, QWidget* parent) -> std::unique_ptr<QDialog> {
    return std::make_unique<RaceSetupForm>(c, parent);
  });
  // No dialog when VMR.ini cannot be read: the player has been told which file is missing.
  controller.SetDialog(
      std::string(kRaceOptionsName),
      [](GameController& c, QWidget* parent) -> std::unique_ptr<QDialog> { return RaceOptionsForm::Open(c, parent); });
}

}  // namespace vm
