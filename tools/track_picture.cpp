#include "tools/track_picture.h"

#include <QPainter>
#include <QPainterPath>
#include <QPen>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

namespace vm {

namespace {

constexpr double kMargin = 48;
constexpr int kMaxSide = 6000;  // guards against absurd coordinates in a damaged file
constexpr int kMaxLinkGap = 5;  // real cells further apart than this many spaces are not joined
constexpr int kGridRows = 20;

const QColor kGrass{78, 122, 62};
const QColor kPitTarmac{90, 90, 95};
const QColor kEdgeLine{226, 226, 226};
const QColor kDividerLine{132, 132, 137};
const QColor kKerbRed{196, 44, 44};
const QColor kKerbWhite{236, 236, 236};
const QColor kGridLine{214, 214, 214};
const QColor kPitWall{188, 188, 192};

struct Vec {
  double x = 0, y = 0;
};
Vec operator+(Vec a, Vec b) { return {a.x + b.x, a.y + b.y}; }
Vec operator-(Vec a, Vec b) { return {a.x - b.x, a.y - b.y}; }
Vec operator*(Vec a, double k) { return {a.x * k, a.y * k}; }
double Norm(Vec a) { return std::hypot(a.x, a.y); }
Vec Unit(Vec a) {
  const double n = Norm(a);
  return n > 1e-9 ? a * (1 / n) : Vec{1, 0};
}
Vec Normal(Vec t) { return {-t.y, t.x}; }
QPointF Q(Vec a) { return {a.x, a.y}; }

// The cells and their geometry, read once from the grid.
class Layout {
 public:
  explicit Layout(const Track& t) : t_(t), lanes_(std::clamp(t.TrackLanes, 0, kMaxLanes)) {
    length_ = std::clamp(t.TrackLength, 0, kMaxSpaces);
    laneWidth_ = MedianLaneSpacing();
    side_ = SideOfHighLanes();
  }

  int Lanes() const { return lanes_; }
  int Length() const { return length_; }
  double LaneWidth() const { return laneWidth_; }

  // A cell with a place on the picture, skip cells included: they shape the road.
  bool HasPoint(int space, int lane) const {
    return space >= 1 && space <= length_ && lane >= 1 && lane <= lanes_ && t_.CellLaneRank[space][lane] > 0 &&
           (t_.CellX[space][lane] != 0 || t_.CellY[space][lane] != 0);
  }
  // A cell a car can stand on.
  bool IsReal(int space, int lane) const { return HasPoint(space, lane) && !t_.CellSkip[space][lane]; }
  Vec Point(int space, int lane) const {
    return {static_cast<double>(t_.CellX[space][lane]), static_cast<double>(t_.CellY[space][lane])};
  }
  int Limit(int space, int lane) const { return t_.CellSpeedLimit[space][lane]; }

  int Next(int space) const { return space >= length_ ? 1 : space + 1; }
  int Prev(int space) const { return space <= 1 ? length_ : space - 1; }

  // The lane's nearest cell with a point within a few spaces behind or ahead, 0 when none.
  int Neighbour(int space, int lane, bool ahead) const {
    int s = space;
    for (int k = 0; k < kMaxLinkGap; ++k) {
      s = ahead ? Next(s) : Prev(s);
      if (s == space) return 0;
      if (HasPoint(s, lane)) return s;
    }
    return 0;
  }

  // The direction of the race at a cell.
  Vec Tangent(int space, int lane) const {
    const int before = Neighbour(space, lane, false), after = Neighbour(space, lane, true);
    const Vec a = before ? Point(before, lane) : Point(space, lane);
    const Vec b = after ? Point(after, lane) : Point(space, lane);
    return Unit(b - a);
  }

  // Points from the cell's lane towards the higher lanes.
  Vec Outward(int space, int lane) const { return Normal(Tangent(space, lane)) * side_; }

  // Distance to the lane's cell behind, or a lane width when there is none.
  double SpacingBehind(int space, int lane) const {
    const int before = Neighbour(space, lane, false);
    return before ? Norm(Point(space, lane) - Point(before, lane)) : laneWidth_;
  }

  // The outermost lane with a point at a space, 0 when none.
  int OuterLane(int space) const {
    for (int lane = lanes_; lane >= 1; --lane)
      if (HasPoint(space, lane)) return lane;
    return 0;
  }

 private:
  double MedianLaneSpacing() const {
    std::vector<double> gaps;
    for (int s = 1; s <= length_; ++s)
      for (int l = 1; l < lanes_; ++l)
        if (HasPoint(s, l) && HasPoint(s, l + 1)) gaps.push_back(Norm(Point(s, l + 1) - Point(s, l)));
    if (gaps.empty()) return 14;
    std::nth_element(gaps.begin(), gaps.begin() + static_cast<std::ptrdiff_t>(gaps.size() / 2), gaps.end());
    return std::clamp(gaps[gaps.size() / 2], 6.0, 40.0);
  }

