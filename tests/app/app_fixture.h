// A program on a copy of the bundled data folder, started with a scripted console, for the windows'
// tests: the controller, its main window and the folder, removed afterwards.
#pragma once

#include <gtest/gtest.h>

#include <QTemporaryDir>
#include <filesystem>
#include <memory>
#include <string>

#include "app/dialogs.h"
#include "app/game_controller.h"
#include "app/main_window.h"
#include "core/track_file.h"
#include "core/units.h"
#include "ui/scripted_console.h"

namespace vm::testing_support {

// A dialog's widget by its object name; a missing one fails the test.
template <typename W>
W* Child(QObject& dialog, const char* name) {
  W* widget = dialog.findChild<W*>(QString::fromLatin1(name));
  EXPECT_NE(widget, nullptr) << name;
  return widget;
}

class AppFixture : public ::testing::Test {
 protected:
  AppFixture() {
    std::filesystem::copy(VELOMARK_DATA, Data(), std::filesystem::copy_options::recursive);
    RegisterDialogs(controller);
    window = std::make_unique<MainWindow>(controller);
  }

  // Starts the program; the agreement, if asked, is accepted.
  void StartUp() {
    console.AddAnswer("1");
    ASSERT_TRUE(controller.StartUp(Data()));
  }

  std::string Data() const { return folder.path().toStdString() + "/data"; }

  // Starts the program on a two-lap race of four cars on Kestrel, ready to start: car 1 a
  // person's when `humanFirst`, the rest the computer's.
  void SetUpSmallRace(bool humanFirst) {
    StartUp();
    RaceState& rs = controller.Race();
    ASSERT_FALSE(LoadTrack(rs.track, Data() + "/Tracks/Kestrel.trk"));
    rs.GameMode = std::string(kModeSingle);
    rs.QualifyingMethod = "none";
    rs.RaceLaps = 2;
    rs.CarCount = 4;
    for (int car = 1; car <= 4; ++car) rs.CarIsAI[car] = !(humanFirst && car == 1);
    controller.Session()[Cmd::mnuRaceStartRace].Enabled = true;
  }

  QTemporaryDir folder;
  ScriptedConsole console{{}, false};
  GameController controller{&console};
  std::unique_ptr<MainWindow> window;
};

}  // namespace vm::testing_support
