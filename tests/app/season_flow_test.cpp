// A season in the desktop program: the bundled season loaded from the Season menu, its standings
// shown, its first race started from them on its own circuit, paused to the season's file and
// taken up again with "Resume Race".
#include <gtest/gtest.h>

#include <QApplication>
#include <QDialog>
#include <QPushButton>
#include <QTimer>
#include <filesystem>
#include <functional>

#include "app/race/race_window.h"
#include "core/paths.h"
#include "core/textfile.h"
#include "core/units.h"
#include "season/season_file.h"
#include "tests/app/app_fixture.h"

namespace vm {
namespace {

using testing_support::Child;

class SeasonFlowTest : public testing_support::AppFixture {
 protected:
  // Presses a button of the standings window once it is up.
  void WhenStandingsShown(const char* button, bool saveFirst = false) {
    QTimer::singleShot(0, [this, button, saveFirst] {
      QWidget* shown = QApplication::activeModalWidget();
      ASSERT_NE(shown, nullptr);
      EXPECT_EQ(shown->objectName(), "frmSeasonDisplay");
      ++standingsShown;
      if (saveFirst) Child<QPushButton>(*shown, "mnuFileSaveBoxScore")->click();
      Child<QPushButton>(*shown, button)->click();
    });
  }
  std::string Sea() const { return Data() + "/Season/Velomark Cup.sea"; }
  int standingsShown = 0;
};

TEST_F(SeasonFlowTest, TheBundledSeasonRacesPausesAndResumes) {
  StartUp();
  controller.SetMoveDelayOverride(0);
  // The mode screen's Season asks whether to create or load; the season file is chosen; the standings come up
  // and "Start Next Race" runs race 1.
  console.AddAnswer("2");  // "Load Existing Season"
  console.AddAnswer("file:" + Sea());
  WhenStandingsShown("Command3");
  controller.cmdSeasonMode();
  EXPECT_EQ(standingsShown, 1);
  const GameSession& g = controller.Session();
  RaceState& rs = controller.Race();
  ASSERT_TRUE(g.SeasonLoaded);
  EXPECT_EQ(g.StatusText, "Season Mode: Velomark Cup");
  ASSERT_TRUE(rs.RaceRunning);
  EXPECT_EQ(rs.track.TrackName, "Tarnock Park");
  EXPECT_EQ(rs.CarCount, 8);
  EXPECT_EQ(rs.RaceLaps, 10);
  EXPECT_TRUE(rs.PitLaneOpen);
  EXPECT_FALSE(g[Cmd::mnuSeasonNextRace].Enabled);
  ASSERT_EQ(controller.Engine().WaitingFor(), Waiting::Speed) << "car 1 is a person's";
  EXPECT_EQ(Child<QPushButton>(window->Race(), "cmdEndRaceRC")->text(), "Pause Season Race  [Esc]");

  // Paused at the first panel, between turns: the race goes to the season's .rip and the season
  // stays at race 1; the standings come back with "Resume Current Race".
  console.AddAnswer("yes");
  // The standings printed from their window, then closed.
  console.AddAnswer("file:" + Data() + "/Reports/standings.html");
  WhenStandingsShown("Command4", true);
  controller.EndRaceRC();
  QApplication::processEvents();
  EXPECT_EQ(standingsShown, 2);
  EXPECT_NE(ReadWholeFile(Data() + "/Reports/standings.html").value_or("").find("Velomark Cup"), std::string::npos);
  EXPECT_FALSE(rs.RaceRunning);
  EXPECT_TRUE(std::filesystem::exists(ReplaceExtension(Sea(), ".rip")));
  SeasonFileData file;
  ASSERT_FALSE(ReadSeasonFile(file, Sea(), g.CarsFolder));
  EXPECT_TRUE(file.RaceStored);
  EXPECT_EQ(file.NextRace, 1);
  EXPECT_EQ(g[Cmd::mnuSeasonNextRace].Caption, "Resume Race");
  ASSERT_TRUE(g[Cmd::mnuSeasonNextRace].Enabled);

  // "Resume Race" takes the saved race up at the panel where it stopped.
  controller.Run(Cmd::mnuSeasonNextRace);
  ASSERT_TRUE(rs.RaceRunning);
  EXPECT_EQ(rs.track.TrackName, "Tarnock Park");
  EXPECT_EQ(controller.Engine().WaitingFor(), Waiting::Speed);
}

}  // namespace
}  // namespace vm
