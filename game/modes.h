// The three game modes and the commands each allows: a small state machine over GameMode and over
// the enabled state and caption of a fixed list of commands. A window shows the list; the logic
// here decides it.
#pragma once

#include <array>
#include <functional>
#include <string>
#include <string_view>

#include "core/race_state.h"
#include "ui/console.h"

namespace vm {

// The track a race runs on when none has been picked, in the tracks folder.
inline constexpr std::string_view kDefaultTrack = "Tarnock.trk";

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
  std::string SeasonFile;  // the season's .sea file; its race in progress is saved beside it
  bool RaceLoaded = false;  // the race on the track came from a saved race
  std::string StatusText = " ";  // the status bar's first panel
  bool BackgroundShown = true;
  bool TrackWindowOpen = false;  // frmTrack
  std::array<CommandState, kCommandCount> Commands{};

  CommandState& operator[](Cmd c) { return Commands[static_cast<size_t>(c)]; }
  const CommandState& operator[](Cmd c) const { return Commands[static_cast<size_t>(c)]; }
};

// What the mode commands need from the dialogs and subsystems they open.
struct ModeHooks {
  std::function<bool()> RaceSetup{};      // frmRaceSetup; false when cancelled
  std::function<void()> LoadSavedRace{};  // mnuFileLoadSavedRace
  std::function<void()> LoadRaceConfig{}; // mnuFileLoadRace
  std::function<void()> SeasonLoad{};     // mnuSeasonLoad
  std::function<void()> SeasonCreate{};   // mnuSeasonCreate
};

// Sets the commands' enabled states and captions for a mode: "Disable", "Single", "Practice" or "Season".
void SetModeMenus(GameSession& g, RaceState& rs, std::string_view mode);

// The later changes to the command table.
void CommandsAfterTrackLoad(GameSession& g);
void CommandsAtRaceStart(GameSession& g, const RaceState& rs);
void CommandsAtRaceEnd(GameSession& g);

// The mode commands of the menu and of the mode screen.
class ModeCommands {
 public:
  ModeCommands(GameSession& g, RaceState& rs, Console& console, ModeHooks hooks = {})
      : g_(g), rs_(rs), console_(console), hooks_(std::move(hooks)) {}

  void mnuModePractice();
  void mnuModeSingleRace();
  void mnuModeSeason();
  void mnuRaceSetup();
  void mnuExitMode();
  void mnuSeasonExit();
  void mnuSeasonExitCurrent();
  void cmdPracticeMode();
  void cmdSingleRaceMode();
  void cmdSeasonMode();
  void cmdExitMode() { mnuExitMode(); }

  // Loads PendingTrackFile as the race's track (with none picked, the race's current track or
  // else the default one); a success opens the race commands. A missing file is passed over
  // silently, a damaged one is reported.
  bool LoadPendingTrack();

 private:
  bool LeaveSeason();
  void EnterFromModeScreen(void (ModeCommands::*command)(), const char* exitCaption, Cmd level);

  GameSession& g_;
  RaceState& rs_;
  Console& console_;
  ModeHooks hooks_;
};

}  // namespace vm
