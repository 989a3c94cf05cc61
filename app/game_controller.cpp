#include "app/game_controller.h"

#include <QCoreApplication>
#include <QDialog>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>
#include <QWidget>
#include <utility>

#include "ai/drivers.h"
#include "app/dialogs/season_display_window.h"
#include "app/dialogs/season_setup_window.h"
#include "app/qt_console.h"
#include "core/paths.h"
#include "core/units.h"
#include "game/race_config.h"
#include "game/startup.h"
#include "rules/result_table_file.h"

namespace vm {

GameController::GameController(Console* console, QObject* parent)
    : QObject(parent), rs_(std::make_unique<RaceState>()), log_(*rs_) {
  if (console == nullptr) {
    auto qt = std::make_unique<QtConsole>([this] { return dialogParent_.data(); });
    console_ = qt.get();
    ownConsole_ = std::move(qt);
  } else {
    console_ = console;
  }
  engine_ = std::make_unique<RaceEngine>(*rs_, rng_, *console_, log_);
  UseAIDrivers(*engine_);
  engine_->Seams.Yield = [this] { YieldToWindows(); };
  ModeHooks hooks;
  hooks.RaceSetup = [this] { return OpenDialog("frmRaceSetup"); };
  hooks.LoadSavedRace = [this] { files_->mnuFileLoadSavedRace(); };
  hooks.LoadRaceConfig = [this] { Run(Cmd::mnuFileLoadRace); };
  hooks.SeasonLoad = [this] { season_->mnuSeasonLoad(); };
  hooks.SeasonCreate = [this] { season_->mnuSeasonCreate(); };
  modes_ = std::make_unique<ModeCommands>(session_, *rs_, *console_, std::move(hooks), &rng_);
  files_ = std::make_unique<RaceFiles>(session_, *engine_, "");
}

GameController::~GameController() = default;

void GameController::SetDialogParent(QWidget* parent) { dialogParent_ = parent; }

void GameController::SetDialog(const std::string& form, DialogFactory factory) { dialogs_[form] = std::move(factory); }

std::unique_ptr<QDialog> GameController::MakeDialog(const std::string& form) {
  const auto found = dialogs_.find(form);
  return found == dialogs_.end() ? nullptr : found->second(*this, dialogParent_.data());
}

bool GameController::OpenDialog(const std::string& form) {
  const std::unique_ptr<QDialog> dialog = MakeDialog(form);
  const bool accepted = dialog != nullptr && dialog->exec() == QDialog::Accepted;
  Changed();
  return accepted;
}

std::vector<std::string> GameController::DialogNames() const {
  std::vector<std::string> names;
  for (const auto& entry : dialogs_) names.push_back(entry.first);
  return names;
}

void GameController::Changed() {
  // The race's own commands follow the engine: undo while a turn may be taken back, saving only
  // between turns.
  if (rs_->RaceRunning) {
    session_[Cmd::mnuRaceUndo].Enabled = files_->UndoEnabled();
    session_[Cmd::mnuRaceSave].Enabled = engine_->AtTurnStart() && rs_->GameMode != kModePractice;
  }
  Q_EMIT commandsChanged();
}

bool GameController::StartUp(const std::string& dataFolder) {
  const bool ok = vm::StartUp(session_, *rs_, rng_, *console_, dataFolder);
  // The undo files go where a file can be written: the data folder, else the user's own.
  // The old commands go first: they unhook themselves from the engine as they go.
  qualifying_.reset();
  files_.reset();
  const std::string ownFolder = UndoFolderFor(session_.AppPath);
  files_ = std::make_unique<RaceFiles>(session_, *engine_, ownFolder);
  season_ = std::make_unique<SeasonCommands>(session_, *rs_, *console_, SeasonHooksFor());
  // A race that reaches its final standings ends a season's race; qualifying laps end before it.
  engine_->Seams.EndRace = [this](RuleContext&) { season_->RaceFinished(); };
  qualifying_ =
      std::make_unique<Qualifying>(*engine_, QualifyingFiles{JoinPath(ownFolder, "RaceConfig.slq"), session_.CarsFolder,
                                                             TrackLoaderFromFolder(session_.TracksFolder)});
  Changed();
  if (!ok) Q_EMIT quitRequested();
  return ok;
}

void GameController::cmdPracticeMode() {
  modes_->cmdPracticeMode();
  Changed();
}

void GameController::cmdSingleRaceMode() {
  modes_->cmdSingleRaceMode();
  Changed();
}

void GameController::cmdSeasonMode() {
  modes_->cmdSeasonMode();
  Changed();
}

void GameController::cmdExitMode() {
  modes_->cmdExitMode();
  Changed();
}

void GameController::Run(Cmd command) {
  // A menu command while the cars move waits for them, as the race's own commands do.
  if (busy_) {
    queued_.push_back([this, command] { Run(command); });
    return;
  }
  if (!session_[command].Enabled) return;
  RaceState& rs = *rs_;
  switch (command) {
    case Cmd::mnuModePractice: modes_->mnuModePractice(); break;
    case Cmd::mnuModeSingleRace: modes_->mnuModeSingleRace(); break;
    case Cmd::mnuModeSeason: modes_->mnuModeSeason(); break;
    case Cmd::mnuRaceSetup: modes_->mnuRaceSetup(); break;
    case Cmd::mnuExitMode: modes_->mnuExitMode(); break;
    case Cmd::mnuSeasonExit: modes_->mnuSeasonExit(); break;
    case Cmd::mnuSeasonExitCurrent: modes_->mnuSeasonExitCurrent(); break;
    case Cmd::mnuSeasonLoad: season_->mnuSeasonLoad(); break;
    case Cmd::mnuSeasonCreate: season_->mnuSeasonCreate(); break;
    case Cmd::mnuSeasonNextRace: season_->mnuSeasonNextRace(); break;
    case Cmd::mnuSeasonStandings: season_->mnuSeasonStandings(); break;
    case Cmd::mnuSeasonSettings: OpenDialog("frmRaceOptions"); break;
    case Cmd::mnuTrackLoadTrack:
    case Cmd::mnuTrackLoadTrackNew:
      if (OpenDialog("frmTrackLoad")) modes_->LoadPendingTrack();
      break;
    case Cmd::mnuRaceStartRace:
      CommandsAtRaceStart(session_, rs);
      session_.TrackWindowOpen = true;
      RaceCommand([this] { engine_->StartRace(); });
      break;
    case Cmd::mnuFileLoadSavedRace: files_->mnuFileLoadSavedRace(); break;
    case Cmd::mnuRaceSave: files_->mnuRaceSave(); break;
    case Cmd::mnuRaceUndo: files_->mnuRaceUndo(); break;
    case Cmd::mnuRaceEndRace: EndRaceRC(); break;
    case Cmd::mnuFileLoadRace: {
      FileDialogRequest ask{false,
                            "Load Race Configuration",
                            std::string(kRaceConfigFilter),
                            ".rac",
                            session_.AppPath + "Race Configurations",
                            ""};
      if (std::optional<std::string> file = console_->ChooseFile(ask)) {
        if (std::optional<FileError> e =
                ReadRaceConfig(rs, *file, session_.CarsFolder, TrackLoaderFromFolder(session_.TracksFolder))) {
          console_->ShowMessage(FileErrorText(*file) + e->Describe(), "Velomark", MessageKind::Critical);
        } else {
          CommandsAfterTrackLoad(session_);
        }
      }
      break;
    }
    case Cmd::mnuFileSaveRace: {
      FileDialogRequest ask{true,
                            "Save Race Configuration",
                            std::string(kRaceConfigFilter),
                            ".rac",
                            session_.AppPath + "Race Configurations",
                            ""};
      if (std::optional<std::string> file = console_->ChooseFile(ask))
        if (std::optional<FileError> e = WriteRaceConfig(rs, *file, session_.CarsFolder))
          console_->ShowMessage("The race configuration could not be saved: " + e->Describe(), "Velomark",
                                MessageKind::Critical);
      break;
    }
    case Cmd::mnuRaceLoadResultTables: {
      FileDialogRequest ask{false, "Load Result Tables", std::string(kResultTableFilter), ".rst", session_.AppPath, ""};
      if (std::optional<std::string> file = console_->ChooseFile(ask))
        if (std::optional<FileError> e = LoadResultTables(rs.Tables, *file))
          console_->ShowMessage(FileErrorText(*file) + e->Describe(), "Velomark", MessageKind::Critical);
      break;
    }
    case Cmd::mnuCarSetup: OpenDialog("frmCarSetup"); break;
    case Cmd::mnuGameSettings:
    case Cmd::mnuRaceOptions: OpenDialog("frmRaceOptions"); break;
    default: break;  // the snapshot and online commands come with their own work
  }
  Changed();
  SchedulePendingSteps();
}

SeasonHooks GameController::SeasonHooksFor() {
  SeasonHooks h;
  h.SetupSeason = [this] { return SetUpSeason(); };
  h.ShowStandings = [this](const SeasonFileData& season, bool stored) { return ShowStandings(season, stored); };
  h.StartRace = [this] { Run(Cmd::mnuRaceStartRace); };
  h.LoadSavedRace = [this] {
    RaceCommand([this] { files_->mnuFileLoadSavedRace(); });
    return !session_.FatalLoadError;
  };
  h.LoadTrack = [this] { return modes_->LoadPendingTrack(); };
  h.SaveRace = [this] { return files_->mnuRaceSave(); };
  h.EndRace = [this] { files_->mnuRaceEndRace(); };
  return h;
}

std::optional<std::string> GameController::SetUpSeason() {
  const std::unique_ptr<QDialog> window = MakeSeasonSetupWindow(*rs_, *console_, session_.AppPath, dialogParent_);
  SetOpenResultTables(*window, [this] { OpenDialog("frmResultTableSetup"); });
  window->exec();
  const SeasonSetupResult result = SeasonSetupResultOf(*window);
  Changed();
  if (!result.Started) return std::nullopt;
  return result.SeasonFile;
}

bool GameController::ShowStandings(const SeasonFileData& season, bool raceStored) {
  const std::unique_ptr<QDialog> window =
      MakeSeasonDisplayWindow(season, session_.TracksFolder, raceStored, dialogParent_);
  window->exec();
  return SeasonStartPressed(*window);
}

void GameController::SchedulePendingSteps() {
  if (pendingScheduled_) return;
  pendingScheduled_ = true;
  QTimer::singleShot(0, this, &GameController::PendingSteps);
}

void GameController::PendingSteps() {
  pendingScheduled_ = false;
  if (busy_ || !season_) return;
  // What waits for the main window to be free again: the single-lap qualifying list, and in a
  // season the standings after a race and the next race started from them.
  if (rs_->QualifyingListPending && !rs_->RaceRunning) RaceCommand([this] { qualifying_->ShowPendingList(); });
  season_->WindowActivated();
  Changed();
}

// --- The race ----------------------------------------------------------------------------------------

void GameController::RaceCommand(std::function<void()> command) {
  if (busy_) {
    queued_.push_back([this, command = std::move(command)] { RaceCommand(command); });
    return;
  }
  busy_ = true;
  command();
  busy_ = false;
  // Whatever came in while the cars moved, in the order it came.
  while (!queued_.empty()) {
    std::function<void()> next = std::move(queued_.front());
    queued_.pop_front();
    next();
  }
  Q_EMIT raceChanged();
  Changed();
  SchedulePendingSteps();
}

void GameController::YieldToWindows() {
  const int delay = moveDelay_.value_or(rs_->CarMovementDelay);
  // With no delay the cars move faster than a screen shows them: the windows are brought up to
  // date about sixty times a second, not after every car, so a turn of forty costs no repaints.
  if (delay <= 0 && lastYield_.isValid() && lastYield_.elapsed() < kFrameMilliseconds) return;
  lastYield_.start();
  Q_EMIT raceChanged();
  QCoreApplication::processEvents(QEventLoop::AllEvents);
  if (delay <= 0) return;
  // A pause the window stays alive in: events run while it lasts.
  QElapsedTimer waited;
  waited.start();
  while (waited.elapsed() < delay) {
    QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, static_cast<int>(delay - waited.elapsed()));
  }
}

