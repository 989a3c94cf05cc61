// The session of an online race: a small chat server on plain TCP. One program hosts and relays,
// the others join; messages are lines of text, a tag in square brackets and its payload, ended by
// CR LF. The same connections carry the race records, which this layer hands to the race as they
// come. No sockets here: a transport delivers bytes and reports its sockets' states.
#pragma once

#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace vm {

inline constexpr std::string_view kLineEnd = "\r\n";
// A line longer than this is no message of ours: the connection that sends it is closed.
inline constexpr size_t kMaxLineBytes = 64 * 1024;
inline constexpr int kDefaultPort = 600;
inline constexpr int kHostOwnNumber = -1;  // the host's own entry in the people list
// The highest connection number the session takes from a transport or a peer; anything above is
// refused, so no peer can make the session grow its tables without bound.
inline constexpr int kMaxConnectionNumber = 10000;
// The most connection numbers one "[Private Message]" may name.
inline constexpr long long kMaxPrivateTargets = 1000;
// The logs lstSent and lstReceived keep at most this many lines, the newest.
inline constexpr size_t kMaxLogLines = 10000;
// txtStatus and txtDialog keep at most this many bytes, the newest whole lines.
inline constexpr size_t kMaxShownBytes = 1024 * 1024;

// A number as a fixed field of 10 characters, leading zeros; a negative one keeps the width with
// its sign: -1 gives "-000000001". A number too large for the field gets all its digits (wider),
// as the format of ten "0" does.
std::string sFormatSend(long long value);
// The n-th 10-character field of a payload (from 1); shorter or empty past the end, "" for n < 1.
std::string sParam(std::string_view payload, int n);
// The payload from the start of the n-th 10-character field to its end; "" past the end or n < 1.
std::string sLongParam(std::string_view payload, int n);
// A field as a number, strictly: an optional leading "-" and then 1 to 18 ASCII digits, nothing
// else: no spaces, no "+", no other characters. False (value untouched) for anything else, the
// empty field included.
bool ParseField(std::string_view field, long long& value);

// The tag, up to and including the first "]", and the rest of the line. A line that does not
// start with "[" or has no "]" has the tag "" and all of itself as payload.
struct TaggedLine {
  std::string Tag;
  std::string Payload;
};
TaggedLine SplitTag(std::string_view line);

// Cuts a stream of bytes into lines at CR LF. An unfinished line is kept until its end arrives.
class LineBuffer {
 public:
  // Appends what has arrived and moves every finished line (without its CR LF) to `lines`; only
  // CR LF ends a line, a lone CR or LF is part of it. Returns false when a finished line is over
  // kMaxLineBytes or the unfinished part has grown past it (its CR aside): the sender is to be cut.
  // The lines finished before the fault are still handed out; the buffer is then empty.
  bool Append(std::string_view bytes, std::vector<std::string>& lines);
  size_t Pending() const { return pending_.size(); }
  void Clear() { pending_.clear(); }

 private:
  std::string pending_;
};

// The sockets as the session sees them. Target 0 of the person sockets is the listening socket;
// persons are numbered from 1.
class ChatTransport {
 public:
  virtual ~ChatTransport() = default;
  // sckConnect, the client's one socket, is connected (state 7).
  virtual bool ClientConnected() const = 0;
  // sckConnection(n) carries a connected player.
  virtual bool PersonConnected(int n) const = 0;
  // Any socket is open, listening or connecting (bConnected).
  virtual bool AnyOpen() const = 0;
  virtual void SendClient(std::string_view bytes) = 0;
  virtual void SendPerson(int n, std::string_view bytes) = 0;
  virtual void ClosePerson(int n) = 0;
  // Connections: the number of person sockets, socket 0 not counted. The session also counts every
  // connection it has heard of (Accepted, Receive, the people list), so a transport may leave this.
  virtual int PersonCount() const { return 0; }
};

// One entry of the people list lstConnections: a name and the connection number (-1 the host).
struct Person {
  std::string Name;
  int Number = 0;
  bool Selected = false;
};

// What the session hands on to the race and the window.
struct ChatHooks {
  // A line of a race record or of a car's number ("[CRS]", "[ONLINECC]", "[STARTTIP]" ... ), with
  // the connection it came from (-1 on a client).
  std::function<void(const std::string& tag, const std::string& payload, int source)> RecordLine;
  // Host: the player on connection n is gone (closed or kicked).
  std::function<void(int n)> PersonLost;
  // Client: the host closed the session.
  std::function<void()> ServerLost;
  // Anything shown changed: status, dialog, people, logs.
  std::function<void()> Changed;
  // A line joined the queue: the send timer is to run.
  std::function<void()> Queued;
};

