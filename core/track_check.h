// The track check: the faults a drawn or written track can have that the game would not catch
// until a car meets them — a lane a car cannot cross, ranks or limits out of order, broken apex
// lines, a pit lane or grid with no room, a heading with no car picture.
#pragma once

#include <string>
#include <vector>

#include "core/track.h"

namespace vm {

// One fault, at a cell; Space and Lane are 0 when the fault is not about one cell or lane.
struct TrackFinding {
  int Space = 0;
  int Lane = 0;
  std::string Message;
  bool operator==(const TrackFinding&) const = default;
};

struct TrackCheckOptions {
  // The folder holding <model>/Gifs/<livery>...; empty leaves the car pictures unchecked.
  std::string CarsFolder;
};

// Finds every fault of a loaded track, in the order: cells, skips, ranks, limits, apex lines,
// pit lane, grid, car pictures. Reads the disk only for the car pictures.
std::vector<TrackFinding> CheckTrack(const Track& track, const TrackCheckOptions& options = {});

// Formats a finding as "space 42, lane 3: three skip cells in a row" ("space 42: ..." without
// a lane, the message alone without a space).
std::string Describe(const TrackFinding& finding);

}  // namespace vm
