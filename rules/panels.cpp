#include "rules/panels.h"

#include <algorithm>
#include <array>

#include "core/units.h"
#include "rules/dice.h"
#include "rules/weather.h"

namespace vm {

namespace {

int Car(const RaceState& rs) { return IsCarNumber(rs.CurrentCar) ? rs.CurrentCar : 1; }

ChoicePanel Choice(std::string name, std::string caption, std::vector<PanelValue> values, Frame options) {
  ChoicePanel p;
  p.Name = std::move(name);
  p.Caption = std::move(caption);
  p.Values = std::move(values);
  p.Options.assign(options.begin(), options.end());
  return p;
}

using namespace std::string_view_literals;
constexpr std::array kCurve20{"Use 1 Wear"sv, "Consult Chance Table"sv};
constexpr std::array kCurve40{"Use 2 Wears"sv, "Use 1 Wear AND Consult Chance Table"sv};
constexpr std::array kCurve60{"Use 2 Wears AND Consult Chance Table"sv};
constexpr std::array kCurveCrash{"Crash - Out of Race"sv};
constexpr std::array kDecel20{"Use 1 Wear"sv, "Test Brakes"sv};
constexpr std::array kDecel40{"Use 2 Wears"sv, "Use 1 Wear AND Test Brakes"sv};
constexpr std::array kDecel60{"Use 2 Wears AND Test Brakes"sv};
constexpr std::array kDecel80{"Use 3 Wears and Test Brakes"sv};
constexpr std::array kAvoid20{"Use 1 Wear"sv, "Roll Collision Avoidance"sv};
constexpr std::array kAvoid40{"Use 1 Wear AND Roll Collision Avoidance"sv};
constexpr std::array kAvoidCrash{"Crash - Out Of Race"sv};

struct RollPanelName {
  const char* Name;
  const char* Caption;
};

RollPanelName NameOf(TableId id) {
  switch (id) {
    case TableId::StartSpeed: return {"frmStartTable", "Start Speed Exceeded Table"};
    case TableId::Acceleration: return {"frmAccelerationTable", "Acceleration / Top Speed Exceeded Table"};
    case TableId::TestBrakes: return {"frmTestBrakes", "Test Brakes"};
    case TableId::Chance: return {"frmChanceTable", "Chance Table"};
    case TableId::Collision: return {"frmCollisionTable", "Collision Table"};
    case TableId::SpinDamage: return {"frmSpinDamageTable", "Spin Damage Table"};
    case TableId::Weather: return {"frmWeatherTable", "Weather Table"};
  }
  return {"", ""};
}

}  // namespace

std::string SignedText(int value) { return (value > 0 ? "+" : "") + std::to_string(value); }

std::string WearsLine(const RaceState& rs, int car) {
  const int allotment =
      rs.GameMode == kModePractice ? rs.CarWearPerLap[car] : rs.CarWearPerLap[car] * rs.RaceWearsMultiplier;
  return std::to_string(std::max(0, rs.CarWears[car])) + " of " + std::to_string(allotment) + " Wears";
}

Frame CurveExcessOptions(int over) {
  if (over == 20) return kCurve20;
  if (over == 40) return kCurve40;
  if (over == 60) return kCurve60;
  if (over >= 80) return kCurveCrash;
  return {};
}

Frame DecelerationOptions(int over) {
  if (over == 20) return kDecel20;
  if (over == 40) return kDecel40;
  if (over == 60) return kDecel60;
  if (over == 80) return kDecel80;
  return {};
}

Frame CollisionAvoidanceOptions(int over) {
  if (over == 20) return kAvoid20;
  if (over == 40) return kAvoid40;
  if (over > 40) return kAvoidCrash;
  return {};
}

ChoicePanel CorneringPanel(const RaceState& rs) {
  return Choice("frmCorneringTable", "Cornering Table",
                {{"Speed Over By", std::to_string(rs.SpeedOverBy)}, {"Wears Remaining", WearsLine(rs, Car(rs))}},
                CurveExcessOptions(rs.SpeedOverBy));
}

ChoicePanel PitEntryPanel(const RaceState& rs) {
  const int car = Car(rs);
  ChoicePanel p = Choice("frmPitEntry", "Pit Entry",
                         {{"Excess Speed = ", std::to_string(rs.SpeedOverBy)},
                          {"Entry Speed = ", std::to_string(rs.CarDeceleration[car] + 60)},
                          {", Current Speed = ", std::to_string(rs.CarNewSpeed[car])},
                          {"Wears Remaining", WearsLine(rs, car)}},
                         CurveExcessOptions(rs.SpeedOverBy));
  p.Controls = {"Replenish Wear", "Make Repairs", "Splash and Go (1/2  Replenishment)",
                "RAIN tires",     "DRY tires",    "Check Weather"};
  if (rs.WeatherEnabled)
    p.Weather = {{"Current Weather", SkyText(rs.WeatherValue)}, {"Current Track Condition:", rs.TrackCondition}};
  return p;
}

ChoicePanel DecelerationPanel(const RaceState& rs) {
  return Choice("frmDecelerationTable", "Deceleration Table",
                {{"Over Decelerated By", std::to_string(rs.DecelOverBy)}, {"Wear Remaining", WearsLine(rs, Car(rs))}},
                DecelerationOptions(rs.DecelOverBy));
}

ChoicePanel CollisionAvoidancePanel(const RaceState& rs) {
  return Choice("frmCollisionAvoidanceTable", "Collision Avoidance Table",
                {{"Excess Speed", std::to_string(rs.DecelOverBy)}, {"Wear Remaining", WearsLine(rs, Car(rs))}},
                CollisionAvoidanceOptions(rs.DecelOverBy));
}

RollPanel TableRollPanel(const RaceState& rs, TableId id) {
  const int car = Car(rs);
  const RollPanelName names = NameOf(id);
  RollPanel p;
  p.Name = names.Name;
  p.Caption = names.Caption;
  if (id == TableId::SpinDamage) {
    p.Values = {{"Car Die Roll Modifier", SignedText(rs.CarDRM[car])},
                {"Speed Die Roll Modifier", SignedText(SpeedDRM(rs.CarSpeed[car]))}};
    p.Notes = SpeedDRMNotes();
  } else {
    p.Values = {{"Die Roll Modifier", SignedText(rs.CarDRM[car])}};
  }
  const TableInfo& info = InfoOf(id);
  for (int i = 0; i < info.RowCount; ++i) {
    const TableRow& row = RowOf(rs.Tables, id, i);
    // A disabled success row ends at 1. Spin Damage disables at 0 yet is tested for 1 here too,
    // so a disabled SD1 stays in view: its players know the panel that way.
    const bool hidden = i == 0 && id != TableId::Weather && row.RangeHigh == 1;
    p.Rows.push_back({row.RangeLow, row.RangeHigh, std::string(info.RowLabels[static_cast<size_t>(i)]), hidden});
  }
  return p;
}

CrashPanel CrashPanelFor(const RaceState& rs, int car) {
  // Of the three sentences the panel could form, the plain one always stands.
  return {"Crash !", rs.DriverName[car] + " has crashed.", {"Continue", "End Race"}};
}

}  // namespace vm
