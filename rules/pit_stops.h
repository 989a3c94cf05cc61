// Pit stops: a car leaves the track at the pit entrance, waits in the pit lane, a queue with no
// place on the track, for a number of race turns, and comes back with wears, repairs and tires.
#pragma once

#include <vector>

#include "rules/rule_context.h"

namespace vm {

// At the race reset: every car's stint, the laps its first allotment of wears lasts.
void PlanStints(RaceState& rs);

// A lap off the stint of `car`, which has crossed the line after its first crossing.
void CountStintLap(RaceState& rs, int car);

// The current car, standing on the pit entrance, takes the pit lane.
void EnterPit(RuleContext& ctx);

// One race turn of the pit lane, at the end of the steering pass. Returns the cars released to
// the track this turn, in the order they came out.
std::vector<int> ProcessPitLane(RuleContext& ctx);

}  // namespace vm
