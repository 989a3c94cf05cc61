#include "tools/trackgen.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <memory>
#include <numbers>
#include <set>
#include <tuple>
#include <utility>

#include "core/numbers.h"
#include "core/units.h"

namespace vm {

namespace {

constexpr int kInt16Max = 32767;

[[noreturn]] void Fail(const std::string& file, int line, FileErrorCode code, std::string field, std::string message) {
  throw FileFormatError(FileError{code, file, line, std::move(field), std::move(message)});
}

std::string_view Trim(std::string_view s) {
  const size_t first = s.find_first_not_of(" \t\r");
  if (first == std::string_view::npos) return {};
  return s.substr(first, s.find_last_not_of(" \t\r") - first + 1);
}

std::vector<std::string> Words(std::string_view s) {
  std::vector<std::string> words;
  size_t pos = 0;
  while (true) {
    pos = s.find_first_not_of(" \t\r", pos);
    if (pos == std::string_view::npos) break;
    const size_t end = std::min(s.find_first_of(" \t\r", pos), s.size());
    words.emplace_back(s.substr(pos, end - pos));
    pos = end;
  }
  return words;
}

std::string Lower(std::string s) {
  for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

// One line of the description with its words; numbers are checked against the item's range.
class ItemLine {
 public:
  ItemLine(const std::string& file, int line, std::vector<std::string> words)
      : file_(file), line_(line), words_(std::move(words)), keyword_(Lower(words_.front())) {}

  const std::string& Keyword() const { return keyword_; }
  int Line() const { return line_; }
  size_t Size() const { return words_.size(); }
  std::string WordAt(size_t i) const { return i < words_.size() ? Lower(words_[i]) : ""; }
  bool NumberAt(size_t i) const { return i < words_.size() && ParseNumber(words_[i]).has_value(); }

  double Double(size_t i, double lo, double hi) const {
    if (i >= words_.size()) Fail(file_, line_, FileErrorCode::PastEnd, keyword_, keyword_ + " needs more numbers");
    const std::optional<double> parsed = ParseNumber(words_[i]);
    if (!parsed) Fail(file_, line_, FileErrorCode::TypeMismatch, keyword_, "\"" + words_[i] + "\" is not a number");
    const double value = *parsed;
    if (value < lo || value > hi)
      Fail(file_, line_, FileErrorCode::OutOfRange, keyword_,
           words_[i] + " is outside " + FormatNumber(lo) + ".." + FormatNumber(hi));
    return value;
  }

  int Int(size_t i, int lo, int hi) const {
    const double value = Double(i, lo, hi);
    if (value != std::floor(value))
      Fail(file_, line_, FileErrorCode::TypeMismatch, keyword_, words_[i] + " is not a whole number");
    return static_cast<int>(value);
  }

  // Refuses words after the last one the item takes.
  void End(size_t count) const {
    if (words_.size() > count)
      Fail(file_, line_, FileErrorCode::TypeMismatch, keyword_, "unexpected \"" + words_[count] + "\"");
  }

  [[noreturn]] void Error(FileErrorCode code, std::string message) const {
    Fail(file_, line_, code, keyword_, std::move(message));
  }

 private:
  const std::string& file_;
  int line_;
  std::vector<std::string> words_;
  std::string keyword_;
};

SegmentDescription ParseCurve(const ItemLine& item) {
  SegmentDescription seg;
  seg.Kind = item.Keyword() == "left" ? SegmentKind::Left : SegmentKind::Right;
  seg.Line = item.Line();
  seg.Angle = item.Double(1, 1, 360);
  for (size_t i = 2; i < item.Size();) {
    const std::string word = item.WordAt(i);
    if (word == "radius") {
      seg.Radius = item.Double(i + 1, 1, 10000);
      i += 2;
    } else if (word == "spaces") {
      seg.Spaces = item.Int(i + 1, 1, kMaxSpaces);
      i += 2;
    } else if (word == "limits") {
      for (++i; item.NumberAt(i); ++i) seg.Limits.push_back(item.Int(i, 1, kNoLimit - 1));
    } else if (word == "apex") {
      seg.Apex = true;
      ++i;
    } else if (word == "exit") {
      seg.ExitSpaces = item.Int(i + 1, 1, kMaxSpaces);
      i += 2;
      if (item.NumberAt(i)) seg.ExitLimit = item.Int(i++, kNoLimit, kOpenStraight - 1);
    } else {
      item.Error(FileErrorCode::TypeMismatch, "unknown word \"" + word + "\"");
    }
  }
  if ((seg.Radius > 0) == (seg.Spaces > 0)) item.Error(FileErrorCode::TypeMismatch, "a curve needs radius or spaces");
  if (seg.Limits.empty()) item.Error(FileErrorCode::PastEnd, "a curve needs its limits, inside to outside");
  for (size_t k = 1; k < seg.Limits.size(); ++k)
    if (seg.Limits[k] <= seg.Limits[k - 1]) item.Error(FileErrorCode::OutOfRange, "limits must rise outward");
  return seg;
}

void ParseLine(const ItemLine& item, TrackDescription& d, std::set<std::string>& seen, bool& lineGiven) {
  const std::string& key = item.Keyword();
  const bool segment = key == "straight" || key == "left" || key == "right" || key == "line";
  if (!segment && !seen.insert(key).second) item.Error(FileErrorCode::TypeMismatch, key + " is given twice");
  if (key == "straight") {
    SegmentDescription seg;
    seg.Spaces = item.Int(1, 1, kMaxSpaces);
    seg.Line = item.Line();
    item.End(2);
    d.Segments.push_back(seg);
  } else if (key == "left" || key == "right") {
    d.Segments.push_back(ParseCurve(item));
  } else if (key == "line") {
    if (lineGiven) item.Error(FileErrorCode::TypeMismatch, "line is given twice");
    lineGiven = true;
    item.End(1);
    d.StartSegment = d.Segments.size();
  } else if (key == "lanes") {
    d.Lanes = item.Int(1, 2, kMaxLanes);
    item.End(2);
  } else if (key == "car") {
    d.StartSpeed = item.Int(1, 0, kInt16Max);
    d.Acceleration = item.Int(2, 0, kInt16Max);
    d.Deceleration = item.Int(3, 0, kInt16Max);
    d.TopSpeed = item.Int(4, 0, kInt16Max);
    d.WearPerLap = item.Int(5, 0, kInt16Max);
    item.End(6);
  } else if (key == "wear") {
    d.WearFactor = item.Int(1, 1, kInt16Max);
    item.End(2);
  } else if (key == "heading") {
    d.Heading = item.Double(1, -360, 360);
    item.End(2);
  } else if (key == "margin") {
    d.Margin = item.Int(1, kGenMinMargin, 2000);
    item.End(2);
  } else if (key == "podium") {
    d.HasPodium = true;
    d.PodiumLeft = item.Double(1, 0, 100000);
    d.PodiumTop = item.Int(2, 0, 100000);
    item.End(3);
  } else if (key == "pit") {
    if (item.WordAt(1) != "entry" || item.WordAt(3) != "exit")
      item.Error(FileErrorCode::TypeMismatch, "write pit entry <space> exit <space>");
    d.PitEntry = item.Int(2, -kMaxSpaces, kMaxSpaces);
    d.PitExit = item.Int(4, -kMaxSpaces, kMaxSpaces);
    if (d.PitEntry == 0 || d.PitExit == 0) item.Error(FileErrorCode::OutOfRange, "there is no space 0");
    d.PitLine = item.Line();
    item.End(5);
  } else {
    item.Error(FileErrorCode::TypeMismatch, "unknown word \"" + key + "\"");
  }
}

}  // namespace

std::optional<FileError> ParseTrackDescription(std::string_view text, const std::string& fileName,
                                               TrackDescription& out) {
  TrackDescription d;
  d.FileName = fileName;
  std::set<std::string> seen;
  bool lineGiven = false;
  int lineNo = 0;
  try {
    size_t pos = 0;
    while (pos < text.size()) {
      const size_t end = std::min(text.find('\n', pos), text.size());
      std::string_view line = text.substr(pos, end - pos);
      pos = end + 1;
      ++lineNo;
      line = Trim(line.substr(0, line.find('#')));
      if (line.empty()) continue;
      std::vector<std::string> words = Words(line);
      const std::string key = Lower(words.front());
      // Text items take the rest of the line as written.
      if (key == "name" || key == "place1" || key == "place2" || key == "tag" || key == "carfile") {
        const std::string value(Trim(line.substr(words.front().size())));
        if (value.empty()) Fail(fileName, lineNo, FileErrorCode::PastEnd, key, key + " needs a text");
        if (!seen.insert(key).second) Fail(fileName, lineNo, FileErrorCode::TypeMismatch, key, key + " is given twice");
        if (key == "tag" && value.size() > 6)
          Fail(fileName, lineNo, FileErrorCode::OutOfRange, key, "a tag has at most six characters");
        (key == "name" ? d.Name : key == "place1" ? d.Place1 : key == "place2" ? d.Place2
                                                  : key == "tag"  ? d.Tag
                                                                  : d.DefaultCarFile) = value;
        continue;
      }
      ParseLine(ItemLine(fileName, lineNo, std::move(words)), d, seen, lineGiven);
    }
    d.LastLine = lineNo;
    for (const char* item : {"name", "place1", "place2", "tag", "lanes", "car"})
      if (!seen.contains(item)) Fail(fileName, lineNo, FileErrorCode::PastEnd, item, std::string(item) + " is missing");
    if (d.Segments.empty()) Fail(fileName, lineNo, FileErrorCode::PastEnd, "straight", "the circuit has no segments");
    if (d.StartSegment == d.Segments.size()) d.StartSegment = 0;
    for (const SegmentDescription& seg : d.Segments) {
      if (seg.Kind != SegmentKind::Straight && static_cast<int>(seg.Limits.size()) != d.Lanes)
        Fail(fileName, seg.Line, FileErrorCode::OutOfRange, "limits", "a curve gives one limit per lane");
    }
  } catch (const FileFormatError& e) {
    return e.Error();
  }
  out = std::move(d);
  return std::nullopt;
}

namespace {

struct Point {
  double X = 0, Y = 0;
};

// A segment as laid out: its indices and, in a curve, the cells each lane really has.
struct Laid {
  const SegmentDescription* Seg = nullptr;
  int First = 0;  // first space index
  int Count = 0;
  double Turn = 0;        // radians, + to the left
  double RefRadius = 0;   // centre of the road
  int InsideSide = 0;     // +1: the inside is the highest lane (a left curve); -1: lane 1
  std::array<int, kMaxLanes + 1> Cells{};
};

// Rank 1 on the inside, growing outward.
int RankOf(int lane, int lanes, int insideSide) { return insideSide > 0 ? lanes - lane + 1 : lane; }

int Octant(double radians) {
  const double degrees = std::fmod(std::fmod(radians * 180 / std::numbers::pi, 360) + 360, 360);
  return static_cast<int>(std::lround(degrees / 45)) % 8 + 1;
}

// The lengths of skip runs in a lane round the lap; the callback gets each run's last index.
template <class F>
void ForEachSkipRun(const Track& t, int lane, F&& run) {
  int start = 0;
  for (int space = 1; space <= t.TrackSpaces && start == 0; ++space)
    if (!t.CellSkip[space][lane]) start = space;
  if (start == 0) return;
  int length = 0;
  for (int k = 1; k <= t.TrackSpaces; ++k) {
    const int space = SpaceAhead(t, start, k);
    if (t.CellSkip[space][lane]) {
      ++length;
    } else if (length > 0) {
      run(length, PrevSpace(t, space));
      length = 0;
    }
  }
}

class Builder {
 public:
  Builder(const TrackDescription& d, Track& t) : d_(d), t_(t) {}

