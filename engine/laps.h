// Lap accounting at the line: lap times and speeds, gaps, the fastest lap, the order of each
// lap, the finish order and the podium, and the texts the race shows for them. Race time is
// counted in race turns of 4.5 seconds; a lap speed is worked from the racing line's length.
#pragma once

#include <array>
#include <functional>
#include <string>
#include <vector>

#include "core/units.h"
#include "rules/rule_context.h"

namespace vm {

// True for a car that is still in the race: a car number, not out of the race. A car that has
// taken the flag runs on until its pass ends, so it counts.
bool StillRunning(const RaceState& rs, int car);

// Returns the leader of the race: the first car of RunningOrder still running, 0 when none is.
// A car that has just gone out may stand first until the next sort; it leads nothing.
int RaceLeader(const RaceState& rs);
// Returns the place in RunningOrder of RaceLeader, 0 when none runs.
int RaceLeaderPlace(const RaceState& rs);

// True once any car has a lap above 0: the race is under way.
bool RaceUnderWay(const RaceState& rs);

// Accounts for the current car crossing the line in a step of its move: the lap's time, speed
// and gap (and a qualifying lap's result), the race clock on the last lap, the lap count, Practice
// wears, the stint, the lap's order, the fastest lap and the weather's timing.
void CrossLine(RuleContext& ctx);

// Returns a car's gap in seconds to the winner, or to the leader while nobody has finished,
// measured at the point of the current move where the car stands.
double ComputeGap(const RaceState& rs, int car);

// At the end of a move: the car's running average speed, unless the race is at its standing start.
void CalcAvgSpeed(RaceState& rs, int car);

// Logs the fastest lap of the race so far, with its speed as the line's text.
void LogFastestLap(RuleContext& ctx, int car, double mph);
// Logs that `newLeader` has passed `oldLeader` for the lead.
void LogLeadChange(RuleContext& ctx, int newLeader, int oldLeader);

// Takes a new leader of the running order after a turn's sort: when it is not LeadCar, its
// distance is at least that of LeadCar, it is on a lap within the race and nobody has finished,
// the change is logged and LeadCar becomes it. Returns whether the lead changed.
bool TakeLeadChange(RuleContext& ctx, int newLeader, double newDistance, double leadCarDistance);

// Sorts FinishOrder: the smaller race clock first, then the higher speed, then the lower lane
// rank. Call it before finishers leave their cells, as the lane rank is read from the cell.
void SortFinishers(RuleContext& ctx);

// Completes FinishOrder at the end of a race, a red flag or the end of practice: cars that took
// the flag are sorted as SortFinishers does, then the cars still racing follow by distance run
// (laps, then space; level cars keep their running order). A lead change is logged only for a car
// ahead of LeadCar. Returns the final order, first place first. CarsFinished is left as it is.
std::vector<int> SortRaceEnd(RuleContext& ctx);

// Returns the cars for the podium: the first one to three finishers.
std::vector<int> PodiumCars(const RaceState& rs);

// Formats seconds as "hh:mm:ss", or "mm:ss" when the hours are 00; a negative time gets a "-".
std::string FormatTimeHMS(double seconds);
// Formats seconds as "m:ss.mmm"; a negative time gets a "-".
std::string FormatTimeMS(double seconds);
// Formats a speed as "123.45 MPH".
std::string FormatMph(double mph);
// Returns the fastest lap label: "Fastest Lap: Ann 123.45 MPH (Lap 7)".
std::string FastestLapLabel(const std::string& name, double mph, int lap);

// One choice of the race start panel: its caption and the lap up to which the cars run on
// auto-pilot.
struct RaceStartChoice {
  std::string Caption;
  int AutoPilotUntilLap = 0;
  bool operator==(const RaceStartChoice&) const = default;
};

// Lists the auto-pilot marks the race start panel offers for a race of `raceLaps` laps.
std::vector<RaceStartChoice> RaceStartChoices(int raceLaps);

// The whole field in finishing order, as the season and the reports score it: the cars in
// FinishOrder, then every other car of the race, those out of it last; among the rest the one
// that went further is ahead, then the lower number.
std::vector<int> FinalFinishOrder(const RaceState& rs);

// The figures of a finished race that the season and the box score keep: laps led
// by car (LapOrder[lap][1] for each lap 1..RaceLaps, with LapOrder[RaceLaps] the finish order),
// the most laps led, the pole car (LapOrder[0][1]) and the fast lap car.
struct RaceFigures {
  std::array<int, kMaxCars + 1> CarLapsLed{};
  int MostLapsLed = 0;
  int PoleCar = 0;
  int FastLapCar = 0;
};
RaceFigures CountRaceFigures(const RaceState& rs);

}  // namespace vm
