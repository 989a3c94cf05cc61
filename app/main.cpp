// velomark: the desktop program. It starts on the data folder (found beside the program, or given
// with --data), or renders one window offscreen with --screenshot FILE.png --show NAME.
#include <QApplication>
#include <QDir>
#include <QTemporaryDir>
#include <cstdio>
#include <filesystem>
#include <string>

#include "app/dialogs.h"
#include "app/game_controller.h"
#include "app/main_window.h"
#include "app/screenshots.h"
#include "game/race_files.h"
#include "game/startup.h"
#include "ui/scripted_console.h"

namespace {

constexpr const char* kUsage =
    "usage: velomark [--data DIR] [--screenshot FILE.png --show frmMain|DIALOG]\n"
    "  --screenshot renders the main window or a dialog offscreen (on a copy of the data folder)\n";

}  // namespace

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  QApplication::setOrganizationName(QStringLiteral("Velomark"));
  QApplication::setApplicationName(QStringLiteral("Velomark"));
  QApplication::setApplicationVersion(QStringLiteral("0.1"));
  std::string data, screenshot, show = "frmMain";
  const QStringList args = QApplication::arguments();
  for (qsizetype i = 1; i < args.size(); ++i) {
    const QString& a = args[i];
    if ((a == "--data" || a == "--screenshot" || a == "--show") && i + 1 < args.size()) {
      const std::string value = args[++i].toStdString();
      (a == "--data" ? data : a == "--screenshot" ? screenshot : show) = value;
    } else {
      std::fputs(kUsage, stderr);
      return 1;
    }
  }
  if (data.empty()) data = vm::DefaultDataFolder();

  if (!screenshot.empty()) {
    // A picture must not touch the player's data: the start-up writes its settings.
    QTemporaryDir copy;
    std::error_code ec;
    std::filesystem::copy(data, copy.path().toStdString(), std::filesystem::copy_options::recursive, ec);
    if (!copy.isValid() || ec) {
      std::fprintf(stderr, "velomark: the data folder %s could not be copied\n", data.c_str());
      return 2;
    }
    vm::ScriptedConsole answers({"1"}, false);  // the agreement, if asked, is accepted
    vm::GameController controller(&answers);
    vm::RegisterDialogs(controller);
    vm::MainWindow window(controller);
    if (!controller.StartUp(copy.path().toStdString())) {
      std::fprintf(stderr, "velomark: the start-up failed on %s\n", data.c_str());
      return 2;
    }
    const std::string why = vm::SaveScreenshot(controller, window, show, QString::fromStdString(screenshot));
    if (!why.empty()) {
      std::fprintf(stderr, "velomark: %s\n", why.c_str());
      return 1;
    }
    return 0;
  }

  // An installed program's data is shared and read-only: each player plays in a copy of their own.
  const std::string playable = vm::PlayableDataFolder(data);
  if (playable.empty()) {
    std::fprintf(stderr, "velomark: no data folder that can be written: %s is read-only and no copy could be made\n",
                 data.c_str());
    return 2;
  }
  vm::GameController controller;
  vm::RegisterDialogs(controller);
  vm::MainWindow window(controller);
  window.RestorePlace();
  window.show();
  if (!controller.StartUp(playable)) return 0;
  return QApplication::exec();
}
