#include "tools/sample_tracks.h"

#include <cmath>
#include <numbers>

#include "tools/track_builder.h"

namespace vm {

namespace {

constexpr int kLanes = 3;
constexpr int kSpaces = 120;

// Places the cells on an 800 x 560 picture: a stadium with straights along the bottom and top.
// Lane 1 is the inside, lane 3 the outside.
void LayOut(Track& t) {
  const double cx1 = 220, cx2 = 580, cy = 280, inner = 170, laneWidth = 22;
  for (int space = 1; space <= kSpaces; ++space) {
    for (int lane = 1; lane <= kLanes; ++lane) {
      const double r = inner + lane * laneWidth;
      double x = 0, y = 0, heading = 0;  // heading in degrees, 0 = east, counter-clockwise
      if (space >= 101 || space <= 20) {  // bottom straight, running east
        const int k = space >= 101 ? space - 101 : space + 19;
        x = cx1 + (cx2 - cx1) * (k + 0.5) / 40.0;
        y = cy + r;
      } else if (space <= 40) {  // right-hand curve, bottom to top
        const double a = -std::numbers::pi / 2 + std::numbers::pi * (space - 20.5) / 20.0;
        x = cx2 + r * std::cos(a);
        y = cy - r * std::sin(a);
        heading = 90 + a * 180 / std::numbers::pi;
      } else if (space <= 80) {  // top straight, running west
        x = cx2 - (cx2 - cx1) * (space - 40.5) / 40.0;
        y = cy - r;
        heading = 180;
      } else {  // left-hand curve, top to bottom
        const double a = std::numbers::pi / 2 + std::numbers::pi * (space - 80.5) / 20.0;
        x = cx1 + r * std::cos(a);
        y = cy - r * std::sin(a);
        heading = 90 + a * 180 / std::numbers::pi;
      }
      t.CellX[space][lane] = static_cast<int>(std::lround(x));
      t.CellY[space][lane] = static_cast<int>(std::lround(y));
      // Eight headings, 1 = east, counter-clockwise.
      const int octant = static_cast<int>(std::lround(std::fmod(heading + 360, 360) / 45)) % 8;
      t.CellImage[space][lane] = std::to_string(octant + 1);
    }
  }
}

}  // namespace

Track SampleOval(const std::string& fileName) {
  TrackBuilder b(kLanes, kSpaces);
  b.Named("Velomark Oval", "Sample Circuit", "Bundled", "OVAL", 3.0)
      .Defaults(60, 40, 60, 180, 6)
      .RacingLine(1)
      .Curve(21, 40, {100, 120, 140})
      .Curve(81, 100, {100, 120, 140})
      .PitLane(112, 6)
      .Podium(330, 250);
  // The inside lane is shorter through the curves: every third index there is no place to stop.
  for (int space = 23; space <= 38; space += 3) b.Skip(space, 1).Skip(space + 60, 1);
  // Curve exits: open, but no slipstream yet.
  for (int lane = 1; lane <= kLanes; ++lane) b.Limit(41, lane, 500).Limit(101, lane, 500);
  // Each line lists every cell "Follow Apex" lands on: the step down to the inside lane is
  // sideways (the inside is shorter), and the step out to lane 3 lands on the next space.
  for (int apex = 1; apex <= 2; ++apex) {
    const int d = (apex - 1) * 60;
    b.Apex(apex, {{2, 21 + d}, {2, 22 + d}, {1, 22 + d}, {1, 24 + d}, {1, 25 + d}, {1, 27 + d}, {1, 28 + d},
                  {1, 30 + d}, {1, 31 + d}, {2, 33 + d}, {2, 34 + d}, {3, 35 + d}, {3, 36 + d}});
  }
  Track t = b.Build(fileName);
  LayOut(t);
  return t;
}

}  // namespace vm
