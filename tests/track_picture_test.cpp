#include <gtest/gtest.h>

#include <QBuffer>
#include <QImage>

#include <filesystem>

#include "temp_dir.h"
#include "tools/car_pictures.h"
#include "tools/gif_writer.h"
#include "tools/sample_tracks.h"
#include "tools/track_picture.h"

namespace vm {
namespace {

QImage ReadBack(const std::string& bytes, const char* format) {
  QImage image;
  image.loadFromData(reinterpret_cast<const uchar*>(bytes.data()), static_cast<int>(bytes.size()), format);
  return image.convertToFormat(QImage::Format_ARGB32);
}

// A small picture with a few flat colours and clear pixels, like a sprite.
QImage FewColours() {
  QImage image(13, 7, QImage::Format_ARGB32);
  for (int y = 0; y < image.height(); ++y)
    for (int x = 0; x < image.width(); ++x)
      image.setPixel(x, y, (x + y) % 5 == 0 ? 0u : qRgb(x * 19, y * 31, (x * y) % 256));
  return image;
}

TEST(PictureGif, KeepsSizeAndEveryPixelOfASmallPalette) {
  const QImage image = FewColours();
  const QImage back = ReadBack(GifBytes(image), "GIF");
  ASSERT_EQ(back.size(), image.size());
  for (int y = 0; y < image.height(); ++y)
    for (int x = 0; x < image.width(); ++x) {
      const QRgb want = image.pixel(x, y), got = back.pixel(x, y);
      if (qAlpha(want) == 0)
        EXPECT_EQ(qAlpha(got), 0) << x << "," << y;
      else
        EXPECT_EQ(got, want) << x << "," << y;
    }
}

TEST(PictureGif, ManyColoursComeBackCloseAndTheBytesRepeat) {
  QImage image(64, 64, QImage::Format_RGB32);  // 4096 colours: more than a palette holds
  for (int y = 0; y < 64; ++y)
    for (int x = 0; x < 64; ++x) image.setPixel(x, y, qRgb(x * 4, y * 4, 128));
  const std::string bytes = GifBytes(image);
  EXPECT_EQ(bytes.substr(0, 6), "GIF89a");
  EXPECT_EQ(bytes, GifBytes(image));
  const QImage back = ReadBack(bytes, "GIF");
  ASSERT_EQ(back.size(), image.size());
  EXPECT_NEAR(qRed(back.pixel(63, 0)), 252, 40);
  EXPECT_NEAR(qGreen(back.pixel(0, 63)), 252, 40);
  EXPECT_TRUE(GifBytes(QImage()).empty());
}

TEST(PictureBmp, ReadsBackWithTheSamePixels) {
  const QImage logo = DrawReportLogo();
  const QImage back = ReadBack(BmpBytes(logo), "BMP");
  ASSERT_EQ(back.size(), logo.size());
  EXPECT_EQ(back, logo.convertToFormat(QImage::Format_ARGB32));
}

bool LooksLikeTarmac(QRgb c) {
  return std::abs(qRed(c) - qGreen(c)) <= 12 && std::abs(qGreen(c) - qBlue(c)) <= 12;
}

TEST(PictureTrack, RoadUnderEveryCellAndGrassAwayFromIt) {
  const Track t = SampleOval();
  const QImage image = DrawTrackPicture(t);
  int maxX = 0, maxY = 0;
  for (int s = 1; s <= t.TrackLength; ++s)
    for (int l = 1; l <= t.TrackLanes; ++l) {
      maxX = std::max(maxX, t.CellX[s][l]);
      maxY = std::max(maxY, t.CellY[s][l]);
      // Cells left of or above the origin have no pixel to check.
      if (t.CellSkip[s][l] || t.CellLaneRank[s][l] == 0 || t.CellX[s][l] < 0 || t.CellY[s][l] < 0) continue;
      const QRgb c = image.pixel(t.CellX[s][l], t.CellY[s][l]);
      EXPECT_TRUE(LooksLikeTarmac(c)) << "space " << s << " lane " << l << " " << std::hex << c;
    }
  EXPECT_GE(image.width(), maxX + 40);
  EXPECT_GE(image.height(), maxY + 40);
  const QRgb grass = image.pixel(400, 280);  // the infield, far from every lane
  EXPECT_GT(qGreen(grass), qRed(grass) + 20);
  EXPECT_EQ(image.pixel(2, 2), grass);
  EXPECT_EQ(GifBytes(image), GifBytes(DrawTrackPicture(t)));
}

TEST(PictureTrack, PitLaneAndStartLineAreDrawn) {
  const Track t = SampleOval();
  const QImage image = DrawTrackPicture(t);
  // Below the outside lane on the straight between the pit spaces, past a strip of grass, a road.
  auto roadBelow = [&](const QImage& im) {
    int road = 0;
    for (int dy = 16; dy <= 60; ++dy) road += LooksLikeTarmac(im.pixel(t.CellX[116][3], t.CellY[116][3] + dy));
    return road;
  };
  EXPECT_GE(roadBelow(image), 10);
  Track noPit = t;
  noPit.PitEntrySpace = noPit.PitExitSpace = 0;
  EXPECT_EQ(roadBelow(DrawTrackPicture(noPit)), 0);
  // Black and white squares cross the road just behind space 1.
  bool dark = false, light = false;
  for (int dx = -10; dx <= 0; ++dx)
    for (int l = 1; l <= 3; ++l) {
      const int v = qGray(image.pixel(t.CellX[1][l] + dx, t.CellY[1][l]));
      dark = dark || v < 40;
      light = light || v > 230;
    }
  EXPECT_TRUE(dark && light);
}

TEST(PictureCar, EveryHeadingHasACarOnAClearBackground) {
  for (const CarModel model : CarModels()) {
    const QColor colour = CarLiveries(model).front().Colour;
    for (int octant = 0; octant <= 8; ++octant) {
      const QImage car = DrawCar(model, colour, octant);
      int opaque = 0;
      for (int y = 0; y < car.height(); ++y)
        for (int x = 0; x < car.width(); ++x) opaque += qAlpha(car.pixel(x, y)) > 0;
      EXPECT_GT(opaque, octant == 0 ? 300 : 80) << CarModelName(model) << octant;
      const QImage back = ReadBack(GifBytes(car), "GIF");
      EXPECT_EQ(qAlpha(back.pixel(0, 0)), 0) << CarModelName(model) << octant;
      EXPECT_EQ(qAlpha(back.pixel(back.width() - 1, back.height() - 1)), 0);
      EXPECT_EQ(back.pixel(back.width() / 2, back.height() / 2), car.pixel(car.width() / 2, car.height() / 2));
    }
  }
  // East and north are the same car turned: the long side swaps axes.
  const QImage east = DrawCar(CarModel::Formula, Qt::red, 1), north = DrawCar(CarModel::Formula, Qt::red, 3);
  auto extent = [](const QImage& im, bool across) {
    int lo = 1000, hi = -1;
    for (int y = 0; y < im.height(); ++y)
      for (int x = 0; x < im.width(); ++x)
        if (qAlpha(im.pixel(x, y)) > 0) lo = std::min(lo, across ? x : y), hi = std::max(hi, across ? x : y);
    return hi - lo + 1;
  };
  EXPECT_GE(extent(east, true), 19);
  EXPECT_LE(extent(east, false), 12);
  EXPECT_EQ(extent(north, false), extent(east, true));
}

TEST(PictureCar, WritesEverySetAndTheLogo) {
  testing_support::TempDir dir;
  ASSERT_FALSE(WriteCarPictures(dir.Root()).has_value());
  namespace fs = std::filesystem;
  for (const char* name : {"Cars/Formula/Gifs/Red0.gif", "Cars/Formula/Gifs/Black8.gif", "Cars/Formula/Gifs/White.bmp",
                           "Cars/Sports/Gifs/Silver3.gif", "Cars/Stock/Gifs/Yellow.bmp", "Reports/VMR2007.bmp"})
    EXPECT_TRUE(fs::exists(dir.Path() / name)) << name;
  EXPECT_EQ(ReadBack(*ReadWholeFile(dir.File("Cars/Formula/Gifs/Red.bmp")), "BMP").size(), QSize(96, 64));
}

}  // namespace
}  // namespace vm
