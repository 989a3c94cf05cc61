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

using RowMember = TableRow ResultTables::*;
constexpr RowMember kRows[kTableCount][4] = {
    {&ResultTables::SS1, &ResultTables::SS2, nullptr, nullptr},
    {&ResultTables::A1, &ResultTables::A2, nullptr, nullptr},
    {&ResultTables::TB1, &ResultTables::TB2, nullptr, nullptr},
    {&ResultTables::CH1, &ResultTables::CH2, &ResultTables::CH3, nullptr},
    {&ResultTables::CT1, &ResultTables::CT2, &ResultTables::CT3, nullptr},
    {&ResultTables::SD1, &ResultTables::SD2, &ResultTables::SD3, &ResultTables::SD4},
    {&ResultTables::W1, &ResultTables::W2, &ResultTables::W3, nullptr},
};

RowMember MemberOf(TableId id, int index) {
  const int table = static_cast<int>(id);
  if (table < 0 || table >= kTableCount || index < 0 || index >= kTables[static_cast<size_t>(table)].RowCount)
    throw std::out_of_range("no such result table row");
  return kRows[table][index];
}

}  // namespace

const TableInfo& InfoOf(TableId id) { return kTables.at(static_cast<size_t>(id)); }
const std::array<TableInfo, kTableCount>& AllTables() { return kTables; }

TableRow& RowOf(ResultTables& tables, TableId id, int index) { return tables.*MemberOf(id, index); }
const TableRow& RowOf(const ResultTables& tables, TableId id, int index) { return tables.*MemberOf(id, index); }

}  // namespace vm
