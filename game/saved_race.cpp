#include "game/saved_race.h"

#include <memory>
#include <utility>

#include "rules/pit_stops.h"
#include "rules/result_table_file.h"

namespace vm {

namespace {

constexpr int kRipReservedInts = 3;
constexpr int kRipTrailingInts = 10;
constexpr int kRipTrailingStrings = 10;
constexpr int kLapReportPlaces = 11;  // places 0..10 of the lap report


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

// The running record: car `i`'s race so far, and the car in place `i`.
void WriteRunning(TextWriter& w, const RaceState& rs, int i) {
  w.Bool(rs.CarEngineDamaged[i]).Bool(rs.CarBrakesDamaged[i]).Int(rs.CarMoveCount[i]).Dbl(rs.CarAvgSpeed[i]);
  w.Int(rs.CarStatus[i]).Int(rs.CarLap[i]).Bool(rs.CarOutOfRace[i]).Int(rs.RunningOrder[i]);
  w.Int(rs.CarDraftTarget[i]).Int(rs.CarRaceDistance[i]).Int(rs.CarLane[i]).Int(rs.CarSpace[i]);
  w.Int(rs.CarWears[i]).Int(rs.CarSpeed[i]).Int(rs.CarApexNumber[i]).Int(rs.CarApexLimit[i]);
  w.Int(rs.CarApexSpeed[i]).Int(rs.CarCurveRankPaid[i]).Bool(rs.CarOnApexCells[i]);
  w.Int(rs.CarCurveEntryLimit[i]).Int(rs.CarNewSpeed[i]).Int(rs.CarCurveExcessPaid[i]).Bool(rs.CarCurveOwes[i]);
  w.Dbl(rs.CarLapClock[i]).Dbl(rs.CarRaceClock[i]);
  w.EndLine();
}

// A car number where one is kept: 0 for none.
int ReadCarRef(TextReader& in, std::string_view field) {
  return static_cast<int>(in.ReadInteger(field, 0, kMaxCars));
}

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
  rs.CarRaceDistance[i] = in.ReadInt16("CarRaceDistance");
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
// cell holds none even though its lane and space still say where it was.
std::pair<int, int> HeldCell(const RaceState& rs, int car) {
  const Track& t = rs.track;
  for (int space = 1; space <= kMaxSpaces; ++space)
    for (int lane = 1; lane <= kMaxLanes; ++lane)
      if (t.CellOccupant[space][lane] == car) return {lane, space};
  return {0, 0};
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
    const std::string where = "car " + std::to_string(car) + " at lane " + std::to_string(lane) + ", space " +
                              std::to_string(space);
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
      in.Fail(FileErrorCode::OutOfRange, "CarInPit",
              "car " + std::to_string(car) + " is in the pits but holds a cell", in.LastFieldLine());
    // The file keeps neither the turns left nor the work: a car resumes one turn from release,
    // its tires as they are, in car order.
    PitDecisions keepTires;
    keepTires.DryTires = !rs.CarWetTires[car];
    rs.PitQueue.push_back(PitQueueEntry{car, 1, TaskCodeFor(keepTires), 0});
  }
}

void WriteBody(TextWriter& w, const RaceState& rs, std::string_view carsFolder, SavedRaceKind kind) {
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
  for (bool option : {rs.OptCurveEntryBySlipstream, rs.OptAccelFromCurveExit, rs.OptBlueFlag,
                      rs.OptSlipstreamInCurves, rs.OptNoLaneChangeInCurves}) {
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
  for (int i = 1; i <= kMaxCars; ++i) WriteRunning(w, rs, i);
  for (int lap = 0; lap <= kMaxLaps; ++lap) {
    WritePerCarLine(w, rs.LapOrder[lap], PutInt);
    WritePerCarLine(w, rs.LapGap[lap], PutDbl);
    WritePerCarLine(w, rs.LapSpeedMph[lap], PutDbl);
  }
  for (int lap = 0; lap <= kMaxLaps; ++lap) WritePerCarLine(w, rs.LapWearsUsed[lap], PutInt);
  for (int car = 1; car <= kMaxCars; ++car) {
    const auto [lane, space] = HeldCell(rs, car);
    w.Int(lane).Int(space);
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
}

void ReadBody(TextReader& in, RaceState& rs, std::string_view carsFolder, SavedRaceKind kind) {
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
  } else {
    while (!in.AtEnd()) rs.Highlights.push_back(in.ReadString("Highlight"));
  }

  bool underway = false;
  for (int car = 1; car <= kMaxCars; ++car) underway = underway || rs.CarLap[car] > 0;
  rs.RestartAfterPit = !underway;
  rs.TargetSpace = 0;
  rs.TargetLane = 0;
}

}  // namespace

std::string SavedRaceText(const RaceState& rs, std::string_view carsFolder, SavedRaceKind kind) {
  TextWriter w;
  WriteBody(w, rs, carsFolder, kind);
  return w.Text();
}

std::optional<FileError> WriteSavedRace(const RaceState& rs, const std::string& path, std::string_view carsFolder,
                                        SavedRaceKind kind) {
  return WriteFileAtomic(path, SavedRaceText(rs, carsFolder, kind));
}

std::optional<FileError> ParseSavedRace(RaceState& rs, std::string text, const std::string& fileName,
                                        std::string_view carsFolder, SavedRaceKind kind,
                                        const RaceConfigTrackLoader& loadTrack) {
  // The whole file is taken in on a copy (on the heap: the state is large) before the race sees it.
  auto work = std::make_unique<RaceState>(rs);
  TextReader in(std::move(text), fileName);
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
    ReadBody(in, *work, carsFolder, kind);
  } catch (const FileFormatError& e) {
    return e.Error();
  }
  rs = std::move(*work);
  return std::nullopt;
}

std::optional<FileError> ReadSavedRace(RaceState& rs, const std::string& path, std::string_view carsFolder,
                                       SavedRaceKind kind, const RaceConfigTrackLoader& loadTrack) {
  std::string text;
  if (std::optional<FileError> error = ReadTextFile(path, text)) return error;
  return ParseSavedRace(rs, std::move(text), path, carsFolder, kind, loadTrack);
}

}  // namespace vm
