// Where the rules raise the race's highlights. The race log itself (lines, heads, silencing)
// implements this; the rules only say what happened, to whom, with the text of their roll.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace vm {

struct RaceState;

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
  // Raises one highlight; `text` is the caller's HighlightText: a table name or reason (spins,
  // crashes, Chance rolls, pit entry), the MPH of a fast lap, the spaces of a blue flag, or for
  // the weather the state and surface as "Clear (8), Track - Dry".
  virtual void LogHighlight(int kind, int car, int otherCar, std::string_view text) = 0;
};

// The race log itself: each highlight becomes one line of text in the race state's Highlights,
// built at once with the lap and move of the car. Nothing is logged while a race is replayed,
// while the AI's search runs, or while the log is silenced (a race being restored).
class HighlightList : public RaceLog {
 public:
  explicit HighlightList(RaceState& rs) : rs_(rs) {}
  void LogHighlight(int kind, int car, int otherCar, std::string_view text) override;

  bool Silenced = false;
  // Called with each line as it is added, for a console that shows them as they come.
  std::function<void(const std::string&)> OnLine;

 private:
  RaceState& rs_;
};

// The line a highlight gives, or "" for a kind that writes none.
std::string HighlightLine(const RaceState& rs, int kind, int car, int otherCar, std::string_view text);

// A log that keeps nothing, for callers that have no race log.
class NullRaceLog : public RaceLog {
 public:
  void LogHighlight(int, int, int, std::string_view) override {}
};

}  // namespace vm
