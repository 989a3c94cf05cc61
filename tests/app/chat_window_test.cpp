// The online session's window: its buttons through hosting and disconnecting, its messages, and
// pictures of it for a person to look at.
#include "app/dialogs/chat_window.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <functional>
#include <memory>
#include <string>

#include "net/net_session.h"
#include "online/chat_prefs.h"
#include "tests/app/app_fixture.h"

namespace vm {
namespace {

using testing_support::Child;

bool WaitFor(const std::function<bool()>& done) {
  for (int waited = 0; waited < 10000; waited += 5) {
    if (done()) return true;
    QTest::qWait(5);
  }
  return done();
}

// Answers the next modal window with `answer` once it shows, noting its text (a message box's) or
// its object name.
void AnswerModal(QString& seen, const std::function<void(QWidget&)>& answer) {
  QTimer::singleShot(0, [&seen, answer] {
    QWidget* modal = nullptr;
    WaitFor([&] { return (modal = QApplication::activeModalWidget()) != nullptr; });
    ASSERT_NE(modal, nullptr);
    if (auto* box = qobject_cast<QMessageBox*>(modal)) {
      seen = box->text();
    } else {
      seen = modal->objectName();
    }
    answer(*modal);
  });
}

class ChatWindowTest : public ::testing::Test {
 protected:
  ChatWindowTest() {
    net.SetListenAddress(QHostAddress::LocalHost);
    window = std::make_unique<ChatWindow>(net, folder.path());
    window->SetOnlinePort(0);
  }

  QPushButton& Button(const char* name) { return *Child<QPushButton>(*window, name); }
  bool Idle() {
    return Button("cmdHost").isEnabled() && Button("cmdConnect").isEnabled() && Button("cmdPorts").isEnabled();
  }
  bool Busy() {
    return !Button("cmdHost").isEnabled() && !Button("cmdConnect").isEnabled() && !Button("cmdPorts").isEnabled();
  }

  // A player on his own sockets who joins the window's session.
  NetSession& Join(const std::string& name) {
    auto& player = *players.emplace_back(std::make_unique<NetSession>());
    player.Session().Connecting();
    player.ConnectTo(QStringLiteral("127.0.0.1"), net.ListeningPort());
    player.Session().Join(name);
    EXPECT_TRUE(WaitFor([&] {
      return player.Session().People.size() == net.Session().People.size() && net.Connections() > 0 &&
             net.Session().sConnectionName(net.Connections()) == name;
    }));
    return player;
  }

  void Save(const char* name) {
    const QByteArray shots = qgetenv("VELOMARK_SCREENSHOTS");
    if (shots.isEmpty()) return;
    QCoreApplication::processEvents();
    EXPECT_TRUE(window->grab().save(QString::fromLocal8Bit(shots) + "/" + name + ".png"));
  }

