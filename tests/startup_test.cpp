#include "game/startup.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "cli/commands.h"
#include "core/textfile.h"
#include "game/modes.h"
#include "game/race_setup.h"
#include "game/settings_file.h"
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
  const std::set<std::string> common = {"mnuModeLevel",      "mnuModeSeason", "mnuModePractice",
                                        "mnuModeSingleRace", "mnuExitMode",   "mnuCarSetup"};
  auto with = [&](std::set<std::string> extra) {
    extra.insert(common.begin(), common.end());
    return extra;
  };
  const struct {
    const char* Mode;
    std::set<std::string> Enabled;
  } cases[] = {
      {"Disable", {"mnuModeLevel"}},
      {"Single", with({"mnuTrackLevel", "mnuTrackLoadTrackNew", "mnuRaceLevel", "mnuRaceSetup", "mnuFileLoadSavedRace",
                       "mnuRaceConfigLevel", "mnuFileLoadRace", "mnuRaceLoadResultTables", "mnuCarLevel",
                       "mnuOnlineRacingHost", "mnuOnlineRacingJoin", "mnuOnlineMode"})},
      {"Practice", with({"mnuTrackLevel", "mnuTrackLoadTrackNew", "mnuRaceLevel", "mnuRaceSetup", "mnuCarLevel"})},
      {"Season", with({"mnuSeasonLevel", "mnuSeasonLoad", "mnuSeasonCreate", "mnuSeasonExit", "mnuSeasonExitCurrent"})},
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

TEST_F(ModesTest, CaptionsFollowTheMode) {
  SetModeMenus(g, rs, "Practice");
  EXPECT_EQ(g[Cmd::mnuRaceStartRace].Caption, "Begin Practice");
  EXPECT_EQ(g[Cmd::mnuRaceLevel].Caption, "Practice");
  EXPECT_EQ(g[Cmd::mnuRaceSetup].Caption, "Practice Setup");
  EXPECT_EQ(g[Cmd::mnuExitMode].Caption, "Exit Practice Mode");
  g.SeasonRaceStored = true;
  SetModeMenus(g, rs, "Season");
  EXPECT_EQ(g[Cmd::mnuRaceStartRace].Caption, "Start Race");
  EXPECT_EQ(g[Cmd::mnuExitMode].Caption, "Exit Practice Mode");  // Season leaves it as it was
  EXPECT_EQ(g[Cmd::mnuSeasonNextRace].Caption, "Resume Race");
  SetModeMenus(g, rs, "Single");
  EXPECT_EQ(g[Cmd::mnuExitMode].Caption, "Exit Single Race Mode");
}

TEST_F(ModesTest, PracticeRunsFiftyLapsAndLeavingItGivesTheSavedLapsBack) {
  // What happens in Practice, and the laps a Single race then gets back.
  const struct {
    const char* Name;
    std::function<void(RaceSetupDialog&)> InPractice;
    int LapsBack;
  } cases[] = {
      {"nothing", [](RaceSetupDialog&) {}, 12},
      {"setup accepted with 20 laps shown",
       [](RaceSetupDialog& d) {
         d.cmbTotalLaps.Text = "20";
         d.Ok();
       },
       12},
      {"defaults of 30 laps reloaded",
       [](RaceSetupDialog& d) {
         d.LoadDefaultSettings([](RaceState& r) -> std::optional<FileError> {
           r.RaceLaps = r.SavedRaceLaps = 30;
           return std::nullopt;
         });
       },
       30},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Name);
    rs.GameMode.clear();
    ModeCommands m(g, rs, console);
    rs.RaceLaps = rs.SavedRaceLaps = 12;
    m.mnuModeSingleRace();
    EXPECT_EQ(g.StatusText, "Single Race Mode");
    m.mnuModePractice();
    EXPECT_EQ(g.StatusText, "Practice Mode");
    EXPECT_TRUE(g[Cmd::mnuModePractice].Checked);
    RaceSetupDialog dialog(rs);
    c.InPractice(dialog);
    EXPECT_EQ(rs.RaceLaps, 50);
    m.mnuModeSingleRace();
    EXPECT_EQ(rs.RaceLaps, c.LapsBack);
    EXPECT_EQ(rs.GameMode, "Single");
  }
}

