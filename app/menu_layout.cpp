#include "app/menu_layout.h"

namespace vm {

const std::vector<Menu>& MenuLayout() {
  static const std::vector<Menu> menus = [] {
    auto item = [](Cmd c, std::string_view caption, QKeySequence keys = {}) {
      return MenuItem{c, WindowCommand::None, caption, keys};
    };
    auto window = [](WindowCommand w, std::string_view caption, QKeySequence keys = {}) {
      return MenuItem{Cmd::Count, w, caption, keys};
    };
    return std::vector<Menu>{
        {std::nullopt,
         "&File",
         {item(Cmd::mnuFileLoadSavedRace, "Load Saved Race...", QKeySequence::Open),
          item(Cmd::mnuFileLoadRace, "Load Race Configuration..."),
          item(Cmd::mnuFileSaveRace, "Save Race Configuration..."),
          window(WindowCommand::FileExit, "E&xit", QKeySequence::Quit)}},
        {Cmd::mnuModeLevel,
         "&Mode",
         {item(Cmd::mnuModePractice, "&Practice"), item(Cmd::mnuModeSingleRace, "&Single Race"),
          item(Cmd::mnuModeSeason, "S&eason"), item(Cmd::mnuExitMode, "Exit Mode")}},
        {Cmd::mnuTrackLevel,
         "&Track",
         {item(Cmd::mnuTrackLoadTrack, "Load Track..."), item(Cmd::mnuTrackLoadTrackNew, "Load New Track...")}},
        {Cmd::mnuSeasonLevel,
         "S&eason",
         {item(Cmd::mnuSeasonLoad, "Load Season..."), item(Cmd::mnuSeasonCreate, "Create Season..."),
          item(Cmd::mnuSeasonSettings, "Season Settings..."), item(Cmd::mnuSeasonNextRace, "Next Race"),
          item(Cmd::mnuSeasonStandings, "Standings"), item(Cmd::mnuSeasonExitCurrent, "Exit Current Season"),
          item(Cmd::mnuSeasonExit, "Exit Season")}},
        {Cmd::mnuRaceLevel,
         "&Race",
         {item(Cmd::mnuRaceSetup, "Race Setup..."), item(Cmd::mnuRaceStartRace, "Start Race", Qt::Key_F5),
          item(Cmd::mnuRaceQualifying, "Qualifying"), item(Cmd::mnuRaceSave, "Save Race...", QKeySequence::Save),
          item(Cmd::mnuRaceSaveSnapshot, "Save Snapshot..."),
          item(Cmd::mnuRaceUndo, "Undo Race Turn", QKeySequence::Undo), item(Cmd::mnuRaceReset, "Reset Current Race"),
          item(Cmd::mnuRaceEndRace, "End Race"), item(Cmd::mnuRaceOptions, "Race Options..."),
          item(Cmd::mnuRaceLoadResultTables, "Load Result Tables..."), item(Cmd::mnuExitMode, "Exit Mode")}},
        {Cmd::mnuCarLevel, "&Cars", {item(Cmd::mnuCarSetup, "Car Setup...")}},
        {Cmd::mnuOnlineLevel,
         "&Online",
         {item(Cmd::mnuOnlineRacingHost, "Host Online Race"), item(Cmd::mnuOnlineRacingJoin, "Join Online Race"),
          item(Cmd::mnuOnlineMode, "Online Mode")}},
        {std::nullopt,
         "&Settings",
         {item(Cmd::mnuGameSettings, "Default Game Settings..."),
          window(WindowCommand::ViewResultTables, "Result Tables...")}},
        {std::nullopt, "&Help", {window(WindowCommand::HelpAbout, "&About Velomark", QKeySequence::HelpContents)}},
    };
  }();
  return menus;
}

}  // namespace vm
