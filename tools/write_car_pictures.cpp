// Writes the bundled car pictures and the report logo: velomark-carpics DATADIR
#include <iostream>

#include "tools/car_pictures.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: velomark-carpics DATADIR\n";
    return 1;
  }
  if (auto error = vm::WriteCarPictures(argv[1])) {
    std::cerr << error->Describe() << "\n";
    return 2;
  }
  return 0;
}
