#include "net/net_session.h"

#include <QNetworkInterface>
#include <QSignalBlocker>

namespace vm {

namespace {

constexpr int kLastPort = 65535;
constexpr int kDefaultSendIntervalMs = 5;
constexpr int kLowPortShift = 6000;

std::string_view View(const QByteArray& bytes) {
  return std::string_view(bytes.constData(), static_cast<size_t>(bytes.size()));
}

}  // namespace

int SuggestedPort(int port) {
  if (port > 0 && port < kFirstFreePort) return port + kLowPortShift;
  if (port > 0 && port < kLastPort) return port + 1;
  return kDefaultPort + kLowPortShift;
}

QString ListenErrorMessage(int port, bool accessDenied, const QString& reason) {
  if (port > 0 && port < kFirstFreePort && accessDenied) {
    return QStringLiteral(
               "Port %1 could not be opened: ports below 1024 need administrator rights on Linux.\n"
               "Try port %2 instead, and tell the other players to use it too.")
        .arg(port)
        .arg(SuggestedPort(port));
  }
  return QStringLiteral("Port %1 could not be opened: %2\nTry another port, such as %3.")
      .arg(port)
      .arg(reason)
      .arg(SuggestedPort(port));
}

QString LocalAddress() {
  for (const QHostAddress& address : QNetworkInterface::allAddresses()) {
    if (address.protocol() == QAbstractSocket::IPv4Protocol && !address.isLoopback()) return address.toString();
  }
  return QHostAddress(QHostAddress::LocalHost).toString();
}

NetSession::NetSession(QObject* parent) : QObject(parent) {
  server_.setObjectName(QStringLiteral("sckConnection(0)"));
  session_.Hooks.Changed = [this] { Q_EMIT changed(); };
  session_.Hooks.Queued = [this] { keepSending(); };
  connect(&server_, &QTcpServer::newConnection, this, &NetSession::acceptConnections);
  tmrSendData_.setObjectName(QStringLiteral("tmrSendData"));
  tmrSendData_.setInterval(kDefaultSendIntervalMs);
  connect(&tmrSendData_, &QTimer::timeout, this, &NetSession::sendTick);
}

NetSession::~NetSession() {
  // The sockets go with this object; none may call back into a session half torn down.
  session_.Hooks = {};
  CloseAll();
}

bool NetSession::Listen(int port, QString& error) {
  CloseAll();
  if (port < 0 || port > kLastPort) {
    error = QStringLiteral("Port %1 is no port: choose one from 1 to %2.").arg(port).arg(kLastPort);
    return false;
  }
  if (!server_.listen(listenAddress_, static_cast<quint16>(port))) {
    const bool denied = server_.serverError() == QAbstractSocket::SocketAccessError;
    error = ListenErrorMessage(port, denied, server_.errorString());
    server_.close();
    return false;
  }
  keepSending();
  return true;
}

quint16 NetSession::ListeningPort() const { return server_.isListening() ? server_.serverPort() : 0; }

void NetSession::ConnectTo(const QString& host, int port) {
  dropClient();
  sckConnect_ = new QTcpSocket(this);
  sckConnect_->setObjectName(QStringLiteral("sckConnect"));
  clientWasConnected_ = false;
  connect(sckConnect_, &QTcpSocket::connected, this, [this] {
    clientWasConnected_ = true;
    // Lines go out one by one: waiting to gather them would hold each for the peer's acknowledgement.
    sckConnect_->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    Q_EMIT connected();
  });
  connect(sckConnect_, &QTcpSocket::readyRead, this, &NetSession::clientData);
  connect(sckConnect_, &QTcpSocket::disconnected, this, &NetSession::clientGone);
  connect(sckConnect_, &QTcpSocket::errorOccurred, this, &NetSession::clientError);
  if (port <= 0 || port > kLastPort) {
    // Reported from the event loop, as any other failure to connect is.
    QTimer::singleShot(0, sckConnect_, [this, socket = sckConnect_] {
      if (sckConnect_ == socket) clientError();
    });
    return;
  }
  sckConnect_->connectToHost(host, static_cast<quint16>(port));
  keepSending();
}

void NetSession::CloseAll() {
  server_.close();
  for (int n = 1; n <= Connections(); ++n) dropPerson(n);
  dropClient();
  keepSending();
}

bool NetSession::ClientConnected() const {
  return sckConnect_ != nullptr && sckConnect_->state() == QAbstractSocket::ConnectedState;
}

bool NetSession::PersonConnected(int n) const {
  if (n < 1 || n > Connections()) return false;
  const QTcpSocket* socket = persons_[static_cast<size_t>(n)];
  return socket != nullptr && socket->state() == QAbstractSocket::ConnectedState;
}

bool NetSession::AnyOpen() const {
  if (server_.isListening()) return true;
  if (sckConnect_ != nullptr && sckConnect_->state() != QAbstractSocket::UnconnectedState) return true;
  for (int n = 1; n <= Connections(); ++n) {
    const QTcpSocket* socket = persons_[static_cast<size_t>(n)];
    if (socket != nullptr && socket->state() != QAbstractSocket::UnconnectedState) return true;
  }
  return false;
}

void NetSession::SendClient(std::string_view bytes) {
  if (!ClientConnected()) return;
  sckConnect_->write(bytes.data(), static_cast<qint64>(bytes.size()));
}

void NetSession::SendPerson(int n, std::string_view bytes) {
  if (!PersonConnected(n)) return;
  persons_[static_cast<size_t>(n)]->write(bytes.data(), static_cast<qint64>(bytes.size()));
}

void NetSession::ClosePerson(int n) {
  dropPerson(n);
  keepSending();
}

void NetSession::acceptConnections() {
  while (server_.hasPendingConnections()) {
    QTcpSocket* socket = server_.nextPendingConnection();
    if (socket == nullptr) break;
    socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    // A free socket of the array first; the array grows only when every one is taken.
    int n = 1;
    while (n <= Connections()) {
      const QTcpSocket* old = persons_[static_cast<size_t>(n)];
      if (old == nullptr || old->state() == QAbstractSocket::UnconnectedState) break;
      ++n;
    }
    if (n > Connections()) {
      persons_.emplace_back();
    } else {
      dropPerson(n);
    }
    socket->setParent(this);
    socket->setObjectName(QStringLiteral("sckConnection(%1)").arg(n));
    persons_[static_cast<size_t>(n)] = socket;
    connect(socket, &QTcpSocket::readyRead, this, [this, socket] { personData(socket); });
    connect(socket, &QTcpSocket::disconnected, this, [this, socket] { personGone(socket); });
    connect(socket, &QTcpSocket::errorOccurred, this, [this, socket] {
      if (socket->state() == QAbstractSocket::UnconnectedState) personGone(socket);
    });
    session_.Accepted(n);
    // Bytes that came with the connection itself are not announced again.
    if (socket->bytesAvailable() > 0) personData(socket);
  }
  keepSending();
}

void NetSession::personData(QTcpSocket* socket) {
  const int n = personNumber(socket);
  if (n < 1) return;
  const QByteArray bytes = socket->readAll();
  if (bytes.isEmpty()) return;
  if (session_.Receive(n, View(bytes))) return;
  // An over-long line: no player of ours sends it. Cut that player off as if he had left.
  if (personNumber(socket) != n) return;
  dropPerson(n);
  session_.PersonClosed(n);
  keepSending();
}

void NetSession::personGone(QTcpSocket* socket) {
  const int n = personNumber(socket);
  if (n < 1) return;
  // What arrived just before the close still counts.
  if (socket->bytesAvailable() > 0) personData(socket);
  if (personNumber(socket) != n) return;
  dropPerson(n);
  session_.PersonClosed(n);
  keepSending();
}

void NetSession::clientData() {
  QTcpSocket* socket = sckConnect_;
  if (socket == nullptr) return;
  const QByteArray bytes = socket->readAll();
  if (bytes.isEmpty()) return;
  if (session_.Receive(-1, View(bytes))) return;
  if (sckConnect_ != socket) return;
  dropClient();
  session_.ServerClosed();
  keepSending();
  Q_EMIT serverClosed();
}

void NetSession::clientGone() {
  if (sckConnect_ == nullptr || !clientWasConnected_) return;
  QTcpSocket* socket = sckConnect_;
  if (socket->bytesAvailable() > 0) clientData();
  if (sckConnect_ != socket) return;
  dropClient();
  session_.ServerClosed();
  keepSending();
  Q_EMIT serverClosed();
}

void NetSession::clientError() {
  if (sckConnect_ == nullptr) return;
  if (clientWasConnected_) {
    // A connection that was up and broke: a close as any other.
    if (sckConnect_->state() == QAbstractSocket::UnconnectedState) clientGone();
    return;
  }
  dropClient();
  session_.Status += "Unable to connect.";
  session_.Status += kLineEnd;
  keepSending();
  Q_EMIT changed();
  Q_EMIT connectFailed();
}

void NetSession::sendTick() {
  const size_t before = session_.QueueSize();
  if (before > 0) session_.SendDataTick();
  const size_t after = session_.QueueSize();
  if (before != lastQueueSize_ || after != before) Q_EMIT changed();
  lastQueueSize_ = after;
  keepSending();
}

void NetSession::keepSending() {
  // The timer runs only while lines wait: an idle session costs nothing.
  if (AnyOpen() && !session_.QueueEmpty()) {
    if (!tmrSendData_.isActive()) tmrSendData_.start();
  } else if (tmrSendData_.isActive()) {
    tmrSendData_.stop();
  }
}

int NetSession::personNumber(const QTcpSocket* socket) const {
  if (socket == nullptr) return 0;
  for (int n = 1; n <= Connections(); ++n) {
    if (persons_[static_cast<size_t>(n)] == socket) return n;
  }
  return 0;
}

void NetSession::dropPerson(int n) {
  if (n < 1 || n > Connections()) return;
  QPointer<QTcpSocket>& slot = persons_[static_cast<size_t>(n)];
  QTcpSocket* socket = slot;
  slot = nullptr;
  if (socket == nullptr) return;
  // Our own close tells no one: whoever closed knows.
  socket->disconnect(this);
  socket->abort();
  socket->deleteLater();
}

void NetSession::dropClient() {
  QTcpSocket* socket = sckConnect_;
  sckConnect_ = nullptr;
  clientWasConnected_ = false;
  if (socket == nullptr) return;
  socket->disconnect(this);
  socket->abort();
  socket->deleteLater();
}

}  // namespace vm
