// The console's panels as Qt dialogs: each returns what the person pressed or chose, a roll panel
// rolls and settles before it lets the person go on, and the file filters and documents come out
// as Qt and a reader want them.
#include "app/qt_console.h"

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QTableWidget>
#include <QTimer>
#include <functional>
#include <string>

#include "core/textfile.h"

namespace vm {
namespace {

// Acts on the panel once it is up: `act` gets the modal dialog.
void WhenShown(const std::function<void(QWidget*)>& act) {
  QTimer::singleShot(0, [act] {
    QWidget* panel = QApplication::activeModalWidget();
    ASSERT_NE(panel, nullptr);
    act(panel);
  });
}

QPushButton* Button(QWidget* panel, const QString& caption) {
  for (QPushButton* b : panel->findChildren<QPushButton*>())
    if (b->text() == caption) return b;
  ADD_FAILURE() << "no button " << caption.toStdString();
  return nullptr;
}

class QtConsoleTest : public ::testing::Test {
 protected:
  QtConsole console{[] { return nullptr; }};
};

TEST_F(QtConsoleTest, ButtonsOptionsNumbersAndListsAnswerWithWhatWasPressed) {
  WhenShown([](QWidget* p) { Button(p, "Load Race Config")->click(); });
  EXPECT_EQ(console.ChooseButton({"frmSingleRaceModeSelect",
                                  "Single Race Mode",
                                  "",
                                  {"New Race", "Load Saved Race", "Load Race Config", "Cancel"}}),
            2);

  WhenShown([](QWidget* p) {
    p->findChildren<QRadioButton*>().at(1)->click();
    Button(p, "Continue")->click();
  });
  ChoicePanel cornering;
  cornering.Caption = "Cornering";
  cornering.Values = {{"Speed Over By", "40"}};
  cornering.Options = {"Pay", "Roll"};
  EXPECT_EQ(console.ChooseOption(cornering), 1);

  WhenShown([](QWidget* p) {
    p->findChild<QSpinBox*>()->setValue(3);
    Button(p, "OK")->click();
  });
  EXPECT_EQ(console.ChooseNumber({"frmWeatherSetup", "Weather", "Number of Weather Cycles During Race", 0, 5, 1}), 3);

  // A list returns its button and the row selected; a list whose selection returns, the row.
  const ListPanel grid{
      "frmQualifyingManual", "Grid", {"Car", "Driver"}, {{"1", "Ada"}, {"2", "Bram"}}, {false, true}, 0, -1,
      {"Move Up", "OK"},     false};
  WhenShown([](QWidget* p) {
    auto* table = p->findChild<QTableWidget*>();
    EXPECT_EQ(table->item(1, 0)->text(), "2 (AI)");  // computer cars are marked in words
    table->selectRow(1);
    Button(p, "OK")->click();
  });
  const ListAnswer picked = console.ShowList(grid);
  EXPECT_EQ(std::tuple(picked.Button, picked.Row), std::tuple(1, 1));

  // Escape leaves a panel up: only its buttons answer it.
  WhenShown([](QWidget* p) {
    QMetaObject::invokeMethod(p, "reject");
    QTimer::singleShot(0, [p] { Button(p, "Cancel")->click(); });
  });
  EXPECT_EQ(console.ChooseButton({"frmSeasonModeSelect", "Season Mode", "", {"Create New Season", "Cancel"}}), 1);
}

TEST_F(QtConsoleTest, ARollPanelRollsSettlesAndThenContinues) {
  int rolls = 0, settles = 0;
  WhenShown([&](QWidget* p) {
    QPushButton* roll = Button(p, "Roll");
    roll->click();
    EXPECT_EQ(std::tuple(rolls, settles), std::tuple(1, 1));
    EXPECT_EQ(roll->text(), "Continue");
    bool told = false;
    for (QLabel* label : p->findChildren<QLabel*>()) told = told || label->text() == "Dice 7, result 8: Spin (bad)";
    EXPECT_TRUE(told);
    roll->click();
  });
  console.RollTable(
      {"frmChanceTable", "Chance", {{"Die Roll Modifier", "+1"}}, {}, {{2, 7, "Safe"}, {8, 12, "Spin"}}},
      [&] {
        ++rolls;
        return RollResult{7, 8, "Spin", ResultColour::Red};
      },
      [&] { ++settles; });
  EXPECT_EQ(std::tuple(rolls, settles), std::tuple(1, 1));
}

// With VELOMARK_SCREENSHOTS set, each panel is written there as panel-NAME.png for a person to see.
void Shoot(QWidget* panel) {
  const QByteArray folder = qgetenv("VELOMARK_SCREENSHOTS");
  if (folder.isEmpty()) return;
  EXPECT_TRUE(panel->grab().save(QString::fromLocal8Bit(folder) + "/panel-" + panel->objectName() + ".png"));
}

TEST_F(QtConsoleTest, ThePitEntryCrashAndDicePanelsAnswerWithTheirControls) {
  ChoicePanel pit;
  pit.Name = "frmPitEntry";
  pit.Caption = "Pit Entry";
  pit.Values = {{"Excess Speed = ", "20"}, {"Wears Remaining", "4 of 10 Wears"}};
  pit.Options = {"Use 1 Wear", "Consult Chance Table"};
  pit.Controls = {"Replenish Wear", "Make Repairs", "Splash and Go (1/2  Replenishment)",
                  "RAIN tires",     "DRY tires",    "Check Weather"};
  pit.Weather = {{"Current Weather", "Cloudy (5)"}, {"Current Track Condition:", "Wet"}};
  WhenShown([](QWidget* p) {
    EXPECT_EQ(p->objectName(), "frmPitEntry");
    auto* wear = p->findChild<QCheckBox*>("chkWear");
    auto* splash = p->findChild<QCheckBox*>("chkSplashGo");
    ASSERT_TRUE(wear && splash);
    EXPECT_EQ(splash->text(), "Splash and Go (1/2  Replenishment)");
    splash->click();
    EXPECT_TRUE(splash->isChecked());
    Shoot(p);
    // Without the wear box a splash means nothing: it is cleared and closed.
    wear->click();
    EXPECT_FALSE(splash->isChecked());
    EXPECT_FALSE(splash->isEnabled());
    p->findChild<QCheckBox*>("chkRepair")->click();
    p->findChild<QRadioButton*>("optTireTypeRain")->click();
    p->findChildren<QRadioButton*>().at(1)->click();  // the excess frame's second option
    // "Check Weather" tells the sky in a message over the panel.
    QTimer::singleShot(0, [] {
      QWidget* message = QApplication::activeModalWidget();
      ASSERT_NE(message, nullptr);
      bool told = false;
      for (QLabel* label : message->findChildren<QLabel*>())
        told = told || label->text() == "Current Weather Cloudy (5)\nCurrent Track Condition: Wet";
      EXPECT_TRUE(told);
      Shoot(message);
      Button(message, "OK")->click();
    });
    p->findChild<QPushButton*>("btnWeatherConditions")->click();
    Button(p, "Continue")->click();
  });
  const PitStopChoice chosen = console.ChoosePitStop(pit, {0, true, false, false, false});
  EXPECT_EQ(chosen, (PitStopChoice{1, false, true, false, true}));

  WhenShown([](QWidget* p) {
    EXPECT_EQ(p->objectName(), "frmCollision");
    Shoot(p);
    Button(p, "End Race")->click();
  });
  EXPECT_EQ(console.ShowCrash({"Crash !", "Alex Moreau has crashed.", {"Continue", "End Race"}}), 1);

  WhenShown([](QWidget* p) {
    Shoot(p);
    Button(p, "9")->click();
  });
  EXPECT_EQ(console.EnterDiceResult({"Enter Dice Result", {2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}}), 9);
}

TEST(QtConsoleText, FiltersAndDocuments) {
  EXPECT_EQ(QtFileFilter("Track Definition Files (*.trk)|*.trk"), "Track Definition Files (*.trk)");
  EXPECT_EQ(QtFileFilter("Rich Text File (*.rtf)|*.rtf|HTML File (*.html)|*.html"),
            "Rich Text File (*.rtf);;HTML File (*.html)");
  EXPECT_EQ(PlainDocumentText("{\\rtf1\\ansi{\\fonttbl{\\f0 Arial;}}\\f0 End User \\b Agreement\\b0\\par Line two}"),
            "End User Agreement\nLine two");
  // The bundled agreement reads as text: no control words left.
  const QString eula = PlainDocumentText(ReadWholeFile(std::string(VELOMARK_DATA) + "/EULA.rtf").value_or(""));
  EXPECT_GT(eula.size(), 100);
  EXPECT_FALSE(eula.contains('\\'));
}

}  // namespace
}  // namespace vm
