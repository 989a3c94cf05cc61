#include "tools/track_builder.h"

#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace vm {

namespace {

void Require(bool ok, const char* what) {
  if (!ok) throw std::invalid_argument(what);
}

}  // namespace

TrackBuilder::TrackBuilder(int lanes, int spaces) {
  Require(lanes >= 1 && lanes <= kMaxLanes, "a track has 1 to 5 lanes");
  Require(spaces >= 1 && spaces <= kMaxSpaces, "a track has 1 to 600 spaces");
  ClearTrackForLoad(t_);
  t_.TrackLanes = lanes;
  t_.TrackSpaces = spaces;
  t_.TrackLength = spaces;
  t_.RacingLineSpaces = spaces;
  t_.TrackTag = PadTag("TEST");
  t_.TrackName = "Test Track";
  t_.TrackPlace1 = "Testville";
  t_.TrackPlace2 = "Nowhere";
  t_.TrackDistanceMiles = spaces / 40.0;
  for (int space = 1; space <= spaces; ++space) {
    for (int lane = 1; lane <= lanes; ++lane) {
      t_.CellX[space][lane] = space * 10;
      t_.CellY[space][lane] = lane * 10;
      t_.CellSpeedLimit[space][lane] = kOpenStraight;
      t_.CellSkip[space][lane] = false;
    }
  }
  SetRanks();
}

void TrackBuilder::SetRanks() {
  for (int space = 1; space <= t_.TrackSpaces; ++space)
    for (int lane = 1; lane <= t_.TrackLanes; ++lane)
      t_.CellLaneRank[space][lane] = std::abs(lane - racingLine_) + 1;
}

TrackBuilder& TrackBuilder::Named(std::string name, std::string place1, std::string place2, std::string tag,
                                  double miles) {
  t_.TrackName = std::move(name);
  t_.TrackPlace1 = std::move(place1);
  t_.TrackPlace2 = std::move(place2);
  t_.TrackTag = PadTag(tag);
  t_.TrackDistanceMiles = miles;
  return *this;
}

TrackBuilder& TrackBuilder::Defaults(int startSpeed, int acceleration, int deceleration, int topSpeed,
                                     int wearPerLap) {
  t_.DefaultStartSpeed = startSpeed;
  t_.DefaultAcceleration = acceleration;
  t_.DefaultDeceleration = deceleration;
  t_.DefaultTopSpeed = topSpeed;
  t_.DefaultWearPerLap = wearPerLap;
  return *this;
}

TrackBuilder& TrackBuilder::RacingLine(int lane) {
  Require(lane >= 1 && lane <= t_.TrackLanes, "the racing line lies on a lane of the track");
  racingLine_ = lane;
  SetRanks();
  return *this;
}

TrackBuilder& TrackBuilder::Curve(int first, int last, std::initializer_list<int> limitsByLane) {
  Require(static_cast<int>(limitsByLane.size()) == t_.TrackLanes, "a curve gives one limit per lane");
  Require(first >= 1 && first <= t_.TrackSpaces && last >= 1 && last <= t_.TrackSpaces, "a curve lies on the track");
  for (int space = first;; space = NextSpace(t_, space)) {
    int lane = 1;
    for (int limit : limitsByLane) Limit(space, lane++, limit);
    if (space == last) break;
  }
  return *this;
}

TrackBuilder& TrackBuilder::Limit(int space, int lane, int limit) {
  Require(space >= 1 && space <= t_.TrackSpaces && lane >= 1 && lane <= t_.TrackLanes, "a cell of the track");
  t_.CellSpeedLimit[space][lane] = limit;
  return *this;
}

TrackBuilder& TrackBuilder::Skip(int space, int lane) { return Skip(space, space, lane); }

TrackBuilder& TrackBuilder::Skip(int first, int last, int lane) {
  Require(first >= 1 && last <= t_.TrackSpaces && first <= last && lane >= 1 && lane <= t_.TrackLanes,
          "skip cells lie on the track");
  for (int space = first; space <= last; ++space) t_.CellSkip[space][lane] = true;
  return *this;
}

TrackBuilder& TrackBuilder::Rank(int space, int lane, int rank) {
  Require(space >= 1 && space <= t_.TrackSpaces && lane >= 1 && lane <= t_.TrackLanes, "a cell of the track");
  t_.CellLaneRank[space][lane] = rank;
  return *this;
}

TrackBuilder& TrackBuilder::Apex(int number, std::initializer_list<ApexCell> cells) {
  Require(number >= 1 && number <= kMaxApexes, "apexes are numbered 1 to 30");
  Require(cells.size() >= 1 && cells.size() <= kMaxApexCells, "an apex has 1 to 15 cells");
  int k = 0;
  const int n = static_cast<int>(cells.size());
  for (const ApexCell& cell : cells) {
    ++k;
    t_.ApexCells[number][k] = cell;
    t_.CellApexMark[cell.Space][cell.Lane] = k == 1 ? kApexFirst : (k == n ? kApexLast : kApexInside);
  }
  int count = 0;
  for (int apex = 1; apex <= kMaxApexes; ++apex) count += t_.ApexCells[apex][1].Lane != 0 ? 1 : 0;
  t_.ApexCount = count;
  return *this;
}

TrackBuilder& TrackBuilder::PitLane(int entrySpace, int exitSpace) {
  t_.PitEntrySpace = entrySpace;
  t_.PitExitSpace = exitSpace;
  return *this;
}

TrackBuilder& TrackBuilder::DefaultCar(std::string reference) {
  t_.TrackDefaultCarFile = std::move(reference);
  return *this;
}

TrackBuilder& TrackBuilder::WearFactor(int factor) {
  t_.TrackWearFactor = factor;
  return *this;
}

TrackBuilder& TrackBuilder::Podium(double left, int top) {
  t_.PodiumLeft = left;
  t_.PodiumTop = top;
  return *this;
}

TrackBuilder& TrackBuilder::Image(int space, int lane, std::string suffix) {
  t_.CellImage[space][lane] = std::move(suffix);
  return *this;
}

Track TrackBuilder::Build(const std::string& fileName) const {
  Track t = t_;
  for (int space = 1; space <= kMaxSpaces; ++space)
    for (int lane = 1; lane <= kMaxLanes; ++lane) t.CellDrySpeedLimit[space][lane] = t.CellSpeedLimit[space][lane];
  t.TrackFile = fileName;
  t.EverLoaded = true;
  DeriveCurveNumbers(t);
  DerivePitLanes(t);
  return t;
}

}  // namespace vm
