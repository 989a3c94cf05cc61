// The one object between the game and its windows: it owns the race state, the generator, the
// session's commands and the turn engine, runs every command the windows send, and tells them by
// signal when what they show has changed. Widgets read its state and never change it themselves.
#pragma once

#include <QDialog>
#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QWidget>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/race_log.h"
#include "core/race_state.h"
#include "core/random.h"
#include "engine/turn_engine.h"
#include "game/modes.h"
#include "game/qualifying.h"
#include "game/race_files.h"
#include "reports/box_score.h"
#include "season/season_commands.h"
#include "season/season_standings.h"
#include "ui/console.h"

namespace vm {

class ChatWindow;
class NetSession;
class OnlineRace;
class OnlineWindow;

class GameController : public QObject {
  Q_OBJECT

 public:
  // With no console given, the game speaks through modal Qt dialogs over `dialogParent`.
  explicit GameController(Console* console = nullptr, QObject* parent = nullptr);
  ~GameController() override;

  // The start-up in its order; false when the program must end (reported already).
  bool StartUp(const std::string& dataFolder);

  // Runs a command of the menus or the mode screen. A command that is disabled does nothing.
  void Run(Cmd command);
  // The mode screen's buttons.
  void cmdPracticeMode();
  void cmdSingleRaceMode();
  void cmdSeasonMode();
  void cmdExitMode();

  // The window over which dialogs open.
  void SetDialogParent(QWidget* parent);
  QWidget* DialogParent() const { return dialogParent_; }

  // The dialogs of the game by their form names ("frmRaceSetup"). A factory builds the dialog bound
  // to the game's state; the dialog applies what was chosen when it is accepted.
  using DialogFactory = std::function<std::unique_ptr<QDialog>(GameController& controller, QWidget* parent)>;
  void SetDialog(const std::string& form, DialogFactory factory);
  // Builds the dialog without showing it (screenshots, tests); null for an unknown name.
  std::unique_ptr<QDialog> MakeDialog(const std::string& form);
  // Opens the dialog modally over the dialog parent; returns whether it was accepted. An unknown
  // name opens nothing and returns false.
  bool OpenDialog(const std::string& form);
  std::vector<std::string> DialogNames() const;

  // --- The race (frmTrack). Each command goes to the turn engine, which moves the cars until it
  // waits for a person or the race controls. While it moves cars it yields to the window after
  // each one (paced by CarMovementDelay); a command that arrives then is kept and carried out
  // when the engine is back, so no input is lost and none runs inside another.
  void NewSpeed(int button, bool draft = false);
  void Steer(SteeringCommand command);
  void PitContinue();
  void ChooseTires(bool wet);
  void AutoPilot();
  void NextTurn();
  void FinishLap();
  void FinishRace();
  void PauseRace();
  void EndRaceRC();
  // Whether the engine is moving cars now.
  bool Busy() const { return busy_; }
  // The pause after each car's move, in milliseconds; by default the race's CarMovementDelay.
  void SetMoveDelayOverride(std::optional<int> milliseconds) { moveDelay_ = milliseconds; }

  // --- Online racing. The session's sockets, the shared race and its windows are made when the
  // online mode begins and go when frmChatMain closes.
  // Whether an online session shares this race with other machines.
  bool Online() const;
  // Whether this machine runs the online race (its engine serves every other machine).
  bool OnlineHosting() const;
  // Whether the race's panels are live on this machine: always offline, online only on its turn.
  bool LocalTurn() const;
  // Says whose turn it is while another machine has it ("Waiting for ...").
  std::string WaitingText() const;
  // Returns the online pieces while they exist, else null.
  NetSession* Net() const;
  OnlineRace* Shared() const { return online_.get(); }
  ChatWindow* Chat() const;
  OnlineWindow* OnlineView() const;
  // Called with the new session and its window before either does anything (tests keep them on
  // the loopback address and a free port).
  void SetOnlinePreparation(std::function<void(NetSession&, ChatWindow&)> prepare) {
    prepareOnline_ = std::move(prepare);
  }
  // cmdLoadTip: puts the last record from the host into play again.
  void LoadTipAgain();
  // Hands car `car`, whose player is gone or silent, to the AI (host).
  void AutoPilotCar(int car);

  // Tells the windows that the session changed outside a command (tests, the season's work).
  void NotifyChanged() { Changed(); }

