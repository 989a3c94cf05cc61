#include "season/season_file.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "rules/result_table_file.h"
#include "tests/temp_dir.h"

namespace vm {
namespace {

using testing_support::TempDir;

constexpr std::string_view kCars = "/game/Cars/";

// Two races, three drivers of forty lines, one race run, the tail set.
std::unique_ptr<SeasonFileData> SmallSeason() {
  auto s = std::make_unique<SeasonFileData>();
  std::tie(s->Name, s->Races, s->Drivers, s->NextRace, s->CarSetupPoints, s->WeatherEnabled, s->WeatherCycle) =
      std::tuple("Spring Cup", 2, 3, 2, 9, true, 3);
  for (int place = 1; place <= 10; ++place) s->PointStructure[place] = 11 - place;
  std::tie(s->PointsPole, s->PointsLeadMost) = std::tuple(1, 2);
  s->Schedule[1] = {"Tracks\\Oval.trk", "12", "OVAL  ", true, 6, 6, 12 * 0.75, false, 5};
  s->Schedule[2] = {"/data/Tracks/Quarry.trk", "20", "QUARRY", true, 20, 0, 20 * 1.1, true, 7};
  const std::string names[] = {"Ann Lee", "Bo Diaz", "Cy Moss"};
  for (int car = 1; car <= 3; ++car) {
    CarRecord& c = s->Field[car].Car;
    c.DriverName = names[car - 1];
    c.Picture = std::string(kCars) + "Formula\\Gifs\\Red";
    c.TopSpeed = 160 + 20 * car;
    c.WearBonus = 0.25 * car;
    c.Team = "Team " + std::to_string(car);
  }
  s->Field[2].Car.Picture = "";
  s->Field[3].WetTires = true;
  SeasonResult& r = s->Results[1];
  std::tie(r.Finish, r.LapsLed) = std::tuple(decltype(r.Finish){0, 2, 3, 1}, decltype(r.LapsLed){0, 7, 0, 5});
  std::tie(r.PoleCar, r.FastLapCar, r.MostLaps) = std::tuple(3, 2, 7);
  EXPECT_EQ(LoadResultTables(s->Tables, std::string(VELOMARK_DATA) + "/Default.rst"), std::nullopt);
  std::tie(s->QualifyingMethod, s->OptAccelFromCurveExit, s->OptNoLaneChangeInCurves) =
      std::tuple("Single Lap", true, true);
  return s;
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line.substr(0, line.size() - 1));
  return lines;
}

std::string Join(const std::vector<std::string>& lines, size_t count) {
  std::string text;
  for (size_t i = 0; i < count && i < lines.size(); ++i) text += lines[i] + "\r\n";
  return text;
}

TEST(SeasonFile, BothWritersRoundTripByteForByteAndDifferOnlyWhereMeant) {
  auto s = SmallSeason();
  const std::string create = SeasonFileText(*s, SeasonWriter::Create, kCars);
  const std::string update = SeasonFileText(*s, SeasonWriter::Update, "\\game\\Cars");
  const std::vector<std::string> c = Lines(create), u = Lines(update);
  ASSERT_EQ(c.size(), 117u);  // 28 head, 2 races, 41 drivers, 5 results, 27 tables, 14 tail
  EXPECT_EQ(std::vector<std::string>(c.begin(), c.begin() + 8),
            (std::vector<std::string>{"\"--Season Name--\"", "\"Spring Cup\"", "\"--Races--\"", "2", "\"--Drivers--\"",
                                      "3", "\"--Next Race--\"", "2"}));
  EXPECT_EQ(c[28], "\"Tracks\\Oval.trk\",12,\"OVAL  \",#TRUE#,6,6,9,#FALSE#,5");
  EXPECT_EQ(u[28], "\"Tracks\\Oval.trk\",\"12\",\"OVAL  \",#TRUE#,6,6,9,#FALSE#,5");
  EXPECT_EQ(c[32],
            "40,20,20,200,4,#FALSE#,2,2,2,\" \",\"Bo Diaz\",2,\"Team 2\",0,0,0,0,0,0,#FALSE#,0,0.5,0,"
            "0,0,0,0,0,0,0,0,0,\" \",\" \",\" \",\" \",\" \",\" \",\" \",\" \",\" \",\" \"");
  EXPECT_EQ(c[107], "\"-- Allow Acceleration from Curve Exit --\"");
  EXPECT_EQ(u[107], "\"-- Allow Acceleration from curve exit --\"");
  for (size_t i = 0; i < c.size(); ++i) {
    if (i == 28 || i == 29 || i == 107) continue;
    EXPECT_EQ(c[i], u[i]) << "line " << i + 1;
  }

  for (const auto& [writer, text] :
       {std::pair{SeasonWriter::Create, create}, std::pair{SeasonWriter::Update, update}}) {
    auto read = std::make_unique<SeasonFileData>();
    read->Writer = writer == SeasonWriter::Create ? SeasonWriter::Update : SeasonWriter::Create;
    ASSERT_EQ(ReadSeasonText(*read, text, "s.sea", kCars), std::nullopt);
    EXPECT_EQ(read->Writer, writer);
    EXPECT_EQ(SeasonFileText(*read, read->Writer, kCars), text);
    // The two forms hold the same season.
    read->Writer = s->Writer;
    EXPECT_TRUE(*read == *s);
  }
}

TEST(SeasonFile, FileWrittenAtomicallyReadsBackAndMissingFileIsNotFound) {
  TempDir dir;
  auto s = SmallSeason();
  ASSERT_EQ(WriteSeasonFile(*s, dir.File("cup.sea"), SeasonWriter::Update, kCars), std::nullopt);
  EXPECT_EQ(dir.Listing(), std::vector<std::string>{"cup.sea"});
  auto read = std::make_unique<SeasonFileData>();
  ASSERT_EQ(ReadSeasonFile(*read, dir.File("cup.sea"), kCars), std::nullopt);
  EXPECT_EQ(std::tuple(read->Name, read->Writer, read->Field[1].Car.Picture),
            std::tuple(s->Name, SeasonWriter::Update, s->Field[1].Car.Picture));
  EXPECT_EQ(ReadSeasonFile(*read, dir.File("none.sea"), kCars)->Code, FileErrorCode::NotFound);
}

TEST(SeasonFile, FileEndingAfterTheTablesQualifiesByStartSpeedAndKeepsTheOptions) {
  auto s = SmallSeason();
  s->AllowRequalifying = true;
  const std::string text = Join(Lines(SeasonFileText(*s, SeasonWriter::Update, kCars)), 103);
  auto read = std::make_unique<SeasonFileData>();
  read->OptBlueFlag = true;
  ASSERT_EQ(ReadSeasonText(*read, text, "old.sea", kCars), std::nullopt);
  EXPECT_EQ(std::tuple(read->HasTail, read->QualifyingMethod, read->AllowRequalifying, read->OptBlueFlag,
                       read->OptAccelFromCurveExit, read->Tables, read->Results[1]),
            std::tuple(false, "Start Speed", false, true, false, s->Tables, s->Results[1]));
  RaceState rs;
  rs.OptBlueFlag = false;
  rs.OptSlipstreamInCurves = true;
  ApplySeason(*read, rs, 1);
  EXPECT_EQ(std::tuple(rs.OptBlueFlag, rs.OptSlipstreamInCurves, rs.QualifyingMethod),
            std::tuple(false, true, "Start Speed"));
}

TEST(SeasonFile, HostileFilesNameLineAndFieldAndLeaveTheSeasonAlone) {
  auto s = SmallSeason();
  const std::vector<std::string> good = Lines(SeasonFileText(*s, SeasonWriter::Create, kCars));
  auto with = [&good](size_t line, const std::string& text) {
    std::vector<std::string> lines = good;
    lines[line - 1] = text;
    return Join(lines, lines.size());
  };
  auto cut = [&good](size_t lines, const std::string& more = "") { return Join(good, lines) + more; };
  std::string points = good[25];
  points.replace(points.find(",8,"), 3, ",99999,");
  std::string shortDriver = good[40];
  shortDriver.erase(shortDriver.rfind(','));
  const std::string offScale = "40,20,20,150" + good[31].substr(good[31].find(",4,#"));
  struct Case {
    std::string name, text;
    FileErrorCode code;
    int line;
    std::string field;
  } cases[] = {
      {"41 races", with(4, "41"), FileErrorCode::OutOfRange, 4, "SeasonRaces"},
      {"no drivers", with(6, "0"), FileErrorCode::OutOfRange, 6, "SeasonDrivers"},
      {"next race past the end", with(8, "4"), FileErrorCode::OutOfRange, 8, "NextRace"},
      {"text for a number", with(16, "lots"), FileErrorCode::TypeMismatch, 16, "CarSetupPoints"},
      {"huge number", with(26, points), FileErrorCode::OutOfRange, 26, "PointStructure 3"},
      {"laps not a number", with(29, "\"a\",\"ten\",\"OVAL  \",#TRUE#,6,6,9,#FALSE#,5"), FileErrorCode::TypeMismatch,
       29, "SeasonTrackLaps"},
      {"laps past the tables", with(29, "\"a\",101,\"OVAL  \",#TRUE#,6,6,9,#FALSE#,5"), FileErrorCode::OutOfRange, 29,
       "SeasonTrackLaps"},
      {"racing car off the scale", with(32, offScale), FileErrorCode::OutOfRange, 32, "CarTopSpeed"},
      {"driver line of 41 fields", with(41, shortDriver), FileErrorCode::PastEnd, 41, "reserved 42"},
      {"driver line of 43 fields", with(41, good[40] + ",0"), FileErrorCode::TypeMismatch, 41, "record end"},
      {"finish by car 41", with(73, "41" + good[72].substr(1)), FileErrorCode::OutOfRange, 73, "SeasonFinish 1"},
      {"cut after the races", cut(30), FileErrorCode::PastEnd, 31, "tag"},
      {"cut inside a driver line", cut(32, "60,40,40,180,5"), FileErrorCode::PastEnd, 33, "CarIsAI"},
      {"cut between results", cut(74), FileErrorCode::PastEnd, 75, "SeasonFinish 1"},
      {"cut inside the tables", cut(80), FileErrorCode::PastEnd, 81, "ResultTable"},
      {"cut inside the tail", cut(106), FileErrorCode::PastEnd, 107, "OptCurveEntryBySlipstream"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    auto season = SmallSeason();
    season->Name = "kept";
    std::optional<FileError> e = ReadSeasonText(*season, c.text, "bad.sea", kCars);
    ASSERT_TRUE(e.has_value());
    EXPECT_EQ(std::tuple(e->Code, e->File, e->Line, e->Field), std::tuple(c.code, "bad.sea", c.line, c.field))
        << e->Describe();
    EXPECT_EQ(season->Name, "kept");
    season->Name = s->Name;
    EXPECT_TRUE(*season == *s);
  }
}

TEST(SeasonFile, ApplySeasonSetsTheFieldAndTheRaceOfTheSchedule) {
  struct Case {
    std::string laps;
    int allotment, replenishment;
    bool repairOnly;
    int laps2, stops;
  } cases[] = {
      {"20", 8, 6, false, 20, 2}, {"20", 8, 5, false, 20, 2},  {" 21", 8, 5, false, 21, 3},
      {"21", 8, 5, true, 21, 0},  {"12", 12, 0, false, 12, 0},
  };
  for (const Case& c : cases) {
    auto s = SmallSeason();
    SeasonRace& r = s->Schedule[2];
    std::tie(r.Laps, r.StartAllotment, r.PitReplenishment, r.RepairOnly) =
        std::tuple(c.laps, c.allotment, c.replenishment, c.repairOnly);
    auto rs = std::make_unique<RaceState>();
    rs->CarSpeed[2] = 120;
    EXPECT_EQ(ApplySeason(*s, *rs, 2), "/data/Tracks/Quarry.trk");
    EXPECT_EQ(std::tuple(rs->RaceLaps, rs->MinPitStops, rs->PitRepairOnly, rs->MinPitDuration),
              std::tuple(c.laps2, c.stops, c.repairOnly, 7))
        << c.laps;
    EXPECT_EQ(std::tuple(rs->CarCount, rs->DriverName[3], rs->CarWetTires[3], rs->CarSpeed[2], rs->PointStructure[1],
                         rs->QualifyingMethod, rs->Tables),
              std::tuple(3, "Cy Moss", true, 0, 10, "Single Lap", s->Tables));
  }
  // After the last race no row matches: the race settings stay as they were.
  auto s = SmallSeason();
  auto rs = std::make_unique<RaceState>();
  rs->RaceLaps = 33;
  EXPECT_EQ(std::tuple(ApplySeason(*s, *rs, 3), rs->RaceLaps), std::tuple("", 33));
}

// Five laps of three cars: car 1 leads laps 1 and 2, car 3 the rest; the lap table's last row
// still names car 1, but the finish order decides it.
std::unique_ptr<RaceState> SmallRace() {
  auto rs = std::make_unique<RaceState>();
  std::tie(rs->CarCount, rs->RaceLaps) = std::tuple(3, 5);
  rs->LapOrder[0] = {0, 2, 1, 3};
  const int leaders[] = {0, 1, 1, 3, 3, 1};
  for (int lap = 1; lap <= 5; ++lap) rs->LapOrder[lap][1] = leaders[lap];
  rs->FinishOrder = {0, 3, 1, 2};
  rs->LapSpeedMph[2][1] = 101.5;
  rs->LapSpeedMph[3][2] = 101.5;  // equal, but later
  rs->LapSpeedMph[0][3] = 200;    // the grid is no lap
  rs->LapSpeedMph[6][3] = 300;    // past the race
  for (int car = 1; car <= kMaxCars; ++car) {
    rs->DriverName[car] = "Driver " + std::to_string(car);
    rs->CarTopSpeed[car] = 140;
    rs->CarDesign[car] = CarRatings{-1, 60, 40, 40, 5, 200};
  }
  rs->CarWetTires[2] = true;
  return rs;
}

TEST(SeasonFile, RaceFiguresCountTheLeadersByCarAndTheFastLap) {
  auto rs = SmallRace();
  const RaceFigures f = CountRaceFigures(*rs);
  EXPECT_EQ(std::tuple(f.CarLapsLed[1], f.CarLapsLed[2], f.CarLapsLed[3], f.MostLapsLed, f.PoleCar, f.FastLapCar),
            std::tuple(2, 0, 3, 3, 2, 1));
  rs->RaceLaps = 0;
  const RaceFigures none = CountRaceFigures(*rs);
  EXPECT_EQ(std::tuple(none.CarLapsLed[1], none.MostLapsLed, none.FastLapCar), std::tuple(0, 0, 0));
}

TEST(SeasonFile, MergeWritesTheRowByPlaceAndAdvancesUnlessStored) {
  for (bool stored : {false, true}) {
    auto s = SmallSeason();
    auto rs = SmallRace();
    MergeRaceResult(*s, *rs, CountRaceFigures(*rs), stored);
    const SeasonResult& r = s->Results[2];
    EXPECT_EQ(std::vector<int>(r.Finish.begin(), r.Finish.begin() + 5), (std::vector<int>{0, 3, 1, 2, 0}));
    EXPECT_EQ(std::vector<int>(r.LapsLed.begin(), r.LapsLed.begin() + 5), (std::vector<int>{0, 3, 2, 0, 0}));
    EXPECT_EQ(std::tuple(r.PoleCar, r.FastLapCar, r.MostLaps, s->NextRace, s->RaceStored),
              std::tuple(2, 1, 3, stored ? 2 : 3, stored));
    const CarRecord& c = s->Field[2].Car;
    EXPECT_EQ(std::tuple(c.DriverName, c.TopSpeed, c.StartSpeed, c.Acceleration, c.DRM, s->Field[2].WetTires),
              std::tuple("Driver 2", 200, 60, 40, -1, true));
    EXPECT_EQ(s->Results[1], SmallSeason()->Results[1]);
  }
}

TEST(SeasonFile, RaceResultsRoundTripByteForByte) {
  TempDir dir;
  auto rs = SmallRace();
  ApplySeason(*SmallSeason(), *rs, 1);
  std::tie(rs->track.TrackName, rs->track.TrackDistanceMiles, rs->CarsOut) = std::tuple("Oval", 0.75, 1);
  rs->CarWetTires[2] = true;
  rs->CarRaceClock[1] = 123.456;
  rs->LapGap[4][2] = -1.5;
  rs->LapWearsUsed[3][1] = 2;
  rs->QualifyTime[1] = 9001;
  rs->Highlights = {"Lap 1: Ann, Bo and Cy", "", "Fastest Lap"};
  const std::string path = RaceResultPath(dir.Root(), "Cup", 2);
  EXPECT_EQ(path, dir.Root() + "/CupRace2.res");
  const std::string stamp = ResultStamp(2026, 11, 24, 2, 16, 18, 25);
  ASSERT_EQ(WriteRaceResults(*rs, 2, path, kCars, stamp), std::nullopt);
  const std::string text = *ReadWholeFile(path);
  EXPECT_EQ(Lines(text).size(), 1u + 1 + 40 + 40 + 303 + 101 + 1 + 3 + 27);

  auto read = std::make_unique<RaceState>();
  RaceResultFile head;
  ASSERT_EQ(ReadRaceResults(*read, head, path, kCars), std::nullopt);
  EXPECT_EQ(std::tuple(head.Race, head.Stamp, read->Highlights, read->FinishOrder[1], read->CarWetTires[2]),
            std::tuple(2, "Tuesday, Nov 24 2026 - 04:18:25 PM", rs->Highlights, 3, true));
  ASSERT_EQ(WriteRaceResults(*read, head.Race, dir.File("again.res"), kCars, head.Stamp), std::nullopt);
  EXPECT_EQ(ReadWholeFile(dir.File("again.res")), text);

  // Cut inside the lap lines: line and field named, the state untouched.
  const std::string cut = Join(Lines(text), 90) + "1,2";
  dir.Add("cut.res", cut);
  read->Highlights = {"kept"};
  const std::optional<FileError> e = ReadRaceResults(*read, head, dir.File("cut.res"), kCars);
  ASSERT_TRUE(e.has_value());
  EXPECT_EQ(std::tuple(e->Code, e->Line, e->Field, read->Highlights[0]),
            std::tuple(FileErrorCode::PastEnd, 91, "LapSpeedMph 3", "kept"));
}

TEST(SeasonFile, ResultStampSpellsTheClockInTwelveHours) {
  EXPECT_EQ(ResultStamp(2026, 1, 4, 0, 0, 5, 9), "Sunday, Jan 4 2026 - 12:05:09 AM");
  EXPECT_EQ(ResultStamp(2027, 12, 31, 5, 12, 0, 0), "Friday, Dec 31 2027 - 12:00:00 PM");
  EXPECT_EQ(ResultStamp(2027, 6, 9, 3, 23, 59, 58), "Wednesday, Jun 9 2027 - 11:59:58 PM");
}

TEST(SeasonFile, OlderLayoutGivesHeaderPointsAndDriversOnly) {
  const std::string older = std::string(VELOMARK_FIXTURES) + "/season/Older.sea";
  auto s = SmallSeason();
  ASSERT_EQ(ReadOlderSeasonDrivers(*s, older, kCars), std::nullopt);
  const CarRecord& ann = s->Field[1].Car;
  EXPECT_EQ(std::tuple(s->Name, s->Races, s->Drivers, s->PointStructure[1], s->PointStructure[8], s->PointsPole,
                       s->PointsLeadMost),
            std::tuple("Old Cup", 2, 2, 10, 1, 3, 1));
  EXPECT_EQ(
      std::tuple(ann.StartSpeed, ann.TopSpeed, ann.DRM, ann.RaceProfile, ann.LapProfile, ann.Picture, ann.Team,
                 ann.RiskT, s->Field[1].WetTires, ann.PitStrategy, ann.WearBonus, ann.QualifyBonus),
      std::tuple(80, 200, -1, 1, 3, std::string(kCars) + "Formula\\Gifs\\Red", "Red Team", 25, true, 1, 0.5, 0.25));
  EXPECT_EQ(std::tuple(s->Field[2].Car.Picture, s->Field[3].Car.DriverName, s->Field[3].Car.TopSpeed),
            std::tuple("", "", 0));
  // What that layout does not hold stays as it was.
  EXPECT_EQ(std::tuple(s->NextRace, s->CarSetupPoints, s->Schedule[2].TrackFile, s->Results[1]),
            std::tuple(2, 9, "/data/Tracks/Quarry.trk", SmallSeason()->Results[1]));

  // A file of the present layout is not taken for the older one.
  TempDir dir;
  ASSERT_EQ(WriteSeasonFile(*SmallSeason(), dir.File("new.sea"), SeasonWriter::Create, kCars), std::nullopt);
  const std::optional<FileError> e = ReadOlderSeasonDrivers(*s, dir.File("new.sea"), kCars);
  ASSERT_TRUE(e.has_value());
  EXPECT_EQ(std::tuple(e->Line, e->Field, s->Name), std::tuple(29, "record end", "Old Cup"));
}

}  // namespace
}  // namespace vm
