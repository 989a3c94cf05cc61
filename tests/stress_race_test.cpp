// Forty cars race every shipped circuit to the flag, driven by a seeded autopilot: most drivers
// brake in time for the curves of their lane and steer clear of traffic, a bold few take risks.
// The race state must stay sound after every pass, and most of the field must see the flag.
// VELOMARK_STRESS_LAPS shortens the races (the sanitizer build runs 10 laps).
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "core/race_log.h"
#include "core/track_file.h"
#include "core/units.h"
#include "engine/turn_engine.h"
#include "rules/result_table_file.h"
#include "tests/rules_fixture.h"

namespace vm {
namespace {

constexpr int kMinFinishers = 10;
constexpr int kLookAhead = 40;  // cells: room to brake from 240 at 40 a turn
constexpr int kBoldEvery = 8;   // one driver in eight takes risks

int StressLaps() {
  const char* laps = std::getenv("VELOMARK_STRESS_LAPS");
  const int n = laps != nullptr ? std::atoi(laps) : 0;
  return n >= 1 && n <= kMaxLaps ? n : kMaxLaps;
}

class StressRace {
 public:
  StressRace(const Track& track, const ResultTables& tables, int laps) : rs_(std::make_unique<RaceState>()) {
    rs_->track = track;
    rs_->Tables = tables;
    rs_->GameMode = kModeSingle;
    rs_->RaceLaps = laps;
    rs_->CarCount = kMaxCars;
    for (int car = 1; car <= kMaxCars; ++car) {
      rs_->DriverName[car] = "Car " + std::to_string(car);
      rs_->CarStartSpeed[car] = 60 + 20 * (car % 3);
      rs_->CarAcceleration[car] = 40 + 20 * (car % 2);
      rs_->CarDeceleration[car] = 40 + 20 * (car % 4 == 0 ? 1 : 0);
      rs_->CarTopSpeed[car] = 140 + 20 * (car % 4);
      rs_->CarWearPerLap[car] = 2 + car % 3;
      rs_->CarDRM[car] = car % 5 - 2;
    }
  }

  // Runs the race to its end; returns the faults found after the passes, with the pass number.
  std::vector<std::string> Run() {
    RaceEngine engine(*rs_, rng_, console_, log_);
    std::vector<std::string> faults;
    auto check = [&] {
      ++checks_;
      for (const std::string& f : CheckRaceState(*rs_))
        if (faults.size() < 20) faults.push_back("check " + std::to_string(checks_) + ": " + f);
    };
    // The end of every steering pass.
    engine.Seams.SaveUndoFile = [&](RuleContext&) { check(); };
    engine.StartRace();
    bool steering = rs_->SteeringPhase;
    for (long guard = 0; guard < 20'000'000 && engine.WaitingFor() != Waiting::RaceOver; ++guard) {
      // The end of every speed pass.
      if (rs_->SteeringPhase != steering) {
        steering = rs_->SteeringPhase;
        if (steering) check();
      }
      switch (engine.WaitingFor()) {
        case Waiting::Speed: engine.NewSpeed(PickSpeed(engine.SpeedPanel()) / 20); break;
        case Waiting::Steering: engine.Steer(PickStep(engine.SteeringPanelShown())); break;
        case Waiting::PitContinue: engine.PitContinue(); break;
        case Waiting::RaceControl:
        case Waiting::Paused: engine.FinishRace(); break;
        case Waiting::RaceOver:
        case Waiting::Nothing: faults.push_back("the engine waits for nothing"); return faults;
      }
    }
    if (engine.WaitingFor() != Waiting::RaceOver) faults.push_back("the race did not end");
    check();
    return faults;
  }

  const RaceState& State() const { return *rs_; }

 private:
  // The limit a car meets at `space` in `lane`: the lane's own cell, or where the lane has no
  // cell there (it must move over), the lowest limit of the cells that do exist.
  int LimitAt(int space, int lane) const {
    const Track& t = rs_->track;
    if (lane >= 1 && lane <= kMaxLanes && t.CellLaneRank[space][lane] > 0 && t.CellSpeedLimit[space][lane] > 0)
      return t.CellSpeedLimit[space][lane];
    int limit = kOpenStraight;
    for (int l = 1; l <= kMaxLanes; ++l)
      if (t.CellLaneRank[space][l] > 0 && t.CellSpeedLimit[space][l] > 0)
        limit = std::min(limit, t.CellSpeedLimit[space][l]);
    return limit;
  }

