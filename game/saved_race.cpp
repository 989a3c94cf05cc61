#include "game/saved_race.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

#include "core/race_record.h"
#include "engine/laps.h"
#include "rules/pit_stops.h"
#include "rules/result_table_file.h"

namespace vm {

namespace {

constexpr int kRipReservedInts = 3;
constexpr int kRipTrailingInts = 10;
constexpr int kRipTrailingStrings = 10;
constexpr int kLapReportPlaces = 11;              // places 0..10 of the lap report
constexpr size_t kSavedRaceReserve = 160 * 1024;  // a full race of forty cars, with room to spare
// Heads the block that follows the race's sections: what a race needs to go on exactly as it
// would have, which those sections leave out. A bare word, so no highlight string can be taken for it.
constexpr std::string_view kResumeMark = "#RESUME#";

template <class T, class Put>
void WritePerCarLine(TextWriter& w, const PerCar<T>& values, Put put) {
  for (int car = 1; car <= kMaxCars; ++car) put(w, values[car]);
  w.EndLine();
}

void PutInt(TextWriter& w, int v) { w.Int(v); }
void PutDbl(TextWriter& w, double v) { w.Dbl(v); }
void PutBool(TextWriter& w, bool v) { w.Bool(v); }

// The car record of a .rip: the head, three reserved numbers, the ratings the car started the
// race with, then reserved fields again.
void WriteRipCar(TextWriter& w, const RaceState& rs, int car, std::string_view carsFolder) {
  WriteCarRecordHead(w, rs, car, carsFolder);
  for (int i = 0; i < kRipReservedInts; ++i) w.Int(0);
  const CarRatings& d = rs.CarDesign[car];
  w.Int(d.StartSpeed).Int(d.Acceleration).Int(d.Deceleration).Int(d.TopSpeed).Int(d.WearPerLap).Int(d.DRM);
  for (int i = 0; i < kRipTrailingInts; ++i) w.Int(0);
  for (int i = 0; i < kRipTrailingStrings; ++i) w.Str(" ");
  w.EndLine();
}

void ReadRipCar(TextReader& in, RaceState& rs, int car, std::string_view carsFolder) {
  ReadCarRecordHead(in, rs, car, carsFolder);
  for (int i = 0; i < kRipReservedInts; ++i) in.ReadInt16("reserved");
  CarRatings& d = rs.CarDesign[car];
  d.StartSpeed = in.ReadInt16("OrigStartSpeed");
  d.Acceleration = in.ReadInt16("OrigAcceleration");
  d.Deceleration = in.ReadInt16("OrigDeceleration");
  d.TopSpeed = in.ReadInt16("OrigTopSpeed");
  d.WearPerLap = in.ReadInt16("OrigWearPerLap");
  d.DRM = in.ReadInt16("OrigDRM");
  for (int i = 0; i < kRipTrailingInts; ++i) in.ReadInt16("reserved");
  for (int i = 0; i < kRipTrailingStrings; ++i) in.ReadString("reserved");
}

// A car number where one is kept: 0 for none.
int ReadCarRef(TextReader& in, std::string_view field) { return static_cast<int>(in.ReadInteger(field, 0, kMaxCars)); }

void ReadRunning(TextReader& in, RaceState& rs, int i) {
  rs.CarEngineDamaged[i] = in.ReadBool("CarEngineDamaged");
  rs.CarBrakesDamaged[i] = in.ReadBool("CarBrakesDamaged");
  rs.CarMoveCount[i] = in.ReadInt16("CarMoveCount");
  rs.CarAvgSpeed[i] = in.ReadDouble("CarAvgSpeed");
  rs.CarStatus[i] = in.ReadInt16("CarStatus");
  rs.CarLap[i] = in.ReadInt16("CarLap");
  rs.CarOutOfRace[i] = in.ReadBool("CarOutOfRace");
  rs.RunningOrder[i] = ReadCarRef(in, "RunningOrder");
  rs.CarDraftTarget[i] = ReadCarRef(in, "CarDraftTarget");
  // Laps times spaces passes 16 bits in a long race on a long circuit (100 x 330 on Brannock).
  rs.CarRaceDistance[i] = in.ReadInt32("CarRaceDistance");
  // Lane and space index the track's tables wherever the car is looked up.
  rs.CarLane[i] = static_cast<int>(in.ReadInteger("CarLane", 0, kMaxLanes));
  rs.CarSpace[i] = static_cast<int>(in.ReadInteger("CarSpace", 0, kMaxSpaces));
  rs.CarWears[i] = in.ReadInt16("CarWears");
  rs.CarSpeed[i] = in.ReadInt16("CarSpeed");
  rs.CarApexNumber[i] = static_cast<int>(in.ReadInteger("CarApexNumber", 0, kMaxApexes));
  rs.CarApexLimit[i] = in.ReadInt16("CarApexLimit");
  rs.CarApexSpeed[i] = in.ReadInt16("CarApexSpeed");
  rs.CarCurveRankPaid[i] = in.ReadInt16("CarCurveRankPaid");
  rs.CarOnApexCells[i] = in.ReadBool("CarOnApexCells");
  rs.CarCurveEntryLimit[i] = in.ReadInt16("CarCurveEntryLimit");
  rs.CarNewSpeed[i] = in.ReadInt16("CarNewSpeed");
  rs.CarCurveExcessPaid[i] = in.ReadInt16("CarCurveExcessPaid");
  rs.CarCurveOwes[i] = in.ReadBool("CarCurveOwes");
  rs.CarLapClock[i] = in.ReadDouble("CarLapClock");
  rs.CarRaceClock[i] = in.ReadDouble("CarRaceClock");
}

// The cell each car holds, (0, 0) for none: a car in the pits, out of the race or spun off its
// cell holds none even though its lane and space still say where it was. The first cell in track
// order counts, should a car somehow hold two.
PerCar<std::pair<int, int>> HeldCells(const RaceState& rs) {
  const Track& t = rs.track;
  PerCar<std::pair<int, int>> held{};
  for (int space = kMaxSpaces; space >= 1; --space)
    for (int lane = kMaxLanes; lane >= 1; --lane)
      if (const int car = t.CellOccupant[space][lane]; IsCarNumber(car)) held[car] = {lane, space};
  return held;
}

// The held cells: the occupancy is rebuilt from scratch, so a file cannot leave a stale car behind.
void ReadCells(TextReader& in, RaceState& rs) {
  Track& t = rs.track;
  for (auto& row : t.CellOccupant) row.fill(0);
  for (int car = 1; car <= kMaxCars; ++car) {
    const int lane = in.ReadInt16("CellLane");
    const int space = in.ReadInt16("CellSpace");
    const int line = in.LastFieldLine();
    if (lane == 0 && space == 0) continue;
    const std::string where =
        "car " + std::to_string(car) + " at lane " + std::to_string(lane) + ", space " + std::to_string(space);
    if (lane < 1 || lane > t.TrackLanes || lane > kMaxLanes)
      in.Fail(FileErrorCode::OutOfRange, "CellLane", where + ": the track has no such lane", line);
    if (space < 1 || space > t.TrackSpaces || space > kMaxSpaces)
      in.Fail(FileErrorCode::OutOfRange, "CellSpace", where + ": the track has no such space", line);
    if (t.CellSkip[space][lane])
      in.Fail(FileErrorCode::OutOfRange, "CellSpace", where + ": no cell of the track stands there", line);
    if (t.CellOccupant[space][lane] != 0)
      in.Fail(FileErrorCode::OutOfRange, "CellSpace",
              where + ": car " + std::to_string(t.CellOccupant[space][lane]) + " holds that cell already", line);
    if (rs.CarLane[car] != lane || rs.CarSpace[car] != space)
      in.Fail(FileErrorCode::OutOfRange, "CellSpace", where + ": the car stands elsewhere", line);
    t.CellOccupant[space][lane] = car;
  }
}

void ReadCarInPit(TextReader& in, RaceState& rs) {
  rs.PitQueue.clear();
  for (int car = 1; car <= kMaxCars; ++car) {
    rs.CarInPit[car] = in.ReadBool("CarInPit");
    if (!rs.CarInPit[car]) continue;
    if (rs.track.CellOccupant[rs.CarSpace[car]][rs.CarLane[car]] == car && rs.CarLane[car] > 0)
      in.Fail(FileErrorCode::OutOfRange, "CarInPit", "car " + std::to_string(car) + " is in the pits but holds a cell",
              in.LastFieldLine());
    // The file keeps neither the turns left nor the work: a car resumes one turn from release,
    // its tires as they are, in car order.
    PitDecisions keepTires;
    keepTires.DryTires = !rs.CarWetTires[car];
    rs.PitQueue.push_back(PitQueueEntry{car, 1, TaskCodeFor(keepTires), 0});
  }
}

std::string HexWord(std::uint64_t v) {
  char text[17];
  std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(v));
  return text;
}

std::uint64_t ReadHexWord(TextReader& in, std::string_view field) {
  const std::string text = in.ReadString(field);
  std::uint64_t v = 0;
  const bool hex = text.size() == 16 && std::all_of(text.begin(), text.end(), [](char c) {
                     return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
                   });
  if (!hex) in.Fail(FileErrorCode::TypeMismatch, field, "expected 16 hexadecimal digits", in.LastFieldLine());
  for (char c : text) v = v * 16 + static_cast<std::uint64_t>(c <= '9' ? c - '0' : c - 'a' + 10);
  return v;
}

// The pit lane's queue in its order, the finish order, the fastest lap, a weather roll that is
// due, the qualifying results and, when given, where the generator stands.
void WriteResumeBlock(TextWriter& w, const RaceState& rs, const Random* rng) {
  w.Word(kResumeMark);
  w.EndLine();
  w.Int(static_cast<long long>(rs.PitQueue.size()));
  w.EndLine();
  for (const PitQueueEntry& e : rs.PitQueue) {
    w.Int(e.Car).Int(e.ReleaseTurns).Int(e.TaskCode).Int(e.SpacesCarried);
    w.EndLine();
  }
  w.Int(rs.FinishOrderCount).Int(rs.CarsFinished).Int(rs.CarsOut).Int(rs.CarCountAtStart);
  w.EndLine();
  WritePerCarLine(w, rs.FinishOrder, PutInt);
  w.Dbl(rs.FastestLapMph).Dbl(rs.FastestLapSeconds).Str(rs.FastestLapText);
  w.EndLine();
  w.Bool(rs.WeatherRollPending).Bool(rs.RaceStandingStart).Int(rs.PaceSpeed);
  w.EndLine();
  WritePerCarLine(w, rs.CarSlipSpeed, PutInt);
  w.Int(rs.QualifyIndex).Int(rs.QualifyCarCount);
  w.EndLine();
  WritePerCarLine(w, rs.QualifyOrder, PutInt);
  WritePerCarLine(w, rs.QualifySpeed, PutDbl);
  WritePerCarLine(w, rs.QualifyWearsUsed, PutInt);
  w.Bool(rng != nullptr);
  if (rng != nullptr) {
    const RandomState state = rng->State();
    for (std::uint64_t word : state.Words) w.Str(HexWord(word));
    w.Str(HexWord(state.Draws));
  }
  w.EndLine();
}

void ReadResumeBlock(TextReader& in, RaceState& rs, std::optional<RandomState>& generator) {
  const int queued = static_cast<int>(in.ReadInteger("PitQueueCount", 0, kMaxCars));
  const int line = in.LastFieldLine();
  std::vector<PitQueueEntry> queue;
  PerCar<bool> seen{};
  for (int i = 0; i < queued; ++i) {
    PitQueueEntry e;
    e.Car = static_cast<int>(in.ReadInteger("PitQueueCar", 1, kMaxCars));
    if (!rs.CarInPit[e.Car] || seen[e.Car])
      in.Fail(FileErrorCode::OutOfRange, "PitQueueCar",
              "car " + std::to_string(e.Car) + " is not in the pits, or queued twice", in.LastFieldLine());
    seen[e.Car] = true;
    e.ReleaseTurns = in.ReadInt16("PitReleaseTurns");
    e.TaskCode = static_cast<int>(in.ReadInteger("PitTaskCode", 0, kPitTaskCodes - 1));
    e.SpacesCarried = in.ReadInt16("PitSpacesCarried");
    queue.push_back(e);
  }
  if (queue.size() != rs.PitQueue.size())
    in.Fail(FileErrorCode::OutOfRange, "PitQueueCount",
            std::to_string(queued) + " cars queued, but " + std::to_string(rs.PitQueue.size()) + " in the pits", line);
  rs.PitQueue = std::move(queue);
  rs.FinishOrderCount = static_cast<int>(in.ReadInteger("FinishOrderCount", 0, kMaxCars));
  rs.CarsFinished = static_cast<int>(in.ReadInteger("CarsFinished", 0, kMaxCars));
  rs.CarsOut = static_cast<int>(in.ReadInteger("CarsOut", 0, kMaxCars));
  rs.CarCountAtStart = static_cast<int>(in.ReadInteger("CarCountAtStart", 0, kMaxCars));
  for (int place = 1; place <= kMaxCars; ++place) rs.FinishOrder[place] = ReadCarRef(in, "FinishOrder");
  rs.FastestLapMph = in.ReadDouble("FastestLapMph");
  rs.FastestLapSeconds = in.ReadDouble("FastestLapSeconds");
  rs.FastestLapText = in.ReadString("FastestLapText");
  rs.WeatherRollPending = in.ReadBool("WeatherRollPending");
  rs.RaceStandingStart = in.ReadBool("RaceStandingStart");
  rs.PaceSpeed = in.ReadInt16("PaceSpeed");
  for (int car = 1; car <= kMaxCars; ++car) rs.CarSlipSpeed[car] = in.ReadInt16("CarSlipSpeed");
  rs.QualifyIndex = static_cast<int>(in.ReadInteger("QualifyIndex", 1, kMaxCars + 1));
  rs.QualifyCarCount = static_cast<int>(in.ReadInteger("QualifyCarCount", 0, kMaxCars));
  for (int i = 1; i <= kMaxCars; ++i) rs.QualifyOrder[i] = ReadCarRef(in, "QualifyOrder");
  for (int car = 1; car <= kMaxCars; ++car) rs.QualifySpeed[car] = in.ReadDouble("QualifySpeed");
  for (int car = 1; car <= kMaxCars; ++car) rs.QualifyWearsUsed[car] = in.ReadInt16("QualifyWearsUsed");
  if (in.ReadBool("Generator")) {
    RandomState state;
    for (std::uint64_t& word : state.Words) word = ReadHexWord(in, "GeneratorWord");
    // A generator of all zeros would draw nothing but zeros.
    if (std::all_of(state.Words.begin(), state.Words.end(), [](std::uint64_t w) { return w == 0; }))
      in.Fail(FileErrorCode::OutOfRange, "GeneratorWord", "the generator's words are all zero", in.LastFieldLine());
    state.Draws = ReadHexWord(in, "GeneratorDraws");
    generator = state;
  }
}

// A file without the block: the counts, the finish order and the fastest lap are worked out from
// the race's tables. Finishers rank by their race time; the pit lane is as the cars in it left it.
void DeriveResumeFields(RaceState& rs) {
  const int n = std::clamp(rs.CarCount, 0, kMaxCars);
  rs.CarsOut = 0;
  std::vector<int> finishers;
  for (int car = 1; car <= n; ++car) {
    if (rs.CarOutOfRace[car])
      rs.CarsOut += 1;
    else if (rs.CarLap[car] > rs.RaceLaps)
      finishers.push_back(car);
  }
  std::stable_sort(finishers.begin(), finishers.end(),
                   [&](int a, int b) { return rs.CarRaceClock[a] < rs.CarRaceClock[b]; });
  rs.FinishOrder.fill(0);
  for (size_t i = 0; i < finishers.size(); ++i) rs.FinishOrder[i + 1] = finishers[i];
  rs.FinishOrderCount = rs.CarsFinished = static_cast<int>(finishers.size());
  rs.CarCountAtStart = rs.CarCount;
  rs.FastestLapMph = 0;
  rs.FastestLapSeconds = 0;
  rs.FastestLapText.clear();
  for (int lap = 1; lap <= kMaxLaps; ++lap)
    for (int pos = 1; pos <= kMaxCars; ++pos) {
      const int car = rs.LapOrder[lap][pos];
      if (!IsCarNumber(car) || rs.LapSpeedMph[lap][car] <= rs.FastestLapMph) continue;
      rs.FastestLapMph = rs.LapSpeedMph[lap][car];
      rs.FastestLapText = FastestLapLabel(rs.DriverName[car], rs.FastestLapMph, lap);
    }
  rs.RaceStandingStart = !RaceUnderWay(rs);
  const int leader = RaceLeader(rs);
  rs.PaceSpeed = IsCarNumber(leader) ? rs.CarSpeed[leader] : 0;
}

void WriteBody(TextWriter& w, const RaceState& rs, std::string_view carsFolder, SavedRaceKind kind, const Random* rng,
               LapLinesCache* laps) {
  const bool rip = kind == SavedRaceKind::Rip;
  w.Str(rs.track.TrackFile);
  w.EndLine();
  w.Bool(rs.UndoDisabled);
  w.EndLine();
  w.Bool(rs.AllowManualDice);
  w.EndLine();
  WriteWeatherLine(w, rs);
  w.Int(rs.RaceLaps);
  w.EndLine();
  w.Int(rs.CarCount);
  w.EndLine();
  w.Str(rs.QualifyingMethod);
  w.EndLine();
  w.Int(rs.CarMovementDelay);
  w.EndLine();
  for (bool option : {rs.OptCurveEntryBySlipstream, rs.OptAccelFromCurveExit, rs.OptBlueFlag, rs.OptSlipstreamInCurves,
                      rs.OptNoLaneChangeInCurves}) {
    w.Bool(option);
    w.EndLine();
  }
  if (rip) {
    WritePointsLines(w, rs);
  }
  w.Int(rs.CarSetupPoints);
  w.EndLine();
  // Every car of the field, raced or not: a race of three still stores forty.
  for (int car = 1; car <= kMaxCars; ++car) {
    if (rip)
      WriteRipCar(w, rs, car, carsFolder);
    else
      WriteRaceConfigCar(w, rs, car, carsFolder);
  }
  w.Int(rs.LeadCar);
  w.EndLine();
  for (int i = 1; i <= kMaxCars; ++i) WriteCarRaceRecord(w, rs, i, rs.RunningOrder[i]);
  for (int lap = 0; lap <= kMaxLaps; ++lap) {
    if (laps != nullptr) {
      laps->Write(w, rs, lap);
    } else {
      WritePerCarLine(w, rs.LapOrder[lap], PutInt);
      WritePerCarLine(w, rs.LapGap[lap], PutDbl);
      WritePerCarLine(w, rs.LapSpeedMph[lap], PutDbl);
    }
  }
  for (int lap = 0; lap <= kMaxLaps; ++lap) WritePerCarLine(w, rs.LapWearsUsed[lap], PutInt);
  const PerCar<std::pair<int, int>> held = HeldCells(rs);
  for (int car = 1; car <= kMaxCars; ++car) {
    w.Int(held[car].first).Int(held[car].second);
    w.EndLine();
  }
  w.Bool(rs.PitLaneOpen).Int(rs.PitReplenishment).Int(rs.StartWearAllotment).Bool(rs.PitRepairOnly);
  w.Int(rs.MinPitDuration);
  w.EndLine();
  WriteLeaderSpeedHistory(w, rs);
  WritePerCarLine(w, rs.CarStintLaps, PutInt);
  WritePerCarLine(w, rs.CarStintLapsLeft, PutInt);
  WritePerCarLine(w, rs.PitStrategy, PutInt);
  WritePerCarLine(w, rs.CarWearBonus, PutDbl);
  WritePerCarLine(w, rs.CarQualifyBonus, PutDbl);
  WritePerCarLine(w, rs.CarInPit, PutBool);
  // The lap report works out its places when it is written, so the race keeps no table of them:
  // the lines hold zeros for the layout's sake, and a reader drops them.
  for (int place = 0; place < kLapReportPlaces; ++place) WritePerCarLine(w, PerCar<int>{}, PutInt);
  WritePerCarLine(w, rs.QualifyTime, PutDbl);
  for (const std::string& item : rs.Highlights) {
    w.Str(item);
    w.EndLine();
  }
  if (rip) WriteResultTableBlock(w, rs.Tables);
  WriteResumeBlock(w, rs, rng);
}

// Returns the first line of the running records, which a race that does not hold together is
// laid to.
int ReadBody(TextReader& in, RaceState& rs, std::string_view carsFolder, SavedRaceKind kind,
             std::optional<RandomState>& generator) {
  const bool rip = kind == SavedRaceKind::Rip;
  rs.UndoDisabled = in.ReadBool("UndoDisabled");
  rs.AllowManualDice = in.ReadBool("AllowManualDice");
  ReadWeatherLine(in, rs);
  rs.RaceLaps = static_cast<int>(in.ReadInteger("RaceLaps", 1, kMaxLaps));
  rs.SavedRaceLaps = rs.RaceLaps;
  rs.CarCount = static_cast<int>(in.ReadInteger("CarCount", 0, kMaxCars));
  rs.QualifyingMethod = in.ReadString("QualifyingMethod");
  const int delay = in.ReadInt16("CarMovementDelay");
  // A resumed race keeps the player's display speed; an undo only steps back a turn.
  if (!rip) rs.CarMovementDelay = delay;
  rs.OptCurveEntryBySlipstream = in.ReadBool("OptCurveEntryBySlipstream");
  rs.OptAccelFromCurveExit = in.ReadBool("OptAccelFromCurveExit");
  rs.OptBlueFlag = in.ReadBool("OptBlueFlag");
  rs.OptSlipstreamInCurves = in.ReadBool("OptSlipstreamInCurves");
  rs.OptNoLaneChangeInCurves = in.ReadBool("OptNoLaneChangeInCurves");
  if (rip) ReadPointsLines(in, rs);
  rs.CarSetupPoints = in.ReadInt16("CarSetupPoints");
  for (int car = 1; car <= kMaxCars; ++car) {
    if (rip)
      ReadRipCar(in, rs, car, carsFolder);
    else
      ReadRaceConfigCar(in, rs, car, carsFolder);
  }
  rs.LeadCar = ReadCarRef(in, "LeadCar");
  const int runningLine = in.Line();
  for (int i = 1; i <= kMaxCars; ++i) ReadRunning(in, rs, i);
  for (int lap = 0; lap <= kMaxLaps; ++lap) {
    for (int pos = 1; pos <= kMaxCars; ++pos) rs.LapOrder[lap][pos] = ReadCarRef(in, "LapOrder");
    for (int pos = 1; pos <= kMaxCars; ++pos) rs.LapGap[lap][pos] = in.ReadDouble("LapGap");
    for (int pos = 1; pos <= kMaxCars; ++pos) rs.LapSpeedMph[lap][pos] = in.ReadDouble("LapSpeedMph");
  }
  for (int lap = 0; lap <= kMaxLaps; ++lap)
    for (int car = 1; car <= kMaxCars; ++car) rs.LapWearsUsed[lap][car] = in.ReadInt16("LapWearsUsed");
  ReadCells(in, rs);
  rs.PitLaneOpen = in.ReadBool("PitLaneOpen");
  rs.PitReplenishment = in.ReadInt16("PitReplenishment");
  rs.StartWearAllotment = in.ReadInt16("StartWearAllotment");
  rs.PitRepairOnly = in.ReadBool("PitRepairOnly");
  rs.MinPitDuration = in.ReadInt16("MinPitDuration");
  rs.MinPitStops = MinPitStopsFor(rs.RaceLaps, rs.StartWearAllotment, rs.PitReplenishment);
  ReadLeaderSpeedHistory(in, rs);
  for (int car = 1; car <= kMaxCars; ++car) rs.CarStintLaps[car] = in.ReadInt16("CarStintLaps");
  for (int car = 1; car <= kMaxCars; ++car) rs.CarStintLapsLeft[car] = in.ReadInt16("CarStintLapsLeft");
  for (int car = 1; car <= kMaxCars; ++car) rs.PitStrategy[car] = in.ReadInt16("PitStrategy");
  for (int car = 1; car <= kMaxCars; ++car) rs.CarWearBonus[car] = in.ReadDouble("CarWearBonus");
  for (int car = 1; car <= kMaxCars; ++car) rs.CarQualifyBonus[car] = in.ReadDouble("CarQualifyBonus");
  ReadCarInPit(in, rs);
  for (int i = 0; i < kLapReportPlaces * kMaxCars; ++i) in.ReadInt16("LapReportPlace");
  for (int car = 1; car <= kMaxCars; ++car) rs.QualifyTime[car] = in.ReadDouble("QualifyTime");

  rs.Highlights.clear();
  if (rip) {
    // The tables' heading ends the list (an item of that very text would end it too); the
    // records follow it.
    for (std::string item = in.ReadString("Highlight"); item != kResultTableTag; item = in.ReadString("Highlight"))
      rs.Highlights.push_back(std::move(item));
    ReadResultTableRecords(in, rs.Tables);
  }
  bool marked = rip && in.TakeWord(kResumeMark);
  while (!rip && !marked && !in.AtEnd()) {
    marked = in.TakeWord(kResumeMark);
    if (!marked) rs.Highlights.push_back(in.ReadString("Highlight"));
  }
  if (marked)
    ReadResumeBlock(in, rs, generator);
  else
    DeriveResumeFields(rs);

  bool underway = false;
  for (int car = 1; car <= kMaxCars; ++car) underway = underway || rs.CarLap[car] > 0;
  rs.RestartAfterPit = !underway;
  rs.TargetSpace = 0;
  rs.TargetLane = 0;
  return runningLine;
}

}  // namespace

