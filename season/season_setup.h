// The season setup dialog, frmSeasonSetup, as logic without widgets: the schedule built from the
// tracks folder with each race's length and pit rules, the field of drivers (the race's own car
// arrays, edited in place), the rules, the point scale, and the commands that save the season and
// start it. A window binds to this class by the control names below.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/race_state.h"
#include "season/season_file.h"
#include "ui/console.h"

namespace vm {

inline constexpr std::string_view kSeasonSetupName = "frmSeasonSetup";
inline constexpr std::string_view kStartSeasonChoice = "Start Season";
inline constexpr std::string_view kCancelChoice = "Cancel";
inline constexpr std::string_view kSeasonGridColumns = "Race|Track|Abbrev|Laps|Miles|Min Stops|Repair Only|Turn/Pit";
inline constexpr std::string_view kDriverGridColumns = "Driver|Team";
inline constexpr std::string_view kRatingGridColumns =
    "Driver|Team|Acc|Dec|Top|WrLap|Start|DRM|Lap Profile|Race Profile";
inline constexpr std::string_view kTeamFileName = "Teams.tms";
inline constexpr std::string_view kTeamFileExtension = ".tms";
inline constexpr std::string_view kSeasonFolderName = "Season";
inline constexpr std::string_view kTrackDistancePrefix = "Distance: ";
inline constexpr std::string_view kTrackDistanceSuffix = " miles";

inline constexpr int kSeasonMaxMinPitStops = 5;  // cmbMinPitStops lists 0 to this
inline constexpr int kSeasonMaxPitTurns = 10;    // cmbTurnsInPit lists 1 to this
inline constexpr int kSeasonEditablePlaces = 10;

// A button of optPointStructure. The race setup offers the same two scales; the season keeps its
// own copy because it may not reach into the game's setup.
struct SeasonPointPreset {
  std::string_view Caption;
  std::array<int, kSeasonEditablePlaces> Places;
};
inline constexpr std::array<SeasonPointPreset, 2> kSeasonPointPresets = {{
    {"2003 Formula One     10 - 8 - 6 - 5 - 4 - 3 - 2 - 1", {10, 8, 6, 5, 4, 3, 2, 1, 0, 0}},
    {"2002 Formula One     10 - 6 - 4 - 3 - 2 - 1", {10, 6, 4, 3, 2, 1, 0, 0, 0, 0}},
}};
inline constexpr int kSeasonCustomPoints = 2;

// The bonus boxes: PSPole, PSLeadLap, PSFastLap, PSLeadMost.
enum class SeasonBonus { Pole, LeadLap, FastLap, LeadMost };

// The start allotment and the replenishment of one stop for `laps` laps and `stops` stops: the
// laps split evenly, and one lap more per stop when the split falls short of the race.
struct StopsAllotment {
  int StartAllotment = 0;
  int PitReplenishment = 0;
  bool operator==(const StopsAllotment&) const = default;
};
StopsAllotment AllotmentForStops(int laps, int stops);

// The stops a race of `laps` needs with these allotments: Int((laps - start) / pit + 0.5), 0
// when a stop replenishes nothing.
int MinimumStops(int laps, int startAllotment, int pitReplenishment);

// A row of fgSeason: the race as the file keeps it, with what the grid shows beside it.
struct SeasonScheduleRow {
  SeasonRace Race;
  std::string TrackName;
  int MinPitStops = 0;
  bool operator==(const SeasonScheduleRow&) const = default;
};

// How the dialog was closed.
enum class SeasonSetupOutcome { Open, Started, Cancelled };

class SeasonSetupDialog {
 public:
  // Opens the dialog over the race's cars: keeps a copy of them for Cancel, takes the rules and
  // the point scale from the race's settings as working copies, sets LockCars and clears
  // AccumulateDamage, and reads the team list from "Teams.tms" in the data folder.
  SeasonSetupDialog(RaceState& rs, Console& console, std::string dataFolder);

  // --- Lists.
  static std::vector<int> TotalLapsItems();        // cmbTotalLaps: 1 to 100
  std::vector<int> SeasonDriverItems() const;      // cmbSeasonDrivers: 1 to CarsInFile
  static std::vector<int> MinPitStopsItems();      // cmbMinPitStops: 0 to 5
  std::vector<int> StartAllotmentItems() const;    // cmbStartAllotment: 1 to the laps
  std::vector<int> PitReplenishmentItems() const;  // cmbPitReplenishment: 1 to the laps left
  static std::vector<int> TurnsInPitItems();       // cmbTurnsInPit: 1 to 10
  static std::vector<int> CarSetupPointsItems();   // cmbCarSetupPoints: 4 to 12
  const std::vector<std::string>& TeamItems() const { return teams_; }
  std::string TracksFolder() const;
  std::string CarsFolder() const;

