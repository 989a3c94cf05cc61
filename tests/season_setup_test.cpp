// The season setup: the stops arithmetic, the schedule's pit cases and limits, the field's
// commands, and the season file it writes, read back as built.
#include "season/season_setup.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "cars/car_file.h"
#include "rules/result_table_file.h"
#include "season/season_file.h"
#include "tests/temp_dir.h"
#include "ui/scripted_console.h"

namespace vm {
namespace {

using testing_support::TempDir;

const std::string kTracks = std::string(VELOMARK_DATA) + "/Tracks";

class TitledConsole : public ScriptedConsole {
 public:
  using ScriptedConsole::ScriptedConsole;
  void ShowMessage(std::string_view text, std::string_view title, MessageKind kind) override {
    titles.emplace_back(title);
    ScriptedConsole::ShowMessage(text, title, kind);
  }
  std::vector<std::string> titles;
};

// A data folder of its own, with the Season folder the saves go to.
struct Desk {
  explicit Desk(int cars, std::vector<std::string> answers = {}) : console(std::move(answers)) {
    dir.Add("Season/.keep");
    dir.Add("Teams.tms", "\"Red Team\"\r\n\"Blue Team\"\r\n");
    rs = std::make_unique<RaceState>();
    rs->CarsInFile = rs->CarCount = cars;
    rs->CarSetupPoints = 8;
    rs->RaceLaps = 50;
    rs->CurrentCarFile = "old.crs";
    for (int car = 1; car <= cars; ++car) {
      CarRecord c;
      c.DriverName = std::string(1, static_cast<char>('A' + car - 1));
      c.Picture = Data() + "/Cars/Formula\\Gifs\\Car" + std::to_string(car);
      c.TopSpeed = 160 + 20 * (car % 3);
      PutCar(*rs, car, c);
    }
    EXPECT_FALSE(LoadResultTables(rs->Tables, std::string(VELOMARK_DATA) + "/Default.rst"));
  }
  std::string Data() const { return dir.Root(); }
  SeasonSetupDialog& Open() {
    dialog = std::make_unique<SeasonSetupDialog>(*rs, console, Data());
    return *dialog;
  }
  std::string Names() const {
    std::string out;
    for (int car = 1; car <= rs->CarsInFile; ++car) out += rs->DriverName[car];
    return out;
  }

  TempDir dir;
  std::unique_ptr<RaceState> rs;
  TitledConsole console;
  std::unique_ptr<SeasonSetupDialog> dialog;
};

TEST(SeasonSetup, StopsSplitTheLapsAndAShortSumGainsALap) {
  struct Case {
    int laps, stops;
    StopsAllotment split;
  } cases[] = {
      {100, 5, {17, 17}},  // 17 + 5 x 16 = 97: short, so 17
      {10, 0, {10, 10}},   // no stop: the start covers the race
      {51, 1, {26, 25}},   // 26 + 25 = 51: not short
      {50, 2, {17, 17}},   // 17 + 2 x 16 = 49: short
      {7, 3, {2, 2}},      // Int(1.75 + 0.5) = 2, 7 \ 4 = 1; 2 + 3 = 5 short
      {20, 3, {5, 5}},     // exact
      {1, 5, {0, 1}},      // more stops than laps: the start rounds to nothing
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.laps) + " laps, " + std::to_string(c.stops) + " stops");
    EXPECT_EQ(AllotmentForStops(c.laps, c.stops), c.split);
    // The dialog's boxes run the same rule whichever of laps and stops is chosen last.
    Desk s(2);
    SeasonSetupDialog& d = s.Open();
    d.SetMinPitStops(c.stops);
    d.SetTotalLaps(c.laps);
    EXPECT_EQ((StopsAllotment{d.StartAllotment(), d.PitReplenishment()}), c.split);
  }

  struct Need {
    int laps, start, pit, stops;
  } needs[] = {{100, 17, 17, 5}, {51, 26, 25, 1}, {60, 20, 15, 3}, {60, 20, 17, 2},
               {60, 20, 16, 3},  {50, 50, 0, 0},  {10, 10, 10, 0}};
  for (const Need& n : needs) EXPECT_EQ(MinimumStops(n.laps, n.start, n.pit), n.stops) << n.laps << " " << n.pit;
}

