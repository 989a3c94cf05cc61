// The race state as one JSON object, for scripted runs to compare: every field under its own
// name, per-car and order tables as arrays from index 0, per-lap tables as arrays of arrays, and
// the occupied cells as a list.
#pragma once

#include <cstdint>

#include <nlohmann/json.hpp>

#include "core/race_state.h"

namespace vm {

// Returns the race state as JSON; `rndDrawn` is how many random numbers the race has drawn.
nlohmann::ordered_json RaceStateJson(const RaceState& rs, std::uint64_t rndDrawn);

}  // namespace vm
