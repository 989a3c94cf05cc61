// The one store of the running race. Every subsystem reads and writes these tables directly.
// Per-car tables are indexed by car number 1..40 and order tables by position 1..40; index 0
// exists and is never used. 16-bit fields of the game are held as int: file readers enforce the
// 16-bit range, so values in play always fit.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "core/result_tables.h"
#include "core/track.h"

namespace vm {

inline constexpr int kMaxCars = 40;
inline constexpr int kMaxLaps = 100;
inline constexpr int kSpeedButtons = 13;  // 0, 20, ... 240 MPH
inline constexpr int kLeaderHistory = 100;

template <class T>
using PerCar = std::array<T, kMaxCars + 1>;
template <class T>
using PerLap = std::array<PerCar<T>, kMaxLaps + 1>;  // [lap 0..100][car or position 1..40]

// CarStatus values.
enum CarStatusCode : int {
  kRunning = 0,
  kSpinning = 1,
  kOutOfRace = 2,
  kSpinningOffCell = 4,
  kStalled = 5,
};

// The six ratings of a car's design, kept at race start so damage can be measured against them.
struct CarRatings {
  int DRM = 0;
  int StartSpeed = 0;
  int Acceleration = 0;
  int Deceleration = 0;
  int WearPerLap = 0;
  int TopSpeed = 0;
};

// One car in the pit lane, which is a queue and not a place on the track.
struct PitQueueEntry {
  int Car = 0;
  int ReleaseTurns = 0;   // race turns left, shown as "Turns Remaining"
  int TaskCode = 0;       // dry tires 0..4, rain tires 5..9; see rules/pit_stops.h
  int SpacesCarried = 0;  // spaces of the move left at the entrance
};

struct RaceState {
  // --- Design of each car as entered for the race.
  PerCar<std::string> DriverName{};
  PerCar<int> CarStartSpeed{};
  PerCar<int> CarAcceleration{};
  PerCar<int> CarDeceleration{};
  PerCar<int> CarTopSpeed{};
  PerCar<int> CarWearPerLap{};
  PerCar<int> CarDRM{};
  PerCar<bool> CarIsAI{};
  PerCar<bool> CarIsAIAtStart{};
  PerCar<CarRatings> CarDesign{};

  // --- The rest of a car's record in the car file.
  PerCar<std::string> CarTeam{};
  PerCar<std::string> CarPicture{};  // full path of the picture set, without extension
  PerCar<int> CarProfileSpare{};     // kept with the car; nothing reads it
  PerCar<int> PitStrategy{};         // 0 fewer stops, 1 more stops
  PerCar<double> CarWearBonus{};
  PerCar<double> CarQualifyBonus{};
  int CarsInFile = 0;
  int CarSetupPoints = 0;      // design points each car may spend
  std::string CurrentCarFile;  // the car file last loaded or saved

  // --- Driver profile of the AI: how wears are spread, and six risk percentages (0..100).
  PerCar<int> CarLapProfile{};   // 1 Early, 2 Steady, 3 Late
  PerCar<int> CarRaceProfile{};  // 1 Early, 2 Steady, 3 Late
  PerCar<int> CarRiskSS{};
  PerCar<int> CarRiskA{};
  PerCar<int> CarRiskD{};
  PerCar<int> CarRiskT{};
  PerCar<int> CarRiskC{};
  PerCar<int> CarRiskCA{};

  // --- Position and motion.
  PerCar<int> CarSpace{};
  PerCar<int> CarLane{};
  PerCar<int> CarSpeed{};
  PerCar<int> CarNewSpeed{};
  PerCar<int> CarDraftTarget{};
  PerCar<int> CarSlipSpeed{};
  PerCar<int> CarLap{};
  PerCar<int> CarWears{};
  PerCar<int> CarStatus{};
  PerCar<bool> CarOutOfRace{};
  PerCar<bool> CarEngineDamaged{};
  PerCar<bool> CarBrakesDamaged{};
  PerCar<bool> CarInPit{};
  PerCar<bool> CarWetTires{};
  PerCar<int> CarStintLaps{};      // laps the current allotment of wears is planned to last
  PerCar<int> CarStintLapsLeft{};  // laps left of it, never below 1 once counting

  // --- Curve bookkeeping, reset when the car leaves a curve.
  PerCar<int> CarApexNumber{};
  PerCar<bool> CarOnApexCells{};
  PerCar<int> CarApexLimit{};
  PerCar<int> CarApexSpeed{};
  PerCar<int> CarCurveEntryLimit{};
  PerCar<int> CarCurveRankPaid{};
  PerCar<int> CarCurveExcessPaid{};
  PerCar<bool> CarCurveOwes{};

  // --- Counters.
  PerCar<double> CarLapClock{};
  PerCar<double> CarRaceClock{};
  PerCar<int> CarRaceDistance{};
  PerCar<int> CarMoveCount{};
  PerCar<double> CarAvgSpeed{};

