#include "rules/result_table_file.h"

#include <gtest/gtest.h>

#include "tests/rules_fixture.h"
#include "tests/temp_dir.h"

#include <string>
#include <vector>

#include "core/result_tables.h"
#include "core/textfile.h"

namespace vm {
namespace {

using namespace std::string_literals;

const std::string kDefault = std::string(VELOMARK_DATA) + "/Default.rst";
const std::string kOval = std::string(VELOMARK_FIXTURES) + "/Oval.trk";

// The usual tables, as the shipped Default.rst must hold them.
ResultTables Usual() { return testing_support::UsualTables(); }

// The lines of the shipped file.
const std::vector<std::string>& UsualLines() {
  static const std::vector<std::string> lines = [] {
    std::vector<std::string> out;
    const std::string text = ReadWholeFile(kDefault).value_or("");
    for (size_t at = 0, end; (end = text.find("\r\n", at)) != std::string::npos; at = end + 2)
      out.push_back(text.substr(at, end - at));
    return out;
  }();
  return lines;
}

// The usual lines, the first `keep` of them (0: all), with 1-based `line` replaced by `with`,
// each ended by `eol`.
std::string UsualText(const std::string& eol = "\r\n", size_t keep = 0, size_t line = 0, const std::string& with = "") {
  std::string text;
  for (size_t i = 0; i < UsualLines().size() && (keep == 0 || i < keep); ++i)
    text += (i + 1 == line ? with : UsualLines()[i]) + eol;
  return text;
}

// Tables no file below holds: overlapping and gapped rows, odd dice counts, the 16-bit limits.
ResultTables Odd() {
  ResultTables t;
  t.SS1 = {3, -32768, 32767}, t.SS2 = {0, 5, 4};
  t.A1 = {0, 2, 9}, t.A2 = {0, 9, 12};
  t.TB1 = {-1, 2, 3}, t.TB2 = {0, 8, 12};
  t.CH1 = {7, 2, 6}, t.CH2 = {0, 6, 6}, t.CH3 = {0, 0, 0};
  t.CT1 = {32767, 1, 1}, t.CT2 = {0, 2, 9}, t.CT3 = {0, 10, 14};
  t.SD1 = {1, 1, 0}, t.SD2 = {0, 1, 4}, t.SD3 = {0, 5, 5}, t.SD4 = {0, 6, 6};
  t.W1 = {-32768, 2, 1}, t.W2 = {0, 5, 9}, t.W3 = {0, 10, 12};
  return t;
}

TEST(ResultTableFile, DefaultFileHoldsTheUsualTablesAndIsTheirText) {
  ASSERT_EQ(UsualLines().size(), 26u);
  EXPECT_EQ(ResultTablesText(Usual()), ReadWholeFile(kDefault));
  ResultTables t = Odd();
  std::optional<FileError> err = LoadResultTables(t, kDefault);
  ASSERT_FALSE(err) << err->Describe();
  EXPECT_EQ(t, Usual());
}

TEST(ResultTableFile, SaveNormalisesExactlyTheDisabledSuccessRows) {
  const struct {
    const char* name;
    TableId table;
    int row;
    int low, high;  // set before the save
    int savedLow;   // after it
  } cases[] = {
      {"SS1 disabled", TableId::StartSpeed, 0, 2, 1, 1},
      {"A1 disabled", TableId::Acceleration, 0, 5, 1, 1},
      {"TB1 disabled", TableId::TestBrakes, 0, -3, 1, 1},
      {"CH1 disabled", TableId::Chance, 0, 2, 1, 1},
      {"CT1 disabled", TableId::Collision, 0, 2, 1, 1},
      {"SD1 disabled at 0", TableId::SpinDamage, 0, 1, 0, 0},
      {"SD1 ending at 1 is not disabled", TableId::SpinDamage, 0, 0, 1, 0},
      {"SS1 ending at 0 is not disabled", TableId::StartSpeed, 0, 2, 0, 2},
      {"W1 has no switch", TableId::Weather, 0, 2, 1, 2},
      {"second rows are never touched", TableId::StartSpeed, 1, 2, 1, 2},
      {"SD2 ending at 0", TableId::SpinDamage, 1, 3, 0, 3},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ResultTables t = Usual();
    RowOf(t, c.table, c.row).RangeLow = c.low;
    RowOf(t, c.table, c.row).RangeHigh = c.high;
    ResultTables want = t;
    RowOf(want, c.table, c.row).RangeLow = c.savedLow;

    const testing_support::TempDir dir;
    ASSERT_FALSE(SaveResultTables(t, dir.File("t.rst")));
    EXPECT_EQ(t, want);  // the rows in memory are normalised too
    EXPECT_EQ(ReadWholeFile(dir.File("t.rst")), ResultTablesText(want));
  }
}

TEST(ResultTableFile, EmbeddedBlockReadsBackAndTheReaderStopsAfterItsLines) {
  ResultTables odd = Odd();
  odd.SS2.DiceCount = 5;  // not the file's: a second row's dice count is never written
  TextWriter w;
  w.Str("Race").Int(3);
  w.EndLine();
  WriteResultTableBlock(w, odd);
  // A line after the block that looks like one of its own.
  w.Str("ResultTable").Int(99);
  w.EndLine();

  TextReader in(w.Text(), "race.rac");
  EXPECT_EQ(in.ReadString("name"), "Race");
  EXPECT_EQ(in.ReadInt16("laps"), 3);
  ResultTables t;
  ReadResultTableBlock(in, t);
  odd.SS2.DiceCount = 0;
  EXPECT_EQ(t, odd);
  EXPECT_EQ(in.Line(), 2 + kResultTableBlockLines);
  EXPECT_EQ(in.ReadString("tag"), "ResultTable");
  EXPECT_EQ(in.ReadInt16("after"), 99);
  EXPECT_TRUE(in.AtEnd());
  EXPECT_EQ(ResultTablesText(t), ResultTablesText(Odd()));
}

TEST(ResultTableFile, AcceptsTheFormsInputAccepts) {
  std::string otherTags;
  for (size_t i = 0; i < UsualLines().size(); ++i)
    otherTags += (i % 2 ? "Anything" : "\"\"") + UsualLines()[i].substr(13) + "\r\n";
  const struct {
    const char* name;
    std::string text;
  } cases[] = {
      // Line ends, spacing and fields split over lines are the reader's, whatever it reads.
      {"tags are never compared", otherTags},
      {"content after the block", UsualText() + "\"ResultTable\",junk,,\r\n\x01\x02"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ResultTables t = Odd();
    const std::optional<FileError> err = LoadResultTablesText(t, c.text, "t.rst");
    ASSERT_FALSE(err) << err->Describe();
    EXPECT_EQ(t, Usual());
  }
}

TEST(ResultTableFile, HostileFilesAreRejectedWithCodeLineAndFieldAndChangeNothing) {
  const std::optional<std::string> oval = ReadWholeFile(kOval);
  ASSERT_TRUE(oval);
  const struct {
    const char* name;
    std::string text;
    FileErrorCode code;
    int line;
    std::string field;
  } cases[] = {
      {"empty", "", FileErrorCode::PastEnd, 1, "ResultTable"},
      {"blank lines only", "\r\n  \r\n", FileErrorCode::PastEnd, 3, "ResultTable"},
      {"one line", UsualText("\r\n", 1), FileErrorCode::PastEnd, 2, "ResultTable"},
      {"ends after Collision", UsualText("\r\n", 17), FileErrorCode::PastEnd, 18, "ResultTable"},
      {"one line short", UsualText("\r\n", 25), FileErrorCode::PastEnd, 26, "ResultTable"},
      {"ends inside line 2", UsualText("\r\n", 2, 2, R"("ResultTable",2)"), FileErrorCode::PastEnd, 2, "SS1.RangeHigh"},
      {"ends inside line 26 without a line end", UsualText().substr(0, UsualText().size() - 5), FileErrorCode::PastEnd,
       26, "W3.RangeHigh"},
      {"short line 5 runs into line 6", UsualText("\r\n", 0, 5, R"("ResultTable",2)"), FileErrorCode::TypeMismatch, 6,
       "A1.RangeHigh"},
      {"extra field on line 9", UsualText("\r\n", 0, 9, R"("ResultTable",10,12,3)"), FileErrorCode::TypeMismatch, 10,
       "CH1.DiceCount"},
      {"a word for a number", UsualText("\r\n", 0, 12, R"("ResultTable",7,nine)"), FileErrorCode::TypeMismatch, 12,
       "CH2.RangeHigh"},
      {"a quoted number", UsualText("\r\n", 0, 18, R"("ResultTable","1")"), FileErrorCode::TypeMismatch, 18,
       "SD1.DiceCount"},
      {"beyond 16 bits", UsualText("\r\n", 0, 20, R"("ResultTable",32768,4)"), FileErrorCode::OutOfRange, 20,
       "SD2.RangeLow"},
      {"below 16 bits", UsualText("\r\n", 0, 24, R"("ResultTable",2,-32769)"), FileErrorCode::OutOfRange, 24,
       "W1.RangeHigh"},
      {"an exponent too large", UsualText("\r\n", 0, 1, R"("ResultTable",1E6)"), FileErrorCode::OutOfRange, 1,
       "SS1.DiceCount"},
      {"an unclosed quote", UsualText("\r\n", 0, 1, R"("ResultTable,2)"), FileErrorCode::TypeMismatch, 1,
       "ResultTable"},
      {"a track file", *oval, FileErrorCode::TypeMismatch, 1, "SS1.DiceCount"},
      {"binary junk", "\x89PNG\r\n\x1a\n\0\0\0\rIHDR\0\0\x02\x80,\xff\xfe"s, FileErrorCode::TypeMismatch, 2,
       "SS1.DiceCount"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ResultTables t = Odd();
    const std::optional<FileError> err = LoadResultTablesText(t, c.text, "bad.rst");
    ASSERT_TRUE(err);
    EXPECT_EQ(err->Code, c.code) << err->Describe();
    EXPECT_EQ(err->Line, c.line) << err->Describe();
    EXPECT_EQ(err->Field, c.field) << err->Describe();
    EXPECT_EQ(err->File, "bad.rst");
    EXPECT_EQ(t, Odd());
  }
}

}  // namespace
}  // namespace vm
