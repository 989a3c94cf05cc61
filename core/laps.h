// Lap accounting at the line. The full accounting (lap clocks, gaps, fastest lap, flags, the
// podium) comes with the laps work; until then the line only counts laps.
#pragma once

#include "rules/rule_context.h"

namespace vm {

// The current car has crossed the line in a step: its lap count goes up, and in Practice its
// wears are refilled.
void CrossLine(RuleContext& ctx);

// At the end of a move: the car's running average speed, unless the race is at its standing start.
void CalcAvgSpeed(RaceState& rs, int car);

}  // namespace vm
