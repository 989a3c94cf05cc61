// The three game modes and the commands each allows: a small state machine over GameMode and over
// the enabled state and caption of a fixed list of commands. A window shows the list; the logic
// here decides it.
#pragma once

#include <array>
#include <functional>
#include <string>
#include <string_view>

#include "core/race_state.h"
#include "core/random.h"
#include "core/session.h"
#include "ui/console.h"

namespace vm {

// The track a race runs on when none has been picked, in the tracks folder.
inline constexpr std::string_view kDefaultTrack = "Tarnock.trk";

// What the mode commands need from the dialogs and subsystems they open.
struct ModeHooks {
  std::function<bool()> RaceSetup{};       // frmRaceSetup; false when cancelled
  std::function<void()> LoadSavedRace{};   // mnuFileLoadSavedRace
  std::function<void()> LoadRaceConfig{};  // mnuFileLoadRace
  std::function<void()> SeasonLoad{};      // mnuSeasonLoad
  std::function<void()> SeasonCreate{};    // mnuSeasonCreate
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
  // rng is the game's generator, for the recommended setup a track load may vary; without one
  // a track load leaves the cars alone.
  ModeCommands(GameSession& g, RaceState& rs, Console& console, ModeHooks hooks = {}, Random* rng = nullptr)
      : g_(g), rs_(rs), console_(console), hooks_(std::move(hooks)), rng_(rng) {}

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
  // else the default one); a success opens the race commands and, with AILoadOptimumSetup set,
  // gives the cars the track's setup. A missing file is passed over silently, a damaged one is
  // reported.
  bool LoadPendingTrack();

 private:
  bool LeaveSeason();
  void EnterFromModeScreen(void (ModeCommands::*command)(), const char* exitCaption, Cmd level);

  GameSession& g_;
  RaceState& rs_;
  Console& console_;
  ModeHooks hooks_;
  Random* rng_;
};

}  // namespace vm
