#include "cli/race_json.h"

#include <string>

namespace vm {

namespace {

nlohmann::ordered_json Row(const TableRow& r) {
  return {{"DiceCount", r.DiceCount}, {"RangeLow", r.RangeLow}, {"RangeHigh", r.RangeHigh}};
}

nlohmann::ordered_json Ratings(const CarRatings& r) {
  return {{"DRM", r.DRM},
          {"StartSpeed", r.StartSpeed},
          {"Acceleration", r.Acceleration},
          {"Deceleration", r.Deceleration},
          {"WearPerLap", r.WearPerLap},
          {"TopSpeed", r.TopSpeed}};
}

std::string Char(char c) { return std::string(1, c); }

}  // namespace

// Each list names the fields of one shape, so that a field added to the state needs one line here.
#define VM_PER_CAR(X)                                                                                          \
  X(DriverName) X(CarStartSpeed) X(CarAcceleration) X(CarDeceleration) X(CarTopSpeed) X(CarWearPerLap)        \
  X(CarDRM) X(CarIsAI) X(CarIsAIAtStart) X(CarLapProfile) X(CarRaceProfile) X(CarRiskSS) X(CarRiskA)          \
  X(CarRiskD) X(CarRiskT) X(CarRiskC) X(CarRiskCA) X(CarSpace) X(CarLane) X(CarSpeed) X(CarNewSpeed)          \
  X(CarDraftTarget) X(CarSlipSpeed) X(CarLap) X(CarWears) X(CarStatus) X(CarOutOfRace) X(CarEngineDamaged)    \
  X(CarBrakesDamaged) X(CarInPit) X(CarWetTires) X(CarApexNumber) X(CarOnApexCells) X(CarApexLimit)           \
  X(CarApexSpeed) X(CarCurveEntryLimit) X(CarCurveRankPaid) X(CarCurveExcessPaid) X(CarCurveOwes)             \
  X(CarLapClock) X(CarRaceClock) X(CarRaceDistance) X(CarMoveCount) X(CarAvgSpeed) X(RunningOrder)            \
  X(FinishOrder)

#define VM_PER_LAP(X) X(LapOrder) X(LapGap) X(LapSpeedMph) X(LapWearsUsed)

#define VM_SCALAR(X)                                                                                           \
  X(CurrentCar) X(CarCount) X(CarCountAtStart) X(RaceLaps) X(OrderIndex) X(FinishOrderCount) X(CarsFinished)  \
  X(CarsOut) X(SpeedPhase) X(SteeringPhase) X(NewRaceTurn) X(TurnWrapped) X(WorkSpeed) X(WorkTopSpeed)        \
  X(MaxNewSpeed) X(MinNewSpeed) X(SpacesLeft) X(SpeedChecked) X(AccelChecked) X(DecelChecked) X(CanGoLeft)    \
  X(CanGoRight) X(CanGoStraight) X(RaceStandingStart) X(FirstHumanCar) X(PaceSpeed) X(LeadCar)                \
  X(LeaderSpeedCount) X(FastestLapMph) X(FastestLapSeconds) X(GameMode) X(RaceRunning) X(RaceOver)            \
  X(RaceEndedByUser) X(PauseRequested) X(ContinueTurns) X(FinishLapMode) X(FinishRaceMode)                    \
  X(AutoPilotUntilLap) X(RaceWearsMultiplier) X(OptCurveEntryBySlipstream) X(OptAccelFromCurveExit)           \
  X(OptBlueFlag) X(OptSlipstreamInCurves) X(OptNoLaneChangeInCurves) X(NextCellLimit) X(NextIsExit)           \
  X(ExitAccelAllowed) X(SingleLapQualifying) X(TargetSpace) X(TargetLane) X(LeftLane) X(RightLane)            \
  X(CurveStepBlocked) X(InwardStep) X(SameLimitStep) X(CurveCheckDone) X(MoveEnded) X(ReplayRunning)          \
  X(CurrentCarIsAI) X(MoveStartSpace) X(AllowManualDice) X(RestartAfterPit) X(StartRuleOff) X(AITrialMove)    \
  X(AISpeedSearch) X(BlueFlagInForce) X(SkipCornerCheck) X(Die1) X(Die2) X(TableResult) X(SpeedOverBy)        \
  X(DecelOverBy) X(AccelOverBy) X(TopSpeedOverBy) X(WearShortfall) X(CornerPaidTotal) X(ResultContext)        \
  X(RiskPassed) X(DiceCountRequested) X(ManualDiceResult) X(DraftOffered) X(CurveEntrySpeed) X(SlipBonusKind)     \
  X(SlipBonusOfMove) X(SlipCancelled) X(BlueFlagCar) X(BlueFlagSpacesLost) X(HighlightText) X(FastestLapText)   \
  X(Highlights)

nlohmann::ordered_json RaceStateJson(const RaceState& rs, std::uint64_t rndDrawn) {
  nlohmann::ordered_json j;
#define VM_ADD(field) j[#field] = rs.field;
  VM_SCALAR(VM_ADD)
  VM_PER_CAR(VM_ADD)
  VM_PER_LAP(VM_ADD)
#undef VM_ADD
  j["ApexSideNow"] = Char(rs.ApexSideNow);
  j["ApexSideNext"] = Char(rs.ApexSideNext);
  j["ApexDirection"] = Char(rs.ApexDirection);
  j["BlueFlagSide"] = Char(rs.BlueFlagSide);
  j["LeaderSpeedHistory"] = rs.LeaderSpeedHistory;
  nlohmann::ordered_json design = nlohmann::ordered_json::array();
  for (const CarRatings& r : rs.CarDesign) design.push_back(Ratings(r));
  j["CarDesign"] = design;
  nlohmann::ordered_json tables;
  for (const TableInfo& info : AllTables())
    for (int i = 0; i < info.RowCount; ++i)
      tables[std::string(info.RowNames[static_cast<size_t>(i)])] = Row(RowOf(rs.Tables, info.Id, i));
  j["Tables"] = tables;
  nlohmann::ordered_json cells = nlohmann::ordered_json::array();
  for (int space = 0; space <= kMaxSpaces; ++space)
    for (int lane = 0; lane <= kMaxLanes + 1; ++lane)
      if (const int car = rs.track.CellOccupant[static_cast<size_t>(space)][static_cast<size_t>(lane)])
        cells.push_back({{"space", space}, {"lane", lane}, {"car", car}});
  j["CellOccupant"] = cells;
  j["RndDrawn"] = rndDrawn;
  return j;
}

}  // namespace vm
