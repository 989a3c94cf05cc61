// The team file: one quoted team name a line, read to the end. It only offers names for the car
// setup's team box; the program never writes one.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/textfile.h"

namespace vm {

inline constexpr const char* kTeamFileFilter = "Team Files (*.tms)|*.tms";

// Reads the names of a team file into `names`; on failure `names` is left as it was.
std::optional<FileError> LoadTeamFile(std::vector<std::string>& names, const std::string& path);

}  // namespace vm
