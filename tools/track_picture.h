// The picture of a circuit drawn from its grid alone, for tracks made in code or by the generator.
#pragma once

#include <QColor>
#include <QImage>

#include "core/track.h"

namespace vm {

// The road's colour, for callers that check where the road is.
inline const QColor kTarmacColour{104, 104, 108};

// Draws the circuit in the cells' own coordinates (CellX, CellY are cell centres, y downward):
// grass, the road along the lanes with its edges, kerbs on the curve cells, the chequered start
// line before space 1, forty grid boxes behind it and the pit lane with its wall. The picture
// reaches from the origin to the furthest cell plus a margin.
QImage DrawTrackPicture(const Track& track);

}  // namespace vm
