#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <sstream>
#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "cli/commands.h"
#include "core/textfile.h"
#include "game/modes.h"
#include "game/settings_file.h"
#include "game/startup.h"
#include "tests/temp_dir.h"
#include "ui/scripted_console.h"

namespace vm {
namespace {

std::set<std::string> EnabledCommands(const GameSession& g) {
  std::set<std::string> on;
  for (int i = 0; i < kCommandCount; ++i)
    if (g.Commands[static_cast<size_t>(i)].Enabled) on.insert(std::string(CommandName(static_cast<Cmd>(i))));
  return on;
}

class ModesTest : public ::testing::Test {
 protected:
  std::unique_ptr<RaceState> state = std::make_unique<RaceState>();
  RaceState& rs = *state;
  GameSession g;
  ScriptedConsole console;
};

TEST_F(ModesTest, EachModeOpensItsOwnCommands) {
  const std::set<std::string> common = {"mnuModeLevel", "mnuModeSeason", "mnuModePractice", "mnuModeSingleRace",
                                        "mnuExitMode", "mnuCarSetup"};
  auto with = [&](std::set<std::string> extra) {
    extra.insert(common.begin(), common.end());
    return extra;
  };
  const struct {
    const char* Mode;
    std::set<std::string> Enabled;
  } cases[] = {
      {"Disable", {"mnuModeLevel"}},
      {"Single", with({"mnuTrackLevel", "mnuTrackLoadTrackNew", "mnuRaceLevel", "mnuRaceSetup",
                       "mnuFileLoadSavedRace", "mnuRaceConfigLevel", "mnuFileLoadRace", "mnuRaceLoadResultTables",
                       "mnuCarLevel"})},
      {"Practice", with({"mnuTrackLevel", "mnuTrackLoadTrackNew", "mnuRaceLevel", "mnuRaceSetup", "mnuCarLevel"})},
      {"Season", with({"mnuSeasonLevel", "mnuSeasonLoad", "mnuSeasonCreate", "mnuSeasonExit",
                       "mnuSeasonExitCurrent"})},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Mode);
    for (CommandState& s : g.Commands) s.Enabled = true;  // "Disable" must close everything it names
    g[Cmd::mnuTrackLoadTrack].Enabled = false;
    g[Cmd::mnuGameSettings].Enabled = false;
    SetModeMenus(g, rs, c.Mode);
    std::set<std::string> on = EnabledCommands(g);
    on.erase("mnuOnlineLevel");
    on.erase("mnuOnlineTestLevel");
    on.erase("mnuSaveTIP");
    on.erase("mnuLoadTIP");
    on.erase("mnuOnlineTestSelectCC");
    EXPECT_EQ(on, c.Enabled);
    EXPECT_FALSE(g[Cmd::mnuTrackLevel].Visible);
    EXPECT_FALSE(g[Cmd::mnuModeLevel].Visible);
  }
  // Loading a track in a Single race leaves "Load Track" as the track load set it.
  g[Cmd::mnuTrackLoadTrack].Enabled = true;
  SetModeMenus(g, rs, "Single");
  EXPECT_TRUE(g[Cmd::mnuTrackLoadTrack].Enabled);
}

TEST_F(ModesTest, CaptionsFollowTheModeAndPracticeHasFiftyLaps) {
  rs.RaceLaps = 12;
  SetModeMenus(g, rs, "Practice");
  EXPECT_EQ(g[Cmd::mnuRaceStartRace].Caption, "Begin Practice");
  EXPECT_EQ(g[Cmd::mnuRaceLevel].Caption, "Practice");
  EXPECT_EQ(g[Cmd::mnuRaceSetup].Caption, "Practice Setup");
  EXPECT_EQ(g[Cmd::mnuExitMode].Caption, "Exit Practice Mode");
  EXPECT_EQ(rs.RaceLaps, 50);
  g.SeasonRaceStored = true;
  SetModeMenus(g, rs, "Season");
  EXPECT_EQ(g[Cmd::mnuRaceStartRace].Caption, "Start Race");
  EXPECT_EQ(g[Cmd::mnuExitMode].Caption, "Exit Practice Mode");  // Season leaves it as it was
  EXPECT_EQ(g[Cmd::mnuSeasonNextRace].Caption, "Resume Race");
  SetModeMenus(g, rs, "Single");
  EXPECT_EQ(g[Cmd::mnuExitMode].Caption, "Exit Single Race Mode");
}

TEST_F(ModesTest, LeavingPracticeRestoresTheLapsAndLeavingASeasonAsksFirst) {
  ModeCommands m(g, rs, console);
  rs.RaceLaps = rs.SavedRaceLaps = 12;
  m.mnuModeSingleRace();
  EXPECT_EQ(g.StatusText, "Single Race Mode");
  m.mnuModePractice();
  EXPECT_EQ(rs.RaceLaps, 50);
  EXPECT_EQ(g.StatusText, "Practice Mode");
  EXPECT_TRUE(g[Cmd::mnuModePractice].Checked);
  // Practice overwrote the saved laps with its own 50: that is what a Single race gets back.
  m.mnuModeSingleRace();
  EXPECT_EQ(rs.RaceLaps, 50);
  EXPECT_EQ(rs.GameMode, "Single");

  console.AddAnswer("3");  // frmSeasonModeSelect: Cancel
  m.mnuModeSeason();
  EXPECT_EQ(g.StatusText, "Season Mode: No Season Loaded");
  EXPECT_EQ(g.ModeChoice, "Cancel");
  console.AddAnswer("no");
  m.mnuModePractice();
  EXPECT_EQ(rs.GameMode, "Season");
  console.AddAnswer("yes");
  m.mnuModePractice();
  EXPECT_EQ(rs.GameMode, "Practice");
  EXPECT_EQ(console.Transcript()[1], "ASK Do you want to exit Season Mode ? -> no");
}

TEST_F(ModesTest, TheModeScreensCancelPutsEverythingBack) {
  ModeCommands m(g, rs, console);
  SetModeMenus(g, rs, "Disable");
  g[Cmd::mnuGameSettings].Enabled = true;
  console.AddAnswer("4");  // frmSingleRaceModeSelect: Cancel
  m.cmdSingleRaceMode();
  EXPECT_EQ(g.ModeChoice, "Cancel");
  EXPECT_TRUE(g.BackgroundShown);
  EXPECT_EQ(g.StatusText, " ");
  EXPECT_TRUE(g[Cmd::mnuGameSettings].Enabled);
  EXPECT_FALSE(g[Cmd::mnuRaceLevel].Enabled);
  EXPECT_FALSE(g[Cmd::mnuExitMode].Enabled);
  EXPECT_TRUE(g[Cmd::mnuCarLevel].Enabled);

  // A new race whose setup is cancelled loads no track.
  console.AddAnswer("1");
  ModeCommands withSetup(g, rs, console, {.RaceSetup = [] { return false; }});
  withSetup.cmdSingleRaceMode();
  EXPECT_EQ(g.PendingTrackFile, "CANCEL.LOAD");
  EXPECT_TRUE(g[Cmd::mnuExitMode].Enabled);
  EXPECT_EQ(g[Cmd::mnuExitMode].Caption, "Exit Single Race Mode");
  EXPECT_FALSE(g[Cmd::mnuRaceStartRace].Enabled);

  withSetup.mnuExitMode();
  EXPECT_EQ(EnabledCommands(g), (std::set<std::string>{"mnuModeLevel", "mnuCarLevel", "mnuCarSetup",
                                                       "mnuGameSettings"}));
}

TEST_F(ModesTest, RaceStartAndEndChangeTheTable) {
  SetModeMenus(g, rs, "Single");
  CommandsAfterTrackLoad(g);
  EXPECT_TRUE(g[Cmd::mnuRaceStartRace].Enabled);
  rs.GameMode = "Season";
  CommandsAtRaceStart(g, rs);
  EXPECT_FALSE(g[Cmd::mnuRaceSetup].Enabled);
  EXPECT_TRUE(g[Cmd::mnuRaceEndRace].Enabled);
  EXPECT_TRUE(g[Cmd::mnuRaceSave].Enabled);
  EXPECT_FALSE(g[Cmd::mnuRaceSaveSnapshot].Enabled);
  rs.GameMode = "Practice";
  CommandsAtRaceStart(g, rs);
  EXPECT_FALSE(g[Cmd::mnuRaceOptions].Enabled);
  CommandsAtRaceEnd(g);
  EXPECT_TRUE(g[Cmd::mnuRaceSetup].Enabled);
  EXPECT_FALSE(g[Cmd::mnuRaceEndRace].Enabled);
  EXPECT_FALSE(g[Cmd::mnuRaceUndo].Enabled);
}

// ---------------------------------------------------------------------------------------------
// Start-up

// A data folder holding copies of the shipped files, less the ones a case leaves out.
class StartUpTest : public ::testing::Test {
 protected:
  void Ship(const std::vector<std::string>& without = {}) {
    for (const char* name : {"VMR.ini", "Default.crs", "Default.rst", "Teams.tms", "EULA.rtf"}) {
      if (std::find(without.begin(), without.end(), name) != without.end()) continue;
      std::filesystem::copy_file(std::string(VELOMARK_DATA) + "/" + name, dir.File(name));
    }
  }
  // Points a default file of VMR.ini at another name.
  void Rename(const std::string& carFile, const std::string& resultTable) {
    GameSettings s;
    ASSERT_FALSE(LoadSettings(s, dir.File("VMR.ini")));
    s.DefaultCarFile = carFile;
    s.DefaultResultTable = resultTable;
    ASSERT_FALSE(SaveSettings(s, dir.File("VMR.ini"), SettingsWriter::Game));
  }
  bool Start(std::vector<std::string> answers = {"1"}) {
    console = std::make_unique<ScriptedConsole>(answers, false);
    return StartUp(g, rs, rng, *console, dir.Root());
  }

