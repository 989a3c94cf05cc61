// Generates a track from a short circuit description: straights and curves in running order,
// the header, the pit lane and the start line. Geometry decides the cells: the outermost lane of
// a curve has a cell at every index, the inner lanes are shorter and get skip cells.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/textfile.h"
#include "core/track.h"

namespace vm {

// Picture units per space along the outermost lane and per lane across the road.
inline constexpr double kGenSpacePitch = 14;
inline constexpr double kGenLaneWidth = 14;
inline constexpr int kGenMinMargin = 40;
// The grid lines up on the straight before the line: it needs this many spaces.
inline constexpr int kGenGridSpaces = 21;
inline constexpr int kGenDefaultExitLimit = 500;

enum class SegmentKind { Straight, Left, Right };

struct SegmentDescription {
  SegmentKind Kind = SegmentKind::Straight;
  int Spaces = 0;            // a straight's length; a curve's outermost lane when given instead of a radius
  double Angle = 0;          // degrees turned, curves only
  double Radius = 0;         // radius of the inside lane's centre in picture units; 0 when Spaces sizes it
  std::vector<int> Limits;   // one per lane, inside to outside
  bool Apex = false;         // an apex line along the inside
  int ExitSpaces = 0;        // open cells of ExitLimit after the curve, on the following straight
  int ExitLimit = kGenDefaultExitLimit;
  int Line = 0;              // line of the description, for errors
};

struct TrackDescription {
  std::string FileName;
  std::string Name, Place1, Place2, Tag;
  int Lanes = 0;
  int StartSpeed = 0, Acceleration = 0, Deceleration = 0, TopSpeed = 0, WearPerLap = 0;
  std::string DefaultCarFile;
  int WearFactor = 1;
  double Heading = 0;  // degrees, direction of travel across the line: 0 east, 90 up the picture
  int Margin = kGenMinMargin;
  bool HasPodium = false;
  double PodiumLeft = 0;
  int PodiumTop = 0;
  // Pit spaces: positive counts from the line (the space number), negative back from it (-1 the last space).
  int PitEntry = 0, PitExit = 0;
  int PitLine = 0;
  std::vector<SegmentDescription> Segments;
  size_t StartSegment = 0;  // the first segment past the start line
  int LastLine = 0;
};

// Reads a circuit description. On failure `out` is left as it was and the error names the line.
std::optional<FileError> ParseTrackDescription(std::string_view text, const std::string& fileName,
                                               TrackDescription& out);

// Lays out the cells of a described circuit. On an impossible description (a loop that does not
// close, three skip cells in a row, too many spaces, ...) `out` is left as it was and the error
// names the description's line at fault.
std::optional<FileError> BuildTrack(const TrackDescription& description, Track& out);

// What a generated track comes to, in numbers.
struct TrackGenSummary {
  int Lanes = 0;
  int Spaces = 0;
  int RacingLineSpaces = 0;
  int Curves = 0;
  std::array<int, kMaxLanes + 1> RealCells{};  // per lane: cells that are not skips
  int LongestSkipRun = 0;                      // round the lap, over all lanes
  int PictureWidth = 0, PictureHeight = 0;     // the circuit with its margin
};

// Counts what a built track holds; the margin sizes the picture.
TrackGenSummary SummariseTrack(const Track& track, int margin);

// Lists a summary as lines for people.
std::vector<std::string> SummaryLines(const TrackGenSummary& summary);

}  // namespace vm
