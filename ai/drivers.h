// Where the AI enters the race: its speed search after the human speeds, and its line choice
// for each AI car's move.
#pragma once

#include "engine/turn_engine.h"

namespace vm {

// Puts the AI's speed choice and line choice into the engine's seams.
void UseAIDrivers(RaceEngine& engine);

}  // namespace vm