  testing_support::TempDir dir;
  std::unique_ptr<RaceState> state = std::make_unique<RaceState>();
  RaceState& rs = *state;
  GameSession g;
  Random rng;
  std::unique_ptr<ScriptedConsole> console;
};

TEST_F(StartUpTest, TheAgreementComesOnceAndADeclineWritesNothing) {
  Ship();
  const std::optional<std::string> before = ReadWholeFile(dir.File("VMR.ini"));
  EXPECT_FALSE(Start({"2"}));
  EXPECT_TRUE(g.AgreementDeclined);
  EXPECT_EQ(ReadWholeFile(dir.File("VMR.ini")), before);

  EXPECT_TRUE(Start({"1"}));
  EXPECT_EQ(console->Transcript().back(), "BUTTONS frmEULA (Accept | Decline) -> Accept");
  EXPECT_EQ(g.StatusText, "Mode: Single Race");
  EXPECT_EQ(rs.CarsInFile, 8);
  EXPECT_EQ(rs.Tables.CH2.RangeLow, 7);
  EXPECT_EQ(rs.SavedRaceLaps, rs.RaceLaps);
  EXPECT_EQ(rs.PitReplenishment, 1);
  EXPECT_TRUE(g[Cmd::mnuCarSetup].Enabled);
  EXPECT_FALSE(g[Cmd::mnuRaceSetup].Enabled);
  // The second start shows no agreement: there is no answer for it, and none is taken.
  EXPECT_TRUE(Start({}));
  EXPECT_TRUE(console->Transcript().empty());
}

TEST_F(StartUpTest, EachDefaultFileMissingInTurn) {
  const std::string missing = "is missing or corrupt.";
  const struct {
    const char* Name;
    std::vector<std::string> Without;
    bool Renamed;  // VMR.ini names files that are not there
    bool Starts;
    std::string Message;
  } cases[] = {
      {"no settings", {"VMR.ini"}, false, false, "VMR.ini"},
      {"named files gone, shipped ones stand in", {}, true, true, ""},
      {"no team file", {"Teams.tms"}, false, true, ""},
      {"no car file at all", {"Default.crs"}, true, false, "Default.crs"},
      {"no result tables at all", {"Default.rst"}, true, false, "Default.rst"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Name);
    std::filesystem::remove_all(dir.Path());
    std::filesystem::create_directories(dir.Path());
    Ship(c.Without);
    if (c.Renamed) Rename("Gone.crs", "Gone.rst");
    const auto listing = dir.Listing();
    EXPECT_EQ(Start(), c.Starts);
    EXPECT_EQ(g.FatalLoadError, !c.Starts);
    if (c.Message.empty()) {
      EXPECT_TRUE(console->Messages().empty());
    } else {
      ASSERT_FALSE(console->Messages().empty());
      EXPECT_EQ(console->Messages().front(), "File  ' " + dir.File(c.Message) + " '  is missing or corrupt.  ");
      EXPECT_EQ(dir.Listing(), listing) << "a failed start writes nothing";
    }
  }
}

TEST_F(StartUpTest, ACarFileCanOnlyRaiseTheDesignPoints) {
  Ship();
  GameSettings s;
  ASSERT_FALSE(LoadSettings(s, dir.File("VMR.ini")));
  for (const int points : {5, 12}) {
    SCOPED_TRACE(points);
    s.CarSetupPoints = points;
    s.AgreementShown = true;
    ASSERT_FALSE(SaveSettings(s, dir.File("VMR.ini"), SettingsWriter::Game));
    ASSERT_TRUE(Start({}));
    EXPECT_EQ(rs.CarSetupPoints, std::max(points, 8));  // the shipped car file holds 8
  }
}

TEST(StartCli, AFolderWithoutSettingsSaysSoAndWritesNothing) {
  const testing_support::TempDir dir;
  dir.Add("Default.crs", "8\r\n0\r\n");
  const auto listing = dir.Listing();
  std::ostringstream out, err;
  EXPECT_EQ(RunCli({"--data", dir.Root(), "start", "--accept"}, out, err), kExitFileError);
  EXPECT_EQ(err.str(), "File  ' " + dir.File("VMR.ini") + " '  is missing or corrupt.  \n");
  EXPECT_EQ(dir.Listing(), listing);
}

}  // namespace
}  // namespace vm