  // --- The season's name and field size.
  std::string txtCurrentSeasonName;
  int SeasonDrivers() const { return seasonDrivers_; }
  void SetSeasonDrivers(int drivers);

  // --- The track chosen in File1.
  // Reads the header of folder + file. Returns false, reports the file and clears the choice
  // when it cannot be read.
  bool ChooseTrack(const std::string& folder, const std::string& fileName);
  bool TrackChosen() const { return !trackFile_.empty(); }
  const std::string& TrackFile() const { return trackFile_; }
  // rtbTrackInfo: the track's name, places and "Distance: " + miles + " miles".
  const std::vector<std::string>& TrackInfo() const { return trackInfo_; }
  std::string txtTrkAbbrev;
  // txtMiles: laps x the chosen track's miles, one decimal.
  std::string MilesText() const;

  // --- The race being added: length and pit rules.
  int TotalLaps() const { return laps_; }
  void SetTotalLaps(int laps);
  bool PitLaneOpen() const { return pitOpen_; }
  void SetPitLaneOpen(bool open) { pitOpen_ = open; }
  bool RepairOnly() const { return repairOnly_; }
  void SetRepairOnly(bool on) { repairOnly_ = on; }
  int MinPitStops() const { return minStops_; }
  // Chooses the stops; the allotments follow them.
  void SetMinPitStops(int stops);
  int StartAllotment() const { return startAllotment_; }
  // Chooses the start allotment; the replenishment list runs to the laps it leaves.
  void SetStartAllotment(int laps);
  int PitReplenishment() const { return pitReplenishment_; }
  void SetPitReplenishment(int laps) { pitReplenishment_ = laps; }
  int TurnsInPit() const { return turnsInPit_; }
  void SetTurnsInPit(int turns) { turnsInPit_ = turns; }

  // --- The schedule.
  int Races() const { return static_cast<int>(schedule_.size()); }
  // Race 1..Races().
  const SeasonScheduleRow& Race(int race) const { return schedule_[static_cast<size_t>(race - 1)]; }
  // The texts of fgSeason's rows, in the order of kSeasonGridColumns.
  std::vector<std::vector<std::string>> ScheduleRows() const;
  // Command1: enabled while a track is chosen and the schedule holds fewer than 40 races.
  bool AddRaceEnabled() const;
  // Adds the chosen track with the length and pit rules shown. Returns whether a race was added.
  bool AddRace();
  int SelectedRace() const { return selectedRace_; }
  void SelectRace(int race);
  // cmdMoveRaceUp, cmdMoveRaceDown, cmdRaceDelete: disabled until there is a race.
  bool RaceCommandsEnabled() const { return !schedule_.empty(); }
  bool MoveRaceUp();
  bool MoveRaceDown();
  bool DeleteRace();

  // --- The drivers: cars 1..CarsInFile of the race.
  int SelectedDriver() const { return selectedDriver_; }
  void SelectDriver(int car);
  std::vector<std::vector<std::string>> DriverRows() const;  // fgDrivers
  std::vector<std::vector<std::string>> RatingRows() const;  // fgRatings
  // cmdAddDriver: a new car after the last; at 40 the driver limit message. Returns whether one
  // was added.
  bool AddDriver();
  bool DeleteDriver();
  bool DriverUp();
  bool DriverDown();
  // Command8: the name in txtDriver becomes the selected driver's.
  void RenameDriver(std::string_view name);
  // A team chosen in cmbTeams goes to the selected driver; a comma becomes a blank.
  void SetTeam(std::string_view team);
  // cmdLoadCRS: a car file chosen in a file dialog becomes the field. Returns whether loaded.
  bool LoadCarFile();
  // Command6: another team file fills cmbTeams. Returns whether loaded.
  bool LoadTeamFile();
  // Command2: the header, point scale and drivers of a season file of the older layout. Returns
  // whether loaded.
  bool CopyFromSeason();

