#include "app/race/circuit_view.h"

#include <QEvent>
#include <QHelpEvent>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>
#include <QShortcut>
#include <QTimer>
#include <QToolTip>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

#include "app/dialogs/track_dialogs.h"
#include "app/game_controller.h"
#include "engine/laps.h"

namespace vm {
namespace {

constexpr double kMinZoom = 0.2;
constexpr double kMaxZoom = 6.0;
constexpr double kZoomStep = 1.25;  // one key press, or one notch of the wheel
constexpr int kFlashMs = 500;
constexpr double kDefaultZoom = 1.5;  // the pictures' cars are small: half as large again reads well
constexpr double kCarHalf = 7;        // half a car's body on the picture, for hits and keeping tags off it
constexpr double kRingRadius = 15;    // rings round the current car and the leader, on the picture
constexpr double kMargin = 40;        // round the grid of a track without a picture

QFont TagFont() {
  QFont font;
  font.setPixelSize(12);
  font.setBold(true);
  return font;
}

}  // namespace

// The surface the circuit is drawn on, as large as the picture at the zoom; the scroll area moves it.
class CircuitCanvas : public QWidget {
 public:
  explicit CircuitCanvas(CircuitView& view) : view_(view) {
    setObjectName(QStringLiteral("circuitCanvas"));
    setMouseTracking(true);
    setCursor(Qt::OpenHandCursor);
  }

 protected:
  void paintEvent(QPaintEvent* event) override {
    QPainter painter(this);
    view_.Paint(painter, event->rect());
  }
  bool event(QEvent* event) override {
    if (event->type() == QEvent::ToolTip) {
      auto* help = static_cast<QHelpEvent*>(event);
      const QString text = view_.HoverText(help->pos());
      if (text.isEmpty())
        QToolTip::hideText();
      else
        QToolTip::showText(help->globalPos(), text, this, QRect(help->pos() - QPoint(4, 4), QSize(8, 8)));
      return true;
    }
    return QWidget::event(event);
  }
  // Dragging with the left button scrolls the circuit under the hand.
  void mousePressEvent(QMouseEvent* event) override {
    if (event->button() != Qt::LeftButton) return QWidget::mousePressEvent(event);
    dragFrom_ = event->globalPosition().toPoint();
    setCursor(Qt::ClosedHandCursor);
  }
  void mouseMoveEvent(QMouseEvent* event) override {
    if (!(event->buttons() & Qt::LeftButton) || !dragFrom_) return QWidget::mouseMoveEvent(event);
    const QPoint now = event->globalPosition().toPoint();
    const QPoint delta = now - *dragFrom_;
    dragFrom_ = now;
    view_.handMoved_.start();
    view_.horizontalScrollBar()->setValue(view_.horizontalScrollBar()->value() - delta.x());
    view_.verticalScrollBar()->setValue(view_.verticalScrollBar()->value() - delta.y());
  }
  void mouseReleaseEvent(QMouseEvent* event) override {
    dragFrom_.reset();
    setCursor(Qt::OpenHandCursor);
    QWidget::mouseReleaseEvent(event);
  }

