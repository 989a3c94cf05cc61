// The commands of a race in progress that go through files: save it, load it again, keep the undo
// files at the end of every race turn and take the last turn back, and end the race.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "core/textfile.h"
#include "engine/turn_engine.h"
#include "game/modes.h"
#include "game/race_config.h"
#include "game/saved_race.h"

namespace vm {

// The folder for the undo files: the data folder when a file can be written there, else the
// per-user data folder (made when missing). "" when neither can be written.
std::string UndoFolderFor(const std::string& dataFolder);

// The per-user data folder: $XDG_DATA_HOME/velomark, or ~/.local/share/velomark.
std::string UserDataFolder();

// The data folder the program can play in: the given one when a file can be written there (a
// folder beside the program), else the per-user data folder, filled with a copy of the given one
// when it has no settings yet (an installed program's shared data). "" when neither can be had.
std::string PlayableDataFolder(const std::string& dataFolder);

// SaveUndoFile's work in `folder`: UFA.rip becomes UFB.rip, and the race is written to UFA.rip.
// The lap lines are taken from `laps` where the race has not changed them since the last file.
std::optional<FileError> WriteUndoFiles(const RaceState& rs, const std::string& folder, std::string_view carsFolder,
                                        LapLinesCache* laps = nullptr);

class RaceFiles {
 public:
  // Car pictures are stored relative to carsFolder; a loaded race's track is looked for where
  // it was saved and then in the tracks folder.
  RaceFiles(GameSession& g, RaceEngine& engine, std::string undoFolder);
  ~RaceFiles();
  RaceFiles(const RaceFiles&) = delete;
  RaceFiles& operator=(const RaceFiles&) = delete;

  // mnuRaceSave: in a Season to the season's own .rip without a question, otherwise where the
  // save dialog says. False when cancelled or the file could not be written (which is told).
  bool mnuRaceSave();
  // mnuFileLoadSavedRace: the load dialog (outside a Season), the file, and the race taken up
  // where it was saved. False when cancelled (ModeChoice "Cancel") or the file was refused.
  bool mnuFileLoadSavedRace();

  // The same without the dialogs. With rng given, the generator's place goes with the race (a
  // save) or is taken from the file (a load), so the race goes on with the very same values.
  std::optional<FileError> SaveRace(const std::string& path, const Random* rng = nullptr);
  std::optional<FileError> LoadSavedRace(const std::string& path, Random* rng = nullptr);

  // SaveUndoFile: UFA.rip becomes UFB.rip, and the race as it stands is written to UFA.rip. The
  // turn engine calls it at the end of every race turn. A file that cannot be written is told
  // once a race, and the undo is then off.
  void SaveUndoFile();
  // Removes the undo files and their spare: a new race must never take back a turn of an earlier one.
  void ClearUndoFiles();
  // Whether mnuRaceUndo is enabled.
  bool UndoEnabled() const;
  // mnuRaceUndo: the race as UFB.rip holds it, at the start of the previous race turn, then the
  // race goes on from there; that file becomes UFA.rip, the state of this turn's start. Nothing
  // happens while the undo is off; a missing or damaged file gives the standard file message and
  // leaves the race as it was.
  bool mnuRaceUndo();

  // mnuRaceEndRace: the race ends with nothing asked (the caller has asked): the working ratings
  // go back to the race's starting ones unless damage accumulates, and the commands are set for
  // the time between races.
  void mnuRaceEndRace();

  std::string NewerUndoFile() const;  // UFA.rip
  std::string OlderUndoFile() const;  // UFB.rip

 private:
  RaceState& Rs() { return engine_.Context().rs; }
  Console& Ui() { return engine_.Context().console; }
  RaceConfigTrackLoader TrackLoader() const;
  // The .rip of the season in a Season, otherwise the one the save or load dialog picks.
  std::optional<std::string> ChooseRaceFile(bool save);
  // Takes up a race just read: the engine starts it without a reset.
  void TakeUp();

  GameSession& g_;
  RaceEngine& engine_;
  std::string undoFolder_;
  bool undoWriteFailed_ = false;
  int raceStarts_ = 0;  // the engine's fresh starts when the undo files were last written
  std::unique_ptr<LapLinesCache> lapLines_ = std::make_unique<LapLinesCache>();
};

}  // namespace vm
