#include "online/chat_session.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace vm {

namespace {

constexpr std::string_view kClientTarget = "sckConnect";

std::string ConnectionTarget(int n) { return "sckConnection(" + std::to_string(n) + ")"; }

// The race records and the car's number: handed to the race as they come.
bool IsRecordTag(const std::string& tag) {
  static const std::array<std::string_view, 13> kFixed = {
      "[ONLINECC]", "[CRS]",     "[STARTTIP]", "[ENDTIP]", "[LOADTIP]", "[STARTTEP]", "[TEPLaps]",
      "[ENDTEP]",   "[LOADTEP]", "[STARTSIP]", "[ENDSIP]", "[TIPR]",    "[TEPR]"};
  if (std::find(kFixed.begin(), kFixed.end(), tag) != kFixed.end()) return true;
  // "[TIPA]" ... "[TIPQ]", "[TEPA]" ... "[TEPQ]", "[SIPA]" ... "[SIPE]".
  if (tag.size() != 6 || tag[0] != '[' || tag[5] != ']') return false;
  const std::string_view stem(tag.data() + 1, 3);
  const char letter = tag[4];
  if (stem == "TIP" || stem == "TEP") return letter >= 'A' && letter <= 'Q';
  if (stem == "SIP") return letter >= 'A' && letter <= 'E';
  return false;
}

// CR and LF end a line on the wire: a user's text must not carry them.
std::string StripLineEnds(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    if (c != '\r' && c != '\n') out.push_back(c);
  }
  return out;
}

// Keeps the newest whole lines of a shown text within kMaxShownBytes.
void TrimShown(std::string& text) {
  if (text.size() <= kMaxShownBytes) return;
  size_t cut = text.size() - kMaxShownBytes;
  const size_t end = text.find(kLineEnd, cut);
  cut = end == std::string::npos ? text.size() : end + kLineEnd.size();
  text.erase(0, cut);
}

bool InRange(int source) { return source >= -1 && source <= kMaxConnectionNumber; }

}  // namespace

// ---------------------------------------------------------------------------------------------
// Framing.

std::string sFormatSend(long long value) {
  if (value < 0) {
    // The magnitude of LLONG_MIN does not fit a long long: go through unsigned.
    const unsigned long long magnitude = 0ULL - static_cast<unsigned long long>(value);
    std::string digits = std::to_string(magnitude);
    if (digits.size() < 9) digits.insert(0, 9 - digits.size(), '0');
    return "-" + digits;
  }
  std::string digits = std::to_string(value);
  if (digits.size() < 10) digits.insert(0, 10 - digits.size(), '0');
  return digits;
}

std::string sParam(std::string_view payload, int n) {
  if (n < 1) return "";
  const unsigned long long start = (static_cast<unsigned long long>(n) - 1) * 10;
  if (start >= payload.size()) return "";
  return std::string(payload.substr(static_cast<size_t>(start), 10));
}

std::string sLongParam(std::string_view payload, int n) {
  if (n < 1) return "";
  const unsigned long long start = (static_cast<unsigned long long>(n) - 1) * 10;
  if (start >= payload.size()) return "";
  return std::string(payload.substr(static_cast<size_t>(start)));
}

bool ParseField(std::string_view field, long long& value) {
  bool negative = false;
  if (!field.empty() && field.front() == '-') {
    negative = true;
    field.remove_prefix(1);
  }
  if (field.empty() || field.size() > 18) return false;
  long long result = 0;
  for (char c : field) {
    if (c < '0' || c > '9') return false;
    result = result * 10 + (c - '0');
  }
  value = negative ? -result : result;
  return true;
}

TaggedLine SplitTag(std::string_view line) {
  TaggedLine out;
  const size_t close = line.find(']');
  if (line.empty() || line.front() != '[' || close == std::string_view::npos) {
    out.Payload = std::string(line);
    return out;
  }
  out.Tag = std::string(line.substr(0, close + 1));
  out.Payload = std::string(line.substr(close + 1));
  return out;
}

