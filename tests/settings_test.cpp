#include "game/settings_file.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "core/textfile.h"
#include "game/race_config.h"
#include "tests/rules_fixture.h"
#include "tests/temp_dir.h"

namespace vm {
namespace {

using testing_support::TempDir;

const std::string kDeliveredSettings = std::string(VELOMARK_DATA) + "/VMR.ini";
const std::string kTracks = VELOMARK_FIXTURES;
const std::string kCarsFolder = "C:\\VMR\\Cars\\";

std::string Delivered() { return ReadWholeFile(kDeliveredSettings).value(); }

// The lines of a CR LF text.
std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line.substr(0, line.size() - 1));
  return lines;
}

// The text of `lines`, the first `keep` of them (0: all), with 1-based `line` replaced by `with`.
std::string Edited(const std::vector<std::string>& lines, size_t line, const std::string& with, size_t keep = 0) {
  std::string text;
  for (size_t i = 0; i < lines.size() && (keep == 0 || i < keep); ++i)
    text += (i + 1 == line ? with : lines[i]) + "\r\n";
  return text;
}

// ---------------------------------------------------------------------------------------------
// VMR.ini

TEST(SettingsFile, DeliveredFileReadsAndWritesBackByteIdentical) {
  TempDir dir;
  auto rs = std::make_unique<RaceState>();
  rs->MinPitDuration = 0;
  ASSERT_FALSE(ReadSettings(*rs, kDeliveredSettings));
  EXPECT_EQ(std::tuple(rs->RaceLaps, rs->CarCount, rs->QualifyingMethod, rs->CarSetupPoints, rs->DefaultCarFile,
                       rs->DefaultResultTable, rs->DefaultTeamFile, rs->AgreementShown),
            std::tuple(50, 8, "Start Speed", 8, "Default.crs", "Default.rst", "Teams.tms", false));
  // What reading the settings derives from the laps read.
  EXPECT_EQ(std::tuple(rs->SavedRaceLaps, rs->StartWearAllotment, rs->PitReplenishment, rs->MinPitDuration),
            std::tuple(50, 50, 1, 5));

  ASSERT_FALSE(WriteSettings(*rs, dir.File("VMR.ini")));
  EXPECT_EQ(ReadWholeFile(dir.File("VMR.ini")).value(), Delivered());
}

TEST(SettingsFile, TheFortiethPlaceIsReadBack) {
  GameSettings s;
  ASSERT_FALSE(ParseSettings(s, Delivered(), "VMR.ini"));
  s.PointStructure[40] = 7;  // the last place the file keeps is read as well
  GameSettings back;
  ASSERT_FALSE(ParseSettings(back, SettingsText(s), "VMR.ini"));
  EXPECT_EQ(back.PointStructure, s.PointStructure);
}

TEST(SettingsFile, TagsAreNeverComparedAndTheDefaultsDialogSpellsOneDifferently) {
  GameSettings s;
  ASSERT_FALSE(ParseSettings(s, Delivered(), "VMR.ini"));
  const std::string dialogText = SettingsText(s, SettingsWriter::DefaultsDialog);
  EXPECT_EQ(Lines(dialogText)[4], "\"--Qualifying Method--\"");
  // Any tag at all, and no "Future" lines, read the same values.
  const std::vector<std::string> lines = Lines(Delivered());
  std::string text;
  for (size_t i = 0; i < 46; ++i) text += (i == 0 || i == 42 ? "\"whatever\"" : lines[i]) + "\r\n";
  GameSettings back;
  ASSERT_FALSE(ParseSettings(back, text, "VMR.ini"));
  EXPECT_EQ(back, s);
}

// The last three Booleans are compared as text with the one true word.
TEST(SettingsFile, LastThreeBooleansAreTrueOnlyAsTheExactWord) {
  const std::vector<std::string> lines = Lines(Delivered());
  struct Case {
    std::string Value;
    bool Expected;
  } cases[] = {{"#TRUE#", true}, {"\"#TRUE#\"", true}, {"-1", false}, {"#true#", false}, {"1", false}};
  for (const Case& c : cases) {
    std::vector<std::string> edited = lines;
    edited[43] = edited[44] = edited[45] = c.Value;
    GameSettings s;
    ASSERT_FALSE(ParseSettings(s, Edited(edited, 0, ""), "VMR.ini"));
    EXPECT_EQ(std::tuple(s.HighlightLeader, s.AgreementShown, s.WeatherEnabled),
              std::tuple(c.Expected, c.Expected, c.Expected))
        << c.Value;
  }
}

