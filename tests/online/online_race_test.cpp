// Whole online races over the loopback: the headless programs racing to the flag and agreeing on
// the race, a player killed in the middle of the race, a hostile player, and a lost turn given
// again by Send TIP.
#include <gtest/gtest.h>

#include <QProcess>
#include <QTcpSocket>
#include <filesystem>
#include <random>
#include <set>

#include "core/textfile.h"
#include "online/turn_records.h"
#include "tests/online/online_fixture.h"

namespace vm {
namespace {

using testing_support::CopyData;
using testing_support::Machine;
using testing_support::RunUntil;
using testing_support::TempDir;

// velomark-cli with its own copy of the data folder.
struct Program {
  std::unique_ptr<QProcess> Process = std::make_unique<QProcess>();
  std::string Data;

  void Start(const std::vector<std::string>& args) {
    QStringList list{QStringLiteral("--data"), QString::fromStdString(Data)};
    for (const std::string& a : args) list << QString::fromStdString(a);
    Process->start(QStringLiteral(VELOMARK_CLI), list);
    ASSERT_TRUE(Process->waitForStarted());
  }
  std::string Out() { return Process->readAllStandardOutput().toStdString(); }
  bool Ended() const { return Process->state() == QProcess::NotRunning; }
};

// The host's port, from its first line.
int PortOf(Program& host) {
  std::string said;
  EXPECT_TRUE(RunUntil([&] {
    said += host.Out();
    return said.find('\n') != std::string::npos;
  })) << "the host said nothing";
  const size_t at = said.find("port ");
  return at == std::string::npos ? 0 : std::stoi(said.substr(at + 5));
}

std::vector<std::string> RaceArgs(const std::string& data, const std::string& laps, const std::string& cars) {
  return {"--track",       data + "Tracks/Brannock.trk",
          "--tables",      data + "Default.rst",
          "--cars",        data + "Default.crs",
          "--laps",        laps,
          "--cars-racing", cars};
}

TEST(OnlineRace, AHostAndTwoPlayersRaceToTheFlagAndAllThreeEndWithTheSameRace) {
  const TempDir dir;
  Program host, one, two;
  host.Data = CopyData(dir, "host");
  one.Data = CopyData(dir, "one");
  two.Data = CopyData(dir, "two");
  std::vector<std::string> hostArgs = {"host", "--port", "0", "--players", "2", "--dump-json", dir.File("host.json")};
  for (const std::string& a : RaceArgs(host.Data, "1", "6")) hostArgs.push_back(a);
  host.Start(hostArgs);
  const int port = PortOf(host);
  ASSERT_GT(port, 0);
  const std::string address = "127.0.0.1:" + std::to_string(port);
  // The player on the first connection drives car 2; the script makes its first choices.
  const std::string script = dir.Add("one.txt", "# car 2\nspeed 40\n");
  one.Start({"join", address, "--car", "2", "--script", script, "--dump-json", dir.File("one.json")});
  // The second joins once the first has its car, so that the connections come in order.
  std::string oneSaid;
  ASSERT_TRUE(RunUntil([&] {
    oneSaid += one.Out();
    return oneSaid.find("driving car 2") != std::string::npos || one.Ended();
  }));
  two.Start({"join", address, "--car", "3", "--dump-json", dir.File("two.json")});
  ASSERT_TRUE(RunUntil([&] { return host.Ended() && one.Ended() && two.Ended(); }, 300));
  const std::string said = host.Out();
  EXPECT_EQ(host.Process->exitCode(), 0) << said << host.Process->readAllStandardError().toStdString();
  EXPECT_EQ(one.Process->exitCode(), 0) << one.Process->readAllStandardError().toStdString();
  EXPECT_EQ(two.Process->exitCode(), 0) << two.Process->readAllStandardError().toStdString();
  EXPECT_NE(said.find("race over"), std::string::npos);

  std::string a, b, c;
  ASSERT_FALSE(ReadTextFile(dir.File("host.json"), a));
  ASSERT_FALSE(ReadTextFile(dir.File("one.json"), b));
  ASSERT_FALSE(ReadTextFile(dir.File("two.json"), c));
  EXPECT_EQ(a, b);
  EXPECT_EQ(a, c);
  const auto race = nlohmann::json::parse(a);
  EXPECT_TRUE(race["RaceOver"].get<bool>());
  EXPECT_EQ(race["FinishOrderCount"].get<int>() + race["CarsOut"].get<int>(), 6) << "every car finished or is out";
  // Both players drove their own cars: they were never the computer's.
  EXPECT_FALSE(race["CarIsAI"][2].get<bool>());
  EXPECT_FALSE(race["CarIsAI"][3].get<bool>());
}

TEST(OnlineRace, APlayerKilledInTheMiddleOfTheRaceIsHandedToTheAIAndTheRaceGoesOn) {
  const TempDir dir;
  Program host, one;
  host.Data = CopyData(dir, "host");
  one.Data = CopyData(dir, "one");
  std::vector<std::string> hostArgs = {"host", "--port", "0", "--players", "1", "--dropped", "ai"};
  for (const std::string& a : RaceArgs(host.Data, "2", "4")) hostArgs.push_back(a);
  host.Start(hostArgs);
  const int port = PortOf(host);
  one.Start({"join", "127.0.0.1:" + std::to_string(port)});
  // Killed once it has raced a few records: its second TIP has pushed the first to "B".
  ASSERT_TRUE(RunUntil([&] { return std::filesystem::exists(one.Data + "Online Files/OnlineB2.tip"); }));
  one.Process->kill();
  ASSERT_TRUE(RunUntil([&] { return host.Ended(); }, 300));
  const std::string said = host.Out();
  const std::string errors = host.Process->readAllStandardError().toStdString();
  EXPECT_EQ(host.Process->exitCode(), 0) << errors;
  EXPECT_NE(said.find("race over"), std::string::npos);
  EXPECT_NE(errors.find("The driver of car 2 has gone: the AI drives it now."), std::string::npos) << errors;
}

// A host in this process, racing computer cars, with one player joined: `player`, a raw socket.
struct HostWithRawPlayer {
  TempDir dir;
  Machine host{CopyData(dir, "host")};
  QTcpSocket player;

