// The car setup and result table windows drive their models: what the player does in a widget
// reaches the cars or the tables, the points decide which buttons work, OK keeps and Cancel or
// Escape puts back.
#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPixmap>
#include <QTest>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "cars/car_file.h"
#include "tests/app/app_fixture.h"

namespace vm {
namespace {

using testing_support::Child;

std::string Text(QDialog& dialog, const char* label) { return Child<QLabel>(dialog, label)->text().toStdString(); }

class CarSetupWindowTest : public testing_support::AppFixture {
 protected:
  // Car 1 of the bundled file is 60, 60, 40, 200, 5, 0: eight points.
  void SetUp() override { StartUp(); }

  std::unique_ptr<QDialog> Open(int setupPoints = 8) {
    RaceState& rs = controller.Race();
    EXPECT_EQ(CarDesignCost(rs, 1), 8);
    rs.CarSetupPoints = setupPoints;
    return controller.MakeDialog("frmCarSetup");
  }

  QAbstractButton* Rating(QDialog& dialog, const char* field, int index) {
    return Child<QAbstractButton>(dialog, ("opt" + std::string(field) + std::to_string(index)).c_str());
  }
};

TEST_F(CarSetupWindowTest, ARatingPressReachesTheCarAndThePoints) {
  const std::unique_ptr<QDialog> dialog = Open();
  const RaceState& rs = controller.Race();
  EXPECT_EQ(Text(*dialog, "UsedDesignPoints"), "8");
  EXPECT_EQ(Text(*dialog, "lblPointsLeft"), "0");

  // Nothing is left, so 80 is out of reach and a click on it changes nothing.
  QAbstractButton* eighty = Rating(*dialog, "CarStartSpeed", 2);
  EXPECT_FALSE(eighty->isEnabled());
  eighty->click();
  EXPECT_EQ(rs.CarStartSpeed[1], 60);

  Rating(*dialog, "CarStartSpeed", 0)->click();
  EXPECT_EQ(rs.CarStartSpeed[1], 40);
  EXPECT_EQ(Text(*dialog, "UsedDesignPoints"), "7");
  EXPECT_EQ(Text(*dialog, "lblPointsLeft"), "1");
  // The point set free buys one step in any group, no more.
  EXPECT_TRUE(Rating(*dialog, "CarTopSpeed", 4)->isEnabled());
  EXPECT_FALSE(Rating(*dialog, "CarTopSpeed", 5)->isEnabled());
  EXPECT_FALSE(eighty->isEnabled());
}

// Every enabled button keeps a car within the points, so a car is over only as it comes: when
// the window opens on it or the list shows it.
TEST_F(CarSetupWindowTest, ACarShownOverThePointsHoldsTheListAndOk) {
  controller.Race().CarTopSpeed[2] = 220;  // two points over
  const std::unique_ptr<QDialog> dialog = Open();
  auto* cars = Child<QComboBox>(*dialog, "cmbCurrentCar");
  auto* ok = Child<QAbstractButton>(*dialog, "cmdOK");

  QTest::keyClick(cars, Qt::Key_Down);
  EXPECT_EQ(Child<QLineEdit>(*dialog, "txtDriver")->text(), "Bruno Keller");
  ASSERT_FALSE(console.Messages().empty());
  EXPECT_EQ(console.Messages().back(), "Maximum Design Points Exceeded");
  EXPECT_FALSE(cars->isEnabled());
  EXPECT_FALSE(ok->isEnabled());
  EXPECT_FALSE(Child<QAbstractButton>(*dialog, "cmdCopyToAll")->isEnabled());
  EXPECT_NE(Text(*dialog, "lblPointsLeft").find("2 over the limit"), std::string::npos);
  // Only steps that bring the car back within the points are open.
  EXPECT_FALSE(Rating(*dialog, "CarTopSpeed", 3)->isEnabled());

  Rating(*dialog, "CarTopSpeed", 2)->click();
  EXPECT_TRUE(cars->isEnabled());
  EXPECT_TRUE(ok->isEnabled());
  QTest::keyClick(cars, Qt::Key_Down);
  EXPECT_EQ(cars->currentData().toInt(), 3);
}

TEST_F(CarSetupWindowTest, OpenedOverThePointsNeitherAnotherCarNorOk) {
  const std::unique_ptr<QDialog> dialog = Open(5);
  auto* cars = Child<QComboBox>(*dialog, "cmbCurrentCar");
  QTest::keyClick(cars, Qt::Key_Down);
  EXPECT_EQ(cars->currentData().toInt(), 1);
  EXPECT_EQ(Child<QLineEdit>(*dialog, "txtDriver")->text(), "Alex Moreau");

  Child<QAbstractButton>(*dialog, "cmdOK")->click();
  EXPECT_NE(dialog->result(), QDialog::Accepted);
  ASSERT_FALSE(console.Messages().empty());
  EXPECT_EQ(console.Messages().back(), "Maximum Design Points Exceeded");
}

TEST_F(CarSetupWindowTest, CancelAndEscapePutTheCarsBackOkKeepsThem) {
  struct Case {
    const char* How;
    bool Kept;
  };
  RaceState& rs = controller.Race();
  const CarRecord before = GetCar(rs, 1);
  for (const Case& c : {Case{"cmdCancel", false}, Case{"Escape", false}, Case{"cmdOK", true}}) {
    SCOPED_TRACE(c.How);
    PutCar(rs, 1, before);
    const std::unique_ptr<QDialog> dialog = controller.MakeDialog("frmCarSetup");
    Child<QAbstractButton>(*dialog, "optCarStartSpeed0")->click();
    QTest::keyClicks(Child<QLineEdit>(*dialog, "txtDriver"), " Jr");
    QTest::keyClicks(Child<QComboBox>(*dialog, "cmbTeams")->lineEdit(), ", Ltd");
    Child<QAbstractButton>(*dialog, "optAI0")->click();
    // The edits reach the car at once, before OK; the team loses its comma to the files' format.
    EXPECT_EQ(rs.DriverName[1], "Alex Moreau Jr");
    EXPECT_EQ(rs.CarTeam[1], "Velomark Works  Ltd");
    EXPECT_TRUE(rs.CarIsAI[1]);
    EXPECT_EQ(Child<QComboBox>(*dialog, "cmbCurrentCar")->currentText(), "1  Alex Moreau Jr");

    if (std::string(c.How) == "Escape") {
      QTest::keyClick(dialog.get(), Qt::Key_Escape);
    } else {
      Child<QAbstractButton>(*dialog, c.How)->click();
    }
    EXPECT_EQ(dialog->result(), c.Kept ? QDialog::Accepted : QDialog::Rejected);
    EXPECT_EQ(GetCar(rs, 1) == before, !c.Kept);
    EXPECT_EQ(rs.CarStartSpeed[1], c.Kept ? 40 : 60);
  }
}

TEST_F(CarSetupWindowTest, TheComputerDriversFramesFollowTheDriverKind) {
  const std::unique_ptr<QDialog> dialog = Open();
  const RaceState& rs = controller.Race();
  QWidget* frame = Child<QWidget>(*dialog, "fraDriver");
  EXPECT_FALSE(frame->isEnabled());  // car 1 is driven by a person
  Child<QAbstractButton>(*dialog, "optAI0")->click();
  EXPECT_TRUE(frame->isEnabled());
  Child<QAbstractButton>(*dialog, "optRP2")->click();
  Child<QAbstractButton>(*dialog, "optPitStops1")->click();
  QTest::keyClick(Child<QComboBox>(*dialog, "cmbRSS"), Qt::Key_Down);
  EXPECT_EQ(rs.CarRaceProfile[1], 3);
  EXPECT_EQ(rs.PitStrategy[1], 1);
  EXPECT_EQ(rs.CarRiskSS[1], 5);
}

TEST_F(CarSetupWindowTest, ThePictureShownFollowsThePictureChoice) {
  const std::unique_ptr<QDialog> dialog = Open();
  const RaceState& rs = controller.Race();
  auto* pictures = Child<QListWidget>(*dialog, "lstPictures");
  auto* shown = Child<QLabel>(*dialog, "imgCar");
  const auto image = [&] { return shown->pixmap().toImage(); };
  ASSERT_FALSE(image().isNull());
  EXPECT_EQ(pictures->currentItem()->text(), "Red");
  const QImage red = image();

  pictures->setCurrentItem(pictures->findItems(QStringLiteral("Blue"), Qt::MatchExactly).front());
  EXPECT_NE(image(), red);
  EXPECT_NE(Text(*dialog, "lblPicture").find("Press Select"), std::string::npos);
  EXPECT_NE(rs.CarPicture[1].find("Red"), std::string::npos);  // only offered so far

  Child<QAbstractButton>(*dialog, "cmdSelect")->click();
  EXPECT_EQ(StoredPicture(rs.CarPicture[1], controller.Session().CarsFolder), "Formula\\Gifs\\Blue");
  EXPECT_EQ(Text(*dialog, "lblPicture"), "The picture of car 1: Formula Blue.");

  // Another model lists its own pictures and shows the first of them.
  const QImage blue = image();
  auto* models = Child<QComboBox>(*dialog, "cmbModel");
  QTest::keyClick(models, Qt::Key_Down);
  EXPECT_EQ(models->currentText(), "Sports");
  EXPECT_EQ(pictures->currentItem()->text(), "Blue");
  EXPECT_NE(image(), blue);
}

TEST_F(CarSetupWindowTest, TheFileCommandsGoThroughTheFileDialog) {
  const std::unique_ptr<QDialog> dialog = Open();
  const RaceState& rs = controller.Race();
  console.AddAnswer("cancel");
  Child<QAction>(*dialog, "mnuFileLoadCarFile")->trigger();
  EXPECT_EQ(rs.CarsInFile, 8);

  const std::string field = Data() + "/Field40.crs";
  console.AddAnswer("file:" + field);
  Child<QAction>(*dialog, "mnuFileLoadCarFile")->trigger();
  EXPECT_EQ(rs.CarsInFile, 40);
  EXPECT_EQ(Child<QLineEdit>(*dialog, "txtDriver")->text(), "Ada Adler");
  EXPECT_EQ(Text(*dialog, "lblStatus"), "Most Recent Car File Loaded:  " + field);

  // At forty cars a further driver is refused with the message.
  Child<QAbstractButton>(*dialog, "cmdAddDriver")->click();
  EXPECT_EQ(rs.CarsInFile, 40);
  EXPECT_EQ(console.Messages().back(), "Races cannot have more then 40 drivers.");

  dialog->reject();
  EXPECT_EQ(rs.CarsInFile, 8);
  EXPECT_NE(rs.CurrentCarFile, field);
}

TEST_F(CarSetupWindowTest, AddDriverListsAndShowsTheNewCar) {
  const std::unique_ptr<QDialog> dialog = Open();
  auto* cars = Child<QComboBox>(*dialog, "cmbCurrentCar");
  Child<QAbstractButton>(*dialog, "cmdAddDriver")->click();
  EXPECT_EQ(cars->count(), 9);
  EXPECT_EQ(cars->currentText(), "9  New Driver");
  EXPECT_EQ(Child<QLineEdit>(*dialog, "txtDriver")->text(), "New Driver");
  EXPECT_EQ(Text(*dialog, "UsedDesignPoints"), "-1");
}

TEST_F(CarSetupWindowTest, TheActionMenusCarryTheirCommandsInOrder) {
  const std::unique_ptr<QDialog> dialog = Open();
  std::vector<std::string> shown;
  for (const char* name : {"mnuActionCarSetup", "mnuActionDriverProfiles"}) {
    QMenu* menu = Child<QMenu>(*dialog, name);
    ASSERT_NE(menu, nullptr);
    shown.push_back(menu->title().toStdString());
    for (const QAction* action : menu->actions())
      if (!action->isSeparator())
        shown.push_back(action->objectName().toStdString() + " " + action->text().toStdString());
  }
  EXPECT_EQ(shown, (std::vector<std::string>{
                       "&Car Setup Actions", "mnuCSActionsRandomizeTrack Load AI Car Setup based on &Track",
                       "mnuCSActionsRandomize &Randomize AI Car Setup",
                       "mnuCSActionsCopyAllAIOnly Copy Current Setup to AI Cars",
                       "mnuCSActionsLoadTrack Load Human and AI Car Setups based on Track",
                       "mnuCSActionsRandomizeAllCars Randomize Human and AI Car Setup",
                       "mnuCSActionsCopyAll &Copy Current Setup to Human and AI Cars", "&Driver Profile Actions",
                       "mnuCSActionsRandomizeDrivers Randomize AI &Driver Profiles",
                       "mnuActionsCopyDriverProfile Copy Current &Driver Profile to All Cars"}));
  EXPECT_EQ(Child<QAction>(*dialog, "mnuChgTeamFile")->text(), "Change &Team File");
  EXPECT_EQ(Child<QAbstractButton>(*dialog, "cmdRandomize")->text().remove(QLatin1Char('&')),
            "Randomize Computer Cars");
}

TEST_F(CarSetupWindowTest, TheTrackRandomAndProfileCommandsReachTheCars) {
  const std::unique_ptr<QDialog> dialog = Open();
  RaceState& rs = controller.Race();
  rs.AIRandomizeOptimumSetup = true;  // the menu's track commands never vary the setup
  console.AddAnswer("cancel");
  Child<QAction>(*dialog, "mnuCSActionsRandomizeTrack")->trigger();
  EXPECT_EQ(rs.CarTopSpeed[1], 200);

  // Porto: 40, 60, 80, 160, 6, for the person's car too.
  console.AddAnswer("file:" + Data() + "/Tracks/Porto.trk");
  Child<QAction>(*dialog, "mnuCSActionsRandomizeTrack")->trigger();
  for (int car : {1, 2, 40})
    EXPECT_EQ(std::tuple(rs.CarStartSpeed[car], rs.CarDeceleration[car], rs.CarTopSpeed[car], rs.CarDRM[car]),
              std::tuple(40, 80, 160, 0))
        << car;
  EXPECT_TRUE(Child<QAbstractButton>(*dialog, "optCarTopSpeed1")->isChecked());

  // Random computer cars land on the points; the person's car and the selection stay.
  const CarRecord player = GetCar(rs, 1);
  QTest::keyClick(Child<QComboBox>(*dialog, "cmbCurrentCar"), Qt::Key_Down);
  Child<QAbstractButton>(*dialog, "cmdRandomize")->click();
  EXPECT_EQ(GetCar(rs, 1), player);
  for (int car = 2; car <= kMaxCars; ++car) {
    if (!rs.CarIsAI[car]) continue;
    EXPECT_EQ(CarDesignCost(rs, car), 8) << car;
  }
  EXPECT_EQ(Child<QComboBox>(*dialog, "cmbCurrentCar")->currentData().toInt(), 1);

  rs.CarRaceProfile[1] = 3;
  rs.CarRiskC[1] = 9;
  Child<QAction>(*dialog, "mnuActionsCopyDriverProfile")->trigger();
  EXPECT_EQ(std::tuple(rs.CarRaceProfile[7], rs.CarRiskC[7], rs.DriverName[7] == rs.DriverName[1]),
            std::tuple(3, 9, false));
  EXPECT_TRUE(console.Messages().empty());
}

TEST_F(CarSetupWindowTest, AnotherTeamFileRefillsTheListAndTheCarKeepsItsTeam) {
  const std::unique_ptr<QDialog> dialog = Open();
  const RaceState& rs = controller.Race();
  auto* teams = Child<QComboBox>(*dialog, "cmbTeams");
  const int bundled = teams->count();
  console.AddAnswer("cancel");
  Child<QAction>(*dialog, "mnuChgTeamFile")->trigger();
  EXPECT_EQ(teams->count(), bundled);

  const std::string other = Data() + "/Other.tms";
  std::ofstream(other) << "\"Alpha\"\n\"Beta\"\n";
  console.AddAnswer("file:" + other);
  Child<QAction>(*dialog, "mnuChgTeamFile")->trigger();
  EXPECT_EQ(std::tuple(teams->count(), teams->itemText(0).toStdString()), std::tuple(2, "Alpha"));
  EXPECT_EQ(rs.CarTeam[1], "Velomark Works");
  EXPECT_EQ(teams->currentText(), "Velomark Works");

  // A new name typed in is stored at once, its comma a blank, and the file stays as it was.
  teams->lineEdit()->clear();
  QTest::keyClicks(teams->lineEdit(), "Gamma,Delta");
  EXPECT_EQ(rs.CarTeam[1], "Gamma Delta");
  EXPECT_EQ(teams->count(), 2);
}

using ResultTableWindowTest = testing_support::AppFixture;

TEST_F(ResultTableWindowTest, AChangedEndReachesTheTablesOnOkAndCancelUndoesIt) {
  StartUp();
  const ResultTables& tables = controller.Race().Tables;
  ASSERT_EQ(tables.CH1.RangeHigh, 6);
  for (const char* button : {"cmdOK", "cmdCancel"}) {
    SCOPED_TRACE(button);
    const std::unique_ptr<QDialog> dialog = controller.MakeDialog("frmResultTableSetup");
    QTest::keyClick(Child<QComboBox>(*dialog, "cmbCHE1"), Qt::Key_Up);
    EXPECT_EQ(tables.CH1.RangeHigh, 5);
    EXPECT_EQ(tables.CH2.RangeLow, 6);
    EXPECT_EQ(Text(*dialog, "lblCH2Low"), "6");
    // The next row's list now starts where that row does.
    EXPECT_EQ(Child<QComboBox>(*dialog, "cmbCHE2")->itemText(0), "6");
    Child<QAbstractButton>(*dialog, button)->click();
    const bool kept = std::string(button) == "cmdOK";
    EXPECT_EQ(tables.CH1.RangeHigh, kept ? 5 : 6);
    EXPECT_EQ(tables.CH2.RangeLow, kept ? 6 : 7);
    if (kept) {
      // Undo for the next round through the editor itself, as a player would.
      controller.Race().Tables.CH1.RangeHigh = 6;
      controller.Race().Tables.CH2.RangeLow = 7;
    }
  }
}

TEST_F(ResultTableWindowTest, ASuccessSwitchHidesItsFirstRow) {
  StartUp();
  ResultTables& tables = controller.Race().Tables;
  // A stored disabled row opens with its switch on.
  tables.CT1 = {2, 1, 1};
  tables.CT2.RangeLow = 2;
  const std::unique_ptr<QDialog> dialog = controller.MakeDialog("frmResultTableSetup");
  EXPECT_TRUE(Child<QCheckBox>(*dialog, "chkCA")->isChecked());
  EXPECT_TRUE(Child<QComboBox>(*dialog, "cmbCTE1")->isHidden());

  auto* sw = Child<QCheckBox>(*dialog, "chkSS");
  sw->click();
  for (const char* name : {"cmbSSE1", "lblSS1", "lblSS1Low"}) EXPECT_TRUE(Child<QWidget>(*dialog, name)->isHidden());
  EXPECT_EQ(tables.SS1.RangeHigh, 1);
  EXPECT_EQ(Text(*dialog, "lblSS2Low"), "2");
  sw->click();
  EXPECT_FALSE(Child<QWidget>(*dialog, "cmbSSE1")->isHidden());
  EXPECT_EQ(tables.SS1.RangeHigh, 2);
  EXPECT_EQ(Text(*dialog, "lblSS2Low"), "3");

  // Spin Damage is rolled on one die: its disabled row ends at 0.
  Child<QCheckBox>(*dialog, "chkSD")->click();
  EXPECT_EQ(tables.SD1.RangeHigh, 0);
  EXPECT_EQ(Text(*dialog, "lblSD2Low"), "1");
  EXPECT_EQ(dialog->findChild<QCheckBox*>(QStringLiteral("chkW")), nullptr);  // Weather has no switch
}

}  // namespace
}  // namespace vm
