// Actions that fill a whole field of cars at once: the recommended setup a track brings, random
// computer cars that still fit the design points, random driver profiles, and copying one car's
// design or profile to the others. They work on cars 1 to 40 whatever the field's size.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/race_state.h"
#include "core/random.h"
#include "core/textfile.h"
#include "core/track.h"

namespace vm {

// Where the track setup finds its files.
struct TrackSetupFolders {
  std::string Tracks;  // holds the car files tracks bring
  std::string Cars;    // prefixed to the pictures of a loaded car file
};

// Returns the car file a track brings: the tracks folder + the name the track holds + ".crs";
// "" when the track names none.
std::string TrackDefaultCarFile(const Track& track, std::string_view tracksFolder);

// Gives every car 1 to 40 the track's setup: the car file the track brings when it opens, else
// the track's five recommended values with a modifier of 0 and no pit strategy or bonuses. Then
// each car is varied, unless noRandomising is set, AIRandomizeOptimumSetup is clear, or the car
// is human and alsoHumans is clear. A setup over the design points stands unchecked.
void LoadTrackSetup(RaceState& rs, Random& rng, const Track& track, bool noRandomising, bool alsoHumans,
                    const TrackSetupFolders& folders);

// As above for a track file; a track that cannot be read changes nothing and is returned.
std::optional<FileError> LoadTrackSetup(RaceState& rs, Random& rng, const std::string& trackFile, bool noRandomising,
                                        bool alsoHumans, const TrackSetupFolders& folders);

// Moves one design point of a car from a high rating to a low one, so that the cost stays: two
// draws, one picking the rating to lower among the high ones, one the rating to raise among the
// others. A car with every rating high is left alone and draws nothing; a car with none high
// still takes both draws and only gains a step.
void VaryTrackSetup(RaceState& rs, int car, Random& rng);

// Draws a random design for every computer car 1 to 40 (every car with alsoHumans), then brings
// it onto CarSetupPoints: lowered in a fixed order down to floors, raised once per rating. Clears
// the modifier, the risks and wet tyres; with alsoHumans also the pit strategy and the bonuses.
// The caller reseeds the generator if it wants fresh cars.
void RandomizeCarSetups(RaceState& rs, Random& rng, bool alsoHumans);

// Draws race and lap profile and pit strategy for every computer car 1 to 40, and sets all six
// risks from the die roll modifier: the better the modifier, the bolder the driver.
void RandomizeDriverProfiles(RaceState& rs, Random& rng);

// Returns the risk a random profile gets for a die roll modifier: 0 for +2, 2 for 0, 4 for -1,
// 6 for -2; a value off the scale counts as its cheaper neighbour.
int ProfileRisk(int drm);

// Gives every car 1 to 40 but `from` the six ratings of `from`; with computerOnly only computer
// cars. Driver, team, picture, kind and profile stay.
void CopyRatings(RaceState& rs, int from, bool computerOnly);

// Gives every car 1 to 40 but `from` its pit strategy, race and lap profile, six risks and the
// two bonuses.
void CopyDriverProfile(RaceState& rs, int from);

}  // namespace vm
