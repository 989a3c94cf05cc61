#include "game/race_setup.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "core/textfile.h"
#include "game/settings_file.h"
#include "tests/temp_dir.h"
#include "ui/scripted_console.h"

namespace vm {
namespace {

using testing_support::TempDir;

const std::string kDeliveredSettings = std::string(VELOMARK_DATA) + "/VMR.ini";

// A race of `laps` laps with a field of eight cars out of ten, pit lane closed.
std::unique_ptr<RaceState> Race(int laps, std::string mode = "Single") {
  auto rs = std::make_unique<RaceState>();
  rs->GameMode = std::move(mode);
  rs->RaceLaps = rs->SavedRaceLaps = laps;
  rs->CarsInFile = 10;
  rs->CarCount = 8;
  rs->CarSetupPoints = 8;
  rs->StartWearAllotment = laps;
  rs->PitReplenishment = 1;
  rs->track.TrackDistanceMiles = 1.25;
  return rs;
}

TEST(RaceSetupWear, AllotmentRuleCoversTheWholeRace) {
  struct Case {
    int Laps, Stops, Start, Pit;
  } cases[] = {{100, 5, 17, 17}, {10, 0, 10, 10}, {50, 1, 25, 25}, {51, 2, 17, 17}, {40, 3, 10, 10}, {23, 2, 8, 8}};
  for (const Case& c : cases) {
    const WearAllotment a = ComputeWearAllotment(c.Laps, c.Stops);
    EXPECT_EQ(std::tuple(a.StartWearAllotment, a.PitReplenishment), std::tuple(c.Start, c.Pit))
        << c.Laps << "/" << c.Stops;
  }
  EXPECT_EQ(StartAllotmentList(100), std::vector<int>({34, 35, 36, 37, 38, 39, 40, 41, 42, 43, 44, 45, 46, 47,
                                                       48, 49, 50, 51, 52, 53, 54, 55, 56, 57, 58, 59, 60}));
}

TEST(RaceSetup, PitStopsAndAllotmentsReachTheRaceOnOk) {
  struct Case {
    int Laps;
    std::string Stops;
    int Start, Pit, MinStops;
  } cases[] = {{100, "5", 17, 17, 5}, {10, "0", 10, 10, 0}, {30, "", 30, 30, 0}};
  for (const Case& c : cases) {
    auto rs = Race(c.Laps);
    rs->PitLaneOpen = true;
    RaceSetupDialog dialog(*rs);
    SCOPED_TRACE(c.Laps);
    dialog.SetMinPitStops(c.Stops);
    EXPECT_EQ(std::tuple(dialog.cmbStartAllotment.Text, dialog.cmbPitReplenishment.Text),
              std::tuple(std::to_string(c.Start), std::to_string(c.Pit)));
    dialog.Ok();
    EXPECT_EQ(std::tuple(dialog.Accepted(), rs->PitLaneOpen, rs->PitRepairOnly, rs->MinPitStops, rs->StartWearAllotment,
                         rs->PitReplenishment),
              std::tuple(true, true, false, c.MinStops, c.Start, c.Pit));
  }
}

TEST(RaceSetup, StartAllotmentBoundsTheReplenishment) {
  auto rs = Race(100);
  RaceSetupDialog dialog(*rs);
  const auto& pit = dialog.cmbPitReplenishment;
  dialog.SetStartAllotment(40);  // 60 left, but a stint is never longer than the start's
  EXPECT_EQ(std::tuple(pit.Items.front(), pit.Items.back(), pit.Text), std::tuple(20, 40, "40"));
  dialog.SetStartAllotment(70);
  EXPECT_EQ(std::tuple(pit.Items.front(), pit.Text), std::tuple(15, "30"));
  dialog.SetStartAllotment(100);  // nothing left: still one lap
  EXPECT_EQ(pit.Items, std::vector<int>({1}));
}

TEST(RaceSetup, NineLapsWithWeatherShowRepairOnlyButOkLeavesNoPitLane) {
  auto rs = Race(20);
  rs->WeatherEnabled = true;
  RaceSetupDialog dialog(*rs);
  dialog.SetTotalLaps(9);
  EXPECT_EQ(std::tuple(dialog.chkPitLaneOpen.Checked, dialog.chkPitLaneOpen.Enabled, dialog.chkPitLaneRepairOnly.Checked,
                       dialog.cmbMinPitStops.Visible),
            std::tuple(true, true, true, false));
  dialog.Ok();
  EXPECT_EQ(std::tuple(rs->RaceLaps, rs->PitLaneOpen, rs->PitRepairOnly, rs->StartWearAllotment, rs->PitReplenishment),
            std::tuple(9, false, false, 9, 0));
}

TEST(RaceSetup, ShortRaceWithoutWeatherClosesThePitBoxUntilWeatherIsOn) {
  auto rs = Race(20);
  rs->PitLaneOpen = true;
  RaceSetupDialog dialog(*rs);
  dialog.SetTotalLaps(8);
  EXPECT_EQ(std::tuple(dialog.chkPitLaneOpen.Checked, dialog.chkPitLaneOpen.Enabled), std::tuple(false, false));
  dialog.SetWeatherEnabled(true);
  EXPECT_EQ(std::tuple(dialog.chkPitLaneOpen.Checked, dialog.chkPitLaneRepairOnly.Checked), std::tuple(true, true));
  dialog.SetTotalLaps(12);
  EXPECT_TRUE(dialog.chkPitLaneOpen.Enabled);

  // Opened on a short race, the pit controls are cleared and disabled.
  auto shortRace = Race(9);
  shortRace->PitLaneOpen = true;
  RaceSetupDialog reopened(*shortRace);
  EXPECT_EQ(std::tuple(reopened.chkPitLaneOpen.Checked, reopened.chkPitLaneOpen.Enabled, reopened.cmbMinPitStops.Text,
                       reopened.cmbStartAllotment.Enabled),
            std::tuple(false, false, "", false));
}

TEST(RaceSetup, PracticeNeverTakesLapsAndTitlesFollowTheMode) {
  struct Case {
    std::string Mode, Title, Label;
    int LapsAfterOk;
    bool FramesVisible;
  } cases[] = {{"Practice", "Practice Setup", "Cars In Session", 50, false},
               {"Single", "Race Setup", "Starting Field", 20, true},
               {"Season", "Race Setup", "Starting Field", 20, true}};
  for (const Case& c : cases) {
    auto rs = Race(50, c.Mode);
    SCOPED_TRACE(c.Mode);
    RaceSetupDialog dialog(*rs);
    EXPECT_EQ(std::tuple(dialog.Title, dialog.FieldLabel), std::tuple(c.Title, c.Label));
    EXPECT_EQ(std::tuple(dialog.LengthFrameVisible, dialog.PointsFrameVisible, dialog.PitFrameVisible),
              std::tuple(c.FramesVisible, c.FramesVisible, c.FramesVisible));
    dialog.SetTotalLaps(20);
    dialog.Ok();
    EXPECT_EQ(std::tuple(rs->RaceLaps, rs->SavedRaceLaps), std::tuple(c.LapsAfterOk, c.LapsAfterOk));
  }
}

TEST(RaceSetup, OpeningSettlesTheFieldThePitDurationAndTheMiles) {
  auto rs = Race(50);
  rs->CarCount = 12;
  rs->MinPitDuration = 0;
  rs->QualifyingMethod = "Single Lap";
  RaceSetupDialog dialog(*rs);
  EXPECT_EQ(std::tuple(rs->CarCount, dialog.cmbCarsRacing.Items.size(), dialog.cmbCarsRacing.Text),
            std::tuple(10, 10u, "10"));
  EXPECT_EQ(std::tuple(rs->MinPitDuration, dialog.cmbTurnsInPit.Text, dialog.txtMiles, dialog.CheckAllowRequal.Visible),
            std::tuple(5, "5", "62.5", false));
  EXPECT_EQ(std::tuple(dialog.cmbCarSetupPoints.Items.front(), dialog.cmbCarSetupPoints.Items.back()),
            std::tuple(4, 12));
  dialog.cmbQualifying.clear();
  dialog.cmbTurnsInPit.Text = "7";
  dialog.Ok();
  EXPECT_EQ(std::tuple(rs->QualifyingMethod, rs->MinPitDuration, rs->PitLaneOpen, rs->StartWearAllotment,
                       rs->PitReplenishment),
            std::tuple("Start Speed", 7, false, 50, 0));
}

TEST(RaceSetup, PointPresetsAndBoxes) {
  EXPECT_EQ(kPointPresets[0].Caption, "2003 Formula One     10 - 8 - 6 - 5 - 4 - 3 - 2 - 1");
  EXPECT_EQ(kPointPresets[1].Caption, "2002 Formula One     10 - 6 - 4 - 3 - 2 - 1");
  EXPECT_EQ(kCustomPointsCaption, "Custom");

  auto rs = Race(50);
  const int p2002[] = {10, 6, 4, 3, 2, 1};
  for (int i = 0; i < 6; ++i) rs->PointStructure[i + 1] = p2002[i];
  RaceSetupDialog dialog(*rs);
  EXPECT_EQ(dialog.optPointStructure, 1);
  rs->PointStructure[10] = 1;
  dialog.RefreshRaceSetup();
  EXPECT_EQ(dialog.optPointStructure, kCustomPointsIndex);

  dialog.ChoosePointPreset(0);
  EXPECT_EQ(std::tuple(dialog.txtPS[1], rs->PointStructure[2], rs->PointStructure[10]), std::tuple("8", 8, 0));
  dialog.EditPlace(2, "abc");  // not a number: counts as 0, the box keeps the text
  EXPECT_EQ(std::tuple(dialog.txtPS[2], rs->PointStructure[3]), std::tuple("abc", 0));
  dialog.EditPlace(0, " 12 ");
  EXPECT_EQ(rs->PointStructure[1], 12);
  dialog.EditPole("x");  // a bonus box shows the 0 as well
  EXPECT_EQ(std::tuple(dialog.txtPole, rs->PointsPole), std::tuple("0", 0));
  dialog.EditFastLap("3");
  EXPECT_EQ(rs->PointsFastLap, 3);
  EXPECT_EQ(PointsBoxValue("99999"), 0);
}

TEST(RaceSetup, CancelLoadsNoTrackAndDefaultsComeThroughTheCallback) {
  auto rs = Race(100);
  RaceSetupDialog dialog(*rs);
  dialog.SetTotalLaps(30);
  EXPECT_EQ(dialog.Cancel(), "CANCEL.LOAD");
  EXPECT_EQ(std::tuple(dialog.Accepted(), rs->RaceLaps), std::tuple(false, 100));

  const std::optional<FileError> failed = dialog.LoadDefaultSettings(
      [](RaceState& r) { return ReadSettings(r, "/no/such/VMR.ini"); });
  ASSERT_TRUE(failed);
  EXPECT_EQ(dialog.cmbTotalLaps.Text, "30");
  ASSERT_FALSE(dialog.LoadDefaultSettings([](RaceState& r) { return ReadSettings(r, kDeliveredSettings); }));
  EXPECT_EQ(std::tuple(dialog.cmbTotalLaps.Text, dialog.cmbCarsRacing.Text), std::tuple("50", "8"));
}

TEST(RaceSetupOptions, EditsTheFileWithoutARaceAndRefusesOkWithoutDefaultFiles) {
  TempDir dir;
  std::string text = ReadWholeFile(kDeliveredSettings).value();
  const std::string zeros = ",0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0";
  const std::string nines = ",9,9,9,9,9,9,9,9,9,9,9,9,9,9,9,9,9,9,9,9,9,9,9,9,9,9,9,9,9,9";
  text.replace(text.find(zeros), zeros.size(), nines);
  const std::string path = dir.Add("VMR.ini", text);

  ScriptedConsole console;
  RaceOptionsDialog dialog(console, path);
  ASSERT_TRUE(dialog.Opened());
  const auto& points = dialog.Settings.PointStructure;  // places 1 to 10 are the player's
  EXPECT_EQ(std::tuple(points[10], points[11], points[38]), std::tuple(9, 0, 0));
  EXPECT_EQ(RaceOptionsDialog::SetupPointsList().back(), 9);

  dialog.Settings.DefaultCarFile = "";
  EXPECT_FALSE(dialog.Ok());
  EXPECT_EQ(ReadWholeFile(path).value(), text);
  dialog.Settings.DefaultCarFile = "Cars\\Grand Prix.crs";
  dialog.Settings.DefaultResultTable = " ";
  EXPECT_FALSE(dialog.Ok());
  dialog.Settings.DefaultResultTable = "Default.rst";
  dialog.ChoosePointPreset(1);
  ASSERT_TRUE(dialog.Ok());

  const std::string written = ReadWholeFile(path).value();
  EXPECT_NE(written.find("\"--Qualifying Method--\"\r\n"), std::string::npos);
  GameSettings back;
  ASSERT_FALSE(LoadSettings(back, path));
  EXPECT_EQ(back, dialog.Settings);
  EXPECT_EQ(back.PointStructure[2], 6);

  ScriptedConsole quiet;
  RaceOptionsDialog missing(quiet, dir.File("none.ini"));
  EXPECT_FALSE(missing.Opened());
  EXPECT_EQ(quiet.Messages(), std::vector<std::string>{"File  ' " + dir.File("none.ini") + " '  is missing or corrupt.  "});
}

}  // namespace
}  // namespace vm
