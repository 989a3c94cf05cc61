#include "core/textfile.h"

#include <gtest/gtest.h>

#include "cars/car_file.h"
#include "cars/team_file.h"
#include "core/track_file.h"
#include "game/race_config.h"
#include "game/settings_file.h"
#include "rules/result_table_file.h"
#include "tests/temp_dir.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

#include <sys/stat.h>

namespace vm {
namespace {

namespace fs = std::filesystem;

using testing_support::TempDir;

std::string Slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Runs a read that must fail and hands back what it reported.
FileError ExpectFailure(const std::function<void()>& read) {
  try {
    read();
  } catch (const FileFormatError& e) {
    return e.Error();
  }
  ADD_FAILURE() << "the read did not fail";
  return {};
}

// ---------------------------------------------------------------------------------------------
// Writing and round trips

TEST(TextWriterTest, StatementsUseCommasQuotesAndCrLf) {
  TextWriter plain;
  plain.Str("Oval, the long one").Int(-3).Bool(true).Bool(false).Dbl(2.5).EndLine();
  plain.Str("").EndLine();
  plain.Int(7).EndLine();
  EXPECT_EQ(plain.Text(), "\"Oval, the long one\",-3,#TRUE#,#FALSE#,2.5\r\n\"\"\r\n7\r\n");

  // Quotes and line ends inside a string cannot break the field.
  TextWriter w;
  w.Str("say \"hi\"\r\nthere").Int(5).EndLine();
  EXPECT_EQ(w.Text(), "\"say 'hi'  there\",5\r\n");

  TextReader r(w.Text(), "quote.txt");
  EXPECT_EQ(r.ReadString("Text"), "say 'hi'  there");
  EXPECT_EQ(r.ReadInt16("Count"), 5);
  EXPECT_TRUE(r.AtEnd());
}

TEST(TextWriterTest, FormatDoubleIsShortAndPlainForOrdinaryValues) {
  const struct {
    double value;
    const char* text;
  } cases[] = {
      {0.0, "0"},
      {100.0, "100"},
      {-2.5, "-2.5"},
      {0.1, "0.1"},
      {123456789.125, "123456789.125"},
      {1e-300, "1e-300"},
      {std::numeric_limits<double>::quiet_NaN(), "0"},
      {std::numeric_limits<double>::infinity(), "0"},
      {-std::numeric_limits<double>::infinity(), "0"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(FormatDouble(c.value), c.text);
  }
}

TEST(TextFileTest, EveryFieldKindRoundTrips) {
  const std::vector<std::string> strings = {"Oval, the long one", "", "  padded  ", "a,b,,c", "#TRUE#"};
  const std::vector<long long> ints16 = {-32768, 32767, 0, -1};
  const std::vector<long long> ints32 = {INT32_MIN, INT32_MAX};
  const std::vector<double> doubles = {0.1,
                                       1 / 3.0,
                                       1e-300,
                                       -2.5e+20,
                                       123456789.125,
                                       -0.0,
                                       std::numeric_limits<double>::max(),
                                       std::numeric_limits<double>::min(),
                                       std::numeric_limits<double>::denorm_min(),
                                       -7.0};

  TextWriter w;
  for (const auto& s : strings) w.Str(s);
  w.EndLine();
  for (long long v : ints16) w.Int(v);
  for (long long v : ints32) w.Int(v);
  w.EndLine();
  for (double v : doubles) w.Dbl(v);
  w.EndLine();
  w.Bool(true).Bool(false).EndLine();

  TextReader r(w.Text(), "round.txt");
  for (const auto& s : strings) EXPECT_EQ(r.ReadString("Name"), s);
  for (long long v : ints16) EXPECT_EQ(r.ReadInt16("Small"), v);
  for (long long v : ints32) EXPECT_EQ(r.ReadInt32("Large"), v);
  for (double v : doubles) {
    const double back = r.ReadDouble("Value");
    EXPECT_EQ(std::bit_cast<std::uint64_t>(back), std::bit_cast<std::uint64_t>(v))
        << "wrote " << FormatDouble(v) << ", read back " << FormatDouble(back);
  }
  EXPECT_TRUE(r.ReadBool("On"));
  EXPECT_FALSE(r.ReadBool("Off"));
  EXPECT_EQ(r.Line(), 5);
  EXPECT_TRUE(r.AtEnd());
}

// ---------------------------------------------------------------------------------------------
// Reading

TEST(TextReaderTest, FieldsRunAcrossLineEndsInAnyLineEndStyle) {
  for (const std::string& eol : std::vector<std::string>{"\r\n", "\n", "\r"}) {
    SCOPED_TRACE(::testing::PrintToString(eol));
    const std::string text = "\"Oval\",600" + eol + eol + "  \t" + eol + "2.5,#FALSE#" + eol + "9";
    TextReader r(text, "eol.txt");
    EXPECT_EQ(r.ReadString("Name"), "Oval");
    EXPECT_EQ(r.ReadInt16("Length"), 600);
    EXPECT_EQ(r.Line(), 2);
    EXPECT_DOUBLE_EQ(r.ReadDouble("Scale"), 2.5);
    EXPECT_EQ(r.Line(), 4);  // the blank lines were passed over
    EXPECT_FALSE(r.ReadBool("Closed"));
    EXPECT_EQ(r.Line(), 5);
    EXPECT_EQ(r.ReadInt16("Lanes"), 9);
    EXPECT_TRUE(r.AtEnd());
  }
  TextReader marked("\xEF\xBB\xBF\"Oval\",600", "bom.txt");
  EXPECT_EQ(marked.ReadString("Name"), "Oval");
}

TEST(TextReaderTest, NumbersInEveryWrittenForm) {
  const struct {
    const char* text;
    double value;
  } cases[] = {
      {".5", 0.5},        {"-.25", -0.25},   {"1E+03", 1000.0}, {"1e3", 1000.0},  {"+7", 7.0},
      {"2.5D-1", 0.25},   {"2.5d+1", 25.0},  {"  42  ", 42.0},  {"-0.125", -0.125}, {"5.", 5.0},
      {"#TRUE#", -1.0},   {"#FALSE#", 0.0},  {"007", 7.0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    TextReader r(c.text, "n.txt");
    EXPECT_EQ(r.ReadDouble("Value"), c.value);
    EXPECT_TRUE(r.AtEnd());
  }
}

TEST(TextReaderTest, BlankFieldsReadAsZeroEmptyAndFalse) {
  TextReader ints("1,,3\r\n4,5,\r\n6", "ints.txt");
  for (int expected : {1, 0, 3, 4, 5, 0, 6}) EXPECT_EQ(ints.ReadInt16("N"), expected);
  EXPECT_TRUE(ints.AtEnd());

  TextReader strings("\"a\",,\"c\",\r\n\"d\"", "strings.txt");
  for (const char* expected : {"a", "", "c", "", "d"}) EXPECT_EQ(strings.ReadString("S"), expected);

  TextReader bools("#TRUE#,,#TRUE#,\r\n#TRUE#", "bools.txt");
  for (bool expected : {true, false, true, false, true}) EXPECT_EQ(bools.ReadBool("B"), expected);

  TextReader doubles(" , 2.5 ,", "doubles.txt");
  for (double expected : {0.0, 2.5, 0.0}) EXPECT_EQ(doubles.ReadDouble("D"), expected);
}

TEST(TextReaderTest, StringsKeepCommasAndInnerSpacesAndTrimBareOnes) {
  TextReader r("  \"a, b\"  , Oval Speedway  ,\"  x  \"junk,5", "s.txt");
  EXPECT_EQ(r.ReadString("A"), "a, b");
  EXPECT_EQ(r.ReadString("B"), "Oval Speedway");
  EXPECT_EQ(r.ReadString("C"), "  x  ");  // what follows the closing quote is dropped
  EXPECT_EQ(r.ReadInt16("D"), 5);
}

TEST(TextReaderTest, BooleansAcceptWordsOnlyWhenAllowed) {
  const struct {
    const char* text;
    bool allowWords;
    bool value;
  } accepted[] = {
      {"#TRUE#", false, true},  {"#FALSE#", false, false}, {"#true#", false, true}, {"-1", false, true},
      {"0", false, false},      {"1", false, true},        {"True", true, true},    {"False", true, false},
      {"TRUE", true, true},     {"\"True\"", true, true},  {"#TRUE#", true, true},
  };
  for (const auto& c : accepted) {
    SCOPED_TRACE(c.text);
    TextReader r(c.text, "b.txt");
    EXPECT_EQ(r.ReadBool("Flag", c.allowWords), c.value);
  }

  const struct {
    const char* text;
    bool allowWords;
  } rejected[] = {{"True", false}, {"False", false}, {"yes", false}, {"yes", true}, {"\"#TRUE#\"", false}};
  for (const auto& c : rejected) {
    SCOPED_TRACE(c.text);
    TextReader r(c.text, "b.txt");
    const FileError e = ExpectFailure([&] { r.ReadBool("Flag", c.allowWords); });
    EXPECT_EQ(e.Code, FileErrorCode::TypeMismatch);
    EXPECT_EQ(e.Field, "Flag");
  }
}

TEST(TextReaderTest, IntegerFieldsRoundHalfToEven) {
  const struct {
    const char* text;
    long long value;
  } cases[] = {
      {"2.5", 2},  {"3.5", 4},  {"-2.5", -2}, {"0.5", 0},         {"1.5", 2},           {"4.5", 4},
      {"2.49", 2}, {"2.51", 3}, {"-3.5", -4}, {"32766.5", 32766}, {"-32768.4", -32768}, {"-0.5", 0},
      {"1E+03", 1000},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    TextReader r(c.text, "i.txt");
    EXPECT_EQ(r.ReadInt16("Value"), c.value);
  }
}

TEST(TextReaderTest, IntegerRangesAreEnforcedAtBothEnds) {
  const struct {
    const char* text;
    bool wide;  // 32-bit field
  } cases[] = {
      {"32768", false}, {"-32769", false}, {"32767.5", false}, {"1E+05", false},
      {"2147483648", true}, {"-2147483649", true}, {"1e300", true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    TextReader r(c.text, "range.txt");
    const FileError e = ExpectFailure([&] { c.wide ? r.ReadInt32("Count") : r.ReadInt16("Count"); });
    EXPECT_EQ(e.Code, FileErrorCode::OutOfRange);
    EXPECT_EQ(e.Field, "Count");
  }
}

TEST(TextReaderTest, TextWhereANumberStandsIsATypeMismatch) {
  for (const char* text : {"abc", "1.2.3", "1e", "1e+", "--1", "+", ".", "-", "0x10", "nan", "inf", "12abc", "E5",
                           "1,5e"}) {
    SCOPED_TRACE(text);
    TextReader r(text, "bad.txt");
    const FileError e = ExpectFailure([&] {
      r.ReadDouble("Value");
      r.ReadDouble("Value");  // the second field of "1,5e"
    });
    EXPECT_EQ(e.Code, FileErrorCode::TypeMismatch);
  }
}

// The reader of a small record in which every case below goes wrong at a known place.
void ReadRecord(TextReader& r) {
  r.ReadString("Name");
  r.ReadInt16("Length");
  r.ReadDouble("Scale");
  r.ReadBool("Closed");
  r.ReadInt16("Lanes");
}

TEST(TextReaderTest, EveryFailureNamesFileLineFieldAndCode) {
  const struct {
    const char* label;
    const char* text;
    FileErrorCode code;
    int line;
    const char* field;
  } cases[] = {
      {"text for a number", "\"Oval\",fast\r\n1.5,#TRUE#,5\r\n", FileErrorCode::TypeMismatch, 1, "Length"},
      {"text on a later line", "\"Oval\",600\r\n\r\nfast,#TRUE#,5\r\n", FileErrorCode::TypeMismatch, 3, "Scale"},
      {"no closing quote", "\"Oval,600\r\n1.5,#TRUE#,5\r\n", FileErrorCode::TypeMismatch, 1, "Name"},
      {"no closing quote on line 2", "\r\n\"Oval\r\n", FileErrorCode::TypeMismatch, 2, "Name"},
      {"not a Boolean", "\"Oval\",600\n1.5,maybe,5\n", FileErrorCode::TypeMismatch, 2, "Closed"},
      {"16-bit overflow", "\"Oval\",32768\r\n1.5,#TRUE#,5\r\n", FileErrorCode::OutOfRange, 1, "Length"},
      {"overflow after a comma", "\"Oval\",600,1.5,#TRUE#,-40000\r\n", FileErrorCode::OutOfRange, 1, "Lanes"},
      {"overflow after blank lines", "\"Oval\"\r\n\r\n\r\n32768\r\n", FileErrorCode::OutOfRange, 4, "Length"},
      {"overflow on a later line", "\"Oval\"\n600\n1.5\n#TRUE#\n99999\n", FileErrorCode::OutOfRange, 5, "Lanes"},
      {"past the end", "\"Oval\",600\r\n1.5,#TRUE#\r\n", FileErrorCode::PastEnd, 3, "Lanes"},
      {"past the end after blank lines", "\"Oval\",600\r\n\r\n\r\n", FileErrorCode::PastEnd, 4, "Scale"},
      {"empty file", "", FileErrorCode::PastEnd, 1, "Name"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    TextReader r(c.text, "Tracks/Oval.trk");
    const FileError e = ExpectFailure([&] { ReadRecord(r); });
    EXPECT_EQ(e.Code, c.code);
    EXPECT_EQ(e.File, "Tracks/Oval.trk");
    EXPECT_EQ(e.Line, c.line);
    EXPECT_EQ(e.Field, c.field);
    EXPECT_FALSE(e.Message.empty());
  }
}

TEST(TextReaderTest, AtEndIgnoresTrailingBlankLines) {
  TextReader r("\r\n1\r\n\r\n  \r\n\t\n\r\n", "end.txt");
  EXPECT_FALSE(r.AtEnd());
  EXPECT_EQ(r.ReadInt16("N"), 1);
  EXPECT_TRUE(r.AtEnd());
  TextReader empty("", "empty.txt");
  EXPECT_TRUE(empty.AtEnd());
}

// ---------------------------------------------------------------------------------------------
// Whole files

TEST(TextFileTest, WriteFileAtomicWritesExactlyAndReplaces) {
  TempDir dir;
  const std::string path = dir.File("race.rac");
  static const char raw[] = "line one\r\nbinary \0\xff bytes\r\n and no end";
  const std::string first(raw, sizeof raw - 1);
  ASSERT_FALSE(WriteFileAtomic(path, first).has_value());
  EXPECT_EQ(Slurp(path), first);

  // A shorter file must not keep the tail of the longer one.
  ASSERT_FALSE(WriteFileAtomic(path, "short\r\n").has_value());
  EXPECT_EQ(Slurp(path), "short\r\n");

  ASSERT_FALSE(WriteFileAtomic(path, "").has_value());
  EXPECT_TRUE(fs::exists(path));
  EXPECT_EQ(fs::file_size(path), 0u);

  EXPECT_EQ(dir.Listing(), std::vector<std::string>{"race.rac"});
}

TEST(TextFileTest, FailedWritesLeaveNoTemporaries) {
  TempDir dir;
  const std::string missing = dir.File("NoSuchFolder/race.rac");
  const std::optional<FileError> e = WriteFileAtomic(missing, "x");
  ASSERT_TRUE(e.has_value());
  EXPECT_EQ(e->Code, FileErrorCode::WriteFailed);
  EXPECT_EQ(e->File, missing);
  EXPECT_FALSE(e->Message.empty());
  EXPECT_TRUE(dir.Listing().empty());

  // A folder where the file should go: the rename fails and the temporary must go too.
  fs::create_directory(dir.Path() / "Reports");
  const std::optional<FileError> onFolder = WriteFileAtomic(dir.File("Reports"), "x");
  ASSERT_TRUE(onFolder.has_value());
  EXPECT_EQ(onFolder->Code, FileErrorCode::WriteFailed);
  EXPECT_EQ(dir.Listing(), std::vector<std::string>{"Reports"});
  EXPECT_TRUE(fs::is_directory(dir.Path() / "Reports"));
}

TEST(TextFileTest, OnlyPlainFilesWithinTheLimitAreTakenIn) {
  TempDir dir;
  const std::string fifo = dir.File("pipe.trk");
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  fs::create_directory(dir.Path() / "Folder.trk");
  const std::string huge = dir.Add("huge.rac", "");
  fs::resize_file(huge, kMaxTextFileBytes + 1);  // sparse: costs no disk
  const std::string limit = dir.Add("limit.rac", "");
  fs::resize_file(limit, kMaxTextFileBytes);
  const struct {
    std::string path;
    std::optional<FileErrorCode> code;  // none: read whole
    std::string words;
  } cases[] = {
      {dir.Add("plain.rst", "\"ResultTable\",2\r\n"), std::nullopt, ""},
      {limit, std::nullopt, ""},
      {dir.File("absent.trk"), FileErrorCode::NotFound, "cannot be opened"},
      {dir.File("Folder.trk"), FileErrorCode::NotAFile, "a folder"},
      {fifo, FileErrorCode::NotAFile, "a pipe"},  // with no writer: must not wait for one
      {"/dev/zero", FileErrorCode::NotAFile, "a device"},
      {"/dev/null", FileErrorCode::NotAFile, "a device"},
      {huge, FileErrorCode::TooLarge, "larger than 16 MB"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path);
    std::string text = "kept";
    const std::optional<FileError> e = ReadTextFile(c.path, text);
    if (!c.code) {
      ASSERT_FALSE(e) << e->Describe();
      EXPECT_EQ(text.size(), fs::file_size(c.path));
      continue;
    }
    ASSERT_TRUE(e);
    EXPECT_EQ(e->Code, *c.code);
    EXPECT_EQ(e->File, c.path);
    EXPECT_NE(e->Message.find(c.words), std::string::npos) << e->Message;
    EXPECT_EQ(text, "kept");
    EXPECT_FALSE(ReadWholeFile(c.path));
  }
}

// Every loader of the game takes its file through the one guarded reader, and a file it refuses
// leaves what it fills exactly as it was.
TEST(TextFileTest, EveryLoaderRefusesHostileFilesAndKeepsWhatItHad) {
  TempDir dir;
  const std::string data = VELOMARK_DATA;
  auto rs = std::make_unique<RaceState>();
  ASSERT_FALSE(ReadSettings(*rs, data + "/VMR.ini"));
  ASSERT_FALSE(LoadCarFile(*rs, data + "/Default.crs", ""));
  ASSERT_FALSE(LoadResultTables(rs->Tables, data + "/Default.rst"));
  ASSERT_FALSE(LoadTrack(rs->track, data + "/Tracks/Tarnock.trk"));
  const auto before = std::make_unique<RaceState>(*rs);
  TrackHeader header;
  header.TrackName = "Kept";
  std::vector<std::string> teams = {"Kept"};
  const struct {
    const char* ext;
    bool anyText;  // a team file is names to the end: any text that parses is names
    std::function<std::optional<FileError>(const std::string&)> load;
  } loaders[] = {
      {".trk", false, [&](const std::string& p) { return LoadTrack(rs->track, p); }},
      {".trk", false, [&](const std::string& p) { return TrackPreview(p, header); }},
      {".crs", false, [&](const std::string& p) { return LoadCarFile(*rs, p, "", SetupPointsRule::Replace); }},
      {".tms", true, [&](const std::string& p) { return LoadTeamFile(teams, p); }},
      {".rst", false, [&](const std::string& p) { return LoadResultTables(rs->Tables, p); }},
      {".ini", false, [&](const std::string& p) { return ReadSettings(*rs, p); }},
      {".rac", false, [&](const std::string& p) { return ReadRaceConfig(*rs, p, "", nullptr); }},
  };
  const struct {
    const char* name;
    std::optional<FileErrorCode> code;  // none: refused for what it holds
    bool anyTextTakesIt;
  } files[] = {
      {"absent", FileErrorCode::NotFound, false},
      {"folder", FileErrorCode::NotAFile, false},
      {"huge", FileErrorCode::TooLarge, false},
      {"unclosed", FileErrorCode::TypeMismatch, false},
      {"empty", std::nullopt, true},
      {"binary", std::nullopt, true},
  };
  for (const char* ext : {".trk", ".crs", ".tms", ".rst", ".ini", ".rac"}) {
    const std::string e = ext;
    fs::create_directory(dir.Path() / ("folder" + e));
    fs::resize_file(dir.Add("huge" + e, ""), kMaxTextFileBytes + 1);
    dir.Add("unclosed" + e, "\"" + std::string(1000, 'x'));
    dir.Add("empty" + e, "");
    dir.Add("binary" + e, std::string("\x89PNG\r\n\x1a\n\0\0\0\rIHDR\0\xff\xfe", 19));
  }
  int index = 0;
  for (const auto& loader : loaders) {
    for (const auto& f : files) {
      SCOPED_TRACE(std::to_string(index) + " " + f.name + loader.ext);
      const std::optional<FileError> e = loader.load(dir.File(f.name + std::string(loader.ext)));
      if (loader.anyText && f.anyTextTakesIt) {
        teams = {"Kept"};
        continue;
      }
      ASSERT_TRUE(e);
      if (f.code) {
        EXPECT_EQ(e->Code, *f.code) << e->Describe();
      }
      EXPECT_TRUE(*rs == *before);
      EXPECT_EQ(header.TrackName, "Kept");
      EXPECT_EQ(teams, std::vector<std::string>{"Kept"});
    }
    ++index;
  }
}

}  // namespace
}  // namespace vm
