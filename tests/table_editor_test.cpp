#include "rules/table_editor.h"

#include <gtest/gtest.h>

#include "tests/temp_dir.h"

#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "core/result_tables.h"
#include "rules/result_table_file.h"
#include "ui/scripted_console.h"

namespace vm {
namespace {

const std::string kDefault = std::string(VELOMARK_DATA) + "/Default.rst";

ResultTables Defaults() {
  ResultTables t;
  const std::optional<FileError> err = LoadResultTables(t, kDefault);
  EXPECT_FALSE(err) << err->Describe();
  return t;
}

std::vector<int> Span(int lo, int hi) {
  std::vector<int> items;
  for (int v = lo; v <= hi; ++v) items.push_back(v);
  return items;
}

struct ListCheck {
  EndCombo combo;
  int lo, hi;
};

void ExpectLists(const ResultTableEditor& editor, const std::vector<ListCheck>& checks) {
  for (const ListCheck& c : checks) EXPECT_EQ(editor.Items(c.combo), Span(c.lo, c.hi)) << InfoOf(c.combo).Name;
}

TEST(TableEditor, ListsFollowTheRowsThroughASequenceOfChoices) {
  ResultTables t = Defaults();
  ResultTableEditor editor(t);
  using enum EndCombo;
  ExpectLists(editor, {{cmbSSE1, 2, 11},
                       {cmbAE1, 2, 11},
                       {cmbTBE1, 2, 11},
                       {cmbCHE1, 2, 8},
                       {cmbCHE2, 7, 11},
                       {cmbCTE1, 2, 8},
                       {cmbCTE2, 7, 11},
                       {cmbSDE1, 1, 3},
                       {cmbSDE2, 4, 4},
                       {cmbSDE3, 5, 5},
                       {cmbWE1, 2, 8},
                       {cmbWE2, 5, 11}});
  std::vector<int> values;
  for (const EndComboInfo& c : AllEndCombos()) values.push_back(editor.Value(c.Combo));
  EXPECT_EQ(values, (std::vector<int>{9, 9, 9, 6, 9, 6, 9, 3, 4, 5, 4, 9}));

  const struct {
    EndCombo combo;
    int value;
    std::vector<ListCheck> after;
  } steps[] = {
      {cmbCHE1, 4, {{cmbCHE1, 2, 8}, {cmbCHE2, 5, 11}}},
      {cmbCHE2, 11, {{cmbCHE1, 2, 10}, {cmbCHE2, 5, 11}}},
      {cmbCTE2, 7, {{cmbCTE1, 2, 6}, {cmbCTE2, 7, 11}}},
      // Spin Damage's first row starts at 0 when it ends at 1.
      {cmbSDE1, 1, {{cmbSDE1, 1, 3}, {cmbSDE2, 2, 4}, {cmbSDE3, 5, 5}}},
      {cmbSDE2, 2, {{cmbSDE1, 1, 1}, {cmbSDE2, 2, 4}, {cmbSDE3, 3, 5}}},
      {cmbSDE3, 3, {{cmbSDE1, 1, 1}, {cmbSDE2, 2, 2}, {cmbSDE3, 3, 5}}},
      {cmbWE1, 3, {{cmbWE1, 2, 8}, {cmbWE2, 4, 11}}},
      {cmbWE2, 10, {{cmbWE1, 2, 9}, {cmbWE2, 4, 11}}},
      {cmbSSE1, 11, {{cmbSSE1, 2, 11}}},
      {cmbAE1, 2, {{cmbAE1, 2, 11}}},
  };
  for (const auto& step : steps) {
    SCOPED_TRACE(std::string(InfoOf(step.combo).Name) + " := " + std::to_string(step.value));
    editor.ChooseEnd(step.combo, step.value);
    EXPECT_EQ(editor.Value(step.combo), step.value);
    ExpectLists(editor, step.after);
  }

  ResultTables want = Defaults();
  want.SS1 = {2, 2, 11}, want.SS2 = {0, 12, 12};
  want.A1 = {2, 2, 2}, want.A2 = {0, 3, 12};
  want.CH1 = {2, 2, 4}, want.CH2 = {0, 5, 11}, want.CH3 = {0, 12, 12};
  want.CT2 = {0, 7, 7}, want.CT3 = {0, 8, 12};
  want.SD1 = {1, 0, 1}, want.SD2 = {0, 2, 2}, want.SD3 = {0, 3, 3}, want.SD4 = {0, 4, 6};
  want.W1 = {2, 2, 3}, want.W2 = {0, 4, 10}, want.W3 = {0, 11, 12};
  EXPECT_EQ(t, want);
}

TEST(TableEditor, ListsOfAHandMadeFileFollowItsRows) {
  ResultTables t = Defaults();
  t.CH3 = {0, 10, 20};  // the last row's end never bounds a list of two dice
  t.SD2 = {0, 4, 1};
  t.SD4 = {0, 6, 9};  // but it does on Spin Damage
  t.W2 = {0, 5, 3};
  const ResultTableEditor editor(t);
  using enum EndCombo;
  EXPECT_TRUE(editor.Items(cmbSDE1).empty());
  ExpectLists(editor, {{cmbCHE2, 7, 11}, {cmbSDE3, 2, 8}, {cmbWE1, 2, 2}, {cmbWE2, 5, 11}});
}

TEST(TableEditor, CancelRestoresTheRangesAndOkKeepsThem) {
  for (const bool cancel : {true, false}) {
    SCOPED_TRACE(cancel ? "Cancel" : "OK");
    ResultTables t = Defaults();
    ResultTableEditor editor(t);
    editor.ChooseEnd(EndCombo::cmbCHE1, 3);
    editor.ChooseEnd(EndCombo::cmbSDE2, 5);
    editor.SetSwitch(SuccessSwitch::chkTB, true);
    editor.SetSwitch(SuccessSwitch::chkSD, true);
    const ResultTables edited = t;
    ASSERT_NE(edited, Defaults());
    if (cancel) {
      editor.Cancel();
      EXPECT_EQ(t, Defaults());
    } else {
      editor.Ok();
      EXPECT_EQ(t, edited);
    }
  }
}

TEST(TableEditor, SwitchesDisableAndRestoreTheSuccessRow) {
  const struct {
    SuccessSwitch sw;
    TableId table;
    TableRow disabled;  // the first row once checked
    int nextLowDisabled;
    TableRow restored;  // once cleared again
    int nextLowRestored;
  } cases[] = {
      {SuccessSwitch::chkSS, TableId::StartSpeed, {2, 1, 1}, 2, {2, 2, 2}, 3},
      {SuccessSwitch::chkAT, TableId::Acceleration, {2, 1, 1}, 2, {2, 2, 2}, 3},
      {SuccessSwitch::chkTB, TableId::TestBrakes, {2, 1, 1}, 2, {2, 2, 2}, 3},
      {SuccessSwitch::chkCT, TableId::Chance, {2, 1, 1}, 2, {2, 2, 2}, 3},
      {SuccessSwitch::chkCA, TableId::Collision, {2, 1, 1}, 2, {2, 2, 2}, 3},
      // An end of 0 takes a low of 1, an end of 1 a low of 0: the one-die table's own pattern.
      {SuccessSwitch::chkSD, TableId::SpinDamage, {1, 1, 0}, 1, {1, 0, 1}, 2},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(InfoOf(c.sw).Name);
    ResultTables t = Defaults();
    // The switch, and whether the table hides its first row.
    auto shown = [&](const ResultTableEditor& e) { return std::pair(e.SwitchChecked(c.sw), e.FirstRowHidden(c.table)); };
    {
      ResultTableEditor editor(t);
      EXPECT_EQ(shown(editor), std::pair(false, false));
      editor.SetSwitch(c.sw, true);
      EXPECT_EQ(shown(editor), std::pair(true, true));
      EXPECT_FALSE(editor.FirstRowHidden(TableId::Weather));
      editor.Ok();
    }
    ResultTables want = Defaults();
    RowOf(want, c.table, 0) = c.disabled;
    RowOf(want, c.table, 1).RangeLow = c.nextLowDisabled;
    EXPECT_EQ(t, want);

    ResultTables saved = t;
    NormaliseForSave(saved);
    EXPECT_EQ(RowOf(saved, c.table, 0).RangeLow, c.disabled.RangeHigh);

    {
      // The stored state checks the switch when the editor opens again.
      ResultTableEditor editor(t);
      EXPECT_EQ(shown(editor), std::pair(true, true));
      editor.SetSwitch(c.sw, true);  // no click: nothing changes
      EXPECT_EQ(t, want);
      editor.SetSwitch(c.sw, false);
      EXPECT_EQ(shown(editor), std::pair(false, false));
      editor.SetSwitch(c.sw, false);
      editor.Ok();
    }
    want = Defaults();
    RowOf(want, c.table, 0) = c.restored;
    RowOf(want, c.table, 1).RangeLow = c.nextLowRestored;
    EXPECT_EQ(t, want);
    EXPECT_FALSE(ResultTableEditor(t).SwitchChecked(c.sw));
  }
}

// Keeps every file dialog request as well as answering it from the script.
class DialogConsole : public ScriptedConsole {
 public:
  using ScriptedConsole::ScriptedConsole;
  std::optional<std::string> ChooseFile(const FileDialogRequest& request) override {
    requests.push_back(request);
    return ScriptedConsole::ChooseFile(request);
  }
  std::vector<FileDialogRequest> requests;
};

void ExpectTableDialogs(const DialogConsole& console, bool save, const std::string& folder) {
  for (const FileDialogRequest& r : console.requests) {
    EXPECT_EQ(r.Save, save);
    EXPECT_EQ(r.Filter, "Result Table Files (*.rst)|*.rst");
    EXPECT_EQ(r.DefaultExtension, ".rst");
    EXPECT_EQ(r.InitialFolder, folder);
  }
}

TEST(TableEditor, LoadFileKeepsTheRowsOnCancelOrFailure) {
  const testing_support::TempDir dir;
  ResultTables other = Defaults();
  other.SS1 = {3, 1, 1}, other.SS2 = {0, 2, 12};
  other.CH1 = {2, 2, 5}, other.CH2 = {0, 6, 10}, other.CH3 = {0, 11, 12};
  const std::string good = dir.Add("Other.rst", ResultTablesText(other));
  const std::string text = ResultTablesText(other);
  size_t tenLines = 0;
  for (int i = 0; i < 10; ++i) tenLines = text.find('\n', tenLines) + 1;
  const std::string shortFile = dir.Add("Short.rst", text.substr(0, tenLines));
  const std::string missing = dir.File("None.rst");

  ResultTables t = Defaults();
  ResultTableEditor editor(t);
  DialogConsole console({"cancel", "file:" + missing, "file:" + shortFile, "file:" + good});

  // A cancel says nothing; a missing file gets the usual message; a damaged one a message of its
  // own, naming file and line: the one after the last. None of them changes the rows.
  for (size_t messages : {0u, 1u, 2u}) {
    EXPECT_FALSE(editor.LoadFile(console, dir.Root()));
    ASSERT_EQ(console.Messages().size(), messages);
    EXPECT_EQ(t, Defaults());
  }
  EXPECT_EQ(console.Messages()[0], FileErrorText(missing));
  EXPECT_NE(console.Messages()[1].find(shortFile + ", line 11"), std::string::npos) << console.Messages()[1];
  EXPECT_FALSE(editor.SwitchChecked(SuccessSwitch::chkSS));

  EXPECT_TRUE(editor.LoadFile(console, dir.Root()));
  EXPECT_EQ(t, other);
  EXPECT_EQ(std::pair(editor.SwitchChecked(SuccessSwitch::chkSS), editor.FirstRowHidden(TableId::StartSpeed)),
            std::pair(true, true));
  EXPECT_EQ(editor.Items(EndCombo::cmbCHE2), Span(6, 11));
  EXPECT_EQ(std::tuple(console.Messages().size(), console.AnswersLeft(), console.requests.size()),
            std::tuple(2u, 0u, 4u));
  ExpectTableDialogs(console, false, dir.Root());

  // Cancel puts back the ranges only: the dice counts are not the editor's.
  editor.Cancel();
  ResultTables want = Defaults();
  want.SS1.DiceCount = 3;
  EXPECT_EQ(t, want);
}

TEST(TableEditor, SaveFileNormalisesAndWritesOrSaysWhy) {
  const testing_support::TempDir dir;
  ResultTables t = Defaults();
  ResultTableEditor editor(t);
  editor.SetSwitch(SuccessSwitch::chkSD, true);
  editor.SetSwitch(SuccessSwitch::chkCT, true);
  const std::string unwritable = dir.File("no/such/folder/Mine.rst");
  DialogConsole console({"cancel", "file:" + unwritable, "file:" + dir.File("Mine.rst")});

  EXPECT_FALSE(editor.SaveFile(console, dir.Root()));
  EXPECT_EQ(t.SD1, (TableRow{1, 1, 0}));  // nothing saved, nothing normalised
  EXPECT_TRUE(console.Messages().empty());
  EXPECT_FALSE(editor.SaveFile(console, dir.Root()));
  ASSERT_EQ(console.Messages().size(), 1u);
  EXPECT_TRUE(dir.Listing().empty());
  EXPECT_NE(console.Messages()[0].find(unwritable), std::string::npos) << console.Messages()[0];

  EXPECT_TRUE(editor.SaveFile(console, dir.Root()));
  EXPECT_EQ(console.Messages().size(), 1u);
  ResultTables want = Defaults();
  want.SD1 = {1, 0, 0}, want.SD2.RangeLow = 1;
  want.CH1 = {2, 1, 1}, want.CH2.RangeLow = 2;
  EXPECT_EQ(t, want);
  EXPECT_EQ(ReadWholeFile(dir.File("Mine.rst")), ResultTablesText(want));
  EXPECT_EQ(console.requests.size(), 3u);
  ExpectTableDialogs(console, true, dir.Root());
}

}  // namespace
}  // namespace vm