TEST(SeasonSetup, AllotmentListsFollowTheLapsAndTheStart) {
  Desk s(2);
  SeasonSetupDialog& d = s.Open();
  d.SetTotalLaps(30);
  d.SetMinPitStops(1);
  EXPECT_EQ(std::tuple(d.StartAllotment(), d.PitReplenishment()), std::tuple(15, 15));
  EXPECT_EQ(d.StartAllotmentItems().back(), 30);
  d.SetStartAllotment(10);  // 20 left: 15 is still offered
  EXPECT_EQ(std::tuple(d.PitReplenishment(), d.PitReplenishmentItems().size()), std::tuple(15, 20u));
  d.SetStartAllotment(25);  // 5 left: one stop covers them
  EXPECT_EQ(std::tuple(d.PitReplenishment(), d.PitReplenishmentItems().back()), std::tuple(5, 5));
  d.SetTotalLaps(40);  // the laps run the rule again
  EXPECT_EQ(std::tuple(d.StartAllotment(), d.PitReplenishment()), std::tuple(20, 20));
}

TEST(SeasonSetup, ATrackShowsItsHeaderAndTheRaceTakesTheThreePitCases) {
  Desk s(3);
  SeasonSetupDialog& d = s.Open();
  EXPECT_EQ(std::tuple(d.AddRaceEnabled(), d.RaceCommandsEnabled(), d.SaveEnabled(), d.OkEnabled()),
            std::tuple(false, false, false, false));
  ASSERT_TRUE(d.ChooseTrack(kTracks, "Kestrel.trk"));
  EXPECT_EQ(d.TrackInfo(),
            (std::vector<std::string>{"Kestrel Speedbowl", "Kestrel Flats", "Salt Plain", "Distance: 4.8 miles"}));
  EXPECT_EQ(std::tuple(d.txtTrkAbbrev, d.MilesText()), std::tuple("KSTRL ", "240.0"));

  struct Case {
    const char* name;
    bool open, repair;
    int start;  // chosen start allotment, 0 for the rule's
    SeasonRace race;
    int minStops;
    std::string stopsText;
  } cases[] = {
      {"open", true, false, 40, {"", "50", "KS    ", true, 40, 10, 240, false, 3}, 1, "1"},
      {"repair only", true, true, 0, {"", "50", "KS    ", true, 50, 0, 240, true, 3}, 0, "0"},
      {"closed", false, true, 0, {"", "50", "KS    ", false, 50, 0, 240, false, 3}, 0, "Pit closed"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    d.SetTotalLaps(50);
    d.SetMinPitStops(2);
    if (c.start > 0) d.SetStartAllotment(c.start);
    d.SetPitLaneOpen(c.open);
    d.SetRepairOnly(c.repair);
    d.SetTurnsInPit(3);
    d.txtTrkAbbrev = "KS";
    ASSERT_TRUE(d.AddRace());
    const SeasonScheduleRow& row = d.Race(d.Races());
    SeasonRace expected = c.race;
    expected.TrackFile = kTracks + "/Kestrel.trk";
    expected.Miles = 50 * 4.8;
    EXPECT_EQ(row.Race, expected);
    EXPECT_EQ(std::tuple(row.TrackName, row.MinPitStops, d.SelectedRace()),
              std::tuple("Kestrel Speedbowl", c.minStops, d.Races()));
    EXPECT_EQ(d.ScheduleRows().back(),
              (std::vector<std::string>{std::to_string(d.Races()), "Kestrel Speedbowl", "KS    ", "50", "240.0",
                                        c.stopsText, c.repair && c.open ? "Yes" : "No", "3"}));
  }
  // The file gives a closed pit lane the whole race in both allotments.
  const SeasonFileData built = d.BuildSeason();
  EXPECT_EQ(std::tuple(built.Schedule[3].StartAllotment, built.Schedule[3].PitReplenishment), std::tuple(50, 50));
  EXPECT_EQ(std::tuple(built.Schedule[1].StartAllotment, built.Schedule[1].PitReplenishment), std::tuple(40, 10));
}

TEST(SeasonSetup, TheFortyFirstRaceAndDriverAreRefused) {
  Desk s(39);
  SeasonSetupDialog& d = s.Open();
  ASSERT_TRUE(d.ChooseTrack(kTracks, "Porto.trk"));
  for (int race = 1; race <= 40; ++race) ASSERT_TRUE(d.AddRace()) << race;
  EXPECT_EQ(std::tuple(d.AddRaceEnabled(), d.AddRace(), d.Races()), std::tuple(false, false, 40));

  s.rs->CarWetTires[40] = true;  // left over from an earlier field
  ASSERT_TRUE(d.AddDriver());
  const CarRecord c = GetCar(*s.rs, 40);
  EXPECT_EQ(
      std::tuple(c.StartSpeed, c.Acceleration, c.Deceleration, c.TopSpeed, c.WearPerLap, c.IsAI, c.ProfileSpare,
                 c.RaceProfile, c.LapProfile, c.DriverName, c.DRM, c.Team, c.RiskSS, c.RiskT, s.rs->CarWetTires[40]),
      std::tuple(40, 20, 20, 140, 4, false, 2, 2, 2, "New Driver", 2, " ", 0, 0, false));
  EXPECT_EQ(std::tuple(c.Picture, s.rs->CarsInFile, d.SelectedDriver(), d.SeasonDrivers()),
            std::tuple(s.rs->CarPicture[39], 40, 40, 40));
  EXPECT_TRUE(s.console.Messages().empty());

  EXPECT_FALSE(d.AddDriver());
  EXPECT_EQ(s.rs->CarsInFile, 40);
  EXPECT_EQ(s.console.Messages(), std::vector<std::string>{"Races cannot have more then 40 drivers."});
  EXPECT_EQ(s.console.titles, std::vector<std::string>{"Driver Limit"});
}

TEST(SeasonSetup, RowsMoveAndDeleteAsWholes) {
  Desk s(4);
  s.rs->CarWetTires[2] = true;
  SeasonSetupDialog& d = s.Open();
  ASSERT_TRUE(d.ChooseTrack(kTracks, "Kestrel.trk"));
  for (int laps : {10, 20, 30}) {
    d.SetTotalLaps(laps);
    d.AddRace();
  }
  const auto order = [&d] {
    std::string out;
    for (int race = 1; race <= d.Races(); ++race) out += d.Race(race).Race.Laps + " ";
    return out + "@" + std::to_string(d.SelectedRace());
  };
  struct Step {
    const char* what;
    bool done;
    std::string races;
  };
  const auto run = [&](const char* what) {
    const std::string w = what;
    if (w == "select 1") return (d.SelectRace(1), true);
    if (w == "up") return d.MoveRaceUp();
    if (w == "down") return d.MoveRaceDown();
    return d.DeleteRace();
  };
  const Step steps[] = {{"up", true, "10 30 20 @2"},   {"up", true, "30 10 20 @1"},    {"up", false, "30 10 20 @1"},
                        {"down", true, "10 30 20 @2"}, {"down", true, "10 20 30 @3"},  {"down", false, "10 20 30 @3"},
                        {"delete", true, "10 20 @2"},  {"select 1", true, "10 20 @1"}, {"delete", true, "20 @1"},
                        {"delete", true, "@0"},        {"delete", false, "@0"}};
  for (const Step& step : steps) {
    EXPECT_EQ(run(step.what), step.done) << step.what;
    EXPECT_EQ(order(), step.races) << step.what;
  }
  EXPECT_FALSE(d.RaceCommandsEnabled());

  // Drivers move with everything they carry, the wet-tire flag too.
  d.SelectDriver(2);
  EXPECT_TRUE(d.DriverDown());
  EXPECT_EQ(std::tuple(s.Names(), d.SelectedDriver(), s.rs->CarWetTires[3], s.rs->CarTopSpeed[3]),
            std::tuple("ACBD", 3, true, 200));
  EXPECT_TRUE(d.DriverUp());
  EXPECT_TRUE(d.DriverUp());
  EXPECT_FALSE(d.DriverUp());
  EXPECT_EQ(s.Names(), "BACD");
  d.SelectDriver(4);
  EXPECT_FALSE(d.DriverDown());
  d.SelectDriver(2);
  EXPECT_TRUE(d.DeleteDriver());
  EXPECT_EQ(std::tuple(s.Names(), s.rs->CarsInFile, d.SeasonDrivers(), s.rs->DriverName[4], d.SelectedDriver()),
            std::tuple("BCD", 3, 3, "", 2));
  d.RenameDriver("Cora");
  d.SetTeam("Red, Blue");
  EXPECT_EQ(d.DriverRows()[1], (std::vector<std::string>{"Cora", "Red  Blue"}));
  EXPECT_EQ(d.RatingRows()[1],
            (std::vector<std::string>{"Cora", "Red  Blue", "20", "20", "160", "4", "40", "+2", "Steady", "Steady"}));
  d.SetSeasonDrivers(2);
  d.DeleteDriver();
  d.DeleteDriver();
  EXPECT_FALSE(d.DeleteDriver());  // a season keeps one driver
  EXPECT_EQ(std::tuple(s.Names(), d.SeasonDrivers()), std::tuple("B", 1));
}

TEST(SeasonSetup, CancelWritesNothingAndPutsTheCarsBack) {
  Desk s(3, {"file:" + std::string(VELOMARK_DATA) + "/Field40.crs"});
  const std::string before = CarFileText(*s.rs, s.Data() + "/Cars");
  SeasonSetupDialog& d = s.Open();
  EXPECT_EQ(d.TeamItems(), (std::vector<std::string>{"Red Team", "Blue Team"}));
  ASSERT_TRUE(d.LoadCarFile());
  EXPECT_EQ(std::tuple(s.rs->CarsInFile, d.SeasonDrivers()), std::tuple(40, 40));
  d.SelectDriver(5);
  d.DeleteDriver();
  d.RenameDriver("Zed");
  ASSERT_TRUE(d.ChooseTrack(kTracks, "Kestrel.trk"));
  d.AddRace();
  d.Cancel();
  EXPECT_EQ(std::tuple(d.Outcome(), d.ModeChoice(), d.StartSeason()),
            std::tuple(SeasonSetupOutcome::Cancelled, "Cancel", std::nullopt));
  EXPECT_EQ(std::tuple(CarFileText(*s.rs, s.Data() + "/Cars"), s.rs->CarsInFile, s.rs->CarCount, s.rs->CarSetupPoints,
                       s.rs->CurrentCarFile, s.rs->DriverName[5]),
            std::tuple(before, 3, 3, 8, "old.crs", ""));
  // Only the folder's own marker is there.
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(s.dir.Path() / "Season"),
                          std::filesystem::directory_iterator{}),
            1);
}

