#include "online/chat_session.h"

#include <gtest/gtest.h>

#include <climits>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "online/chat_prefs.h"

namespace vm {
namespace {

// Lines on the wire: every "|" of `text` ends a line, and so does the end.
std::string Line(std::string_view text) {
  std::string out;
  for (char c : text) out += c == '|' ? std::string("\r\n") : std::string(1, c);
  return out + "\r\n";
}

enum Role { kHost, kClient };

// A session on fake sockets: the test sets which are up and reads what was sent. The hooks re-enter
// the session from inside a send or a close, as a real transport's events may.
struct Rig : ChatTransport {
  bool Client = false;
  std::set<int> Persons;
  std::vector<std::pair<int, std::string>> Sends;  // target (-1: the client's socket), bytes
  std::vector<int> Closed, lost;                   // lost: what Hooks.PersonLost was told
  int changed = 0;
  std::function<void()> OnSendClient;
  std::function<void(int)> OnClose;
  ChatSession s{*this};

  // A host whose players 1..n have joined under `players` (queue drained, nothing recorded as
  // sent), or a client that is connecting.
  explicit Rig(Role role, const std::vector<std::string>& players = {}) {
    s.Hooks.PersonLost = [this](int n) { lost.push_back(n); };
    s.Hooks.Changed = [this] { ++changed; };
    role == kHost ? s.Host() : s.Connecting();
    for (int n = 1; n <= static_cast<int>(players.size()); ++n) {
      Persons.insert(n);
      s.Accepted(n);
      EXPECT_TRUE(s.Receive(n, Line("[Joined]" + players[static_cast<size_t>(n) - 1])));
    }
    Drain();
    Sends.clear();
  }
  bool ClientConnected() const override { return Client; }
  bool PersonConnected(int n) const override { return Persons.count(n) > 0; }
  bool AnyOpen() const override { return Client || !Persons.empty(); }
  void SendClient(std::string_view bytes) override {
    Sends.emplace_back(-1, bytes);
    if (OnSendClient) OnSendClient();
  }
  void SendPerson(int n, std::string_view bytes) override { Sends.emplace_back(n, bytes); }
  void ClosePerson(int n) override {
    Closed.push_back(n);
    Persons.erase(n);
    if (OnClose) OnClose(n);
  }

