#include "engine/contact.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "engine/slipstream.h"
#include "engine/speed.h"
#include "engine/steering.h"
#include "rules/consequences.h"
#include "tests/rules_fixture.h"
#include "tools/track_builder.h"

namespace vm {
namespace {

// The current car stands at (20, 1); cars 1 and 2 are placed by each case.
class ContactTest : public testing_support::RulesTest {
 protected:
  void Use(const Track& t) {
    rs.track = t;
    for (auto& column : rs.track.CellOccupant) column.fill(0);
    for (int car = 1; car <= 3; ++car) rs.CarSpace[car] = rs.CarLane[car] = 0;
    Place(kCar, 20, 1);
  }
};

// --- Slipstream ------------------------------------------------------------------------------

using SlipTest = ContactTest;

TEST_F(SlipTest, SettlesTheTow) {
  struct Case {
    const char* Name;
    int Speed, LeadSpeed;
    int CurveAt;  // first curve space, 0 none
    bool CurveEntryAllowed;
    double Spaces;
    int Kind;
    bool Plus20, Plus40;
    std::string Cancelled;
  };
  const std::vector<Case> cases = {
      {"a lead of 160 gives 20", 100, 160, 0, false, 6, 1, true, false, ""},
      {"a lead of 180 gives 40", 100, 180, 0, false, 7, 2, false, true, ""},
      {"100 behind 200 gains 40", 100, 200, 0, false, 7, 2, false, true, ""},
      {"a lead below 120 gives nothing", 120, 100, 0, false, 6, 0, false, false, "Slipstream Cancel Lead Car < 120"},
      {"no tow behind a slower car", 160, 140, 0, false, 8, 0, false, false, "Slipstream Cancel Car Speed"},
      {"the tow would carry the car into the curve", 100, 200, 26, false, 5, 0, false, false,
       "Slipstream Cancel Turn Entry"},
      {"curve entry by slipstream allowed", 100, 200, 26, true, 7, 2, false, true, ""},
      {"a curve at the next space does not cancel", 100, 200, 21, false, 7, 2, false, true, ""},
      {"at 0 the turn-entry test fires without a curve", 0, 200, 0, false, 0, 0, false, false,
       "Slipstream Cancel Turn Entry"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.Name);
    Use(c.CurveAt == 0 ? TrackBuilder(2, 50).Build()
                       : TrackBuilder(2, 50).Curve(c.CurveAt, c.CurveAt + 3, {80, 100}).Build());
    Place(1, 21, 1);
    rs.OptCurveEntryBySlipstream = c.CurveEntryAllowed;
    rs.CarNewSpeed[kCar] = c.Speed;
    rs.CarNewSpeed[1] = c.LeadSpeed;
    rs.CarDraftTarget[kCar] = 1;
    const SlipstreamNotice n = SettleSlipstream(ctx);
    const int bonus = c.Cancelled.empty() ? 20 * c.Kind : 0;
    EXPECT_EQ(std::tuple(rs.SpacesLeft, rs.SlipBonusKind, rs.SlipBonusOfMove, rs.CarSlipSpeed[kCar]),
              std::tuple(c.Spaces, c.Kind, c.Kind, c.Speed + bonus));
    EXPECT_EQ(std::tuple(n.Plus20, n.Plus40, n.Cancelled, rs.SlipCancelled),
              std::tuple(c.Plus20, c.Plus40, c.Cancelled, !c.Cancelled.empty()));
    EXPECT_EQ(rs.CurveEntrySpeed, c.CurveAt == 0 ? 0 : (c.CurveAt - 21) * 20);
    // The gain is blocks only: the chosen speed stands.
    EXPECT_EQ(std::tuple(rs.CarNewSpeed[kCar], rs.WorkSpeed, rs.CarDraftTarget[kCar]), std::tuple(c.Speed, c.Speed, 0));
  }
}

TEST_F(SlipTest, NoticesReachTheSteeringPanel) {
  Use(TrackBuilder(2, 50).Build());
  Human();
  Place(1, 21, 1);
  rs.CarNewSpeed[1] = 140;
  rs.CarNewSpeed[kCar] = 120;
  rs.CarDraftTarget[kCar] = 1;
  const SteeringPanel p = LoadSteeringFrame(ctx);
  EXPECT_EQ(std::tuple(p.Slipstream1Shown, p.Slipstream2Shown, p.SpacesLeft, rs.WorkSpeed),
            std::tuple(true, false, 7, 120));
}

TEST_F(SlipTest, OfferedForTheCarDirectlyAhead) {
  struct Case {
    const char* Name;
    Track TrackUsed;
    int From, AheadSpace, AheadLane;
    bool StandingStart, InCurves, InPit;
    int Offered;
  };
  const Track straight = TrackBuilder(2, 50).Build();
  const Track curve = TrackBuilder(2, 50).Curve(21, 30, {80, 100}).Build();
  const Track skips = TrackBuilder(2, 50).Curve(20, 30, {80, 100}).Skip(21, 22, 1).Build();
  const std::vector<Case> cases = {
      {"on a straight", straight, 20, 21, 1, false, false, false, 1},
      {"two spaces ahead is too far", straight, 20, 22, 1, false, false, false, 0},
      {"the other lane does not count", straight, 20, 21, 2, false, false, false, 0},
      {"not at a standing start", straight, 20, 21, 1, true, false, false, 0},
      {"not from the pit lane", straight, 20, 21, 1, false, true, true, 0},
      {"across the line", straight, 50, 1, 1, false, false, false, 1},
      {"no tow into a curve cell", curve, 20, 21, 1, false, false, false, 0},
      {"in curves when allowed", curve, 20, 21, 1, false, true, false, 1},
      {"in curves past two skip cells", skips, 20, 23, 1, false, true, false, 1},
      {"in curves even at a standing start", curve, 20, 21, 1, true, true, false, 1},
  };
  for (const Case& c : cases) {
    Use(c.TrackUsed);
    Human();
    ClearCarCell(rs, kCar);
    Place(kCar, c.From, 1);
    Place(1, c.AheadSpace, c.AheadLane);
    rs.RaceStandingStart = c.StandingStart;
    rs.OptSlipstreamInCurves = c.InCurves;
    rs.CarInPit[kCar] = c.InPit;
    rs.DraftOffered = 2;  // left from the car before
    const SpeedFrame f = LoadSpeedFrame(ctx);
    EXPECT_EQ(std::tuple(rs.DraftOffered, f.DraftOffered, f.DraftShown), std::tuple(c.Offered, c.Offered, c.Offered != 0))
        << c.Name;
  }
}

// --- Blocking --------------------------------------------------------------------------------

TEST_F(ContactTest, BoxedInAtTheStartLosesTheWholeMove) {
  for (bool draft : {false, true}) {
    Use(TrackBuilder(2, 50).Build());
    Place(1, 21, 1);
    Place(2, 21, 2);
    rs.CarOutOfRace[kCar] = false;
    rs.CarNewSpeed[1] = 200;
    rs.CarNewSpeed[kCar] = 60;
    rs.CarDraftTarget[kCar] = draft ? 1 : 0;
    const SteeringPanel p = LoadSteeringFrame(ctx);
    // Over 40 to shed is a crash.
    EXPECT_EQ(std::tuple(p.Blocked, rs.DecelOverBy, rs.CarOutOfRace[kCar], rs.track.CellOccupant[20][1], rs.MoveEnded),
              std::tuple(true, draft ? 100 : 60, true, 0, true))
        << draft;
    ExpectDraws(0);
  }
}

TEST_F(ContactTest, SpunCarBlocksTheCarsBehindInTheSameTurn) {
  Use(TrackBuilder(2, 50).Build());
  Place(1, 21, 1);
  rs.CurrentCar = 1;
  ApplyResult(ctx, 1, ResultEffects{.Spin = true}, "Cornering");
  rs.CurrentCar = kCar;
  ComputeOpenSteps(rs);
  EXPECT_EQ(std::tuple(rs.CarStatus[1], rs.track.CellOccupant[21][1], rs.CanGoStraight, rs.CanGoLeft),
            std::tuple(kSpinning, 1, false, true));
}

// --- Blue flag -------------------------------------------------------------------------------

TEST_F(ContactTest, BlueFlagAtTheStartOfTheMove) {
  struct Car {
    int Space, Lane, Lap;
  };
  struct Case {
    const char* Name;
    int Lanes;
    Car Lapper, Other;  // cars 1 and 2; space 0 keeps a car off the track
    bool Shown;
    int Lost, NewSpeed;
    double Spaces;
  };
  // The current car (lap 2, 120) would land at 26. The first car met on the walk back holds the
  // lapping car to its speed + 20: here the current car itself, so a reach of index + 9.
  const std::vector<Case> cases = {
      {"a lapping car beside, not directly behind", 3, {17, 2, 3}, {19, 1, 2}, true, 0, 120, 6},
      {"its reach ends short of the landing", 3, {16, 2, 3}, {19, 1, 2}, false, 0, 120, 6},
      {"a car on the same lap", 3, {17, 2, 2}, {0, 0, 0}, false, 0, 120, 6},
      {"a lane taken at the landing costs one space", 2, {18, 2, 3}, {26, 2, 2}, true, 1, 100, 5},
      {"no two lanes free: the whole move is lost", 1, {18, 1, 3}, {0, 0, 0}, true, 6, 0, 0},
  };
  for (const Case& c : cases) {
    Use(TrackBuilder(c.Lanes, 50).Build());
    Human();
    rs.OptBlueFlag = true;
    rs.BlueFlagInForce = false;
    rs.CarSpeed[kCar] = rs.CarNewSpeed[kCar] = 120;
    rs.CarDraftTarget[kCar] = 0;
    for (int car : {1, 2}) {
      const Car& at = car == 1 ? c.Lapper : c.Other;
      if (at.Space != 0) Place(car, at.Space, at.Lane);
      rs.CarLap[car] = at.Lap;
    }
    const SteeringPanel p = LoadSteeringFrame(ctx);
    EXPECT_EQ(std::tuple(p.BlueFlagShown, rs.BlueFlagCar, rs.BlueFlagSpacesLost),
              std::tuple(c.Shown, c.Shown ? 1 : 0, c.Lost))
        << c.Name;
    EXPECT_EQ(std::tuple(rs.CarNewSpeed[kCar], rs.CarSpeed[kCar], rs.SpacesLeft, p.Shown, rs.CarSpace[kCar]),
              std::tuple(c.NewSpeed, c.NewSpeed, c.Spaces, c.Spaces > 0, 20))
        << c.Name;
  }
  ExpectDraws(0);
}

// Within a move of 6 from `From`: a lapped car ahead, or a lapping car behind that raises the
// blue flag. Landing past the line at 4, a car just past the line is on the car's coming lap.
TEST_F(ContactTest, LappedCarsAheadAndLappingCarsBehind) {
  struct Case {
    const char* Name;
    bool BlueFlag;
    int From, Space, Lap;
    bool Expected;
  };
  const std::vector<Case> cases = {
      {"a lap down within the move", false, 20, 24, 1, true},
      {"on the same lap", false, 20, 24, 2, false},
      {"beyond the landing", false, 20, 27, 1, false},
      {"behind the car", false, 20, 18, 1, false},
      {"a lap ahead behind the line", true, 48, 45, 3, true},
      {"on the same lap past the line", true, 48, 2, 3, false},
      {"a lap ahead past the line", true, 48, 2, 4, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.Name);
    Use(TrackBuilder(2, 50).Build());
    ClearCarCell(rs, kCar);
    Place(kCar, c.From, 1);
    Place(1, c.Space, 2);
    rs.CarLap[1] = c.Lap;
    if (!c.BlueFlag) {
      EXPECT_EQ(CheckLappedAhead(ctx, kCar, 6), c.Expected);
      continue;
    }
    EXPECT_EQ(CheckBlueFlag(ctx, kCar, 6), c.Expected);
    EXPECT_EQ(rs.BlueFlagInForce, c.Expected);
  }
}

}  // namespace
}  // namespace vm
