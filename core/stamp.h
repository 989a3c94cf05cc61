// The date and time as the game's files and reports print them: "Tuesday, Nov 24 2026 - 04:18:25 PM".
#pragma once

#include <string>

namespace vm {

// The stamp of a moment given as local calendar fields: "dddd, mmm d yyyy" + " - " + "hh:mm:ss AMPM".
std::string ResultStamp(int year, int month, int day, int weekday, int hour, int minute, int second);

// The stamp of the present moment, by the local clock.
std::string StampNow();

}  // namespace vm
