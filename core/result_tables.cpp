#include "core/result_tables.h"

#include <stdexcept>

namespace vm {

namespace {

constexpr std::array<TableInfo, kTableCount> kTables{{
    {TableId::StartSpeed,
     "Start Speed",
     {"SS1", "SS2", "", ""},
     {"Start Speed Safely Exceeded, +20 MPH", "Engine Stall - 0 MPH", "", ""},
     2,
     12},
    {TableId::Acceleration,
     "Acceleration / Top Speed",
     {"A1", "A2", "", ""},
     {"Speed Safely Exceeded", "Engine Damage, -20 MPH This Turn AND Category Tested", "", ""},
     2,
     12},
    {TableId::TestBrakes,
     "Test Brakes",
     {"TB1", "TB2", "", ""},
     {"Speed Safely Decreased", "Brakes Fail, Use 1 Wear AND Brake Damage", "", ""},
     2,
     12},
    {TableId::Chance,
     "Chance",
     {"CH1", "CH2", "CH3", ""},
     {"Safely Driven", "Spin", "Crash, Out Of Race", ""},
     3,
     12},
    {TableId::Collision,
     "Collision",
     {"CT1", "CT2", "CT3", ""},
     {"Speed Safely Reduced", "Spin", "Crash, Out Of Race", ""},
     3,
     12},
    {TableId::SpinDamage,
     "Spin Damage",
     {"SD1", "SD2", "SD3", "SD4"},
     {"No Additional Damage", "Engine Damage, -20 MPH Acceleration", "Brake Damage, -20 MPH Deceleration",
      "Engine Damage, -20 MPH Top Speed"},
     4,
     6},
    {TableId::Weather, "Weather", {"W1", "W2", "W3", ""}, {"Move Left", "Steady", "Move Right", ""}, 3, 12},
}};

template <class Tables, class Row>
Row& Pick(Tables& t, TableId id, int index) {
  Row* rows[kTableCount][4] = {
      {&t.SS1, &t.SS2, nullptr, nullptr}, {&t.A1, &t.A2, nullptr, nullptr},
      {&t.TB1, &t.TB2, nullptr, nullptr}, {&t.CH1, &t.CH2, &t.CH3, nullptr},
      {&t.CT1, &t.CT2, &t.CT3, nullptr}, {&t.SD1, &t.SD2, &t.SD3, &t.SD4},
      {&t.W1, &t.W2, &t.W3, nullptr},
  };
  const int table = static_cast<int>(id);
  if (table < 0 || table >= kTableCount || index < 0 || index >= kTables[table].RowCount)
    throw std::out_of_range("no such result table row");
  return *rows[table][index];
}

}  // namespace

const TableInfo& InfoOf(TableId id) { return kTables.at(static_cast<size_t>(id)); }
const std::array<TableInfo, kTableCount>& AllTables() { return kTables; }

TableRow& RowOf(ResultTables& tables, TableId id, int index) {
  return Pick<ResultTables, TableRow>(tables, id, index);
}
const TableRow& RowOf(const ResultTables& tables, TableId id, int index) {
  return Pick<const ResultTables, const TableRow>(tables, id, index);
}

}  // namespace vm
