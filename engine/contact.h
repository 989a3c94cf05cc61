// Contact: the blue flag that makes a lapped car give way to a lapping one. What blocks a step
// and how a blocked car is stopped lie with the steering and the rules.
#pragma once

#include "core/race_state.h"
#include "rules/rule_context.h"

namespace vm {

// Tells whether a lapping car will reach the place where `car` ends a move of `spaces` blocks.
// Sets BlueFlagInForce and BlueFlagCar (0 when no flag is shown).
bool CheckBlueFlag(RuleContext& ctx, int car, int spaces);

// Returns how many of the `spaces` blocks `car` must give up so that it ends its move where two
// lanes are free: the lapping car then has room to pass. All of them when no such place exists.
int BlueFlagYield(RuleContext& ctx, int car, int spaces);

// Tells whether a car on a lower lap than `car` lies ahead of it within a move of `spaces` blocks:
// the walk of the blue flag, without the reach of the other car.
bool CheckLappedAhead(RuleContext& ctx, int car, int spaces);

// Shows the current car the blue flag at the start of its move when a lapping car is coming, and
// cuts the move to the spaces it may still cover. Does nothing unless blue flags are in use.
// Returns whether the flag is shown.
bool BlueFlagAtMoveStart(RuleContext& ctx);

}  // namespace vm
