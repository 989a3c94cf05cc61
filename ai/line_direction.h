// Where an AI car heads on its next step: the lane of the coming curve, an apex line to take,
// room to pass. Answers in direction words: 'L' toward the higher lane number, 'R' toward the
// lower one, 'S' straight on.
#pragma once

#include "core/race_state.h"

namespace vm {

// The lane a car on a straight heads for before the next curve within fifteen spaces: the lane
// with the highest limit in the curve's first row (ties to rank 1, then the lower lane), or,
// when an apex line starts on the way, the start of the apex line of the highest rank.
struct CurveHeading {
  bool Found = false;
  int Lane = 0;
  int Distance = 0;   // spaces from the car to the row that lane is wanted on
  int Limit = 0;      // the highest limit of the curve's first row
  bool Apex = false;  // the lane is an apex line's start
};
CurveHeading NextCurveDirection(const RaceState& rs, int car);

// True when the car, in a curve with no apex plan, has the curve's exit as its next cell.
bool CurveExitInReach(const RaceState& rs, int car);

// True when the racing line's lane saves more curve cells over the next twenty spaces than
// the lanes lie apart in rank: a lane change to it pays for itself.
bool InsideLaneWorthIt(const RaceState& rs, int car);

// The limit an apex line lets a car carry: its lowest curve limit + 20; 0 when it has none.
int ApexGain(const Track& t, int apex);

// The preferred direction of the current car's next step, with `spacesLeft` blocks of its move
// left. May adopt an apex line (CarApexNumber) the car is about to enter.
char ChooseDirection(RaceState& rs, int spacesLeft, bool insideWorthIt);

}  // namespace vm
