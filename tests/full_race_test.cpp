// A whole race of six human drivers over three laps of the sample circuit, its script written by
// simple drivers as it runs, then played again through velomark-cli: the same seed and script
// must give the same race, to the last field.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "cli/commands.h"
#include "core/race_log.h"
#include "core/textfile.h"
#include "core/track_file.h"
#include "engine/turn_engine.h"
#include "rules/result_table_file.h"
#include "tests/rules_fixture.h"
#include "tests/temp_dir.h"
#include "tools/sample_tracks.h"

namespace vm {
namespace {

const std::vector<std::string> kDesigns = {"60,40,40,140,3,0", "80,40,40,160,2,1",  "60,60,40,140,3,-1",
                                           "60,40,60,180,2,2", "100,40,40,140,4,0", "60,40,40,200,1,1"};

// The demo of `velomark.sh play`: two cars within the 8 design points, raced over Tarnock.
const char* const kDemoDesign1 = "60,40,60,200,5,0";
const char* const kDemoDesign2 = "60,60,60,180,4,0";
constexpr int kDemoLaps = 3;

// Answers every table panel with its first option, and writes each answer into the script.
class RecordingConsole : public testing_support::AutoConsole {
 public:
  explicit RecordingConsole(std::vector<std::string>& script) : script_(script) {}
  bool AskYesNo(std::string_view, std::string_view) override {
    script_.push_back("yes");
    return true;
  }
  int ChooseOption(const ChoicePanel&) override {
    script_.push_back("choose 1");
    return 0;
  }

