#include "cli/online_command.h"

#include <QCoreApplication>
#include <QTimer>
#include <algorithm>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>

#include "ai/drivers.h"
#include "cars/car_file.h"
#include "cli/commands.h"
#include "cli/play.h"
#include "core/numbers.h"
#include "core/paths.h"
#include "core/race_log.h"
#include "core/textfile.h"
#include "core/track_file.h"
#include "engine/laps.h"
#include "engine/turn_engine.h"
#include "net/net_session.h"
#include "online/online_race.h"
#include "ui/scripted_console.h"

namespace vm {

const char* const kOnlineUsage =
    "  host [--port P] [--players K] [--dropped ai|wait] [--interval MS] [--timeout SECONDS]\n"
    "       (--track T.trk --tables R.rst --cars C.crs ... as for play) [--script S.txt] [--dump-json OUT.json]\n"
    "      host an online race: wait for K players, then race; car 1 is the host's, the player on\n"
    "      connection n drives car n + 1, every other car is the AI's. A player who leaves is\n"
    "      handed to the AI (--dropped ai) or left standing (--dropped wait).\n"
    "  join HOST:P [--car N] [--cars C.crs] [--name NAME] [--script S.txt] [--dump-json OUT.json]\n"
    "       [--timeout SECONDS]\n"
    "      join an online race with car N of the car file (1 when not given) and drive the car\n"
    "      the host gives; --car N also asks that it be car N.\n"
    "      The script gives the player's own choices, one per line, whenever his panel is live:\n"
    "      speed MPH [draft], tires wet|dry, autopilot, pit-continue, left, right, straight,\n"
    "      inturn-left, inturn-right, end, pit; answers to the panels a move brings up: pit-stop\n"
    "      [wear] [repair] [splash] [rain|dry], choose K, dice N, yes, no. When the script runs out\n"
    "      the car is driven by a simple rule.\n"
    "      --dump-json writes the race as all machines share it, for comparing them.\n";

namespace {

// Takes the value after an option.
struct OptionReader {
  const std::vector<std::string>& args;
  size_t i = 0;
  std::ostream& err;
  bool failed = false;

  std::optional<std::string> Value(const std::string& name) {
    if (i + 1 >= args.size()) {
      err << name << " needs a value\n";
      failed = true;
      return std::nullopt;
    }
    return args[++i];
  }
  std::optional<int> Number(const std::string& name, int lo, int hi) {
    std::optional<std::string> v = Value(name);
    if (!v) return std::nullopt;
    std::optional<int> n = ParseWholeNumber(*v);
    if (!n || *n < lo || *n > hi) {
      err << name << " takes a whole number from " << lo << " to " << hi << "\n";
      failed = true;
      return std::nullopt;
    }
    return n;
  }
};

// The player's own choices: the script's lines in order, then a simple rule.
class Driver {
 public:
  explicit Driver(const std::string& scriptText) : feed_(scriptText) {}

  // Makes one choice on the live panel; returns an error for a script line that does not fit.
  // Answers to the panels a move may bring up (pit-stop, choose K, dice N, yes, no) go to the
  // console before the move that asks for them.
  std::optional<std::string> Act(RaceEngine& engine, ScriptedConsole& console) {
    while (!feed_.Done() && IsAnswer(feed_.Next().Words)) {
      const std::vector<std::string>& w = feed_.Take().Words;
      std::string answer = w[0] == "pit-stop" ? "pit-stop" : "";
      for (size_t i = 1; i < w.size(); ++i) answer += (answer.empty() ? "" : " ") + w[i];
      console.AddAnswer(answer.empty() ? w[0] : answer);
    }
    if (!feed_.Done()) {
      const ScriptLine& line = feed_.Take();
      if (!Perform(engine, line.Words)) return "script line " + std::to_string(line.Number) + " does not fit the panel";
      return std::nullopt;
    }
    DriveByRule(engine);
    return std::nullopt;
  }

 private:
  static bool IsAnswer(const std::vector<std::string>& w) {
    return w[0] == "pit-stop" || w[0] == "yes" || w[0] == "no" ||
           ((w[0] == "choose" || w[0] == "dice") && w.size() == 2);
  }