  // --- Rules.
  int cmbCarSetupPoints = 0;
  std::string cmbQualifying;
  bool CheckAllowRequal = false;
  bool chkManDRE = false, chkLOS = false, chkLOSRnd = false;
  bool chkDTESSC = false, chkAAFES = false, chkABF = false, chkASIT = false, chkPLC = false;
  bool chkUndoDisabled = false, chkWeatherEnabled = false;
  // optConfigLock: 0 the cars may change between races, 1 locked.
  int ConfigLock() const { return lockCars_ ? 1 : 0; }
  void SetConfigLock(int index);
  // optDamageLock: 0 repaired after each race, 1 accumulated.
  int DamageLock() const { return accumulateDamage_ ? 1 : 0; }
  void SetDamageLock(int index);
  bool DamageFrameEnabled() const { return lockCars_; }  // Frame8
  bool LockCars() const { return lockCars_; }
  bool AccumulateDamage() const { return accumulateDamage_; }

  // --- Points.
  int PointPreset() const { return pointPreset_; }  // optPointStructure
  void ChoosePointPreset(int index);
  const std::array<std::string, kSeasonEditablePlaces>& PlaceBoxes() const { return txtPS_; }
  const std::array<std::string, 4>& BonusBoxes() const { return bonusBoxes_; }
  // Types into txtPS(index), 0 for place 1: a text that is not a number counts as 0.
  void EditPlace(int index, std::string_view text);
  // Types into a bonus box: a text that is not a number is 0, in the box as well.
  void EditBonus(SeasonBonus which, std::string_view text);
  const std::array<int, kMaxCars + 1>& PointStructure() const { return points_; }
  int Bonus(SeasonBonus which) const { return bonus_[static_cast<size_t>(which)]; }

  // --- Commands.
  // The season the dialog would write now (CreateSeasonFile's content).
  SeasonFileData BuildSeason() const;
  // Command3 is enabled once the schedule holds a race.
  bool SaveEnabled() const { return !schedule_.empty(); }
  // Command3: the file dialog, then the season file. May be run more than once. Returns whether
  // a file was written.
  bool Save();
  const std::string& SavedFile() const { return savedFile_; }
  bool OkEnabled() const { return !savedFile_.empty(); }
  // cmdOK "Start Season": returns the saved file, nullopt while nothing is saved.
  std::optional<std::string> StartSeason();
  // Command4 "Cancel": writes nothing and puts the cars back as they were at opening.
  void Cancel();
  SeasonSetupOutcome Outcome() const { return outcome_; }
  // ModeChoice as the dialog leaves it: "Start Season", "Cancel", or "" while open.
  std::string ModeChoice() const;

 private:
  struct Saved {
    std::array<CarRecord, kMaxCars + 1> Cars{};
    std::array<bool, kMaxCars + 1> WetTires{};
    int CarsInFile = 0;
    int CarCount = 0;
    int CarSetupPoints = 0;
    std::string CurrentCarFile;
  };

  void RunStopsRule();
  void SwapCars(int a, int b);
  void SwapRaces(int a, int b);
  void ShowPoints();
  void FieldChanged(int drivers);
  FileDialogRequest Dialog(std::string title, std::string_view filter, std::string_view extension, std::string folder,
                           bool save) const;

  RaceState& rs_;
  Console& console_;
  std::string dataFolder_;
  std::vector<std::string> teams_;
  Saved saved_;
  int seasonDrivers_ = 1;

  std::string trackFile_;
  std::string trackName_;
  double trackMiles_ = 0;
  std::vector<std::string> trackInfo_;

  int laps_ = 50;
  bool pitOpen_ = true;
  bool repairOnly_ = false;
  int minStops_ = 1;
  int startAllotment_ = 0;
  int pitReplenishment_ = 0;
  int turnsInPit_ = 5;

  std::vector<SeasonScheduleRow> schedule_;
  int selectedRace_ = 0;
  int selectedDriver_ = 1;

  bool lockCars_ = true;
  bool accumulateDamage_ = false;
  int weatherCycle_ = 0;

  int pointPreset_ = kSeasonCustomPoints;
  std::array<int, kMaxCars + 1> points_{};
  std::array<std::string, kSeasonEditablePlaces> txtPS_;
  std::array<int, 4> bonus_{};
  std::array<std::string, 4> bonusBoxes_;

  std::string savedFile_;
  SeasonSetupOutcome outcome_ = SeasonSetupOutcome::Open;
};

}  // namespace vm
