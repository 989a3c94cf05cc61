// The one list of the race state's fields, in declaration order. Equality, the state hash and the
// JSON dump are all generated from these lists, so a field added to the state and to its list
// reaches every one of them; a test parses the structs and fails when a list misses a member.
// Each macro takes X(name) and applies it to every field.
#pragma once

// CarRatings.
#define VM_CAR_RATINGS_FIELDS(X) \
  X(DRM) X(StartSpeed) X(Acceleration) X(Deceleration) X(WearPerLap) X(TopSpeed)

// PitQueueEntry.
#define VM_PIT_QUEUE_FIELDS(X) X(Car) X(ReleaseTurns) X(TaskCode) X(SpacesCarried)

// RaceState.
#define VM_RACE_STATE_FIELDS(X)                                                                               \
  /* Design of each car. */                                                                                   \
  X(DriverName) X(CarStartSpeed) X(CarAcceleration) X(CarDeceleration) X(CarTopSpeed) X(CarWearPerLap)        \
  X(CarDRM) X(CarIsAI) X(CarIsAIAtStart) X(CarDesign)                                                         \
  /* The rest of the car record. */                                                                           \
  X(CarTeam) X(CarPicture) X(CarProfileSpare) X(PitStrategy) X(CarWearBonus) X(CarQualifyBonus) X(CarsInFile) \
  X(CarSetupPoints) X(CurrentCarFile)                                                                         \
  /* Driver profile. */                                                                                       \
  X(CarLapProfile) X(CarRaceProfile) X(CarRiskSS) X(CarRiskA) X(CarRiskD) X(CarRiskT) X(CarRiskC) X(CarRiskCA) \
  /* Position and motion. */                                                                                  \
  X(CarSpace) X(CarLane) X(CarSpeed) X(CarNewSpeed) X(CarDraftTarget) X(CarSlipSpeed) X(CarLap) X(CarWears)   \
  X(CarStatus) X(CarOutOfRace) X(CarEngineDamaged) X(CarBrakesDamaged) X(CarInPit) X(CarWetTires)             \
  X(CarStintLaps) X(CarStintLapsLeft)                                                                         \
  /* Curve bookkeeping. */                                                                                    \
  X(CarApexNumber) X(CarOnApexCells) X(CarApexLimit) X(CarApexSpeed) X(CarCurveEntryLimit)                    \
  X(CarCurveRankPaid) X(CarCurveExcessPaid) X(CarCurveOwes)                                                   \
  /* Counters and per-lap tables. */                                                                          \
  X(CarLapClock) X(CarRaceClock) X(CarRaceDistance) X(CarMoveCount) X(CarAvgSpeed) X(LapOrder) X(LapGap)      \
  X(LapSpeedMph) X(LapWearsUsed)                                                                              \
  /* Race-wide fields. */                                                                                     \
  X(CurrentCar) X(CarCount) X(CarCountAtStart) X(RaceLaps) X(RunningOrder) X(OrderIndex) X(FinishOrder)       \
  X(FinishOrderCount) X(CarsFinished) X(CarsOut) X(SpeedPhase) X(SteeringPhase) X(NewRaceTurn)               \
  X(TurnWrapped) X(WorkSpeed) X(WorkTopSpeed) X(MaxNewSpeed) X(MinNewSpeed) X(SpacesLeft) X(SpeedChecked)     \
  X(AccelChecked) X(DecelChecked) X(CanGoLeft) X(CanGoRight) X(CanGoStraight) X(RaceStandingStart)            \
  X(FirstHumanCar) X(PaceSpeed) X(LeadCar) X(LeaderSpeedHistory) X(LeaderSpeedCount) X(FastestLapMph)         \
  X(FastestLapSeconds) X(GameMode) X(RaceRunning) X(RaceOver) X(RaceEndedByUser) X(PauseRequested)            \
  X(ContinueTurns) X(FinishLapMode) X(FinishRaceMode) X(AutoPilotUntilLap) X(RaceWearsMultiplier)             \
  /* Rule options. */                                                                                         \
  X(OptCurveEntryBySlipstream) X(OptAccelFromCurveExit) X(OptBlueFlag) X(OptSlipstreamInCurves)               \
  X(OptNoLaneChangeInCurves)                                                                                  \
  /* Speed choice and steering of the current car. */                                                         \
  X(NextCellLimit) X(NextIsExit) X(ExitAccelAllowed) X(TargetSpace) X(TargetLane)                            \
  X(LeftLane) X(RightLane) X(ApexSideNow) X(ApexSideNext) X(CurveStepBlocked) X(InwardStep) X(ApexDirection)  \
  X(SameLimitStep) X(CurveCheckDone) X(MoveEnded) X(ReplayRunning)                                            \
  /* Slipstream and blue flag of the current car. */                                                          \
  X(DraftOffered) X(CurveEntrySpeed) X(SlipBonusKind) X(SlipBonusOfMove) X(SlipCancelled) X(BlueFlagCar)      \
  X(BlueFlagSide) X(BlueFlagSpacesLost)                                                                       \
  /* Race log and turn engine. */                                                                             \
  X(Highlights) X(HighlightText) X(FastestLapText) X(CurrentCarIsAI) X(MoveStartSpace) X(TurnWasUndone)      \
  /* Pit lane, weather and qualifying. */                                                                     \
  X(PitQueue) X(WeatherRollPending) X(QualifyingLapRunning) X(QualifyingListPending) X(QualifyingDone)        \
  X(QualifyOrder) X(QualifyIndex) X(QualifyCarCount) X(QualifySpeed) X(QualifyTime) X(QualifyWearsUsed)       \
  X(RaceStartRefused)                                                                                         \
  /* Settings of a race. */                                                                                   \
  X(SavedRaceLaps) X(QualifyingMethod) X(AllowRequalifying) X(PointStructure) X(PointsPole) X(PointsLeadLap)  \
  X(PointsFastLap) X(PointsLeadMost) X(UndoDisabled) X(AILoadOptimumSetup) X(AIRandomizeOptimumSetup)         \
  X(WeatherEnabled) X(WeatherCycles) X(WeatherValue) X(PrevWeatherValue) X(WeatherRollSpace)                  \
  X(TrackCondition) X(PitLaneOpen) X(PitRepairOnly) X(MinPitStops) X(MinPitDuration) X(StartWearAllotment)    \
  X(PitReplenishment) X(CarMovementDelay) X(HighlightLeader) X(DefaultCarFile) X(DefaultResultTable)          \
  X(DefaultTeamFile) X(RaceConfigLoaded) X(AgreementShown) X(LockCars) X(AccumulateDamage)                    \
  /* Settings of the rules and the settlement of an exceeded limit. */                                        \
  X(AllowManualDice) X(RestartAfterPit) X(StartRuleOff) X(AITrialMove) X(AISpeedSearch) X(BlueFlagInForce)   \
  X(SkipCornerCheck) X(Die1) X(Die2) X(TableResult) X(SpeedOverBy) X(DecelOverBy) X(AccelOverBy)             \
  X(TopSpeedOverBy) X(WearShortfall) X(CornerPaidTotal) X(ResultContext) X(RiskPassed)                        \
  X(DiceCountRequested) X(ManualDiceResult)                                                                   \
  /* Result tables and circuit. */                                                                            \
  X(Tables) X(track)