 private:
  CircuitView& view_;
  std::optional<QPoint> dragFrom_;
};

CircuitView::CircuitView(GameController& controller, QWidget* parent)
    : QScrollArea(parent), controller_(controller), zoom_(kDefaultZoom) {
  setObjectName(QStringLiteral("picTrack"));
  setFocusPolicy(Qt::StrongFocus);
  setWidgetResizable(false);
  setAlignment(Qt::AlignCenter);
  setBackgroundRole(QPalette::Dark);
  canvas_ = new CircuitCanvas(*this);
  setWidget(canvas_);

  pitList_ = new QLabel(viewport());
  pitList_->setObjectName(QStringLiteral("lblInPit"));
  pitList_->setStyleSheet(
      QStringLiteral("QLabel { background: rgba(255,255,255,225); color: black; border: 1px solid #404040; "
                     "padding: 2px 5px; font-weight: bold; }"));
  pitList_->move(6, 6);
  pitList_->hide();

  flashTimer_ = new QTimer(this);
  flashTimer_->setInterval(kFlashMs);
  connect(flashTimer_, &QTimer::timeout, this, &CircuitView::Flash);

  auto shortcut = [this](const QKeySequence& keys, auto action) {
    auto* s = new QShortcut(keys, this);
    // The zoom keys work wherever the focus is in the race window, the dashboard included.
    s->setContext(Qt::WindowShortcut);
    connect(s, &QShortcut::activated, this, action);
  };
  shortcut(QKeySequence(QKeySequence::ZoomIn), [this] { SetZoom(zoom_ * kZoomStep); });
  shortcut(QKeySequence(Qt::CTRL | Qt::Key_Equal), [this] { SetZoom(zoom_ * kZoomStep); });
  shortcut(QKeySequence(QKeySequence::ZoomOut), [this] { SetZoom(zoom_ / kZoomStep); });
  shortcut(QKeySequence(Qt::CTRL | Qt::Key_0), [this] { ZoomToFit(); });
  Refresh();
}

void CircuitView::Refresh() {
  const RaceState& rs = controller_.Race();
  // A replay runs the race again behind the scenes: the view keeps what it showed.
  if (rs.ReplayRunning) return;
  TakePicture();
  drawn_.clear();
  for (const CarMark& mark : CarMarks(rs)) drawn_.push_back(Drawn{mark, {}});

  const Waiting waiting = controller_.Engine().WaitingFor();
  const bool waitsForCar = waiting == Waiting::Speed || waiting == Waiting::Steering;
  const int previous = flashingCar_;
  flashingCar_ = 0;
  // While the engine moves cars, the current car is one on its way, not one waiting for its driver.
  if (waitsForCar && !controller_.Busy() && !rs.RaceOver) {
    auto it = std::find_if(drawn_.begin(), drawn_.end(),
                           [&](const Drawn& d) { return !d.Mark.Wreck && d.Mark.Car == rs.CurrentCar; });
    if (it != drawn_.end()) {
      flashingCar_ = rs.CurrentCar;
      // Drawn last, so no other car hides it.
      std::rotate(it, it + 1, drawn_.end());
    }
  }
  leader_ = rs.HighlightLeader ? RaceLeader(rs) : 0;
  if (flashingCar_ != previous) flashLit_ = true;
  UpdateFlashing();

  const QString pit = PitText();
  pitList_->setText(pit);
  pitList_->adjustSize();
  pitList_->setVisible(!pit.isEmpty());
  pitList_->raise();

  PlaceTagsAtZoom();
  // The view keeps the car waiting for its driver in sight; with no driver on the track it follows
  // the leader, unless the person has just moved it to look elsewhere.
  const bool lookingAway = handMoved_.isValid() && handMoved_.elapsed() < kLookAwayMilliseconds;
  const int followed = flashingCar_ != 0 ? flashingCar_ : rs.FirstHumanCar == 0 && !lookingAway ? RaceLeader(rs) : 0;
  if (std::optional<QPoint> at = CarPosition(followed)) {
    // A car near the edge is brought to the middle, so that the road ahead of it shows too.
    const int margin = static_cast<int>(std::max(60.0, 3 * kRingRadius * zoom_));
    const QRect seen(QPoint(horizontalScrollBar()->value(), verticalScrollBar()->value()), viewport()->size());
    if (!seen.adjusted(margin, margin, -margin, -margin).contains(*at))
      ensureVisible(at->x(), at->y(), viewport()->width() / 2, viewport()->height() / 2);
  }
  canvas_->update();
}

void CircuitView::TakePicture() {
  const Track& t = controller_.Race().track;
  if (t.TrackFile == pictureTrack_) return;
  pictureTrack_ = t.TrackFile;
  picture_ = t.TrackFile.empty() ? QImage() : CircuitPicture(t.TrackFile);
  QRectF bounds;
  for (int space = 1; space <= std::min(t.TrackLength, kMaxSpaces); ++space)
    for (int lane = 1; lane <= kMaxLanes; ++lane)
      if (t.CellLaneRank[space][lane] > 0) bounds |= QRectF(t.CellX[space][lane], t.CellY[space][lane], 1, 1);
  gridBounds_ = bounds.isEmpty() ? QRectF() : QRectF(0, 0, bounds.right() + kMargin, bounds.bottom() + kMargin);
  canvas_->resize((ContentSize() * zoom_).toSize());
}

QSizeF CircuitView::ContentSize() const {
  if (!picture_.isNull()) return picture_.size();
  return gridBounds_.isEmpty() ? QSizeF(400, 300) : gridBounds_.size();
}

void CircuitView::SetZoom(double zoom, std::optional<QPoint> anchor) {
  zoom = std::clamp(zoom, kMinZoom, kMaxZoom);
  const QPoint at = anchor.value_or(viewport()->rect().center());
  // The content point under the anchor, in the picture's pixels, before and after.
  const QPointF picturePoint = QPointF(canvas_->mapFrom(viewport(), at)) / zoom_;
  zoom_ = zoom;
  canvas_->resize((ContentSize() * zoom_).toSize());
  PlaceTagsAtZoom();
  const QPointF now = picturePoint * zoom_;
  horizontalScrollBar()->setValue(static_cast<int>(std::lround(now.x() - at.x())));
  verticalScrollBar()->setValue(static_cast<int>(std::lround(now.y() - at.y())));
  canvas_->update();
}

void CircuitView::ZoomToFit() {
  const QSizeF content = ContentSize();
  const QSize room = maximumViewportSize();
  SetZoom(std::min(room.width() / content.width(), room.height() / content.height()));
}

void CircuitView::PlaceTagsAtZoom() {
  const QFontMetricsF metrics(TagFont());
  // The current car's tag takes the best place, then the leader's, then the rest front to back.
  std::vector<size_t> order(drawn_.size());
  for (size_t i = 0; i < order.size(); ++i) order[i] = order.size() - 1 - i;
  std::stable_partition(order.begin(), order.end(), [&](size_t i) { return drawn_[i].Mark.Car == flashingCar_; });
  std::vector<QPointF> anchors;
  std::vector<QSizeF> sizes;
  std::vector<QRectF> bodies;
  const double half = kCarHalf * zoom_;
  for (const Drawn& d : drawn_)
    bodies.emplace_back(d.Mark.Centre * zoom_ - QPointF(half, half), QSizeF(2 * half, 2 * half));
  for (size_t i : order) {
    anchors.push_back(drawn_[i].Mark.Centre * zoom_);
    const QString text = QString::number(drawn_[i].Mark.Car);
    sizes.emplace_back(std::ceil(metrics.horizontalAdvance(text)) + 8, std::ceil(metrics.height()) + 2);
  }
  const std::vector<QRectF> tags = PlaceTags(anchors, sizes, bodies, half + 2);
  for (size_t k = 0; k < order.size(); ++k) drawn_[order[k]].Tag = tags[k];
}

void CircuitView::Paint(QPainter& painter, const QRect& area) const {
  painter.fillRect(area, QColor(0x3a, 0x5a, 0x3a));
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setRenderHint(QPainter::SmoothPixmapTransform, zoom_ < 1.0 || std::fmod(zoom_, 1.0) != 0.0);
  painter.save();
  painter.scale(zoom_, zoom_);
  if (!picture_.isNull()) painter.drawImage(QPointF(0, 0), picture_);
  painter.restore();
  for (const Drawn& d : drawn_) PaintCar(painter, d, d.Mark.Car == leader_ && !d.Mark.Wreck);
  for (const Drawn& d : drawn_) PaintTag(painter, d, d.Mark.Car == leader_ && !d.Mark.Wreck);
}

void CircuitView::PaintCar(QPainter& painter, const Drawn& car, bool leader) const {
  const QPointF at = car.Mark.Centre * zoom_;
  const double ring = std::max(kRingRadius * zoom_, 12.0);
  if (leader) {
    painter.setPen(QPen(QColor(0, 90, 255), 3));
    painter.setBrush(Qt::NoBrush);
    painter.drawEllipse(at, ring + 3, ring + 3);
  }
  painter.save();
  if (car.Mark.Wreck) painter.setOpacity(0.55);
  const QImage& image = CarImage(car.Mark.Picture);
  if (!image.isNull()) {
    const QSizeF size = QSizeF(image.size()) * zoom_;
    painter.drawImage(QRectF(at - QPointF(size.width() / 2, size.height() / 2), size), image);
  } else {
    // No picture for the heading or the livery: a plain disc still shows where the car is.
    painter.setPen(QPen(Qt::black, 1.5));
    painter.setBrush(QColor(0xd0, 0xd0, 0xd0));
    painter.drawEllipse(at, 7 * zoom_, 7 * zoom_);
  }
  painter.restore();
  if (car.Mark.Wreck) {
    const double arm = 6 * zoom_;
    painter.setPen(QPen(QColor(0x20, 0x20, 0x20), std::max(2.0, zoom_ * 1.5)));
    painter.drawLine(at + QPointF(-arm, -arm), at + QPointF(arm, arm));
    painter.drawLine(at + QPointF(-arm, arm), at + QPointF(arm, -arm));
  }
  if (car.Mark.Car == flashingCar_ && flashLit_) {
    // Yellow on a black rim reads on the grey track and on the grass alike.
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(Qt::black, 6));
    painter.drawEllipse(at, ring, ring);
    painter.setPen(QPen(QColor(255, 215, 0), 4));
    painter.drawEllipse(at, ring, ring);
  }
}

