#include "core/session.h"

namespace vm {

namespace {

constexpr std::array<std::string_view, kCommandCount> kNames{
    "mnuModeLevel",        "mnuModeSeason",      "mnuModePractice",         "mnuModeSingleRace",
    "mnuTrackLevel",       "mnuTrackLoadTrack",  "mnuTrackLoadTrackNew",    "mnuSeasonLevel",
    "mnuSeasonLoad",       "mnuSeasonCreate",    "mnuSeasonSettings",       "mnuSeasonNextRace",
    "mnuSeasonStandings",  "mnuSeasonExit",      "mnuSeasonExitCurrent",    "mnuRaceLevel",
    "mnuRaceSetup",        "mnuRaceStartRace",   "mnuFileLoadSavedRace",    "mnuRaceSave",
    "mnuRaceSaveSnapshot", "mnuRaceConfigLevel", "mnuFileLoadRace",         "mnuFileSaveRace",
    "mnuRaceQualifying",   "mnuRaceReset",       "mnuRaceEndRace",          "mnuRaceOptions",
    "mnuExitMode",         "mnuRaceUndo",        "mnuRaceLoadResultTables", "mnuCarLevel",
    "mnuCarSetup",         "mnuGameSettings",    "mnuOnlineLevel",          "mnuOnlineTestLevel",
    "mnuSaveTIP",          "mnuLoadTIP",         "mnuOnlineTestSelectCC",   "mnuOnlineRacingHost",
    "mnuOnlineRacingJoin", "mnuOnlineMode"};

}  // namespace

std::string_view CommandName(Cmd c) { return kNames.at(static_cast<size_t>(c)); }

}  // namespace vm
