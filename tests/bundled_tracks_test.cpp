// The data the game ships: each circuit is rebuilt from its description to the same bytes, passes
// the track check against the shipped car pictures and loads as the game loads it; the default
// field and the circuits' recommended cars are fair by the default design points.
#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "cars/car_file.h"
#include "cars/team_file.h"
#include "core/curve_scan.h"
#include "core/race_state.h"
#include "core/textfile.h"
#include "core/track_check.h"
#include "core/track_file.h"
#include "core/units.h"
#include "game/settings_file.h"
#include "tools/gif_writer.h"
#include "tools/track_picture.h"
#include "tools/trackgen.h"

namespace vm {
namespace {

const std::string kTracks = std::string(VELOMARK_DATA) + "/Tracks/";

struct Bundled {
  const char* Name;
  int Lanes, Length, RacingLine, Curves;
};

// Lengths in spaces; the racing line is the inside cells round the lap.
constexpr Bundled kBundled[] = {
    {"Tarnock", 4, 327, 286, 10},
    {"Kestrel", 5, 216, 192, 4},
    {"Porto", 3, 185, 157, 8},
    {"Brannock", 5, 402, 363, 9},
};

int DefaultDesignPoints() {
  GameSettings settings;
  EXPECT_FALSE(LoadSettings(settings, std::string(VELOMARK_DATA) + "/VMR.ini"));
  return settings.CarSetupPoints;
}

// Each circuit's distance is its racing line at 40 spaces a mile, and its recommended car (with
// the die roll modifier 0 it always gets) fits the default design points.
TEST(BundledTracks, EachIsRebuiltToTheSameBytesPassesTheCheckAndLoads) {
  const int points = DefaultDesignPoints();
  size_t shipped = 0;
  for (const auto& entry : std::filesystem::directory_iterator(kTracks)) shipped += entry.path().extension() == ".trk";
  EXPECT_EQ(shipped, std::size(kBundled));
  for (const Bundled& b : kBundled) {
    SCOPED_TRACE(b.Name);
    const std::string base = kTracks + b.Name;
    const std::optional<std::string> description = ReadWholeFile(base + ".txt");
    ASSERT_TRUE(description);
    TrackDescription d;
    ASSERT_FALSE(ParseTrackDescription(*description, base + ".txt", d));
    Track built;
    ASSERT_FALSE(BuildTrack(d, built));
    EXPECT_EQ(TrackFileText(built), ReadWholeFile(base + ".trk"));
    EXPECT_EQ(GifBytes(DrawTrackPicture(built)), ReadWholeFile(base + ".gif"));

    Track loaded;
    ASSERT_FALSE(LoadTrack(loaded, base + ".trk"));
    for (const TrackFinding& f : CheckTrack(loaded, {std::string(VELOMARK_DATA) + "/Cars"})) ADD_FAILURE() << Describe(f);
    EXPECT_EQ(loaded.TrackLanes, b.Lanes);
    EXPECT_EQ(loaded.TrackLength, b.Length);
    EXPECT_EQ(loaded.RacingLineSpaces, b.RacingLine);
    EXPECT_EQ(CurveCount(loaded), b.Curves);
    // Every circuit has a pit lane whose ends stand on cells the cars can use.
    EXPECT_GT(loaded.PitEntrySpace, 0);
    EXPECT_GT(loaded.PitExitSpace, 0);
    EXPECT_GT(loaded.PitEntryLane, 0);
    EXPECT_GT(loaded.PitExitLane, 0);
    EXPECT_EQ(loaded.TrackDistanceMiles, loaded.RacingLineSpaces / static_cast<double>(kSpacesPerMile));
    const std::optional<int> cost = CarDesignCost(loaded.DefaultStartSpeed, loaded.DefaultAcceleration,
                                                  loaded.DefaultDeceleration, loaded.DefaultTopSpeed,
                                                  loaded.DefaultWearPerLap, 0);
    ASSERT_TRUE(cost);
    EXPECT_LE(*cost, points);
  }
}

// The field a new player meets: every car spends exactly the points allowed, and the drivers
// race in pairs under the names of the team file.
TEST(BundledData, DefaultFieldSpendsItsPointsInTeamsOfTwo) {
  const int points = DefaultDesignPoints();
  auto rs = std::make_unique<RaceState>();
  ASSERT_FALSE(LoadCarFile(*rs, std::string(VELOMARK_DATA) + "/Default.crs", "", SetupPointsRule::Replace));
  EXPECT_EQ(rs->CarSetupPoints, points);
  std::vector<std::string> teams;
  ASSERT_FALSE(LoadTeamFile(teams, std::string(VELOMARK_DATA) + "/Teams.tms"));
  std::map<std::string, int> carsOfTeam;
  for (const std::string& team : teams) carsOfTeam[team] = 0;
  ASSERT_GE(rs->CarsInFile, 2);
  for (int car = 1; car <= rs->CarsInFile; ++car) {
    EXPECT_EQ(CarDesignCost(*rs, car), points) << rs->DriverName[car];
    EXPECT_TRUE(carsOfTeam.contains(rs->CarTeam[car])) << rs->DriverName[car] << ": " << rs->CarTeam[car];
    ++carsOfTeam[rs->CarTeam[car]];
  }
  for (const auto& [team, cars] : carsOfTeam) EXPECT_TRUE(cars == 0 || cars == 2) << team << " has " << cars;
}

}  // namespace
}  // namespace vm
