// Steering and movement: which steps are open, the steps themselves with the skip walks, the
// steering panel as data, the curve and apex checks after each step, and stopping short.
#pragma once

#include <string>
#include <utility>

#include "core/race_state.h"
#include "rules/rule_context.h"

namespace vm {

// A step of the car: to the next higher lane, along its lane, or to the next lower lane.
enum class Step { None, Left, Straight, Right };

struct SteeringButton {
  std::string Caption;
  bool Visible = true;
  bool Enabled = false;
  Step Takes = Step::None;  // the step a press takes
};

// What the steering panel shows for the current car.
struct SteeringPanel {
  int Car = 0;
  SteeringButton Straight, Left, Right, InTurnLeft, InTurnRight;  // cmdStraight, cmdLeft, ...
  bool EnterPitVisible = false;  // cmdEnterPit and lblKeyP
  double SpacesLeft = 0;         // txtMovementBlocks
  char ApexDirection = 'S';
  bool Shown = false;               // a car with no space left to move gets no panel
  bool BlueFlagShown = false;       // ImgBlueFlag
  bool Slipstream1Shown = false;    // lblSlipstream1: the tow gives 20
  bool Slipstream2Shown = false;    // lblSlipstream2: the tow gives 40
  std::string SlipstreamCancelled;  // lblSlipstreamCancelled, empty when hidden
  bool Blocked = false;             // no step was open: the car was stopped short
};

// The buttons of the panel, as the handlers know them.
enum class SteeringCommand {
  cmdLeft,
  cmdRight,
  cmdStraight,
  cmdInTurnLeft,
  cmdInTurnRight,
  cmdEndEarly,
  cmdEnterPit,  // taken by the turn engine, which ends the move in the pit lane
};

// Works out which of the three steps the current car may take next: CanGoLeft, CanGoStraight,
// CanGoRight, with LeftLane, RightLane, ApexSideNow, ApexSideNext and CurveStepBlocked.
void ComputeOpenSteps(RaceState& rs);

// One step of the current car. A step onto an occupied cell is undone with its block spent.
void StepStraight(RuleContext& ctx);
void StepLeft(RuleContext& ctx);
void StepRight(RuleContext& ctx);

// Where a step of the current car would take it, {space, lane}, with nothing moved or counted;
// {0, 0} when the edge lane refuses it. Reads ApexSideNow, as ComputeOpenSteps left it.
std::pair<int, int> StepLanding(const RaceState& rs, Step step);

// The checks after a step.
void CheckApexMarks(RuleContext& ctx);
void CheckCurveSpeed(RuleContext& ctx);
void AfterStep(RuleContext& ctx);

// Stops the current car short: the spaces left are shed as collision avoidance.
void EndMoveEarly(RuleContext& ctx);

// Finds the side toward which a car makes way off the racing line at a space: 'L' when the first
// pair of neighbouring lanes with cells rises in rank toward the higher lane, 'R' otherwise, 'S'
// when no such pair exists.
char RacingSide(const Track& t, int space);

// The apex line (1..30) and its cell (1..15) that hold a lane and space; {0, 0} when none.
std::pair<int, int> FindApex(const Track& track, int lane, int space);

// Prepares the move of the current human car and returns its panel.
SteeringPanel LoadSteeringFrame(RuleContext& ctx);
// Recomputes the open steps and the panel after a step (stops a blocked car).
SteeringPanel LoadSteeringButtons(RuleContext& ctx);

// A press of a steering button: the step it takes by ApexDirection, then LoadSteeringButtons.
// MoveEnded tells the caller whether the move is over.
SteeringPanel PressSteering(RuleContext& ctx, SteeringCommand command);

}  // namespace vm