  static bool Perform(RaceEngine& engine, const std::vector<std::string>& w) {
    const Waiting waiting = engine.WaitingFor();
    if (w[0] == "speed" && waiting == Waiting::Speed && w.size() >= 2) {
      std::optional<int> mph = ParseWholeNumber(w[1]);
      if (!mph || *mph < 0 || *mph > 240 || *mph % 20 != 0) return false;
      const SpeedButton& b = engine.SpeedPanel().Buttons[static_cast<size_t>(*mph / 20)];
      if (!b.Enabled || !b.Seen) return false;
      engine.NewSpeed(*mph / 20, w.size() == 3 && w[2] == "draft");
      return true;
    }
    if (w[0] == "tires" && waiting == Waiting::Speed && w.size() == 2) return engine.ChooseTires(w[1] == "wet");
    if (w[0] == "autopilot" && waiting == Waiting::Speed) {
      engine.AutoPilot();
      return true;
    }
    if (w[0] == "pit-continue" && waiting == Waiting::PitContinue) {
      engine.PitContinue();
      return true;
    }
    if (waiting != Waiting::Steering) return false;
    const SteeringPanel& p = engine.SteeringPanelShown();
    const std::pair<const char*, std::pair<const SteeringButton*, SteeringCommand>> steps[] = {
        {"left", {&p.Left, SteeringCommand::cmdLeft}},
        {"right", {&p.Right, SteeringCommand::cmdRight}},
        {"straight", {&p.Straight, SteeringCommand::cmdStraight}},
        {"inturn-left", {&p.InTurnLeft, SteeringCommand::cmdInTurnLeft}},
        {"inturn-right", {&p.InTurnRight, SteeringCommand::cmdInTurnRight}}};
    for (const auto& [word, button] : steps)
      if (w[0] == word) {
        if (!button.first->Visible || !button.first->Enabled) return false;
        engine.Steer(button.second);
        return true;
      }
    if (w[0] == "end") {
      engine.Steer(SteeringCommand::cmdEndEarly);
      return true;
    }
    if (w[0] == "pit" && p.EnterPitVisible) {
      engine.Steer(SteeringCommand::cmdEnterPit);
      return true;
    }
    return false;
  }

  ScriptFeed feed_;
};

// One program's side of the race: sockets, race, engine and the player's driver.
struct Side {
  std::unique_ptr<RaceState> rs = std::make_unique<RaceState>();
  ScriptedConsole console{{}, false};
  std::unique_ptr<HighlightList> log;
  std::unique_ptr<RaceEngine> engine;
  NetSession net;
  std::unique_ptr<OnlineRace> race;
  std::unique_ptr<Driver> driver;

  Side(Random& rng, const std::string& dataFolder, const std::string& carsFolder) {
    log = std::make_unique<HighlightList>(*rs);
    engine = std::make_unique<RaceEngine>(*rs, rng, console, *log);
    const std::string tracks = JoinPath(dataFolder, "Tracks");
    auto loadTrack = [tracks](RaceState& state, const std::string& name) -> std::optional<std::string> {
      if (std::optional<FileError> e = LoadTrack(state.track, JoinPath(tracks, name))) return e->Describe();
      return std::nullopt;
    };
    race = std::make_unique<OnlineRace>(net.Session(), *engine, *rs, JoinPath(dataFolder, ""), carsFolder, loadTrack);
  }

  // Runs the events until `done` holds; false when the time ran out. Between the player's own
  // choices the program sleeps until the network or a timer wakes it.
  bool RunUntil(const std::function<bool()>& done, int seconds, std::ostream& err, std::string& fault) {
    bool expired = false;
    QTimer limit;
    limit.setSingleShot(true);
    QObject::connect(&limit, &QTimer::timeout, [&expired] { expired = true; });
    limit.start(seconds * 1000);
    while (!done()) {
      if (!fault.empty()) return false;
      if (expired) {
        err << "the race did not go on within " << seconds << " s: " << engine->WaitDescription() << "\n";
        return false;
      }
      if (race->LocalTurn()) {
        if (std::optional<std::string> e = driver->Act(*engine, console)) fault = *e;
        race->Pump();
        QCoreApplication::processEvents(QEventLoop::AllEvents);
      } else {
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
      }
    }
    return fault.empty();
  }