 private:
  std::vector<std::string>& script_;
};

// The limit of the cell at `space` in `lane`; a lane with no cell there reads as no limit, since
// the steering keeps a car off it.
int LaneLimit(const Track& t, int space, int lane) {
  return t.CellLaneRank[space][lane] > 0 && t.CellSpeedLimit[space][lane] > 0 ? t.CellSpeedLimit[space][lane]
                                                                              : kOpenStraight;
}

// The limit of the cell a step from the current car's place would reach: `side` -1 right,
// 0 straight, 1 left; a straight step passes over up to two skip cells.
int StepLimit(const RaceState& rs, int car, int side) {
  const Track& t = rs.track;
  const int lane = rs.CarLane[car] + side;
  int next = NextSpace(t, rs.CarSpace[car]);
  for (int k = 0; k < 2 && side == 0 && t.CellSkip[next][lane]; ++k) next = NextSpace(t, next);
  return lane < 1 || lane > kMaxLanes ? 0 : LaneLimit(t, next, lane);
}

// Whether a car going `speed` now can brake turn by turn, with its deceleration, for every limit
// along its lane.
bool CanBrake(const RaceState& rs, int car, int speed) {
  const Track& t = rs.track;
  const int lane = rs.CarLane[car];
  int index = rs.CarSpace[car];
  for (int s = speed, blocks = 0; s > 0 && blocks < 40; s -= std::max(rs.CarDeceleration[car], 20)) {
    for (int b = 0; b < s / 20; ++b, ++blocks) {
      index = NextSpace(t, index);
      for (int k = 0; k < 2 && t.CellSkip[index][lane]; ++k) index = NextSpace(t, index);
      if (LaneLimit(t, index, lane) < s) return false;
    }
  }
  return true;
}

// Drives the race as plain drivers. Careful ones take the fastest button that costs nothing and
// lets them brake for the curves of their lane; bold ones take the top button. Every car steers
// straight when it can, else left, else right, passing over a step whose cell is slower than
// its speed while another is open. With `allCareful` unset the even cars are bold.
std::vector<std::string> WriteScript(const Track& track, const ResultTables& tables,
                                     const std::vector<std::string>& designs = kDesigns, int laps = 3,
                                     bool allCareful = false) {
  auto rs = std::make_unique<RaceState>();
  rs->track = track;
  rs->Tables = tables;
  rs->GameMode = "Single";
  rs->RaceLaps = laps;
  rs->CarCount = static_cast<int>(designs.size());
  for (int car = 1; car <= rs->CarCount; ++car) {
    std::istringstream in(designs[static_cast<size_t>(car - 1)]);
    std::vector<int> v;
    for (std::string part; std::getline(in, part, ',');) v.push_back(std::stoi(part));
    rs->DriverName[car] = "Car " + std::to_string(car);
    rs->CarStartSpeed[car] = v[0];
    rs->CarAcceleration[car] = v[1];
    rs->CarDeceleration[car] = v[2];
    rs->CarTopSpeed[car] = v[3];
    rs->CarWearPerLap[car] = v[4];
    rs->CarDRM[car] = v[5];
  }
  std::vector<std::string> script;
  Random rng(1);
  RecordingConsole console(script);
  HighlightList log(*rs);
  RaceEngine engine(*rs, rng, console, log);
  auto say = [&](const std::string& line) { script.push_back(line); };
  engine.StartRace();
  for (int guard = 0; guard < 100000 && engine.WaitingFor() != Waiting::RaceOver; ++guard) {
    switch (engine.WaitingFor()) {
      case Waiting::Speed: {
        const int car = rs->CurrentCar;
        const bool bold = !allCareful && car % 2 == 0;
        int pick = -1;
        for (const SpeedButton& b : engine.SpeedPanel().Buttons) {
          if (!b.Enabled || !b.Seen || (!bold && b.Colour == kColourRed)) continue;
          if (pick < 0 || bold || CanBrake(*rs, car, b.Speed)) pick = b.Speed;
        }
        pick = std::max(pick, 0);
        say("speed " + std::to_string(pick));
        engine.NewSpeed(pick / 20);
        break;
      }
      case Waiting::Steering: {
        const SteeringPanel& p = engine.SteeringPanelShown();
        const std::pair<const SteeringButton*, const char*> order[] = {{&p.Straight, "straight"},
                                                                       {&p.Left, "left"},
                                                                       {&p.Right, "right"},
                                                                       {&p.InTurnLeft, "inturn-left"},
                                                                       {&p.InTurnRight, "inturn-right"}};
        std::string word = "end";
        SteeringCommand command = SteeringCommand::cmdEndEarly;
        const SteeringCommand commands[] = {SteeringCommand::cmdStraight, SteeringCommand::cmdLeft,
                                            SteeringCommand::cmdRight, SteeringCommand::cmdInTurnLeft,
                                            SteeringCommand::cmdInTurnRight};
        // The side each button steps to; the apex captions move the plain steps.
        const char apex = p.ApexDirection;
        const bool plain = apex == ' ' || apex == 'S';
        const int sides[] = {plain ? 0 : apex == 'L' ? 1 : -1, plain ? 1 : 0, plain ? -1 : 0, 1, -1};
        const int car = rs->CurrentCar;
        for (const bool slowerAllowed : {false, true}) {
          for (size_t k = 0; k < 5 && word == "end"; ++k) {
            if (!order[k].first->Visible || !order[k].first->Enabled) continue;
            if (!slowerAllowed && StepLimit(*rs, car, sides[k]) < rs->CarNewSpeed[car]) continue;
            word = order[k].second;
            command = commands[k];
          }
        }
        say(word);
        engine.Steer(command);
        break;
      }
      case Waiting::PitContinue:
        say("pit-continue");
        engine.PitContinue();
        break;
      case Waiting::RaceControl:
      case Waiting::Paused:
        say("finish-race");
        engine.FinishRace();
        break;
      case Waiting::RaceOver:
      case Waiting::Elsewhere:
      case Waiting::Nothing: ADD_FAILURE() << "the engine waits for nothing"; return script;
    }
  }
  EXPECT_EQ(engine.WaitingFor(), Waiting::RaceOver);
  return script;
}

TEST(FullRace, SixScriptedCarsRunThreeLapsToTheFlagAndAgainTheSame) {
  const testing_support::TempDir dir;
  const std::string trackFile = dir.File("Oval.trk");
  const Track track = SampleOval(trackFile);
  ASSERT_FALSE(SaveTrack(track, trackFile));
  const std::string tablesFile = std::string(VELOMARK_DATA) + "/Default.rst";
  ResultTables tables;
  ASSERT_FALSE(LoadResultTables(tables, tablesFile));
  Track loaded;
  ASSERT_FALSE(LoadTrack(loaded, trackFile));

  const std::vector<std::string> script = WriteScript(loaded, tables);
  std::string text = "# six cars, three laps\n";
  for (const std::string& line : script) text += line + "\n";
  const std::string scriptFile = dir.Add("race.txt", text);

  std::vector<std::string> dumps;
  for (const char* name : {"first.json", "second.json"}) {
    std::vector<std::string> args{"play", "--track",  trackFile,  "--tables",    tablesFile,    "--laps",
                                  "3",    "--script", scriptFile, "--dump-json", dir.File(name)};
    for (const std::string& d : kDesigns) {
      args.push_back("--car-design");
      args.push_back(d);
    }
    std::ostringstream out, err;
    ASSERT_EQ(RunCli(args, out, err), kExitOk) << err.str() << out.str();
    std::optional<std::string> dump = ReadWholeFile(dir.File(name));
    ASSERT_TRUE(dump);
    dumps.push_back(*dump);
  }
  EXPECT_EQ(dumps[0], dumps[1]);
  const nlohmann::json j = nlohmann::json::parse(dumps[0]);
  EXPECT_EQ(j["RaceOver"], true);
  EXPECT_EQ(j["FinishOrderCount"].get<int>() + j["CarsOut"].get<int>(), 6);
  EXPECT_GE(j["FinishOrderCount"].get<int>(), 1);
  EXPECT_FALSE(j["Highlights"].empty());
  EXPECT_GT(j["RndDrawn"].get<int>(), 0);
  // Every finisher ran the full distance.
  for (int place = 1; place <= j["FinishOrderCount"].get<int>(); ++place) {
    const int car = j["FinishOrder"][place];
    EXPECT_EQ(j["CarLap"][car], 4) << car;
  }
}

// The two-car race `velomark.sh play` shows on Tarnock runs to the flag from its shipped script,
// with both careful drivers finishing. With VELOMARK_WRITE_SCRIPTS set the script is written
// afresh first.
TEST(FullRace, TheShippedTarnockScriptBringsBothCarsToTheFlag) {
  const std::string data = VELOMARK_DATA;
  const std::string trackFile = data + "/Tracks/Tarnock.trk";
  const std::string tablesFile = data + "/Default.rst";
  const std::string scriptFile = data + "/Scripts/Tarnock-two-cars.txt";
  const std::vector<std::string> designs = {kDemoDesign1, kDemoDesign2};
  const std::string laps = std::to_string(kDemoLaps);
  if (std::getenv("VELOMARK_WRITE_SCRIPTS") != nullptr) {
    ResultTables tables;
    ASSERT_FALSE(LoadResultTables(tables, tablesFile));
    Track track;
    ASSERT_FALSE(LoadTrack(track, trackFile));
    std::string text = "# Two cars, " + laps +
                       " laps of Tarnock Park (velomark.sh play): each turn both choose a speed, then steer\n"
                       "# space by space. Both drivers keep to the speeds they can brake from for the curves ahead.\n";
    for (const std::string& line : WriteScript(track, tables, designs, kDemoLaps, true)) text += line + "\n";
    ASSERT_FALSE(WriteFileAtomic(scriptFile, text));
  }
  std::vector<std::string> args{"play",   "--track", trackFile,  "--tables", tablesFile,
                                "--laps", laps,      "--script", scriptFile};
  for (const std::string& d : designs) {
    args.push_back("--car-design");
    args.push_back(d);
  }
  std::ostringstream out, err;
  ASSERT_EQ(RunCli(args, out, err), kExitOk) << err.str() << out.str();
  const std::string text = out.str();
  const size_t over = text.find("race over\n");
  ASSERT_NE(over, std::string::npos) << text;
  // Both run the whole distance: "1. Car 2  4:12  3 laps  fastest ...  Finished".
  const std::string standings = text.substr(over);
  for (const char* place : {"\n1. Car ", "\n2. Car "}) {
    const size_t at = standings.find(place);
    ASSERT_NE(at, std::string::npos) << text;
    const std::string line = standings.substr(at + 1, standings.find('\n', at + 1) - at - 1);
    EXPECT_NE(line.find("  " + laps + " laps  "), std::string::npos) << line;
    EXPECT_TRUE(line.ends_with("  Finished")) << line;
  }
}

}  // namespace
}  // namespace vm
