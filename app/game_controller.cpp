#include "app/game_controller.h"

#include <QCoreApplication>
#include <QDialog>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>
#include <QWidget>
#include <algorithm>
#include <cstdlib>
#include <utility>

#include "ai/drivers.h"
#include "app/dialogs/box_score_window.h"
#include "app/dialogs/chat_window.h"
#include "app/dialogs/online_window.h"
#include "app/dialogs/season_display_window.h"
#include "app/dialogs/season_setup_window.h"
#include "app/qt_console.h"
#include "core/paths.h"
#include "core/stamp.h"
#include "core/textfile.h"
#include "core/track_file.h"
#include "core/units.h"
#include "game/race_config.h"
#include "game/startup.h"
#include "net/net_session.h"
#include "online/online_race.h"
#include "rules/result_table_file.h"
#include "season/season_standings.h"

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

GameController::~GameController() {
  delete report_.data();
  // The session's hooks call into the shared race: the sockets go first.
  delete onlineView_.data();
  delete chat_.data();
  delete net_.data();
  online_.reset();
}

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
  OnlineCommandStates();
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
  engine_->Seams.EndRace = [this](RuleContext&) {
    season_->RaceFinished();
    // The race's report comes up once the engine has returned: the final standings of a race
    // that ran or was red-flagged to its end, the practice results of a practice. A season race
    // paused is no result.
    const bool paused = rs_->GameMode == kModeSeason && rs_->RaceEndedByUser;
    if (!rs_->QualifyingLapRunning && !paused) reportPending_ = true;
  };
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
  // The session ends before the mode does.
  if (chat_ != nullptr) chat_->close();
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
  // Online racing is a single race: leaving the mode ends the session first.
  if ((command == Cmd::mnuModePractice || command == Cmd::mnuModeSeason || command == Cmd::mnuExitMode) &&
      chat_ != nullptr)
    chat_->close();
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
      if (OnlineHosting() && rs.QualifyingMethod == kQualifySingleLap) {
        console_->ShowMessage(
            "Single-lap qualifying is run car by car on one machine: choose another method for an online race.",
            "Velomark", MessageKind::Exclamation);
        break;
      }
      CommandsAtRaceStart(session_, rs);
      session_.TrackWindowOpen = true;
      if (OnlineHosting())
        RaceCommand([this] { online_->StartRace(); });
      else
        RaceCommand([this] { engine_->StartRace(); });
      break;
    case Cmd::mnuFileLoadSavedRace: files_->mnuFileLoadSavedRace(); break;
    case Cmd::mnuRaceSave: files_->mnuRaceSave(); break;
    case Cmd::mnuRaceSaveSnapshot: SaveSnapshot(); break;
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
    case Cmd::mnuOnlineRacingHost: OpenOnline(true, false); break;
    case Cmd::mnuOnlineRacingJoin: OpenOnline(false, true); break;
    case Cmd::mnuOnlineMode:
      if (chat_ != nullptr && (session_.OnlineMode || chat_->isVisible()))
        chat_->close();
      else
        OpenOnline(false, false);
      break;
    default: break;
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
  SetOpenRaceReport(*window, [this, &season, parent = window.get()](int race) { ShowArchive(season, race, parent); });
  SetSaveStandings(*window, [this, &season] { SaveStandings(season); });
  window->exec();
  return SeasonStartPressed(*window);
}

BoxScoreOptions GameController::ReportOptions() const {
  BoxScoreOptions options;
  options.AppPath = session_.AppPath;
  options.Stamp = StampNow();
  if (rs_->GameMode == kModeSeason && session_.SeasonLoaded) {
    const SeasonFileData& season = season_->Season();
    options.SeasonName = season.Name;
    // The season file has taken the race up already: it is the one before the next.
    options.SeasonRace = session_.SeasonRaceStored ? season.NextRace : season.NextRace - 1;
    const SeasonStandings standings = BuildSeasonStandings(season, session_.TracksFolder);
    options.DriverStandings = StandingLines(standings.Grid(SeasonGridType::Driver));
    options.TeamStandings = StandingLines(standings.Grid(SeasonGridType::Team));
  }
  return options;
}

