#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <regex>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "core/race_state.h"
#include "core/race_state_fields.h"
#include "core/textfile.h"
#include "tools/track_builder.h"

namespace vm {
namespace {

// Three cars placed on a 3-lane, 40-space track, each owning its cell.
RaceState ThreeCarRace() {
  RaceState rs;
  rs.track = TrackBuilder(3, 40).Build();
  rs.CarCount = 3;
  for (int car = 1; car <= 3; ++car) {
    rs.DriverName[car] = "Driver " + std::to_string(car);
    rs.CarStartSpeed[car] = 40 + 20 * car;
    rs.CarTopSpeed[car] = 200;
  }
  ResetRaceState(rs);
  const int spaces[] = {0, 40, 39, 39};
  const int lanes[] = {0, 2, 1, 3};
  for (int car = 1; car <= 3; ++car) {
    rs.CarSpace[car] = spaces[car];
    rs.CarLane[car] = lanes[car];
    rs.track.CellOccupant[spaces[car]][lanes[car]] = car;
  }
  return rs;
}

bool Mentions(const std::vector<std::string>& faults, const std::string& words) {
  return std::any_of(faults.begin(), faults.end(), [&](const std::string& f) { return f.find(words) != std::string::npos; });
}

TEST(RaceStateReset, ClearsTheRaceAndKeepsTheField) {
  RaceState rs = ThreeCarRace();
  rs.OptBlueFlag = true;
  rs.CarsFinished = 1;
  rs.CarsOut = 1;
  rs.FinishLapMode = rs.FinishRaceMode = rs.ContinueTurns = true;
  rs.WorkSpeed = 140;
  rs.LeaderSpeedHistory[7] = 9;
  rs.CarLap[2] = 4;
  rs.CarSpeed[2] = 160;
  rs.CarStatus[2] = kOutOfRace;
  rs.CarOutOfRace[2] = true;
  rs.CarEngineDamaged[3] = rs.CarBrakesDamaged[3] = true;
  rs.CarApexNumber[1] = 3;
  rs.CarCurveOwes[1] = true;
  rs.CarCurveExcessPaid[1] = 40;
  rs.CarLapClock[1] = 3.5;
  rs.CarRaceClock[1] = 99.25;
  rs.LapGap[3][2] = 1.5;
  rs.LapWearsUsed[100][40] = 2;
  rs.RunningOrder[1] = 3;
  rs.RunningOrder[3] = 1;

  ResetRaceState(rs);

  EXPECT_TRUE(rs.RaceStandingStart);
  EXPECT_FALSE(rs.FinishLapMode || rs.FinishRaceMode || rs.ContinueTurns);
  EXPECT_EQ(rs.CarsFinished, 0);
  EXPECT_EQ(rs.CarsOut, 0);
  EXPECT_EQ(rs.WorkSpeed, 0);
  EXPECT_EQ(rs.LeaderSpeedHistory[7], 0);
  for (int car = 1; car <= 3; ++car) {
    SCOPED_TRACE(car);
    EXPECT_EQ(std::tuple(rs.CarSpace[car], rs.CarLane[car], rs.CarLap[car], rs.CarSpeed[car], rs.CarStatus[car],
                         rs.CarApexNumber[car], rs.CarCurveExcessPaid[car], rs.CarLapClock[car], rs.CarRaceClock[car]),
              std::tuple(0, 0, 0, 0, kRunning, 0, 0, 0.0, 0.0));
    EXPECT_FALSE(rs.CarOutOfRace[car] || rs.CarEngineDamaged[car] || rs.CarBrakesDamaged[car] || rs.CarCurveOwes[car]);
    // The first move is bounded by the start speed.
    EXPECT_EQ(rs.CarNewSpeed[car], rs.CarStartSpeed[car]);
    EXPECT_EQ(rs.RunningOrder[car], car);
    EXPECT_EQ(rs.DriverName[car], "Driver " + std::to_string(car));
  }
  EXPECT_EQ(rs.RunningOrder[4], 0);
  EXPECT_EQ(rs.LapGap[3][2], 0.0);
  EXPECT_EQ(rs.LapWearsUsed[100][40], 0);
  EXPECT_EQ(rs.track.CellOccupant[40][2], 0);
  EXPECT_TRUE(rs.OptBlueFlag);
  EXPECT_EQ(rs.track.TrackLength, 40);
  EXPECT_TRUE(CheckRaceState(rs).empty());
}

TEST(RaceStateInvariants, EachBrokenRuleIsNamed) {
  struct Case {
    const char* name;
    void (*breakIt)(RaceState&);
    const char* words;
  };
  ASSERT_TRUE(CheckRaceState(ThreeCarRace()).empty());
  const Case cases[] = {
      {"moving car off its cell",
       [](RaceState& rs) {
         rs.CarSpeed[1] = 120;
         rs.track.CellOccupant[40][2] = 0;
       },
       "car 1 holds no cell"},
      {"cell names a car standing elsewhere", [](RaceState& rs) { rs.track.CellOccupant[10][1] = 2; },
       "stands elsewhere"},
      {"two cars on one cell",
       [](RaceState& rs) {
         rs.CarSpace[3] = 39;
         rs.CarLane[3] = 1;
         rs.CarSpeed[3] = 100;
         rs.track.CellOccupant[39][3] = 0;
       },
       "car 3 holds no cell"},
      {"cell holds a car number beyond 40", [](RaceState& rs) { rs.track.CellOccupant[5][1] = 41; },
       "does not exist"},
      {"car out of the race still holds its cell",
       [](RaceState& rs) {
         rs.CarOutOfRace[2] = true;
         rs.CarStatus[2] = kOutOfRace;
       },
       "off the track but holds a cell"},
      {"car on a skip cell", [](RaceState& rs) { rs.track.CellSkip[40][2] = true; }, "car 1 stands on a skip cell"},
      {"speed not a multiple of 20", [](RaceState& rs) { rs.CarSpeed[1] = 30; }, "CarSpeed 30"},
      {"chosen speed not a multiple of 20", [](RaceState& rs) { rs.CarNewSpeed[3] = 150; }, "CarNewSpeed 150"},
      {"order repeats a car", [](RaceState& rs) { rs.RunningOrder[3] = 1; }, "repeats car 1"},
      {"order has a gap", [](RaceState& rs) { rs.RunningOrder[2] = 0; }, "RunningOrder[2] is empty"},
      {"finished cars make the order shorter, not the count",
       [](RaceState& rs) {
         rs.CarsFinished = 1;
         rs.RunningOrder[3] = 0;
         rs.RunningOrder[2] = 0;
       },
       "RunningOrder[2] is empty"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    RaceState rs = ThreeCarRace();
    c.breakIt(rs);
    std::vector<std::string> faults = CheckRaceState(rs);
    EXPECT_TRUE(Mentions(faults, c.words)) << (faults.empty() ? "no fault" : faults.front());
  }
}

TEST(RaceStateInvariants, CarsOffTheTrackNeedNoCell) {
  RaceState rs = ThreeCarRace();
  rs.track.CellOccupant[39][1] = 0;
  rs.CarInPit[2] = true;  // in the pit lane
  rs.PitQueue.push_back({2, 3, 1, 0});
  rs.track.CellOccupant[39][3] = 0;
  rs.CarStatus[3] = kSpinningOffCell;
  EXPECT_TRUE(CheckRaceState(rs).empty());
  // A spun car restarts from a standstill where it stands, its cell given up.
  rs.CarStatus[3] = kRunning;
  rs.CarSpeed[3] = 0;
  EXPECT_TRUE(CheckRaceState(rs).empty());
  // A finished car leaves the order: two places are enough for three cars with one home.
  rs.CarsFinished = 1;
  rs.RunningOrder[3] = 0;
  EXPECT_TRUE(CheckRaceState(rs).empty());
}

TEST(RaceStateDisplay, DieRollModifierText) {
  const std::pair<int, const char*> cases[] = {{2, "+2"}, {1, "+1"}, {0, " 0"}, {-1, "-1"},
                                               {-2, "-2"}, {3, ""},   {-3, ""}};
  for (const auto& [drm, text] : cases) EXPECT_EQ(FormatDRM(drm), text) << drm;
}

TEST(RaceStateDesign, CopiesTheSixRatingsOfEveryCar) {
  RaceState rs;
  rs.CarDRM[40] = -2;
  rs.CarStartSpeed[40] = 60;
  rs.CarAcceleration[40] = 40;
  rs.CarDeceleration[40] = 80;
  rs.CarWearPerLap[40] = 7;
  rs.CarTopSpeed[40] = 180;
  TakeDesignCopies(rs);
  rs.CarTopSpeed[40] = 160;  // damage lowers the working value only
  const CarRatings& d = rs.CarDesign[40];
  EXPECT_EQ(std::tuple(d.DRM, d.StartSpeed, d.Acceleration, d.Deceleration, d.WearPerLap, d.TopSpeed),
            std::tuple(-2, 60, 40, 80, 7, 180));
}

// The data members of `struct name` in a header, read from its text: every statement of the body
// that declares no function, with its initializer cut off, ends in the member's name.
std::set<std::string> MembersOf(const std::string& header, const std::string& name) {
  const std::optional<std::string> text = ReadWholeFile(std::string(VELOMARK_SOURCE) + "/" + header);
  if (!text) return {};
  std::smatch m;
  if (!std::regex_search(*text, m, std::regex("struct " + name + "\\b[^{;]*\\{"))) return {};
  size_t pos = static_cast<size_t>(m.position(0) + m.length(0));
  std::string body;
  for (int depth = 1; pos < text->size() && depth > 0; ++pos) {
    depth += (*text)[pos] == '{' ? 1 : (*text)[pos] == '}' ? -1 : 0;
    if (depth > 0) body += (*text)[pos];
  }
  body = std::regex_replace(body, std::regex("//[^\\n]*"), "");
  std::set<std::string> names;
  size_t start = 0;
  for (size_t end; (end = body.find(';', start)) != std::string::npos; start = end + 1) {
    std::string statement = body.substr(start, end - start);
    if (statement.find('(') != std::string::npos) continue;
    statement = statement.substr(0, statement.find('='));
    statement = std::regex_replace(statement, std::regex("\\{[^{}]*\\}\\s*$"), "");
    std::smatch last;
    if (std::regex_search(statement, last, std::regex("(\\w+)\\s*$"))) names.insert(last[1]);
  }
  return names;
}

#define VM_NAME(field) #field,

// Equality, the hash and the dump follow the field lists: a member left out of its list would be
// silently ignored by all three.
TEST(RaceStateFields, ListsNameEveryMember) {
  struct Case {
    const char* header;
    const char* name;
    std::vector<std::string> listed;
  };
  const Case cases[] = {
      {"core/race_state.h", "RaceState", {VM_RACE_STATE_FIELDS(VM_NAME)}},
      {"core/race_state.h", "CarRatings", {VM_CAR_RATINGS_FIELDS(VM_NAME)}},
      {"core/race_state.h", "PitQueueEntry", {VM_PIT_QUEUE_FIELDS(VM_NAME)}},
      {"core/track.h", "TrackHeader", {VM_TRACK_HEADER_FIELDS(VM_NAME)}},
      {"core/track.h", "Track", {VM_TRACK_SCALAR_FIELDS(VM_NAME) VM_TRACK_GRID_FIELDS(VM_NAME)}},
  };
  for (const Case& c : cases) {
    const std::set<std::string> members = MembersOf(c.header, c.name);
    const std::set<std::string> listed(c.listed.begin(), c.listed.end());
    EXPECT_EQ(listed.size(), c.listed.size()) << c.name << ": a field is listed twice";
    EXPECT_GE(members.size(), 4u) << c.name;  // the parse found the body
    for (const std::string& m : members) EXPECT_TRUE(listed.contains(m)) << c.name << "::" << m << " is not listed";
    for (const std::string& l : listed) EXPECT_TRUE(members.contains(l)) << c.name << "::" << l << " is no member";
  }
}

// One change anywhere in the state, from a car's name to a cell of the grid, breaks equality and
// changes the hash; undoing it restores both.
TEST(RaceStateFields, EqualityAndHashSeeEveryKindOfField) {
  const std::pair<const char*, std::function<void(RaceState&)>> changes[] = {
      {"per-car text", [](RaceState& rs) { rs.CarTeam[40] = "Harlow Racing"; }},
      {"per-car double", [](RaceState& rs) { rs.CarWearBonus[3] = 0.5; }},
      {"per-lap table", [](RaceState& rs) { rs.LapWearsUsed[100][40] = 1; }},
      {"setting", [](RaceState& rs) { rs.SavedRaceLaps = 50; }},
      {"char", [](RaceState& rs) { rs.BlueFlagSide = 'L'; }},
      {"log line", [](RaceState& rs) { rs.Highlights.push_back("Lap 1"); }},
      {"design copy", [](RaceState& rs) { rs.CarDesign[2].WearPerLap = 5; }},
      {"result table", [](RaceState& rs) { rs.Tables.SD4.RangeHigh = 6; }},
      {"track header", [](RaceState& rs) { rs.track.TrackDistanceMiles = 7.15; }},
      {"track grid", [](RaceState& rs) { rs.track.CellImage[600][5] = "x"; }},
      {"apex line", [](RaceState& rs) { rs.track.ApexCells[30][15].Lane = 1; }},
  };
  const auto base = std::make_unique<RaceState>(ThreeCarRace());
  const std::uint64_t baseHash = RaceStateHash(*base);
  auto copy = std::make_unique<RaceState>(*base);
  EXPECT_TRUE(*copy == *base);
  EXPECT_EQ(RaceStateHash(*copy), baseHash);
  for (const auto& [what, change] : changes) {
    auto changed = std::make_unique<RaceState>(*base);
    change(*changed);
    EXPECT_FALSE(*changed == *base) << what;
    EXPECT_NE(RaceStateHash(*changed), baseHash) << what;
  }
  // Zero of either sign is the same number, so the same hash.
  copy->CarAvgSpeed[1] = -0.0;
  EXPECT_TRUE(*copy == *base);
  EXPECT_EQ(RaceStateHash(*copy), baseHash);
}

}  // namespace
}  // namespace vm
