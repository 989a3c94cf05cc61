// What the report tests share: a short race to chart, and counting and finding in the text written.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <string>

#include "core/race_state.h"

namespace vm::testing_support {

inline size_t Count(const std::string& text, const std::string& what) {
  size_t n = 0;
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
  return n;
}

// Each of `parts` appears in `text`; a missing one is named.
inline void ExpectContains(const std::string& text, std::initializer_list<std::string> parts) {
  for (const std::string& part : parts) EXPECT_NE(text.find(part), std::string::npos) << "missing: " << part;
}

// Three cars over two laps at 150 MPH: 1-2-3 on the grid, 2-1-3 after lap 1, 2-3-1 at the flag.
inline std::unique_ptr<RaceState> ThreeCarRace() {
  auto rs = std::make_unique<RaceState>();
  rs->CarCount = 3;
  rs->RaceLaps = 2;
  rs->LapOrder[0] = {0, 1, 2, 3};
  rs->LapOrder[1] = {0, 2, 1, 3};
  rs->LapOrder[2] = {0, 2, 3, 1};
  rs->LapGap[1] = {0, 1.5, 0, 3};
  rs->LapGap[2] = {0, 4, 0, 2};
  for (int lap : {1, 2})
    for (int car : {1, 2, 3}) rs->LapSpeedMph[lap][car] = 150;
  return rs;
}

}  // namespace vm::testing_support