bool LineBuffer::Append(std::string_view bytes, std::vector<std::string>& lines) {
  // A CR LF may straddle the old part and the new bytes: search from the old part's last byte.
  size_t search = pending_.empty() ? 0 : pending_.size() - 1;
  pending_.append(bytes.data(), bytes.size());
  size_t start = 0;
  for (;;) {
    const size_t end = pending_.find(kLineEnd, std::max(search, start));
    if (end == std::string::npos) break;
    if (end - start > kMaxLineBytes) {
      pending_.clear();
      return false;
    }
    lines.emplace_back(pending_, start, end - start);
    start = end + kLineEnd.size();
    search = start;
  }
  pending_.erase(0, start);
  // An unfinished line may stand at the limit with the CR of its end already there.
  size_t unfinished = pending_.size();
  if (unfinished > 0 && pending_.back() == '\r') --unfinished;
  if (unfinished > kMaxLineBytes) {
    pending_.clear();
    return false;
  }
  return true;
}

// ---------------------------------------------------------------------------------------------
// The session's course.

void ChatSession::Changed() {
  if (Hooks.Changed) Hooks.Changed();
}

void ChatSession::UpdateStatus(const std::string& text) {
  Status += text;
  Status += kLineEnd;
  TrimShown(Status);
  Changed();
}

void ChatSession::UpdateDialog(const std::string& text) {
  Dialog += text;
  Dialog += kLineEnd;
  TrimShown(Dialog);
  Changed();
}

void ChatSession::Log(std::vector<std::string>& log, std::string line) {
  if (log.size() >= kMaxLogLines) log.erase(log.begin(), log.begin() + static_cast<std::ptrdiff_t>(kMaxLogLines / 10));
  log.push_back(std::move(line));
  Changed();
}

void ChatSession::ClearStuff() {
  queue_.clear();
  People.clear();
  Dialog.clear();
  Changed();
}

void ChatSession::Host() {
  Name = "Host";
  IsServer = true;
  ClearStuff();
  buffers_.clear();
  live_.clear();
  connections_ = 0;
  UpdateStatus("Hosting.");
  AddName(kHostOwnNumber, Name);
}

void ChatSession::Connecting() {
  Name = "Client";
  IsServer = false;
  ClearStuff();
  buffers_.clear();
  live_.clear();
  connections_ = 0;
  UpdateStatus("Connecting...");
}

void ChatSession::Join(const std::string& name) {
  Name = StripLineEnds(name);
  Changed();
  SendToServer("[Joined]" + Name);
}

void ChatSession::Disconnect() {
  IsServer = false;
  UpdateStatus("Disconnected.");
  ClearStuff();
  buffers_.clear();
  live_.clear();
  connections_ = 0;
  reselect_.clear();
}

void ChatSession::Note(int n) {
  if (n < 1 || n > kMaxConnectionNumber) return;
  connections_ = std::max(connections_, n);
  if (live_.size() <= static_cast<size_t>(n)) live_.resize(static_cast<size_t>(n) + 1, 0);
  live_[static_cast<size_t>(n)] = 1;
}

void ChatSession::Accepted(int n) {
  if (!IsServer) return;
  Note(n);
  if (static_cast<size_t>(n) < buffers_.size()) buffers_[static_cast<size_t>(n)].Clear();
}

void ChatSession::Lost(int n) {
  if (n < 1 || n > kMaxConnectionNumber) return;
  if (static_cast<size_t>(n) < buffers_.size()) buffers_[static_cast<size_t>(n)].Clear();
  // Lines for a gone player would otherwise reach whoever takes his socket next.
  std::erase_if(queue_, [n](const Queued& q) { return q.Number == n; });
  const bool wasLive = static_cast<size_t>(n) < live_.size() && live_[static_cast<size_t>(n)] != 0;
  if (wasLive) live_[static_cast<size_t>(n)] = 0;
  if (wasLive && Hooks.PersonLost) Hooks.PersonLost(n);
}

