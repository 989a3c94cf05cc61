#include "game/race_setup.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
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
    EXPECT_EQ(a.StartWearAllotment, c.Start) << c.Laps << "/" << c.Stops;
    EXPECT_EQ(a.PitReplenishment, c.Pit) << c.Laps << "/" << c.Stops;
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
    dialog.SetMinPitStops(c.Stops);
    EXPECT_EQ(dialog.cmbStartAllotment.Text, std::to_string(c.Start)) << c.Laps;
    EXPECT_EQ(dialog.cmbPitReplenishment.Text, std::to_string(c.Pit)) << c.Laps;
    dialog.Ok();
    EXPECT_TRUE(dialog.Accepted());
    EXPECT_TRUE(rs->PitLaneOpen);
    EXPECT_FALSE(rs->PitRepairOnly);
    EXPECT_EQ(rs->MinPitStops, c.MinStops) << c.Laps;
    EXPECT_EQ(rs->StartWearAllotment, c.Start) << c.Laps;
    EXPECT_EQ(rs->PitReplenishment, c.Pit) << c.Laps;
  }
}

TEST(RaceSetup, StartAllotmentBoundsTheReplenishment) {
  auto rs = Race(100);
  RaceSetupDialog dialog(*rs);
  dialog.SetStartAllotment(40);  // 60 left, but a stint is never longer than the start's
  EXPECT_EQ(dialog.cmbPitReplenishment.Items.front(), 20);
  EXPECT_EQ(dialog.cmbPitReplenishment.Items.back(), 40);
  EXPECT_EQ(dialog.cmbPitReplenishment.Text, "40");
  dialog.SetStartAllotment(70);
  EXPECT_EQ(dialog.cmbPitReplenishment.Items.front(), 15);
  EXPECT_EQ(dialog.cmbPitReplenishment.Text, "30");
  dialog.SetStartAllotment(100);  // nothing left: still one lap
  EXPECT_EQ(dialog.cmbPitReplenishment.Items, std::vector<int>({1}));
}

TEST(RaceSetup, NineLapsWithWeatherShowRepairOnlyButOkLeavesNoPitLane) {
  auto rs = Race(20);
  rs->WeatherEnabled = true;
  RaceSetupDialog dialog(*rs);
  dialog.SetTotalLaps(9);
  EXPECT_TRUE(dialog.chkPitLaneOpen.Checked);
  EXPECT_TRUE(dialog.chkPitLaneOpen.Enabled);
  EXPECT_TRUE(dialog.chkPitLaneRepairOnly.Checked);
  EXPECT_FALSE(dialog.cmbMinPitStops.Visible);
  dialog.Ok();
  EXPECT_EQ(rs->RaceLaps, 9);
  EXPECT_FALSE(rs->PitLaneOpen);
  EXPECT_FALSE(rs->PitRepairOnly);
  EXPECT_EQ(rs->StartWearAllotment, 9);
  EXPECT_EQ(rs->PitReplenishment, 0);
}

TEST(RaceSetup, ShortRaceWithoutWeatherClosesThePitBoxUntilWeatherIsOn) {
  auto rs = Race(20);
  rs->PitLaneOpen = true;
  RaceSetupDialog dialog(*rs);
  dialog.SetTotalLaps(8);
  EXPECT_FALSE(dialog.chkPitLaneOpen.Checked);
  EXPECT_FALSE(dialog.chkPitLaneOpen.Enabled);
  dialog.SetWeatherEnabled(true);
  EXPECT_TRUE(dialog.chkPitLaneOpen.Checked);
  EXPECT_TRUE(dialog.chkPitLaneRepairOnly.Checked);
  dialog.SetTotalLaps(12);
  EXPECT_TRUE(dialog.chkPitLaneOpen.Enabled);

  // Opened on a short race, the pit controls are cleared and disabled.
  auto shortRace = Race(9);
  shortRace->PitLaneOpen = true;
  RaceSetupDialog reopened(*shortRace);
  EXPECT_FALSE(reopened.chkPitLaneOpen.Checked);
  EXPECT_FALSE(reopened.chkPitLaneOpen.Enabled);
  EXPECT_EQ(reopened.cmbMinPitStops.Text, "");
  EXPECT_FALSE(reopened.cmbStartAllotment.Enabled);
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
    RaceSetupDialog dialog(*rs);
    EXPECT_EQ(dialog.Title, c.Title);
    EXPECT_EQ(dialog.FieldLabel, c.Label);
    EXPECT_EQ(dialog.LengthFrameVisible, c.FramesVisible);
    EXPECT_EQ(dialog.PointsFrameVisible, c.FramesVisible);
    EXPECT_EQ(dialog.PitFrameVisible, c.FramesVisible);
    dialog.SetTotalLaps(20);
    dialog.Ok();
    EXPECT_EQ(rs->RaceLaps, c.LapsAfterOk) << c.Mode;
    EXPECT_EQ(rs->SavedRaceLaps, c.LapsAfterOk) << c.Mode;
  }
}

