#include <gtest/gtest.h>

#include "tests/temp_dir.h"

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "core/textfile.h"
#include "core/track.h"
#include "core/track_file.h"
#include "tools/track_builder.h"

namespace vm {
namespace {

const std::string kFixtures = VELOMARK_FIXTURES;
const std::string kBrookfield = kFixtures + "/Brookfield.trk";  // every optional field, CR LF
const std::string kHarlow = kFixtures + "/Harlow.TRK";          // ends after the cells, LF
const std::string kQuarry = kFixtures + "/Quarry.trk";          // ends after the podium

// Tracks are a few hundred kilobytes: keep them off the stack.
std::unique_ptr<Track> NewTrack() { return std::make_unique<Track>(); }
std::unique_ptr<Track> NewTrack(const Track& t) { return std::make_unique<Track>(t); }

// Equality of two tracks; on a difference, whether their file forms differ too.
::testing::AssertionResult SameTrack(const Track& a, const Track& b) {
  if (a == b) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "the tracks differ; their file forms "
                                       << (TrackFileText(a) == TrackFileText(b) ? "agree" : "differ too");
}

void ExpectApex(const Track& t, int apex, std::vector<ApexCell> cells) {
  cells.resize(kMaxApexCells);
  EXPECT_EQ(std::vector<ApexCell>(t.ApexCells[apex].begin() + 1, t.ApexCells[apex].begin() + 1 + kMaxApexCells), cells)
      << "apex " << apex;
}

// An unread cell is a skip cell of rank 0 and limit 0 at (0, 0).
void ExpectUnreadCell(const Track& t, int s, int l) {
  EXPECT_EQ(std::tuple(t.CellSkip[s][l], t.CellLaneRank[s][l], t.CellSpeedLimit[s][l], t.CellDrySpeedLimit[s][l],
                       t.CellX[s][l], t.CellY[s][l], t.CellApexMark[s][l]),
            std::tuple(true, 0, 0, 0, 0, 0, 0))
      << s << "/" << l;
}

// The header fields as a tuple, so that one comparison names every difference.
auto Header(const TrackHeader& h) {
  return std::tuple(h.TrackDistanceMiles, h.TrackName, h.TrackPlace1, h.TrackPlace2, h.TrackTag, h.DefaultStartSpeed,
                    h.DefaultAcceleration, h.DefaultDeceleration, h.DefaultTopSpeed, h.DefaultWearPerLap, h.TrackLanes,
                    h.RacingLineSpaces);
}
const TrackHeader kHarlowHeader = {0.2, "Harlow Bend", "Harlow", "Essex", "HRL   ", 100, 40, 40, 160, 2, 2, 8};

// The rest of the header and what is derived from it.
struct Rest {
  int spaces, length;
  double podiumLeft;
  int podiumTop, pitEntry, pitExit, pitExitLane, pitExitLaneAlt, pitEntryLane;
  std::string car;
  int wear;
  bool operator==(const Rest&) const = default;
  friend std::ostream& operator<<(std::ostream& os, const Rest& r) {
    return os << r.spaces << "/" << r.length << " podium " << r.podiumLeft << "," << r.podiumTop << " pit "
              << r.pitEntry << "," << r.pitExit << " lanes " << r.pitExitLane << "," << r.pitExitLaneAlt << ","
              << r.pitEntryLane << " car '" << r.car << "' wear " << r.wear;
  }
};
Rest RestOf(const Track& t) {
  return {t.TrackSpaces, t.TrackLength,    t.PodiumLeft,   t.PodiumTop,           t.PitEntrySpace,  t.PitExitSpace,
          t.PitExitLane, t.PitExitLaneAlt, t.PitEntryLane, t.TrackDefaultCarFile, t.TrackWearFactor};
}

// SpaceCurveNumber for spaces 1..n (the track's length unless given), one digit a space.
std::string CurveDigits(const Track& t, int spaces = 0) {
  std::string out;
  for (int space = 1; space <= (spaces ? spaces : t.TrackLength); ++space) out += std::to_string(t.SpaceCurveNumber[space]);
  return out;
}

std::unique_ptr<Track> Loaded(const std::string& file) {
  auto t = NewTrack();
  std::optional<FileError> err = LoadTrack(*t, file);
  EXPECT_FALSE(err.has_value()) << (err ? err->Describe() : "");
  return t;
}

// A one-lane, two-space track with every field; cases below cut or spoil single lines of it.
const std::vector<std::string> kMini = {
    R"(0.05,"Mini","Upton","Downs","MINI")",  // 1
    "100,40,40,160,2",                        // 2
    "1,2,2",                                  // 3 lanes, racing line, spaces
    R"(10,10,0,999,#FALSE#,1," ")",           // 4 space 1
    R"(20,10,0,150,#FALSE#,1,"E")",           // 5 space 2
    "1",                                      // 6 apex count
    "1,2,1,1,1,2",                            // 7 apex 1: (1,1) (1,2)
    "0,0",                                    // 8 podium
    "1,2",                                    // 9 pit entry, exit
    R"(" ")",                                 // 10 default car: none
    "0,0,0,0,0",                              // 11 reserved
    "1",                                      // 12 wear factor
};

// kMini with line `line` (1-based) replaced, cut after `keep` lines (0: all).
std::string MiniText(int line = 0, const std::string& replacement = "", size_t keep = 0) {
  std::string text;
  for (size_t i = 0; i < kMini.size() && (keep == 0 || i < keep); ++i)
    text += (static_cast<int>(i) + 1 == line ? replacement : kMini[i]) + "\r\n";
  return text;
}

// ---------------------------------------------------------------------------------------------
// The hand-written fixtures

TEST(TrackFileLoad, FullFixtureHeaderAndOptionalFields) {
  auto t = Loaded(kBrookfield);
  // The ten-character tag is cut to six; wear factor 2.5 rounds half to even. Ranks 1, 2, 3 from
  // lane 1 out at both pit spaces: the racing line is the lowest lane.
  EXPECT_EQ(Header(*t),
            Header({0.25, "Brookfield Park", "Brookfield", "Ontario", "BROOKF", 120, 40, 60, 180, 3, 3, 9}));
  EXPECT_EQ(RestOf(*t), (Rest{10, 10, 12.5, 340, 8, 2, 1, 3, 1, "BrookStock", 2}));
  EXPECT_EQ(t->TrackFile, kBrookfield);  // the picture, default car and titles follow from it and the header
}

TEST(TrackFileLoad, FullFixtureCellsApexesAndCurves) {
  auto t = Loaded(kBrookfield);
  // A few cells checked field by field against the file.
  EXPECT_EQ(std::tuple(t->CellX[10][3], t->CellY[10][3], t->CellX[4][2], t->CellY[4][2]),
            std::tuple(-10, 250, 160, 295));
  EXPECT_EQ(std::tuple(t->CellSpeedLimit[4][1], t->CellDrySpeedLimit[4][1], t->CellSpeedLimit[5][1],
                       t->CellDrySpeedLimit[5][1]),
            std::tuple(120, 120, 90, 90));
  EXPECT_EQ(std::tuple(t->CellSkip[5][1], t->CellSkip[5][2], t->CellLaneRank[7][3], t->CellLaneRank[7][1]),
            std::tuple(true, false, 3, 1));
  EXPECT_EQ(std::tuple(t->CellImage[4][1], t->CellImage[5][1], t->CellImage[10][3]), std::tuple("NE", " ", "S"));
  EXPECT_EQ(std::tuple(t->CellApexMark[3][3], t->CellApexMark[4][2], t->CellApexMark[6][1], t->CellApexMark[9][2],
                       t->CellApexMark[10][1], t->CellApexMark[5][2]),
            std::tuple(kApexFirst, kApexInside, kApexLast, kApexFirst, kApexLast, 0));

  // Blocks land at their own numbers, not in file order.
  EXPECT_EQ(t->ApexCount, 2);
  ExpectApex(*t, 1, {});
  ExpectApex(*t, 2, {{3, 3}, {2, 4}, {1, 6}});
  ExpectApex(*t, 5, {{2, 9}, {1, 10}});

  // Lanes 4 and 5 and everything past space 10 are unread.
  for (int space : {1, 5, 10})
    for (int lane : {4, 5}) ExpectUnreadCell(*t, space, lane);
  for (int lane = 1; lane <= 3; ++lane) ExpectUnreadCell(*t, 11, lane);
  ExpectUnreadCell(*t, 600, 1);
  EXPECT_EQ(t->CellImage[1][4], " ");

  // Curves at 4..6 (space 5 holds on the skip cell's neighbours) and at 10.
  EXPECT_EQ(std::tuple(CurveDigits(*t), CurveCount(*t)), std::tuple("0001110002", 2));
}

// What the early ends leave at their defaults is settled on the one-lane file below; the header is
// the preview's.
TEST(TrackFileLoad, FixturesEndingEarlyReadTheirCellsAndCurves) {
  auto h = Loaded(kHarlow);  // LF line ends, one header field a line, ends after the cells
  EXPECT_EQ(std::tuple(h->TrackLength, h->CellX[8][2], h->CellSkip[8][2], h->CellSpeedLimit[8][2], h->CellLaneRank[1][2]),
            std::tuple(8, 40, true, 130, 1));
  ExpectUnreadCell(*h, 1, 3);
  // The curve over the line is two curves; the 300 cells at space 4 are no curve.
  EXPECT_EQ(CurveDigits(*h), "10000002");

  auto q = Loaded(kQuarry);  // ends after the podium
  // Space 4's only curve cell is a skip cell and space 5 is exactly 300: one curve, 2..3.
  EXPECT_EQ(std::tuple(CurveDigits(*q), CurveCount(*q)), std::tuple("011000", 1));
}

TEST(TrackFilePreview, ReadsOnlyTheHeader) {
  TrackHeader h;
  ASSERT_FALSE(TrackPreview(kHarlow, h).has_value());
  EXPECT_EQ(Header(h), Header(kHarlowHeader));

  // A bad cell further on is none of the chooser's business.
  const testing_support::TempDir dir;
  TrackHeader m;
  ASSERT_FALSE(TrackPreview(dir.Add("preview.trk", MiniText(5, "rubbish,here")), m).has_value());
  EXPECT_EQ(std::tuple(m.TrackName, m.TrackTag), std::tuple("Mini", "MINI  "));
}

// ---------------------------------------------------------------------------------------------
// Early ends

TEST(TrackFileLoad, EarlyEndsKeepTheClearedValuesAndDefaults) {
  struct Case {
    const char* name;
    std::string text;
    int apexCount, entry, exit, wear;
    bool secondCellRead;
  };
  const std::string upTo11 = MiniText(0, "", 11);
  const std::vector<Case> cases = {
      {"after the header", MiniText(0, "", 3), 0, 0, 0, 1, false},
      {"after the first cell", MiniText(0, "", 4), 0, 0, 0, 1, false},
      {"after the cells", MiniText(0, "", 5), 0, 0, 0, 1, true},
      {"after the apexes", MiniText(0, "", 7), 1, 0, 0, 1, true},
      {"after the podium", MiniText(0, "", 8), 1, 0, 0, 1, true},
      {"after the pit spaces", MiniText(0, "", 9), 1, 1, 2, 1, true},
      {"after the reserved numbers", upTo11, 1, 1, 2, 1, true},
      {"with the wear factor", upTo11 + "3", 1, 1, 2, 3, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    auto t = NewTrack();
    std::optional<FileError> err = LoadTrackText(*t, c.text, "Tracks/Mini.trk");
    ASSERT_FALSE(err.has_value()) << err->Describe();
    EXPECT_EQ(std::tuple(t->TrackName, t->TrackLength, t->ApexCount, t->PitEntrySpace, t->PitExitSpace,
                         t->TrackWearFactor, t->TrackDefaultCarFile),
              std::tuple("Mini", 2, c.apexCount, c.entry, c.exit, c.wear, ""));
    EXPECT_EQ(t->SpaceCurveNumber[2], c.secondCellRead ? 1 : 0);
    if (c.secondCellRead) EXPECT_EQ(t->CellSpeedLimit[2][1], 150);
    else ExpectUnreadCell(*t, 2, 1);
  }
}

TEST(TrackFileLoad, FileEndingInsideACellRecordKeepsWhatItRead) {
  auto t = NewTrack();
  ASSERT_FALSE(LoadTrackText(*t, MiniText(0, "", 4) + "20,11,0", "Mini.trk").has_value());
  EXPECT_EQ(std::tuple(t->CellX[2][1], t->CellY[2][1], t->CellSpeedLimit[2][1], t->CellSkip[2][1],
                       t->CellLaneRank[2][1], t->CellSpeedLimit[1][1]),
            std::tuple(20, 11, 0, true, 0, 999));
}

TEST(TrackFileLoad, FileEndingInsideTheHeaderFails) {
  struct Case {
    std::string text;
    const char* field;
  };
  const std::vector<Case> cases = {
      {"", "TrackDistanceMiles"},
      {"\r\n\r\n", "TrackDistanceMiles"},
      {R"(0.05,"Mini","Upton")", "TrackPlace2"},
      {kMini[0] + "\r\n" + kMini[1] + "\r\n1,2", "TrackSpaces"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.field);
    auto t = NewTrack();
    std::optional<FileError> err = LoadTrackText(*t, c.text, "Short.trk");
    ASSERT_TRUE(err.has_value());
    EXPECT_EQ(std::tuple(err->Code, err->Field, err->File), std::tuple(FileErrorCode::PastEnd, c.field, "Short.trk"));
    EXPECT_FALSE(t->EverLoaded);
  }
}

TEST(TrackFileLoad, WearFactorDefaultsRoundsHalfToEvenAndSurvivesARoundTrip) {
  const std::vector<std::pair<std::string, int>> cases = {
      {"2.5", 2}, {"3.5", 4}, {"4.5", 4},  {"2.4", 2}, {"2.6", 3}, {"7", 7},
      {"0", 1},   {"-2", 1},  {"-0.5", 1}, {"", 1},    {"1.5", 2}, {"0.5", 1}, {"0.3", 1},
  };
  for (const auto& [text, want] : cases) {
    auto t = NewTrack();
    std::optional<FileError> err = LoadTrackText(*t, MiniText(12, text), "Mini.trk");
    ASSERT_FALSE(err.has_value()) << text << ": " << err->Describe();
    EXPECT_EQ(t->TrackWearFactor, want) << "factor \"" << text << "\"";
    auto again = NewTrack();
    ASSERT_FALSE(LoadTrackText(*again, TrackFileText(*t), "Mini.trk"));
    EXPECT_EQ(again->TrackWearFactor, want) << "factor \"" << text << "\" written back";
  }
}

// ---------------------------------------------------------------------------------------------
// Hostile files

TEST(TrackFileLoad, BadFilesNameTheFieldAndKeepTheTrack) {
  struct Case {
    const char* name;
    int line;
    std::string replacement;
    FileErrorCode code;
    const char* field;
  };
  using C = FileErrorCode;
  const std::string sixteenCells = "1,16" + [] {
    std::string s;
    for (int i = 0; i < 16; ++i) s += ",1,1";
    return s;
  }();
  const std::vector<Case> cases = {
      {"601 spaces", 3, "1,2,601", C::OutOfRange, "TrackSpaces"},
      {"no spaces", 3, "1,2,0", C::OutOfRange, "TrackSpaces"},
      {"six lanes", 3, "6,2,2", C::OutOfRange, "TrackLanes"},
      {"no lanes", 3, "0,2,2", C::OutOfRange, "TrackLanes"},
      {"negative racing line", 3, "1,-1,2", C::OutOfRange, "RacingLineSpaces"},
      {"text for a limit", 5, R"(20,10,0,fast,#FALSE#,1,"E")", C::TypeMismatch, "CellSpeedLimit"},
      {"quoted number", 4, R"("10",10,0,999,#FALSE#,1," ")", C::TypeMismatch, "CellX"},
      {"word for a Boolean", 5, R"(20,10,0,150,maybe,1,"E")", C::TypeMismatch, "CellSkip"},
      {"limit beyond 16 bits", 5, R"(20,10,0,40000,#FALSE#,1,"E")", C::OutOfRange, "CellSpeedLimit"},
      {"X beyond 32 bits", 4, R"(3000000000,10,0,999,#FALSE#,1," ")", C::OutOfRange, "CellX"},
      {"unclosed image", 5, R"(20,10,0,150,#FALSE#,1,"E)", C::TypeMismatch, "CellImage"},
      {"negative apex count", 6, "-1", C::OutOfRange, "ApexCount"},
      {"31 apexes", 6, "31", C::OutOfRange, "ApexCount"},
      {"apex number 0", 7, "0,2,1,1,1,2", C::OutOfRange, "apex number"},
      {"apex number 31", 7, "31,2,1,1,1,2", C::OutOfRange, "apex number"},
      {"negative apex cell count", 7, "1,-1,1,1", C::OutOfRange, "apex cell count"},
      {"16 apex cells", 7, sixteenCells, C::OutOfRange, "apex cell count"},
      {"apex lane 6", 7, "1,2,6,1,1,2", C::OutOfRange, "apex lane"},
      {"apex space 601", 7, "1,2,1,601,1,2", C::OutOfRange, "apex space"},
      {"podium as text", 8, R"("left",0)", C::TypeMismatch, "PodiumLeft"},
      {"pit entry beyond the track", 9, "3,2", C::OutOfRange, "PitEntrySpace"},
      {"pit exit beyond the track", 9, "1,3", C::OutOfRange, "PitExitSpace"},
      {"negative pit entry", 9, "-1,2", C::OutOfRange, "PitEntrySpace"},
      {"text in the reserved numbers", 11, "0,0,x,0,0", C::TypeMismatch, "reserved"},
      {"text for the wear factor", 12, "heavy", C::TypeMismatch, "TrackWearFactor"},
      {"huge wear factor", 12, "1E+300", C::OutOfRange, "TrackWearFactor"},
      {"text for the miles", 1, R"(far,"Mini","Upton","Downs","MINI")", C::TypeMismatch, "TrackDistanceMiles"},
      {"start speed beyond 16 bits", 2, "100000,40,40,160,2", C::OutOfRange, "default start speed"},
  };
  const auto good = Loaded(kBrookfield);
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    auto t = NewTrack(*good);
    std::optional<FileError> err = LoadTrackText(*t, MiniText(c.line, c.replacement), "Tracks/Bad.trk");
    ASSERT_TRUE(err.has_value());
    EXPECT_EQ(std::tuple(err->Code, err->File, err->Line, err->Field), std::tuple(c.code, "Tracks/Bad.trk", c.line, c.field))
        << err->Describe();
    EXPECT_TRUE(SameTrack(*t, *good));
  }
}

TEST(TrackFileLoad, BoundaryCountsAreAccepted) {
  // 30 apex blocks, the last numbered 30 with 15 cells; a track of exactly 600 spaces.
  std::string apexes = "30\r\n";
  for (int apex = 1; apex <= 29; ++apex) apexes += std::to_string(apex) + ",1,1,1\r\n";
  apexes += "30,15";
  for (int k = 1; k <= 15; ++k) apexes += ",1," + std::to_string(k);
  apexes += "\r\n";
  std::string text = kMini[0] + "\r\n" + kMini[1] + "\r\n1,600,600\r\n";
  for (int space = 1; space <= 600; ++space)
    text += std::to_string(space) + ",0,0," + (space == 600 ? "100" : "999") + R"(,#FALSE#,1," ")" + "\r\n";
  text += apexes + "0,0\r\n600,1\r\n";
  auto t = NewTrack();
  std::optional<FileError> err = LoadTrackText(*t, text, "Big.trk");
  ASSERT_FALSE(err.has_value()) << err->Describe();
  EXPECT_EQ(std::tuple(t->TrackLength, t->CellX[600][1], t->SpaceCurveNumber[600], t->ApexCount, t->ApexCells[29][1].Lane,
                       t->ApexCells[30][15].Space, t->PitEntrySpace, t->PitExitSpace),
            std::tuple(600, 600, 1, 30, 1, 15, 600, 1));
}

TEST(TrackFileLoad, GarbageNeverCrashesAndKeepsTheTrack) {
  // Binary files, empty ones and unclosed quotes go to every loader alike; nan and inf are no
  // numbers to the reader.
  std::vector<std::string> garbage = {
      "1E+999999",
      "123456789012345678901234567890123456789",
      std::string(100000, '9'),
      std::string(100000, ','),
      std::string(5000, '"'),
      "#TRUE#,#TRUE#,#TRUE#,#TRUE#,#TRUE#,#TRUE#,#TRUE#,#TRUE#,#TRUE#,#TRUE#,#TRUE#,#TRUE#,#TRUE#",
      "1,\"a\",\"b\",\"c\",\"d\",1,1,1,1,1,5,1,-32769",
      "1,\"a\",\"b\",\"c\",\"d\",1,1,1,1,1,5,1,1e308",
  };
  const auto good = Loaded(kBrookfield);
  for (size_t i = 0; i < garbage.size(); ++i) {
    auto t = NewTrack(*good);
    std::optional<FileError> err = LoadTrackText(*t, garbage[i], "Junk.trk");
    EXPECT_TRUE(err.has_value()) << "case " << i;
    EXPECT_TRUE(SameTrack(*t, *good)) << "case " << i;
  }

  // Random damage to a good file: any outcome but a crash, and a failure changes nothing.
  std::mt19937 rng(20240611);
  const std::string base = MiniText();
  const std::string alphabet = "0123456789-.,\"#\r\n ETRUFALS";
  for (int round = 0; round < 400; ++round) {
    std::string text = base;
    const int edits = 1 + static_cast<int>(rng() % 4);
    for (int e = 0; e < edits && !text.empty(); ++e) {
      const size_t at = rng() % text.size();
      switch (rng() % 3) {
        case 0: text.erase(at, 1 + rng() % 8); break;
        case 1: text[at] = alphabet[rng() % alphabet.size()]; break;
        default: text.insert(at, 1, static_cast<char>(rng() % 256)); break;
      }
    }
    auto t = NewTrack(*good);
    if (LoadTrackText(*t, text, "Mutant.trk")) {
      EXPECT_TRUE(SameTrack(*t, *good)) << "round " << round;
    } else {
      EXPECT_TRUE(t->TrackLength >= 1 && t->TrackLength <= kMaxSpaces && t->TrackLanes >= 1 &&
                  t->TrackLanes <= kMaxLanes)
          << "round " << round;
    }
  }
}

// ---------------------------------------------------------------------------------------------
// Clearing between loads

TEST(TrackFileLoad, FirstLoadClearsEverything) {
  auto t = NewTrack();
  t->CellOccupant[3][2] = 7;
  t->CellOccupant[600][6] = 9;
  t->ApexCells[12][4] = {2, 40};
  t->CellImage[100][4] = "W";
  t->CellX[100][4] = 55;
  t->ApexCount = 12;
  ASSERT_FALSE(LoadTrackText(*t, MiniText(), "Mini.trk").has_value());
  EXPECT_EQ(std::tuple(t->CellOccupant[3][2], t->CellOccupant[600][6], t->ApexCount, t->CellImage[100][4],
                       t->CellImage[0][0], t->CellX[100][4], t->EverLoaded),
            std::tuple(0, 0, 1, " ", " ", 0, true));
  ExpectApex(*t, 12, {});
  ExpectApex(*t, 1, {{1, 1}, {1, 2}});
}

TEST(TrackFileLoad, LaterLoadsClearTheLanesAndTheOldApexLines) {
  auto t = Loaded(kBrookfield);
  t->CellOccupant[9][2] = 4;  // a car standing there; only the first load empties the grid
  // The new file has one apex line of one cell, numbered as one of Brookfield's.
  ASSERT_FALSE(LoadTrackText(*t, MiniText(7, "5,1,1,2"), "Mini.trk").has_value());
  ExpectApex(*t, 5, {{1, 2}});
  ExpectApex(*t, 2, {});
  ExpectApex(*t, 1, {});
  EXPECT_EQ(t->CellOccupant[9][2], 4);
  // The lanes themselves are cleared: Brookfield's cells beyond Mini's are unread cells now.
  for (int space : {3, 5, 10}) ExpectUnreadCell(*t, space, 1);
  for (int space : {1, 4, 10})
    for (int lane : {2, 3}) ExpectUnreadCell(*t, space, lane);
  EXPECT_EQ(t->CellApexMark[6][1], 0);
  // Cell pictures are only reset on the first load; space 1's is read from the new file.
  EXPECT_EQ(std::tuple(t->CellImage[4][2], t->CellImage[3][1], t->CellImage[1][1]), std::tuple("NE", "E", " "));
  // Brookfield's optional fields do not leak into a file that lacks them.
  ASSERT_FALSE(LoadTrackText(*t, MiniText(0, "", 5), "Mini.trk").has_value());
  EXPECT_EQ(std::tuple(t->PitEntrySpace, t->PitExitSpace, t->TrackDefaultCarFile, t->TrackWearFactor, t->PodiumTop),
            std::tuple(0, 0, "", 1, 0));
  EXPECT_EQ(CurveDigits(*t, 10), "0100000000");  // over Brookfield's ten spaces
}

// ---------------------------------------------------------------------------------------------
// Writing

Track RoundTripTrack(const std::string& fileName) {
  return TrackBuilder(3, 24)
      .Named("Round Trip Raceway", "Lakeside", "Old County", "RTRIPWAY", 0.6)
      .Defaults(140, 60, 80, 200, 4)
      .RacingLine(3)
      .Curve(5, 8, {80, 100, 120})
      .Curve(22, 2, {150, 170, 190})
      .Skip(6, 7, 1)
      .Rank(12, 2, 1)
      .Rank(13, 1, 0)
      .Limit(15, 2, 300)
      .Apex(1, {{3, 4}, {2, 5}, {1, 6}, {1, 7}, {2, 8}})
      .Apex(4, {{3, 22}, {3, 1}})
      .PitLane(20, 3)
      .DefaultCar("Lakeside Stock")
      .WearFactor(3)
      .Podium(10.25, -40)
      .Image(5, 1, "NE")
      .Image(24, 3, "SW")
      .Build(fileName);
}

TEST(TrackFileWrite, SavedFileLoadsBackAndWritesTheSameBytes) {
  const testing_support::TempDir dir;
  const std::string file = dir.File("Lakeside.trk");
  const auto built = NewTrack(RoundTripTrack(file));
  ASSERT_FALSE(SaveTrack(*built, file).has_value());
  const std::string text = ReadWholeFile(file).value();
  auto t = NewTrack();
  ASSERT_FALSE(LoadTrack(*t, file).has_value());
  EXPECT_TRUE(SameTrack(*t, *built));
  EXPECT_EQ(TrackFileText(*t), text);

  // Form: CR LF lines, quoted strings, Booleans as words, the header first.
  EXPECT_EQ(text.rfind(R"(0.6,"Round Trip Raceway","Lakeside","Old County","RTRIPW")" "\r\n", 0), 0u);
  EXPECT_NE(text.find("\r\n140,60,80,200,4\r\n3,24,24\r\n"), std::string::npos);
  EXPECT_NE(text.find(R"(,80,#FALSE#,3,"NE")"), std::string::npos);
  EXPECT_NE(text.find("#TRUE#"), std::string::npos);
  EXPECT_NE(text.find("\r\n2\r\n1,5,3,4,2,5,1,6,1,7,2,8\r\n4,2,3,22,3,1\r\n10.25,-40\r\n20,3\r\n"
                      "\"Lakeside Stock\"\r\n0,0,0,0,0\r\n3\r\n"),
            std::string::npos);
  for (size_t i = text.find('\n'); i != std::string::npos; i = text.find('\n', i + 1))
    ASSERT_EQ(text[i - 1], '\r') << "bare LF at " << i;
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 3 + 3 * 24 + 1 + 2 + 5);

  // The dry limit is written, not the weather's.
  t->CellSpeedLimit[5][1] = 60;
  EXPECT_EQ(TrackFileText(*t), text);

  std::optional<FileError> bad = SaveTrack(*built, dir.File("no_such_folder/X.trk"));
  ASSERT_TRUE(bad.has_value());
  EXPECT_EQ(bad->Code, FileErrorCode::WriteFailed);
}

}  // namespace
}  // namespace vm
