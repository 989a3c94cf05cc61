// A race with one car on a small grid, the usual tables, a scripted generator, a scripted console
// and a log that keeps every highlight: the bench on which the rule tests drive each table.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "core/race_log.h"
#include "core/race_state.h"
#include "core/race_state_fields.h"
#include "core/random.h"
#include "rules/rule_context.h"
#include "ui/scripted_console.h"

namespace vm::testing_support {

struct Highlighted {
  int Kind;
  int Car;
  std::string Text;
  int Other = 0;  // the second car of a lead change
  bool operator==(const Highlighted&) const = default;
};

inline std::ostream& operator<<(std::ostream& os, const Highlighted& h) {
  return os << "{" << h.Kind << ", car " << h.Car << ", \"" << h.Text << "\", other " << h.Other << "}";
}

class RecordingLog : public RaceLog {
 public:
  void LogHighlight(int kind, int car, int otherCar, std::string_view text) override {
    events.push_back({kind, car, std::string(text), otherCar});
  }
  std::vector<int> Kinds() const {
    std::vector<int> kinds;
    for (const Highlighted& h : events) kinds.push_back(h.Kind);
    return kinds;
  }
  std::vector<Highlighted> events;
};

// The circuits the game ships, in name order.
inline std::vector<std::string> ShippedTracks() {
  std::vector<std::string> tracks;
  for (const auto& entry : std::filesystem::directory_iterator(std::string(VELOMARK_DATA) + "/Tracks"))
    if (entry.path().extension() == ".trk") tracks.push_back(entry.path().string());
  std::sort(tracks.begin(), tracks.end());
  return tracks;
}

// The tables as the game ships them.
inline ResultTables UsualTables() {
  ResultTables t;
  t.SS1 = {2, 2, 9};
  t.SS2 = {0, 10, 12};
  t.A1 = {2, 2, 9};
  t.A2 = {0, 10, 12};
  t.TB1 = {2, 2, 9};
  t.TB2 = {0, 10, 12};
  t.CH1 = {2, 2, 6};
  t.CH2 = {0, 7, 9};
  t.CH3 = {0, 10, 12};
  t.CT1 = {2, 2, 6};
  t.CT2 = {0, 7, 9};
  t.CT3 = {0, 10, 12};
  t.SD1 = {1, 1, 3};
  t.SD2 = {0, 4, 4};
  t.SD3 = {0, 5, 5};
  t.SD4 = {0, 6, 6};
  t.W1 = {2, 2, 4};
  t.W2 = {0, 5, 9};
  t.W3 = {0, 10, 12};
  return t;
}

// A value of Rnd that makes a die show d.
inline double Face(int d) { return (d - 0.5) / 6.0; }

// Draw values for common rolls: the two plain dice (their faces do not matter) and the table's own.
inline std::vector<double> TwoDice(int a, int b) { return {Face(a), Face(b)}; }
inline std::vector<double> PlainThen(int a, int b) { return {Face(6), Face(6), Face(a), Face(b)}; }
// Chance results with modifier 0 on the usual table.
inline std::vector<double> ChanceSafe() { return PlainThen(1, 1); }   // 2
inline std::vector<double> ChanceSpin() { return PlainThen(3, 4); }   // 7
inline std::vector<double> ChanceCrash() { return PlainThen(5, 5); }  // 10
inline constexpr double kRiskPasses = 0.1;  // with a risk of 50
inline constexpr double kRiskFails = 0.9;

inline std::vector<double> Cat(std::initializer_list<std::vector<double>> parts) {
  std::vector<double> all;
  for (const auto& p : parts) all.insert(all.end(), p.begin(), p.end());
  return all;
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
  PitStopChoice ChoosePitStop(const ChoicePanel&, const PitStopChoice& preset) override { return preset; }
  int ChooseNumber(const NumberPanel& panel) override { return panel.Value; }
  ListAnswer ShowList(const ListPanel& panel) override { return {static_cast<int>(panel.Buttons.size()) - 1, -1}; }
};

// The race state and the services every rule and engine test drives it with. The state lives on the
// heap: it is too large for a test's stack.
class RaceBench : public ::testing::Test {
 protected:
  explicit RaceBench(std::uint64_t seed = 7) : rng(seed) {}