  void Run() {
    Order();
    Measure();
    Place();
    Mark();
    Check();
    Finish();
  }

 private:
  [[noreturn]] void Error(int line, std::string field, std::string message) const {
    Fail(d_.FileName, line, FileErrorCode::OutOfRange, std::move(field), std::move(message));
  }

  // Starts the running order at the first segment past the line.
  void Order() {
    const size_t n = d_.Segments.size();
    for (size_t k = 0; k < n; ++k) laid_.push_back(Laid{&d_.Segments[(d_.StartSegment + k) % n]});
    int straightBefore = 0;
    for (auto l = laid_.rbegin(); l != laid_.rend() && l->Seg->Kind == SegmentKind::Straight; ++l)
      straightBefore += l->Seg->Spaces;
    if (straightBefore < kGenGridSpaces)
      Error(laid_.back().Seg->Line, "line", "the line needs a straight of at least 21 spaces before it for the grid");
    double turn = 0;
    for (const Laid& l : laid_)
      turn += l.Seg->Kind == SegmentKind::Left ? l.Seg->Angle : l.Seg->Kind == SegmentKind::Right ? -l.Seg->Angle : 0;
    if (std::abs(std::abs(turn) - 360) > 1e-6)
      Error(d_.Segments.back().Line, "left", "the curves turn " + FormatNumber(turn) + " degrees in all, not 360");
  }

