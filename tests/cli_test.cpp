#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "cli/commands.h"
#include "core/race_state.h"
#include "core/textfile.h"
#include "core/track_file.h"
#include "game/race_config.h"
#include "rules/result_table_file.h"
#include "tests/temp_dir.h"
#include "tools/sample_tracks.h"

namespace vm {
namespace {

const std::string kOval = std::string(VELOMARK_FIXTURES) + "/Oval.trk";

struct CliRun {
  int status;
  std::string out, err;
};

CliRun Cli(std::vector<std::string> args) {
  std::ostringstream out, err;
  const int status = RunCli(args, out, err);
  return {status, out.str(), err.str()};
}

TEST(CliTrackInfo, PrintsTheBundledOvalAsJson) {
  CliRun r = Cli({"track-info", kOval, "--json", "--scan", "15", "1"});
  ASSERT_EQ(r.status, kExitOk) << r.err;
  const auto j = nlohmann::json::parse(r.out);
  EXPECT_EQ(j["Caption"], "Velomark Oval  (Sample Circuit, Bundled, 3 miles)");
  EXPECT_EQ(j["ChooserLines"].size(), 5u);
  EXPECT_EQ(std::tuple(j["TrackLength"], j["TrackLanes"], j["PitExitLaneAlt"]), std::tuple(120, 3, 3));
  // Spaces 16..21 walked: the curve at 21 is five cells away; the widest lane's 140 is reported.
  EXPECT_EQ(j["SpcSpd"], "5/140");
}

TEST(CliTrackInfo, TextFormNamesEachField) {
  // From space 55 the curve at 81 is 25 cells away.
  CliRun r = Cli({"track-info", kOval, "--scan", "55", "2"});
  ASSERT_EQ(r.status, kExitOk) << r.err;
  EXPECT_NE(r.out.find("Caption: Velomark Oval  (Sample Circuit, Bundled, 3 miles)\n"), std::string::npos);
  EXPECT_NE(r.out.find("  Racing Line: 120 spaces\n"), std::string::npos);
  EXPECT_NE(r.out.find("CurveCount: 2\n"), std::string::npos);
  EXPECT_NE(r.out.find("SpcSpd: 25+/140\n"), std::string::npos);
}

TEST(CliTrackInfo, FailuresExitWithStatusTwoAndSayWhy) {
  const testing_support::TempDir dir;
  const std::string bad = dir.Add("bad.trk", "1,\"A\",\"B\",\"C\",\"TAG\",0,0,0,0,0,7,10,10\r\n");

  CliRun missing = Cli({"track-info", dir.File("none.trk")});
  EXPECT_EQ(missing.status, kExitFileError);
  EXPECT_NE(missing.err.find("none.trk"), std::string::npos);

  CliRun hostile = Cli({"track-info", bad, "--json"});
  EXPECT_EQ(hostile.status, kExitFileError);
  EXPECT_NE(hostile.err.find("TrackLanes"), std::string::npos) << hostile.err;
  EXPECT_TRUE(hostile.out.empty());
}

TEST(CliTrackInfo, BadArgumentsAreUsageErrors) {
  const std::vector<std::vector<std::string>> cases = {
      {},
      {"fly"},
      {"track-info"},
      {"track-info", kOval, "--scan", "5"},
      {"track-info", kOval, "--scan", "x", "1"},
      {"track-info", kOval, "--scan", "0", "1"},
      {"track-info", kOval, "--scan", "121", "1"},
      {"track-info", kOval, "--scan", "5", "4"},
      {"track-info", kOval, "extra"},
      {"--rnd", "0.5,1", "track-info", kOval},
      {"--rnd", "abc", "track-info", kOval},
      {"--bogus", "track-info", kOval},
  };
  for (const auto& args : cases) {
    CliRun r = Cli(args);
    EXPECT_EQ(r.status, kExitUsage) << testing::PrintToString(args);
    EXPECT_FALSE(r.err.empty());
  }
  EXPECT_EQ(Cli({"--rnd", "0.5,.25", "track-info", kOval}).status, kExitOk);
}

TEST(SampleOval, FixtureFileIsWhatTheSampleBuilderWrites) {
  // The fixture must stay the builder's output byte for byte, and load back to it.
  const std::optional<std::string> fixture = ReadWholeFile(kOval);
  ASSERT_TRUE(fixture);
  EXPECT_EQ(*fixture, TrackFileText(SampleOval()));
  Track loaded;
  ASSERT_FALSE(LoadTrack(loaded, kOval));
  EXPECT_EQ(TrackFileText(loaded), *fixture);
}

const std::string kDefaultTables = std::string(VELOMARK_DATA) + "/Default.rst";

TEST(CliTables, PrintsEveryRowOfTheBundledTables) {
  CliRun r = Cli({"tables", kDefaultTables});
  ASSERT_EQ(r.status, kExitOk) << r.err;
  // A row a line: name, dice, low and high.
  EXPECT_EQ(r.out.substr(0, 22), "SS1 2 2 9\nSS2 0 10 12\n");
  EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 19);
  EXPECT_TRUE(r.err.empty());
}

TEST(CliTables, JsonGivesNameDiceLowAndHighPerRow) {
  const testing_support::TempDir dir;
  // Values as a hand-made file may hold them: a disabled first row, overlaps, an odd dice count.
  ResultTables odd;
  ASSERT_FALSE(LoadResultTables(odd, kDefaultTables));
  odd.SS1 = {2, 1, 1}, odd.SS2 = {0, 2, 12};
  odd.SD1 = {4, 1, 0};
  odd.W3 = {0, -32768, 32767};
  const std::string file = dir.Add("Odd.rst", ResultTablesText(odd));
  CliRun r = Cli({"tables", file, "--json"});
  ASSERT_EQ(r.status, kExitOk) << r.err;
  const auto j = nlohmann::json::parse(r.out);
  ASSERT_TRUE(j.is_array());
  ASSERT_EQ(j.size(), 19u);
  using nlohmann::json;
  EXPECT_EQ(j[0], json({{"name", "SS1"}, {"dice", 2}, {"low", 1}, {"high", 1}}));
  EXPECT_EQ(j[12], json({{"name", "SD1"}, {"dice", 4}, {"low", 1}, {"high", 0}}));
  EXPECT_EQ(j[18], json({{"name", "W3"}, {"dice", 0}, {"low", -32768}, {"high", 32767}}));
}

TEST(CliTables, FailuresExitWithStatusTwoAndSayWhere) {
  const testing_support::TempDir dir;
  const std::string bad = dir.Add("Bad.rst", "\"ResultTable\",2\r\n\"ResultTable\",2,9\r\n\"ResultTable\",x,12\r\n");

  CliRun missing = Cli({"tables", dir.File("None.rst")});
  EXPECT_EQ(missing.status, kExitFileError);
  EXPECT_EQ(missing.err.rfind("velomark-cli: " + dir.File("None.rst"), 0), 0u) << missing.err;
  EXPECT_TRUE(missing.out.empty());

  CliRun hostile = Cli({"tables", bad, "--json"});
  EXPECT_EQ(hostile.status, kExitFileError);
  EXPECT_EQ(hostile.err, "velomark-cli: " + bad + ", line 3, field SS2.RangeLow: expected a number, found \"x\"\n");
  EXPECT_TRUE(hostile.out.empty());
}

TEST(CliTables, BadArgumentsAreUsageErrors) {
  const std::vector<std::vector<std::string>> cases = {
      {"tables"},
      {"tables", "--json"},
      {"tables", kDefaultTables, "extra"},
      {"tables", kDefaultTables, "--csv"},
      {"tables", kDefaultTables, "--json", "--json", "extra"},
  };
  for (const auto& args : cases) {
    CliRun r = Cli(args);
    EXPECT_EQ(r.status, kExitUsage) << testing::PrintToString(args);
    EXPECT_FALSE(r.err.empty());
    EXPECT_TRUE(r.out.empty());
  }
  EXPECT_NE(Cli({"--help"}).out.find("tables FILE.rst [--json]"), std::string::npos);
}

// ---------------------------------------------------------------------------------------------
// play

const std::string kTables = std::string(VELOMARK_DATA) + "/Default.rst";
const std::string kDemo = std::string(VELOMARK_FIXTURES) + "/Oval-two-cars.txt";

std::vector<std::string> PlayArgs(const std::string& script, std::vector<std::string> more = {}) {
  std::vector<std::string> args{
      "play",         "--track",          kOval,    "--tables", kTables,    "--car-design", "60,40,40,140,3,0",
      "--car-design", "60,40,40,160,3,1", "--laps", "1",        "--script", script};
  args.insert(args.end(), more.begin(), more.end());
  return args;
}

TEST(CliPlay, TheBundledRaceRunsToTheFlagAndDumpsItsState) {
  const testing_support::TempDir dir;
  const std::string dump = dir.File("race.json");
  const CliRun r = Cli(PlayArgs(kDemo, {"--dump-json", dump}));
  ASSERT_EQ(r.status, kExitOk) << r.out << r.err;
  // 83.25 s is 18.5 turns: the last turn counts only the share the car used to reach the line.
  EXPECT_EQ(r.out,
            "race over\n"
            "1. Car 1  1:23.250  1 lap  fastest 130.91 MPH (lap 1)  Finished\n"
            "2. Car 2  1:32.250  1 lap  fastest 118.03 MPH (lap 1)  Finished\n");
  const std::optional<std::string> text = ReadWholeFile(dump);
  ASSERT_TRUE(text);
  const nlohmann::json j = nlohmann::json::parse(*text);
  EXPECT_EQ(j["CarLap"].size(), 41u);
  EXPECT_EQ(j["CarLap"][1], 2);
  EXPECT_EQ(j["FinishOrder"][1], 1);
  EXPECT_EQ(j["RaceOver"], true);
  // Car 1 paid a wear in each of the two curves; the start table was rolled twice, two dice each.
  EXPECT_EQ(j["CarWears"][1], 1);
  EXPECT_EQ(j["LapWearsUsed"][1][1], 2);
  EXPECT_EQ(j["RndDrawn"], 4);
  EXPECT_TRUE(j["track"]["CellOccupant"].empty());
  EXPECT_EQ(j["StateHash"].get<std::string>().size(), 16u);
  EXPECT_EQ(j["Tables"]["CH2"]["RangeLow"], 7);
  // The same script and seed give the same race.
  const CliRun again = Cli(PlayArgs(kDemo, {"--dump-json", dir.File("again.json")}));
  EXPECT_EQ(ReadWholeFile(dir.File("again.json")), text);
}

TEST(CliPlay, AScriptThatStopsShortSaysWhatTheRaceWaitsFor) {
  const testing_support::TempDir dir;
  const struct {
    const char* Script;
    std::string Said;
  } cases[] = {
      {"speed 60\n", "car 2: speed\n"},
      // Equal speeds on the front row: the car in the better lane steers first.
      {"speed 60\nspeed 60  # both\n\nstraight\n", "car 1: steering, 2 blocks left\n"},
      {"", "car 1: speed\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Script);
    const CliRun r = Cli(PlayArgs(dir.Add("s.txt", c.Script)));
    EXPECT_EQ(r.status, 3) << r.err;
    EXPECT_EQ(r.out, c.Said);
  }
}

TEST(CliPlay, ALineThatDoesNotFitNamesItsNumberAndWhatWasExpected) {
  const testing_support::TempDir dir;
  const struct {
    const char* Script;
    std::string Said;
  } cases[] = {
      {"straight\n",
       "line 1: \"straight\" does not fit: the car waits for its speed (speed MPH, tires wet|dry, autopilot)"},
      {"speed 60\n# x\nspeed 70\n", "line 3: \"speed 70\" does not fit: a speed is 0 to 240 in steps of 20"},
      {"speed 100\n", "line 1: \"speed 100\" does not fit: the 100 MPH button is not enabled"},
      {"speed 60\nspeed 60\nright\n", "line 3: \"right\" does not fit: the \"right\" button is not open for this step"},
      {"end-race\nmaybe\n",
       "line 2: \"maybe\" does not fit: expected yes or no for \"Are you sure you want to RED "
       "FLAG this race ?\""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Script);
    const CliRun r = Cli(PlayArgs(dir.Add("s.txt", c.Script)));
    EXPECT_EQ(r.status, kExitFileError);
    EXPECT_EQ(r.err, "play: " + c.Said + "\n");
  }
  // A red flag answered yes ends the race at once.
  const CliRun ended = Cli(PlayArgs(dir.Add("s.txt", "speed 60\nend-race\nyes\n")));
  EXPECT_EQ(ended.status, kExitOk) << ended.err;
  // Each car stands once in the standings: the header line and two cars.
  EXPECT_EQ(std::count(ended.out.begin(), ended.out.end(), '\n'), 3) << ended.out;
}

TEST(CliPlay, BadArgumentsAreUsageErrorsAndMissingFilesFileErrors) {
  const testing_support::TempDir dir;
  const std::string script = dir.Add("s.txt", "speed 60\n");
  EXPECT_EQ(Cli({"play", "--track", kOval, "--tables", kTables, "--script", script}).status, kExitUsage);
  EXPECT_EQ(Cli(PlayArgs(script, {"--cars", "x.crs"})).status, kExitUsage);
  EXPECT_EQ(Cli(PlayArgs(script, {"--car-design", "1,2,3"})).status, kExitUsage);
  EXPECT_EQ(Cli(PlayArgs(script, {"--laps", "0"})).status, kExitUsage);
  EXPECT_EQ(Cli(PlayArgs(script, {"--cars-racing", "3"})).status, kExitUsage);
  EXPECT_EQ(Cli(PlayArgs(script, {"--mode", "Season"})).status, kExitUsage);
  EXPECT_EQ(Cli(PlayArgs(script, {"--laps", "10", "--pits", "6"})).status, kExitUsage);
  EXPECT_EQ(Cli(PlayArgs(script, {"--pits", "1"})).status, kExitUsage);  // a 1-lap race has no pit stops
  EXPECT_EQ(Cli(PlayArgs(dir.File("none.txt"))).status, kExitFileError);
  std::vector<std::string> badTrack = PlayArgs(script);
  badTrack[2] = kTables;
  EXPECT_EQ(Cli(badTrack).status, kExitFileError);
}

// A one-lap race of two cars on the sample oval, as a configuration would hold it.
std::unique_ptr<RaceState> OvalRaceOfTwo(const std::string& qualifyingMethod) {
  auto rs = std::make_unique<RaceState>();
  EXPECT_FALSE(LoadTrack(rs->track, kOval));
  EXPECT_FALSE(LoadResultTables(rs->Tables, kTables));
  rs->RaceLaps = 1;
  rs->CarCount = rs->CarsInFile = 2;
  rs->QualifyingMethod = qualifyingMethod;
  return rs;
}

TEST(CliPlay, CarsComeFromACarFileOrARaceConfiguration) {
  const testing_support::TempDir dir;
  const std::string empty = dir.Add("empty.txt", "# nothing yet\n");
  // The bundled car file: car 1 is human and on pole, so the race waits for its speed.
  const CliRun fromFile = Cli({"play", "--track", kOval, "--tables", kTables, "--cars",
                               std::string(VELOMARK_DATA) + "/Default.crs", "--script", empty});
  EXPECT_EQ(fromFile.status, 3) << fromFile.err;
  EXPECT_EQ(fromFile.out, "car 1: speed\n");

  // A configuration holding the demo's track, tables, cars and laps replays the demo race.
  auto rs = OvalRaceOfTwo("Start Speed");
  for (int car : {1, 2}) {
    rs->DriverName[car] = "Car " + std::to_string(car);
    rs->CarStartSpeed[car] = 60;
    rs->CarAcceleration[car] = 40;
    rs->CarDeceleration[car] = 40;
    rs->CarWearPerLap[car] = 3;
  }
  rs->CarTopSpeed[1] = 140;
  rs->CarTopSpeed[2] = 160;
  rs->CarDRM[2] = 1;
  const std::string config = dir.File("demo.rac");
  ASSERT_FALSE(WriteRaceConfig(*rs, config, ""));
  const CliRun fromConfig = Cli({"play", "--config", config, "--qualifying", "none", "--script", kDemo});
  ASSERT_EQ(fromConfig.status, kExitOk) << fromConfig.err;
  EXPECT_EQ(fromConfig.out, Cli(PlayArgs(kDemo)).out);
  EXPECT_EQ(Cli({"play", "--config", config, "--cars", "x.crs", "--car-design", "60,40,40,140,3,0", "--script", kDemo})
                .status,
            kExitUsage);
}

// Both cars qualify alone on a flying lap from the last curve, car 1 steady at 140 MPH and car 2
// at 160 paying a wear in each curve, then race one lap from the grid their times made.
TEST(CliPlay, SingleLapQualifyingTimesEachCarThenRacesFromItsGrid) {
  const testing_support::TempDir dir;
  std::string script = "begin-lap\n";
  // A turn of `blocks` straight steps; "Use 1 Wear" after the step `wearAfter` that enters a curve.
  auto turn = [&script](int mph, int blocks, int wearAfter = 0) {
    script += "speed " + std::to_string(mph) + "\n";
    for (int b = 1; b <= blocks; ++b) script += b == wearAfter ? "straight\nchoose 1\n" : "straight\n";
  };
  for (int t = 0; t < 21; ++t) turn(140, 7);
  script += "begin-lap\n";
  for (int t = 0; t < 18; ++t) turn(t < 2 ? 140 : 160, t < 2 ? 7 : 8, t == 5 ? 3 : t == 12 ? 7 : 0);
  // The race: both from standstill at 60, then 100 to the flag; car 2 finishes first.
  script += "start-race\nspeed 60\nspeed 60\n";
  for (int b = 0; b < 6; ++b) script += "straight\n";
  for (int t = 0; t < 22; ++t) {
    script += "speed 100\nspeed 100\n";
    for (int b = 0; b < 10; ++b) script += "straight\n";
  }
  turn(100, 5);
  turn(100, 5);
  const std::string dump = dir.File("race.json");
  const CliRun r = Cli(PlayArgs(dir.Add("q.txt", script), {"--qualifying", "Single Lap", "--dump-json", dump}));
  ASSERT_EQ(r.status, kExitOk) << r.out << r.err;
  EXPECT_NE(r.out.find("Single Lap Qualifying - Results:   |  | Driver | Team | Time | Speed | Wr Used\n"
                       "  1 | 2 | Car 2 |  | 1:20.007 | 134.99 mph | 3\n"
                       "  2 | 1 | Car 1 |  | 1:30.158 | 119.79 mph | 3\n"
                       "race over\n"
                       "1. Car 2  1:39.900  1 lap  fastest 109.09 MPH (lap 1)  Finished\n"
                       "2. Car 1  1:50.700  1 lap  fastest 98.36 MPH (lap 1)  Finished\n"),
            std::string::npos)
      << r.out;
  const nlohmann::json j = nlohmann::json::parse(ReadWholeFile(dump).value_or("null"));
  EXPECT_EQ(std::tuple(j["QualifyIndex"], j["QualifyWearsUsed"][1], j["QualifyWearsUsed"][2]), std::tuple(3, 0, 2));
  EXPECT_EQ(std::tuple(j["CarCount"], j["RaceLaps"], j["QualifyingDone"]), std::tuple(2, 1, false));
  EXPECT_NEAR(j["QualifyTime"][2].get<double>(), 80.007, 0.0005);
  EXPECT_EQ(j["RndDrawn"], 2);
}

TEST(CliPlay, QualifyingListsTakeTheirWordsFromTheScript) {
  const testing_support::TempDir dir;
  const struct {
    std::vector<std::string> Args;
    const char* Script;
    int Status;
    std::string Ends;  // the end of standard output
  } cases[] = {
      // Rnd 0.1 and 0.9: 6005 against 6045.
      {{"--qualifying", "Start Speed", "--rnd", "0.1,0.9"},
       "grid-done\n",
       3,
       "  1 | Car 2 |  | 60 | 45\n  2 | Car 1 |  | 60 | 5\ncar 2: speed\n"},
      {{"--qualifying", "Manually Set Starting Grid"},
       "grid-select 2\ngrid-up\ngrid-done\n",
       3,
       "* 1 | Car 2 |  | 60\n  2 | Car 1 |  | 60\ncar 2: speed\n"},
      {{"--qualifying", "Single Lap"}, "cancel-race\nno\ncancel-race\nyes\n", kExitOk, "the start was called off\n"},
      {{"--qualifying", "Single Lap"}, "begin-lap\nspeed 140\nend-race\nyes\n", kExitOk, "the start was called off\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Script);
    const CliRun r = Cli(PlayArgs(dir.Add("s.txt", c.Script), c.Args));
    EXPECT_EQ(r.status, c.Status) << r.err;
    EXPECT_EQ(r.out.substr(r.out.size() - std::min(r.out.size(), c.Ends.size())), c.Ends) << r.out;
  }
  // A configuration brings its own method.
  auto rs = OvalRaceOfTwo("Manually Set Starting Grid");
  const std::string config = dir.File("manual.rac");
  ASSERT_FALSE(WriteRaceConfig(*rs, config, ""));
  const CliRun fromConfig = Cli({"play", "--config", config, "--script", dir.Add("s.txt", "")});
  EXPECT_EQ(fromConfig.status, 3) << fromConfig.err;
  EXPECT_NE(fromConfig.out.find("frmQualifyingManual (grid-up | grid-down | grid-done | grid-select K)"),
            std::string::npos)
      << fromConfig.out;
  EXPECT_EQ(Cli(PlayArgs(dir.Add("s.txt", ""), {"--qualifying", "Fastest"})).status, kExitUsage);
}

// A whole race with a pit stop and the weather, from the fixture script: the stop is logged, the
// lap it was made on is slower but counted, and the weather rolls on its cycle laps.
TEST(CliPlay, APitStopAndTheWeatherInATenLapRace) {
  const testing_support::TempDir dir;
  const std::string dump = dir.File("race.json");
  const CliRun r = Cli({"play", "--track", kOval, "--tables", kTables, "--car-design", "60,40,60,200,2,0", "--laps",
                        "10", "--pits", "1", "--weather", "--seed", "3", "--log", "--dump-json", dump, "--script",
                        std::string(VELOMARK_FIXTURES) + "/Oval-pits-weather.txt"});
  ASSERT_EQ(r.status, kExitOk) << r.err << r.out;
  for (const char* line :
       {"(Pre-Race) Weather - Cloudy (6), Track - Dry\n", "(Lap 4/Move 124) Weather - Improving (7), Track - Dry\n",
        "(Lap 5/Move 178) Enter Pit - Car 1, Wear Replenishment - Full Stop, Dry Tires\n",
        "(Lap 7/Move 244) Weather - Worsening (6), Track - Dry\n",
        "1. Car 1  27:06.000  10 laps  fastest 70.59 MPH (lap 6)  Finished\n"})
    EXPECT_NE(r.out.find(line), std::string::npos) << line << r.out;
  const nlohmann::json j = nlohmann::json::parse(ReadWholeFile(dump).value_or("null"));
  EXPECT_EQ(std::tuple(j["PitLaneOpen"], j["MinPitStops"], j["StartWearAllotment"], j["PitReplenishment"]),
            std::tuple(true, 1, 5, 5));
  EXPECT_EQ(std::tuple(j["WeatherCycles"], j["WeatherValue"], j["TrackCondition"], j["PitQueue"].size()),
            std::tuple(2, 6, "Dry", 0u));
  // The lap of the stop: 5 turns in the pit on top of the running.
  EXPECT_LT(j["LapSpeedMph"][5][1].get<double>(), j["LapSpeedMph"][4][1].get<double>());
  EXPECT_EQ(j["CarLap"][1], 11);
}

// The top-level fields in which two state dumps differ.
std::vector<std::string> DifferingKeys(const std::string& fileA, const std::string& fileB) {
  const auto a = nlohmann::json::parse(ReadWholeFile(fileA).value_or("{}"));
  const auto b = nlohmann::json::parse(ReadWholeFile(fileB).value_or("{}"));
  std::vector<std::string> keys;
  for (const auto& [key, value] : a.items())
    if (!b.contains(key) || b[key] != value) keys.push_back(key);
  return keys;
}

// Twenty computer drivers, pit stops and weather: saved at the end of turn 40 and resumed from the
// file alone, the race ends as the one run straight through, and saving it took nothing from it.
// Only what belongs to the program and not the race differs: the car file it loaded and where the
// pictures are looked for.
TEST(CliPlay, ARaceSavedAtATurnAndResumedEndsAsTheStraightRun) {
  const testing_support::TempDir dir;
  const std::string data = VELOMARK_DATA;
  const std::vector<std::string> race{"play",    "--track",      data + "/Tracks/Kestrel.trk", "--tables",
                                      kTables,   "--cars",       data + "/Field40.crs",        "--cars-racing",
                                      "20",      "--laps",       "12",                         "--pits",
                                      "1",       "--weather",    "--seed",                     "4"};
  auto with = [&](std::vector<std::string> more) {
    std::vector<std::string> args = race;
    args.insert(args.end(), more.begin(), more.end());
    return args;
  };
  const CliRun straight = Cli(with({"--dump-json", dir.File("straight.json")}));
  ASSERT_EQ(straight.status, kExitOk) << straight.err;
  const std::string rip = dir.File("turn40.rip");
  const CliRun saving = Cli(with({"--save-at", "40", rip, "--dump-json", dir.File("saving.json")}));
  ASSERT_EQ(saving.status, kExitOk) << saving.err;
  EXPECT_EQ(saving.out, "saved at the end of race turn 40: " + rip + "\n" + straight.out);
  EXPECT_EQ(ReadWholeFile(dir.File("saving.json")), ReadWholeFile(dir.File("straight.json")));
  const CliRun resumed = Cli({"play", "--resume", rip, "--dump-json", dir.File("resumed.json")});
  ASSERT_EQ(resumed.status, kExitOk) << resumed.err;
  EXPECT_EQ(resumed.out, straight.out);
  EXPECT_EQ(DifferingKeys(dir.File("straight.json"), dir.File("resumed.json")),
            (std::vector<std::string>{"CarPicture", "CarsInFile", "CurrentCarFile", "RaceConfigLoaded", "SavedRaceLaps",
                                      "StateHash"}));

  // What does not fit: a resumed race brings its own set-up; a turn the race never reaches saves
  // nothing; a damaged file is refused by line and field.
  EXPECT_EQ(Cli({"play", "--resume", rip, "--laps", "3"}).status, kExitUsage);
  EXPECT_EQ(Cli({"play", "--resume", rip, "--save-at", "x", "y"}).status, kExitUsage);
  const CliRun tooLate = Cli(PlayArgs(kDemo, {"--save-at", "9999", dir.File("never.rip")}));
  EXPECT_EQ(tooLate.status, kExitUsage);
  EXPECT_NE(tooLate.err.find("nothing was saved"), std::string::npos) << tooLate.err;
  EXPECT_FALSE(std::filesystem::exists(dir.File("never.rip")));
  std::string text = ReadWholeFile(rip).value();
  text.replace(text.find("\r\n20\r\n"), 6, "\r\n41\r\n");  // the car count
  const std::string bad = dir.Add("bad.rip", text);
  const CliRun refused = Cli({"play", "--resume", bad});
  EXPECT_EQ(refused.status, kExitFileError);
  EXPECT_NE(refused.err.find(", line 6, field CarCount: "), std::string::npos) << refused.err;
}

// The demonstration race with its second turn taken back and driven again: the race ends as
// before. Right after the first turn there is no turn before it to go back to.
TEST(CliPlay, UndoTakesTheLastTurnBackOnceAndTheRaceGoesOnFromThere) {
  const testing_support::TempDir dir;
  std::vector<std::string> lines;
  std::istringstream demo(ReadWholeFile(kDemo).value());
  for (std::string line; std::getline(demo, line);)
    if (!line.empty() && line[0] != '#') lines.push_back(line);
  constexpr size_t kTurn1 = 10, kTurn2 = 14;  // lines of the first two race turns
  auto script = [&](const std::vector<std::string>& parts) {
    std::string text;
    for (const std::string& part : parts) text += part + "\n";
    return dir.Add("script" + std::to_string(text.size()) + ".txt", text);
  };
  std::vector<std::string> redone(lines.begin(), lines.begin() + kTurn1 + kTurn2);
  redone.push_back("undo");
  redone.insert(redone.end(), lines.begin() + kTurn1, lines.end());
  const CliRun straight = Cli(PlayArgs(kDemo, {"--dump-json", dir.File("straight.json")}));
  const CliRun undone = Cli(PlayArgs(script(redone), {"--dump-json", dir.File("undone.json")}));
  ASSERT_EQ(undone.status, kExitOk) << undone.err << undone.out;
  EXPECT_EQ(undone.out, straight.out);
  // The undo file marks the race as loaded from a file, as any saved race.
  EXPECT_EQ(DifferingKeys(dir.File("straight.json"), dir.File("undone.json")),
            (std::vector<std::string>{"RaceConfigLoaded", "SavedRaceLaps", "StateHash"}));

  std::vector<std::string> tooSoon(lines.begin(), lines.begin() + kTurn1);
  tooSoon.push_back("undo");
  const CliRun first = Cli(PlayArgs(script(tooSoon)));
  EXPECT_EQ(first.status, kExitFileError);
  EXPECT_NE(first.out.find("UFB.rip '  is missing or corrupt.  "), std::string::npos) << first.out;
  EXPECT_NE(first.err.find("line 11: \"undo\" does not fit: the undo file could not be read"), std::string::npos)
      << first.err;
  std::vector<std::string> twice = redone;
  twice.insert(twice.begin() + kTurn1 + kTurn2 + 1, "undo");
  const CliRun again = Cli(PlayArgs(script(twice)));
  EXPECT_EQ(again.status, kExitFileError);
  EXPECT_NE(again.err.find("no race turn can be taken back now"), std::string::npos) << again.err;
}

// Older editors wrote names in Latin-1: whatever reads them, every output carries them as UTF-8.
TEST(CliPlay, Latin1NamesComeOutAsUtf8) {
  const testing_support::TempDir dir;
  const auto car = [](const std::string& name) {
    return "60,40,40,140,3,#FALSE#,2,2,2,\"Formula\\Gifs\\Red\",\"" + name +
           "\",0,\"\xc9quipe\",0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,\" \",\" \",\" \",\" \",\" \",\" \",\" \",\" \",\" "
           "\",\" \"\r\n";
  };
  const std::string cars = dir.Add("latin1.crs", "8\r\n2\r\n" + car("Ren\xe9 Dubois") + car("Zo\xeb Keller"));
  std::string trackText = ReadWholeFile(kOval).value_or("");
  trackText.replace(trackText.find("Velomark Oval"), 13, "Circuit de l'\xc9toile");
  const std::string track = dir.Add("Etoile.trk", trackText);
  const std::string empty = dir.Add("empty.txt", "# nothing yet\n");
  const std::string dump = dir.File("race.json");
  const struct {
    std::vector<std::string> Args;
    int Status;
    std::string Output;  // the file written, or "" for standard output
  } cases[] = {
      {{"cars", cars, "--json"}, kExitOk, ""},
      {{"track-info", track, "--json"}, kExitOk, ""},
      {{"play", "--track", track, "--tables", kTables, "--cars", cars, "--script", empty, "--dump-json", dump},
       3,
       dump},
  };
  for (const auto& c : cases) {
    const CliRun r = Cli(c.Args);
    EXPECT_EQ(r.status, c.Status) << c.Args[0] << ": " << r.err;
    const std::string text = c.Output.empty() ? r.out : ReadWholeFile(c.Output).value_or("");
    const nlohmann::json j = nlohmann::json::parse(text, nullptr, false);
    EXPECT_FALSE(j.is_discarded()) << c.Args[0];
    const bool hasCar = text.find("Ren\xc3\xa9 Dubois") != std::string::npos;
    const bool hasTrack = text.find("Circuit de l'\xc3\x89toile") != std::string::npos;
    EXPECT_TRUE(c.Args[0] == "track-info" ? hasTrack : hasCar) << c.Args[0] << ": " << text.substr(0, 300);
  }
  const nlohmann::json j = nlohmann::json::parse(ReadWholeFile(dump).value_or("null"));
  EXPECT_EQ(j["DriverName"][2], "Zo\xc3\xab Keller");
  EXPECT_EQ(j["CarTeam"][1], "\xc3\x89quipe");
  EXPECT_EQ(j["track"]["TrackName"], "Circuit de l'\xc3\x89toile");
}

TEST(CliCheck, LoadsEachKindOfFileByItsExtension) {
  const testing_support::TempDir dir;
  for (const char* file : {"Tracks/Tarnock.trk", "Default.crs", "Default.rst", "VMR.ini", "Teams.tms"}) {
    const CliRun r = Cli({"check", std::string(VELOMARK_DATA) + "/" + file});
    EXPECT_EQ(r.status, kExitOk) << file << r.out;
    EXPECT_EQ(r.out, "ok\n");
  }
  const std::string bad = dir.Add("bad.crs", "8\r\n2\r\n60,sixty\r\n");
  const CliRun r = Cli({"check", bad});
  EXPECT_EQ(r.status, kExitFileError);
  EXPECT_NE(r.out.find(", line 3, field "), std::string::npos) << r.out;
  EXPECT_EQ(Cli({"check", dir.Add("notes.txt")}).status, kExitUsage);
}

}  // namespace
}  // namespace vm
