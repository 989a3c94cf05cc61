#include "rules/consequences.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>

#include "core/textfile.h"
#include "core/units.h"
#include "rules/dice.h"
#include "rules/panels.h"
#include "rules/risk.h"

namespace vm {

namespace {

int Current(const RuleContext& ctx) { return ctx.rs.CurrentCar; }

// A speed never drops below standing still, though a damage result takes 20 off it.
void LoseTwenty(int& speed) { speed = std::max(0, speed - 20); }

// --- Table rolls -------------------------------------------------------------------------------

struct RollPlan {
  TableId Table;
  bool PlainDiceFirst;            // two unused draws before the table's own
  bool SpeedModifier;             // Spin Damage adds the speed's modifier
  int Low, High;                  // clamp of the table result
  std::optional<int> TrialCost;   // a trial move only draws and spends this many wears
};

// Throws a table's dice for the current car and finds the rows that hold the result.
RollResult Throw(RuleContext& ctx, const RollPlan& plan, RowHits& rows) {
  RaceState& rs = ctx.rs;
  const int car = Current(ctx);
  if (plan.PlainDiceFirst) DrawPlainDice(ctx);
  // Spin Damage keeps its die in Die1, every other table in Die2.
  int& die = plan.Table == TableId::SpinDamage ? rs.Die1 : rs.Die2;
  RollDice(ctx, RowOf(rs.Tables, plan.Table, 0), die, false);
  int modifier = rs.CarDRM[car];
  if (plan.SpeedModifier) modifier += SpeedDRM(rs.CarSpeed[car]);
  rs.TableResult = Clamp(die + modifier, plan.Low, plan.High);
  rows = RowsHolding(rs.Tables, plan.Table, rs.TableResult);
  return RollResult{die, rs.TableResult, "", ResultColour::None};
}

void Show(RollResult& r, std::string text, bool safe) {
  r.Text = std::move(text);
  r.Colour = safe ? ResultColour::Green : ResultColour::Red;
}

// Runs one roll: through the table's panel for a human, at once for an AI car. `describe` sets
// what the panel shows for a row; `settle` carries the row out after it has been shown.
template <class Describe, class Settle>
void RunTable(RuleContext& ctx, const RollPlan& plan, Describe describe, Settle settle) {
  RaceState& rs = ctx.rs;
  RowHits rows;
  if (plan.TrialCost && rs.AITrialMove) {
    Throw(ctx, plan, rows);
    rs.CarWears[Current(ctx)] -= *plan.TrialCost;
    return;
  }
  auto roll = [&] {
    RollResult r = Throw(ctx, plan, rows);
    // The texts are for a panel; the search shows none and must not allocate them.
    if (!InSearch(rs))
      for (int row : rows) describe(row, r);
    return r;
  };
  auto apply = [&] {
    for (int row : rows) settle(row);
  };
  if (HumanAtPanel(rs)) {
    ctx.console.RollTable(TableRollPanel(rs, plan.Table), roll, apply);
  } else {
    roll();
    apply();
  }
}

// --- Choices ----------------------------------------------------------------------------------

// Which option of the frame is taken: the human's click on the panel, or for an AI car the second
// option when its risk passes. A frame of one option draws nothing. -1 when no frame fits.
template <class MakePanel>
int PickOption(RuleContext& ctx, Frame options, std::string_view risk, MakePanel makePanel) {
  if (options.empty()) return -1;
  if (HumanAtPanel(ctx.rs)) {
    const ChoicePanel panel = makePanel(ctx.rs);
    const int pick = ctx.console.ChooseOption(panel);
    return pick >= 0 && pick < static_cast<int>(options.size()) ? pick : panel.Preselected;
  }
  if (options.size() < 2) return 0;
  return RiskRoll(ctx.rs, ctx.rng, Current(ctx), risk) ? 1 : 0;
}

void Pay(RuleContext& ctx, int wears) { ApplyResult(ctx, Current(ctx), ResultEffects{.Wears = wears}); }

void OneChanceRoll(RuleContext& ctx) {
  int one = 1;
  ChanceRolls(ctx, one);
}

void ShortfallRolls(RuleContext& ctx) { ChanceRolls(ctx, ctx.rs.WearShortfall); }

// The rows shared by cornering and pit entry. Rows are matched by the exact excess: values in
// between never occur and match nothing.
// A human who has already chosen on a panel of its own (the pit entry) passes `chosen`.
void SettleCurveExcess(RuleContext& ctx, ChoicePanel (*makePanel)(const RaceState&), int chosen = -1) {
  RaceState& rs = ctx.rs;
  const int over = rs.SpeedOverBy;
  const Frame options = CurveExcessOptions(over);
  const bool answered = chosen >= 0 && chosen < static_cast<int>(options.size()) && HumanAtPanel(rs);
  const int pick = answered ? chosen : PickOption(ctx, options, "C", makePanel);
  if (over == 20) {
    if (pick == 0) Pay(ctx, 1);
    else OneChanceRoll(ctx);
  } else if (over == 40) {
    if (pick == 0) {
      Pay(ctx, 2);
    } else {
      Pay(ctx, 1);
      OneChanceRoll(ctx);
    }
  } else if (over == 60) {
    Pay(ctx, 2);
    OneChanceRoll(ctx);
  } else if (over >= 80) {
    ApplyResult(ctx, Current(ctx), ResultEffects{.Crash = true}, "Cornering");
  }
  // The row's own roll comes first, then one roll for each wear it could not pay.
  if (rs.WearShortfall > 0) ShortfallRolls(ctx);
}

}  // namespace

// --- ApplyResult --------------------------------------------------------------------------------

void ApplyResult(RuleContext& ctx, int car, const ResultEffects& e, std::string_view reason) {
  RaceState& rs = ctx.rs;
  if (!IsCarNumber(car)) return;
  // Step 1.
  if (rs.CarOutOfRace[car] || rs.CarLap[car] > rs.RaceLaps) return;
  // Step 2.
  rs.WearShortfall = 0;
  // Step 3. The search sees a spin or a crash as the cost of five wears.
  if (InSearch(rs)) {
    if (e.Spin || e.Crash) rs.CarWears[car] -= 5;
    else if (e.Wears >= 1) rs.CarWears[car] -= e.Wears;
    return;
  }
  // Step 4.
  if (e.Stall) {
    Highlight(ctx, kLogStall, car);
    rs.WorkSpeed = 0;
    rs.SpacesLeft = 0;
    rs.CarStatus[car] = kStalled;
    rs.CarSpeed[car] = 0;
    rs.CarNewSpeed[car] = 0;
    return;
  }
  // Step 5.
  if (e.Spin) {
    Highlight(ctx, kLogSpin, car, reason);
    rs.WorkSpeed = 0;
    rs.SpacesLeft = 0;
    rs.CarStatus[car] = kSpinning;
    return;
  }
  bool crash = e.Crash;
  // Step 6.
  if (e.BrakeDamage) {
    Highlight(ctx, kLogBrakeDamage, car);
    rs.CarDeceleration[car] -= 20;
    rs.CarBrakesDamaged[car] = true;
    if (rs.CarDeceleration[car] < 1) crash = true;
  }
  // Engine damage lowers a rating for good and costs 20 MPH and a space of this move.
  auto engineDamage = [&](int kind, int& rating) {
    Highlight(ctx, kind, car);
    rating -= 20;
    rs.CarEngineDamaged[car] = true;
    LoseTwenty(rs.WorkSpeed);
    LoseTwenty(rs.CarNewSpeed[car]);
    LoseTwenty(rs.CarSpeed[car]);
    rs.SpacesLeft = std::max(0.0, rs.SpacesLeft - 1.0);
  };
  // Step 7.
  if (e.EngineAccel) {
    engineDamage(kLogEngineAccelDamage, rs.CarAcceleration[car]);
    if (rs.CarAcceleration[car] < 1) crash = true;
  }
  // Step 8. A car whose top speed falls under 121 is out, as one with no acceleration or brakes.
  if (e.EngineTop) {
    engineDamage(kLogEngineTopDamage, rs.CarTopSpeed[car]);
    if (rs.CarTopSpeed[car] < 121) crash = true;
  }
  // Step 9.
  if (crash) {
    if (reason == "SS") Highlight(ctx, kLogOutStalled, car);
    else Highlight(ctx, kLogCrash, car, reason);
    rs.WorkSpeed = 0;
    rs.CarOutOfRace[car] = true;
    rs.SpacesLeft = 0;
    rs.CarStatus[car] = kOutOfRace;
    ClearCarCell(rs, car);
    rs.CarsOut += 1;
    if (!rs.CarIsAI[car]) {
      rs.SpacesLeft = 0;
      if (ctx.console.ShowCrash(CrashPanelFor(rs, car)) == 1) rs.RaceEndedByUser = true;
    }
    return;
  }
  // Step 10.
  if (e.Wears < 1) return;
  int& used = rs.LapWearsUsed[static_cast<size_t>(std::clamp(rs.CarLap[car], 0, kMaxLaps))][car];
  if (e.Wears <= rs.CarWears[car]) {
    rs.CarWears[car] -= e.Wears;
    used += e.Wears;
  } else {
    rs.WearShortfall = e.Wears - rs.CarWears[car];
    used += rs.CarWears[car];
    rs.CarWears[car] = 0;
  }
}

// --- Cornering and pit entry ---------------------------------------------------------------------

void SettleCornering(RuleContext& ctx) {
  RaceState& rs = ctx.rs;
  const int car = Current(ctx);
  if (rs.CarOutOfRace[car]) return;
  if (rs.BlueFlagInForce && !InSearch(rs)) {
    // A car making way for the leaders pays no table: it gives up two spaces and the speed.
    const int limit = rs.track.CellSpeedLimit[static_cast<size_t>(rs.CarSpace[car])][static_cast<size_t>(rs.CarLane[car])];
    if (limit == kOpenStraight) return;
    rs.SpacesLeft = rs.SpacesLeft < 2 ? 0 : rs.SpacesLeft - 2;
    if (limit >= kNoLimit) rs.CarNewSpeed[car] -= rs.SpeedOverBy;
    else rs.CarNewSpeed[car] = limit;
    rs.CarSpeed[car] = rs.CarNewSpeed[car];
    rs.WorkSpeed = rs.CarNewSpeed[car];
    rs.SpeedOverBy = 0;
    return;
  }
  rs.ResultContext = "Cornering";
  SettleCurveExcess(ctx, CorneringPanel);
  rs.CornerPaidTotal += rs.SpeedOverBy;
  rs.CarCurveExcessPaid[car] += rs.SpeedOverBy;
}

void SettlePitEntry(RuleContext& ctx, int chosen) {
  RaceState& rs = ctx.rs;
  if (rs.CarOutOfRace[Current(ctx)]) return;
  rs.ResultContext = "Pit Entry";
  SettleCurveExcess(ctx, PitEntryPanel, chosen);
}

// --- Deceleration ---------------------------------------------------------------------------------

void SettleDeceleration(RuleContext& ctx) {
  RaceState& rs = ctx.rs;
  rs.ResultContext = "Deceleration";
  const int over = rs.DecelOverBy;
  const bool human = HumanAtPanel(rs);
  const int pick = PickOption(ctx, DecelerationOptions(over), "D", DecelerationPanel);
  int one = 1;
  // Every payment is followed at once by the rolls for what it could not pay; so is the brake test.
  auto payThenRolls = [&](int wears) {
    Pay(ctx, wears);
    ShortfallRolls(ctx);
  };
  auto testThenRolls = [&] {
    TestBrakes(ctx, one);
    ShortfallRolls(ctx);
  };
  if (over == 20) {
    // Where a human tests the brakes, an AI car that takes the risk rolls Chance instead.
    if (pick == 0) payThenRolls(1);
    else if (human) testThenRolls();
    else OneChanceRoll(ctx);
  } else if (over == 40) {
    if (pick == 0) {
      payThenRolls(2);
    } else {
      payThenRolls(1);
      if (human) testThenRolls();
      else OneChanceRoll(ctx);
    }
  } else if (over == 60 || over == 80) {
    payThenRolls(over == 60 ? 2 : 3);
    testThenRolls();
  }
  rs.DecelOverBy = 0;
}

// --- Acceleration, top speed and start ------------------------------------------------------------

void SettleAcceleration(RuleContext& ctx) {
  RaceState& rs = ctx.rs;
  const int car = Current(ctx);
  RunTable(
      ctx, RollPlan{TableId::Acceleration, true, false, 2, 12, std::nullopt},
      [&](int row, RollResult& r) {
        if (row == 0) {
          if (rs.AccelOverBy > 0) Show(r, "Acceleration Safely Exceeded", true);
          if (rs.TopSpeedOverBy > 0) Show(r, "Top Speed Safely Exceeded", true);
        } else {
          Show(r, "Engine Damage", false);
        }
      },
      [&](int row) {
        if (row == 0) {
          if (rs.AccelOverBy > 0) Highlight(ctx, kLogAccelExceeded, car);
          if (rs.TopSpeedOverBy > 0) Highlight(ctx, kLogTopSpeedExceeded, car);
        } else {
          if (rs.AccelOverBy > 0) ApplyResult(ctx, car, ResultEffects{.EngineAccel = true});
          if (rs.TopSpeedOverBy > 0) ApplyResult(ctx, car, ResultEffects{.EngineTop = true});
        }
      });
  rs.AccelOverBy = 0;
  rs.TopSpeedOverBy = 0;
}

void SettleStartSpeed(RuleContext& ctx) {
  RaceState& rs = ctx.rs;
  const int car = Current(ctx);
  rs.ResultContext = "Start Speed";
  RunTable(
      ctx, RollPlan{TableId::StartSpeed, false, false, 2, 12, std::nullopt},
      [&](int row, RollResult& r) {
        if (row == 0) Show(r, "Start Speed Safely Exceeded", true);
        else Show(r, "Engine Stalled", false);
      },
      [&](int row) {
        if (row == 0) {
          Highlight(ctx, kLogStartSpeedExceeded, car);
        } else if (rs.CarSpeed[car] == 0 && !rs.RestartAfterPit) {
          // Stalling on the grid ends this car's race.
          ApplyResult(ctx, car, ResultEffects{.Crash = true}, "SS");
        } else {
          ApplyResult(ctx, car, ResultEffects{.Stall = true});
        }
      });
  rs.AccelOverBy = 0;
  rs.TopSpeedOverBy = 0;
}

// --- Collision avoidance ------------------------------------------------------------------------------

void SettleCollisionAvoidance(RuleContext& ctx) {
  RaceState& rs = ctx.rs;
  rs.ResultContext = "Collision Avoidance";
  const int over = rs.DecelOverBy;
  const bool human = HumanAtPanel(rs);
  const int pick = PickOption(ctx, CollisionAvoidanceOptions(over), "CA", CollisionAvoidancePanel);
  if (over == 20) {
    if (pick == 0) {
      Pay(ctx, 1);
      ShortfallRolls(ctx);
    } else if (human) {
      RollCollision(ctx);
    } else {
      // An AI car that takes the risk rolls Chance, not the Collision table.
      OneChanceRoll(ctx);
    }
  } else if (over == 40) {
    Pay(ctx, 1);
    ShortfallRolls(ctx);
    RollCollision(ctx);
  } else if (over > 40) {
    ApplyResult(ctx, Current(ctx), ResultEffects{.Crash = true}, "Collision Avoidance");
  }
}

void CollisionAvoidance(RuleContext& ctx) {
  RaceState& rs = ctx.rs;
  const int car = Current(ctx);
  if (rs.BlueFlagInForce && !InSearch(rs)) {
    rs.CarNewSpeed[car] = std::max(0, rs.CarNewSpeed[car] - static_cast<int>(std::floor(rs.SpacesLeft * kMphPerSpace)));
    rs.WorkSpeed = rs.CarNewSpeed[car];
    rs.CarSpeed[car] = rs.CarNewSpeed[car];
    rs.CarDraftTarget[car] = 0;
    rs.SpacesLeft = 0;
    return;
  }
  rs.DecelOverBy = static_cast<int>(RoundHalfEven(rs.SpacesLeft * kMphPerSpace));
  SettleCollisionAvoidance(ctx);
  // Slipstream spaces can make the shed speed larger than the speed: stop at standing still.
  rs.CarNewSpeed[car] = std::max(0, rs.CarNewSpeed[car] - rs.DecelOverBy);
  rs.CarSpeed[car] = rs.CarNewSpeed[car];
  rs.SpacesLeft = 0;
}

// --- The four tables rolled on behalf of the others --------------------------------------------------

void RollTestBrakes(RuleContext& ctx) {
  RaceState& rs = ctx.rs;
  const int car = Current(ctx);
  RunTable(
      ctx, RollPlan{TableId::TestBrakes, true, false, 2, 12, std::nullopt},
      [&](int row, RollResult& r) {
        if (row == 0) Show(r, "Safely Driven", true);
        else Show(r, "Brakes Fail - Use 1 Wear AND Brake Damage", false);
      },
      [&](int row) {
        if (row == 0) {
          Highlight(ctx, kLogBrakeTested, car, std::to_string(rs.TableResult));
        } else {
          ApplyResult(ctx, car, ResultEffects{.BrakeDamage = true});
          Pay(ctx, 1);
          ShortfallRolls(ctx);
        }
      });
}

void RollChance(RuleContext& ctx) {
  RaceState& rs = ctx.rs;
  const int car = Current(ctx);
  RunTable(
      ctx, RollPlan{TableId::Chance, true, false, 2, 12, 1},
      [&](int row, RollResult& r) {
        if (row == 0) Show(r, "Safely Driven", true);
        else if (row == 1) Show(r, "Spin On Track", false);
        else Show(r, "Crash - Out of Race", false);
      },
      [&](int row) {
        if (row == 0) {
          Highlight(ctx, kLogChanceSuccess, car, rs.ResultContext);
        } else if (row == 1) {
          ApplyResult(ctx, car, ResultEffects{.Spin = true}, "Chance Table");
          RollSpinDamage(ctx);
        } else {
          ApplyResult(ctx, car, ResultEffects{.Crash = true}, "Chance Table");
        }
      });
}

void RollCollision(RuleContext& ctx) {
  const int car = Current(ctx);
  RunTable(
      ctx, RollPlan{TableId::Collision, true, false, 2, 12, 5},
      [&](int row, RollResult& r) {
        if (row == 0) Show(r, "Speed Reduced", true);
        else if (row == 1) Show(r, "Spin On Track", false);
        else Show(r, "Crash - Out of Race", false);
      },
      [&](int row) {
        if (row == 0) {
          Highlight(ctx, kLogSpeedReduced, car);
        } else if (row == 1) {
          ApplyResult(ctx, car, ResultEffects{.Spin = true}, "Collision Table");
          RollSpinDamage(ctx);
        } else {
          ApplyResult(ctx, car, ResultEffects{.Crash = true}, "Collision Table");
        }
      });
}

void RollSpinDamage(RuleContext& ctx) {
  const int car = Current(ctx);
  RunTable(
      ctx, RollPlan{TableId::SpinDamage, false, true, 1, 6, 5},
      [&](int row, RollResult& r) {
        static const char* const kTexts[] = {"No Additional Damage", " Spin - Engine Damage - Accel",
                                             " Spin - Brake Damage", " Spin - Engine Damage - Top Speed"};
        Show(r, kTexts[row], row == 0);
      },
      [&](int row) {
        if (row == 0) Highlight(ctx, kLogSpinDamage, car);
        else if (row == 1) ApplyResult(ctx, car, ResultEffects{.EngineAccel = true});
        else if (row == 2) ApplyResult(ctx, car, ResultEffects{.BrakeDamage = true});
        else ApplyResult(ctx, car, ResultEffects{.EngineTop = true});
      });
}

void ChanceRolls(RuleContext& ctx, int& count) {
  const int rolls = count;
  for (int i = 0; i < rolls; ++i) {
    // A crash ends the series: an out car rolls no more.
    if (ctx.rs.CarOutOfRace[Current(ctx)]) break;
    RollChance(ctx);
  }
  count = 0;
}

void TestBrakes(RuleContext& ctx, int& count) {
  if (!ctx.rs.CarOutOfRace[Current(ctx)]) RollTestBrakes(ctx);
  count = 0;
}

}  // namespace vm