  HostWithRawPlayer() {
    testing_support::SetUpFromData(*host.Rs, host.Data, {"--laps", "1", "--cars-racing", "5"});
    const int port = host.Host();
    player.connectToHost(QStringLiteral("127.0.0.1"), static_cast<quint16>(port));
    EXPECT_TRUE(player.waitForConnected(10000));
  }
  void Send(const std::string& line) { player.write(QByteArray::fromStdString(line + "\r\n")); }
  // Every file under the host's data folder.
  std::set<std::string> Files() const {
    std::set<std::string> out;
    for (const auto& e : std::filesystem::recursive_directory_iterator(host.Data))
      if (e.is_regular_file()) out.insert(std::filesystem::relative(e.path(), host.Data).generic_string());
    return out;
  }
};

// A player sending everything wrong: garbage, unknown tags, numbers that are not, records for cars
// it does not drive, paths in names, then vanishing in the middle of a burst.
TEST(OnlineRace, AHostileClientsThousandLinesCrashNothingWriteNothingOutsideAndTheRaceGoesOn) {
  HostWithRawPlayer t;
  const std::set<std::string> before = t.Files();
  t.host.Race->AutoPilotLostCars = true;
  t.Send("[Joined]Mallory");
  t.Send(BuildCrsLine(*t.host.Rs, 2, t.host.Data));
  ASSERT_TRUE(RunUntil([&] { return t.host.Race->RemoteConnection[2] == 1; }));
  t.host.Race->OnlineCar = 0;  // the host watches: the computer drives every other car
  t.host.Race->StartRace();

  auto good = std::make_unique<RaceState>(*t.host.Rs);
  const auto tep = BuildTipBurst(*good, RecordKind::TEP, 4, t.host.Data);
  const auto sip = BuildSipBurst(*good, 3, t.host.Data);
  std::mt19937 pick(5);
  const std::vector<std::string> words = {"[TEPA]",   "[TEPB]",     "[SIPA]",     "[SIPC]", "[ENDTEP]",
                                          "[ENDSIP]", "[STARTTEP]", "[STARTSIP]", "[CRS]",  "[Private Message]",
                                          "[People]", "[Kicked]",   "[ONLINECC]", "[TIPR]", "[Nonsense]",
                                          "",         "[",          "]"};
  for (int i = 0; i < 1000; ++i) {
    std::string line;
    switch (i % 8) {
      case 0: line = tep[pick() % tep.size()]; break;                               // a move of car 4, piece by piece
      case 1: line = sip[pick() % sip.size()]; break;                               // a speed of car 3
      case 2: line = words[pick() % words.size()] + std::to_string(pick()); break;  // numbers that are not
      case 3: line = "[CRS]1,1,1,1,1,False,1,1,1,../../../../etc/passwd,x,0,t,0,0,0,0,0,0,0,0,0"; break;
      case 4: line = "[Private Message]9999999999" + std::string(50, '7'); break;
      case 5: line = "[TEPA]4,1e308,True,True,999,..\\..\\Windows\\win.ini"; break;
      case 6:
        for (int k = 0; k < 40; ++k) line += static_cast<char>(pick() % 256);
        for (char& ch : line)
          if (ch == '\r' || ch == '\n') ch = ' ';
        break;
      default: line = words[pick() % words.size()] + std::string(pick() % 3000, ','); break;
    }
    t.Send(line);
  }
  // A whole move of a car it does not drive, out of its turn: refused.
  for (const std::string& line : tep) t.Send(line);
  // The start of a burst, and gone.
  t.Send(tep[0]);
  t.Send(tep[1]);
  t.player.flush();
  ASSERT_TRUE(RunUntil([&] { return t.player.bytesToWrite() == 0; }));
  t.player.abort();

  // The host hands the lost car to the computer and the race runs to the flag.
  ASSERT_TRUE(RunUntil([&] {
    if (t.host.Engine.WaitingFor() == Waiting::RaceControl) {
      t.host.Engine.FinishRace();
      t.host.Race->Pump();
    }
    return t.host.Engine.WaitingFor() == Waiting::RaceOver;
  }));
  EXPECT_TRUE(CheckRaceState(*t.host.Rs).empty());
  EXPECT_TRUE(t.host.Race->DriverLost[2]);
  EXPECT_TRUE(t.host.Rs->CarIsAI[2]);
  // Nothing was written but the records' own files.
  for (const std::string& file : t.Files())
    if (!before.contains(file)) {
      EXPECT_EQ(file.rfind("Online Files/Online", 0), 0u) << file;
    }
}

// A player whose turn was lost on the way goes on when the host sends the race again.
TEST(OnlineRace, APlayerWhoLostTheTurnGoesOnAfterSendTip) {
  const TempDir dir;
  Machine host(CopyData(dir, "host"));
  Machine player(CopyData(dir, "player"));
  testing_support::SetUpFromData(*host.Rs, host.Data, {"--laps", "1", "--cars-racing", "4"});
  testing_support::SetUpFromData(*player.Rs, player.Data);
  const int port = host.Host();
  player.Join(port, 2);
  ASSERT_TRUE(RunUntil([&] { return player.Race->OnlineCar == 2; }));
  // The first time the host hands the player his move, the record is lost on the way.
  bool lost = false;
  auto pass = player.Net.Session().Hooks.RecordLine;
  player.Net.Session().Hooks.RecordLine = [&](const std::string& tag, const std::string& payload, int source) {
    if (!lost && tag == "[TIPA]" && payload.find(",True,False,") != std::string::npos && payload.rfind("2,", 0) == 0) {
      lost = true;
      return;  // the burst arrives without its first section: refused
    }
    pass(tag, payload, source);
  };
  host.Race->StartRace();
  auto play = [&] {
    host.Play();
    player.Play();
    if (host.Engine.WaitingFor() == Waiting::RaceControl) {
      host.Engine.FinishRace();
      host.Race->Pump();
    }
  };
  ASSERT_TRUE(RunUntil([&] {
    play();
    return lost && host.Net.Session().QueueEmpty() && player.Engine.WaitingFor() == Waiting::Elsewhere;
  }));
  EXPECT_EQ(host.Engine.WaitingFor(), Waiting::Steering);
  EXPECT_EQ(host.Rs->CurrentCar, 2) << "the host waits for the lost move";
  host.Race->cmdSendTip();
  ASSERT_TRUE(RunUntil([&] {
    play();
    return host.Engine.WaitingFor() == Waiting::RaceOver && player.Engine.WaitingFor() == Waiting::RaceOver;
  }));
  EXPECT_EQ(SharedRaceJson(*host.Rs), SharedRaceJson(*player.Rs));
}

// A driver gone in the middle of his move: the computer finishes the move from where the slot
// began, with the speed the driver settled.
TEST(OnlineRace, AutoPilotInTheMiddleOfAMoveFinishesItWithTheSettledSpeed) {
  const TempDir dir;
  Machine m(CopyData(dir, "host"));
  testing_support::SetUpFromData(*m.Rs, m.Data, {"--laps", "1", "--cars-racing", "4"});
  UseAIDrivers(m.Engine);
  m.Rs->CarIsAI.fill(true);
  m.Rs->CarIsAI[2] = false;
  m.Engine.StartRace();
  for (int i = 0; i < 200 && !(m.Engine.WaitingFor() == Waiting::Steering && m.Rs->CurrentCar == 2); ++i)
    DriveByRule(m.Engine);
  ASSERT_EQ(m.Engine.WaitingFor(), Waiting::Steering);
  const int speed = m.Rs->CarNewSpeed[2];
  const int wears = m.Rs->CarWears[2];
  m.Engine.AutoPilot();
  // The auto-pilot lasts the turn: the next turn asks the driver's speed again.
  EXPECT_TRUE(m.Engine.WaitingFor() == Waiting::Speed || m.Engine.WaitingFor() == Waiting::RaceOver);
  EXPECT_EQ(m.Rs->CarSpeed[2], speed) << "the move ran at the speed chosen";
  EXPECT_LE(m.Rs->CarWears[2], wears);
  EXPECT_TRUE(CheckRaceState(*m.Rs).empty());
}

}  // namespace
}  // namespace vm
