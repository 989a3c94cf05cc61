#include "app/game_controller.h"

#include <QDialog>
#include <QWidget>
#include <utility>

#include "ai/drivers.h"
#include "app/qt_console.h"
#include "core/paths.h"
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
  ModeHooks hooks;
  hooks.RaceSetup = [this] { return OpenDialog("frmRaceSetup"); };
  hooks.LoadSavedRace = [this] { files_->mnuFileLoadSavedRace(); };
  hooks.LoadRaceConfig = [this] { Run(Cmd::mnuFileLoadRace); };
  modes_ = std::make_unique<ModeCommands>(session_, *rs_, *console_, std::move(hooks));
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

void GameController::Changed() { Q_EMIT commandsChanged(); }

bool GameController::StartUp(const std::string& dataFolder) {
  const bool ok = vm::StartUp(session_, *rs_, rng_, *console_, dataFolder);
  // The undo files go where a file can be written: the data folder, else the user's own.
  files_ = std::make_unique<RaceFiles>(session_, *engine_, UndoFolderFor(session_.AppPath));
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
    case Cmd::mnuTrackLoadTrack:
    case Cmd::mnuTrackLoadTrackNew:
      if (OpenDialog("frmTrackLoad")) modes_->LoadPendingTrack();
      break;
    case Cmd::mnuRaceStartRace:
      CommandsAtRaceStart(session_, rs);
      session_.TrackWindowOpen = true;
      engine_->StartRace();
      break;
    case Cmd::mnuFileLoadSavedRace: files_->mnuFileLoadSavedRace(); break;
    case Cmd::mnuRaceSave: files_->mnuRaceSave(); break;
    case Cmd::mnuRaceUndo: files_->mnuRaceUndo(); break;
    case Cmd::mnuRaceEndRace:
      // The race controls ask their question; the menu then closes the race down.
      if (engine_->EndRaceRC()) files_->mnuRaceEndRace();
      break;
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
    default: break;  // the season, snapshot and online commands come with their own work
  }
  Changed();
}

}  // namespace vm
