// The same wait as the engine's, in the window: from a person's input to their next panel with
// 39 computer cars and no movement delay, the race window (circuit and dashboard) redrawn as the
// program does, offscreen.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QTemporaryDir>
#include <algorithm>
#include <chrono>
#include <filesystem>
#include <memory>
#include <vector>

#include "app/dialogs.h"
#include "app/game_controller.h"
#include "app/main_window.h"
#include "cars/car_file.h"
#include "cli/bench_command.h"
#include "ui/scripted_console.h"

namespace {

constexpr int kHuman = 40;

QApplication& App() {
  static int argc = 1;
  static char name[] = "velomark_bench";
  static char* argv[] = {name, nullptr};
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  static QApplication app(argc, argv);
  return app;
}

void BM_HumanInputToNextPanelInWindow(benchmark::State& state) {
  App();
  QTemporaryDir folder;
  const std::string data = folder.path().toStdString() + "/data";
  std::filesystem::copy(VELOMARK_DATA, data, std::filesystem::copy_options::recursive);
  vm::ScriptedConsole console({"1"}, false);
  vm::GameController controller(&console);
  vm::RegisterDialogs(controller);
  vm::MainWindow window(controller);
  window.resize(1280, 800);
  window.show();
  if (!controller.StartUp(data)) return state.SkipWithError("the start-up failed");
  vm::RaceState& rs = controller.Race();
  if (std::optional<vm::FileError> e = vm::SetUpBenchRace(rs, data, 10, vm::kMaxCars))
    return state.SkipWithError(e->Describe().c_str());
  rs.CarIsAI[kHuman] = false;
  controller.SetMoveDelayOverride(0);
  controller.Session().BackgroundShown = false;
  controller.Session()[vm::Cmd::mnuRaceStartRace].Enabled = true;
  controller.Run(vm::Cmd::mnuRaceStartRace);
  QApplication::processEvents();
  std::vector<double> waits;
  for (auto _ : state) {
    vm::RaceEngine& engine = controller.Engine();
    if (engine.WaitingFor() == vm::Waiting::RaceOver) return state.SkipWithError("the race ended first");
    const auto began = std::chrono::steady_clock::now();
    switch (engine.WaitingFor()) {
      case vm::Waiting::Speed: {
        int pick = 0;
        for (const vm::SpeedButton& b : engine.SpeedPanel().Buttons)
          if (b.Enabled && b.Seen && b.Speed > 0 && pick == 0) pick = b.Speed;
        controller.NewSpeed(pick / 20);
        break;
      }
      case vm::Waiting::Steering: {
        const vm::SteeringPanel& p = engine.SteeringPanelShown();
        controller.Steer(p.Straight.Visible && p.Straight.Enabled ? vm::SteeringCommand::cmdStraight
                                                                  : vm::SteeringCommand::cmdEndEarly);
        break;
      }
      case vm::Waiting::PitContinue: controller.PitContinue(); break;
      default: controller.NextTurn(); break;
    }
    // The next panel is there once the window has drawn it.
    QApplication::processEvents();
    waits.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - began).count());
  }
  std::sort(waits.begin(), waits.end());
  if (waits.empty()) return;
  state.counters["median_ms"] = waits[waits.size() / 2];
  state.counters["p99_ms"] = waits[std::min(waits.size() - 1, waits.size() * 99 / 100)];
  state.counters["max_ms"] = waits.back();
}
BENCHMARK(BM_HumanInputToNextPanelInWindow)->Iterations(200)->Unit(benchmark::kMillisecond);

}  // namespace