  const GameSession& Session() const { return session_; }
  GameSession& Session() { return session_; }
  const RaceState& Race() const { return *rs_; }
  RaceState& Race() { return *rs_; }
  Console& Ui() { return *console_; }
  RaceEngine& Engine() { return *engine_; }
  RaceFiles& Files() { return *files_; }
  SeasonCommands& Season() { return *season_; }
  // The race's report window while it is up (frmFinalStandings, frmPracticeResults), else null.
  QDialog* RaceReport() const { return report_.data(); }
  // How a report page is opened in a browser; the desktop's own when unset (tests replace it).
  void SetOpenPage(std::function<void(const std::string&)> open) { openPage_ = std::move(open); }

 Q_SIGNALS:
  // The commands' states, their captions or the status text may have changed.
  void commandsChanged();
  // The program is to end (a fatal start-up failure, the agreement declined, File Exit).
  void quitRequested();
  // The race moved on: after each car's move, and whenever the engine waits.
  void raceChanged();

 private:
  void Changed();
  // Runs an engine command now, or after the one running when the engine is busy.
  void RaceCommand(std::function<void()> command);
  // The engine's yield after each car: the windows repaint and events run, paced by the delay.
  void YieldToWindows();
  SeasonHooks SeasonHooksFor();
  // The season's windows: the setup (the season file saved and started) and the standings
  // (whether the next race was asked for).
  std::optional<std::string> SetUpSeason();
  bool ShowStandings(const SeasonFileData& season, bool raceStored);
  // Runs the pending steps once the command in hand has returned to the event loop.
  void SchedulePendingSteps();
  void PendingSteps();
  // The race's report: the final standings or the practice results, then the race closed down.
  void ShowRaceReport();
  // mnuRaceSaveSnapshot: the box score as it stands, to a file.
  void SaveSnapshot();
  // The season's standings printed as a report, from the standings window.
  void SaveStandings(const SeasonFileData& season);
  // frmArchiveBoxscore: the report of an earlier race of the season, from its .res file.
  void ShowArchive(const SeasonFileData& season, int race, QWidget* parent);
  BoxScoreOptions ReportOptions() const;
  // mnuOnlineRacingHost, mnuOnlineRacingJoin, mnuOnlineMode: opens frmChatMain, pressing Host or
  // Connect when asked.
  void OpenOnline(bool autoHost, bool autoJoin);
  // Binds the shared race to the session and the engine, once its side is known.
  void AttachOnline(bool host);
  // The session or a record moved the race: run now, or after the engine's work in hand.
  void OnlineEvent(std::function<void()> work);
  // The race's Hooks.Changed: the race window opens on a client's first record.
  void OnlineChanged();
  // frmChatMain closed: the race on the track closes with it and the online pieces go.
  void OnlineClosed();
  // The online commands' states, which follow the session as well as the mode.
  void OnlineCommandStates();

  std::unique_ptr<RaceState> rs_;
  Random rng_;
  GameSession session_;
  std::unique_ptr<Console> ownConsole_;
  Console* console_ = nullptr;
  HighlightList log_;
  std::unique_ptr<RaceEngine> engine_;
  std::unique_ptr<ModeCommands> modes_;
  std::unique_ptr<RaceFiles> files_;
  std::unique_ptr<SeasonCommands> season_;
  std::unique_ptr<Qualifying> qualifying_;
  bool pendingScheduled_ = false;
  bool reportPending_ = false;
  // The race's report while it is up: owned by the window it stands over (which may go first), or
  // by the controller when it has none.
  QPointer<QDialog> report_;
  std::function<void(const std::string&)> openPage_;
  QPointer<QWidget> dialogParent_;
  std::map<std::string, DialogFactory> dialogs_;
  bool busy_ = false;
  std::deque<std::function<void()>> queued_;
  std::optional<int> moveDelay_;
  QElapsedTimer lastYield_;
  QPointer<NetSession> net_;
  std::unique_ptr<OnlineRace> online_;
  QPointer<ChatWindow> chat_;
  QPointer<OnlineWindow> onlineView_;
  bool onlineAttached_ = false;
  bool onlineDirty_ = false;
  bool clientReportShown_ = false;
  EngineSeams offlineSeams_;
  bool offlineUndoDisabled_ = false;
  std::function<void(NetSession&, ChatWindow&)> prepareOnline_;
  static constexpr int kFrameMilliseconds = 16;
};

}  // namespace vm