TEST_F(ModesTest, LeavingASeasonAsksFirst) {
  ModeCommands m(g, rs, console);
  m.mnuModeSingleRace();
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

TEST_F(ModesTest, ASetupWithoutAPickedTrackRunsOnTheDefaultCircuit) {
  g.TracksFolder = std::string(VELOMARK_DATA) + "/Tracks/";
  ModeCommands m(g, rs, console, ModeHooks{.RaceSetup = [] { return true; }});
  m.mnuModeSingleRace();
  console.AddAnswer("1");  // frmSingleRaceModeSelect: New Race
  m.mnuRaceSetup();
  EXPECT_EQ(rs.track.TrackFile, g.TracksFolder + "Tarnock.trk");
  EXPECT_TRUE(g[Cmd::mnuRaceStartRace].Enabled);
  EXPECT_TRUE(console.Messages().empty());
}

TEST_F(ModesTest, AMissingTrackIsPassedOverSilentlyAndADamagedOneSaysWhy) {
  testing_support::TempDir dir;
  std::filesystem::create_directory(dir.Path() / "Folder.trk");
  const struct {
    const char* Name;
    std::string File;
    bool Loads;
    bool Reported;
  } cases[] = {
      {"missing", dir.File("Gone.trk"), false, false},
      {"damaged", dir.Add("Bad.trk", "1.5,\"Bad\",\"A\",\"B\",\"BAD\",60,40,lots"), false, true},
      {"a folder", dir.File("Folder.trk"), false, true},
      {"sound", std::string(VELOMARK_DATA) + "/Tracks/Kestrel.trk", true, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Name);
    rs.GameMode.clear();
    rs.track.TrackFile.clear();
    ScriptedConsole quiet;
    // The setup picks the track, as its Load Track leaves it.
    ModeCommands m(g, rs, quiet, ModeHooks{.RaceSetup = [&] {
                     g.PendingTrackFile = c.File;
                     return true;
                   }});
    m.mnuModePractice();
    g.PendingTrackFile = std::string(kCancelLoad);  // an earlier setup's cancel does not hold
    m.mnuRaceSetup();
    EXPECT_EQ(g[Cmd::mnuRaceStartRace].Enabled, c.Loads);
    EXPECT_EQ(rs.track.TrackFile, c.Loads ? c.File : "");
    ASSERT_EQ(quiet.Messages().size(), c.Reported ? 1u : 0u);
    if (c.Reported) {
      EXPECT_NE(quiet.Messages()[0].find(c.File), std::string::npos) << quiet.Messages()[0];
    }
  }
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
  EXPECT_EQ(EnabledCommands(g),
            (std::set<std::string>{"mnuModeLevel", "mnuCarLevel", "mnuCarSetup", "mnuGameSettings"}));
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

TEST_F(StartUpTest, ARelativeDataFolderIsJoinedOnceSoTheShippedFilesStandIn) {
  struct Restore {
    std::filesystem::path Folder = std::filesystem::current_path();
    ~Restore() { std::filesystem::current_path(Folder); }
  } restore;
  Ship();
  Rename("Gone.crs", "Gone.rst");
  std::filesystem::create_directory(dir.Path() / "d2");
  for (const auto& entry : std::filesystem::directory_iterator(dir.Path()))
    if (entry.is_regular_file()) std::filesystem::rename(entry.path(), dir.Path() / "d2" / entry.path().filename());
  std::filesystem::current_path(dir.Path());
  const std::string app = (std::filesystem::current_path() / "d2").string() + "/";
  console = std::make_unique<ScriptedConsole>(std::vector<std::string>{"1"}, false);
  EXPECT_TRUE(StartUp(g, rs, rng, *console, "d2"));
  EXPECT_TRUE(console->Messages().empty());
  EXPECT_EQ(g.AppPath, app);
  EXPECT_EQ(g.TracksFolder, app + "Tracks/");
  EXPECT_EQ(rs.DefaultCarFile, app + "Default.crs");
  EXPECT_EQ(rs.CarsInFile, 8);
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

TEST(StartCli, AFolderWithoutSettingsExitsWithAFileError) {
  const testing_support::TempDir dir;
  std::ostringstream out, err;
  EXPECT_EQ(RunCli({"--data", dir.Root(), "start", "--accept"}, out, err), kExitFileError);
  EXPECT_EQ(err.str(), "File  ' " + dir.File("VMR.ini") + " '  is missing or corrupt.  \n");
}

}  // namespace
}  // namespace vm
