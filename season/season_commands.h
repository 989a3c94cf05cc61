// The season's commands: loading and creating a season, running its next race from the file,
// the standings, and the two ends of a season race: its final results, merged into the season
// file once, and a pause, which saves the race beside the season to be resumed.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "core/race_state.h"
#include "core/session.h"
#include "season/season_file.h"
#include "ui/console.h"

namespace vm {

// What the season needs of the program around it: its windows and the race commands.
struct SeasonHooks {
  // frmSeasonSetup: the path of the season saved and started, nullopt when cancelled.
  std::function<std::optional<std::string>()> SetupSeason{};
  // frmSeasonDisplay: true when the person pressed "Start Next Race" (or "Resume Current Race").
  std::function<bool(const SeasonFileData&, bool raceStored)> ShowStandings{};
  std::function<void()> StartRace{};      // mnuRaceStartRace
  std::function<bool()> LoadSavedRace{};  // mnuFileLoadSavedRace, which takes the season's .rip
  std::function<bool()> LoadTrack{};      // the track load of PendingTrackFile
  std::function<bool()> SaveRace{};       // mnuRaceSave, which writes the season's .rip
  std::function<void()> EndRace{};        // mnuRaceEndRace
  std::function<std::string()> Stamp{};   // the time stamp of a .res file; the clock when unset
};

class SeasonCommands {
 public:
  SeasonCommands(GameSession& g, RaceState& rs, Console& console, SeasonHooks hooks = {})
      : g_(g), rs_(rs), console_(console), hooks_(std::move(hooks)) {}

  // Reads SeasonFile into the season and the race state: rules, field, and the settings of the
  // next race. A file that cannot be read is reported and sets FatalLoadError.
  bool LoadSeason();

  void mnuSeasonLoad();
  void mnuSeasonCreate();
  void mnuSeasonNextRace();
  void mnuSeasonStandings();

  // The end of a race that reached its final standings, in Season: the .res file and the season
  // file's update, once per race.
  void RaceFinished();
  // cmdEndRaceRC in Season, once the person agreed: the race is saved beside the season, ended,
  // and its figures so far merged without moving on to the next race.
  void PauseRace();
  // The pending steps when the main window becomes active in Season: the standings when asked for
  // (and the next race when started there), and the caption of mnuSeasonNextRace.
  void WindowActivated();

  // UpdateSeasonFile: merges the race on the track into the file and writes it back.
  bool UpdateSeasonFile();

  const SeasonFileData& Season() const { return season_; }
  // Replaces the way a paused race is taken up (the headless program hands its cars over first).
  void SetLoadSavedRace(std::function<bool()> load) { hooks_.LoadSavedRace = std::move(load); }
  bool ShowSeasonAfterRace = false;

 private:
  void SetLoadedMenus();
  void NextRaceCaption();
  // Shows the standings; starts the next race when the person asks for it.
  void Standings();
  std::string CarsFolder() const;

  GameSession& g_;
  RaceState& rs_;
  Console& console_;
  SeasonHooks hooks_;
  SeasonFileData season_;
  std::string nextTrackFile_;    // NextTrackFile: the track of the next race, as the schedule has it
  bool resultsWritten_ = false;  // the race on the track has been merged into the season
};

// The status bar's text with a season loaded: "Season Mode: " + the season's name.
std::string SeasonStatusText(const SeasonFileData& season);

// SeasonBaseName: the season file's name without its folder and its extension.
std::string SeasonBaseName(std::string_view seasonFile);

}  // namespace vm
