// The AI's speed choice: once the human speeds are in, ChooseAISpeeds plays the whole field
// forward on the live state, trying speeds for each AI car with the real steering and rule code
// in its cheap form, and keeps for each the fastest whose wears it is willing to spend. Then it
// puts everything back but the chosen speeds.
#pragma once

#include "rules/rule_context.h"

namespace vm {

// Sets CarNewSpeed (and CarDraftTarget) of every AI car; leaves no other trace in the race.
void ChooseAISpeeds(RuleContext& ctx);

}  // namespace vm
