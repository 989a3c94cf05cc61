#include <gtest/gtest.h>

#include "tests/temp_dir.h"

#include <memory>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include <nlohmann/json.hpp>

#include "cars/car_file.h"
#include "cli/cars_command.h"
#include "core/textfile.h"

namespace vm {
namespace {

using testing_support::TempDir;

const std::string kDefaultCars = std::string(VELOMARK_DATA) + "/Default.crs";

// One record of 41 fields; `head` replaces the first fields.
std::string Record(const std::string& head = "60,40,40,180,5,#TRUE#,2,2,2,\"F\\Gifs\\Red\",\"Ann\",0,\"T\"") {
  std::string line = head + ",0,0,0,0,0,0,0,0,0" + ",0,0,0,0,0,0,0,0,0";
  for (int i = 0; i < 10; ++i) line += ",\" \"";
  return line + "\r\n";
}

std::unique_ptr<RaceState> LoadedDefault() {
  auto rs = std::make_unique<RaceState>();
  EXPECT_EQ(LoadCarFile(*rs, kDefaultCars, "/game/Cars/"), std::nullopt);
  return rs;
}

TEST(CarFile, DefaultFieldRoundTripsByteForByte) {
  TempDir dir;
  auto rs = LoadedDefault();
  EXPECT_EQ(std::tuple(rs->CarsInFile, rs->CarSetupPoints, rs->CurrentCarFile, rs->CarPicture[1]),
            std::tuple(8, 8, kDefaultCars, "/game/Cars/Formula\\Gifs\\Red"));
  // The cars folder may be spelt with the other separator and without its trailing one.
  ASSERT_EQ(SaveCarFile(*rs, dir.File("out.crs"), "\\game\\Cars"), std::nullopt);
  EXPECT_EQ(ReadWholeFile(dir.File("out.crs")), ReadWholeFile(kDefaultCars));
}

TEST(CarFile, FirstLineRaisesPointsAtStartUpAndReplacesThemInTheDialog) {
  struct Case {
    SetupPointsRule rule;
    int before, after;
  } cases[] = {{SetupPointsRule::RaiseOnly, 5, 8}, {SetupPointsRule::RaiseOnly, 12, 12}, {SetupPointsRule::Replace, 12, 8}};
  for (const Case& c : cases) {
    RaceState rs;
    rs.CarSetupPoints = c.before;
    ASSERT_EQ(LoadCarFile(rs, kDefaultCars, "", c.rule), std::nullopt);
    EXPECT_EQ(rs.CarSetupPoints, c.after) << c.before;
  }
}

TEST(CarFile, ShortFileKeepsTheUnreachedCarsAndClearsTheirCounters) {
  auto rs = LoadedDefault();
  rs->CarCount = 8;
  rs->CarSpeed[3] = 120;
  rs->CarOnApexCells[3] = true;
  ASSERT_EQ(LoadCarFileText(*rs, "4\r\n3\r\n" + Record() + Record(), "short.crs", "", SetupPointsRule::Replace),
            std::nullopt);
  EXPECT_EQ(std::tuple(rs->CarsInFile, rs->CarCount, rs->DriverName[2], rs->DriverName[3], rs->CarSpeed[3],
                       rs->CarOnApexCells[3]),
            std::tuple(3, 3, "Ann", "Carla Rossi", 0, false));
}

TEST(CarFile, HostileFilesNameLineAndFieldAndKeepTheOldCars) {
  std::string fortyOne = "8\r\n41\r\n";
  for (int i = 0; i < 41; ++i) fortyOne += Record();
  std::string fortyFields = Record();
  fortyFields.erase(fortyFields.rfind(','), 4);
  struct Case {
    std::string name, text;
    FileErrorCode code;
    int line;
    std::string field;
  } cases[] = {
      {"41 records", fortyOne, FileErrorCode::OutOfRange, 2, "CarsInFile"},
      {"no cars", "8\r\n0\r\n", FileErrorCode::OutOfRange, 2, "CarsInFile"},
      {"text for a number", "8\r\n2\r\n" + Record() + Record("60,fast,40,180,5,#TRUE#,2,2,2,\"p\",\"A\",0,\"T\""),
       FileErrorCode::TypeMismatch, 4, "CarAcceleration"},
      {"off the table", "8\r\n1\r\n" + Record("60,40,40,150,5,#TRUE#,2,2,2,\"p\",\"A\",0,\"T\""),
       FileErrorCode::OutOfRange, 3, "CarTopSpeed"},
      {"modifier +1", "8\r\n1\r\n" + Record("60,40,40,180,5,#TRUE#,2,2,2,\"p\",\"A\",1,\"T\""),
       FileErrorCode::OutOfRange, 3, "CarDRM"},
      {"record of 40 fields", "8\r\n2\r\n" + fortyFields + Record(), FileErrorCode::PastEnd, 3, "reserved 41"},
      {"record of 42 fields", "8\r\n2\r\n" + Record().insert(Record().size() - 2, ",9") + Record(),
       FileErrorCode::TypeMismatch, 3, "record end"},
      {"cut inside a record", "8\r\n1\r\n60,40,40", FileErrorCode::PastEnd, 3, "CarTopSpeed"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    auto rs = LoadedDefault();
    const std::string before = CarFileText(*rs, "");
    std::optional<FileError> e = LoadCarFileText(*rs, c.text, "bad.crs", "", SetupPointsRule::Replace);
    ASSERT_TRUE(e.has_value());
    EXPECT_EQ(std::tuple(e->Code, e->Line, e->Field), std::tuple(c.code, c.line, c.field)) << e->Describe();
    EXPECT_EQ(std::tuple(CarFileText(*rs, ""), rs->CurrentCarFile), std::tuple(before, kDefaultCars));
  }
}

TEST(CarFile, TeamCommasBecomeBlanksAndBlankPictureIsOneBlank) {
  TempDir dir;
  auto rs = LoadedDefault();
  rs->CarsInFile = 1;
  rs->CarTeam[1] = "Smith, Jones";
  rs->CarPicture[1] = "";
  ASSERT_EQ(SaveCarFile(*rs, dir.File("c.crs"), "/game/Cars"), std::nullopt);
  const std::string text = *ReadWholeFile(dir.File("c.crs"));
  EXPECT_NE(text.find("\" \",\"Alex Moreau\",0,\"Smith  Jones\","), std::string::npos) << text;
}

TEST(CarDesignCost, FollowsTheTable) {
  struct Case {
    int s, a, d, t, w, drm;
    std::optional<int> cost;
  } cases[] = {
      // The dearest dialog car is summed from the per-value table (2+3+3+5+3+2), not taken as 17.
      {40, 20, 20, 140, 3, 2, -2},   {80, 80, 80, 240, 7, -2, 18},  {80, 80, 80, 240, 8, -2, 19},
      {40, 20, 20, 140, 4, 2, -1},   {40, 40, 20, 140, 3, 2, -1},   {60, 40, 60, 200, 6, -1, 10},
      {40, 20, 20, 140, 4, 1, std::nullopt}, {40, 20, 20, 150, 4, 0, std::nullopt},
      {20, 20, 20, 140, 4, 0, std::nullopt}, {40, 20, 20, 140, 9, 0, std::nullopt},
  };
  for (const Case& c : cases)
    EXPECT_EQ(CarDesignCost(c.s, c.a, c.d, c.t, c.w, c.drm), c.cost) << c.s << " " << c.a << " " << c.d << " " << c.t
                                                                      << " " << c.w << " " << c.drm;
}

struct CliRun {
  int status;
  std::string out, err;
};

CliRun Cars(std::vector<std::string> args) {
  std::ostringstream out, err;
  const int status = CarsCommand(args, out, err);
  return {status, out.str(), err.str()};
}

TEST(CarCli, PrintsCarsWithTheirCost) {
  CliRun r = Cars({kDefaultCars, "--json"});
  ASSERT_EQ(r.status, 0) << r.err;
  const auto j = nlohmann::json::parse(r.out);
  EXPECT_EQ(j["CarSetupPoints"], 8);
  ASSERT_EQ(j["Cars"].size(), 8u);
  const nlohmann::json &carla = j["Cars"][2], &fifth = j["Cars"][4];
  EXPECT_EQ(std::tuple(carla["DriverName"], carla["CarPicture"], carla["DesignCost"]),
            std::tuple("Carla Rossi", "Formula\\Gifs\\Green", 8));
  EXPECT_EQ(std::tuple(fifth["DesignCost"], fifth["WithinPoints"]), std::tuple(8, true));

  r = Cars({kDefaultCars});
  ASSERT_EQ(r.status, 0);
  EXPECT_NE(r.out.find("3. Carla Rossi (Harlow Racing) Computer\n"
                       "   start 80, acc 40, dec 40, top 200, wear 4, DRM -1\n"),
            std::string::npos)
      << r.out;
  EXPECT_NE(r.out.find("   design points 8 of 8\n"), std::string::npos);
}

TEST(CarCli, StatusesForBadArgumentsAndBadFiles) {
  TempDir dir;
  const std::string bad = dir.Add("bad.crs", "8\r\n41\r\n");
  struct Case {
    std::vector<std::string> args;
    int status;
    std::string err;
  } cases[] = {
      {{}, 1, "cars: which car file?\nusage: velomark-cli cars FILE.crs [--json]\n"},
      {{kDefaultCars, "--xml"}, 1, "cars: unexpected argument \"--xml\"\nusage: velomark-cli cars FILE.crs [--json]\n"},
      {{bad}, 2, "velomark-cli: " + bad + ", line 2, field CarsInFile: 41 is outside 1..40\n"},
  };
  for (const Case& c : cases) {
    CliRun r = Cars(c.args);
    EXPECT_EQ(r.status, c.status);
    EXPECT_EQ(r.err, c.err);
    EXPECT_EQ(r.out, "");
  }
}

}  // namespace
}  // namespace vm
