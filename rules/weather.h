// Weather and tires: one number from 2 to 12 walks along a scale by the Weather table; the scale
// gives the sky and the track's condition, and tires that do not suit the track cost 20 MPH in
// every curve.
#pragma once

#include "rules/rule_context.h"

namespace vm {

// The start of a race: the weather setup and the start roll, then every car's tires.
void StartWeather(RuleContext& ctx);

// The leader has begun lap `car`'s CarLap with nobody finished: a roll may fall due on this lap.
void WeatherTiming(RuleContext& ctx, int car);

// At each pass end: rolls the weather once the leader has passed the point drawn for it.
void CheckWeatherRoll(RuleContext& ctx);

// Makes the cell limits right for the tires of `car`. The table is shared, so it is right only
// for the car it was last run for.
void ApplyWeatherLimits(RaceState& rs, int car);

}  // namespace vm
