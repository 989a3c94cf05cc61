#include "engine/turn_engine.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "core/textfile.h"
#include "core/units.h"
#include "engine/laps.h"
#include "rules/pit_stops.h"
#include "rules/weather.h"

namespace vm {

RaceEngine::RaceEngine(RaceState& rs, Random& rng, Console& console, RaceLog& log)
    : rs_(rs), ctx_{rs, rng, console, log} {}

// --- Start and reset ------------------------------------------------------------------------------

int RaceEngine::FindFirstHumanCar() const {
  for (int pos = 1; pos <= rs_.CarCount - rs_.CarsFinished && pos <= kMaxCars; ++pos) {
    const int car = rs_.RunningOrder[pos];
    if (IsCarNumber(car) && !rs_.CarOutOfRace[car] && !rs_.CarIsAI[car]) return car;
  }
  return 0;
}

bool RaceEngine::HumanOnTrack() const { return rs_.FirstHumanCar != 0; }

bool RaceEngine::RaceReset() {
  // Step 1.
  ResetRaceState(rs_);
  // A race starts with every car standing, so a restart from standstill follows the start rule.
  rs_.RestartAfterPit = true;
  rs_.NewRaceTurn = false;
  rs_.SpeedPhase = false;
  rs_.SteeringPhase = false;
  rs_.TurnWrapped = false;
  waiting_ = Waiting::Nothing;
  // Step 2.
  PlanStints(rs_);
  // A race begins on the track's own limits, whatever tires the last car before it ran on.
  RestoreDryLimits(rs_.track);
  // Step 3.
  if (rs_.QualifyingLapRunning) rs_.RunningOrder[1] = rs_.QualifyOrder[static_cast<size_t>(rs_.QualifyIndex)];
  // Steps 4 and 5. The grid lanes are worked out where the grid is placed.
  if (Seams.Qualify && !Seams.Qualify(ctx_)) return false;
  // Step 6.
  if (rs_.QualifyingMethod == kQualifySingleLap && !rs_.QualifyingLapRunning) SortByQualifySpeed();
  // Step 7.
  if (rs_.GameMode == kModePractice) {
    PlacePractice();
  } else if (rs_.QualifyingLapRunning) {
    PlaceQualifyingCar();
  } else {
    PlaceGrid();
  }
  return true;
}

void RaceEngine::SortByQualifySpeed() {
  // A bubble sort of CarCount rounds, so that equal speeds (every car crashed) keep their order.
  const int n = std::clamp(rs_.CarCount, 0, kMaxCars);
  for (int round = 1; round <= n; ++round)
    for (int pos = 1; pos < n; ++pos)
      if (rs_.QualifySpeed[rs_.RunningOrder[pos + 1]] > rs_.QualifySpeed[rs_.RunningOrder[pos]])
        std::swap(rs_.RunningOrder[pos], rs_.RunningOrder[pos + 1]);
}

namespace {

bool Usable(const Track& t, int space, int lane) {
  return lane >= 1 && lane <= t.TrackLanes && space >= 1 && space <= t.TrackLength && t.CellLaneRank[space][lane] > 0 &&
         !t.CellSkip[space][lane];
}

bool Straight(const Track& t, int space, int lane) { return t.CellSpeedLimit[space][lane] >= kNoLimit; }

// A car's wears on the grid: the stint's whole laps and the car's fractional bonus over the same
// laps, rounded once.
int GridWears(const RaceState& rs, int car) {
  return rs.CarWearPerLap[car] * rs.CarStintLaps[car] * rs.track.TrackWearFactor +
         static_cast<int>(RoundHalfEven(rs.CarStintLaps[car] * rs.CarWearBonus[car]));
}

void Enter(RaceState& rs, int car, int space, int lane) {
  rs.CarSpace[car] = space;
  rs.CarLane[car] = lane;
  rs.track.CellOccupant[static_cast<size_t>(space)][static_cast<size_t>(lane)] = car;
}

}  // namespace

void RaceEngine::PlaceGrid() {
  Track& t = rs_.track;
  const auto [first, second] = GridLanes(t);
  int gridSpace = t.TrackLength;
  int turn = 1;
  for (int pos = 1; pos <= rs_.CarCount; ++pos) {
    const int car = rs_.RunningOrder[pos];
    int lane = turn == 1 ? first : second;
    turn = turn == 1 ? 2 : 1;
    // Walk back from the grid space to a free straight cell; an unusable lane gives way to lane 2.
    // Two full laps of searching mean the track has no room left for this car.
    for (int tries = 0; tries < 2 * kMaxSpaces * (kMaxLanes + 1); ++tries) {
      const bool usable = Usable(t, gridSpace, lane);
      if (usable && Straight(t, gridSpace, lane) && t.CellOccupant[gridSpace][lane] == 0) {
        Enter(rs_, car, gridSpace, lane);
        break;
      }
      if (!usable && lane != 2 && t.TrackLanes >= 2) {
        lane = 2;
      } else {
        gridSpace = gridSpace > 1 ? gridSpace - 1 : t.TrackLength;
      }
    }
    rs_.CarWears[car] = GridWears(rs_, car);
  }
}

void RaceEngine::PlaceQualifyingCar() {
  // The flying lap starts on the last curve before the line, at that curve's limit: walking back
  // from the line, the first space with a real curve cell, in its fastest lane (the first of equal
  // ones). A curve-exit cell is no curve: the lap would start faster than any curve allows.
  Track& t = rs_.track;
  const int car = rs_.RunningOrder[1];
  if (!IsCarNumber(car)) return;
  rs_.CurrentCar = car;
  for (int space = t.TrackLength; space >= 1; --space) {
    int best = 0;
    for (int lane = 1; lane <= std::min(t.TrackLanes, kMaxLanes); ++lane) {
      const int limit = t.CellSpeedLimit[space][lane];
      if (Usable(t, space, lane) && limit >= 1 && limit < kNoLimit &&
          (best == 0 || limit > t.CellSpeedLimit[space][best]))
        best = lane;
    }
    if (best == 0) continue;
    Enter(rs_, car, space, best);
    rs_.CarSpeed[car] = rs_.CarNewSpeed[car] = t.CellSpeedLimit[space][best] / kMphPerSpace * kMphPerSpace;
    break;
  }
  rs_.CarWears[car] = GridWears(rs_, car);
}

void RaceEngine::PlacePractice() {
  Track& t = rs_.track;
  Random& rng = ctx_.rng;
  const int n = t.TrackLanes;
  for (int pos = 1; pos <= rs_.CarCount; ++pos) {
    const int car = rs_.RunningOrder[pos];
    int lane = 2;
    int space = static_cast<int>(std::floor(rng.Rnd() * (t.TrackLength - 15))) + 14;
    if (space == 0) space = t.TrackLength;
    auto fits = [&](int s, int l) { return Usable(t, s, l) && Straight(t, s, l) && t.CellOccupant[s][l] == 0; };
    bool placed = fits(space, lane);
    for (int tries = 0; !placed && tries < 2 * kMaxSpaces; ++tries) {
      space = space > 1 ? space - 1 : t.TrackLength;
      lane = static_cast<int>(std::floor(rng.Rnd() * n)) + 1;
      for (int fallback : {1, 2, 3})
        if (!fits(space, lane)) lane = fallback;
      placed = fits(space, lane);
    }
    if (placed) Enter(rs_, car, space, lane);
    rs_.CarWears[car] = rs_.CarWearPerLap[car];
  }
}

void RaceEngine::StartRace(bool loaded) {
  // Step 1.
  rs_.FirstHumanCar = FindFirstHumanCar();
  rs_.RaceStartRefused = false;
  rs_.RestartAfterPit = false;
  // Nothing of this race has been kept yet: the first turn's end writes the undo files.
  undoOffered_ = false;
  atTurnStart_ = true;
  // Step 2. A single-lap qualifying holds the start until its list has been worked through.
  if (!loaded && !RaceReset()) {
    waiting_ = Waiting::Nothing;
    return;
  }
  if (!loaded) freshStarts_ += 1;
  // A loaded race restarts under the start rule only while nobody has begun a lap.
  if (loaded) rs_.RestartAfterPit = !RaceUnderWay(rs_);
  // A race is saved between turns, never over: the end of the race in memory before (a season
  // race paused, then taken up again) is not the loaded race's.
  if (loaded) {
    rs_.RaceOver = false;
    rs_.RaceEndedByUser = false;
    rs_.PauseRequested = false;
  }
  // Step 3. (The fastest lap of a loaded race is the saved race's.)
  // Step 4.
  rs_.FirstHumanCar = FindFirstHumanCar();
  rs_.CurrentCar = 1;
  rs_.OrderIndex = 1;
  // Step 5.
  if (!loaded) StartWeather(ctx_);
  if (rs_.QualifyingLapRunning) rs_.CurrentCar = rs_.RunningOrder[1];
  // Step 6.
  rs_.CarCountAtStart = rs_.CarCount;
  rs_.RaceRunning = true;
  rs_.AISpeedSearch = false;
  // Step 7.
  if (!loaded) TakeDesignCopies(rs_);
  rs_.CarIsAIAtStart = rs_.CarIsAI;
  // Step 9. A qualifying lap's allotment is its one lap; a race's is its first stint, or the
  // replenishment when that lasts longer. An allotment never set lasts the race.
  rs_.AutoPilotUntilLap = 0;
  const int start = rs_.StartWearAllotment >= 1 ? rs_.StartWearAllotment : rs_.RaceLaps;
  rs_.RaceWearsMultiplier = rs_.QualifyingLapRunning ? 1 : std::max(start, rs_.PitReplenishment);
  // The real race has been set up from the qualifying times: a later start qualifies afresh.
  if (!rs_.QualifyingLapRunning) rs_.QualifyingDone = false;
  RaceControl();
}

// --- The two stages ---------------------------------------------------------------------------------

void RaceEngine::RaceControl() {
  rs_.NewRaceTurn = true;
  RaceSequence();
}

void RaceEngine::RaceSequence() {
  Stage stage = Stage::Advance;
  if (rs_.NewRaceTurn) {
    BeginTurn();
    stage = Stage::Serve;
  }
  for (;;) {
    if (stage == Stage::Serve) {
      stage = Serve();
      if (stage == Stage::Return) return;
    }
    stage = AdvanceRound();
    if (stage == Stage::Return) return;
  }
}

void RaceEngine::BeginTurn() {
  // Step 1.
  rs_.NewRaceTurn = false;
  rs_.RaceEndedByUser = false;
  rs_.SteeringPhase = false;
  rs_.SpeedPhase = true;
  // A car gone out since the last sort leads nothing: the pass begins with the first still running.
  rs_.OrderIndex = std::max(1, RaceLeaderPlace(rs_));
  rs_.CurrentCar = rs_.RunningOrder[rs_.OrderIndex];
  // The leader's panel reads the curve limits: they must be its tires', not the last mover's.
  ApplyWeatherLimits(rs_, rs_.CurrentCar);
  // Steps 2 and 3 only draw; the serve stage loads the leader's panel if it is human.
  // Step 4. A weather roll that is due stays due until it is rolled, across turns.
  rs_.ContinueTurns = true;
  Call(Seams.TurnBegins);
}

RaceEngine::Stage RaceEngine::Serve() {
  // Step 3.
  if (!HumanOnTrack() && !rs_.ContinueTurns) {
    waiting_ = Waiting::RaceControl;
    return Stage::Return;
  }
  // Step 4.
  if (!rs_.SpeedPhase) {
    waiting_ = Waiting::Steering;
    return Stage::Return;
  }
  // Step 5.
  const int car = rs_.CurrentCar;
  if (IsCarNumber(car) && !rs_.CarIsAI[car]) {
    if (rs_.CarInPit[car]) {
      waiting_ = Waiting::PitContinue;
      return Stage::Return;
    }
    // Each car's speed is settled once a turn: the guard opens with its panel.
    rs_.SpeedChecked = false;
    speedFrame_ = LoadSpeedFrame(ctx_);
    waiting_ = Waiting::Speed;
    return Stage::Return;
  }
  // Step 6.
  return Stage::Advance;
}

RaceEngine::Stage RaceEngine::AdvanceRound() {
  // Step 1.
  if (Seams.Yield) Seams.Yield();
  // Step 2.
  const int leader = RaceLeader(rs_);
  if (rs_.RaceOver) {
    lapCaption_ = "Final Standings";
  } else if (IsCarNumber(leader) && rs_.CarLap[leader] >= 1) {
    lapCaption_ = rs_.CarLap[leader] >= rs_.RaceLaps
                      ? "Final Lap"
                      : "Lap " + std::to_string(rs_.CarLap[leader]) + " of " + std::to_string(rs_.RaceLaps);
  } else {
    lapCaption_ = "Race Start";
  }
  // Step 3.
  NextCar();
  // Step 4. The pause waits for the end of the steering pass: restarting the turn after the speed
  // pass would ask for every speed, and roll every table, a second time.
  if (rs_.PauseRequested && rs_.TurnWrapped && rs_.SteeringPhase && !rs_.RaceOver) {
    SaveUndoFile();
    rs_.NewRaceTurn = true;
    rs_.PauseRequested = false;
    rs_.FinishLapMode = false;
    rs_.FinishRaceMode = false;
    rs_.ContinueTurns = false;
    waiting_ = Waiting::Paused;
    return Stage::Return;
  }
  // Step 5.
  MarkCurrentCarAI();
  // Step 6.
  if (rs_.RaceOver) {
    Finish(Waiting::RaceOver);
    return Stage::Return;
  }
  // Step 7.
  if (rs_.TurnWrapped && rs_.ContinueTurns) {
    if (rs_.SteeringPhase) {
      SaveUndoFile();
      // With nobody at the machine the race stops after each turn unless it is finishing; a
      // human's own speed panel is the stop otherwise.
      if (!HumanOnTrack() && !rs_.FinishRaceMode) rs_.ContinueTurns = false;
      if (rs_.RaceEndedByUser) {
        rs_.RaceOver = true;
        Finish(Waiting::RaceOver);
        return Stage::Return;
      }
      rs_.SteeringPhase = false;
      rs_.SpeedPhase = true;
      Call(Seams.TurnBegins);
    } else {
      rs_.SteeringPhase = true;
      rs_.TurnWrapped = false;
      Call(Seams.ChooseAISpeeds);
      SortForSteering();
      // The car sorted first takes the first slot of the steering pass.
      rs_.OrderIndex = 1;
      while (!TakeSlot() && rs_.OrderIndex < rs_.CarCount - rs_.CarsFinished) rs_.OrderIndex += 1;
      MarkCurrentCarAI();
      rs_.SpeedPhase = false;
      ApplyWeatherLimits(rs_, rs_.CurrentCar);
    }
  }
  // Step 8.
  if (!rs_.SteeringPhase) return Stage::Serve;
  // Step 9.
  return SteeringSlot();
}

RaceEngine::Stage RaceEngine::SteeringSlot() {
  const int car = rs_.CurrentCar;
  if (!StillRunning(rs_, car)) return Stage::Advance;
  rs_.MoveStartSpace = rs_.CarSpace[car];
  rs_.CarLapClock[car] += 1;
  rs_.CarRaceClock[car] += 1;
  if (!rs_.CarIsAI[car]) {
    if (rs_.CarInPit[car]) return Stage::Advance;
    if (rs_.CarNewSpeed[car] < 1) return Stage::Advance;
    rs_.MoveEnded = false;
    steeringPanel_ = LoadSteeringFrame(ctx_);
    if (rs_.CarNewSpeed[car] == 0) return Stage::Advance;
    // A car boxed in from the start has already been stopped: no button would be enabled.
    if (rs_.MoveEnded) {
      CalcAvgSpeed(rs_, car);
      return Stage::Advance;
    }
    return Stage::Serve;
  }
  DriveAI(car, false);
  return Stage::Advance;
}

void RaceEngine::DriveAI(int car, bool speedSettled) {
  ComputeSpeedRange(rs_);
  // The check settles the speed the AI chose for this turn, not the one it ran last turn.
  rs_.WorkSpeed = rs_.CarNewSpeed[car];
  // A car in the pit lane has no cell to move from: it waits for its release.
  if (rs_.CarStatus[car] < kOutOfRace && !rs_.CarInPit[car]) {
    if (!speedSettled) {
      rs_.SpeedChecked = false;
      rs_.AccelChecked = false;
      rs_.DecelChecked = false;
      CheckSpeedLimits(ctx_);
    }
    Call(Seams.PlanMove);
  }
  CalcAvgSpeed(rs_, car);
}

bool RaceEngine::HeldBy(const std::function<bool(RuleContext&)>& seam) {
  if (!seam || !seam(ctx_)) return false;
  waiting_ = Waiting::Elsewhere;
  return true;
}

void RaceEngine::ServePitLane() {
  const int current = rs_.CurrentCar;
  for (int car : ProcessPitLane(ctx_)) {
    // The pit lane crosses the line on the shipped circuits: the release counts as the crossing,
    // without a fraction, so a stop never costs a lap.
    if (rs_.track.PitExitSpace < rs_.track.PitEntrySpace) {
      rs_.CurrentCar = car;
      rs_.SpacesLeft = 0;
      CrossLine(ctx_);
    }
  }
  rs_.CurrentCar = current;
}

void RaceEngine::SaveUndoFile() {
  Call(Seams.SaveUndoFile);
  undoOffered_ = static_cast<bool>(Seams.SaveUndoFile);
  atTurnStart_ = true;
  rs_.TurnWasUndone = false;
}

void RaceEngine::Finish(Waiting why) {
  waiting_ = why;
  if (why == Waiting::RaceOver) {
    undoOffered_ = false;
    atTurnStart_ = false;
    lapCaption_ = "Final Standings";
    rs_.RaceRunning = false;
    Call(Seams.EndRace);
  }
}

// --- NextCar -----------------------------------------------------------------------------------------

void RaceEngine::NextCar() {
  // Step 1.
  rs_.TurnWrapped = false;
  if (rs_.SteeringPhase && IsCarNumber(rs_.CurrentCar)) rs_.CarSpeed[rs_.CurrentCar] = rs_.CarNewSpeed[rs_.CurrentCar];
  for (;;) {
    // Step 2.
    rs_.OrderIndex += 1;
    rs_.BlueFlagInForce = false;
    rs_.CurveCheckDone = false;
    // Step 3.
    bool speedPassEnded = false;
    if (rs_.OrderIndex > rs_.CarCount - rs_.CarsFinished) {
      speedPassEnded = !rs_.SteeringPhase;
      EndOfPass();
    }
    // Step 4.
    if (rs_.CarCount - rs_.CarsOut - rs_.CarsFinished < 1) {
      rs_.RaceOver = true;
      return;
    }
    // The steering pass begins with the car its sort puts first, which takes its slot then.
    if (speedPassEnded) {
      rs_.CurrentCar = rs_.RunningOrder[rs_.OrderIndex];
      return;
    }
    if (TakeSlot()) return;
  }
}

void RaceEngine::MarkCurrentCarAI() {
  const int car = rs_.CurrentCar;
  if (!IsCarNumber(car)) return;
  rs_.CurrentCarIsAI = rs_.CarIsAI[car];
  if (rs_.AutoPilotUntilLap != 0) rs_.CarIsAI[car] = true;
}

bool RaceEngine::TakeSlot() {
  // Step 5.
  const int car = rs_.RunningOrder[rs_.OrderIndex];
  if (!IsCarNumber(car)) return true;
  rs_.CurrentCar = car;
  ApplyWeatherLimits(rs_, car);
  // Step 6.
  if (!StillRunning(rs_, car)) {
    ClearCarCell(rs_, car);
    return false;
  }
  switch (rs_.CarStatus[car]) {
    case kSpinning:
    case kSpinningOffCell:
      // A spun car blocks its cell until this slot; from here others may pass through it, and
      // it restarts from where it stands.
      ClearCarCell(rs_, car);
      [[fallthrough]];
    case kStalled:
      rs_.CarSpeed[car] = 0;
      rs_.CarNewSpeed[car] = 0;
      rs_.CarStatus[car] = kRunning;
      break;
    default: break;
  }
  return true;
}

void RaceEngine::EndOfPass() {
  const int leader = RaceLeader(rs_);
  if (IsCarNumber(leader) && rs_.AutoPilotUntilLap != 0 && rs_.CarLap[leader] >= rs_.AutoPilotUntilLap)
    rs_.AutoPilotUntilLap = 0;
  CheckWeatherRoll(ctx_, leader);
  rs_.OrderIndex = 1;
  if (rs_.CarsFinished >= 1 && IsCarNumber(rs_.FinishOrder[1])) rs_.CarLapClock[rs_.FinishOrder[1]] += 1.0;
  if (rs_.SteeringPhase && !rs_.ReplayRunning) {
    ServePitLane();
    rs_.RaceStandingStart = false;
    SortAfterTurn();
    const int first = RaceLeader(rs_);
    if (IsCarNumber(first) && rs_.CarLap[first] >= 1 && rs_.CarsFinished == 0) {
      if (rs_.LeaderSpeedCount >= kLeaderHistory) {
        std::copy(rs_.LeaderSpeedHistory.begin() + 2, rs_.LeaderSpeedHistory.end(), rs_.LeaderSpeedHistory.begin() + 1);
      } else {
        rs_.LeaderSpeedCount += 1;
      }
      rs_.LeaderSpeedHistory[static_cast<size_t>(rs_.LeaderSpeedCount)] = rs_.CarSpeed[first] / kMphPerSpace;
    }
  }
  // Finishers leave the track and the running order, in the order they stand.
  std::vector<int> running;
  std::vector<int> finishers;
  for (int pos = 1; pos <= rs_.CarCount - rs_.CarsFinished; ++pos) {
    const int car = rs_.RunningOrder[pos];
    if (!IsCarNumber(car)) continue;
    if (rs_.CarLap[car] > rs_.RaceLaps) {
      rs_.FinishOrder[static_cast<size_t>(++rs_.FinishOrderCount)] = car;
      finishers.push_back(car);
    } else {
      running.push_back(car);
    }
  }
  // The finish order is settled while the new finishers still stand on their cells: a tie is
  // decided by the lane they took the flag in.
  if (!finishers.empty()) SortFinishers(ctx_);
  for (int car : finishers) {
    ClearCarCell(rs_, car);
    rs_.CarLane[car] = 0;
    rs_.CarSpace[car] = 0;
  }
  const int finishedNow = rs_.CarCount - rs_.CarsFinished - static_cast<int>(running.size());
  rs_.CarsFinished += finishedNow;
  rs_.RunningOrder.fill(0);
  for (size_t i = 0; i < running.size(); ++i) rs_.RunningOrder[i + 1] = running[i];
  if (rs_.SteeringPhase) rs_.CarIsAI = rs_.CarIsAIAtStart;
  rs_.FirstHumanCar = FindFirstHumanCar();
  rs_.TurnWrapped = true;
  const int newLeader = RaceLeader(rs_);
  if (IsCarNumber(newLeader)) rs_.PaceSpeed = rs_.CarSpeed[newLeader];
  // Once the race is under way a car standing on the grid no longer restarts: a stall there is out.
  rs_.RestartAfterPit = !RaceUnderWay(rs_);
}

// --- Order sorts --------------------------------------------------------------------------------------

double RaceEngine::RaceDistance(int car) const {
  const Track& t = rs_.track;
  const int space = rs_.CarSpace[car];
  const int lane = rs_.CarLane[car];
  double distance = (rs_.CarLap[car] - 1) * t.TrackLength + space;
  if (space < 1 || space > kMaxSpaces || lane < 1 || lane > kMaxLanes) return distance;
  if (t.CellSpeedLimit[space][lane] < kNoLimit) {
    // Curve credit: skip cells of the car's own rank ahead mean the lane is shorter here.
    const int rank = t.CellLaneRank[space][lane];
    bool skipSeen = false;
    for (int i = 1; i <= 15 && space + i <= kMaxSpaces; ++i) {
      const int s = space + i;
      const bool skip = t.CellSkip[s][lane];
      const int limit = t.CellSpeedLimit[s][lane];
      if (!skip && limit >= kNoLimit + 1) break;
      if (!skip && limit < kNoLimit && !skipSeen) break;
      if (skip) {
        skipSeen = true;
        if (t.CellLaneRank[s][lane] == rank) distance += i == 1 ? 1.0 : 0.1;
      }
    }
  }
  // A car in the pit lane counts by its place in the pit list: the front of the queue leaves first.
  if (rs_.CarInPit[car]) {
    const auto& queue = rs_.PitQueue;
    const auto at = std::find_if(queue.begin(), queue.end(), [car](const PitQueueEntry& e) { return e.Car == car; });
    if (at != queue.end()) distance += 1.0 / static_cast<double>(at - queue.begin() + 1);
  }
  return distance;
}

void RaceEngine::Sort(bool forSteering) {
  const int n = rs_.CarCount - rs_.CarsFinished;
  PerCar<double> distance{};
  for (int pos = 1; pos <= n; ++pos) {
    const int car = rs_.RunningOrder[pos];
    if (IsCarNumber(car)) distance[car] = RaceDistance(car);
  }
  auto rank = [&](int car) {
    const int space = rs_.CarSpace[car], lane = rs_.CarLane[car];
    if (space < 0 || space > kMaxSpaces || lane < 0 || lane > kMaxLanes) return 0;
    return rs_.track.CellLaneRank[space][lane];
  };
  for (int round = 1; round <= rs_.CarCount; ++round) {
    for (int pos = 1; pos < n; ++pos) {
      const int a = rs_.RunningOrder[pos];
      const int b = rs_.RunningOrder[pos + 1];
      if (!IsCarNumber(a) || !IsCarNumber(b)) continue;
      // Only cars still running are ranked; a car that is out goes behind them all.
      const bool aRuns = StillRunning(rs_, a), bRuns = StillRunning(rs_, b);
      bool swap = distance[b] > distance[a];
      if (aRuns != bRuns) {
        swap = bRuns;
      } else if (!aRuns) {
        swap = false;
      } else if (distance[a] == distance[b]) {
        if (rs_.CarInPit[a] || rs_.CarInPit[b]) {
          swap = false;
        } else if (forSteering) {
          // The faster chosen speed moves first; on equal speeds the better lane.
          if (rs_.CarStatus[b] != kRunning)
            swap = false;
          else if (rs_.CarNewSpeed[a] != rs_.CarNewSpeed[b])
            swap = rs_.CarNewSpeed[a] < rs_.CarNewSpeed[b];
          else
            swap = rank(a) > rank(b);
        } else {
          swap = rank(a) > rank(b) && rs_.CarStatus[b] == kRunning;
        }
      }
      if (swap) std::swap(rs_.RunningOrder[pos], rs_.RunningOrder[pos + 1]);
    }
  }
  for (int pos = 1; pos <= n; ++pos) {
    const int car = rs_.RunningOrder[pos];
    if (IsCarNumber(car)) rs_.CarRaceDistance[car] = static_cast<int>(std::floor(distance[car]));
  }
}

void RaceEngine::SortForSteering() {
  Sort(true);
  rs_.CurrentCar = rs_.RunningOrder[rs_.OrderIndex];
}

void RaceEngine::SortAfterTurn() {
  Sort(false);
  const int leadCar = rs_.LeadCar;
  const int newLeader = RaceLeader(rs_);
  if (!IsCarNumber(newLeader)) return;
  TakeLeadChange(ctx_, newLeader, RaceDistance(newLeader), IsCarNumber(leadCar) ? RaceDistance(leadCar) : 0);
}

// --- Commands ------------------------------------------------------------------------------------------

void RaceEngine::NewSpeed(int i, bool draft) {
  // Step 1.
  if (rs_.SteeringPhase || i < 0 || i >= kSpeedButtons) return;
  if (waiting_ != Waiting::Speed && waiting_ != Waiting::PitContinue) return;
  // The turn has begun: its start can no longer be taken back.
  undoOffered_ = false;
  atTurnStart_ = false;
  // Step 2.
  const bool settled = rs_.SpeedChecked || (rs_.CurrentCar > rs_.CarCount && !rs_.QualifyingLapRunning);
  if (!settled) {
    // Steps 3 and 4.
    ChooseSpeed(ctx_, i);
    // Step 5.
    rs_.CarDraftTarget[rs_.CurrentCar] = draft ? rs_.DraftOffered : 0;
  }
  // Step 6. The tires ticked on the panel, for a car that was offered the choice.
  if (speedFrame_.ShowTires && speedFrame_.Car == rs_.CurrentCar && rs_.CarLap[rs_.CurrentCar] < 1 &&
      rs_.WeatherEnabled)
    rs_.CarWetTires[rs_.CurrentCar] = speedFrame_.WetTires;
  // Step 6.
  waiting_ = Waiting::Nothing;
  if (HeldBy(Seams.SpeedChosen)) return;
  RaceSequence();
}

void RaceEngine::PitContinue() { NewSpeed(0); }

bool RaceEngine::ChooseTires(bool wet) {
  if (waiting_ != Waiting::Speed || !speedFrame_.ShowTires) return false;
  speedFrame_.WetTires = wet;
  return true;
}

void RaceEngine::Steer(SteeringCommand command) {
  if (waiting_ != Waiting::Steering) return;
  if (command == SteeringCommand::cmdEnterPit) {
    if (!steeringPanel_.EnterPitVisible) return;
    EnterPit(ctx_);
    rs_.MoveEnded = true;
    steeringPanel_ = SteeringPanel{};
    steeringPanel_.Car = rs_.CurrentCar;
  } else if (command == SteeringCommand::cmdEndEarly) {
    EndMoveEarly(ctx_);
    steeringPanel_ = LoadSteeringButtons(ctx_);
  } else {
    steeringPanel_ = PressSteering(ctx_, command);
  }
  if (rs_.MoveEnded || rs_.SpacesLeft < 1) {
    CalcAvgSpeed(rs_, rs_.CurrentCar);
    waiting_ = Waiting::Nothing;
    if (HeldBy(Seams.MoveMade)) return;
    RaceSequence();
  }
}

void RaceEngine::AutoPilot() {
  if (!IsCarNumber(rs_.CurrentCar)) return;
  // A car whose driver left in the middle of its slot (online) is moved by the AI from where the
  // slot began: its speed for the turn stands.
  if (waiting_ == Waiting::Steering) {
    rs_.CarIsAI[rs_.CurrentCar] = true;
    steeringPanel_ = SteeringPanel{};
    waiting_ = Waiting::Nothing;
    // A human's speed was settled when it was chosen: it is not checked a second time.
    DriveAI(rs_.CurrentCar, true);
    RaceSequence();
    return;
  }
  if (waiting_ != Waiting::Speed) return;
  rs_.CarIsAI[rs_.CurrentCar] = true;
  for (SpeedButton& b : speedFrame_.Buttons) {
    b.Colour = kColourGrey;
    b.Enabled = false;
  }
  waiting_ = Waiting::Nothing;
  if (HeldBy(Seams.SpeedChosen)) return;
  RaceSequence();
}

void RaceEngine::TakeSpeedFromElsewhere() {
  if (waiting_ != Waiting::Speed && waiting_ != Waiting::PitContinue) return;
  undoOffered_ = false;
  atTurnStart_ = false;
  waiting_ = Waiting::Nothing;
  RaceSequence();
}

void RaceEngine::TakeMoveFromElsewhere() {
  if (waiting_ != Waiting::Steering) return;
  steeringPanel_ = SteeringPanel{};
  waiting_ = Waiting::Nothing;
  RaceSequence();
}

void RaceEngine::NextTurn() {
  if (waiting_ == Waiting::Paused) {
    RaceControl();
    return;
  }
  if (waiting_ != Waiting::RaceControl) return;
  rs_.ContinueTurns = true;
  RaceSequence();
}

void RaceEngine::FinishLap() {
  if (waiting_ != Waiting::RaceControl && waiting_ != Waiting::Paused) return;
  rs_.FinishRaceMode = true;
  rs_.FinishLapMode = true;
  rs_.ContinueTurns = true;
  rs_.PauseRequested = false;
  if (waiting_ == Waiting::Paused) rs_.NewRaceTurn = true;
  RaceSequence();
}

void RaceEngine::FinishRace() {
  if (waiting_ != Waiting::RaceControl && waiting_ != Waiting::Paused) return;
  rs_.FinishRaceMode = true;
  rs_.FinishLapMode = false;
  rs_.ContinueTurns = true;
  rs_.PauseRequested = false;
  if (waiting_ == Waiting::Paused) rs_.NewRaceTurn = true;
  RaceSequence();
}

void RaceEngine::PauseRace() {
  // The pause waits for the end of the turn; it is offered only while nobody has finished.
  if (rs_.CarsFinished == 0) rs_.PauseRequested = true;
}

bool RaceEngine::EndRaceRC() {
  if (rs_.GameMode == kModeSeason && !rs_.QualifyingLapRunning) {
    // A paused season race is saved to be taken up again, and only a turn's start can be saved.
    if (!atTurnStart_) {
      ctx_.console.ShowMessage(kPauseBetweenTurnsText, "Pause Season Race", MessageKind::Information);
      return false;
    }
    // The season saves the race as it stands, then ends it; nothing is changed here.
    return ctx_.console.AskYesNo("Are you sure you want to PAUSE this race ?", "Pause Season Race");
  }
  if (!ctx_.console.AskYesNo("Are you sure you want to RED FLAG this race ?", "End Race")) return false;
  // A red flag on a qualifying lap calls off the qualifying: the field comes back whole.
  const int whole = rs_.QualifyingLapRunning ? rs_.QualifyCarCount : rs_.CarCountAtStart;
  if (whole != 0) rs_.CarCount = whole;
  rs_.QualifyingLapRunning = false;
  rs_.QualifyingListPending = false;
  EndRace();
  return true;
}

void RaceEngine::EndRace() {
  rs_.RaceEndedByUser = true;
  rs_.RaceOver = true;
  // Cars still on the track are placed behind the finishers.
  SortRaceEnd(ctx_);
  Finish(Waiting::RaceOver);
}

void RaceEngine::Resume(Waiting waiting) {
  waiting_ = waiting;
  if (waiting == Waiting::Steering) steeringPanel_ = LoadSteeringButtons(ctx_);
  if (waiting == Waiting::Speed) speedFrame_ = LoadSpeedFrame(ctx_);
}

std::string RaceEngine::WaitDescription() const {
  const std::string car = "car " + std::to_string(rs_.CurrentCar) + ": ";
  switch (waiting_) {
    case Waiting::Nothing: return "nothing";
    case Waiting::Speed: return car + "speed";
    case Waiting::PitContinue: return car + "pit continue";
    case Waiting::Steering: {
      const int blocks = static_cast<int>(std::floor(rs_.SpacesLeft));
      return car + "steering, " + std::to_string(blocks) + (blocks == 1 ? " block" : " blocks") + " left";
    }
    case Waiting::RaceControl: return "race control";
    case Waiting::Paused: return "race control (paused)";
    case Waiting::RaceOver: return "race over";
    case Waiting::Elsewhere: return "another player's turn";
  }
  return "";
}

}  // namespace vm
