// The season setup window drives its model: a season built through the widgets is saved through the
// file dialog and started on that file; Escape puts the cars back and writes nothing; every input
// can be reached by keyboard and has a label.
#include "app/dialogs/season_setup_window.h"

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QComboBox>
#include <QCoreApplication>
#include <QDialog>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QTableWidget>
#include <QTest>
#include <QToolButton>
#include <memory>
#include <string>

#include "cars/car_file.h"
#include "season/season_file.h"
#include "tests/app/app_fixture.h"

namespace vm {
namespace {

using testing_support::Child;

// With VELOMARK_SCREENSHOTS set, the window is written there as season-setup.png (its schedule
// page) and season-setup-PAGE.png for the other pages.
void Shoot(QWidget& window, const QString& name) {
  const QByteArray folder = qgetenv("VELOMARK_SCREENSHOTS");
  if (folder.isEmpty()) return;
  QCoreApplication::processEvents();
  EXPECT_TRUE(window.grab().save(QString::fromLocal8Bit(folder) + QStringLiteral("/") + name + ".png"))
      << name.toStdString();
}

class SeasonSetupWindowTest : public testing_support::AppFixture {
 protected:
  void SetUp() override { StartUp(); }

  std::unique_ptr<QDialog> Open() {
    auto dialog = MakeSeasonSetupWindow(controller.Race(), console, Data(), nullptr);
    dialog->show();
    return dialog;
  }

  static void Choose(QDialog& dialog, const char* combo, const char* text) {
    auto* box = Child<QComboBox>(dialog, combo);
    const int index = box->findText(QString::fromLatin1(text));
    ASSERT_GE(index, 0) << combo << " " << text;
    box->setCurrentIndex(index);
  }

  static void PickTrack(QDialog& dialog, const char* file) {
    auto* tracks = Child<QListWidget>(dialog, "File1");
    const auto found = tracks->findItems(QString::fromLatin1(file), Qt::MatchExactly);
    ASSERT_EQ(found.size(), 1) << file;
    tracks->setCurrentItem(found.front());
  }

