#include "game/qualifying.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "core/track_file.h"
#include "tests/rules_fixture.h"
#include "tests/temp_dir.h"

namespace vm {
namespace {

using Rows = std::vector<std::vector<std::string>>;
using Words = std::vector<std::string>;
const std::string kFixtures = VELOMARK_FIXTURES;

// A scripted console that keeps every list it was shown.
class ListConsole : public ScriptedConsole {
 public:
  ListAnswer ShowList(const ListPanel& panel) override {
    Lists.push_back(panel);
    return ScriptedConsole::ShowList(panel);
  }
  std::vector<ListPanel> Lists;
};

// Human cars on the sample oval, RaceConfig.slq in the test's own folder, and a count of the races
// that reached the end-of-race handler the game had before qualifying.
class QualifyingTest : public testing_support::RaceBench {
 protected:
  QualifyingTest() {
    EXPECT_FALSE(LoadTrack(rs.track, kFixtures + "/Oval.trk"));
    rs.Tables = testing_support::UsualTables();
    rs.GameMode = "Single";
    rs.RaceLaps = 3;
    rs.QualifyingMethod = "Single Lap";
    Cars(2);
    engine.Seams.EndRace = [this](RuleContext&) { ++racesEnded; };
    q.emplace(engine, QualifyingFiles{Slq(), "", TrackLoaderFromFolder(kFixtures)});
  }

  void Cars(int count) {
    rs.CarCount = rs.CarsInFile = count;
    for (int car = 1; car <= count; ++car) {
      rs.DriverName[car] = "Car " + std::to_string(car);
      rs.CarStartSpeed[car] = 60;
      rs.CarAcceleration[car] = rs.CarDeceleration[car] = 40;
      rs.CarTopSpeed[car] = 200;
      rs.CarWearPerLap[car] = 3;
    }
  }
  std::string Slq() const { return dir.File("RaceConfig.slq"); }
  void Answer(std::initializer_list<const char*> answers) {
    for (const char* a : answers) lists.AddAnswer(a);
  }
  // One turn of the human at the prompt: a speed, then straight on until the move ends.
  void Turn(int mph) {
    ASSERT_EQ(engine.WaitingFor(), Waiting::Speed) << engine.WaitDescription();
    const int car = rs.CurrentCar;
    engine.NewSpeed(mph / 20);
    while (engine.WaitingFor() == Waiting::Steering && rs.CurrentCar == car) engine.Steer(SteeringCommand::cmdStraight);
  }
  // From the flying start in the outside lane: 21 turns at 140, no wear spent.
  void SteadyLap() {
    for (int t = 0; t < 21; ++t) Turn(140);
  }
  // The car at the prompt goes out as a crash leaves it, which ends its lap.
  void CrashLap() {
    const int car = rs.CurrentCar;
    rs.CarOutOfRace[car] = true;
    rs.CarStatus[car] = kOutOfRace;
    ClearCarCell(rs, car);
    ++rs.CarsOut;
    engine.NewSpeed(7);
  }
  std::vector<int> Order() const {
    return std::vector<int>(rs.RunningOrder.begin() + 1, rs.RunningOrder.begin() + 1 + rs.CarCount);
  }
  const ListPanel& LastList() const { return lists.Lists.back(); }

