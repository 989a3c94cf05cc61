// The circuits the game ships: each is rebuilt from its description to the same bytes, passes the
// track check against the shipped car pictures, and loads as the game loads it.
#include <gtest/gtest.h>

#include <string>

#include "core/curve_scan.h"
#include "core/textfile.h"
#include "core/track_check.h"
#include "core/track_file.h"
#include "tools/gif_writer.h"
#include "tools/track_picture.h"
#include "tools/trackgen.h"

namespace vm {
namespace {

const std::string kTracks = std::string(VELOMARK_DATA) + "/Tracks/";

struct Bundled {
  const char* Name;
  int Lanes, Length, RacingLine, Curves;
};

// Lengths in spaces; the racing line is the inside cells round the lap.
constexpr Bundled kBundled[] = {
    {"Tarnock", 4, 327, 286, 10},
    {"Kestrel", 5, 216, 192, 4},
    {"Porto", 3, 185, 157, 8},
    {"Brannock", 5, 402, 363, 9},
};

TEST(BundledTracks, EachIsRebuiltToTheSameBytesPassesTheCheckAndLoads) {
  for (const Bundled& b : kBundled) {
    SCOPED_TRACE(b.Name);
    const std::string base = kTracks + b.Name;
    const std::optional<std::string> description = ReadWholeFile(base + ".txt");
    ASSERT_TRUE(description);
    TrackDescription d;
    ASSERT_FALSE(ParseTrackDescription(*description, base + ".txt", d));
    Track built;
    ASSERT_FALSE(BuildTrack(d, built));
    EXPECT_EQ(TrackFileText(built), ReadWholeFile(base + ".trk"));
    EXPECT_EQ(GifBytes(DrawTrackPicture(built)), ReadWholeFile(base + ".gif"));

    Track loaded;
    ASSERT_FALSE(LoadTrack(loaded, base + ".trk"));
    for (const TrackFinding& f : CheckTrack(loaded, {std::string(VELOMARK_DATA) + "/Cars"})) ADD_FAILURE() << Describe(f);
    EXPECT_EQ(loaded.TrackLanes, b.Lanes);
    EXPECT_EQ(loaded.TrackLength, b.Length);
    EXPECT_EQ(loaded.RacingLineSpaces, b.RacingLine);
    EXPECT_EQ(CurveCount(loaded), b.Curves);
    // Every circuit has a pit lane whose ends stand on cells the cars can use.
    EXPECT_GT(loaded.PitEntrySpace, 0);
    EXPECT_GT(loaded.PitExitSpace, 0);
    EXPECT_GT(loaded.PitEntryLane, 0);
    EXPECT_GT(loaded.PitExitLane, 0);
  }
}

}  // namespace
}  // namespace vm