void LapLinesCache::Write(TextWriter& w, const RaceState& rs, int lap) {
  Entry& e = entries_[static_cast<size_t>(lap)];
  // Compared as bytes: the text of a value is what must match, and -0 writes apart from 0.
  auto same = [](const auto& a, const auto& b) { return std::memcmp(a.data(), b.data(), sizeof a) == 0; };
  if (!e.Valid || !same(e.Order, rs.LapOrder[lap]) || !same(e.Gap, rs.LapGap[lap]) ||
      !same(e.Mph, rs.LapSpeedMph[lap])) {
    TextWriter lines;
    WritePerCarLine(lines, rs.LapOrder[lap], PutInt);
    WritePerCarLine(lines, rs.LapGap[lap], PutDbl);
    WritePerCarLine(lines, rs.LapSpeedMph[lap], PutDbl);
    e = Entry{true, rs.LapOrder[lap], rs.LapGap[lap], rs.LapSpeedMph[lap], lines.Text()};
  }
  w.Lines(e.Text);
}

std::string SavedRaceText(const RaceState& rs, std::string_view carsFolder, SavedRaceKind kind, const Random* rng,
                          LapLinesCache* laps) {
  TextWriter w;
  w.Reserve(kSavedRaceReserve);
  WriteBody(w, rs, carsFolder, kind, rng, laps);
  return w.Text();
}

