// The circuit: a grid of cells [space 0..600][lane 0..5] drawn over a picture, its apex lines,
// its pit lane and its header. Space 0 and lane 0 stay empty; the space index grows in the
// direction of the race and is global across lanes, so progress compares by index alone.
#pragma once

#include <array>
#include <string>
#include <utility>
#include <vector>

namespace vm {

inline constexpr int kMaxSpaces = 600;
inline constexpr int kMaxLanes = 5;
inline constexpr int kMaxApexes = 30;
inline constexpr int kMaxApexCells = 15;

// CellSpeedLimit values. Below 300 a curve; 300..998 open but no slipstream; 999 an open
// straight; 0 no cell. The rules test against 300 and 301 on purpose: keep each test as written.
inline constexpr int kNoLimit = 300;
inline constexpr int kOpenStraight = 999;

// CellApexMark values.
inline constexpr int kApexFirst = 1;
inline constexpr int kApexInside = 2;
inline constexpr int kApexLast = 3;

template <class T>
using CellTable = std::array<std::array<T, kMaxLanes + 1>, kMaxSpaces + 1>;  // [space][lane]

struct ApexCell {
  int Lane = 0;
  int Space = 0;
  bool operator==(const ApexCell&) const = default;
};

// The first twelve fields of a track file: all the track chooser reads.
struct TrackHeader {
  double TrackDistanceMiles = 0;
  std::string TrackName;
  std::string TrackPlace1;
  std::string TrackPlace2;
  std::string TrackTag;  // six characters, padded with spaces
  int DefaultStartSpeed = 0;  // the track's recommended car, used when it brings no car file
  int DefaultAcceleration = 0;
  int DefaultDeceleration = 0;
  int DefaultTopSpeed = 0;
  int DefaultWearPerLap = 0;
  int TrackLanes = 0;
  int RacingLineSpaces = 0;
  bool operator==(const TrackHeader&) const = default;
};

struct Track : TrackHeader {
  // --- The rest of the header.
  int TrackSpaces = 0;
  int TrackLength = 0;  // = TrackSpaces once loaded
  std::string TrackDefaultCarFile;  // reference as stored: a file name without folder or extension
  int TrackWearFactor = 1;          // whole number in use
  double PodiumLeft = 0;
  int PodiumTop = 0;
  std::string TrackFile;  // the file this track was loaded from

  // --- The grid.
  CellTable<int> CellX{};
  CellTable<int> CellY{};
  CellTable<int> CellApexMark{};
  CellTable<int> CellSpeedLimit{};
  CellTable<int> CellDrySpeedLimit{};
  CellTable<bool> CellSkip{};
  CellTable<int> CellLaneRank{};
  CellTable<std::string> CellImage{};
  // Lane 6 exists so that a reach one lane beyond the edge reads 0.
  std::array<std::array<int, kMaxLanes + 2>, kMaxSpaces + 1> CellOccupant{};

  // --- Derived at load.
  std::array<int, kMaxSpaces + 1> SpaceCurveNumber{};

  // --- Apex lines [apex 1..30][cell 1..15], (0, 0) where none.
  std::array<std::array<ApexCell, kMaxApexCells + 1>, kMaxApexes + 1> ApexCells{};
  int ApexCount = 0;

  // --- Pit lane.
  int PitEntrySpace = 0;
  int PitExitSpace = 0;
  int PitEntryLane = 1;
  int PitExitLane = 1;
  int PitExitLaneAlt = 2;

  bool EverLoaded = false;  // the first load after start-up clears the whole grid

  bool operator==(const Track&) const = default;
};

// Clears a track before a load: the five lanes become skip cells without a rank or limit, the
// apex lines go, and the pit lane, default car and podium go back to none. The first load after
// start-up clears everything, the occupancy and cell pictures too.
void ClearTrackForLoad(Track& t);

// The next space in the direction of the race: TrackLength + 1 is space 1.
inline int NextSpace(const Track& t, int space) { return space >= t.TrackLength ? 1 : space + 1; }
// Brings a space counted on past the line back into the lap (any number of laps on).
inline int WrapSpace(const Track& t, int space) {
  while (t.TrackLength > 0 && space > t.TrackLength) space -= t.TrackLength;
  return space;
}
// The space behind: 0 and below wrap to TrackLength.
inline int PrevSpace(const Track& t, int space) { return space <= 1 ? t.TrackLength : space - 1; }
// Walks forward n spaces with wrap-around.
int SpaceAhead(const Track& t, int space, int n);

// A curve space has a cell below 300 on some lane that is not a skip cell.
bool IsCurveSpace(const Track& t, int space);

// Builds SpaceCurveNumber: curves numbered 1, 2, ... in order from space 1; 0 on straights.
void DeriveCurveNumbers(Track& t);

// Finds PitEntryLane, PitExitLane and PitExitLaneAlt from the ranks at the pit spaces.
void DerivePitLanes(Track& t);

// The number of curves in a lap: the highest SpaceCurveNumber.
int CurveCount(const Track& t);

// The highest lane of rank 1 at a space, 0 when none has it.
int RacingLineLane(const Track& t, int space);

// The race window's caption: "Name  (Place1, Place2, 2.5 miles)".
std::string TrackCaption(const Track& t);

// The track chooser's five lines.
std::vector<std::string> TrackChooserLines(const TrackHeader& h);

// The circuit picture beside the track file: its name with ".trk" replaced by ".gif".
std::string TrackPictureFile(const Track& t);
// The default car file the track brings: its folder, the reference and ".crs"; "" when none.
std::string TrackDefaultCarPath(const Track& t);

// Formats a Double as the game prints numbers in text: up to 15 significant digits, no
// trailing zeros ("2.5", "0.75", "3").
std::string FormatNumber(double value);

// Pads or cuts a tag to exactly six characters.
std::string PadTag(std::string_view tag);

// The pair of lanes the grid's rows use, front car first, from the lane ranks at space 1.
std::pair<int, int> GridLanes(const Track& t);

}  // namespace vm