class ChatSession {
 public:
  explicit ChatSession(ChatTransport& transport) : transport_(transport) {}

  ChatHooks Hooks;

  // --- State shown by frmChatMain.
  bool IsServer = false;
  std::string Name;                   // txtName
  std::vector<Person> People;         // lstConnections
  std::string Status;                 // txtStatus
  std::string Dialog;                 // txtDialog
  std::vector<std::string> Sent;      // lstSent
  std::vector<std::string> Received;  // lstReceived
  bool Private = false;               // chkPrivate

  // --- The session's course.
  // cmdHost's session part: name "Host", the host's own entry, status "Hosting.".
  void Host();
  // cmdConnect's session part before the socket opens: name "Client", status "Connecting...".
  void Connecting();
  // Once the car is set up: the client's name and its "[Joined]", queued before the socket is up.
  void Join(const std::string& name);
  // cmdDisconnect, and the end of the window: the queue, the people and the dialog are cleared.
  void Disconnect();
  // The host's socket n closed (the player left or was cut): a joined player is taken off the list
  // and the others told; his queued lines are dropped (else the next player on socket n would get
  // them); Hooks.PersonLost(n) once per player, however many close events come.
  void PersonClosed(int n);
  // The client's socket to the host closed.
  void ServerClosed();
  // cmdKick (host): every selected person but the host, last first. Each kicked player's queued
  // lines are dropped with him, and Hooks.PersonLost is told.
  void Kick();
  // cmdSend, and Enter in txtMessage. CR and LF are taken out of the text. On the host the public
  // line goes through SendToSelf alone, which shows it and relays it to every player once (the
  // described SendToAll(line, true) plus UpdateDialog would show it three times and send it twice).
  void Send(const std::string& text);
  // Enter in txtName. CR and LF are taken out of the name.
  void ChangeName(const std::string& name);
  // Host: socket n has accepted a player (optional: the session learns of n anyway from its data).
  void Accepted(int n);

  // --- Receiving. Bytes from connection `source` (-1 on a client); an unfinished line is kept
  // in the connection's own LineBuffer until its end arrives. False when that connection must be
  // closed: it sent an over-long line, or its number is outside -1..kMaxConnectionNumber.
  bool Receive(int source, std::string_view bytes);
  // ProcessData: every finished line of `buffer` is acted on; a fragment after the last CR LF is
  // dropped (Receive keeps it). A source outside -1..kMaxConnectionNumber is refused whole.
  void ProcessData(std::string_view buffer, int source);

  // --- Sending: every line goes through the queue.
  void SendToServer(const std::string& line);
  void SendToPerson(const std::string& line, int n);
  void SendToAll(const std::string& line, bool includeSelf);
  void SendToAllButOriginator(const std::string& line, int source);
  void SendToSelf(const std::string& line);
  // tmrSendData: sends at most one line. Returns whether lines still wait.
  bool SendDataTick();
  bool QueueEmpty() const { return queue_.empty(); }
  size_t QueueSize() const { return queue_.size(); }

  // --- The people list.
  void AddName(int number, const std::string& name);
  void ChangeAddName(int number, const std::string& name);
  void RemoveName(int number);
  std::string sConnectionName(int number) const;
  void SendPeopleList();

  // --- Display: text + CR LF appended to txtStatus, txtDialog.
  void UpdateStatus(const std::string& text);
  void UpdateDialog(const std::string& text);
  // ClearStuff: the queue, the people list and the dialog cleared.
  void ClearStuff();

 private:
  struct Queued {
    std::string Line;
    std::string Target;  // "sckConnect" or "sckConnection(n)"
    int Number = -1;     // n of "sckConnection(n)"; -1 for "sckConnect"
  };
  // One finished line from connection `source`, logged and acted on.
  void ProcessLine(const std::string& line, int source);
  void HostLine(const std::string& tag, const std::string& payload, int source);
  void ClientLine(const std::string& tag, const std::string& payload);
  void PrivateMessage(const std::string& payload, int source);
  // A person socket n carries a player, so the session's loops reach it.
  void Note(int n);
  // The player on n is gone: his buffer and queued lines dropped, the race told (once).
  void Lost(int n);
  int ConnectionCount() const;
  void Log(std::vector<std::string>& log, std::string line);
  void Changed();

  ChatTransport& transport_;
  std::deque<Queued> queue_;         // a deque: the timer takes lines off the front
  std::vector<LineBuffer> buffers_;  // per connection; the client's at index 0
  std::vector<char> live_;           // per connection: heard of and not yet lost
  int connections_ = 0;              // the highest person number heard of
  std::vector<int> reselect_;        // client: numbers selected when the list was last cleared
};

}  // namespace vm
