// A race saved between two turns and taken up again goes on exactly as the race run straight
// through: forty computer drivers with the pit lane open and the weather changing, saved at
// several turns (one with cars standing in the pit lane, one with a weather roll due), each
// resumed in a fresh program state with the generator where it stood. And the undo files: their
// rotation, one level of undo, the turn taken back and run again to the same end.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "ai/drivers.h"
#include "cars/car_file.h"
#include "core/race_log.h"
#include "core/textfile.h"
#include "core/track_file.h"
#include "core/units.h"
#include "engine/laps.h"
#include "engine/turn_engine.h"
#include "game/race_files.h"
#include "game/race_setup.h"
#include "game/saved_race.h"
#include "rules/result_table_file.h"
#include "tests/rules_fixture.h"
#include "tests/temp_dir.h"

namespace vm {
namespace {

using testing_support::DifferingFields;
using testing_support::TempDir;

const std::string kData = VELOMARK_DATA;
constexpr int kLaps = 12;
constexpr int kPitStops = 1;
constexpr int kWeatherCycles = 4;
constexpr std::uint64_t kSeed = 23;

// Answers the weather setup with a few cycles; every other panel takes its default. Keeps what
// it was told.
class WeatherConsole : public testing_support::AutoConsole {
 public:
  void ShowMessage(std::string_view text, std::string_view, MessageKind) override { Told.emplace_back(text); }
  std::optional<std::string> ChooseFile(const FileDialogRequest& request) override {
    Asked.push_back(request);
    return Answer;
  }
  std::vector<std::string> Told;
  std::vector<FileDialogRequest> Asked;
  std::optional<std::string> Answer;  // the file the dialogs choose; none is a cancel
  int ChooseNumber(const NumberPanel& panel) override {
    return panel.Name == "frmWeatherSetup" ? std::clamp(kWeatherCycles, panel.Min, panel.Max) : panel.Value;
  }
};

// The field before the start, as a program has it after loading the cars, tables and track.
std::unique_ptr<RaceState> Field(const std::string& circuit) {
  auto rs = std::make_unique<RaceState>();
  EXPECT_FALSE(LoadCarFile(*rs, kData + "/Field40.crs", kData + "/Cars", SetupPointsRule::Replace));
  EXPECT_FALSE(LoadResultTables(rs->Tables, kData + "/Default.rst"));
  EXPECT_FALSE(LoadTrack(rs->track, circuit));
  rs->GameMode = std::string(kModeSingle);
  rs->QualifyingMethod = std::string(kQualifyStartSpeed);
  rs->RaceLaps = kLaps;
  rs->CarCount = kMaxCars;
  const WearAllotment allot = ComputeWearAllotment(kLaps, kPitStops);
  rs->PitLaneOpen = true;
  rs->MinPitStops = kPitStops;
  rs->StartWearAllotment = allot.StartWearAllotment;
  rs->PitReplenishment = allot.PitReplenishment;
  rs->WeatherEnabled = true;
  // A loaded race is marked as one from a file, with its laps kept: the straight run starts so too.
  rs->RaceConfigLoaded = true;
  rs->SavedRaceLaps = kLaps;
  return rs;
}

// One program: the state, the generator, the console and log, the engine with its AI drivers.
struct Program {
  explicit Program(std::unique_ptr<RaceState> state) : rs(std::move(state)), log(*rs), engine(*rs, rng, console, log) {
    UseAIDrivers(engine);
  }
  std::unique_ptr<RaceState> rs;
  Random rng{kSeed};
  WeatherConsole console;
  HighlightList log;
  RaceEngine engine;

