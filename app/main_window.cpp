#include "app/main_window.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QLabel>
#include <QMenuBar>
#include <QPushButton>
#include <QSettings>
#include <QStackedWidget>
#include <QStatusBar>
#include <QVBoxLayout>

#include "app/menu_layout.h"
#include "app/race/race_window.h"

namespace vm {

namespace {

QString Q(std::string_view text) { return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())); }

constexpr int kModePage = 0;
constexpr int kReadyPage = 1;
constexpr int kRacePage = 2;

}  // namespace

MainWindow::MainWindow(GameController& controller, QWidget* parent) : QMainWindow(parent), controller_(controller) {
  setObjectName(QStringLiteral("frmMain"));
  setWindowTitle(QStringLiteral("Velomark"));
  controller_.SetDialogParent(this);
  BuildMenus();
  pages_ = new QStackedWidget;
  pages_->addWidget(BuildModeScreen());
  auto* ready = new QLabel(QStringLiteral("The race is set up: start it from the Race menu."));
  ready->setAlignment(Qt::AlignCenter);
  pages_->addWidget(ready);
  race_ = new RaceWindow(controller_);
  pages_->addWidget(race_);
  setCentralWidget(pages_);
  status_ = new QLabel;
  statusBar()->addWidget(status_, 1);
  connect(&controller_, &GameController::commandsChanged, this, &MainWindow::Refresh);
  connect(&controller_, &GameController::quitRequested, this, &MainWindow::close);
  resize(900, 640);
  Refresh();
}

void MainWindow::BuildMenus() {
  for (const Menu& m : MenuLayout()) {
    QMenu* menu = menuBar()->addMenu(Q(m.Caption));
    if (m.Level) menus_[*m.Level] = menu;
    for (const MenuItem& item : m.Items) {
      QAction* action = menu->addAction(Q(item.Caption));
      action->setShortcut(item.Keys);
      if (item.Window == WindowCommand::FileExit) {
        connect(action, &QAction::triggered, this, &MainWindow::close);
      } else if (item.Window == WindowCommand::HelpAbout) {
        connect(action, &QAction::triggered, this, &MainWindow::About);
      } else if (item.Window == WindowCommand::ViewResultTables) {
        // mnuViewResultTables: the editor of the tables in force, at any time.
        action->setObjectName(QStringLiteral("mnuViewResultTables"));
        connect(action, &QAction::triggered, this, [this] { controller_.OpenDialog("frmResultTableSetup"); });
      } else {
        const Cmd command = item.Command;
        action->setObjectName(Q(CommandName(command)));
        if (command == Cmd::mnuModePractice || command == Cmd::mnuModeSingleRace || command == Cmd::mnuModeSeason ||
            command == Cmd::mnuOnlineMode)
          action->setCheckable(true);
        connect(action, &QAction::triggered, this, [this, command] { controller_.Run(command); });
        actions_[command].push_back(action);
      }
    }
  }
}

QWidget* MainWindow::BuildModeScreen() {
  // frmModeScreen "VMR Racing Mode": its four buttons forward to the window's commands.
  auto* screen = new QWidget;
  screen->setObjectName(QStringLiteral("frmModeScreen"));
  auto* column = new QVBoxLayout(screen);
  column->addStretch();
  auto* title = new QLabel(QStringLiteral("Velomark"));
  QFont big = title->font();
  big.setPointSize(big.pointSize() * 3);
  big.setBold(true);
  title->setFont(big);
  title->setAlignment(Qt::AlignCenter);
  column->addWidget(title);
  auto* caption = new QLabel(QStringLiteral("VMR Racing Mode"));
  caption->setAlignment(Qt::AlignCenter);
  column->addWidget(caption);
  struct Button {
    const char* Caption;
    void (GameController::*Command)();
  };
  for (const Button& b : {Button{"&Practice", &GameController::cmdPracticeMode},
                          Button{"&Single Race", &GameController::cmdSingleRaceMode},
                          Button{"S&eason", &GameController::cmdSeasonMode}}) {
    auto* button = new QPushButton(QString::fromLatin1(b.Caption));
    button->setMinimumWidth(220);
    connect(button, &QPushButton::clicked, this, [this, command = b.Command] { (controller_.*command)(); });
    column->addWidget(button, 0, Qt::AlignHCenter);
  }
  auto* exit = new QPushButton(QStringLiteral("E&xit"));
  exit->setMinimumWidth(220);
  connect(exit, &QPushButton::clicked, this, &MainWindow::close);
  column->addWidget(exit, 0, Qt::AlignHCenter);
  column->addStretch();
  return screen;
}

void MainWindow::Refresh() {
  const GameSession& g = controller_.Session();
  for (const auto& [command, actions] : actions_) {
    const CommandState& state = g[command];
    for (QAction* action : actions) {
      action->setEnabled(state.Enabled);
      if (!state.Caption.empty()) action->setText(Q(state.Caption));
      if (action->isCheckable()) action->setChecked(state.Checked);
    }
  }
  for (const auto& [level, menu] : menus_) {
    menu->setEnabled(g[level].Enabled);
    // "Race" or "Practice", as the mode names the race menu.
    if (!g[level].Caption.empty()) menu->setTitle(Q(g[level].Caption));
    // The mode and track menus are reached through the mode screen and the race setup.
    menu->menuAction()->setVisible(g[level].Visible);
  }
  status_->setText(Q(g.StatusText));
  const bool racing = controller_.Race().RaceRunning || controller_.Engine().WaitingFor() == Waiting::RaceOver;
  pages_->setCurrentIndex(g.BackgroundShown ? kModePage : g.TrackWindowOpen && racing ? kRacePage : kReadyPage);
}

QAction* MainWindow::ActionOf(Cmd command) const {
  const auto found = actions_.find(command);
  return found == actions_.end() || found->second.empty() ? nullptr : found->second.front();
}

QMenu* MainWindow::MenuOf(Cmd level) const {
  const auto found = menus_.find(level);
  return found == menus_.end() ? nullptr : found->second;
}

QString MainWindow::StatusText() const { return status_->text(); }

RaceWindow& MainWindow::Race() { return *race_; }

void MainWindow::About() { controller_.OpenDialog("frmAbout"); }

void MainWindow::RestorePlace() {
  QSettings settings;
  settings.beginGroup(QString::fromLatin1(kSettingsGroup));
  if (!settings.contains(QStringLiteral("MainWidth"))) return;
  const QRect place(
      settings.value(QStringLiteral("MainLeft")).toInt(), settings.value(QStringLiteral("MainTop")).toInt(),
      settings.value(QStringLiteral("MainWidth")).toInt(), settings.value(QStringLiteral("MainHeight")).toInt());
  if (place.width() >= 200 && place.height() >= 150) setGeometry(place);
}

void MainWindow::closeEvent(QCloseEvent* event) {
  if (!isMinimized()) {
    QSettings settings;
    settings.beginGroup(QString::fromLatin1(kSettingsGroup));
    settings.setValue(QStringLiteral("MainLeft"), geometry().left());
    settings.setValue(QStringLiteral("MainTop"), geometry().top());
    settings.setValue(QStringLiteral("MainWidth"), geometry().width());
    settings.setValue(QStringLiteral("MainHeight"), geometry().height());
  }
  event->accept();
}

}  // namespace vm
