// What happens when a car goes over a limit. Every routine works on the current car: a human
// decides and rolls on the console's panels, an AI car decides by its risk percentages and rolls
// at once. While the AI's speed search runs the same routines take their cheap form, which only
// counts wears (a spin or crash costs five) and still draws every random number the live form does.
#pragma once

#include <string_view>

#include "rules/rule_context.h"

namespace vm {

// The effects of one table outcome on a car.
struct ResultEffects {
  int Wears = 0;
  bool Spin = false;
  bool Crash = false;
  bool BrakeDamage = false;
  bool EngineAccel = false;
  bool EngineTop = false;
  bool Stall = false;
};

// Changes a car by an outcome, in this order: stall, spin, brake damage, acceleration damage,
// top speed damage, crash, wears. Wears that cannot be paid are left in WearShortfall. Nothing
// happens to a car that is out or has finished.
void ApplyResult(RuleContext& ctx, int car, const ResultEffects& effects, std::string_view reason = "");

// Settles SpeedOverBy on a curve cell. Under a blue flag (live moves only) no table is used:
// the car loses two spaces and drops to the limit. Adds the excess to the curve's paid total.
void SettleCornering(RuleContext& ctx);

// Settles SpeedOverBy at the pit entrance, with the cornering rows and no blue flag branch. A
// human's option comes from the pit entry panel (`chosen`), which also decides the stop; without
// one a human is asked on frmPitEntry's frame alone. The caller puts the car in the pit lane.
void SettlePitEntry(RuleContext& ctx, int chosen = -1);

// Settles DecelOverBy, braking beyond the car's deceleration; clears it at the end.
void SettleDeceleration(RuleContext& ctx);

// Rolls the Acceleration / Top Speed table for AccelOverBy and TopSpeedOverBy; clears both.
void SettleAcceleration(RuleContext& ctx);

// Rolls the Start Speed table; a stall on the grid puts the car out of the race. Clears both
// excesses.
void SettleStartSpeed(RuleContext& ctx);

// Settles DecelOverBy when a blocked car sheds its remaining spaces.
void SettleCollisionAvoidance(RuleContext& ctx);

// Stops a car that can move no further: under a blue flag (live moves only) it just loses the
// spaces; otherwise the shed speed is settled as collision avoidance. SpacesLeft ends at 0.
void CollisionAvoidance(RuleContext& ctx);

// One roll on each table for the current car, through the panel for a human.
void RollChance(RuleContext& ctx);
void RollCollision(RuleContext& ctx);
void RollTestBrakes(RuleContext& ctx);
void RollSpinDamage(RuleContext& ctx);

// `count` Chance rolls, one per unpaid wear, stopping when the car is out; count ends at 0.
void ChanceRolls(RuleContext& ctx, int& count);

// One Test Brakes roll whatever `count` says, unless the car is out; count ends at 0.
void TestBrakes(RuleContext& ctx, int& count);

}  // namespace vm