TEST(SeasonSetup, SavedTwiceEachFileReadsBackAsBuilt) {
  Desk s(3);
  s.rs->CarPicture[2] = " ";           // no picture
  s.rs->DriverName[3] = "Al \"Ace\"";  // the file has no escape for a quote
  s.rs->CarWetTires[1] = true;
  s.console.AddAnswer("cancel");
  s.console.AddAnswer("file:" + s.Data() + "/Season/First");
  s.console.AddAnswer("file:" + s.Data() + "/Season/Second.sea");
  SeasonSetupDialog& d = s.Open();
  d.txtCurrentSeasonName = "Salt Cup";
  ASSERT_TRUE(d.ChooseTrack(kTracks, "Kestrel.trk"));
  d.SetTotalLaps(12);
  d.SetPitLaneOpen(true);
  d.SetMinPitStops(1);
  d.AddRace();
  ASSERT_TRUE(d.ChooseTrack(kTracks, "Porto.trk"));
  d.SetPitLaneOpen(false);
  d.AddRace();
  d.SetSeasonDrivers(2);
  d.ChoosePointPreset(1);
  d.EditPlace(6, "3");
  d.EditBonus(SeasonBonus::Pole, "2");
  d.EditBonus(SeasonBonus::LeadMost, "lots");
  d.SetDamageLock(1);
  d.chkABF = d.chkWeatherEnabled = true;
  d.cmbQualifying = "Single Lap";

  EXPECT_FALSE(d.Save());  // the file dialog was cancelled
  EXPECT_FALSE(d.OkEnabled());
  ASSERT_TRUE(d.Save());
  const std::string first = s.Data() + "/Season/First.sea";
  EXPECT_EQ(std::tuple(d.SavedFile(), d.OkEnabled()), std::tuple(first, true));
  const SeasonFileData built = d.BuildSeason();
  d.SetTotalLaps(30);
  d.AddRace();
  ASSERT_TRUE(d.Save());
  const std::string second = s.Data() + "/Season/Second.sea";

  for (const auto& [path, races] : {std::pair{first, 2}, std::pair{second, 3}}) {
    SCOPED_TRACE(path);
    SeasonFileData read;
    ASSERT_EQ(ReadSeasonFile(read, path, s.Data() + "/Cars"), std::nullopt);
    EXPECT_EQ(read.Races, races);
    if (races == 2) {
      EXPECT_EQ(read, built);
    }
  }
  EXPECT_EQ(std::tuple(built.Name, built.Drivers, built.NextRace, built.LockCars, built.AccumulateDamage,
                       built.PointStructure[2], built.PointStructure[7], built.PointStructure[11], built.PointsPole,
                       built.PointsLeadMost, built.Field[2].Car.Picture, built.Field[3].Car.DriverName,
                       built.Field[1].WetTires, built.Results[1], built.Schedule[2].StartAllotment),
            std::tuple("Salt Cup", 2, 1, true, true, 6, 3, 0, 2, 0, "", "Al 'Ace'", true, SeasonResult{}, 12));
  EXPECT_EQ(d.BonusBoxes()[3], "0");

  EXPECT_EQ(d.StartSeason(), second);
  EXPECT_EQ(std::tuple(d.Outcome(), d.ModeChoice()), std::tuple(SeasonSetupOutcome::Started, "Start Season"));
}