  // --- Per-lap tables.
  PerLap<int> LapOrder{};  // [lap][position] car
  PerLap<double> LapGap{};
  PerLap<double> LapSpeedMph{};
  PerLap<int> LapWearsUsed{};

  // --- Race-wide fields.
  int CurrentCar = 1;
  int CarCount = 0;
  int CarCountAtStart = 0;
  int RaceLaps = 0;
  PerCar<int> RunningOrder{};  // [position] car, 1 = leader
  int OrderIndex = 1;
  PerCar<int> FinishOrder{};  // [place] car
  int FinishOrderCount = 0;
  int CarsFinished = 0;
  int CarsOut = 0;
  bool SpeedPhase = false;
  bool SteeringPhase = false;
  bool NewRaceTurn = false;
  bool TurnWrapped = false;
  int WorkSpeed = 0;
  int WorkTopSpeed = 0;
  int MaxNewSpeed = 0;
  int MinNewSpeed = 0;
  double SpacesLeft = 0;
  bool SpeedChecked = false;
  bool AccelChecked = false;
  bool DecelChecked = false;
  bool CanGoLeft = false;
  bool CanGoRight = false;
  bool CanGoStraight = false;
  bool RaceStandingStart = false;
  int FirstHumanCar = 0;
  int PaceSpeed = 0;
  int LeadCar = 0;
  std::array<int, kLeaderHistory + 1> LeaderSpeedHistory{};  // 1..100
  int LeaderSpeedCount = 0;
  double FastestLapMph = 0;
  double FastestLapSeconds = 0;
  std::string GameMode;  // "Practice", "Single" or "Season"
  bool RaceRunning = false;
  bool RaceOver = false;
  bool RaceEndedByUser = false;
  bool PauseRequested = false;
  bool ContinueTurns = false;
  bool FinishLapMode = false;
  bool FinishRaceMode = false;
  int AutoPilotUntilLap = 0;
  int RaceWearsMultiplier = 0;

  // --- Rule options of the race setup.
  bool OptCurveEntryBySlipstream = false;
  bool OptAccelFromCurveExit = false;
  bool OptBlueFlag = false;
  bool OptSlipstreamInCurves = false;
  bool OptNoLaneChangeInCurves = false;

  // --- Speed choice of the current car.
  int NextCellLimit = 0;          // limit of the next cell on the car's line
  bool NextIsExit = false;        // that cell is an open straight cell (999)
  bool ExitAccelAllowed = false;  // the car may speed up from where it stands

  // --- Steering of the current car.
  int TargetSpace = 0;  // where the car stood before this step
  int TargetLane = 0;
  int LeftLane = 0;
  int RightLane = 0;
  char ApexSideNow = ' ';  // ' ', 'L' or 'R': the side where the lower lane rank lies
  char ApexSideNext = ' ';
  bool CurveStepBlocked = false;
  bool InwardStep = false;
  char ApexDirection = ' ';  // 'S', 'L', 'R', or ' ' for AI cars
  bool SameLimitStep = false;
  bool CurveCheckDone = false;
  bool MoveEnded = false;      // the current car's move is over
  bool ReplayRunning = false;  // a race is being replayed: nothing is drawn or logged

  // --- Slipstream of the current car.
  int DraftOffered = 0;     // the car that may be followed, noted when the speed panel opens
  int CurveEntrySpeed = 0;  // MPH that reaches the space before the next curve space, 0 none
  int SlipBonusKind = 0;    // 0 none, 1 one block, 2 two blocks
  int SlipBonusOfMove = 0;  // the kind kept for the lap timing of this move
  bool SlipCancelled = false;

  // --- Blue flag of the current car's move.
  int BlueFlagCar = 0;  // the lapping car
  char BlueFlagSide = 'S';
  int BlueFlagSpacesLost = 0;

  // --- The race log: its lines in order of arrival, and the text the next line may use.
  std::vector<std::string> Highlights;  // lstHighlights
  std::string HighlightText = " ";
  std::string FastestLapText;  // lblFastestLap

  // --- Turn engine.
  bool CurrentCarIsAI = false;
  int MoveStartSpace = 0;
  bool TurnWasUndone = false;  // the race was taken back a turn and has not finished one since

  // --- Pit lane: the queue, front first (its size is the count of cars in it).
  std::vector<PitQueueEntry> PitQueue;

  // --- Weather of the race in progress.
  bool WeatherRollPending = false;  // a roll falls due when the leader passes WeatherRollSpace

  // --- Qualifying.
  bool QualifyingLapRunning = false;   // one car is on its single qualifying lap
  bool QualifyingListPending = false;  // the single-lap list is to be shown again
  bool QualifyingDone = false;         // single-lap qualifying is over, the race is being set up
  PerCar<int> QualifyOrder{};          // order of driving
  int QualifyIndex = 1;                // place in QualifyOrder of the car that drives next
  int QualifyCarCount = 0;             // CarCount of the race while a lap runs with one car
  PerCar<double> QualifySpeed{};       // MPH of the lap, 0 until driven
  PerCar<double> QualifyTime{};        // seconds; 9000 + car (or more) means no time
  PerCar<int> QualifyWearsUsed{};
  bool RaceStartRefused = false;  // the start was called off (a qualifying cancelled)

