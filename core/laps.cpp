#include "core/laps.h"

namespace vm {

void CrossLine(RuleContext& ctx) {
  RaceState& rs = ctx.rs;
  const int car = rs.CurrentCar;
  if (!IsCarNumber(car)) return;
  rs.CarLap[car] += 1;
  rs.CarLapClock[car] = 0;
  // Finishing the lap stops at the end of the turn in which the car in front crosses the line.
  if (rs.OrderIndex == 1 && rs.FinishLapMode) {
    rs.FinishLapMode = false;
    rs.FinishRaceMode = false;
  }
  if (rs.GameMode == "Practice") rs.CarWears[car] = rs.CarWearPerLap[car];
}

void CalcAvgSpeed(RaceState& rs, int car) {
  if (rs.RaceStandingStart || !IsCarNumber(car)) return;
  int spaces = rs.CarSpace[car] - rs.MoveStartSpace;
  if (spaces < 1) spaces += rs.track.TrackLength;
  rs.CarMoveCount[car] += 1;
  const int count = rs.CarMoveCount[car];
  rs.CarAvgSpeed[car] = ((count - 1) * rs.CarAvgSpeed[car] + spaces * 20.0) / count;
}

}  // namespace vm
