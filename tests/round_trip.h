// A race taken through a saved race and back, as a check any whole race can run between turns.
#pragma once

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "game/race_config.h"
#include "game/saved_race.h"
#include "tests/rules_fixture.h"

namespace vm::testing_support {

// The fields that change through a saved race and back: none but the steering target a load
// clears and the marks of a loaded race. Each fault names the field; a refused file names why.
inline std::vector<std::string> SavedRaceRoundTripFaults(const RaceState& rs) {
  const std::string cars = std::string(VELOMARK_DATA) + "/Cars";
  auto loaded = std::make_unique<RaceState>(rs);
  const std::string text = SavedRaceText(rs, cars, SavedRaceKind::Rip);
  // The track stays the race's own: a loaded track would have the dry limits, not the race's.
  const RaceConfigTrackLoader keepTrack = [](RaceState&, const std::string&) { return std::nullopt; };
  if (std::optional<FileError> e = ParseSavedRace(*loaded, text, "turn.rip", cars, SavedRaceKind::Rip, keepTrack))
    return {e->Describe()};
  static const std::set<std::string> kMarked{"TargetSpace", "TargetLane", "SavedRaceLaps", "RaceConfigLoaded"};
  std::vector<std::string> faults;
  for (const std::string& field : DifferingFields(*loaded, rs))
    if (!kMarked.count(field)) faults.push_back(field + " changed through a saved race");
  return faults;
}

}  // namespace vm::testing_support