// A line of a good file replaced (or the file cut after `Keep` lines), and where the reader must
// stop and say why.
struct HostileCase {
  size_t Line;
  std::string With;
  size_t Keep;
  FileErrorCode Code;
  int ErrorLine;
  std::string Field;
};

void ExpectRefused(const std::optional<FileError>& error, const HostileCase& c) {
  ASSERT_TRUE(error) << c.With;
  EXPECT_EQ(std::tuple(error->Code, error->Line, error->Field), std::tuple(c.Code, c.ErrorLine, c.Field)) << c.With;
}

TEST(SettingsFile, HostileFileNamesLineAndFieldAndKeepsTheRace) {
  const std::vector<std::string> lines = Lines(Delivered());
  const HostileCase cases[] = {
      {2, "fifty", 0, FileErrorCode::TypeMismatch, 2, "RaceLaps"},
      {2, "200", 0, FileErrorCode::OutOfRange, 2, "RaceLaps"},
      {4, "41", 0, FileErrorCode::OutOfRange, 4, "CarCount"},
      {12, "10,8,six", 0, FileErrorCode::TypeMismatch, 12, "PointStructure"},
      {16, "maybe", 0, FileErrorCode::TypeMismatch, 16, "AllowRequalifying"},
      {42, "0,0,99999,0", 0, FileErrorCode::OutOfRange, 42, "PointsFastLap"},
      {0, "", 30, FileErrorCode::PastEnd, 31, "tag of UndoDisabled"},
      {0, "", 44, FileErrorCode::PastEnd, 45, "AgreementShown"},
  };
  TempDir dir;
  for (const HostileCase& c : cases) {
    const std::string path = dir.Add("VMR.ini", Edited(lines, c.Line, c.With, c.Keep));
    auto rs = std::make_unique<RaceState>();
    rs->RaceLaps = 12;
    rs->MinPitDuration = 3;
    rs->PitReplenishment = 4;
    const GameSettings before = SettingsOf(*rs);
    ExpectRefused(ReadSettings(*rs, path), c);
    EXPECT_EQ(SettingsOf(*rs), before);
    EXPECT_EQ(std::tuple(rs->MinPitDuration, rs->PitReplenishment), std::tuple(3, 4));
  }
}

// ---------------------------------------------------------------------------------------------
// .rac and RaceConfig.slq

// A race with something other than the default in every field the configuration keeps.
std::unique_ptr<RaceState> ConfiguredRace() {
  auto rs = std::make_unique<RaceState>();
  rs->track.TrackFile = "C:\\VMR\\Tracks\\Oval.trk";
  rs->RaceLaps = 100;
  rs->CarCount = 3;
  rs->QualifyingMethod = "Single Lap";
  rs->CarMovementDelay = 130;
  rs->AllowManualDice = true;
  rs->WeatherEnabled = true;
  rs->WeatherCycles = 3;
  rs->WeatherValue = 7;
  rs->PrevWeatherValue = 5;
  rs->TrackCondition = "Wet";
  rs->WeatherRollSpace = 211;
  for (int place = 1; place <= 10; ++place) rs->PointStructure[place] = 11 - place;
  rs->PointsPole = 1;
  rs->PointsLeadLap = 2;
  rs->PointsFastLap = 3;
  rs->PointsLeadMost = -4;
  rs->CarSetupPoints = 9;
  rs->CarsInFile = 4;
  for (int car = 1; car <= 4; ++car) {
    rs->CarStartSpeed[car] = 40 + 20 * (car % 3);
    rs->CarAcceleration[car] = 20 * car;
    rs->CarDeceleration[car] = 80;
    rs->CarTopSpeed[car] = 200 + 20 * car;
    rs->CarWearPerLap[car] = 3 + car;
    rs->CarIsAI[car] = car % 2 == 0;
    rs->CarProfileSpare[car] = 2;
    rs->CarRaceProfile[car] = car % 3 + 1;
    rs->CarLapProfile[car] = 3 - car % 3;
    rs->CarPicture[car] = kCarsFolder + "Formula\\Gifs\\Red" + std::to_string(car);
    rs->DriverName[car] = "Driver " + std::to_string(car);
    rs->CarDRM[car] = 2 - car;
    rs->CarTeam[car] = car == 3 ? " " : "Team";
    rs->CarRiskSS[car] = 5 * car;
    rs->CarRiskC[car] = car;
    rs->CarRiskD[car] = car + 1;
    rs->CarRiskCA[car] = car + 2;
    rs->CarRiskA[car] = car + 3;
    rs->CarRiskT[car] = 25;
    rs->CarWetTires[car] = car == 2;
    rs->PitStrategy[car] = car % 2;
    rs->CarWearBonus[car] = 0.25 * car;
    rs->CarQualifyBonus[car] = car == 4 ? 1.0 / 3 : 0;
  }
  rs->CarPicture[4] = " ";  // a car with no picture yet
  rs->PitLaneOpen = true;
  rs->PitReplenishment = 17;
  rs->StartWearAllotment = 17;
  rs->OptAccelFromCurveExit = true;
  rs->OptBlueFlag = true;
  rs->MinPitDuration = 4;
  rs->LeaderSpeedCount = 3;
  rs->LeaderSpeedHistory[1] = 160;
  rs->LeaderSpeedHistory[2] = 180;
  rs->LeaderSpeedHistory[100] = 200;
  rs->Tables = testing_support::UsualTables();
  return rs;
}

