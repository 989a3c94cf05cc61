#include "game/startup.h"

#include <filesystem>
#include <system_error>

#include "cars/car_file.h"
#include "core/paths.h"
#include "core/textfile.h"
#include "game/settings_file.h"
#include "rules/result_table_file.h"

namespace vm {

namespace {

bool Opens(const std::string& path) { return ReadWholeFile(path).has_value(); }

// Says what is wrong with a file: the standard words for a missing one, and where a damaged one
// went wrong, since the standard message names only missing files.
void Report(Console& console, const FileError& e, const std::string& name) {
  ReportFileError(console, static_cast<int>(e.Code), name);
  if (e.Code != FileErrorCode::NotFound)
    console.ShowMessage(FileErrorText(name) + e.Describe(), "Velomark", MessageKind::Critical);
}

}  // namespace

std::string DefaultDataFolder() {
  std::error_code ec;
  std::filesystem::path exe = std::filesystem::read_symlink("/proc/self/exe", ec);
  if (!ec) {
    for (std::filesystem::path dir = exe.parent_path(); !dir.empty(); dir = dir.parent_path()) {
      if (std::filesystem::exists(dir / "data" / "VMR.ini", ec)) return (dir / "data").string();
      // An installed program: PREFIX/bin/velomark with its data in PREFIX/share/velomark.
      if (std::filesystem::exists(dir / "share" / "velomark" / "VMR.ini", ec))
        return (dir / "share" / "velomark").string();
      if (dir == dir.root_path()) break;
    }
  }
  return "data";
}

void SetFolders(GameSession& g, const std::string& dataFolder) {
  std::string app = NativePath(dataFolder);
  if (app.empty()) app = ".";
  // Absolute once, here: the paths built from it are absolute too, so joining a file name to
  // the data folder never doubles a relative folder, and they stay right if the working folder
  // changes.
  std::error_code ec;
  const std::filesystem::path absolute = std::filesystem::absolute(app, ec).lexically_normal();
  if (!ec) app = absolute.string();
  if (app.back() != '/') app += '/';
  g.AppPath = app;
  g.CarsFolder = app + "Cars/";
  g.TracksFolder = app + "Tracks/";
  g.CarGifsFolder = app + "CarGifs/";
}

std::string InDataFolder(const GameSession& g, const std::string& name) {
  const std::string native = NativePath(name);
  if (native.empty() || native.front() == '/') return native;
  return JoinPath(g.AppPath, native);
}

void ReadStartUpSettings(GameSession& g, RaceState& rs, Console& console) {
  // Step 1.
  rs.MinPitDuration = 5;
  g.FatalLoadError = false;
  rs.PitLaneOpen = false;
  const std::string ini = g.AppPath + "VMR.ini";
  if (std::optional<FileError> e = ReadSettings(rs, ini)) {
    Report(console, *e, ini);
    g.FatalLoadError = true;
    return;
  }
  rs.SavedRaceLaps = rs.RaceLaps;
  rs.StartWearAllotment = rs.RaceLaps;
  rs.PitReplenishment = 1;
  // Step 2. A default file that is not there quietly gives way to the one shipped beside the program.
  if (!Opens(InDataFolder(g, rs.DefaultCarFile))) rs.DefaultCarFile = g.AppPath + "Default.crs";
  if (!Opens(InDataFolder(g, rs.DefaultTeamFile))) rs.DefaultTeamFile = g.AppPath + "Teams.tms";
  if (!Opens(InDataFolder(g, rs.DefaultResultTable))) rs.DefaultResultTable = g.AppPath + "Default.rst";
  // Step 3. Only the first ten places score.
  rs.CurrentCarFile = rs.DefaultCarFile;
  for (size_t place = 11; place < rs.PointStructure.size(); ++place) rs.PointStructure[place] = 0;
  // Steps 4 and 5.
  std::string carFile = InDataFolder(g, rs.DefaultCarFile);
  std::optional<FileError> e = LoadCarFile(rs, carFile, g.CarsFolder, SetupPointsRule::RaiseOnly);
  if (e && BaseName(carFile) != "Default.crs") {
    carFile = g.AppPath + "Default.crs";
    e = LoadCarFile(rs, carFile, g.CarsFolder, SetupPointsRule::RaiseOnly);
  }
  if (e) {
    Report(console, *e, carFile);
    g.FatalLoadError = true;
  }
}

bool LoadDefaultResultTables(GameSession& g, RaceState& rs, Console& console) {
  g.WorkFileName = InDataFolder(g, rs.DefaultResultTable);
  std::optional<FileError> e = LoadResultTables(rs.Tables, g.WorkFileName);
  const std::string shipped = g.AppPath + "Default.rst";
  if (e && e->Code == FileErrorCode::NotFound && g.WorkFileName != shipped) {
    g.WorkFileName = shipped;
    e = LoadResultTables(rs.Tables, g.WorkFileName);
  }
  if (e) Report(console, *e, g.WorkFileName);
  return !e;
}

bool StartUp(GameSession& g, RaceState& rs, Random& rng, Console& console, const std::string& dataFolder) {
  // Step 1.
  rng.SeedFromClock();
  // Step 2.
  for (Cmd c : {Cmd::mnuOnlineLevel, Cmd::mnuOnlineTestLevel}) g[c].Visible = false;
  rs.GameMode.clear();
  g.StatusText = "Mode: Single Race";
  SetModeMenus(g, rs, "Disable");
  g[Cmd::mnuGameSettings].Enabled = true;
  g[Cmd::mnuCarSetup].Enabled = true;
  // Step 3.
  SetFolders(g, dataFolder);
  // Step 4.
  rs.RaceRunning = false;
  rs.RaceOver = false;
  rs.QualifyingMethod = "Start Speed";
  g[Cmd::mnuFileSaveRace].Enabled = false;
  // Step 5.
  rs.AgreementShown = false;
  ReadStartUpSettings(g, rs, console);
  if (g.FatalLoadError) return false;
  // Step 6.
  if (!rs.AgreementShown) {
    const std::optional<std::string> text = ReadWholeFile(g.AppPath + "EULA.rtf");
    const int pick = console.ChooseButton({"frmEULA", "License Agreement", text.value_or(""), {"Accept", "Decline"}});
    g.AgreementDeclined = pick != 0;
    if (g.AgreementDeclined) return false;
  }
  // Step 7. Written at once, so the agreement is shown only once.
  rs.AgreementShown = true;
  if (std::optional<FileError> e = WriteSettings(rs, g.AppPath + "VMR.ini"))
    console.ShowMessage("The settings could not be written: " + e->Describe(), "Velomark", MessageKind::Exclamation);
  // Step 8.
  if (!LoadDefaultResultTables(g, rs, console)) {
    g.FatalLoadError = true;
    return false;
  }
  // Step 9.
  for (Cmd c : {Cmd::mnuSaveTIP, Cmd::mnuLoadTIP, Cmd::mnuOnlineTestSelectCC}) g[c].Visible = false;
  return true;
}

}  // namespace vm
