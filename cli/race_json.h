// The race state as one JSON object, for scripted runs to compare: every field under its own
// name in declaration order, per-car and order tables as arrays from index 0, per-lap tables as
// arrays of arrays, the track's scalars with its occupied cells as a list, and the state's hash.
#pragma once

#include <cstdint>

#include <nlohmann/json.hpp>

#include "core/race_state.h"

namespace vm {

// Returns the race state as JSON; `rndDrawn` is how many random numbers the race has drawn.
// "StateHash" is RaceStateHash as 16 hex digits.
nlohmann::ordered_json RaceStateJson(const RaceState& rs, std::uint64_t rndDrawn);

}  // namespace vm
