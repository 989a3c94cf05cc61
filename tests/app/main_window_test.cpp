// The main window shows the session's commands as the modes set them: every action enabled and
// captioned as the command table says, the menus following their level, the status text and the
// mode screen.
#include <gtest/gtest.h>

#include <QAction>
#include <QImage>
#include <QMenu>
#include <QSettings>
#include <algorithm>
#include <string>
#include <vector>

#include "app/screenshots.h"
#include "core/units.h"
#include "tests/app/app_fixture.h"

namespace vm {
namespace {

using MainWindowTest = testing_support::AppFixture;

TEST_F(MainWindowTest, TheMenusFollowTheModesCommandTable) {
  StartUp();
  EXPECT_EQ(window->StatusText(), "Mode: Single Race");
  struct Case {
    const char* Mode;
    const char* RaceMenu;
    const char* StartRace;
    bool LoadSavedRace;  // only a single race loads one
    bool TrackLevelShown;
  };
  for (const Case& c :
       {Case{"Disable", "&Race", "Start Race", false, false}, Case{"Single", "Race", "Start Race", true, false},
        Case{"Practice", "Practice", "Begin Practice", false, false},
        Case{"Season", "Race", "Start Race", false, false}}) {
    SCOPED_TRACE(c.Mode);
    SetModeMenus(controller.Session(), controller.Race(), c.Mode);
    controller.NotifyChanged();
    const GameSession& g = controller.Session();
    for (int i = 0; i < kCommandCount; ++i) {
      const Cmd command = static_cast<Cmd>(i);
      if (QAction* action = window->ActionOf(command)) {
        EXPECT_EQ(action->isEnabled(), g[command].Enabled) << CommandName(command);
      }
    }
    EXPECT_EQ(window->ActionOf(Cmd::mnuFileLoadSavedRace)->isEnabled(), c.LoadSavedRace);
    EXPECT_EQ(window->ActionOf(Cmd::mnuRaceStartRace)->text(), c.StartRace);
    EXPECT_EQ(window->MenuOf(Cmd::mnuRaceLevel)->title(), c.RaceMenu);
    // The track and mode menus are never on the bar: their commands come through the mode screen.
    EXPECT_EQ(window->MenuOf(Cmd::mnuTrackLevel)->menuAction()->isVisible(), c.TrackLevelShown);
    EXPECT_FALSE(window->MenuOf(Cmd::mnuModeLevel)->menuAction()->isVisible());
  }
}

TEST_F(MainWindowTest, TheModeScreensCancelLeavesTheProgramWhereItWas) {
  StartUp();
  // Season mode, and "Cancel" on the season's mode panel.
  console.AddAnswer("3");
  controller.cmdSeasonMode();
  const GameSession& g = controller.Session();
  EXPECT_EQ(g.ModeChoice, "Cancel");
  EXPECT_TRUE(g.BackgroundShown);
  EXPECT_EQ(window->StatusText(), " ");
  EXPECT_TRUE(window->ActionOf(Cmd::mnuGameSettings)->isEnabled());
  EXPECT_FALSE(window->MenuOf(Cmd::mnuSeasonLevel)->isEnabled());
  // A disabled command does nothing, whatever sends it.
  const std::string mode = controller.Race().GameMode;
  controller.Run(Cmd::mnuRaceStartRace);
  EXPECT_FALSE(controller.Race().RaceRunning);
  EXPECT_EQ(controller.Race().GameMode, mode);
}

// Every window renders offscreen to a picture of a sensible size: the main window and each dialog
// the program registers; an unknown name says which ones there are.
TEST_F(MainWindowTest, EachWindowRendersToAPicture) {
  StartUp();
  std::vector<std::string> names = controller.DialogNames();
  EXPECT_NE(std::find(names.begin(), names.end(), "frmAbout"), names.end());
  names.push_back("frmMain");
  for (const std::string& name : names) {
    SCOPED_TRACE(name);
    const QString file = folder.filePath(QString::fromStdString(name) + ".png");
    ASSERT_EQ(SaveScreenshot(controller, *window, name, file), "");
    const QImage picture(file);
    EXPECT_GT(picture.width(), 150);
    EXPECT_GT(picture.height(), 80);
  }
  const std::string why = SaveScreenshot(controller, *window, "frmNowhere", folder.filePath("x.png"));
  EXPECT_NE(why.find("no window is called \"frmNowhere\" (known: frmMain, "), std::string::npos) << why;
}

// The window comes back where it was closed, per user, under "Settings".
TEST_F(MainWindowTest, TheWindowKeepsItsPlaceAndSize) {
  QSettings().remove(QStringLiteral("Settings"));
  window->setGeometry(120, 90, 800, 560);
  window->close();
  QSettings settings;
  EXPECT_EQ(settings.value(QStringLiteral("Settings/MainWidth")).toInt(), 800);
  EXPECT_EQ(settings.value(QStringLiteral("Settings/MainLeft")).toInt(), 120);
  MainWindow again(controller);
  again.RestorePlace();
  EXPECT_EQ(again.geometry().size(), QSize(800, 560));
  EXPECT_EQ(again.geometry().topLeft(), QPoint(120, 90));
  QSettings().remove(QStringLiteral("Settings"));
}

}  // namespace
}  // namespace vm
