// The program's state outside the race: its folders, the last answers of the mode panels, the
// season's file and flags, and every command of the menus with its enabled state and caption.
// The mode logic and the season both decide the commands; the windows show them.
#pragma once

#include <array>
#include <string>
#include <string_view>

namespace vm {

// Every command whose state the modes decide, by the name the windows give it.
enum class Cmd {
  mnuModeLevel,
  mnuModeSeason,
  mnuModePractice,
  mnuModeSingleRace,
  mnuTrackLevel,
  mnuTrackLoadTrack,
  mnuTrackLoadTrackNew,
  mnuSeasonLevel,
  mnuSeasonLoad,
  mnuSeasonCreate,
  mnuSeasonSettings,
  mnuSeasonNextRace,
  mnuSeasonStandings,
  mnuSeasonExit,
  mnuSeasonExitCurrent,
  mnuRaceLevel,
  mnuRaceSetup,
  mnuRaceStartRace,
  mnuFileLoadSavedRace,
  mnuRaceSave,
  mnuRaceSaveSnapshot,
  mnuRaceConfigLevel,
  mnuFileLoadRace,
  mnuFileSaveRace,
  mnuRaceQualifying,
  mnuRaceReset,
  mnuRaceEndRace,
  mnuRaceOptions,
  mnuExitMode,
  mnuRaceUndo,
  mnuRaceLoadResultTables,
  mnuCarLevel,
  mnuCarSetup,
  mnuGameSettings,
  mnuOnlineLevel,
  mnuOnlineTestLevel,
  mnuSaveTIP,
  mnuLoadTIP,
  mnuOnlineTestSelectCC,
  mnuOnlineRacingHost,
  mnuOnlineRacingJoin,
  mnuOnlineMode,
  Count
};
inline constexpr int kCommandCount = static_cast<int>(Cmd::Count);

struct CommandState {
  bool Enabled = false;
  bool Visible = true;
  bool Checked = false;
  std::string Caption;
};

// The command's name as the windows know it: "mnuRaceSetup".
std::string_view CommandName(Cmd c);

// The program's state outside the race: where its files are, the last answers of the mode
// panels, and the commands with their state.
struct GameSession {
  std::string AppPath;  // the data folder, with a trailing separator
  std::string CarsFolder, TracksFolder, CarGifsFolder;
  std::string ModeChoice;        // "New Race", "Load Race", "Load Config", "New Season", "Load Season", "Cancel"
  std::string PendingTrackFile;  // "CANCEL.LOAD" when no track was picked
  bool FatalLoadError = false;
  std::string WorkFileName;
  bool AgreementDeclined = false;
  bool SeasonRaceStored = false;
  bool SeasonLoaded = false;
  std::string SeasonFile;        // the season's .sea file; its race in progress is saved beside it
  bool RaceLoaded = false;       // the race on the track came from a saved race
  std::string StatusText = " ";  // the status bar's first panel
  bool BackgroundShown = true;
  bool TrackWindowOpen = false;  // frmTrack
  bool OnlineMode = false;       // an online session is open: the race is shared with other machines
  std::array<CommandState, kCommandCount> Commands{};

  CommandState& operator[](Cmd c) { return Commands[static_cast<size_t>(c)]; }
  const CommandState& operator[](Cmd c) const { return Commands[static_cast<size_t>(c)]; }
};

}  // namespace vm