  QTemporaryDir folder;
  NetSession net;
  std::unique_ptr<ChatWindow> window;
  std::vector<std::unique_ptr<NetSession>> players;
};

TEST_F(ChatWindowTest, HostingAndDisconnectingDriveTheButtonsAndCaption) {
  int hosted = 0;
  QObject::connect(window.get(), &ChatWindow::hosted, [&] { ++hosted; });
  bool askedHost = false;
  window->SetUpCar = [&](bool host) { return askedHost = host; };
  window->show();
  EXPECT_TRUE(Idle());
  EXPECT_FALSE(Button("cmdKick").isEnabled());
  EXPECT_EQ(Child<QLineEdit>(*window, "txtIP")->text(), "127.0.0.1");

  Button("cmdHost").click();
  EXPECT_TRUE(Busy());
  EXPECT_TRUE(askedHost);
  EXPECT_EQ(hosted, 1);
  EXPECT_TRUE(net.Listening());
  EXPECT_TRUE(Button("cmdKick").isEnabled());
  EXPECT_TRUE(Button("cmdSendTip").isVisible());
  EXPECT_EQ(window->windowTitle(), "HOST: Host");
  EXPECT_EQ(Child<QLabel>(*window, "lblOnlineCCNumber")->text(), "Car 1");
  EXPECT_EQ(Child<QListWidget>(*window, "lstConnections")->item(0)->text(), "Host");
  EXPECT_TRUE(window->OnlineHost() && window->OnlineMode());

  Join("Ann");
  EXPECT_TRUE(WaitFor([&] { return Child<QListWidget>(*window, "lstConnections")->count() == 2; }));

  Button("cmdDisconnect").click();
  EXPECT_TRUE(Idle());
  EXPECT_FALSE(net.AnyOpen());
  EXPECT_FALSE(Button("cmdKick").isEnabled());
  EXPECT_FALSE(Button("cmdSendTip").isVisible());
  EXPECT_EQ(Child<QListWidget>(*window, "lstConnections")->count(), 0);
  EXPECT_TRUE(Child<QPlainTextEdit>(*window, "txtStatus")->toPlainText().endsWith("Disconnected."));
  EXPECT_NE(window->windowTitle().left(6), "HOST: ");

  // A cancelled car setup leaves nothing open.
  window->SetUpCar = [](bool) { return false; };
  Button("cmdHost").click();
  EXPECT_TRUE(Idle());
  EXPECT_FALSE(net.AnyOpen());
  EXPECT_FALSE(window->OnlineMode());
}

TEST_F(ChatWindowTest, PortsCanChangeOnlyWhileEverythingIsClosed) {
  window->show();
  window->Host();
  QString seen;
  AnswerModal(seen, [](QWidget& modal) { static_cast<QDialog&>(modal).accept(); });
  window->findChild<QPushButton*>("cmdPorts")->setEnabled(true);  // the message is the second guard
  Button("cmdPorts").click();
  EXPECT_EQ(seen,
            "One or more connections are currently open.  Disconnect before attempting to change the port settings.");
  EXPECT_EQ(window->OnlinePort(), 0);

  Button("cmdDisconnect").click();
  AnswerModal(seen, [](QWidget& modal) {
    auto* port = modal.findChild<QLineEdit*>("txtPort");
    port->setText("6123");
    modal.findChild<QPushButton*>("cmdOK")->click();
  });
  Button("cmdPorts").click();
  EXPECT_EQ(seen, "frmChatPorts");
  EXPECT_EQ(window->OnlinePort(), 6123);

  AnswerModal(seen, [](QWidget& modal) {
    modal.findChild<QLineEdit*>("txtPort")->setText("99");
    modal.findChild<QPushButton*>("cmdCancel")->click();
  });
  Button("cmdPorts").click();
  EXPECT_EQ(window->OnlinePort(), 6123);

  // Closing writes the port and the tutorial's state; a new window reads them.
  Child<QCheckBox>(*window, "chkTutorial")->setChecked(false);
  window->close();
  const ChatPreferences prefs = ReadChatPreferences((folder.path() + "/manychat.ini").toStdString());
  EXPECT_EQ(prefs.Port, 6123);
  EXPECT_FALSE(prefs.Tutorial);
  ChatWindow again(net, folder.path());
  EXPECT_EQ(again.OnlinePort(), 6123);
  EXPECT_FALSE(Child<QCheckBox>(again, "chkTutorial")->isChecked());
}

TEST_F(ChatWindowTest, AFailingListenSaysWhyAndOffersAnotherPort) {
  NetSession other;
  other.SetListenAddress(QHostAddress::LocalHost);
  QString error;
  ASSERT_TRUE(other.Listen(0, error));
  const int taken = other.ListeningPort();
  window->SetOnlinePort(taken);
  window->show();
  QString message;
  QString offered;
  AnswerModal(message, [&offered](QWidget& box) {
    static_cast<QDialog&>(box).accept();
    AnswerModal(offered, [](QWidget& ports) {
      EXPECT_EQ(ports.objectName(), "frmChatPorts");
      ports.findChild<QPushButton*>("cmdOK")->click();
    });
  });
  Button("cmdHost").click();
  EXPECT_TRUE(message.startsWith(QStringLiteral("Port %1 could not be opened").arg(taken))) << message.toStdString();
  EXPECT_EQ(window->OnlinePort(), SuggestedPort(taken));
  EXPECT_TRUE(Idle());
  EXPECT_FALSE(net.AnyOpen());
}

TEST_F(ChatWindowTest, MessagesPrivateTargetsAndKickGoThroughTheWindow) {
  window->show();
  window->Host();
  NetSession& ann = Join("Ann");
  NetSession& bob = Join("Bob");
  auto* people = Child<QListWidget>(*window, "lstConnections");
  ASSERT_TRUE(WaitFor([&] { return people->count() == 3; }));

  auto* message = Child<QLineEdit>(*window, "txtMessage");
  message->setText("public");
  QTest::keyClick(message, Qt::Key_Return);
  EXPECT_TRUE(message->text().isEmpty());
  EXPECT_TRUE(WaitFor([&] { return ann.Session().Dialog.find("Host: public") != std::string::npos; }));

  people->item(2)->setSelected(true);  // Bob
  Child<QCheckBox>(*window, "chkPrivate")->setChecked(true);
  message->setText("for Bob");
  Button("cmdSend").click();
  EXPECT_TRUE(WaitFor([&] { return bob.Session().Dialog.find("*Host*: for Bob") != std::string::npos; }));

  Button("cmdKick").click();
  EXPECT_TRUE(WaitFor([&] { return ann.Session().Status.find("Kicked Bob.") != std::string::npos; }));
  EXPECT_TRUE(WaitFor([&] { return people->count() == 2; }));
  Button("cmdDeselect").click();
  EXPECT_TRUE(people->selectedItems().isEmpty());
}

// With VELOMARK_SCREENSHOTS set, the window is written there idle, hosting a session of three with
// some talk, and with the lines sent and received shown.
TEST_F(ChatWindowTest, Screenshots) {
  Child<QCheckBox>(*window, "chkTutorial")->setChecked(false);
  window->show();
  Save("chat-idle");

  window->Host();
  NetSession& ann = Join("Ann");
  Join("Bob");
  ann.Session().Send("Ready when you are.");
  window->findChild<QLineEdit*>("txtMessage")->setText("Green flag in a minute.");
  Button("cmdSend").click();
  EXPECT_TRUE(
      WaitFor([&] { return net.Session().QueueEmpty() && net.Session().Dialog.find("Ready") != std::string::npos; }));
  Child<QListWidget>(*window, "lstConnections")->item(1)->setSelected(true);
  window->SetOnlineCar(1);
  Save("chat-hosting");

  Child<QCheckBox>(*window, "chkTutorial")->setChecked(true);
  Save("chat-tutorial");
}

}  // namespace
}  // namespace vm