  // Counts each segment's indices and each curve lane's real cells.
  void Measure() {
    const int lanes = d_.Lanes;
    int next = 1;
    for (Laid& l : laid_) {
      const SegmentDescription& s = *l.Seg;
      l.First = next;
      if (s.Kind == SegmentKind::Straight) {
        l.Count = s.Spaces;
        l.Cells.fill(s.Spaces);
      } else {
        const double theta = s.Angle * std::numbers::pi / 180;
        const double across = (lanes - 1) * kGenLaneWidth;
        double inside = s.Radius;
        if (s.Spaces > 0) {
          l.Count = s.Spaces;
          inside = s.Spaces * kGenSpacePitch / theta - across;
        } else {
          l.Count = static_cast<int>(std::lround(theta * (inside + across) / kGenSpacePitch));
        }
        if (inside <= 0 || l.Count < 1) Error(s.Line, "radius", "the curve is too tight for its lanes");
        l.InsideSide = s.Kind == SegmentKind::Left ? 1 : -1;
        l.Turn = l.InsideSide * theta;
        l.RefRadius = inside + across / 2;
        for (int lane = 1; lane <= lanes; ++lane) {
          const double radius = inside + (RankOf(lane, lanes, l.InsideSide) - 1) * kGenLaneWidth;
          l.Cells[lane] = std::clamp(static_cast<int>(std::lround(theta * radius / kGenSpacePitch)), 1, l.Count);
        }
        if (l.Count > 3 * l.Cells[lanes] || l.Count > 3 * l.Cells[1])
          Error(s.Line, "radius", "the inside lane would need three skip cells in a row: widen the curve");
      }
      next += l.Count;
      if (next - 1 > kMaxSpaces) Error(s.Line, s.Kind == SegmentKind::Straight ? "straight" : "spaces",
                                       "the lap is longer than 600 spaces");
    }
    spaces_ = next - 1;
  }

