// Speed selection: the range of a turn, the 13 speed buttons as data, the choice of a speed
// and the settlement of that choice against the car's limits.
#pragma once

#include <array>
#include <string>

#include "core/race_state.h"
#include "rules/rule_context.h"

namespace vm {

// Colours of the 16-colour table that the speed buttons use.
inline constexpr int kColourGreen = 2;
inline constexpr int kColourGrey = 8;
inline constexpr int kColourRed = 12;
inline constexpr int kColourWhite = 15;

struct SpeedButton {
  int Speed = 0;  // i x 20
  int Colour = kColourWhite;
  bool Enabled = true;
  bool Seen = true;
};

// What the speed panel shows for the current car.
struct SpeedFrame {
  int Car = 0;
  std::array<SpeedButton, kSpeedButtons> Buttons{};
  std::string Driver;        // lblDriver
  std::string RacePosition;  // txtRacePosition: "Leader", "2nd Place", ...
  std::string SpcSpd;        // lblSpcSpd
  // The dashboard: each rating with its colour against the design (red when damaged).
  std::string Acc, Dec, TopSpd, WPL, StSp, DRM;
  int AccColour = kColourWhite, DecColour = kColourWhite, TopSpdColour = kColourWhite;
  int Wears = 0;  // the wear bar
  bool ShowAutoPilot = false;
  bool ShowTires = false;  // frameTires: the tire choice comes first, before the car's first move
  bool WetTires = false;   // optTires: rain tires ticked, preselected while the weather is below 5
  bool DraftShown = false;  // ckDraft and lblSlipstream: a car ahead may be followed
  int DraftOffered = 0;     // that car, 0 none
};

// Looks at the cell ahead of the current car on its line: sets NextCellLimit, NextIsExit and
// ExitAccelAllowed. The next cell is the following cell of the car's apex line when it follows
// one, otherwise the next space of its lane past up to two skip cells.
void NextCells(RaceState& rs);

// Sets WorkSpeed and WorkTopSpeed from the current car, then MaxNewSpeed and MinNewSpeed. A car
// under the start rule (the grid, a standing start, a restart from standstill while restarts
// follow it) may reach its start speed; the check of the chosen speed asks the same rule.
void ComputeSpeedRange(RaceState& rs);

// Prepares the speed panel of the current (human) car: clears the checked marks and SpacesLeft,
// computes the range, works every button through the colour table and the curve rules, and offers
// the car directly ahead for a slipstream.
SpeedFrame LoadSpeedFrame(RuleContext& ctx);

// Takes speed button i (0..12) as the current car's choice: it becomes WorkSpeed, CarNewSpeed and
// SpacesLeft and is settled by CheckSpeedLimits (not in the pit lane); a speed above 0 that
// survives puts the car back to running. Any other i changes nothing.
void ChooseSpeed(RuleContext& ctx, int i);

// Settles the current car's WorkSpeed against its deceleration, start speed, acceleration and
// top speed, once a turn (SpeedChecked), with the tables of the rules.
void CheckSpeedLimits(RuleContext& ctx);

// Shows a settled choice on the buttons: all grey and closed, the chosen one white.
void MarkChosenSpeed(SpeedFrame& frame, int i);

// Names a place counted from 1: "Leader", "2nd Place", "3rd Place", then "4th Place", "21th Place", ...
std::string PlaceText(int place);

}  // namespace vm
