// The seven result tables as plain data: 19 rows of (dice count, low, high). They are global for
// the whole process and always come from a file; the program holds no values of its own.
#pragma once

#include <array>
#include <string_view>

namespace vm {

// One row of a result table. DiceCount means something on a table's first row only.
struct TableRow {
  int DiceCount = 0;
  int RangeLow = 0;
  int RangeHigh = 0;
  bool operator==(const TableRow&) const = default;
};

struct ResultTables {
  TableRow SS1, SS2;            // Start Speed
  TableRow A1, A2;              // Acceleration / Top Speed
  TableRow TB1, TB2;            // Test Brakes
  TableRow CH1, CH2, CH3;       // Chance
  TableRow CT1, CT2, CT3;       // Collision
  TableRow SD1, SD2, SD3, SD4;  // Spin Damage
  TableRow W1, W2, W3;          // Weather
  bool operator==(const ResultTables&) const = default;
};

inline constexpr int kTableRowCount = 19;

// The seven tables, in file order.
enum class TableId { StartSpeed, Acceleration, TestBrakes, Chance, Collision, SpinDamage, Weather };
inline constexpr int kTableCount = 7;

// What a table is: its name, its rows in order with their editor labels, and the top of its
// result range (12 for two dice, 6 for Spin Damage).
struct TableInfo {
  TableId Id;
  std::string_view Name;
  std::array<std::string_view, 4> RowNames;   // "SS1", "SS2"; unused entries empty
  std::array<std::string_view, 4> RowLabels;  // the rows' meanings as the editor and panels print them
  int RowCount;
  int Top;
};

const TableInfo& InfoOf(TableId id);
const std::array<TableInfo, kTableCount>& AllTables();

// Row `index` (0-based) of a table.
TableRow& RowOf(ResultTables& tables, TableId id, int index);
const TableRow& RowOf(const ResultTables& tables, TableId id, int index);

}  // namespace vm
