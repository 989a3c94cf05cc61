// A race in progress as text: the .rip file a player saves and resumes, and the undo files
// UFA.rip and UFB.rip the turn engine keeps. Both hold the whole race field by field, with no
// version mark: writer and reader agree on the order alone.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "core/race_state.h"
#include "core/random.h"
#include "core/textfile.h"
#include "game/race_config.h"

namespace vm {

inline constexpr std::string_view kSavedRaceFilter = "Race In Progress Files (*.rip)|*.rip";
inline constexpr std::string_view kSavedRaceExtension = ".rip";
inline constexpr std::string_view kUndoFileNewer = "UFA.rip";  // the state at the start of this turn
inline constexpr std::string_view kUndoFileOlder = "UFB.rip";  // the turn before: what an undo loads
inline constexpr std::string_view kUndoFileSpare = "UFC.tmp";  // room kept for the next newer file

// The lines of the lap tables as last written, kept from one undo file to the next: a lap's lines
// change only while cars cross it, so most of them are copied and not formatted again.
class LapLinesCache {
 public:
  // Writes the order, gap and speed lines of `lap`.
  void Write(TextWriter& w, const RaceState& rs, int lap);

 private:
  struct Entry {
    bool Valid = false;
    PerCar<int> Order{};
    PerCar<double> Gap{};
    PerCar<double> Mph{};
    std::string Text;
  };
  std::array<Entry, kMaxLaps + 1> entries_{};
};

// The undo files leave out the points, the starting ratings and the result tables: they never
// outlive the race, whose settings stay in memory.
enum class SavedRaceKind { Rip, Undo };

// Returns the text of a saved race. Car pictures are stored without the leading carsFolder.
// After the race's sections comes a block of what a race needs to go on exactly (the pit lane's
// turns and work, the finish order, the fastest lap, a weather roll due, the qualifying results)
// and, when rng is given, where the generator stands.
std::string SavedRaceText(const RaceState& rs, std::string_view carsFolder, SavedRaceKind kind,
                          const Random* rng = nullptr, LapLinesCache* laps = nullptr);

// Writes a saved race atomically: a crash never leaves half a file where the last one stood. A .rip
// is synced to the disk; an undo file, rewritten every turn, is left to the system's cache.
std::optional<FileError> WriteSavedRace(const RaceState& rs, const std::string& path, std::string_view carsFolder,
                                        SavedRaceKind kind, const Random* rng = nullptr);

// Reads a saved race into the state: the track first, through loadTrack, then every part in
// order. The cells are filled from the stored positions, the pit lane from the cars marked in it,
// MinPitStops is derived and the starting ratings taken from the file (an undo file keeps the ones
// in memory). A .rip keeps the player's display speed; an undo file restores it. A race where no
// car has finished a lap restarts under the start rule; the steering target is cleared. Refused:
// numbers beyond 16 bits, a car count outside 0..40, a car on no cell of the track or on another
// car's cell. On any failure the race is exactly as before and the error names file, line, field.
// A file without the closing block loads too: the counts, finish order and fastest lap are worked
// out from the tables, and each car in the pits is one turn from release. When rng is given and
// the file says where the generator stood, the generator is put back there.
std::optional<FileError> ReadSavedRace(RaceState& rs, const std::string& path, std::string_view carsFolder,
                                       SavedRaceKind kind, const RaceConfigTrackLoader& loadTrack,
                                       Random* rng = nullptr);

// Reads saved-race text already in memory; fileName only names it in errors.
std::optional<FileError> ParseSavedRace(RaceState& rs, std::string text, const std::string& fileName,
                                        std::string_view carsFolder, SavedRaceKind kind,
                                        const RaceConfigTrackLoader& loadTrack, Random* rng = nullptr);

}  // namespace vm