  // Runs the race controls to the flag; returns the race turns run.
  int RunToEnd() {
    int turns = 0;
    while (engine.WaitingFor() == Waiting::RaceControl && turns < kLaps * 400) {
      engine.NextTurn();
      ++turns;
    }
    EXPECT_EQ(engine.WaitingFor(), Waiting::RaceOver);
    return turns;
  }
};

TEST(ResumeRace, SavedBetweenTurnsAndResumedEndsExactlyAsTheStraightRun) {
  const TempDir dir;
  const std::string circuit = testing_support::ShippedTracks().front();
  // The race run straight through, saved at the end of every turn that says something new: the
  // first with a car some turns from release in the pit lane, the first with a weather roll due,
  // the last lap, the first finishers. (That saving takes nothing from a race, the command line's
  // test shows.)
  Program saving(Field(circuit));
  std::map<std::string, std::string> saves;  // why -> file
  std::unique_ptr<RaceState> atFinishers;
  int turn = 0;
  saving.engine.Seams.SaveUndoFile = [&](RuleContext&) {
    ++turn;
    const RaceState& rs = *saving.rs;
    std::vector<std::string> reasons;
    const bool longStop =
        std::any_of(rs.PitQueue.begin(), rs.PitQueue.end(), [](const PitQueueEntry& e) { return e.ReleaseTurns >= 2; });
    if (longStop && !saves.count("pit lane")) reasons.push_back("pit lane");
    if (rs.WeatherRollPending && !saves.count("weather due")) reasons.push_back("weather due");
    if (rs.CarsFinished == 0 && rs.CarLap[RaceLeader(rs)] == kLaps && !saves.count("last lap"))
      reasons.push_back("last lap");
    if (rs.CarsFinished >= 3 && !saves.count("finishers")) {
      reasons.push_back("finishers");
      atFinishers = std::make_unique<RaceState>(rs);
    }
    for (const std::string& why : reasons) {
      saves[why] = dir.File(why + ".rip");
      ASSERT_FALSE(WriteSavedRace(rs, saves[why], kData + "/Cars", SavedRaceKind::Rip, &saving.rng));
    }
  };
  saving.engine.StartRace();
  saving.RunToEnd();
  const RaceState& straight = *saving.rs;
  ASSERT_GT(straight.CarsFinished, 20);
  for (const char* why : {"pit lane", "weather due", "last lap", "finishers"}) EXPECT_TRUE(saves.count(why)) << why;

  // The sanitizer build (which shortens the long races) takes up the late saves only: the early
  // ones are whole races again, and what they prove the plain build proves.
  const bool shortened = std::getenv("VELOMARK_STRESS_LAPS") != nullptr;
  for (const auto& [why, file] : saves) {
    SCOPED_TRACE(why);
    if (shortened && why != "last lap" && why != "finishers") continue;
    Program resumed(Field(circuit));
    resumed.rng.Seed(999);  // the file puts the generator back where it stood
    ASSERT_FALSE(ReadSavedRace(*resumed.rs, file, kData + "/Cars", SavedRaceKind::Rip,
                               TrackLoaderFromFolder(kData + "/Tracks"), &resumed.rng));
    EXPECT_EQ(CheckRaceState(*resumed.rs), std::vector<std::string>{});
    resumed.engine.StartRace(true);
    resumed.RunToEnd();
    EXPECT_EQ(DifferingFields(*resumed.rs, straight), std::vector<std::string>{});
    EXPECT_EQ(resumed.rng.Draws(), saving.rng.Draws());
  }

  // A file of the race's sections alone, as another writer leaves it: the counts, the finish order
  // and the fastest lap are worked out again from the tables.
  std::string text = *ReadWholeFile(saves["finishers"]);
  text.erase(text.find("#RESUME#"));
  auto bare = Field(circuit);
  ASSERT_FALSE(ParseSavedRace(*bare, text, "finishers.rip", kData + "/Cars", SavedRaceKind::Rip,
                              TrackLoaderFromFolder(kData + "/Tracks")));
  const RaceState& was = *atFinishers;
  EXPECT_EQ(std::tuple(bare->CarsOut, bare->CarsFinished, bare->FinishOrderCount, bare->FinishOrder),
            std::tuple(was.CarsOut, was.CarsFinished, was.FinishOrderCount, was.FinishOrder));
  EXPECT_EQ(std::tuple(bare->FastestLapMph, bare->FastestLapText), std::tuple(was.FastestLapMph, was.FastestLapText));
  EXPECT_EQ(bare->PitQueue.size(), was.PitQueue.size());
  EXPECT_EQ(CheckRaceState(*bare), std::vector<std::string>{});
}

// Car 40 is driven by a person who keeps to the slowest speed on offer above standing still and
// steers straight where it can, so the race stops at its speed panel every turn; the others are the AI's.
class UndoRace : public ::testing::Test {
 protected:
  UndoRace() : program(Field(testing_support::ShippedTracks().front())), files(session, program.engine, dir.Root()) {
    RaceState& rs = *program.rs;
    rs.CarIsAI[kHuman] = false;
    rs.QualifyingMethod = "none";
    session.CarsFolder = kData + "/Cars";
    session.TracksFolder = kData + "/Tracks";
  }

