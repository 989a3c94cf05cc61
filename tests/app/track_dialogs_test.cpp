// The track chooser: it lists the circuits of the tracks folder, shows the one selected with its
// picture, and leaves the file picked (or "CANCEL.LOAD") for the track load that follows.
#include "app/dialogs/track_dialogs.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QDialog>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "core/track_file.h"
#include "tests/app/app_fixture.h"
#include "tools/track_picture.h"

namespace vm {
namespace {

class TrackLoadTest : public testing_support::AppFixture {
 protected:
  void SetUp() override {
    StartUp();
    dialog = controller.MakeDialog("frmTrackLoad");
    ASSERT_NE(dialog, nullptr);
    list = dialog->findChild<QListWidget*>(QStringLiteral("lstTracks"));
    ASSERT_NE(list, nullptr);
  }

  QString Text(const char* label) const {
    const auto* l = dialog->findChild<QLabel*>(QString::fromLatin1(label));
    return l == nullptr ? QStringLiteral("<no %1>").arg(QString::fromLatin1(label)) : l->text();
  }
  const QLabel* Picture() const { return dialog->findChild<QLabel*>(QStringLiteral("picTrack")); }
  QPushButton* Button(const char* name) const { return dialog->findChild<QPushButton*>(QString::fromLatin1(name)); }
  int RowOf(const QString& name) const {
    const QList<QListWidgetItem*> found = list->findItems(name, Qt::MatchExactly);
    return found.size() == 1 ? list->row(found.front()) : -1;
  }
  std::string Tracks() const { return controller.Session().TracksFolder; }

