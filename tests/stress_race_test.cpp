// Fields race every shipped circuit to the flag, driven by a seeded autopilot: most drivers
// brake in time for the curves of their lane and steer clear of traffic, a bold few take risks.
// One run has forty cars; another twenty with the pit lane open and the weather on, where
// drivers short of wears or on the wrong tires brake for the pit entrance and stop.
// The race state must stay sound after every pass, and most of the field must see the flag.
// VELOMARK_STRESS_LAPS shortens the races (the sanitizer build runs 10 laps).
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "core/race_log.h"
#include "core/track_file.h"
#include "core/units.h"
#include "engine/turn_engine.h"
#include "game/race_setup.h"
#include "rules/result_table_file.h"
#include "rules/weather.h"
#include "tests/round_trip.h"
#include "tests/rules_fixture.h"

namespace vm {
namespace {

constexpr int kMinFinishers = 10;
constexpr int kSaveEvery = 25;       // race turns between two trips through a saved race
constexpr int kMinPitFinishers = 8;  // of twenty
constexpr int kLookAhead = 40;       // cells: room to brake from 240 at 40 a turn
constexpr int kBoldEvery = 8;        // one driver in eight takes risks
// The pit race: two stops by the allotment rule, a few weather cycles, drivers who spend their
// wears on the curves some turns, one in five bold, one in seven on the tires that do not suit
// the track, which sends them in for the right ones.
constexpr int kPitRaceCars = 20;
constexpr int kPitRaceLaps = 30;
constexpr int kPitStops = 2;
constexpr int kWeatherCycles = 3;
constexpr int kLowWears = 3;         // below this a driver comes in for wears
constexpr double kPushShare = 0.25;  // turns on which a driver with wears to spare runs 20 over
constexpr int kPitBoldEvery = 5;
constexpr int kTireGambleEvery = 7;
constexpr std::uint64_t kPitSeed = 6;  // the third circuit starts in the rain

int StressLaps() {
  const char* laps = std::getenv("VELOMARK_STRESS_LAPS");
  const int n = laps != nullptr ? std::atoi(laps) : 0;
  return n >= 1 && n <= kMaxLaps ? n : kMaxLaps;
}

struct StressSetup {
  int Cars = kMaxCars;
  int Laps = kMaxLaps;
  bool PitsAndWeather = false;
  std::uint64_t Seed = 20240611;  // the dice
  std::uint64_t ChoiceSeed = 7;   // the drivers' whims
  int BoldEvery = kBoldEvery;
};

// What a race saw besides its end state.
struct StressCounts {
  PerCar<int> PitEntries{};  // "Enter Pit" lines
  PerCar<int> PitExits{};    // returns to the track, seen between passes
  int FastEntries = 0;       // pit entries over the pit speed limit
  int WeatherRolls = 0;      // during the race, not the start
};

// The race log, counting the stops and the weather rolls as it goes.
class CountingLog : public RaceLog {
 public:
  CountingLog(RaceState& rs, StressCounts& counts) : list_(rs), counts_(counts) {}
  void LogHighlight(int kind, int car, int otherCar, std::string_view text) override {
    if (kind == kLogEnterPit && IsCarNumber(car)) ++counts_.PitEntries[car];
    if (kind == kLogWeather) ++counts_.WeatherRolls;
    list_.LogHighlight(kind, car, otherCar, text);
  }

 private:
  HighlightList list_;
  StressCounts& counts_;
};

class StressRace {
 public:
  StressRace(const Track& track, const ResultTables& tables, const StressSetup& setup)
      : rs_(std::make_unique<RaceState>()), rng_(setup.Seed), choices_(setup.ChoiceSeed), boldEvery_(setup.BoldEvery) {
    rs_->track = track;
    rs_->Tables = tables;
    rs_->GameMode = kModeSingle;
    rs_->RaceLaps = setup.Laps;
    rs_->CarCount = setup.Cars;
    if (setup.PitsAndWeather) {
      rs_->PitLaneOpen = true;
      rs_->MinPitStops = kPitStops;
      const WearAllotment allot = ComputeWearAllotment(setup.Laps, kPitStops);
      rs_->StartWearAllotment = allot.StartWearAllotment;
      rs_->PitReplenishment = allot.PitReplenishment;
      rs_->MinPitDuration = 5;
      rs_->WeatherEnabled = true;
    }
    for (int car = 1; car <= setup.Cars; ++car) {
      rs_->DriverName[car] = "Car " + std::to_string(car);
      rs_->CarStartSpeed[car] = 60 + 20 * (car % 3);
      rs_->CarAcceleration[car] = 40 + 20 * (car % 2);
      rs_->CarDeceleration[car] = 40 + 20 * (car % 4 == 0 ? 1 : 0);
      rs_->CarTopSpeed[car] = 140 + 20 * (car % 4);
      rs_->CarWearPerLap[car] = 2 + car % 3;
      rs_->CarDRM[car] = car % 5 - 2;
      rs_->PitStrategy[car] = car % 3 == 0 ? 1 : 0;
    }
  }

