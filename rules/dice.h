// The dice of the result tables: computer or manual dice, modifiers, clamps and the row lookup.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "core/result_tables.h"
#include "rules/rule_context.h"

namespace vm {

// Rolls the dice of the table whose first row is `row` into `result`. Computer dice unless
// AllowManualDice is on and either the roll is forced manual (weather) or the current car is
// human; then the player types the bare dice on the entry panel. A dice count other than 1..3
// leaves `result` as it was.
void RollDice(RuleContext& ctx, const TableRow& row, int& result, bool forceManual);

// The two plain dice that most rolls draw into Die1 and Die2 before their own; they decide nothing
// but belong to the sequence of draws.
void DrawPlainDice(RuleContext& ctx);

// The Spin Damage modifier of a car's last speed: -1 below 100, 0 to 139, +1 to 179, +2 above.
int SpeedDRM(int carSpeed);

// The panel's lines for that modifier, highest first.
const std::vector<std::string>& SpeedDRMNotes();

// True when a row's inclusive range holds the table result.
inline bool RowHolds(const TableRow& row, int tableResult) {
  return row.RangeLow <= tableResult && tableResult <= row.RangeHigh;
}

// The rows of a table that hold a result, in ascending order.
struct RowHits {
  std::array<int, 4> Index{};
  int Count = 0;
  const int* begin() const { return Index.data(); }
  const int* end() const { return Index.data() + Count; }
};

// Every row of a table that holds the result: a hand-made file with overlapping rows fires them all.
RowHits RowsHolding(const ResultTables& tables, TableId id, int tableResult);

inline int Clamp(int value, int lo, int hi) { return value < lo ? lo : value > hi ? hi : value; }

}  // namespace vm