  std::unique_ptr<QDialog> dialog;
  QListWidget* list = nullptr;
};

TEST_F(TrackLoadTest, ListsTheShippedCircuitsAndShowsTheOneSelected) {
  ASSERT_EQ(list->count(), 4);
  EXPECT_EQ(list->item(0)->text(), "Brannock Ring");
  EXPECT_EQ(list->item(1)->text(), "Kestrel Speedbowl");
  EXPECT_EQ(list->item(2)->text(), "Porto Vela Street Circuit");
  EXPECT_EQ(list->item(3)->text(), "Tarnock Park");
  // With no track loaded yet the default circuit is offered.
  EXPECT_EQ(list->currentRow(), 3);
  EXPECT_EQ(Text("lblTrackName"), "Tarnock Park (TARNK )");

  list->setCurrentRow(RowOf(QStringLiteral("Porto Vela Street Circuit")));
  EXPECT_EQ(Text("lblTrackName"), "Porto Vela Street Circuit (PVELA )");
  EXPECT_EQ(Text("lblTrackPlace1"), "Porto Vela");
  EXPECT_EQ(Text("lblTrackPlace2"), "Old Quay");
  EXPECT_EQ(Text("lblTrackDistance"), "Distance: 3.925 miles");
  EXPECT_TRUE(Text("lblRacingLine").startsWith("Racing Line: ")) << Text("lblRacingLine").toStdString();
  EXPECT_TRUE(Text("lblRacingLine").endsWith(" spaces"));
  EXPECT_TRUE(Text("lblTrackLanes").startsWith("Lanes: "));
  // The description at the head of the circuit's notes, without the lead naming it again.
  EXPECT_EQ(Text("lblTrackDescription"),
            "A tight three-lane street circuit round the old harbour, all slow corners and walls.");
  ASSERT_NE(Picture(), nullptr);
  const QPixmap porto = Picture()->pixmap();
  ASSERT_FALSE(porto.isNull());
  // The picture keeps the circuit's shape: Porto's is half again as wide as high.
  EXPECT_NEAR(static_cast<double>(porto.width()) / porto.height(), 926.0 / 602.0, 0.02);
  EXPECT_EQ(Picture()->accessibleName(), "Picture of Porto Vela Street Circuit");

  list->setCurrentRow(RowOf(QStringLiteral("Kestrel Speedbowl")));
  EXPECT_EQ(Text("lblTrackDistance"), "Distance: 4.8 miles");
  EXPECT_EQ(Text("lblTrackDescription"),
            "A fast five-lane oval, run counter-clockwise. The straights are long and the bankings quick, so "
            "the tow decides who leads out of turn four.");
  EXPECT_NE(Picture()->pixmap().toImage(), porto.toImage());
}

// The whole command: the chooser opens modally, OK leaves the file and the circuit is loaded into the
// race; Cancel leaves "CANCEL.LOAD" and the race's track as it was.
TEST_F(TrackLoadTest, TheLoadTrackCommandLoadsTheCircuitTaken) {
  SetModeMenus(controller.Session(), controller.Race(), "Practice");
  auto answer = [](const QString& circuit, bool take) {
    QTimer::singleShot(0, [circuit, take] {
      auto* open = qobject_cast<QDialog*>(QApplication::activeModalWidget());
      ASSERT_NE(open, nullptr);
      auto* tracks = open->findChild<QListWidget*>(QStringLiteral("lstTracks"));
      const QList<QListWidgetItem*> found = tracks->findItems(circuit, Qt::MatchExactly);
      if (!found.isEmpty()) tracks->setCurrentItem(found.front());
      open->findChild<QPushButton*>(take ? QStringLiteral("cmdOK") : QStringLiteral("cmdCancel"))->click();
    });
  };
  answer(QStringLiteral("Brannock Ring"), true);
  controller.Run(Cmd::mnuTrackLoadTrackNew);
  EXPECT_EQ(controller.Session().PendingTrackFile, Tracks() + "Brannock.trk");
  EXPECT_EQ(controller.Race().track.TrackName, "Brannock Ring");
  EXPECT_TRUE(controller.Session()[Cmd::mnuRaceStartRace].Enabled);

  // The chooser opens on the race's own track.
  auto again = controller.MakeDialog("frmTrackLoad");
  EXPECT_EQ(again->findChild<QListWidget*>(QStringLiteral("lstTracks"))->currentItem()->text(), "Brannock Ring");

  answer(QStringLiteral("Kestrel Speedbowl"), false);
  controller.Run(Cmd::mnuTrackLoadTrackNew);
  EXPECT_EQ(controller.Session().PendingTrackFile, "CANCEL.LOAD");
  EXPECT_EQ(controller.Race().track.TrackName, "Brannock Ring");
}

TEST_F(TrackLoadTest, TheKeyboardAloneChoosesACircuit) {
  dialog->show();
  QApplication::setActiveWindow(dialog.get());
  QApplication::processEvents();
  EXPECT_EQ(QApplication::focusWidget(), list);
  list->setCurrentRow(0);
  QTest::keyClick(list, Qt::Key_Down);
  QTest::keyClick(list, Qt::Key_Down);
  EXPECT_EQ(Text("lblTrackName"), "Porto Vela Street Circuit (PVELA )");
  QTest::keyClick(list, Qt::Key_Return);
  EXPECT_EQ(dialog->result(), QDialog::Accepted);
  EXPECT_EQ(controller.Session().PendingTrackFile, Tracks() + "Porto.trk");

  dialog = controller.MakeDialog("frmTrackLoad");
  dialog->show();
  QTest::keyClick(dialog.get(), Qt::Key_Escape);
  EXPECT_EQ(controller.Session().PendingTrackFile, "CANCEL.LOAD");
}

// "Browse..." asks the console's file dialog with the track filter in the tracks folder; a circuit
// from elsewhere joins the list, and without a .gif beside it its picture is drawn from the grid.
TEST_F(TrackLoadTest, BrowseAddsACircuitFromAnotherFolder) {
  const std::filesystem::path elsewhere = std::filesystem::path(folder.path().toStdString()) / "elsewhere";
  std::filesystem::create_directories(elsewhere);
  std::filesystem::copy_file(Tracks() + "Kestrel.trk", elsewhere / "Copy.trk");
  console.AddAnswer("file:" + (elsewhere / "Copy.trk").string());
  Button("cmdBrowse")->click();
  EXPECT_EQ(console.Transcript().back(),
            "OPEN FILE Track Definition Files (*.trk)|*.trk -> " + (elsewhere / "Copy.trk").string());
  ASSERT_EQ(list->count(), 5);
  EXPECT_EQ(list->currentRow(), 4);
  EXPECT_EQ(Text("lblTrackName"), "Kestrel Speedbowl (KSTRL )");
  ASSERT_FALSE(Picture()->pixmap().isNull());

  // A shipped circuit browsed to is selected, not listed twice; a cancelled dialog changes nothing.
  console.AddAnswer("file:" + Tracks() + "Tarnock.trk");
  Button("cmdBrowse")->click();
  EXPECT_EQ(list->count(), 5);
  EXPECT_EQ(list->currentRow(), 3);
  console.AddAnswer("cancel");
  Button("cmdBrowse")->click();
  EXPECT_EQ(list->currentRow(), 3);

  list->setCurrentRow(4);
  Button("cmdOK")->click();
  EXPECT_EQ(controller.Session().PendingTrackFile, (elsewhere / "Copy.trk").string());
}

// A file that is not a track is listed by its name and cannot be taken.
TEST_F(TrackLoadTest, AFileThatIsNotATrackCannotBeTaken) {
  std::ofstream(Tracks() + "Broken.trk") << "not a track\n";
  dialog = controller.MakeDialog("frmTrackLoad");
  list = dialog->findChild<QListWidget*>(QStringLiteral("lstTracks"));
  ASSERT_EQ(list->count(), 5);
  list->setCurrentRow(RowOf(QStringLiteral("Broken.trk (cannot be read)")));
  ASSERT_GE(list->currentRow(), 0);
  EXPECT_FALSE(Button("cmdOK")->isEnabled());
  dialog->accept();
  EXPECT_NE(dialog->result(), QDialog::Accepted);
  list->setCurrentRow(RowOf(QStringLiteral("Tarnock Park")));
  EXPECT_TRUE(Button("cmdOK")->isEnabled());
}

TEST(CircuitPictureTest, TakesTheGifBesideTheTrackElseDrawsTheGrid) {
  QTemporaryDir folder;
  const std::string tracks = std::string(VELOMARK_DATA) + "/Tracks/";
  const QImage gif = CircuitPicture(tracks + "Kestrel.trk");
  EXPECT_EQ(gif.size(), QSize(1271, 571));

  const std::string copy = folder.filePath(QStringLiteral("Kestrel.trk")).toStdString();
  std::filesystem::copy_file(tracks + "Kestrel.trk", copy);
  auto track = std::make_unique<Track>();
  ASSERT_FALSE(LoadTrack(*track, copy));
  const QImage drawn = CircuitPicture(copy);
  ASSERT_FALSE(drawn.isNull());
  EXPECT_EQ(drawn.size(), DrawTrackPicture(*track).size());

  EXPECT_TRUE(CircuitPicture(folder.filePath(QStringLiteral("Nowhere.trk")).toStdString()).isNull());
}

}  // namespace
}  // namespace vm