  // +1 when the higher lanes lie to the left of the direction of race on screen (y down), else -1.
  double SideOfHighLanes() const {
    double sum = 0;
    for (int s = 1; s <= length_; ++s) {
      if (!HasPoint(s, 1) || !HasPoint(s, lanes_) || lanes_ < 2) continue;
      const Vec n = Normal(Tangent(s, 1)), v = Point(s, lanes_) - Point(s, 1);
      sum += n.x * v.x + n.y * v.y > 0 ? 1 : -1;
    }
    return sum >= 0 ? 1 : -1;
  }

  const Track& t_;
  int lanes_;
  int length_ = 0;
  double laneWidth_ = 14;
  double side_ = 1;
};

// Links between consecutive cells of a lane that pass `keep`, in running order.
template <class Keep>
std::vector<std::pair<int, int>> Links(const Layout& g, Keep keep) {
  std::vector<std::pair<int, int>> links;
  for (int s = 1; s <= g.Length(); ++s) {
    if (!keep(s)) continue;
    int n = s;
    for (int k = 0; k < kMaxLinkGap; ++k) {
      n = g.Next(n);
      if (n == s) break;
      if (keep(n)) {
        links.emplace_back(s, n);
        break;
      }
    }
  }
  return links;
}

// How far the pit lane's centre lies from the outermost lane's.
double PitOffset(double laneWidth) { return 1.5 * laneWidth + 3; }
double PitWidth(double laneWidth) { return 0.8 * laneWidth; }

QPen RoundPen(const QColor& colour, double width) { return QPen(colour, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin); }

struct PitPoint {
  Vec centre;
  Vec outward;      // from the road towards the pit lane
  bool beside;      // fully out beside the road, not on a ramp
};

// The pit lane's centre line: from the outer lane at the entry, out beside it, back in at the exit.
std::vector<PitPoint> PitLine(const Layout& g, const Track& t) {
  std::vector<PitPoint> line;
  if (t.PitEntrySpace < 1 || t.PitExitSpace < 1 || t.PitEntrySpace > g.Length() || t.PitExitSpace > g.Length())
    return line;
  std::vector<int> spaces;
  for (int s = t.PitEntrySpace;; s = g.Next(s)) {
    if (g.OuterLane(s) != 0) spaces.push_back(s);
    if (s == t.PitExitSpace || spaces.size() > static_cast<size_t>(g.Length())) break;
  }
  const double away = PitOffset(g.LaneWidth());
  const int n = static_cast<int>(spaces.size());
  for (int i = 0; i < n; ++i) {
    const int s = spaces[static_cast<size_t>(i)], lane = g.OuterLane(s);
    const double ramp = std::min({1.0, i / 2.0, (n - 1 - i) / 2.0});
    const Vec out = g.Outward(s, lane);
    line.push_back({g.Point(s, lane) + out * (away * ramp), out, ramp >= 1.0});
  }
  return line;
}

void DrawStartLine(QPainter& p, const Layout& g) {
  const int first = 1, lanes = g.Lanes();
  int low = 1, high = lanes;
  while (low <= lanes && !g.HasPoint(first, low)) ++low;
  while (high >= 1 && !g.HasPoint(first, high)) --high;
  if (low > high) return;
  const double w = g.LaneWidth();
  auto lineAt = [&](int lane) {
    return g.Point(first, lane) - g.Tangent(first, lane) * (g.SpacingBehind(first, lane) / 2);
  };
  const Vec a = lineAt(low) - g.Outward(first, low) * (w / 2 + 1);
  const Vec b = lineAt(high) + g.Outward(first, high) * (w / 2 + 1);
  const double square = std::clamp(std::floor(g.SpacingBehind(first, low) / 3), 2.0, 4.0);
  const double across = Norm(b - a);
  p.save();
  p.setRenderHint(QPainter::Antialiasing, false);
  p.translate(Q(a));
  p.rotate(std::atan2(b.y - a.y, b.x - a.x) * 180 / std::numbers::pi);
  p.setPen(Qt::NoPen);
  for (int row = 0; row < 2; ++row) {
    for (int k = 0; k * square < across; ++k) {
      p.setBrush((k + row) % 2 == 0 ? QColor(20, 20, 20) : QColor(240, 240, 240));
      p.drawRect(QRectF(k * square, (row - 1) * square, std::min(square, across - k * square), square));
    }
  }
  p.restore();
}

void DrawGridBoxes(QPainter& p, const Layout& g, const Track& t) {
  const auto [laneA, laneB] = GridLanes(t);
  const double w = g.LaneWidth();
  p.setPen(QPen(kGridLine, 1.0, Qt::SolidLine, Qt::FlatCap, Qt::MiterJoin));
  p.setBrush(Qt::NoBrush);
  int space = g.Length();
  // As the cars are placed: backwards from the last space, alternating the two grid lanes.
  for (int car = 0; car < 2 * kGridRows; ++car) {
    const int lane = car % 2 == 0 ? laneA : laneB;
    int tries = 0;
    while (!g.IsReal(space, lane) && tries++ < g.Length()) space = g.Prev(space);
    if (!g.IsReal(space, lane)) return;
    const Vec c = g.Point(space, lane), tan = g.Tangent(space, lane), n = Normal(tan);
    const double d = g.SpacingBehind(space, lane);
    const Vec front = c + tan * std::min(d * 0.45, w * 0.4), back = c - tan * std::min(d * 0.15, w * 0.2);
    const Vec side = n * (w * 0.36);
    QPainterPath box;
    box.moveTo(Q(back + side));
    box.lineTo(Q(front + side));
    box.lineTo(Q(front - side));
    box.lineTo(Q(back - side));
    p.drawPath(box);
    space = g.Prev(space);
  }
}

}  // namespace

QImage DrawTrackPicture(const Track& track) {
  const Layout g(track);
  const double w = g.LaneWidth();
  const std::vector<PitPoint> pit = PitLine(g, track);

  double maxX = 0, maxY = 0;
  for (int s = 1; s <= g.Length(); ++s)
    for (int l = 1; l <= g.Lanes(); ++l)
      if (g.HasPoint(s, l)) maxX = std::max(maxX, g.Point(s, l).x), maxY = std::max(maxY, g.Point(s, l).y);
  for (const PitPoint& v : pit) maxX = std::max(maxX, v.centre.x), maxY = std::max(maxY, v.centre.y);
  const int width = std::clamp(static_cast<int>(std::ceil(maxX + kMargin)), 64, kMaxSide);
  const int height = std::clamp(static_cast<int>(std::ceil(maxY + kMargin)), 64, kMaxSide);

  QImage image(width, height, QImage::Format_RGB32);
  image.fill(kGrass);
  QPainter p(&image);
  p.setRenderHint(QPainter::Antialiasing, true);

  // The pit lane goes under the road so that its ends merge into it.
  if (pit.size() >= 2) {
    p.setPen(RoundPen(kPitTarmac, PitWidth(w)));
    for (size_t i = 1; i < pit.size(); ++i) p.drawLine(Q(pit[i - 1].centre), Q(pit[i].centre));
  }

  // Each lane a thick stroke a little wider than the lane, so that neighbours join into one road.
  // Skip cells count here: they keep the inside of a curve round.
  p.setPen(RoundPen(kTarmacColour, w + 2));
  for (int lane = 1; lane <= g.Lanes(); ++lane)
    for (auto [a, b] : Links(g, [&](int s) { return g.HasPoint(s, lane); }))
      p.drawLine(Q(g.Point(a, lane)), Q(g.Point(b, lane)));

  // Lane dividers midway between neighbouring lanes, faint so that cars stay readable.
  p.setPen(RoundPen(kDividerLine, 1.0));
  for (int lane = 1; lane < g.Lanes(); ++lane) {
    auto both = [&](int s) { return g.HasPoint(s, lane) && g.HasPoint(s, lane + 1); };
    auto mid = [&](int s) { return (g.Point(s, lane) + g.Point(s, lane + 1)) * 0.5; };
    for (auto [a, b] : Links(g, both)) p.drawLine(Q(mid(a)), Q(mid(b)));
  }

  // The road's two edges, with kerbs outside them on the curve cells.
  const std::pair<int, double> edges[] = {{1, -1.0}, {g.Lanes(), 1.0}};  // a one-lane road has both on lane 1
  for (const auto& [lane, sign] : edges) {
    if (lane < 1) continue;
    auto edge = [&](int s, double offset) { return g.Point(s, lane) + g.Outward(s, lane) * (sign * offset); };
    auto curve = [&](int s) { return g.Limit(s, lane) > 0 && g.Limit(s, lane) < kNoLimit; };
    const auto links = Links(g, [&](int s) { return g.HasPoint(s, lane); });
    p.setPen(RoundPen(kEdgeLine, 1.2));
    for (auto [a, b] : links) p.drawLine(Q(edge(a, w / 2)), Q(edge(b, w / 2)));
    double run = 0;  // keeps the red blocks evenly spaced along a curve
    for (auto [a, b] : links) {
      if (!curve(a) && !curve(b)) {
        run = 0;
        continue;
      }
      const Vec from = edge(a, w / 2 + 2), to = edge(b, w / 2 + 2);
      p.setPen(QPen(kKerbWhite, 3.0, Qt::SolidLine, Qt::FlatCap));
      p.drawLine(Q(from), Q(to));
      QPen red(kKerbRed, 3.0, Qt::CustomDashLine, Qt::FlatCap);
      red.setDashPattern({1.5, 1.5});
      red.setDashOffset(run / 3.0);
      p.setPen(red);
      p.drawLine(Q(from), Q(to));
      run += Norm(to - from);
    }
  }

  // The pit wall midway between the road's edge and the pit lane's.
  if (pit.size() >= 2) {
    const double back = (PitOffset(w) - PitWidth(w) / 2 - (w / 2 + 1)) / 2 + PitWidth(w) / 2;
    p.setPen(RoundPen(kPitWall, 2.0));
    for (size_t i = 1; i < pit.size(); ++i) {
      if (!pit[i - 1].beside || !pit[i].beside) continue;
      p.drawLine(Q(pit[i - 1].centre - pit[i - 1].outward * back), Q(pit[i].centre - pit[i].outward * back));
    }
  }

  DrawGridBoxes(p, g, track);
  DrawStartLine(p, g);
  p.end();
  return image;
}

}  // namespace vm
