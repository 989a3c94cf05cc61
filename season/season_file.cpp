#include "season/season_file.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <memory>
#include <utility>

#include "core/paths.h"
#include "core/race_record.h"
#include "core/track.h"
#include "engine/laps.h"
#include "rules/result_table_file.h"

namespace vm {

namespace {

constexpr int kRaceFields = 9;
constexpr int kOlderRaceFields = 6;
constexpr int kOlderDriverFields = 25;
constexpr int kFinishFields = kMaxCars;
constexpr int kLapsLedFields = kMaxCars + 3;
constexpr int kResultHeadFields = 19;
constexpr int kRaceRecordFields = 25;
constexpr int kLastReservedInt = 32;  // driver fields 24..32 are reserved Integers, 33..42 reserved Strings

constexpr std::string_view kCurveExitTagCreate = "-- Allow Acceleration from Curve Exit --";
constexpr std::string_view kCurveExitTagUpdate = "-- Allow Acceleration from curve exit --";

std::string Indexed(std::string_view name, int index) { return std::string(name) + " " + std::to_string(index); }

// The number of laps a race line's laps text stands for; blanks around it are allowed, since
// a number made into text may carry a leading blank.
std::optional<int> LapsValue(std::string_view text) {
  const size_t first = text.find_first_not_of(' ');
  if (first == std::string_view::npos) return std::nullopt;
  const size_t last = text.find_last_not_of(' ');
  int value = 0;
  const char* begin = text.data() + first;
  const char* end = text.data() + last + 1;
  const auto [stop, ec] = std::from_chars(begin, end, value);
  if (ec != std::errc() || stop != end) return std::nullopt;
  return value;
}

// Every record of these files stands on a line of its own (LineRecord). A rating of a car that
// races must be one its scale knows; rows beyond the field may be blank.
using Record = LineRecord;

int RatingValue(Record& r, Rating rating, bool checked) {
  const RatingScale& scale = ScaleOf(rating);
  const int value = r.Int16(scale.Name);
  if (checked && !RatingIndex(rating, value))
    r.Fail(FileErrorCode::OutOfRange, scale.Name, "has " + std::to_string(value) + ", off the scale");
  return value;
}

// A tag line: read by position, never compared.
void SkipTag(TextReader& in) {
  Record r(in, "the tag", 1);
  r.Str("tag");
  r.End();
}

void WriteStringLine(TextWriter& w, std::string_view text) {
  w.Str(text);
  w.EndLine();
}

// A record of one setting behind its tag.
template <class Read>
auto Setting(TextReader& in, std::string_view field, Read read) {
  SkipTag(in);
  Record r(in, std::string(field), 1);
  auto value = read(r);
  r.End();
  return value;
}

bool BoolSetting(TextReader& in, std::string_view field) {
  return Setting(in, field, [field](Record& r) { return r.Bool(field); });
}

// Whether the second field of a line is quoted: the mark by which the two writers' race lines
// differ. Lines are counted as the reader counts them.
bool SecondFieldQuoted(std::string_view text, int line) {
  size_t pos = 0;
  for (int at = 1; at < line && pos < text.size(); ++pos) {
    if (text[pos] == '\r' && pos + 1 < text.size() && text[pos + 1] == '\n') ++pos;
    if (text[pos] == '\r' || text[pos] == '\n') ++at;
  }
  auto skipBlanks = [&] {
    while (pos < text.size() && (text[pos] == ' ' || text[pos] == '\t' || text.substr(pos, 3) == "\xEF\xBB\xBF"))
      pos += text[pos] == '\xEF' ? 3 : 1;
  };
  skipBlanks();
  if (pos < text.size() && text[pos] == '"') {
    const size_t close = text.find_first_of("\"\r\n", pos + 1);
    if (close == std::string_view::npos) return false;
    pos = close + 1;
  }
  pos = text.find_first_of(",\r\n", pos);
  if (pos == std::string_view::npos || text[pos] != ',') return false;
  ++pos;
  skipBlanks();
  return pos < text.size() && text[pos] == '"';
}

// --- Records shared by the .sea and .res files.

void WriteDriver(TextWriter& w, const CarRecord& c, bool wetTires, std::string_view carsFolder) {
  w.Int(c.StartSpeed).Int(c.Acceleration).Int(c.Deceleration).Int(c.TopSpeed).Int(c.WearPerLap);
  w.Bool(c.IsAI).Int(c.ProfileSpare).Int(c.RaceProfile).Int(c.LapProfile);
  w.Str(StoredPicture(c.Picture, carsFolder)).Str(c.DriverName).Int(c.DRM).Str(TeamForFile(c.Team));
  w.Int(c.RiskSS).Int(c.RiskC).Int(c.RiskD).Int(c.RiskCA).Int(c.RiskA).Int(c.RiskT);
  w.Bool(wetTires).Int(c.PitStrategy).Dbl(c.WearBonus).Dbl(c.QualifyBonus);
  for (int i = 24; i <= kLastReservedInt; ++i) w.Int(0);
  for (int i = kLastReservedInt + 1; i <= kSeasonDriverFields; ++i) w.Str(" ");
  w.EndLine();
}

// A driver line of `fields` fields: 42, or the first 25 of them in the older layout.
SeasonDriver ReadDriver(TextReader& in, int car, int fields, bool racing, std::string_view carsFolder) {
  Record r(in, "driver " + std::to_string(car), fields);
  SeasonDriver d;
  CarRecord& c = d.Car;
  ReadCarHead(r, c, carsFolder,
              [racing](LineRecord& record, Rating rating) { return RatingValue(record, rating, racing); });
  d.WetTires = r.Bool("CarWetTires");
  c.PitStrategy = r.Int16("PitStrategy");
  c.WearBonus = r.Dbl("CarWearBonus");
  c.QualifyBonus = r.Dbl("CarQualifyBonus");
  for (int i = 24; i <= std::min(fields, kLastReservedInt); ++i) r.Int16(Indexed("reserved", i));
  for (int i = kLastReservedInt + 1; i <= fields; ++i) r.Str(Indexed("reserved", i));
  r.End();
  return d;
}

// --- The .sea file.

// Lines 1 to 27: the name, counts, rules and point scale, each behind its tag.
void ReadHead(TextReader& in, SeasonFileData& s) {
  s.Name = Setting(in, "SeasonName", [](Record& r) { return r.Str("SeasonName"); });
  s.Races = Setting(in, "SeasonRaces", [](Record& r) { return r.Int("SeasonRaces", 1, kMaxSeasonRaces); });
  s.Drivers = Setting(in, "SeasonDrivers", [](Record& r) { return r.Int("SeasonDrivers", 1, kMaxCars); });
  // One past the last race once the season is over, never further.
  const int races = s.Races;
  s.NextRace = Setting(in, "NextRace", [races](Record& r) { return r.Int("NextRace", 1, races + 1); });
  s.LockCars = BoolSetting(in, "LockCars");
  s.AILoadOptimumSetup = BoolSetting(in, "AILoadOptimumSetup");
  s.AIRandomizeOptimumSetup = BoolSetting(in, "AIRandomizeOptimumSetup");
  s.CarSetupPoints = Setting(in, "CarSetupPoints", [](Record& r) { return r.Int16("CarSetupPoints"); });
  s.AccumulateDamage = BoolSetting(in, "AccumulateDamage");
  s.UndoDisabled = BoolSetting(in, "UndoDisabled");
  s.AllowManualDice = BoolSetting(in, "AllowManualDice");
  SkipTag(in);
  Record weather(in, "the weather line", 2);
  s.WeatherEnabled = weather.Bool("WeatherEnabled");
  s.WeatherCycle = weather.Int16("WeatherCycle");
  weather.End();
  SkipTag(in);
  Record places(in, "the point scale", kMaxCars);
  for (int place = 1; place <= kMaxCars; ++place)
    s.PointStructure[place] = places.Int16(Indexed("PointStructure", place));
  places.End();
  Record bonus(in, "the bonus points", 4);
  s.PointsPole = bonus.Int16("PointsPole");
  s.PointsLeadLap = bonus.Int16("PointsLeadLap");
  s.PointsFastLap = bonus.Int16("PointsFastLap");
  s.PointsLeadMost = bonus.Int16("PointsLeadMost");
  bonus.End();
}

void WriteHead(TextWriter& w, const SeasonFileData& s) {
  const auto setting = [&w](std::string_view tag, auto write) {
    WriteStringLine(w, tag);
    write();
    w.EndLine();
  };
  setting("--Season Name--", [&] { w.Str(s.Name); });
  setting("--Races--", [&] { w.Int(s.Races); });
  setting("--Drivers--", [&] { w.Int(s.Drivers); });
  setting("--Next Race--", [&] { w.Int(s.NextRace); });
  setting("--Lock Cars--", [&] { w.Bool(s.LockCars); });
  setting("--Load Opt Setup--", [&] { w.Bool(s.AILoadOptimumSetup); });
  setting("--Rand Opt Setup--", [&] { w.Bool(s.AIRandomizeOptimumSetup); });
  setting("--Setup Points--", [&] { w.Int(s.CarSetupPoints); });
  setting("--Accumulate Damage--", [&] { w.Bool(s.AccumulateDamage); });
  setting("--Undo Disabled--", [&] { w.Bool(s.UndoDisabled); });
  setting("--Manual Dice--", [&] { w.Bool(s.AllowManualDice); });
  setting("--Weather/Cycle--", [&] { w.Bool(s.WeatherEnabled).Int(s.WeatherCycle); });
  setting("--Point Allocation--", [&] {
    for (int place = 1; place <= kMaxCars; ++place) w.Int(s.PointStructure[place]);
  });
  w.Int(s.PointsPole).Int(s.PointsLeadLap).Int(s.PointsFastLap).Int(s.PointsLeadMost);
  w.EndLine();
}

// A race line of 9 fields, or the first 6 of them in the older layout.
SeasonRace ReadRace(TextReader& in, int race, int fields, int& line) {
  Record r(in, "race " + std::to_string(race), fields);
  SeasonRace s;
  s.TrackFile = r.Str("SeasonTrackFile");
  line = r.Line();
  s.Laps = r.Str("SeasonTrackLaps");
  const std::optional<int> laps = LapsValue(s.Laps);
  if (!laps) r.Fail(FileErrorCode::TypeMismatch, "SeasonTrackLaps", "has laps \"" + s.Laps.substr(0, 20) + "\"");
  if (*laps < 1 || *laps > kMaxLaps)
    r.Fail(FileErrorCode::OutOfRange, "SeasonTrackLaps", "has " + std::to_string(*laps) + " laps, not 1 to 100");
  s.Abbrev = PadTag(r.Str("SeasonTrackAbbrev"));  // a fixed six, as the column heading needs
  s.PitOpen = r.Bool("SeasonPitOpen");
  s.StartAllotment = r.Int16("SeasonStartAllotment");
  s.PitReplenishment = r.Int16("SeasonPitReplenishment");
  if (fields == kRaceFields) {
    s.Miles = r.Dbl("SeasonTrackMiles");
    s.RepairOnly = r.Bool("SeasonRepairOnly");
    s.MinPitTurns = r.Int16("SeasonMinPitTurns");
  }
  r.End();
  return s;
}

void WriteRace(TextWriter& w, const SeasonRace& r, SeasonWriter writer) {
  w.Str(r.TrackFile);
  if (writer == SeasonWriter::Create)
    w.Int(LapsValue(r.Laps).value_or(0));
  else
    w.Str(r.Laps);
  w.Str(PadTag(r.Abbrev)).Bool(r.PitOpen).Int(r.StartAllotment).Int(r.PitReplenishment).Dbl(r.Miles).Bool(r.RepairOnly);
  w.Int(r.MinPitTurns);
  w.EndLine();
}

void ReadResult(TextReader& in, int race, SeasonResult& result) {
  Record finish(in, "the finish of race " + std::to_string(race), kFinishFields);
  for (int place = 1; place <= kMaxCars; ++place)
    result.Finish[place] = finish.Int(Indexed("SeasonFinish", place), 0, kMaxCars);
  finish.End();
  Record led(in, "the laps led of race " + std::to_string(race), kLapsLedFields);
  result.PoleCar = led.Int("SeasonPoleCar", 0, kMaxCars);
  result.FastLapCar = led.Int("SeasonFastLapCar", 0, kMaxCars);
  result.MostLaps = led.Int16("SeasonMostLaps");
  for (int place = 1; place <= kMaxCars; ++place) result.LapsLed[place] = led.Int16(Indexed("SeasonLapsLed", place));
  led.End();
}

void WriteResult(TextWriter& w, const SeasonResult& result) {
  for (int place = 1; place <= kMaxCars; ++place) w.Int(result.Finish[place]);
  w.EndLine();
  w.Int(result.PoleCar).Int(result.FastLapCar).Int(result.MostLaps);
  for (int place = 1; place <= kMaxCars; ++place) w.Int(result.LapsLed[place]);
  w.EndLine();
}

// The tail from "--Qualifying--" on.
void ReadTail(TextReader& in, SeasonFileData& s) {
  SkipTag(in);
  Record q(in, "the qualifying line", 2);
  s.QualifyingMethod = q.Str("QualifyingMethod");
  s.AllowRequalifying = q.Bool("AllowRequalifying");
  q.End();
  s.OptCurveEntryBySlipstream = BoolSetting(in, "OptCurveEntryBySlipstream");
  s.OptAccelFromCurveExit = BoolSetting(in, "OptAccelFromCurveExit");
  s.OptBlueFlag = BoolSetting(in, "OptBlueFlag");
  s.OptSlipstreamInCurves = BoolSetting(in, "OptSlipstreamInCurves");
  s.OptNoLaneChangeInCurves = BoolSetting(in, "OptNoLaneChangeInCurves");
  s.RaceStored = BoolSetting(in, "SeasonRaceStored");
}

void WriteTail(TextWriter& w, const SeasonFileData& s, SeasonWriter writer) {
  WriteStringLine(w, "--Qualifying--");
  w.Str(s.QualifyingMethod).Bool(s.AllowRequalifying);
  w.EndLine();
  const std::pair<std::string_view, bool> options[] = {
      {"-- Disable Turn Entry SlipStream Cancellation --", s.OptCurveEntryBySlipstream},
      {writer == SeasonWriter::Create ? kCurveExitTagCreate : kCurveExitTagUpdate, s.OptAccelFromCurveExit},
      {"-- Allow Blue Flag --", s.OptBlueFlag},
      {"-- Allow Slipstream in Turn --", s.OptSlipstreamInCurves},
      {"-- Prevent Lane Change In Turn --", s.OptNoLaneChangeInCurves},
      {"-- Race In Progress --", s.RaceStored},
  };
  for (const auto& [tag, value] : options) {
    WriteStringLine(w, tag);
    w.Bool(value);
    w.EndLine();
  }
}

// --- The .res file.

void ReadRaceRecord(TextReader& in, RaceState& rs, int i) {
  Record r(in, "race record " + std::to_string(i), kRaceRecordFields);
  rs.CarEngineDamaged[i] = r.Bool("CarEngineDamaged");
  rs.CarBrakesDamaged[i] = r.Bool("CarBrakesDamaged");
  rs.CarMoveCount[i] = r.Int16("CarMoveCount");
  rs.CarAvgSpeed[i] = r.Dbl("CarAvgSpeed");
  rs.CarStatus[i] = r.Int16("CarStatus");
  rs.CarLap[i] = r.Int16("CarLap");
  rs.CarOutOfRace[i] = r.Bool("CarOutOfRace");
  rs.FinishOrder[i] = r.Int("FinishOrder", 0, kMaxCars);
  rs.CarDraftTarget[i] = r.Int("CarDraftTarget", 0, kMaxCars);
  // Laps times spaces passes 16 bits in a long race on a long circuit.
  rs.CarRaceDistance[i] = r.Int32("CarRaceDistance");
  // Lane, space and apex index the track's tables wherever a report looks the car up.
  rs.CarLane[i] = r.Int("CarLane", 0, kMaxLanes);
  rs.CarSpace[i] = r.Int("CarSpace", 0, kMaxSpaces);
  rs.CarWears[i] = r.Int16("CarWears");
  rs.CarSpeed[i] = r.Int16("CarSpeed");
  rs.CarApexNumber[i] = r.Int("CarApexNumber", 0, kMaxApexes);
  rs.CarApexLimit[i] = r.Int16("CarApexLimit");
  rs.CarApexSpeed[i] = r.Int16("CarApexSpeed");
  rs.CarCurveRankPaid[i] = r.Int16("CarCurveRankPaid");
  rs.CarOnApexCells[i] = r.Bool("CarOnApexCells");
  rs.CarCurveEntryLimit[i] = r.Int16("CarCurveEntryLimit");
  rs.CarNewSpeed[i] = r.Int16("CarNewSpeed");
  rs.CarCurveExcessPaid[i] = r.Int16("CarCurveExcessPaid");
  rs.CarCurveOwes[i] = r.Bool("CarCurveOwes");
  rs.CarLapClock[i] = r.Dbl("CarLapClock");
  rs.CarRaceClock[i] = r.Dbl("CarRaceClock");
  r.End();
}

template <class T, class Put>
void WriteRow(TextWriter& w, const PerCar<T>& row, Put put) {
  for (int i = 1; i <= kMaxCars; ++i) put(w, row[i]);
  w.EndLine();
}

template <class T, class Get>
void ReadRow(TextReader& in, PerCar<T>& row, std::string_view name, int lap, Get get) {
  Record r(in, std::string(name) + " of lap " + std::to_string(lap), kMaxCars);
  for (int i = 1; i <= kMaxCars; ++i) row[i] = get(r, Indexed(name, i));
  r.End();
}

void PutInt(TextWriter& w, int v) { w.Int(v); }
void PutDbl(TextWriter& w, double v) { w.Dbl(v); }
int GetCarRef(Record& r, const std::string& field) { return r.Int(field, 0, kMaxCars); }
int GetInt16(Record& r, const std::string& field) { return r.Int16(field); }
double GetDbl(Record& r, const std::string& field) { return r.Dbl(field); }

std::string RaceResultsText(const RaceState& rs, int race, std::string_view carsFolder, const std::string& stamp) {
  TextWriter w;
  w.Reserve(160 * 1024);
  WriteStringLine(w, stamp);
  const Track& t = rs.track;
  w.Int(race).Dbl(t.TrackDistanceMiles).Int(t.RacingLineSpaces).Str(t.TrackName).Str(t.TrackPlace1);
  w.Str(t.TrackPlace2).Int(rs.RaceLaps).Int(rs.CarCount).Int(rs.CarsOut).Bool(rs.PitLaneOpen);
  w.Int(rs.StartWearAllotment).Int(rs.PitReplenishment).Bool(rs.OptCurveEntryBySlipstream);
  w.Bool(rs.OptAccelFromCurveExit).Bool(rs.PitRepairOnly).Int(rs.MinPitDuration).Bool(rs.OptBlueFlag);
  w.Bool(rs.OptSlipstreamInCurves).Bool(rs.OptNoLaneChangeInCurves);
  w.EndLine();
  for (int car = 1; car <= kMaxCars; ++car) WriteDriver(w, GetCar(rs, car), rs.CarWetTires[car], carsFolder);
  for (int i = 1; i <= kMaxCars; ++i) WriteCarRaceRecord(w, rs, i, rs.FinishOrder[i]);
  for (int lap = 0; lap <= kMaxLaps; ++lap) {
    WriteRow(w, rs.LapOrder[lap], PutInt);
    WriteRow(w, rs.LapGap[lap], PutDbl);
    WriteRow(w, rs.LapSpeedMph[lap], PutDbl);
  }
  for (int lap = 0; lap <= kMaxLaps; ++lap) WriteRow(w, rs.LapWearsUsed[lap], PutInt);
  WriteRow(w, rs.QualifyTime, PutDbl);
  for (const std::string& line : rs.Highlights) WriteStringLine(w, line);
  WriteResultTableBlock(w, rs.Tables);
  return w.Text();
}

void ReadResultHead(TextReader& in, RaceState& rs, RaceResultFile& head) {
  Record stamp(in, "the time stamp", 1);
  head.Stamp = stamp.Str("stamp");
  stamp.End();
  Record r(in, "the race line", kResultHeadFields);
  Track& t = rs.track;
  head.Race = r.Int("race", 1, kMaxSeasonRaces);
  t.TrackDistanceMiles = r.Dbl("TrackDistanceMiles");
  t.RacingLineSpaces = r.Int16("RacingLineSpaces");
  t.TrackName = r.Str("TrackName");
  t.TrackPlace1 = r.Str("TrackPlace1");
  t.TrackPlace2 = r.Str("TrackPlace2");
  rs.RaceLaps = r.Int("RaceLaps", 0, kMaxLaps);
  rs.CarCount = r.Int("CarCount", 0, kMaxCars);
  rs.CarsOut = r.Int("CarsOut", 0, kMaxCars);
  rs.PitLaneOpen = r.Bool("PitLaneOpen");
  rs.StartWearAllotment = r.Int16("StartWearAllotment");
  rs.PitReplenishment = r.Int16("PitReplenishment");
  rs.OptCurveEntryBySlipstream = r.Bool("OptCurveEntryBySlipstream");
  rs.OptAccelFromCurveExit = r.Bool("OptAccelFromCurveExit");
  rs.PitRepairOnly = r.Bool("PitRepairOnly");
  rs.MinPitDuration = r.Int16("MinPitDuration");
  rs.OptBlueFlag = r.Bool("OptBlueFlag");
  rs.OptSlipstreamInCurves = r.Bool("OptSlipstreamInCurves");
  rs.OptNoLaneChangeInCurves = r.Bool("OptNoLaneChangeInCurves");
  r.End();
}

// The highlights run to the end of the file or to the line "ResultTable", which opens the tables.
void ReadHighlights(TextReader& in, RaceState& rs) {
  rs.Highlights.clear();
  while (!in.AtEnd()) {
    Record r(in, "a highlight", 1);
    std::string line = r.Str("Highlights");
    if (line == kResultTableTag) {
      r.End();
      ReadResultTableRecords(in, rs.Tables);
      return;
    }
    r.End();
    rs.Highlights.push_back(std::move(line));
  }
}

}  // namespace

std::string SeasonFileText(const SeasonFileData& season, SeasonWriter writer, std::string_view carsFolder) {
  TextWriter w;
  w.Reserve(64 * 1024);
  const int races = std::clamp(season.Races, 0, kMaxSeasonRaces);
  WriteHead(w, season);
  WriteStringLine(w, "--Tracks--");
  for (int race = 1; race <= races; ++race) WriteRace(w, season.Schedule[race], writer);
  WriteStringLine(w, "--Drivers--");
  for (int car = 1; car <= kSeasonDriverLines; ++car)
    WriteDriver(w, season.Field[car].Car, season.Field[car].WetTires, carsFolder);
  WriteStringLine(w, "--Results--");
  for (int race = 1; race <= races; ++race) WriteResult(w, season.Results[race]);
  WriteResultTableBlock(w, season.Tables);
  WriteTail(w, season, writer);
  return w.Text();
}

std::optional<FileError> ReadSeasonText(SeasonFileData& season, std::string text, const std::string& fileName,
                                        std::string_view carsFolder) {
  auto read = std::make_unique<SeasonFileData>();
  TextReader in(text, fileName);  // a copy: the text is looked at again for the form of the laps
  try {
    ReadHead(in, *read);
    SkipTag(in);
    for (int race = 1; race <= read->Races; ++race) {
      int line = 0;
      read->Schedule[race] = ReadRace(in, race, kRaceFields, line);
      if (race == 1) read->Writer = SecondFieldQuoted(text, line) ? SeasonWriter::Update : SeasonWriter::Create;
    }
    SkipTag(in);
    for (int car = 1; car <= kSeasonDriverLines; ++car)
      read->Field[car] = ReadDriver(in, car, kSeasonDriverFields, car <= read->Drivers, carsFolder);
    SkipTag(in);
    for (int race = 1; race <= read->Races; ++race) ReadResult(in, race, read->Results[race]);
    ReadResultTableBlock(in, read->Tables);
    if (in.AtEnd()) {
      // An older file: qualifying by start speed, and the options as they were.
      read->HasTail = false;
      read->QualifyingMethod = "Start Speed";
      read->AllowRequalifying = false;
      read->OptCurveEntryBySlipstream = season.OptCurveEntryBySlipstream;
      read->OptAccelFromCurveExit = season.OptAccelFromCurveExit;
      read->OptBlueFlag = season.OptBlueFlag;
      read->OptSlipstreamInCurves = season.OptSlipstreamInCurves;
      read->OptNoLaneChangeInCurves = season.OptNoLaneChangeInCurves;
      read->RaceStored = season.RaceStored;
    } else {
      ReadTail(in, *read);
    }
  } catch (const FileFormatError& e) {
    return e.Error();
  }
  season = std::move(*read);
  return std::nullopt;
}

std::optional<FileError> ReadSeasonFile(SeasonFileData& season, const std::string& path, std::string_view carsFolder) {
  std::string text;
  if (std::optional<FileError> error = ReadTextFile(path, text)) return error;
  return ReadSeasonText(season, std::move(text), path, carsFolder);
}

std::optional<FileError> WriteSeasonFile(const SeasonFileData& season, const std::string& path, SeasonWriter writer,
                                         std::string_view carsFolder) {
  return WriteFileAtomic(path, SeasonFileText(season, writer, carsFolder));
}

std::optional<FileError> ReadOlderSeasonDrivers(SeasonFileData& season, const std::string& path,
                                                std::string_view carsFolder) {
  std::string text;
  if (std::optional<FileError> error = ReadTextFile(path, text)) return error;
  TextReader in(std::move(text), path);
  auto read = std::make_unique<SeasonFileData>();
  try {
    ReadHead(in, *read);
    SkipTag(in);
    int line = 0;
    for (int race = 1; race <= read->Races; ++race) ReadRace(in, race, kOlderRaceFields, line);
    SkipTag(in);
    for (int car = 1; car <= kSeasonDriverLines; ++car)
      read->Field[car] = ReadDriver(in, car, kOlderDriverFields, car <= read->Drivers, carsFolder);
  } catch (const FileFormatError& e) {
    return e.Error();
  }
  season.Name = std::move(read->Name);
  season.Races = read->Races;
  season.Drivers = read->Drivers;
  season.PointStructure = read->PointStructure;
  season.PointsPole = read->PointsPole;
  season.PointsLeadLap = read->PointsLeadLap;
  season.PointsFastLap = read->PointsFastLap;
  season.PointsLeadMost = read->PointsLeadMost;
  season.Field = std::move(read->Field);
  return std::nullopt;
}

std::string ApplySeason(const SeasonFileData& season, RaceState& rs, int race) {
  rs.LockCars = season.LockCars;
  rs.AILoadOptimumSetup = season.AILoadOptimumSetup;
  rs.AIRandomizeOptimumSetup = season.AIRandomizeOptimumSetup;
  rs.CarSetupPoints = season.CarSetupPoints;
  rs.AccumulateDamage = season.AccumulateDamage;
  rs.UndoDisabled = season.UndoDisabled;
  rs.AllowManualDice = season.AllowManualDice;
  rs.WeatherEnabled = season.WeatherEnabled;
  rs.WeatherCycles = season.WeatherCycle;
  rs.PointStructure.fill(0);
  std::copy(season.PointStructure.begin() + 1, season.PointStructure.end(), rs.PointStructure.begin() + 1);
  rs.PointsPole = season.PointsPole;
  rs.PointsLeadLap = season.PointsLeadLap;
  rs.PointsFastLap = season.PointsFastLap;
  rs.PointsLeadMost = season.PointsLeadMost;
  rs.QualifyingMethod = season.QualifyingMethod;
  rs.AllowRequalifying = season.AllowRequalifying;
  if (season.HasTail) {
    rs.OptCurveEntryBySlipstream = season.OptCurveEntryBySlipstream;
    rs.OptAccelFromCurveExit = season.OptAccelFromCurveExit;
    rs.OptBlueFlag = season.OptBlueFlag;
    rs.OptSlipstreamInCurves = season.OptSlipstreamInCurves;
    rs.OptNoLaneChangeInCurves = season.OptNoLaneChangeInCurves;
  }
  // The season's field is the loaded field: the race setup never counts more cars than the file.
  rs.CarCount = rs.CarsInFile = std::clamp(season.Drivers, 0, kMaxCars);
  for (int car = 1; car <= kMaxCars; ++car) {
    PutCar(rs, car, season.Field[car].Car);
    rs.CarWetTires[car] = season.Field[car].WetTires;
    ClearCarRaceCounters(rs, car);
  }
  rs.Tables = season.Tables;
  if (race < 1 || race > std::min(season.Races, kMaxSeasonRaces)) return "";
  const SeasonRace& r = season.Schedule[race];
  rs.RaceLaps = std::clamp(LapsValue(r.Laps).value_or(0), 0, kMaxLaps);
  rs.PitLaneOpen = r.PitOpen;
  rs.StartWearAllotment = r.StartAllotment;
  rs.PitReplenishment = r.PitReplenishment;
  rs.PitRepairOnly = r.RepairOnly;
  rs.MinPitDuration = r.MinPitTurns;
  // No replenishment leaves nothing to divide by: no stops can be asked for.
  rs.MinPitStops = r.RepairOnly || r.PitReplenishment == 0
                       ? 0
                       : static_cast<int>(std::floor(
                             static_cast<double>(rs.RaceLaps - r.StartAllotment) / r.PitReplenishment + 0.5));
  return r.TrackFile;
}

void MergeRaceResult(SeasonFileData& season, const RaceState& rs, const RaceFigures& figures, bool stored) {
  const int race = season.NextRace;
  if (race >= 1 && race <= std::min(season.Races, kMaxSeasonRaces)) {
    SeasonResult& result = season.Results[race];
    // Every car of the race has a place: those out of it stand behind the finishers and score
    // the points of their place.
    const std::vector<int> order = FinalFinishOrder(rs);
    for (int place = 1; place <= kMaxCars; ++place) {
      const int car = place <= static_cast<int>(order.size()) ? order[static_cast<size_t>(place - 1)] : 0;
      result.Finish[place] = car;
      result.LapsLed[place] = IsCarNumber(car) ? figures.CarLapsLed[car] : 0;
    }
    result.PoleCar = figures.PoleCar;
    result.FastLapCar = figures.FastLapCar;
    result.MostLaps = figures.MostLapsLed;
    if (!stored) ++season.NextRace;
  }
  // A car enters the next race as it entered this one: the ratings of the design, not the damage.
  for (int car = 1; car <= kMaxCars; ++car) {
    SeasonDriver& d = season.Field[car];
    d.Car = GetCar(rs, car);
    const CarRatings& design = rs.CarDesign[car];
    d.Car.StartSpeed = design.StartSpeed;
    d.Car.Acceleration = design.Acceleration;
    d.Car.Deceleration = design.Deceleration;
    d.Car.TopSpeed = design.TopSpeed;
    d.Car.WearPerLap = design.WearPerLap;
    d.Car.DRM = design.DRM;
    d.WetTires = rs.CarWetTires[car];
  }
  // A file without the tail left the race's options standing: they are what the file now keeps.
  if (!season.HasTail) {
    season.OptCurveEntryBySlipstream = rs.OptCurveEntryBySlipstream;
    season.OptAccelFromCurveExit = rs.OptAccelFromCurveExit;
    season.OptBlueFlag = rs.OptBlueFlag;
    season.OptSlipstreamInCurves = rs.OptSlipstreamInCurves;
    season.OptNoLaneChangeInCurves = rs.OptNoLaneChangeInCurves;
    season.HasTail = true;
  }
  season.RaceStored = stored;
}

std::string RaceResultPath(std::string_view seasonFolder, std::string_view baseName, int race) {
  return JoinPath(seasonFolder, std::string(baseName) + "Race" + std::to_string(race) + ".res");
}

std::optional<FileError> WriteRaceResults(const RaceState& rs, int race, const std::string& path,
                                          std::string_view carsFolder, const std::string& stamp) {
  return WriteFileAtomic(path, RaceResultsText(rs, race, carsFolder, stamp));
}

std::optional<FileError> ReadRaceResults(RaceState& rs, RaceResultFile& head, const std::string& path,
                                         std::string_view carsFolder) {
  std::string text;
  if (std::optional<FileError> error = ReadTextFile(path, text)) return error;
  TextReader in(std::move(text), path);
  auto read = std::make_unique<RaceState>(rs);
  RaceResultFile readHead;
  try {
    ReadResultHead(in, *read, readHead);
    for (int car = 1; car <= kMaxCars; ++car) {
      const SeasonDriver d = ReadDriver(in, car, kSeasonDriverFields, false, carsFolder);
      PutCar(*read, car, d.Car);
      read->CarWetTires[car] = d.WetTires;
    }
    for (int i = 1; i <= kMaxCars; ++i) ReadRaceRecord(in, *read, i);
    for (int lap = 0; lap <= kMaxLaps; ++lap) {
      ReadRow(in, read->LapOrder[lap], "LapOrder", lap, GetCarRef);
      ReadRow(in, read->LapGap[lap], "LapGap", lap, GetDbl);
      ReadRow(in, read->LapSpeedMph[lap], "LapSpeedMph", lap, GetDbl);
    }
    for (int lap = 0; lap <= kMaxLaps; ++lap) ReadRow(in, read->LapWearsUsed[lap], "LapWearsUsed", lap, GetInt16);
    ReadRow(in, read->QualifyTime, "QualifyTime", 0, GetDbl);
    ReadHighlights(in, *read);
  } catch (const FileFormatError& e) {
    return e.Error();
  }
  rs = std::move(*read);
  head = std::move(readHead);
  return std::nullopt;
}

}  // namespace vm
