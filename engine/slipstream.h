// Slipstream: the tow a car takes from the car directly ahead. It is offered with the speed and
// settled when the move begins, once the speed of the car ahead is known.
#pragma once

#include <string>

#include "core/race_state.h"
#include "rules/rule_context.h"

namespace vm {

// What the steering panel shows of the tow: the +20 or +40 notice, or why it was lost.
struct SlipstreamNotice {
  bool Plus20 = false;    // lblSlipstream1
  bool Plus40 = false;    // lblSlipstream2
  std::string Cancelled;  // lblSlipstreamCancelled, empty when hidden
};

// Returns the car the current car may follow, 0 when none: the car on the next cell of its lane,
// on an open straight (not at a standing start) or, with slipstreaming in curves allowed, on any
// cell past up to two skip cells. A car in the pit lane is offered nothing.
int SlipstreamOffer(const RaceState& rs);

// Returns the MPH that would take the car exactly to the space before the first curve space within
// fifteen spaces ahead of it; 0 when none is near or the curve begins at the very next space.
int FindCurveEntrySpeed(const RaceState& rs, int car);

// Settles the current car's tow at the start of its move: adds one or two blocks to SpacesLeft
// when the car followed is fast enough, unless a cancel test takes them back. Keeps CarSlipSpeed
// and SlipBonusOfMove for the move and leaves CarNewSpeed and WorkSpeed as chosen.
SlipstreamNotice SettleSlipstream(RuleContext& ctx);

}  // namespace vm
