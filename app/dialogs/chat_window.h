// The online session's window (frmChatMain): host or join a session, see who is in it, chat, and
// watch the lines go by. It is also the players' chat window during an online race.
#pragma once

#include <QString>
#include <QTimer>
#include <QWidget>
#include <functional>
#include <string>

class QCheckBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPlainTextEdit;
class QPushButton;

namespace vm {

class NetSession;

class ChatWindow : public QWidget {
  Q_OBJECT

 public:
  // Builds the window over `net`, reading manychat.ini from `folder` (written back on closing).
  ChatWindow(NetSession& net, const QString& folder, QWidget* parent = nullptr);
  ~ChatWindow() override;

  // The race's car setup (frmCarSetup) for the host or a joining player: true when confirmed.
  // Unset, the setup counts as confirmed.
  std::function<bool(bool host)> SetUpCar;
  // The joining player's name once his car is set up (DriverName of his car); unset, txtName's.
  std::function<std::string()> DriverName;

  // Shows the window and, when opened to host or to join, presses that button. Returns false when
  // the host's car setup was cancelled: the window is closed again.
  bool Open(bool autoHost, bool autoJoin);

  int OnlinePort() const { return onlinePort_; }
  void SetOnlinePort(int port) { onlinePort_ = port; }
  bool OnlineMode() const { return onlineMode_; }
  bool OnlineHost() const { return onlineHost_; }
  int OnlineCar() const { return onlineCar_; }
  // Shows the player's car number, as "[ONLINECC]" tells it.
  void SetOnlineCar(int car);

  // Act as cmdHost, cmdConnect and cmdDisconnect do.
  void Host();
  void Connect();
  void Disconnect();

 Q_SIGNALS:
  // Hosting, the host's car set up.
  void hosted();
  // The joining player's car is set up; his car's record is to be queued now, before "[Joined]".
  void joined();
  // cmdSendTip: the turn's records again, for a player who lost them.
  void sendTip();
  // The window closed: every socket is shut and the online mode is over.
  void closed();

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  void build();
  void refresh();
  // A burst changes the session once a line: the window is redrawn once for all of them.
  void refreshSoon();
  QTimer refreshTimer_;
  void openConnection();
  void closeConnection();
  void idle();
  void showPorts();
  // Opens frmChatPorts on `port`; OK sets OnlinePort.
  void askPort(int port);
  void kick();
  void send();
  void changeName();
  void selectionChanged();
  void showTutorial(bool shown);

  NetSession& net_;
  QString prefsPath_;
  int onlinePort_ = 0;
  bool onlineMode_ = false;
  bool onlineHost_ = false;
  int onlineCar_ = 0;
  std::string shownName_;

  QLineEdit* txtName_ = nullptr;
  QLineEdit* txtIP_ = nullptr;
  QLineEdit* txtHostIP_ = nullptr;
  QPushButton* cmdHost_ = nullptr;
  QPushButton* cmdConnect_ = nullptr;
  QPushButton* cmdDisconnect_ = nullptr;
  QPushButton* cmdPorts_ = nullptr;
  QPushButton* cmdKick_ = nullptr;
  QPushButton* cmdSend_ = nullptr;
  QPushButton* cmdDeselect_ = nullptr;
  QPushButton* cmdSendTip_ = nullptr;
  QCheckBox* chkPrivate_ = nullptr;
  QCheckBox* chkTutorial_ = nullptr;
  QPlainTextEdit* txtStatus_ = nullptr;
  QPlainTextEdit* txtDialog_ = nullptr;
  QLineEdit* txtMessage_ = nullptr;
  QListWidget* lstConnections_ = nullptr;
  QListWidget* lstSent_ = nullptr;
  QListWidget* lstReceived_ = nullptr;
  QLabel* lblSent_ = nullptr;
  QLabel* lblRecv_ = nullptr;
  QLabel* picCommunicating_ = nullptr;
  QLabel* lblOnlineCCNumber_ = nullptr;
};

}  // namespace vm
