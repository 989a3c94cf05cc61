// The car sprites the race display draws on the circuit, the podium and preview pictures, and
// the box-score logo. All drawn in code.
#pragma once

#include <QColor>
#include <QImage>

#include <optional>
#include <string>
#include <vector>

#include "core/textfile.h"

namespace vm {

enum class CarModel { Formula, Sports, Stock };

// One paint scheme: the picture name in the model's Gifs folder and its body colour.
struct Livery {
  std::string Name;
  QColor Colour;
};

// Lists the models in the order the pictures are written.
std::vector<CarModel> CarModels();
// Names the model's folder under Cars.
std::string CarModelName(CarModel model);
// Lists the model's liveries.
std::vector<Livery> CarLiveries(CarModel model);

// Draws one car on a transparent background. Octants 1..8 are the top-down sprite heading east,
// north-east, north, ... counter-clockwise (about 20 x 11 pixels heading east); octant 0 is the
// larger side view for the podium.
QImage DrawCar(CarModel model, const QColor& livery, int octant);

// Draws the larger side view the car setup dialog shows, on a neutral background.
QImage DrawCarPreview(CarModel model, const QColor& livery);

// Draws the box-score logo: a chequered flag over a stylised circuit, without words.
QImage DrawReportLogo();

// Writes every picture set into dataDir/Cars/<model>/Gifs/ (<livery>0..8.gif and <livery>.bmp)
// and the logo as dataDir/Reports/VMR2007.bmp, making the folders as needed.
std::optional<FileError> WriteCarPictures(const std::string& dataDir);

}  // namespace vm
