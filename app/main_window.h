// frmMain: the menu bar of the game's commands, the mode screen, the status bar. It draws what the
// controller's session says and sends every command back to the controller.
#pragma once

#include <QMainWindow>
#include <map>
#include <vector>

#include "app/game_controller.h"

class QAction;
class QLabel;
class QMenu;
class QStackedWidget;

namespace vm {

class RaceWindow;

// The window's place and size, kept per user under "Settings".
inline constexpr const char* kSettingsGroup = "Settings";

class MainWindow : public QMainWindow {
  Q_OBJECT

 public:
  explicit MainWindow(GameController& controller, QWidget* parent = nullptr);

  // Puts the window where it was last closed, when that is known.
  void RestorePlace();
  // The action of a command in the menus (the first where a command stands twice); for tests.
  QAction* ActionOf(Cmd command) const;
  QMenu* MenuOf(Cmd level) const;
  QString StatusText() const;
  // frmTrack, the race page.
  RaceWindow& Race();

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  void BuildMenus();
  QWidget* BuildModeScreen();
  void Refresh();
  void About();

  GameController& controller_;
  std::map<Cmd, std::vector<QAction*>> actions_;
  std::map<Cmd, QMenu*> menus_;
  QLabel* status_ = nullptr;
  QStackedWidget* pages_ = nullptr;
  RaceWindow* race_ = nullptr;
};

}  // namespace vm
