// The race setup and default settings dialogs drive their models: a change in a widget reaches the
// race (or VMR.ini) on OK and nothing on Cancel, the pit frame follows the race length, the point
// presets fill the boxes, and the buttons reach the other dialogs.
#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSlider>
#include <QTest>
#include <QTimer>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include "core/textfile.h"
#include "core/units.h"
#include "game/settings_file.h"
#include "tests/app/app_fixture.h"

namespace vm {
namespace {

using testing_support::Child;

// Picks the entry of a combo box as the player would.
void Pick(QDialog& dialog, const char* box, const char* text) {
  QComboBox* combo = Child<QComboBox>(dialog, box);
  const int at = combo->findText(QString::fromLatin1(text));
  ASSERT_GE(at, 0) << box << " has no " << text;
  combo->setCurrentIndex(at);
}

std::string Shown(QDialog& dialog, const char* box) {
  return Child<QComboBox>(dialog, box)->currentText().toStdString();
}

// Replaces the text of a box by typing, leaving the box as the player would.
void Type(QDialog& dialog, const char* box, const char* text) {
  QLineEdit* edit = Child<QLineEdit>(dialog, box);
  edit->selectAll();
  QTest::keyClicks(edit, QString::fromLatin1(text));
  Q_EMIT edit->editingFinished();
}

// A stand-in for a dialog someone else owns: it runs `seen` when opened and closes at once.
GameController::DialogFactory StandIn(std::function<void(GameController&)> seen) {
  return [seen = std::move(seen)](GameController& c, QWidget* parent) -> std::unique_ptr<QDialog> {
    seen(c);
    auto dialog = std::make_unique<QDialog>(parent);
    QTimer::singleShot(0, dialog.get(), &QDialog::accept);
    return dialog;
  };
}

class RaceSetupDialogTest : public testing_support::AppFixture {
 protected:
  std::unique_ptr<QDialog> Open(std::string_view mode = kModeSingle) {
    if (!started_) StartUp();
    started_ = true;
    controller.Race().GameMode = std::string(mode);
    std::unique_ptr<QDialog> dialog = controller.MakeDialog("frmRaceSetup");
    EXPECT_NE(dialog, nullptr);
    return dialog;
  }

