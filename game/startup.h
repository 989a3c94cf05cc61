// The program's start: its data folder, its settings, the agreement shown once, the default car
// file and result tables, and the mode screen's commands.
#pragma once

#include <string>

#include "core/race_state.h"
#include "core/random.h"
#include "game/modes.h"
#include "ui/console.h"

namespace vm {

// The folders the program expects in its data folder.
inline constexpr const char* kDataFolders[] = {"Cars",   "Tracks",              "CarGifs",          "Reports",
                                               "Online Files", "Season", "Race Configurations", "Races In Progress"};

// The data folder to use when none is given: the first "data" folder (or, installed,
// "share/velomark") found beside the program or above it, else "data" in the working folder.
std::string DefaultDataFolder();

// Sets AppPath, made absolute, and the folders below it; AppPath keeps a trailing separator.
void SetFolders(GameSession& g, const std::string& dataFolder);

// A file name from the settings, taken as relative to the data folder unless it is absolute.
std::string InDataFolder(const GameSession& g, const std::string& name);

// Runs the start-up in its order. Returns false when the program must end: a needed file could
// not be read (FatalLoadError, reported) or the agreement was declined (nothing written).
bool StartUp(GameSession& g, RaceState& rs, Random& rng, Console& console, const std::string& dataFolder);

// Reads the settings, the default files and the default car file (start-up step 5); sets
// FatalLoadError and reports when VMR.ini or the default car file cannot be read.
void ReadStartUpSettings(GameSession& g, RaceState& rs, Console& console);

// Loads the default result tables with their one retry; false (reported) when both fail.
bool LoadDefaultResultTables(GameSession& g, RaceState& rs, Console& console);

}  // namespace vm
