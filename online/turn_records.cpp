#include "online/turn_records.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>

#include "core/race_json.h"
#include "core/textfile.h"
#include "rules/weather.h"

namespace vm {

namespace {

// --- Fields on the wire ----------------------------------------------------------------------------

struct RecordError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

std::string F(int v) { return std::to_string(v); }
std::string F(bool v) { return v ? "True" : "False"; }
std::string F(double v) {
  char text[32];
  const auto [end, ec] = std::to_chars(text, text + sizeof text, v);
  return ec == std::errc{} ? std::string(text, end) : "0";
}
// A text field holds no comma and no line end: they would split it.
std::string S(std::string_view v) {
  std::string out(v);
  for (char& c : out)
    if (c == ',' || c == '\r' || c == '\n') c = ' ';
  return out;
}

class Line {
 public:
  explicit Line(std::string tag) : text_(std::move(tag)) {}
  template <class T>
  Line& operator<<(const T& v) {
    if (!first_) text_ += ',';
    first_ = false;
    text_ += F(v);
    return *this;
  }
  Line& Str(std::string_view v) {
    if (!first_) text_ += ',';
    first_ = false;
    text_ += S(v);
    return *this;
  }
  std::string Text() const { return text_; }

 private:
  std::string text_;
  bool first_ = true;
};

// Reads the comma-separated fields of one payload, refusing anything out of its range.
class Fields {
 public:
  explicit Fields(std::string_view payload) {
    size_t start = 0;
    for (;;) {
      const size_t comma = payload.find(',', start);
      parts_.push_back(payload.substr(start, comma == std::string_view::npos ? std::string_view::npos : comma - start));
      if (comma == std::string_view::npos) break;
      start = comma + 1;
    }
  }
  int Int(int lo, int hi) {
    const std::string_view f = Next();
    long long v = 0;
    const auto [end, ec] = std::from_chars(f.data(), f.data() + f.size(), v);
    if (ec != std::errc{} || end != f.data() + f.size() || f.empty() || v < lo || v > hi)
      throw RecordError("field " + std::to_string(at_) + " is not a number from " + std::to_string(lo) + " to " +
                        std::to_string(hi));
    return static_cast<int>(v);
  }
  int Int16() { return Int(-32768, 32767); }
  double Dbl() {
    const std::string_view f = Next();
    double v = 0;
    const auto [end, ec] = std::from_chars(f.data(), f.data() + f.size(), v);
    if (ec != std::errc{} || end != f.data() + f.size() || f.empty() || !std::isfinite(v) || std::fabs(v) > 1e9)
      throw RecordError("field " + std::to_string(at_) + " is not a number");
    return v;
  }
  bool Bool() {
    const std::string_view f = Next();
    if (f == "True") return true;
    if (f == "False") return false;
    throw RecordError("field " + std::to_string(at_) + " is not True or False");
  }
  std::string Str() { return std::string(Next()); }
  // The rest of the payload from the next field on, commas and all.
  std::string Rest() {
    std::string out;
    for (size_t i = at_; i < parts_.size(); ++i) out += (i > at_ ? "," : "") + std::string(parts_[i]);
    at_ = parts_.size();
    return out;
  }
  void End() const {
    if (at_ != parts_.size()) throw RecordError("the line has " + std::to_string(parts_.size()) + " fields");
  }

