// Where the rules raise the race's highlights. The race log itself (lines, heads, silencing)
// implements this; the rules only say what happened, to whom, with the text of their roll.
#pragma once

#include <string_view>

namespace vm {

// The twenty kinds of highlight. A kind outside 1..20 writes nothing.
enum LogKind : int {
  kLogLeadChange = 1,
  kLogStall = 2,
  kLogSpin = 3,
  kLogBrakeDamage = 4,
  kLogEngineAccelDamage = 5,
  kLogEngineTopDamage = 6,
  kLogCrash = 7,
  kLogChanceSuccess = 8,
  kLogSpeedReduced = 9,
  kLogBrakeTested = 10,
  kLogAccelExceeded = 11,
  kLogTopSpeedExceeded = 12,
  kLogStartSpeedExceeded = 13,
  kLogSpinDamage = 14,  // raised by the spin damage table; writes no line
  kLogFastLap = 15,
  kLogOutStalled = 16,
  kLogEnterPit = 17,
  kLogBlueFlag = 18,
  kLogPreRaceWeather = 19,
  kLogWeather = 20,
};

class RaceLog {
 public:
  virtual ~RaceLog() = default;
  // Raises one highlight; `text` is the caller's HighlightText (a table name, a roll, a reason).
  virtual void LogHighlight(int kind, int car, int otherCar, std::string_view text) = 0;
};

// A log that keeps nothing, for callers that have no race log.
class NullRaceLog : public RaceLog {
 public:
  void LogHighlight(int, int, int, std::string_view) override {}
};

}  // namespace vm
