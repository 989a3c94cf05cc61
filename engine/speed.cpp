#include "engine/speed.h"

#include <algorithm>

#include "core/curve_scan.h"
#include "core/units.h"
#include "engine/laps.h"
#include "engine/slipstream.h"
#include "rules/consequences.h"

namespace vm {

namespace {

// Below the normal range, braking this much harder is still offered, and paid for.
constexpr int kOverBrakingReach = 80;
// Above the normal range, one step more is offered, and paid for.
constexpr int kOverAccelReach = 20;
// A car following an apex line may carry this much more than a limit.
constexpr int kApexBonus = 20;
// The lane walk to the next cell passes over at most this many skip cells.
constexpr int kSkipsPassed = 2;

bool OnGrid(const Track& t, int space, int lane) {
  return space >= 1 && space <= std::min(t.TrackLength, kMaxSpaces) && lane >= 1 && lane <= kMaxLanes;
}

// A place off the grid (a car taken off the track) has no curve to respect.
int LimitAt(const Track& t, int space, int lane) {
  return OnGrid(t, space, lane) ? t.CellSpeedLimit[space][lane] : kNoLimit;
}

bool SkipAt(const Track& t, int space, int lane) { return OnGrid(t, space, lane) && t.CellSkip[space][lane]; }

// The cell after the car's own in its apex list; (0, 0) when the car is not on its line or
// stands on the last listed cell.
ApexCell NextApexCell(const RaceState& rs, int car) {
  const int apex = rs.CarApexNumber[car];
  if (apex < 1 || apex > kMaxApexes) return {};
  const auto& cells = rs.track.ApexCells[apex];
  const ApexCell here{rs.CarLane[car], rs.CarSpace[car]};
  for (int k = 1; k < kMaxApexCells; ++k)
    if (cells[k] == here) return cells[k + 1];
  return {};
}

// Carries the button table: the first row that holds decides.
SpeedButton ColourByRange(const RaceState& rs, int car, int s) {
  SpeedButton b;
  b.Speed = s;
  const int speed = rs.CarSpeed[car];
  if (s < rs.MinNewSpeed - kOverBrakingReach) {
    b.Colour = kColourGrey;
    b.Enabled = false;
  } else if (s < rs.MinNewSpeed) {
    b.Colour = kColourRed;
  } else if (s < speed) {
    b.Colour = kColourGreen;
  } else if (s == speed) {
    b.Colour = kColourWhite;
  } else if (s <= rs.MaxNewSpeed) {
    b.Colour = kColourGreen;
  } else if (s <= rs.MaxNewSpeed + kOverAccelReach) {
    b.Colour = kColourRed;
  } else {
    b.Colour = kColourGrey;
    b.Enabled = false;
  }
  return b;
}

void SwitchOff(SpeedButton& b) {
  b.Colour = kColourGrey;
  b.Enabled = false;
}

// Closes the buttons that would speed the car up past a curve's limit. Holding a speed is never
// closed here: an excess already carried is paid for on the move.
void ApplyCurveRules(const RaceState& rs, int car, std::array<SpeedButton, kSpeedButtons>& buttons) {
  const Track& t = rs.track;
  const int speed = rs.CarSpeed[car];
  const int ownLimit = LimitAt(t, rs.CarSpace[car], rs.CarLane[car]);
  const int bonus = rs.CarApexNumber[car] > 0 ? kApexBonus : 0;
  const bool inCurve = ownLimit < kNoLimit && !rs.NextIsExit;
  const bool capByNext = inCurve && (rs.CarLap[car] >= 1 || rs.GameMode == kModePractice);
  for (SpeedButton& b : buttons) {
    if (b.Speed <= speed) continue;
    if (capByNext && b.Speed > rs.NextCellLimit + bonus) SwitchOff(b);
    if (!rs.ExitAccelAllowed && b.Speed > ownLimit + bonus) SwitchOff(b);
  }
}

// The start rule governs a car moving off from standstill: on the grid, in the first pass of a
// standing start, and after a stop when restarts are under the start rule. The buttons and the
// check both ask here, so a green button never rolls and a red one always does. A car timing a
// single qualifying lap accelerates from the grid as the buttons offer (the narrower rule).
bool StartRuleApplies(const RaceState& rs, int car) {
  const bool standstill = rs.CarSpeed[car] == 0;
  if (rs.RaceStandingStart && !rs.QualifyingLapRunning) return true;
  if (rs.CarLap[car] < 1 && standstill && !rs.QualifyingLapRunning) return true;
  // A restart is a move off from standstill; a car already rolling has moved and accelerates.
  return rs.RestartAfterPit && !rs.StartRuleOff && standstill;
}

}  // namespace

void ComputeSpeedRange(RaceState& rs) {
  const int car = rs.CurrentCar;
  if (!IsCarNumber(car)) return;
  rs.WorkSpeed = rs.CarSpeed[car];
  rs.WorkTopSpeed = rs.CarTopSpeed[car];
  if (StartRuleApplies(rs, car))
    rs.MaxNewSpeed = rs.CarStartSpeed[car];
  else
    rs.MaxNewSpeed = std::min(rs.CarSpeed[car] + rs.CarAcceleration[car], rs.CarTopSpeed[car]);
  rs.MinNewSpeed = std::max(0, rs.CarSpeed[car] - rs.CarDeceleration[car]);
}

void NextCells(RaceState& rs) {
  const int car = rs.CurrentCar;
  if (!IsCarNumber(car)) return;
  const Track& t = rs.track;
  const int space = rs.CarSpace[car];
  const int lane = rs.CarLane[car];
  ApexCell next = NextApexCell(rs, car);
  if (next.Space == 0) {
    next = {lane, NextSpace(t, space)};
    for (int k = 0; k < kSkipsPassed && SkipAt(t, next.Space, lane); ++k) next.Space = NextSpace(t, next.Space);
  }
  rs.NextCellLimit = LimitAt(t, next.Space, next.Lane);
  rs.ExitAccelAllowed = LimitAt(t, space, lane) >= kNoLimit || rs.OptAccelFromCurveExit;
  rs.NextIsExit = rs.NextCellLimit == kOpenStraight && !SkipAt(t, next.Space, next.Lane) && rs.ExitAccelAllowed;
}

SpeedFrame LoadSpeedFrame(RuleContext& ctx) {
  RaceState& rs = ctx.rs;
  SpeedFrame f;
  const int car = rs.CurrentCar;
  if (!IsCarNumber(car)) return f;
  f.Car = car;
  f.ShowAutoPilot = !rs.CarIsAI[car];
  const int leader = RaceLeader(rs);
  if (rs.PaceSpeed == 0 && IsCarNumber(leader)) rs.PaceSpeed = rs.CarSpeed[leader];

  const CarRatings& design = rs.CarDesign[car];
  auto against = [](int working, int designed) { return working < designed ? kColourRed : kColourWhite; };
  f.AccColour = against(rs.CarAcceleration[car], design.Acceleration);
  f.DecColour = against(rs.CarDeceleration[car], design.Deceleration);
  f.TopSpdColour = against(rs.CarTopSpeed[car], design.TopSpeed);
  f.RacePosition = PlaceText(rs.CarsFinished + rs.OrderIndex);

  f.Driver = rs.DriverName[car];
  rs.DecelChecked = false;
  rs.AccelChecked = false;
  rs.SpacesLeft = 0;
  rs.CarDraftTarget[car] = 0;
  // A ticked box takes DraftOffered at once: it must never name a car offered to another.
  rs.DraftOffered = SlipstreamOffer(rs);
  f.DraftOffered = rs.DraftOffered;
  f.DraftShown = rs.DraftOffered != 0;

  ComputeSpeedRange(rs);
  f.Wears = std::max(0, rs.CarWears[car]);
  f.Acc = std::to_string(rs.CarAcceleration[car]);
  f.Dec = std::to_string(rs.CarDeceleration[car]);
  f.TopSpd = std::to_string(rs.CarTopSpeed[car]);
  f.WPL = std::to_string(rs.CarWearPerLap[car]);
  f.StSp = std::to_string(rs.CarStartSpeed[car]);
  f.DRM = FormatDRM(rs.CarDRM[car]);
  f.SpcSpd = SpcSpdText(ScanNextCurve(rs, car));

  // Step 5. Tires are chosen before the car has run at all, and only with weather.
  f.ShowTires = rs.WeatherEnabled && rs.CarRaceClock[car] == 0;
  f.WetTires = rs.WeatherValue < 5;

  for (int i = 0; i < kSpeedButtons; ++i) f.Buttons[static_cast<size_t>(i)] = ColourByRange(rs, car, i * kMphPerSpace);
  NextCells(rs);
  ApplyCurveRules(rs, car, f.Buttons);
  return f;
}

void ChooseSpeed(RuleContext& ctx, int i) {
  RaceState& rs = ctx.rs;
  const int car = rs.CurrentCar;
  if (!IsCarNumber(car) || i < 0 || i >= kSpeedButtons) return;
  rs.SpacesLeft = i;
  rs.WorkSpeed = i * kMphPerSpace;
  rs.CarNewSpeed[car] = rs.WorkSpeed;
  rs.AccelChecked = false;
  // A car in the pit lane is limited by the pit lane, not by its design.
  if (!rs.CarInPit[car]) CheckSpeedLimits(ctx);
  // A speed that survived its checks puts a spun or stalled car back in the running; a car
  // that is out stays out.
  if (rs.WorkSpeed > 0 && !rs.CarOutOfRace[car]) rs.CarStatus[car] = kRunning;
}

void CheckSpeedLimits(RuleContext& ctx) {
  RaceState& rs = ctx.rs;
  const int car = rs.CurrentCar;
  if (!IsCarNumber(car) || rs.SpeedChecked) return;
  rs.SpeedChecked = true;
  rs.WorkTopSpeed = rs.CarTopSpeed[car];

  if (!rs.DecelChecked) {
    if (rs.MinNewSpeed > rs.WorkSpeed) {
      rs.DecelOverBy = rs.MinNewSpeed - rs.WorkSpeed;
      SettleDeceleration(ctx);
    }
    rs.DecelChecked = true;
  }

  rs.AccelOverBy = 0;
  rs.TopSpeedOverBy = 0;
  // AccelChecked is set only where an excess is found (the detailed rule over "set it in each case"),
  // so a choice within the car's limits is judged again at the next call.
  if (!rs.AccelChecked) {
    if (StartRuleApplies(rs, car)) {
      if (rs.WorkSpeed > rs.CarSpeed[car] + rs.CarStartSpeed[car]) {
        // Measured from the start speed alone, not the true excess: only "above 0" counts.
        rs.AccelOverBy = rs.WorkSpeed - rs.CarStartSpeed[car];
        if (rs.AccelOverBy > 0) {
          rs.AccelChecked = true;
          SettleStartSpeed(ctx);
        }
      }
    } else if (rs.WorkSpeed > rs.CarSpeed[car] + rs.CarAcceleration[car]) {
      rs.AccelOverBy = rs.WorkSpeed - rs.CarAcceleration[car];
      if (rs.AccelOverBy > 0) {
        rs.AccelChecked = true;
        SettleAcceleration(ctx);
      }
    }
  }

  // Judged after the acceleration roll, whose engine damage may already have cost 20 MPH.
  if (rs.WorkSpeed > rs.WorkTopSpeed) {
    rs.TopSpeedOverBy = rs.WorkSpeed - rs.WorkTopSpeed;
    rs.AccelChecked = true;
    SettleAcceleration(ctx);
  }
}

void MarkChosenSpeed(SpeedFrame& frame, int i) {
  for (SpeedButton& b : frame.Buttons) {
    b.Colour = kColourGrey;
    b.Enabled = false;
  }
  if (i >= 0 && i < kSpeedButtons) frame.Buttons[static_cast<size_t>(i)].Colour = kColourWhite;
}

std::string PlaceText(int place) {
  if (place == 1) return "Leader";
  if (place == 2) return "2nd Place";
  if (place == 3) return "3rd Place";
  return std::to_string(place) + "th Place";
}

}  // namespace vm