  // --- Settings of a race, from the settings file, a race configuration or the race setup.
  int SavedRaceLaps = 0;
  std::string QualifyingMethod = "Start Speed";  // "Start Speed", "Single Lap", "Manually Set Starting Grid"
  bool AllowRequalifying = false;
  std::array<int, 51> PointStructure{};  // points for finishing place 1..50
  int PointsPole = 0;
  int PointsLeadLap = 0;
  int PointsFastLap = 0;
  int PointsLeadMost = 0;
  bool UndoDisabled = false;
  bool AILoadOptimumSetup = false;
  bool AIRandomizeOptimumSetup = false;
  bool WeatherEnabled = false;
  int WeatherCycles = 0;
  int WeatherValue = 0;
  int PrevWeatherValue = 0;
  int WeatherRollSpace = 0;
  std::string TrackCondition = "Dry";
  bool PitLaneOpen = false;
  bool PitRepairOnly = false;
  int MinPitStops = 0;
  int MinPitDuration = 5;
  int StartWearAllotment = 0;
  int PitReplenishment = 0;
  int CarMovementDelay = 0;
  bool HighlightLeader = false;
  std::string DefaultCarFile;
  std::string DefaultResultTable;
  std::string DefaultTeamFile;
  bool RaceConfigLoaded = false;
  bool AgreementShown = false;
  bool LockCars = false;          // a season's cars cannot be changed
  bool AccumulateDamage = false;  // a season's damage carries from race to race

  // --- Settings of the rules.
  bool AllowManualDice = false;  // humans type their own dice
  bool RestartAfterPit = false;  // a car from standstill restarts under the start rule
  bool StartRuleOff = false;

  // --- Settlement of an exceeded limit: working values of the rule being applied.
  bool AITrialMove = false;    // a trial move of the AI's speed search: rules in their cheap form
  bool AISpeedSearch = false;  // the AI's speed search is running
  bool BlueFlagInForce = false;
  bool SkipCornerCheck = false;
  int Die1 = 0;
  int Die2 = 0;
  int TableResult = 0;
  int SpeedOverBy = 0;
  int DecelOverBy = 0;
  int AccelOverBy = 0;
  int TopSpeedOverBy = 0;
  int WearShortfall = 0;  // wears that could not be paid, each owed as a Chance roll
  int CornerPaidTotal = 0;
  std::string ResultContext;  // "Cornering", "Pit Entry", "Deceleration", ...
  bool RiskPassed = false;
  int DiceCountRequested = 0;
  int ManualDiceResult = 0;

  // --- The result tables in force (global for the process; not cleared by a race reset).
  ResultTables Tables;

  // --- The circuit, with the occupancy of its cells.
  Track track;
};

// Field by field over every member, as listed in core/race_state_fields.h.
bool operator==(const CarRatings& a, const CarRatings& b);
bool operator==(const PitQueueEntry& a, const PitQueueEntry& b);
bool operator==(const RaceState& a, const RaceState& b);

// FNV-1a (64 bits) over every field of the state, in a fixed byte order: equal states hash
// equal, on every machine.
std::uint64_t RaceStateHash(const RaceState& rs);

// The same over the track's grid tables alone (cells, occupancy, curve numbers, apex lines).
std::uint64_t TrackGridHash(const Track& t);

// Clears the race part of the state for a new race: flags, counters, every car's position,
// status, damage, curve and clock fields, the per-lap tables and the cell occupancy. Keeps the
// cars' designs, the settings, the rule options and the track. CarNewSpeed takes CarStartSpeed,
// RunningOrder becomes 1..CarCount. Grid placement is the caller's next step.
void ResetRaceState(RaceState& rs);

// Clears the counters a race leaves in a car (speed, apex line, slipstream) when the car comes
// anew from a car file or a race configuration, so nothing leaks into the next race.
void ClearCarRaceCounters(RaceState& rs, int car);

// Takes a car off the track: empties the cell it stands on, if that cell holds it.
void ClearCarCell(RaceState& rs, int car);

// Copies the six working ratings of every car into CarDesign.
void TakeDesignCopies(RaceState& rs);

// Checks the race state's invariants: each car on the track owns its cell, which is no skip
// cell, and no cell holds a car that is not there; the pit lane holds the cars marked in it, each
// once; speeds are whole multiples of 20; RunningOrder holds CarCount minus CarsFinished distinct
// cars with no gaps. Returns one line per broken rule, empty when sound.
std::vector<std::string> CheckRaceState(const RaceState& rs);

// A car's die-roll modifier as the dashboard shows it: "+2", "+1", " 0", "-1", "-2";
// any other value gives "".
std::string FormatDRM(int drm);

// True for a car number that indexes the per-car tables (1..40).
inline bool IsCarNumber(int car) { return car >= 1 && car <= kMaxCars; }

}  // namespace vm