TEST(SeasonSetup, LocksAndPointPresets) {
  Desk s(2);
  const int firstPreset[] = {10, 8, 6, 5, 4, 3, 2, 1};
  for (int place = 1; place <= 8; ++place) s.rs->PointStructure[place] = firstPreset[place - 1];
  SeasonSetupDialog& d = s.Open();
  // Opening locks the cars and repairs damage, whatever the race had.
  EXPECT_EQ(std::tuple(d.ConfigLock(), d.DamageLock(), d.DamageFrameEnabled()), std::tuple(1, 0, true));
  d.SetDamageLock(1);
  EXPECT_TRUE(d.AccumulateDamage());
  d.SetConfigLock(0);
  EXPECT_EQ(std::tuple(d.LockCars(), d.AccumulateDamage(), d.DamageLock(), d.DamageFrameEnabled()),
            std::tuple(false, false, 0, false));
  d.SetDamageLock(1);  // the frame is off
  EXPECT_FALSE(d.AccumulateDamage());
  d.SetConfigLock(1);
  EXPECT_EQ(std::tuple(d.LockCars(), d.DamageFrameEnabled(), d.DamageLock()), std::tuple(true, true, 0));

  EXPECT_EQ(d.PointPreset(), 0);  // 10 8 6 5 4 3 2 1 is the first preset
  d.ChoosePointPreset(1);
  EXPECT_EQ(d.PlaceBoxes(), (std::array<std::string, 10>{"10", "6", "4", "3", "2", "1", "0", "0", "0", "0"}));
  d.EditPlace(0, "x12");
  d.EditPlace(9, "2.5");   // rounds to even
  d.ChoosePointPreset(2);  // custom keeps the boxes
  EXPECT_EQ(std::tuple(d.PointStructure()[1], d.PointStructure()[2], d.PointStructure()[10], d.PlaceBoxes()[0]),
            std::tuple(0, 6, 2, "x12"));
}