  // Runs the race to its end; returns the faults found after the passes, with the pass number.
  std::vector<std::string> Run() {
    RaceEngine engine(*rs_, rng_, console_, log_);
    PerCar<bool> inPit{};
    auto check = [&] {
      ++checks_;
      std::vector<std::string> found = CheckRaceState(*rs_);
      for (const PitQueueEntry& e : rs_->PitQueue)
        if (IsCarNumber(e.Car) && rs_->CarLap[e.Car] > rs_->RaceLaps)
          found.push_back("car " + std::to_string(e.Car) + " has taken the flag but stands in the pit lane");
      // A stop lasts several turns: each return to the track is seen between two passes.
      for (int car = 1; car <= kMaxCars; ++car) {
        if (inPit[car] && !rs_->CarInPit[car]) {
          ++counts_.PitExits[car];
          if (rs_->CarWetTires[car] != rainAsked_[car])
            found.push_back("car " + std::to_string(car) + " left the pit on tires it did not ask for");
        }
        inPit[car] = rs_->CarInPit[car];
      }
      for (const std::string& f : found)
        if (faults_.size() < 20) faults_.push_back("check " + std::to_string(checks_) + ": " + f);
    };
    // The end of every steering pass; every so often the race goes through a saved race and back.
    int turn = 0;
    engine.Seams.SaveUndoFile = [&](RuleContext&) {
      check();
      if (++turn % kSaveEvery != 0) return;
      for (const std::string& f : testing_support::SavedRaceRoundTripFaults(*rs_))
        if (faults_.size() < 20) faults_.push_back("turn " + std::to_string(turn) + ": " + f);
    };
    engine.StartRace();
    bool steering = rs_->SteeringPhase;
    for (long guard = 0; guard < 20'000'000 && engine.WaitingFor() != Waiting::RaceOver; ++guard) {
      // The end of every speed pass.
      if (rs_->SteeringPhase != steering) {
        steering = rs_->SteeringPhase;
        if (steering) check();
      }
      switch (engine.WaitingFor()) {
        case Waiting::Speed:
          if (engine.SpeedPanel().ShowTires) engine.ChooseTires(StartsOnRainTires());
          engine.NewSpeed(PickSpeed(engine.SpeedPanel()) / 20);
          break;
        case Waiting::Steering: {
          const SteeringPanel& panel = engine.SteeringPanelShown();
          if (panel.EnterPitVisible && TakesPit()) {
            const int car = rs_->CurrentCar;
            if (rs_->CarNewSpeed[car] > rs_->CarDeceleration[car] + 60) ++counts_.FastEntries;
            engine.Steer(SteeringCommand::cmdEnterPit);
          } else {
            engine.Steer(PickStep(panel));
          }
          break;
        }
        case Waiting::PitContinue: engine.PitContinue(); break;
        case Waiting::RaceControl:
        case Waiting::Paused: engine.FinishRace(); break;
        case Waiting::RaceOver:
        case Waiting::Elsewhere:
        case Waiting::Nothing: faults_.push_back("the engine waits for nothing"); return faults_;
      }
    }
    if (engine.WaitingFor() != Waiting::RaceOver) faults_.push_back("the race did not end");
    check();
    return faults_;
  }

  const RaceState& State() const { return *rs_; }
  const StressCounts& Counts() const { return counts_; }

 private:
  // Answers the weather setup with a few cycles, and the pit entry panel as PitStop decides.
  class DriverConsole : public testing_support::AutoConsole {
   public:
    explicit DriverConsole(StressRace& race) : race_(race) {}
    int ChooseNumber(const NumberPanel& panel) override {
      return panel.Name == "frmWeatherSetup" ? std::clamp(kWeatherCycles, panel.Min, panel.Max) : panel.Value;
    }
    PitStopChoice ChoosePitStop(const ChoicePanel& panel, const PitStopChoice&) override {
      return race_.PitStop(panel);
    }

