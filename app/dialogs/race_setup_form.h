// frmRaceSetup: the settings of the coming race (or practice session) over the game's race state.
#pragma once

#include <QDialog>

#include "game/race_setup.h"

class QCheckBox;
class QComboBox;
class QFormLayout;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;

namespace vm {

class GameController;
class PointsFrame;

class RaceSetupForm : public QDialog {
 public:
  RaceSetupForm(GameController& controller, QWidget* parent);

  // OK takes the values into the race; Cancel, Escape and closing leave it without a track.
  void accept() override;
  void reject() override;

 private:
  void BuildForm();
  void Connect();
  // Shows the model's controls after any event: the model decides values, lists and states.
  void Refresh();
  void LoadDefaultSettings();
  void OpenCarSetup();

  GameController& controller_;
  RaceSetupDialog model_;

  QGroupBox *fraField_ = nullptr, *fraLength_ = nullptr, *fraQualifying_ = nullptr, *fraSetupPoints_ = nullptr,
            *fraPits_ = nullptr;
  PointsFrame* fraPoints_ = nullptr;
  QLabel* lblField_ = nullptr;
  QFormLayout* pitForm_ = nullptr;
  QComboBox *cmbCarsRacing_ = nullptr, *cmbTotalLaps_ = nullptr, *cmbQualifying_ = nullptr,
            *cmbCarSetupPoints_ = nullptr, *cmbMinPitStops_ = nullptr, *cmbStartAllotment_ = nullptr,
            *cmbPitReplenishment_ = nullptr, *cmbTurnsInPit_ = nullptr;
  QCheckBox *CheckAllowRequal_ = nullptr, *chkManDRE_ = nullptr, *chkLOS_ = nullptr, *chkLOSRnd_ = nullptr,
            *chkDTESSC_ = nullptr, *chkAAFES_ = nullptr, *chkABF_ = nullptr, *chkASIT_ = nullptr, *chkPLC_ = nullptr,
            *chkUndoDisabled_ = nullptr, *chkWeatherEnabled_ = nullptr, *chkPitLaneOpen_ = nullptr,
            *chkPitLaneRepairOnly_ = nullptr;
  QLineEdit* txtMiles_ = nullptr;
  QPushButton *cmdOK_ = nullptr, *cmdCancel_ = nullptr, *cmdRSLoadTrack_ = nullptr, *cmdResultTables_ = nullptr,
              *cmdCarSetup_ = nullptr, *cmdLoadDefaults_ = nullptr;
};

}  // namespace vm
