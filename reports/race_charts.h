// The race's two charts for the report's page, as inline SVG: places by lap and seconds behind the
// leader by lap. Each car is one line marked with its number at both ends, so cars are told apart
// by more than colour.
#pragma once

#include <string>

#include "core/race_state.h"

namespace vm {

// Laps whose order was recorded, from lap 1 on without a break; 0 when no lap was run.
int ChartedLaps(const RaceState& rs);

// The lap chart: each car's place at the end of every lap, lap 0 being the grid (LapOrder). A car
// counts at a lap when it stands in that lap's order and has a speed for it, so a car out of the race
// ends where it stopped. Empty when no lap was run.
std::string LapChartSvg(const RaceState& rs);

// The gap chart: seconds behind the lap's leader (LapGap) over laps 1 on, the leader at 0, the
// scale rounded up to a whole step. Empty when no lap was run.
std::string GapChartSvg(const RaceState& rs);

}  // namespace vm
