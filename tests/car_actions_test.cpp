// The whole-field actions of the car setup: the track's setup and its variation, random cars
// that land on the design points, random driver profiles and the copy commands, checked on
// the cars they must change and the cars they must leave alone.
#include "cars/car_actions.h"

#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "cars/car_file.h"
#include "cars/car_setup.h"
#include "core/paths.h"
#include "core/track_file.h"
#include "game/modes.h"
#include "tests/temp_dir.h"
#include "ui/scripted_console.h"

namespace vm {
namespace {

using testing_support::TempDir;
using Design = std::array<int, 5>;        // start, acceleration, deceleration, top speed, wear
const Design kPorto{40, 60, 80, 160, 6};  // the setup Porto recommends

// Odd cars are driven by the computer, even ones by people; every car has its own driver,
// team, picture and profile so that a copy that reaches too far shows.
std::unique_ptr<RaceState> Field(int points) {
  auto rs = std::make_unique<RaceState>();
  rs->CarsInFile = rs->CarCount = kMaxCars;
  rs->CarSetupPoints = points;
  for (int car = 1; car <= kMaxCars; ++car) {
    CarRecord c;
    const std::string n = std::to_string(car);
    c.IsAI = car % 2 == 1, c.DriverName = "Driver " + n, c.Team = "Team " + n;
    c.Picture = "/Cars/Formula\\Gifs\\Car" + n;
    c.StartSpeed = 60, c.TopSpeed = 200, c.DRM = -1, c.RaceProfile = 1 + car % 3, c.RiskC = car % 26;
    c.PitStrategy = 1, c.WearBonus = 0.5, c.QualifyBonus = 0.25;
    PutCar(*rs, car, c);
    rs->CarWetTires[car] = true;
  }
  return rs;
}

Design DesignOf(const RaceState& rs, int car) {
  return {rs.CarStartSpeed[car], rs.CarAcceleration[car], rs.CarDeceleration[car], rs.CarTopSpeed[car],
          rs.CarWearPerLap[car]};
}

void SetDesign(RaceState& rs, int car, const Design& d) {
  std::tie(rs.CarStartSpeed[car], rs.CarAcceleration[car], rs.CarDeceleration[car], rs.CarTopSpeed[car],
           rs.CarWearPerLap[car]) = std::tuple(d[0], d[1], d[2], d[3], d[4]);
}

TEST(TrackSetupVariation, MovesOnePointFromAHighRatingToALowOne) {
  struct Case {
    const char* what;
    Design before;
    std::vector<double> draws;
    Design after;
    int costChange;
  } cases[] = {
      // Nothing high: the lowering draw finds nothing, the raise picks the k-th of all five.
      {"none high, first", {40, 40, 40, 160, 6}, {0.7, 0.0}, {60, 40, 40, 160, 6}, 1},
      {"none high, third", {40, 40, 40, 160, 6}, {0.7, 0.5}, {40, 40, 60, 160, 6}, 1},
      {"none high, last", {40, 40, 40, 160, 6}, {0.0, 0.99}, {40, 40, 40, 160, 7}, 1},
      {"all high", {60, 60, 60, 180, 7}, {}, {60, 60, 60, 180, 7}, 0},
      // High: start, deceleration, top speed. k = 2 lowers deceleration; k = 2 of the others
      // raises wear.
      {"three high", {80, 40, 60, 200, 5}, {0.5, 0.6}, {80, 40, 40, 200, 6}, 0},
      {"three high, ends", {80, 40, 60, 200, 5}, {0.0, 0.0}, {60, 60, 60, 200, 5}, 0},
      {"four high", {60, 60, 60, 180, 5}, {0.99, 0.3}, {60, 60, 60, 160, 6}, 0},
      // Wear counts as high only above 6, and falls by one.
      {"wear high", {40, 20, 20, 140, 8}, {0.0, 0.99}, {40, 20, 20, 160, 7}, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    auto rs = Field(8);
    SetDesign(*rs, 3, c.before);
    const int cost = *CarDesignCost(*rs, 3);
    Random rng;
    rng.Script(c.draws);
    VaryTrackSetup(*rs, 3, rng);
    EXPECT_EQ(DesignOf(*rs, 3), c.after);
    EXPECT_EQ(*CarDesignCost(*rs, 3), cost + c.costChange);
    EXPECT_EQ(rng.Draws(), c.draws.size());
  }
}

TEST(RandomCars, PinnedDrawsLowerAndRaiseInTheirFixedOrders) {
  struct Case {
    int points;
    double draw;  // every one of the five draws
    Design after;
  } cases[] = {
      // The dearest draw (80, 60, 60, 180, 7) costs 11: start speed goes first, then wear, then
      // top speed, and the lowering stops the moment the points are met.
      {4, 0.9, {40, 60, 60, 140, 4}},
      {8, 0.9, {40, 60, 60, 180, 6}},
      {11, 0.9, {80, 60, 60, 180, 7}},
      // The cheapest draw, raised once in every rating, reaches 9 at most.
      // Down to every floor, and no further: 2 points is as cheap as it gets.
      {0, 0.9, {40, 40, 40, 140, 4}},
      // The cheapest draw (40, 40, 40, 160, 5) costs 4; raising goes acceleration, deceleration,
      // top speed, wear, start speed, one step each.
      {6, 0.0, {40, 60, 60, 160, 5}},
      {8, 0.0, {40, 60, 60, 180, 6}},
      {16, 0.0, {60, 60, 60, 180, 6}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.points);
    auto rs = Field(c.points);
    Random rng;
    rng.Script(std::vector<double>(5, c.draw));
    rs->CarIsAI.fill(false);
    rs->CarIsAI[5] = true;
    RandomizeCarSetups(*rs, rng, false);
    EXPECT_EQ(DesignOf(*rs, 5), c.after);
    EXPECT_EQ(rng.Draws(), 5u);
  }
}

TEST(RandomCars, LandOnTheDesignPointsUnlessEveryFloorIsReached) {
  const Design floors{40, 40, 40, 140, 4};
  for (int points : {0, 2, 4, 7, 9, 16}) {
    for (std::uint64_t seed = 1; seed <= 150; ++seed) {
      SCOPED_TRACE(testing::Message() << points << " points, seed " << seed);
      auto rs = Field(points);
      const auto before = Field(points);
      Random rng(seed);
      RandomizeCarSetups(*rs, rng, false);
      for (int car = 1; car <= kMaxCars; ++car) {
        if (!rs->CarIsAI[car]) {
          ASSERT_EQ(GetCar(*rs, car), GetCar(*before, car));
          ASSERT_TRUE(rs->CarWetTires[car]);
          continue;
        }
        const int cost = *CarDesignCost(*rs, car);
        if (points < 2) {
          ASSERT_EQ(DesignOf(*rs, car), floors);
        } else if (points <= 9) {
          ASSERT_EQ(cost, points);
        } else {
          ASSERT_LE(cost, points);
        }
        // The driver's own settings stay; what the car brings to a race starts clean.
        ASSERT_EQ(std::tuple(rs->CarDRM[car], rs->CarRiskSS[car], rs->CarRiskC[car], rs->CarRiskT[car],
                             rs->CarWetTires[car], rs->PitStrategy[car], rs->CarWearBonus[car], rs->DriverName[car]),
                  std::tuple(0, 0, 0, 0, false, 1, 0.5, "Driver " + std::to_string(car)));
      }
    }
  }
}

TEST(RandomCars, AllCarsReachesHumansAndClearsPitStrategyAndBonuses) {
  auto rs = Field(4);
  Random rng(7);
  RandomizeCarSetups(*rs, rng, true);
  EXPECT_EQ(rng.Draws(), 5u * kMaxCars);
  for (int car : {1, 2, 40}) {
    SCOPED_TRACE(car);
    EXPECT_EQ(CarDesignCost(*rs, car), 4);
    EXPECT_EQ(std::tuple(rs->PitStrategy[car], rs->CarWearBonus[car], rs->CarQualifyBonus[car], rs->CarIsAI[car]),
              std::tuple(0, 0.0, 0.0, car % 2 == 1));
  }
}

TEST(RandomDrivers, ProfilesForComputerCarsRiskFromTheModifier) {
  EXPECT_EQ(
      (std::array{ProfileRisk(2), ProfileRisk(1), ProfileRisk(0), ProfileRisk(-1), ProfileRisk(-2), ProfileRisk(-5)}),
      (std::array{0, 0, 2, 4, 6, 6}));

  auto rs = Field(8);
  const auto before = Field(8);
  rs->CarDRM[1] = 2;
  rs->CarDRM[3] = -2;
  Random rng;
  // Car 1: race 0.99 -> 3, lap 0.0 -> 1, pit 0.5 + 0.5 -> 1; car 3: 0.4 -> 2, 0.7 -> 3, 0.4 + 0.5 -> 0.
  rng.Script({0.99, 0.0, 0.5, 0.5, 0.4, 0.7, 0.4, 0.5});
  RandomizeDriverProfiles(*rs, rng);
  EXPECT_EQ(rng.Draws(), 4u * kMaxCars / 2);
  EXPECT_EQ(std::tuple(rs->CarRaceProfile[1], rs->CarLapProfile[1], rs->PitStrategy[1], rs->CarRiskSS[1]),
            std::tuple(3, 1, 1, 0));
  EXPECT_EQ(std::tuple(rs->CarRaceProfile[3], rs->CarLapProfile[3], rs->PitStrategy[3]), std::tuple(2, 3, 0));
  EXPECT_EQ((std::array{rs->CarRiskSS[3], rs->CarRiskC[3], rs->CarRiskD[3], rs->CarRiskCA[3], rs->CarRiskA[3],
                        rs->CarRiskT[3]}),
            (std::array{6, 6, 6, 6, 6, 6}));
  EXPECT_EQ(rs->CarRiskC[5], 4);  // the field's -1
  for (int car = 2; car <= kMaxCars; car += 2) ASSERT_EQ(GetCar(*rs, car), GetCar(*before, car)) << car;
}

// The fields the ratings copy takes, and those the driver profile copy takes.
auto Ratings(CarRecord& c) {
  return std::tie(c.StartSpeed, c.Acceleration, c.Deceleration, c.TopSpeed, c.WearPerLap, c.DRM);
}
auto Profile(CarRecord& c) {
  return std::tie(c.PitStrategy, c.RaceProfile, c.LapProfile, c.RiskSS, c.RiskC, c.RiskD, c.RiskCA, c.RiskA, c.RiskT,
                  c.WearBonus, c.QualifyBonus);
}

TEST(CopyCommands, TakeOnlyTheirFieldsToOnlyTheirCars) {
  struct Case {
    const char* what;
    void (*run)(RaceState&);
    bool ratingsToHumans, ratingsToComputers, profiles;
  } cases[] = {
      {"ratings to all", [](RaceState& rs) { CopyRatings(rs, 4, false); }, true, true, false},
      {"ratings to computer cars", [](RaceState& rs) { CopyRatings(rs, 4, true); }, false, true, false},
      {"driver profile", [](RaceState& rs) { CopyDriverProfile(rs, 4); }, false, false, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    auto rs = Field(8);
    CarRecord source;
    Ratings(source) = std::tuple(80, 80, 60, 240, 7, -2);
    Profile(source) = std::tuple(0, 3, 1, 40, 1, 2, 3, 4, 5, 1.5, 2.5);
    std::tie(source.IsAI, source.ProfileSpare, source.Picture, source.DriverName, source.Team) =
        std::tuple(false, 2, "/Cars/Sports\\Gifs\\Blue", "Source", "Source Team");
    PutCar(*rs, 4, source);
    const auto before = std::make_unique<RaceState>(*rs);
    c.run(*rs);
    EXPECT_EQ(GetCar(*rs, 4), source);
    for (int car = 1; car <= kMaxCars; ++car) {
      if (car == 4) continue;
      SCOPED_TRACE(car);
      CarRecord want = GetCar(*before, car);
      const bool ratings = rs->CarIsAI[car] ? c.ratingsToComputers : c.ratingsToHumans;
      if (ratings) Ratings(want) = Ratings(source);
      if (c.profiles) Profile(want) = Profile(source);
      ASSERT_EQ(GetCar(*rs, car), want);
    }
  }
}

// A folder with Porto (recommended 40, 60, 80, 160, 6) saved under the name it is asked for,
// naming a car file of its own when carFile is given.
class TrackSetupTest : public ::testing::Test {
 protected:
  TrackSetupTest() { std::filesystem::create_directories(dir.File("Tracks")); }

  std::string SaveTrack(const std::string& name, const std::string& carFile) {
    auto track = std::make_unique<Track>();
    EXPECT_FALSE(LoadTrack(*track, std::string(VELOMARK_DATA) + "/Tracks/Porto.trk"));
    track->TrackDefaultCarFile = carFile;
    const std::string path = dir.File("Tracks/" + name);
    EXPECT_FALSE(vm::SaveTrack(*track, path));
    return path;
  }

  // Three computer cars on 9 points, as a track's own car file.
  void SaveCarFile(const std::string& name) {
    auto cars = std::make_unique<RaceState>();
    cars->CarSetupPoints = 9, cars->CarsInFile = 3;
    for (int car = 1; car <= 3; ++car) {
      CarRecord c;
      std::tie(c.StartSpeed, c.Acceleration, c.IsAI, c.DriverName) = std::tuple(80, 60, true, "Track Driver");
      PutCar(*cars, car, c);
    }
    EXPECT_FALSE(vm::SaveCarFile(*cars, dir.File("Tracks/" + name), Folders().Cars));
  }

  TrackSetupFolders Folders() const { return {dir.File("Tracks"), "/Cars"}; }

  TempDir dir;
};

TEST_F(TrackSetupTest, TheCarFileNamedByTheTrackWinsWhenItIsThere) {
  struct Case {
    const char* what;
    const char* named;
    bool present;
  } cases[] = {{"no car file named", "", false},
               {"named and there", "Porto Field", true},
               {"named but missing", "Nowhere", false}};
  SaveCarFile("Porto Field.crs");
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const std::string trackFile = SaveTrack("Porto.trk", c.named);
    auto track = std::make_unique<Track>();
    ASSERT_FALSE(LoadTrack(*track, trackFile));
    EXPECT_EQ(TrackDefaultCarFile(*track, Folders().Tracks),
              *c.named == '\0' ? "" : JoinPath(Folders().Tracks, std::string(c.named) + ".crs"));

    auto rs = Field(8);
    Random rng;
    LoadTrackSetup(*rs, rng, *track, false, false, Folders());
    EXPECT_EQ(rng.Draws(), 0u);  // AIRandomizeOptimumSetup is clear
    if (c.present) {
      EXPECT_EQ(std::tuple(rs->CarSetupPoints, rs->CarsInFile, rs->DriverName[2], DesignOf(*rs, 2)),
                std::tuple(9, 3, "Track Driver", Design{80, 60, 20, 140, 4}));
      EXPECT_EQ(rs->DriverName[4], "Driver 4");  // beyond the file's cars
      continue;
    }
    EXPECT_EQ(std::tuple(rs->CarSetupPoints, rs->CarsInFile), std::tuple(8, kMaxCars));
    for (int car : {1, 2, 40}) {
      EXPECT_EQ(DesignOf(*rs, car), kPorto);
      EXPECT_EQ(std::tuple(rs->CarDRM[car], rs->PitStrategy[car], rs->CarWearBonus[car], rs->CarQualifyBonus[car],
                           rs->DriverName[car], rs->CarTeam[car]),
                std::tuple(0, 0, 0.0, 0.0, "Driver " + std::to_string(car), "Team " + std::to_string(car)));
    }
  }
}

TEST_F(TrackSetupTest, TheTrackLoadVariesComputerCarsOnlyWhenAsked) {
  const std::string trackFile = SaveTrack("Porto.trk", "");
  const int recommended = *CarDesignCost(40, 60, 80, 160, 6, 0);
  struct Case {
    bool randomize, noRandomising, alsoHumans;
    std::uint64_t draws;  // two for each car varied
  } cases[] = {{false, false, false, 0}, {true, true, true, 0}, {true, false, false, 40}, {true, false, true, 80}};
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.randomize << c.noRandomising << c.alsoHumans);
    auto rs = Field(8);
    rs->AIRandomizeOptimumSetup = c.randomize;
    Random rng(3);
    ASSERT_FALSE(LoadTrackSetup(*rs, rng, trackFile, c.noRandomising, c.alsoHumans, Folders()));
    EXPECT_EQ(rng.Draws(), c.draws);
    int varied = 0;
    for (int car = 1; car <= kMaxCars; ++car) {
      ASSERT_EQ(CarDesignCost(*rs, car), recommended);
      varied += DesignOf(*rs, car) != kPorto ? 1 : 0;
    }
    // Every varied car moves: Porto's car has both high and low ratings.
    EXPECT_EQ(varied, static_cast<int>(c.draws / 2));
  }
}

TEST_F(TrackSetupTest, TheGamesTrackLoadBringsTheSetupOnlyWhenTheOptionIsSet) {
  const std::string trackFile = SaveTrack("Porto.trk", "");
  for (const bool option : {false, true}) {
    SCOPED_TRACE(option);
    auto rs = Field(8);
    rs->AILoadOptimumSetup = option;
    rs->AIRandomizeOptimumSetup = true;
    GameSession g;
    std::tie(g.TracksFolder, g.CarsFolder, g.PendingTrackFile) = std::tuple(Folders().Tracks, "/Cars", trackFile);
    ScriptedConsole console({}, false);
    Random rng;
    ModeCommands modes(g, *rs, console, {}, &rng);
    ASSERT_TRUE(modes.LoadPendingTrack());
    // The person's car takes the setup as it is; the twenty computer cars are varied.
    EXPECT_EQ(DesignOf(*rs, 2) == kPorto, option);
    EXPECT_EQ(rng.Draws(), option ? 40u : 0u);
  }
}

TEST_F(TrackSetupTest, BothTrackCommandsGiveHumansTheSetupUnvaried) {
  const std::string trackFile = SaveTrack("Porto.trk", "");
  for (const bool alsoHumans : {false, true}) {
    SCOPED_TRACE(alsoHumans);
    auto rs = Field(8);
    rs->AIRandomizeOptimumSetup = true;
    const auto before = std::make_unique<RaceState>(*rs);
    ScriptedConsole console({"cancel", "file:" + trackFile}, false);
    Random rng(5);
    CarSetupDialog d(*rs, console, rng, "/Cars", {});
    const auto command =
        alsoHumans ? &CarSetupDialog::mnuCSActionsLoadTrack : &CarSetupDialog::mnuCSActionsRandomizeTrack;
    EXPECT_FALSE((d.*command)(Folders().Tracks));
    EXPECT_EQ(CarFileText(*rs, "/Cars"), CarFileText(*before, "/Cars"));
    EXPECT_TRUE((d.*command)(Folders().Tracks));
    for (int car = 1; car <= kMaxCars; ++car) ASSERT_EQ(DesignOf(*rs, car), kPorto) << car;
    EXPECT_EQ(rng.Draws(), 0u);
    EXPECT_EQ(d.UsedDesignPoints(), 8);
  }
}

TEST_F(TrackSetupTest, AnUnreadableTrackChangesNothingAndSaysSo) {
  const std::string broken = dir.Add("Tracks/Broken.trk", "wide,\"Broken\"\n");
  auto rs = Field(8);
  const auto before = std::make_unique<RaceState>(*rs);
  Random rng;
  EXPECT_TRUE(LoadTrackSetup(*rs, rng, broken, false, true, Folders()));
  EXPECT_TRUE(LoadTrackSetup(*rs, rng, dir.File("Tracks/Missing.trk"), false, true, Folders()));
  EXPECT_EQ(CarFileText(*rs, "/Cars"), CarFileText(*before, "/Cars"));

  ScriptedConsole console({"file:" + broken}, false);
  CarSetupDialog d(*rs, console, rng, "/Cars", {});
  EXPECT_FALSE(d.mnuCSActionsLoadTrack(Folders().Tracks));
  ASSERT_EQ(console.Messages().size(), 1u);
  EXPECT_EQ(console.Messages().front().rfind("The track was not read. ", 0), 0u);
}

}  // namespace
}  // namespace vm