  // Runs the send timer until the queue is empty or nothing more can go out.
  void Drain() {
    for (size_t before = 0; !s.QueueEmpty() && s.QueueSize() != before;) {
      before = s.QueueSize();
      s.SendDataTick();
    }
  }
  // The lines sent to `target`, without their CR LF, joined by "|".
  std::string To(int target) const {
    std::string out;
    for (const auto& [to, bytes] : Sends) {
      EXPECT_TRUE(bytes.ends_with("\r\n")) << bytes;
      if (to == target) out += (out.empty() ? "" : "|") + bytes.substr(0, bytes.size() - 2);
    }
    return out;
  }
  // The people list as "number name", a "*" after the selected.
  std::string Roll() const {
    std::string out;
    for (const Person& p : s.People) {
      out += (out.empty() ? "" : ",") + std::to_string(p.Number) + " " + p.Name + (p.Selected ? "*" : "");
    }
    return out;
  }
  void Select(const std::set<int>& picked) {
    for (Person& p : s.People) p.Selected = picked.count(p.Number) > 0;
  }
};

TEST(ChatFraming, NumberFieldsKeepTheirWidthAndParseStrictly) {
  const std::pair<long long, const char*> formats[] = {{-1, "-000000001"},           {0, "0000000000"},
                                                       {42, "0000000042"},           {-123456789, "-123456789"},
                                                       {9999999999LL, "9999999999"}, {12345678901LL, "12345678901"}};
  for (const auto& [value, text] : formats) {
    EXPECT_EQ(sFormatSend(value), text);
    long long back = 0;
    EXPECT_TRUE(ParseField(text, back)) << text;
    EXPECT_EQ(back, value);
  }
  EXPECT_FALSE(sFormatSend(LLONG_MIN).empty());
  long long value = 0;
  EXPECT_TRUE(ParseField("7", value));
  EXPECT_EQ(value, 7);
  const std::string bad[] = {
      "",           "-",          " 000000042", "00000042 ",           "+000000042",
      "00000x0042", "--00000001", "000000004.", "1234567890123456789", std::string("00000") + '\0' + "0042"};
  for (const std::string& field : bad) {
    value = 99;
    EXPECT_FALSE(ParseField(field, value)) << field;
    EXPECT_EQ(value, 99) << field;
  }
}

TEST(ChatFraming, ParamsAndTagsAreSafePastTheEnd) {
  const std::string payload = "0000000002-000000001abc";
  EXPECT_EQ(sParam(payload, 1) + "|" + sLongParam(payload, 1), "0000000002|0000000002-000000001abc");
  EXPECT_EQ(sParam(payload, 2) + "|" + sLongParam(payload, 2), "-000000001|-000000001abc");
  EXPECT_EQ(sParam(payload, 3) + "|" + sLongParam(payload, 3), "abc|abc");
  for (int n : {4, 0, -5, INT_MAX}) EXPECT_EQ(sParam(payload, n) + sLongParam(payload, n), "") << n;
  EXPECT_EQ(sParam("", 1) + sLongParam("", 1), "");
  // The tag ends at the first "]": a payload may carry brackets of its own. "#" marks the cut.
  for (std::string_view line :
       {"[Message]#Smith, J]r: hi", "[NEW NAME LIST]#", "#no tag", "#[unterminated", "#x[Message]y", "#", "[]#rest"}) {
    const size_t cut = line.find('#');
    const std::string whole = std::string(line.substr(0, cut)) + std::string(line.substr(cut + 1));
    const TaggedLine split = SplitTag(whole);
    EXPECT_EQ(split.Tag + "#" + split.Payload, line);
  }
}

TEST(ChatLineBuffer, CutsAtCrLfAndRefusesOverLongLines) {
  const std::string x(kMaxLineBytes, 'x');
  std::vector<std::string> bytewise;
  for (char c : std::string("[A]one\r\n\r\n[B]t\rw\no\r\n[C]")) bytewise.emplace_back(1, c);
  // Reads, the lines handed out, whether the last read succeeds (every earlier one does), pending.
  using Lines = std::vector<std::string>;
  const std::tuple<Lines, Lines, bool, size_t> cases[] = {
      {{"[Message]hel", "lo\r", "\n[Joined]A\r\n[Li"}, {"[Message]hello", "[Joined]A"}, true, 3},
      {bytewise, {"[A]one", "", "[B]t\rw\no"}, true, 3},  // a lone CR or LF is part of the line
      {{x + "\r\n"}, {x}, true, 0},
      {{x + "x\r\n"}, {}, false, 0},
      {{x}, {}, true, kMaxLineBytes},
      {{x + "x"}, {}, false, 0},
      {{x, "y"}, {}, false, 0},                          // grown past the limit across reads
      {{x + "\r", "\n"}, {x}, true, 0},                  // at the limit, its CR come but not its LF
      {{"[A]a\r\n" + x + "x\r\n"}, {"[A]a"}, false, 0},  // lines before the fault are handed out
  };
  for (const auto& [reads, want, ok, pending] : cases) {
    LineBuffer buffer;
    Lines lines;
    for (size_t r = 0; r < reads.size(); ++r) EXPECT_EQ(buffer.Append(reads[r], lines), r + 1 < reads.size() || ok);
    EXPECT_EQ(lines, want);
    EXPECT_EQ(buffer.Pending(), pending);
  }
}

// The host's list through joins, leaves, renames and a freed socket taken by the next player.
// Each step: the socket, its line ("" = it closes), the list after, what every connected one got.
TEST(ChatSession, HostKeepsThePeopleListAndTellsEveryone) {
  Rig h(kHost, {"Ann"});
  EXPECT_EQ(h.s.Status, "Hosting.\r\nAnn joined.\r\n");
  const std::string list = "[NEW NAME LIST]|[People]-000000001Host|";
  const std::tuple<int, std::string, std::string, std::string> steps[] = {
      {2, "[Joined]Bob", "-1 Host,1 Ann,2 Bob", "[Joined]Bob|" + list + "[People]0000000001Ann|[People]0000000002Bob"},
      {1, "", "-1 Host,2 Bob", "[Disconnected]0000000001Ann"},
      {1, "", "-1 Host,2 Bob", ""},  // a second close event of the same socket
      {1, "[Joined]Cid", "-1 Host,2 Bob,1 Cid", "[Joined]Cid|" + list + "[People]0000000002Bob|[People]0000000001Cid"},
      {1, "[Joined]Cyd", "-1 Host,2 Bob,1 Cyd", "[Joined]Cyd|" + list + "[People]0000000002Bob|[People]0000000001Cyd"},
      {1, "[Change Name]Cy", "-1 Host,2 Bob,1 Cy", list + "[People]0000000002Bob|[People]0000000001Cy"},
      // The clients' own tags mean nothing to the host.
      {1, "[NEW NAME LIST]|[People]0000000009Evil|[Kicked]-000000001|[Disconnected]0000000002Bob", "-1 Host,2 Bob,1 Cy",
       ""},
  };
  for (const auto& [n, line, roll, toAll] : steps) {
    h.Sends.clear();
    if (line.empty()) {
      h.Persons.erase(n);
      h.s.PersonClosed(n);
    } else {
      h.Persons.insert(n);
      ASSERT_TRUE(h.s.Receive(n, Line(line)));
    }
    h.Drain();
    EXPECT_EQ(h.Roll(), roll) << line;
    for (int k : h.Persons) EXPECT_EQ(h.To(k), toAll) << line << " to " << k;
  }
  EXPECT_EQ(h.lost, std::vector<int>{1});
  EXPECT_TRUE(h.s.Status.ends_with("Ann disconnected.\r\nCid joined.\r\nCyd joined.\r\n"));
}

// Each step: the lines from the host, the list after, the status added, the number then selected.
TEST(ChatSession, ClientFollowsTheHostsPeopleList) {
  Rig c(kClient);
  const std::tuple<const char*, const char*, const char*, int> steps[] = {
      {"[People]-000000001Host|[People]0000000001Ann", "-1 Host,1 Ann", "", 1},
      {"[NEW NAME LIST]", "", "", 0},
      {"[People]-000000001Boss|[People]0000000001Ann|[People]0000000002Bob", "-1 Boss,1 Ann*,2 Bob", "", 0},
      {"[People]0000000002Bobby", "-1 Boss,1 Ann*,2 Bobby", "", 0},
      // Numbers out of range, or no numbers at all, change nothing.
      {"[People]abc|[People]-000000002X|[People]0000010001X|[Kicked]|[Disconnected]00000x0001",
       "-1 Boss,1 Ann*,2 Bobby", "", 0},
      {"[Disconnected]0000000002Bobby", "-1 Boss,1 Ann*", "Bobby disconnected.\r\n", 0},
      {"[Kicked]0000000001", "-1 Boss", "Kicked Ann.\r\n", 0},
  };
  for (const auto& [lines, roll, status, select] : steps) {
    const size_t before = c.s.Status.size();
    c.s.ProcessData(Line(lines), -1);
    EXPECT_EQ(c.Roll(), roll) << lines;
    EXPECT_EQ(c.s.Status.substr(before), status) << lines;
    if (select != 0) c.Select({select});
  }
}

TEST(ChatSession, QueueSendsOneLinePerTickAndPassesOverDownSockets) {
  Rig c(kClient);
  c.s.Join("Ann");  // queued before the socket is up: it waits, then goes out first
  c.s.SendToServer("[Message]Ann: hi");
  EXPECT_TRUE(c.s.SendDataTick());
  EXPECT_TRUE(c.Sends.empty());
  c.Client = true;
  EXPECT_TRUE(c.s.SendDataTick());
  EXPECT_EQ(c.To(-1), "[Joined]Ann");
  EXPECT_FALSE(c.s.SendDataTick());
  EXPECT_EQ(c.To(-1), "[Joined]Ann|[Message]Ann: hi");
  c.s.SendToSelf("[Message]note");  // acted on at once, never queued
  EXPECT_EQ(c.s.Dialog, "note\r\n");
  EXPECT_TRUE(c.s.QueueEmpty());
  EXPECT_GT(c.changed, 0);

  Rig h(kHost);
  h.Persons = {2, 3};
  const std::pair<const char*, int> queued[] = {{"to1", 1}, {"to2a", 2}, {"to3", 3}, {"to2b", 2}};
  for (const auto& [line, n] : queued) h.s.SendToPerson(line, n);
  for (size_t left : {3u, 2u, 1u}) {  // one line per tick
    h.s.SendDataTick();
    EXPECT_EQ(h.s.QueueSize(), left);
  }
  EXPECT_TRUE(h.s.SendDataTick());  // only the line for the down socket is left: it waits
  EXPECT_EQ(h.Sends.size(), 3u);
  h.Persons.insert(1);
  EXPECT_FALSE(h.s.SendDataTick());
  EXPECT_EQ(h.To(1), "to1");
  EXPECT_EQ(h.s.Sent, (std::vector<std::string>{"sckConnection(2): to2a", "sckConnection(3): to3",
                                                "sckConnection(2): to2b", "sckConnection(1): to1"}));
}

TEST(ChatSession, MessagesAndNamesTravelWhole) {
  Rig h(kHost, {"Ann", "Bob"});
  h.s.Send("hel\r\nlo");  // CR and LF would end the line early
  ASSERT_TRUE(h.s.Receive(1, Line("[Message]Ann: hi")));
  EXPECT_EQ(h.s.Dialog, "Host: hello\r\nAnn: hi\r\n");
  h.Drain();
  EXPECT_EQ(h.To(1), "[Message]Host: hello");  // a player's own line is not echoed to him
  EXPECT_EQ(h.To(2), "[Message]Host: hello|[Message]Ann: hi");
  h.Sends.clear();
  h.s.ChangeName("Bo\r\nss");
  h.Drain();
  EXPECT_EQ(h.To(1), "[NEW NAME LIST]|[People]-000000001Boss|[People]0000000001Ann|[People]0000000002Bob");

  // A comma and brackets in a name survive the client, the host and the people list.
  Rig c(kClient);
  c.s.Join("Smith, J]r [x]");
  c.s.Send("a, b] c");
  c.s.ChangeName("Zed\r\n[Kicked]");
  EXPECT_EQ(c.s.Dialog, "Smith, J]r [x]: a, b] c\r\n");
  c.Client = true;
  c.Drain();
  EXPECT_EQ(c.To(-1), "[Joined]Smith, J]r [x]|[Message]Smith, J]r [x]: a, b] c|[Change Name]Zed[Kicked]");
  h.Persons.insert(3);
  ASSERT_TRUE(h.s.Receive(3, Line("[Joined]Smith, J]r [x]|[Message]Smith, J]r [x]: a, b] c")));
  EXPECT_EQ(h.s.sConnectionName(3), "Smith, J]r [x]");
  h.Drain();
  EXPECT_TRUE(h.To(1).ends_with("|[People]0000000003Smith, J]r [x]|[Message]Smith, J]r [x]: a, b] c"));
}

// A private line from Ann on socket 1: -1 is the host, shown in his dialog; the sender's own number
// is skipped; a number without a connected player behind it reaches nobody.
TEST(ChatSession, PrivateMessageReachesOnlyItsTargets) {
  // Targets, whether the host shows it, what Bob (2) and Cid (3) get.
  const std::tuple<std::vector<long long>, bool, const char*, const char*> cases[] = {
      {{-1, 1, 3}, true, "", "[Message]*Ann*: psst"},
      {{2}, false, "[Message]*Ann*: psst", ""},
      {{1}, false, "", ""},
      {{0, -7, 4, 5000}, false, "", ""},
  };
  for (const auto& [targets, shown, toBob, toCid] : cases) {
    Rig h(kHost, {"Ann", "Bob", "Cid"});
    std::string line = "[Private Message]" + sFormatSend(static_cast<long long>(targets.size()));
    for (long long n : targets) line += sFormatSend(n);
    ASSERT_TRUE(h.s.Receive(1, Line(line + "*Ann*: psst")));
    h.Drain();
    EXPECT_EQ(h.s.Dialog, shown ? "*Ann*: psst\r\n" : "") << line;
    EXPECT_EQ(h.To(1) + "#" + h.To(2) + "#" + h.To(3), std::string("#") + toBob + "#" + toCid) << line;
  }
  // Sending: the host leaves out his own entry; a client cannot tell its own number, so sends all.
  Rig h(kHost, {"Ann", "Bob"});
  h.Select({-1, 2});
  h.s.Private = true;
  h.s.Send("psst");
  h.Drain();
  EXPECT_EQ(h.s.Dialog, "*Host*: psst\r\n");
  EXPECT_EQ(h.To(1) + "#" + h.To(2), "#[Message]*Host*: psst");
  Rig c(kClient);
  c.s.People = {{"Host", -1, true}, {"Client", 1, false}, {"Bob", 2, true}};
  c.s.Private = true;
  c.s.Send("x");
  EXPECT_EQ(c.s.Dialog, "*Client*: x\r\n");
  c.Client = true;
  c.Drain();
  EXPECT_EQ(c.To(-1), "[Private Message]0000000002-0000000010000000002*Client*: x");
}

TEST(ChatSession, KickClosesTheSelectedLastFirstButNeverTheHost) {
  // Selected, whether the transport raises the close event inside the kick, closed, list, status, to Bob.
  const std::tuple<std::set<int>, bool, std::vector<int>, const char*, const char*, const char*> cases[] = {
      {{-1}, false, {}, "-1 Host*,1 Ann,2 Bob,3 Cid", "", ""},
      {{-1, 1, 3},
       false,
       {3, 1},
       "-1 Host*,2 Bob",
       "Kicked Cid.\r\nKicked Ann.\r\n",
       "[Kicked]0000000003|[Kicked]0000000001"},
      {{1}, true, {1}, "-1 Host,2 Bob,3 Cid", "Kicked Ann.\r\n", "[Kicked]0000000001"},
  };
  for (const auto& [selected, closeAtOnce, closed, roll, status, toBob] : cases) {
    Rig h(kHost, {"Ann", "Bob", "Cid"});
    if (closeAtOnce) h.OnClose = [&h](int n) { h.s.PersonClosed(n); };
    h.Select(selected);
    const size_t before = h.s.Status.size();
    h.s.Kick();
    EXPECT_EQ(h.Closed, closed);
    EXPECT_EQ(h.lost, closed);
    EXPECT_EQ(h.Roll(), roll);
    EXPECT_EQ(h.s.Status.substr(before), status);
    h.Drain();
    EXPECT_TRUE(h.s.QueueEmpty());
    EXPECT_EQ(h.To(2), toBob);
    // A kicked player gets nothing, not even what was queued for him; later close events are no news.
    for (int n : closed) {
      EXPECT_EQ(h.To(n), "");
      h.s.PersonClosed(n);
    }
    EXPECT_EQ(h.lost, closed);
  }
}

TEST(ChatSession, RaceTagsGoToTheRaceUntouched) {
  const std::vector<std::string> tags = {"[ONLINECC]", "[CRS]",     "[STARTTIP]", "[TIPA]",     "[TIPQ]",
                                         "[ENDTIP]",   "[LOADTIP]", "[STARTTEP]", "[TEPA]",     "[TEPQ]",
                                         "[TEPLaps]",  "[ENDTEP]",  "[LOADTEP]",  "[STARTSIP]", "[SIPA]",
                                         "[SIPE]",     "[ENDSIP]",  "[TIPR]",     "[TEPR]"};
  for (Role role : {kHost, kClient}) {
    Rig r(role);
    std::vector<std::string> seen;
    r.s.Hooks.RecordLine = [&](const std::string& tag, const std::string& payload, int source) {
      seen.push_back(tag + payload + "|" + std::to_string(source));
    };
    const int source = role == kHost ? 4 : -1;
    std::string bytes;
    for (const std::string& tag : tags) bytes += Line(tag + "0000000001 x]y");
    bytes += Line("[TIPZ]z|[SIPF]z|[tipa]z|[Nope]z|[TIP]z|[TEPRR]z");
    ASSERT_TRUE(r.s.Receive(source, bytes));
    ASSERT_EQ(seen.size(), tags.size());
    for (size_t i = 0; i < tags.size(); ++i) EXPECT_EQ(seen[i], tags[i] + "0000000001 x]y|" + std::to_string(source));
  }
}

TEST(ChatSession, ReceiveKeepsSplitLinesPerConnection) {
  Rig h(kHost, {"Ann", "Bob"});
  const std::pair<int, const char*> reads[] = {
      {1, "[Message]from "}, {2, "[Message]Bob "}, {1, "Ann\r"}, {2, "here\r\n"}, {1, "\n"}};
  for (const auto& [n, bytes] : reads) ASSERT_TRUE(h.s.Receive(n, bytes));
  h.s.ProcessData("[Message]lost", 1);  // ProcessData alone keeps nothing
  h.s.ProcessData("\r\n", 1);
  EXPECT_EQ(h.s.Dialog, "Bob here\r\nfrom Ann\r\n");
}

TEST(ChatSession, ClosingClearsTheSession) {
  Rig c(kClient);
  int serverLost = 0;
  c.s.Hooks.ServerLost = [&] { ++serverLost; };
  c.s.Join("Ann");
  c.s.ProcessData(Line("[People]-000000001Host|[Message]hi"), -1);
  c.s.ServerClosed();
  EXPECT_EQ(serverLost, 1);
  EXPECT_EQ(c.Roll() + c.s.Dialog, "");
  EXPECT_TRUE(c.s.QueueEmpty());
  EXPECT_TRUE(c.s.Status.ends_with("Disconnected.\r\n"));

  Rig h(kHost, {"Ann"});
  h.s.SendToPerson("x", 1);
  h.s.Disconnect();
  EXPECT_FALSE(h.s.IsServer);
  EXPECT_TRUE(h.s.QueueEmpty());
  EXPECT_EQ(h.Roll(), "");

  // A transport that fails at once and closes the session from inside the send.
  Rig f(kClient);
  f.OnSendClient = [&f] { f.s.ServerClosed(); };
  f.Client = true;
  f.s.Join("Ann");
  f.s.SendToServer("[Message]Ann: a");
  EXPECT_FALSE(f.s.SendDataTick());
  EXPECT_EQ(f.To(-1), "[Joined]Ann");
}

std::string RandomLine(std::mt19937& rng) {
  static const std::string tags[] = {"[Joined]", "[Change Name]", "[NEW NAME LIST]",   "[People]", "[Disconnected]",
                                     "[Kicked]", "[Message]",     "[Private Message]", "[Line]",   "[Clear Draw]",
                                     "[Bogus]",  "[TIPZ]",        "[Private Message",  "[",        "]",
                                     ""};
  auto below = [&rng](long long n) { return std::uniform_int_distribution<long long>(0, n - 1)(rng); };
  std::string line = tags[below(std::ssize(tags))];
  switch (below(10)) {
    case 0: return line + "9999999999" + sFormatSend(-1) + "x";                 // a huge count
    case 1: return line + "0000000005" + sFormatSend(1) + sFormatSend(2);       // a count past the payload
    case 2: return line + sFormatSend(below(11000000000LL) - 999999999) + "n";  // absurd numbers
    case 3: return line + "00x00000-1name";                                     // garbage in the number
    case 4: return line + "-000000001" + std::string(1000, ']');
    case 5: return line + sFormatSend(3) + sFormatSend(-1) + sFormatSend(2) + sFormatSend(10000) + "t";
    default:  // binary bytes, CR and LF alone among them, never together
      for (long long i = below(201); i > 0; --i) {
        const char c = static_cast<char>(below(256));
        if (c != '\n' || line.empty() || line.back() != '\r') line.push_back(c);
      }
      return line;
  }
}

TEST(ChatHostile, AThousandGarbageLinesNeverCrash) {
  for (Role role : {kHost, kClient}) {
    std::mt19937 rng(role == kHost ? 7 : 11);
    Rig r(role, role == kHost ? std::vector<std::string>{"Ann", "Bob", "Cid"} : std::vector<std::string>{});
    r.Client = role == kClient;
    int records = 0;
    r.s.Hooks.RecordLine = [&](const std::string&, const std::string&, int) { ++records; };
    std::uniform_int_distribution<int> sources(-3, kMaxConnectionNumber + 5);
    for (int i = 0; i < 1000; ++i) {
      const std::string bytes = RandomLine(rng) + "\r\n";
      const int source = role == kClient ? -1 : (i % 3 == 0 ? sources(rng) : 1 + i % 3);
      if (i % 2 == 0) {
        r.s.ProcessData(bytes, source);
      } else {  // cut at a random place across two reads
        const size_t cut = std::uniform_int_distribution<size_t>(0, bytes.size())(rng);
        r.s.Receive(source, std::string_view(bytes).substr(0, cut));
        r.s.Receive(source, std::string_view(bytes).substr(cut));
      }
      if (i % 5 == 0) r.s.SendDataTick();
    }
    EXPECT_EQ(records, 0);  // no race tag was among them
    r.Drain();
    EXPECT_LE(r.s.People.size(), static_cast<size_t>(kMaxConnectionNumber) + 2);
    r.s.ProcessData(Line("[Message]still here"), role == kHost ? 1 : -1);
    EXPECT_TRUE(r.s.Dialog.ends_with("still here\r\n"));
  }
}

TEST(ChatHostile, BadLinesAndSourcesChangeNothing) {
  Rig h(kHost, {"Ann"});
  const std::string pm = "[Private Message]";
  for (const std::string& line :
       {pm + "9999999999", pm + sFormatSend(1001) + std::string(10010, '1') + "t", pm + sFormatSend(-5) + "t",
        pm + sFormatSend(2) + sFormatSend(-1) + "x", pm + sFormatSend(2) + sFormatSend(-1) + "00000000x1t", pm}) {
    ASSERT_TRUE(h.s.Receive(1, Line(line))) << line;
  }
  for (int source : {kMaxConnectionNumber + 1, -2, INT_MIN}) EXPECT_FALSE(h.s.Receive(source, Line("[Message]x")));
  EXPECT_FALSE(h.s.Receive(1, std::string(kMaxLineBytes + 1, 'a')));
  EXPECT_EQ(h.s.Dialog, "");
  EXPECT_TRUE(h.s.QueueEmpty());
  EXPECT_EQ(h.Roll(), "-1 Host,1 Ann");
  EXPECT_TRUE(h.s.Receive(kMaxConnectionNumber, Line("[Message]far")));  // the highest number allowed
  EXPECT_EQ(h.s.Dialog, "far\r\n");
}

// Each test's file in a directory of its own.
class ChatPrefs : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::remove_all(dir_);
    std::filesystem::create_directories(dir_);
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }
  void Put(const std::string& text) { std::ofstream(path_, std::ios::binary) << text; }
  std::string Get() {
    std::stringstream ss;
    ss << std::ifstream(path_, std::ios::binary).rdbuf();
    return ss.str();
  }
  const std::filesystem::path dir_ =
      std::filesystem::temp_directory_path() /
      ("velomark_chat_prefs_" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) + "_" +
       ::testing::UnitTest::GetInstance()->current_test_info()->name());
  const std::string path_ = (dir_ / "manychat.ini").string();
};