TEST(RaceSetup, OpeningSettlesTheFieldThePitDurationAndTheMiles) {
  auto rs = Race(50);
  rs->CarCount = 12;
  rs->MinPitDuration = 0;
  rs->QualifyingMethod = "Single Lap";
  RaceSetupDialog dialog(*rs);
  EXPECT_EQ(rs->CarCount, 10);
  EXPECT_EQ(dialog.cmbCarsRacing.Items.size(), 10u);
  EXPECT_EQ(dialog.cmbCarsRacing.Text, "10");
  EXPECT_EQ(rs->MinPitDuration, 5);
  EXPECT_EQ(dialog.cmbTurnsInPit.Text, "5");
  EXPECT_EQ(dialog.txtMiles, "62.5");
  EXPECT_FALSE(dialog.CheckAllowRequal.Visible);
  EXPECT_EQ(dialog.cmbCarSetupPoints.Items.front(), 4);
  EXPECT_EQ(dialog.cmbCarSetupPoints.Items.back(), 12);
  dialog.cmbQualifying.clear();
  dialog.cmbTurnsInPit.Text = "7";
  dialog.Ok();
  EXPECT_EQ(rs->QualifyingMethod, "Start Speed");
  EXPECT_EQ(rs->MinPitDuration, 7);
  EXPECT_FALSE(rs->PitLaneOpen);
  EXPECT_EQ(rs->StartWearAllotment, 50);
  EXPECT_EQ(rs->PitReplenishment, 0);
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
  EXPECT_EQ(dialog.txtPS[1], "8");
  EXPECT_EQ(rs->PointStructure[2], 8);
  EXPECT_EQ(rs->PointStructure[10], 0);
  dialog.EditPlace(2, "abc");  // not a number: counts as 0, the box keeps the text
  EXPECT_EQ(dialog.txtPS[2], "abc");
  EXPECT_EQ(rs->PointStructure[3], 0);
  dialog.EditPlace(0, " 12 ");
  EXPECT_EQ(rs->PointStructure[1], 12);
  dialog.EditPole("x");  // a bonus box shows the 0 as well
  EXPECT_EQ(dialog.txtPole, "0");
  EXPECT_EQ(rs->PointsPole, 0);
  dialog.EditFastLap("3");
  EXPECT_EQ(rs->PointsFastLap, 3);
  EXPECT_EQ(PointsBoxValue("99999"), 0);
}

TEST(RaceSetup, CancelLoadsNoTrackAndDefaultsComeThroughTheCallback) {
  auto rs = Race(100);
  RaceSetupDialog dialog(*rs);
  dialog.SetTotalLaps(30);
  EXPECT_EQ(dialog.Cancel(), "CANCEL.LOAD");
  EXPECT_FALSE(dialog.Accepted());
  EXPECT_EQ(rs->RaceLaps, 100);

  const std::optional<FileError> failed = dialog.LoadDefaultSettings(
      [](RaceState& r) { return ReadSettings(r, "/no/such/VMR.ini"); });
  ASSERT_TRUE(failed);
  EXPECT_EQ(dialog.cmbTotalLaps.Text, "30");
  ASSERT_FALSE(dialog.LoadDefaultSettings([](RaceState& r) { return ReadSettings(r, kDeliveredSettings); }));
  EXPECT_EQ(dialog.cmbTotalLaps.Text, "50");
  EXPECT_EQ(dialog.cmbCarsRacing.Text, "8");
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
  EXPECT_EQ(dialog.Settings.PointStructure[10], 9);  // places 1 to 10 are the player's
  EXPECT_EQ(dialog.Settings.PointStructure[11], 0);
  EXPECT_EQ(dialog.Settings.PointStructure[38], 0);
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
  ASSERT_EQ(quiet.Messages().size(), 1u);
  EXPECT_EQ(quiet.Messages()[0], "File  ' " + dir.File("none.ini") + " '  is missing or corrupt.  ");
}

}  // namespace
}  // namespace vm