void CircuitView::PaintTag(QPainter& painter, const Drawn& car, bool leader) const {
  const QRectF tag = car.Tag;
  const QPointF at = car.Mark.Centre * zoom_;
  const bool current = car.Mark.Car == flashingCar_;
  // A tag pushed away from its car keeps a thread to it.
  const QPointF nearest(std::clamp(at.x(), tag.left(), tag.right()), std::clamp(at.y(), tag.top(), tag.bottom()));
  if (QLineF(at, nearest).length() > kCarHalf * zoom_ * 1.6) {
    painter.setPen(QPen(QColor(0, 0, 0, 170), 1));
    painter.drawLine(at, nearest);
  }
  QColor fill = Qt::white, text = Qt::black;
  if (car.Mark.Wreck) {
    fill = QColor(0xb0, 0xb0, 0xb0);
    text = QColor(0x30, 0x30, 0x30);
  } else if (current) {
    fill = QColor(255, 215, 0);
  } else if (leader) {
    fill = QColor(0, 70, 200);
    text = Qt::white;
  }
  painter.setPen(QPen(Qt::black, current ? 2 : 1));
  painter.setBrush(fill);
  painter.drawRoundedRect(tag, 3, 3);
  painter.setFont(TagFont());
  painter.setPen(text);
  painter.drawText(tag, Qt::AlignCenter, QString::number(car.Mark.Car));
}

