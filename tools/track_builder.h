// Builds tracks in code: "a 3-lane, 40-space oval with two curves of 80/100/120" without a grid
// written by hand. Used by the tests and by the track tools.
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

#include "core/track.h"

namespace vm {

class TrackBuilder {
 public:
  // Every cell starts as an open straight (999), not a skip, ranked by its distance from the
  // racing line (lane 1 unless RacingLine says otherwise), drawn on a plain grid.
  TrackBuilder(int lanes, int spaces);

  TrackBuilder& Named(std::string name, std::string place1 = "Testville", std::string place2 = "Nowhere",
                      std::string tag = "TEST", double miles = 1.0);
  // The recommended car of the header.
  TrackBuilder& Defaults(int startSpeed, int acceleration, int deceleration, int topSpeed, int wearPerLap);
  // Ranks every space from this lane outward: rank 1 here, 2 next to it, ...
  TrackBuilder& RacingLine(int lane);
  // A curve over spaces first..last (wrapping past the line when last < first), one limit per
  // lane from lane 1 up.
  TrackBuilder& Curve(int first, int last, std::initializer_list<int> limitsByLane);
  // One cell's limit.
  TrackBuilder& Limit(int space, int lane, int limit);
  // Makes grid positions skip cells.
  TrackBuilder& Skip(int space, int lane);
  TrackBuilder& Skip(int first, int last, int lane);
  // One cell's rank (0: no cell).
  TrackBuilder& Rank(int space, int lane, int rank);
  // An apex line through the cells in running order; marks them first, inside and last.
  TrackBuilder& Apex(int number, std::initializer_list<ApexCell> cells);
  TrackBuilder& PitLane(int entrySpace, int exitSpace);
  TrackBuilder& DefaultCar(std::string reference);
  TrackBuilder& WearFactor(int factor);
  TrackBuilder& Podium(double left, int top);
  TrackBuilder& Image(int space, int lane, std::string suffix);

  // The finished track, derived tables built, as if loaded from `fileName`.
  Track Build(const std::string& fileName = "Tracks/Built.trk") const;

 private:
  void SetRanks();
  Track t_;
  int racingLine_ = 1;
};

}  // namespace vm
