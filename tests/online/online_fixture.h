// What the online tests share: a race set up from the bundled data, a machine of an online race
// in this process (race, engine, sockets), a simple driver, and running the event loop.
#pragma once

#include <QCoreApplication>
#include <QElapsedTimer>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ai/drivers.h"
#include "cli/play.h"
#include "core/race_log.h"
#include "core/track_file.h"
#include "engine/turn_engine.h"
#include "net/net_session.h"
#include "online/online_race.h"
#include "tests/temp_dir.h"
#include "ui/scripted_console.h"

namespace vm::testing_support {

// A copy of the bundled data folder in `dir`, so that the records a machine writes stay there.
inline std::string CopyData(const TempDir& dir, const std::string& name) {
  const std::filesystem::path to = dir.Path() / name;
  std::filesystem::copy(VELOMARK_DATA, to, std::filesystem::copy_options::recursive);
  return to.string() + "/";
}

// Sets up a race as the command line does: play's arguments over the data folder's files.
inline void SetUpFromData(RaceState& rs, const std::string& data, std::vector<std::string> more = {}) {
  std::vector<std::string> args = {"--track", data + "Tracks/Brannock.trk", "--tables", data + "Default.rst",
                                   "--cars",  data + "Default.crs"};
  args.insert(args.end(), more.begin(), more.end());
  std::ostringstream err;
  std::optional<PlayArgs> a = ParsePlay(args, err);
  ASSERT_TRUE(a) << err.str();
  ASSERT_EQ(SetUpRace(rs, *a, err), 0) << err.str();
}

// Runs the events until `done`; false when 60 s pass first (a hang, never a measure).
inline bool RunUntil(const std::function<bool()>& done, int seconds = 60) {
  QElapsedTimer clock;
  clock.start();
  while (!done()) {
    if (clock.elapsed() > seconds * 1000) return false;
    QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
  }
  return true;
}

// One machine of an online race in this process.
struct Machine {
  std::string Data;
  std::unique_ptr<RaceState> Rs = std::make_unique<RaceState>();
  Random Rng;
  ScriptedConsole Console{{}, false};
  HighlightList Log{*Rs};
  RaceEngine Engine{*Rs, Rng, Console, Log};
  NetSession Net;
  std::unique_ptr<OnlineRace> Race;
  std::vector<std::string> Notices;

  explicit Machine(std::string data) : Data(std::move(data)) {
    Rng.Seed(7);
    const std::string tracks = Data + "Tracks/";
    Race = std::make_unique<OnlineRace>(Net.Session(), Engine, *Rs, Data, Data,
                                        [tracks](RaceState& rs, const std::string& name) -> std::optional<std::string> {
                                          if (auto e = LoadTrack(rs.track, tracks + name)) return e->Describe();
                                          return std::nullopt;
                                        });
    Race->Hooks.Notice = [this](const std::string& text) { Notices.push_back(text); };
    Net.SetSendInterval(0);
    Net.SetListenAddress(QHostAddress::LocalHost);
  }

  // Hosts on a free port of the loopback and returns it.
  int Host() {
    UseAIDrivers(Engine);
    Rs->UndoDisabled = true;
    QString why;
    EXPECT_TRUE(Net.Listen(0, why)) << why.toStdString();
    Net.Session().Host();
    Race->OnlineHost = true;
    Race->OnlineCar = 1;
    Race->Attach();
    return Net.ListeningPort();
  }

  // Joins the host with car `car` of the local car file.
  void Join(int port, int car = 1, const std::string& name = "Client") {
    Net.Session().Connecting();
    Race->Attach();
    Race->SendCar(car);
    Net.Session().Join(name);
    Net.ConnectTo(QStringLiteral("127.0.0.1"), port);
  }

  // Makes one choice when this machine's panel is live.
  void Play() {
    if (Race->LocalTurn()) {
      DriveByRule(Engine);
      Race->Pump();
    }
  }
};

}  // namespace vm::testing_support