const QImage& CircuitView::CarImage(const QString& file) const {
  auto it = carImages_.find(file);
  if (it == carImages_.end()) it = carImages_.insert(file, file.isEmpty() ? QImage() : QImage(file));
  return *it;
}

std::optional<QPoint> CircuitView::CarPosition(int car) const {
  for (const Drawn& d : drawn_)
    if (d.Mark.Car == car) return (d.Mark.Centre * zoom_).toPoint();
  return std::nullopt;
}

QRect CircuitView::TagRect(int car) const {
  for (const Drawn& d : drawn_)
    if (d.Mark.Car == car) return d.Tag.toAlignedRect();
  return {};
}

const CircuitView::Drawn* CircuitView::CarAt(QPointF contentPos) const {
  // The topmost car wins, as it is the one seen; a tag counts as its car.
  for (auto it = drawn_.rbegin(); it != drawn_.rend(); ++it)
    if (it->Tag.contains(contentPos)) return &*it;
  const double half = kCarHalf * zoom_;
  for (auto it = drawn_.rbegin(); it != drawn_.rend(); ++it) {
    const QPointF d = contentPos - it->Mark.Centre * zoom_;
    if (std::abs(d.x()) <= half && std::abs(d.y()) <= half) return &*it;
  }
  return nullptr;
}

QString CircuitView::HoverText(QPoint contentPos) const {
  const RaceState& rs = controller_.Race();
  if (const Drawn* car = CarAt(contentPos)) {
    QString text = CarHoverText(rs, car->Mark.Car);
    if (!car->Mark.Wreck) text += QLatin1Char('\n') + CellHoverText(rs.track, {car->Mark.Space, car->Mark.Lane});
    return text;
  }
  // Half the spacing of neighbouring cells: a point between two belongs to the nearer.
  if (std::optional<CellRef> cell = CellAt(rs.track, QPointF(contentPos) / zoom_, 8))
    return CellHoverText(rs.track, *cell);
  return {};
}

QImage CircuitView::Render() const {
  QImage image(canvas_->size(), QImage::Format_ARGB32_Premultiplied);
  QPainter painter(&image);
  Paint(painter, image.rect());
  return image;
}

QString CircuitView::PitText() const {
  QStringList cars;
  for (int car : PitCars(controller_.Race())) cars << QString::number(car);
  return cars.isEmpty() ? QString() : QStringLiteral("In pit: ") + cars.join(QStringLiteral(", "));
}

bool CircuitView::Flashing() const { return flashTimer_->isActive(); }

void CircuitView::UpdateFlashing() {
  // A hidden view has nothing to flash for: the timer would only wake the program.
  if (flashingCar_ != 0 && isVisible()) {
    if (!flashTimer_->isActive()) flashTimer_->start();
  } else {
    flashTimer_->stop();
    flashLit_ = true;
  }
}

void CircuitView::Flash() {
  flashLit_ = !flashLit_;
  if (std::optional<QPoint> at = CarPosition(flashingCar_)) {
    const int r = static_cast<int>(std::max(kRingRadius * zoom_, 12.0)) + 6;
    canvas_->update(QRect(*at - QPoint(r, r), QSize(2 * r, 2 * r)));
  }
}

void CircuitView::wheelEvent(QWheelEvent* event) {
  if (!(event->modifiers() & Qt::ControlModifier)) {
    handMoved_.start();
    return QScrollArea::wheelEvent(event);
  }
  // Fractions of a notch, as touchpads send them, zoom by as much less: the zoom glides.
  const double notches = event->angleDelta().y() / 120.0;
  SetZoom(zoom_ * std::pow(kZoomStep, notches), event->position().toPoint());
  event->accept();
}

void CircuitView::showEvent(QShowEvent* event) {
  QScrollArea::showEvent(event);
  UpdateFlashing();
}

void CircuitView::hideEvent(QHideEvent* event) {
  QScrollArea::hideEvent(event);
  UpdateFlashing();
}

}  // namespace vm