  // The curve whose inside the ranks of a straight lean to: the next one.
  int InsideSideAt(size_t segment) const {
    for (size_t k = 0; k < laid_.size(); ++k) {
      const Laid& l = laid_[(segment + k) % laid_.size()];
      if (l.InsideSide != 0) return l.InsideSide;
    }
    return -1;
  }

  // Lays the road from the line: cell centres, headings, then the drift spread over the straights.
  void Place() {
    const int lanes = d_.Lanes;
    struct Spot {
      Point P;
      double Weight = 0;  // share of the closing drift: straight length run so far
    };
    std::vector<std::array<Spot, kMaxLanes + 1>> spots(spaces_ + 1);
    double totalStraight = 0;
    for (const Laid& l : laid_)
      if (l.InsideSide == 0) totalStraight += l.Count * kGenSpacePitch;
    Point at;
    double heading = d_.Heading * std::numbers::pi / 180;
    double straightSoFar = 0;
    for (const Laid& l : laid_) {
      const Point normal{-std::sin(heading), std::cos(heading)};  // toward the higher lanes
      if (l.InsideSide == 0) {
        const double length = l.Count * kGenSpacePitch;
        for (int i = 0; i < l.Count; ++i) {
          const double along = (i + 0.5) * kGenSpacePitch;
          for (int lane = 1; lane <= lanes; ++lane) {
            const double offset = (lane - (lanes + 1) / 2.0) * kGenLaneWidth;
            spots[l.First + i][lane] = {{at.X + std::cos(heading) * along + normal.X * offset,
                                         at.Y + std::sin(heading) * along + normal.Y * offset},
                                        straightSoFar + along};
            headings_[l.First + i][lane] = heading;
          }
        }
        at = {at.X + std::cos(heading) * length, at.Y + std::sin(heading) * length};
        straightSoFar += length;
        continue;
      }
      const int side = l.InsideSide;
      const Point centre{at.X + side * l.RefRadius * normal.X, at.Y + side * l.RefRadius * normal.Y};
      for (int lane = 1; lane <= lanes; ++lane) {
        const double radius = l.RefRadius - side * (lane - (lanes + 1) / 2.0) * kGenLaneWidth;
        auto put = [&](int space, double fraction) {
          const double a = heading + fraction * l.Turn;
          spots[space][lane] = {{centre.X + radius * side * std::sin(a), centre.Y - radius * side * std::cos(a)},
                                straightSoFar};
          headings_[space][lane] = a;
        };
        // Skip cells sit where their index lies; real cells are spread evenly along their lane.
        for (int i = 0; i < l.Count; ++i) {
          put(l.First + i, (i + 0.5) / l.Count);
          t_.CellSkip[l.First + i][lane] = true;
        }
        const int cells = l.Cells[lane];
        for (int j = 0; j < cells; ++j) {
          const int index = l.First + static_cast<int>(std::floor((j + 0.5) * l.Count / cells));
          put(index, (j + 0.5) / cells);
          t_.CellSkip[index][lane] = false;
        }
      }
      heading += l.Turn;
      at = {centre.X + l.RefRadius * side * std::sin(heading), centre.Y - l.RefRadius * side * std::cos(heading)};
    }
    const double drift = std::hypot(at.X, at.Y);
    double lapLength = 0;
    for (const Laid& l : laid_) lapLength += l.InsideSide == 0 ? l.Count * kGenSpacePitch : std::abs(l.Turn) * l.RefRadius;
    if (drift > 0.1 * lapLength)
      Error(d_.Segments.front().Line, "straight",
            "the circuit does not close: its end lies " + std::to_string(std::lround(drift)) + " units from its start");
    Point low{1e18, 1e18}, high{-1e18, -1e18};
    for (int space = 1; space <= spaces_; ++space) {
      for (int lane = 1; lane <= lanes; ++lane) {
        Spot& s = spots[space][lane];
        s.P.X -= at.X * s.Weight / totalStraight;
        s.P.Y -= at.Y * s.Weight / totalStraight;
        low = {std::min(low.X, s.P.X), std::min(low.Y, s.P.Y)};
        high = {std::max(high.X, s.P.X), std::max(high.Y, s.P.Y)};
      }
    }
    // The picture's y grows downward.
    const double edge = d_.Margin + kGenLaneWidth / 2;
    for (int space = 1; space <= spaces_; ++space) {
      for (int lane = 1; lane <= lanes; ++lane) {
        t_.CellX[space][lane] = static_cast<int>(std::lround(spots[space][lane].P.X - low.X + edge));
        t_.CellY[space][lane] = static_cast<int>(std::lround(high.Y - spots[space][lane].P.Y + edge));
        t_.CellImage[space][lane] = std::to_string(Octant(headings_[space][lane]));
      }
    }
    pictureCentre_ = {(high.X - low.X) / 2 + edge, (high.Y - low.Y) / 2 + edge};
  }

