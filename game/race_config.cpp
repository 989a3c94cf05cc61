#include "game/race_config.h"

#include <cmath>
#include <memory>
#include <utility>

#include "core/paths.h"
#include "core/track_file.h"
#include "rules/result_table_file.h"

namespace vm {

namespace {

constexpr int kReservedInts = 9;
constexpr int kReservedStrings = 10;
constexpr int kLeaderHistoryLines = 5;
constexpr int kLeaderHistoryPerLine = 20;

bool IsBlank(std::string_view text) { return text.find_first_not_of(' ') == std::string_view::npos; }

// The picture as the file keeps it: the part behind the cars folder, one blank for none.
std::string StoredPicture(std::string_view picture, std::string_view carsFolder) {
  if (IsBlank(picture)) return " ";
  if (!carsFolder.empty()) {
    const size_t at = picture.find(carsFolder);
    if (at != std::string_view::npos) return std::string(picture.substr(at + carsFolder.size()));
  }
  return std::string(picture);
}

}  // namespace

void WriteCarRecordHead(TextWriter& w, const RaceState& rs, int car, std::string_view carsFolder) {
  w.Int(rs.CarStartSpeed[car]).Int(rs.CarAcceleration[car]).Int(rs.CarDeceleration[car]);
  w.Int(rs.CarTopSpeed[car]).Int(rs.CarWearPerLap[car]).Bool(rs.CarIsAI[car]);
  w.Int(rs.CarProfileSpare[car]).Int(rs.CarRaceProfile[car]).Int(rs.CarLapProfile[car]);
  w.Str(StoredPicture(rs.CarPicture[car], carsFolder)).Str(rs.DriverName[car]).Int(rs.CarDRM[car]);
  w.Str(rs.CarTeam[car]);
  w.Int(rs.CarRiskSS[car]).Int(rs.CarRiskC[car]).Int(rs.CarRiskD[car]);
  w.Int(rs.CarRiskCA[car]).Int(rs.CarRiskA[car]).Int(rs.CarRiskT[car]);
  w.Bool(rs.CarWetTires[car]);
}

void WriteRaceConfigCar(TextWriter& w, const RaceState& rs, int car, std::string_view carsFolder) {
  WriteCarRecordHead(w, rs, car, carsFolder);
  for (int i = 0; i < kReservedInts; ++i) w.Int(0);
  for (int i = 0; i < kReservedStrings; ++i) w.Str(" ");
  w.EndLine();
}

void ReadCarRecordHead(TextReader& in, RaceState& rs, int car, std::string_view carsFolder) {
  rs.CarStartSpeed[car] = in.ReadInt16("CarStartSpeed");
  rs.CarAcceleration[car] = in.ReadInt16("CarAcceleration");
  rs.CarDeceleration[car] = in.ReadInt16("CarDeceleration");
  rs.CarTopSpeed[car] = in.ReadInt16("CarTopSpeed");
  rs.CarWearPerLap[car] = in.ReadInt16("CarWearPerLap");
  rs.CarIsAI[car] = in.ReadBool("CarIsAI");
  rs.CarProfileSpare[car] = in.ReadInt16("CarProfileSpare");
  rs.CarRaceProfile[car] = in.ReadInt16("CarRaceProfile");
  rs.CarLapProfile[car] = in.ReadInt16("CarLapProfile");
  // A car with no picture has none again, as a car file gives it, not the bare folder.
  const std::string picture = in.ReadString("CarPicture");
  rs.CarPicture[car] = IsBlank(picture) ? "" : std::string(carsFolder) + picture;
  rs.DriverName[car] = in.ReadString("DriverName");
  rs.CarDRM[car] = in.ReadInt16("CarDRM");
  rs.CarTeam[car] = in.ReadString("CarTeam");
  rs.CarRiskSS[car] = in.ReadInt16("CarRiskSS");
  rs.CarRiskC[car] = in.ReadInt16("CarRiskC");
  rs.CarRiskD[car] = in.ReadInt16("CarRiskD");
  rs.CarRiskCA[car] = in.ReadInt16("CarRiskCA");
  rs.CarRiskA[car] = in.ReadInt16("CarRiskA");
  rs.CarRiskT[car] = in.ReadInt16("CarRiskT");
  rs.CarWetTires[car] = in.ReadBool("CarWetTires");
}

void ReadRaceConfigCar(TextReader& in, RaceState& rs, int car, std::string_view carsFolder) {
  ReadCarRecordHead(in, rs, car, carsFolder);
  for (int i = 0; i < kReservedInts; ++i) in.ReadInt16("reserved");
  for (int i = 0; i < kReservedStrings; ++i) in.ReadString("reserved");
}

int MinPitStopsFor(int raceLaps, int startWearAllotment, int pitReplenishment) {
  if (pitReplenishment == 0) return 0;
  return static_cast<int>(
      std::floor(static_cast<double>(raceLaps - startWearAllotment) / pitReplenishment + 0.5));
}

void WriteWeatherLine(TextWriter& w, const RaceState& rs) {
  w.Bool(rs.WeatherEnabled).Int(rs.WeatherCycles).Int(rs.WeatherValue).Int(rs.PrevWeatherValue);
  w.Str(rs.TrackCondition).Int(rs.WeatherRollSpace);
  w.EndLine();
}

void ReadWeatherLine(TextReader& in, RaceState& rs) {
  rs.WeatherEnabled = in.ReadBool("WeatherEnabled");
  rs.WeatherCycles = in.ReadInt16("WeatherCycles");
  rs.WeatherValue = in.ReadInt16("WeatherValue");
  rs.PrevWeatherValue = in.ReadInt16("PrevWeatherValue");
  rs.TrackCondition = in.ReadString("TrackCondition");
  rs.WeatherRollSpace = in.ReadInt16("WeatherRollSpace");
}

void WritePointsLines(TextWriter& w, const RaceState& rs) {
  for (int place = 1; place <= kMaxCars; ++place) w.Int(rs.PointStructure[place]);
  w.EndLine();
  w.Int(rs.PointsPole).Int(rs.PointsLeadLap).Int(rs.PointsFastLap).Int(rs.PointsLeadMost);
  w.EndLine();
}

void ReadPointsLines(TextReader& in, RaceState& rs) {
  for (int place = 1; place <= kMaxCars; ++place) rs.PointStructure[place] = in.ReadInt16("PointStructure");
  rs.PointsPole = in.ReadInt16("PointsPole");
  rs.PointsLeadLap = in.ReadInt16("PointsLeadLap");
  rs.PointsFastLap = in.ReadInt16("PointsFastLap");
  rs.PointsLeadMost = in.ReadInt16("PointsLeadMost");
}

void WriteLeaderSpeedHistory(TextWriter& w, const RaceState& rs) {
  w.Int(rs.LeaderSpeedCount);
  w.EndLine();
  for (int line = 0; line < kLeaderHistoryLines; ++line) {
    for (int i = 1; i <= kLeaderHistoryPerLine; ++i) w.Int(rs.LeaderSpeedHistory[line * kLeaderHistoryPerLine + i]);
    w.EndLine();
  }
}

void ReadLeaderSpeedHistory(TextReader& in, RaceState& rs) {
  rs.LeaderSpeedCount = static_cast<int>(in.ReadInteger("LeaderSpeedCount", 0, kLeaderHistory));
  for (int i = 1; i <= kLeaderHistory; ++i) rs.LeaderSpeedHistory[i] = in.ReadInt16("LeaderSpeedHistory");
}

namespace {

void ReadBody(TextReader& in, RaceState& rs, std::string_view carsFolder) {
  rs.RaceLaps = static_cast<int>(in.ReadInteger("RaceLaps", 1, kMaxLaps));
  rs.CarCount = static_cast<int>(in.ReadInteger("CarCount", 0, kMaxCars));
  rs.QualifyingMethod = in.ReadString("QualifyingMethod");
  in.ReadInt16("CarMovementDelay");  // the player's own display speed stays
  rs.AllowManualDice = in.ReadBool("AllowManualDice");

  ReadWeatherLine(in, rs);
  ReadPointsLines(in, rs);
  rs.CarSetupPoints = in.ReadInt16("CarSetupPoints");
  rs.CarsInFile = static_cast<int>(in.ReadInteger("CarsInFile", 0, kMaxCars));

  for (int car = 1; car <= kMaxCars; ++car) {
    ReadRaceConfigCar(in, rs, car, carsFolder);
    ClearCarRaceCounters(rs, car);
  }

  rs.PitLaneOpen = in.ReadBool("PitLaneOpen");
  rs.PitReplenishment = in.ReadInt16("PitReplenishment");
  rs.StartWearAllotment = in.ReadInt16("StartWearAllotment");
  rs.OptCurveEntryBySlipstream = in.ReadBool("OptCurveEntryBySlipstream");
  rs.OptAccelFromCurveExit = in.ReadBool("OptAccelFromCurveExit");
  rs.PitRepairOnly = in.ReadBool("PitRepairOnly");
  rs.MinPitDuration = in.ReadInt16("MinPitDuration");
  rs.OptBlueFlag = in.ReadBool("OptBlueFlag");
  rs.OptSlipstreamInCurves = in.ReadBool("OptSlipstreamInCurves");
  rs.OptNoLaneChangeInCurves = in.ReadBool("OptNoLaneChangeInCurves");
  // The stops are not stored: they follow from the laps the allotments leave to cover.
  rs.MinPitStops = MinPitStopsFor(rs.RaceLaps, rs.StartWearAllotment, rs.PitReplenishment);

  for (int car = 1; car <= kMaxCars; ++car) rs.PitStrategy[car] = in.ReadInt16("PitStrategy");
  for (int car = 1; car <= kMaxCars; ++car) rs.CarWearBonus[car] = in.ReadDouble("CarWearBonus");
  for (int car = 1; car <= kMaxCars; ++car) rs.CarQualifyBonus[car] = in.ReadDouble("CarQualifyBonus");

  ReadLeaderSpeedHistory(in, rs);

  ReadResultTableBlock(in, rs.Tables);
}

}  // namespace

RaceConfigTrackLoader TrackLoaderFromFolder(std::string tracksFolder) {
  return [folder = std::move(tracksFolder)](RaceState& rs, const std::string& trackFile) -> std::optional<FileError> {
    const std::string asStored = NativePath(trackFile);
    std::optional<FileError> error = LoadTrack(rs.track, asStored);
    if (error && error->Code == FileErrorCode::NotFound && !folder.empty()) {
      error = LoadTrack(rs.track, JoinPath(folder, BaseName(asStored)));
    }
    return error;
  };
}

std::string RaceConfigText(const RaceState& rs, std::string_view carsFolder) {
  TextWriter w;
  w.Str(rs.track.TrackFile);
  w.EndLine();
  w.Int(rs.RaceLaps);
  w.EndLine();
  w.Int(rs.CarCount);
  w.EndLine();
  w.Str(rs.QualifyingMethod);
  w.EndLine();
  w.Int(rs.CarMovementDelay);
  w.EndLine();
  w.Bool(rs.AllowManualDice);
  w.EndLine();
  WriteWeatherLine(w, rs);
  WritePointsLines(w, rs);
  w.Int(rs.CarSetupPoints);
  w.EndLine();
  w.Int(rs.CarsInFile);
  w.EndLine();
  for (int car = 1; car <= kMaxCars; ++car) WriteRaceConfigCar(w, rs, car, carsFolder);
  w.Bool(rs.PitLaneOpen).Int(rs.PitReplenishment).Int(rs.StartWearAllotment);
  w.Bool(rs.OptCurveEntryBySlipstream).Bool(rs.OptAccelFromCurveExit).Bool(rs.PitRepairOnly);
  w.Int(rs.MinPitDuration).Bool(rs.OptBlueFlag).Bool(rs.OptSlipstreamInCurves).Bool(rs.OptNoLaneChangeInCurves);
  w.EndLine();
  for (int car = 1; car <= kMaxCars; ++car) w.Int(rs.PitStrategy[car]);
  w.EndLine();
  for (int car = 1; car <= kMaxCars; ++car) w.Dbl(rs.CarWearBonus[car]);
  w.EndLine();
  for (int car = 1; car <= kMaxCars; ++car) w.Dbl(rs.CarQualifyBonus[car]);
  w.EndLine();
  WriteLeaderSpeedHistory(w, rs);
  WriteResultTableBlock(w, rs.Tables);
  return w.Text();
}

std::optional<FileError> WriteRaceConfig(const RaceState& rs, const std::string& path, std::string_view carsFolder) {
  return WriteFileAtomic(path, RaceConfigText(rs, carsFolder));
}

std::optional<FileError> ParseRaceConfig(RaceState& rs, std::string text, const std::string& fileName,
                                         std::string_view carsFolder, const RaceConfigTrackLoader& loadTrack) {
  // The race keeps its state until the whole file has been taken in; the state is large, so the
  // working copy lives on the heap.
  auto work = std::make_unique<RaceState>(rs);
  TextReader in(std::move(text), fileName);
  try {
    const std::string trackFile = in.ReadString("TrackFile");
    work->RaceConfigLoaded = true;
    // A loaded track keeps the path it was found at, which may be the tracks folder rather
    // than the stored one: a later save then names a file that exists.
    if (loadTrack) {
      if (std::optional<FileError> error = loadTrack(*work, trackFile)) return error;
    } else {
      work->track.TrackFile = trackFile;
    }
    ReadBody(in, *work, carsFolder);
  } catch (const FileFormatError& e) {
    return e.Error();
  }
  work->RaceConfigLoaded = false;
  rs = std::move(*work);
  return std::nullopt;
}

std::optional<FileError> ReadRaceConfig(RaceState& rs, const std::string& path, std::string_view carsFolder,
                                        const RaceConfigTrackLoader& loadTrack) {
  std::string text;
  if (std::optional<FileError> error = ReadTextFile(path, text)) return error;
  return ParseRaceConfig(rs, std::move(text), path, carsFolder, loadTrack);
}

}  // namespace vm
