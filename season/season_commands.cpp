#include "season/season_commands.h"

#include <filesystem>

#include "core/paths.h"
#include "core/stamp.h"
#include "core/units.h"

namespace vm {

namespace {

constexpr std::string_view kSeasonTitle = "Season";

// A schedule's track as it stands on this machine: the path as written (either separator, any
// case), or else the file of that name in the tracks folder, as a season made elsewhere has it.
std::string TrackOnDisk(const std::string& stored, const std::string& tracksFolder) {
  const std::string asWritten = ResolvePath(NativePath(stored));
  std::error_code ec;
  if (std::filesystem::is_regular_file(asWritten, ec)) return asWritten;
  return ResolvePath(JoinPath(tracksFolder, BaseName(NativePath(stored))));
}

}  // namespace

std::string SeasonStatusText(const SeasonFileData& season) { return "Season Mode: " + season.Name; }

std::string SeasonCommands::CarsFolder() const { return g_.CarsFolder; }

bool SeasonCommands::LoadSeason() {
  g_.FatalLoadError = false;
  SeasonFileData read;
  if (std::optional<FileError> e = ReadSeasonFile(read, g_.SeasonFile, CarsFolder())) {
    g_.FatalLoadError = true;
    if (e->Code == FileErrorCode::NotFound)
      ReportFileError(console_, 53, g_.SeasonFile);
    else
      console_.ShowMessage(FileErrorText(g_.SeasonFile) + e->Describe(), kSeasonTitle, MessageKind::Critical);
    return false;
  }
  season_ = std::move(read);
  // After the last race no row matches NextRace: the track of the last race stays pending.
  const std::string track = ApplySeason(season_, rs_, season_.NextRace);
  if (!track.empty()) nextTrackFile_ = track;
  g_.SeasonRaceStored = season_.RaceStored;
  g_.StatusText = SeasonStatusText(season_);
  g_.SeasonLoaded = true;
  rs_.CurrentCarFile = g_.SeasonFile + " Season File";
  return true;
}

void SeasonCommands::SetLoadedMenus() {
  g_[Cmd::mnuSeasonLoad].Enabled = false;
  g_[Cmd::mnuSeasonCreate].Enabled = false;
  for (Cmd c : {Cmd::mnuSeasonNextRace, Cmd::mnuSeasonStandings, Cmd::mnuSeasonSettings, Cmd::mnuSeasonExit,
                Cmd::mnuSeasonExitCurrent})
    g_[c].Enabled = true;
  g_[Cmd::mnuCarLevel].Enabled = !rs_.LockCars;
  if (season_.NextRace > season_.Races) g_[Cmd::mnuSeasonNextRace].Enabled = false;
  NextRaceCaption();
}

void SeasonCommands::NextRaceCaption() {
  g_[Cmd::mnuSeasonNextRace].Caption = g_.SeasonRaceStored ? "Resume Race" : "Next Race";
}

void SeasonCommands::mnuSeasonLoad() {
  const FileDialogRequest ask{
      false, "Load Season", std::string(kSeasonFileFilter), std::string(kSeasonFileExtension), g_.AppPath + "Season",
      ""};
  const std::optional<std::string> file = console_.ChooseFile(ask);
  if (!file) {
    g_.ModeChoice = "Cancel";
    return;
  }
  g_.SeasonFile = *file;
  if (!LoadSeason()) return;
  SetLoadedMenus();
  Standings();
}

void SeasonCommands::mnuSeasonCreate() {
  const std::optional<std::string> file = hooks_.SetupSeason ? hooks_.SetupSeason() : std::nullopt;
  if (!file) {
    g_.ModeChoice = "Cancel";
    return;
  }
  g_.ModeChoice = "Start Season";
  g_.SeasonFile = *file;
  if (!LoadSeason()) return;
  SetLoadedMenus();
  g_[Cmd::mnuRaceSetup].Enabled = false;
  Standings();
}

void SeasonCommands::mnuSeasonNextRace() {
  // Every race begins from the file, not from what the last one left in memory.
  if (!LoadSeason()) return;
  ShowSeasonAfterRace = false;
  resultsWritten_ = false;
  g_[Cmd::mnuRaceLevel].Enabled = false;
  g_[Cmd::mnuRaceStartRace].Enabled = true;
  g_[Cmd::mnuSeasonCreate].Enabled = false;
  g_[Cmd::mnuSeasonNextRace].Enabled = false;
  g_[Cmd::mnuSeasonSettings].Enabled = true;
  if (g_.SeasonRaceStored) {
    if (hooks_.LoadSavedRace) hooks_.LoadSavedRace();
    return;
  }
  const std::string track = TrackOnDisk(nextTrackFile_, g_.TracksFolder);
  std::error_code ec;
  if (!std::filesystem::is_regular_file(track, ec)) {
    // The race cannot run without its circuit: say so rather than race on another one.
    ReportFileError(console_, 53, nextTrackFile_);
    g_[Cmd::mnuRaceStartRace].Enabled = false;
    g_[Cmd::mnuSeasonNextRace].Enabled = true;
    return;
  }
  g_.PendingTrackFile = track;
  if (hooks_.LoadTrack) hooks_.LoadTrack();
}

void SeasonCommands::mnuSeasonStandings() {
  // The standings are rebuilt from the file each time, never kept.
  if (!LoadSeason()) return;
  Standings();
}

void SeasonCommands::Standings() {
  const bool start = hooks_.ShowStandings && hooks_.ShowStandings(season_, g_.SeasonRaceStored);
  if (!start || season_.NextRace > season_.Races) return;
  // "Start Next Race" runs the next race as "Next Race" would, from the file and on its own
  // circuit, then starts it; a stored race starts itself once loaded.
  const bool stored = g_.SeasonRaceStored;
  mnuSeasonNextRace();
  if (g_.FatalLoadError || stored || !g_[Cmd::mnuRaceStartRace].Enabled) return;
  g_[Cmd::mnuSeasonNextRace].Enabled = false;
  if (hooks_.StartRace) hooks_.StartRace();
}

bool SeasonCommands::UpdateSeasonFile() {
  g_.FatalLoadError = false;
  SeasonFileData file;
  if (std::optional<FileError> e = ReadSeasonFile(file, g_.SeasonFile, CarsFolder())) {
    g_.FatalLoadError = true;
    console_.ShowMessage(FileErrorText(g_.SeasonFile) + e->Describe(), kSeasonTitle, MessageKind::Critical);
    return false;
  }
  MergeRaceResult(file, rs_, CountRaceFigures(rs_), g_.SeasonRaceStored);
  if (std::optional<FileError> e = WriteSeasonFile(file, g_.SeasonFile, SeasonWriter::Update, CarsFolder())) {
    console_.ShowMessage("The season could not be saved: " + e->Describe(), kSeasonTitle, MessageKind::Critical);
    return false;
  }
  season_ = std::move(file);
  return true;
}

void SeasonCommands::RaceFinished() {
  // A paused race ends by the person's hand and is not a result; a result is merged once.
  if (rs_.GameMode != kModeSeason || !g_.SeasonLoaded || rs_.RaceEndedByUser || resultsWritten_) return;
  if (rs_.QualifyingLapRunning) return;
  resultsWritten_ = true;
  g_.SeasonRaceStored = false;
  const int race = season_.NextRace;
  const std::string stamp = hooks_.Stamp ? hooks_.Stamp() : StampNow();
  const std::string path = RaceResultPath(DirName(g_.SeasonFile), SeasonBaseName(g_.SeasonFile), race);
  if (std::optional<FileError> e = WriteRaceResults(rs_, race, path, CarsFolder(), stamp))
    console_.ShowMessage("The race's results could not be saved: " + e->Describe(), kSeasonTitle,
                         MessageKind::Critical);
  UpdateSeasonFile();
  g_[Cmd::mnuSeasonNextRace].Enabled = season_.NextRace <= season_.Races;
  NextRaceCaption();
  ShowSeasonAfterRace = true;
}

void SeasonCommands::PauseRace() {
  // The race is saved beside the season first: if that fails, the race goes on as it was.
  if (!hooks_.SaveRace || !hooks_.SaveRace()) return;
  g_.SeasonRaceStored = true;
  if (hooks_.EndRace) hooks_.EndRace();
  UpdateSeasonFile();
  NextRaceCaption();
  ShowSeasonAfterRace = true;
}

void SeasonCommands::WindowActivated() {
  if (rs_.GameMode != kModeSeason) return;
  if (ShowSeasonAfterRace && g_.SeasonLoaded) {
    ShowSeasonAfterRace = false;
    Standings();
  }
  NextRaceCaption();
  ShowSeasonAfterRace = false;
}

std::string SeasonBaseName(std::string_view seasonFile) {
  std::string name = BaseName(NativePath(seasonFile));
  const size_t dot = name.rfind('.');
  if (dot != std::string::npos) name.erase(dot);
  return name;
}

}  // namespace vm