void GameController::ShowRaceReport() {
  const bool practice = rs_->GameMode == kModePractice;
  BoxScoreWindowSetup setup;
  setup.FormName = practice ? "frmPracticeResults" : "frmFinalStandings";
  setup.Caption = practice ? "Practice Results" : "Final Standings";
  setup.SaveFilter = practice ? "Practice Results (*.rtf)|*.rtf" : "Rich Text File (*.rtf)|*.rtf";
  setup.ReportsFolder = session_.AppPath + "Reports";
  setup.Options = ReportOptions();
  const RaceState& rs = *rs_;
  setup.Build = [&rs, practice](const BoxScoreOptions& options) {
    return practice ? BuildPracticeResults(rs, options) : BuildBoxScore(rs, options);
  };
  setup.OpenPage = openPage_;
  // The report stays up beside the finished race, not over it: the race page can still be looked
  // at. Its OK closes the race down, the ratings put back unless damage is kept.
  report_ = MakeBoxScoreWindow(std::move(setup), *console_, dialogParent_).release();
  connect(report_.data(), &QDialog::finished, this, [this] {
    if (rs_->RaceOver && session_.TrackWindowOpen) files_->mnuRaceEndRace();
    report_->deleteLater();
    report_ = nullptr;
    Changed();
    SchedulePendingSteps();
  });
  report_->setWindowModality(Qt::NonModal);
  report_->show();
  Changed();
}

void GameController::ShowArchive(const SeasonFileData& season, int race, QWidget* parent) {
  // frmArchiveBoxscore: the race as its .res file keeps it, never the race state of the game.
  const std::string file = RaceResultPath(DirName(session_.SeasonFile), SeasonBaseName(session_.SeasonFile), race);
  auto archived = std::make_shared<RaceState>();
  RaceResultFile head;
  if (std::optional<FileError> e = ReadRaceResults(*archived, head, file, session_.CarsFolder)) {
    if (e->Code == FileErrorCode::NotFound)
      ReportFileError(*console_, 53, file);
    else
      console_->ShowMessage(FileErrorText(file) + e->Describe(), "Race Results", MessageKind::Critical);
    return;
  }
  archived->GameMode = std::string(kModeSeason);
  // The standings as they stood after this race.
  SeasonFileData upTo = season;
  upTo.NextRace = race + 1;
  const SeasonStandings standings = BuildSeasonStandings(upTo, session_.TracksFolder);
  BoxScoreWindowSetup setup;
  setup.FormName = "frmArchiveBoxscore";
  setup.Caption = "Race Results";
  setup.SaveFilter = "Rich Text File (*.rtf)|*.rtf";
  setup.ReportsFolder = session_.AppPath + "Reports";
  setup.Options.AppPath = session_.AppPath;
  setup.Options.Stamp = head.Stamp;
  setup.Options.SeasonName = season.Name;
  setup.Options.SeasonRace = race;
  setup.Options.Archive = true;
  setup.Options.DriverStandings = StandingLines(standings.Grid(SeasonGridType::Driver));
  setup.Options.TeamStandings = StandingLines(standings.Grid(SeasonGridType::Team));
  setup.Build = [archived](const BoxScoreOptions& options) { return BuildBoxScore(*archived, options); };
  setup.OpenPage = openPage_;
  MakeBoxScoreWindow(std::move(setup), *console_, parent)->exec();
}

void GameController::SaveStandings(const SeasonFileData& season) {
  const FileDialogRequest ask{
      true,   "Save Season Standings",      "Season Box Score (*.rtf)|*.rtf|HTML File (*.html)|*.html",
      ".rtf", session_.AppPath + "Reports", ""};
  const std::optional<std::string> file = console_->ChooseFile(ask);
  if (!file) return;
  const BoxScore report =
      BuildSeasonReport(SeasonReportInputOf(season, session_.TracksFolder, session_.AppPath, StampNow()));
  const bool html = ReplaceExtension(*file, ".html") == *file;
  if (std::optional<FileError> e = WriteFileAtomic(*file, html ? report.Html : report.Rtf))
    console_->ShowMessage("The standings could not be saved: " + e->Describe(), "Save Season Standings",
                          MessageKind::Critical);
}

