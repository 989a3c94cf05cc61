// The season file (.sea): a season's name, schedule, field, rules and point scale, and its running
// score, all in one text of comma-separated records, each setting behind a tag line that is taken
// by position and never compared. Beside it, one .res file per finished race holds what that race's
// report needs.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cars/car_file.h"
#include "core/race_state.h"
#include "core/result_tables.h"
#include "core/stamp.h"
#include "core/textfile.h"
#include "engine/laps.h"

namespace vm {

inline constexpr int kMaxSeasonRaces = 40;
inline constexpr int kSeasonDriverLines = 40;  // always 40 driver lines, whatever the field
inline constexpr int kSeasonDriverFields = 42;
inline constexpr std::string_view kSeasonFileFilter = "Season Setup Files (*.sea)|*.sea";
inline constexpr std::string_view kSeasonFileExtension = ".sea";
inline constexpr std::string_view kSeasonResultExtension = ".res";

// One race of the schedule: a race line of the file.
struct SeasonRace {
  std::string TrackFile;   // SeasonTrackFile: the .trk path as chosen, with its folder
  std::string Laps = "0";  // SeasonTrackLaps: kept as text, bare or quoted in the file
  std::string Abbrev;      // SeasonTrackAbbrev: six characters, padded with blanks
  bool PitOpen = false;
  int StartAllotment = 0;
  int PitReplenishment = 0;
  double Miles = 0;  // laps x the track's miles
  bool RepairOnly = false;
  int MinPitTurns = 5;
  bool operator==(const SeasonRace&) const = default;
};

// The result of one race: a results pair of the file.
struct SeasonResult {
  std::array<int, kMaxCars + 1> Finish{};   // SeasonFinish[place]: the car that took the place
  std::array<int, kMaxCars + 1> LapsLed{};  // SeasonLapsLed[place]: laps led by that car (by place)
  int PoleCar = 0;
  int FastLapCar = 0;
  int MostLaps = 0;
  bool operator==(const SeasonResult&) const = default;
};

// One driver line: the car file's record and the wet-tire flag a car file lacks.
struct SeasonDriver {
  CarRecord Car;  // Car.Picture is the full path (cars folder + the stored name), as in the race
  bool WetTires = false;
  bool operator==(const SeasonDriver&) const = default;
};

// Which of the two writers made a file. They differ in two details every reader accepts: the laps
// of a race line (bare number from Create, quoted text from Update) and the text of the curve
// exit tag ("Curve Exit" from Create, "curve exit" from Update).
enum class SeasonWriter { Create, Update };

// Everything a .sea file holds, as it holds it.
struct SeasonFileData {
  std::string Name;  // SeasonName
  int Races = 0;     // SeasonRaces, 1..40
  int Drivers = 0;   // SeasonDrivers, 1..40
  int NextRace = 1;  // above Races once the season is over
  bool LockCars = true;
  bool AILoadOptimumSetup = false;
  bool AIRandomizeOptimumSetup = false;
  int CarSetupPoints = 0;
  bool AccumulateDamage = false;
  bool UndoDisabled = false;
  bool AllowManualDice = false;
  bool WeatherEnabled = false;
  int WeatherCycle = 0;
  std::array<int, kMaxCars + 1> PointStructure{};  // points for place 1..40
  int PointsPole = 0;
  int PointsLeadLap = 0;
  int PointsFastLap = 0;
  int PointsLeadMost = 0;
  std::array<SeasonRace, kMaxSeasonRaces + 1> Schedule{};   // races 1..Races
  std::array<SeasonDriver, kMaxCars + 1> Field{};           // drivers 1..40, all written
  std::array<SeasonResult, kMaxSeasonRaces + 1> Results{};  // races 1..Races
  ResultTables Tables;
  // The optional tail: absent in older files, which then load with "Start Speed" qualifying, no
  // requalifying, and the six options left as they were (HasTail false).
  bool HasTail = true;
  std::string QualifyingMethod = "Start Speed";
  bool AllowRequalifying = false;
  bool OptCurveEntryBySlipstream = false;
  bool OptAccelFromCurveExit = false;
  bool OptBlueFlag = false;
  bool OptSlipstreamInCurves = false;
  bool OptNoLaneChangeInCurves = false;
  bool RaceStored = false;                     // SeasonRaceStored
  SeasonWriter Writer = SeasonWriter::Create;  // the writer whose form the file has
  bool operator==(const SeasonFileData&) const = default;
};

// Returns the text of a season file in the form of `writer`. Pictures are stored without the
// cars folder (" " for none), as in a car file.
std::string SeasonFileText(const SeasonFileData& season, SeasonWriter writer, std::string_view carsFolder);

// Reads season file text. Tags are taken by position and never compared; the laps field is taken
// as text whether bare or quoted; the tail from "--Qualifying--" on may be missing. Writer records
// the form found, so the same writer gives the same bytes back. Every record stands on its own
// line; the ratings of drivers 1..Drivers must be on their scales, and counts and car numbers are
// bounded (races 1..40, laps 1..100, NextRace up to Races + 1). Throws nothing: a bad or short
// file gives the error naming file, line and field, and `season` is untouched.
std::optional<FileError> ReadSeasonText(SeasonFileData& season, std::string text, const std::string& fileName,
                                        std::string_view carsFolder);

// Reads a .sea file; a file that cannot be opened gives FileErrorCode::NotFound.
std::optional<FileError> ReadSeasonFile(SeasonFileData& season, const std::string& path, std::string_view carsFolder);

// Writes a .sea file atomically (a crash never loses the season) in the form of `writer`.
std::optional<FileError> WriteSeasonFile(const SeasonFileData& season, const std::string& path, SeasonWriter writer,
                                         std::string_view carsFolder);

// LoadSeasonDrivers: "copy from a season" of the season setup. Reads a season file of the older
// layout (race lines of 6 fields, driver lines of 25) for its header, point scale and drivers;
// fills those fields of `season` (Name, Races, Drivers, the point scale, Field) and leaves the
// rest. An error names line and field; `season` is then untouched.
std::optional<FileError> ReadOlderSeasonDrivers(SeasonFileData& season, const std::string& path,
                                                std::string_view carsFolder);

// --- The season in the race state.

// Puts the season's rules, point scale, field (CarCount and CarsInFile = Drivers, cars 1..40 from Field) and
// result tables into the race state, and the settings of race `race` of the schedule when it is
// one: RaceLaps from the laps text, PitLaneOpen, StartWearAllotment, PitReplenishment,
// PitRepairOnly, MinPitDuration, and MinPitStops = Int((laps - allotment) / replenishment + 0.5)
// unless repair only (then 0). Returns the race's track file, or "" when `race` is no race of
// the schedule (the season is over).
std::string ApplySeason(const SeasonFileData& season, RaceState& rs, int race);

// UpdateSeasonFile's merge: the race's result goes into row `season.NextRace` (finish order,
// laps led by place, pole, fast lap, most laps); NextRace goes up by one unless the race is
// stored (paused); the driver lines take the race's cars with the ratings of CarDesign, so a car
// enters the next race as it entered this one. RaceStored is set to `stored`. A file read without
// its tail takes the race's five rule options, as the rewritten file holds them.
void MergeRaceResult(SeasonFileData& season, const RaceState& rs, const RaceFigures& figures, bool stored);

// The .res file of race `race`: folder + base name + "Race" + race + ".res".
std::string RaceResultPath(std::string_view seasonFolder, std::string_view baseName, int race);

// WriteRaceResults: the .res file of the race just ended, atomically. `stamp` is the time stamp
// line ("Tuesday, Nov 24 2026 - 04:18:25 PM").
std::optional<FileError> WriteRaceResults(const RaceState& rs, int race, const std::string& path,
                                          std::string_view carsFolder, const std::string& stamp);

// What a .res file gives back for a report of an earlier race: the race's state as far as the
// file holds it, the race number and the time stamp.
struct RaceResultFile {
  std::string Stamp;
  int Race = 0;
};
std::optional<FileError> ReadRaceResults(RaceState& rs, RaceResultFile& head, const std::string& path,
                                         std::string_view carsFolder);

}  // namespace vm
