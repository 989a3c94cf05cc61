// The race state as one JSON object, for scripted runs to compare: every field under its own
// name in declaration order, per-car and order tables as arrays from index 0, per-lap tables as
// arrays of arrays, the track's scalars with its occupied cells as a list, and the state's hash.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <set>
#include <string>

#include "core/race_state.h"

namespace vm {

// Returns the race state as JSON; `rndDrawn` is how many random numbers the race has drawn.
// "StateHash" is RaceStateHash as 16 hex digits.
nlohmann::ordered_json RaceStateJson(const RaceState& rs, std::uint64_t rndDrawn);

// Returns the fields of the race state as JSON, leaving out those named in `skip`: no hash, no
// draw count.
nlohmann::ordered_json RaceStateFieldsJson(const RaceState& rs, const std::set<std::string, std::less<>>& skip);

// Puts the fields of such JSON back into the state, except the track and those named in `skip`;
// a field the JSON lacks keeps its value. Throws std::invalid_argument (or a JSON exception) on a
// field of the wrong kind or size, having written part of the state: apply to a copy.
void ApplyRaceStateFieldsJson(RaceState& rs, const nlohmann::ordered_json& j,
                              const std::set<std::string, std::less<>>& skip);

}  // namespace vm