  // The next space a car in `lane` reaches from `space`, passing over up to two skip cells.
  int NextInLane(int space, int lane) const {
    const Track& t = rs_->track;
    int next = NextSpace(t, space);
    for (int k = 0; k < 2 && lane >= 1 && lane <= kMaxLanes && t.CellSkip[next][lane]; ++k) next = NextSpace(t, next);
    return next;
  }

  // The limits of the next kLookAhead cells along the current car's lane.
  std::array<int, kLookAhead> LimitsAhead() const {
    std::array<int, kLookAhead> limits{};
    const int lane = rs_->CarLane[rs_->CurrentCar];
    int index = rs_->CarSpace[rs_->CurrentCar];
    for (int& limit : limits) {
      index = NextInLane(index, lane);
      limit = LimitAt(index, lane);
    }
    return limits;
  }

  // Whether a car can go `speed` now and still brake, `decel` a turn, for every limit ahead of
  // it, `slack` MPH over each limit allowed.
  static bool CanBrakeFor(const std::array<int, kLookAhead>& limits, int decel, int speed, int slack) {
    size_t pos = 0;
    for (int s = speed; s > 0 && pos < limits.size(); s -= std::max(decel, 20)) {
      for (int b = 0; b < s / 20 && pos < limits.size(); ++b, ++pos)
        if (limits[pos] + slack < s) return false;
    }
    return true;
  }

  // Most cars choose the fastest button that costs nothing and lets them brake for every limit
  // of their lane ahead. The bold few half the time allow themselves 20 over every limit, red
  // buttons included, and one time in fifty take any button at all.
  int PickSpeed(const SpeedFrame& frame) {
    const RaceState& rs = *rs_;
    const int car = rs.CurrentCar;
    const bool bold = car % kBoldEvery == 0;
    std::vector<int> safe, any;
    for (const SpeedButton& b : frame.Buttons) {
      if (!b.Enabled || !b.Seen) continue;
      any.push_back(b.Speed);
      if (b.Colour != kColourRed) safe.push_back(b.Speed);
    }
    if (any.empty()) return 0;
    if (bold && choices_.Rnd() < 0.02)
      return any[static_cast<size_t>(choices_.Rnd() * static_cast<double>(any.size()))];
    const std::vector<int>& pool = bold && choices_.Rnd() < 0.5 ? any : safe;
    if (pool.empty()) return *std::min_element(any.begin(), any.end());
    const std::array<int, kLookAhead> limits = LimitsAhead();
    int pick = *std::min_element(pool.begin(), pool.end());
    for (int speed : pool)
      if (speed > pick && CanBrakeFor(limits, rs.CarDeceleration[car], speed, bold ? 20 : 0)) pick = speed;
    return pick;
  }

  // The step a button takes: -1 right, 0 straight, 1 left (the apex captions move the steps).
  static int StepOf(SteeringCommand command, char apex) {
    const bool plain = apex == ' ' || apex == 'S';
    switch (command) {
      case SteeringCommand::cmdLeft: return plain ? 1 : 0;
      case SteeringCommand::cmdRight: return plain ? -1 : 0;
      case SteeringCommand::cmdStraight: return plain ? 0 : apex == 'L' ? 1 : -1;
      case SteeringCommand::cmdInTurnLeft: return 1;
      case SteeringCommand::cmdInTurnRight: return -1;
      case SteeringCommand::cmdEndEarly:
      case SteeringCommand::cmdEnterPit: break;
    }
    return 0;
  }

