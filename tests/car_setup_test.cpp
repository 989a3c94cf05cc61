#include "cars/car_setup.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "cars/car_file.h"
#include "tests/temp_dir.h"
#include "ui/scripted_console.h"

namespace vm {
namespace {

using testing_support::TempDir;

// Keeps each message's title beside its text.
class TitledConsole : public ScriptedConsole {
 public:
  using ScriptedConsole::ScriptedConsole;
  void ShowMessage(std::string_view text, std::string_view title, MessageKind kind) override {
    titles.emplace_back(title);
    ScriptedConsole::ShowMessage(text, title, kind);
  }
  std::vector<std::string> titles;
};

std::unique_ptr<RaceState> Field(int cars, int points) {
  auto rs = std::make_unique<RaceState>();
  rs->CarsInFile = cars;
  rs->CarCount = cars;
  rs->CarSetupPoints = points;
  rs->CurrentCarFile = "old.crs";
  for (int car = 1; car <= cars; ++car) {
    CarRecord c;
    c.DriverName = "Driver " + std::to_string(car);
    c.Picture = "/Cars/Formula\\Gifs\\Car" + std::to_string(car);
    c.PitStrategy = 1;
    c.WearBonus = 0.5;
    PutCar(*rs, car, c);
  }
  return rs;
}

std::string Enabled(const CarSetupDialog& d, Rating rating) {
  std::string out;
  for (int i = 0; i < ButtonCount(rating); ++i) out += d.RatingButtonEnabled(rating, i) ? 'x' : '.';
  return out;
}

TEST(CarSetup, ButtonsFollowTheRemainingPointsEvenBelowZero) {
  auto rs = Field(2, 1);
  // 40, 20, 20, 200, 4, +2 costs 2: one point over, and no message while the dialog opens.
  rs->CarTopSpeed[1] = 200;
  TitledConsole console;
  Random rng;
  CarSetupDialog d(*rs, console, rng, "/Cars", {});
  EXPECT_TRUE(console.Messages().empty());
  EXPECT_EQ(d.UsedDesignPoints(), 2);
  EXPECT_EQ(d.RemainingPoints(), -1);
  struct Case {
    Rating rating;
    std::string over, within;
  } cases[] = {
      {Rating::StartSpeed, "...", "x.."},     {Rating::Acceleration, "....", "x..."},
      {Rating::Deceleration, "....", "x..."}, {Rating::TopSpeed, "xxx...", "xxx..."},
      {Rating::WearPerLap, "x....", "xx..."}, {Rating::DRM, "....", "x..."},
  };
  for (const Case& c : cases) EXPECT_EQ(Enabled(d, c.rating), c.over) << ScaleOf(c.rating).Name;

  EXPECT_FALSE(d.SelectCar(2));  // refused without a word; OK says why
  EXPECT_TRUE(console.Messages().empty());
  EXPECT_FALSE(d.Ok());
  EXPECT_EQ(console.Messages(), std::vector<std::string>{"Maximum Design Points Exceeded"});
  EXPECT_EQ(console.titles.back(), "Car Setup Error");

  d.PressRating(Rating::TopSpeed, 2);  // 180: one point, none left
  EXPECT_EQ(std::tuple(rs->CarTopSpeed[1], d.RemainingPoints()), std::tuple(180, 0));
  for (const Case& c : cases) EXPECT_EQ(Enabled(d, c.rating), c.within) << ScaleOf(c.rating).Name;

  d.PressRating(Rating::WearPerLap, 4);  // wear 7: three over
  EXPECT_EQ(std::tuple(console.Messages().size(), d.CarListEnabled(), d.OkEnabled(), d.CopyToAllEnabled(),
                       Enabled(d, Rating::WearPerLap)),
            std::tuple(2u, false, false, false, "xx..."));
  d.PressRating(Rating::WearPerLap, 0);  // wear 3 gives a point back
  // Braces: the calls run in order.
  EXPECT_EQ((std::tuple{d.RemainingPoints(), d.CarListEnabled(), d.OkEnabled(), d.SelectCar(2), d.Ok(), d.Outcome()}),
            std::tuple(1, true, true, true, true, CarSetupOutcome::Accepted));
}

TEST(CarSetup, AddDriverUpToFortyThenRefuses) {
  auto rs = Field(39, 8);
  rs->CarCount = 10;
  TitledConsole console;
  Random rng;
  CarSetupDialog d(*rs, console, rng, "/Cars", {});
  ASSERT_TRUE(d.AddDriver());
  EXPECT_EQ(std::tuple(rs->CarsInFile, rs->CarCount, d.CurrentCar(), d.CarItems().size()), std::tuple(40, 40, 40, 40u));
  CarRecord expected;
  expected.Picture = "/Cars/Formula\\Gifs\\Car39";
  EXPECT_EQ(GetCar(*rs, 40), expected);
  EXPECT_EQ(std::tuple(rs->DriverName[40], rs->CarTeam[40]), std::tuple("New Driver", " "));

  EXPECT_FALSE(d.AddDriver());
  EXPECT_EQ(rs->CarsInFile, 40);
  EXPECT_EQ(console.Messages(), std::vector<std::string>{"Races cannot have more then 40 drivers."});
  EXPECT_EQ(console.titles, std::vector<std::string>{"Driver Limit"});
}

TEST(CarSetup, CancelPutsEverythingBackAfterEdits) {
  TempDir dir;
  auto rs = Field(3, 8);
  const std::string loaded = std::string(VELOMARK_DATA) + "/Default.crs";
  const std::string before = CarFileText(*rs, "/Cars");
  TitledConsole console({"file:" + loaded, "file:" + dir.File("saved.crs")});
  Random rng;
  CarSetupDialog d(*rs, console, rng, "/Cars", {});
  rs->CarSetupPoints = 4;
  ASSERT_TRUE(d.LoadFile("/game"));
  EXPECT_EQ(rs->CarSetupPoints, 8);  // the dialog's load replaces the points
  EXPECT_EQ(d.StatusText(), "Most Recent Car File Loaded:  " + loaded);
  d.SetTeam("A,B");
  EXPECT_EQ(rs->CarTeam[1], "A B");
  d.SelectPicture("Formula", "Blue.BMP");
  EXPECT_EQ(std::tuple(rs->CarPicture[1], d.PictureModel()), std::tuple("/Cars/Formula\\Gifs\\Blue", "Formula"));
  d.PressRating(Rating::TopSpeed, 0);
  d.CopyCurrentToAll();  // the design, not the driver or the picture
  EXPECT_EQ(std::tuple(rs->CarTopSpeed[7], rs->DriverName[7], rs->CarPicture[7]),
            std::tuple(140, "Grace Okafor", "/Cars/Formula\\Gifs\\Purple"));
  d.AddDriver();
  ASSERT_TRUE(d.SaveFile("/game"));
  EXPECT_EQ(std::tuple(d.CurrentCar(), rs->CurrentCarFile), std::tuple(1, dir.File("saved.crs")));

  d.Cancel();
  EXPECT_EQ(std::tuple(d.Outcome(), CarFileText(*rs, "/Cars"), rs->CarsInFile, rs->CarCount, rs->CurrentCarFile,
                       rs->DriverName[9]),
            std::tuple(CarSetupOutcome::Cancelled, before, 3, 3, "old.crs", ""));
}

TEST(CarSetup, OnlineShowsThePlayersCarAndHidesFileCommands) {
  auto rs = Field(4, 8);
  rs->CarIsAI[1] = true;
  TitledConsole console;
  Random rng;
  CarSetupDialog d(*rs, console, rng, "/Cars", {}, 3);
  EXPECT_EQ((std::tuple{d.CurrentCar(), rs->CarIsAI[1], d.FileCommandsVisible(), d.AddDriverVisible(), d.AddDriver(),
                        rs->CarsInFile, d.ActionMenusVisible()}),
            std::tuple(3, false, false, false, false, 4, false));
  // The action menus are hidden, and refuse when called all the same.
  rs->CarIsAI[2] = true;
  const std::string before = CarFileText(*rs, "/Cars");
  d.mnuCSActionsRandomizeAllCars();
  d.mnuCSActionsRandomizeDrivers();
  d.mnuActionsCopyDriverProfile();
  EXPECT_EQ(std::tuple(d.mnuCSActionsLoadTrack("/Tracks"), CarFileText(*rs, "/Cars"), rng.Draws()),
            std::tuple(false, before, 0u));
}

TEST(CarSetup, RandomCarsHoldTheMessageBackAndComeBackToTheFirstCar) {
  struct Case {
    std::optional<int> online;
    int shownAfter;
  } cases[] = {{std::nullopt, 1}, {3, 3}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.shownAfter);
    auto rs = Field(6, 4);
    for (int car = 2; car <= kMaxCars; ++car) rs->CarIsAI[car] = true;
    TitledConsole console;
    Random rng;
    // The dearest draw for every car: each passes through 7 points over before it is brought down.
    rng.Script(std::vector<double>(5 * (kMaxCars - 1), 0.99));
    CarSetupDialog d(*rs, console, rng, "/Cars", {}, c.online);
    int reseeds = 0;
    d.Seams.Reseed = [&](Random&) { ++reseeds; };
    ASSERT_TRUE(d.SelectCar(2));
    d.RandomizeComputerCars();
    EXPECT_EQ(std::tuple(reseeds, rng.ScriptLeft(), d.CurrentCar(), console.Messages().size(), d.OkEnabled()),
              std::tuple(1, 0u, c.shownAfter, 0u, true));
    for (int car = 2; car <= kMaxCars; ++car) ASSERT_EQ(CarDesignCost(*rs, car), 4) << car;
  }
}

TEST(CarSetup, ATeamFileOnlyOffersNames) {
  TempDir dir;
  const std::string empty = dir.Add("Empty.tms", "");
  const std::string two = dir.Add("Two.tms", "\"North, South\"\n\"East\"\n");
  auto rs = Field(2, 8);
  rs->CarTeam[1] = "Own Team";
  TitledConsole console({"cancel", "file:" + two, "file:" + empty, "file:" + dir.File("Missing.tms")});
  Random rng;
  CarSetupDialog d(*rs, console, rng, "/Cars", {"Listed"});

  EXPECT_FALSE(d.mnuChgTeamFile(dir.Root()));
  EXPECT_EQ(d.TeamItems(), std::vector<std::string>{"Listed"});
  // The file's own comma stays in the list; only a name given to a car loses it.
  EXPECT_TRUE(d.mnuChgTeamFile(dir.Root()));
  EXPECT_EQ(d.TeamItems(), (std::vector<std::string>{"North, South", "East"}));
  EXPECT_EQ(rs->CarTeam[1], "Own Team");
  d.SetTeam(d.TeamItems().front());
  EXPECT_EQ(rs->CarTeam[1], "North  South");

  EXPECT_TRUE(d.mnuChgTeamFile(dir.Root()));
  EXPECT_TRUE(d.TeamItems().empty());
  d.SetTeam("Free, Typed");
  EXPECT_EQ(rs->CarTeam[1], "Free  Typed");

  // A file that is not there is reported and the list stays.
  EXPECT_FALSE(d.mnuChgTeamFile(dir.Root()));
  EXPECT_TRUE(d.TeamItems().empty());
  EXPECT_EQ(console.Messages().size(), 1u);
  EXPECT_NE(console.Transcript().front().find("Team Files (*.tms)|*.tms"), std::string::npos);
}

}  // namespace
}  // namespace vm
