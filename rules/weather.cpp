#include "rules/weather.h"

namespace vm {

void StartWeather(RuleContext&) {}

void WeatherTiming(RuleContext&, int) {}

void CheckWeatherRoll(RuleContext&) {}

void ApplyWeatherLimits(RaceState&, int) {}

}  // namespace vm
