#include "core/track_file.h"

#include <cctype>
#include <memory>
#include <utility>

#include "core/paths.h"

namespace vm {

namespace {

constexpr int kInt16Max = 32767;

std::string Trimmed(std::string s) {
  size_t first = s.find_first_not_of(" \t");
  if (first == std::string::npos) return "";
  size_t last = s.find_last_not_of(" \t");
  return s.substr(first, last - first + 1);
}

void ReadHeader(TextReader& in, TrackHeader& h) {
  h.TrackDistanceMiles = in.ReadDouble("TrackDistanceMiles");
  h.TrackName = in.ReadString("TrackName");
  h.TrackPlace1 = in.ReadString("TrackPlace1");
  h.TrackPlace2 = in.ReadString("TrackPlace2");
  h.TrackTag = PadTag(in.ReadString("TrackTag"));
  h.DefaultStartSpeed = in.ReadInt16("default start speed");
  h.DefaultAcceleration = in.ReadInt16("default acceleration");
  h.DefaultDeceleration = in.ReadInt16("default deceleration");
  h.DefaultTopSpeed = in.ReadInt16("default top speed");
  h.DefaultWearPerLap = in.ReadInt16("default wear per lap");
  h.TrackLanes = static_cast<int>(in.ReadInteger("TrackLanes", 1, kMaxLanes));
  h.RacingLineSpaces = static_cast<int>(in.ReadInteger("RacingLineSpaces", 0, kInt16Max));
}

void ReadCells(TextReader& in, Track& t) {
  for (int lane = 1; lane <= t.TrackLanes; ++lane) {
    for (int space = 1; space <= t.TrackSpaces; ++space) {
      t.CellX[space][lane] = in.ReadInt32("CellX");
      t.CellY[space][lane] = in.ReadInt32("CellY");
      t.CellApexMark[space][lane] = in.ReadInt16("CellApexMark");
      t.CellSpeedLimit[space][lane] = in.ReadInt16("CellSpeedLimit");
      t.CellDrySpeedLimit[space][lane] = t.CellSpeedLimit[space][lane];
      t.CellSkip[space][lane] = in.ReadBool("CellSkip");
      t.CellLaneRank[space][lane] = in.ReadInt16("CellLaneRank");
      t.CellImage[space][lane] = in.ReadString("CellImage");
    }
  }
}

void ReadApexes(TextReader& in, Track& t) {
  t.ApexCount = static_cast<int>(in.ReadInteger("ApexCount", 0, kMaxApexes));
  for (int block = 1; block <= t.ApexCount; ++block) {
    const int apex = static_cast<int>(in.ReadInteger("apex number", 1, kMaxApexes));
    const int cells = static_cast<int>(in.ReadInteger("apex cell count", 0, kMaxApexCells));
    for (int k = 1; k <= cells; ++k) {
      ApexCell& cell = t.ApexCells[apex][k];
      cell.Lane = static_cast<int>(in.ReadInteger("apex lane", 0, kMaxLanes));
      cell.Space = static_cast<int>(in.ReadInteger("apex space", 0, kMaxSpaces));
    }
  }
}

// Everything after the header: a file that stops anywhere here keeps what it gave so far.
void ReadBody(TextReader& in, Track& t, double& wearFactor) {
  ReadCells(in, t);
  ReadApexes(in, t);
  t.PodiumLeft = in.ReadDouble("PodiumLeft");
  t.PodiumTop = in.ReadInt32("PodiumTop");
  t.PitEntrySpace = static_cast<int>(in.ReadInteger("PitEntrySpace", 0, t.TrackLength));
  t.PitExitSpace = static_cast<int>(in.ReadInteger("PitExitSpace", 0, t.TrackLength));
  t.TrackDefaultCarFile = Trimmed(in.ReadString("default car"));
  for (int i = 1; i <= 5; ++i) in.ReadInt16("reserved");
  wearFactor = in.ReadDouble("TrackWearFactor");
}

}  // namespace

bool IsTrackFileName(const std::string& fileName) {
  const std::string name = BaseName(NativePath(fileName));
  if (name.size() <= 4) return false;
  std::string ext = name.substr(name.size() - 4);
  for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return ext == ".trk";
}

std::optional<FileError> LoadTrackText(Track& track, std::string text, const std::string& fileName) {
  // The current track stays untouched until the new one is whole. Tracks are large: keep the
  // working copy off the stack.
  auto work = std::make_unique<Track>(track);
  Track& t = *work;
  TextReader in(std::move(text), fileName);
  try {
    ClearTrackForLoad(t);
    ReadHeader(in, t);
    // A claim beyond 600 fails here, not at cell 601: a file ending early must never leave the
    // lap longer than the tables.
    t.TrackSpaces = static_cast<int>(in.ReadInteger("TrackSpaces", 1, kMaxSpaces));
    t.TrackLength = t.TrackSpaces;
    double wearFactor = 0;
    try {
      ReadBody(in, t, wearFactor);
    } catch (const FileFormatError& e) {
      if (e.Error().Code != FileErrorCode::PastEnd) throw;
    }
    // Old files have no factor; none or one of 0 or less means 1. A factor that rounds to 0
    // (0.5 and below) counts as 1 too: a 0 written back would read as 1, and a round trip must
    // not change the track.
    wearFactor = RoundHalfEven(wearFactor);
    if (wearFactor < 1) wearFactor = 1;
    if (wearFactor > kInt16Max)
      in.Fail(FileErrorCode::OutOfRange, "TrackWearFactor", "the wear factor is too large", in.LastFieldLine());
    t.TrackWearFactor = static_cast<int>(wearFactor);
  } catch (const FileFormatError& e) {
    return e.Error();
  }
  t.TrackFile = fileName;
  t.EverLoaded = true;
  DeriveCurveNumbers(t);
  DerivePitLanes(t);
  track = std::move(t);
  return std::nullopt;
}

std::optional<FileError> LoadTrack(Track& track, const std::string& fileName) {
  // A race configuration may name any path: only a track file is ever opened as a track.
  if (!IsTrackFileName(fileName))
    return FileError{FileErrorCode::NotAFile, fileName, 0, "", "a track is a .trk file"};
  std::string text;
  if (std::optional<FileError> error = ReadTextFile(fileName, text)) return error;
  return LoadTrackText(track, std::move(text), fileName);
}

std::optional<FileError> TrackPreview(const std::string& fileName, TrackHeader& header) {
  std::string text;
  if (std::optional<FileError> error = ReadTextFile(fileName, text)) return error;
  TextReader in(std::move(text), fileName);
  try {
    TrackHeader h;
    ReadHeader(in, h);
    header = std::move(h);
  } catch (const FileFormatError& e) {
    return e.Error();
  }
  return std::nullopt;
}

std::string TrackFileText(const Track& t) {
  TextWriter w;
  w.Dbl(t.TrackDistanceMiles).Str(t.TrackName).Str(t.TrackPlace1).Str(t.TrackPlace2).Str(t.TrackTag);
  w.EndLine();
  w.Int(t.DefaultStartSpeed).Int(t.DefaultAcceleration).Int(t.DefaultDeceleration);
  w.Int(t.DefaultTopSpeed).Int(t.DefaultWearPerLap);
  w.EndLine();
  w.Int(t.TrackLanes).Int(t.RacingLineSpaces).Int(t.TrackSpaces);
  w.EndLine();
  for (int lane = 1; lane <= t.TrackLanes; ++lane) {
    for (int space = 1; space <= t.TrackSpaces; ++space) {
      w.Int(t.CellX[space][lane]).Int(t.CellY[space][lane]).Int(t.CellApexMark[space][lane]);
      w.Int(t.CellDrySpeedLimit[space][lane]).Bool(t.CellSkip[space][lane]);
      w.Int(t.CellLaneRank[space][lane]).Str(t.CellImage[space][lane]);
      w.EndLine();
    }
  }
  // Apex lines are written as the blocks that hold cells, each up to its last set cell.
  auto cellsOf = [&](int apex) {
    int n = 0;
    for (int k = 1; k <= kMaxApexCells; ++k)
      if (t.ApexCells[apex][k].Lane != 0 || t.ApexCells[apex][k].Space != 0) n = k;
    return n;
  };
  int blocks = 0;
  for (int apex = 1; apex <= kMaxApexes; ++apex) blocks += cellsOf(apex) > 0 ? 1 : 0;
  w.Int(blocks);
  w.EndLine();
  for (int apex = 1; apex <= kMaxApexes; ++apex) {
    const int n = cellsOf(apex);
    if (n == 0) continue;
    w.Int(apex).Int(n);
    for (int k = 1; k <= n; ++k) w.Int(t.ApexCells[apex][k].Lane).Int(t.ApexCells[apex][k].Space);
    w.EndLine();
  }
  w.Dbl(t.PodiumLeft).Int(t.PodiumTop);
  w.EndLine();
  w.Int(t.PitEntrySpace).Int(t.PitExitSpace);
  w.EndLine();
  w.Str(t.TrackDefaultCarFile);
  w.EndLine();
  w.Int(0).Int(0).Int(0).Int(0).Int(0);
  w.EndLine();
  w.Dbl(t.TrackWearFactor);
  w.EndLine();
  return w.Text();
}

std::optional<FileError> SaveTrack(const Track& track, const std::string& fileName) {
  return WriteFileAtomic(fileName, TrackFileText(track));
}

}  // namespace vm