void ChatSession::PersonClosed(int n) {
  if (!IsServer || n < 1 || n > kMaxConnectionNumber) return;
  const std::string name = sConnectionName(n);
  if (!name.empty()) {
    UpdateStatus(name + " disconnected.");
    RemoveName(n);
    SendToAll("[Disconnected]" + sFormatSend(n) + name, false);
  }
  Lost(n);
}

void ChatSession::ServerClosed() {
  UpdateStatus("Disconnected.");
  People.clear();
  ClearStuff();
  buffers_.clear();
  reselect_.clear();
  if (Hooks.ServerLost) Hooks.ServerLost();
}

void ChatSession::Kick() {
  if (!IsServer) return;
  std::vector<int> chosen;
  for (auto it = People.rbegin(); it != People.rend(); ++it) {
    if (it->Selected && it->Number != kHostOwnNumber) chosen.push_back(it->Number);
  }
  for (int number : chosen) {
    const int count = ConnectionCount();
    for (int k = 1; k <= count; ++k) {
      if (k != number && transport_.PersonConnected(k)) SendToPerson("[Kicked]" + sFormatSend(number), k);
    }
    const std::string name = sConnectionName(number);
    // Off the list before the socket closes: a close event the transport raises at once then
    // finds no name and tells nobody of a "disconnect".
    RemoveName(number);
    if (number >= 1 && number <= kMaxConnectionNumber) transport_.ClosePerson(number);
    UpdateStatus("Kicked " + name + ".");
    Lost(number);
  }
}

void ChatSession::Send(const std::string& rawText) {
  const std::string text = StripLineEnds(rawText);
  std::vector<int> targets;
  bool anySelected = false;
  for (const Person& p : People) {
    if (!p.Selected) continue;
    anySelected = true;
    // The own entry: the host's is -1. A client cannot tell its own number; the host skips it.
    if (IsServer && p.Number == kHostOwnNumber) continue;
    targets.push_back(p.Number);
  }
  if (!Private || !anySelected) {
    const std::string line = "[Message]" + Name + ": " + text;
    if (IsServer) {
      SendToSelf(line);  // shows it and relays it to every player
    } else {
      SendToServer(line);
      UpdateDialog(Name + ": " + text);
    }
    return;
  }
  std::string line = "[Private Message]" + sFormatSend(static_cast<long long>(targets.size()));
  for (int number : targets) line += sFormatSend(number);
  const std::string shown = "*" + Name + "*: " + text;
  line += shown;
  if (IsServer) {
    SendToSelf(line);
  } else {
    SendToServer(line);
  }
  UpdateDialog(shown);
}

void ChatSession::ChangeName(const std::string& rawName) {
  Name = StripLineEnds(rawName);
  Changed();
  if (IsServer) {
    ChangeAddName(kHostOwnNumber, Name);
    SendPeopleList();
  } else {
    SendToServer("[Change Name]" + Name);
  }
}

// ---------------------------------------------------------------------------------------------
// Receiving.

bool ChatSession::Receive(int source, std::string_view bytes) {
  if (!InRange(source)) return false;
  const size_t index = source < 0 ? 0 : static_cast<size_t>(source);
  if (buffers_.size() <= index) buffers_.resize(index + 1);
  if (IsServer) Note(source);
  std::vector<std::string> lines;
  const bool ok = buffers_[index].Append(bytes, lines);
  for (const std::string& line : lines) ProcessLine(line, source);
  return ok;
}

void ChatSession::ProcessData(std::string_view buffer, int source) {
  if (!InRange(source)) return;
  for (;;) {
    const size_t end = buffer.find(kLineEnd);
    if (end == std::string_view::npos) return;
    ProcessLine(std::string(buffer.substr(0, end)), source);
    buffer.remove_prefix(end + kLineEnd.size());
  }
}