   private:
    StressRace& race_;
  };

  bool Bold(int car) const { return car % boldEvery_ == 0; }

  // Wears (only tires for a car that came in for them with wears to spare, a splash when half a
  // replenishment sees the race out), repairs when damaged and tires for the track; the bold half
  // the time take the roll over paying for an excess.
  PitStopChoice PitStop(const ChoicePanel& panel) {
    const RaceState& rs = *rs_;
    const int car = rs.CurrentCar;
    PitStopChoice c;
    c.Option = Bold(car) && panel.Options.size() > 1 && choices_.Rnd() < 0.5 ? 1 : 0;
    c.Wear = rs.CarWears[car] < kLowWears;
    c.SplashGo = rs.PitReplenishment / 2.0 > rs.RaceLaps - rs.CarLap[car];
    c.Repair = rs.CarEngineDamaged[car] || rs.CarBrakesDamaged[car];
    c.RainTires = rainAsked_[car] = rs.TrackCondition != kTrackDry;
    return c;
  }

  // Tires for the track, but a few drivers gamble on a change of weather.
  bool StartsOnRainTires() const {
    return (rs_->TrackCondition != kTrackDry) != (rs_->CurrentCar % kTireGambleEvery == 0);
  }

  // The current car wants to stop: it is short of wears or its tires do not suit the track.
  bool WantsPit() const {
    const RaceState& rs = *rs_;
    const int car = rs.CurrentCar;
    const bool wrongTires = rs.WeatherEnabled && (rs.TrackCondition == kTrackDry) == rs.CarWetTires[car];
    return rs.PitLaneOpen && rs.CarLap[car] <= rs.RaceLaps && (rs.CarWears[car] < kLowWears || wrongTires);
  }

  // It stops at the pit speed limit or below; the bold up to 40 over it.
  bool TakesPit() const {
    const int car = rs_->CurrentCar;
    return WantsPit() && rs_->CarNewSpeed[car] <= rs_->CarDeceleration[car] + 60 + (Bold(car) ? 40 : 0);
  }

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

  // In the weather, the curve limits a driver reads on its panels, every lane of the next
  // kLookAhead spaces, are the ones for its own tires.
  void CheckLimitsAhead() {
    const RaceState& rs = *rs_;
    if (!rs.WeatherEnabled) return;
    const Track& t = rs.track;
    const int car = rs.CurrentCar;
    const bool wrongTires = (rs.TrackCondition == kTrackDry) == rs.CarWetTires[car];
    int space = rs.CarSpace[car];
    for (int i = 0; i < kLookAhead; ++i, space = NextSpace(t, space))
      for (int lane = 1; lane <= kMaxLanes; ++lane) {
        const int dry = t.CellDrySpeedLimit[space][lane];
        if (dry > 0 && dry < kNoLimit && t.CellSpeedLimit[space][lane] != dry - (wrongTires ? 20 : 0)) {
          if (faults_.size() < 20)
            faults_.push_back("after check " + std::to_string(checks_) + ": car " + std::to_string(car) +
                              " reads the curve limits of other tires");
          return;
        }
      }
  }

