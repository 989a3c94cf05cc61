// The circuit view draws each car where its cell is on the picture, tagged with its number, tells
// what lies under the mouse, zooms about a fixed point, flashes the car whose turn it is and circles
// the leader only when the race asks for it.
#include "app/race/circuit_view.h"

#include <gtest/gtest.h>

#include <QLabel>
#include <QLineF>
#include <QMouseEvent>
#include <QScrollBar>
#include <QTest>
#include <cstdlib>

#include "app/dialogs/track_dialogs.h"
#include "app/race/race_window.h"
#include "core/track_file.h"
#include "engine/laps.h"
#include "tests/app/app_fixture.h"

namespace vm {
namespace {

class CircuitViewTest : public testing_support::AppFixture {
 protected:
  void SetUp() override {
    StartUp();
    SetModeMenus(controller.Session(), controller.Race(), "Single");
    ASSERT_FALSE(LoadTrack(controller.Race().track, Data() + "/Tracks/Tarnock.trk"));
    controller.SetMoveDelayOverride(0);
  }

  // The grid formed, the first human car (car 1) asked for its speed.
  void StartRace() {
    // A grid in car order, the same every run: the pictures are measured where the cars stand.
    Rs().QualifyingMethod = "none";
    controller.Engine().StartRace();
    controller.NotifyChanged();
    ASSERT_EQ(controller.Engine().WaitingFor(), Waiting::Speed);
    // Measured on the picture's own pixels unless a test says otherwise.
    View().SetZoom(1.0);
  }

  CircuitView& View() { return window->Race().Circuit(); }
  RaceState& Rs() { return controller.Race(); }

  QPoint CellOf(int car) {
    const Track& t = Rs().track;
    return {t.CellX[Rs().CarSpace[car]][Rs().CarLane[car]], t.CellY[Rs().CarSpace[car]][Rs().CarLane[car]]};
  }

  // Moves a car by hand to a cell, keeping the occupancy true.
  void Place(int car, int space, int lane) {
    ClearCarCell(Rs(), car);
    Rs().CarSpace[car] = space;
    Rs().CarLane[car] = lane;
    Rs().track.CellOccupant[space][lane] = car;
  }