// A stand-in for the track load that notes what it saw.
struct TrackStub {
  std::string Asked;
  bool SawConfigLoaded = false;
  RaceConfigTrackLoader Loader() {
    return [this](RaceState& rs, const std::string& trackFile) -> std::optional<FileError> {
      Asked = trackFile;
      SawConfigLoaded = rs.RaceConfigLoaded;
      rs.track.TrackDistanceMiles = 1.5;
      rs.track.TrackFile = trackFile;
      return std::nullopt;
    };
  }
};

TEST(RaceConfigFile, RoundTripIsByteIdenticalAndAppliesTheFileAsLoaded) {
  TempDir dir;
  const auto original = ConfiguredRace();
  const std::string path = dir.File("Race.rac");
  ASSERT_FALSE(WriteRaceConfig(*original, path, kCarsFolder));
  // The file's form is the hand-laid file's below; this one carries a value in every field.
  const std::string text = ReadWholeFile(path).value();

  auto rs = std::make_unique<RaceState>();
  rs->CarMovementDelay = 40;
  rs->CarSpeed[2] = 120;
  rs->CarApexNumber[2] = 3;
  rs->CarOnApexCells[40] = true;
  rs->CarSlipSpeed[1] = 20;
  TrackStub stub;
  ASSERT_FALSE(ReadRaceConfig(*rs, path, kCarsFolder, stub.Loader()));
  // The track is loaded while the file is marked as being loaded; the delay is read, not applied;
  // MinPitStops is Int((100 - 17) / 17 + 0.5).
  EXPECT_EQ(std::tuple(stub.Asked, stub.SawConfigLoaded, rs->RaceConfigLoaded, rs->track.TrackFile,
                       rs->track.TrackDistanceMiles, rs->CarMovementDelay, rs->MinPitStops),
            std::tuple("C:\\VMR\\Tracks\\Oval.trk", true, false, "C:\\VMR\\Tracks\\Oval.trk", 1.5, 40, 5));
  // The race counters are cleared.
  EXPECT_EQ(std::tuple(rs->CarSpeed[2], rs->CarApexNumber[2], rs->CarOnApexCells[40], rs->CarSlipSpeed[1]),
            std::tuple(0, 0, false, 0));
  EXPECT_EQ(rs->Tables, testing_support::UsualTables());
  rs->CarMovementDelay = original->CarMovementDelay;
  EXPECT_EQ(RaceConfigText(*rs, kCarsFolder), text);
}

