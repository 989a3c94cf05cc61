#include "app/race/dashboard.h"

#include <QAbstractSpinBox>
#include <QApplication>
#include <QFrame>
#include <QGridLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStackedWidget>
#include <QTextEdit>
#include <QVBoxLayout>
#include <algorithm>
#include <iterator>

#include "app/game_controller.h"
#include "app/race/dashboard_parts.h"
#include "app/race/panel_boards.h"
#include "app/race/panel_speed.h"
#include "app/race/panel_steering.h"
#include "core/units.h"
#include "rules/weather.h"

namespace vm {

using dash::Q;
using dash::WithKey;

namespace {

// The pages of the panel stack, one per kind of wait.
enum Page { kSpeedPage, kPitPage, kSteeringPage, kIdlePage };

QPushButton* ControlButton(const char* name, const QString& caption, const QString& key, QWidget* parent) {
  auto* b = new QPushButton(WithKey(caption, key), parent);
  b->setObjectName(QString::fromLatin1(name));
  b->setFocusPolicy(Qt::NoFocus);
  return b;
}

QLabel* Label(const char* name, QWidget* parent) {
  auto* label = new QLabel(parent);
  label->setObjectName(QString::fromLatin1(name));
  return label;
}

// Keys typed into a text field are the field's, never the race's.
bool TakesText(const QObject* widget) {
  return qobject_cast<const QLineEdit*>(widget) != nullptr || qobject_cast<const QTextEdit*>(widget) != nullptr ||
         qobject_cast<const QAbstractSpinBox*>(widget) != nullptr;
}

bool Practice(const RaceState& rs) { return rs.GameMode == kModePractice; }

}  // namespace

Dashboard::Dashboard(GameController& controller, QWidget* parent) : QWidget(parent), controller_(controller) {
  setObjectName(QStringLiteral("picDashboard"));
  // Beside the circuit: wide enough for four speed buttons a row, and no wider, so that the circuit
  // keeps the room.
  setMinimumWidth(360);
  setMaximumWidth(480);

  lapCaption_ = Label("CurrentLap", this);
  QFont big = lapCaption_->font();
  big.setBold(true);
  big.setPointSizeF(big.pointSizeF() * 1.4);
  lapCaption_->setFont(big);
  weather_ = Label("lblWeather", this);
  weather_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
  fastestLap_ = Label("lblFastestLap", this);

  driver_ = new dash::DriverBox(this);
  speed_ = new SpeedPanelView(controller_, this);
  steering_ = new SteeringPanelView(controller_, this);

  auto* pit = new QWidget(this);
  pit->setObjectName(QStringLiteral("picInPit"));
  pitDriver_ = Label("lblPitDriver", pit);
  pitDriver_->setWordWrap(true);
  pitContinue_ = ControlButton("cmdPitContinue", QStringLiteral("Continue"), QStringLiteral("Enter"), pit);
  pitContinue_->setMinimumHeight(34);
  connect(pitContinue_, &QPushButton::clicked, this, [this] {
    if (Wait() == Waiting::PitContinue) controller_.PitContinue();
  });
  auto* pitColumn = new QVBoxLayout(pit);
  pitColumn->setContentsMargins(0, 0, 0, 0);
  pitColumn->addWidget(pitDriver_);
  pitColumn->addWidget(pitContinue_);
  pitColumn->addStretch();

  idle_ = Label("lblWaiting", this);
  idle_->setAlignment(Qt::AlignCenter);
  idle_->setWordWrap(true);

  panels_ = new QStackedWidget(this);
  panels_->setObjectName(QStringLiteral("frameAction"));
  panels_->insertWidget(kSpeedPage, speed_);
  panels_->insertWidget(kPitPage, pit);
  panels_->insertWidget(kSteeringPage, steering_);
  panels_->insertWidget(kIdlePage, idle_);

  boards_ = new RaceBoards(this);

  auto* head = new QGridLayout;
  head->addWidget(lapCaption_, 0, 0);
  head->addWidget(weather_, 0, 1);
  head->addWidget(fastestLap_, 1, 0, 1, 2);
  auto* line = new QFrame(this);
  line->setFrameShape(QFrame::HLine);
  line->setFrameShadow(QFrame::Sunken);
  auto* column = new QVBoxLayout(this);
  column->setContentsMargins(6, 6, 6, 6);
  column->addLayout(head);
  column->addWidget(line);
  column->addWidget(driver_);
  column->addWidget(panels_);
  column->addWidget(BuildControls());
  column->addWidget(boards_, 1);

  setFocusPolicy(Qt::StrongFocus);
  // The keys of the race reach the dashboard wherever the focus is in its window.
  qApp->installEventFilter(this);
  Refresh();
}

QWidget* Dashboard::BuildControls() {
  auto* controls = new QWidget(this);
  controls->setObjectName(QStringLiteral("frmNextRaceTurn"));
  nextTurn_ = ControlButton("cmdNextTurn", QStringLiteral("Next Turn"), QStringLiteral("N"), controls);
  finishLap_ = ControlButton("cmdFinishLap", QStringLiteral("Finish Lap"), QStringLiteral("L"), controls);
  finishRace_ = ControlButton("cmdFinishRace", QStringLiteral("Finish Race"), QStringLiteral("F"), controls);
  pause_ = ControlButton("cmdPauseRace", QStringLiteral("Pause"), QStringLiteral("H"), controls);
  endRace_ = ControlButton("cmdEndRaceRC", QStringLiteral("End Race"), QStringLiteral("Esc"), controls);
  nextTurn_->setToolTip(QStringLiteral("Runs the next race turn (Space also)"));
  pause_->setToolTip(QStringLiteral("Stops at the end of this race turn"));
  connect(nextTurn_, &QPushButton::clicked, this, [this] { TakeKey(Qt::Key_N); });
  connect(finishLap_, &QPushButton::clicked, this, [this] { TakeKey(Qt::Key_L); });
  connect(finishRace_, &QPushButton::clicked, this, [this] { TakeKey(Qt::Key_F); });
  connect(pause_, &QPushButton::clicked, this, [this] { TakeKey(Qt::Key_H); });
  connect(endRace_, &QPushButton::clicked, this, [this] { TakeKey(Qt::Key_Escape); });
  auto* grid = new QGridLayout(controls);
  grid->setContentsMargins(0, 0, 0, 0);
  grid->setSpacing(3);
  grid->addWidget(nextTurn_, 0, 0);
  grid->addWidget(finishLap_, 0, 1);
  grid->addWidget(finishRace_, 0, 2);
  grid->addWidget(pause_, 1, 0);
  grid->addWidget(endRace_, 1, 2);
  return controls;
}

Waiting Dashboard::Wait() const {
  GameController& c = controller_;
  if (c.Busy()) return Waiting::Nothing;
  // Online, a panel is live on one machine only: the others say whose turn it is.
  return c.LocalTurn() ? c.Engine().WaitingFor() : Waiting::Elsewhere;
}

void Dashboard::Refresh() {
  const RaceState& rs = controller_.Race();
  RaceEngine& engine = controller_.Engine();
  const Waiting wait = Wait();
  const int car = rs.CurrentCar;

  lapCaption_->setText(Q(engine.LapCaption()));
  const QString track = QStringLiteral("Track - ") + Q(rs.TrackCondition);
  weather_->setText(rs.WeatherEnabled
                        ? QStringLiteral("Weather - ") + Q(SkyText(rs.WeatherValue)) + QStringLiteral(", ") + track
                        : track);
  fastestLap_->setText(Q(rs.FastestLapText));
  fastestLap_->setVisible(!rs.FastestLapText.empty() && rs.FastestLapText != " ");

  switch (wait) {
    case Waiting::Speed: {
      const SpeedFrame& frame = engine.SpeedPanel();
      const bool fresh =
          lastWait_ != Waiting::Speed || frame.Car != lastSpeedCar_ || rs.CarRaceClock[frame.Car] != lastSpeedClock_;
      lastSpeedCar_ = frame.Car;
      lastSpeedClock_ = rs.CarRaceClock[frame.Car];
      dash::DriverBox::Card card{frame.Driver, frame.RacePosition, frame.SpcSpd, frame.Acc, frame.Dec,
                                 frame.TopSpd, frame.WPL,          frame.StSp,   frame.DRM};
      card.AccColour = frame.AccColour;
      card.DecColour = frame.DecColour;
      card.TopSpdColour = frame.TopSpdColour;
      card.Wears = frame.Wears;
      driver_->Show(card);
      speed_->Load(frame, fresh);
      panels_->setCurrentIndex(kSpeedPage);
      break;
    }
    case Waiting::PitContinue:
      driver_->Show(dash::DriverBox::FromRace(rs, car));
      pitDriver_->setText(Q(rs.DriverName[car]) + QStringLiteral(" is in the pit lane."));
      panels_->setCurrentIndex(kPitPage);
      break;
    case Waiting::Steering: {
      const vm::SteeringPanel& panel = engine.SteeringPanelShown();
      driver_->Show(dash::DriverBox::FromRace(rs, panel.Car));
      steering_->Load(panel);
      panels_->setCurrentIndex(kSteeringPage);
      break;
    }
    default: {
      QString text;
      if (controller_.Busy())
        text = QStringLiteral("The cars are moving...");
      else if (wait == Waiting::RaceControl)
        text = QStringLiteral("No driver on the track: the race controls run the race.");
      else if (wait == Waiting::Paused)
        text = QStringLiteral("The race is paused: Next Turn goes on.");
      else if (wait == Waiting::RaceOver)
        text = QStringLiteral("The race is over.");
      else if (wait == Waiting::Elsewhere)
        text = Q(controller_.WaitingText());
      idle_->setText(text);
      panels_->setCurrentIndex(kIdlePage);
      break;
    }
  }
  driver_->setVisible(wait == Waiting::Speed || wait == Waiting::Steering || wait == Waiting::PitContinue);
  lastWait_ = wait;
  ShowControls(wait);
  boards_->Show(rs, wait == Waiting::Nothing || wait == Waiting::RaceOver ? 0 : car);
  if (!controller_.Busy()) TakeWaitingKeys();
}

void Dashboard::ShowControls(Waiting wait) {
  const RaceState& rs = controller_.Race();
  const bool practice = Practice(rs);
  const bool control = wait == Waiting::RaceControl || wait == Waiting::Paused;
  // A client's race is paused and ended on the host.
  const bool client = controller_.Online() && !controller_.OnlineHosting();
  const bool running = rs.RaceRunning && controller_.Engine().WaitingFor() != Waiting::RaceOver &&
                       controller_.Engine().WaitingFor() != Waiting::Nothing && !client;
  nextTurn_->setEnabled(control);
  finishLap_->setVisible(!practice);
  finishRace_->setVisible(!practice);
  finishLap_->setEnabled(control && !practice);
  finishRace_->setEnabled(control && !practice);
  // A pause is taken at the end of the turn, and only while nobody has finished.
  pause_->setEnabled((running || (controller_.Busy() && !client)) && wait != Waiting::Paused && rs.CarsFinished == 0 &&
                     !rs.PauseRequested);
  // A season's race is not ended but paused, to be resumed from the season.
  const bool seasonPause = rs.GameMode == kModeSeason && !rs.QualifyingLapRunning;
  endRace_->setText(WithKey(practice      ? QStringLiteral("End Practice")
                            : seasonPause ? QStringLiteral("Pause Season Race")
                                          : QStringLiteral("End Race"),
                            QStringLiteral("Esc")));
  endRace_->setEnabled(running || (controller_.Busy() && !client));
}

bool Dashboard::TakeKey(int key, Qt::KeyboardModifiers modifiers) {
  if (key == Qt::Key_H && controller_.Busy()) {
    // The pause is meant for the moving cars: it is taken now and acted on at the turn's end.
    if (pause_->isEnabled()) controller_.PauseRace();
    ShowControls(Wait());
    return true;
  }
  if (controller_.Busy()) {
    static const int kRaceKeys[] = {Qt::Key_Up,    Qt::Key_Down,  Qt::Key_Left, Qt::Key_Right, Qt::Key_Return,
                                    Qt::Key_Enter, Qt::Key_Space, Qt::Key_N,    Qt::Key_L,     Qt::Key_F,
                                    Qt::Key_P,     Qt::Key_E,     Qt::Key_D,    Qt::Key_T,     Qt::Key_O,
                                    Qt::Key_A,     Qt::Key_B,     Qt::Key_C,    Qt::Key_Escape};
    const bool digit = key >= Qt::Key_0 && key <= Qt::Key_9;
    if (!digit && std::find(std::begin(kRaceKeys), std::end(kRaceKeys), key) == std::end(kRaceKeys)) return false;
    keys_.emplace_back(key, modifiers);
    return true;
  }
  // Keys that came earlier go first.
  if (!keys_.empty()) {
    keys_.emplace_back(key, modifiers);
    TakeWaitingKeys();
    return true;
  }
  return KeyNow(key, modifiers);
}

void Dashboard::TakeWaitingKeys() {
  if (takingKeys_) return;
  takingKeys_ = true;
  while (!keys_.empty() && !controller_.Busy()) {
    const auto [key, modifiers] = keys_.front();
    keys_.pop_front();
    KeyNow(key, modifiers);
  }
  takingKeys_ = false;
}

bool Dashboard::KeyNow(int key, Qt::KeyboardModifiers modifiers) {
  const Waiting wait = Wait();
  if (wait == Waiting::Speed && speed_->Key(key, modifiers)) return true;
  if (wait == Waiting::Steering && steering_->Key(key, modifiers)) return true;
  if (modifiers & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier)) return false;
  switch (key) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
      if (wait == Waiting::PitContinue) controller_.PitContinue();
      return wait == Waiting::PitContinue;
    case Qt::Key_Space:
    case Qt::Key_N:
      if (nextTurn_->isEnabled()) controller_.NextTurn();
      return true;
    case Qt::Key_L:
      if (finishLap_->isEnabled()) controller_.FinishLap();
      return true;
    case Qt::Key_F:
      if (finishRace_->isEnabled()) controller_.FinishRace();
      return true;
    case Qt::Key_H:
      if (pause_->isEnabled()) controller_.PauseRace();
      ShowControls(wait);
      return true;
    case Qt::Key_Escape:
      if (endRace_->isEnabled()) controller_.EndRaceRC();
      return true;
    default: return false;
  }
}

bool Dashboard::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() != QEvent::KeyPress || !isVisible()) return false;
  auto* widget = qobject_cast<QWidget*>(watched);
  if (widget == nullptr || widget->window() != window() || TakesText(widget)) return false;
  auto* key = static_cast<QKeyEvent*>(event);
  // A held key repeats: one press is one command.
  if (key->isAutoRepeat()) return false;
  if (!TakeKey(key->key(), key->modifiers())) return false;
  key->accept();
  return true;
}

}  // namespace vm
