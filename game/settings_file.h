// VMR.ini, the defaults of the game: a tag line then its value per item, the point structure
// on one line, three Booleans read as strings at the end and seven "Future" lines after them.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "core/race_state.h"
#include "core/textfile.h"

namespace vm {

inline constexpr std::string_view kSettingsFileName = "VMR.ini";
inline constexpr int kSettingsPointPlaces = 40;  // places the file keeps
inline constexpr int kSettingsFutureLines = 7;

// Which dialog writes the file: the defaults dialog spells one tag differently.
enum class SettingsWriter { Game, DefaultsDialog };

// The values of VMR.ini, held apart from the race so the defaults dialog can edit them.
struct GameSettings {
  int RaceLaps = 0;
  int CarCount = 0;
  std::string QualifyingMethod;
  int CarMovementDelay = 0;
  std::string DefaultCarFile;
  std::array<int, 51> PointStructure{};  // places 1..50; the file holds 1..40
  int CarSetupPoints = 0;
  bool AllowRequalifying = false;
  bool AllowManualDice = false;
  bool AILoadOptimumSetup = false;
  bool AIRandomizeOptimumSetup = false;
  bool PitLaneOpen = false;
  bool OptCurveEntryBySlipstream = false;
  bool OptAccelFromCurveExit = false;
  std::string DefaultResultTable;
  bool UndoDisabled = false;
  std::string DefaultTeamFile;
  bool OptBlueFlag = false;
  bool OptSlipstreamInCurves = false;
  bool OptNoLaneChangeInCurves = false;
  int PointsPole = 0;
  int PointsLeadLap = 0;
  int PointsFastLap = 0;
  int PointsLeadMost = 0;
  bool HighlightLeader = false;
  bool AgreementShown = false;
  bool WeatherEnabled = false;

  bool operator==(const GameSettings&) const = default;
};

// Copies the values VMR.ini keeps out of the race state.
GameSettings SettingsOf(const RaceState& rs);

// Puts settings into the race state: every field the file holds, nothing else.
void ApplySettings(const GameSettings& settings, RaceState& rs);

// Returns the text of VMR.ini for the settings.
std::string SettingsText(const GameSettings& settings, SettingsWriter writer = SettingsWriter::Game);

// Parses VMR.ini text; `settings` changes only when the whole file has been read. Tags are read
// and never compared; the "Future" lines are not read.
std::optional<FileError> ParseSettings(GameSettings& settings, std::string text, const std::string& fileName);

// Reads VMR.ini into settings of their own; a file that cannot be opened gives NotFound.
std::optional<FileError> LoadSettings(GameSettings& settings, const std::string& path);

// Writes VMR.ini whole and atomically.
std::optional<FileError> SaveSettings(const GameSettings& settings, const std::string& path,
                                      SettingsWriter writer = SettingsWriter::Game);

// Reads VMR.ini into the race as start-up does: MinPitDuration 5 before the fields, then
// SavedRaceLaps and StartWearAllotment take the laps read and PitReplenishment becomes 1. On any
// failure the race state is left exactly as it was. The checks of the default files, the
// clearing of places 11 on (KeepTopTenPlaces) and FatalLoadError belong to the caller.
std::optional<FileError> ReadSettings(RaceState& rs, const std::string& path);

// Writes the race's settings to VMR.ini.
std::optional<FileError> WriteSettings(const RaceState& rs, const std::string& path);

// Zeroes places 11 to 50 of the point structure: only the first ten survive from the settings.
void KeepTopTenPlaces(RaceState& rs);

}  // namespace vm
