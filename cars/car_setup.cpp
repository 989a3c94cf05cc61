#include "cars/car_setup.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <system_error>
#include <utility>

#include "cars/team_file.h"
#include "core/paths.h"

namespace vm {

namespace {

constexpr std::array<Rating, kRatingCount> kRatings{Rating::StartSpeed, Rating::Acceleration, Rating::Deceleration,
                                                    Rating::TopSpeed,   Rating::WearPerLap,   Rating::DRM};

bool EndsWithNoCase(std::string_view text, std::string_view tail) {
  if (text.size() < tail.size()) return false;
  return std::equal(tail.begin(), tail.end(), text.end() - static_cast<std::ptrdiff_t>(tail.size()),
                    [](char a, char b) {
                      return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
                    });
}

std::vector<std::string> ListFolder(const std::string& folder, bool directories) {
  std::vector<std::string> names;
  std::error_code ec;
  std::filesystem::directory_iterator it(ResolvePath(folder), ec);
  if (ec) return names;
  for (const auto& entry : it) {
    std::error_code kind;
    if (directories ? entry.is_directory(kind) : entry.is_regular_file(kind))
      names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

constexpr std::string_view kTrackSetupFilter = "Track Definition Files (*.trk)|*.trk";

FileDialogRequest CarDialog(bool save, const std::string& programFolder) {
  FileDialogRequest request;
  request.Save = save;
  request.Title = save ? "Save Car File" : "Load Car File";
  request.Filter = kCarFileFilter;
  request.DefaultExtension = kCarFileExtension;
  request.InitialFolder = programFolder;
  return request;
}

FileDialogRequest OpenDialog(std::string title, std::string_view filter, std::string_view extension,
                             const std::string& folder) {
  FileDialogRequest request;
  request.Title = std::move(title);
  request.Filter = filter;
  request.DefaultExtension = extension;
  request.InitialFolder = folder;
  return request;
}

}  // namespace

int ButtonCount(Rating rating) { return rating == Rating::WearPerLap ? 5 : ScaleOf(rating).Count; }

std::string ButtonCaption(Rating rating, int index) {
  const int value = ScaleOf(rating).Values[static_cast<size_t>(index)];
  return rating == Rating::DRM ? FormatDRM(value) : std::to_string(value);
}

CarSetupDialog::CarSetupDialog(RaceState& rs, Console& console, Random& rng, std::string carsFolder,
                               std::vector<std::string> teams, std::optional<int> onlineCar)
    : rs_(rs), console_(console), rng_(rng), carsFolder_(std::move(carsFolder)), teams_(std::move(teams)) {
  for (int car = 1; car <= kMaxCars; ++car) saved_.Cars[static_cast<size_t>(car)] = GetCar(rs_, car);
  saved_.CarsInFile = rs_.CarsInFile;
  saved_.CarCount = rs_.CarCount;
  saved_.CarSetupPoints = rs_.CarSetupPoints;
  saved_.CurrentCarFile = rs_.CurrentCarFile;
  models_ = ListFolder(carsFolder_, true);
  if (onlineCar && IsCarNumber(*onlineCar)) {
    online_ = true;
    current_ = *onlineCar;
    home_ = *onlineCar;
    rs_.CarIsAI[1] = false;
  }
  ShowCar(current_);
  loaded_ = true;
}

std::vector<int> CarSetupDialog::CarItems() const {
  std::vector<int> items;
  for (int car = 1; car <= std::min(rs_.CarCount, kMaxCars); ++car) items.push_back(car);
  return items;
}

std::vector<int> CarSetupDialog::RiskItems(RiskCombo combo) {
  std::vector<int> items;
  if (combo == RiskCombo::cmbRSS) {
    for (int v = 0; v <= 100; v += 5) items.push_back(v);
  } else {
    for (int v = 0; v <= 25; ++v) items.push_back(v);
  }
  return items;
}

std::vector<std::string> CarSetupDialog::Pictures(std::string_view model) const {
  std::vector<std::string> files = ListFolder(JoinPath(JoinPath(carsFolder_, model), "Gifs"), false);
  std::erase_if(files, [](const std::string& f) { return !EndsWithNoCase(f, ".bmp"); });
  return files;
}

bool CarSetupDialog::SelectCar(int car) {
  if (RemainingPoints() < 0 || car < 1 || car > std::min(rs_.CarCount, kMaxCars)) return false;
  ShowCar(car);
  return true;
}

int CarSetupDialog::RatingButton(Rating rating) const {
  const int value = RatingOf(rs_, current_, rating);
  if (std::optional<int> index = RatingIndex(rating, value)) return *index;
  // Track setups may bring values off the scale; they weigh as the cheaper neighbour. The
  // modifier's scale runs from high values to low ones.
  const RatingScale& scale = ScaleOf(rating);
  int index = 0;
  for (int i = 0; i < scale.Count; ++i) {
    const int step = scale.Values[static_cast<size_t>(i)];
    if (rating == Rating::DRM ? step >= value : step <= value) index = i;
  }
  return index;
}

void CarSetupDialog::PressRating(Rating rating, int index) {
  if (index < 0 || index >= ButtonCount(rating)) return;
  SetRatingOf(rs_, current_, rating, ScaleOf(rating).Values[static_cast<size_t>(index)]);
  RecomputePoints();
}

bool CarSetupDialog::RatingButtonEnabled(Rating rating, int index) const {
  if (index < 0 || index >= ButtonCount(rating)) return false;
  return index <= RatingButton(rating) + RemainingPoints();
}

int CarSetupDialog::UsedDesignPoints() const {
  int used = 0;
  for (Rating rating : kRatings) used += ScaleOf(rating).FirstCost + RatingButton(rating);
  return used;
}

void CarSetupDialog::SetAI(bool computer) {
  // Online, car 1 belongs to a person at the host.
  if (online_ && current_ == 1 && computer) return;
  rs_.CarIsAI[current_] = computer;
}

void CarSetupDialog::SetPitStops(int index) { rs_.PitStrategy[current_] = index == 1 ? 1 : 0; }

void CarSetupDialog::SetRaceProfile(int index) {
  if (index >= 0 && index <= 2) rs_.CarRaceProfile[current_] = index + 1;
}

void CarSetupDialog::SetLapProfile(int index) {
  if (index >= 0 && index <= 2) rs_.CarLapProfile[current_] = index + 1;
}

int CarSetupDialog::Risk(RiskCombo combo) const {
  switch (combo) {
    case RiskCombo::cmbRSS: return rs_.CarRiskSS[current_];
    case RiskCombo::cmbRC: return rs_.CarRiskC[current_];
    case RiskCombo::cmbRD: return rs_.CarRiskD[current_];
    case RiskCombo::cmbRCA: return rs_.CarRiskCA[current_];
    case RiskCombo::cmbRT: return rs_.CarRiskT[current_];
    case RiskCombo::cmbRA: return rs_.CarRiskA[current_];
  }
  return 0;
}

void CarSetupDialog::SetRisk(RiskCombo combo, int value) {
  switch (combo) {
    case RiskCombo::cmbRSS: rs_.CarRiskSS[current_] = value; break;
    case RiskCombo::cmbRC: rs_.CarRiskC[current_] = value; break;
    case RiskCombo::cmbRD: rs_.CarRiskD[current_] = value; break;
    case RiskCombo::cmbRCA: rs_.CarRiskCA[current_] = value; break;
    case RiskCombo::cmbRT: rs_.CarRiskT[current_] = value; break;
    case RiskCombo::cmbRA: rs_.CarRiskA[current_] = value; break;
  }
}

void CarSetupDialog::SetDriverName(std::string_view name) { rs_.DriverName[current_] = std::string(name); }

void CarSetupDialog::SetTeam(std::string_view team) { rs_.CarTeam[current_] = TeamForFile(team); }

void CarSetupDialog::SelectPicture(std::string_view model, std::string_view fileName) {
  std::string name(fileName);
  if (EndsWithNoCase(name, ".bmp")) name.resize(name.size() - 4);
  rs_.CarPicture[current_] = FullPicture(std::string(model) + "\\Gifs\\" + name, carsFolder_);
}

std::string CarSetupDialog::PictureModel() const {
  const std::string stored = StoredPicture(rs_.CarPicture[current_], carsFolder_);
  if (stored == " ") return "";
  return stored.substr(0, stored.find_first_of("/\\"));
}

bool CarSetupDialog::AddDriver() {
  if (online_) return false;
  if (rs_.CarsInFile >= kMaxCars) {
    console_.ShowMessage(kDriverLimitText, kDriverLimitTitle, MessageKind::Exclamation);
    return false;
  }
  rs_.CarsInFile = std::max(rs_.CarsInFile, 0) + 1;
  rs_.CarCount = rs_.CarsInFile;
  const int car = rs_.CarsInFile;
  CarRecord fresh;
  fresh.Picture = rs_.CarPicture[car - 1];
  // Pit strategy and the two bonuses go unnamed among a new car's defaults; a new car must not
  // inherit them from whatever file once filled this slot.
  PutCar(rs_, car, fresh);
  SelectCar(car);
  return true;
}

void CarSetupDialog::CopyCurrentToAll() {
  CopyRatings(rs_, current_, false);
  Refresh();
}

void CarSetupDialog::RandomizeComputerCars() { RandomizeCars(false); }

void CarSetupDialog::RandomizeCars(bool alsoHumans) {
  // The cars pass through over the points on their way down; only the end result counts.
  randomising_ = true;
  if (Seams.Reseed) Seams.Reseed(rng_);
  RandomizeCarSetups(rs_, rng_, alsoHumans);
  randomising_ = false;
  ShowCar(home_);
}

bool CarSetupDialog::TrackSetup(const std::string& tracksFolder, bool alsoHumans) {
  if (online_) return false;
  const std::optional<std::string> path =
      console_.ChooseFile(OpenDialog("Load Track", kTrackSetupFilter, ".trk", tracksFolder));
  if (!path) return false;
  if (std::optional<FileError> error =
          LoadTrackSetup(rs_, rng_, *path, true, alsoHumans, TrackSetupFolders{tracksFolder, carsFolder_})) {
    ReportFileError(console_, static_cast<int>(error->Code), *path);
    if (error->Code != FileErrorCode::NotFound)
      console_.ShowMessage("The track was not read. " + error->Describe(), "Car Setup", MessageKind::Exclamation);
    return false;
  }
  // A car file the track brings may hold fewer cars than the one shown.
  ShowCar(current_ <= rs_.CarCount ? current_ : 1);
  return true;
}

bool CarSetupDialog::mnuCSActionsRandomizeTrack(const std::string& tracksFolder) {
  return TrackSetup(tracksFolder, false);
}

bool CarSetupDialog::mnuCSActionsLoadTrack(const std::string& tracksFolder) { return TrackSetup(tracksFolder, true); }

void CarSetupDialog::mnuCSActionsRandomizeAllCars() {
  if (!online_) RandomizeCars(true);
}

void CarSetupDialog::mnuCSActionsCopyAllAIOnly() {
  if (online_) return;
  CopyRatings(rs_, current_, true);
  Refresh();
}

void CarSetupDialog::mnuCSActionsRandomizeDrivers() {
  if (online_) return;
  RandomizeDriverProfiles(rs_, rng_);
  Refresh();
}

void CarSetupDialog::mnuActionsCopyDriverProfile() {
  if (online_) return;
  CopyDriverProfile(rs_, current_);
  Refresh();
}

bool CarSetupDialog::mnuChgTeamFile(const std::string& dataFolder) {
  const std::optional<std::string> path =
      console_.ChooseFile(OpenDialog("Change Team File", kTeamFileFilter, ".tms", dataFolder));
  if (!path) return false;
  // The list only offers names: the cars' own teams are left as they are.
  if (std::optional<FileError> error = LoadTeamFile(teams_, *path)) {
    ReportFileError(console_, static_cast<int>(error->Code), *path);
    if (error->Code != FileErrorCode::NotFound)
      console_.ShowMessage("The team file was not read. " + error->Describe(), "Car Setup", MessageKind::Exclamation);
    return false;
  }
  return true;
}

bool CarSetupDialog::Ok() {
  if (RemainingPoints() < 0) {
    console_.ShowMessage(kDesignExceededText, kDesignExceededTitle, MessageKind::Exclamation);
    return false;
  }
  outcome_ = CarSetupOutcome::Accepted;
  return true;
}

void CarSetupDialog::Cancel() {
  for (int car = 1; car <= kMaxCars; ++car) PutCar(rs_, car, saved_.Cars[static_cast<size_t>(car)]);
  rs_.CarsInFile = saved_.CarsInFile;
  rs_.CarCount = saved_.CarCount;
  rs_.CarSetupPoints = saved_.CarSetupPoints;
  rs_.CurrentCarFile = saved_.CurrentCarFile;
  outcome_ = CarSetupOutcome::Cancelled;
}

bool CarSetupDialog::LoadFile(const std::string& programFolder) {
  if (online_) return false;
  const std::optional<std::string> path = console_.ChooseFile(CarDialog(false, programFolder));
  if (!path) return false;
  if (std::optional<FileError> error = LoadCarFile(rs_, *path, carsFolder_, SetupPointsRule::Replace)) {
    ReportFileError(console_, static_cast<int>(error->Code), *path);
    // The standard message covers only a missing file; a damaged one must not fail in silence.
    if (error->Code != FileErrorCode::NotFound)
      console_.ShowMessage("The car file was not loaded. " + error->Describe(), "Car Setup", MessageKind::Exclamation);
    return false;
  }
  ShowCar(current_ <= rs_.CarCount ? current_ : 1);
  return true;
}

bool CarSetupDialog::SaveFile(const std::string& programFolder) {
  if (online_) return false;
  const std::optional<std::string> path = console_.ChooseFile(CarDialog(true, programFolder));
  if (!path) return false;
  if (std::optional<FileError> error = SaveCarFile(rs_, *path, carsFolder_)) {
    console_.ShowMessage("The car file was not saved. " + error->Describe(), "Car Setup", MessageKind::Exclamation);
    return false;
  }
  rs_.CurrentCarFile = *path;
  ShowCar(1);
  return true;
}

void CarSetupDialog::Refresh() { ShowCar(current_); }

std::string CarSetupDialog::StatusText() const { return std::string(kCarFileStatusPrefix) + rs_.CurrentCarFile; }

void CarSetupDialog::ShowCar(int car) {
  current_ = car;
  RecomputePoints();
}

void CarSetupDialog::RecomputePoints() {
  if (RemainingPoints() >= 0) {
    carListEnabled_ = true;
    okEnabled_ = true;
    return;
  }
  if (!loaded_ || randomising_) return;
  console_.ShowMessage(kDesignExceededText, kDesignExceededTitle, MessageKind::Exclamation);
  carListEnabled_ = false;
  okEnabled_ = false;
}

}  // namespace vm
