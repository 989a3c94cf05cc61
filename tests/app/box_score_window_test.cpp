// The race's report in the desktop program: the final standings come up beside a race that ends,
// the view switches rebuild it, it saves as rich text or as a page and opens in the browser, its
// OK closes the race down; a snapshot is the same report taken mid-race.
#include "app/dialogs/box_score_window.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QPushButton>
#include <QTextBrowser>
#include <filesystem>
#include <string>

#include "core/textfile.h"
#include "core/track_file.h"
#include "core/units.h"
#include "tests/app/app_fixture.h"

namespace vm {
namespace {

using testing_support::Child;

class BoxScoreWindowTest : public testing_support::AppFixture {
 protected:
  void SetUp() override {
    SetUpSmallRace(false);
    controller.SetMoveDelayOverride(0);
    controller.SetOpenPage([this](const std::string& page) { opened = page; });
    controller.Run(Cmd::mnuRaceStartRace);
    ASSERT_TRUE(controller.Race().RaceRunning);
  }

  std::string Text(QDialog& report) { return Child<QTextBrowser>(report, "rtbBoxScore")->toPlainText().toStdString(); }
  static QAction* Action(QDialog& report, const char* name) { return report.findChild<QAction*>(name); }

  std::string opened;
};

TEST_F(BoxScoreWindowTest, TheFinalStandingsComeUpSaveAndCloseTheRace) {
  // A snapshot mid-race is the report as it stands, saved by the name's form.
  ASSERT_TRUE(controller.Session()[Cmd::mnuRaceSaveSnapshot].Enabled);
  const std::string snapshot = Data() + "/Reports/snapshot.html";
  console.AddAnswer("file:" + snapshot);
  controller.Run(Cmd::mnuRaceSaveSnapshot);
  const std::optional<std::string> page = ReadWholeFile(snapshot);
  ASSERT_TRUE(page.has_value());
  EXPECT_NE(page->find("<TITLE>Velomark 2007 - Race Results</TITLE>"), std::string::npos);

  controller.FinishRace();
  for (int i = 0; i < 20 && controller.RaceReport() == nullptr; ++i) QApplication::processEvents();
  QDialog* report = controller.RaceReport();
  ASSERT_NE(report, nullptr);
  EXPECT_EQ(report->objectName(), "frmFinalStandings");
  EXPECT_NE(Text(*report).find("Final Standings:"), std::string::npos);
  if (const QByteArray shots = qgetenv("VELOMARK_SCREENSHOTS"); !shots.isEmpty())
    report->grab().save(QString::fromLocal8Bit(shots) + "/final-standings.png");

  // The view switches take their long sections out and back.
  ASSERT_NE(Text(*report).find("Lap By Lap Standings:"), std::string::npos);
  Action(*report, "mnuViewLapByLap")->trigger();
  EXPECT_EQ(Text(*report).find("Lap By Lap Standings:"), std::string::npos);
  Action(*report, "mnuViewResultTables")->trigger();
  EXPECT_EQ(Text(*report).find("Results Tables Used"), std::string::npos);

  // Saved as rich text by default, as a page once HTML is chosen; the page opens in the browser.
  console.AddAnswer("file:" + Data() + "/Reports/race.rtf");
  Action(*report, "mnuFileSaveBoxScore")->trigger();
  EXPECT_EQ(ReadWholeFile(Data() + "/Reports/race.rtf").value_or("").rfind("{\\rtf1", 0), 0U);
  Action(*report, "mnuFormatHTML")->trigger();
  EXPECT_TRUE(BoxScoreWindowSavesHtml(*report));
  console.AddAnswer("file:" + Data() + "/Reports/race.html");
  Action(*report, "mnuFileSaveBoxScore")->trigger();
  EXPECT_NE(ReadWholeFile(Data() + "/Reports/race.html").value_or("").find("Final Standings:"), std::string::npos);
  Action(*report, "mnuFileOpenInBrowser")->trigger();
  EXPECT_EQ(opened, Data() + "/Reports/TempHTML.html");
  EXPECT_TRUE(std::filesystem::exists(opened));

  // OK closes the report and the race with it.
  Child<QPushButton>(*report, "cmdOK")->click();
  for (int i = 0; i < 5; ++i) QApplication::processEvents();
  EXPECT_EQ(controller.RaceReport(), nullptr);
  EXPECT_FALSE(controller.Session().TrackWindowOpen);
  EXPECT_TRUE(controller.Session()[Cmd::mnuRaceSetup].Enabled);
}

}  // namespace
}  // namespace vm
