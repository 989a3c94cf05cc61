#include "core/track_check.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

namespace vm {

namespace {

namespace fs = std::filesystem;

constexpr int kFullGrid = 40;
constexpr int kGridRows = kFullGrid / 2;  // two cars a row
constexpr int kMostSkipsInARow = 2;       // a step passes over two skip cells at most

using Findings = std::vector<TrackFinding>;

bool HasRank(const Track& t, int space, int lane) { return t.CellLaneRank[space][lane] > 0; }
// A place a car can stop on.
bool IsReal(const Track& t, int space, int lane) { return !t.CellSkip[space][lane] && HasRank(t, space, lane); }
bool IsRealCurve(const Track& t, int space, int lane) {
  return IsReal(t, space, lane) && t.CellSpeedLimit[space][lane] < kNoLimit;
}

void CheckCells(const Track& t, Findings& out) {
  for (int space = 1; space <= t.TrackLength; ++space) {
    bool any = false;
    for (int lane = 1; lane <= t.TrackLanes; ++lane) any = any || IsReal(t, space, lane);
    if (!any) out.push_back({space, 0, "no real cell: every lane is a skip cell or has no rank"});
  }
}

// A skip cell without a rank is no cell at all: the lane has ended and no step goes there, so
// only ranked skip cells make a run a car would have to pass over.
void CheckSkipRuns(const Track& t, Findings& out) {
  const int n = t.TrackLength;
  auto skip = [&t](int space, int lane) { return t.CellSkip[space][lane] && HasRank(t, space, lane); };
  for (int lane = 1; lane <= t.TrackLanes; ++lane) {
    int start = 1;  // the walk starts after a cell that ends a run, so a run over the line stays whole
    while (start <= n && skip(start, lane)) ++start;
    if (start > n) {
      out.push_back({1, lane, "every cell of the lane is a skip cell"});
      continue;
    }
    int run = 0, first = 0;
    for (int k = 1, space = NextSpace(t, start); k <= n; ++k, space = NextSpace(t, space)) {
      if (skip(space, lane)) {
        if (run++ == 0) first = space;
        continue;
      }
      if (run > kMostSkipsInARow) {
        out.push_back(
            {first, lane, run == 3 ? "three skip cells in a row" : std::to_string(run) + " skip cells in a row"});
      }
      run = 0;
    }
  }
}

// The ranks of a curve space run 1, 2, ... with no gap. Skip cells keep their rank (the racing
// line may pass over one), so every ranked cell counts.
void CheckRanks(const Track& t, int space, Findings& out) {
  std::vector<std::pair<int, int>> ranked;  // rank, lane
  for (int lane = 1; lane <= t.TrackLanes; ++lane)
    if (HasRank(t, space, lane)) ranked.emplace_back(t.CellLaneRank[space][lane], lane);
  std::sort(ranked.begin(), ranked.end());
  int next = 1;
  for (const auto& [rank, lane] : ranked) {
    if (rank > next) {
      out.push_back(
          {space, lane, "rank " + std::to_string(rank) + " but no lane here has rank " + std::to_string(next)});
    }
    next = std::max(next, rank + 1);
  }
}

// A cell further from the racing line is no slower than any curve cell inside it.
void CheckCurveOrder(const Track& t, int space, Findings& out) {
  auto rank = [&](int lane) { return t.CellLaneRank[space][lane]; };
  auto limit = [&](int lane) { return t.CellSpeedLimit[space][lane]; };
  // A limit below 1 has its own finding.
  auto curve = [&](int lane) { return IsRealCurve(t, space, lane) && limit(lane) >= 1; };
  for (int lane = 1; lane <= t.TrackLanes; ++lane) {
    if (!curve(lane)) continue;
    int inside = 0;  // the fastest curve cell of a lower rank
    for (int other = 1; other <= t.TrackLanes; ++other) {
      if (curve(other) && rank(other) < rank(lane) && (inside == 0 || limit(other) > limit(inside))) inside = other;
    }
    if (inside != 0 && limit(lane) < limit(inside)) {
      out.push_back({space, lane,
                     "curve limit " + std::to_string(limit(lane)) + " is below " + std::to_string(limit(inside)) +
                         " on lane " + std::to_string(inside) + " inside it"});
    }
  }
}

void CheckLimitsAndRanks(const Track& t, Findings& out) {
  for (int space = 1; space <= t.TrackLength; ++space) {
    bool curve = false;
    for (int lane = 1; lane <= t.TrackLanes; ++lane) {
      curve = curve || IsRealCurve(t, space, lane);
      const int limit = t.CellSpeedLimit[space][lane];
      if (IsReal(t, space, lane) && (limit < 1 || limit > kOpenStraight)) {
        out.push_back(
            {space, lane,
             "limit " + std::to_string(limit) + " is no curve (1..299), exit (300..998) or open straight (999)"});
      }
    }
    if (!curve) continue;
    CheckRanks(t, space, out);
    CheckCurveOrder(t, space, out);
  }
}

void CheckApexLines(const Track& t, Findings& out) {
  auto onTrack = [&t](const ApexCell& c) {
    return c.Lane >= 1 && c.Lane <= t.TrackLanes && c.Space >= 1 && c.Space <= t.TrackLength;
  };
  auto listed = std::make_unique<CellTable<bool>>();
  for (int apex = 1; apex <= kMaxApexes; ++apex) {
    const auto& cells = t.ApexCells[apex];
    int n = 0;
    for (int k = 1; k <= kMaxApexCells; ++k)
      if (cells[k] != ApexCell{}) n = k;
    for (int k = 1; k <= n; ++k) {
      const ApexCell& c = cells[k];
      const std::string name =
          "apex " + std::to_string(apex) + ", cell " + std::to_string(k) + " of " + std::to_string(n);
      if (!onTrack(c)) {
        out.push_back({c.Space, c.Lane, name + ", lies off the track"});
        continue;
      }
      (*listed)[c.Space][c.Lane] = true;
      const int want = k == 1 ? kApexFirst : (k == n ? kApexLast : kApexInside);
      const int mark = t.CellApexMark[c.Space][c.Lane];
      if (mark != want) {
        out.push_back({c.Space, c.Lane,
                       name + ", has apex mark " + std::to_string(mark) + " instead of " + std::to_string(want)});
      }
    }
  }
  for (int space = 1; space <= t.TrackLength; ++space) {
    for (int lane = 1; lane <= t.TrackLanes; ++lane) {
      const int mark = t.CellApexMark[space][lane];
      if (mark != 0 && !(*listed)[space][lane])
        out.push_back({space, lane, "apex mark " + std::to_string(mark) + " on a cell no apex line lists"});
    }
  }
}

std::string WhyNotReal(const Track& t, int space, int lane) {
  return t.CellSkip[space][lane] ? "a skip cell" : "a cell with no rank";
}

void CheckPitLane(const Track& t, Findings& out) {
  if (t.PitEntrySpace == 0) return;  // no pit lane
  bool inRange = true;
  for (const auto& [space, what] : {std::pair{t.PitEntrySpace, "entry"}, std::pair{t.PitExitSpace, "exit"}}) {
    if (space < 1 || space > t.TrackLength) {
      out.push_back(
          {space, 0, std::string("pit ") + what + " off the track (spaces 1.." + std::to_string(t.TrackLength) + ")"});
      inRange = false;
    }
  }
  if (!inRange) return;
  // The lanes come from the ranks; derive them afresh so that a track edited since loading is
  // judged by its cells.
  auto derived = std::make_unique<Track>(t);
  DerivePitLanes(*derived);
  const int entry = t.PitEntrySpace, entryLane = derived->PitEntryLane;
  if (!IsReal(t, entry, entryLane))
    out.push_back({entry, entryLane, "pit entry on " + WhyNotReal(t, entry, entryLane)});
  const int exit = t.PitExitSpace;
  const auto [low, high] = std::minmax(derived->PitExitLane, derived->PitExitLaneAlt);
  for (int lane = std::max(low, 1); lane <= std::min(high, t.TrackLanes); ++lane)
    if (!IsReal(t, exit, lane)) out.push_back({exit, lane, "pit exit on " + WhyNotReal(t, exit, lane)});
}

// The grid fills backward from the line, two cars a space, passing over skip and unranked
// cells; the first curve cell in a grid lane ends the room.
void CheckGrid(const Track& t, Findings& out) {
  const auto [front, second] = GridLanes(t);
  int rows = 0;
  auto tooShort = [&rows](int space, int lane) {
    return TrackFinding{space, lane,
                        "the grid has " + std::to_string(rows) + " straight rows behind the line; " +
                            std::to_string(kFullGrid) + " cars need " + std::to_string(kGridRows)};
  };
  for (int space = t.TrackLength; space >= 1; --space) {
    for (int lane : {front, second}) {
      if (IsRealCurve(t, space, lane)) {
        out.push_back(tooShort(space, lane));
        return;
      }
    }
    if (IsReal(t, space, front) && IsReal(t, space, second) && ++rows == kGridRows) return;
  }
  out.push_back(tooShort(0, 0));
}

std::string Lower(std::string_view s) {
  std::string out(s);
  for (char& c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return out;
}

bool EndsWith(std::string_view s, std::string_view tail) {
  return s.size() >= tail.size() && s.substr(s.size() - tail.size()) == tail;
}

// The entries of a folder, sorted; none when it cannot be read.
std::vector<fs::directory_entry> Entries(const fs::path& folder) {
  std::vector<fs::directory_entry> entries;
  std::error_code ec;
  for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) entries.push_back(*it);
  std::sort(entries.begin(), entries.end());
  return entries;
}

// Files on disk may come from a case-blind system: names compare without case.
void CheckPictures(const Track& t, const std::string& carsFolder, Findings& out) {
  std::map<std::string, std::pair<int, int>> images;  // heading suffix -> the first real cell using it
  for (int space = 1; space <= t.TrackLength; ++space) {
    for (int lane = 1; lane <= t.TrackLanes; ++lane) {
      const std::string& image = t.CellImage[space][lane];
      if (IsReal(t, space, lane) && image.find_first_not_of(' ') != std::string::npos)
        images.try_emplace(image, space, lane);
    }
  }
  std::error_code ec;
  if (!fs::is_directory(carsFolder, ec)) {
    out.push_back({0, 0, "no cars folder " + carsFolder});
    return;
  }
  for (const auto& model : Entries(carsFolder)) {
    if (!model.is_directory(ec)) continue;
    for (const auto& gifs : Entries(model.path())) {
      if (!gifs.is_directory(ec) || Lower(gifs.path().filename().string()) != "gifs") continue;
      std::set<std::string> files;                  // lower case
      std::map<std::string, std::string> liveries;  // lower case -> as on disk
      for (const auto& file : Entries(gifs.path())) {
        const std::string name = file.path().filename().string(), lower = Lower(name);
        files.insert(lower);
        if (EndsWith(lower, ".bmp"))
          liveries.try_emplace(lower.substr(0, lower.size() - 4), name.substr(0, name.size() - 4));
        if (EndsWith(lower, "0.gif"))
          liveries.try_emplace(lower.substr(0, lower.size() - 5), name.substr(0, name.size() - 5));
      }
      const std::string folder = model.path().filename().string() + "/" + gifs.path().filename().string() + "/";
      for (const auto& [lowerLivery, livery] : liveries) {
        for (const auto& [image, cell] : images) {
          if (files.count(lowerLivery + Lower(image) + ".gif") == 0)
            out.push_back({cell.first, cell.second, "no car picture " + folder + livery + image + ".gif"});
        }
      }
    }
  }
}

}  // namespace

std::vector<TrackFinding> CheckTrack(const Track& track, const TrackCheckOptions& options) {
  Findings out;
  if (track.TrackLanes < 1 || track.TrackLanes > kMaxLanes)
    out.push_back({0, 0, std::to_string(track.TrackLanes) + " lanes; a track has 1 to " + std::to_string(kMaxLanes)});
  if (track.TrackLength < 1 || track.TrackLength > kMaxSpaces)
    out.push_back(
        {0, 0, std::to_string(track.TrackLength) + " spaces; a track has 1 to " + std::to_string(kMaxSpaces)});
  if (!out.empty()) return out;  // the cell tables cannot be read
  CheckCells(track, out);
  CheckSkipRuns(track, out);
  CheckLimitsAndRanks(track, out);
  CheckApexLines(track, out);
  CheckPitLane(track, out);
  CheckGrid(track, out);
  if (!options.CarsFolder.empty()) CheckPictures(track, options.CarsFolder, out);
  return out;
}

std::string Describe(const TrackFinding& finding) {
  std::string where;
  if (finding.Space != 0) where = "space " + std::to_string(finding.Space);
  if (finding.Lane != 0) where += (where.empty() ? "lane " : ", lane ") + std::to_string(finding.Lane);
  return where.empty() ? finding.Message : where + ": " + finding.Message;
}

}  // namespace vm
