// The AI's line choice: PlanMove drives an AI car space by space through its move, choosing
// straight, left or right, the pit lane, an apex line and the way to a blue flag. The same
// routine runs the real move and the speed search's trials, where it answers what a speed costs.
#pragma once

#include "rules/rule_context.h"

namespace vm {

// What a move came to.
struct MovePlan {
  int WearsUsed = 0;                // wears spent on the way; kMoveImpossible when it cannot be made
  int LowestLimit = kOpenStraight;  // the lowest cell limit met along the way
};
inline constexpr int kMoveImpossible = 999;

// Drives the current car through a move of `speed` MPH (lowered by a blue flag in a real move),
// starting with `wearsBefore` wears. A trial (AITrialMove) draws from the generator as a real
// move does but shows and logs nothing.
MovePlan PlanMove(RuleContext& ctx, int wearsBefore, int& speed);

// The real move of the current AI car, as the turn engine asks for it.
void DriveAIMove(RuleContext& ctx);

}  // namespace vm