TEST(RaceConfigFile, MinPitStopsFollowFromTheAllotments) {
  struct Case {
    int Laps, Start, Pit, Stops;
  } cases[] = {{100, 17, 17, 5}, {10, 10, 0, 0}, {50, 25, 25, 1}, {60, 20, 16, 3}, {9, 9, 0, 0}};
  for (const Case& c : cases) {
    auto rs = ConfiguredRace();
    rs->RaceLaps = c.Laps;
    rs->StartWearAllotment = c.Start;
    rs->PitReplenishment = c.Pit;
    const std::string text = RaceConfigText(*rs, kCarsFolder);
    rs->MinPitStops = -1;
    ASSERT_FALSE(ParseRaceConfig(*rs, text, "Race.rac", kCarsFolder, nullptr));
    EXPECT_EQ(rs->MinPitStops, c.Stops) << c.Laps << " " << c.Start << " " << c.Pit;
  }
}

TEST(RaceConfigFile, HostileFileNamesLineAndFieldAndKeepsTheRace) {
  const auto good = ConfiguredRace();
  const std::vector<std::string> lines = Lines(RaceConfigText(*good, kCarsFolder));
  const HostileCase cases[] = {
      {2, "200", 0, FileErrorCode::OutOfRange, 2, "RaceLaps"},
      {3, "\"three\"", 0, FileErrorCode::TypeMismatch, 3, "CarCount"},
      {7, "#TRUE#,3,seven,5,\"Wet\",211", 0, FileErrorCode::TypeMismatch, 7, "WeatherValue"},
      {12, "60,20,80,220,4,maybe", 0, FileErrorCode::TypeMismatch, 12, "CarIsAI"},
      {56, "101", 0, FileErrorCode::OutOfRange, 56, "LeaderSpeedCount"},
      {0, "", 30, FileErrorCode::PastEnd, 31, "CarStartSpeed"},
      {0, "", 70, FileErrorCode::PastEnd, 71, "ResultTable"},
  };
  for (const HostileCase& c : cases) {
    const std::string text = Edited(lines, c.Line, c.With, c.Keep);
    auto rs = std::make_unique<RaceState>();
    rs->RaceLaps = 12;
    rs->DriverName[1] = "Kept";
    const std::string before = RaceConfigText(*rs, kCarsFolder);
    TrackStub stub;
    ExpectRefused(ParseRaceConfig(*rs, text, "Race.rac", kCarsFolder, stub.Loader()), c);
    EXPECT_EQ(RaceConfigText(*rs, kCarsFolder), before) << c.With;
    EXPECT_EQ(rs->track.TrackDistanceMiles, 0) << c.With;
  }
}

// A file laid out by hand, item by item: the tables follow a line holding only their tag.
TEST(RaceConfigFile, HandLaidFileLoadsAndWritesBackTheSame) {
  auto repeat = [](const std::string& field, int count) {
    std::string line = field;
    for (int i = 1; i < count; ++i) line += "," + field;
    return line + "\r\n";
  };
  const std::string reserved = ",0,0,0,0,0,0,0,0,0,\" \",\" \",\" \",\" \",\" \",\" \",\" \",\" \",\" \",\" \"\r\n";
  std::string text = "\"Tracks\\Tarnock.trk\"\r\n30\r\n2\r\n\"Start Speed\"\r\n100\r\n#FALSE#\r\n";
  text += "#FALSE#,0,0,0,\"Dry\",0\r\n10,8,6,5,4,3,2,1," + repeat("0", 32) + "0,0,0,0\r\n8\r\n2\r\n";
  text += "60,40,40,180,5,#FALSE#,2,2,2,\"Formula\\Gifs\\Red\",\"Ann\",0,\"Blue\",0,0,0,0,0,0,#FALSE#" + reserved;
  text += "40,20,20,160,6,#TRUE#,2,1,3,\"Formula\\Gifs\\Gold\",\"Bo\",-1,\"Blue\",50,5,6,7,8,9,#TRUE#" + reserved;
  for (int car = 3; car <= 40; ++car)
    text += "0,0,0,0,0,#FALSE#,0,0,0,\" \",\"\",0,\"\",0,0,0,0,0,0,#FALSE#" + reserved;
  text += "#TRUE#,10,20,#FALSE#,#TRUE#,#FALSE#,5,#TRUE#,#FALSE#,#FALSE#\r\n";
  text += "1," + repeat("0", 39) + "0.5," + repeat("0", 39) + repeat("0", 40);
  text += "0\r\n";
  for (int line = 0; line < 5; ++line) text += repeat("0", 20);
  text += "\"ResultTable\"\r\n" + ReadWholeFile(std::string(VELOMARK_DATA) + "/Default.rst").value();
  ASSERT_EQ(Lines(text).size(), 88u);

  auto rs = std::make_unique<RaceState>();
  const std::optional<FileError> error = ParseRaceConfig(*rs, text, "Hand.rac", kCarsFolder, nullptr);
  ASSERT_FALSE(error) << error->Describe();
  EXPECT_EQ(rs->track.TrackFile, "Tracks\\Tarnock.trk");
  EXPECT_EQ(rs->RaceLaps, 30);
  EXPECT_EQ(rs->DriverName[2], "Bo");
  EXPECT_EQ(rs->CarRiskT[2], 9);
  EXPECT_EQ(rs->MinPitStops, 1);  // Int((30 - 20) / 10 + 0.5)
  EXPECT_EQ(rs->PitStrategy[1], 1);
  EXPECT_EQ(rs->CarWearBonus[1], 0.5);
  EXPECT_EQ(rs->Tables, testing_support::UsualTables());
  rs->CarMovementDelay = 100;  // read, never applied
  EXPECT_TRUE(RaceConfigText(*rs, kCarsFolder) == text);

  // The tables straight after the history, with no line of their own before them, are refused there.
  const std::string headless = text.substr(0, text.find("\"ResultTable\"\r\n")) +
                               text.substr(text.find("\"ResultTable\"\r\n") + 15);
  const std::optional<FileError> refused = ParseRaceConfig(*rs, headless, "Hand.rac", kCarsFolder, nullptr);
  ASSERT_TRUE(refused);
  EXPECT_EQ(refused->Line, 62);
  EXPECT_EQ(refused->Field, "ResultTable");
}

