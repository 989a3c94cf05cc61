#include "tools/car_pictures.h"

#include <QPainter>
#include <QPainterPath>
#include <QPolygonF>

#include <cmath>
#include <filesystem>
#include <initializer_list>
#include <system_error>

#include "tools/gif_writer.h"

namespace vm {

namespace {

constexpr int kSpriteSide = 24;    // every heading on the same square, so the car's centre is the picture's
constexpr int kPodiumWidth = 48;
constexpr int kPodiumHeight = 32;
constexpr int kPreviewScale = 2;
constexpr int kSupersample = 4;  // drawn large, then reduced: small shapes come out smooth

const QColor kOutline{18, 18, 20};
const QColor kTyre{26, 26, 28};
const QColor kGlass{40, 52, 68};

bool IsLight(const QColor& c) { return 0.299 * c.red() + 0.587 * c.green() + 0.114 * c.blue() > 150; }
// Stripes and numbers contrast with the body.
QColor Trim(const QColor& body) { return IsLight(body) ? QColor(32, 32, 36) : QColor(240, 240, 240); }

QPolygonF Poly(std::initializer_list<QPointF> points) { return QPolygonF(QList<QPointF>(points)); }

// A dark body gets a light outline so that it still stands out on the tarmac.
void Fill(QPainter& p, const QColor& colour, bool outlined = true) {
  const QColor outline = colour.lightness() < 60 ? QColor(150, 150, 158) : kOutline;
  p.setPen(outlined ? QPen(outline, 0.35) : QPen(Qt::NoPen));
  p.setBrush(colour);
}

// --- Top-down, heading east (+x), centred on the origin, in final pixels.

void DrawFormulaTop(QPainter& p, const QColor& body) {
  Fill(p, kTyre, false);
  for (const double side : {-1.0, 1.0}) {
    p.drawRect(QRectF(-8.5, side > 0 ? 3.0 : -5.8, 4.0, 2.8));
    p.drawRect(QRectF(3.2, side > 0 ? 3.1 : -5.4, 3.2, 2.3));
  }
  Fill(p, body.darker(130));
  p.drawRect(QRectF(-10.0, -4.6, 2.0, 9.2));  // rear wing
  p.drawRect(QRectF(7.6, -5.0, 2.0, 10.0));   // front wing
  Fill(p, body);
  p.drawPolygon(Poly({{-8.2, -2.2}, {-2.5, -3.2}, {1.0, -2.0}, {7.6, -1.0}, {9.9, -0.6}, {9.9, 0.6}, {7.6, 1.0},
                      {1.0, 2.0}, {-2.5, 3.2}, {-8.2, 2.2}}));
  Fill(p, Trim(body), false);
  p.drawRect(QRectF(1.5, -0.45, 6.0, 0.9));  // nose stripe
  Fill(p, kGlass, false);
  p.drawEllipse(QRectF(-3.6, -1.3, 3.6, 2.6));
  Fill(p, QColor(250, 214, 40), false);
  p.drawEllipse(QPointF(-2.0, 0), 1.0, 1.0);  // helmet
}

void DrawSportsTop(QPainter& p, const QColor& body) {
  Fill(p, kTyre, false);
  for (const double y : {-5.6, 4.4}) {
    p.drawRect(QRectF(-7.5, y, 3.6, 1.2));
    p.drawRect(QRectF(4.0, y, 3.6, 1.2));
  }
  Fill(p, body);
  p.drawRoundedRect(QRectF(-10.0, -5.0, 20.0, 10.0), 3.0, 3.0);
  Fill(p, Trim(body), false);
  p.drawRect(QRectF(-9.6, -0.9, 19.2, 1.8));  // racing stripe
  Fill(p, kGlass, false);
  p.drawPolygon(Poly({{0.8, -3.6}, {3.6, -3.0}, {3.6, 3.0}, {0.8, 3.6}}));     // windscreen
  p.drawPolygon(Poly({{-4.6, -3.2}, {-3.0, -3.4}, {-3.0, 3.4}, {-4.6, 3.2}}));  // rear window
  Fill(p, QColor(255, 246, 200), false);
  p.drawEllipse(QPointF(9.0, -3.4), 0.8, 0.8);
  p.drawEllipse(QPointF(9.0, 3.4), 0.8, 0.8);
}

void DrawStockTop(QPainter& p, const QColor& body) {
  Fill(p, kTyre, false);
  for (const double y : {-5.9, 4.7}) {
    p.drawRect(QRectF(-7.2, y, 3.4, 1.2));
    p.drawRect(QRectF(3.8, y, 3.4, 1.2));
  }
  Fill(p, body);
  p.drawRoundedRect(QRectF(-10.0, -5.5, 20.0, 11.0), 1.5, 1.5);
  Fill(p, kGlass, false);
  p.drawRect(QRectF(0.6, -4.2, 2.6, 8.4));   // windscreen
  p.drawRect(QRectF(-5.4, -4.2, 2.0, 8.4));  // rear window
  Fill(p, Trim(body), false);
  p.drawEllipse(QPointF(-1.4, 0), 1.7, 1.7);  // roof number disc
  p.drawRect(QRectF(9.0, -4.8, 0.8, 9.6));    // front bumper
}

// --- Side view facing right, in a 48 x 32 box, wheels on the ground at y = 28.

void Wheels(QPainter& p, double rear, double front, double radius) {
  for (const double x : {rear, front}) {
    Fill(p, kTyre, false);
    p.drawEllipse(QPointF(x, 28 - radius), radius, radius);
    Fill(p, QColor(170, 170, 176), false);
    p.drawEllipse(QPointF(x, 28 - radius), radius * 0.45, radius * 0.45);
  }
}

void DrawFormulaSide(QPainter& p, const QColor& body) {
  Fill(p, body.darker(130));
  p.drawRect(QRectF(2.5, 11.0, 2.0, 10.0));   // wing pillar
  p.drawRect(QRectF(1.5, 9.0, 8.5, 3.0));     // rear wing
  p.drawRect(QRectF(40.0, 22.5, 6.5, 2.0));   // front wing
  Fill(p, body);
  p.drawPolygon(Poly({{4.0, 23.5}, {4.0, 17.0}, {12.0, 15.0}, {17.0, 12.5}, {22.0, 14.5}, {27.0, 17.0},
                      {45.5, 20.0}, {46.5, 22.5}, {44.0, 24.0}, {8.0, 24.0}}));
  Fill(p, Trim(body), false);
  p.drawRect(QRectF(30.0, 19.6, 12.0, 1.4));
  Fill(p, QColor(250, 214, 40));
  p.drawEllipse(QPointF(21.5, 13.0), 2.8, 2.8);  // helmet
  Fill(p, kGlass, false);
  p.drawRect(QRectF(22.0, 12.0, 2.2, 1.6));  // visor
  Wheels(p, 10.0, 36.0, 5.2);
}

void DrawSportsSide(QPainter& p, const QColor& body) {
  Fill(p, body);
  QPainterPath shape;
  shape.moveTo(2.0, 24.5);
  shape.lineTo(2.5, 16.5);
  shape.quadTo(12.0, 14.5, 17.0, 9.5);
  shape.quadTo(22.0, 7.5, 28.0, 9.5);
  shape.quadTo(33.0, 13.5, 45.0, 17.5);
  shape.quadTo(47.0, 20.0, 46.0, 24.5);
  shape.closeSubpath();
  p.drawPath(shape);
  Fill(p, kGlass, false);
  p.drawPolygon(Poly({{18.0, 11.0}, {22.5, 9.2}, {27.5, 10.0}, {30.5, 13.0}, {18.0, 13.0}}));
  Fill(p, Trim(body), false);
  p.drawRect(QRectF(3.0, 18.5, 42.0, 1.5));
  Wheels(p, 11.0, 37.0, 4.6);
}

void DrawStockSide(QPainter& p, const QColor& body) {
  Fill(p, body);
  p.drawPolygon(Poly({{2.0, 24.5}, {2.0, 15.5}, {13.0, 14.5}, {17.0, 8.0}, {31.0, 8.0}, {35.0, 14.5},
                      {46.0, 15.5}, {46.5, 24.5}}));
  Fill(p, kGlass, false);
  p.drawPolygon(Poly({{14.5, 14.5}, {18.0, 9.5}, {23.5, 9.5}, {23.5, 14.5}}));
  p.drawPolygon(Poly({{25.0, 14.5}, {25.0, 9.5}, {30.0, 9.5}, {33.5, 14.5}}));
  Fill(p, Trim(body), false);
  p.drawEllipse(QPointF(24.0, 19.5), 3.0, 3.0);  // door number disc
  Wheels(p, 11.0, 37.0, 4.8);
}

void DrawTop(QPainter& p, CarModel model, const QColor& body) {
  switch (model) {
    case CarModel::Formula: return DrawFormulaTop(p, body);
    case CarModel::Sports: return DrawSportsTop(p, body);
    case CarModel::Stock: return DrawStockTop(p, body);
  }
}

void DrawSide(QPainter& p, CarModel model, const QColor& body) {
  switch (model) {
    case CarModel::Formula: return DrawFormulaSide(p, body);
    case CarModel::Sports: return DrawSportsSide(p, body);
    case CarModel::Stock: return DrawStockSide(p, body);
  }
}

// Reduces a supersampled drawing and makes every pixel fully opaque or fully clear, as a GIF keeps it.
QImage Reduce(const QImage& large, int width, int height) {
  QImage small = large.scaled(width, height, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
                     .convertToFormat(QImage::Format_ARGB32);
  for (int y = 0; y < height; ++y) {
    auto* row = reinterpret_cast<QRgb*>(small.scanLine(y));
    for (int x = 0; x < width; ++x) row[x] = qAlpha(row[x]) >= 128 ? (row[x] | 0xff000000u) : 0u;
  }
  return small;
}

}  // namespace

std::vector<CarModel> CarModels() { return {CarModel::Formula, CarModel::Sports, CarModel::Stock}; }

std::string CarModelName(CarModel model) {
  switch (model) {
    case CarModel::Formula: return "Formula";
    case CarModel::Sports: return "Sports";
    case CarModel::Stock: return "Stock";
  }
  return "Formula";
}

std::vector<Livery> CarLiveries(CarModel model) {
  switch (model) {
    case CarModel::Formula:
      return {{"Red", QColor(210, 30, 30)},     {"Blue", QColor(30, 80, 210)},    {"Green", QColor(20, 150, 60)},
              {"Yellow", QColor(245, 210, 30)}, {"Orange", QColor(245, 130, 20)}, {"Purple", QColor(130, 50, 170)},
              {"White", QColor(240, 240, 240)}, {"Black", QColor(34, 34, 38)}};
    case CarModel::Sports:
      return {{"Red", QColor(200, 24, 40)}, {"Blue", QColor(20, 110, 200)}, {"Silver", QColor(185, 190, 198)},
              {"Green", QColor(10, 110, 70)}};
    case CarModel::Stock:
      return {{"Red", QColor(220, 40, 30)}, {"Blue", QColor(40, 60, 180)}, {"Yellow", QColor(250, 200, 20)},
              {"Black", QColor(34, 34, 38)}};
  }
  return {};
}

QImage DrawCar(CarModel model, const QColor& livery, int octant) {
  const bool podium = octant < 1 || octant > 8;
  const int width = podium ? kPodiumWidth : kSpriteSide, height = podium ? kPodiumHeight : kSpriteSide;
  QImage large(width * kSupersample, height * kSupersample, QImage::Format_ARGB32_Premultiplied);
  large.fill(Qt::transparent);
  QPainter p(&large);
  p.setRenderHint(QPainter::Antialiasing, true);
  p.scale(kSupersample, kSupersample);
  if (podium) {
    DrawSide(p, model, livery);
  } else {
    p.translate(width / 2.0, height / 2.0);
    p.rotate(-45.0 * (octant - 1));  // y grows downward, so a negative angle turns counter-clockwise
    DrawTop(p, model, livery);
  }
  p.end();
  return Reduce(large, width, height);
}

QImage DrawCarPreview(CarModel model, const QColor& livery) {
  QImage image(kPodiumWidth * kPreviewScale, kPodiumHeight * kPreviewScale, QImage::Format_RGB32);
  image.fill(QColor(206, 210, 216));
  QPainter p(&image);
  p.setRenderHint(QPainter::Antialiasing, true);
  p.fillRect(QRectF(0, 27.5 * kPreviewScale, image.width(), image.height()), QColor(150, 154, 160));
  p.scale(kPreviewScale, kPreviewScale);
  p.setPen(Qt::NoPen);
  p.setBrush(QColor(0, 0, 0, 60));
  p.drawEllipse(QRectF(3.0, 26.0, 43.0, 4.0));  // shadow
  DrawSide(p, model, livery);
  p.end();
  return image;
}

QImage DrawReportLogo() {
  QImage image(200, 60, QImage::Format_RGB32);
  image.fill(Qt::white);
  QPainter p(&image);
  p.setRenderHint(QPainter::Antialiasing, true);
  // A dark badge carrying a sweeping circuit.
  p.setPen(Qt::NoPen);
  p.setBrush(QColor(24, 34, 52));
  p.drawRoundedRect(QRectF(2, 4, 196, 52), 10, 10);
  QPainterPath road;
  road.moveTo(14, 46);
  road.cubicTo(50, 46, 60, 14, 100, 18);
  road.cubicTo(130, 21, 120, 42, 150, 40);
  p.setBrush(Qt::NoBrush);
  p.setPen(QPen(QColor(236, 236, 236), 13, Qt::SolidLine, Qt::RoundCap));
  p.drawPath(road);
  p.setPen(QPen(QColor(98, 100, 108), 10, Qt::SolidLine, Qt::RoundCap));
  p.drawPath(road);
  // A red and white kerb on the outside of the crest.
  QPainterPath crest;
  crest.moveTo(74, 15.0);
  crest.cubicTo(84, 11.0, 94, 10.5, 104, 12.0);
  p.setPen(QPen(QColor(240, 240, 240), 3, Qt::SolidLine, Qt::FlatCap));
  p.drawPath(crest);
  QPen kerb(QColor(206, 36, 36), 3, Qt::CustomDashLine, Qt::FlatCap);
  kerb.setDashPattern({1.0, 1.0});
  p.setPen(kerb);
  p.drawPath(crest);
  p.setPen(QPen(QColor(255, 255, 255), 1, Qt::DashLine, Qt::FlatCap));
  p.drawPath(road);  // centre line
  // Speed streaks trailing the circuit.
  p.setPen(QPen(QColor(210, 40, 40), 3, Qt::SolidLine, Qt::RoundCap));
  p.drawLine(QPointF(12, 25), QPointF(38, 25));
  p.setPen(QPen(QColor(240, 170, 30), 3, Qt::SolidLine, Qt::RoundCap));
  p.drawLine(QPointF(18, 32), QPointF(40, 32));
  // A waving chequered flag on its pole.
  p.setPen(QPen(QColor(200, 200, 206), 2.5, Qt::SolidLine, Qt::RoundCap));
  p.drawLine(QPointF(160, 52), QPointF(160, 9));
  const int cols = 6, rows = 4;
  const double cell = 5.5, left = 161, top = 10;
  auto at = [&](double col, double row) {
    const double x = left + col * cell;
    return QPointF(x, top + row * cell + 2.5 * std::sin((x - left) / 9.0));
  };
  p.setPen(Qt::NoPen);
  for (int r = 0; r < rows; ++r) {
    for (int c = 0; c < cols; ++c) {
      p.setBrush((r + c) % 2 == 0 ? QColor(250, 250, 250) : QColor(16, 16, 16));
      p.drawPolygon(Poly({at(c, r), at(c + 1, r), at(c + 1, r + 1), at(c, r + 1)}));
    }
  }
  p.end();
  return image;
}

std::optional<FileError> WriteCarPictures(const std::string& dataDir) {
  namespace fs = std::filesystem;
  std::error_code ec;
  for (const CarModel model : CarModels()) {
    const fs::path folder = fs::path(dataDir) / "Cars" / CarModelName(model) / "Gifs";
    fs::create_directories(folder, ec);
    if (ec) return FileError{FileErrorCode::WriteFailed, folder.string(), 0, "", ec.message()};
    for (const Livery& livery : CarLiveries(model)) {
      for (int octant = 0; octant <= 8; ++octant) {
        const std::string file = (folder / (livery.Name + std::to_string(octant) + ".gif")).string();
        if (auto error = WriteGif(file, DrawCar(model, livery.Colour, octant))) return error;
      }
      if (auto error = WriteBmp((folder / (livery.Name + ".bmp")).string(), DrawCarPreview(model, livery.Colour)))
        return error;
    }
  }
  const fs::path reports = fs::path(dataDir) / "Reports";
  fs::create_directories(reports, ec);
  if (ec) return FileError{FileErrorCode::WriteFailed, reports.string(), 0, "", ec.message()};
  return WriteBmp((reports / "VMR2007.bmp").string(), DrawReportLogo());
}

}  // namespace vm
