// The result table editor, frmResultTableSetup, as logic without widgets: the end of each row
// is chosen from a combo box whose list keeps the rows contiguous, and a switch per table
// (Weather has none) disables its success row. A window binds to this class by the names below.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "core/result_tables.h"
#include "ui/console.h"

namespace vm {

inline constexpr std::string_view kTableEditorName = "frmResultTableSetup";
inline constexpr std::string_view kTableEditorCaption = "Results Table Setup";
inline constexpr std::string_view kDisableSuccessCaption = "Disable Successful Results";
inline constexpr std::string_view kLoadTablesMenu = "mnuFileLoadResultsTable";
inline constexpr std::string_view kSaveTablesMenu = "mnuSaveResultsTable";

// The combo boxes that choose a row's end, named as the editor's controls are. A table's last
// row ends at the table's top and has none.
enum class EndCombo {
  cmbSSE1,
  cmbAE1,
  cmbTBE1,
  cmbCHE1,
  cmbCHE2,
  cmbCTE1,
  cmbCTE2,
  cmbSDE1,
  cmbSDE2,
  cmbSDE3,
  cmbWE1,
  cmbWE2
};
inline constexpr int kEndComboCount = 12;

// The "Disable Successful Results" switches. chkCT sits on the Chance table, chkCA on Collision.
enum class SuccessSwitch { chkSS, chkAT, chkTB, chkCT, chkCA, chkSD };
inline constexpr int kSuccessSwitchCount = 6;

// Which row a combo box sets the end of (0-based).
struct EndComboInfo {
  EndCombo Combo;
  std::string_view Name;
  TableId Table;
  int Row;
};

// Which table a switch disables the success row of.
struct SuccessSwitchInfo {
  SuccessSwitch Switch;
  std::string_view Name;
  TableId Table;
};

// Returns the name, table and row of a combo box.
const EndComboInfo& InfoOf(EndCombo combo);
// Returns every combo box in the editor's order.
const std::array<EndComboInfo, kEndComboCount>& AllEndCombos();
// Returns the name and table of a switch.
const SuccessSwitchInfo& InfoOf(SuccessSwitch sw);
// Returns every switch in the editor's order.
const std::array<SuccessSwitchInfo, kSuccessSwitchCount>& AllSuccessSwitches();

class ResultTableEditor {
 public:
  // Opens the editor over the live rows: keeps their ranges aside for Cancel and sets each
  // switch from the stored state.
  explicit ResultTableEditor(ResultTables& tables);

  // Returns the rows as they stand, for the labels that show each row's low.
  const ResultTables& Tables() const { return tables_; }

  // Returns the ends a combo box offers, rebuilt from the rows at every call.
  std::vector<int> Items(EndCombo combo) const;
  // Returns the end the combo box shows: its row's high.
  int Value(EndCombo combo) const;
  // Sets a row's end as a click in its combo box does: the row's high, for a first row its low
  // as well, and the next row's low. Any value is taken, since the switches set ends the lists
  // do not offer.
  void ChooseEnd(EndCombo combo, int value);

  // Returns whether a switch is checked.
  bool SwitchChecked(SuccessSwitch sw) const;
  // Checks or clears a switch as a click does: checked, the first row is hidden and made
  // unreachable; cleared, it is shown again with the lowest reachable end. Setting the state a
  // switch already has does nothing, as a check box fires no click then.
  void SetSwitch(SuccessSwitch sw, bool checked);
  // Returns whether a table's first row (label, combo box and low) is hidden.
  bool FirstRowHidden(TableId table) const;

  // Keeps the edits (the OK button).
  void Ok() {}
  // Puts back the ranges the rows had when the editor opened (the Cancel button). Dice counts
  // are not the editor's and stay as they are.
  void Cancel();

  // Loads an .rst file chosen in a file dialog (mnuFileLoadResultsTable). A cancelled dialog or
  // a failed load leaves the rows alone; a failure is reported. Returns whether a file was loaded.
  bool LoadFile(Console& console, const std::string& programFolder);
  // Saves the rows to an .rst file chosen in a file dialog (mnuSaveResultsTable), normalising
  // them first. Returns whether a file was written.
  bool SaveFile(Console& console, const std::string& programFolder);

 private:
  struct Range {
    int Low = 0;
    int High = 0;
  };

  // Sets every switch from the rows, as the panel does when it opens.
  void ReadSwitches();

  ResultTables& tables_;
  std::array<Range, kTableRowCount> saved_{};
  std::array<bool, kSuccessSwitchCount> checked_{};
};

}  // namespace vm