  // Ranks, limits, curve exits and apex lines.
  void Mark() {
    const int lanes = d_.Lanes;
    int apex = 0;
    for (size_t k = 0; k < laid_.size(); ++k) {
      const Laid& l = laid_[k];
      const SegmentDescription& s = *l.Seg;
      const int side = l.InsideSide != 0 ? l.InsideSide : InsideSideAt(k);
      for (int space = l.First; space < l.First + l.Count; ++space) {
        for (int lane = 1; lane <= lanes; ++lane) {
          const int rank = RankOf(lane, lanes, side);
          t_.CellLaneRank[space][lane] = rank;
          t_.CellSpeedLimit[space][lane] = l.InsideSide != 0 ? s.Limits[rank - 1] : kOpenStraight;
          if (l.InsideSide == 0) t_.CellSkip[space][lane] = false;
        }
      }
      if (l.InsideSide == 0) continue;
      if (s.ExitSpaces > 0) {
        const Laid& after = laid_[(k + 1) % laid_.size()];
        if (after.InsideSide != 0 || after.Count < s.ExitSpaces)
          Error(s.Line, "exit", "the curve's exit cells need a straight of that length after it");
        for (int space = after.First; space < after.First + s.ExitSpaces; ++space)
          for (int lane = 1; lane <= lanes; ++lane) exits_.emplace_back(space, lane, s.ExitLimit);
      }
      if (s.Apex) MarkApex(l, ++apex);
    }
    for (auto [space, lane, limit] : exits_) t_.CellSpeedLimit[space][lane] = limit;
    t_.ApexCount = apex;
  }

