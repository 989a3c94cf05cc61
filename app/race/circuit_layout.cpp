#include "app/race/circuit_layout.h"

#include <QLineF>
#include <QStringList>
#include <algorithm>
#include <cmath>

#include "core/paths.h"
#include "engine/laps.h"

namespace vm {
namespace {

// A place on the grid that is drawn on the picture.
bool IsCell(const Track& t, int space, int lane) {
  return space >= 1 && space <= kMaxSpaces && lane >= 1 && lane <= kMaxLanes && t.CellLaneRank[space][lane] > 0 &&
         !t.CellSkip[space][lane];
}

QPointF CellCentre(const Track& t, int space, int lane) { return QPointF(t.CellX[space][lane], t.CellY[space][lane]); }

QString Trimmed(const std::string& text) { return QString::fromStdString(text).trimmed(); }

QString PictureFile(const RaceState& rs, int car, int space, int lane) {
  const QString heading = Trimmed(rs.track.CellImage[space][lane]);
  if (heading.isEmpty() || rs.CarPicture[car].empty()) return {};
  const std::string file = rs.CarPicture[car] + heading.toStdString() + ".gif";
  return QString::fromStdString(ResolvePath(NativePath(file)));
}

// A wreck lies off the track on the side away from the racing line, clear of every lane there.
QPointF WreckPlace(const Track& t, int space, int lane) {
  constexpr double kClearance = 16;
  const QPointF at = CellCentre(t, space, lane);
  std::vector<QPointF> lanes;
  for (int l = 1; l <= kMaxLanes; ++l)
    if (t.CellLaneRank[space][l] > 0) lanes.push_back(CellCentre(t, space, l));
  const int line = RacingLineLane(t, space);
  QLineF away;
  if (line != 0 && line != lane) {
    away = QLineF(CellCentre(t, space, line), at);
  } else if (!lanes.empty()) {
    // On the racing line itself: out past the nearer edge, away from the farthest lane.
    const QPointF far = *std::max_element(lanes.begin(), lanes.end(), [&](QPointF a, QPointF b) {
      return QLineF(at, a).length() < QLineF(at, b).length();
    });
    away = QLineF(far, at);
  }
  if (away.length() < 1) return at + QPointF(0, kClearance);
  const QPointF unit = (away.p2() - away.p1()) / away.length();
  double edge = 0;
  for (const QPointF& p : lanes) edge = std::max(edge, QPointF::dotProduct(p - at, unit));
  return at + unit * (edge + kClearance);
}

bool Overlaps(const QRectF& r, const std::vector<QRectF>& others) {
  // A touch along an edge is no overlap: tags may sit flush.
  const QRectF inner = r.adjusted(0.5, 0.5, -0.5, -0.5);
  return std::any_of(others.begin(), others.end(), [&](const QRectF& o) { return inner.intersects(o); });
}

}  // namespace

std::vector<CarMark> CarMarks(const RaceState& rs) {
  const Track& t = rs.track;
  std::vector<CarMark> wrecks, running;
  // Backwards through the order, so that a car ahead is drawn over the one it has just passed.
  std::vector<int> cars;
  for (int pos = kMaxCars; pos >= 1; --pos)
    if (IsCarNumber(rs.RunningOrder[pos])) cars.push_back(rs.RunningOrder[pos]);
  for (int car = 1; car <= kMaxCars; ++car)
    if (std::find(cars.begin(), cars.end(), car) == cars.end()) cars.insert(cars.begin(), car);
  for (int car : cars) {
    const int space = rs.CarSpace[car];
    const int lane = rs.CarLane[car];
    if (car > rs.CarCount || !IsCell(t, space, lane)) continue;
    CarMark mark{car, space, lane, CellCentre(t, space, lane), PictureFile(rs, car, space, lane), false};
    if (rs.CarOutOfRace[car]) {
      mark.Wreck = true;
      mark.Centre = WreckPlace(t, space, lane);
      wrecks.push_back(mark);
    } else if (!rs.CarInPit[car] && t.CellOccupant[space][lane] == car) {
      running.push_back(mark);
    }
  }
  wrecks.insert(wrecks.end(), running.begin(), running.end());
  return wrecks;
}

std::vector<int> PitCars(const RaceState& rs) {
  std::vector<int> cars;
  for (const PitQueueEntry& entry : rs.PitQueue)
    if (IsCarNumber(entry.Car)) cars.push_back(entry.Car);
  for (int car = 1; car <= rs.CarCount && car <= kMaxCars; ++car)
    if (rs.CarInPit[car] && std::find(cars.begin(), cars.end(), car) == cars.end()) cars.push_back(car);
  return cars;
}

std::optional<CellRef> CellAt(const Track& t, QPointF p, double reach) {
  std::optional<CellRef> best;
  double bestDistance = reach;
  for (int space = 1; space <= std::min(t.TrackLength, kMaxSpaces); ++space) {
    for (int lane = 1; lane <= kMaxLanes; ++lane) {
      if (!IsCell(t, space, lane)) continue;
      const double distance = QLineF(p, CellCentre(t, space, lane)).length();
      if (distance <= bestDistance) {
        bestDistance = distance;
        best = CellRef{space, lane};
      }
    }
  }
  return best;
}

std::vector<QRectF> PlaceTags(const std::vector<QPointF>& anchors, const std::vector<QSizeF>& sizes,
                              const std::vector<QRectF>& keepClear, double gap) {
  // Corners first: a tag there reads as belonging to the car and leaves the track ahead clear.
  static constexpr int kDirections[8][2] = {{1, -1}, {1, 1}, {-1, -1}, {-1, 1}, {0, -1}, {0, 1}, {1, 0}, {-1, 0}};
  std::vector<QRectF> placed;
  for (size_t i = 0; i < anchors.size(); ++i) {
    const QSizeF size = sizes[i];
    auto at = [&](int ring, const int* d) {
      const double reach = gap + ring * size.height();
      const QPointF centre =
          anchors[i] + QPointF(d[0] * (reach + size.width() / 2), d[1] * (reach + size.height() / 2));
      return QRectF(centre - QPointF(size.width() / 2, size.height() / 2), size);
    };
    std::optional<QRectF> chosen;
    for (int ring = 0; ring < 4 && !chosen; ++ring) {
      for (const auto& d : kDirections) {
        const QRectF r = at(ring, d);
        if (!Overlaps(r, placed) && !Overlaps(r, keepClear)) {
          chosen = r;
          break;
        }
      }
    }
    placed.push_back(chosen.value_or(at(0, kDirections[0])));
  }
  return placed;
}

QString LimitText(int limit) {
  return limit > 0 && limit < kNoLimit ? QStringLiteral("Limit %1 MPH").arg(limit) : QStringLiteral("No limit");
}

QString CellHoverText(const Track& t, CellRef cell) {
  return QStringLiteral("Lane %1, space %2\n%3")
      .arg(cell.Lane)
      .arg(cell.Space)
      .arg(LimitText(t.CellSpeedLimit[cell.Space][cell.Lane]));
}

QString CarHoverText(const RaceState& rs, int car) {
  QStringList lines;
  lines << QStringLiteral("Car %1  %2").arg(car).arg(Trimmed(rs.DriverName[car]));
  if (rs.CarOutOfRace[car]) {
    lines << QStringLiteral("Out of the race");
  } else {
    int place = 0;
    for (int pos = 1; pos <= kMaxCars && place == 0; ++pos)
      if (rs.RunningOrder[pos] == car) place = pos;
    if (car == RaceLeader(rs))
      lines << QStringLiteral("Leader");
    else if (place > 0)
      lines << QStringLiteral("Position %1").arg(place);
    if (rs.CarInPit[car]) lines << QStringLiteral("In the pit lane");
    if (rs.CarStatus[car] == kSpinning || rs.CarStatus[car] == kSpinningOffCell) lines << QStringLiteral("Spinning");
    if (rs.CarStatus[car] == kStalled) lines << QStringLiteral("Stalled");
  }
  lines << QStringLiteral("Speed %1 MPH").arg(rs.CarSpeed[car]);
  lines << QStringLiteral("Wears %1").arg(rs.CarWears[car]);
  lines << (rs.RaceLaps > 0 ? QStringLiteral("Lap %1 of %2").arg(rs.CarLap[car]).arg(rs.RaceLaps)
                            : QStringLiteral("Lap %1").arg(rs.CarLap[car]));
  return lines.join(QLatin1Char('\n'));
}

}  // namespace vm