  // The open button whose lane keeps the rest of the move within its limits and clear of cars
  // (those ahead have mostly moved already), the first listed (straight, or the apex line) on a
  // tie; the bold take any open button one step in twenty.
  SteeringCommand PickStep(const SteeringPanel& p) {
    const RaceState& rs = *rs_;
    const int car = rs.CurrentCar;
    const std::pair<const SteeringButton*, SteeringCommand> buttons[] = {
        {&p.Straight, SteeringCommand::cmdStraight},
        {&p.Left, SteeringCommand::cmdLeft},
        {&p.Right, SteeringCommand::cmdRight},
        {&p.InTurnLeft, SteeringCommand::cmdInTurnLeft},
        {&p.InTurnRight, SteeringCommand::cmdInTurnRight}};
    std::vector<SteeringCommand> open;
    for (const auto& [button, command] : buttons)
      if (button->Visible && button->Enabled) open.push_back(command);
    if (open.empty()) return SteeringCommand::cmdEndEarly;
    if (car % kBoldEvery == 0 && choices_.Rnd() < 0.05)
      return open[static_cast<size_t>(choices_.Rnd() * static_cast<double>(open.size()))];
    const int speed = rs.CarNewSpeed[car];
    const int blocks = std::max(1, static_cast<int>(p.SpacesLeft + 0.5));
    SteeringCommand best = open.front();
    int bestCost = 1 << 20;
    for (SteeringCommand command : open) {
      const int step = StepOf(command, p.ApexDirection);
      const int lane = rs.CarLane[car] + step;
      int index = step == 0 ? NextInLane(rs.CarSpace[car], lane) : NextSpace(rs.track, rs.CarSpace[car]);
      // A side step in a curve may stop beside the car's space; that cell counts too.
      int excess = step == 0 ? 0 : speed - LimitAt(rs.CarSpace[car], lane);
      int clear = 0;  // cells free of cars before the first one met, a block beyond the move
      for (int b = 0; b <= blocks; ++b, index = NextInLane(index, lane)) {
        if (b < blocks) excess = std::max(excess, speed - LimitAt(index, lane));
        const int other = rs.track.CellOccupant[index][lane];
        if (clear == b && (other == 0 || other == car)) ++clear;
      }
      const int cost = std::max(excess, 0) * 4 + (blocks + 1 - clear) * 10;
      if (cost < bestCost) {
        best = command;
        bestCost = cost;
      }
    }
    return best;
  }

  std::unique_ptr<RaceState> rs_;
  Random rng_{20240611};
  Random choices_{7};
  testing_support::AutoConsole console_;
  HighlightList log_{*rs_};
  int checks_ = 0;
};

TEST(StressRace, FortyCarsRunEveryShippedCircuitWithASoundStateAfterEveryPass) {
  const std::string data = VELOMARK_DATA;
  ResultTables tables;
  ASSERT_FALSE(LoadResultTables(tables, data + "/Default.rst"));
  std::vector<std::string> tracks;
  for (const auto& entry : std::filesystem::directory_iterator(data + "/Tracks"))
    if (entry.path().extension() == ".trk") tracks.push_back(entry.path().string());
  std::sort(tracks.begin(), tracks.end());
  ASSERT_GE(tracks.size(), 4u);
  const int laps = StressLaps();
  int mishaps = 0;
  for (const std::string& file : tracks) {
    SCOPED_TRACE(file);
    auto track = std::make_unique<Track>();
    ASSERT_FALSE(LoadTrack(*track, file));
    StressRace race(*track, tables, laps);
    for (const std::string& fault : race.Run()) ADD_FAILURE() << fault;
    const RaceState& rs = race.State();
    EXPECT_TRUE(rs.RaceOver);
    EXPECT_EQ(rs.FinishOrderCount + rs.CarsOut, kMaxCars);
    // Careful driving brings most of the field to the flag, so the late race (lapping, blue flags,
    // many finishers on one turn) is run through; every finisher ran the whole distance.
    EXPECT_GE(rs.FinishOrderCount, kMinFinishers) << rs.CarsOut << " cars out";
    for (int place = 1; place <= rs.FinishOrderCount; ++place) EXPECT_EQ(rs.CarLap[rs.FinishOrder[place]], laps + 1);
    for (const std::string& line : rs.Highlights)
      if (line.find(") Spin - ") != std::string::npos || line.find(") Crash - ") != std::string::npos) ++mishaps;
  }
  // The bold drivers still pay for their risks somewhere.
  EXPECT_GT(mishaps, 0);
}

}  // namespace
}  // namespace vm
