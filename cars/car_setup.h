// The car setup dialog, frmCarSetup, as logic without widgets: six rating groups of buttons
// whose enabled state follows the design points left, the driver's profile and risk combos, the
// car list, "Add Driver", "Copy Current To All Cars", "Randomize Computer Cars", the picture
// choice, the car file and team file commands, the whole-field actions, OK and Cancel. A window
// binds to this class by the names below.
#pragma once

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cars/car_actions.h"
#include "cars/car_file.h"
#include "core/race_state.h"
#include "core/random.h"
#include "ui/console.h"

namespace vm {

inline constexpr std::string_view kCarSetupName = "frmCarSetup";
inline constexpr std::string_view kDesignExceededText = "Maximum Design Points Exceeded";
inline constexpr std::string_view kDesignExceededTitle = "Car Setup Error";
inline constexpr std::string_view kDriverLimitText = "Races cannot have more then 40 drivers.";
inline constexpr std::string_view kDriverLimitTitle = "Driver Limit";
inline constexpr std::string_view kCarFileStatusPrefix = "Most Recent Car File Loaded:  ";
inline constexpr std::string_view kNewDriverName = "New Driver";

// The six risk combos of a computer driver.
enum class RiskCombo { cmbRSS, cmbRC, cmbRD, cmbRCA, cmbRT, cmbRA };

// Where the dialog reaches beyond itself; tests replace the clock.
struct CarSetupSeams {
  // Called before random cars are drawn, so that each press gives new ones.
  std::function<void(Random&)> Reseed = [](Random& rng) { rng.SeedFromClock(); };
};

// How the dialog was closed.
enum class CarSetupOutcome { Open, Accepted, Cancelled };

// Returns how many buttons a rating group has: wear offers 3 to 7 only, so a wear of 8 comes
// only from a file.
int ButtonCount(Rating rating);

// Returns the caption of a rating button: "40", "+2", " 0".
std::string ButtonCaption(Rating rating, int index);

class CarSetupDialog {
 public:
  // Opens the dialog over the live cars: keeps a copy of cars 1 to 40, CarsInFile, CarCount,
  // CarSetupPoints and CurrentCarFile for Cancel, fills the lists and shows the first car. In an
  // online session (onlineCar set) that car is shown, car 1 is made human and the file commands,
  // action menus and "Add Driver" are hidden. Models are the sub-folders of carsFolder. The
  // random actions draw from rng, the game's generator.
  CarSetupDialog(RaceState& rs, Console& console, Random& rng, std::string carsFolder, std::vector<std::string> teams,
                 std::optional<int> onlineCar = std::nullopt);

  CarSetupSeams Seams;

  // --- Lists.
  // Returns the entries of cmbCurrentCar: 1 to CarCount.
  std::vector<int> CarItems() const;
  // Returns the entries of a risk combo: 0, 5, ... 100 for cmbRSS, 0 to 25 for the others.
  static std::vector<int> RiskItems(RiskCombo combo);
  // Returns the lines of the team file for cmbTeams.
  const std::vector<std::string>& TeamItems() const { return teams_; }
  // Returns the car models: the sub-folders of the cars folder, sorted.
  const std::vector<std::string>& Models() const { return models_; }
  // Returns the pictures of a model: the names of the .bmp files in its "Gifs" folder, sorted.
  std::vector<std::string> Pictures(std::string_view model) const;

  // --- The current car.
  int CurrentCar() const { return current_; }
  // Selects another car in cmbCurrentCar. Refused, silently, while the shown car is over the
  // design points. Returns whether the selection changed.
  bool SelectCar(int car);

  // --- Rating groups.
  // Returns the index of the current car's value in a group; a value from elsewhere that is not
  // on the scale counts as the nearest step below it.
  int RatingButton(Rating rating) const;
  // Presses a rating button: stores the value in the current car and recomputes the points.
  void PressRating(Rating rating, int index);
  // Returns whether a rating button is enabled: its index is not larger than the index of the
  // current value plus the remaining points.
  bool RatingButtonEnabled(Rating rating, int index) const;
  // Returns the points the current car uses (UsedDesignPoints).
  int UsedDesignPoints() const;
  // Returns the points each car may spend (MaxDesignPoints).
  int MaxDesignPoints() const { return rs_.CarSetupPoints; }
  // Returns the points left; below 0 when the car is over the limit.
  int RemainingPoints() const { return MaxDesignPoints() - UsedDesignPoints(); }

  // --- Driver.
  // Sets optAI: true "Computer", false "Human".
  void SetAI(bool computer);
  // Returns whether the profile and risk frames are enabled: only for a computer car.
  bool DriverFramesEnabled() const { return rs_.CarIsAI[current_]; }
  // Returns the index of optPitStops: 1 "More Stops", 0 "Less Stops" for any other value.
  int PitStopsButton() const { return rs_.PitStrategy[current_] == 1 ? 1 : 0; }
  // Chooses optPitStops: 0 "Less Stops", 1 "More Stops".
  void SetPitStops(int index);
  // Chooses optRP; the stored profile is the index plus 1.
  void SetRaceProfile(int index);
  // Chooses OptLP; the stored profile is the index plus 1.
  void SetLapProfile(int index);
  // Returns the value a risk combo shows for the current car.
  int Risk(RiskCombo combo) const;
  // Chooses a value in a risk combo.
  void SetRisk(RiskCombo combo, int value);
  // Types the driver's name into txtDriver.
  void SetDriverName(std::string_view name);
  // Types or chooses the team in cmbTeams; a comma becomes a blank.
  void SetTeam(std::string_view team);

