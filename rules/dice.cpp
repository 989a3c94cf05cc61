#include "rules/dice.h"

#include <string>

namespace vm {

void RollDice(RuleContext& ctx, const TableRow& row, int& result, bool forceManual) {
  RaceState& rs = ctx.rs;
  const bool carIsAI = IsCarNumber(rs.CurrentCar) && rs.CarIsAI[rs.CurrentCar];
  const bool computer = (!forceManual || !rs.AllowManualDice) && (carIsAI || !rs.AllowManualDice);
  if (computer) {
    if (row.DiceCount < 1 || row.DiceCount > 3) return;
    int total = 0;
    for (int i = 0; i < row.DiceCount; ++i) total += ctx.rng.Die();
    result = total;
    return;
  }
  rs.DiceCountRequested = row.DiceCount;
  rs.ManualDiceResult = 0;
  DiceEntryPanel panel{"Enter Manual Dice Roll (without Die Roll Modifier)", {}};
  const int lo = rs.DiceCountRequested == 1 ? 1 : 2;
  const int hi = rs.DiceCountRequested == 1 ? 6 : 12;
  for (int v = lo; v <= hi; ++v) panel.Choices.push_back(v);
  const int typed = ctx.console.EnterDiceResult(panel);
  // Only a number from the list is taken; anything else leaves the entry at 0, as an unanswered panel does.
  if (typed >= lo && typed <= hi) rs.ManualDiceResult = typed;
  result = rs.ManualDiceResult;
}

void DrawPlainDice(RuleContext& ctx) {
  ctx.rs.Die1 = ctx.rng.Die();
  ctx.rs.Die2 = ctx.rng.Die();
}

int SpeedDRM(int carSpeed) {
  if (carSpeed < 100) return -1;
  if (carSpeed < 140) return 0;
  if (carSpeed < 180) return 1;
  return 2;
}

const std::vector<std::string>& SpeedDRMNotes() {
  static const std::vector<std::string> notes{"+2    180 or higher", "+1    140 - 160", " 0     100 - 120",
                                              " -1    80 or less"};
  return notes;
}

RowHits RowsHolding(const ResultTables& tables, TableId id, int tableResult) {
  RowHits hits;
  for (int i = 0; i < InfoOf(id).RowCount; ++i)
    if (RowHolds(RowOf(tables, id, i), tableResult)) hits.Index[static_cast<size_t>(hits.Count++)] = i;
  return hits;
}

}  // namespace vm