  bool started_ = false;
};

TEST_F(RaceSetupDialogTest, OkTakesTheWidgetsIntoTheRaceAndCancelLeavesIt) {
  for (const bool ok : {false, true}) {
    SCOPED_TRACE(ok ? "OK" : "Cancel");
    const std::unique_ptr<QDialog> dialog = Open();
    const RaceState& rs = controller.Race();
    ASSERT_EQ(std::tuple(rs.RaceLaps, rs.QualifyingMethod, rs.OptBlueFlag), std::tuple(50, "Start Speed", true));
    Pick(*dialog, "cmbTotalLaps", "30");
    Pick(*dialog, "cmbQualifying", "Single Lap");
    Pick(*dialog, "cmbCarsRacing", "3");
    Pick(*dialog, "cmbCarSetupPoints", "11");
    Child<QCheckBox>(*dialog, "chkABF")->click();
    Child<QCheckBox>(*dialog, "chkManDRE")->click();
    Child<QCheckBox>(*dialog, "chkUndoDisabled")->click();
    // Requalifying by start speed has no meaning for another method.
    EXPECT_TRUE(Child<QCheckBox>(*dialog, "CheckAllowRequal")->isHidden());
    EXPECT_EQ(rs.RaceLaps, 50);  // nothing before OK

    if (ok) {
      dialog->accept();
      EXPECT_EQ(std::tuple(rs.RaceLaps, rs.SavedRaceLaps, rs.QualifyingMethod, rs.CarCount, rs.CarSetupPoints),
                std::tuple(30, 30, "Single Lap", 3, 11));
      EXPECT_EQ(std::tuple(rs.OptBlueFlag, rs.AllowManualDice, rs.UndoDisabled), std::tuple(false, true, true));
      EXPECT_EQ(dialog->result(), QDialog::Accepted);
    } else {
      dialog->reject();
      EXPECT_EQ(std::tuple(rs.RaceLaps, rs.QualifyingMethod, rs.CarCount, rs.OptBlueFlag, rs.UndoDisabled),
                std::tuple(50, "Start Speed", 8, true, false));
      EXPECT_EQ(controller.Session().PendingTrackFile, "CANCEL.LOAD");
    }
  }
}

TEST_F(RaceSetupDialogTest, TitleFieldLabelAndFramesFollowTheMode) {
  struct Case {
    std::string_view Mode;
    const char* Title;
    const char* Field;
    bool Frames;
    int LapsAfterOk;
  };
  // Practice first: it must leave the delivered 50 laps alone.
  for (const Case& c : {Case{kModePractice, "Practice Setup", "Cars In Session", false, 50},
                        Case{kModeSingle, "Race Setup", "Starting Field", true, 20}}) {
    SCOPED_TRACE(c.Mode);
    const std::unique_ptr<QDialog> dialog = Open(c.Mode);
    EXPECT_EQ(dialog->windowTitle().toStdString(), c.Title);
    EXPECT_EQ(Child<QLabel>(*dialog, "lblField")->text().remove(QLatin1Char('&')).toStdString(), c.Field);
    for (const char* frame : {"fraPoints", "fraLength", "fraQualifying", "fraSetupPoints", "fraPits"})
      EXPECT_EQ(Child<QGroupBox>(*dialog, frame)->isHidden(), !c.Frames) << frame;
    Pick(*dialog, "cmbTotalLaps", "20");
    dialog->accept();
    EXPECT_EQ(controller.Race().RaceLaps, c.LapsAfterOk);
  }
}

TEST_F(RaceSetupDialogTest, ThePitFrameFollowsTheRaceLength) {
  const std::unique_ptr<QDialog> dialog = Open();
  const RaceState& rs = controller.Race();
  EXPECT_EQ(Child<QGroupBox>(*dialog, "fraPits")->title().toStdString(), "Pit Stops (Race Length >= 10 laps)");
  auto* pitLane = Child<QCheckBox>(*dialog, "chkPitLaneOpen");
  auto* repairOnly = Child<QCheckBox>(*dialog, "chkPitLaneRepairOnly");
  auto* stops = Child<QComboBox>(*dialog, "cmbMinPitStops");

  // A short race has no pit lane; in the weather it offers one for tires, and OK still closes it.
  Pick(*dialog, "cmbTotalLaps", "9");
  EXPECT_EQ(std::tuple(pitLane->isChecked(), pitLane->isEnabled()), std::tuple(false, false));
  Child<QCheckBox>(*dialog, "chkWeatherEnabled")->click();
  EXPECT_EQ(std::tuple(pitLane->isChecked(), pitLane->isEnabled(), repairOnly->isChecked(), stops->isHidden()),
            std::tuple(true, true, true, true));
  EXPECT_TRUE(Child<QLabel>(*dialog, "lblMinPitStops")->isHidden());
  dialog->accept();
  EXPECT_EQ(std::tuple(rs.RaceLaps, rs.PitLaneOpen, rs.PitRepairOnly, rs.StartWearAllotment, rs.WeatherEnabled),
            std::tuple(9, false, false, 9, true));

  // A long race: the stops split the laps among the stints, and OK takes the split.
  const std::unique_ptr<QDialog> again = controller.MakeDialog("frmRaceSetup");
  Pick(*again, "cmbTotalLaps", "100");
  auto* open = Child<QCheckBox>(*again, "chkPitLaneOpen");
  ASSERT_TRUE(open->isEnabled());
  if (!open->isChecked()) open->click();
  auto* repair = Child<QCheckBox>(*again, "chkPitLaneRepairOnly");
  if (repair->isChecked()) repair->click();
  Pick(*again, "cmbMinPitStops", "5");
  EXPECT_EQ(std::tuple(Shown(*again, "cmbStartAllotment"), Shown(*again, "cmbPitReplenishment")),
            std::tuple("17", "17"));
  Pick(*again, "cmbStartAllotment", "40");  // a stint is never longer than the start's
  EXPECT_EQ(Shown(*again, "cmbPitReplenishment"), "40");
  Pick(*again, "cmbTurnsInPit", "3");
  again->accept();
  EXPECT_EQ(std::tuple(rs.PitLaneOpen, rs.MinPitStops, rs.StartWearAllotment, rs.PitReplenishment, rs.MinPitDuration),
            std::tuple(true, 5, 40, 40, 3));
}

TEST_F(RaceSetupDialogTest, PointPresetsFillTheBoxesAndBoxesReachTheRace) {
  const std::unique_ptr<QDialog> dialog = Open();
  const RaceState& rs = controller.Race();
  EXPECT_TRUE(Child<QAbstractButton>(*dialog, "optPointStructure0")->isChecked());  // VMR.ini holds 2003's

  Child<QAbstractButton>(*dialog, "optPointStructure1")->click();
  EXPECT_EQ(Child<QLineEdit>(*dialog, "txtPS2")->text().toStdString(), "6");
  EXPECT_EQ(std::tuple(rs.PointStructure[2], rs.PointStructure[7]), std::tuple(6, 0));

  Type(*dialog, "txtPS7", "2");
  Type(*dialog, "txtPS3", "x");  // not a number: counts as 0 and the box keeps it
  EXPECT_EQ(std::tuple(rs.PointStructure[7], rs.PointStructure[3]), std::tuple(2, 0));
  EXPECT_EQ(Child<QLineEdit>(*dialog, "txtPS3")->text().toStdString(), "x");
  Type(*dialog, "txtPole", "abc");  // a bonus box shows the 0 as well
  EXPECT_EQ(std::tuple(Child<QLineEdit>(*dialog, "txtPole")->text().toStdString(), rs.PointsPole), std::tuple("0", 0));

  // A bonus still being typed when OK is pressed counts too.
  QLineEdit* fastLap = Child<QLineEdit>(*dialog, "txtFastLap");
  fastLap->selectAll();
  QTest::keyClicks(fastLap, QStringLiteral("3"));
  dialog->accept();
  EXPECT_EQ(rs.PointsFastLap, 3);
}

TEST_F(RaceSetupDialogTest, KeyboardEnterAcceptsAndEscapeCancels) {
  const std::unique_ptr<QDialog> dialog = Open();
  EXPECT_TRUE(Child<QPushButton>(*dialog, "cmdOK")->isDefault());
  for (const char* other : {"cmdRSLoadTrack", "cmdResultTables", "cmdCarSetup", "cmdLoadDefaults"})
    EXPECT_FALSE(Child<QPushButton>(*dialog, other)->autoDefault()) << other;
  dialog->show();
  Pick(*dialog, "cmbTotalLaps", "40");
  QTest::keyClick(dialog.get(), Qt::Key_Escape);
  EXPECT_EQ(dialog->result(), QDialog::Rejected);
  EXPECT_EQ(controller.Race().RaceLaps, 50);

  const std::unique_ptr<QDialog> again = controller.MakeDialog("frmRaceSetup");
  again->show();
  Pick(*again, "cmbTotalLaps", "40");
  QTest::keyClick(again.get(), Qt::Key_Return);
  EXPECT_EQ(again->result(), QDialog::Accepted);
  EXPECT_EQ(controller.Race().RaceLaps, 40);
}

TEST_F(RaceSetupDialogTest, TheButtonsReachTheOtherDialogs) {
  const std::unique_ptr<QDialog> dialog = Open();
  RaceState& rs = controller.Race();

  // "Car Setup " hands the dialog's values over first, and the field shrinks with the car file.
  int lapsSeen = 0;
  controller.SetDialog("frmCarSetup", StandIn([&](GameController& c) {
                         lapsSeen = c.Race().RaceLaps;
                         c.Race().CarsInFile = 3;
                       }));
  Pick(*dialog, "cmbTotalLaps", "30");
  Child<QPushButton>(*dialog, "cmdCarSetup")->click();
  EXPECT_EQ(lapsSeen, 30);
  EXPECT_EQ(std::tuple(Child<QComboBox>(*dialog, "cmbCarsRacing")->count(), Shown(*dialog, "cmbCarsRacing"),
                       Shown(*dialog, "cmbTotalLaps")),
            std::tuple(3, "3", "30"));

  bool tablesOpened = false;
  controller.SetDialog("frmResultTableSetup", StandIn([&](GameController&) { tablesOpened = true; }));
  Child<QPushButton>(*dialog, "cmdResultTables")->click();
  EXPECT_TRUE(tablesOpened);

  // "Load Default Settings" reads VMR.ini into the race again.
  rs.CarsInFile = 8;
  rs.RaceLaps = 20;
  Child<QPushButton>(*dialog, "cmdLoadDefaults")->click();
  EXPECT_EQ(std::tuple(Shown(*dialog, "cmbTotalLaps"), rs.RaceLaps), std::tuple("50", 50));

  // The track picked in "Load Track" is the one OK leaves for loading.
  controller.Session().PendingTrackFile = "CANCEL.LOAD";
  controller.SetDialog("frmTrackLoad", StandIn([](GameController& c) {
                         c.Session().PendingTrackFile = c.Session().TracksFolder + "Porto.trk";
                       }));
  Child<QPushButton>(*dialog, "cmdRSLoadTrack")->click();
  dialog->accept();
  EXPECT_EQ(controller.Session().PendingTrackFile, controller.Session().TracksFolder + "Porto.trk");
}

// Through the mode screen: OK loads a track and opens the race, Cancel does not, and an earlier
// Cancel does not hold back the next OK.
TEST_F(RaceSetupDialogTest, TheModeScreensSetupLoadsTheTrackOnlyOnOk) {
  StartUp();
  auto press = [](const char* button) {
    QTimer::singleShot(0, [button] {
      QWidget* modal = QApplication::activeModalWidget();
      ASSERT_NE(modal, nullptr);
      modal->findChild<QPushButton*>(QString::fromLatin1(button))->click();
    });
  };
  press("cmdCancel");
  controller.cmdPracticeMode();
  EXPECT_EQ(controller.Session().PendingTrackFile, "CANCEL.LOAD");
  EXPECT_FALSE(controller.Session()[Cmd::mnuRaceStartRace].Enabled);

  press("cmdOK");
  controller.Run(Cmd::mnuRaceSetup);
  EXPECT_TRUE(controller.Session()[Cmd::mnuRaceStartRace].Enabled);
  EXPECT_FALSE(controller.Race().track.TrackFile.empty());
}

class RaceOptionsDialogTest : public testing_support::AppFixture {
 protected:
  std::string Ini() const { return Data() + "/VMR.ini"; }
  std::string IniText() const { return ReadWholeFile(Ini()).value_or(""); }
};

TEST_F(RaceOptionsDialogTest, OkWritesTheSettingsFileAndCancelDoesNot) {
  StartUp();
  const std::string before = IniText();
  for (const bool ok : {false, true}) {
    SCOPED_TRACE(ok ? "OK" : "Cancel");
    const std::unique_ptr<QDialog> dialog = controller.MakeDialog("frmRaceOptions");
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(dialog->windowTitle().toStdString(), "Default Game Settings");
    Pick(*dialog, "cmbTotalLaps", "30");
    Pick(*dialog, "cmbQualifying", "Manually Set Starting Grid");
    Pick(*dialog, "cmbCarSetupPoints", "9");
    Child<QCheckBox>(*dialog, "chkHighlightLeader")->click();
    Child<QCheckBox>(*dialog, "chkWeatherEnabled")->click();
    Child<QAbstractButton>(*dialog, "optPointStructure1")->click();
    EXPECT_EQ(Child<QLineEdit>(*dialog, "txtPS2")->text().toStdString(), "6");
    Type(*dialog, "txtLeadMost", "4");
    Child<QSlider>(*dialog, "sldCarMovementDelay")->setValue(250);
    if (!ok) {
      dialog->reject();
      EXPECT_EQ(IniText(), before);
      continue;
    }
    dialog->accept();
    EXPECT_EQ(dialog->result(), QDialog::Accepted);
    GameSettings written;
    ASSERT_FALSE(LoadSettings(written, Ini()));
    EXPECT_EQ(std::tuple(written.RaceLaps, written.QualifyingMethod, written.CarSetupPoints, written.HighlightLeader,
                         written.WeatherEnabled),
              std::tuple(30, "Manually Set Starting Grid", 9, false, true));
    EXPECT_EQ(std::tuple(written.PointStructure[2], written.PointStructure[7], written.PointsLeadMost,
                         written.CarMovementDelay),
              std::tuple(6, 0, 4, 250));
  }
  // The defaults are not the race's.
  EXPECT_EQ(std::tuple(controller.Race().RaceLaps, controller.Race().QualifyingMethod), std::tuple(50, "Start Speed"));
}

TEST_F(RaceOptionsDialogTest, OkStaysOpenWithoutADefaultCarFile) {
  StartUp();
  const std::string before = IniText();
  const std::unique_ptr<QDialog> dialog = controller.MakeDialog("frmRaceOptions");
  QComboBox* cars = Child<QComboBox>(*dialog, "cmbDefaultCarFile");
  EXPECT_EQ(cars->currentText().toStdString(), "Default.crs");
  EXPECT_GE(cars->findText(QStringLiteral("Field40.crs")), 0);  // the folder's other car files are offered
  cars->setCurrentIndex(-1);
  dialog->accept();
  EXPECT_NE(dialog->result(), QDialog::Accepted);
  EXPECT_TRUE(Child<QLabel>(*dialog, "lblRefused")->isVisibleTo(dialog.get()));
  EXPECT_EQ(IniText(), before);

  Pick(*dialog, "cmbDefaultCarFile", "Field40.crs");
  dialog->accept();
  EXPECT_EQ(dialog->result(), QDialog::Accepted);
  GameSettings written;
  ASSERT_FALSE(LoadSettings(written, Ini()));
  EXPECT_EQ(written.DefaultCarFile, "Field40.crs");
}

TEST_F(RaceOptionsDialogTest, AMissingSettingsFileOpensNoDialogAndSaysSo) {
  StartUp();
  std::filesystem::remove(Ini());
  EXPECT_EQ(controller.MakeDialog("frmRaceOptions"), nullptr);
  ASSERT_FALSE(console.Messages().empty());
  EXPECT_EQ(console.Messages().back(),
            "File  ' " + controller.Session().AppPath + "VMR.ini '  is missing or corrupt.  ");
}

}  // namespace
}  // namespace vm