  std::unique_ptr<RaceState> state = std::make_unique<RaceState>();
  RaceState& rs = *state;
  Random rng;
  ScriptedConsole console;
  RecordingLog log;
  RuleContext ctx{rs, rng, console, log};
};

class RulesTest : public RaceBench {
 protected:
  static constexpr int kCar = 3;

  RulesTest() { Reset(); }

  // A fresh race as every rule test starts from, for tables whose rows each need one.
  void Reset() {
    *state = *std::make_unique<RaceState>();
    log.events.clear();
    rng.Seed(7);
    rs.Tables = UsualTables();
    rs.GameMode = "Single";
    rs.CarCount = 3;
    rs.RaceLaps = 10;
    rs.RaceWearsMultiplier = 3;
    rs.track.TrackLength = 50;
    rs.track.TrackLanes = 2;
    for (int s = 1; s <= 50; ++s)
      for (int l = 1; l <= 2; ++l) {
        rs.track.CellSpeedLimit[s][l] = kOpenStraight;
        rs.track.CellLaneRank[s][l] = l;
      }
    for (int car = 1; car <= 3; ++car) {
      rs.DriverName[car] = "Driver " + std::to_string(car);
      rs.CarIsAI[car] = true;
      rs.CarAcceleration[car] = 40;
      rs.CarDeceleration[car] = 40;
      rs.CarTopSpeed[car] = 200;
      rs.CarStartSpeed[car] = 60;
      rs.CarWearPerLap[car] = 4;
      rs.CarWears[car] = 5;
      rs.CarLap[car] = 2;
      rs.CarSpeed[car] = 120;
      rs.CarNewSpeed[car] = 120;
      rs.CarRiskSS[car] = rs.CarRiskA[car] = rs.CarRiskD[car] = 50;
      rs.CarRiskT[car] = rs.CarRiskC[car] = rs.CarRiskCA[car] = 50;
    }
    for (int pos = 1; pos <= 3; ++pos) rs.RunningOrder[pos] = pos;
    Place(1, 24, 1);
    Place(2, 24, 2);
    Place(kCar, 20, 1);
    rs.CurrentCar = kCar;
    rs.WorkSpeed = 120;
    rs.SpacesLeft = 6;
  }

  void Place(int car, int space, int lane) {
    rs.CarSpace[car] = space;
    rs.CarLane[car] = lane;
    rs.track.CellOccupant[space][lane] = car;
  }

  void Human() { rs.CarIsAI[kCar] = false; }
  void Script(const std::vector<double>& values) { rng.Script(values); }
  void Answer(std::string answer) { console.AddAnswer(std::move(answer)); }

  // Every scripted value was used, and no more were drawn.
  void ExpectDraws(std::uint64_t n) {
    EXPECT_EQ(rng.ScriptLeft(), 0u) << "scripted values left unused";
    EXPECT_EQ(rng.Draws(), n);
  }

  // The transcript lines that begin with `prefix`.
  std::vector<std::string> Shown(const std::string& prefix) const {
    std::vector<std::string> lines;
    for (const std::string& line : console.Transcript())
      if (line.rfind(prefix, 0) == 0) lines.push_back(line);
    return lines;
  }
};

// The names of the fields in which two states differ, the cells' occupancy and limits included,
// so that a failed comparison says where.
inline std::vector<std::string> DifferingFields(const RaceState& a, const RaceState& b) {
  std::vector<std::string> names;
#define VM_COMPARE(name) \
  if (!(a.name == b.name)) names.push_back(#name);
  VM_RACE_STATE_FIELDS(VM_COMPARE)
#undef VM_COMPARE
  if (!(a.track.CellOccupant == b.track.CellOccupant)) names.push_back("track.CellOccupant");
  if (!(a.track.CellSpeedLimit == b.track.CellSpeedLimit)) names.push_back("track.CellSpeedLimit");
  return names;
}

}  // namespace vm::testing_support
