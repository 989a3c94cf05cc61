// frmRaceOptions, "Default Game Settings": edits VMR.ini in the data folder without touching a race.
#pragma once

#include <QDialog>
#include <array>
#include <memory>
#include <string>

#include "game/race_setup.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QSlider;

namespace vm {

class GameController;
class PointsFrame;

class RaceOptionsForm : public QDialog {
 public:
  // Null when the settings cannot be read; the model has said so then.
  static std::unique_ptr<RaceOptionsForm> Open(GameController& controller, QWidget* parent);

  // Writes the file; stays open while no car file or no result table is chosen.
  void accept() override;

 private:
  RaceOptionsForm(GameController& controller, std::unique_ptr<RaceOptionsDialog> model, QWidget* parent);
  void BuildForm();
  void Connect();
  void Refresh();

  GameController& controller_;
  std::unique_ptr<RaceOptionsDialog> model_;
  int preset_ = kCustomPointsIndex;
  // What the place and bonus boxes show: a place box keeps a stray text, counted as 0.
  std::array<std::string, kEditablePlaces> places_;
  std::array<std::string, 4> bonus_;

  QComboBox *cmbTotalLaps_ = nullptr, *cmbCarsRacing_ = nullptr, *cmbQualifying_ = nullptr,
            *cmbCarSetupPoints_ = nullptr, *cmbDefaultCarFile_ = nullptr, *cmbDefaultResultTable_ = nullptr,
            *cmbDefaultTeamFile_ = nullptr;
  QCheckBox* CheckAllowRequal_ = nullptr;
  QSlider* sldCarMovementDelay_ = nullptr;
  QLabel* lblDelay_ = nullptr;
  QLabel* lblRefused_ = nullptr;
  PointsFrame* fraPoints_ = nullptr;
};

}  // namespace vm
