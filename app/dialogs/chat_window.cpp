#include "app/dialogs/chat_window.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QDialog>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QIntValidator>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QVBoxLayout>
#include <utility>
#include <vector>

#include "net/net_session.h"
#include "online/chat_prefs.h"

namespace vm {

namespace {

const QString kTitle = QStringLiteral("Online Racing");
constexpr int kLastPort = 65535;

template <typename W, typename... Args>
W* Named(const char* name, Args&&... args) {
  auto* widget = new W(std::forward<Args>(args)...);
  widget->setObjectName(QString::fromLatin1(name));
  return widget;
}

// The session keeps CR LF line ends; the text boxes want plain line breaks and no empty last line.
QString Shown(const std::string& text) {
  QString shown = QString::fromStdString(text);
  shown.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
  if (shown.endsWith(QLatin1Char('\n'))) shown.chop(1);
  return shown;
}

void ShowText(QPlainTextEdit& box, const std::string& text) {
  const QString shown = Shown(text);
  if (box.toPlainText() == shown) return;
  box.setPlainText(shown);
  box.verticalScrollBar()->setValue(box.verticalScrollBar()->maximum());
}

// Appends what is new in a log; a log the session has trimmed is shown afresh. A hidden log is
// left until shown: a race record is a thousand lines, and laying each out costs.
void ShowLog(QListWidget& list, const std::vector<std::string>& log) {
  if (list.isHidden()) return;
  const auto shown = static_cast<size_t>(list.count());
  if (log.size() == shown) return;
  if (log.size() < shown) list.clear();
  for (auto i = static_cast<size_t>(list.count()); i < log.size(); ++i) {
    list.addItem(QString::fromStdString(log[i]));
  }
  list.scrollToBottom();
}

}  // namespace

ChatWindow::ChatWindow(NetSession& net, const QString& folder, QWidget* parent)
    : QWidget(parent, Qt::Window), net_(net) {
  setObjectName(QStringLiteral("frmChatMain"));
  setWindowTitle(kTitle);
  build();
  // GetPreferences.
  prefsPath_ = folder + QLatin1Char('/') + QString::fromLatin1(kChatPrefsFile.data(), kChatPrefsFile.size());
  const ChatPreferences prefs = ReadChatPreferences(prefsPath_.toStdString());
  onlinePort_ = prefs.Port;
  chkTutorial_->setChecked(prefs.Tutorial);
  showTutorial(prefs.Tutorial);
  txtHostIP_->setText(LocalAddress());

  refreshTimer_.setSingleShot(true);
  refreshTimer_.setInterval(50);
  connect(&refreshTimer_, &QTimer::timeout, this, &ChatWindow::refresh);
  connect(&net_, &NetSession::changed, this, &ChatWindow::refreshSoon);
  connect(&net_, &NetSession::connectFailed, this, [this] {
    onlineMode_ = false;
    closeConnection();
  });
  connect(&net_, &NetSession::serverClosed, this, [this] {
    onlineMode_ = false;
    idle();
  });
  refresh();
}

ChatWindow::~ChatWindow() { disconnect(&net_, nullptr, this, nullptr); }

void ChatWindow::build() {
  txtName_ = Named<QLineEdit>("txtName");
  txtIP_ = Named<QLineEdit>("txtIP", QStringLiteral("127.0.0.1"));
  txtHostIP_ = Named<QLineEdit>("txtHostIP");
  txtHostIP_->setReadOnly(true);
  cmdHost_ = Named<QPushButton>("cmdHost", QStringLiteral("Host"));
  cmdConnect_ = Named<QPushButton>("cmdConnect", QStringLiteral("Connect"));
  cmdDisconnect_ = Named<QPushButton>("cmdDisconnect", QStringLiteral("Disconnect"));
  cmdPorts_ = Named<QPushButton>("cmdPorts", QStringLiteral("Ports..."));
  cmdKick_ = Named<QPushButton>("cmdKick", QStringLiteral("Kick"));
  cmdSend_ = Named<QPushButton>("cmdSend", QStringLiteral("Send"));
  cmdDeselect_ = Named<QPushButton>("cmdDeselect", QStringLiteral("Deselect"));
  cmdSendTip_ = Named<QPushButton>("cmdSendTip", QStringLiteral("Send TIP"));
  chkPrivate_ = Named<QCheckBox>("chkPrivate", QStringLiteral("&Private (to the people selected)"));
  chkTutorial_ = Named<QCheckBox>("chkTutorial", QStringLiteral("Show the lines sent and recei&ved"));
  txtStatus_ = Named<QPlainTextEdit>("txtStatus");
  txtStatus_->setReadOnly(true);
  txtDialog_ = Named<QPlainTextEdit>("txtDialog");
  txtDialog_->setReadOnly(true);
  txtMessage_ = Named<QLineEdit>("txtMessage");
  lstConnections_ = Named<QListWidget>("lstConnections");
  lstConnections_->setSelectionMode(QAbstractItemView::MultiSelection);
  lstSent_ = Named<QListWidget>("lstSent");
  lstReceived_ = Named<QListWidget>("lstReceived");
  // One line each: the lists need not measure every line of a record.
  lstSent_->setUniformItemSizes(true);
  lstReceived_->setUniformItemSizes(true);
  lblSent_ = Named<QLabel>("lblSent", QStringLiteral("Sent:"));
  lblRecv_ = Named<QLabel>("lblRecv", QStringLiteral("Received:"));
  picCommunicating_ = Named<QLabel>("picCommunicating", QStringLiteral("Sending..."));
  lblOnlineCCNumber_ = Named<QLabel>("lblOnlineCCNumber");
  cmdKick_->setEnabled(false);
  cmdSendTip_->setVisible(false);
  picCommunicating_->setVisible(false);
  txtStatus_->setFixedHeight(fontMetrics().lineSpacing() * 5 + 12);

  auto buddy = [](const QString& text, QWidget* widget) {
    auto* label = new QLabel(text);
    label->setBuddy(widget);
    return label;
  };

  auto* fields = new QGridLayout;
  fields->addWidget(buddy(QStringLiteral("&Name:"), txtName_), 0, 0);
  fields->addWidget(txtName_, 0, 1);
  fields->addWidget(buddy(QStringLiteral("Host &address:"), txtIP_), 0, 2);
  fields->addWidget(txtIP_, 0, 3);
  fields->addWidget(buddy(QStringLiteral("Your address:"), txtHostIP_), 0, 4);
  fields->addWidget(txtHostIP_, 0, 5);

  auto* buttons = new QHBoxLayout;
  for (QWidget* w : {static_cast<QWidget*>(cmdHost_), static_cast<QWidget*>(cmdConnect_),
                     static_cast<QWidget*>(cmdDisconnect_), static_cast<QWidget*>(cmdPorts_)}) {
    buttons->addWidget(w);
  }
  buttons->addStretch(1);
  buttons->addWidget(lblOnlineCCNumber_);
  buttons->addWidget(cmdSendTip_);

  auto* message = new QHBoxLayout;
  message->addWidget(buddy(QStringLiteral("&Message:"), txtMessage_));
  message->addWidget(txtMessage_, 1);
  message->addWidget(cmdSend_);

  auto* talk = new QVBoxLayout;
  talk->addWidget(buddy(QStringLiteral("&Dialog:"), txtDialog_));
  talk->addWidget(txtDialog_, 1);
  talk->addLayout(message);
  talk->addWidget(chkPrivate_);

  auto* people = new QVBoxLayout;
  people->addWidget(buddy(QStringLiteral("P&eople:"), lstConnections_));
  people->addWidget(lstConnections_, 1);
  auto* peopleButtons = new QHBoxLayout;
  peopleButtons->addWidget(cmdDeselect_);
  peopleButtons->addWidget(cmdKick_);
  people->addLayout(peopleButtons);

  auto* middle = new QHBoxLayout;
  middle->addLayout(talk, 3);
  middle->addLayout(people, 1);

  auto* statusRow = new QHBoxLayout;
  statusRow->addWidget(buddy(QStringLiteral("&Status:"), txtStatus_));
  statusRow->addStretch(1);
  statusRow->addWidget(picCommunicating_);
  statusRow->addWidget(chkTutorial_);

  auto* logs = new QGridLayout;
  lblSent_->setBuddy(lstSent_);
  lblRecv_->setBuddy(lstReceived_);
  logs->addWidget(lblSent_, 0, 0);
  logs->addWidget(lblRecv_, 0, 1);
  logs->addWidget(lstSent_, 1, 0);
  logs->addWidget(lstReceived_, 1, 1);

  auto* layout = new QVBoxLayout(this);
  layout->addLayout(fields);
  layout->addLayout(buttons);
  layout->addLayout(middle, 3);
  layout->addLayout(statusRow);
  layout->addWidget(txtStatus_);
  layout->addLayout(logs, 2);
  resize(760, 560);

  connect(cmdHost_, &QPushButton::clicked, this, &ChatWindow::Host);
  connect(cmdConnect_, &QPushButton::clicked, this, &ChatWindow::Connect);
  connect(cmdDisconnect_, &QPushButton::clicked, this, &ChatWindow::Disconnect);
  connect(cmdPorts_, &QPushButton::clicked, this, &ChatWindow::showPorts);
  connect(cmdKick_, &QPushButton::clicked, this, &ChatWindow::kick);
  connect(cmdSend_, &QPushButton::clicked, this, &ChatWindow::send);
  connect(txtMessage_, &QLineEdit::returnPressed, this, &ChatWindow::send);
  connect(txtName_, &QLineEdit::returnPressed, this, &ChatWindow::changeName);
  connect(cmdDeselect_, &QPushButton::clicked, lstConnections_, &QListWidget::clearSelection);
  connect(cmdSendTip_, &QPushButton::clicked, this, &ChatWindow::sendTip);
  connect(lstConnections_, &QListWidget::itemSelectionChanged, this, &ChatWindow::selectionChanged);
  connect(chkTutorial_, &QCheckBox::toggled, this, &ChatWindow::showTutorial);
  connect(chkPrivate_, &QCheckBox::toggled, this, [this](bool on) { net_.Session().Private = on; });
}

bool ChatWindow::Open(bool autoHost, bool autoJoin) {
  show();
  raise();
  activateWindow();
  if (autoHost) {
    Host();
    if (!onlineMode_) {
      close();
      return false;
    }
  } else if (autoJoin) {
    Connect();
  }
  return true;
}

void ChatWindow::SetOnlineCar(int car) {
  onlineCar_ = car;
  lblOnlineCCNumber_->setText(car > 0 ? QStringLiteral("Car %1").arg(car) : QString());
}

void ChatWindow::Host() {
  openConnection();
  QString error;
  if (!net_.Listen(onlinePort_, error)) {
    closeConnection();
    QMessageBox::warning(this, kTitle, error);
    askPort(SuggestedPort(onlinePort_));
    return;
  }
  ChatSession& session = net_.Session();
  session.Host();
  onlineHost_ = true;
  onlineMode_ = true;
  setWindowTitle(QStringLiteral("HOST: ") + QString::fromStdString(session.Name));
  cmdKick_->setEnabled(true);
  cmdSendTip_->setVisible(true);
  refresh();
  if (SetUpCar && !SetUpCar(true)) {
    Disconnect();
    onlineMode_ = false;
    return;
  }
  SetOnlineCar(1);
  Q_EMIT hosted();
}

void ChatWindow::Connect() {
  ChatSession& session = net_.Session();
  session.Connecting();
  openConnection();
  onlineHost_ = false;
  cmdKick_->setEnabled(false);
  cmdSendTip_->setVisible(false);
  net_.CloseAll();
  onlineMode_ = true;
  refresh();
  if (SetUpCar && !SetUpCar(false)) {
    net_.CloseAll();
    session.UpdateStatus("Disconnected.");
    onlineMode_ = false;
    closeConnection();
    return;
  }
  // The car's record goes into the queue first, then the name and "[Joined]".
  Q_EMIT joined();
  const std::string name = DriverName ? DriverName() : txtName_->text().toStdString();
  net_.ConnectTo(txtIP_->text().trimmed(), onlinePort_);
  session.Join(name);
}

void ChatWindow::Disconnect() {
  net_.CloseAll();
  net_.Session().Disconnect();
  idle();
}

void ChatWindow::idle() {
  onlineHost_ = false;
  cmdKick_->setEnabled(false);
  cmdSendTip_->setVisible(false);
  setWindowTitle(kTitle);
  closeConnection();
  refresh();
}

void ChatWindow::openConnection() {
  cmdHost_->setEnabled(false);
  cmdConnect_->setEnabled(false);
  cmdPorts_->setEnabled(false);
}

void ChatWindow::closeConnection() {
  cmdHost_->setEnabled(true);
  cmdConnect_->setEnabled(true);
  cmdPorts_->setEnabled(true);
}

void ChatWindow::showPorts() {
  if (net_.AnyOpen()) {
    QMessageBox::information(this, kTitle,
                             QStringLiteral("One or more connections are currently open.  Disconnect before "
                                            "attempting to change the port settings."));
    return;
  }
  askPort(onlinePort_);
}

void ChatWindow::askPort(int port) {
  QDialog dialog(this);
  dialog.setObjectName(QStringLiteral("frmChatPorts"));
  dialog.setWindowTitle(QStringLiteral("Ports"));
  auto* txtPort = Named<QLineEdit>("txtPort", QString::number(port));
  txtPort->setValidator(new QIntValidator(1, kLastPort, txtPort));
  auto* label = new QLabel(QStringLiteral("&Port (1 to 65535; ports below 1024 need administrator rights on Linux):"));
  label->setWordWrap(true);
  label->setBuddy(txtPort);
  auto* box = new QDialogButtonBox;
  QPushButton* cmdOK = box->addButton(QStringLiteral("OK"), QDialogButtonBox::AcceptRole);
  cmdOK->setObjectName(QStringLiteral("cmdOK"));
  cmdOK->setDefault(true);
  QPushButton* cmdCancel = box->addButton(QStringLiteral("Cancel"), QDialogButtonBox::RejectRole);
  cmdCancel->setObjectName(QStringLiteral("cmdCancel"));
  connect(box, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
  connect(box, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
  // OK only for a whole port number.
  connect(txtPort, &QLineEdit::textChanged, cmdOK,
          [txtPort, cmdOK] { cmdOK->setEnabled(txtPort->hasAcceptableInput()); });
  cmdOK->setEnabled(txtPort->hasAcceptableInput());
  auto* layout = new QVBoxLayout(&dialog);
  layout->addWidget(label);
  layout->addWidget(txtPort);
  layout->addWidget(box);
  txtPort->selectAll();
  if (dialog.exec() == QDialog::Accepted && txtPort->hasAcceptableInput()) onlinePort_ = txtPort->text().toInt();
}

void ChatWindow::kick() { net_.Session().Kick(); }

void ChatWindow::send() {
  const QString text = txtMessage_->text();
  if (text.isEmpty() || !net_.AnyOpen()) return;
  ChatSession& session = net_.Session();
  session.Private = chkPrivate_->isChecked();
  session.Send(text.toStdString());
  txtMessage_->clear();
}

void ChatWindow::changeName() {
  const std::string name = txtName_->text().toStdString();
  if (net_.AnyOpen()) {
    net_.Session().ChangeName(name);
  } else {
    net_.Session().Name = name;
  }
  shownName_ = net_.Session().Name;
  if (onlineHost_) setWindowTitle(QStringLiteral("HOST: ") + QString::fromStdString(shownName_));
}

void ChatWindow::selectionChanged() {
  std::vector<Person>& people = net_.Session().People;
  for (int i = 0; i < lstConnections_->count() && i < static_cast<int>(people.size()); ++i) {
    people[static_cast<size_t>(i)].Selected = lstConnections_->item(i)->isSelected();
  }
}

void ChatWindow::showTutorial(bool shown) {
  for (QWidget* w : {static_cast<QWidget*>(lstSent_), static_cast<QWidget*>(lstReceived_),
                     static_cast<QWidget*>(lblSent_), static_cast<QWidget*>(lblRecv_)}) {
    w->setVisible(shown);
  }
  if (shown) refresh();
}

void ChatWindow::refreshSoon() {
  if (!refreshTimer_.isActive()) refreshTimer_.start();
}

void ChatWindow::refresh() {
  const ChatSession& session = net_.Session();
  // The name the session gave ("Host", "Client", the driver's) replaces what the box holds.
  if (session.Name != shownName_) {
    shownName_ = session.Name;
    txtName_->setText(QString::fromStdString(shownName_));
  }
  ShowText(*txtStatus_, session.Status);
  ShowText(*txtDialog_, session.Dialog);
  ShowLog(*lstSent_, session.Sent);
  ShowLog(*lstReceived_, session.Received);

  bool same = lstConnections_->count() == static_cast<int>(session.People.size());
  for (int i = 0; same && i < lstConnections_->count(); ++i) {
    const QListWidgetItem* item = lstConnections_->item(i);
    const Person& p = session.People[static_cast<size_t>(i)];
    same = item->text().toStdString() == p.Name && item->data(Qt::UserRole).toInt() == p.Number &&
           item->isSelected() == p.Selected;
  }
  if (!same) {
    const QSignalBlocker blocker(lstConnections_);
    lstConnections_->clear();
    for (const Person& p : session.People) {
      auto* item = new QListWidgetItem(QString::fromStdString(p.Name), lstConnections_);
      item->setData(Qt::UserRole, p.Number);
      item->setSelected(p.Selected);
    }
  }
  picCommunicating_->setVisible(!session.QueueEmpty());
}

void ChatWindow::closeEvent(QCloseEvent* event) {
  net_.CloseAll();
  net_.Session().ClearStuff();
  net_.Session().IsServer = false;
  onlineHost_ = false;
  onlineMode_ = false;
  idle();
  ChatPreferences prefs;
  if (onlinePort_ >= 1 && onlinePort_ <= kLastPort) prefs.Port = onlinePort_;
  prefs.Tutorial = chkTutorial_->isChecked();
  WriteChatPreferences(prefsPath_.toStdString(), prefs);
  event->accept();
  Q_EMIT closed();
}

}  // namespace vm