  // An apex line along the inside lane's cells, centred on the curve, at most 15 of them.
  void MarkApex(const Laid& l, int number) {
    if (number > kMaxApexes) Error(l.Seg->Line, "apex", "a track has at most 30 apex lines");
    const int inside = l.InsideSide > 0 ? d_.Lanes : 1;
    std::vector<int> cells;
    for (int space = l.First; space < l.First + l.Count; ++space)
      if (!t_.CellSkip[space][inside]) cells.push_back(space);
    if (cells.size() < 2) Error(l.Seg->Line, "apex", "the curve is too short for an apex line");
    const size_t count = std::min<size_t>(cells.size(), kMaxApexCells);
    const size_t from = (cells.size() - count) / 2;
    for (size_t k = 0; k < count; ++k) {
      const int space = cells[from + k];
      t_.ApexCells[number][k + 1] = {inside, space};
      t_.CellApexMark[space][inside] = k == 0 ? kApexFirst : (k + 1 == count ? kApexLast : kApexInside);
    }
  }

  const SegmentDescription& SegmentAt(int space) const {
    for (const Laid& l : laid_)
      if (space >= l.First && space < l.First + l.Count) return *l.Seg;
    return *laid_.front().Seg;
  }

  void Check() {
    t_.TrackLanes = d_.Lanes;
    t_.TrackSpaces = t_.TrackLength = spaces_;
    for (int lane = 1; lane <= d_.Lanes; ++lane) {
      ForEachSkipRun(t_, lane, [&](int length, int last) {
        if (length > 2) Error(SegmentAt(last).Line, "radius", "three skip cells in a row: widen the curve");
      });
    }
    auto resolve = [&](int given) {
      const int space = given > 0 ? given : spaces_ + 1 + given;
      if (space < 1 || space > spaces_) Error(d_.PitLine, "pit", "the pit lane lies beyond the lap");
      for (int lane = 1; lane <= d_.Lanes; ++lane)
        if (t_.CellSkip[space][lane]) Error(d_.PitLine, "pit", "the pit lane meets a space without a cell in every lane");
      return space;
    };
    if (d_.PitEntry != 0) {
      t_.PitEntrySpace = resolve(d_.PitEntry);
      t_.PitExitSpace = resolve(d_.PitExit);
    }
  }

