#include "core/race_log.h"

#include <cmath>

#include "core/race_state.h"

namespace vm {

namespace {

std::string Name(const RaceState& rs, int car) { return IsCarNumber(car) ? rs.DriverName[car] : std::string(); }

}  // namespace

std::string HighlightLine(const RaceState& rs, int kind, int car, int otherCar, std::string_view text) {
  if (!IsCarNumber(car) && kind != kLogPreRaceWeather) return "";
  const int lap = IsCarNumber(car) ? rs.CarLap[car] : 0;
  const int move = IsCarNumber(car) ? static_cast<int>(std::floor(rs.CarRaceClock[car])) : 0;
  // The rolls of the speed pass come before the clock runs: they belong to the move to come.
  const bool nextMove = kind == kLogBrakeTested || kind == kLogAccelExceeded || kind == kLogTopSpeedExceeded;
  const std::string moveText = std::to_string(nextMove ? move + 1 : move);
  const std::string head = "(Lap " + std::to_string(lap) + "/Move " + moveText;
  const std::string startHead = "(Start/Move " + moveText;
  const std::string name = Name(rs, car);
  const std::string t(text);
  switch (kind) {
    case kLogLeadChange: return head + ") Lead Change - " + name + " passes " + Name(rs, otherCar);
    case kLogStall: return (lap < 1 ? startHead : head) + ") Stall - " + name;
    case kLogSpin: return head + ") Spin - " + " " + name + ", " + t;
    case kLogBrakeDamage: return head + ") Car Damage - " + " " + name + ", Brakes: Deceleration reduced by 20 MPH";
    case kLogEngineAccelDamage:
      return head + ") Car Damage - " + " " + name + ", Engine: Acceleration reduced by 20 MPH";
    case kLogEngineTopDamage: return head + ") Car Damage - " + " " + name + ", Engine: Top Speed reduced by 20 MPH";
    case kLogCrash: return head + ") Crash - " + " " + name + ", " + t;
    case kLogChanceSuccess: return head + ") Successful Chance Roll, " + name + " - " + t;
    case kLogSpeedReduced: return head + ") Speed Reduced - " + name;
    case kLogBrakeTested: return head + ") Brake Tested - " + name;
    case kLogAccelExceeded: return head + ") Acceleration Exceeded - " + name;
    case kLogTopSpeedExceeded: return head + ") Top Speed Exceeded - " + name;
    case kLogStartSpeedExceeded: return startHead + ") Start Speed Exceeded - " + name;
    case kLogSpinDamage: return "";
    case kLogFastLap:
      // The lap is the one just completed.
      return "(Lap " + std::to_string(lap - 1) + "/Move " + moveText + ") Fast Lap - " + name + ", " + t;
    case kLogOutStalled: return head + ") Out Of Race, Stalled - " + name;
    case kLogEnterPit: return head + ") Enter Pit - " + name + ", " + t;
    case kLogBlueFlag: return head + ") Blue Flag - " + name + ", " + t + " spaces lost";
    case kLogPreRaceWeather: return "(Pre-Race) Weather - " + t;
    case kLogWeather: return head + ") Weather - " + t;
    default: return "";
  }
}

void HighlightList::LogHighlight(int kind, int car, int otherCar, std::string_view text) {
  if (Silenced || rs_.ReplayRunning || rs_.AISpeedSearch || rs_.AITrialMove) return;
  const std::string line = HighlightLine(rs_, kind, car, otherCar, text);
  rs_.HighlightText = " ";
  if (line.empty()) return;
  rs_.Highlights.push_back(line);
  if (OnLine) OnLine(line);
}

}  // namespace vm
