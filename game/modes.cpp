#include "game/modes.h"

#include "cars/car_actions.h"
#include "core/track_file.h"
#include "core/units.h"

namespace vm {

namespace {

// Each command's state per mode, in the columns "Disable", "Single", "Practice", "Season":
// E enabled, D disabled, - left as it was.
struct Row {
  Cmd Command;
  const char* States;
};
constexpr Row kTable[] = {
    {Cmd::mnuModeLevel, "EEEE"},
    {Cmd::mnuModeSeason, "DEEE"},
    {Cmd::mnuModePractice, "DEEE"},
    {Cmd::mnuModeSingleRace, "DEEE"},
    {Cmd::mnuTrackLevel, "DEED"},
    {Cmd::mnuTrackLoadTrack, "D--D"},
    {Cmd::mnuTrackLoadTrackNew, "DEED"},
    {Cmd::mnuSeasonLevel, "DDDE"},
    {Cmd::mnuSeasonLoad, "DDDE"},
    {Cmd::mnuSeasonCreate, "DDDE"},
    {Cmd::mnuSeasonSettings, "DDDD"},
    {Cmd::mnuSeasonNextRace, "DDDD"},
    {Cmd::mnuSeasonStandings, "DDDD"},
    {Cmd::mnuSeasonExit, "DDDE"},
    {Cmd::mnuSeasonExitCurrent, "DDDE"},
    {Cmd::mnuRaceLevel, "DEED"},
    {Cmd::mnuRaceSetup, "DEED"},
    {Cmd::mnuRaceStartRace, "DDDD"},
    {Cmd::mnuFileLoadSavedRace, "DEDD"},
    {Cmd::mnuRaceSave, "DDDD"},
    {Cmd::mnuRaceSaveSnapshot, "DDDD"},
    {Cmd::mnuRaceConfigLevel, "DEDD"},
    {Cmd::mnuFileLoadRace, "DEDD"},
    {Cmd::mnuFileSaveRace, "DDDD"},
    {Cmd::mnuRaceQualifying, "DDDD"},
    {Cmd::mnuRaceReset, "DDDD"},
    {Cmd::mnuRaceEndRace, "DDDD"},
    {Cmd::mnuRaceOptions, "DDDD"},
    {Cmd::mnuExitMode, "DEEE"},
    {Cmd::mnuRaceUndo, "DDDD"},
    {Cmd::mnuRaceLoadResultTables, "DEDD"},
    {Cmd::mnuCarLevel, "DEED"},
    {Cmd::mnuCarSetup, "DEEE"},
    {Cmd::mnuOnlineLevel, "DEDD"},
    {Cmd::mnuOnlineRacingHost, "DEDD"},
    {Cmd::mnuOnlineRacingJoin, "DEDD"},
    {Cmd::mnuOnlineMode, "DEDD"},
};

int Column(std::string_view mode) {
  if (mode == kModeSingle) return 1;
  if (mode == kModePractice) return 2;
  if (mode == kModeSeason) return 3;
  return 0;
}

void SetChecks(GameSession& g, std::string_view mode) {
  g[Cmd::mnuModePractice].Checked = mode == kModePractice;
  g[Cmd::mnuModeSingleRace].Checked = mode == kModeSingle;
  g[Cmd::mnuModeSeason].Checked = mode == kModeSeason;
}

}  // namespace

void SetModeMenus(GameSession& g, RaceState& rs, std::string_view mode) {
  g[Cmd::mnuTrackLevel].Visible = false;
  const int column = Column(mode);
  // Online racing is a single race shared among machines.
  g[Cmd::mnuOnlineLevel].Visible = column == 1;
  for (const Row& row : kTable) {
    const char state = row.States[column];
    if (state != '-') g[row.Command].Enabled = state == 'E';
  }
  if (column != 0) {
    const bool practice = column == 2;
    g[Cmd::mnuRaceStartRace].Caption = practice ? "Begin Practice" : "Start Race";
    g[Cmd::mnuRaceLevel].Caption = practice ? "Practice" : "Race";
    g[Cmd::mnuRaceSetup].Caption = practice ? "Practice Setup" : "Race Setup";
    if (column == 1) g[Cmd::mnuExitMode].Caption = "Exit Single Race Mode";
    if (practice) g[Cmd::mnuExitMode].Caption = "Exit Practice Mode";
    g[Cmd::mnuSeasonNextRace].Caption = g.SeasonRaceStored ? "Resume Race" : "Next Race";
  }
  // A practice session always has the same lap limit.
  if (column == 2) rs.RaceLaps = 50;
  g[Cmd::mnuModeLevel].Visible = false;
}

void CommandsAfterTrackLoad(GameSession& g) {
  for (Cmd c : {Cmd::mnuFileSaveRace, Cmd::mnuRaceStartRace, Cmd::mnuRaceLevel, Cmd::mnuRaceSetup}) g[c].Enabled = true;
}

void CommandsAtRaceStart(GameSession& g, const RaceState& rs) {
  for (Cmd c : {Cmd::mnuFileLoadRace, Cmd::mnuFileLoadSavedRace, Cmd::mnuFileSaveRace, Cmd::mnuRaceConfigLevel,
                Cmd::mnuRaceLoadResultTables, Cmd::mnuTrackLoadTrack, Cmd::mnuTrackLoadTrackNew, Cmd::mnuRaceSetup,
                Cmd::mnuRaceStartRace, Cmd::mnuRaceQualifying, Cmd::mnuCarSetup, Cmd::mnuCarLevel, Cmd::mnuTrackLevel,
                Cmd::mnuModeLevel, Cmd::mnuOnlineRacingHost, Cmd::mnuOnlineRacingJoin})
    g[c].Enabled = false;
  g[Cmd::mnuRaceEndRace].Enabled = true;
  g[Cmd::mnuRaceOptions].Enabled = true;
  if (rs.GameMode == kModePractice) {
    g[Cmd::mnuRaceOptions].Enabled = false;
    g[Cmd::mnuRaceSaveSnapshot].Enabled = false;
  } else {
    g[Cmd::mnuRaceSave].Enabled = true;
    g[Cmd::mnuRaceSaveSnapshot].Enabled = rs.GameMode != kModeSeason;
  }
}

void CommandsAtRaceEnd(GameSession& g) {
  for (Cmd c : {Cmd::mnuTrackLoadTrackNew, Cmd::mnuRaceSetup, Cmd::mnuCarSetup, Cmd::mnuCarLevel, Cmd::mnuFileLoadRace,
                Cmd::mnuFileLoadSavedRace, Cmd::mnuFileSaveRace, Cmd::mnuExitMode, Cmd::mnuRaceLoadResultTables})
    g[c].Enabled = true;
  for (Cmd c : {Cmd::mnuRaceStartRace, Cmd::mnuRaceQualifying, Cmd::mnuRaceSave, Cmd::mnuRaceSaveSnapshot,
                Cmd::mnuRaceEndRace, Cmd::mnuRaceOptions, Cmd::mnuRaceUndo})
    g[c].Enabled = false;
}

// --- Mode commands ----------------------------------------------------------------------------------

bool ModeCommands::LeaveSeason() {
  if (rs_.GameMode != kModeSeason || !g_[Cmd::mnuSeasonLevel].Enabled) return true;
  if (!console_.AskYesNo("Do you want to exit Season Mode ?", "Change Game Mode")) return false;
  mnuSeasonExit();
  return true;
}

void ModeCommands::mnuModePractice() {
  if (rs_.GameMode == kModePractice) return;
  if (!LeaveSeason()) return;
  rs_.AccumulateDamage = false;
  // SavedRaceLaps keeps the laps of the other modes while in Practice, so that leaving it gives
  // them back; setting it to 50 here as well would lose them.
  rs_.RaceLaps = 50;
  SetChecks(g_, kModePractice);
  g_.TrackWindowOpen = false;
  g_.StatusText = "Practice Mode";
  rs_.GameMode = kModePractice;
  SetModeMenus(g_, rs_, rs_.GameMode);
}

void ModeCommands::mnuModeSingleRace() {
  if (!LeaveSeason()) return;
  rs_.RaceLaps = rs_.SavedRaceLaps;
  rs_.LockCars = false;
  rs_.AccumulateDamage = false;
  SetChecks(g_, kModeSingle);
  g_.TrackWindowOpen = false;
  g_.StatusText = "Single Race Mode";
  rs_.GameMode = kModeSingle;
  SetModeMenus(g_, rs_, rs_.GameMode);
  g_[Cmd::mnuCarLevel].Enabled = true;
}

void ModeCommands::mnuModeSeason() {
  if (rs_.GameMode == kModeSeason && g_[Cmd::mnuSeasonNextRace].Enabled) {
    if (!console_.AskYesNo("Do you want to exit " + g_.StatusText + " ?", "Change Game Mode")) return;
    mnuSeasonExit();
  }
  SetChecks(g_, kModeSeason);
  g_.StatusText = "Season Mode: No Season Loaded";
  rs_.GameMode = kModeSeason;
  SetModeMenus(g_, rs_, rs_.GameMode);
  const int pick = console_.ChooseButton(
      {"frmSeasonModeSelect", "Season Mode", "", {"Create New Season", "Load Existing Season", "Cancel"}});
  g_.ModeChoice = pick == 0 ? "New Season" : pick == 1 ? "Load Season" : "Cancel";
  if (g_.ModeChoice == "Load Season" && hooks_.SeasonLoad) hooks_.SeasonLoad();
  if (g_.ModeChoice == "New Season" && hooks_.SeasonCreate) hooks_.SeasonCreate();
}

bool ModeCommands::LoadPendingTrack() {
  if (g_.PendingTrackFile == "CANCEL.LOAD") return false;
  // With no track picked the race runs on the track it has, or else on the default circuit.
  std::string file = g_.PendingTrackFile;
  if (file.empty()) file = rs_.track.TrackFile;
  if (file.empty()) file = g_.TracksFolder + std::string(kDefaultTrack);
  if (std::optional<FileError> e = LoadTrack(rs_.track, file)) {
    // A track that is not there is passed over in silence; a damaged one says what is wrong.
    if (e->Code != FileErrorCode::NotFound)
      console_.ShowMessage(FileErrorText(file) + e->Describe(), "Velomark", MessageKind::Critical);
    return false;
  }
  if (rs_.AILoadOptimumSetup && rng_ != nullptr)
    LoadTrackSetup(rs_, *rng_, rs_.track, false, false, TrackSetupFolders{g_.TracksFolder, g_.CarsFolder});
  CommandsAfterTrackLoad(g_);
  return true;
}

void ModeCommands::mnuRaceSetup() {
  auto newRace = [&] {
    // A setup cancelled before must not keep this one from loading its track.
    g_.PendingTrackFile.clear();
    const bool accepted = hooks_.RaceSetup ? hooks_.RaceSetup() : false;
    if (!accepted) g_.PendingTrackFile = "CANCEL.LOAD";
    g_[Cmd::mnuExitMode].Enabled = true;
    LoadPendingTrack();
  };
  if (rs_.GameMode == kModePractice) {
    newRace();
  } else if (rs_.GameMode == kModeSingle) {
    // An online race is set up afresh: a saved race or configuration would not match the cars the
    // players have joined with, so loading is not offered.
    int pick = 0;
    if (g_.OnlineMode) {
      pick = console_.ChooseButton({"frmSingleRaceModeSelect", "Single Race Mode", "", {"New Race", "Cancel"}}) == 0
                 ? 0
                 : 3;
    } else {
      pick = console_.ChooseButton({"frmSingleRaceModeSelect",
                                    "Single Race Mode",
                                    "",
                                    {"New Race", "Load Saved Race", "Load Race Config", "Cancel"}});
    }
    g_.ModeChoice = pick == 0 ? "New Race" : pick == 1 ? "Load Race" : pick == 2 ? "Load Config" : "Cancel";
    if (g_.ModeChoice == "Load Race" && hooks_.LoadSavedRace) hooks_.LoadSavedRace();
    if (g_.ModeChoice == "New Race") newRace();
    if (g_.ModeChoice == "Load Config") {
      if (hooks_.LoadRaceConfig) hooks_.LoadRaceConfig();
      g_[Cmd::mnuExitMode].Enabled = true;
    }
  }
}

void ModeCommands::mnuExitMode() {
  g_.TrackWindowOpen = false;
  SetModeMenus(g_, rs_, rs_.GameMode);
  SetModeMenus(g_, rs_, "Disable");
  g_.BackgroundShown = true;
  g_.StatusText = " ";
  for (Cmd c : {Cmd::mnuGameSettings, Cmd::mnuCarLevel, Cmd::mnuCarSetup}) g_[c].Enabled = true;
  for (Cmd c : {Cmd::mnuRaceLevel, Cmd::mnuSeasonLevel, Cmd::mnuExitMode}) g_[c].Enabled = false;
}

void ModeCommands::mnuSeasonExit() {
  g_.SeasonLoaded = false;
  g_[Cmd::mnuSeasonSettings].Enabled = false;
  g_.TrackWindowOpen = false;
}

void ModeCommands::mnuSeasonExitCurrent() {
  g_.SeasonLoaded = false;
  SetChecks(g_, kModeSeason);
  g_.StatusText = "Season Mode: No Season Loaded";
  rs_.GameMode = kModeSeason;
  SetModeMenus(g_, rs_, rs_.GameMode);
}

void ModeCommands::EnterFromModeScreen(void (ModeCommands::*command)(), const char* exitCaption, Cmd level) {
  // Step 1.
  g_.BackgroundShown = false;
  g_[Cmd::mnuGameSettings].Enabled = false;
  // Step 2.
  (this->*command)();
  if (level == Cmd::mnuRaceLevel) mnuRaceSetup();
  // Step 3.
  g_[Cmd::mnuExitMode].Caption = exitCaption;
  g_[Cmd::mnuExitMode].Enabled = true;
  // Step 4.
  if (g_.ModeChoice == "Load Race") g_[Cmd::mnuExitMode].Enabled = false;
  if (g_.ModeChoice == "Cancel") {
    g_.BackgroundShown = true;
    g_.StatusText = " ";
    g_[Cmd::mnuGameSettings].Enabled = true;
    g_[level].Enabled = false;
    g_[Cmd::mnuExitMode].Enabled = false;
    g_[Cmd::mnuCarLevel].Enabled = true;
  }
}

void ModeCommands::cmdPracticeMode() {
  g_.ModeChoice.clear();
  EnterFromModeScreen(&ModeCommands::mnuModePractice, "Exit Practice Mode", Cmd::mnuRaceLevel);
}

void ModeCommands::cmdSingleRaceMode() {
  g_.ModeChoice.clear();
  EnterFromModeScreen(&ModeCommands::mnuModeSingleRace, "Exit Single Race Mode", Cmd::mnuRaceLevel);
}

void ModeCommands::cmdSeasonMode() {
  g_.ModeChoice.clear();
  EnterFromModeScreen(&ModeCommands::mnuModeSeason, "Exit Season Mode", Cmd::mnuSeasonLevel);
}

}  // namespace vm
