// Driver profiles: how an AI driver spreads its wears over a lap and over a race or stint, and
// its six risk percentages, as the setup grid and the reports show them.
#pragma once

#include <string>

#include "core/race_state.h"

namespace vm {

// "LP-E/RP-S": the lap profile's part then the race profile's; "" parts for values off 1..3.
std::string ProfileText(const RaceState& rs, int car);

// The six risks under "S/A/D/T/Ch/C": start speed, acceleration, deceleration, top speed,
// cornering Chance and collision avoidance, joined with "/".
std::string RiskText(const RaceState& rs, int car);

}  // namespace vm
