#include "game/race_setup.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

#include "core/numbers.h"
#include "core/units.h"

namespace vm {

namespace {

constexpr int kRaceSetupPointsLow = 4;
constexpr int kRaceSetupPointsHigh = 12;
constexpr int kDefaultsSetupPointsHigh = 9;  // the defaults offer fewer points on purpose
constexpr int kMaxPitDuration = 10;
constexpr int kOptionsClearFrom = 11;
constexpr int kOptionsClearTo = 47;

std::vector<int> Range(int low, int high) {
  std::vector<int> items;
  for (int v = low; v <= high; ++v) items.push_back(v);
  return items;
}

std::string Text(int value) { return std::to_string(value); }

std::string MilesText(int laps, double lapMiles) {
  char miles[32];
  std::snprintf(miles, sizeof miles, "%.1f", laps * lapMiles);
  return miles;
}

}  // namespace

int PointPresetOf(const std::array<int, 51>& points) {
  for (int index = 0; index < static_cast<int>(kPointPresets.size()); ++index) {
    const auto& places = kPointPresets[static_cast<size_t>(index)].Places;
    if (std::equal(places.begin(), places.end(), points.begin() + 1)) return index;
  }
  return kCustomPointsIndex;
}

int PointsBoxValue(std::string_view text) {
  const std::optional<double> value = ParseNumber(text);
  if (!value) return 0;
  const double rounded = RoundHalfEven(*value);
  // A points field is 16 bits: anything beyond counts as no number at all.
  if (rounded < -32768 || rounded > 32767) return 0;
  return static_cast<int>(rounded);
}

int ComboValue(const ComboBox& box) { return PointsBoxValue(box.Text); }

WearAllotment ComputeWearAllotment(int laps, int stops) {
  WearAllotment a;
  a.StartWearAllotment = static_cast<int>(std::floor(static_cast<double>(laps) / (stops + 1) + 0.5));
  a.PitReplenishment = laps / (stops + 1);
  if (stops * a.PitReplenishment + a.StartWearAllotment < laps) ++a.PitReplenishment;
  return a;
}

std::vector<int> StartAllotmentList(int laps) {
  const int low = static_cast<int>(RoundHalfEven(laps * 0.334 + 0.5));
  const int high = static_cast<int>(std::floor(laps * 0.6 + 0.5));
  return Range(low, high);
}

// ---------------------------------------------------------------------------------------------
// frmRaceSetup

RaceSetupDialog::RaceSetupDialog(RaceState& rs) : rs_(rs) { RefreshRaceSetup(); }

int RaceSetupDialog::ShownLaps() const {
  return rs_.GameMode == kModePractice ? rs_.RaceLaps : ComboValue(cmbTotalLaps);
}

void RaceSetupDialog::RefreshRaceSetup() {
  RaceState& rs = rs_;
  if (rs.CarsInFile < rs.CarCount) rs.CarCount = rs.CarsInFile;
  cmbCarsRacing = ComboBox{Range(1, rs.CarsInFile), Text(rs.CarCount)};
  cmbTotalLaps = ComboBox{Range(1, kMaxLaps), Text(rs.RaceLaps)};

  chkManDRE.Checked = rs.AllowManualDice;
  chkLOS.Checked = rs.AILoadOptimumSetup;
  chkLOSRnd.Checked = rs.AIRandomizeOptimumSetup;
  chkDTESSC.Checked = rs.OptCurveEntryBySlipstream;
  chkAAFES.Checked = rs.OptAccelFromCurveExit;
  chkABF.Checked = rs.OptBlueFlag;
  chkASIT.Checked = rs.OptSlipstreamInCurves;
  chkPLC.Checked = rs.OptNoLaneChangeInCurves;
  chkUndoDisabled.Checked = rs.UndoDisabled;
  chkWeatherEnabled.Checked = rs.WeatherEnabled;
  cmbQualifying = rs.QualifyingMethod;
  CheckAllowRequal.Checked = rs.AllowRequalifying;
  CheckAllowRequal.Visible = rs.QualifyingMethod == kQualifyingMethods[0];
  cmbCarSetupPoints = ComboBox{Range(kRaceSetupPointsLow, kRaceSetupPointsHigh), Text(rs.CarSetupPoints)};

  const bool practice = rs.GameMode == kModePractice;
  Title = practice ? kPracticeSetupTitle : kRaceSetupTitle;
  FieldLabel = practice ? kCarsInSessionLabel : kStartingFieldLabel;
  PointsFrameVisible = LengthFrameVisible = SetupPointsFrameVisible = QualifyingFrameVisible = !practice;
  PitFrameVisible = !practice;

  const int laps = rs.RaceLaps;
  chkPitLaneOpen = CheckBox{rs.PitLaneOpen};
  chkPitLaneRepairOnly = CheckBox{rs.PitRepairOnly};
  cmbMinPitStops = ComboBox{Range(0, kMaxMinPitStops), Text(rs.MinPitStops)};
  cmbStartAllotment = ComboBox{};
  FillAllotmentList();
  cmbPitReplenishment = ComboBox{};
  if (rs.PitLaneOpen && laps >= kPitLapsMinimum) {
    cmbStartAllotment.Text = Text(rs.StartWearAllotment);
    cmbPitReplenishment.Text = Text(rs.PitReplenishment);
  }
  // Opening on a short race only clears the pit controls; the tire stop in the weather is
  // offered when the laps or the weather change, the more specific rule for those events.
  if (laps < kPitLapsMinimum) {
    for (CheckBox* box : {&chkPitLaneOpen, &chkPitLaneRepairOnly}) *box = CheckBox{false, false};
    for (ComboBox* box : {&cmbMinPitStops, &cmbStartAllotment, &cmbPitReplenishment}) {
      box->Text.clear();
      box->Enabled = false;
    }
  } else {
    if (rs.StartWearAllotment == 0) {
      cmbStartAllotment.Text = Text(static_cast<int>(RoundHalfEven(laps / 2.0)));
      chkPitLaneOpen.Checked = true;
      cmbMinPitStops.Text = "1";
    }
    if (rs.PitRepairOnly) {
      chkPitLaneRepairOnly.Checked = true;
      cmbMinPitStops.Text = "0";
      cmbMinPitStops.Visible = false;
    }
  }

  if (rs.MinPitDuration < 1) rs.MinPitDuration = kDefaultMinPitDuration;
  cmbTurnsInPit = ComboBox{Range(1, kMaxPitDuration), Text(rs.MinPitDuration)};

  if (laps >= kPitLapsMinimum) RunWearRule();

  txtMiles = MilesText(laps, rs.track.TrackDistanceMiles);

  optPointStructure = PointPresetOf(rs.PointStructure);
  for (int i = 0; i < kEditablePlaces; ++i) txtPS[static_cast<size_t>(i)] = Text(rs.PointStructure[i + 1]);
  txtPole = Text(rs.PointsPole);
  txtLeadLap = Text(rs.PointsLeadLap);
  txtFastLap = Text(rs.PointsFastLap);
  txtLeadMost = Text(rs.PointsLeadMost);
}

void RaceSetupDialog::FillAllotmentList() {
  cmbStartAllotment = ComboBox{StartAllotmentList(ShownLaps()), cmbStartAllotment.Text, cmbStartAllotment.Enabled};
}

void RaceSetupDialog::RunWearRule() {
  const WearAllotment a = ComputeWearAllotment(ShownLaps(), ComboValue(cmbMinPitStops));
  SetStartAllotment(a.StartWearAllotment);
  cmbPitReplenishment.Text = Text(a.PitReplenishment);
}

// Below ten laps a stop serves only to change tires, and only in the weather.
void RaceSetupDialog::ApplyShortRacePits() {
  if (!chkWeatherEnabled.Checked) {
    chkPitLaneOpen.Checked = false;
    chkPitLaneOpen.Enabled = false;
    return;
  }
  chkPitLaneOpen.Checked = true;
  chkPitLaneOpen.Enabled = true;
  chkPitLaneRepairOnly.Enabled = true;
  SetRepairOnly(true);
}

void RaceSetupDialog::SetTotalLaps(int laps) {
  cmbTotalLaps.Text = Text(laps);
  FillAllotmentList();
  txtMiles = MilesText(ShownLaps(), rs_.track.TrackDistanceMiles);
  if (ShownLaps() < kPitLapsMinimum) {
    ApplyShortRacePits();
    return;
  }
  chkPitLaneOpen.Enabled = chkPitLaneRepairOnly.Enabled = true;
  cmbMinPitStops.Enabled = cmbStartAllotment.Enabled = cmbPitReplenishment.Enabled = true;
  RunWearRule();
}

void RaceSetupDialog::SetMinPitStops(std::string_view text) {
  cmbMinPitStops.Text = std::string(text);
  RunWearRule();
}

void RaceSetupDialog::SetStartAllotment(int laps) {
  cmbStartAllotment.Text = Text(laps);
  int left = ShownLaps() - laps;
  if (laps < left) left = laps;
  left = std::max(left, 1);
  cmbPitReplenishment.Items = Range(static_cast<int>(std::floor(left * 0.5 + 0.5)), left);
  cmbPitReplenishment.Text = Text(left);
}

void RaceSetupDialog::SetWeatherEnabled(bool on) {
  chkWeatherEnabled.Checked = on;
  if (ShownLaps() < kPitLapsMinimum) ApplyShortRacePits();
}

void RaceSetupDialog::SetPitLaneOpen(bool on) { chkPitLaneOpen.Checked = on; }

void RaceSetupDialog::SetRepairOnly(bool on) {
  chkPitLaneRepairOnly.Checked = on;
  cmbMinPitStops.Visible = !on;
  if (on) SetMinPitStops("0");
}

void RaceSetupDialog::ChoosePointPreset(int index) {
  optPointStructure = index;
  if (index < 0 || index >= static_cast<int>(kPointPresets.size())) return;
  const auto& places = kPointPresets[static_cast<size_t>(index)].Places;
  for (size_t i = 0; i < places.size(); ++i) txtPS[i] = Text(places[i]);
  ReadPlaces();
}

void RaceSetupDialog::ReadPlaces() {
  for (int i = 0; i < kEditablePlaces; ++i) rs_.PointStructure[i + 1] = PointsBoxValue(txtPS[static_cast<size_t>(i)]);
}

void RaceSetupDialog::EditPlace(int index, std::string_view text) {
  if (index < 0 || index >= kEditablePlaces) return;
  txtPS[static_cast<size_t>(index)] = std::string(text);
  ReadPlaces();
}

int RaceSetupDialog::EditBonus(std::string& box, std::string_view text) {
  box = ParseNumber(text) ? std::string(text) : "0";
  return PointsBoxValue(box);
}

void RaceSetupDialog::EditPole(std::string_view text) { rs_.PointsPole = EditBonus(txtPole, text); }
void RaceSetupDialog::EditLeadLap(std::string_view text) { rs_.PointsLeadLap = EditBonus(txtLeadLap, text); }
void RaceSetupDialog::EditFastLap(std::string_view text) { rs_.PointsFastLap = EditBonus(txtFastLap, text); }
void RaceSetupDialog::EditLeadMost(std::string_view text) { rs_.PointsLeadMost = EditBonus(txtLeadMost, text); }

void RaceSetupDialog::ApplyValues() {
  RaceState& rs = rs_;
  // Whatever the boxes showed, a race this short runs without a pit lane.
  if (ShownLaps() < kPitLapsMinimum) chkPitLaneOpen.Checked = chkPitLaneRepairOnly.Checked = false;

  rs.CarCount = ComboValue(cmbCarsRacing);
  if (rs.GameMode != kModePractice) rs.RaceLaps = ComboValue(cmbTotalLaps);
  rs.CarSetupPoints = ComboValue(cmbCarSetupPoints);
  rs.QualifyingMethod = kQualifyingMethods[0];
  if (!cmbQualifying.empty()) rs.QualifyingMethod = cmbQualifying;
  rs.AllowRequalifying = CheckAllowRequal.Checked;
  rs.AllowManualDice = chkManDRE.Checked;
  rs.AILoadOptimumSetup = chkLOS.Checked;
  rs.AIRandomizeOptimumSetup = chkLOSRnd.Checked;

  if (chkPitLaneOpen.Checked) {
    rs.PitLaneOpen = true;
    rs.MinPitStops = ComboValue(cmbMinPitStops);
    rs.PitRepairOnly = chkPitLaneRepairOnly.Checked;
    if (rs.PitRepairOnly) {
      rs.StartWearAllotment = rs.RaceLaps;
      rs.PitReplenishment = 0;
    } else {
      // The boxes hold what the wear rule or the player's allotment choice last left there.
      rs.StartWearAllotment = ComboValue(cmbStartAllotment);
      rs.PitReplenishment = ComboValue(cmbPitReplenishment);
    }
  } else {
    rs.PitLaneOpen = false;
    rs.PitRepairOnly = false;
    rs.StartWearAllotment = rs.RaceLaps;
    rs.PitReplenishment = 0;
  }

  rs.MinPitDuration = kDefaultMinPitDuration;
  if (!cmbTurnsInPit.Text.empty()) rs.MinPitDuration = ComboValue(cmbTurnsInPit);

  rs.OptCurveEntryBySlipstream = chkDTESSC.Checked;
  rs.OptAccelFromCurveExit = chkAAFES.Checked;
  rs.OptBlueFlag = chkABF.Checked;
  rs.OptSlipstreamInCurves = chkASIT.Checked;
  rs.OptNoLaneChangeInCurves = chkPLC.Checked;
  rs.UndoDisabled = chkUndoDisabled.Checked;
  rs.WeatherEnabled = chkWeatherEnabled.Checked;
}

void RaceSetupDialog::Ok() {
  ApplyValues();
  // Practice runs its 50 laps and keeps the saved ones for the mode that follows.
  if (rs_.GameMode != kModePractice) rs_.SavedRaceLaps = rs_.RaceLaps;
  accepted_ = true;
}

std::string RaceSetupDialog::Cancel() {
  accepted_ = false;
  return std::string(kCancelLoad);
}

std::optional<FileError> RaceSetupDialog::LoadDefaultSettings(const DefaultsLoader& load) {
  const int practiceLaps = rs_.RaceLaps;
  if (std::optional<FileError> error = load(rs_)) return error;
  // The defaults' laps are for the other modes: Practice keeps its own and saves those.
  if (rs_.GameMode == kModePractice) {
    rs_.SavedRaceLaps = rs_.RaceLaps;
    rs_.RaceLaps = practiceLaps;
  }
  RefreshRaceSetup();
  return std::nullopt;
}

void RaceSetupDialog::CarSetup(const std::function<void(RaceState& rs)>& openCarSetup) {
  ApplyValues();
  openCarSetup(rs_);
  const std::string laps = cmbTotalLaps.Text;
  RefreshRaceSetup();
  cmbTotalLaps.Text = laps;
}

// ---------------------------------------------------------------------------------------------
// frmRaceOptions

RaceOptionsDialog::RaceOptionsDialog(Console& console, std::string settingsPath)
    : console_(console), path_(std::move(settingsPath)) {
  // A file that is there but unreadable is as useless here as a missing one: say so either way.
  if (LoadSettings(Settings, path_)) {
    console_.ShowMessage(FileErrorText(path_), "", MessageKind::Critical);
    return;
  }
  for (int place = kOptionsClearFrom; place <= kOptionsClearTo; ++place) Settings.PointStructure[place] = 0;
  opened_ = true;
}

std::vector<int> RaceOptionsDialog::SetupPointsList() { return Range(kRaceSetupPointsLow, kDefaultsSetupPointsHigh); }

void RaceOptionsDialog::ChoosePointPreset(int index) {
  if (index < 0 || index >= static_cast<int>(kPointPresets.size())) return;
  const auto& places = kPointPresets[static_cast<size_t>(index)].Places;
  std::copy(places.begin(), places.end(), Settings.PointStructure.begin() + 1);
}

bool RaceOptionsDialog::Ok() {
  auto blank = [](const std::string& s) { return s.find_first_not_of(' ') == std::string::npos; };
  if (blank(Settings.DefaultCarFile) || blank(Settings.DefaultResultTable)) return false;
  if (SaveSettings(Settings, path_, SettingsWriter::DefaultsDialog)) {
    console_.ShowMessage(FileErrorText(path_), "", MessageKind::Critical);
    return false;
  }
  return true;
}

}  // namespace vm
