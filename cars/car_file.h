// The .crs car file: a whole field of cars. Line 1 holds the design points, line 2 the number of
// cars, then one line of 41 fields per car. Also the design point value of a car's ratings.
#pragma once

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "core/race_state.h"
#include "core/textfile.h"

namespace vm {

// What the common file dialog offers for car files.
inline constexpr std::string_view kCarFileFilter = "Car Setup Files (*.crs)|*.crs";
inline constexpr std::string_view kCarFileExtension = ".crs";
inline constexpr int kCarRecordFields = 41;

// The six ratings of a design, in the order of the cost table.
enum class Rating { StartSpeed, Acceleration, Deceleration, TopSpeed, WearPerLap, DRM };
inline constexpr int kRatingCount = 6;

// The values a rating may take, lowest cost first, and the cost of the first; each further
// value costs one point more.
struct RatingScale {
  Rating Which;
  std::string_view Name;  // the field's name: "CarTopSpeed"
  std::array<int, 6> Values;
  int Count;      // how many entries of Values are used
  int FirstCost;  // the cost of Values[0]; -1 is a refund
};

// Returns the scale of a rating.
const RatingScale& ScaleOf(Rating rating);

// Returns the position of `value` on the rating's scale, or nullopt when it has none.
std::optional<int> RatingIndex(Rating rating, int value);

// Returns the design points of one rating value, or nullopt for a value outside the table.
std::optional<int> RatingCost(Rating rating, int value);

// Returns what a design costs: the sum of the six values' points, or nullopt when any value is
// outside the table. The cheapest car (40, 20, 20, 140, 3, +2) costs -2; the dearest the setup
// dialog can build (80, 80, 80, 240, 7, -2) costs 18 by the table, and a wear of 8 one more.
std::optional<int> CarDesignCost(int start, int acc, int dec, int top, int wear, int drm);

// Returns the design cost of a car of the state.
std::optional<int> CarDesignCost(const RaceState& rs, int car);

// Returns a rating of a car of the state.
int RatingOf(const RaceState& rs, int car, Rating rating);

// Sets a rating of a car of the state.
void SetRatingOf(RaceState& rs, int car, Rating rating, int value);

// Everything a car file holds about one car, as the state keeps it.
struct CarRecord {
  int StartSpeed = 40;
  int Acceleration = 20;
  int Deceleration = 20;
  int TopSpeed = 140;
  int WearPerLap = 4;
  bool IsAI = false;
  int ProfileSpare = 2;
  int RaceProfile = 2;
  int LapProfile = 2;
  std::string Picture;  // full path, with the cars folder
  std::string DriverName = "New Driver";
  int DRM = 2;
  std::string Team = " ";
  int RiskSS = 0;
  int RiskC = 0;
  int RiskD = 0;
  int RiskCA = 0;
  int RiskA = 0;
  int RiskT = 0;
  int PitStrategy = 0;
  double WearBonus = 0;
  double QualifyBonus = 0;

  bool operator==(const CarRecord&) const = default;
};

// Returns the record of a car of the state.
CarRecord GetCar(const RaceState& rs, int car);

// Writes a record into a car of the state.
void PutCar(RaceState& rs, int car, const CarRecord& record);

// Returns a team name fit for the comma-separated files: every comma becomes a blank.
std::string TeamForFile(std::string_view team);

// How line 1 of a car file treats CarSetupPoints.
enum class SetupPointsRule {
  RaiseOnly,  // at start-up: the file's value only raises the points from the settings
  Replace,    // in the car setup dialog: the file's value stands
};

// Reads a car file into the cars of the state. CarPicture becomes carsFolder + the stored
// picture. Cars the loop reaches have their race counters cleared; when the file ends between
// records, the remaining cars keep their old data. CurrentCarFile becomes the path and CarCount
// is brought down to CarsInFile. On any failure the state is left as it was and the error names
// the line and field; a file that cannot be opened gives FileErrorCode::NotFound.
std::optional<FileError> LoadCarFile(RaceState& rs, const std::string& path, const std::string& carsFolder,
                                     SetupPointsRule rule = SetupPointsRule::RaiseOnly);

// Reads car file text already in memory; fileName names it in errors and becomes CurrentCarFile.
std::optional<FileError> LoadCarFileText(RaceState& rs, std::string text, const std::string& fileName,
                                         const std::string& carsFolder, SetupPointsRule rule);

// Returns the text of a car file holding the first CarsInFile cars of the state.
std::string CarFileText(const RaceState& rs, const std::string& carsFolder);

// Writes the first CarsInFile cars to a car file, atomically. The caller records the path in
// CurrentCarFile.
std::optional<FileError> SaveCarFile(const RaceState& rs, const std::string& path, const std::string& carsFolder);

// Returns the picture as the file stores it: the text behind the first occurrence of the cars
// folder (either separator matches), " " for a car with no picture, the path itself otherwise.
std::string StoredPicture(std::string_view picture, std::string_view carsFolder);

// Returns the full picture path for a stored picture: the cars folder, a separator, the name.
std::string FullPicture(std::string_view stored, std::string_view carsFolder);

// Reads the nineteen fields a car file's line and a season's driver line share, the ratings to
// CarRiskT; `rating` reads a rating's field, with the file's own check of its scale.
void ReadCarHead(LineRecord& r, CarRecord& c, std::string_view carsFolder,
                 const std::function<int(LineRecord&, Rating)>& rating);

}  // namespace vm
