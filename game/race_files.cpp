#include "game/race_files.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include "core/paths.h"
#include "core/units.h"
#include "game/saved_race.h"

namespace vm {

namespace {

// Whether a file can be made in the folder: tried, not guessed from permission bits.
bool CanWriteIn(const std::string& folder) {
  if (folder.empty()) return false;
  const std::string probe = JoinPath(folder, ".velomark-write-probe");
  std::FILE* f = std::fopen(probe.c_str(), "wb");
  if (f == nullptr) return false;
  std::fclose(f);
  std::remove(probe.c_str());
  return true;
}

std::string WithSeparator(std::string folder) {
  if (!folder.empty() && folder.back() != '/') folder += '/';
  return folder;
}

}  // namespace

std::string UserDataFolder() {
  const char* xdg = std::getenv("XDG_DATA_HOME");
  if (xdg != nullptr && *xdg == '/') return JoinPath(xdg, "velomark");
  const char* home = std::getenv("HOME");
  if (home != nullptr && *home != '\0') return JoinPath(JoinPath(home, ".local/share"), "velomark");
  return "";
}

std::string UndoFolderFor(const std::string& dataFolder) {
  if (CanWriteIn(dataFolder)) return WithSeparator(dataFolder);
  const std::string user = UserDataFolder();
  if (user.empty()) return "";
  std::error_code ec;
  std::filesystem::create_directories(user, ec);
  return CanWriteIn(user) ? WithSeparator(user) : "";
}

std::string PlayableDataFolder(const std::string& dataFolder) {
  if (CanWriteIn(dataFolder)) return dataFolder;
  const std::string user = UserDataFolder();
  if (user.empty()) return "";
  std::error_code ec;
  if (!std::filesystem::exists(JoinPath(user, "VMR.ini"), ec)) {
    std::filesystem::create_directories(user, ec);
    std::filesystem::copy(dataFolder, user,
                          std::filesystem::copy_options::recursive | std::filesystem::copy_options::skip_existing, ec);
    if (ec) return "";
  }
  return CanWriteIn(user) ? user : "";
}

std::optional<FileError> WriteUndoFiles(const RaceState& rs, const std::string& folder, std::string_view carsFolder,
                                        LapLinesCache* laps) {
  const std::string newer = JoinPath(folder, kUndoFileNewer);
  const std::string older = JoinPath(folder, kUndoFileOlder);
  const std::string spare = JoinPath(folder, kUndoFileSpare);
  const std::string text = SavedRaceText(rs, carsFolder, SavedRaceKind::Undo, nullptr, laps);
  // Every turn: the older file's room is taken for the newest. Renames onto free names and a
  // write in place cost far less than a file made and another deleted.
  if (::access(newer.c_str(), F_OK) == 0) {
    std::rename(older.c_str(), spare.c_str());
    if (std::rename(newer.c_str(), older.c_str()) != 0)
      return FileError{FileErrorCode::WriteFailed, older, 0, "", std::strerror(errno)};
  }
  return ReplaceFileViaSpare(spare, newer, text);
}

RaceFiles::RaceFiles(GameSession& g, RaceEngine& engine, std::string undoFolder)
    : g_(g), engine_(engine), undoFolder_(std::move(undoFolder)), raceStarts_(engine.FreshStarts()) {
  engine_.Seams.SaveUndoFile = [this](RuleContext&) { SaveUndoFile(); };
}

RaceFiles::~RaceFiles() { engine_.Seams.SaveUndoFile = nullptr; }

std::string RaceFiles::NewerUndoFile() const { return JoinPath(undoFolder_, kUndoFileNewer); }
std::string RaceFiles::OlderUndoFile() const { return JoinPath(undoFolder_, kUndoFileOlder); }

RaceConfigTrackLoader RaceFiles::TrackLoader() const { return TrackLoaderFromFolder(g_.TracksFolder); }

// --- Saved races ------------------------------------------------------------------------------------

std::optional<FileError> RaceFiles::SaveRace(const std::string& path, const Random* rng) {
  return WriteSavedRace(Rs(), path, g_.CarsFolder, SavedRaceKind::Rip, rng);
}

std::optional<FileError> RaceFiles::LoadSavedRace(const std::string& path, Random* rng) {
  if (std::optional<FileError> error = ReadSavedRace(Rs(), path, g_.CarsFolder, SavedRaceKind::Rip, TrackLoader(), rng))
    return error;
  // The undo files belong to the race that was on the track before.
  ClearUndoFiles();
  TakeUp();
  return std::nullopt;
}

void RaceFiles::TakeUp() {
  g_.RaceLoaded = true;
  g_.TrackWindowOpen = true;
  CommandsAtRaceStart(g_, Rs());
  engine_.StartRace(true);
}

std::optional<std::string> RaceFiles::ChooseRaceFile(bool save) {
  if (Rs().GameMode == kModeSeason) {
    g_.SeasonRaceStored = true;
    return ReplaceExtension(g_.SeasonFile, kSavedRaceExtension);
  }
  FileDialogRequest ask;
  ask.Save = save;
  ask.Title = save ? "Save Race" : "Load Saved Race";
  ask.Filter = kSavedRaceFilter;
  ask.DefaultExtension = kSavedRaceExtension;
  ask.InitialFolder = g_.AppPath + "Races In Progress";
  return Ui().ChooseFile(ask);
}

bool RaceFiles::mnuRaceSave() {
  // Mid-turn, the race is partly in the engine's hands and no file could hold it.
  if (!engine_.AtTurnStart()) return false;
  const std::optional<std::string> path = ChooseRaceFile(true);
  if (!path) return false;
  if (std::optional<FileError> error = SaveRace(*path)) {
    Ui().ShowMessage("The race could not be saved: " + error->Describe(), "Save Race", MessageKind::Critical);
    return false;
  }
  if (Rs().GameMode != kModeSeason) g_.StatusText = BaseName(*path);
  return true;
}

bool RaceFiles::mnuFileLoadSavedRace() {
  g_.FatalLoadError = false;
  const std::optional<std::string> chosen = ChooseRaceFile(false);
  if (!chosen) {
    g_.ModeChoice = "Cancel";
    return false;
  }
  const std::string& path = *chosen;
  g_.TrackWindowOpen = false;
  if (std::optional<FileError> error = LoadSavedRace(path)) {
    g_.FatalLoadError = true;
    Ui().ShowMessage(FileErrorText(path) + error->Describe(), "Load Saved Race", MessageKind::Critical);
    return false;
  }
  g_.StatusText = BaseName(path);
  return true;
}

// --- Undo -------------------------------------------------------------------------------------------

void RaceFiles::SaveUndoFile() {
  if (undoFolder_.empty()) return;
  // Files kept before the undo was switched off would lie turns back once it is on again.
  if (Rs().UndoDisabled) {
    ClearUndoFiles();
    return;
  }
  // The first turn of a new race: what the files hold is an earlier race's.
  if (engine_.FreshStarts() != raceStarts_) {
    ClearUndoFiles();
    raceStarts_ = engine_.FreshStarts();
  }
  if (std::optional<FileError> error = WriteUndoFiles(Rs(), undoFolder_, g_.CarsFolder, lapLines_.get())) {
    // The older file would now lie two turns back: an undo must not reach it.
    std::error_code ec;
    std::filesystem::remove(OlderUndoFile(), ec);
    if (!undoWriteFailed_)
      Ui().ShowMessage("The undo file could not be written, so no race turn can be taken back: " + error->Describe(),
                       "Undo", MessageKind::Exclamation);
    undoWriteFailed_ = true;
    return;
  }
  undoWriteFailed_ = false;
}

void RaceFiles::ClearUndoFiles() {
  if (undoFolder_.empty()) return;
  std::error_code ec;
  for (std::string_view name : {kUndoFileNewer, kUndoFileOlder, kUndoFileSpare})
    std::filesystem::remove(JoinPath(undoFolder_, name), ec);
  undoWriteFailed_ = false;
}

bool RaceFiles::UndoEnabled() const {
  return engine_.UndoOffered() && !engine_.Context().rs.UndoDisabled && !undoWriteFailed_ && !undoFolder_.empty();
}

bool RaceFiles::mnuRaceUndo() {
  if (!UndoEnabled()) return false;
  const std::string older = OlderUndoFile();
  // The track in memory is the race's own: only a file naming another one loads it afresh.
  const RaceConfigTrackLoader fallback = TrackLoader();
  const RaceConfigTrackLoader keepTrack = [&fallback](RaceState& rs, const std::string& trackFile) {
    return trackFile == rs.track.TrackFile ? std::nullopt : fallback(rs, trackFile);
  };
  if (std::optional<FileError> error = ReadSavedRace(Rs(), older, g_.CarsFolder, SavedRaceKind::Undo, keepTrack)) {
    const std::string detail = error->Code == FileErrorCode::NotFound ? "" : error->Describe();
    Ui().ShowMessage(FileErrorText(older) + detail, "Undo", MessageKind::Critical);
    return false;
  }
  // The race stands where UFB.rip left it, so that file is now the newer one: left in place, the
  // next turn's rotation would make the abandoned turn the way back.
  std::error_code ec;
  std::filesystem::rename(older, NewerUndoFile(), ec);
  Rs().TurnWasUndone = true;
  TakeUp();
  return true;
}

// --- End of a race ----------------------------------------------------------------------------------

void RaceFiles::mnuRaceEndRace() {
  RaceState& rs = Rs();
  if (rs.RaceRunning && engine_.WaitingFor() != Waiting::RaceOver) engine_.EndRace();
  rs.RaceEndedByUser = true;
  g_.RaceLoaded = false;
  rs.RaceConfigLoaded = false;
  rs.QualifyingDone = false;
  // The practice results come with the reports.
  if (!rs.AccumulateDamage) {
    for (int car = 1; car <= kMaxCars; ++car) {
      const CarRatings& d = rs.CarDesign[car];
      rs.CarStartSpeed[car] = d.StartSpeed;
      rs.CarAcceleration[car] = d.Acceleration;
      rs.CarDeceleration[car] = d.Deceleration;
      rs.CarTopSpeed[car] = d.TopSpeed;
      rs.CarWearPerLap[car] = d.WearPerLap;
      rs.CarDRM[car] = d.DRM;
    }
  }
  if (!rs.QualifyingLapRunning) g_.TrackWindowOpen = false;
  g_.BackgroundShown = true;
  g_.StatusText = " ";
  g_[Cmd::mnuGameSettings].Enabled = true;
  SetModeMenus(g_, rs, rs.GameMode);
  CommandsAtRaceEnd(g_);
  if (rs.LockCars) g_[Cmd::mnuCarLevel].Enabled = false;
  if (rs.GameMode == kModeSeason) {
    for (Cmd c : {Cmd::mnuSeasonNextRace, Cmd::mnuSeasonStandings, Cmd::mnuSeasonSettings, Cmd::mnuSeasonExit,
                  Cmd::mnuSeasonExitCurrent})
      g_[c].Enabled = true;
    g_[Cmd::mnuSeasonLoad].Enabled = false;
    g_[Cmd::mnuSeasonCreate].Enabled = false;
  }
  ClearUndoFiles();
}

}  // namespace vm
