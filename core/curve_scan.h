// The dashboard's look ahead to the next curve on the racing line.
#pragma once

#include <string>

#include "core/race_state.h"
#include "core/track.h"

namespace vm {

struct CurveScan {
  int SpacesToCurve = 0;  // cells the car's own line takes before the curve; 1000 when negative
  int CurveLimit = 0;     // 0 when no curve lies within 31 spaces
  bool Found = false;     // a curve lies within 31 spaces
};

// Walks forward at most 31 spaces from the one after `space`, counting the cells along `lane`
// and the racing line, and stops at the first racing-line cell below 300.
CurveScan ScanNextCurve(const Track& t, int space, int lane);

// The scan for a car where it stands.
CurveScan ScanNextCurve(const RaceState& rs, int car);

// The dashboard label lblSpcSpd: "25+/Str", "25+/120", "7/120" or "7/Str".
std::string SpcSpdText(const CurveScan& scan);

}  // namespace vm
