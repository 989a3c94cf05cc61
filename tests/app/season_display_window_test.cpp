// The season standings window shows the rebuilt grids, switches between them, starts or resumes
// the next race, and asks for a race's report from its column.
#include "app/dialogs/season_display_window.h"

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QComboBox>
#include <QDialog>
#include <QHeaderView>
#include <QLabel>
#include <QTableWidget>
#include <QTest>
#include <memory>
#include <string>
#include <vector>

#include "tests/app/app_fixture.h"
#include "tests/season_test_support.h"

namespace vm {
namespace {

using testing_support::Child;

// The hand-worked season with race 3 still to run unless told otherwise.
std::unique_ptr<SeasonFileData> Season(int nextRace = 3) {
  auto s = testing_support::ThreeRaceSeason();
  s->NextRace = nextRace;
  return s;
}

std::vector<std::string> Row(QTableWidget& grid, int row) {
  std::vector<std::string> cells;
  for (int c = 0; c < grid.columnCount(); ++c) cells.push_back(grid.item(row, c)->text().toStdString());
  return cells;
}

std::vector<std::string> Headings(QTableWidget& grid) {
  std::vector<std::string> heads;
  for (int c = 0; c < grid.columnCount(); ++c) heads.push_back(grid.horizontalHeaderItem(c)->text().toStdString());
  return heads;
}

QTableWidget* Grid(QDialog& dialog) { return dialog.findChild<QTableWidget*>(); }

TEST(SeasonDisplayWindowTest, TheDriverGridMarksComputerCarsInWordsAndGrey) {
  const auto season = Season();
  const std::unique_ptr<QDialog> dialog = MakeSeasonDisplayWindow(*season, "", false, nullptr);
  EXPECT_EQ(dialog->objectName(), "frmSeasonDisplay");
  EXPECT_EQ(Child<QLabel>(*dialog, "lblSeasonName")->text(), "Season: Test Cup (2 of 3 races complete)");
  QTableWidget* grid = Grid(*dialog);
  ASSERT_NE(grid, nullptr);
  EXPECT_EQ(grid->objectName(), "fgDriverStandings");
  EXPECT_EQ(Headings(*grid), (std::vector<std::string>{"Driver", "Team", "Total", " KSTRL ", " BRANN "}));
  ASSERT_EQ(grid->rowCount(), 5);
  EXPECT_EQ(Row(*grid, 0), (std::vector<std::string>{"Ada Lind", "Reds", "104", "1(60)", "2(44)"}));
  EXPECT_EQ(Row(*grid, 1), (std::vector<std::string>{"Cy Moreau (AI)", " ", "76", "3(24)", "1(52)"}));
  EXPECT_EQ(Row(*grid, 3), (std::vector<std::string>{"Ed Varga", "blues", "20", "5", "3(20)"}));
  EXPECT_EQ(grid->item(1, 3)->background().color(), QColor(192, 192, 192));
  EXPECT_NE(grid->item(0, 3)->background().color(), QColor(192, 192, 192));
  EXPECT_EQ(grid->editTriggers(), QAbstractItemView::NoEditTriggers);
}

TEST(SeasonDisplayWindowTest, TheTypeListSwitchesGrids) {
  const auto season = Season();
  const std::unique_ptr<QDialog> dialog = MakeSeasonDisplayWindow(*season, "", false, nullptr);
  auto* type = Child<QComboBox>(*dialog, "cmbType");
  ASSERT_EQ(type->count(), 5);
  EXPECT_EQ(type->currentText(), "Driver");
  QTableWidget* grid = Grid(*dialog);

  type->setCurrentIndex(type->findText("Team"));
  EXPECT_EQ(Headings(*grid), (std::vector<std::string>{"Team", "Total", " KSTRL ", " BRANN "}));
  ASSERT_EQ(grid->rowCount(), 4);
  EXPECT_EQ(Row(*grid, 0), (std::vector<std::string>{"Reds", "115", "70", "45"}));
  EXPECT_EQ(Row(*grid, 3), (std::vector<std::string>{"blues", "20", "- ", "20"}));

  type->setCurrentIndex(type->findText("Schedule"));
  EXPECT_EQ(grid->objectName(), "fgSeason");
  ASSERT_EQ(grid->rowCount(), 3);
  EXPECT_EQ(Row(*grid, 0),
            (std::vector<std::string>{"1", "Kestrel Speedbowl", "KSTRL ", "10", "48.0", "Closed", "Closed", "Closed"}));
  EXPECT_EQ(Row(*grid, 2)[1], "Porto Vela Street Circuit");

  type->setCurrentIndex(type->findText("Profiles"));
  EXPECT_EQ(grid->objectName(), "fgDrivers");
  EXPECT_EQ(Row(*grid, 0), (std::vector<std::string>{"Ada Lind", "Reds", "HUMAN    ", "HUMAN    ", "N/A  "}));

  type->setCurrentIndex(type->findText("Driver"));
  EXPECT_EQ(grid->columnCount(), 5);
}

TEST(SeasonDisplayWindowTest, TheStartButtonFollowsTheSeason) {
  struct Case {
    int nextRace;
    bool stored;
    bool shown;
    const char* caption;
  };
  for (const Case& c : {Case{3, false, true, "Start Next Race"}, Case{2, true, true, "Resume Current Race"},
                        Case{4, false, false, "Start Next Race"}}) {
    const auto season = Season(c.nextRace);
    const std::unique_ptr<QDialog> dialog = MakeSeasonDisplayWindow(*season, "", c.stored, nullptr);
    auto* start = Child<QAbstractButton>(*dialog, "Command3");
    EXPECT_EQ(start->text().toStdString(), c.caption);
    EXPECT_EQ(!start->isHidden(), c.shown) << c.nextRace;
  }
}

TEST(SeasonDisplayWindowTest, EnterStartsEscapeAndCloseDoNot) {
  const auto season = Season();
  for (int key : {Qt::Key_Return, Qt::Key_Escape}) {
    const std::unique_ptr<QDialog> dialog = MakeSeasonDisplayWindow(*season, "", false, nullptr);
    dialog->show();
    QTest::keyClick(Grid(*dialog), static_cast<Qt::Key>(key));
    EXPECT_FALSE(dialog->isVisible());
    EXPECT_EQ(SeasonStartPressed(*dialog), key == Qt::Key_Return);
    EXPECT_EQ(dialog->result(), key == Qt::Key_Return ? QDialog::Accepted : QDialog::Rejected);
  }
  const std::unique_ptr<QDialog> dialog = MakeSeasonDisplayWindow(*season, "", false, nullptr);
  dialog->show();
  Child<QAbstractButton>(*dialog, "Command4")->click();
  EXPECT_FALSE(dialog->isVisible());
  EXPECT_FALSE(SeasonStartPressed(*dialog));

  // Once the season is over Enter finds no start button and starts nothing.
  const auto over = Season(4);
  const std::unique_ptr<QDialog> done = MakeSeasonDisplayWindow(*over, "", false, nullptr);
  done->show();
  QTest::keyClick(Grid(*done), Qt::Key_Return);
  EXPECT_FALSE(SeasonStartPressed(*done));
}

// The race is the grid column less 2 for the drivers, less 1 for the teams (counted from 0 past the
// name); cells that hold no race ask for nothing.
TEST(SeasonDisplayWindowTest, ARaceCellAsksForItsReport) {
  const auto season = Season();
  const std::unique_ptr<QDialog> dialog = MakeSeasonDisplayWindow(*season, "", false, nullptr);
  std::vector<int> asked;
  SetOpenRaceReport(*dialog, [&asked](int race) { asked.push_back(race); });
  dialog->show();
  ASSERT_TRUE(QTest::qWaitForWindowExposed(dialog.get()));
  QTableWidget* grid = Grid(*dialog);
  auto* report = Child<QAbstractButton>(*dialog, "Command2");
  // The view takes a double click only on the cell its press began on, so the press comes first.
  auto doubleClick = [grid](int row, int column) {
    const QPoint at = grid->visualItemRect(grid->item(row, column)).center();
    QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, at);
    QTest::mouseDClick(grid->viewport(), Qt::LeftButton, {}, at);
  };
  doubleClick(0, 4);
  doubleClick(1, 2);  // the total
  grid->setCurrentCell(2, 3);
  EXPECT_TRUE(report->isEnabled());
  report->click();
  grid->setCurrentCell(2, 1);
  EXPECT_FALSE(report->isEnabled());

  auto* type = Child<QComboBox>(*dialog, "cmbType");
  type->setCurrentIndex(type->findText("Team"));
  doubleClick(0, 3);
  doubleClick(0, 1);
  type->setCurrentIndex(type->findText("Schedule"));
  doubleClick(0, 3);
  EXPECT_EQ(asked, (std::vector<int>{2, 1, 2}));
}

// With VELOMARK_SCREENSHOTS set, the window is written there as season-display.png for a person
// to look at.
TEST(SeasonDisplayWindowTest, Screenshot) {
  const QByteArray folder = qgetenv("VELOMARK_SCREENSHOTS");
  if (folder.isEmpty()) GTEST_SKIP() << "VELOMARK_SCREENSHOTS not set";
  const auto season = Season();
  const std::unique_ptr<QDialog> dialog = MakeSeasonDisplayWindow(*season, "", false, nullptr);
  dialog->show();
  QCoreApplication::processEvents();
  EXPECT_TRUE(dialog->grab().save(QString::fromLocal8Bit(folder) + "/season-display.png"));
}

}  // namespace
}  // namespace vm
