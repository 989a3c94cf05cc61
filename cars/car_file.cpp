#include "cars/car_file.h"

#include <algorithm>
#include <utility>

namespace vm {

namespace {

constexpr std::array<RatingScale, kRatingCount> kScales{{
    {Rating::StartSpeed, "CarStartSpeed", {40, 60, 80}, 3, 0},
    {Rating::Acceleration, "CarAcceleration", {20, 40, 60, 80}, 4, 0},
    {Rating::Deceleration, "CarDeceleration", {20, 40, 60, 80}, 4, 0},
    {Rating::TopSpeed, "CarTopSpeed", {140, 160, 180, 200, 220, 240}, 6, 0},
    {Rating::WearPerLap, "CarWearPerLap", {3, 4, 5, 6, 7, 8}, 6, -1},
    {Rating::DRM, "CarDRM", {2, 0, -1, -2}, 4, -1},
}};

bool IsSeparator(char c) { return c == '/' || c == '\\'; }

std::string FolderPrefix(std::string_view carsFolder) {
  std::string prefix(carsFolder);
  if (!prefix.empty() && !IsSeparator(prefix.back())) prefix += '/';
  return prefix;
}

bool IsBlank(std::string_view text) { return text.find_first_not_of(" \t") == std::string_view::npos; }

// A rating read from a car's record must be one its scale knows.
int RatingValue(LineRecord& r, Rating rating) {
  const RatingScale& scale = ScaleOf(rating);
  const int value = r.Int16(scale.Name);
  if (!RatingIndex(rating, value)) {
    std::string allowed;
    for (int i = 0; i < scale.Count; ++i) allowed += (i ? ", " : "") + std::to_string(scale.Values[i]);
    r.Fail(FileErrorCode::OutOfRange, scale.Name, "has " + std::to_string(value) + ", not one of " + allowed);
  }
  return value;
}

CarRecord ReadRecord(TextReader& in, int car, const std::string& carsFolder) {
  LineRecord r(in, "car " + std::to_string(car), kCarRecordFields);
  CarRecord c;
  ReadCarHead(r, c, carsFolder, [](LineRecord& record, Rating rating) { return RatingValue(record, rating); });
  c.PitStrategy = r.Int16("PitStrategy");
  c.WearBonus = r.Dbl("CarWearBonus");
  c.QualifyBonus = r.Dbl("CarQualifyBonus");
  for (int i = 23; i <= 31; ++i) r.Int16("reserved " + std::to_string(i));
  for (int i = 32; i <= 41; ++i) r.Str("reserved " + std::to_string(i));
  r.End();
  return c;
}

}  // namespace

const RatingScale& ScaleOf(Rating rating) { return kScales[static_cast<size_t>(rating)]; }

void ReadCarHead(LineRecord& r, CarRecord& c, std::string_view carsFolder,
                 const std::function<int(LineRecord&, Rating)>& rating) {
  c.StartSpeed = rating(r, Rating::StartSpeed);
  c.Acceleration = rating(r, Rating::Acceleration);
  c.Deceleration = rating(r, Rating::Deceleration);
  c.TopSpeed = rating(r, Rating::TopSpeed);
  c.WearPerLap = rating(r, Rating::WearPerLap);
  c.IsAI = r.Bool("CarIsAI");
  c.ProfileSpare = r.Int16("CarProfileSpare");
  c.RaceProfile = r.Int16("CarRaceProfile");
  c.LapProfile = r.Int16("CarLapProfile");
  c.Picture = FullPicture(r.Str("CarPicture"), carsFolder);
  c.DriverName = r.Str("DriverName");
  c.DRM = rating(r, Rating::DRM);
  c.Team = r.Str("CarTeam");
  c.RiskSS = r.Int16("CarRiskSS");
  c.RiskC = r.Int16("CarRiskC");
  c.RiskD = r.Int16("CarRiskD");
  c.RiskCA = r.Int16("CarRiskCA");
  c.RiskA = r.Int16("CarRiskA");
  c.RiskT = r.Int16("CarRiskT");
}

std::optional<int> RatingIndex(Rating rating, int value) {
  const RatingScale& scale = ScaleOf(rating);
  for (int i = 0; i < scale.Count; ++i)
    if (scale.Values[static_cast<size_t>(i)] == value) return i;
  return std::nullopt;
}

std::optional<int> RatingCost(Rating rating, int value) {
  const std::optional<int> index = RatingIndex(rating, value);
  if (!index) return std::nullopt;
  return ScaleOf(rating).FirstCost + *index;
}

std::optional<int> CarDesignCost(int start, int acc, int dec, int top, int wear, int drm) {
  const std::array<std::pair<Rating, int>, kRatingCount> ratings{{{Rating::StartSpeed, start},
                                                                  {Rating::Acceleration, acc},
                                                                  {Rating::Deceleration, dec},
                                                                  {Rating::TopSpeed, top},
                                                                  {Rating::WearPerLap, wear},
                                                                  {Rating::DRM, drm}}};
  int sum = 0;
  for (const auto& [rating, value] : ratings) {
    const std::optional<int> cost = RatingCost(rating, value);
    if (!cost) return std::nullopt;
    sum += *cost;
  }
  return sum;
}

std::optional<int> CarDesignCost(const RaceState& rs, int car) {
  return CarDesignCost(rs.CarStartSpeed[car], rs.CarAcceleration[car], rs.CarDeceleration[car], rs.CarTopSpeed[car],
                       rs.CarWearPerLap[car], rs.CarDRM[car]);
}

int RatingOf(const RaceState& rs, int car, Rating rating) {
  switch (rating) {
    case Rating::StartSpeed: return rs.CarStartSpeed[car];
    case Rating::Acceleration: return rs.CarAcceleration[car];
    case Rating::Deceleration: return rs.CarDeceleration[car];
    case Rating::TopSpeed: return rs.CarTopSpeed[car];
    case Rating::WearPerLap: return rs.CarWearPerLap[car];
    case Rating::DRM: return rs.CarDRM[car];
  }
  return 0;
}

void SetRatingOf(RaceState& rs, int car, Rating rating, int value) {
  switch (rating) {
    case Rating::StartSpeed: rs.CarStartSpeed[car] = value; break;
    case Rating::Acceleration: rs.CarAcceleration[car] = value; break;
    case Rating::Deceleration: rs.CarDeceleration[car] = value; break;
    case Rating::TopSpeed: rs.CarTopSpeed[car] = value; break;
    case Rating::WearPerLap: rs.CarWearPerLap[car] = value; break;
    case Rating::DRM: rs.CarDRM[car] = value; break;
  }
}

CarRecord GetCar(const RaceState& rs, int car) {
  CarRecord c;
  c.StartSpeed = rs.CarStartSpeed[car];
  c.Acceleration = rs.CarAcceleration[car];
  c.Deceleration = rs.CarDeceleration[car];
  c.TopSpeed = rs.CarTopSpeed[car];
  c.WearPerLap = rs.CarWearPerLap[car];
  c.IsAI = rs.CarIsAI[car];
  c.ProfileSpare = rs.CarProfileSpare[car];
  c.RaceProfile = rs.CarRaceProfile[car];
  c.LapProfile = rs.CarLapProfile[car];
  c.Picture = rs.CarPicture[car];
  c.DriverName = rs.DriverName[car];
  c.DRM = rs.CarDRM[car];
  c.Team = rs.CarTeam[car];
  c.RiskSS = rs.CarRiskSS[car];
  c.RiskC = rs.CarRiskC[car];
  c.RiskD = rs.CarRiskD[car];
  c.RiskCA = rs.CarRiskCA[car];
  c.RiskA = rs.CarRiskA[car];
  c.RiskT = rs.CarRiskT[car];
  c.PitStrategy = rs.PitStrategy[car];
  c.WearBonus = rs.CarWearBonus[car];
  c.QualifyBonus = rs.CarQualifyBonus[car];
  return c;
}

void PutCar(RaceState& rs, int car, const CarRecord& c) {
  rs.CarStartSpeed[car] = c.StartSpeed;
  rs.CarAcceleration[car] = c.Acceleration;
  rs.CarDeceleration[car] = c.Deceleration;
  rs.CarTopSpeed[car] = c.TopSpeed;
  rs.CarWearPerLap[car] = c.WearPerLap;
  rs.CarIsAI[car] = c.IsAI;
  rs.CarProfileSpare[car] = c.ProfileSpare;
  rs.CarRaceProfile[car] = c.RaceProfile;
  rs.CarLapProfile[car] = c.LapProfile;
  rs.CarPicture[car] = c.Picture;
  rs.DriverName[car] = c.DriverName;
  rs.CarDRM[car] = c.DRM;
  rs.CarTeam[car] = c.Team;
  rs.CarRiskSS[car] = c.RiskSS;
  rs.CarRiskC[car] = c.RiskC;
  rs.CarRiskD[car] = c.RiskD;
  rs.CarRiskCA[car] = c.RiskCA;
  rs.CarRiskA[car] = c.RiskA;
  rs.CarRiskT[car] = c.RiskT;
  rs.PitStrategy[car] = c.PitStrategy;
  rs.CarWearBonus[car] = c.WearBonus;
  rs.CarQualifyBonus[car] = c.QualifyBonus;
}

std::string TeamForFile(std::string_view team) {
  std::string out(team);
  std::replace(out.begin(), out.end(), ',', ' ');
  return out;
}

std::string StoredPicture(std::string_view picture, std::string_view carsFolder) {
  if (IsBlank(picture)) return " ";
  const std::string prefix = FolderPrefix(carsFolder);
  if (prefix.empty() || picture.size() < prefix.size()) return std::string(picture);
  for (size_t at = 0; at + prefix.size() <= picture.size(); ++at) {
    bool same = true;
    for (size_t i = 0; i < prefix.size() && same; ++i) {
      const char a = picture[at + i], b = prefix[i];
      same = a == b || (IsSeparator(a) && IsSeparator(b));
    }
    if (same) return std::string(picture.substr(at + prefix.size()));
  }
  return std::string(picture);
}

std::string FullPicture(std::string_view stored, std::string_view carsFolder) {
  if (IsBlank(stored)) return "";
  return FolderPrefix(carsFolder) + std::string(stored);
}

std::optional<FileError> LoadCarFileText(RaceState& rs, std::string text, const std::string& fileName,
                                         const std::string& carsFolder, SetupPointsRule rule) {
  TextReader in(std::move(text), fileName);
  std::array<std::optional<CarRecord>, kMaxCars + 1> read{};
  int points = 0;
  int count = 0;
  try {
    points = in.ReadInt16("CarSetupPoints");
    // 40 is a hard limit of every per-car table; a larger count is refused before any car is read.
    count = static_cast<int>(in.ReadInteger("CarsInFile", 1, kMaxCars));
    for (int car = 1; car <= count && !in.AtEnd(); ++car)
      read[static_cast<size_t>(car)] = ReadRecord(in, car, carsFolder);
  } catch (const FileFormatError& e) {
    return e.Error();
  }
  if (rule == SetupPointsRule::Replace || points > rs.CarSetupPoints) rs.CarSetupPoints = points;
  rs.CarsInFile = count;
  rs.CarCount = std::min(rs.CarCount, count);
  for (int car = 1; car <= count; ++car) {
    // A file shorter than its count leaves the cars it does not reach as they were.
    if (read[static_cast<size_t>(car)]) PutCar(rs, car, *read[static_cast<size_t>(car)]);
    ClearCarRaceCounters(rs, car);
  }
  rs.CurrentCarFile = fileName;
  return std::nullopt;
}

std::optional<FileError> LoadCarFile(RaceState& rs, const std::string& path, const std::string& carsFolder,
                                     SetupPointsRule rule) {
  std::string text;
  if (std::optional<FileError> error = ReadTextFile(path, text)) return error;
  return LoadCarFileText(rs, std::move(text), path, carsFolder, rule);
}

std::string CarFileText(const RaceState& rs, const std::string& carsFolder) {
  TextWriter w;
  w.Int(rs.CarSetupPoints);
  w.EndLine();
  const int count = std::clamp(rs.CarsInFile, 0, kMaxCars);
  w.Int(count);
  w.EndLine();
  for (int car = 1; car <= count; ++car) {
    w.Int(rs.CarStartSpeed[car]).Int(rs.CarAcceleration[car]).Int(rs.CarDeceleration[car]).Int(rs.CarTopSpeed[car]);
    w.Int(rs.CarWearPerLap[car]).Bool(rs.CarIsAI[car]).Int(rs.CarProfileSpare[car]);
    w.Int(rs.CarRaceProfile[car]).Int(rs.CarLapProfile[car]);
    w.Str(StoredPicture(rs.CarPicture[car], carsFolder)).Str(rs.DriverName[car]).Int(rs.CarDRM[car]);
    w.Str(TeamForFile(rs.CarTeam[car]));
    w.Int(rs.CarRiskSS[car]).Int(rs.CarRiskC[car]).Int(rs.CarRiskD[car]);
    w.Int(rs.CarRiskCA[car]).Int(rs.CarRiskA[car]).Int(rs.CarRiskT[car]);
    w.Int(rs.PitStrategy[car]).Dbl(rs.CarWearBonus[car]).Dbl(rs.CarQualifyBonus[car]);
    for (int i = 23; i <= 31; ++i) w.Int(0);
    for (int i = 32; i <= 41; ++i) w.Str(" ");
    w.EndLine();
  }
  return w.Text();
}

std::optional<FileError> SaveCarFile(const RaceState& rs, const std::string& path, const std::string& carsFolder) {
  return WriteFileAtomic(path, CarFileText(rs, carsFolder));
}

}  // namespace vm