  static QString Cell(QDialog& dialog, const char* grid, int row, int column) {
    const QTableWidgetItem* item = Child<QTableWidget>(dialog, grid)->item(row, column);
    return item != nullptr ? item->text() : QString();
  }
};

TEST_F(SeasonSetupWindowTest, ATwoRaceSeasonIsSavedAndStarted) {
  const std::unique_ptr<QDialog> dialog = Open();
  auto* add = Child<QAbstractButton>(*dialog, "Command1");
  auto* ok = Child<QAbstractButton>(*dialog, "cmdOK");
  EXPECT_FALSE(add->isEnabled());  // no track yet
  EXPECT_FALSE(Child<QAbstractButton>(*dialog, "cmdRaceDelete")->isEnabled());
  EXPECT_FALSE(ok->isEnabled());
  EXPECT_EQ(Child<QTableWidget>(*dialog, "fgDrivers")->rowCount(), 8);
  EXPECT_EQ(Cell(*dialog, "fgRatings", 0, 0), "Alex Moreau");

  QTest::keyClicks(Child<QLineEdit>(*dialog, "txtCurrentSeasonName"), "Coast Cup");
  PickTrack(*dialog, "Kestrel.trk");
  EXPECT_TRUE(Child<QPlainTextEdit>(*dialog, "rtbTrackInfo")->toPlainText().endsWith("Distance: 4.8 miles"));
  EXPECT_EQ(Child<QLineEdit>(*dialog, "txtTrkAbbrev")->text(), "KSTRL ");
  Choose(*dialog, "cmbTotalLaps", "20");
  EXPECT_EQ(Child<QLineEdit>(*dialog, "txtMiles")->text(), "96.0");
  if (!Child<QAbstractButton>(*dialog, "chkPitLaneOpen2")->isChecked())
    Child<QAbstractButton>(*dialog, "chkPitLaneOpen2")->click();
  Choose(*dialog, "cmbMinPitStops", "2");
  EXPECT_EQ(Child<QComboBox>(*dialog, "cmbStartAllotment")->currentText(), "7");
  EXPECT_EQ(Child<QComboBox>(*dialog, "cmbPitReplenishment")->currentText(), "7");  // 7 + 2 x 6 falls short
  add->click();

  PickTrack(*dialog, "Porto.trk");
  Child<QAbstractButton>(*dialog, "chkPitLaneOpen2")->click();
  Choose(*dialog, "cmbTotalLaps", "8");
  add->click();
  EXPECT_EQ(Cell(*dialog, "fgSeason", 0, 5), "2");
  EXPECT_EQ(Cell(*dialog, "fgSeason", 1, 5), "Pit closed");
  Child<QAbstractButton>(*dialog, "cmdMoveRaceUp")->click();
  EXPECT_EQ(Cell(*dialog, "fgSeason", 0, 3), "8");
  EXPECT_EQ(Cell(*dialog, "fgSeason", 1, 1), "Kestrel Speedbowl");
  Shoot(*dialog, QStringLiteral("season-setup"));

  auto* tabs = Child<QTabWidget>(*dialog, "tabSeason");
  tabs->setCurrentIndex(1);
  Shoot(*dialog, QStringLiteral("season-setup-drivers"));
  tabs->setCurrentIndex(2);
  Child<QAbstractButton>(*dialog, "optPointStructure1")->click();
  EXPECT_EQ(Child<QLineEdit>(*dialog, "txtPS2")->text(), "6");
  Child<QAbstractButton>(*dialog, "optConfigLock0")->click();
  EXPECT_FALSE(Child<QWidget>(*dialog, "Frame8")->isEnabled());
  Shoot(*dialog, QStringLiteral("season-setup-rules"));

  const std::string file = Data() + "/Season/Coast.sea";
  console.AddAnswer("file:" + file);
  Child<QAbstractButton>(*dialog, "Command3")->click();
  EXPECT_TRUE(ok->isEnabled());
  ok->click();
  EXPECT_EQ(dialog->result(), QDialog::Accepted);
  const SeasonSetupResult result = SeasonSetupResultOf(*dialog);
  EXPECT_EQ(std::tuple(result.Started, result.SeasonFile, result.ModeChoice), std::tuple(true, file, "Start Season"));

  SeasonFileData season;
  ASSERT_EQ(ReadSeasonFile(season, file, controller.Session().CarsFolder), std::nullopt);
  EXPECT_EQ(std::tuple(season.Name, season.Races, season.Drivers, season.LockCars, season.PointStructure[2]),
            std::tuple("Coast Cup", 2, 8, false, 6));
  EXPECT_TRUE(season.Schedule[1].TrackFile.ends_with("Porto.trk"));
  EXPECT_EQ(std::tuple(season.Schedule[1].Laps, season.Schedule[1].PitOpen, season.Schedule[1].StartAllotment,
                       season.Schedule[2].Laps, season.Schedule[2].PitReplenishment),
            std::tuple("8", false, 8, "20", 7));
}

TEST_F(SeasonSetupWindowTest, EscapePutsTheCarsBackAndWritesNothing) {
  RaceState& rs = controller.Race();
  const std::string before = CarFileText(rs, controller.Session().CarsFolder);
  const QDir seasons(QString::fromStdString(Data() + "/Season"));
  const QStringList files = seasons.entryList(QDir::Files);
  const std::unique_ptr<QDialog> dialog = Open();
  dialog->activateWindow();
  Child<QAbstractButton>(*dialog, "cmdAddDriver")->click();
  EXPECT_EQ(Child<QTableWidget>(*dialog, "fgDrivers")->rowCount(), 9);
  auto* name = Child<QLineEdit>(*dialog, "txtDriver");
  name->clear();
  QTest::keyClicks(name, "Nina");
  QTest::keyClick(name, Qt::Key_Return);  // Enter renames, it does not close the window
  EXPECT_EQ(Cell(*dialog, "fgDrivers", 8, 0), "Nina");
  EXPECT_TRUE(dialog->isVisible());

  QTest::keyClick(dialog.get(), Qt::Key_Escape);
  EXPECT_EQ(dialog->result(), QDialog::Rejected);
  EXPECT_EQ(SeasonSetupResultOf(*dialog).ModeChoice, "Cancel");
  EXPECT_EQ(std::tuple(CarFileText(rs, controller.Session().CarsFolder), rs.CarsInFile), std::tuple(before, 8));
  EXPECT_EQ(seasons.entryList(QDir::Files), files);
}

// Every input takes the keyboard and carries a label: its buddy or a name of its own.
TEST_F(SeasonSetupWindowTest, EveryInputHasALabelAndTakesTheKeyboard) {
  const std::unique_ptr<QDialog> dialog = Open();
  QSet<const QWidget*> labelled;
  for (const QLabel* label : dialog->findChildren<QLabel*>())
    if (label->buddy() != nullptr) labelled.insert(label->buddy());
  int inputs = 0;
  for (QWidget* w : dialog->findChildren<QWidget*>()) {
    const bool input = qobject_cast<QComboBox*>(w) || qobject_cast<QAbstractItemView*>(w) ||
                       qobject_cast<QPlainTextEdit*>(w) ||
                       (qobject_cast<QLineEdit*>(w) && !qobject_cast<QComboBox*>(w->parentWidget()));
    if (qobject_cast<QAbstractItemView*>(w) && qobject_cast<QComboBox*>(w->parentWidget()->parentWidget())) continue;
    if (!input || w->objectName().isEmpty()) continue;
    ++inputs;
    EXPECT_TRUE(labelled.contains(w) || !w->accessibleName().isEmpty()) << w->objectName().toStdString();
    EXPECT_NE(w->focusPolicy() & Qt::TabFocus, 0) << w->objectName().toStdString();
  }
  for (QAbstractButton* b : dialog->findChildren<QAbstractButton*>()) {
    if (b->objectName().isEmpty() || qobject_cast<QToolButton*>(b)) continue;  // the tab bar's arrows
    EXPECT_FALSE(b->text().isEmpty()) << b->objectName().toStdString();
    EXPECT_NE(b->focusPolicy() & Qt::TabFocus, 0) << b->objectName().toStdString();
  }
  EXPECT_GE(inputs, 25);

  // The result tables the season keeps are edited from here once the program gives the editor.
  auto* tables = Child<QPushButton>(*dialog, "Command5");
  EXPECT_FALSE(tables->isVisibleTo(dialog.get()));
  int opened = 0;
  SetOpenResultTables(*dialog, [&opened] { ++opened; });
  ASSERT_TRUE(tables->isVisibleTo(dialog.get()));
  tables->click();
  EXPECT_EQ(opened, 1);
}

}  // namespace
}  // namespace vm
