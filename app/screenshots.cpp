#include "app/screenshots.h"

#include <QApplication>
#include <QDialog>
#include <QPixmap>
#include <memory>

#include "app/game_controller.h"
#include "app/main_window.h"

namespace vm {

std::string SaveScreenshot(GameController& controller, MainWindow& window, const std::string& show,
                           const QString& file) {
  QPixmap picture;
  if (show == "frmMain") {
    window.show();
    QApplication::processEvents();
    picture = window.grab();
  } else {
    const std::unique_ptr<QDialog> dialog = controller.MakeDialog(show);
    if (!dialog) {
      std::string known = "frmMain";
      for (const std::string& name : controller.DialogNames()) known += ", " + name;
      return "no window is called \"" + show + "\" (known: " + known + ")";
    }
    dialog->show();
    QApplication::processEvents();
    picture = dialog->grab();
    dialog->hide();
  }
  if (picture.isNull() || !picture.save(file, "PNG"))
    return "the picture could not be written to " + file.toStdString();
  return "";
}

}  // namespace vm
