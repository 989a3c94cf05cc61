#include "game/saved_race.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "core/textfile.h"
#include "core/track_file.h"
#include "rules/pit_stops.h"
#include "tests/rules_fixture.h"
#include "tests/temp_dir.h"

namespace vm {
namespace {

using testing_support::DifferingFields;
using testing_support::TempDir;

const std::string kOval = std::string(VELOMARK_FIXTURES) + "/Oval.trk";
const std::string kCarsFolder = "C:\\VMR\\Cars\\";
// The block after the race's sections with one car in the pit lane: mark, queue count, the car's
// stop, counts, finish order, fastest lap, flags, slipstream speeds, qualifying (four lines) and
// the generator.
constexpr size_t kResumeBlockLines = 13;

// The first `n` cells of the track in lane order, each a real cell.
std::vector<std::pair<int, int>> FreeCells(const Track& t, size_t n) {
  std::vector<std::pair<int, int>> cells;
  for (int space = 1; space <= t.TrackSpaces && cells.size() < n; ++space)
    for (int lane = 1; lane <= t.TrackLanes && cells.size() < n; ++lane)
      if (!t.CellSkip[space][lane]) cells.emplace_back(lane, space);
  return cells;
}

void Place(RaceState& rs, int car, std::pair<int, int> cell) {
  rs.CarLane[car] = cell.first;
  rs.CarSpace[car] = cell.second;
  rs.track.CellOccupant[cell.second][cell.first] = car;
}

// Lap 2 of a five-car race in the rain: car 1 leads, car 2 runs with a damaged engine and brakes,
// car 3 stands in the pits, car 4 is out and car 5 has spun off its cell. The fields a reader
// derives already hold what it derives, so a load over this state changes nothing.
std::unique_ptr<RaceState> MidRace() {
  auto rs = std::make_unique<RaceState>();
  EXPECT_FALSE(LoadTrack(rs->track, kOval));
  rs->CarCount = 5;
  rs->RaceLaps = 12;
  ResetRaceState(*rs);
  rs->SavedRaceLaps = 12;
  rs->UndoDisabled = true;
  rs->AllowManualDice = true;
  rs->WeatherEnabled = true;
  rs->WeatherCycles = 2;
  rs->WeatherValue = 9;
  rs->PrevWeatherValue = 4;
  rs->TrackCondition = "Wet";
  rs->WeatherRollSpace = 17;
  rs->QualifyingMethod = "Single Lap";
  rs->CarMovementDelay = 130;
  rs->OptBlueFlag = true;
  rs->OptNoLaneChangeInCurves = true;
  for (int place = 1; place <= kMaxCars; ++place) rs->PointStructure[place] = std::max(0, 11 - place);
  rs->PointsPole = 1;
  rs->PointsLeadMost = -3;
  rs->CarSetupPoints = 6;
  rs->Tables = testing_support::UsualTables();
  for (int car = 1; car <= 5; ++car) {
    rs->DriverName[car] = "Driver " + std::to_string(car);
    rs->CarStartSpeed[car] = 60;
    rs->CarAcceleration[car] = 40;
    rs->CarDeceleration[car] = 60;
    rs->CarTopSpeed[car] = 200 + 20 * car;
    rs->CarWearPerLap[car] = 4;
    rs->CarDRM[car] = 1;
    rs->CarIsAI[car] = car % 2 == 0;
    rs->CarPicture[car] = kCarsFolder + "Gifs\\Car" + std::to_string(car);
    rs->CarTeam[car] = "Team";
    rs->CarRiskSS[car] = 10 * car;
    rs->CarWetTires[car] = car != 3;
    rs->CarDesign[car] = CarRatings{2, 60, 40, 60, 4, 240};
    rs->CarLap[car] = car == 4 ? 1 : 2;
    rs->CarWears[car] = 7 - car;
    rs->CarMoveCount[car] = 30 + car;
    rs->CarAvgSpeed[car] = 140.0 / 3;
    rs->CarRaceDistance[car] = 200 - car;
    rs->CarLapClock[car] = 12.125 * car;
    rs->CarRaceClock[car] = 95.5 + car / 7.0;
    rs->CarStintLaps[car] = 6;
    rs->CarStintLapsLeft[car] = 4;
    rs->PitStrategy[car] = car % 2;
    rs->CarWearBonus[car] = 0.1 * car;
    rs->CarQualifyBonus[car] = car == 2 ? 0.5 : 0;
    rs->QualifyTime[car] = 30.25 + car / 3.0;
  }
  rs->CarDesign[40] = CarRatings{-2, 80, 80, 80, 7, 240};  // a car not raced keeps its design too
  const auto cells = FreeCells(rs->track, 5);
  Place(*rs, 1, cells[4]);
  rs->CarSpeed[1] = 160;
  rs->CarNewSpeed[1] = 180;
  rs->CarApexNumber[1] = 2;
  rs->CarOnApexCells[1] = true;
  rs->CarCurveOwes[1] = true;
  Place(*rs, 2, cells[1]);
  rs->CarSpeed[2] = 120;
  rs->CarEngineDamaged[2] = true;
  rs->CarBrakesDamaged[2] = true;
  rs->CarDraftTarget[2] = 1;
  rs->CarInPit[3] = true;  // in the queue as a load rebuilds it
  rs->CarLane[3] = cells[2].first;
  rs->CarSpace[3] = cells[2].second;
  rs->PitQueue.push_back(PitQueueEntry{3, 1, TaskCodeFor(PitDecisions{}), 0});
  rs->CarOutOfRace[4] = true;
  rs->CarStatus[4] = kOutOfRace;
  rs->CarsOut = 1;
  rs->CarStatus[5] = kSpinningOffCell;
  rs->CarLane[5] = cells[0].first;
  rs->CarSpace[5] = cells[0].second;
  const int order[] = {0, 1, 2, 5, 3, 4};
  for (int pos = 1; pos <= 5; ++pos) {
    rs->RunningOrder[pos] = order[pos];
    rs->LapOrder[1][pos] = order[pos];
    rs->LapGap[1][pos] = pos == 1 ? 0 : 0.4 * pos;
    rs->LapSpeedMph[1][pos] = 150.0 / pos;
    rs->LapWearsUsed[1][pos] = pos;
  }
  rs->LeadCar = 1;
  rs->PitLaneOpen = true;
  rs->PitReplenishment = 5;
  rs->StartWearAllotment = 6;
  rs->MinPitDuration = 3;
  rs->MinPitStops = 1;  // Int((12 - 6) / 5 + 0.5)
  rs->LeaderSpeedCount = 2;
  rs->LeaderSpeedHistory[1] = 140;
  rs->LeaderSpeedHistory[2] = 160;
  // Commas and blank items come back; a double quote could not (the writer makes it an apostrophe).
  rs->Highlights = {"Lap 1: Driver, 1 leads", "", "Car 4, 'out' of the race"};
  rs->RaceConfigLoaded = true;
  rs->RestartAfterPit = false;
  EXPECT_EQ(CheckRaceState(*rs), std::vector<std::string>{});
  return rs;
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line.substr(0, line.size() - 1));
  return lines;
}

size_t FieldCount(const std::string& line) {
  // Fields holding commas are quoted; the fixture keeps them out of the car records.
  return static_cast<size_t>(std::count(line.begin(), line.end(), ',')) + 1;
}

struct KindCase {
  SavedRaceKind Kind;
  const char* Name;
  int CarFields;
  int FirstCarLine;
};
const KindCase kKinds[] = {{SavedRaceKind::Rip, "rip", 49, 17}, {SavedRaceKind::Undo, "undo", 39, 15}};

TEST(SavedRace, WriteReadWriteGivesTheSameBytesAndTheSameRace) {
  TempDir dir;
  for (const KindCase& k : kKinds) {
    const auto original = MidRace();
    const std::string path = dir.File(std::string("Race.") + k.Name);
    ASSERT_FALSE(WriteSavedRace(*original, path, kCarsFolder, k.Kind)) << k.Name;
    const std::string text = ReadWholeFile(path).value();

    // Into a fresh race: everything the file holds comes back.
    auto fresh = std::make_unique<RaceState>();
    fresh->CarMovementDelay = 40;
    fresh->RestartAfterPit = true;
    ASSERT_FALSE(ReadSavedRace(*fresh, path, kCarsFolder, k.Kind, TrackLoaderFromFolder(""))) << k.Name;
    EXPECT_EQ(CheckRaceState(*fresh), std::vector<std::string>{}) << k.Name;
    EXPECT_EQ(std::tuple(fresh->SavedRaceLaps, fresh->MinPitStops, fresh->RestartAfterPit, fresh->RaceConfigLoaded,
                         fresh->CarMovementDelay, fresh->PitQueue, fresh->track.CellOccupant, fresh->Highlights),
              std::tuple(12, 1, false, true, k.Kind == SavedRaceKind::Undo ? 130 : 40, original->PitQueue,
                         original->track.CellOccupant, original->Highlights))
        << k.Name;
    // What stays behind: the display speed of a .rip, and in an undo file the settings that stay in
    // memory.
    const std::vector<std::string> notStored =
        k.Kind == SavedRaceKind::Rip
            ? std::vector<std::string>{"CarMovementDelay"}
            : std::vector<std::string>{"CarDesign", "PointStructure", "PointsPole", "PointsLeadMost", "Tables"};
    EXPECT_EQ(DifferingFields(*fresh, *original), notStored) << k.Name;
    fresh->CarMovementDelay = original->CarMovementDelay;
    EXPECT_TRUE(SavedRaceText(*fresh, kCarsFolder, k.Kind) == text) << k.Name;
    // The starting ratings travel in a .rip only.
    EXPECT_EQ(fresh->CarDesign[40], k.Kind == SavedRaceKind::Rip ? original->CarDesign[40] : CarRatings{}) << k.Name;

    // Over the race it came from: nothing changes, field by field.
    auto same = std::make_unique<RaceState>(*original);
    same->TargetLane = 3;
    same->TargetSpace = 9;
    ASSERT_FALSE(ReadSavedRace(*same, path, kCarsFolder, k.Kind, TrackLoaderFromFolder(""))) << k.Name;
    EXPECT_EQ(DifferingFields(*same, *original), std::vector<std::string>{}) << k.Name;
    EXPECT_TRUE(*same == *original) << k.Name;
    EXPECT_EQ(RaceStateHash(*same), RaceStateHash(*original)) << k.Name;
  }
}

TEST(SavedRace, ThreeCarRaceStillStoresFortyCarsAndFortyRunningRecords) {
  for (const KindCase& k : kKinds) {
    auto rs = MidRace();
    rs->CarCount = 3;
    const std::vector<std::string> lines = Lines(SavedRaceText(*rs, kCarsFolder, k.Kind));
    const int cars = k.FirstCarLine - 1;  // 0-based index of the first car line
    for (int i = 0; i < kMaxCars; ++i) {
      EXPECT_EQ(FieldCount(lines[cars + i]), static_cast<size_t>(k.CarFields)) << k.Name << " car " << i + 1;
      EXPECT_EQ(FieldCount(lines[cars + kMaxCars + 1 + i]), 25u) << k.Name << " running " << i + 1;
    }
    EXPECT_EQ(lines[cars + kMaxCars], "1") << k.Name;  // LeadCar
    // The lap tables to the qualifying times, three highlights, in a .rip the tables, and the
    // closing block for a resume.
    const size_t expected = static_cast<size_t>(cars + 2 * kMaxCars + 1 + 303 + 101 + 40 + 1 + 1 + 5 + 6 + 11 + 1 + 3) +
                            (k.Kind == SavedRaceKind::Rip ? 27u : 0u) + kResumeBlockLines;
    EXPECT_EQ(lines.size(), expected) << k.Name;
  }
}

constexpr size_t kAll = SIZE_MAX;

struct Hostile {
  const char* Why;
  size_t Line;  // 1-based line replaced by With; 0 none
  std::string With;
  size_t Keep;  // lines kept
  FileErrorCode Code;
  int ErrorLine;
  std::string Field;
};

std::string Edited(const std::vector<std::string>& lines, const Hostile& h) {
  std::string text;
  for (size_t i = 0; i < lines.size() && i < h.Keep; ++i) text += (i + 1 == h.Line ? h.With : lines[i]) + "\r\n";
  return text;
}

// Parses the edited file over a race that has nothing of it, which must come through unchanged.
void ExpectRefused(const std::vector<std::string>& lines, const Hostile& h, SavedRaceKind kind) {
  auto rs = std::make_unique<RaceState>();
  ASSERT_FALSE(LoadTrack(rs->track, kOval));
  rs->RaceLaps = 7;
  rs->CarCount = 2;
  rs->DriverName[1] = "Kept";
  rs->CarMovementDelay = 55;
  rs->Highlights = {"kept"};
  rs->PointStructure[1] = 25;
  const std::unique_ptr<RaceState> before = std::make_unique<RaceState>(*rs);
  const std::optional<FileError> error =
      ParseSavedRace(*rs, Edited(lines, h), "Race.rip", kCarsFolder, kind, TrackLoaderFromFolder(""));
  ASSERT_TRUE(error) << h.Why << " " << h.Field;
  EXPECT_EQ(std::tuple(error->Code, error->Line, error->Field, error->File),
            std::tuple(h.Code, h.ErrorLine, h.Field, std::string("Race.rip")))
      << h.Why << " " << h.Field << ": " << error->Describe();
  EXPECT_EQ(DifferingFields(*rs, *before), std::vector<std::string>{}) << h.Why << " " << h.Field;
  EXPECT_TRUE(*rs == *before) << h.Why << " " << h.Field;
  EXPECT_EQ(RaceStateHash(*rs), RaceStateHash(*before)) << h.Why << " " << h.Field;
}

TEST(SavedRace, HostileFilesNameLineAndFieldAndLeaveTheRaceAlone) {
  const auto good = MidRace();
  const std::vector<std::string> rip = Lines(SavedRaceText(*good, kCarsFolder, SavedRaceKind::Rip));
  const auto cells = FreeCells(good->track, 5);
  const std::string car1At = std::to_string(cells[4].first) + "," + std::to_string(cells[4].second);
  const std::string car2At = std::to_string(cells[1].first) + "," + std::to_string(cells[1].second);
  std::string noCell;
  for (int space = 1; space <= good->track.TrackSpaces && noCell.empty(); ++space)
    for (int lane = 1; lane <= good->track.TrackLanes && noCell.empty(); ++lane)
      if (good->track.CellSkip[space][lane]) noCell = std::to_string(lane) + "," + std::to_string(space);
  ASSERT_FALSE(noCell.empty());
  auto cut = [](size_t line, const char* field) {
    return Hostile{field, 0, "", line - 1, FileErrorCode::PastEnd, static_cast<int>(line), field};
  };
  // The running record of place 2 with place 1's car in the running order (its eighth field).
  auto fields = [](const std::string& line) {
    std::vector<std::string> out;
    std::istringstream in(line);
    for (std::string f; std::getline(in, f, ',');) out.push_back(f);
    return out;
  };
  std::vector<std::string> second = fields(rip[58]);
  second[7] = fields(rip[57])[7];
  std::string twiceInOrder;
  for (const std::string& f : second) twiceInOrder += (twiceInOrder.empty() ? "" : ",") + f;
  static constexpr char kElf[] =
      "\x7f"
      "ELF\x02\x01\x01\0\0\0,\0\x03\0>";
  const std::string binary(kElf, sizeof kElf - 1);  // the head of a program, NULs and all
  const Hostile cases[] = {
      // Cut short at the start of each part of the file.
      cut(1, "TrackFile"),
      cut(2, "UndoDisabled"),
      cut(3, "AllowManualDice"),
      cut(4, "WeatherEnabled"),
      cut(5, "RaceLaps"),
      cut(6, "CarCount"),
      cut(7, "QualifyingMethod"),
      cut(8, "CarMovementDelay"),
      cut(9, "OptCurveEntryBySlipstream"),
      cut(14, "PointStructure"),
      cut(15, "PointsPole"),
      cut(16, "CarSetupPoints"),
      cut(17, "CarStartSpeed"),
      cut(57, "LeadCar"),
      cut(58, "CarEngineDamaged"),
      cut(98, "LapOrder"),
      cut(401, "LapWearsUsed"),
      cut(502, "CellLane"),
      cut(542, "PitLaneOpen"),
      cut(543, "LeaderSpeedCount"),
      cut(544, "LeaderSpeedHistory"),
      cut(549, "CarStintLaps"),
      cut(550, "CarStintLapsLeft"),
      cut(551, "PitStrategy"),
      cut(552, "CarWearBonus"),
      cut(553, "CarQualifyBonus"),
      cut(554, "CarInPit"),
      cut(555, "LapReportPlace"),
      cut(566, "QualifyTime"),
      cut(567, "Highlight"),
      cut(571, "ResultTable"),
      // Text where a number stands, numbers beyond their range.
      {"text", 6, "five", kAll, FileErrorCode::TypeMismatch, 6, "CarCount"},
      {"text", 17, "sixty,40", kAll, FileErrorCode::TypeMismatch, 17, "CarStartSpeed"},
      {"text", 98, "1,2,x", kAll, FileErrorCode::TypeMismatch, 98, "LapOrder"},
      {"16 bits", 57 + 2, "#FALSE#,#FALSE#,40000", kAll, FileErrorCode::OutOfRange, 59, "CarMoveCount"},
      {"41 cars", 6, "41", kAll, FileErrorCode::OutOfRange, 6, "CarCount"},
      {"no cars", 6, "-1", kAll, FileErrorCode::OutOfRange, 6, "CarCount"},
      {"car 41", 57, "41", kAll, FileErrorCode::OutOfRange, 57, "LeadCar"},
      // Positions off the track and a cell held twice.
      {"lane", 502, "6," + std::to_string(cells[4].second), kAll, FileErrorCode::OutOfRange, 502, "CellLane"},
      {"space", 502, std::to_string(cells[4].first) + ",9999", kAll, FileErrorCode::OutOfRange, 502, "CellSpace"},
      {"twice", 503, car1At, kAll, FileErrorCode::OutOfRange, 503, "CellSpace"},
      {"elsewhere", 502, car2At, kAll, FileErrorCode::OutOfRange, 502, "CellSpace"},
      {"no cell", 502, noCell, kAll, FileErrorCode::OutOfRange, 502, "CellSpace"},
      {"pits", 554, "#TRUE#", kAll, FileErrorCode::OutOfRange, 554, "CarInPit"},
      // Every field in range, the whole impossible: the leader in the running order twice.
      {"order", 59, twiceInOrder, kAll, FileErrorCode::OutOfRange, 58, "RunningOrder"},
      // Not a saved race at all.
      {"binary", 1, binary, 1, FileErrorCode::NotAFile, 1, "TrackFile"},
      {"binary", 2, binary, 2, FileErrorCode::TypeMismatch, 2, "UndoDisabled"},
  };
  for (const Hostile& h : cases) ExpectRefused(rip, h, SavedRaceKind::Rip);

  // The closing block: cut short, a pit lane that does not match the cars in it, a generator that
  // could never draw.
  const size_t mark = static_cast<size_t>(std::find(rip.begin(), rip.end(), "#RESUME#") - rip.begin()) + 1;
  const int markLine = static_cast<int>(mark);
  const std::string zeros =
      "#TRUE#,\"0000000000000000\",\"0000000000000000\",\"0000000000000000\","
      "\"0000000000000000\",\"0000000000000001\"";
  const Hostile blockCases[] = {
      cut(mark + 1, "PitQueueCount"),
      cut(mark + 12, "Generator"),
      {"queue", mark + 1, "0", kAll, FileErrorCode::OutOfRange, markLine + 1, "PitQueueCount"},
      {"queued", mark + 2, "2,3,0,0", kAll, FileErrorCode::OutOfRange, markLine + 2, "PitQueueCar"},
      {"zeros", mark + 12, zeros, kAll, FileErrorCode::OutOfRange, markLine + 12, "GeneratorWord"},
      {"hex", mark + 12, "#TRUE#,\"12xyz\"", kAll, FileErrorCode::TypeMismatch, markLine + 12, "GeneratorWord"},
  };
  for (const Hostile& h : blockCases) ExpectRefused(rip, h, SavedRaceKind::Rip);

  // The undo layout: no points, the configuration's car record, highlights to the end.
  const std::vector<std::string> undo = Lines(SavedRaceText(*good, kCarsFolder, SavedRaceKind::Undo));
  const Hostile undoCases[] = {
      cut(14, "CarSetupPoints"),
      cut(15, "CarStartSpeed"),
      cut(55, "LeadCar"),
      cut(564, "QualifyTime"),
      {"text", 15, "60,40,60,220,4,#FALSE#,0,0,0,\"Gifs\\Car1\",\"Driver 1\",one", kAll, FileErrorCode::TypeMismatch,
       15, "CarDRM"},
      {"41 cars", 6, "41", kAll, FileErrorCode::OutOfRange, 6, "CarCount"},
  };
  for (const Hostile& h : undoCases) ExpectRefused(undo, h, SavedRaceKind::Undo);
  // The mark ends the highlights of an undo file; a block cut off after it is an error.
  const size_t undoMark = static_cast<size_t>(std::find(undo.begin(), undo.end(), "#RESUME#") - undo.begin()) + 1;
  ExpectRefused(undo, cut(undoMark + 1, "PitQueueCount"), SavedRaceKind::Undo);
}

TEST(SavedRace, UndoFileHasNoPointsNoStartingRatingsAndNoTables) {
  const auto rs = MidRace();
  const std::vector<std::string> rip = Lines(SavedRaceText(*rs, kCarsFolder, SavedRaceKind::Rip));
  const std::vector<std::string> undo = Lines(SavedRaceText(*rs, kCarsFolder, SavedRaceKind::Undo));
  // The design points follow the rule options directly; the highlights run to the end.
  EXPECT_EQ(std::vector(undo.begin(), undo.begin() + 13), std::vector(rip.begin(), rip.begin() + 13));
  EXPECT_EQ(undo[13], rip[15]);
  EXPECT_EQ(undo[undo.size() - kResumeBlockLines - 1], "\"Car 4, 'out' of the race\"");
  EXPECT_EQ(undo[undo.size() - kResumeBlockLines], "#RESUME#");
  EXPECT_EQ(rip[rip.size() - kResumeBlockLines - 27], "\"ResultTable\"");
  // A cut in the highlights of an undo file is no error: they are whatever is left.
  auto loaded = std::make_unique<RaceState>(*rs);
  std::string shorter;
  for (size_t i = 0; i + kResumeBlockLines + 1 < undo.size(); ++i) shorter += undo[i] + "\r\n";
  ASSERT_FALSE(
      ParseSavedRace(*loaded, shorter, "UFB.rip", kCarsFolder, SavedRaceKind::Undo, TrackLoaderFromFolder("")));
  EXPECT_EQ(loaded->Highlights, std::vector<std::string>(rs->Highlights.begin(), rs->Highlights.end() - 1));
}

TEST(SavedRace, MissingFileOrFolderIsAFileErrorAndNothingMore) {
  TempDir dir;
  const auto rs = MidRace();
  const std::optional<FileError> written =
      WriteSavedRace(*rs, dir.File("no/such/folder/UFA.rip"), kCarsFolder, SavedRaceKind::Undo);
  ASSERT_TRUE(written);
  EXPECT_EQ(written->Code, FileErrorCode::WriteFailed);
  // Undo right after the start: there is no older file yet.
  auto loaded = std::make_unique<RaceState>(*rs);
  const std::optional<FileError> read =
      ReadSavedRace(*loaded, dir.File("UFB.rip"), kCarsFolder, SavedRaceKind::Undo, TrackLoaderFromFolder(""));
  ASSERT_TRUE(read);
  EXPECT_EQ(read->Code, FileErrorCode::NotFound);
  EXPECT_TRUE(*loaded == *rs);
}

// The lap lines kept from one undo file to the next are written again wherever the race changed
// them, down to a zero that turned negative.
TEST(SavedRace, KeptLapLinesGiveTheSameTextAsLinesWrittenAfresh) {
  auto rs = MidRace();
  LapLinesCache laps;
  const auto fresh = [&] { return SavedRaceText(*rs, kCarsFolder, SavedRaceKind::Undo); };
  EXPECT_EQ(SavedRaceText(*rs, kCarsFolder, SavedRaceKind::Undo, nullptr, &laps), fresh());
  rs->LapGap[2][3] = 1.5;
  rs->LapOrder[100][40] = 7;
  rs->LapSpeedMph[0][1] = -0.0;
  EXPECT_EQ(SavedRaceText(*rs, kCarsFolder, SavedRaceKind::Undo, nullptr, &laps), fresh());
  rs->LapGap[2][3] = 0.0;
  EXPECT_EQ(SavedRaceText(*rs, kCarsFolder, SavedRaceKind::Undo, nullptr, &laps), fresh());
}

// A writer killed at any moment leaves the last whole file or the new whole file, never a part:
// a child process writes two different saved races in turn as fast as it can and is killed with
// SIGKILL at varied moments; each time the file on disk is one of the two, byte for byte, and
// loads.
TEST(SavedRace, AWriterKilledMidWayLeavesTheOldFileOrTheNewOneWhole) {
  TempDir dir;
  const auto first = MidRace();
  auto second = std::make_unique<RaceState>(*first);
  second->Highlights.assign(2000, "(Lap 9/Move 900) A long afternoon of racing");  // a bigger file, slower to write
  const std::string path = dir.File("Race.rip");
  const std::string texts[] = {SavedRaceText(*first, kCarsFolder, SavedRaceKind::Rip),
                               SavedRaceText(*second, kCarsFolder, SavedRaceKind::Rip)};
  ASSERT_FALSE(WriteSavedRace(*first, path, kCarsFolder, SavedRaceKind::Rip));
  int caughtMidWay = 0;
  for (int round = 0; round < 12; ++round) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      // The texts are made before: the kills are to land in the writing, not in the making.
      for (int i = 0;; ++i) WriteFileAtomic(path, texts[i % 2]);
    }
    ::usleep(static_cast<useconds_t>(2000 + 1700 * round));
    ::kill(child, SIGKILL);
    int status = 0;
    ::waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status));
    const std::string text = ReadWholeFile(path).value_or("");
    EXPECT_TRUE(text == texts[0] || text == texts[1]) << "round " << round << ": " << text.size() << " bytes";
    auto loaded = std::make_unique<RaceState>(*first);
    EXPECT_FALSE(ReadSavedRace(*loaded, path, kCarsFolder, SavedRaceKind::Rip, TrackLoaderFromFolder("")));
    // A kill inside a write leaves the writer's temporary file beside the save.
    std::vector<std::filesystem::path> others;
    for (const auto& entry : std::filesystem::directory_iterator(dir.Path()))
      if (entry.path() != path) others.push_back(entry.path());
    caughtMidWay += others.empty() ? 0 : 1;
    for (const auto& other : others) std::filesystem::remove(other);
  }
  // Some kill must have landed inside a write, or the test has tested nothing.
  EXPECT_GT(caughtMidWay, 0);
}

}  // namespace
}  // namespace vm