void GameController::NewSpeed(int button, bool draft) {
  RaceCommand([this, button, draft] { engine_->NewSpeed(button, draft); });
}
void GameController::Steer(SteeringCommand command) {
  RaceCommand([this, command] { engine_->Steer(command); });
}
void GameController::PitContinue() {
  RaceCommand([this] { engine_->PitContinue(); });
}
void GameController::ChooseTires(bool wet) {
  RaceCommand([this, wet] { engine_->ChooseTires(wet); });
}
void GameController::AutoPilot() {
  RaceCommand([this] { engine_->AutoPilot(); });
}
void GameController::NextTurn() {
  RaceCommand([this] { engine_->NextTurn(); });
}
void GameController::FinishLap() {
  RaceCommand([this] { engine_->FinishLap(); });
}
void GameController::FinishRace() {
  RaceCommand([this] { engine_->FinishRace(); });
}
void GameController::PauseRace() {
  // A pause is asked for while the cars move: it is taken at the end of the race turn.
  engine_->PauseRace();
}
void GameController::EndRaceRC() {
  RaceCommand([this] {
    // The race controls ask their question; a season's race is paused and kept, another ended.
    const bool pause = rs_->GameMode == kModeSeason && !rs_->QualifyingLapRunning;
    if (!engine_->EndRaceRC()) return;
    if (pause)
      season_->PauseRace();
    else
      files_->mnuRaceEndRace();
  });
  SchedulePendingSteps();
}

}  // namespace vm
