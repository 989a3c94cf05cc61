// velomark-cli cars: prints a car file as the game loads it, with each car's design cost.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace vm {

// The usage line of the command.
inline constexpr const char* kCarsUsage = "usage: velomark-cli cars FILE.crs [--json]\n";

// Runs `cars FILE.crs [--json]` (args without the command name): loads the car file, prints the
// design points, the count and every car's fields with its cost and the points it has left.
// Returns 0, 1 for bad arguments, 2 when the file cannot be loaded.
int CarsCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

}  // namespace vm
