// Circuits the game ships that are made in code rather than drawn.
#pragma once

#include "core/track.h"

namespace vm {

// A three-lane, 120-space (three-mile) oval: two 20-space curves of 100/120/140 MPH with skip
// cells on the inside lane, apex lines through both, curve exits, a pit lane across the line.
Track SampleOval(const std::string& fileName = "Tracks/Oval.trk");

}  // namespace vm
