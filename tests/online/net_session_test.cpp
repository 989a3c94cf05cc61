// The session's sockets over loopback: a host and its players in one process, each with its own
// sockets, driven by the one event loop.
#include "net/net_session.h"

#include <gtest/gtest.h>

#include <QSignalSpy>
#include <QTcpSocket>
#include <QTest>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vm {
namespace {

constexpr int kWaitMs = 10000;

// Runs the event loop until `done` holds or a generous time has passed; returns whether it held.
bool WaitFor(const std::function<bool()>& done) {
  for (int waited = 0; waited < kWaitMs; waited += 5) {
    if (done()) return true;
    QTest::qWait(5);
  }
  return done();
}

bool Has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

size_t Count(const std::string& text, const std::string& part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

std::vector<std::string> Names(const ChatSession& session) {
  std::vector<std::string> names;
  for (const Person& p : session.People) names.push_back(p.Name);
  return names;
}

int NumberOf(const ChatSession& session, const std::string& name) {
  for (const Person& p : session.People) {
    if (p.Name == name) return p.Number;
  }
  return 0;
}

void Select(ChatSession& session, const std::string& name) {
  for (Person& p : session.People) p.Selected = p.Name == name;
}

class NetSessionTest : public ::testing::Test {
 protected:
  NetSessionTest() {
    host.SetListenAddress(QHostAddress::LocalHost);
    QString error;
    EXPECT_TRUE(host.Listen(0, error)) << error.toStdString();
    host.Session().Host();
  }

  // A player who joins under `name` and is in every list of the session before this returns.
  NetSession& Join(const std::string& name) {
    auto& player = *players.emplace_back(std::make_unique<NetSession>());
    player.Session().Connecting();
    player.ConnectTo(QStringLiteral("127.0.0.1"), host.ListeningPort());
    // Queued before the socket is up: it waits and goes out first.
    player.Session().Join(name);
    EXPECT_TRUE(WaitFor([&] { return NumberOf(host.Session(), name) > 0; })) << name;
    EXPECT_TRUE(WaitFor([&] { return Names(player.Session()) == Names(host.Session()); })) << name;
    return player;
  }

  // A socket that speaks raw bytes to the host.
  std::unique_ptr<QTcpSocket> Raw() {
    auto socket = std::make_unique<QTcpSocket>();
    socket->connectToHost(QStringLiteral("127.0.0.1"), host.ListeningPort());
    EXPECT_TRUE(socket->waitForConnected(kWaitMs));
    return socket;
  }

  NetSession host;
  std::vector<std::unique_ptr<NetSession>> players;
};

// Three players on one host: every list holds the host's numbers, a public line reaches every
// reader once, a private one only its target.
TEST_F(NetSessionTest, ThreeWayChatReachesEveryReaderOnce) {
  NetSession& ann = Join("Ann");
  NetSession& bob = Join("Bob, [the second]");
  const std::vector<std::string> expected = {"Host", "Ann", "Bob, [the second]"};
  EXPECT_EQ(Names(host.Session()), expected);
  for (NetSession* player : {&ann, &bob}) {
    EXPECT_TRUE(WaitFor([&] { return Names(player->Session()) == expected; }));
    EXPECT_EQ(NumberOf(player->Session(), "Host"), kHostOwnNumber);
    EXPECT_EQ(NumberOf(player->Session(), "Bob, [the second]"), 2);
  }
  EXPECT_TRUE(WaitFor([&] { return Has(ann.Session().Status, "Bob, [the second] joined.\r\n"); }));

  ann.Session().Send("hello, [world]");
  host.Session().Send("welcome");
  const std::string line = "Ann: hello, [world]\r\n";
  EXPECT_TRUE(WaitFor([&] {
    return Has(bob.Session().Dialog, line) && Has(host.Session().Dialog, line) &&
           Has(ann.Session().Dialog, "Host: welcome\r\n") && Has(bob.Session().Dialog, "Host: welcome\r\n");
  }));
  ann.Session().Private = true;
  Select(ann.Session(), "Bob, [the second]");
  ann.Session().Send("psst");
  // A public line after it: once that has arrived everywhere, the private one would have too.
  ann.Session().Private = false;
  ann.Session().Send("done");
  EXPECT_TRUE(
      WaitFor([&] { return Has(host.Session().Dialog, "Ann: done") && Has(bob.Session().Dialog, "Ann: done"); }));
  EXPECT_FALSE(Has(host.Session().Dialog, "psst"));
  for (NetSession* player : {&ann, &bob}) {
    EXPECT_EQ(Count(player->Session().Dialog, line), 1u);
    EXPECT_EQ(Count(player->Session().Dialog, "Host: welcome"), 1u);
    EXPECT_EQ(Count(player->Session().Dialog, "*Ann*: psst\r\n"), 1u);
  }
  EXPECT_EQ(Count(host.Session().Dialog, "Host: welcome"), 1u);
}

TEST_F(NetSessionTest, KickClosesTheKickedAndTellsTheOthers) {
  NetSession& ann = Join("Ann");
  NetSession& bob = Join("Bob");
  QSignalSpy annClosed(&ann, &NetSession::serverClosed);

  Select(host.Session(), "Host");
  host.Session().Kick();  // the host is no target of his own kick
  EXPECT_EQ(Names(host.Session()).size(), 3u);

  Select(host.Session(), "Ann");
  host.Session().Kick();
  EXPECT_TRUE(WaitFor([&] { return annClosed.count() == 1; }));
  EXPECT_FALSE(ann.AnyOpen());
  EXPECT_TRUE(ann.Session().People.empty());
  EXPECT_TRUE(Has(host.Session().Status, "Kicked Ann.\r\n"));
  EXPECT_FALSE(Has(host.Session().Status, "Ann disconnected."));
  EXPECT_TRUE(WaitFor([&] { return Has(bob.Session().Status, "Kicked Ann.\r\n"); }));
  EXPECT_EQ(Names(bob.Session()), (std::vector<std::string>{"Host", "Bob"}));
  EXPECT_FALSE(host.PersonConnected(1));
  EXPECT_TRUE(host.PersonConnected(2));

  // The host closing sends the others back to idle.
  QSignalSpy bobClosed(&bob, &NetSession::serverClosed);
  host.CloseAll();
  EXPECT_FALSE(host.AnyOpen());
  EXPECT_TRUE(WaitFor([&] { return bobClosed.count() == 1 && !bob.AnyOpen(); }));
  EXPECT_TRUE(Has(bob.Session().Status, "Disconnected.\r\n"));
}

TEST_F(NetSessionTest, LeavingPlayersAreReportedAndTheirSocketIsReused) {
  NetSession& ann = Join("Ann");
  NetSession& bob = Join("Bob");
  std::vector<int> lost;
  host.Session().Hooks.PersonLost = [&](int n) { lost.push_back(n); };

  ann.CloseAll();
  EXPECT_TRUE(WaitFor([&] { return Has(host.Session().Status, "Ann disconnected.\r\n"); }));
  EXPECT_TRUE(WaitFor([&] { return Has(bob.Session().Status, "Ann disconnected.\r\n"); }));
  EXPECT_EQ(Names(bob.Session()), (std::vector<std::string>{"Host", "Bob"}));
  EXPECT_EQ(lost, std::vector<int>{1});

  // The freed socket 1 takes the next player; the array grows only when none is free.
  NetSession& carol = Join("Carol");
  EXPECT_EQ(host.Connections(), 2);
  EXPECT_EQ(NumberOf(carol.Session(), "Carol"), 1);
  Join("Dave");
  EXPECT_EQ(host.Connections(), 3);
  EXPECT_EQ(NumberOf(host.Session(), "Dave"), 3);

  // Carol hears a message meant for everyone, not anything queued for Ann.
  bob.Session().Send("hi all");
  EXPECT_TRUE(WaitFor([&] { return Has(carol.Session().Dialog, "Bob: hi all\r\n"); }));
}

TEST_F(NetSessionTest, ALineSplitAcrossTwoWritesArrivesWhole) {
  auto raw = Raw();
  raw->write("[Joined]Ca");
  raw->flush();
  ASSERT_TRUE(WaitFor([&] { return host.Connections() == 1 && raw->bytesToWrite() == 0; }));
  QTest::qWait(100);  // the first part is read on its own
  EXPECT_TRUE(host.Session().People.size() == 1);
  raw->write("rol\r\n[Mess");
  raw->flush();
  QTest::qWait(100);
  raw->write("age]Carol: one\r\n");
  EXPECT_TRUE(WaitFor([&] { return Has(host.Session().Dialog, "Carol: one\r\n"); }));
  EXPECT_TRUE(Has(host.Session().Status, "Carol joined.\r\n"));
  EXPECT_EQ(NumberOf(host.Session(), "Carol"), 1);
}

// An over-long line, bytes no player of ours would send, peers vanishing mid-line: each such
// peer is cut alone and the session runs on.
TEST_F(NetSessionTest, HostilePeersCutOnlyThemselves) {
  NetSession& ann = Join("Ann");
  NetSession& bob = Join("Bob");
  auto mallory = Raw();
  mallory->write("[Joined]Mallory\r\n");
  ASSERT_TRUE(WaitFor([&] { return NumberOf(host.Session(), "Mallory") == 3; }));
  mallory->write(QByteArray(static_cast<qsizetype>(kMaxLineBytes) + 10, 'x'));
  EXPECT_TRUE(WaitFor([&] { return mallory->state() == QAbstractSocket::UnconnectedState; }));
  EXPECT_TRUE(WaitFor([&] { return Has(ann.Session().Status, "Mallory disconnected.\r\n"); }));
  for (const QByteArray& junk :
       {QByteArray("\0\0]]][[\r\r\n\n\r\n", 13), QByteArray("[Private Message]99999999990000000001x\r\n"),
        QByteArray("[Private Message]-000000001\r\n[Kicked]0000000001\r\n[People]abc\r\n"),
        QByteArray("[Disconnected]00000000019999\r\n[Joined]\r\n[Message]\xff\xfe\r\n")}) {
    auto raw = Raw();
    raw->write(junk);
    raw->write(QByteArray(5000, '['));  // a burst cut off mid-line
    raw->flush();
    raw->abort();
  }
  ann.Session().Send("still here");
  EXPECT_TRUE(WaitFor([&] {
    return Has(bob.Session().Dialog, "Ann: still here\r\n") && Has(host.Session().Dialog, "Ann: still here\r\n");
  }));
  EXPECT_TRUE(WaitFor([&] {
    for (int n = 3; n <= host.Connections(); ++n) {
      if (host.PersonConnected(n)) return false;
    }
    return true;
  }));
  EXPECT_EQ(NumberOf(host.Session(), "Ann"), 1);
  EXPECT_TRUE(host.PersonConnected(1) && host.PersonConnected(2));
}

TEST_F(NetSessionTest, ListeningOnATakenPortFailsWithThePortAndTheReason) {
  NetSession other;
  other.SetListenAddress(QHostAddress::LocalHost);
  QString error;
  const int port = host.ListeningPort();
  EXPECT_FALSE(other.Listen(port, error));
  EXPECT_TRUE(error.startsWith(QStringLiteral("Port %1 could not be opened: ").arg(port))) << error.toStdString();
  EXPECT_TRUE(error.contains(QStringLiteral("such as %1.").arg(port + 1))) << error.toStdString();
  EXPECT_FALSE(other.AnyOpen());
  EXPECT_FALSE(other.Listen(70000, error));
  EXPECT_TRUE(error.contains(QStringLiteral("70000")));
  // A low port keeps its last digits in the port offered; a refusal for rights says so.
  for (const auto& [asked, offered] : {std::pair{600, 6600}, {1, 6001}, {1024, 1025}, {65535, 6600}, {0, 6600}}) {
    EXPECT_EQ(SuggestedPort(asked), offered) << asked;
  }
  EXPECT_EQ(ListenErrorMessage(600, true, QStringLiteral("The address is protected")).toStdString(),
            "Port 600 could not be opened: ports below 1024 need administrator rights on Linux.\n"
            "Try port 6600 instead, and tell the other players to use it too.");
  EXPECT_EQ(ListenErrorMessage(600, false, QStringLiteral("The bound address is already in use")).toStdString(),
            "Port 600 could not be opened: The bound address is already in use\nTry another port, such as 6600.");
}

TEST_F(NetSessionTest, NoHostGivesUnableToConnect) {
  QTcpServer probe;  // a port that was free a moment ago and is closed now
  ASSERT_TRUE(probe.listen(QHostAddress::LocalHost, 0));
  const int port = probe.serverPort();
  probe.close();
  for (int target : {port, 0}) {
    NetSession client;
    QSignalSpy failed(&client, &NetSession::connectFailed);
    client.Session().Connecting();
    client.ConnectTo(QStringLiteral("127.0.0.1"), target);
    client.Session().Join("Ann");
    EXPECT_TRUE(WaitFor([&] { return failed.count() == 1; }));
    EXPECT_TRUE(Has(client.Session().Status, "Connecting...\r\nUnable to connect.\r\n"));
    EXPECT_FALSE(client.AnyOpen());
  }
}

}  // namespace
}  // namespace vm