 private:
  std::string_view Next() {
    if (at_ >= parts_.size()) throw RecordError("the line ends after " + std::to_string(parts_.size()) + " fields");
    return parts_[at_++];
  }
  std::vector<std::string_view> parts_;
  size_t at_ = 0;
};

constexpr int kSpeedMax = 1000;
constexpr int kLapMax = kMaxLaps + 1;
constexpr int kPitRows = 11;
constexpr size_t kExtensionChunk = 16000;
constexpr size_t kMaxRecordBytes = 8 * 1024 * 1024;

// --- Sections ----------------------------------------------------------------------------------------

// The sections of a TIP or TEP burst in their order, by the letter after "TIP"/"TEP".
enum Section { A, B, C, Laps, D, E, F_, G, H, I, J, K, L, M, N, O, P, Q, R, kSections };
constexpr std::string_view kLetters = "ABC?DEFGHIJKLMNOPQR";

std::string Tag(RecordKind kind, int section) {
  if (section == Laps) return "[TEPLaps]";
  return std::string(kind == RecordKind::TEP ? "[TEP" : "[TIP") + kLetters[static_cast<size_t>(section)] + "]";
}

// The race record as the wire carries it, with the car at place i in field 8.
Line& RaceRecord(Line& l, const RaceState& rs, int i, int carAtPlace) {
  l << rs.CarEngineDamaged[i] << rs.CarBrakesDamaged[i] << rs.CarMoveCount[i] << rs.CarAvgSpeed[i];
  l << rs.CarStatus[i] << rs.CarLap[i] << rs.CarOutOfRace[i] << carAtPlace;
  l << rs.CarDraftTarget[i] << rs.CarRaceDistance[i] << rs.CarLane[i] << rs.CarSpace[i];
  l << rs.CarWears[i] << rs.CarSpeed[i] << rs.CarApexNumber[i] << rs.CarApexLimit[i];
  l << rs.CarApexSpeed[i] << rs.CarCurveRankPaid[i] << rs.CarOnApexCells[i];
  l << rs.CarCurveEntryLimit[i] << rs.CarNewSpeed[i] << rs.CarCurveExcessPaid[i] << rs.CarCurveOwes[i];
  l << rs.CarLapClock[i] << rs.CarRaceClock[i];
  return l;
}

int ReadRaceRecord(Fields& f, RaceState& rs, int i) {
  rs.CarEngineDamaged[i] = f.Bool();
  rs.CarBrakesDamaged[i] = f.Bool();
  rs.CarMoveCount[i] = f.Int(0, 1000000);
  rs.CarAvgSpeed[i] = f.Dbl();
  rs.CarStatus[i] = f.Int(0, kStalled);
  rs.CarLap[i] = f.Int(0, kLapMax);
  rs.CarOutOfRace[i] = f.Bool();
  const int carAtPlace = f.Int(0, kMaxCars);
  rs.CarDraftTarget[i] = f.Int(0, kMaxCars);
  rs.CarRaceDistance[i] = f.Int(-kMaxSpaces, kLapMax * kMaxSpaces + kMaxSpaces);
  rs.CarLane[i] = f.Int(0, kMaxLanes + 1);
  rs.CarSpace[i] = f.Int(0, kMaxSpaces);
  rs.CarWears[i] = f.Int16();
  rs.CarSpeed[i] = f.Int(0, kSpeedMax);
  rs.CarApexNumber[i] = f.Int16();
  rs.CarApexLimit[i] = f.Int16();
  rs.CarApexSpeed[i] = f.Int16();
  rs.CarCurveRankPaid[i] = f.Int16();
  rs.CarOnApexCells[i] = f.Bool();
  rs.CarCurveEntryLimit[i] = f.Int16();
  rs.CarNewSpeed[i] = f.Int(0, kSpeedMax);
  rs.CarCurveExcessPaid[i] = f.Int16();
  rs.CarCurveOwes[i] = f.Bool();
  rs.CarLapClock[i] = f.Dbl();
  rs.CarRaceClock[i] = f.Dbl();
  return carAtPlace;
}

// A car's picture as the wire carries it: behind the cars folder, with forward separators.
std::string StoredPicture(std::string picture, std::string_view carsFolder) {
  if (!carsFolder.empty() && picture.rfind(carsFolder, 0) == 0) picture.erase(0, carsFolder.size());
  std::replace(picture.begin(), picture.end(), '\\', '/');
  return picture.empty() ? " " : picture;
}

// A picture named by a peer stays inside the cars folder.
std::string PictureFrom(std::string stored, std::string_view carsFolder) {
  std::replace(stored.begin(), stored.end(), '\\', '/');
  const bool blank = stored.find_first_not_of(' ') == std::string::npos;
  if (blank || stored.find("..") != std::string::npos || stored.front() == '/' || stored.find(':') != std::string::npos)
    return "";
  return std::string(carsFolder) + stored;
}

// The first nineteen fields of a car's line: ratings, driver and profile.
Line& DriverLine(Line& l, const RaceState& rs, int car, std::string_view carsFolder) {
  l << rs.CarStartSpeed[car] << rs.CarAcceleration[car] << rs.CarDeceleration[car] << rs.CarTopSpeed[car];
  l << rs.CarWearPerLap[car] << rs.CarIsAI[car] << rs.CarProfileSpare[car] << rs.CarRaceProfile[car];
  l << rs.CarLapProfile[car];
  l.Str(StoredPicture(rs.CarPicture[car], carsFolder)).Str(rs.DriverName[car]);
  l << rs.CarDRM[car];
  l.Str(rs.CarTeam[car]);
  l << rs.CarRiskSS[car] << rs.CarRiskC[car] << rs.CarRiskD[car] << rs.CarRiskCA[car] << rs.CarRiskA[car]
    << rs.CarRiskT[car];
  return l;
}

void ReadDriverLine(Fields& f, RaceState& rs, int car, std::string_view carsFolder, bool takeAI) {
  rs.CarStartSpeed[car] = f.Int(0, kSpeedMax);
  rs.CarAcceleration[car] = f.Int(0, kSpeedMax);
  rs.CarDeceleration[car] = f.Int(0, kSpeedMax);
  rs.CarTopSpeed[car] = f.Int(0, kSpeedMax);
  rs.CarWearPerLap[car] = f.Int(0, 100);
  const bool ai = f.Bool();
  if (takeAI) rs.CarIsAI[car] = ai;
  rs.CarProfileSpare[car] = f.Int16();
  rs.CarRaceProfile[car] = f.Int16();
  rs.CarLapProfile[car] = f.Int16();
  rs.CarPicture[car] = PictureFrom(f.Str(), carsFolder);
  rs.DriverName[car] = f.Str();
  rs.CarDRM[car] = f.Int(-2, 2);
  rs.CarTeam[car] = f.Str();
  rs.CarRiskSS[car] = f.Int16();
  rs.CarRiskC[car] = f.Int16();
  rs.CarRiskD[car] = f.Int16();
  rs.CarRiskCA[car] = f.Int16();
  rs.CarRiskA[car] = f.Int16();
  rs.CarRiskT[car] = f.Int16();
}

template <class T>
Line PerCarLine(std::string tag, const PerCar<T>& values) {
  Line l(std::move(tag));
  for (int car = 1; car <= kMaxCars; ++car) l << values[static_cast<size_t>(car)];
  return l;
}

// The pit lane's queue as a table of eleven rows by queue place: the car, its turns to release,
// its task and the spaces it carries; rows 4 to 10 are kept for more and sent as zeros.
int PitCell(const RaceState& rs, int row, int place) {
  if (place > static_cast<int>(rs.PitQueue.size())) return 0;
  const PitQueueEntry& e = rs.PitQueue[static_cast<size_t>(place - 1)];
  switch (row) {
    case 0: return e.Car;
    case 1: return e.ReleaseTurns;
    case 2: return e.TaskCode;
    case 3: return e.SpacesCarried;
    default: return 0;
  }
}

// Fields of the race a record leaves to the lap window, to the track file, or to the receiving
// machine itself (its own file names).
const std::set<std::string, std::less<>>& NotInExtension() {
  static const std::set<std::string, std::less<>> fields = {
      "LapOrder",   "LapGap",         "LapSpeedMph",    "LapWearsUsed",       "track",
      "CarPicture", "CurrentCarFile", "DefaultCarFile", "DefaultResultTable", "DefaultTeamFile"};
  return fields;
}

// A client's record moves cars; the race's settings and who drives what stay the host's.
const std::set<std::string, std::less<>>& NotFromClient() {
  static const std::set<std::string, std::less<>> fields = [] {
    std::set<std::string, std::less<>> f = NotInExtension();
    for (const char* name : {"CarIsAI",
                             "CarIsAIAtStart",
                             "CarCount",
                             "CarCountAtStart",
                             "RaceLaps",
                             "CarSetupPoints",
                             "GameMode",
                             "OptCurveEntryBySlipstream",
                             "OptAccelFromCurveExit",
                             "OptBlueFlag",
                             "OptSlipstreamInCurves",
                             "OptNoLaneChangeInCurves",
                             "SavedRaceLaps",
                             "QualifyingMethod",
                             "AllowRequalifying",
                             "PointStructure",
                             "PointsPole",
                             "PointsLeadLap",
                             "PointsFastLap",
                             "PointsLeadMost",
                             "UndoDisabled",
                             "AILoadOptimumSetup",
                             "AIRandomizeOptimumSetup",
                             "WeatherEnabled",
                             "WeatherCycles",
                             "PitLaneOpen",
                             "PitRepairOnly",
                             "MinPitStops",
                             "MinPitDuration",
                             "StartWearAllotment",
                             "PitReplenishment",
                             "CarMovementDelay",
                             "HighlightLeader",
                             "RaceConfigLoaded",
                             "AgreementShown",
                             "LockCars",
                             "AccumulateDamage",
                             "AllowManualDice",
                             "Tables"})
      f.insert(name);
    return f;
  }();
  return fields;
}

std::string Quoted(std::string_view payload) { return "\"" + std::string(payload) + "\""; }

}  // namespace

// --- Building ------------------------------------------------------------------------------------------

std::pair<int, int> LapWindow(const RaceState& rs, int last) {
  // Over, the race has left the running order: the last laps' rows were filled by the finishers,
  // which no window of running cars covers any more. The final record carries every lap.
  if (rs.RaceOver) return {0, std::clamp(rs.RaceLaps + 1, 1, kMaxLaps)};
  int first = 0;
  for (int pos = std::clamp(rs.CarCount, 0, kMaxCars); pos >= 1; --pos) {
    const int car = rs.RunningOrder[static_cast<size_t>(pos)];
    if (IsCarNumber(car) && rs.CarLap[car] > 0) {
      first = rs.CarLap[car];
      break;
    }
  }
  if (first == 0 && last == 0) last = 1;
  last = std::clamp(last, 0, kMaxLaps);
  first = std::clamp(first, 0, last);
  return {first, last};
}

std::vector<std::string> BuildTipBurst(const RaceState& rs, RecordKind kind, int tipCar, std::string_view carsFolder) {
  std::vector<std::string> out;
  const std::string word = kind == RecordKind::TEP ? "TEP" : "TIP";
  out.push_back("[START" + word + "]");
  Line a(Tag(kind, A));
  a << tipCar << rs.SpacesLeft << rs.SteeringPhase << rs.SpeedPhase << rs.OrderIndex;
  a.Str(BareFileName(rs.track.TrackFile));
  a << rs.UndoDisabled << rs.AllowManualDice << rs.RaceLaps << rs.CarCount << rs.CarMovementDelay;
  a << rs.OptCurveEntryBySlipstream << rs.OptAccelFromCurveExit << rs.OptBlueFlag << rs.OptSlipstreamInCurves;
  a << rs.OptNoLaneChangeInCurves << rs.CarSetupPoints << rs.LeadCar;
  out.push_back(a.Text());
  for (int car = 1; car <= kMaxCars; ++car) {
    Line l(Tag(kind, B));
    out.push_back(DriverLine(l, rs, car, carsFolder).Text());
  }
  for (int i = 1; i <= kMaxCars; ++i) {
    Line l(Tag(kind, C));
    out.push_back(RaceRecord(l, rs, i, rs.RunningOrder[static_cast<size_t>(i)]).Text());
  }
  const int leader = rs.RunningOrder[1];
  const int last = kind == RecordKind::TEP ? (IsCarNumber(tipCar) ? rs.CarLap[tipCar] : 0)
                                           : (IsCarNumber(leader) ? rs.CarLap[leader] : 0);
  const auto [first, lastLap] = LapWindow(rs, last);
  out.push_back((Line(Tag(kind, Laps)) << first << lastLap).Text());
  for (int lap = first; lap <= lastLap; ++lap) out.push_back(PerCarLine(Tag(kind, D), rs.LapOrder[lap]).Text());
  for (int lap = first; lap <= lastLap; ++lap) out.push_back(PerCarLine(Tag(kind, E), rs.LapGap[lap]).Text());
  for (int lap = first; lap <= lastLap; ++lap) out.push_back(PerCarLine(Tag(kind, F_), rs.LapSpeedMph[lap]).Text());
  for (int lap = first; lap <= lastLap; ++lap) out.push_back(PerCarLine(Tag(kind, G), rs.LapWearsUsed[lap]).Text());
  for (int car = 1; car <= kMaxCars; ++car) {
    int lane = 0, space = 0;
    for (int l = 1; l <= kMaxLanes && space == 0; ++l)
      for (int s = 1; s <= kMaxSpaces; ++s)
        if (rs.track.CellOccupant[static_cast<size_t>(s)][static_cast<size_t>(l)] == car) {
          lane = l;
          space = s;
          break;
        }
    out.push_back((Line(Tag(kind, H)) << lane << space).Text());
  }
  out.push_back((Line(Tag(kind, I)) << rs.PitLaneOpen << rs.PitReplenishment << rs.StartWearAllotment
                                    << rs.PitRepairOnly << rs.MinPitDuration)
                    .Text());
  out.push_back(PerCarLine(Tag(kind, J), rs.CarStintLaps).Text());
  out.push_back(PerCarLine(Tag(kind, K), rs.CarStintLapsLeft).Text());
  out.push_back(PerCarLine(Tag(kind, L), rs.PitStrategy).Text());
  out.push_back(PerCarLine(Tag(kind, M), rs.CarWearBonus).Text());
  out.push_back(PerCarLine(Tag(kind, N), rs.CarQualifyBonus).Text());
  out.push_back(PerCarLine(Tag(kind, O), rs.CarInPit).Text());
  for (int row = 0; row < kPitRows; ++row) {
    Line l(Tag(kind, P));
    for (int place = 1; place <= kMaxCars; ++place) l << PitCell(rs, row, place);
    out.push_back(l.Text());
  }
  for (const std::string& h : rs.Highlights) out.push_back(Tag(kind, Q) + S(h));
  // The rest of the race, so that every machine races the same state: chunks of one JSON text.
  const std::string rest = RaceStateFieldsJson(rs, NotInExtension()).dump();
  const size_t chunks = (rest.size() + kExtensionChunk - 1) / kExtensionChunk;
  for (size_t i = 0; i < chunks; ++i)
    out.push_back(Tag(kind, R) + std::to_string(i + 1) + "," + std::to_string(chunks) + "," +
                  rest.substr(i * kExtensionChunk, kExtensionChunk));
  out.push_back("[END" + word + "]");
  return out;
}

std::vector<std::string> BuildSipBurst(const RaceState& rs, int car, std::string_view carsFolder) {
  std::vector<std::string> out{"[STARTSIP]"};
  out.push_back((Line("[SIPA]") << car << rs.CarSpeed[car] << rs.CarNewSpeed[car]).Text());
  Line b("[SIPB]");
  b << car;
  out.push_back(DriverLine(b, rs, car, carsFolder).Text());
  Line c("[SIPC]");
  c << car;
  RaceRecord(c, rs, car, rs.RunningOrder[static_cast<size_t>(car)]) << rs.CarSpeed[car];
  out.push_back(c.Text());
  Line d("[SIPD]");
  d << car << rs.CarStintLaps[car] << rs.CarStintLapsLeft[car] << rs.PitStrategy[car] << rs.CarWearBonus[car]
    << rs.CarQualifyBonus[car] << rs.CarInPit[car];
  int place = 0;
  for (size_t i = 0; i < rs.PitQueue.size(); ++i)
    if (rs.PitQueue[i].Car == car) place = static_cast<int>(i) + 1;
  for (int row = 0; row < kPitRows; ++row) d << (place == 0 ? 0 : PitCell(rs, row, place));
  out.push_back(d.Text());
  // The rest of the car a speed choice may change: its tires, its slipstream and who drives it.
  out.push_back((Line("[SIPE]") << car << rs.CarWetTires[car] << rs.CarSlipSpeed[car] << rs.CarIsAI[car]).Text());
  out.push_back("[ENDSIP]");
  return out;
}

std::string BuildCrsLine(const RaceState& rs, int car, std::string_view carsFolder) {
  Line l("[CRS]");
  DriverLine(l, rs, car, carsFolder);
  l << rs.PitStrategy[car] << rs.CarWearBonus[car] << rs.CarQualifyBonus[car];
  return l.Text();
}

std::optional<std::string> ReadCRS(RaceState& rs, int car, std::string_view payload, std::string_view carsFolder) {
  if (!IsCarNumber(car)) return "car " + std::to_string(car) + " does not exist";
  const auto held = std::make_unique<RaceState>(rs);
  RaceState& copy = *held;
  try {
    Fields f(payload);
    ReadDriverLine(f, copy, car, carsFolder, true);
    copy.PitStrategy[car] = f.Int(0, 1);
    copy.CarWearBonus[car] = f.Dbl();
    copy.CarQualifyBonus[car] = f.Dbl();
    f.End();
  } catch (const RecordError& e) {
    return std::string("[CRS] ") + e.what();
  }
  // A joining player drives the car himself.
  copy.CarIsAI[car] = false;
  rs = std::move(copy);
  return std::nullopt;
}

// --- Receiving -----------------------------------------------------------------------------------------

std::pair<std::string, std::string> RecordFileNames(RecordKind kind, int n) {
  const std::string ext = kind == RecordKind::TIP ? ".tip" : kind == RecordKind::TEP ? ".tep" : ".sip";
  return {"OnlineA" + std::to_string(n) + ext, "OnlineB" + std::to_string(n) + ext};
}

std::optional<RecordChannel::Completed> RecordChannel::Line(const std::string& tag, const std::string& payload) {
  auto start = [&](Burst& b, RecordKind kind) {
    // A burst cut off before its end is dropped: the new one starts clean.
    b = Burst{};
    b.Open = true;
    b.Kind = kind;
  };
  if (tag == "[STARTTIP]") start(tip_, RecordKind::TIP);
  if (tag == "[STARTTEP]") start(tip_, RecordKind::TEP);
  if (tag == "[STARTSIP]") start(sip_, RecordKind::SIP);
  if (tag.rfind("[START", 0) == 0) return std::nullopt;
  if (tag == "[ENDTIP]" || tag == "[ENDTEP]") {
    if (!tip_.Open || tip_.Kind != (tag == "[ENDTIP]" ? RecordKind::TIP : RecordKind::TEP)) return std::nullopt;
    return Finish(tip_);
  }
  if (tag == "[ENDSIP]") return sip_.Open ? std::optional(Finish(sip_)) : std::nullopt;

  // A section line: which burst, which section.
  Burst* b = nullptr;
  int section = -1;
  if (tag == "[TEPLaps]") {
    b = &tip_;
    section = Laps;
  } else if (tag.size() == 6 && tag.front() == '[' && tag.back() == ']') {
    const std::string word = tag.substr(1, 3);
    const size_t letter = kLetters.find(tag[4]);
    if ((word == "TIP" || word == "TEP") && letter != std::string_view::npos && tag[4] != '?') {
      b = &tip_;
      section = static_cast<int>(letter);
      if (b->Open && b->Kind != (word == "TIP" ? RecordKind::TIP : RecordKind::TEP)) b->Broken = true;
    } else if (word == "SIP" && tag[4] >= 'A' && tag[4] <= 'E') {
      b = &sip_;
      section = tag[4] - 'A';
    }
  }
  if (b == nullptr || !b->Open || b->Broken) return std::nullopt;
  if (section < b->Section) {
    b->Broken = true;
    b->Error = "the sections of the record came out of order";
    return std::nullopt;
  }
  // Caps per section, so that a repeated line cannot grow a file without end.
  const int cap = b->Kind == RecordKind::SIP                     ? 1
                  : section == B || section == C || section == H ? kMaxCars
                  : section >= D && section <= G                 ? kMaxLaps + 1
                  : section == P                                 ? kPitRows
                  : section == Q                                 ? 20000
                  : section == R                                 ? 4096
                                                                 : 1;
  int& count = b->Counts[section];
  if (count >= cap) return std::nullopt;
  // No record of a race comes near this; a sender that goes on is no racer.
  b->Bytes += payload.size();
  if (b->Bytes > kMaxRecordBytes) {
    b->Broken = true;
    b->Error = "the record grew past " + std::to_string(kMaxRecordBytes / (1024 * 1024)) + " MB";
    b->Lines.clear();
    return std::nullopt;
  }
  count += 1;
  b->Section = section;
  if (b->Kind != RecordKind::SIP && section == Laps) {
    try {
      Fields f(payload);
      const int first = f.Int(0, kMaxLaps), last = f.Int(0, kMaxLaps);
      if (first > last) throw RecordError("the lap window is empty");
      b->WindowLines = last - first + 1;
    } catch (const RecordError& e) {
      b->Broken = true;
      b->Error = std::string("[TEPLaps] ") + e.what();
    }
  }
  b->Lines.push_back(section == R ? Tag(b->Kind, R) + payload : payload);
  return std::nullopt;
}

RecordChannel::Completed RecordChannel::Finish(Burst& b) {
  Completed done{b.Kind, "", b.Error};
  b.Open = false;
  if (!b.Broken) {
    auto expect = [&](int section, int lines) {
      if (done.Error.empty() && b.Counts[section] != lines)
        done.Error = "section " + std::to_string(section) + " has " + std::to_string(b.Counts[section]) +
                     " lines, not " + std::to_string(lines);
    };
    if (b.Kind == RecordKind::SIP) {
      for (int s = 0; s <= 4; ++s) expect(s, 1);
    } else {
      for (int s : {A, Laps, I, J, K, L, M, N, O}) expect(s, 1);
      for (int s : {B, C, H}) expect(s, kMaxCars);
      for (int s : {D, E, F_, G}) expect(s, b.WindowLines);
      expect(P, kPitRows);
    }
  } else if (done.Error.empty()) {
    done.Error = "the record is broken";
  }
  if (!done.Error.empty()) return done;
  std::string text;
  for (const std::string& l : b.Lines) text += Quoted(l) + "\r\n";
  const auto [current, previous] = RecordFileNames(b.Kind, b.Kind == RecordKind::SIP ? sipNumber_ : tipNumber_);
  const std::filesystem::path dir(folder_);
  std::error_code ec;
  std::filesystem::create_directories(dir, ec);
  // One generation is kept: the file before becomes the "B" file.
  if (std::filesystem::exists(dir / current, ec)) {
    std::filesystem::remove(dir / previous, ec);
    std::filesystem::rename(dir / current, dir / previous, ec);
  }
  const std::string path = (dir / current).string();
  if (std::optional<FileError> e = WriteFileAtomic(path, text)) {
    done.Error = e->Describe();
    return done;
  }
  done.Path = path;
  b.Lines.clear();
  return done;
}

namespace {

// The file of a record: one quoted payload per line.
std::vector<std::string> RecordLines(const std::string& path) {
  std::string text;
  if (std::optional<FileError> e = ReadTextFile(path, text)) throw RecordError(e->Describe());
  std::vector<std::string> lines = SplitLines(text);
  for (std::string& line : lines)
    if (line.size() >= 2 && line.front() == '"' && line.back() == '"') line = line.substr(1, line.size() - 2);
  return lines;
}

class LineSource {
 public:
  explicit LineSource(std::vector<std::string> lines) : lines_(std::move(lines)) {}
  const std::string& Next() {
    if (at_ >= lines_.size()) throw RecordError("the record ends early, at line " + std::to_string(at_));
    return lines_[at_++];
  }
  bool AtEnd() const { return at_ >= lines_.size(); }
  int Number() const { return static_cast<int>(at_); }

