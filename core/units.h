// Measures and names the whole game shares; each has one home so the rules cannot drift apart.
#pragma once

#include <string_view>

namespace vm {

// A space is a twentieth of the speed scale: a car at N MPH moves N / 20 spaces a turn.
inline constexpr int kMphPerSpace = 20;
// How far ahead the slipstream and blue-flag walks look for a curve or a car.
inline constexpr int kLookAheadSpaces = 15;
// A turn lasts four and a half seconds of race time.
inline constexpr double kSecondsPerTurn = 4.5;
// A space is a fortieth of a mile: a turn of 4.5 s at 20 MPH covers one.
inline constexpr int kSpacesPerMile = 40;

// The game modes as the race state and the files hold them.
inline constexpr std::string_view kModePractice = "Practice";
inline constexpr std::string_view kModeSingle = "Single";
inline constexpr std::string_view kModeSeason = "Season";

// The qualifying methods as the settings and the files hold them.
inline constexpr std::string_view kQualifyStartSpeed = "Start Speed";
inline constexpr std::string_view kQualifySingleLap = "Single Lap";
inline constexpr std::string_view kQualifyManual = "Manually Set Starting Grid";

}  // namespace vm
