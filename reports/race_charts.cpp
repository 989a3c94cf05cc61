#include "reports/race_charts.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include "reports/report_document.h"

namespace vm {

namespace {

// The plot's frame inside a fixed 720 x 480 view; the margins hold the ticks and the car numbers.
constexpr double kLeft = 80, kTop = 40, kPlotWidth = 600, kPlotHeight = 360;
// Dark enough that the car numbers drawn in them read on white.
constexpr const char* kColours[] = {"#1f77b4", "#d62728", "#2ca02c", "#9467bd", "#e8600c",
                                    "#8c564b", "#c2459b", "#555555", "#808000", "#008b8b"};
// Past the tenth car the colours come round again, with another dash.
constexpr const char* kDashes[] = {"", "8 3", "2 2", "8 3 2 3"};
// Gaps beyond this are a broken table, not a race: the line stops there.
constexpr double kMostGapSeconds = 1e6;

struct Point {
  double X = 0, Y = 0;
};
using CarLine = std::vector<std::vector<Point>>;  // unbroken runs of laps

// Coordinates with at most two decimals and no trailing zeros, so they compare by hand. Written by
// hand rather than by printf: a big chart has some 16,000 of them.
void AppendNum(std::string& out, double v) {
  const long long hundredths = std::llround(std::clamp(v, -1e12, 1e12) * 100);
  if (hundredths < 0) out += '-';
  const unsigned long long a =
      hundredths < 0 ? 0ull - static_cast<unsigned long long>(hundredths) : static_cast<unsigned long long>(hundredths);
  out += std::to_string(a / 100);
  const int tenths = static_cast<int>(a / 10 % 10), last = static_cast<int>(a % 10);
  if (tenths == 0 && last == 0) return;
  out += '.';
  out += static_cast<char>('0' + tenths);
  if (last != 0) out += static_cast<char>('0' + last);
}

std::string Num(double v) {
  std::string s;
  AppendNum(s, v);
  return s;
}

void AppendText(std::string& svg, double x, double y, const char* anchor, const std::string& text,
                const char* extra = "") {
  svg +=
      "<text x=\"" + Num(x) + "\" y=\"" + Num(y) + "\" text-anchor=\"" + anchor + "\"" + extra + ">" + text + "</text>";
}

// The head of a chart: its title, frame and axis names.
std::string OpenChart(const char* title, const char* yName) {
  std::string svg =
      "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 720 480\" width=\"720\" height=\"480\" role=\"img\" "
      "font-family=\"Arial, Helvetica, sans-serif\" font-size=\"11\">";
  svg += std::string("<title>") + title + "</title>";
  svg += "<rect x=\"0\" y=\"0\" width=\"720\" height=\"480\" fill=\"#FFFFFF\"/>";
  AppendText(svg, kLeft + kPlotWidth / 2, 24, "middle", title, " font-size=\"14\" font-weight=\"bold\"");
  AppendText(svg, kLeft + kPlotWidth / 2, 452, "middle", "Lap");
  AppendText(svg, 14, kTop + kPlotHeight / 2, "middle", yName, " transform=\"rotate(-90 14 220)\"");
  svg += "<path d=\"M80,40 V400 H680\" fill=\"none\" stroke=\"#000000\"/>";
  return svg;
}

// Lap numbers under the frame: every lap of a short race, every 5th or 10th of a long one.
template <class LapX>
void AppendLapTicks(std::string& svg, int first, int last, LapX x) {
  const int span = last - first;
  const int step = span <= 20 ? 1 : span <= 50 ? 5 : 10;
  std::string marks;
  for (int lap = first; lap <= last; ++lap) {
    if (lap != first && lap % step != 0) continue;
    marks += "M" + Num(x(lap)) + ",400 v5 ";
    AppendText(svg, x(lap), 418, "middle", std::to_string(lap));
  }
  svg += "<path d=\"" + marks + "\" stroke=\"#000000\"/>";
}

// One car: its line in runs, its number at the first and the last point, its name for a pointer.
void AppendCar(std::string& svg, const RaceState& rs, int car, const CarLine& runs) {
  if (runs.empty()) return;
  const char* colour = kColours[(car - 1) % 10];
  const char* dash = kDashes[((car - 1) / 10) % 4];
  svg += std::string("<g stroke=\"") + colour + "\" fill=\"" + colour + "\"><title>Car " + std::to_string(car);
  if (!rs.DriverName[car].empty()) svg += ": " + HtmlEscape(rs.DriverName[car]);
  svg += "</title>";
  for (const std::vector<Point>& run : runs) {
    if (run.size() == 1) {
      svg += "<circle cx=\"" + Num(run[0].X) + "\" cy=\"" + Num(run[0].Y) + "\" r=\"3\" stroke=\"none\"/>";
      continue;
    }
    svg += "<polyline fill=\"none\" stroke-width=\"2\"";
    if (*dash) svg += std::string(" stroke-dasharray=\"") + dash + "\"";
    svg += " points=\"";
    for (size_t i = 0; i < run.size(); ++i) {
      if (i > 0) svg += ' ';
      AppendNum(svg, run[i].X);
      svg += ',';
      AppendNum(svg, run[i].Y);
    }
    svg += "\"/>";
  }
  const Point first = runs.front().front(), last = runs.back().back();
  const std::string number = std::to_string(car);
  AppendText(svg, first.X - 6, first.Y + 4, "end", number, " stroke=\"none\"");
  AppendText(svg, last.X + 6, last.Y + 4, "start", number, " stroke=\"none\"");
  svg += "</g>";
}

// Each car's line over laps first..last, from `value(lap, car, y)`, which gives false where the car
// has no point; a missing lap breaks the line.
template <class LapX, class Value>
void AppendCars(std::string& svg, const RaceState& rs, int first, int last, LapX x, Value value) {
  for (int car = 1; car <= kMaxCars; ++car) {
    CarLine runs;
    bool open = false;
    for (int lap = first; lap <= last; ++lap) {
      double y = 0;
      if (!value(lap, car, y)) {
        open = false;
        continue;
      }
      if (!open) runs.emplace_back();
      runs.back().push_back({x(lap), y});
      open = true;
    }
    AppendCar(svg, rs, car, runs);
  }
}

// Every car's place at each lap, 0 where the car does not count.
struct LapPlaces {
  PerLap<int> Place{};
  int MostPlaces = 0;
};

bool CountsAt(const RaceState& rs, int lap, int car) { return lap == 0 || rs.LapSpeedMph[lap][car] > 0; }

std::unique_ptr<LapPlaces> FindPlaces(const RaceState& rs, int laps) {
  auto places = std::make_unique<LapPlaces>();
  for (int lap = 0; lap <= laps; ++lap) {
    for (int place = 1; place <= kMaxCars; ++place) {
      const int car = rs.LapOrder[lap][place];
      if (!IsCarNumber(car) || !CountsAt(rs, lap, car) || places->Place[lap][car] != 0) continue;
      places->Place[lap][car] = place;
      places->MostPlaces = std::max(places->MostPlaces, place);
    }
  }
  return places;
}

// A round step for about five divisions up to `most`.
double NiceStep(double most) {
  if (!(most > 0)) return 1;
  const double raw = most / 5;
  const double magnitude = std::pow(10.0, std::floor(std::log10(raw)));
  const double r = raw / magnitude;
  return (r <= 1 ? 1 : r <= 2 ? 2 : r <= 5 ? 5 : 10) * magnitude;
}

}  // namespace

int ChartedLaps(const RaceState& rs) {
  const int most = std::clamp(rs.RaceLaps, 0, kMaxLaps);
  int laps = 0;
  while (laps < most && IsCarNumber(rs.LapOrder[laps + 1][1])) ++laps;
  return laps;
}

std::string LapChartSvg(const RaceState& rs) {
  const int laps = ChartedLaps(rs);
  if (laps == 0) return {};
  const std::unique_ptr<LapPlaces> places = FindPlaces(rs, laps);
  const int most = std::max(places->MostPlaces, 1);
  const auto x = [&](int lap) { return kLeft + lap * kPlotWidth / laps; };
  const auto y = [&](int place) {
    return most == 1 ? kTop + kPlotHeight / 2 : kTop + (place - 1) * kPlotHeight / (most - 1);
  };

  std::string svg = OpenChart("Lap Chart", "Place");
  svg.reserve(64 * 1024);
  const int step = most <= 20 ? 1 : 5;
  for (int place = 1; place <= most; ++place)
    if (place == 1 || place % step == 0) AppendText(svg, 44, y(place) + 4, "end", std::to_string(place));
  AppendLapTicks(svg, 0, laps, x);
  AppendCars(svg, rs, 0, laps, x, [&](int lap, int car, double& out) {
    const int place = places->Place[lap][car];
    out = y(place);
    return place != 0;
  });
  svg += "</svg>";
  return svg;
}

std::string GapChartSvg(const RaceState& rs) {
  const int laps = ChartedLaps(rs);
  if (laps == 0) return {};
  const std::unique_ptr<LapPlaces> places = FindPlaces(rs, laps);
  // Behind the leader of the same lap, who stands at 0 whatever the table holds for him.
  const auto gap = [&](int lap, int car, double& out) {
    const int leader = rs.LapOrder[lap][1];
    if (lap < 1 || places->Place[lap][car] == 0) return false;
    const double behind = rs.LapGap[lap][car] - (car == leader ? rs.LapGap[lap][car] : rs.LapGap[lap][leader]);
    if (!std::isfinite(behind) || behind > kMostGapSeconds) return false;
    out = std::max(behind, 0.0);
    return true;
  };
  double most = 0;
  for (int lap = 1; lap <= laps; ++lap)
    for (int car = 1; car <= kMaxCars; ++car)
      if (double g = 0; gap(lap, car, g)) most = std::max(most, g);
  const double step = NiceStep(most);
  const double top = std::max(step * std::ceil(most / step - 1e-9), step);

  const auto x = [&](int lap) {
    return laps == 1 ? kLeft + kPlotWidth / 2 : kLeft + (lap - 1) * kPlotWidth / (laps - 1);
  };
  std::string svg = OpenChart("Gap Chart", "Seconds behind the leader");
  svg.reserve(64 * 1024);
  std::string grid;
  const int divisions = static_cast<int>(std::lround(top / step));
  for (int k = 0; k <= divisions; ++k) {
    const double y = kTop + k * kPlotHeight / divisions;
    if (k > 0) grid += "M80," + Num(y) + " H680 ";
    AppendText(svg, 44, y + 4, "end", Num(k * step));
  }
  if (!grid.empty()) svg += "<path d=\"" + grid + "\" stroke=\"#DDDDDD\"/>";
  AppendLapTicks(svg, 1, laps, x);
  AppendCars(svg, rs, 1, laps, x, [&](int lap, int car, double& out) {
    if (!gap(lap, car, out)) return false;
    out = kTop + out / top * kPlotHeight;
    return true;
  });
  svg += "</svg>";
  return svg;
}

}  // namespace vm