  int Dump(const std::string& path, std::ostream& err) const {
    if (path.empty()) return kExitOk;
    if (std::optional<FileError> e = WriteFileAtomic(path, SharedRaceJson(*rs).dump(1) + "\n")) {
      err << "velomark-cli: " << e->Describe() << "\n";
      return kExitFileError;
    }
    return kExitOk;
  }
};

std::unique_ptr<QCoreApplication> EventLoop() {
  if (QCoreApplication::instance() != nullptr) return nullptr;
  static int argc = 1;
  static char name[] = "velomark-cli";
  static char* argv[] = {name, nullptr};
  return std::make_unique<QCoreApplication>(argc, argv);
}

std::optional<std::string> ReadScript(const std::string& path, std::ostream& err) {
  std::string text;
  if (path.empty()) return text;
  if (std::optional<FileError> e = ReadTextFile(path, text)) {
    err << "velomark-cli: " << e->Describe() << "\n";
    return std::nullopt;
  }
  return text;
}

void PrintFinish(const RaceState& rs, std::ostream& out) {
  out << "race over\n";
  for (int place = 1; place <= rs.FinishOrderCount && place <= kMaxCars; ++place) {
    const int car = rs.FinishOrder[static_cast<size_t>(place)];
    if (IsCarNumber(car)) out << place << ". car " << car << " " << rs.DriverName[car] << "\n";
  }
}

}  // namespace

int HostCommand(const std::vector<std::string>& args, const std::string& dataFolder, Random& rng, std::ostream& out,
                std::ostream& err) {
  int port = kDefaultPort, players = 0, interval = 0, timeout = 600;
  bool dropToAI = true;
  std::vector<std::string> raceArgs;
  OptionReader r{args, 0, err};
  for (; r.i < args.size() && !r.failed; ++r.i) {
    const std::string& opt = args[r.i];
    if (opt == "--port") {
      port = r.Number(opt, 0, 65535).value_or(kDefaultPort);
    } else if (opt == "--players") {
      players = r.Number(opt, 0, kMaxCars - 1).value_or(0);
    } else if (opt == "--interval") {
      interval = r.Number(opt, 0, 1000).value_or(0);
    } else if (opt == "--timeout") {
      timeout = r.Number(opt, 1, 86400).value_or(600);
    } else if (opt == "--dropped") {
      const std::optional<std::string> v = r.Value(opt);
      if (v && *v != "ai" && *v != "wait") {
        err << "--dropped takes ai or wait\n";
        r.failed = true;
      }
      dropToAI = v && *v == "ai";
    } else {
      raceArgs.push_back(opt);
    }
  }
  if (r.failed) {
    err << kOnlineUsage;
    return kExitUsage;
  }
  std::optional<PlayArgs> a = ParsePlay(raceArgs, err);
  if (!a) return kExitUsage;
  const std::optional<std::string> script = ReadScript(a->script, err);
  if (!script) return kExitFileError;
  auto app = EventLoop();
  Side side(rng, dataFolder, a->cars.empty() ? DirName(NativePath(a->config)) : DirName(NativePath(a->cars)));
  RaceState& rs = *side.rs;
  if (const int status = SetUpRace(rs, *a, err); status != kExitOk) return status;
  if (rs.QualifyingMethod == kQualifySingleLap) {
    err << "host: single-lap qualifying is run car by car on one machine: choose another method online\n";
    return kExitUsage;
  }
  rng.Seed(a->seed.value_or(1));
  UseAIDrivers(*side.engine);
  // An online race cannot be taken back: every machine has moved on with it.
  rs.UndoDisabled = true;
  side.driver = std::make_unique<Driver>(*script);
  side.net.SetSendInterval(interval);
  QString why;
  if (!side.net.Listen(port, why)) {
    err << "host: " << why.toStdString() << "\n";
    return kExitNetwork;
  }
  side.net.Session().Host();
  OnlineRace& race = *side.race;
  race.OnlineHost = true;
  race.OnlineCar = 1;
  race.AutoPilotLostCars = dropToAI;
  race.Hooks.Notice = [&err](const std::string& text) { err << "host: " << text << "\n"; };
  race.Attach();
  out << "hosting on port " << side.net.ListeningPort() << "\n" << std::flush;
  std::string fault;
  auto joined = [&] {
    return std::count_if(race.RemoteConnection.begin() + 1, race.RemoteConnection.end(), [](int c) { return c > 0; });
  };
  if (!side.RunUntil([&] { return joined() >= players; }, timeout, err, fault)) return kExitNetwork;
  race.StartRace();
  // The race controls run the race on whenever no person is on the track.
  auto over = [&] {
    const Waiting w = side.engine->WaitingFor();
    if (w == Waiting::RaceControl || w == Waiting::Paused) {
      side.engine->FinishRace();
      race.Pump();
    }
    return side.engine->WaitingFor() == Waiting::RaceOver && side.net.Session().QueueEmpty();
  };
  if (!side.RunUntil(over, timeout, err, fault)) {
    if (!fault.empty()) err << "host: " << fault << "\n";
    side.Dump(a->dumpJson, err);
    return fault.empty() ? kExitNetwork : kExitFileError;
  }
  // The players leave once they have the final standings; their lines are out of the queue by then.
  auto left = [&] {
    for (int n = 1; n <= side.net.Connections(); ++n)
      if (side.net.PersonConnected(n)) return false;
    return true;
  };
  side.RunUntil(left, 30, err, fault);
  PrintFinish(rs, out);
  return side.Dump(a->dumpJson, err);
}

int JoinCommand(const std::vector<std::string>& args, const std::string& dataFolder, Random& rng, std::ostream& out,
                std::ostream& err) {
  std::string address, scriptPath, dumpJson, name = "Client";
  std::string cars = JoinPath(dataFolder, "Default.crs");
  int car = 0, timeout = 600;
  OptionReader r{args, 0, err};
  for (; r.i < args.size() && !r.failed; ++r.i) {
    const std::string& opt = args[r.i];
    if (opt == "--car") {
      car = r.Number(opt, 1, kMaxCars).value_or(0);
    } else if (opt == "--cars") {
      cars = r.Value(opt).value_or("");
    } else if (opt == "--script") {
      scriptPath = r.Value(opt).value_or("");
    } else if (opt == "--dump-json") {
      dumpJson = r.Value(opt).value_or("");
    } else if (opt == "--name") {
      name = r.Value(opt).value_or("Client");
    } else if (opt == "--timeout") {
      timeout = r.Number(opt, 1, 86400).value_or(600);
    } else if (opt.rfind("--", 0) != 0 && address.empty()) {
      address = opt;
    } else {
      err << "join: unknown option \"" << opt << "\"\n";
      r.failed = true;
    }
  }
  const size_t colon = address.rfind(':');
  const int port = colon == std::string::npos ? 0 : ParseWholeNumber(address.substr(colon + 1)).value_or(0);
  if (r.failed || port < 1 || port > 65535) {
    err << (r.failed ? "" : "join: give the host as HOST:PORT\n") << kOnlineUsage;
    return kExitUsage;
  }
  const std::optional<std::string> script = ReadScript(scriptPath, err);
  if (!script) return kExitFileError;
  auto app = EventLoop();
  Side side(rng, dataFolder, DirName(NativePath(cars)));
  RaceState& rs = *side.rs;
  if (std::optional<FileError> e = LoadCarFile(rs, cars, DirName(NativePath(cars)), SetupPointsRule::Replace)) {
    err << "velomark-cli: " << e->Describe() << "\n";
    return kExitFileError;
  }
  const int entered = car == 0 ? 1 : car;
  if (entered > rs.CarsInFile) {
    err << "join: the car file has " << rs.CarsInFile << " cars, no car " << entered << "\n";
    return kExitUsage;
  }
  side.driver = std::make_unique<Driver>(*script);
  OnlineRace& race = *side.race;
  ChatSession& session = side.net.Session();
  session.Connecting();
  race.Hooks.Notice = [&err](const std::string& text) { err << "join: " << text << "\n"; };
  race.Hooks.Changed = [&out, &race, told = false]() mutable {
    if (told || race.OnlineCar == 0) return;
    told = true;
    out << "driving car " << race.OnlineCar << std::endl;
  };
  race.Attach();
  race.SendCar(entered);
  session.Join(name);
  side.net.SetSendInterval(0);
  side.net.ConnectTo(QString::fromStdString(address.substr(0, colon)), port);
  bool lost = false;
  QObject::connect(&side.net, &NetSession::connectFailed, [&lost] { lost = true; });
  QObject::connect(&side.net, &NetSession::serverClosed, [&lost] { lost = true; });
  std::string fault;
  auto done = [&] {
    if (car != 0 && race.OnlineCar != 0 && race.OnlineCar != car && fault.empty())
      fault = "the host gave car " + std::to_string(race.OnlineCar) + ", not car " + std::to_string(car);
    return lost || side.engine->WaitingFor() == Waiting::RaceOver;
  };
  const bool ended = side.RunUntil(done, timeout, err, fault);
  const int dumped = side.Dump(dumpJson, err);
  if (!fault.empty()) {
    err << "join: " << fault << "\n";
    return kExitUsage;
  }
  if (!ended || side.engine->WaitingFor() != Waiting::RaceOver) {
    err << "join: " << (lost ? "the connection to the host was lost" : "the race did not end") << "\n";
    return kExitNetwork;
  }
  PrintFinish(rs, out);
  side.net.CloseAll();
  return dumped;
}

}  // namespace vm
