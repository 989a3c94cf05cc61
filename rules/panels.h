// What the panels of the exceeded-limit rules show, worked out as data for any console.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/race_state.h"
#include "ui/console.h"

namespace vm {

// "3 of 12 Wears": the car's wears against a full allotment (in Practice, one lap's).
std::string WearsLine(const RaceState& rs, int car);

// The options of the frame a choice panel shows for an excess, in order; empty when no frame fits.
// The AI's search asks these for every trial, so they cost no allocation.
using Frame = std::span<const std::string_view>;
Frame CurveExcessOptions(int speedOverBy);
Frame DecelerationOptions(int decelOverBy);
Frame CollisionAvoidanceOptions(int decelOverBy);

// The choice panels, for the current car and the excess in the race state.
ChoicePanel CorneringPanel(const RaceState& rs);
ChoicePanel PitEntryPanel(const RaceState& rs);
ChoicePanel DecelerationPanel(const RaceState& rs);
ChoicePanel CollisionAvoidancePanel(const RaceState& rs);

// The roll panel of a car's table (every table but Weather), for the current car.
RollPanel TableRollPanel(const RaceState& rs, TableId id);

// The panel shown to a human driver whose car has crashed.
CrashPanel CrashPanelFor(const RaceState& rs, int car);

// A modifier as the panels print it: "+2", "0", "-1".
std::string SignedText(int value);

}  // namespace vm
