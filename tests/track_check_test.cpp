#include "core/track_check.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "temp_dir.h"
#include "tools/sample_tracks.h"

namespace vm {
namespace {

std::vector<std::string> Described(const std::vector<TrackFinding>& findings) {
  std::vector<std::string> out;
  for (const TrackFinding& f : findings) out.push_back(Describe(f));
  return out;
}

// Each case breaks one thing in the sample oval: 3 lanes ranked 1..3 from lane 1, curves over
// 21..40 and 81..100 at 100/120/140 with skips every third space on lane 1, exits at 41 and 101,
// apex 1 of 13 cells over the first curve, pit lane 112 -> 6, grid lanes 1 and 3. Each case
// finds exactly its fault, so the unbroken oval (the fixture Oval.trk) passes.
TEST(TrackCheck, BrokenOvalIsRejectedAtThePlace) {
  struct Case {
    const char* name;
    std::function<void(Track&)> breakIt;
    std::vector<std::string> findings;
  };
  const std::vector<Case> cases = {
      {"three skips in a row",
       [](Track& t) { t.CellSkip[21][1] = t.CellSkip[22][1] = true; },
       {"space 21, lane 1: three skip cells in a row"}},
      {"three skips over the line",
       [](Track& t) { t.CellSkip[119][2] = t.CellSkip[120][2] = t.CellSkip[1][2] = true; },
       {"space 119, lane 2: three skip cells in a row"}},
      {"no real cell at a space",
       [](Track& t) { t.CellSkip[60][1] = t.CellSkip[60][2] = t.CellSkip[60][3] = true; },
       {"space 60: no real cell: every lane is a skip cell or has no rank"}},
      {"rank gap in a curve",
       [](Track& t) { t.CellLaneRank[30][3] = 4; },
       {"space 30, lane 3: rank 4 but no lane here has rank 3"}},
      {"limit falls outward",
       [](Track& t) { t.CellSpeedLimit[30][3] = 110; },
       {"space 30, lane 3: curve limit 110 is below 120 on lane 2 inside it"}},
      {"exit limit of 1000",
       [](Track& t) { t.CellSpeedLimit[41][2] = 1000; },
       {"space 41, lane 2: limit 1000 is no curve (1..299), exit (300..998) or open straight (999)"}},
      {"apex mark wrong",
       [](Track& t) { t.CellApexMark[25][1] = kApexLast; },
       {"space 25, lane 1: apex 1, cell 5 of 13, has apex mark 3 instead of 2"}},
      {"apex mark no line lists",
       [](Track& t) { t.CellApexMark[50][2] = kApexFirst; },
       {"space 50, lane 2: apex mark 1 on a cell no apex line lists"}},
      {"apex cell off the track",
       [](Track& t) {
         t.ApexCells[2][13] = {4, 96};
       },
       {"space 96, lane 4: apex 2, cell 13 of 13, lies off the track",
        "space 96, lane 3: apex mark 3 on a cell no apex line lists"}},
      {"pit entry on a skip cell",
       [](Track& t) {
         t.PitEntrySpace = 60;
         t.CellSkip[60][1] = true;
       },
       {"space 60, lane 1: pit entry on a skip cell"}},
      {"pit exit on no cell",
       [](Track& t) { t.CellLaneRank[6][2] = 0; },
       {"space 6, lane 2: pit exit on a cell with no rank"}},
      {"grid too short",
       [](Track& t) { t.CellSpeedLimit[110][3] = 250; },
       {"space 110, lane 3: the grid has 10 straight rows behind the line; 40 cars need 20"}},
  };
  for (const Case& c : cases) {
    Track t = SampleOval();
    c.breakIt(t);
    EXPECT_EQ(Described(CheckTrack(t)), c.findings) << c.name;
  }
}

TEST(TrackCheck, EveryHeadingHasItsCarPicture) {
  testing_support::TempDir cars;
  // Red is complete, with names in another case; Blue lacks heading 2; Green is found by its
  // 0.gif alone and lacks heading 2 too; a model without Gifs holds no liveries.
  for (const std::string file :
       {"Red.bmp", "red0.GIF", "RED1.gif", "red2.gif", "Blue.bmp", "Blue1.gif", "Green0.gif", "Green1.gif"})
    cars.Add("Formula/Gifs/" + file);
  cars.Add("Empty/readme.txt");
  Track t = SampleOval();
  for (int space = 1; space <= t.TrackLength; ++space)
    for (int lane = 1; lane <= t.TrackLanes; ++lane) t.CellImage[space][lane] = "1";
  t.CellImage[23][1] = "3";  // a skip cell: no car is drawn there
  t.CellImage[50][2] = t.CellImage[70][1] = "2";
  EXPECT_EQ(Described(CheckTrack(t, {cars.Root()})),
            (std::vector<std::string>{"space 50, lane 2: no car picture Formula/Gifs/Blue2.gif",
                                      "space 50, lane 2: no car picture Formula/Gifs/Green2.gif"}));
  EXPECT_EQ(Described(CheckTrack(t, {cars.File("Missing")})),
            std::vector<std::string>{"no cars folder " + cars.File("Missing")});
}

}  // namespace
}  // namespace vm
