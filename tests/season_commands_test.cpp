// A season played through: made, raced race by race by the computer, paused and resumed, and read
// back; each race scores once, a pause moves nothing on, and the season ends after its last race.
#include "season/season_commands.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <numeric>
#include <sstream>
#include <string>
#include <vector>

#include "ai/drivers.h"
#include "cli/commands.h"
#include "core/paths.h"
#include "core/race_log.h"
#include "core/random.h"
#include "core/textfile.h"
#include "core/track_file.h"
#include "core/units.h"
#include "engine/turn_engine.h"
#include "game/modes.h"
#include "game/race_files.h"
#include "season/season_file.h"
#include "tests/temp_dir.h"
#include "ui/scripted_console.h"

namespace vm {
namespace {

struct CliRun {
  int status;
  std::string out, err;
};

class SeasonCommandsTest : public ::testing::Test {
 protected:
  SeasonCommandsTest() { std::filesystem::copy(VELOMARK_DATA, data_, std::filesystem::copy_options::recursive); }

  CliRun Cli(std::vector<std::string> args) {
    args.insert(args.begin(), {"--data", data_});
    std::ostringstream out, err;
    const int status = RunCli(args, out, err);
    return {status, out.str(), err.str()};
  }

  // Six computer drivers over three two-lap races, scored 10-8-6-5-4-3 with no bonus.
  void NewSeason() {
    const CliRun r = Cli({"season", "new", Sea(), "--cars", data_ + "/Field40.crs", "--drivers", "6", "--race",
                          data_ + "/Tracks/Kestrel.trk:2", "--race", data_ + "/Tracks/Tarnock.trk:2", "--race",
                          data_ + "/Tracks/Porto.trk:2", "--points", "10,8,6,5,4,3", "--name", "Test Cup"});
    ASSERT_EQ(r.status, kExitOk) << r.err;
  }

  SeasonFileData Read() {
    SeasonFileData s;
    const std::optional<FileError> e = ReadSeasonFile(s, Sea(), data_ + "/Cars");
    EXPECT_FALSE(e) << (e ? e->Describe() : "");
    return s;
  }

  std::string Sea() const { return data_ + "/Season/Cup.sea"; }

  // A season race on the engine, driven by the computer, with the program's season hooks.
  struct Desk {
    Desk(const std::string& data, const std::string& sea, unsigned seed, std::vector<std::string> answers)
        : rng(seed), console(std::move(answers), false) {
      rs->GameMode = kModeSeason;
      g.AppPath = JoinPath(data, "");
      g.CarsFolder = JoinPath(data, "Cars");
      g.TracksFolder = JoinPath(data, "Tracks");
      g.SeasonFile = sea;
      UseAIDrivers(engine);
    }
    std::unique_ptr<RaceState> rs = std::make_unique<RaceState>();
    GameSession g;
    Random rng;
    ScriptedConsole console;
    HighlightList log{*rs};
    RaceEngine engine{*rs, rng, console, log};
    RaceFiles files{g, engine, ""};
    SeasonHooks hooks{.LoadSavedRace = [this] { return files.mnuFileLoadSavedRace(); },
                      .LoadTrack = [this] { return !LoadTrack(rs->track, g.PendingTrackFile); },
                      .SaveRace = [this] { return files.mnuRaceSave(); },
                      .EndRace = [this] { files.mnuRaceEndRace(); },
                      .Stamp = [] { return std::string("Tuesday, Nov 24 2026 - 05:00:00 PM"); }};
    SeasonCommands season{g, *rs, console, hooks};
  };

