// What the circuit view shows, worked out from the race state without a widget: which cars stand
// where on the picture and with which picture, where their number tags go so that none hides
// another, which cell lies under a point, and the hover texts.
#pragma once

#include <QPointF>
#include <QRectF>
#include <QSizeF>
#include <QString>
#include <optional>
#include <vector>

#include "core/race_state.h"

namespace vm {

// One car as drawn, in the picture's pixels.
struct CarMark {
  int Car = 0;
  int Space = 0;
  int Lane = 0;
  QPointF Centre;
  QString Picture;     // the car's picture for the cell's heading; "" when the cell has none
  bool Wreck = false;  // out of the race: left beside the track, off the racing line
};

// The cars on the circuit in drawing order: wrecks first, then each car that holds its cell.
// Cars in the pit lane, spinning off their cell or not yet placed are not on it.
std::vector<CarMark> CarMarks(const RaceState& rs);

// The cars in the pit lane, front of the queue first.
std::vector<int> PitCars(const RaceState& rs);

// A grid cell: a place a car can stand on.
struct CellRef {
  int Space = 0;
  int Lane = 0;
};
// The cell whose centre is nearest to `p` (picture pixels) and no further than `reach`.
std::optional<CellRef> CellAt(const Track& t, QPointF p, double reach);

// Places each tag of `sizes` beside its anchor, away from the `keepClear` rectangles and from the
// tags placed before it, trying the corners first and then further out; a tag with no free place
// takes its first corner. Everything is in one coordinate system (the view's pixels).
std::vector<QRectF> PlaceTags(const std::vector<QPointF>& anchors, const std::vector<QSizeF>& sizes,
                              const std::vector<QRectF>& keepClear, double gap);

// "Limit 120 MPH", or "No limit" on an open cell.
QString LimitText(int limit);
// The tip over a cell: its lane, space and limit.
QString CellHoverText(const Track& t, CellRef cell);
// The tip over a car: "Car 3  Carla Rossi", its place, speed, wears and lap.
QString CarHoverText(const RaceState& rs, int car);

}  // namespace vm