TEST_F(ChatPrefs, RoundTripAndGarbage) {
  EXPECT_EQ(ReadChatPreferences(path_).Port, 600);  // no file yet
  for (const ChatPreferences& written : {ChatPreferences{4242, false}, ChatPreferences{600, true}}) {
    ASSERT_TRUE(WriteChatPreferences(path_, written));
    const ChatPreferences read = ReadChatPreferences(path_);
    EXPECT_EQ(read.Port, written.Port);
    EXPECT_EQ(read.Tutorial, written.Tutorial);
  }
  EXPECT_EQ(Get(), "[Velomark]\r\nPort=600\r\nTutorial=1\r\n");
  const std::tuple<std::string, int, bool> cases[] = {
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
  for (const auto& [text, port, tutorial] : cases) {
    Put(text);
    const ChatPreferences read = ReadChatPreferences(path_);
    EXPECT_EQ(read.Port, port) << text;
    EXPECT_EQ(read.Tutorial, tutorial) << text;
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
            "; comment\r\n[Other]\r\nPort=1\r\n\r\n[Velomark]\r\nName=Ann\r\nPort=700\r\nTutorial=0\r\n"
            "\r\n[Last]\r\nX=1\r\n");
  Put("[Other]\nA=b\n");
  ASSERT_TRUE(WriteChatPreferences(path_, {701, true}));
  EXPECT_EQ(Get(), "[Other]\nA=b\n\n[Velomark]\nPort=701\nTutorial=1\n");
  // The file is replaced whole: no temporary is left beside it.
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir_), std::filesystem::directory_iterator()), 1);
}

}  // namespace
}  // namespace vm