  testing_support::TempDir dir_;
  std::string data_ = dir_.File("data");
};

TEST_F(SeasonCommandsTest, ThreeRacesScoreOnceEachAndTheSeasonEnds) {
  NewSeason();
  int total = 0;
  for (int race = 1; race <= 3; ++race) {
    const CliRun r = Cli({"season", "race", Sea(), "--seed", std::to_string(race), "--json"});
    ASSERT_EQ(r.status, kExitOk) << r.err;
    const auto j = nlohmann::json::parse(r.out);
    EXPECT_EQ(std::tuple(j["Race"], j["NextRace"]), std::tuple(race, race + 1));
    ASSERT_EQ(j["Finish"].size(), 6U);
    EXPECT_TRUE(std::filesystem::exists(data_ + "/Season/CupRace" + std::to_string(race) + ".res"));
    // Every place of the six is scored: each race hands out 10+8+6+5+4+3 points in all.
    total = 0;
    for (const auto& row : j["Drivers"]) total += std::stoi(row["Total"].get<std::string>());
    EXPECT_EQ(total, race * 36);
    // The file keeps the finish as run, place by place.
    const SeasonFileData s = Read();
    for (int place = 1; place <= 6; ++place)
      EXPECT_EQ(s.Results[static_cast<size_t>(race)].Finish[static_cast<size_t>(place)], j["Finish"][place - 1]["Car"]);
  }
  const CliRun over = Cli({"season", "race", Sea()});
  EXPECT_EQ(std::tuple(over.status, over.out), std::tuple(kExitOk, "the season is over: 3 races run\n"));
  const SeasonFileData s = Read();
  EXPECT_EQ(std::tuple(s.NextRace, s.RaceStored), std::tuple(4, false));
  // The computer drove every car, but the file keeps who drives them in the season.
  EXPECT_EQ(Cli({"season", "show", Sea()}).out.find("HUMAN"), std::string::npos);
  // The printed standings: the season's page with every driver of the field.
  const CliRun report = Cli({"report", Sea(), "-o", data_ + "/Reports/cup.html"});
  ASSERT_EQ(report.status, kExitOk) << report.err;
  const std::string page = ReadWholeFile(data_ + "/Reports/cup.html").value_or("");
  EXPECT_NE(page.find("<TITLE>Velomark 2007 - Season Standings</TITLE>"), std::string::npos);
  for (int car = 1; car <= 6; ++car)
    EXPECT_NE(page.find(s.Field[static_cast<size_t>(car)].Car.DriverName), std::string::npos);
  // Usage and file failures say so.
  EXPECT_EQ(Cli({"season", "race"}).status, kExitUsage);
  EXPECT_EQ(Cli({"season", "show", data_ + "/Season/none.sea"}).status, kExitFileError);
  EXPECT_EQ(Cli({"season", "new", Sea(), "--cars", data_ + "/Field40.crs", "--race", "x.trk:0"}).status, kExitUsage);
}

// A season race paused between turns is saved beside the season and leaves the season where it
// was; "Next Race" takes it up again from its file, and its finish then scores once.
TEST_F(SeasonCommandsTest, APausedRaceIsKeptAndScoresOnceWhenFinished) {
  NewSeason();
  Desk d(data_, Sea(), 7, {"yes"});
  auto& [rs, g, rng, console, log, engine, files, hooks, season] = d;
  int finished = 0;
  engine.Seams.EndRace = [&](RuleContext&) {
    ++finished;
    season.RaceFinished();
  };

  season.mnuSeasonNextRace();
  ASSERT_FALSE(g.FatalLoadError);
  EXPECT_EQ(std::tuple(rs->track.TrackName, rs->CarCount), std::tuple("Kestrel Speedbowl", 6));
  engine.StartRace();
  for (int turn = 0; turn < 3; ++turn) engine.NextTurn();
  ASSERT_EQ(engine.WaitingFor(), Waiting::RaceControl);
  ASSERT_TRUE(engine.EndRaceRC());  // "yes" to the pause
  season.PauseRace();
  EXPECT_TRUE(std::filesystem::exists(ReplaceExtension(Sea(), ".rip")));
  EXPECT_TRUE(season.ShowSeasonAfterRace);
  EXPECT_EQ(finished, 1) << "the pause ends the race on the track";
  SeasonFileData s = Read();
  EXPECT_EQ(std::tuple(s.RaceStored, s.NextRace), std::tuple(true, 1));
  EXPECT_FALSE(std::filesystem::exists(data_ + "/Season/CupRace1.res")) << "a pause is no result";
  EXPECT_EQ(g[Cmd::mnuSeasonNextRace].Caption, "Resume Race");

  // Taken up again: the saved race goes on to its end and scores in race 1's row, once.
  season.mnuSeasonNextRace();
  ASSERT_TRUE(rs->RaceRunning);
  for (int turn = 0; turn < 400 && engine.WaitingFor() != Waiting::RaceOver; ++turn) engine.NextTurn();
  ASSERT_EQ(engine.WaitingFor(), Waiting::RaceOver);
  season.RaceFinished();  // a second call, as a window might make, changes nothing
  s = Read();
  EXPECT_EQ(std::tuple(s.RaceStored, s.NextRace, s.Results[1].Finish[1]), std::tuple(false, 2, rs->FinishOrder[1]));
  EXPECT_TRUE(std::filesystem::exists(data_ + "/Season/CupRace1.res"));
  EXPECT_EQ(std::tuple(g[Cmd::mnuSeasonNextRace].Caption, g[Cmd::mnuSeasonNextRace].Enabled),
            std::tuple("Next Race", true));
}

// A pause asked for in the middle of a race turn is refused with a reason: only a turn's start can
// be saved, and nothing about the race changes.
TEST_F(SeasonCommandsTest, APauseMidTurnIsRefused) {
  NewSeason();
  Desk d(data_, Sea(), 3, {});
  auto& [rs, g, rng, console, log, engine, files, hooks, season] = d;
  season.mnuSeasonNextRace();
  rs->CarIsAI[1] = false;  // a person drives car 1
  engine.StartRace();
  ASSERT_EQ(engine.WaitingFor(), Waiting::Speed);
  engine.NewSpeed(1);
  ASSERT_FALSE(engine.AtTurnStart());
  const Waiting before = engine.WaitingFor();
  EXPECT_FALSE(engine.EndRaceRC());
  ASSERT_FALSE(console.Messages().empty());
  EXPECT_EQ(std::tuple(console.Messages().back(), engine.WaitingFor(), rs->RaceRunning),
            std::tuple(kPauseBetweenTurnsText, before, true));
}

}  // namespace
}  // namespace vm
