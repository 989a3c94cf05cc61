#include "core/stamp.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>

namespace vm {

std::string ResultStamp(int year, int month, int day, int weekday, int hour, int minute, int second) {
  static constexpr std::array<const char*, 7> kDays{"Sunday",   "Monday", "Tuesday", "Wednesday",
                                                    "Thursday", "Friday", "Saturday"};
  static constexpr std::array<const char*, 12> kMonths{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const int hour12 = hour % 12 == 0 ? 12 : hour % 12;
  char text[80];
  std::snprintf(text, sizeof text, "%s, %s %d %04d - %02d:%02d:%02d %s",
                kDays[static_cast<size_t>((weekday % 7 + 7) % 7)],
                kMonths[static_cast<size_t>(std::clamp(month, 1, 12) - 1)], day, year, hour12, minute, second,
                hour < 12 ? "AM" : "PM");
  return text;
}

std::string StampNow() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  return ResultStamp(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_wday, local.tm_hour, local.tm_min,
                     local.tm_sec);
}

}  // namespace vm
