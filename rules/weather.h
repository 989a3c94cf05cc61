// Weather and tires: one number from 2 to 12 walks along a scale by the Weather table; the scale
// gives the sky and the track's condition, and tires that do not suit the track cost 20 MPH in
// every curve. With weather off nothing here draws a random number. WeatherCycles is also known as
// the weather interval.
#pragma once

#include <string>

#include "rules/rule_context.h"

namespace vm {

inline constexpr std::string_view kTrackDry = "Dry";
inline constexpr std::string_view kTrackWet = "Wet";

// The sky of a weather value: "Raining (3)", "Cloudy (5)", "Clear (9)"; "Error" off the scale.
std::string SkyText(int weatherValue);

// Sets TrackCondition from WeatherValue and PrevWeatherValue by the scale: rain is wet, a clear
// sky dry, and clouds keep a wet track wet. A value off the scale leaves it as it was.
void ApplyWeather(RaceState& rs);

// The start of a race: the number of weather cycles (frmWeatherSetup), the start roll
// (frmWeatherTableStart for a human, at once with AI cars only), then every racing car's tires:
// rain tires in rain, and at the cloudy value 5 each AI car takes them four times in ten.
void StartWeather(RuleContext& ctx);

// The start roll itself: WeatherValue and PrevWeatherValue straight from the scale, and the
// pre-race line of the log.
void RollStartWeather(RuleContext& ctx);

// `car`, the leader, has just begun lap CarLap (2..RaceLaps) with nobody finished: on each lap
// that opens a weather cycle a roll falls due, at a space drawn along the lap.
void WeatherTiming(RuleContext& ctx, int car);

// At each pass end: once `leader` has passed the space drawn for a roll that is due, the weather
// is rolled, on frmWeatherTable when a human is racing. Either way the roll is no longer due.
void CheckWeatherRoll(RuleContext& ctx, int leader);

// One roll of the Weather table: the value moves left (worse), holds or moves right (better), and
// the log tells it with the move of `logCar`. `shown` puts the roll on frmWeatherTable.
void RollWeather(RuleContext& ctx, int logCar, bool shown);

// Makes the cell limits right for the tires of `car`: tires that do not suit the track take 20
// MPH off every curve cell. The table is shared, so it is right only for the car it was last run
// for. Nothing when the weather is off.
void ApplyWeatherLimits(RaceState& rs, int car);

// Puts every curve cell back on its dry limit.
void RestoreDryLimits(Track& track);

}  // namespace vm