TEST(SeasonSetup, CopyFromAnOlderSeasonAndBadFilesChangeNothing) {
  const std::string older = std::string(VELOMARK_FIXTURES) + "/season/Older.sea";
  Desk s(3, {"file:/nowhere/Missing.sea", "file:/nowhere/Missing.crs", "file:/nowhere/Missing.tms", "file:" + older});
  SeasonSetupDialog& d = s.Open();
  const std::string before = CarFileText(*s.rs, s.Data() + "/Cars");
  EXPECT_FALSE(d.CopyFromSeason());
  EXPECT_FALSE(d.LoadCarFile());
  EXPECT_FALSE(d.LoadTeamFile());
  EXPECT_EQ(std::tuple(CarFileText(*s.rs, s.Data() + "/Cars"), d.TeamItems().size(), s.console.Messages().size()),
            std::tuple(before, 2u, 3u));
  EXPECT_NE(s.console.Messages()[0].find("Missing.sea"), std::string::npos);

  ASSERT_TRUE(d.CopyFromSeason());
  EXPECT_EQ(std::tuple(d.txtCurrentSeasonName, s.rs->CarsInFile, d.SeasonDrivers(), d.PointStructure()[1],
                       d.Bonus(SeasonBonus::Pole), s.rs->CarWetTires[1], s.rs->CarPicture[1]),
            std::tuple("Old Cup", 2, 2, 10, 3, true, s.Data() + "/Cars/Formula\\Gifs\\Red"));
  EXPECT_EQ(d.BonusBoxes()[0], "3");
}

}  // namespace
}  // namespace vm
