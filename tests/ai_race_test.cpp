// Forty computer drivers race five laps of every shipped circuit with no one at the machine:
// every car takes the flag or goes out with its reason in the log, the race state stays sound
// after every pass, the same seed gives the same race, and the bench's signature holds.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "ai/profiles.h"
#include "cars/car_file.h"
#include "cli/bench_command.h"
#include "cli/commands.h"
#include "core/textfile.h"
#include "core/track_file.h"
#include "rules/result_table_file.h"
#include "tests/round_trip.h"
#include "tests/rules_fixture.h"
#include "tests/temp_dir.h"

namespace vm {
namespace {

const std::string kData = VELOMARK_DATA;
constexpr int kLaps = 5;
constexpr int kSaveEvery = 25;  // race turns between two trips through a saved race

std::vector<std::string> Circuits() { return testing_support::ShippedTracks(); }

std::unique_ptr<RaceState> Field(const std::string& circuit) {
  auto rs = std::make_unique<RaceState>();
  EXPECT_FALSE(LoadCarFile(*rs, kData + "/Field40.crs", kData + "/Cars", SetupPointsRule::Replace));
  EXPECT_FALSE(LoadResultTables(rs->Tables, kData + "/Default.rst"));
  EXPECT_FALSE(LoadTrack(rs->track, circuit));
  rs->GameMode = "Single";
  rs->QualifyingMethod = "none";
  rs->RaceLaps = rs->StartWearAllotment = kLaps;
  rs->CarCount = kMaxCars;
  return rs;
}

// The log line that tells why a car went out: a crash with its reason, or a stall on the grid.
bool LoggedOut(const RaceState& rs, int car) {
  for (const std::string& line : rs.Highlights)
    if ((line.find(") Crash - ") != std::string::npos || line.find(") Out Of Race, Stalled - ") != std::string::npos) &&
        line.find(rs.DriverName[car]) != std::string::npos)
      return true;
  return false;
}

TEST(AIRace, FortyComputerDriversRaceEveryCircuitToTheFlag) {
  for (const std::string& circuit : Circuits()) {
    SCOPED_TRACE(circuit);
    auto rs = Field(circuit);
    std::vector<std::string> faults;
    int turn = 0;
    const AIRaceResult r = RunAIRace(*rs, 11, [&] {
      for (const std::string& f : CheckRaceState(*rs))
        if (faults.size() < 10) faults.push_back(f);
      // Every so often the race goes through a saved race and back: nothing of it is lost.
      if (++turn % kSaveEvery != 0) return;
      for (const std::string& f : testing_support::SavedRaceRoundTripFaults(*rs))
        if (faults.size() < 10) faults.push_back("turn " + std::to_string(turn) + ": " + f);
    });
    EXPECT_TRUE(r.Ended);
    EXPECT_TRUE(faults.empty()) << faults.front();
    EXPECT_EQ(r.Finished + r.Out, kMaxCars);
    for (int car = 1; car <= kMaxCars; ++car) {
      if (rs->CarOutOfRace[car]) {
        EXPECT_TRUE(LoggedOut(*rs, car)) << rs->DriverName[car];
      } else {
        EXPECT_EQ(rs->CarLap[car], kLaps + 1) << rs->DriverName[car];
      }
    }
    // The same seed runs the same race to the last field (once is enough: the bench repeats too).
    if (circuit != Circuits().front()) continue;
    auto again = Field(circuit);
    RunAIRace(*again, 11);
    EXPECT_EQ(RaceStateHash(*again), RaceStateHash(*rs));
  }
}

TEST(AIRace, TheBenchSignsItsResultsTheSameEveryRun) {
  std::string text;
  auto bench = [&text](const char* filesLap) {
    std::ostringstream out, err;
    EXPECT_EQ(RunCli({"--data", kData, "bench", "--laps", "2", "--cars", "12", "--seed", "5", "--files-lap", filesLap},
                     out, err),
              kExitOk)
        << err.str();
    text = out.str();
    const size_t at = text.find("Signature: ");
    return at == std::string::npos ? std::string() : text.substr(at);
  };
  // Pinned: a change of any rule, draw or AI choice shows here first. Say so when it moves.
  const std::string first = bench("1");
  EXPECT_EQ(first, "Signature: 535ba4c7ffbc3e0e\n");
  // The saved-race files are timed on a race of their own: the signature does not see them.
  EXPECT_NE(text.find("\nundo file write: "), std::string::npos) << text;
  EXPECT_NE(text.find(" ms per turn (40 cars, 100 laps)\nsaved race load: "), std::string::npos) << text;
  EXPECT_EQ(bench("0"), first);
  EXPECT_EQ(text.find("undo file write"), std::string::npos);
  std::ostringstream out, err;
  EXPECT_EQ(RunCli({"bench", "--laps", "0"}, out, err), kExitUsage);
  EXPECT_EQ(RunCli({"--data", "/nonexistent", "bench"}, out, err), kExitFileError);
}

// A race of computer drivers needs no script and runs to its standings; a person's car needs one.
TEST(AIRace, PlayRunsAComputerFieldWithoutAScript) {
  std::ostringstream out, err;
  const std::vector<std::string> race = {"play",
                                         "--track",
                                         kData + "/Tracks/Kestrel.trk",
                                         "--tables",
                                         kData + "/Default.rst",
                                         "--cars",
                                         kData + "/Field40.crs",
                                         "--cars-racing",
                                         "6",
                                         "--laps",
                                         "2"};
  ASSERT_EQ(RunCli(race, out, err), kExitOk) << err.str();
  EXPECT_NE(out.str().find("race over\n1. "), std::string::npos) << out.str();
  // The leaderboard: a line as the leader starts each lap, cars by number and name, before the end.
  std::vector<std::string> withBoard = race;
  withBoard.push_back("--leaderboard");
  std::ostringstream boardOut, boardErr;
  ASSERT_EQ(RunCli(withBoard, boardOut, boardErr), kExitOk) << boardErr.str();
  const std::string board = boardOut.str();
  EXPECT_EQ(board.find("Lap 1 of 2:  1. #"), 0u) << board;
  EXPECT_LT(board.find("\nLap 2 of 2:  1. #"), board.find("race over")) << board;
  EXPECT_EQ(board.substr(board.find("race over")), out.str());
  // "autopilot" hands a person's car to the AI for the turn: it chooses a speed and drives.
  const testing_support::TempDir dir;
  const std::string dump = dir.File("d.json");
  std::ostringstream pilotOut, pilotErr;
  EXPECT_EQ(
      RunCli({"play", "--track", kData + "/Tracks/Kestrel.trk", "--tables", kData + "/Default.rst", "--car-design",
              "60,40,40,180,4,0", "--script", dir.Add("s.txt", "autopilot\n"), "--dump-json", dump},
             pilotOut, pilotErr),
      3)
      << pilotErr.str();
  EXPECT_EQ(pilotOut.str(), "car 1: speed\n");
  const nlohmann::json j = nlohmann::json::parse(ReadWholeFile(dump).value_or("null"));
  EXPECT_GT(j["CarSpeed"][1].get<int>(), 0);
  EXPECT_EQ(j["CarIsAI"][1], false);  // back to its driver after the turn

  std::vector<std::string> human = race;
  human[6] = kData + "/Default.crs";  // its first car is a person's
  EXPECT_EQ(RunCli(human, out, err), kExitUsage);
  EXPECT_NE(err.str().find("car 1 is driven by a person: give its choices with --script"), std::string::npos);
}

// The profile and risk texts the setup grid and the reports print.
TEST(AIProfiles, TextsForTheGridAndReports) {
  auto rs = std::make_unique<RaceState>();
  const struct {
    int Lap, Race;
    const char* Text;
  } cases[] = {{1, 2, "LP-E/RP-S"}, {3, 1, "LP-L/RP-E"}, {2, 3, "LP-S/RP-L"}, {0, 2, "RP-S"}, {1, 4, "LP-E/"}};
  for (const auto& c : cases) {
    rs->CarLapProfile[5] = c.Lap;
    rs->CarRaceProfile[5] = c.Race;
    EXPECT_EQ(ProfileText(*rs, 5), c.Text) << c.Lap << "/" << c.Race;
  }
  rs->CarRiskSS[5] = 50;
  rs->CarRiskA[5] = 10;
  rs->CarRiskD[5] = 8;
  rs->CarRiskT[5] = 6;
  rs->CarRiskC[5] = 4;
  rs->CarRiskCA[5] = 2;
  EXPECT_EQ(RiskText(*rs, 5), "50/10/8/6/4/2");
}

}  // namespace
}  // namespace vm