void GameController::SaveSnapshot() {
  const FileDialogRequest ask{true,
                              "Save Snapshot",
                              "Rich Text File (*.rtf)|*.rtf|HTML File (*.html)|*.html",
                              ".rtf",
                              session_.AppPath + "Reports",
                              ""};
  const std::optional<std::string> file = console_->ChooseFile(ask);
  if (!file) return;
  const BoxScore report = BuildBoxScore(*rs_, ReportOptions());
  const bool html = ReplaceExtension(*file, ".html") == *file;
  if (std::optional<FileError> e = WriteFileAtomic(*file, html ? report.Html : report.Rtf))
    console_->ShowMessage("The snapshot could not be saved: " + e->Describe(), "Save Snapshot", MessageKind::Critical);
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
  if (reportPending_) {
    reportPending_ = false;
    ShowRaceReport();
  }
  // The season's steps wait until the race's report has been closed.
  if (report_ == nullptr) season_->WindowActivated();
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
  // The host serves whatever the other machines have sent meanwhile, and hands on the turn.
  if (OnlineHosting()) online_->Pump();
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

// --- Online racing ------------------------------------------------------------------------------

NetSession* GameController::Net() const { return net_.data(); }
ChatWindow* GameController::Chat() const { return chat_.data(); }
OnlineWindow* GameController::OnlineView() const { return onlineView_.data(); }

bool GameController::Online() const { return session_.OnlineMode && online_ != nullptr; }

bool GameController::OnlineHosting() const { return Online() && online_->OnlineHost; }

bool GameController::LocalTurn() const {
  if (!Online()) return true;
  const Waiting w = engine_->WaitingFor();
  // The host's race controls are his own; a client's race is driven from the host.
  if (w == Waiting::RaceControl || w == Waiting::Paused) return online_->OnlineHost;
  if (w == Waiting::Nothing || w == Waiting::RaceOver) return true;
  return online_->LocalTurn();
}

std::string GameController::WaitingText() const {
  if (!Online()) return "";
  const RaceState& rs = *rs_;
  auto driver = [&rs](int car) { return rs.DriverName[car] + " (car " + std::to_string(car) + ")"; };
  if (!online_->OnlineHost) {
    const TipHeader& tip = online_->Tip;
    if (tip.TipSteeringPhase && IsCarNumber(tip.TipCar) && tip.TipCar != online_->OnlineCar)
      return "Waiting for " + driver(tip.TipCar) + " to move.";
    if (tip.TipCar == 0) return "Waiting for the host to start the race.";
    return "Waiting for the host: the other drivers are choosing.";
  }
  const int car = rs.CurrentCar;
  if (!IsCarNumber(car)) return "Waiting for the other drivers.";
  switch (engine_->WaitingFor()) {
    case Waiting::Speed: return "Waiting for " + driver(car) + " to choose a speed.";
    case Waiting::PitContinue: return "Waiting for " + driver(car) + " in the pit lane.";
    default: return "Waiting for " + driver(car) + " to move.";
  }
}

void GameController::OpenOnline(bool autoHost, bool autoJoin) {
  if (chat_ == nullptr) {
    net_ = new NetSession(this);
    const std::string tracks = session_.TracksFolder;
    auto loadTrack = [tracks](RaceState& state, const std::string& name) -> std::optional<std::string> {
      if (std::optional<FileError> e = LoadTrack(state.track, JoinPath(tracks, name))) return e->Describe();
      return std::nullopt;
    };
    online_ =
        std::make_unique<OnlineRace>(net_->Session(), *engine_, *rs_, session_.AppPath, session_.CarsFolder, loadTrack);
    online_->Hooks.Changed = [this] { OnlineChanged(); };
    // Said in the session's status already; the status bar shows it as well.
    online_->Hooks.Notice = [this](const std::string& text) {
      session_.StatusText = text;
      onlineDirty_ = true;
    };
    onlineAttached_ = false;
    clientReportShown_ = false;
    const QString folder = QString::fromStdString(session_.AppPath);
    chat_ = new ChatWindow(*net_, folder.endsWith(QLatin1Char('/')) ? folder.chopped(1) : folder, dialogParent_);
    chat_->SetUpCar = [this](bool host) {
      AttachOnline(host);
      return OpenDialog("frmCarSetup");
    };
    chat_->DriverName = [this] { return rs_->DriverName[1]; };
    connect(chat_.data(), &ChatWindow::hosted, this, [this] {
      online_->OnlineCar = 1;
      session_.OnlineMode = true;
      rs_->UndoDisabled = true;
      onlineView_->show();
      onlineView_->Refresh();
      Changed();
    });
    connect(chat_.data(), &ChatWindow::joined, this, [this] {
      // The player's car goes first, before his name: the host gives it a number.
      online_->OnlineCar = 0;
      online_->SendCar(1);
      session_.OnlineMode = true;
      rs_->UndoDisabled = true;
      onlineView_->show();
      onlineView_->Refresh();
      Changed();
    });
    connect(chat_.data(), &ChatWindow::sendTip, this, [this] { OnlineEvent([this] { online_->cmdSendTip(); }); });
    connect(chat_.data(), &ChatWindow::closed, this, &GameController::OnlineClosed);
    onlineView_ = new OnlineWindow(*this, dialogParent_);
    connect(this, &GameController::raceChanged, onlineView_.data(), &OnlineWindow::Refresh);
    connect(net_.data(), &NetSession::changed, onlineView_.data(), &OnlineWindow::Refresh);
    if (prepareOnline_) prepareOnline_(*net_, *chat_);
  }
  chat_->Open(autoHost, autoJoin);
  Changed();
}

void GameController::AttachOnline(bool host) {
  online_->OnlineHost = host;
  if (onlineAttached_) return;
  onlineAttached_ = true;
  // The seams are put back when the session ends, so that the next race is a local one again.
  offlineSeams_ = engine_->Seams;
  offlineUndoDisabled_ = rs_->UndoDisabled;
  online_->Attach();
  // What comes from the network waits while the engine moves cars: the engine yields to the event
  // loop, and no record may be read into the race in the middle of a car's move.
  ChatHooks& hooks = net_->Session().Hooks;
  hooks.RecordLine = [this, inner = hooks.RecordLine](const std::string& tag, const std::string& payload, int source) {
    OnlineEvent([inner, tag, payload, source] { inner(tag, payload, source); });
  };
  hooks.PersonLost = [this, inner = hooks.PersonLost](int n) { OnlineEvent([inner, n] { inner(n); }); };
  hooks.ServerLost = [this, inner = hooks.ServerLost] { OnlineEvent(inner); };
}

void GameController::OnlineEvent(std::function<void()> work) {
  if (busy_) {
    queued_.push_back([this, work = std::move(work)] { OnlineEvent(work); });
    return;
  }
  busy_ = true;
  work();
  busy_ = false;
  while (!queued_.empty()) {
    std::function<void()> next = std::move(queued_.front());
    queued_.pop_front();
    next();
  }
  if (!std::exchange(onlineDirty_, false)) return;
  Q_EMIT raceChanged();
  Changed();
  SchedulePendingSteps();
}

void GameController::OnlineChanged() {
  onlineDirty_ = true;
  if (online_ == nullptr) return;
  if (chat_ != nullptr && chat_->OnlineCar() != online_->OnlineCar) chat_->SetOnlineCar(online_->OnlineCar);
  if (online_->OnlineHost || !session_.OnlineMode) return;
  const Waiting w = engine_->WaitingFor();
  if (w == Waiting::Nothing) return;
  // A client's race window opens with the first record of the race, and shows the host's end.
  if (!session_.TrackWindowOpen && !rs_->RaceOver) {
    CommandsAtRaceStart(session_, *rs_);
    session_.TrackWindowOpen = true;
    session_.BackgroundShown = false;
    rs_->RaceRunning = true;
    clientReportShown_ = false;
  }
  if (w == Waiting::RaceOver && rs_->RaceRunning) {
    rs_->RaceRunning = false;
    CommandsAtRaceEnd(session_);
    if (!clientReportShown_) {
      clientReportShown_ = true;
      reportPending_ = true;
    }
  }
}

void GameController::OnlineClosed() {
  const bool wasOnline = session_.OnlineMode;
  session_.OnlineMode = false;
  if (onlineAttached_) {
    engine_->Seams = offlineSeams_;
    rs_->UndoDisabled = offlineUndoDisabled_;
    onlineAttached_ = false;
  }
  // The race on the track was the session's: frmTrack closes with it.
  if (wasOnline && session_.TrackWindowOpen) {
    session_.TrackWindowOpen = false;
    rs_->RaceRunning = false;
    engine_->Resume(Waiting::Nothing);
    CommandsAtRaceEnd(session_);
  }
  if (!session_.BackgroundShown && rs_->GameMode == kModeSingle) {
    session_[Cmd::mnuRaceLevel].Enabled = true;
    session_[Cmd::mnuExitMode].Caption = "Exit Single Race Mode";
    session_[Cmd::mnuExitMode].Enabled = true;
  }
  // The pieces go once the window's close has returned; the session's hooks point into the race.
  QPointer<ChatWindow> chat = chat_;
  QPointer<NetSession> net = net_;
  QPointer<OnlineWindow> view = onlineView_;
  std::shared_ptr<OnlineRace> race(online_.release());
  chat_ = nullptr;
  net_ = nullptr;
  onlineView_ = nullptr;
  QTimer::singleShot(0, this, [chat, net, view, race] {
    delete view.data();
    delete chat.data();
    delete net.data();
  });
  Q_EMIT raceChanged();
  Changed();
}

void GameController::OnlineCommandStates() {
  GameSession& g = session_;
  g[Cmd::mnuOnlineMode].Checked = g.OnlineMode;
  if (g.BackgroundShown || rs_->GameMode != kModeSingle) return;
  const bool racing = rs_->RaceRunning;
  g[Cmd::mnuOnlineRacingHost].Enabled = !racing && chat_ == nullptr;
  g[Cmd::mnuOnlineRacingJoin].Enabled = !racing && chat_ == nullptr;
  g[Cmd::mnuOnlineMode].Enabled = chat_ != nullptr || !racing;
  if (!g.OnlineMode) return;
  // A shared race cannot be loaded from a file nor taken back: every machine has moved on with it.
  for (Cmd c : {Cmd::mnuFileLoadSavedRace, Cmd::mnuFileLoadRace, Cmd::mnuRaceConfigLevel, Cmd::mnuRaceUndo})
    g[c].Enabled = false;
  if (online_ != nullptr && !online_->OnlineHost) {
    // A client's race is set up, started, saved and ended on the host.
    for (Cmd c : {Cmd::mnuRaceSetup, Cmd::mnuRaceStartRace, Cmd::mnuRaceSave, Cmd::mnuRaceEndRace, Cmd::mnuFileSaveRace,
                  Cmd::mnuTrackLoadTrack, Cmd::mnuTrackLoadTrackNew})
      g[c].Enabled = false;
  }
}

void GameController::LoadTipAgain() {
  if (!Online() || online_->OnlineHost || online_->Tip.TipCar == 0) return;
  OnlineEvent([this] {
    online_->LoadTIP(RecordKind::TIP);
    onlineDirty_ = true;
  });
}

void GameController::AutoPilotCar(int car) {
  if (!OnlineHosting()) return;
  RaceCommand([this, car] { online_->AutoPilotCar(car); });
}

}  // namespace vm
