// The race configuration: a .rac file the player saves and loads, and RaceConfig.slq beside the
// program, which single-lap qualifying writes and reads back. Both hold the track's name, every
// setting of the race, the 40 cars as entered and the result tables.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "core/race_state.h"
#include "core/textfile.h"

namespace vm {

inline constexpr std::string_view kRaceConfigScratchName = "RaceConfig.slq";
inline constexpr std::string_view kRaceConfigFilter = "Race Configuration Files (*.rac)|*.rac";
inline constexpr std::string_view kRaceConfigExtension = ".rac";
inline constexpr std::string_view kRaceConfigFolder = "Race Configurations";

// Loads the track a configuration names into the race, setting track.TrackFile to the file it
// read. It runs on the working copy while RaceConfigLoaded is set, so that the track load keeps
// the settings.
using RaceConfigTrackLoader = std::function<std::optional<FileError>(RaceState& rs, const std::string& trackFile)>;

// Returns a loader that reads the named track file, or, when that cannot be opened, the file of
// the same name in tracksFolder (a name stored on another machine still finds the local track).
RaceConfigTrackLoader TrackLoaderFromFolder(std::string tracksFolder);

// The car's record as a configuration stores it, 39 fields: the 19 of a car file's line, the
// wet tires, nine reserved numbers and ten reserved strings. Saved races share it.
void WriteRaceConfigCar(TextWriter& w, const RaceState& rs, int car, std::string_view carsFolder);
void ReadRaceConfigCar(TextReader& in, RaceState& rs, int car, std::string_view carsFolder);

// The first 20 of those fields, which every car record of a race file begins with.
void WriteCarRecordHead(TextWriter& w, const RaceState& rs, int car, std::string_view carsFolder);
void ReadCarRecordHead(TextReader& in, RaceState& rs, int car, std::string_view carsFolder);

// The weather line: on or off, cycles, value, value before, track condition, roll space.
void WriteWeatherLine(TextWriter& w, const RaceState& rs);
void ReadWeatherLine(TextReader& in, RaceState& rs);

// The points: a line of forty places, then pole, lead lap, fastest lap and most laps led.
void WritePointsLines(TextWriter& w, const RaceState& rs);
void ReadPointsLines(TextReader& in, RaceState& rs);

// The leader's speeds of the last laps: the count on a line, then five lines of twenty.
void WriteLeaderSpeedHistory(TextWriter& w, const RaceState& rs);
void ReadLeaderSpeedHistory(TextReader& in, RaceState& rs);

// The pit stops a race asks of every car: the laps the starting allotment of wears leaves,
// in replenishments, rounded; none when the pits give nothing.
int MinPitStopsFor(int raceLaps, int startWearAllotment, int pitReplenishment);

// Returns the text of a configuration. Car pictures are stored without the leading carsFolder.
std::string RaceConfigText(const RaceState& rs, std::string_view carsFolder);

// Writes a .rac file or RaceConfig.slq atomically.
std::optional<FileError> WriteRaceConfig(const RaceState& rs, const std::string& path, std::string_view carsFolder);

// Reads a configuration into the race: the track first, through loadTrack, then the rest. Car
// pictures gain carsFolder in front, the running fields of every car are cleared, MinPitStops is
// derived from the allotments, and CarMovementDelay is read but left as it was. On any failure
// the race state is exactly as before and the error names the line and the field.
std::optional<FileError> ReadRaceConfig(RaceState& rs, const std::string& path, std::string_view carsFolder,
                                        const RaceConfigTrackLoader& loadTrack);

// Reads configuration text already in memory; fileName only names it in errors.
std::optional<FileError> ParseRaceConfig(RaceState& rs, std::string text, const std::string& fileName,
                                         std::string_view carsFolder, const RaceConfigTrackLoader& loadTrack);

}  // namespace vm
