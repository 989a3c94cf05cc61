#include "rules/pit_stops.h"

namespace vm {

void PlanStints(RaceState& rs) {
  for (int car = 1; car <= kMaxCars; ++car) {
    rs.CarStintLaps[car] = rs.RaceLaps;
    rs.CarStintLapsLeft[car] = rs.RaceLaps;
  }
}

void CountStintLap(RaceState&, int) {}

void EnterPit(RuleContext&) {}

std::vector<int> ProcessPitLane(RuleContext&) { return {}; }

}  // namespace vm