  // The limits of the next kLookAhead cells along the current car's lane. A driver who wants to
  // stop brakes for the pit entrance as for a curve, and on the entrance itself (its move begins
  // there) holds the pit speed limit from the start.
  std::array<int, kLookAhead> LimitsAhead() const {
    std::array<int, kLookAhead> limits{};
    const int car = rs_->CurrentCar;
    const int lane = rs_->CarLane[car];
    const int entry = WantsPit() ? rs_->track.PitEntrySpace : -1;
    const int pitLimit = rs_->CarDeceleration[car] + 60;
    int index = rs_->CarSpace[car];
    const bool onEntry = index == entry;
    for (int& limit : limits) {
      index = NextInLane(index, lane);
      limit = LimitAt(index, lane);
      if (index == entry) limit = std::min(limit, pitLimit);
    }
    if (onEntry) limits[0] = std::min(limits[0], pitLimit);
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
    CheckLimitsAhead();
    const RaceState& rs = *rs_;
    const int car = rs.CurrentCar;
    const bool bold = Bold(car);
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
    // With the pit lane open drivers spend wears on the curves some turns, and stop for more.
    const bool pushes = rs.PitLaneOpen && rs.CarWears[car] >= kLowWears && choices_.Rnd() < kPushShare;
    const std::array<int, kLookAhead> limits = LimitsAhead();
    int pick = *std::min_element(pool.begin(), pool.end());
    for (int speed : pool)
      if (speed > pick && CanBrakeFor(limits, rs.CarDeceleration[car], speed, bold || pushes ? 20 : 0)) pick = speed;
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
    CheckLimitsAhead();
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
    if (Bold(car) && choices_.Rnd() < 0.05)
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
  Random rng_;
  Random choices_;
  int boldEvery_;
  DriverConsole console_{*this};
  StressCounts counts_;
  CountingLog log_{*rs_, counts_};
  PerCar<bool> rainAsked_{};
  std::vector<std::string> faults_;
  int checks_ = 0;
};

using testing_support::ShippedTracks;

TEST(StressRace, FortyCarsRunEveryShippedCircuitWithASoundStateAfterEveryPass) {
  ResultTables tables;
  ASSERT_FALSE(LoadResultTables(tables, std::string(VELOMARK_DATA) + "/Default.rst"));
  const std::vector<std::string> tracks = ShippedTracks();
  ASSERT_GE(tracks.size(), 4u);
  const int laps = StressLaps();
  int mishaps = 0;
  for (const std::string& file : tracks) {
    SCOPED_TRACE(file);
    auto track = std::make_unique<Track>();
    ASSERT_FALSE(LoadTrack(*track, file));
    StressRace race(*track, tables, {kMaxCars, laps, false});
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

// Twenty cars on each circuit with the pit lane open and the weather on: cars stop for wears and
// tires, some too fast, and every one that goes in comes back out, before the flag.
TEST(StressRace, TwentyCarsStopInThePitsAndRunThroughTheWeatherOnEveryShippedCircuit) {
  ResultTables tables;
  ASSERT_FALSE(LoadResultTables(tables, std::string(VELOMARK_DATA) + "/Default.rst"));
  const std::vector<std::string> tracks = ShippedTracks();
  ASSERT_GE(tracks.size(), 4u);
  const int laps = std::min(kPitRaceLaps, StressLaps());
  int fastEntries = 0, rainStops = 0, weatherRolls = 0;
  for (size_t i = 0; i < tracks.size(); ++i) {
    SCOPED_TRACE(tracks[i]);
    auto track = std::make_unique<Track>();
    ASSERT_FALSE(LoadTrack(*track, tracks[i]));
    const std::uint64_t seed = kPitSeed + 7919 * i;
    StressRace race(*track, tables, {kPitRaceCars, laps, true, seed, seed + 1, kPitBoldEvery});
    for (const std::string& fault : race.Run()) ADD_FAILURE() << fault;
    const RaceState& rs = race.State();
    const StressCounts& counts = race.Counts();
    EXPECT_TRUE(rs.RaceOver);
    EXPECT_EQ(rs.FinishOrderCount + rs.CarsOut, kPitRaceCars);
    EXPECT_GE(rs.FinishOrderCount, kMinPitFinishers) << rs.CarsOut << " cars out";
    for (int place = 1; place <= rs.FinishOrderCount; ++place) EXPECT_EQ(rs.CarLap[rs.FinishOrder[place]], laps + 1);
    // The race ends only when nobody is left running, so the pit lane is empty by then.
    EXPECT_TRUE(rs.PitQueue.empty());
    int stops = 0;
    for (int car = 1; car <= kPitRaceCars; ++car) {
      EXPECT_EQ(counts.PitExits[car], counts.PitEntries[car]) << "car " << car;
      stops += counts.PitEntries[car];
    }
    EXPECT_GT(stops, 0);
    fastEntries += counts.FastEntries;
    weatherRolls += counts.WeatherRolls;
    for (const std::string& line : rs.Highlights)
      if (line.find(") Enter Pit - ") != std::string::npos && line.ends_with(", Rain Tires")) ++rainStops;
  }
  // Some came in too fast and settled the excess, the weather was rolled, and a wet track sent
  // cars in for rain tires.
  EXPECT_GT(fastEntries, 0);
  EXPECT_GT(weatherRolls, 0);
  EXPECT_GT(rainStops, 0);
}

}  // namespace
}  // namespace vm