TEST(RaceConfigFile, TrackFromAnotherMachineIsFoundInTheTracksFolderAndAFailedLoadKeepsTheRace) {
  const auto good = ConfiguredRace();
  const std::string text = RaceConfigText(*good, kCarsFolder);
  auto rs = std::make_unique<RaceState>();
  ASSERT_FALSE(ParseRaceConfig(*rs, text, "Race.rac", kCarsFolder, TrackLoaderFromFolder(kTracks)));
  EXPECT_GT(rs->track.TrackSpaces, 0);
  // The race names the file it found, so a save names one that is there.
  EXPECT_EQ(rs->track.TrackFile, kTracks + "/Oval.trk");
  EXPECT_EQ(Lines(RaceConfigText(*rs, kCarsFolder))[0], "\"" + kTracks + "/Oval.trk\"");

  auto other = std::make_unique<RaceState>();
  other->RaceLaps = 12;
  const std::optional<FileError> error =
      ParseRaceConfig(*other, text, "Race.rac", kCarsFolder, TrackLoaderFromFolder("/no/such/folder"));
  ASSERT_TRUE(error);
  EXPECT_EQ(std::tuple(error->Code, other->RaceLaps, other->track.TrackSpaces), std::tuple(FileErrorCode::NotFound, 12, 0));
}

// Whatever a configuration names as its track, only a plain .trk file is read.
TEST(RaceConfigFile, OnlyTrackFilesAreLoadedAsTracks) {
  TempDir dir;
  const struct {
    std::string track;
    FileErrorCode code;
  } cases[] = {
      {"/dev/zero", FileErrorCode::NotAFile},
      {kTracks + "/Tarnock.gif", FileErrorCode::NotAFile},
      {kTracks + "/Tarnock.txt", FileErrorCode::NotAFile},
      {dir.File("Gone.trk"), FileErrorCode::NotFound},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.track);
    auto configured = ConfiguredRace();
    configured->track.TrackFile = c.track;
    auto rs = std::make_unique<RaceState>();
    rs->RaceLaps = 12;
    const std::optional<FileError> error = ParseRaceConfig(*rs, RaceConfigText(*configured, kCarsFolder), "Race.rac",
                                                           kCarsFolder, TrackLoaderFromFolder(dir.Root()));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->Code, c.code) << error->Describe();
    EXPECT_EQ(rs->RaceLaps, 12);
    EXPECT_FALSE(rs->track.EverLoaded);
  }
}

}  // namespace
}  // namespace vm