  // Pixels in a square about `centre` that are clearly blue.
  static int BluePixels(const QImage& image, QPoint centre, int reach) {
    int n = 0;
    for (int y = centre.y() - reach; y <= centre.y() + reach; ++y) {
      for (int x = centre.x() - reach; x <= centre.x() + reach; ++x) {
        const QColor c = image.pixelColor(x, y);
        n += c.blue() > 180 && c.red() < 60 && c.green() < 120;
      }
    }
    return n;
  }
};

TEST_F(CircuitViewTest, EachCarIsDrawnOnItsCellWithItsNumberBesideIt) {
  StartRace();
  const QImage bare = CircuitPicture(Rs().track.TrackFile).convertToFormat(QImage::Format_ARGB32_Premultiplied);
  for (double zoom : {1.0, 2.0}) {
    SCOPED_TRACE(zoom);
    View().SetZoom(zoom);
    const QImage drawn = View().Render();
    ASSERT_EQ(drawn.size(), bare.size() * zoom);
    std::vector<QRect> tags;
    for (int car = 1; car <= Rs().CarCount; ++car) {
      SCOPED_TRACE(car);
      const std::optional<QPoint> at = View().CarPosition(car);
      ASSERT_TRUE(at.has_value());
      EXPECT_EQ(*at, CellOf(car) * zoom);
      // The car's own picture covers its cell's centre.
      EXPECT_NE(drawn.pixel(*at), bare.pixel(CellOf(car))) << "nothing drawn at the cell";
      const QRect tag = View().TagRect(car);
      EXPECT_LT(QLineF(tag.center(), *at).length(), 60 * zoom) << "tag far from its car";
      for (int other = 1; other <= Rs().CarCount; ++other)
        EXPECT_FALSE(tag.contains(*View().CarPosition(other))) << "tag hides car " << other;
      for (const QRect& earlier : tags) EXPECT_FALSE(tag.intersects(earlier)) << "tags overlap";
      tags.push_back(tag);
      // The tag is drawn: a white box with a dark number in it (the current car's is yellow).
      EXPECT_NE(drawn.pixelColor(tag.topLeft() + QPoint(3, 3)).lightness(),
                bare.pixelColor(tag.topLeft() / zoom).lightness());
    }
  }
}

TEST_F(CircuitViewTest, TheViewFollowsTheRaceAsItMoves) {
  for (int car = 1; car <= kMaxCars; ++car) Rs().CarIsAI[car] = true;
  controller.Engine().StartRace();
  for (int turn = 0; turn < 6 && controller.Engine().WaitingFor() == Waiting::RaceControl; ++turn)
    controller.NextTurn();
  ASSERT_GT(Rs().CarLap[RaceLeader(Rs())], 0);
  View().resize(900, 700);
  View().Refresh();
  for (int car = 1; car <= Rs().CarCount; ++car) {
    SCOPED_TRACE(car);
    const bool onTrack = !Rs().CarInPit[car] && !Rs().CarOutOfRace[car] &&
                         Rs().track.CellOccupant[Rs().CarSpace[car]][Rs().CarLane[car]] == car;
    EXPECT_EQ(View().CarPosition(car).has_value(), onTrack || Rs().CarOutOfRace[car]);
    if (onTrack) {
      EXPECT_EQ(*View().CarPosition(car), (QPointF(CellOf(car)) * View().Zoom()).toPoint());
    }
  }
  // Look at it: VELOMARK_CIRCUIT_SHOT=/tmp/circuit.png writes the race as drawn.
  if (const char* shot = std::getenv("VELOMARK_CIRCUIT_SHOT")) {
    View().Render().save(QString::fromLocal8Bit(shot));
    // And close up, as the race window shows it at first.
    const QPoint leader = *View().CarPosition(RaceLeader(Rs()));
    View()
        .Render()
        .copy(QRect(leader - QPoint(400, 300), QSize(800, 600)))
        .save(QString::fromLocal8Bit(shot) + ".near.png");
  }
}

TEST_F(CircuitViewTest, TheTipNamesTheCarOrTheCellUnderTheMouse) {
  StartRace();
  Rs().CarSpeed[2] = 140;
  Rs().CarWears[2] = 7;
  View().Refresh();
  const QString car = View().HoverText(*View().CarPosition(2));
  EXPECT_TRUE(car.startsWith(QStringLiteral("Car 2  Bruno Keller\n"))) << car.toStdString();
  for (const char* part : {"Speed 140 MPH", "Wears 7", "Lap 0 of "})
    EXPECT_TRUE(car.contains(QLatin1String(part))) << part << " in " << car.toStdString();
  // The tag tells the same as the car.
  EXPECT_EQ(View().HoverText(View().TagRect(2).center()).toStdString(), car.toStdString());

  // Empty cells far from every car: a curve's limit, and a straight with none.
  const Track& t = Rs().track;
  auto emptyCell = [&](bool curve) -> std::optional<CellRef> {
    for (int space = 1; space <= t.TrackLength; ++space)
      for (int lane = 1; lane <= kMaxLanes; ++lane) {
        if (t.CellSkip[space][lane] || t.CellLaneRank[space][lane] == 0) continue;
        if ((t.CellSpeedLimit[space][lane] < kNoLimit) != curve) continue;
        const QPoint p(t.CellX[space][lane], t.CellY[space][lane]);
        bool clear = true;
        for (int c = 1; c <= Rs().CarCount; ++c) clear = clear && QLineF(p, *View().CarPosition(c)).length() > 60;
        if (clear) return CellRef{space, lane};
      }
    return std::nullopt;
  };
  for (bool curve : {true, false}) {
    const std::optional<CellRef> cell = emptyCell(curve);
    ASSERT_TRUE(cell.has_value());
    const QPoint p(t.CellX[cell->Space][cell->Lane], t.CellY[cell->Space][cell->Lane]);
    const int limit = t.CellSpeedLimit[cell->Space][cell->Lane];
    const QString expected = QStringLiteral("Lane %1, space %2\n").arg(cell->Lane).arg(cell->Space) +
                             (curve ? QStringLiteral("Limit %1 MPH").arg(limit) : QStringLiteral("No limit"));
    EXPECT_EQ(View().HoverText(p + QPoint(2, -2)).toStdString(), expected.toStdString());
    View().SetZoom(2.0);
    EXPECT_EQ(View().HoverText(p * 2 + QPoint(3, 3)).toStdString(), expected.toStdString())
        << "the cell is found at the zoom";
    View().SetZoom(1.0);
  }
  EXPECT_EQ(View().HoverText(QPoint(2, 2)).toStdString(), "") << "off the track";
}

TEST_F(CircuitViewTest, ZoomingKeepsThePointUnderTheMouseAndThePicturesProportions) {
  StartRace();
  CircuitView view(controller);
  view.resize(600, 400);
  view.show();
  view.Refresh();
  view.SetZoom(1.0);
  const QPoint car3 = *view.CarPosition(3);
  QWidget& canvas = view.Canvas();
  const QPoint anchor(250, 150);
  const QPoint before = canvas.mapFrom(view.viewport(), anchor);
  view.SetZoom(2.5, anchor);
  EXPECT_DOUBLE_EQ(view.Zoom(), 2.5);
  EXPECT_EQ(*view.CarPosition(3), car3 * 2.5);
  const QPoint after = canvas.mapFrom(view.viewport(), anchor);
  EXPECT_LE((after - before * 2.5).manhattanLength(), 2) << "the point under the mouse moved";
  // Ctrl+wheel: one notch in and one out come back to the same zoom.
  const QPointF at(300, 200);
  QWheelEvent in(at, view.mapToGlobal(at), {}, QPoint(0, 120), Qt::NoButton, Qt::ControlModifier, Qt::NoScrollPhase,
                 false);
  QCoreApplication::sendEvent(view.viewport(), &in);
  EXPECT_GT(view.Zoom(), 2.5);
  QWheelEvent out(at, view.mapToGlobal(at), {}, QPoint(0, -120), Qt::NoButton, Qt::ControlModifier, Qt::NoScrollPhase,
                  false);
  QCoreApplication::sendEvent(view.viewport(), &out);
  EXPECT_NEAR(view.Zoom(), 2.5, 1e-9);
  // Far out and far in stop at sensible bounds; fitting shows the whole picture.
  view.SetZoom(0.001);
  EXPECT_GT(view.Zoom(), 0.1);
  view.SetZoom(1000);
  EXPECT_LT(view.Zoom(), 10);
  // Dragging with the left button pulls the circuit along under the hand.
  view.SetZoom(2.0);
  view.horizontalScrollBar()->setValue(200);
  view.verticalScrollBar()->setValue(200);
  auto mouse = [&](QEvent::Type type, QPointF pos, Qt::MouseButton button, Qt::MouseButtons held) {
    QMouseEvent event(type, pos, canvas.mapToGlobal(pos), button, held, Qt::NoModifier);
    QCoreApplication::sendEvent(&canvas, &event);
  };
  const QPointF grip(500, 500);
  mouse(QEvent::MouseButtonPress, grip, Qt::LeftButton, Qt::LeftButton);
  mouse(QEvent::MouseMove, grip - QPointF(30, 20), Qt::NoButton, Qt::LeftButton);
  mouse(QEvent::MouseButtonRelease, grip - QPointF(30, 20), Qt::LeftButton, Qt::NoButton);
  EXPECT_EQ(view.horizontalScrollBar()->value(), 230);
  EXPECT_EQ(view.verticalScrollBar()->value(), 220);
  mouse(QEvent::MouseMove, grip, Qt::NoButton, Qt::NoButton);
  EXPECT_EQ(view.horizontalScrollBar()->value(), 230) << "a move without the button scrolled";

  view.ZoomToFit();
  EXPECT_LE(canvas.width(), view.maximumViewportSize().width());
  EXPECT_LE(canvas.height(), view.maximumViewportSize().height());
}

TEST_F(CircuitViewTest, TheCurrentCarFlashesWhileShownAndIsKeptInSight) {
  StartRace();
  CircuitView view(controller);
  view.resize(400, 300);
  view.Refresh();
  EXPECT_FALSE(view.Flashing()) << "a hidden view has no need of the timer";
  view.show();
  view.SetZoom(1.0);
  view.Refresh();
  ASSERT_EQ(view.FlashingCar(), 1);
  EXPECT_TRUE(view.Flashing());
  // The car waiting for its driver is within the viewport after the refresh.
  const QPoint at = view.Canvas().mapTo(view.viewport(), *view.CarPosition(1));
  EXPECT_TRUE(view.viewport()->rect().contains(at));

  if (const char* shot = std::getenv("VELOMARK_CIRCUIT_SHOT"))
    view.grab().save(QString::fromLocal8Bit(shot) + ".current.png");
  const QPoint ringPoint = *view.CarPosition(1) + QPoint(0, -15);
  const bool lit = view.FlashLit();
  const QRgb litPixel = view.Render().pixel(ringPoint);
  ASSERT_TRUE(QTest::qWaitFor([&] { return view.FlashLit() != lit; }, 2000));
  EXPECT_NE(view.Render().pixel(ringPoint), litPixel) << "the ring does not show its flash";
  ASSERT_TRUE(QTest::qWaitFor([&] { return view.FlashLit() == lit; }, 2000));

  view.hide();
  EXPECT_FALSE(view.Flashing());
  // Once the car has chosen and the engine moves on, nothing flashes.
  view.show();
  Rs().RaceOver = true;
  view.Refresh();
  EXPECT_EQ(view.FlashingCar(), 0);
  EXPECT_FALSE(view.Flashing());

  // With no driver on the track the view follows the leader, unless the person has just scrolled
  // it to look elsewhere.
  Rs().FirstHumanCar = 0;
  const int leader = RaceLeader(Rs());
  ASSERT_TRUE(IsCarNumber(leader));
  auto inSight = [&] {
    return view.viewport()->rect().contains(view.Canvas().mapTo(view.viewport(), *view.CarPosition(leader)));
  };
  auto lookAway = [&] {
    const QPoint car = *view.CarPosition(leader);
    view.horizontalScrollBar()->setValue(car.x() < view.Canvas().width() / 2 ? view.horizontalScrollBar()->maximum()
                                                                             : 0);
    view.verticalScrollBar()->setValue(car.y() < view.Canvas().height() / 2 ? view.verticalScrollBar()->maximum() : 0);
  };
  view.SetZoom(3.0);
  lookAway();
  ASSERT_FALSE(inSight());
  view.Refresh();
  EXPECT_TRUE(inSight());
  QWheelEvent wheel(QPointF(50, 50), view.mapToGlobal(QPointF(50, 50)), {}, QPoint(0, -120), Qt::NoButton,
                    Qt::NoModifier, Qt::NoScrollPhase, false);
  QCoreApplication::sendEvent(view.viewport(), &wheel);
  lookAway();
  view.Refresh();
  EXPECT_FALSE(inSight()) << "the view was pulled back while the person looked elsewhere";
}

TEST_F(CircuitViewTest, TheLeaderIsCircledOnlyWhenTheRaceAsksForIt) {
  StartRace();
  const int leader = RaceLeader(Rs());
  ASSERT_NE(leader, 0);
  Rs().HighlightLeader = false;
  View().SetZoom(1.0);
  View().Refresh();
  const QPoint at = *View().CarPosition(leader);
  const int plain = BluePixels(View().Render(), at, 20);
  Rs().HighlightLeader = true;
  View().Refresh();
  EXPECT_GT(BluePixels(View().Render(), at, 20), plain + 40);
  EXPECT_TRUE(View().HoverText(at).contains(QStringLiteral("\nLeader\n")));
  // Another car is not circled.
  int other = 0;
  for (int car = 1; car <= Rs().CarCount; ++car)
    if (other == 0 || QLineF(*View().CarPosition(car), at).length() > QLineF(*View().CarPosition(other), at).length())
      other = car;
  const QPoint there = *View().CarPosition(other);
  Rs().HighlightLeader = false;
  View().Refresh();
  const int before = BluePixels(View().Render(), there, 6);
  Rs().HighlightLeader = true;
  View().Refresh();
  EXPECT_EQ(BluePixels(View().Render(), there, 6), before);
}

TEST_F(CircuitViewTest, CarsInThePitAreListedAndWrecksLieOffTheTrack) {
  StartRace();
  // Car 3 into the pit lane, off its cell.
  ClearCarCell(Rs(), 3);
  Rs().CarInPit[3] = true;
  Rs().PitQueue.push_back(PitQueueEntry{3, 2, 0, 0});
  // Car 4 out of the race where it stood, car 5 put by hand on a curve cell.
  ClearCarCell(Rs(), 4);
  Rs().CarOutOfRace[4] = true;
  const Track& t = Rs().track;
  int curve = 0;
  for (int space = 40; space <= t.TrackLength && curve == 0; ++space)
    if (!t.CellSkip[space][2] && t.CellLaneRank[space][2] > 0 && t.CellSpeedLimit[space][2] < kNoLimit) curve = space;
  ASSERT_NE(curve, 0);
  Place(5, curve, 2);
  controller.NotifyChanged();

  EXPECT_FALSE(View().CarPosition(3).has_value());
  EXPECT_EQ(View().PitText(), "In pit: 3");
  auto* label = View().findChild<QLabel*>(QStringLiteral("lblInPit"));
  ASSERT_NE(label, nullptr);
  EXPECT_EQ(label->text(), "In pit: 3");
  EXPECT_FALSE(label->isHidden());

  const std::optional<QPoint> wreck = View().CarPosition(4);
  ASSERT_TRUE(wreck.has_value());
  EXPECT_FALSE(CellAt(t, *wreck, 7).has_value()) << "the wreck lies on the track";
  EXPECT_LT(QLineF(*wreck, CellOf(4)).length(), 120) << "the wreck is far from where the car went out";
  EXPECT_TRUE(View().HoverText(*wreck).contains(QStringLiteral("Out of the race")));

  EXPECT_EQ(*View().CarPosition(5), CellOf(5));
  EXPECT_TRUE(View()
                  .HoverText(*View().CarPosition(5))
                  .endsWith(QStringLiteral("Limit %1 MPH").arg(t.CellSpeedLimit[curve][2])));

  Rs().CarInPit[3] = false;
  Rs().PitQueue.clear();
  View().Refresh();
  EXPECT_TRUE(label->isHidden());
}

}  // namespace
}  // namespace vm
