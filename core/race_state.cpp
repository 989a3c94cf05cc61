#include "core/race_state.h"

#include <string>

namespace vm {

void ResetRaceState(RaceState& rs) {
  rs.RaceStandingStart = true;
  rs.FinishRaceMode = false;
  rs.FinishLapMode = false;
  rs.ContinueTurns = false;
  rs.CarsFinished = 0;
  rs.CarsOut = 0;
  rs.WorkSpeed = 0;
  rs.LeaderSpeedHistory.fill(0);
  rs.LeaderSpeedCount = 0;
  rs.FinishOrder.fill(0);
  rs.FinishOrderCount = 0;
  rs.RaceOver = false;
  rs.RaceEndedByUser = false;
  rs.PauseRequested = false;
  rs.FastestLapMph = 0;
  rs.FastestLapSeconds = 0;
  rs.PaceSpeed = 0;
  rs.LeadCar = 0;
  rs.OrderIndex = 1;
  rs.CurrentCar = 1;
  rs.Highlights.clear();
  rs.HighlightText = " ";
  rs.FastestLapText.clear();

  for (int car = 1; car <= kMaxCars; ++car) {
    ClearCarRaceCounters(rs, car);
    rs.CarSpace[car] = 0;
    rs.CarLane[car] = 0;
    rs.CarNewSpeed[car] = rs.CarStartSpeed[car];
    rs.CarLap[car] = 0;
    rs.CarStatus[car] = kRunning;
    rs.CarOutOfRace[car] = false;
    rs.CarEngineDamaged[car] = false;
    rs.CarBrakesDamaged[car] = false;
    rs.CarInPit[car] = false;
    rs.CarCurveEntryLimit[car] = 0;
    rs.CarCurveExcessPaid[car] = 0;
    rs.CarCurveOwes[car] = false;
    rs.CarLapClock[car] = 0;
    rs.CarRaceClock[car] = 0;
    rs.CarRaceDistance[car] = 0;
    rs.CarMoveCount[car] = 0;
    rs.CarAvgSpeed[car] = 0;
    rs.RunningOrder[car] = car <= rs.CarCount ? car : 0;
  }
  for (int lap = 0; lap <= kMaxLaps; ++lap) {
    rs.LapOrder[lap].fill(0);
    rs.LapGap[lap].fill(0);
    rs.LapSpeedMph[lap].fill(0);
    rs.LapWearsUsed[lap].fill(0);
  }
  for (auto& row : rs.track.CellOccupant) row.fill(0);
  rs.PitQueue.clear();
}

void ClearCarRaceCounters(RaceState& rs, int car) {
  rs.CarSpeed[car] = 0;
  rs.CarApexNumber[car] = 0;
  rs.CarApexLimit[car] = 0;
  rs.CarApexSpeed[car] = 0;
  rs.CarCurveRankPaid[car] = 0;
  rs.CarOnApexCells[car] = false;
  rs.CarDraftTarget[car] = 0;
  rs.CarSlipSpeed[car] = 0;
}

void ClearCarCell(RaceState& rs, int car) {
  if (!IsCarNumber(car)) return;
  const int space = rs.CarSpace[car];
  const int lane = rs.CarLane[car];
  if (space < 0 || space > kMaxSpaces || lane < 0 || lane > kMaxLanes + 1) return;
  int& cell = rs.track.CellOccupant[static_cast<size_t>(space)][static_cast<size_t>(lane)];
  if (cell == car) cell = 0;
}

void TakeDesignCopies(RaceState& rs) {
  for (int car = 1; car <= kMaxCars; ++car) {
    rs.CarDesign[car] = CarRatings{rs.CarDRM[car],          rs.CarStartSpeed[car], rs.CarAcceleration[car],
                                   rs.CarDeceleration[car], rs.CarWearPerLap[car], rs.CarTopSpeed[car]};
  }
}

namespace {

void CheckCells(const RaceState& rs, std::vector<std::string>& faults) {
  const Track& t = rs.track;
  PerCar<int> cellsHeld{};
  for (int space = 0; space <= kMaxSpaces; ++space) {
    for (int lane = 0; lane <= kMaxLanes + 1; ++lane) {
      const int car = t.CellOccupant[space][lane];
      if (car == 0) continue;
      const std::string where = "cell " + std::to_string(space) + "/" + std::to_string(lane);
      if (!IsCarNumber(car)) {
        faults.push_back(where + " holds car " + std::to_string(car) + ", which does not exist");
        continue;
      }
      ++cellsHeld[car];
      if (rs.CarSpace[car] != space || rs.CarLane[car] != lane)
        faults.push_back(where + " holds car " + std::to_string(car) + ", which stands elsewhere");
    }
  }
  // Every car: a qualifying lap races one car whose number may be above CarCount.
  for (int car = 1; car <= kMaxCars; ++car) {
    if (cellsHeld[car] > 1) faults.push_back("car " + std::to_string(car) + " holds more than one cell");
    // A running car on the track owns its cell; one out, in the pit lane or spinning off owns none.
    const bool onTrack = rs.CarSpace[car] > 0 && rs.CarLane[car] > 0 && !rs.CarOutOfRace[car] &&
                         !rs.CarInPit[car] && rs.CarStatus[car] != kSpinningOffCell;
    // A spun car gives up its cell at its next slot and restarts from a standstill where it
    // stands: until it moves again it may hold none.
    const bool restarting = rs.CarStatus[car] == kSpinning || rs.CarSpeed[car] == 0;
    if (onTrack && cellsHeld[car] == 0 && !restarting)
      faults.push_back("car " + std::to_string(car) + " holds no cell");
    if (onTrack && rs.CarSpace[car] <= kMaxSpaces && rs.CarLane[car] <= kMaxLanes &&
        t.CellSkip[rs.CarSpace[car]][rs.CarLane[car]])
      faults.push_back("car " + std::to_string(car) + " stands on a skip cell");
    if ((rs.CarOutOfRace[car] || rs.CarInPit[car]) && cellsHeld[car] > 0)
      faults.push_back("car " + std::to_string(car) + " is off the track but holds a cell");
  }
}

// The pit lane holds exactly the cars marked as in it, each once.
void CheckPitQueue(const RaceState& rs, std::vector<std::string>& faults) {
  PerCar<int> queued{};
  for (const PitQueueEntry& e : rs.PitQueue) {
    if (!IsCarNumber(e.Car)) {
      faults.push_back("the pit lane holds car " + std::to_string(e.Car) + ", which does not exist");
      continue;
    }
    if (++queued[e.Car] == 2) faults.push_back("car " + std::to_string(e.Car) + " is in the pit lane twice");
  }
  for (int car = 1; car <= kMaxCars; ++car)
    if (rs.CarInPit[car] != (queued[car] > 0))
      faults.push_back("car " + std::to_string(car) + (rs.CarInPit[car] ? " is marked in the pit lane but not in it"
                                                                         : " is in the pit lane but not marked"));
}

void CheckSpeeds(const RaceState& rs, std::vector<std::string>& faults) {
  for (int car = 1; car <= kMaxCars; ++car) {
    if (rs.CarSpeed[car] % 20 != 0 || rs.CarSpeed[car] < 0)
      faults.push_back("car " + std::to_string(car) + " has CarSpeed " + std::to_string(rs.CarSpeed[car]));
    if (rs.CarNewSpeed[car] % 20 != 0 || rs.CarNewSpeed[car] < 0)
      faults.push_back("car " + std::to_string(car) + " has CarNewSpeed " + std::to_string(rs.CarNewSpeed[car]));
  }
}

void CheckOrder(const RaceState& rs, std::vector<std::string>& faults) {
  const int expected = rs.CarCount - rs.CarsFinished;
  if (rs.CarCount < 0 || rs.CarCount > kMaxCars || expected < 0) {
    faults.push_back("CarCount " + std::to_string(rs.CarCount) + " with " + std::to_string(rs.CarsFinished) +
                     " finished is impossible");
    return;
  }
  PerCar<bool> seen{};
  for (int pos = 1; pos <= expected; ++pos) {
    const int car = rs.RunningOrder[pos];
    const std::string where = "RunningOrder[" + std::to_string(pos) + "]";
    if (!IsCarNumber(car)) {
      faults.push_back(where + " is empty");
    } else if (seen[car]) {
      faults.push_back(where + " repeats car " + std::to_string(car));
    } else {
      seen[car] = true;
    }
  }
}

}  // namespace

std::vector<std::string> CheckRaceState(const RaceState& rs) {
  std::vector<std::string> faults;
  CheckCells(rs, faults);
  CheckPitQueue(rs, faults);
  CheckSpeeds(rs, faults);
  CheckOrder(rs, faults);
  return faults;
}

std::string FormatDRM(int drm) {
  switch (drm) {
    case 2: return "+2";
    case 1: return "+1";
    case 0: return " 0";
    case -1: return "-1";
    case -2: return "-2";
    default: return "";
  }
}

}  // namespace vm
