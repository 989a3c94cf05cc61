#include "season/season_setup.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <utility>

#include "cars/car_file.h"
#include "cars/car_setup.h"
#include "cars/team_file.h"
#include "core/numbers.h"
#include "core/paths.h"
#include "core/textfile.h"
#include "core/track_file.h"
#include "core/units.h"

namespace vm {

namespace {

constexpr int kDefaultLaps = 50;
constexpr int kSetupPointsLow = 4;
constexpr int kSetupPointsHigh = 12;
constexpr int kAbbrevLength = 6;
constexpr std::string_view kMessageTitle = "Season Setup";

std::vector<int> Range(int low, int high) {
  std::vector<int> items;
  for (int v = low; v <= high; ++v) items.push_back(v);
  return items;
}

std::string OneDecimal(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f", value);
  return text;
}

// The miles as a number is joined to text: its shortest form, "4.8" or "2".
std::string ShortNumber(double value) {
  char text[32];
  const auto result = std::to_chars(text, text + sizeof text, value);
  return std::string(text, result.ptr);
}

bool EndsWithNoCase(std::string_view text, std::string_view tail) {
  if (text.size() < tail.size()) return false;
  return std::equal(tail.begin(), tail.end(), text.end() - static_cast<std::ptrdiff_t>(tail.size()),
                    [](char a, char b) {
                      return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
                    });
}

// What a string field of the file reads back as: the form has no escape for quotes or line ends.
std::string AsStored(std::string_view text) {
  std::string out(text);
  for (char& c : out) {
    if (c == '"') c = '\'';
    if (c == '\r' || c == '\n') c = ' ';
  }
  return out;
}

// The standings head each race's column with the abbreviation, so it is always six wide.
std::string Abbreviation(std::string_view text) {
  std::string out = AsStored(text).substr(0, kAbbrevLength);
  out.resize(kAbbrevLength, ' ');
  return out;
}

// A points box holds a 16-bit number; any other text counts as 0.
int PointsValue(std::string_view text) {
  const std::optional<double> value = ParseNumber(text);
  if (!value) return 0;
  const double rounded = RoundHalfEven(*value);
  if (rounded < -32768 || rounded > 32767) return 0;
  return static_cast<int>(rounded);
}

// A slot below the field, as an unused row of the car arrays holds it.
CarRecord EmptyCar() {
  CarRecord c;
  c.StartSpeed = c.Acceleration = c.Deceleration = c.TopSpeed = c.WearPerLap = 0;
  c.ProfileSpare = c.RaceProfile = c.LapProfile = 0;
  c.DRM = 0;
  c.DriverName.clear();
  c.Team.clear();
  return c;
}

const char* ProfileText(int profile) {
  switch (profile) {
    case 1: return "Early";
    case 2: return "Steady";
    case 3: return "Late";
  }
  return "";
}

}  // namespace

StopsAllotment AllotmentForStops(int laps, int stops) {
  stops = std::max(stops, 0);
  StopsAllotment a;
  a.StartAllotment = static_cast<int>(std::floor(static_cast<double>(laps) / (stops + 1) + 0.5));
  a.PitReplenishment = laps / (stops + 1);
  if (a.StartAllotment + stops * a.PitReplenishment < laps) ++a.PitReplenishment;
  return a;
}

int MinimumStops(int laps, int startAllotment, int pitReplenishment) {
  if (pitReplenishment <= 0) return 0;
  const double stops = std::floor(static_cast<double>(laps - startAllotment) / pitReplenishment + 0.5);
  return std::max(static_cast<int>(stops), 0);
}

SeasonSetupDialog::SeasonSetupDialog(RaceState& rs, Console& console, std::string dataFolder)
    : rs_(rs), console_(console), dataFolder_(std::move(dataFolder)) {
  for (int car = 1; car <= kMaxCars; ++car) {
    saved_.Cars[static_cast<size_t>(car)] = GetCar(rs_, car);
    saved_.WetTires[static_cast<size_t>(car)] = rs_.CarWetTires[car];
  }
  saved_.CarsInFile = rs_.CarsInFile;
  saved_.CarCount = rs_.CarCount;
  saved_.CarSetupPoints = rs_.CarSetupPoints;
  saved_.CurrentCarFile = rs_.CurrentCarFile;
  // Without a team file the team box is still free to type in.
  (void)vm::LoadTeamFile(teams_, JoinPath(dataFolder_, kTeamFileName));

  seasonDrivers_ = std::clamp(rs_.CarsInFile, 0, kMaxCars);
  cmbCarSetupPoints = rs_.CarSetupPoints;
  cmbQualifying = rs_.QualifyingMethod.empty() ? std::string(kQualifyStartSpeed) : rs_.QualifyingMethod;
  CheckAllowRequal = rs_.AllowRequalifying;
  chkManDRE = rs_.AllowManualDice;
  chkLOS = rs_.AILoadOptimumSetup;
  chkLOSRnd = rs_.AIRandomizeOptimumSetup;
  chkDTESSC = rs_.OptCurveEntryBySlipstream;
  chkAAFES = rs_.OptAccelFromCurveExit;
  chkABF = rs_.OptBlueFlag;
  chkASIT = rs_.OptSlipstreamInCurves;
  chkPLC = rs_.OptNoLaneChangeInCurves;
  chkUndoDisabled = rs_.UndoDisabled;
  chkWeatherEnabled = rs_.WeatherEnabled;
  weatherCycle_ = rs_.WeatherCycles;

  laps_ = rs_.RaceLaps >= 1 && rs_.RaceLaps <= kMaxLaps ? rs_.RaceLaps : kDefaultLaps;
  pitOpen_ = rs_.PitLaneOpen;
  repairOnly_ = rs_.PitRepairOnly;
  minStops_ = std::clamp(rs_.MinPitStops, 0, kSeasonMaxMinPitStops);
  turnsInPit_ = rs_.MinPitDuration >= 1 && rs_.MinPitDuration <= kSeasonMaxPitTurns ? rs_.MinPitDuration : 5;
  RunStopsRule();

  for (int place = 1; place <= kMaxCars; ++place) points_[static_cast<size_t>(place)] = rs_.PointStructure[place];
  bonus_ = {rs_.PointsPole, rs_.PointsLeadLap, rs_.PointsFastLap, rs_.PointsLeadMost};
  pointPreset_ = kSeasonCustomPoints;
  for (size_t i = 0; i < kSeasonPointPresets.size(); ++i) {
    const auto& places = kSeasonPointPresets[i].Places;
    if (std::equal(places.begin(), places.end(), points_.begin() + 1)) pointPreset_ = static_cast<int>(i);
  }
  ShowPoints();
}

// --- Lists.

std::vector<int> SeasonSetupDialog::TotalLapsItems() { return Range(1, kMaxLaps); }
std::vector<int> SeasonSetupDialog::SeasonDriverItems() const { return Range(1, rs_.CarsInFile); }
std::vector<int> SeasonSetupDialog::MinPitStopsItems() { return Range(0, kSeasonMaxMinPitStops); }
std::vector<int> SeasonSetupDialog::StartAllotmentItems() const { return Range(1, laps_); }
std::vector<int> SeasonSetupDialog::PitReplenishmentItems() const { return Range(1, laps_ - startAllotment_); }
std::vector<int> SeasonSetupDialog::TurnsInPitItems() { return Range(1, kSeasonMaxPitTurns); }
std::vector<int> SeasonSetupDialog::CarSetupPointsItems() { return Range(kSetupPointsLow, kSetupPointsHigh); }
std::string SeasonSetupDialog::TracksFolder() const { return JoinPath(dataFolder_, "Tracks"); }
std::string SeasonSetupDialog::CarsFolder() const { return JoinPath(dataFolder_, "Cars"); }

void SeasonSetupDialog::SetSeasonDrivers(int drivers) {
  if (rs_.CarsInFile >= 1) seasonDrivers_ = std::clamp(drivers, 1, rs_.CarsInFile);
}

// --- Track and race length.

bool SeasonSetupDialog::ChooseTrack(const std::string& folder, const std::string& fileName) {
  const std::string path = JoinPath(folder, fileName);
  TrackHeader header;
  if (std::optional<FileError> error = TrackPreview(path, header)) {
    trackFile_.clear();
    trackInfo_.clear();
    ReportFileError(console_, static_cast<int>(error->Code), path);
    if (error->Code != FileErrorCode::NotFound)
      console_.ShowMessage("The track was not read. " + error->Describe(), kMessageTitle, MessageKind::Exclamation);
    return false;
  }
  trackFile_ = path;
  trackName_ = header.TrackName;
  trackMiles_ = header.TrackDistanceMiles;
  trackInfo_ = {header.TrackName, header.TrackPlace1, header.TrackPlace2,
                std::string(kTrackDistancePrefix) + ShortNumber(trackMiles_) + std::string(kTrackDistanceSuffix)};
  txtTrkAbbrev = header.TrackTag;
  return true;
}

std::string SeasonSetupDialog::MilesText() const { return OneDecimal(laps_ * trackMiles_); }

void SeasonSetupDialog::SetTotalLaps(int laps) {
  laps_ = std::clamp(laps, 1, kMaxLaps);
  RunStopsRule();
}

void SeasonSetupDialog::SetMinPitStops(int stops) {
  minStops_ = std::clamp(stops, 0, kSeasonMaxMinPitStops);
  RunStopsRule();
}

void SeasonSetupDialog::RunStopsRule() {
  const StopsAllotment a = AllotmentForStops(laps_, minStops_);
  startAllotment_ = a.StartAllotment;
  pitReplenishment_ = a.PitReplenishment;
}

void SeasonSetupDialog::SetStartAllotment(int laps) {
  startAllotment_ = std::clamp(laps, 1, laps_);
  // A replenishment the new list still offers stands; otherwise one stop covers the rest. With
  // no laps left no stop is needed and the replenishment does not matter.
  const int left = laps_ - startAllotment_;
  if (left >= 1 && (pitReplenishment_ < 1 || pitReplenishment_ > left)) pitReplenishment_ = left;
}

// --- Schedule.

bool SeasonSetupDialog::AddRaceEnabled() const { return TrackChosen() && Races() < kMaxSeasonRaces; }

bool SeasonSetupDialog::AddRace() {
  if (!AddRaceEnabled()) return false;
  SeasonScheduleRow row;
  SeasonRace& r = row.Race;
  row.TrackName = trackName_;
  r.TrackFile = trackFile_;
  r.Laps = std::to_string(laps_);
  r.Abbrev = Abbreviation(txtTrkAbbrev);
  r.MinPitTurns = turnsInPit_;
  r.Miles = laps_ * trackMiles_;
  r.PitOpen = pitOpen_;
  if (pitOpen_ && repairOnly_) {
    r.RepairOnly = true;
    r.StartAllotment = laps_;
    r.PitReplenishment = 0;
  } else if (pitOpen_) {
    r.StartAllotment = startAllotment_;
    r.PitReplenishment = pitReplenishment_;
    row.MinPitStops = MinimumStops(laps_, startAllotment_, pitReplenishment_);
  } else {
    r.StartAllotment = laps_;
    r.PitReplenishment = 0;
  }
  schedule_.push_back(std::move(row));
  selectedRace_ = Races();
  return true;
}

std::vector<std::vector<std::string>> SeasonSetupDialog::ScheduleRows() const {
  std::vector<std::vector<std::string>> rows;
  for (int race = 1; race <= Races(); ++race) {
    const SeasonScheduleRow& row = Race(race);
    const SeasonRace& r = row.Race;
    // A closed pit lane is said in words: a 0 would read as an open lane without required stops.
    rows.push_back({std::to_string(race), row.TrackName, r.Abbrev, r.Laps, OneDecimal(r.Miles),
                    r.PitOpen ? std::to_string(row.MinPitStops) : "Pit closed", r.RepairOnly ? "Yes" : "No",
                    std::to_string(r.MinPitTurns)});
  }
  return rows;
}

void SeasonSetupDialog::SelectRace(int race) {
  if (race >= 1 && race <= Races()) selectedRace_ = race;
}

void SeasonSetupDialog::SwapRaces(int a, int b) {
  std::swap(schedule_[static_cast<size_t>(a - 1)], schedule_[static_cast<size_t>(b - 1)]);
}

bool SeasonSetupDialog::MoveRaceUp() {
  if (selectedRace_ <= 1 || selectedRace_ > Races()) return false;
  SwapRaces(selectedRace_, selectedRace_ - 1);
  --selectedRace_;
  return true;
}

bool SeasonSetupDialog::MoveRaceDown() {
  if (selectedRace_ < 1 || selectedRace_ >= Races()) return false;
  SwapRaces(selectedRace_, selectedRace_ + 1);
  ++selectedRace_;
  return true;
}

bool SeasonSetupDialog::DeleteRace() {
  if (selectedRace_ < 1 || selectedRace_ > Races()) return false;
  schedule_.erase(schedule_.begin() + (selectedRace_ - 1));
  selectedRace_ = std::min(selectedRace_, Races());
  return true;
}

// --- Drivers.

void SeasonSetupDialog::SelectDriver(int car) {
  if (car >= 1 && car <= rs_.CarsInFile) selectedDriver_ = car;
}

std::vector<std::vector<std::string>> SeasonSetupDialog::DriverRows() const {
  std::vector<std::vector<std::string>> rows;
  for (int car = 1; car <= rs_.CarsInFile; ++car) rows.push_back({rs_.DriverName[car], rs_.CarTeam[car]});
  return rows;
}

std::vector<std::vector<std::string>> SeasonSetupDialog::RatingRows() const {
  std::vector<std::vector<std::string>> rows;
  for (int car = 1; car <= rs_.CarsInFile; ++car) {
    rows.push_back({rs_.DriverName[car], rs_.CarTeam[car], std::to_string(rs_.CarAcceleration[car]),
                    std::to_string(rs_.CarDeceleration[car]), std::to_string(rs_.CarTopSpeed[car]),
                    std::to_string(rs_.CarWearPerLap[car]), std::to_string(rs_.CarStartSpeed[car]),
                    FormatDRM(rs_.CarDRM[car]), ProfileText(rs_.CarLapProfile[car]),
                    ProfileText(rs_.CarRaceProfile[car])});
  }
  return rows;
}

// A season that took the whole field keeps taking it as the field grows or shrinks.
void SeasonSetupDialog::FieldChanged(int drivers) {
  if (seasonDrivers_ == drivers || seasonDrivers_ > rs_.CarsInFile) seasonDrivers_ = rs_.CarsInFile;
  selectedDriver_ = std::clamp(selectedDriver_, 1, std::max(rs_.CarsInFile, 1));
}

bool SeasonSetupDialog::AddDriver() {
  if (rs_.CarsInFile >= kMaxCars) {
    console_.ShowMessage(kDriverLimitText, kDriverLimitTitle, MessageKind::Exclamation);
    return false;
  }
  const int before = std::max(rs_.CarsInFile, 0);
  const int car = before + 1;
  CarRecord fresh;
  fresh.Picture = rs_.CarPicture[car - 1];
  PutCar(rs_, car, fresh);
  rs_.CarWetTires[car] = false;
  rs_.CarsInFile = car;
  rs_.CarCount = car;
  FieldChanged(before);
  selectedDriver_ = car;
  return true;
}

void SeasonSetupDialog::SwapCars(int a, int b) {
  const CarRecord first = GetCar(rs_, a);
  PutCar(rs_, a, GetCar(rs_, b));
  PutCar(rs_, b, first);
  std::swap(rs_.CarWetTires[a], rs_.CarWetTires[b]);
}

bool SeasonSetupDialog::DeleteDriver() {
  const int count = rs_.CarsInFile;
  // A season needs a driver: cmbSeasonDrivers starts at 1.
  if (count <= 1 || selectedDriver_ < 1 || selectedDriver_ > count) return false;
  for (int car = selectedDriver_; car < count; ++car) SwapCars(car, car + 1);
  PutCar(rs_, count, EmptyCar());
  rs_.CarWetTires[count] = false;
  rs_.CarsInFile = count - 1;
  rs_.CarCount = std::min(rs_.CarCount, rs_.CarsInFile);
  FieldChanged(count);
  return true;
}

bool SeasonSetupDialog::DriverUp() {
  if (selectedDriver_ <= 1 || selectedDriver_ > rs_.CarsInFile) return false;
  SwapCars(selectedDriver_, selectedDriver_ - 1);
  --selectedDriver_;
  return true;
}

bool SeasonSetupDialog::DriverDown() {
  if (selectedDriver_ < 1 || selectedDriver_ >= rs_.CarsInFile) return false;
  SwapCars(selectedDriver_, selectedDriver_ + 1);
  ++selectedDriver_;
  return true;
}

void SeasonSetupDialog::RenameDriver(std::string_view name) {
  if (selectedDriver_ >= 1 && selectedDriver_ <= rs_.CarsInFile) rs_.DriverName[selectedDriver_] = std::string(name);
}

void SeasonSetupDialog::SetTeam(std::string_view team) {
  if (selectedDriver_ >= 1 && selectedDriver_ <= rs_.CarsInFile) rs_.CarTeam[selectedDriver_] = TeamForFile(team);
}

FileDialogRequest SeasonSetupDialog::Dialog(std::string title, std::string_view filter, std::string_view extension,
                                            std::string folder, bool save) const {
  FileDialogRequest request;
  request.Save = save;
  request.Title = std::move(title);
  request.Filter = std::string(filter);
  request.DefaultExtension = std::string(extension);
  request.InitialFolder = std::move(folder);
  return request;
}

bool SeasonSetupDialog::LoadCarFile() {
  const std::optional<std::string> path =
      console_.ChooseFile(Dialog("Load Car File", kCarFileFilter, kCarFileExtension, dataFolder_, false));
  if (!path) return false;
  const int before = rs_.CarsInFile;
  if (std::optional<FileError> error = vm::LoadCarFile(rs_, *path, CarsFolder(), SetupPointsRule::Replace)) {
    ReportFileError(console_, static_cast<int>(error->Code), *path);
    if (error->Code != FileErrorCode::NotFound)
      console_.ShowMessage("The car file was not loaded. " + error->Describe(), kMessageTitle,
                           MessageKind::Exclamation);
    return false;
  }
  // The cars were designed for the file's points.
  cmbCarSetupPoints = rs_.CarSetupPoints;
  FieldChanged(before);
  selectedDriver_ = 1;
  return true;
}

bool SeasonSetupDialog::LoadTeamFile() {
  const std::optional<std::string> path =
      console_.ChooseFile(Dialog("Load Team File", kTeamFileFilter, kTeamFileExtension, dataFolder_, false));
  if (!path) return false;
  std::vector<std::string> names;
  if (std::optional<FileError> error = vm::LoadTeamFile(names, *path)) {
    ReportFileError(console_, static_cast<int>(error->Code), *path);
    if (error->Code != FileErrorCode::NotFound)
      console_.ShowMessage("The team file was not loaded. " + error->Describe(), kMessageTitle,
                           MessageKind::Exclamation);
    return false;
  }
  teams_ = std::move(names);
  return true;
}

bool SeasonSetupDialog::CopyFromSeason() {
  const std::optional<std::string> path = console_.ChooseFile(Dialog(
      "Copy From Season", kSeasonFileFilter, kSeasonFileExtension, JoinPath(dataFolder_, kSeasonFolderName), false));
  if (!path) return false;
  SeasonFileData older;
  if (std::optional<FileError> error = ReadOlderSeasonDrivers(older, *path, CarsFolder())) {
    ReportFileError(console_, static_cast<int>(error->Code), *path);
    if (error->Code != FileErrorCode::NotFound)
      console_.ShowMessage("The season was not read. " + error->Describe(), kMessageTitle, MessageKind::Exclamation);
    return false;
  }
  txtCurrentSeasonName = older.Name;
  for (int car = 1; car <= kMaxCars; ++car) {
    const SeasonDriver& driver = older.Field[static_cast<size_t>(car)];
    PutCar(rs_, car, driver.Car);
    rs_.CarWetTires[car] = driver.WetTires;
  }
  rs_.CarsInFile = std::clamp(older.Drivers, 1, kMaxCars);
  rs_.CarCount = rs_.CarsInFile;
  seasonDrivers_ = rs_.CarsInFile;
  selectedDriver_ = 1;
  points_ = older.PointStructure;
  bonus_ = {older.PointsPole, older.PointsLeadLap, older.PointsFastLap, older.PointsLeadMost};
  pointPreset_ = kSeasonCustomPoints;
  for (size_t i = 0; i < kSeasonPointPresets.size(); ++i) {
    const auto& places = kSeasonPointPresets[i].Places;
    if (std::equal(places.begin(), places.end(), points_.begin() + 1)) pointPreset_ = static_cast<int>(i);
  }
  ShowPoints();
  return true;
}

// --- Rules and points.

void SeasonSetupDialog::SetConfigLock(int index) {
  lockCars_ = index == 1;
  if (!lockCars_) accumulateDamage_ = false;
}

void SeasonSetupDialog::SetDamageLock(int index) {
  // Without locked cars there is nothing to carry damage on.
  if (!lockCars_) return;
  accumulateDamage_ = index != 0;
}

void SeasonSetupDialog::ShowPoints() {
  for (int i = 0; i < kSeasonEditablePlaces; ++i)
    txtPS_[static_cast<size_t>(i)] = std::to_string(points_[static_cast<size_t>(i + 1)]);
  for (size_t i = 0; i < bonus_.size(); ++i) bonusBoxes_[i] = std::to_string(bonus_[i]);
}

void SeasonSetupDialog::ChoosePointPreset(int index) {
  if (index < 0 || index > kSeasonCustomPoints) return;
  pointPreset_ = index;
  // "Custom" keeps whatever the boxes hold.
  if (index == kSeasonCustomPoints) return;
  const auto& places = kSeasonPointPresets[static_cast<size_t>(index)].Places;
  for (size_t i = 0; i < places.size(); ++i) points_[i + 1] = places[i];
  ShowPoints();
}

void SeasonSetupDialog::EditPlace(int index, std::string_view text) {
  if (index < 0 || index >= kSeasonEditablePlaces) return;
  txtPS_[static_cast<size_t>(index)] = std::string(text);
  points_[static_cast<size_t>(index + 1)] = PointsValue(text);
}

void SeasonSetupDialog::EditBonus(SeasonBonus which, std::string_view text) {
  const auto at = static_cast<size_t>(which);
  bonusBoxes_[at] = ParseNumber(text) ? std::string(text) : "0";
  bonus_[at] = PointsValue(bonusBoxes_[at]);
}

// --- Commands.

SeasonFileData SeasonSetupDialog::BuildSeason() const {
  SeasonFileData s;
  s.Name = AsStored(txtCurrentSeasonName);
  s.Races = Races();
  s.Drivers = seasonDrivers_;
  s.NextRace = 1;
  s.LockCars = lockCars_;
  s.AILoadOptimumSetup = chkLOS;
  s.AIRandomizeOptimumSetup = chkLOSRnd;
  s.CarSetupPoints = cmbCarSetupPoints;
  s.AccumulateDamage = accumulateDamage_;
  s.UndoDisabled = chkUndoDisabled;
  s.AllowManualDice = chkManDRE;
  s.WeatherEnabled = chkWeatherEnabled;
  s.WeatherCycle = weatherCycle_;
  s.PointStructure = points_;
  s.PointsPole = bonus_[0];
  s.PointsLeadLap = bonus_[1];
  s.PointsFastLap = bonus_[2];
  s.PointsLeadMost = bonus_[3];
  for (int race = 1; race <= Races(); ++race) {
    SeasonRace r = Race(race).Race;
    r.TrackFile = AsStored(r.TrackFile);
    // A closed pit lane: the start's wears last the whole race.
    if (!r.PitOpen) r.StartAllotment = r.PitReplenishment = std::stoi(r.Laps);
    s.Schedule[static_cast<size_t>(race)] = std::move(r);
  }
  const std::string cars = CarsFolder();
  for (int car = 1; car <= kMaxCars; ++car) {
    SeasonDriver& driver = s.Field[static_cast<size_t>(car)];
    driver.Car = GetCar(rs_, car);
    // As the file gives it back: the picture inside the cars folder, "" for none.
    driver.Car.Picture = FullPicture(StoredPicture(driver.Car.Picture, cars), cars);
    driver.Car.DriverName = AsStored(driver.Car.DriverName);
    driver.Car.Team = AsStored(driver.Car.Team);
    driver.WetTires = rs_.CarWetTires[car];
  }
  s.Tables = rs_.Tables;
  s.HasTail = true;
  s.QualifyingMethod = cmbQualifying;
  s.AllowRequalifying = CheckAllowRequal;
  s.OptCurveEntryBySlipstream = chkDTESSC;
  s.OptAccelFromCurveExit = chkAAFES;
  s.OptBlueFlag = chkABF;
  s.OptSlipstreamInCurves = chkASIT;
  s.OptNoLaneChangeInCurves = chkPLC;
  s.RaceStored = false;
  s.Writer = SeasonWriter::Create;
  return s;
}

bool SeasonSetupDialog::Save() {
  if (!SaveEnabled()) return false;
  FileDialogRequest request =
      Dialog("Save Season", kSeasonFileFilter, kSeasonFileExtension, JoinPath(dataFolder_, kSeasonFolderName), true);
  if (!savedFile_.empty()) request.FileName = BaseName(NativePath(savedFile_));
  std::optional<std::string> path = console_.ChooseFile(request);
  if (!path) return false;
  // The paused race and the race results are named after the season file by its extension.
  if (!EndsWithNoCase(*path, kSeasonFileExtension)) *path += kSeasonFileExtension;
  if (std::optional<FileError> error = WriteSeasonFile(BuildSeason(), *path, SeasonWriter::Create, CarsFolder())) {
    console_.ShowMessage("The season file was not saved. " + error->Describe(), kMessageTitle,
                         MessageKind::Exclamation);
    return false;
  }
  savedFile_ = *path;
  return true;
}

std::optional<std::string> SeasonSetupDialog::StartSeason() {
  if (savedFile_.empty()) return std::nullopt;
  outcome_ = SeasonSetupOutcome::Started;
  return savedFile_;
}

void SeasonSetupDialog::Cancel() {
  for (int car = 1; car <= kMaxCars; ++car) {
    PutCar(rs_, car, saved_.Cars[static_cast<size_t>(car)]);
    rs_.CarWetTires[car] = saved_.WetTires[static_cast<size_t>(car)];
  }
  rs_.CarsInFile = saved_.CarsInFile;
  rs_.CarCount = saved_.CarCount;
  rs_.CarSetupPoints = saved_.CarSetupPoints;
  rs_.CurrentCarFile = saved_.CurrentCarFile;
  outcome_ = SeasonSetupOutcome::Cancelled;
}

std::string SeasonSetupDialog::ModeChoice() const {
  switch (outcome_) {
    case SeasonSetupOutcome::Started: return std::string(kStartSeasonChoice);
    case SeasonSetupOutcome::Cancelled: return std::string(kCancelChoice);
    case SeasonSetupOutcome::Open: break;
  }
  return "";
}

}  // namespace vm
