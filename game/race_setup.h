// The race setup dialog frmRaceSetup and the defaults dialog frmRaceOptions, as logic without
// widgets: each control is a field a window binds to, each event a call.
#pragma once

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/race_state.h"
#include "core/textfile.h"
#include "core/units.h"
#include "game/settings_file.h"
#include "ui/console.h"

namespace vm {

inline constexpr std::string_view kRaceSetupName = "frmRaceSetup";
inline constexpr std::string_view kRaceSetupTitle = "Race Setup";
inline constexpr std::string_view kPracticeSetupTitle = "Practice Setup";
inline constexpr std::string_view kStartingFieldLabel = "Starting Field";
inline constexpr std::string_view kCarsInSessionLabel = "Cars In Session";
inline constexpr std::string_view kCancelLoad = "CANCEL.LOAD";
inline constexpr std::string_view kRaceOptionsName = "frmRaceOptions";
inline constexpr std::string_view kRaceOptionsTitle = "Default Game Settings";
inline constexpr std::string_view kPitFrameCaption = "Pit Stops (Race Length >= 10 laps)";

inline constexpr int kPitLapsMinimum = 10;  // below this a race has no pit stops
inline constexpr int kMaxMinPitStops = 5;  // cmbMinPitStops lists 0 to this
inline constexpr int kDefaultMinPitDuration = 5;
inline constexpr int kEditablePlaces = 10;

// The qualifying methods cmbQualifying lists.
inline constexpr std::array<std::string_view, 3> kQualifyingMethods = {kQualifyStartSpeed, kQualifySingleLap,
                                                                       kQualifyManual};

// A button of optPointStructure: its caption and the points for places 1 to 10.
struct PointPreset {
  std::string_view Caption;
  std::array<int, kEditablePlaces> Places;
};
inline constexpr std::array<PointPreset, 2> kPointPresets = {{
    {"2003 Formula One     10 - 8 - 6 - 5 - 4 - 3 - 2 - 1", {10, 8, 6, 5, 4, 3, 2, 1, 0, 0}},
    {"2002 Formula One     10 - 6 - 4 - 3 - 2 - 1", {10, 6, 4, 3, 2, 1, 0, 0, 0, 0}},
}};
inline constexpr std::string_view kCustomPointsCaption = "Custom";
inline constexpr int kCustomPointsIndex = 2;

// Returns the preset button places 1 to 10 match (0 or 1), or kCustomPointsIndex.
int PointPresetOf(const std::array<int, 51>& points);

// Returns the value of a points box: a text that is not a number counts as 0.
int PointsBoxValue(std::string_view text);

// The two allotments the wear rule gives for a race of `laps` with `stops` minimum stops.
struct WearAllotment {
  int StartWearAllotment = 0;
  int PitReplenishment = 0;
};

// Splits the laps among the start and the stops so that the stints cover the whole race.
WearAllotment ComputeWearAllotment(int laps, int stops);

// Returns the list of cmbStartAllotment for a race of `laps`.
std::vector<int> StartAllotmentList(int laps);

// A combo box: its list and the text it shows, which need not be in the list ("" when cleared).
struct ComboBox {
  std::vector<int> Items;
  std::string Text;
  bool Enabled = true;
  bool Visible = true;
};

// A check box.
struct CheckBox {
  bool Checked = false;
  bool Enabled = true;
  bool Visible = true;
};

// Returns the number a combo box shows, 0 when it shows none.
int ComboValue(const ComboBox& box);

// The race setup dialog. It holds the race state it was opened over; point edits go straight
// into the state, everything else waits for OK.
class RaceSetupDialog {
 public:
  // Reads VMR.ini and the default result table into the race again ("Load Default Settings").
  using DefaultsLoader = std::function<std::optional<FileError>(RaceState& rs)>;

  // Opens the dialog over the race and fills it (RefreshRaceSetup).
  explicit RaceSetupDialog(RaceState& rs);

  // Fills every control from the settings. Brings CarCount down to CarsInFile and a
  // MinPitDuration below 1 up to 5.
  void RefreshRaceSetup();