// TrackHeader.
#define VM_TRACK_HEADER_FIELDS(X)                                                                             \
  X(TrackDistanceMiles) X(TrackName) X(TrackPlace1) X(TrackPlace2) X(TrackTag) X(DefaultStartSpeed)           \
  X(DefaultAcceleration) X(DefaultDeceleration) X(DefaultTopSpeed) X(DefaultWearPerLap) X(TrackLanes)         \
  X(RacingLineSpaces)

// Track, past its header: the scalars, then the grid tables. The dump writes the scalars one by
// one and the grid as its occupied cells and a hash, since the grid comes from the track file.
#define VM_TRACK_SCALAR_FIELDS(X)                                                                             \
  X(TrackSpaces) X(TrackLength) X(TrackDefaultCarFile) X(TrackWearFactor) X(PodiumLeft) X(PodiumTop)          \
  X(TrackFile) X(ApexCount) X(PitEntrySpace) X(PitExitSpace) X(PitEntryLane) X(PitExitLane)                  \
  X(PitExitLaneAlt) X(EverLoaded)

#define VM_TRACK_GRID_FIELDS(X)                                                                               \
  X(CellX) X(CellY) X(CellApexMark) X(CellSpeedLimit) X(CellDrySpeedLimit) X(CellSkip) X(CellLaneRank)        \
  X(CellImage) X(CellOccupant) X(SpaceCurveNumber) X(ApexCells)