  void Finish() {
    t_.TrackName = d_.Name;
    t_.TrackPlace1 = d_.Place1;
    t_.TrackPlace2 = d_.Place2;
    t_.TrackTag = PadTag(d_.Tag);
    t_.DefaultStartSpeed = d_.StartSpeed;
    t_.DefaultAcceleration = d_.Acceleration;
    t_.DefaultDeceleration = d_.Deceleration;
    t_.DefaultTopSpeed = d_.TopSpeed;
    t_.DefaultWearPerLap = d_.WearPerLap;
    t_.TrackDefaultCarFile = d_.DefaultCarFile;
    t_.TrackWearFactor = d_.WearFactor;
    t_.PodiumLeft = d_.HasPodium ? d_.PodiumLeft : std::round(pictureCentre_.X);
    t_.PodiumTop = d_.HasPodium ? d_.PodiumTop : static_cast<int>(std::lround(pictureCentre_.Y));
    for (int space = 1; space <= spaces_; ++space)
      for (int lane = 1; lane <= d_.Lanes; ++lane) t_.CellDrySpeedLimit[space][lane] = t_.CellSpeedLimit[space][lane];
    int racingLine = 0;
    for (int space = 1; space <= spaces_; ++space) {
      const int lane = RacingLineLane(t_, space);
      racingLine += lane != 0 && !t_.CellSkip[space][lane] ? 1 : 0;
    }
    t_.RacingLineSpaces = racingLine;
    // The lap's length is the racing line's: a description cannot give a distance that disagrees.
    t_.TrackDistanceMiles = static_cast<double>(racingLine) / kSpacesPerMile;
    t_.EverLoaded = true;
    DeriveCurveNumbers(t_);
    DerivePitLanes(t_);
  }

  const TrackDescription& d_;
  Track& t_;
  std::vector<Laid> laid_;
  int spaces_ = 0;
  CellTable<double> headings_{};
  std::vector<std::tuple<int, int, int>> exits_;
  Point pictureCentre_;
};

}  // namespace

std::optional<FileError> BuildTrack(const TrackDescription& description, Track& out) {
  // Tracks are large: keep the working copy and the builder's tables off the stack.
  auto track = std::make_unique<Track>();
  ClearTrackForLoad(*track);
  if (description.Segments.empty() || description.Lanes < 2 || description.Lanes > kMaxLanes)
    return FileError{FileErrorCode::OutOfRange, description.FileName, 0, "lanes", "no lanes or no segments"};
  try {
    auto builder = std::make_unique<Builder>(description, *track);
    builder->Run();
  } catch (const FileFormatError& e) {
    return e.Error();
  }
  out = std::move(*track);
  return std::nullopt;
}

TrackGenSummary SummariseTrack(const Track& t, int margin) {
  TrackGenSummary s;
  s.Lanes = t.TrackLanes;
  s.Spaces = t.TrackSpaces;
  s.RacingLineSpaces = t.RacingLineSpaces;
  s.Curves = CurveCount(t);
  int right = 0, bottom = 0;
  for (int lane = 1; lane <= t.TrackLanes; ++lane) {
    for (int space = 1; space <= t.TrackSpaces; ++space) {
      s.RealCells[lane] += t.CellSkip[space][lane] ? 0 : 1;
      right = std::max(right, t.CellX[space][lane]);
      bottom = std::max(bottom, t.CellY[space][lane]);
    }
    ForEachSkipRun(t, lane, [&](int length, int) { s.LongestSkipRun = std::max(s.LongestSkipRun, length); });
  }
  const int edge = margin + static_cast<int>(std::ceil(kGenLaneWidth / 2));
  s.PictureWidth = right + edge;
  s.PictureHeight = bottom + edge;
  return s;
}

std::vector<std::string> SummaryLines(const TrackGenSummary& s) {
  std::vector<std::string> lines = {
      "Lanes: " + std::to_string(s.Lanes),
      "Spaces: " + std::to_string(s.Spaces),
      "Racing line: " + std::to_string(s.RacingLineSpaces) + " spaces",
      "Curves: " + std::to_string(s.Curves),
  };
  std::string cells = "Cells per lane:";
  for (int lane = 1; lane <= s.Lanes; ++lane) cells += " " + std::to_string(s.RealCells[lane]);
  lines.push_back(cells);
  lines.push_back("Longest skip run: " + std::to_string(s.LongestSkipRun));
  lines.push_back("Picture: " + std::to_string(s.PictureWidth) + " x " + std::to_string(s.PictureHeight));
  return lines;
}

}  // namespace vm