  testing_support::TempDir dir;
  ListConsole lists;
  RaceEngine engine{rs, rng, lists, log};
  int racesEnded = 0;
  std::optional<Qualifying> q;
};

TEST_F(QualifyingTest, StartSpeedAdjustRollsAgainForShortStintsAndAddsTheBonus) {
  const struct {
    int Strategy;
    bool PitOpen;
    int StartWears, Replenish;
    double Bonus;
    std::vector<double> Draws;
    const char* Adjust;
  } cases[] = {
      {0, true, 10, 5, 0, {0.5}, "25"},      {1, true, 10, 5, 0, {0.5, 0.5}, "50"},  // r 0.5: + Int(Rnd x 50)
      {1, true, 10, 7, 0, {0.5, 0.5}, "37"}, {1, true, 10, 8, 0, {0.5}, "25"},       // 0.7: + Int(Rnd x 25); 0.8
      {1, false, 10, 5, 0, {0.5}, "25"},     {1, true, 0, 5, 0, {0.5}, "25"},        // no pit lane; no allotment
      {0, false, 10, 5, 1.5, {0.5}, "70"},                                           // bonus x 30
  };
  rs.QualifyingMethod = "Start Speed";
  rs.CarCount = 1;
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    rng.Seed(1);
    rs.PitStrategy[1] = c.Strategy;
    rs.PitLaneOpen = c.PitOpen;
    rs.StartWearAllotment = c.StartWears;
    rs.PitReplenishment = c.Replenish;
    rs.CarQualifyBonus[1] = c.Bonus;
    rng.Script(c.Draws);
    Answer({"1"});
    ASSERT_TRUE(engine.RaceReset());
    EXPECT_EQ(LastList().Rows, (Rows{{"1", "Car 1", "", "60", c.Adjust}}));
    EXPECT_EQ(std::tuple(rng.Draws(), rs.CarNewSpeed[1], rs.LapOrder[0][1]), std::tuple(c.Draws.size(), 0, 1));
  }
}

TEST_F(QualifyingTest, StartSpeedGridsTheFastestFirstKeepsTiesAndRequalifiesWithNewDraws) {
  Cars(4);
  rs.QualifyingMethod = "Start Speed";
  rs.AllowRequalifying = true;
  rs.CarStartSpeed[2] = 80;
  rs.CarQualifyBonus[3] = 1;
  rs.CarIsAI[3] = true;
  // 6025, 8000, 6030, 6025; then 6049, 8000, 6030, 6049: each tie keeps the order it had.
  rng.Script({0.5, 0, 0, 0.5, 0.98, 0, 0, 0.99});
  Answer({"1", "2"});  // Requalify, OK
  ASSERT_TRUE(engine.RaceReset());
  EXPECT_EQ(lists.Lists[0].Rows, (Rows{{"1", "Car 2", "", "80", "0"},
                                       {"2", "Car 3", "", "60", "30"},
                                       {"3", "Car 1", "", "60", "25"},
                                       {"4", "Car 4", "", "60", "25"}}));
  EXPECT_EQ(lists.Lists[0].RowIsAI, (std::vector<bool>{false, true, false, false}));
  EXPECT_EQ(Order(), (std::vector<int>{2, 1, 4, 3}));
  EXPECT_EQ(std::vector<int>(rs.LapOrder[0].begin() + 1, rs.LapOrder[0].begin() + 5), Order());
  EXPECT_EQ(std::tuple(rng.Draws(), rs.CarSpace[2], rs.CarSpace[3]), std::tuple(8u, 120, 119));
}

TEST_F(QualifyingTest, RequalifyingIsOfferedOutsideASeasonWhenAllowedAndASeasonGridIsFixed) {
  const struct {
    const char* Method;
    const char* Mode;
    bool Allow;
    Words Buttons;
  } cases[] = {
      {"Start Speed", "Single", true, {"Requalify", "OK"}},
      {"Start Speed", "Single", false, {"OK"}},
      {"Start Speed", "Season", true, {"OK"}},
      {"Manually Set Starting Grid", "Single", true, {"Move Up", "Move Down", "Requalify", "OK"}},
      {"Manually Set Starting Grid", "Season", true, {"OK"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.Method) + " " + c.Mode);
    rs.QualifyingMethod = c.Method;
    rs.GameMode = c.Mode;
    rs.AllowRequalifying = c.Allow;
    lists.AddAnswer(std::to_string(c.Buttons.size()));  // OK
    ASSERT_TRUE(engine.RaceReset());
    EXPECT_EQ(std::tuple(LastList().Buttons, LastList().SelectionReturns), std::tuple(c.Buttons, c.Buttons.size() > 2));
  }
}

TEST_F(QualifyingTest, ManualGridMovesTheSelectedCarAndTheSelectionFollowsIt) {
  Cars(3);
  rs.QualifyingMethod = "Manually Set Starting Grid";
  // Up with nothing selected, and up from the top, do nothing; down twice; down from the bottom
  // does nothing; up; OK.
  Answer({"1", "select 1", "1", "2", "2", "2", "1", "3"});
  engine.StartRace();
  std::vector<int> selected;
  for (const ListPanel& p : lists.Lists) selected.push_back(p.Selected);
  EXPECT_EQ(selected, (std::vector<int>{-1, -1, 0, 0, 1, 2, 2, 1}));
  EXPECT_EQ(LastList().Rows, (Rows{{"1", "Car 2", "", "60"}, {"2", "Car 1", "", "60"}, {"3", "Car 3", "", "60"}}));
  EXPECT_EQ(Order(), (std::vector<int>{2, 1, 3}));
  EXPECT_EQ(std::tuple(rs.CarSpace[2], engine.WaitDescription()), std::tuple(120, std::string("car 2: speed")));
}

TEST_F(QualifyingTest, SingleLapTimesEachCarAloneThenGridsTheRaceFastestFirst) {
  Cars(3);
  rs.PitLaneOpen = true;
  rng.Script({0.25, 0.5});  // the grains of car 1's lap and car 2's
  engine.StartRace();
  EXPECT_EQ(std::tuple(rs.QualifyingListPending, rs.RaceRunning, rs.QualifyCarCount, rs.QualifyTime[3]),
            std::tuple(true, false, 3, 9003.0));
  Answer({"1"});  // Begin Qualifying Lap
  q->ShowPendingList();
  EXPECT_EQ(LastList().Rows[0], (Words{"1", "1", "Car 1", "", "-", "-", "-"}));
  // One car, one lap, from the last curve's outside limit, with no pit lane.
  EXPECT_EQ(std::tuple(rs.CarCount, rs.RaceLaps, rs.PitLaneOpen, rs.CarSpace[1], rs.CarLane[1], rs.CarSpeed[1]),
            std::tuple(1, 1, false, 100, 3, 140));
  SteadyLap();
  // The run-up counts with the lap, the last turn's unused share does not: 20 turns, grain Rnd / 20.
  EXPECT_DOUBLE_EQ(rs.QualifyTime[1], (20 + 0.25 / 20) * 4.5);
  EXPECT_DOUBLE_EQ(rs.QualifySpeed[1], 120 / ((20 + 0.25 / 20) * 4.5) * 90);

  Answer({"1", "1", "1"});  // Begin, then "Use 1 Wear" in each curve
  q->ShowPendingList();
  EXPECT_EQ(std::tuple(LastList().Shaded, rs.RunningOrder[1]), std::tuple(1, 2));
  for (int t = 0; t < 18; ++t) Turn(t < 2 ? 140 : 160);
  EXPECT_DOUBLE_EQ(rs.QualifyTime[2], (17.75 + 0.5 / 17.75) * 4.5);
  EXPECT_EQ(rs.QualifyWearsUsed[2], 2);

  Answer({"1"});
  q->ShowPendingList();
  CrashLap();
  EXPECT_EQ(std::tuple(rs.QualifyIndex, rs.QualifyingListPending, racesEnded), std::tuple(4, true, 0));

  Answer({"1"});  // Start Race
  q->ShowPendingList();
  EXPECT_EQ(std::tuple(LastList().Buttons, LastList().Shaded), std::tuple(Words{"Start Race"}, -1));
  EXPECT_EQ(LastList().Rows, (Rows{{"1", "2", "Car 2", "", "1:20.002", "135.00 mph", "3"},
                                   {"2", "1", "Car 1", "", "1:30.056", "119.93 mph", "3"},
                                   {"3", "3", "Car 3", "", "Crash", "0.00 mph", "3"}}));
  // The race as it was set up, gridded by lap speed.
  EXPECT_EQ(std::tuple(rs.CarCount, rs.RaceLaps, rs.PitLaneOpen, rs.QualifyingDone), std::tuple(3, 3, true, false));
  EXPECT_EQ(Order(), (std::vector<int>{2, 1, 3}));
  EXPECT_EQ(std::tuple(rs.CarSpace[2], engine.WaitDescription()), std::tuple(120, std::string("car 2: speed")));
  EXPECT_EQ(std::tuple(rng.Draws(), rng.ScriptLeft()), std::tuple(2u, 0u));
  lists.AddAnswer("yes");
  ASSERT_TRUE(engine.EndRaceRC());
  EXPECT_EQ(racesEnded, 1);
}

TEST_F(QualifyingTest, OneCarRunsOneLapThenOnlyStartsTheRace) {
  Cars(1);
  Answer({"1", "1"});
  engine.StartRace();
  q->ShowPendingList();
  SteadyLap();
  q->ShowPendingList();
  EXPECT_EQ(lists.Lists[1].Buttons, Words{"Start Race"});
  EXPECT_EQ(std::tuple(rs.CarCount, rs.RaceLaps, engine.WaitDescription()),
            std::tuple(1, 3, std::string("car 1: speed")));
}

// Cancelling from the list (asked twice) or a red flag on a lap: the race comes back as it was set
// up, and nothing starts.
TEST_F(QualifyingTest, CancelOrRedFlagCallsTheStartOff) {
  for (const bool redFlag : {false, true}) {
    SCOPED_TRACE(redFlag);
    rs.PitLaneOpen = true;
    lists.Lists.clear();
    Answer({"1"});
    engine.StartRace();
    q->ShowPendingList();
    if (redFlag) {
      Turn(140);
      lists.AddAnswer("yes");
      ASSERT_TRUE(engine.EndRaceRC());
    } else {
      CrashLap();
      Answer({"2", "no", "2", "yes"});
    }
    q->ShowPendingList();
    EXPECT_EQ(lists.Lists.size(), redFlag ? 1u : 3u);
    EXPECT_EQ(std::tuple(rs.RaceStartRefused, rs.CarCount, rs.RaceLaps, rs.PitLaneOpen, racesEnded),
              std::tuple(true, 2, 3, true, 0));
    EXPECT_EQ(std::tuple(rs.QualifyingListPending, rs.QualifyingLapRunning, rs.RaceRunning),
              std::tuple(false, false, false));
  }
}

TEST_F(QualifyingTest, PracticeNeverQualifies) {
  rs.GameMode = "Practice";
  for (const char* method : {"Start Speed", "Single Lap", "Manually Set Starting Grid"}) {
    rs.QualifyingMethod = method;
    engine.StartRace();
    EXPECT_EQ(std::tuple(rs.RaceRunning, rs.QualifyingListPending), std::tuple(true, false)) << method;
  }
  EXPECT_TRUE(lists.Lists.empty());
  EXPECT_FALSE(std::filesystem::exists(Slq()));
}

TEST_F(QualifyingTest, AScratchFileThatCannotBeWrittenOrReadCallsTheStartOff) {
  q.emplace(engine, QualifyingFiles{dir.File("none/RaceConfig.slq"), "", TrackLoaderFromFolder(kFixtures)});
  engine.StartRace();
  EXPECT_EQ(std::tuple(rs.RaceStartRefused, rs.QualifyingListPending, lists.Lists.size()), std::tuple(true, false, 0u));
  // Gone (reported), or damaged, before a lap.
  q.emplace(engine, QualifyingFiles{Slq(), "", TrackLoaderFromFolder(kFixtures)});
  for (const bool gone : {true, false}) {
    engine.StartRace();
    if (gone)
      std::filesystem::remove(Slq());
    else
      dir.Add("RaceConfig.slq", "\"Oval.trk\"\r\nthree\r\n");
    Answer({"1"});
    q->ShowPendingList();
    EXPECT_EQ(std::tuple(rs.RaceStartRefused, rs.QualifyingLapRunning, rs.RaceRunning, rs.CarCount),
              std::tuple(true, false, false, 2));
  }
  // Each refusal says why: an unwritable folder, the usual words for a missing file, a damaged line.
  const Words said = lists.Messages();
  ASSERT_EQ(said.size(), 3u);
  EXPECT_NE(said[0].find("none/RaceConfig.slq"), std::string::npos);
  EXPECT_EQ(said[1], "File  ' " + Slq() + " '  is missing or corrupt.  ");
  EXPECT_NE(said[2].find("line 2, field RaceLaps"), std::string::npos);
}

TEST(QualifyTimeText, ShowsThousandthsAndHoursOnlyWhenThereAreSome) {
  const std::pair<double, const char*> cases[] = {
      {59.9996, "1:00.000"}, {3723.5, "1:02:03.500"}, {0, "0:00.000"}, {-1.5, "-0:01.500"}};
  for (const auto& [seconds, text] : cases) EXPECT_EQ(QualifyTimeText(seconds), text) << seconds;
}

}  // namespace
}  // namespace vm