  // --- The controls as the window shows them.
  std::string Title;
  std::string FieldLabel;  // label of cmbCarsRacing
  bool PointsFrameVisible = true;
  bool LengthFrameVisible = true;
  bool SetupPointsFrameVisible = true;
  bool QualifyingFrameVisible = true;
  bool PitFrameVisible = true;
  ComboBox cmbCarsRacing;
  ComboBox cmbTotalLaps;
  std::string cmbQualifying;
  CheckBox CheckAllowRequal;
  ComboBox cmbCarSetupPoints;
  CheckBox chkManDRE, chkLOS, chkLOSRnd;
  CheckBox chkDTESSC, chkAAFES, chkABF, chkASIT, chkPLC;
  CheckBox chkUndoDisabled, chkWeatherEnabled;
  CheckBox chkPitLaneOpen, chkPitLaneRepairOnly;
  ComboBox cmbMinPitStops;  // hidden with its label under Repair Only
  ComboBox cmbStartAllotment, cmbPitReplenishment, cmbTurnsInPit;
  std::string txtMiles;
  int optPointStructure = kCustomPointsIndex;
  std::array<std::string, kEditablePlaces> txtPS;  // places 1 to 10
  std::string txtPole, txtLeadLap, txtFastLap, txtLeadMost;

  // --- Events.
  // Chooses the number of laps in cmbTotalLaps.
  void SetTotalLaps(int laps);
  // Chooses the minimum number of stops ("" clears the box, which counts as 0).
  void SetMinPitStops(std::string_view text);
  // Chooses the start allotment; the replenishment list follows the laps it leaves.
  void SetStartAllotment(int laps);
  // Ticks or clears chkWeatherEnabled; on a short race the pit boxes follow as for the laps.
  void SetWeatherEnabled(bool on);
  // Ticks or clears the pit lane box.
  void SetPitLaneOpen(bool on);
  // Ticks or clears Repair Only; ticked, the minimum stops are 0 and hidden.
  void SetRepairOnly(bool on);
  // Clicks a button of optPointStructure: a preset writes its places into the boxes and the race.
  void ChoosePointPreset(int index);
  // Types into a place box (0 for place 1); all ten boxes are read into the race again.
  void EditPlace(int index, std::string_view text);
  // Types into a bonus box; a text that is not a number is replaced by 0 in the box as well.
  void EditPole(std::string_view text);
  void EditLeadLap(std::string_view text);
  void EditFastLap(std::string_view text);
  void EditLeadMost(std::string_view text);

  // --- Commands.
  // Takes the dialog's values into the race and closes (cmdOK).
  void Ok();
  // Closes without a track: returns the PendingTrackFile the caller keeps, "CANCEL.LOAD".
  std::string Cancel();
  // Reads the defaults again through `load` and refills the dialog. Returns the load's error,
  // the race being as it was then.
  std::optional<FileError> LoadDefaultSettings(const DefaultsLoader& load);
  // Applies the dialog's values, runs the car setup, refills keeping the laps box
  // ("Car Setup ").
  void CarSetup(const std::function<void(RaceState& rs)>& openCarSetup);

  // Returns whether OK has closed the dialog with the setup accepted.
  bool Accepted() const { return accepted_; }

 private:
  int ShownLaps() const;
  void ApplyValues();
  void FillAllotmentList();
  void RunWearRule();
  void ApplyShortRacePits();
  void ReadPlaces();
  int EditBonus(std::string& box, std::string_view text);

  RaceState& rs_;
  bool accepted_ = false;
};

// The defaults dialog: edits the values of a VMR.ini without touching any race.
class RaceOptionsDialog {
 public:
  // Opens the dialog over a settings file. When it cannot be read the file message is shown
  // and Opened() is false. Places 11 to 47 of the point structure are cleared.
  RaceOptionsDialog(Console& console, std::string settingsPath);

  // Returns whether the file was read and the dialog is open.
  bool Opened() const { return opened_; }

  // The values being edited; a window binds its controls to these fields.
  GameSettings Settings;

  // Returns the design points the defaults may set, 4 to 9.
  static std::vector<int> SetupPointsList();

  // Clicks a button of the point structure, as in the race setup.
  void ChoosePointPreset(int index);

  // Writes the values back to the file and closes; refused, with the dialog open, while no car
  // file or no result table is chosen. Returns whether it closed; a failed write is reported.
  bool Ok();

 private:
  Console& console_;
  std::string path_;
  bool opened_ = false;
};

}  // namespace vm
