// The AI driver's risk percentages and the roll that decides whether a risk is taken.
#pragma once

#include <string_view>

#include "core/race_state.h"
#include "core/random.h"

namespace vm {

// The car's percentage for a category: "SS", "A", "D", "T", "C" or "CA"; 0 for any other.
int RiskPercent(const RaceState& rs, int car, std::string_view category);

// Whether the driver takes the risk: one Rnd, passing when Rnd x 100 <= the percentage. A
// percentage of 0 never passes and draws nothing. The answer is also left in RiskPassed.
bool RiskRoll(RaceState& rs, Random& rng, int car, std::string_view category);

}  // namespace vm
