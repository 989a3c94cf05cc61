// Forty cars race every shipped circuit to the flag, driven by a seeded autopilot that mostly
// drives safely and sometimes takes a risk; the race state must stay sound after every pass.
// VELOMARK_STRESS_LAPS shortens the races (the sanitizer build runs 10 laps).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "core/curve_scan.h"
#include "core/race_log.h"
#include "core/track_file.h"
#include "engine/turn_engine.h"
#include "rules/result_table_file.h"

namespace vm {
namespace {

int StressLaps() {
  const char* laps = std::getenv("VELOMARK_STRESS_LAPS");
  const int n = laps != nullptr ? std::atoi(laps) : 0;
  return n >= 1 && n <= kMaxLaps ? n : kMaxLaps;
}

// Answers every panel with its first choice and lets the dice fall.
class AutoConsole : public Console {
 public:
  void ShowMessage(std::string_view, std::string_view, MessageKind) override {}
  bool AskYesNo(std::string_view, std::string_view) override { return true; }
  std::optional<std::string> ChooseFile(const FileDialogRequest&) override { return std::nullopt; }
  int ChooseOption(const ChoicePanel&) override { return 0; }
  void RollTable(const RollPanel&, const std::function<RollResult()>& roll,
                 const std::function<void()>& settle) override {
    roll();
    settle();
  }
  int EnterDiceResult(const DiceEntryPanel& panel) override { return panel.Choices.front(); }
  int ShowCrash(const CrashPanel&) override { return 0; }
  int ChooseButton(const ButtonPanel& panel) override { return static_cast<int>(panel.Buttons.size()) - 1; }
};

class StressRace {
 public:
  StressRace(const Track& track, const ResultTables& tables, int laps) : rs_(std::make_unique<RaceState>()) {
    rs_->track = track;
    rs_->Tables = tables;
    rs_->GameMode = "Single";
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
    // The end of every steering pass, before the finishers leave the track.
    engine.Seams.ProcessPitLane = [&](RuleContext&) { check(); };
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
          engine.NewSpeed(PickSpeed(engine.SpeedPanel()) / 20);
          break;
        case Waiting::Steering:
          engine.Steer(PickStep(engine.SteeringPanelShown()));
          break;
        case Waiting::PitContinue:
          engine.PitContinue();
          break;
        case Waiting::RaceControl:
        case Waiting::Paused:
          engine.FinishRace();
          break;
        case Waiting::RaceOver:
        case Waiting::Nothing:
          faults.push_back("the engine waits for nothing");
          return faults;
      }
    }
    if (engine.WaitingFor() != Waiting::RaceOver) faults.push_back("the race did not end");
    check();
    return faults;
  }

  const RaceState& State() const { return *rs_; }
  int Checks() const { return checks_; }

 private:
  // The fastest button that costs nothing and leaves room to brake for the next curve; one time
  // in fifty any button at all.
  int PickSpeed(const SpeedFrame& frame) {
    const RaceState& rs = *rs_;
    const int car = rs.CurrentCar;
    const int here = rs.track.CellSpeedLimit[rs.CarSpace[car]][rs.CarLane[car]];
    const CurveScan scan = ScanNextCurve(rs, car);
    auto fits = [&](int speed) {
      if (here > 0 && here < kNoLimit && speed > here) return false;
      if (!scan.Found || speed <= scan.CurveLimit) return true;
      return scan.SpacesToCurve > speed / 20 && speed <= scan.CurveLimit + rs.CarDeceleration[car];
    };
    std::vector<int> safe, any;
    for (const SpeedButton& b : frame.Buttons) {
      if (!b.Enabled || !b.Seen) continue;
      any.push_back(b.Speed);
      if (b.Colour != kColourRed) safe.push_back(b.Speed);
    }
    if (any.empty()) return 0;
    if (choices_.Rnd() < 0.02) return any[static_cast<size_t>(choices_.Rnd() * static_cast<double>(any.size()))];
    if (safe.empty()) return *std::min_element(any.begin(), any.end());
    int pick = *std::min_element(safe.begin(), safe.end());
    for (int speed : safe)
      if (fits(speed)) pick = std::max(pick, speed);
    return pick;
  }

  // The straight or apex button four times in five, otherwise any enabled button.
  SteeringCommand PickStep(const SteeringPanel& p) {
    const std::pair<const SteeringButton*, SteeringCommand> buttons[] = {
        {&p.Straight, SteeringCommand::cmdStraight},       {&p.Left, SteeringCommand::cmdLeft},
        {&p.Right, SteeringCommand::cmdRight},             {&p.InTurnLeft, SteeringCommand::cmdInTurnLeft},
        {&p.InTurnRight, SteeringCommand::cmdInTurnRight}};
    std::vector<SteeringCommand> open;
    for (const auto& [button, command] : buttons)
      if (button->Visible && button->Enabled) open.push_back(command);
    if (open.empty()) return SteeringCommand::cmdEndEarly;
    if (open.front() == SteeringCommand::cmdStraight && choices_.Rnd() < 0.8) return open.front();
    return open[static_cast<size_t>(choices_.Rnd() * static_cast<double>(open.size()))];
  }

  std::unique_ptr<RaceState> rs_;
  Random rng_{20240611};
  Random choices_{7};
  AutoConsole console_;
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
  for (const std::string& file : tracks) {
    SCOPED_TRACE(file);
    auto track = std::make_unique<Track>();
    ASSERT_FALSE(LoadTrack(*track, file));
    StressRace race(*track, tables, laps);
    for (const std::string& fault : race.Run()) ADD_FAILURE() << fault;
    const RaceState& rs = race.State();
    EXPECT_TRUE(rs.RaceOver);
    EXPECT_EQ(rs.FinishOrderCount + rs.CarsOut, kMaxCars);
    // Cars wear out over a long race, but the field runs a good share of the distance first.
    EXPECT_GE(race.Checks(), laps * track->TrackLength / 15) << rs.CarsOut << " cars out";
    for (int place = 1; place <= rs.FinishOrderCount; ++place) EXPECT_EQ(rs.CarLap[rs.FinishOrder[place]], laps + 1);
  }
}

}  // namespace
}  // namespace vm