  // Drives the person's car through one race turn, to its next speed panel.
  void DriveTurn() {
    ASSERT_EQ(program.engine.WaitingFor(), Waiting::Speed);
    int slowest = 0;
    for (const SpeedButton& b : program.engine.SpeedPanel().Buttons)
      if (b.Enabled && b.Seen && b.Speed > 0 && slowest == 0) slowest = b.Speed;
    program.engine.NewSpeed(slowest / 20);
    for (int guard = 0; guard < 100 && program.engine.WaitingFor() == Waiting::Steering; ++guard) {
      const SteeringPanel& p = program.engine.SteeringPanelShown();
      SteeringCommand c = SteeringCommand::cmdEndEarly;
      if (p.Right.Visible && p.Right.Enabled) c = SteeringCommand::cmdRight;
      if (p.Left.Visible && p.Left.Enabled) c = SteeringCommand::cmdLeft;
      if (p.Straight.Visible && p.Straight.Enabled) c = SteeringCommand::cmdStraight;
      undoOfferedMidTurn = undoOfferedMidTurn || files.UndoEnabled();
      if (midTurn) midTurn();
      program.engine.Steer(c);
    }
    ASSERT_EQ(program.engine.WaitingFor(), Waiting::Speed);
  }

  static constexpr int kHuman = 40;
  bool undoOfferedMidTurn = false;
  std::function<void()> midTurn;  // called at each steering step of the person's car
  const TempDir dir;
  Program program;
  GameSession session;
  RaceFiles files;
};

TEST_F(UndoRace, RotatesTheFilesTakesOneTurnBackAndRunsItAgainToTheSameEnd) {
  RaceState& rs = *program.rs;
  // A stale file of an earlier race is no way back for this one.
  ASSERT_FALSE(WriteFileAtomic(files.OlderUndoFile(), "stale"));
  program.engine.StartRace();
  EXPECT_FALSE(files.UndoEnabled());  // nothing kept yet
  DriveTurn();
  EXPECT_TRUE(std::filesystem::exists(files.NewerUndoFile()));
  EXPECT_FALSE(std::filesystem::exists(files.OlderUndoFile()));
  const std::string atTurn2 = *ReadWholeFile(files.NewerUndoFile());
  const auto turn2 = std::make_unique<RaceState>(rs);
  const RandomState dice2 = program.rng.State();

  // Right after the first turn there is no older file: the standard message, and the race goes on.
  ASSERT_TRUE(files.UndoEnabled());
  EXPECT_FALSE(files.mnuRaceUndo());
  EXPECT_EQ(program.console.Told,
            std::vector<std::string>{"File  ' " + files.OlderUndoFile() + " '  is missing or corrupt.  "});
  EXPECT_TRUE(rs == *turn2);

  DriveTurn();
  EXPECT_EQ(*ReadWholeFile(files.OlderUndoFile()), atTurn2);
  const auto turn3 = std::make_unique<RaceState>(rs);
  ASSERT_TRUE(files.UndoEnabled());
  ASSERT_TRUE(files.mnuRaceUndo());
  // The race stands at the start of turn 2 again, taken back, and the command is spent.
  EXPECT_TRUE(rs.TurnWasUndone);
  auto expected = std::make_unique<RaceState>(*turn2);
  expected->TurnWasUndone = true;
  // The last move's working values, which the next move sets before it reads them, are the
  // file's own: the steering target cleared, the last roll and panel left as they were.
  const std::vector<std::string> working{"CanGoStraight", "TargetSpace", "TargetLane",    "Die1",
                                         "Die2",          "TableResult", "MoveStartSpace"};
  for (const std::string& name : DifferingFields(rs, *expected))
    EXPECT_TRUE(std::find(working.begin(), working.end(), name) != working.end()) << name;
  EXPECT_EQ(program.engine.WaitingFor(), Waiting::Speed);
  EXPECT_FALSE(files.UndoEnabled());
  EXPECT_FALSE(files.mnuRaceUndo());
  EXPECT_EQ(*ReadWholeFile(files.NewerUndoFile()), atTurn2);
  EXPECT_FALSE(std::filesystem::exists(files.OlderUndoFile()));

  // Run again with the same dice, the turn ends where it ended before; the way back is turn 2.
  program.rng.Restore(dice2);
  DriveTurn();
  EXPECT_EQ(DifferingFields(rs, *turn3), std::vector<std::string>{});
  EXPECT_EQ(*ReadWholeFile(files.OlderUndoFile()), atTurn2);
  EXPECT_TRUE(files.UndoEnabled());
  // A choice made ends the offer until the turn is over.
  EXPECT_GT(rs.CarMoveCount[kHuman], 0);
  EXPECT_FALSE(undoOfferedMidTurn);
}

TEST_F(UndoRace, NoUndoWhileDisabledAndNoFilesAfterTheRaceEnds) {
  RaceState& rs = *program.rs;
  rs.UndoDisabled = true;
  program.engine.StartRace();
  DriveTurn();
  DriveTurn();
  EXPECT_FALSE(files.UndoEnabled());
  EXPECT_FALSE(std::filesystem::exists(files.NewerUndoFile()));

  rs.UndoDisabled = false;
  DriveTurn();
  ASSERT_TRUE(files.UndoEnabled());
  const int startSpeed = rs.CarDesign[1].StartSpeed;
  rs.CarStartSpeed[1] = startSpeed - 20;  // damage of the race
  files.mnuRaceEndRace();
  EXPECT_EQ(program.engine.WaitingFor(), Waiting::RaceOver);
  EXPECT_TRUE(rs.RaceEndedByUser);
  EXPECT_EQ(rs.CarStartSpeed[1], startSpeed);
  EXPECT_FALSE(files.UndoEnabled());
  EXPECT_FALSE(std::filesystem::exists(files.NewerUndoFile()));
  EXPECT_TRUE(session[Cmd::mnuRaceSetup].Enabled);
  EXPECT_FALSE(session[Cmd::mnuRaceUndo].Enabled);
}

// The menu's save and load: a dialog outside a Season, the season's own file in one; a cancel
// changes nothing; a race mid-turn cannot be saved.
TEST_F(UndoRace, SaveAndLoadThroughTheDialogsOrTheSeasonsFile) {
  RaceState& rs = *program.rs;
  program.engine.StartRace();
  DriveTurn();
  WeatherConsole& ui = program.console;
  EXPECT_FALSE(files.mnuRaceSave());  // cancelled
  ASSERT_EQ(ui.Asked.size(), 1u);
  EXPECT_EQ(std::tuple(ui.Asked[0].Save, ui.Asked[0].Title, ui.Asked[0].Filter, ui.Asked[0].InitialFolder),
            std::tuple(true, std::string("Save Race"), std::string("Race In Progress Files (*.rip)|*.rip"),
                       std::string("Races In Progress")));
  ui.Answer = dir.File("Mine.rip");
  ASSERT_TRUE(files.mnuRaceSave());
  EXPECT_EQ(session.StatusText, "Mine.rip");
  const auto saved = std::make_unique<RaceState>(rs);

  DriveTurn();
  ui.Answer.reset();
  EXPECT_FALSE(files.mnuFileLoadSavedRace());
  EXPECT_EQ(session.ModeChoice, "Cancel");
  ui.Answer = dir.File("Mine.rip");
  ASSERT_TRUE(files.mnuFileLoadSavedRace());
  EXPECT_TRUE(session.RaceLoaded);
  EXPECT_EQ(program.engine.WaitingFor(), Waiting::Speed);
  EXPECT_EQ(rs.CarLap, saved->CarLap);
  EXPECT_EQ(rs.CarRaceClock, saved->CarRaceClock);
  // The undo files were another race's: a loaded race keeps none until its first turn ends.
  EXPECT_FALSE(std::filesystem::exists(files.NewerUndoFile()));

  // Mid-turn there is nothing whole to save.
  int steps = 0, midTurnSaves = 0;
  midTurn = [&] {
    ++steps;
    midTurnSaves += files.mnuRaceSave() ? 1 : 0;
  };
  DriveTurn();
  midTurn = nullptr;
  EXPECT_GT(steps, 0);
  EXPECT_EQ(midTurnSaves, 0);

  // In a Season the race goes beside the season's file, with no question.
  rs.GameMode = std::string(kModeSeason);
  session.SeasonFile = dir.File("Tour.sea");
  const size_t asked = ui.Asked.size();
  ASSERT_TRUE(files.mnuRaceSave());
  EXPECT_EQ(ui.Asked.size(), asked);
  EXPECT_TRUE(session.SeasonRaceStored);
  EXPECT_TRUE(std::filesystem::exists(dir.File("Tour.rip")));
}

// Undo files go to the data folder when it can be written, else to the per-user folder; a data
// folder that can be written is played in where it is.
TEST(UndoFolder, TheDataFolderOrElseThePerUserOne) {
  const TempDir dir;
  EXPECT_EQ(UndoFolderFor(dir.Root()), dir.Root() + "/");
  EXPECT_EQ(PlayableDataFolder(dir.Root()), dir.Root());
  const char* was = std::getenv("XDG_DATA_HOME");
  const std::string kept = was != nullptr ? was : "";
  ::setenv("XDG_DATA_HOME", dir.File("share").c_str(), 1);
  EXPECT_EQ(UndoFolderFor(dir.File("no/such/folder")), dir.File("share/velomark") + "/");
  EXPECT_TRUE(std::filesystem::is_directory(dir.File("share/velomark")));
  if (was != nullptr)
    ::setenv("XDG_DATA_HOME", kept.c_str(), 1);
  else
    ::unsetenv("XDG_DATA_HOME");
}

}  // namespace
}  // namespace vm
