// The circuit with its cars: the track's picture, each car's picture turned to its heading at its
// cell with its number beside it, the current car flashing, the leader circled, zoom and scroll,
// and what the mouse hovers over told in a tip.
#pragma once

#include <QElapsedTimer>
#include <QHash>
#include <QImage>
#include <QScrollArea>
#include <optional>
#include <string>
#include <vector>

#include "app/race/circuit_layout.h"

class QLabel;
class QPainter;
class QTimer;

namespace vm {

class GameController;

class CircuitView : public QScrollArea {
 public:
  explicit CircuitView(GameController& controller, QWidget* parent = nullptr);

  // Draws the race as it stands now, and scrolls the car whose turn it is into sight.
  void Refresh();

  // The scale of the picture: 1 draws it pixel for pixel. The point of the viewport at `anchor`
  // stays where it is; without one, the viewport's centre.
  double Zoom() const { return zoom_; }
  void SetZoom(double zoom, std::optional<QPoint> anchor = std::nullopt);
  // The zoom at which the whole circuit fits the viewport.
  void ZoomToFit();

  // Positions are in the content's pixels at the current zoom, before scrolling: the picture's
  // pixel (x, y) lies at (x, y) * Zoom().
  // The centre of a car drawn on the circuit (wrecks too); none when it is not drawn.
  std::optional<QPoint> CarPosition(int car) const;
  // Where the car's number tag is drawn; empty when the car is not drawn.
  QRect TagRect(int car) const;
  // The tip over a point: a car and its cell, a cell, or "" over neither.
  QString HoverText(QPoint contentPos) const;
  // The content as it is drawn now, at the current zoom.
  QImage Render() const;
  // Whether the flashing ring round the current car is lit now, and whether it flashes at all.
  bool FlashLit() const { return flashLit_; }
  bool Flashing() const;
  // The car the engine waits for, when it stands on the circuit; 0 otherwise.
  int FlashingCar() const { return flashingCar_; }
  // "In pit: 3, 5", or "" when the pit lane is empty.
  QString PitText() const;

  QWidget& Canvas() { return *canvas_; }

 protected:
  void wheelEvent(QWheelEvent* event) override;
  void showEvent(QShowEvent* event) override;
  void hideEvent(QHideEvent* event) override;

 private:
  friend class CircuitCanvas;

  struct Drawn {
    CarMark Mark;
    QRectF Tag;  // content pixels
  };

  // The picture of the loaded track, kept until another track is loaded.
  void TakePicture();
  // Places the tags for the current zoom.
  void PlaceTagsAtZoom();
  void Paint(QPainter& painter, const QRect& area) const;
  void PaintCar(QPainter& painter, const Drawn& car, bool leader) const;
  void PaintTag(QPainter& painter, const Drawn& car, bool leader) const;
  const QImage& CarImage(const QString& file) const;
  QSizeF ContentSize() const;
  const Drawn* CarAt(QPointF contentPos) const;
  void UpdateFlashing();
  void Flash();

  GameController& controller_;
  QWidget* canvas_ = nullptr;
  QLabel* pitList_ = nullptr;
  QTimer* flashTimer_ = nullptr;
  double zoom_;
  std::string pictureTrack_;  // the track file the picture belongs to
  QImage picture_;
  QRectF gridBounds_;  // the cells' extent, for a track without a picture
  std::vector<Drawn> drawn_;
  int flashingCar_ = 0;
  int leader_ = 0;  // circled, when the race asks for it
  bool flashLit_ = true;
  QElapsedTimer handMoved_;  // the person's last scroll or drag
  static constexpr int kLookAwayMilliseconds = 4000;
  mutable QHash<QString, QImage> carImages_;
};

}  // namespace vm
