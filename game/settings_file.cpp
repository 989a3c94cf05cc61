#include "game/settings_file.h"

#include <utility>

namespace vm {

namespace {

// The tags in file order, for the writer only: the reader skips whatever stands there.
constexpr std::string_view kTagLaps = "-- Laps--";
constexpr std::string_view kTagCars = "-- Cars--";
constexpr std::string_view kTagQualifying = "-- Qualifying Method--";
constexpr std::string_view kTagQualifyingDefaults = "--Qualifying Method--";
constexpr std::string_view kTagDelay = "-- Car Movement Delay--";
constexpr std::string_view kTagCarFile = "-- Default Car File --";
constexpr std::string_view kTagPoints = "-- Point Structure --";
constexpr std::string_view kTagSetupPoints = "-- Default Car Setup Points --";
constexpr std::string_view kTagRequal = "-- Allow Requalifying --";
constexpr std::string_view kTagManualDice = "-- Allow Manual Dice --";
constexpr std::string_view kTagLoadSetup = "-- AI Load Optimum Setup --";
constexpr std::string_view kTagRandomSetup = "-- AI Randomize Optimum Setup --";
constexpr std::string_view kTagPit = "-- Pit Logic --";
constexpr std::string_view kTagCurveEntry = "-- Disable Turn Entry SlipStream Cancellation --";
constexpr std::string_view kTagExitAccel = "-- Allow Acceleration from curve exit --";
constexpr std::string_view kTagResultTable = "-- Default Result Table --";
constexpr std::string_view kTagUndo = "-- Undo Disabled --";
constexpr std::string_view kTagTeamFile = "-- Default Team File --";
constexpr std::string_view kTagBlueFlag = "-- Allow Blue Flag --";
constexpr std::string_view kTagSlipInTurn = "-- Allow Slipstream in Turn --";
constexpr std::string_view kTagLaneChange = "-- Prevent Lane Change In Turn --";
constexpr std::string_view kTagBonus = "-- Additional Point Structure --";
constexpr std::string_view kTagHighlight = "-- Highlight Leader in Blue --";
constexpr std::string_view kFuture = "Future";

constexpr std::string_view kTrueText = "#TRUE#";

void Tag(TextWriter& w, std::string_view tag) {
  w.Str(tag);
  w.EndLine();
}

void TagInt(TextWriter& w, std::string_view tag, int value) {
  Tag(w, tag);
  w.Int(value);
  w.EndLine();
}

void TagBool(TextWriter& w, std::string_view tag, bool value) {
  Tag(w, tag);
  w.Bool(value);
  w.EndLine();
}

void TagStr(TextWriter& w, std::string_view tag, std::string_view value) {
  Tag(w, tag);
  w.Str(value);
  w.EndLine();
}

// These three were written as Booleans but are read back as text: only the exact word is true.
bool ReadTrueText(TextReader& in, std::string_view field) { return in.ReadString(field) == kTrueText; }

}  // namespace

GameSettings SettingsOf(const RaceState& rs) {
  GameSettings s;
  s.RaceLaps = rs.RaceLaps;
  s.CarCount = rs.CarCount;
  s.QualifyingMethod = rs.QualifyingMethod;
  s.CarMovementDelay = rs.CarMovementDelay;
  s.DefaultCarFile = rs.DefaultCarFile;
  s.PointStructure = rs.PointStructure;
  s.CarSetupPoints = rs.CarSetupPoints;
  s.AllowRequalifying = rs.AllowRequalifying;
  s.AllowManualDice = rs.AllowManualDice;
  s.AILoadOptimumSetup = rs.AILoadOptimumSetup;
  s.AIRandomizeOptimumSetup = rs.AIRandomizeOptimumSetup;
  s.PitLaneOpen = rs.PitLaneOpen;
  s.OptCurveEntryBySlipstream = rs.OptCurveEntryBySlipstream;
  s.OptAccelFromCurveExit = rs.OptAccelFromCurveExit;
  s.DefaultResultTable = rs.DefaultResultTable;
  s.UndoDisabled = rs.UndoDisabled;
  s.DefaultTeamFile = rs.DefaultTeamFile;
  s.OptBlueFlag = rs.OptBlueFlag;
  s.OptSlipstreamInCurves = rs.OptSlipstreamInCurves;
  s.OptNoLaneChangeInCurves = rs.OptNoLaneChangeInCurves;
  s.PointsPole = rs.PointsPole;
  s.PointsLeadLap = rs.PointsLeadLap;
  s.PointsFastLap = rs.PointsFastLap;
  s.PointsLeadMost = rs.PointsLeadMost;
  s.HighlightLeader = rs.HighlightLeader;
  s.AgreementShown = rs.AgreementShown;
  s.WeatherEnabled = rs.WeatherEnabled;
  return s;
}

void ApplySettings(const GameSettings& s, RaceState& rs) {
  rs.RaceLaps = s.RaceLaps;
  rs.CarCount = s.CarCount;
  rs.QualifyingMethod = s.QualifyingMethod;
  rs.CarMovementDelay = s.CarMovementDelay;
  rs.DefaultCarFile = s.DefaultCarFile;
  for (int place = 1; place <= kSettingsPointPlaces; ++place) rs.PointStructure[place] = s.PointStructure[place];
  rs.CarSetupPoints = s.CarSetupPoints;
  rs.AllowRequalifying = s.AllowRequalifying;
  rs.AllowManualDice = s.AllowManualDice;
  rs.AILoadOptimumSetup = s.AILoadOptimumSetup;
  rs.AIRandomizeOptimumSetup = s.AIRandomizeOptimumSetup;
  rs.PitLaneOpen = s.PitLaneOpen;
  rs.OptCurveEntryBySlipstream = s.OptCurveEntryBySlipstream;
  rs.OptAccelFromCurveExit = s.OptAccelFromCurveExit;
  rs.DefaultResultTable = s.DefaultResultTable;
  rs.UndoDisabled = s.UndoDisabled;
  rs.DefaultTeamFile = s.DefaultTeamFile;
  rs.OptBlueFlag = s.OptBlueFlag;
  rs.OptSlipstreamInCurves = s.OptSlipstreamInCurves;
  rs.OptNoLaneChangeInCurves = s.OptNoLaneChangeInCurves;
  rs.PointsPole = s.PointsPole;
  rs.PointsLeadLap = s.PointsLeadLap;
  rs.PointsFastLap = s.PointsFastLap;
  rs.PointsLeadMost = s.PointsLeadMost;
  rs.HighlightLeader = s.HighlightLeader;
  rs.AgreementShown = s.AgreementShown;
  rs.WeatherEnabled = s.WeatherEnabled;
}

std::string SettingsText(const GameSettings& s, SettingsWriter writer) {
  TextWriter w;
  TagInt(w, kTagLaps, s.RaceLaps);
  TagInt(w, kTagCars, s.CarCount);
  TagStr(w, writer == SettingsWriter::DefaultsDialog ? kTagQualifyingDefaults : kTagQualifying, s.QualifyingMethod);
  TagInt(w, kTagDelay, s.CarMovementDelay);
  TagStr(w, kTagCarFile, s.DefaultCarFile);
  Tag(w, kTagPoints);
  for (int place = 1; place <= kSettingsPointPlaces; ++place) w.Int(s.PointStructure[place]);
  w.EndLine();
  TagInt(w, kTagSetupPoints, s.CarSetupPoints);
  TagBool(w, kTagRequal, s.AllowRequalifying);
  TagBool(w, kTagManualDice, s.AllowManualDice);
  TagBool(w, kTagLoadSetup, s.AILoadOptimumSetup);
  TagBool(w, kTagRandomSetup, s.AIRandomizeOptimumSetup);
  TagBool(w, kTagPit, s.PitLaneOpen);
  TagBool(w, kTagCurveEntry, s.OptCurveEntryBySlipstream);
  TagBool(w, kTagExitAccel, s.OptAccelFromCurveExit);
  TagStr(w, kTagResultTable, s.DefaultResultTable);
  TagBool(w, kTagUndo, s.UndoDisabled);
  TagStr(w, kTagTeamFile, s.DefaultTeamFile);
  TagBool(w, kTagBlueFlag, s.OptBlueFlag);
  TagBool(w, kTagSlipInTurn, s.OptSlipstreamInCurves);
  TagBool(w, kTagLaneChange, s.OptNoLaneChangeInCurves);
  Tag(w, kTagBonus);
  w.Int(s.PointsPole).Int(s.PointsLeadLap).Int(s.PointsFastLap).Int(s.PointsLeadMost);
  w.EndLine();
  TagBool(w, kTagHighlight, s.HighlightLeader);
  w.Bool(s.AgreementShown);
  w.EndLine();
  w.Bool(s.WeatherEnabled);
  w.EndLine();
  for (int i = 0; i < kSettingsFutureLines; ++i) Tag(w, kFuture);
  return w.Text();
}

std::optional<FileError> ParseSettings(GameSettings& settings, std::string text, const std::string& fileName) {
  GameSettings s = settings;
  TextReader in(std::move(text), fileName);
  try {
    in.ReadString("tag of RaceLaps");
    s.RaceLaps = static_cast<int>(in.ReadInteger("RaceLaps", 1, kMaxLaps));
    in.ReadString("tag of CarCount");
    s.CarCount = static_cast<int>(in.ReadInteger("CarCount", 0, kMaxCars));
    in.ReadString("tag of QualifyingMethod");
    s.QualifyingMethod = in.ReadString("QualifyingMethod");
    in.ReadString("tag of CarMovementDelay");
    s.CarMovementDelay = in.ReadInt16("CarMovementDelay");
    in.ReadString("tag of DefaultCarFile");
    s.DefaultCarFile = in.ReadString("DefaultCarFile");
    in.ReadString("tag of PointStructure");
    for (int place = 1; place <= kSettingsPointPlaces; ++place)
      s.PointStructure[place] = in.ReadInt16("PointStructure");
    in.ReadString("tag of CarSetupPoints");
    s.CarSetupPoints = in.ReadInt16("CarSetupPoints");
    in.ReadString("tag of AllowRequalifying");
    s.AllowRequalifying = in.ReadBool("AllowRequalifying");
    in.ReadString("tag of AllowManualDice");
    s.AllowManualDice = in.ReadBool("AllowManualDice");
    in.ReadString("tag of AILoadOptimumSetup");
    s.AILoadOptimumSetup = in.ReadBool("AILoadOptimumSetup");
    in.ReadString("tag of AIRandomizeOptimumSetup");
    s.AIRandomizeOptimumSetup = in.ReadBool("AIRandomizeOptimumSetup");
    in.ReadString("tag of PitLaneOpen");
    s.PitLaneOpen = in.ReadBool("PitLaneOpen");
    in.ReadString("tag of OptCurveEntryBySlipstream");
    s.OptCurveEntryBySlipstream = in.ReadBool("OptCurveEntryBySlipstream");
    in.ReadString("tag of OptAccelFromCurveExit");
    s.OptAccelFromCurveExit = in.ReadBool("OptAccelFromCurveExit");
    in.ReadString("tag of DefaultResultTable");
    s.DefaultResultTable = in.ReadString("DefaultResultTable");
    in.ReadString("tag of UndoDisabled");
    s.UndoDisabled = in.ReadBool("UndoDisabled");
    in.ReadString("tag of DefaultTeamFile");
    s.DefaultTeamFile = in.ReadString("DefaultTeamFile");
    in.ReadString("tag of OptBlueFlag");
    s.OptBlueFlag = in.ReadBool("OptBlueFlag");
    in.ReadString("tag of OptSlipstreamInCurves");
    s.OptSlipstreamInCurves = in.ReadBool("OptSlipstreamInCurves");
    in.ReadString("tag of OptNoLaneChangeInCurves");
    s.OptNoLaneChangeInCurves = in.ReadBool("OptNoLaneChangeInCurves");
    in.ReadString("tag of PointsPole");
    s.PointsPole = in.ReadInt16("PointsPole");
    s.PointsLeadLap = in.ReadInt16("PointsLeadLap");
    s.PointsFastLap = in.ReadInt16("PointsFastLap");
    s.PointsLeadMost = in.ReadInt16("PointsLeadMost");
    in.ReadString("tag of HighlightLeader");
    s.HighlightLeader = ReadTrueText(in, "HighlightLeader");
    s.AgreementShown = ReadTrueText(in, "AgreementShown");
    s.WeatherEnabled = ReadTrueText(in, "WeatherEnabled");
  } catch (const FileFormatError& e) {
    return e.Error();
  }
  settings = std::move(s);
  return std::nullopt;
}

std::optional<FileError> LoadSettings(GameSettings& settings, const std::string& path) {
  std::string text;
  if (std::optional<FileError> error = ReadTextFile(path, text)) return error;
  return ParseSettings(settings, std::move(text), path);
}

std::optional<FileError> SaveSettings(const GameSettings& settings, const std::string& path, SettingsWriter writer) {
  return WriteFileAtomic(path, SettingsText(settings, writer));
}

std::optional<FileError> ReadSettings(RaceState& rs, const std::string& path) {
  GameSettings s = SettingsOf(rs);
  if (std::optional<FileError> error = LoadSettings(s, path)) return error;
  rs.MinPitDuration = 5;
  ApplySettings(s, rs);
  rs.SavedRaceLaps = rs.RaceLaps;
  rs.StartWearAllotment = rs.RaceLaps;
  rs.PitReplenishment = 1;
  return std::nullopt;
}

std::optional<FileError> WriteSettings(const RaceState& rs, const std::string& path) {
  return SaveSettings(SettingsOf(rs), path);
}

void KeepTopTenPlaces(RaceState& rs) {
  for (int place = 11; place <= 50; ++place) rs.PointStructure[place] = 0;
}

}  // namespace vm
