// The sockets of an online session: the host's listener and its players' sockets, or the client's
// one socket to the host, moving bytes between TCP and the session's lines. Everything runs on the
// thread of the event loop that owns this object.
#pragma once

#include <QHostAddress>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>
#include <string_view>
#include <vector>

#include "online/chat_session.h"

namespace vm {

// Ports below this need administrator rights on Linux.
inline constexpr int kFirstFreePort = 1024;

// Returns the port offered when `port` could not be opened: a port below 1024 moves up by 6000
// (600 becomes 6600) so it keeps its last digits; any other takes the next one.
int SuggestedPort(int port);
// Builds the words shown when listening on `port` failed for `reason` (the system's own words).
// `accessDenied` tells a refusal for rights from any other failure.
QString ListenErrorMessage(int port, bool accessDenied, const QString& reason);
// Returns this machine's address as other machines see it, the loopback one when it has no other.
QString LocalAddress();

class NetSession : public QObject, public ChatTransport {
  Q_OBJECT

 public:
  explicit NetSession(QObject* parent = nullptr);
  ~NetSession() override;

  // Gives the session's lines and lists. Its Hooks.Changed is this object's (connect to changed());
  // RecordLine, PersonLost and ServerLost are left to the race.
  ChatSession& Session() { return session_; }
  const ChatSession& Session() const { return session_; }

  // Opens socket 0 on `port` (0 = any free one), closing every other socket first. On failure
  // `error` holds the words for the player and nothing is left open.
  bool Listen(int port, QString& error);
  // Sets the address the host listens on: every interface unless set (tests keep to loopback).
  void SetListenAddress(const QHostAddress& address) { listenAddress_ = address; }
  quint16 ListeningPort() const;
  bool Listening() const { return server_.isListening(); }

  // Opens sckConnect to the host. A failure puts "Unable to connect." in the status and emits
  // connectFailed(); success emits connected().
  void ConnectTo(const QString& host, int port);
  // Closes every socket at once without reporting anyone as gone: the session clears itself.
  void CloseAll();
  // Counts the sockets in the host's array, socket 0 not counted.
  int Connections() const { return static_cast<int>(persons_.size()) - 1; }

  // Sets the milliseconds between two lines sent; one line goes out per tick.
  void SetSendInterval(int ms) { tmrSendData_.setInterval(ms); }

  bool ClientConnected() const override;
  bool PersonConnected(int n) const override;
  bool AnyOpen() const override;
  void SendClient(std::string_view bytes) override;
  void SendPerson(int n, std::string_view bytes) override;
  void ClosePerson(int n) override;
  int PersonCount() const override { return Connections(); }

 Q_SIGNALS:
  // Anything the window shows may have changed: status, dialog, people, logs, the queue.
  void changed();
  void connected();
  void connectFailed();
  // The host closed the client's connection (the session has already been told).
  void serverClosed();

 private:
  void acceptConnections();
  void personData(QTcpSocket* socket);
  void personGone(QTcpSocket* socket);
  void clientData();
  void clientGone();
  void clientError();
  void sendTick();
  // Starts the send timer while any socket is open, stops it once none is.
  void keepSending();
  int personNumber(const QTcpSocket* socket) const;
  // Closes person n's socket without reporting it; the slot becomes free.
  void dropPerson(int n);
  void dropClient();

  ChatSession session_{*this};
  QTcpServer server_;  // sckConnection(0)
  // sckConnection(1..Connections); element 0 stays empty, the listener being server_.
  std::vector<QPointer<QTcpSocket>> persons_{1};
  QTcpSocket* sckConnect_ = nullptr;
  bool clientWasConnected_ = false;
  QHostAddress listenAddress_{QHostAddress::Any};
  QTimer tmrSendData_;
  size_t lastQueueSize_ = 0;
};

}  // namespace vm
