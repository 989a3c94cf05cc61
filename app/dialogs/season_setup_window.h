// The season setup window (frmSeasonSetup): a new season built through SeasonSetupDialog, with
// its schedule, its field, its rules and points on three pages.
#pragma once

#include <QDialog>
#include <functional>
#include <memory>
#include <string>

namespace vm {

class Console;
struct RaceState;

// How the window was left: started on the season file it saved, or cancelled with the cars as
// they were.
struct SeasonSetupResult {
  bool Started = false;
  std::string SeasonFile;  // the saved .sea file when started
  std::string ModeChoice;  // "Start Season", "Cancel", or "" while open
};

// Builds the window over the race's cars; `dataFolder` holds the Tracks, Cars and Season folders
// and "Teams.tms". Cancel and Escape put the cars back and write nothing.
std::unique_ptr<QDialog> MakeSeasonSetupWindow(RaceState& rs, Console& console, const std::string& dataFolder,
                                               QWidget* parent);

// Shows "Result Tables..." (Command5), which calls `open`: the editor of the tables the season
// will keep.
void SetOpenResultTables(QDialog& window, std::function<void()> open);

// Reads how a window made by MakeSeasonSetupWindow was left; an empty result for any other.
SeasonSetupResult SeasonSetupResultOf(const QDialog& window);

}  // namespace vm
