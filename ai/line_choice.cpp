#include "ai/line_choice.h"

#include <algorithm>

#include "core/units.h"
#include "engine/steering.h"

namespace vm {

MovePlan PlanMove(RuleContext& ctx, int wearsBefore, int& speed) {
  RaceState& rs = ctx.rs;
  MovePlan plan;
  const int car = rs.CurrentCar;
  if (!IsCarNumber(car)) return plan;
  rs.SpacesLeft = speed / kMphPerSpace;
  rs.MoveEnded = false;
  while (rs.SpacesLeft >= 1 && !rs.MoveEnded && rs.CarStatus[car] == kRunning) {
    ComputeOpenSteps(rs);
    if (!rs.CanGoStraight && !rs.CanGoLeft && !rs.CanGoRight) {
      plan.WearsUsed = kMoveImpossible;
      if (!InSearch(rs)) EndMoveEarly(ctx);
      return plan;
    }
    if (rs.CanGoStraight) StepStraight(ctx);
    else if (rs.CanGoRight) StepRight(ctx);
    else StepLeft(ctx);
    plan.LowestLimit = std::min(plan.LowestLimit, rs.track.CellSpeedLimit[rs.CarSpace[car]][rs.CarLane[car]]);
  }
  plan.WearsUsed = wearsBefore - rs.CarWears[car];
  return plan;
}

void DriveAIMove(RuleContext& ctx) {
  RaceState& rs = ctx.rs;
  const int car = rs.CurrentCar;
  if (!IsCarNumber(car)) return;
  int speed = rs.CarNewSpeed[car];
  PlanMove(ctx, rs.CarWears[car], speed);
}

}  // namespace vm