void ChatSession::ProcessLine(const std::string& line, int source) {
  if (IsServer) {
    Log(Received, "sckConnection(" + std::to_string(source) + "): " + line);
  } else {
    Log(Received, "sckConnect: " + line);
  }
  TaggedLine tagged = SplitTag(line);
  if (tagged.Tag.empty()) return;
  if (IsRecordTag(tagged.Tag)) {
    if (Hooks.RecordLine) Hooks.RecordLine(tagged.Tag, tagged.Payload, source);
    return;
  }
  if (IsServer) {
    HostLine(tagged.Tag, tagged.Payload, source);
  } else {
    ClientLine(tagged.Tag, tagged.Payload);
  }
}

void ChatSession::HostLine(const std::string& tag, const std::string& payload, int source) {
  // A player without a name gets one: a nameless entry would outlive its player, whose leaving
  // is told by name.
  const std::string name =
      payload.find_first_not_of(' ') == std::string::npos ? "Player " + std::to_string(source) : payload;
  if (tag == "[Joined]") {
    UpdateStatus(name + " joined.");
    SendToAll("[Joined]" + name, false);
    // A person is a socket of the array; a second "[Joined]" renames rather than doubles him.
    if (source >= 1) ChangeAddName(source, name);
    SendPeopleList();
  } else if (tag == "[Change Name]") {
    if (source >= 1) {
      ChangeAddName(source, name);
      SendPeopleList();
    }
  } else if (tag == "[Message]") {
    UpdateDialog(payload);
    SendToAllButOriginator("[Message]" + payload, source);
  } else if (tag == "[Private Message]") {
    PrivateMessage(payload, source);
  } else if (tag == "[Line]") {
    SendToAll("[Line]" + payload, false);
  } else if (tag == "[Clear Draw]") {
    SendToAllButOriginator("[Clear Draw]", source);
  }
  // Anything else, the clients' tags among them, is dropped.
}

void ChatSession::PrivateMessage(const std::string& payload, int source) {
  long long count = 0;
  if (!ParseField(sParam(payload, 1), count)) return;
  if (count < 0 || count > kMaxPrivateTargets) return;
  if (static_cast<unsigned long long>(count + 1) * 10 > payload.size()) return;
  std::vector<long long> numbers;
  numbers.reserve(static_cast<size_t>(count));
  for (long long i = 2; i <= count + 1; ++i) {
    long long number = 0;
    if (!ParseField(sParam(payload, static_cast<int>(i)), number)) return;  // the whole line is bad
    numbers.push_back(number);
  }
  const std::string text = sLongParam(payload, static_cast<int>(count + 2));
  for (long long number : numbers) {
    if (number == kHostOwnNumber) {
      UpdateDialog(text);
    } else if (number == source) {
      continue;
    } else if (number >= 1 && number <= kMaxConnectionNumber && transport_.PersonConnected(static_cast<int>(number))) {
      // A number whose socket is not up is passed over: its line would only wait in the queue.
      SendToPerson("[Message]" + text, static_cast<int>(number));
    }
  }
}

void ChatSession::ClientLine(const std::string& tag, const std::string& payload) {
  if (tag == "[Joined]") {
    UpdateStatus(payload + " joined.");
  } else if (tag == "[NEW NAME LIST]") {
    reselect_.clear();
    for (const Person& p : People) {
      if (p.Selected) reselect_.push_back(p.Number);
    }
    People.clear();
    Changed();
  } else if (tag == "[People]" || tag == "[Disconnected]" || tag == "[Kicked]") {
    long long number = 0;
    if (!ParseField(sParam(payload, 1), number)) return;
    if (number < kHostOwnNumber || number > kMaxConnectionNumber) return;
    const int n = static_cast<int>(number);
    const std::string name = sLongParam(payload, 2);
    if (tag == "[People]") {
      ChangeAddName(n, name);
    } else if (tag == "[Disconnected]") {
      std::string known = sConnectionName(n);
      UpdateStatus((known.empty() ? name : known) + " disconnected.");
      RemoveName(n);
    } else {
      UpdateStatus("Kicked " + sConnectionName(n) + ".");
      RemoveName(n);
    }
  } else if (tag == "[Message]") {
    UpdateDialog(payload);
  }
  // "[Line]" and "[Clear Draw]" are ignored in the race; anything else is dropped.
}

