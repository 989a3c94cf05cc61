// Writes the bundled sample oval: velomark-sample-track OUT.trk
#include <iostream>

#include "core/track_file.h"
#include "tools/sample_tracks.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: velomark-sample-track OUT.trk\n";
    return 1;
  }
  if (auto error = vm::SaveTrack(vm::SampleOval(), argv[1])) {
    std::cerr << error->Describe() << "\n";
    return 2;
  }
  return 0;
}