std::optional<FileError> WriteSavedRace(const RaceState& rs, const std::string& path, std::string_view carsFolder,
                                        SavedRaceKind kind, const Random* rng) {
  // An undo file is rewritten every turn and lives as long as the race: the system's cache will do.
  const Durability durability = kind == SavedRaceKind::Undo ? Durability::Cached : Durability::Synced;
  return WriteFileAtomic(path, SavedRaceText(rs, carsFolder, kind, rng), durability);
}

std::optional<FileError> ParseSavedRace(RaceState& rs, std::string text, const std::string& fileName,
                                        std::string_view carsFolder, SavedRaceKind kind,
                                        const RaceConfigTrackLoader& loadTrack, Random* rng) {
  // The whole file is taken in on a copy (on the heap: the state is large) before the race sees it.
  auto work = std::make_unique<RaceState>(rs);
  TextReader in(std::move(text), fileName);
  std::optional<RandomState> generator;
  try {
    const std::string trackFile = in.ReadString("TrackFile");
    work->RaceConfigLoaded = true;
    if (loadTrack) {
      if (std::optional<FileError> error = loadTrack(*work, trackFile)) {
        // A track that cannot be had at all is this file's fault: name its first line. A fault
        // inside the track file keeps that file's own line and field.
        if (error->Line == 0) {
          error->Message = "the track \"" + trackFile + "\": " + error->Message;
          error->File = fileName;
          error->Line = 1;
          error->Field = "TrackFile";
        }
        return error;
      }
    } else {
      work->track.TrackFile = trackFile;
    }
    const int runningLine = ReadBody(in, *work, carsFolder, kind, generator);
    // Each field may be in range and the whole still impossible: a running order with a car twice,
    // a car in the pits and on a cell. The turn engine counts on a race that holds together.
    if (const std::vector<std::string> broken = CheckRaceState(*work); !broken.empty())
      in.Fail(FileErrorCode::OutOfRange, "RunningOrder", "the race does not hold together: " + broken.front(),
              runningLine);
  } catch (const FileFormatError& e) {
    return e.Error();
  }
  rs = std::move(*work);
  if (rng != nullptr && generator) rng->Restore(*generator);
  return std::nullopt;
}

std::optional<FileError> ReadSavedRace(RaceState& rs, const std::string& path, std::string_view carsFolder,
                                       SavedRaceKind kind, const RaceConfigTrackLoader& loadTrack, Random* rng) {
  std::string text;
  if (std::optional<FileError> error = ReadTextFile(path, text)) return error;
  return ParseSavedRace(rs, std::move(text), path, carsFolder, kind, loadTrack, rng);
}

}  // namespace vm
