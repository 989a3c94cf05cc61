// The season standings window (frmSeasonDisplay): the standings rebuilt from the season, one grid at
// a time, and the way on to the next race.
#pragma once

#include <QDialog>
#include <functional>
#include <memory>
#include <string>

#include "season/season_file.h"

namespace vm {

// Builds the window over a season. `raceStored` turns "Start Next Race" into "Resume Current
// Race"; the button is hidden once the season is over. Enter starts, Escape closes. The window
// keeps its own copy of the standings, so the season may change after it is built.
std::unique_ptr<QDialog> MakeSeasonDisplayWindow(const SeasonFileData& season, const std::string& tracksFolder,
                                                 bool raceStored, QWidget* parent);

// True when the window was closed by its start (or resume) button.
bool SeasonStartPressed(const QDialog& window);

// Sets what a double click or "Race Report" on a race cell asks for: the report of that race.
void SetOpenRaceReport(QDialog& window, std::function<void(int race)> openRaceReport);

// Shows "Save Standings..." (the standings printed as a report), which calls `save`.
void SetSaveStandings(QDialog& window, std::function<void()> save);

}  // namespace vm
