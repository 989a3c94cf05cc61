#include "app/dialogs/about_dialog.h"

#include <QApplication>
#include <QDialog>
#include <QDialogButtonBox>
#include <QLabel>
#include <QVBoxLayout>

#include <memory>

#include "app/game_controller.h"

namespace vm {

namespace {

class AboutDialog : public QDialog {
 public:
  explicit AboutDialog(QWidget* parent) : QDialog(parent) {
    setObjectName(QStringLiteral("frmAbout"));
    setWindowTitle(QStringLiteral("About Velomark"));
    auto* column = new QVBoxLayout(this);
    auto* name = new QLabel(QStringLiteral("Velomark"));
    QFont big = name->font();
    big.setPointSize(big.pointSize() * 2);
    big.setBold(true);
    name->setFont(big);
    column->addWidget(name);
    column->addWidget(new QLabel(QStringLiteral("Version %1").arg(QApplication::applicationVersion())));
    column->addWidget(new QLabel(QStringLiteral("A turn-based racing game of rule tables and dice, for one to "
                                                "forty cars:\nyou, the computer's drivers and players over "
                                                "the network.")));
    column->addWidget(new QLabel(QStringLiteral("Made by the Velomark developers.")));
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    column->addWidget(buttons);
  }
};

}  // namespace

void RegisterAboutDialog(GameController& controller) {
  controller.SetDialog("frmAbout", [](GameController&, QWidget* parent) -> std::unique_ptr<QDialog> {
    return std::make_unique<AboutDialog>(parent);
  });
}

}  // namespace vm