 private:
  std::vector<std::string> lines_;
  size_t at_ = 0;
};

template <class T>
void ReadPerCar(LineSource& in, PerCar<T>& values, T (*read)(Fields&)) {
  Fields f(in.Next());
  for (int car = 1; car <= kMaxCars; ++car) values[static_cast<size_t>(car)] = read(f);
  f.End();
}
int ReadCarRef(Fields& f) { return f.Int(0, kMaxCars); }
int ReadInt16(Fields& f) { return f.Int16(); }
int ReadStint(Fields& f) { return f.Int(0, kLapMax); }
int ReadWears(Fields& f) { return f.Int(-100000, 100000); }
double ReadDbl(Fields& f) { return f.Dbl(); }
bool ReadBool(Fields& f) { return f.Bool(); }

void ReadHeader(LineSource& in, RaceState& rs, TipHeader& h, bool fromHost) {
  Fields f(in.Next());
  h.TipCar = f.Int(0, kMaxCars);
  rs.SpacesLeft = f.Dbl();
  h.TipSteeringPhase = f.Bool();
  h.TipSpeedPhase = f.Bool();
  h.TipOrderIndex = f.Int(0, kMaxCars + 1);
  h.TrackFile = BareFileName(f.Str());
  RaceState settings = rs;
  settings.UndoDisabled = f.Bool();
  settings.AllowManualDice = f.Bool();
  settings.RaceLaps = f.Int(1, kMaxLaps);
  settings.CarCount = f.Int(0, kMaxCars);
  settings.CarMovementDelay = f.Int(0, 100000);
  settings.OptCurveEntryBySlipstream = f.Bool();
  settings.OptAccelFromCurveExit = f.Bool();
  settings.OptBlueFlag = f.Bool();
  settings.OptSlipstreamInCurves = f.Bool();
  settings.OptNoLaneChangeInCurves = f.Bool();
  settings.CarSetupPoints = f.Int16();
  rs.LeadCar = f.Int(0, kMaxCars);
  f.End();
  if (fromHost) {
    rs.UndoDisabled = settings.UndoDisabled;
    rs.AllowManualDice = settings.AllowManualDice;
    rs.RaceLaps = settings.RaceLaps;
    rs.CarCount = settings.CarCount;
    rs.CarMovementDelay = settings.CarMovementDelay;
    rs.OptCurveEntryBySlipstream = settings.OptCurveEntryBySlipstream;
    rs.OptAccelFromCurveExit = settings.OptAccelFromCurveExit;
    rs.OptBlueFlag = settings.OptBlueFlag;
    rs.OptSlipstreamInCurves = settings.OptSlipstreamInCurves;
    rs.OptNoLaneChangeInCurves = settings.OptNoLaneChangeInCurves;
    rs.CarSetupPoints = settings.CarSetupPoints;
  }
}

void ReadCells(LineSource& in, RaceState& rs) {
  Track& t = rs.track;
  for (auto& row : t.CellOccupant) row.fill(0);
  rs.CarsOut = 0;
  for (int car = 1; car <= kMaxCars; ++car) {
    Fields f(in.Next());
    const int lane = f.Int(0, kMaxLanes), space = f.Int(0, kMaxSpaces);
    f.End();
    if ((lane == 0) != (space == 0)) throw RecordError("car " + std::to_string(car) + " has half a cell");
    if (lane != 0) {
      int& cell = t.CellOccupant[static_cast<size_t>(space)][static_cast<size_t>(lane)];
      if (cell != 0) throw RecordError("two cars on the cell " + std::to_string(space) + "/" + std::to_string(lane));
      cell = car;
    }
    if (rs.CarOutOfRace[car]) rs.CarsOut += 1;
  }
}

void ReadPit(LineSource& in, RaceState& rs) {
  std::array<PerCar<int>, kPitRows> rows{};
  for (int row = 0; row < kPitRows; ++row) {
    Fields f(in.Next());
    for (int place = 1; place <= kMaxCars; ++place)
      rows[static_cast<size_t>(row)][static_cast<size_t>(place)] = f.Int16();
    f.End();
  }
  rs.PitQueue.clear();
  for (int place = 1; place <= kMaxCars && rows[0][static_cast<size_t>(place)] != 0; ++place) {
    PitQueueEntry e;
    e.Car = rows[0][static_cast<size_t>(place)];
    e.ReleaseTurns = rows[1][static_cast<size_t>(place)];
    e.TaskCode = rows[2][static_cast<size_t>(place)];
    e.SpacesCarried = rows[3][static_cast<size_t>(place)];
    if (!IsCarNumber(e.Car) || e.TaskCode < 0 || e.TaskCode > 9) throw RecordError("the pit lane holds nonsense");
    rs.PitQueue.push_back(e);
  }
}

void ReadExtension(const std::vector<std::string>& chunks, RaceState& rs, RecordSender sender) {
  std::string text;
  for (size_t i = 0; i < chunks.size(); ++i) {
    Fields f(chunks[i]);
    const int index = f.Int(1, 4096), count = f.Int(1, 4096);
    if (index != static_cast<int>(i) + 1 || count != static_cast<int>(chunks.size()))
      throw RecordError("the race's remaining fields came in pieces out of order");
    text += f.Rest();
  }
  const nlohmann::ordered_json j = nlohmann::ordered_json::parse(text, nullptr, false);
  if (j.is_discarded()) throw RecordError("the race's remaining fields are no JSON");
  try {
    ApplyRaceStateFieldsJson(rs, j, sender == RecordSender::Host ? NotInExtension() : NotFromClient());
  } catch (const std::exception& e) {
    throw RecordError(std::string("the race's remaining fields: ") + e.what());
  }
}

}  // namespace

std::optional<std::string> ReadTipFile(RaceState& rs, const std::string& path, RecordSender sender,
                                       std::string_view carsFolder, const OnlineTrackLoader& loadTrack,
                                       TipHeader& header, int mover) {
  const auto held = std::make_unique<RaceState>(rs);
  RaceState& next = *held;
  const auto spare = std::make_unique<RaceState>();
  TipHeader h;
  const bool fromHost = sender == RecordSender::Host;
  try {
    LineSource in(RecordLines(path));
    ReadHeader(in, next, h, fromHost);
    if (mover != 0 && h.TipCar != mover) throw RecordError("the record is of car " + std::to_string(h.TipCar));
    if (fromHost && !h.TrackFile.empty() && h.TrackFile != BareFileName(next.track.TrackFile)) {
      if (!loadTrack) throw RecordError("the track " + h.TrackFile + " cannot be loaded here");
      if (std::optional<std::string> e = loadTrack(next, h.TrackFile)) throw RecordError(*e);
    }
    for (int car = 1; car <= kMaxCars; ++car) {
      Fields f(in.Next());
      // A client names only its own car's driver.
      RaceState& target = fromHost || car == h.TipCar ? next : *spare;
      ReadDriverLine(f, target, car, carsFolder, fromHost);
      f.End();
    }
    for (int i = 1; i <= kMaxCars; ++i) {
      Fields f(in.Next());
      next.RunningOrder[static_cast<size_t>(i)] = ReadRaceRecord(f, next, i);
      f.End();
    }
    Fields laps(in.Next());
    const int first = laps.Int(0, kMaxLaps), last = laps.Int(first, kMaxLaps);
    for (int lap = first; lap <= last; ++lap) ReadPerCar(in, next.LapOrder[static_cast<size_t>(lap)], ReadCarRef);
    for (int lap = first; lap <= last; ++lap) ReadPerCar(in, next.LapGap[static_cast<size_t>(lap)], ReadDbl);
    for (int lap = first; lap <= last; ++lap) ReadPerCar(in, next.LapSpeedMph[static_cast<size_t>(lap)], ReadDbl);
    for (int lap = first; lap <= last; ++lap) ReadPerCar(in, next.LapWearsUsed[static_cast<size_t>(lap)], ReadWears);
    ReadCells(in, next);
    Fields pit(in.Next());
    const bool open = pit.Bool();
    const int replenishment = pit.Int(0, kLapMax), allotment = pit.Int(0, kLapMax);
    const bool repairOnly = pit.Bool();
    const int duration = pit.Int(0, 1000);
    pit.End();
    if (fromHost) {
      next.PitLaneOpen = open;
      next.PitReplenishment = replenishment;
      next.StartWearAllotment = allotment;
      next.PitRepairOnly = repairOnly;
      next.MinPitDuration = duration;
    }
    ReadPerCar(in, next.CarStintLaps, ReadStint);
    ReadPerCar(in, next.CarStintLapsLeft, ReadStint);
    ReadPerCar(in, next.PitStrategy, ReadInt16);
    ReadPerCar(in, next.CarWearBonus, ReadDbl);
    ReadPerCar(in, next.CarQualifyBonus, ReadDbl);
    ReadPerCar(in, next.CarInPit, ReadBool);
    ReadPit(in, next);
    next.Highlights.clear();
    std::vector<std::string> extension;
    const std::string marks[] = {"[TIPR]", "[TEPR]"};
    while (!in.AtEnd()) {
      const std::string& l = in.Next();
      if (l.rfind(marks[0], 0) == 0 || l.rfind(marks[1], 0) == 0)
        extension.push_back(l.substr(marks[0].size()));
      else
        next.Highlights.push_back(l);
    }
    if (!extension.empty()) ReadExtension(extension, next, sender);
    h.Whole = !extension.empty();
  } catch (const RecordError& e) {
    return path + ": " + e.what();
  }
  std::vector<std::string> faults = BoundsFaults(next);
  if (faults.empty()) faults = CheckRaceState(next);
  if (!faults.empty()) return path + ": the race it holds does not hold together: " + faults.front();
  rs = std::move(next);
  header = h;
  return std::nullopt;
}

std::optional<std::string> ReadSipFile(RaceState& rs, const std::string& path, int expectedCar) {
  const auto held = std::make_unique<RaceState>(rs);
  RaceState& next = *held;
  const auto spare = std::make_unique<RaceState>();
  try {
    LineSource in(RecordLines(path));
    auto carOf = [&](Fields& f) {
      if (f.Int(1, kMaxCars) != expectedCar)
        throw RecordError("the record is not of car " + std::to_string(expectedCar));
      return expectedCar;
    };
    const int car = expectedCar;
    Fields a(in.Next());
    carOf(a);
    next.CarSpeed[car] = a.Int(0, kSpeedMax);
    next.CarNewSpeed[car] = a.Int(0, kSpeedMax);
    a.End();
    Fields b(in.Next());
    carOf(b);
    // Who drives the car is told by its last field ([SIPE]), the design stays the host's.
    ReadDriverLine(b, *spare, car, "", false);
    b.End();
    Fields c(in.Next());
    carOf(c);
    // The host keeps its own running order and cells: a speed moves no car.
    const int space = next.CarSpace[car], lane = next.CarLane[car];
    const bool inPit = next.CarInPit[car];
    ReadRaceRecord(c, next, car);
    next.CarSpace[car] = space;
    next.CarLane[car] = lane;
    next.CarSpeed[car] = c.Int(0, kSpeedMax);
    c.End();
    Fields d(in.Next());
    carOf(d);
    next.CarStintLaps[car] = d.Int(0, kLapMax);
    next.CarStintLapsLeft[car] = d.Int(0, kLapMax);
    next.PitStrategy[car] = d.Int(0, 1);
    next.CarWearBonus[car] = d.Dbl();
    next.CarQualifyBonus[car] = d.Dbl();
    d.Bool();
    next.CarInPit[car] = inPit;
    for (int row = 0; row < kPitRows; ++row) d.Int16();
    d.End();
    Fields e(in.Next());
    carOf(e);
    next.CarWetTires[car] = e.Bool();
    next.CarSlipSpeed[car] = e.Int(0, kSpeedMax);
    if (e.Bool()) next.CarIsAI[car] = true;
    e.End();
    if (!in.AtEnd()) throw RecordError("the record runs on past its last section");
  } catch (const RecordError& e) {
    return path + ": " + e.what();
  }
  next.CarsOut = 0;
  for (int c = 1; c <= kMaxCars; ++c) next.CarsOut += next.CarOutOfRace[c] ? 1 : 0;
  std::vector<std::string> faults = BoundsFaults(next);
  if (faults.empty()) faults = CheckRaceState(next);
  if (!faults.empty()) return path + ": " + faults.front();
  rs = std::move(next);
  return std::nullopt;
}

std::vector<std::string> BoundsFaults(const RaceState& rs) {
  std::vector<std::string> faults;
  auto check = [&](std::string_view name, long long v, long long lo, long long hi) {
    if (v < lo || v > hi) faults.push_back(std::string(name) + " " + std::to_string(v) + " is out of range");
  };
  check("CarCount", rs.CarCount, 0, kMaxCars);
  check("CarCountAtStart", rs.CarCountAtStart, 0, kMaxCars);
  check("CurrentCar", rs.CurrentCar, 0, kMaxCars);
  check("OrderIndex", rs.OrderIndex, 0, kMaxCars + 1);
  check("RaceLaps", rs.RaceLaps, 0, kMaxLaps);
  check("CarsFinished", rs.CarsFinished, 0, kMaxCars);
  check("CarsOut", rs.CarsOut, 0, kMaxCars);
  check("FinishOrderCount", rs.FinishOrderCount, 0, kMaxCars);
  check("LeadCar", rs.LeadCar, 0, kMaxCars);
  check("FirstHumanCar", rs.FirstHumanCar, 0, kMaxCars);
  check("BlueFlagCar", rs.BlueFlagCar, 0, kMaxCars);
  check("LeaderSpeedCount", rs.LeaderSpeedCount, 0, kLeaderHistory);
  check("QualifyIndex", rs.QualifyIndex, 0, kMaxCars + 1);
  check("QualifyCarCount", rs.QualifyCarCount, 0, kMaxCars);
  check("TargetSpace", rs.TargetSpace, 0, kMaxSpaces);
  check("TargetLane", rs.TargetLane, 0, kMaxLanes + 1);
  check("LeftLane", rs.LeftLane, 0, kMaxLanes + 1);
  check("RightLane", rs.RightLane, 0, kMaxLanes + 1);
  check("SpacesLeft", static_cast<long long>(rs.SpacesLeft), -kMaxSpaces, kMaxSpaces);
  check("PitQueue", static_cast<long long>(rs.PitQueue.size()), 0, kMaxCars);
  for (int i = 1; i <= kMaxCars; ++i) {
    check("RunningOrder", rs.RunningOrder[i], 0, kMaxCars);
    check("FinishOrder", rs.FinishOrder[i], 0, kMaxCars);
    check("QualifyOrder", rs.QualifyOrder[i], 0, kMaxCars);
    check("CarSpace", rs.CarSpace[i], 0, kMaxSpaces);
    check("CarLane", rs.CarLane[i], 0, kMaxLanes + 1);
    check("CarLap", rs.CarLap[i], 0, kLapMax);
    check("CarStatus", rs.CarStatus[i], 0, kStalled);
    check("CarDraftTarget", rs.CarDraftTarget[i], 0, kMaxCars);
    check("CarSpeed", rs.CarSpeed[i], 0, kSpeedMax);
    check("CarNewSpeed", rs.CarNewSpeed[i], 0, kSpeedMax);
    check("CarTopSpeed", rs.CarTopSpeed[i], 0, kSpeedMax);
    check("CarStintLaps", rs.CarStintLaps[i], 0, kLapMax);
    check("CarStintLapsLeft", rs.CarStintLapsLeft[i], 0, kLapMax);
    check("CarApexNumber", rs.CarApexNumber[i], 0, kMaxSpaces);
  }
  for (const PitQueueEntry& e : rs.PitQueue) check("PitQueue car", e.Car, 1, kMaxCars);
  for (int lap = 0; lap <= kMaxLaps; ++lap)
    for (int i = 1; i <= kMaxCars; ++i) check("LapOrder", rs.LapOrder[lap][i], 0, kMaxCars);
  return faults;
}

nlohmann::ordered_json SharedRaceJson(const RaceState& rs) {
  const auto copy = std::make_unique<RaceState>(rs);
  RestoreDryLimits(copy->track);
  copy->track.TrackFile = BareFileName(copy->track.TrackFile);
  for (std::string& picture : copy->CarPicture) picture = BareFileName(picture);
  // Which files a machine last opened is its own business.
  for (std::string* path :
       {&copy->CurrentCarFile, &copy->DefaultCarFile, &copy->DefaultResultTable, &copy->DefaultTeamFile})
    path->clear();
  return RaceStateJson(*copy, 0);
}

std::string BareFileName(std::string_view path) {
  const size_t cut = path.find_last_of("/\\");
  std::string name(cut == std::string_view::npos ? path : path.substr(cut + 1));
  if (name.empty() || name == "." || name == ".." || name.find(':') != std::string::npos) return "";
  return name;
}

}  // namespace vm
