#include "rules/table_editor.h"

#include <optional>

#include "rules/result_table_file.h"

namespace vm {

namespace {

constexpr std::array<EndComboInfo, kEndComboCount> kCombos{{
    {EndCombo::cmbSSE1, "cmbSSE1", TableId::StartSpeed, 0},
    {EndCombo::cmbAE1, "cmbAE1", TableId::Acceleration, 0},
    {EndCombo::cmbTBE1, "cmbTBE1", TableId::TestBrakes, 0},
    {EndCombo::cmbCHE1, "cmbCHE1", TableId::Chance, 0},
    {EndCombo::cmbCHE2, "cmbCHE2", TableId::Chance, 1},
    {EndCombo::cmbCTE1, "cmbCTE1", TableId::Collision, 0},
    {EndCombo::cmbCTE2, "cmbCTE2", TableId::Collision, 1},
    {EndCombo::cmbSDE1, "cmbSDE1", TableId::SpinDamage, 0},
    {EndCombo::cmbSDE2, "cmbSDE2", TableId::SpinDamage, 1},
    {EndCombo::cmbSDE3, "cmbSDE3", TableId::SpinDamage, 2},
    {EndCombo::cmbWE1, "cmbWE1", TableId::Weather, 0},
    {EndCombo::cmbWE2, "cmbWE2", TableId::Weather, 1},
}};

constexpr std::array<SuccessSwitchInfo, kSuccessSwitchCount> kSwitches{{
    {SuccessSwitch::chkSS, "chkSS", TableId::StartSpeed},
    {SuccessSwitch::chkAT, "chkAT", TableId::Acceleration},
    {SuccessSwitch::chkTB, "chkTB", TableId::TestBrakes},
    {SuccessSwitch::chkCT, "chkCT", TableId::Chance},
    {SuccessSwitch::chkCA, "chkCA", TableId::Collision},
    {SuccessSwitch::chkSD, "chkSD", TableId::SpinDamage},
}};

// Spin Damage is rolled on one die: its results start at 1, not 2, and its disabled first row
// ends at 0.
bool OneDie(TableId table) { return table == TableId::SpinDamage; }

EndCombo FirstRowCombo(TableId table) {
  for (const EndComboInfo& c : kCombos)
    if (c.Table == table && c.Row == 0) return c.Combo;
  return EndCombo::cmbSSE1;  // every table has one
}

std::vector<int> Span(int lo, int hi) {
  std::vector<int> items;
  for (int v = lo; v <= hi; ++v) items.push_back(v);
  return items;
}

FileDialogRequest TableDialog(bool save, const std::string& programFolder) {
  FileDialogRequest request;
  request.Save = save;
  request.Title = save ? "Save Result Table" : "Load Result Table";
  request.Filter = kResultTableFilter;
  request.DefaultExtension = kResultTableExtension;
  request.InitialFolder = programFolder;
  return request;
}

}  // namespace

const EndComboInfo& InfoOf(EndCombo combo) { return kCombos.at(static_cast<size_t>(combo)); }
const std::array<EndComboInfo, kEndComboCount>& AllEndCombos() { return kCombos; }
const SuccessSwitchInfo& InfoOf(SuccessSwitch sw) { return kSwitches.at(static_cast<size_t>(sw)); }
const std::array<SuccessSwitchInfo, kSuccessSwitchCount>& AllSuccessSwitches() { return kSwitches; }

ResultTableEditor::ResultTableEditor(ResultTables& tables) : tables_(tables) {
  size_t k = 0;
  for (const TableInfo& info : AllTables()) {
    for (int i = 0; i < info.RowCount; ++i) {
      const TableRow& row = RowOf(tables_, info.Id, i);
      saved_[k++] = {row.RangeLow, row.RangeHigh};
    }
  }
  ReadSwitches();
}

void ResultTableEditor::ReadSwitches() {
  for (const SuccessSwitchInfo& s : kSwitches) {
    const int disabledEnd = OneDie(s.Table) ? 0 : 1;
    checked_[static_cast<size_t>(s.Switch)] = RowOf(tables_, s.Table, 0).RangeHigh == disabledEnd;
  }
}

void ResultTableEditor::Cancel() {
  size_t k = 0;
  for (const TableInfo& info : AllTables()) {
    for (int i = 0; i < info.RowCount; ++i) {
      TableRow& row = RowOf(tables_, info.Id, i);
      row.RangeLow = saved_[k].Low;
      row.RangeHigh = saved_[k].High;
      ++k;
    }
  }
}

std::vector<int> ResultTableEditor::Items(EndCombo combo) const {
  const EndComboInfo& c = InfoOf(combo);
  const TableInfo& table = vm::InfoOf(c.Table);
  const auto end = [&](int row) { return RowOf(tables_, c.Table, row).RangeHigh; };
  if (OneDie(c.Table)) {
    // Each Spin Damage row must leave at least one result to the row after it.
    return Span(c.Row == 0 ? 1 : end(c.Row - 1) + 1, end(c.Row + 1) - 1);
  }
  const int lo = c.Row == 0 ? 2 : end(c.Row - 1) + 1;
  const bool nextIsLast = c.Row + 2 == table.RowCount;
  return Span(lo, nextIsLast ? table.Top - 1 : end(c.Row + 1) - 1);
}

int ResultTableEditor::Value(EndCombo combo) const {
  const EndComboInfo& c = InfoOf(combo);
  return RowOf(tables_, c.Table, c.Row).RangeHigh;
}

void ResultTableEditor::ChooseEnd(EndCombo combo, int value) {
  const EndComboInfo& c = InfoOf(combo);
  TableRow& row = RowOf(tables_, c.Table, c.Row);
  row.RangeHigh = value;
  if (c.Row == 0) {
    // Spin Damage's first row gets 0 for an end of 1 and 1 otherwise, one below the others'
    // pattern. Kept on purpose: its results are clamped to 1..6, so the low changes no roll.
    if (OneDie(c.Table)) {
      row.RangeLow = value == 1 ? 0 : 1;
    } else {
      row.RangeLow = value == 1 ? 1 : 2;
    }
  }
  RowOf(tables_, c.Table, c.Row + 1).RangeLow = value + 1;
}

bool ResultTableEditor::SwitchChecked(SuccessSwitch sw) const { return checked_[static_cast<size_t>(sw)]; }

void ResultTableEditor::SetSwitch(SuccessSwitch sw, bool checked) {
  bool& state = checked_[static_cast<size_t>(sw)];
  if (state == checked) return;
  state = checked;
  const TableId table = InfoOf(sw).Table;
  const int lowest = OneDie(table) ? 1 : 2;
  ChooseEnd(FirstRowCombo(table), checked ? lowest - 1 : lowest);
}

bool ResultTableEditor::FirstRowHidden(TableId table) const {
  for (const SuccessSwitchInfo& s : kSwitches)
    if (s.Table == table) return SwitchChecked(s.Switch);
  return false;
}

bool ResultTableEditor::LoadFile(Console& console, const std::string& programFolder) {
  const std::optional<std::string> path = console.ChooseFile(TableDialog(false, programFolder));
  if (!path) return false;
  if (std::optional<FileError> error = LoadResultTables(tables_, *path)) {
    ReportFileError(console, static_cast<int>(error->Code), *path);
    // The standard message covers only a missing file; a damaged one must not fail in silence.
    if (error->Code != FileErrorCode::NotFound) {
      console.ShowMessage("The result tables were not loaded. " + error->Describe(), kTableEditorCaption,
                          MessageKind::Exclamation);
    }
    return false;
  }
  ReadSwitches();
  return true;
}

bool ResultTableEditor::SaveFile(Console& console, const std::string& programFolder) {
  const std::optional<std::string> path = console.ChooseFile(TableDialog(true, programFolder));
  if (!path) return false;
  if (std::optional<FileError> error = SaveResultTables(tables_, *path)) {
    console.ShowMessage("The result tables were not saved. " + error->Describe(), kTableEditorCaption,
                        MessageKind::Exclamation);
    return false;
  }
  return true;
}

}  // namespace vm