// ---------------------------------------------------------------------------------------------
// Sending.

void ChatSession::SendToServer(const std::string& line) {
  queue_.push_back(Queued{line, std::string(kClientTarget), -1});
  if (Hooks.Queued) Hooks.Queued();
  Changed();
}

void ChatSession::SendToPerson(const std::string& line, int n) {
  if (n < 1 || n > kMaxConnectionNumber) return;  // no player's socket has such an index
  queue_.push_back(Queued{line, ConnectionTarget(n), n});
  if (Hooks.Queued) Hooks.Queued();
  Changed();
}

int ChatSession::ConnectionCount() const {
  int count = std::max(connections_, transport_.PersonCount());
  for (const Person& p : People) count = std::max(count, p.Number);
  return std::min(count, kMaxConnectionNumber);
}

void ChatSession::SendToAll(const std::string& line, bool includeSelf) {
  const int count = ConnectionCount();
  for (int k = 1; k <= count; ++k) {
    if (transport_.PersonConnected(k)) SendToPerson(line, k);
  }
  if (includeSelf) SendToSelf(line);
}

void ChatSession::SendToAllButOriginator(const std::string& line, int source) {
  const int count = ConnectionCount();
  for (int k = 1; k <= count; ++k) {
    if (k != source && transport_.PersonConnected(k)) SendToPerson(line, k);
  }
}

void ChatSession::SendToSelf(const std::string& line) {
  std::string buffer = line;
  buffer += kLineEnd;
  ProcessData(buffer, -1);
}

bool ChatSession::SendDataTick() {
  for (auto it = queue_.begin(); it != queue_.end(); ++it) {
    const bool up = it->Number < 0 ? transport_.ClientConnected() : transport_.PersonConnected(it->Number);
    if (!up) continue;  // waits, and blocks nothing
    // Off the queue before the transport sees it: a transport that reports a failure at once may
    // come back into the session and clear the queue.
    Queued entry = std::move(*it);
    queue_.erase(it);
    std::string bytes = entry.Line;
    bytes += kLineEnd;
    if (entry.Number < 0) {
      transport_.SendClient(bytes);
      Log(Sent, "sckConnect: " + entry.Line);
    } else {
      transport_.SendPerson(entry.Number, bytes);
      Log(Sent, entry.Target + ": " + entry.Line);
    }
    break;
  }
  return !queue_.empty();
}

// ---------------------------------------------------------------------------------------------
// The people list.

void ChatSession::AddName(int number, const std::string& name) {
  Person person{name, number, false};
  person.Selected = std::find(reselect_.begin(), reselect_.end(), number) != reselect_.end();
  People.push_back(std::move(person));
  if (IsServer) Note(number);
  Changed();
}

void ChatSession::ChangeAddName(int number, const std::string& name) {
  for (Person& p : People) {
    if (p.Number == number) {
      p.Name = name;
      Changed();
      return;
    }
  }
  AddName(number, name);
}

void ChatSession::RemoveName(int number) {
  const auto removed = std::erase_if(People, [number](const Person& p) { return p.Number == number; });
  if (removed > 0) Changed();
}

std::string ChatSession::sConnectionName(int number) const {
  for (const Person& p : People) {
    if (p.Number == number) return p.Name;
  }
  return "";
}

void ChatSession::SendPeopleList() {
  if (!IsServer) return;
  const std::vector<Person> list = People;
  for (const Person& target : list) {
    // Only to a connected socket: a line for any other would wait in the queue for nobody.
    if (target.Number == kHostOwnNumber || !transport_.PersonConnected(target.Number)) continue;
    SendToPerson("[NEW NAME LIST]", target.Number);
    for (const Person& entry : list) {
      SendToPerson("[People]" + sFormatSend(entry.Number) + entry.Name, target.Number);
    }
  }
}

}  // namespace vm
