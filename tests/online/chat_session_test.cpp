#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "online/chat_prefs.h"
#include "online/chat_session.h"

namespace vm {
namespace {

// Sockets as a test wants them: it sets which are connected and reads what was sent.
class FakeTransport : public ChatTransport {
 public:
  struct Sent {
    int Target;  // -1: sckConnect
    std::string Bytes;
  };
  bool Client = false;
  std::set<int> Persons;
  std::vector<Sent> Sends;
  std::vector<int> Closed;
  int Count = 0;

  bool ClientConnected() const override { return Client; }
  bool PersonConnected(int n) const override { return Persons.count(n) > 0; }
  bool AnyOpen() const override { return Client || !Persons.empty(); }
  void SendClient(std::string_view bytes) override { Sends.push_back({-1, std::string(bytes)}); }
  void SendPerson(int n, std::string_view bytes) override { Sends.push_back({n, std::string(bytes)}); }
  void ClosePerson(int n) override {
    Closed.push_back(n);
    Persons.erase(n);
  }
  int PersonCount() const override { return Count; }
};

// Runs the send timer until the queue is empty or nothing more can go out.
void Drain(ChatSession& s) {
  for (int i = 0; i < 10000 && !s.QueueEmpty(); ++i) {
    const size_t before = s.QueueSize();
    s.SendDataTick();
    if (s.QueueSize() == before) break;
  }
}

// The lines sent to target, without CR LF.
std::vector<std::string> LinesTo(const FakeTransport& t, int target) {
  std::vector<std::string> lines;
  for (const auto& s : t.Sends) {
    if (s.Target != target) continue;
    EXPECT_GE(s.Bytes.size(), 2u);
    EXPECT_EQ(s.Bytes.substr(s.Bytes.size() - 2), "\r\n");
    lines.push_back(s.Bytes.substr(0, s.Bytes.size() - 2));
  }
  return lines;
}

std::string Line(std::string_view text) { return std::string(text) + "\r\n"; }

// A host with players on 1..n, joined under the given names, and the queue drained.
struct HostFixture {
  FakeTransport t;
  ChatSession s{t};
  explicit HostFixture(const std::vector<std::string>& names) {
    s.Host();
    for (size_t i = 0; i < names.size(); ++i) {
      const int n = static_cast<int>(i) + 1;
      t.Persons.insert(n);
      s.Accepted(n);
      EXPECT_TRUE(s.Receive(n, Line("[Joined]" + names[i])));
    }
    Drain(s);
    t.Sends.clear();
  }
};

// ---------------------------------------------------------------------------------------------
// Framing.

TEST(ChatFraming, FormatSendKeepsTenCharacters) {
  struct Case {
    long long value;
    const char* text;
  };
  const Case cases[] = {
      {-1, "-000000001"}, {0, "0000000000"},          {42, "0000000042"},
      {1234567890, "1234567890"}, {-123456789, "-123456789"}, {9999999999LL, "9999999999"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(sFormatSend(c.value), c.text) << c.value;
    EXPECT_EQ(sFormatSend(c.value).size(), 10u) << c.value;
  }
  // Too wide for the field: all the digits, never a crash.
  EXPECT_EQ(sFormatSend(12345678901LL), "12345678901");
  EXPECT_FALSE(sFormatSend(LLONG_MIN).empty());
}

TEST(ChatFraming, ParamsAreSafePastTheEnd) {
  const std::string payload = "0000000002-000000001abc";
  struct Case {
    int n;
    const char* param;
    const char* longParam;
  };
  const Case cases[] = {
      {1, "0000000002", "0000000002-000000001abc"},
      {2, "-000000001", "-000000001abc"},
      {3, "abc", "abc"},
      {4, "", ""},
      {1000000, "", ""},
      {0, "", ""},
      {-5, "", ""},
      {INT_MAX, "", ""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(sParam(payload, c.n), c.param) << c.n;
    EXPECT_EQ(sLongParam(payload, c.n), c.longParam) << c.n;
  }
  EXPECT_EQ(sParam("", 1), "");
  EXPECT_EQ(sLongParam("", 1), "");
}

TEST(ChatFraming, ParseFieldIsStrict) {
  struct Case {
    const char* field;
    bool ok;
    long long value;
  };
  const Case cases[] = {
      {"0000000042", true, 42},  {"-000000001", true, -1}, {"0000000000", true, 0}, {"7", true, 7},
      {"", false, 0},            {"-", false, 0},          {" 000000042", false, 0}, {"00000042 ", false, 0},
      {"+000000042", false, 0},  {"00000x0042", false, 0}, {"--00000001", false, 0},
      {"1234567890123456789", false, 0}, {"000000004.", false, 0},
  };
  for (const Case& c : cases) {
    long long value = 99;
    EXPECT_EQ(ParseField(c.field, value), c.ok) << c.field;
    EXPECT_EQ(value, c.ok ? c.value : 99) << c.field;
  }
  long long value = 0;
  EXPECT_FALSE(ParseField(std::string_view("00000\0" "0042", 10), value));
}

TEST(ChatFraming, SplitTagEndsAtTheFirstBracket) {
  struct Case {
    const char* line;
    const char* tag;
    const char* payload;
  };
  const Case cases[] = {
      {"[Message]a]b", "[Message]", "a]b"},
      {"[Message]Smith, J]r: hi", "[Message]", "Smith, J]r: hi"},
      {"[NEW NAME LIST]", "[NEW NAME LIST]", ""},
      {"no tag here", "", "no tag here"},
      {"[unterminated", "", "[unterminated"},
      {"x[Message]y", "", "x[Message]y"},
      {"", "", ""},
      {"[]rest", "[]", "rest"},
  };
  for (const Case& c : cases) {
    const TaggedLine t = SplitTag(c.line);
    EXPECT_EQ(t.Tag, c.tag) << c.line;
    EXPECT_EQ(t.Payload, c.payload) << c.line;
  }
}

// ---------------------------------------------------------------------------------------------
// LineBuffer.

TEST(ChatLineBuffer, KeepsALineSplitAcrossReads) {
  LineBuffer b;
  std::vector<std::string> lines;
  EXPECT_TRUE(b.Append("[Message]hel", lines));
  EXPECT_TRUE(lines.empty());
  EXPECT_TRUE(b.Append("lo\r", lines));
  EXPECT_TRUE(lines.empty());
  EXPECT_TRUE(b.Append("\n[Joined]A\r\n[Li", lines));
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], "[Message]hello");
  EXPECT_EQ(lines[1], "[Joined]A");
  EXPECT_EQ(b.Pending(), 3u);
}

TEST(ChatLineBuffer, ByteByByte) {
  const std::string stream = "[A]one\r\n\r\n[B]t\rw\no\r\n[C]";
  LineBuffer b;
  std::vector<std::string> lines;
  for (char c : stream) ASSERT_TRUE(b.Append(std::string_view(&c, 1), lines));
  const std::vector<std::string> want = {"[A]one", "", "[B]t\rw\no"};
  EXPECT_EQ(lines, want);
  EXPECT_EQ(b.Pending(), 3u);
}

TEST(ChatLineBuffer, RefusesOverLongLines) {
  struct Case {
    size_t length;
    bool finished;
    bool ok;
  };
  const Case cases[] = {
      {kMaxLineBytes, true, true},       {kMaxLineBytes + 1, true, false},
      {kMaxLineBytes, false, true},      {kMaxLineBytes + 1, false, false},
  };
  for (const Case& c : cases) {
    LineBuffer b;
    std::vector<std::string> lines;
    std::string bytes(c.length, 'x');
    if (c.finished) bytes += "\r\n";
    EXPECT_EQ(b.Append(bytes, lines), c.ok) << c.length << " " << c.finished;
    EXPECT_EQ(lines.size(), c.finished && c.ok ? 1u : 0u);
  }
  // A line at the limit whose CR has come but not its LF is still fine.
  LineBuffer b;
  std::vector<std::string> lines;
  EXPECT_TRUE(b.Append(std::string(kMaxLineBytes, 'x') + "\r", lines));
  EXPECT_TRUE(b.Append("\n", lines));
  ASSERT_EQ(lines.size(), 1u);
  // Growing past the limit a byte at a time is caught as well.
  LineBuffer slow;
  bool ok = true;
  size_t fed = 0;
  while (ok && fed < kMaxLineBytes + 10) {
    ok = slow.Append("y", lines);
    ++fed;
  }
  EXPECT_FALSE(ok);
  EXPECT_EQ(fed, kMaxLineBytes + 1);
}

// ---------------------------------------------------------------------------------------------
// The session.

TEST(ChatSession, HostSetsUpItsOwnEntry) {
  FakeTransport t;
  ChatSession s(t);
  s.Host();
  EXPECT_TRUE(s.IsServer);
  EXPECT_EQ(s.Name, "Host");
  EXPECT_EQ(s.Status, "Hosting.\r\n");
  ASSERT_EQ(s.People.size(), 1u);
  EXPECT_EQ(s.People[0].Number, kHostOwnNumber);
  EXPECT_EQ(s.People[0].Name, "Host");
}

TEST(ChatSession, JoiningPlayersGetThePeopleList) {
  HostFixture h({"Ann"});
  h.t.Persons.insert(2);
  ASSERT_TRUE(h.s.Receive(2, Line("[Joined]Bob")));
  EXPECT_NE(h.s.Status.find("Bob joined.\r\n"), std::string::npos);
  Drain(h.s);
  const std::vector<std::string> toBob = {"[Joined]Bob", "[NEW NAME LIST]", "[People]-000000001Host",
                                          "[People]0000000001Ann", "[People]0000000002Bob"};
  EXPECT_EQ(LinesTo(h.t, 2), toBob);
  const std::vector<std::string> toAnn = toBob;  // the same: everyone hears of the join
  EXPECT_EQ(LinesTo(h.t, 1), toAnn);
  EXPECT_EQ(h.s.Received.back(), "sckConnection(2): [Joined]Bob");
}

TEST(ChatSession, ASecondPlayerReusesTheNumberOfOneWhoLeft) {
  HostFixture h({"Ann", "Bob"});
  int lost = 0;
  h.s.Hooks.PersonLost = [&](int n) {
    EXPECT_EQ(n, 1);
    ++lost;
  };
  h.t.Persons.erase(1);
  h.s.PersonClosed(1);
  h.s.PersonClosed(1);  // a second close event of the same socket changes nothing
  EXPECT_EQ(lost, 1);
  EXPECT_NE(h.s.Status.find("Ann disconnected.\r\n"), std::string::npos);
  EXPECT_EQ(h.s.sConnectionName(1), "");
  Drain(h.s);
  EXPECT_EQ(LinesTo(h.t, 2), std::vector<std::string>{"[Disconnected]0000000001Ann"});

  // The transport hands the free socket 1 to the next player.
  h.t.Persons.insert(1);
  h.s.Accepted(1);
  ASSERT_TRUE(h.s.Receive(1, Line("[Joined]Cid")));
  EXPECT_EQ(h.s.sConnectionName(1), "Cid");
  EXPECT_EQ(h.s.sConnectionName(2), "Bob");
  ASSERT_EQ(h.s.People.size(), 3u);
  EXPECT_EQ(h.s.People[0].Number, -1);
  // A second "[Joined]" from the same socket renames, it does not double the entry.
  ASSERT_TRUE(h.s.Receive(1, Line("[Joined]Cyd")));
  EXPECT_EQ(h.s.People.size(), 3u);
  EXPECT_EQ(h.s.sConnectionName(1), "Cyd");
}

TEST(ChatSession, ClientJoinedWaitsForTheConnectionAndGoesFirst) {
  FakeTransport t;
  ChatSession s(t);
  s.Connecting();
  EXPECT_EQ(s.Status, "Connecting...\r\n");
  EXPECT_EQ(s.Name, "Client");
  s.Join("Ann");
  s.SendToServer("[Message]Ann: hi");
  EXPECT_TRUE(s.SendDataTick());
  EXPECT_TRUE(s.SendDataTick());
  EXPECT_TRUE(t.Sends.empty());
  EXPECT_EQ(s.QueueSize(), 2u);
  t.Client = true;
  EXPECT_TRUE(s.SendDataTick());
  ASSERT_EQ(t.Sends.size(), 1u);
  EXPECT_EQ(t.Sends[0].Target, -1);
  EXPECT_EQ(t.Sends[0].Bytes, "[Joined]Ann\r\n");
  EXPECT_EQ(s.Sent, std::vector<std::string>{"sckConnect: [Joined]Ann"});
  EXPECT_FALSE(s.SendDataTick());
  EXPECT_EQ(t.Sends[1].Bytes, "[Message]Ann: hi\r\n");
}

TEST(ChatSession, QueueSendsOneLinePerTickAndPassesOverDownSockets) {
  FakeTransport t;
  ChatSession s(t);
  s.Host();
  t.Persons = {2, 3};
  s.SendToPerson("to1", 1);  // socket 1 is down
  s.SendToPerson("to2a", 2);
  s.SendToPerson("to3", 3);
  s.SendToPerson("to2b", 2);
  struct Step {
    int target;
    const char* bytes;
    size_t left;
  };
  const Step steps[] = {{2, "to2a\r\n", 3}, {3, "to3\r\n", 2}, {2, "to2b\r\n", 1}};
  for (const Step& step : steps) {
    const size_t before = t.Sends.size();
    s.SendDataTick();
    ASSERT_EQ(t.Sends.size(), before + 1);
    EXPECT_EQ(t.Sends.back().Target, step.target);
    EXPECT_EQ(t.Sends.back().Bytes, step.bytes);
    EXPECT_EQ(s.QueueSize(), step.left);
  }
  EXPECT_TRUE(s.SendDataTick());  // only the line for the down socket is left: it waits
  EXPECT_EQ(t.Sends.size(), 3u);
  t.Persons.insert(1);
  EXPECT_FALSE(s.SendDataTick());
  EXPECT_EQ(t.Sends.back().Target, 1);
  const std::vector<std::string> sent = {"sckConnection(2): to2a", "sckConnection(3): to3",
                                         "sckConnection(2): to2b", "sckConnection(1): to1"};
  EXPECT_EQ(s.Sent, sent);
}

TEST(ChatSession, SendToSelfRunsAtOnce) {
  FakeTransport t;
  ChatSession s(t);
  s.Connecting();
  s.SendToSelf("[Message]note");
  EXPECT_EQ(s.Dialog, "note\r\n");
  EXPECT_EQ(s.Received.back(), "sckConnect: [Message]note");
  EXPECT_TRUE(s.QueueEmpty());
}

TEST(ChatSession, PrivateMessageSkipsTheSenderAndShowsMinusOneOnTheHost) {
  HostFixture h({"Ann", "Bob", "Cid"});
  const std::string line = "[Private Message]" + sFormatSend(3) + sFormatSend(-1) + sFormatSend(1) +
                           sFormatSend(3) + "*Ann*: psst";
  ASSERT_TRUE(h.s.Receive(1, Line(line)));
  EXPECT_EQ(h.s.Dialog, "*Ann*: psst\r\n");
  Drain(h.s);
  EXPECT_TRUE(LinesTo(h.t, 1).empty());
  EXPECT_TRUE(LinesTo(h.t, 2).empty());
  EXPECT_EQ(LinesTo(h.t, 3), std::vector<std::string>{"[Message]*Ann*: psst"});
}

TEST(ChatSession, PrivateMessageFromTheHostAndFromAClient) {
  HostFixture h({"Ann", "Bob"});
  h.s.People[2].Selected = true;  // Bob
  h.s.People[0].Selected = true;  // the host's own entry: not a target
  h.s.Private = true;
  h.s.Send("psst");
  EXPECT_EQ(h.s.Dialog, "*Host*: psst\r\n");
  EXPECT_EQ(h.s.Received.back(), "sckConnection(-1): [Private Message]00000000010000000002*Host*: psst");
  Drain(h.s);
  EXPECT_TRUE(LinesTo(h.t, 1).empty());
  EXPECT_EQ(LinesTo(h.t, 2), std::vector<std::string>{"[Message]*Host*: psst"});

  FakeTransport t;
  ChatSession c(t);
  c.Connecting();
  c.Join("Ann");
  c.People = {{"Host", -1, true}, {"Ann", 1, false}, {"Bob", 2, true}};
  c.Private = true;
  c.Send("x");
  EXPECT_EQ(c.Dialog, "*Ann*: x\r\n");
  t.Client = true;
  Drain(c);
  EXPECT_EQ(LinesTo(t, -1).back(), "[Private Message]0000000002-0000000010000000002*Ann*: x");
}

TEST(ChatSession, PublicMessageReachesEveryoneOnce) {
  HostFixture h({"Ann", "Bob"});
  h.s.Send("hello");
  EXPECT_EQ(h.s.Dialog, "Host: hello\r\n");
  Drain(h.s);
  EXPECT_EQ(LinesTo(h.t, 1), std::vector<std::string>{"[Message]Host: hello"});
  EXPECT_EQ(LinesTo(h.t, 2), std::vector<std::string>{"[Message]Host: hello"});

  // A client's message goes to the host, who shows it and relays it to all but the sender.
  h.t.Sends.clear();
  ASSERT_TRUE(h.s.Receive(1, Line("[Message]Ann: hi")));
  Drain(h.s);
  EXPECT_TRUE(LinesTo(h.t, 1).empty());
  EXPECT_EQ(LinesTo(h.t, 2), std::vector<std::string>{"[Message]Ann: hi"});
}

TEST(ChatSession, ANameWithCommaAndBracketTravelsInMessage) {
  FakeTransport ct;
  ChatSession client(ct);
  client.Connecting();
  client.Join("Smith, J]r [x]");
  client.Send("a, b] c");
  EXPECT_EQ(client.Dialog, "Smith, J]r [x]: a, b] c\r\n");
  ct.Client = true;
  Drain(client);
  const std::vector<std::string> out = LinesTo(ct, -1);
  ASSERT_EQ(out.size(), 2u);
  EXPECT_EQ(out[1], "[Message]Smith, J]r [x]: a, b] c");

  HostFixture h({"Bob"});
  h.t.Persons.insert(2);
  for (const std::string& line : out) ASSERT_TRUE(h.s.Receive(2, Line(line)));
  EXPECT_EQ(h.s.sConnectionName(2), "Smith, J]r [x]");
  EXPECT_NE(h.s.Dialog.find("Smith, J]r [x]: a, b] c\r\n"), std::string::npos);
  Drain(h.s);
  EXPECT_EQ(LinesTo(h.t, 1).back(), "[Message]Smith, J]r [x]: a, b] c");
  // The people list carries the name whole as well.
  const std::vector<std::string> toNew = LinesTo(h.t, 2);
  EXPECT_NE(std::find(toNew.begin(), toNew.end(), "[People]0000000002Smith, J]r [x]"), toNew.end());
}

TEST(ChatSession, KickNeverKicksTheHost) {
  HostFixture h({"Ann", "Bob", "Cid"});
  int lost = 0;
  h.s.Hooks.PersonLost = [&](int) { ++lost; };
  h.s.People[0].Selected = true;
  h.s.Kick();
  EXPECT_TRUE(h.s.QueueEmpty());
  EXPECT_TRUE(h.t.Closed.empty());
  EXPECT_EQ(h.s.People.size(), 4u);
  EXPECT_EQ(lost, 0);

  h.s.People[1].Selected = true;  // Ann
  h.s.People[3].Selected = true;  // Cid
  const std::string statusBefore = h.s.Status;
  h.s.Kick();
  EXPECT_EQ(h.t.Closed, (std::vector<int>{3, 1}));  // last first
  EXPECT_EQ(h.s.Status.substr(statusBefore.size()), "Kicked Cid.\r\nKicked Ann.\r\n");
  ASSERT_EQ(h.s.People.size(), 2u);
  EXPECT_EQ(h.s.People[0].Number, -1);
  EXPECT_EQ(h.s.People[1].Name, "Bob");
  EXPECT_EQ(lost, 2);
  Drain(h.s);
  EXPECT_EQ(LinesTo(h.t, 2), (std::vector<std::string>{"[Kicked]0000000003", "[Kicked]0000000001"}));
  EXPECT_TRUE(LinesTo(h.t, 1).empty());
  EXPECT_TRUE(LinesTo(h.t, 3).empty());
  // The close events that follow a kick change nothing more.
  h.s.PersonClosed(1);
  h.s.PersonClosed(3);
  EXPECT_EQ(lost, 2);
}

TEST(ChatSession, ClientRebuildsThePeopleList) {
  FakeTransport t;
  ChatSession c(t);
  c.Connecting();
  c.ProcessData(Line("[People]-000000001Host") + Line("[People]0000000001Ann"), -1);
  ASSERT_EQ(c.People.size(), 2u);
  c.People[1].Selected = true;
  c.ProcessData(Line("[NEW NAME LIST]"), -1);
  EXPECT_TRUE(c.People.empty());
  c.ProcessData(Line("[People]-000000001Boss") + Line("[People]0000000001Ann") + Line("[People]0000000002Bob"),
                -1);
  ASSERT_EQ(c.People.size(), 3u);
  EXPECT_EQ(c.People[0].Name, "Boss");
  EXPECT_TRUE(c.People[1].Selected);  // the selection survives the rebuild
  EXPECT_FALSE(c.People[2].Selected);
  c.ProcessData(Line("[People]0000000002Bobby"), -1);
  EXPECT_EQ(c.sConnectionName(2), "Bobby");
  c.ProcessData(Line("[Disconnected]0000000002Bobby") + Line("[Kicked]0000000001"), -1);
  EXPECT_EQ(c.People.size(), 1u);
  EXPECT_NE(c.Status.find("Bobby disconnected.\r\nKicked Ann.\r\n"), std::string::npos);
  // The host ignores them.
  HostFixture h({"Ann"});
  ASSERT_TRUE(h.s.Receive(1, Line("[NEW NAME LIST]") + Line("[People]0000000009Evil") + Line("[Kicked]-000000001")));
  EXPECT_EQ(h.s.People.size(), 2u);
}

TEST(ChatSession, ChangeNameOnHostAndClient) {
  HostFixture h({"Ann"});
  h.s.ChangeName("Boss");
  EXPECT_EQ(h.s.sConnectionName(-1), "Boss");
  Drain(h.s);
  EXPECT_EQ(LinesTo(h.t, 1), (std::vector<std::string>{"[NEW NAME LIST]", "[People]-000000001Boss",
                                                        "[People]0000000001Ann"}));
  ASSERT_TRUE(h.s.Receive(1, Line("[Change Name]Annie")));
  EXPECT_EQ(h.s.sConnectionName(1), "Annie");

  FakeTransport t;
  ChatSession c(t);
  c.Connecting();
  c.ChangeName("Zed\r\n[Kicked]");
  t.Client = true;
  Drain(c);
  EXPECT_EQ(LinesTo(t, -1), std::vector<std::string>{"[Change Name]Zed[Kicked]"});
}

TEST(ChatSession, RaceTagsGoToTheRaceUntouched) {
  for (bool host : {true, false}) {
    FakeTransport t;
    ChatSession s(t);
    if (host) {
      s.Host();
    } else {
      s.Connecting();
    }
    std::vector<std::string> seen;
    s.Hooks.RecordLine = [&](const std::string& tag, const std::string& payload, int source) {
      seen.push_back(tag + "|" + payload + "|" + std::to_string(source));
    };
    const int source = host ? 4 : -1;
    const std::vector<std::string> tags = {"[ONLINECC]", "[CRS]",    "[STARTTIP]", "[TIPA]",  "[TIPQ]",
                                           "[ENDTIP]",   "[LOADTIP]", "[STARTTEP]", "[TEPA]", "[TEPQ]",
                                           "[TEPLaps]",  "[ENDTEP]", "[LOADTEP]",  "[STARTSIP]", "[SIPA]",
                                           "[SIPE]",     "[ENDSIP]", "[TIPR]",     "[TEPR]"};
    std::string bytes;
    for (const std::string& tag : tags) bytes += Line(tag + "0000000001 x]y");
    for (const char* other : {"[TIPZ]", "[SIPF]", "[tipa]", "[Nope]", "[TIP]", "[TEPRR]"}) bytes += Line(std::string(other) + "z");
    ASSERT_TRUE(s.Receive(source, bytes));
    ASSERT_EQ(seen.size(), tags.size());
    for (size_t i = 0; i < tags.size(); ++i) {
      EXPECT_EQ(seen[i], tags[i] + "|0000000001 x]y|" + std::to_string(source));
    }
    EXPECT_EQ(s.Received.size(), tags.size() + 6);
  }
}

TEST(ChatSession, ReceiveKeepsSplitLinesPerConnection) {
  HostFixture h({"Ann", "Bob"});
  ASSERT_TRUE(h.s.Receive(1, "[Message]from "));
  ASSERT_TRUE(h.s.Receive(2, "[Message]Bob "));
  ASSERT_TRUE(h.s.Receive(1, "Ann\r"));
  ASSERT_TRUE(h.s.Receive(2, "here\r\n"));
  ASSERT_TRUE(h.s.Receive(1, "\n"));
  EXPECT_EQ(h.s.Dialog, "Bob here\r\nfrom Ann\r\n");
  // ProcessData alone keeps nothing.
  h.s.ProcessData("[Message]lost", 1);
  h.s.ProcessData("\r\n", 1);
  EXPECT_EQ(h.s.Dialog, "Bob here\r\nfrom Ann\r\n");
  // Over-long lines and absurd numbers are refused.
  EXPECT_FALSE(h.s.Receive(1, std::string(kMaxLineBytes + 1, 'a')));
  EXPECT_FALSE(h.s.Receive(kMaxConnectionNumber + 1, Line("[Message]x")));
  EXPECT_FALSE(h.s.Receive(-2, Line("[Message]x")));
  EXPECT_FALSE(h.s.Receive(INT_MIN, Line("[Message]x")));
  EXPECT_TRUE(h.s.Receive(kMaxConnectionNumber, Line("[Message]far")));
  EXPECT_EQ(h.s.Dialog, "Bob here\r\nfrom Ann\r\nfar\r\n");
}

TEST(ChatSession, ServerClosedAndDisconnect) {
  FakeTransport t;
  ChatSession c(t);
  int lost = 0;
  c.Hooks.ServerLost = [&] { ++lost; };
  c.Connecting();
  c.Join("Ann");
  c.ProcessData(Line("[People]-000000001Host") + Line("[Message]hi"), -1);
  c.ServerClosed();
  EXPECT_EQ(lost, 1);
  EXPECT_TRUE(c.People.empty());
  EXPECT_TRUE(c.QueueEmpty());
  EXPECT_EQ(c.Dialog, "");
  EXPECT_EQ(c.Status.substr(c.Status.size() - 15), "Disconnected.\r\n");

  HostFixture h({"Ann"});
  h.s.SendToPerson("x", 1);
  h.s.Disconnect();
  EXPECT_FALSE(h.s.IsServer);
  EXPECT_TRUE(h.s.QueueEmpty());
  EXPECT_TRUE(h.s.People.empty());
}

// A transport that fails at once and closes the session from inside the send.
TEST(ChatSession, ATransportMayCloseTheSessionWhileSending) {
  struct Failing : FakeTransport {
    ChatSession* Session = nullptr;
    void SendClient(std::string_view bytes) override {
      FakeTransport::SendClient(bytes);
      Session->ServerClosed();
    }
  } t;
  ChatSession s(t);
  t.Session = &s;
  t.Client = true;
  s.Connecting();
  s.Join("Ann");
  s.SendToServer("[Message]Ann: a");
  EXPECT_FALSE(s.SendDataTick());
  EXPECT_TRUE(s.QueueEmpty());
  EXPECT_EQ(t.Sends.size(), 1u);
}

// A transport whose close raises the close event at once, inside the kick.
TEST(ChatSession, AKickWhoseCloseEventComesAtOnce) {
  struct Closing : FakeTransport {
    ChatSession* Session = nullptr;
    void ClosePerson(int n) override {
      FakeTransport::ClosePerson(n);
      Session->PersonClosed(n);
    }
  } t;
  ChatSession s(t);
  t.Session = &s;
  s.Host();
  t.Persons = {1, 2};
  ASSERT_TRUE(s.Receive(1, Line("[Joined]Ann")));
  ASSERT_TRUE(s.Receive(2, Line("[Joined]Bob")));
  Drain(s);
  t.Sends.clear();
  std::vector<int> lost;
  s.Hooks.PersonLost = [&](int n) { lost.push_back(n); };
  s.People[1].Selected = true;
  s.Kick();
  EXPECT_EQ(lost, std::vector<int>{1});
  EXPECT_EQ(s.Status.find("Ann disconnected."), std::string::npos);
  Drain(s);
  EXPECT_EQ(LinesTo(t, 2), std::vector<std::string>{"[Kicked]0000000001"});
}

TEST(ChatSession, ChangedIsCalled) {
  FakeTransport t;
  ChatSession s(t);
  int changed = 0;
  s.Hooks.Changed = [&] { ++changed; };
  s.Host();
  EXPECT_GT(changed, 0);
  changed = 0;
  s.ProcessData(Line("[Message]x"), 1);
  EXPECT_GT(changed, 0);
}

// ---------------------------------------------------------------------------------------------
// Hostile peers.

std::string RandomLine(std::mt19937& rng) {
  static const std::vector<std::string> tags = {
      "[Joined]", "[Change Name]", "[NEW NAME LIST]", "[People]", "[Disconnected]", "[Kicked]", "[Message]",
      "[Private Message]", "[Line]", "[Clear Draw]", "[Bogus]", "[", "]", "", "[TIPZ]", "[Private Message"};
  std::uniform_int_distribution<int> pick(0, 9);
  std::string line = tags[std::uniform_int_distribution<size_t>(0, tags.size() - 1)(rng)];
  switch (pick(rng)) {
    case 0:  // a huge count
      line += "9999999999" + sFormatSend(-1) + "x";
      break;
    case 1:  // a count a little past the payload
      line += "0000000005" + sFormatSend(1) + sFormatSend(2);
      break;
    case 2:  // absurd numbers
      line += sFormatSend(std::uniform_int_distribution<long long>(-999999999, 9999999999LL)(rng)) + "n";
      break;
    case 3:  // garbage in the number field
      line += "00x00000-1name";
      break;
    case 4:
      line += "-000000001" + std::string(1000, ']');
      break;
    case 5:  // a proper private message to many, some real
      line += sFormatSend(3) + sFormatSend(-1) + sFormatSend(2) + sFormatSend(10000) + "t";
      break;
    default: {  // binary bytes, CR and LF alone among them
      const int n = std::uniform_int_distribution<int>(0, 200)(rng);
      for (int i = 0; i < n; ++i) line.push_back(static_cast<char>(std::uniform_int_distribution<int>(0, 255)(rng)));
      std::string cleaned;
      for (size_t i = 0; i < line.size(); ++i) {
        if (line[i] == '\r' && i + 1 < line.size() && line[i + 1] == '\n') continue;
        cleaned.push_back(line[i]);
      }
      line = cleaned;
    }
  }
  return line;
}

TEST(ChatHostile, AThousandGarbageLinesNeverCrash) {
  for (bool host : {true, false}) {
    std::mt19937 rng(host ? 7 : 11);
    FakeTransport t;
    t.Persons = {1, 2, 3};
    ChatSession s(t);
    if (host) {
      s.Host();
      s.AddName(1, "Ann");
      s.AddName(2, "Bob");
    } else {
      s.Connecting();
      t.Client = true;
    }
    int records = 0;
    s.Hooks.RecordLine = [&](const std::string&, const std::string&, int) { ++records; };
    std::uniform_int_distribution<int> sources(-3, 10005);
    for (int i = 0; i < 1000; ++i) {
      const std::string line = RandomLine(rng);
      const int source = host ? (i % 3 == 0 ? sources(rng) : 1 + i % 3) : -1;
      if (i % 2 == 0) {
        s.ProcessData(line + "\r\n", source);
      } else {
        // Cut at random places across reads.
        const std::string bytes = line + "\r\n";
        const size_t cut = std::uniform_int_distribution<size_t>(0, bytes.size())(rng);
        s.Receive(source, std::string_view(bytes).substr(0, cut));
        s.Receive(source, std::string_view(bytes).substr(cut));
      }
      if (i % 5 == 0) s.SendDataTick();
    }
    EXPECT_EQ(records, 0);  // no race tag was ever among them
    Drain(s);
    EXPECT_LE(s.People.size(), static_cast<size_t>(kMaxConnectionNumber) + 2);
    // The session still works.
    s.ProcessData(Line("[Message]still here"), host ? 1 : -1);
    EXPECT_NE(s.Dialog.find("still here\r\n"), std::string::npos);
  }
}

TEST(ChatHostile, PrivateMessageCountsAreBounded) {
  HostFixture h({"Ann"});
  const std::string cases[] = {
      "[Private Message]9999999999",
      "[Private Message]" + sFormatSend(1001) + std::string(10010, '1') + "t",
      "[Private Message]" + sFormatSend(-5) + "t",
      "[Private Message]" + sFormatSend(2) + sFormatSend(-1) + "x",  // count past the payload
      "[Private Message]" + sFormatSend(2) + sFormatSend(-1) + "00000000x1t",
      "[Private Message]",
      "[Private Message]" + sFormatSend(1) + sFormatSend(0) + "t",   // the listening socket
      "[Private Message]" + sFormatSend(1) + sFormatSend(-7) + "t",
      "[Private Message]" + sFormatSend(1) + sFormatSend(5000) + "t",  // no such player
  };
  for (const std::string& line : cases) ASSERT_TRUE(h.s.Receive(1, Line(line))) << line;
  EXPECT_EQ(h.s.Dialog, "");
  EXPECT_TRUE(h.s.QueueEmpty());
}

// ---------------------------------------------------------------------------------------------
// Preferences.

class ChatPrefs : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = std::filesystem::temp_directory_path() /
           ("velomark_chat_prefs_" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) + "_" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::remove_all(dir_);
    std::filesystem::create_directories(dir_);
    path_ = (dir_ / "manychat.ini").string();
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }
  void Put(const std::string& text) { std::ofstream(path_, std::ios::binary) << text; }
  std::string Get() {
    std::ifstream in(path_, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
  }
  std::filesystem::path dir_;
  std::string path_;
};

TEST_F(ChatPrefs, DefaultsWithoutAFile) {
  const ChatPreferences p = ReadChatPreferences(path_);
  EXPECT_EQ(p.Port, 600);
  EXPECT_TRUE(p.Tutorial);
}

TEST_F(ChatPrefs, RoundTrip) {
  ASSERT_TRUE(WriteChatPreferences(path_, {4242, false}));
  EXPECT_EQ(Get(), "[Velomark]\r\nPort=4242\r\nTutorial=0\r\n");
  ChatPreferences p = ReadChatPreferences(path_);
  EXPECT_EQ(p.Port, 4242);
  EXPECT_FALSE(p.Tutorial);
  ASSERT_TRUE(WriteChatPreferences(path_, {600, true}));
  p = ReadChatPreferences(path_);
  EXPECT_EQ(p.Port, 600);
  EXPECT_TRUE(p.Tutorial);
}

TEST_F(ChatPrefs, Garbage) {
  struct Case {
    std::string text;
    int port;
    bool tutorial;
  };
  const Case cases[] = {
      {"[Velomark]\nPort=abc\nTutorial=0\n", 600, false},
      {"[Velomark]\r\nPort=0\r\nTutorial=yes\r\n", 600, true},
      {"[Velomark]\nPort=65536\n", 600, true},
      {"[Velomark]\nPort=-1\n", 600, true},
      {"[Velomark]\nPort=99999999999999999999\n", 600, true},
      {"[Velomark]\nPort= 65535 \n", 65535, true},
      {"[velomark]\nport=1\ntutorial=0", 1, false},
      {"[Other]\nPort=700\nTutorial=0\n", 600, true},
      {"Port=700\n", 600, true},
      {"[Velomark\nPort=700\n", 600, true},
      {std::string("\0\xff[Velomark]\n\0\0Port=7", sizeof("\0\xff[Velomark]\n\0\0Port=7") - 1), 600, true},
      {"", 600, true},
      {"[Velomark]\nPort\nTutorial\n=1\n", 600, true},
  };
  for (const Case& c : cases) {
    Put(c.text);
    const ChatPreferences p = ReadChatPreferences(path_);
    EXPECT_EQ(p.Port, c.port) << c.text;
    EXPECT_EQ(p.Tutorial, c.tutorial) << c.text;
  }
  // A directory where the file should be.
  std::filesystem::remove(path_);
  std::filesystem::create_directory(path_);
  EXPECT_EQ(ReadChatPreferences(path_).Port, 600);
  EXPECT_FALSE(WriteChatPreferences(path_, {}));
}

TEST_F(ChatPrefs, KeepsOtherSectionsAndKeys) {
  Put("; comment\r\n[Other]\r\nPort=1\r\n\r\n[Velomark]\r\nName=Ann\r\nport=5\r\n\r\n[Last]\r\nX=1\r\n");
  ASSERT_TRUE(WriteChatPreferences(path_, {700, false}));
  EXPECT_EQ(Get(),
            "; comment\r\n[Other]\r\nPort=1\r\n\r\n[Velomark]\r\nName=Ann\r\nPort=700\r\nTutorial=0\r\n\r\n[Last]\r\nX=1\r\n");
  Put("[Other]\nA=b\n");
  ASSERT_TRUE(WriteChatPreferences(path_, {701, true}));
  EXPECT_EQ(Get(), "[Other]\nA=b\n\n[Velomark]\nPort=701\nTutorial=1\n");
  EXPECT_EQ(ReadChatPreferences(path_).Port, 701);
  // No temporary is left beside the file.
  size_t files = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(dir_)) ++files;
  EXPECT_EQ(files, 1u);
}

}  // namespace
}  // namespace vm
