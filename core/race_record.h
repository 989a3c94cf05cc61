// The race record of one car as the saved race and the season's results both write it: 25 fields,
// car `i`'s race so far and, in field 8, the car the file keeps at place `i` (the running order
// of a saved race, the finish order of a race's results).
#pragma once

#include "core/race_state.h"
#include "core/textfile.h"

namespace vm {

void WriteCarRaceRecord(TextWriter& w, const RaceState& rs, int i, int carAtPlace);

}  // namespace vm