  // --- Picture.
  // Takes the picture ("Select"): CarPicture becomes the cars folder + model + "\Gifs\" + the
  // file name without ".bmp".
  void SelectPicture(std::string_view model, std::string_view fileName);
  // Returns the model folder of the current car's picture, "" when it has none.
  std::string PictureModel() const;

  // --- Commands.
  // Adds a car (cmdAddDriver) with the defaults of a new car and the picture of the car before
  // it, and selects it. At 40 cars shows the driver limit message and adds nothing. Returns
  // whether a car was added.
  bool AddDriver();
  // Gives every other car 1 to 40 the six ratings of the current car ("Copy Current To All
  // Cars", mnuCSActionsCopyAll).
  void CopyCurrentToAll();
  // Draws new designs for the computer cars within the design points, the over-budget message
  // held back meanwhile, then shows car 1 (online: the player's own car). Also
  // mnuCSActionsRandomize.
  void RandomizeComputerCars();
  // Closes with the edits kept (cmdOK); over the design points shows the message and stays
  // open. Returns whether the dialog closed.
  bool Ok();
  // Writes the copy taken at opening back and closes.
  void Cancel();
  // Loads a car file chosen in a file dialog; its first line replaces the design points. A
  // cancelled dialog or a failed load changes nothing; a failure is reported. Returns whether
  // a file was loaded.
  bool LoadFile(const std::string& programFolder);
  // Saves the cars to a car file chosen in a file dialog, then shows car 1. Returns whether a
  // file was written.
  bool SaveFile(const std::string& programFolder);

  // --- The action menus, hidden online; each ends by showing the current car again.
  // Both track commands give all 40 cars the setup of a track picked in a file dialog, human
  // cars too whatever the caption says, and never vary it. A cancelled dialog changes nothing.
  // Returns whether a track was read.
  bool mnuCSActionsRandomizeTrack(const std::string& tracksFolder);
  bool mnuCSActionsLoadTrack(const std::string& tracksFolder);
  void mnuCSActionsRandomize() { RandomizeComputerCars(); }
  void mnuCSActionsRandomizeAllCars();
  void mnuCSActionsCopyAllAIOnly();
  void mnuCSActionsCopyAll() { CopyCurrentToAll(); }
  void mnuCSActionsRandomizeDrivers();
  void mnuActionsCopyDriverProfile();
  // Fills the team list from a team file picked in a dialog starting at the data folder. The
  // cars keep their teams. A cancelled dialog changes nothing; an unreadable file is reported
  // and the list stays. Returns whether the list was refilled.
  bool mnuChgTeamFile(const std::string& dataFolder);

  // Turns the over-budget message off while the cars are being randomised.
  void SetRandomising(bool on) { randomising_ = on; }
  // Shows the current car again and recomputes the points, as every action ends.
  void Refresh();

  // --- State of the controls.
  bool CarListEnabled() const { return carListEnabled_; }
  bool OkEnabled() const { return okEnabled_; }
  // "Copy Current To All Cars" follows cmdOK.
  bool CopyToAllEnabled() const { return okEnabled_; }
  bool FileCommandsVisible() const { return !online_; }
  bool AddDriverVisible() const { return !online_; }
  bool ActionMenusVisible() const { return !online_; }
  // Returns the status line: "Most Recent Car File Loaded:  " + the file.
  std::string StatusText() const;
  CarSetupOutcome Outcome() const { return outcome_; }

 private:
  struct Saved {
    std::array<CarRecord, kMaxCars + 1> Cars{};
    int CarsInFile = 0;
    int CarCount = 0;
    int CarSetupPoints = 0;
    std::string CurrentCarFile;
  };

  // Recomputes the points and, once the dialog is open, applies the over-budget rule.
  void RecomputePoints();
  void ShowCar(int car);
  bool TrackSetup(const std::string& tracksFolder, bool alsoHumans);
  void RandomizeCars(bool alsoHumans);

  RaceState& rs_;
  Console& console_;
  Random& rng_;
  std::string carsFolder_;
  std::vector<std::string> teams_;
  std::vector<std::string> models_;
  Saved saved_;
  int current_ = 1;
  int home_ = 1;  // the car the random actions come back to
  bool online_ = false;
  bool loaded_ = false;
  bool randomising_ = false;
  bool carListEnabled_ = true;
  bool okEnabled_ = true;
  CarSetupOutcome outcome_ = CarSetupOutcome::Open;
};

}  // namespace vm
