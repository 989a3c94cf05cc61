#include "engine/slipstream.h"

#include <cmath>

#include "core/units.h"

namespace vm {

namespace {

// A curve this many spaces ahead or farther does not limit the tow.
// The speeds of the car ahead that give one and two blocks.
constexpr int kOneBlockLead = 120;
constexpr int kTwoBlockLead = 180;


bool OnGrid(int space, int lane) { return space >= 1 && space <= kMaxSpaces && lane >= 1 && lane <= kMaxLanes; }

}  // namespace

int SlipstreamOffer(const RaceState& rs) {
  const int car = rs.CurrentCar;
  if (!IsCarNumber(car) || rs.CarInPit[car]) return 0;
  const Track& t = rs.track;
  const int space = rs.CarSpace[car];
  const int lane = rs.CarLane[car];
  if (!OnGrid(space, lane)) return 0;
  int offered = 0;
  // Step 1. On a straight only the very next index counts, skip cell or not.
  if (t.CellSpeedLimit[space][lane] == kOpenStraight && !rs.RaceStandingStart) {
    const int next = NextSpace(t, space);
    if (t.CellSpeedLimit[next][lane] == kOpenStraight && t.CellOccupant[next][lane] != 0)
      offered = t.CellOccupant[next][lane];
  }
  // Step 2. Runs after the straight test; a car found here stands.
  if (rs.OptSlipstreamInCurves) {
    int next = NextSpace(t, space);
    for (int passed = 0; passed < 2 && t.CellSkip[next][lane]; ++passed) next = NextSpace(t, next);
    if (t.CellOccupant[next][lane] != 0) offered = t.CellOccupant[next][lane];
  }
  return offered;
}

int FindCurveEntrySpeed(const RaceState& rs, int car) {
  const Track& t = rs.track;
  for (int i = 1; i <= kLookAheadSpaces; ++i) {
    const int space = WrapSpace(t, rs.CarSpace[car] + i);
    if (space < 1 || space > kMaxSpaces) return 0;
    for (int lane = 1; lane <= kMaxLanes; ++lane)
      if (t.CellLaneRank[space][lane] > 0 && t.CellSpeedLimit[space][lane] < kNoLimit)
        return i * kMphPerSpace - kMphPerSpace;
  }
  return 0;
}

SlipstreamNotice SettleSlipstream(RuleContext& ctx) {
  RaceState& rs = ctx.rs;
  SlipstreamNotice notice;
  const int car = rs.CurrentCar;
  if (!IsCarNumber(car)) return notice;
  const int newSpeed = rs.CarNewSpeed[car];
  rs.WorkSpeed = newSpeed;
  rs.SlipCancelled = false;
  rs.SlipBonusKind = 0;
  const int target = rs.CarDraftTarget[car];
  if (IsCarNumber(target)) {
    // Step 1.
    rs.CurveEntrySpeed = FindCurveEntrySpeed(rs, car);
    // Step 2. The car ahead may have moved already: its chosen speed is what counts.
    const int leadSpeed = rs.CarNewSpeed[target];
    if (leadSpeed >= kTwoBlockLead) {
      rs.SlipBonusKind = 2;
      rs.WorkSpeed += 2 * kMphPerSpace;
      notice.Plus40 = true;
    } else if (leadSpeed >= kOneBlockLead) {
      rs.SlipBonusKind = 1;
      rs.WorkSpeed += kMphPerSpace;
      notice.Plus20 = true;
    }
    // Step 3. The first test that fires gives the text: a lead below 120 always reads as such.
    const char* cancel = nullptr;
    if (newSpeed <= rs.CurveEntrySpeed && rs.WorkSpeed > rs.CurveEntrySpeed && !rs.OptCurveEntryBySlipstream)
      cancel = "Slipstream Cancel Turn Entry";
    else if (leadSpeed < kOneBlockLead)
      cancel = "Slipstream Cancel Lead Car < 120";
    else if (leadSpeed < newSpeed)
      cancel = "Slipstream Cancel Car Speed";
    if (cancel != nullptr) {
      rs.WorkSpeed = newSpeed;
      rs.SlipCancelled = true;
      rs.SlipBonusKind = 0;
      notice = SlipstreamNotice{};
      notice.Cancelled = cancel;
    }
  }
  // Step 4. Run for every move, so that no bonus of an earlier move is kept for this one.
  rs.SpacesLeft = std::floor(rs.WorkSpeed / static_cast<double>(kMphPerSpace));
  rs.CarSlipSpeed[car] = rs.WorkSpeed;
  rs.SlipBonusOfMove = rs.SlipBonusKind;
  rs.WorkSpeed = newSpeed;
  rs.CarDraftTarget[car] = 0;
  return notice;
}

}  // namespace vm
