// What every rule routine works with: the race, the game's one generator, the console that
// shows a human driver's panels, and the race log.
#pragma once

#include <string_view>

#include "core/race_log.h"
#include "core/race_state.h"
#include "core/random.h"
#include "ui/console.h"

namespace vm {

struct RuleContext {
  RaceState& rs;
  Random& rng;
  Console& console;
  RaceLog& log;
};

// True while the AI's speed search runs, in either of its two forms: nothing is shown or logged.
inline bool InSearch(const RaceState& rs) { return rs.AITrialMove || rs.AISpeedSearch; }

// True when the current car's decisions and rolls go through a human's panels.
inline bool HumanAtPanel(const RaceState& rs) {
  return IsCarNumber(rs.CurrentCar) && !rs.CarIsAI[rs.CurrentCar] && !InSearch(rs);
}

// Raises a highlight unless the search is running, which must leave no trace in the log.
inline void Highlight(RuleContext& ctx, int kind, int car, std::string_view text = " ") {
  if (!InSearch(ctx.rs)) ctx.log.LogHighlight(kind, car, 0, text);
}

}  // namespace vm
