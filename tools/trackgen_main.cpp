// velomark-trackgen: turns a circuit description into its .trk file and its .gif picture, written
// beside the description, after the track check has passed them.
#include <iostream>
#include <string>
#include <vector>

#include "core/paths.h"
#include "core/textfile.h"
#include "core/track_check.h"
#include "core/track_file.h"
#include "tools/gif_writer.h"
#include "tools/track_picture.h"
#include "tools/trackgen.h"

namespace {

constexpr const char* kUsage =
    "usage: velomark-trackgen DESCRIPTION.txt [--cars FOLDER] [--summary]\n"
    "  writes DESCRIPTION.trk and DESCRIPTION.gif beside the description; --cars checks every\n"
    "  cell's car picture against the picture sets in FOLDER\n";

int Generate(const std::string& description, const std::string& carsFolder, bool summary) {
  std::string text;
  if (std::optional<vm::FileError> e = vm::ReadTextFile(description, text)) {
    std::cerr << "velomark-trackgen: " << e->Describe() << "\n";
    return 2;
  }
  vm::TrackDescription d;
  if (std::optional<vm::FileError> e = vm::ParseTrackDescription(text, description, d)) {
    std::cerr << "velomark-trackgen: " << e->Describe() << "\n";
    return 2;
  }
  vm::Track track;
  if (std::optional<vm::FileError> e = vm::BuildTrack(d, track)) {
    std::cerr << "velomark-trackgen: " << e->Describe() << "\n";
    return 2;
  }
  const std::string trackFile = vm::ReplaceExtension(description, ".trk");
  track.TrackFile = trackFile;
  const std::vector<vm::TrackFinding> findings = vm::CheckTrack(track, {carsFolder});
  for (const vm::TrackFinding& f : findings) std::cerr << description << ": " << vm::Describe(f) << "\n";
  if (!findings.empty()) return 2;
  if (summary)
    for (const std::string& line : vm::SummaryLines(vm::SummariseTrack(track, d.Margin))) std::cout << line << "\n";
  if (std::optional<vm::FileError> e = vm::SaveTrack(track, trackFile)) {
    std::cerr << "velomark-trackgen: " << e->Describe() << "\n";
    return 2;
  }
  if (std::optional<vm::FileError> e = vm::WriteGif(vm::ReplaceExtension(description, ".gif"),
                                                    vm::DrawTrackPicture(track))) {
    std::cerr << "velomark-trackgen: " << e->Describe() << "\n";
    return 2;
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  std::string description, cars;
  bool summary = false;
  for (size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "--cars" && i + 1 < args.size()) {
      cars = args[++i];
    } else if (args[i] == "--summary") {
      summary = true;
    } else if (description.empty() && args[i].rfind("--", 0) != 0) {
      description = args[i];
    } else {
      std::cerr << kUsage;
      return 1;
    }
  }
  if (description.empty()) {
    std::cerr << kUsage;
    return 1;
  }
  return Generate(description, cars, summary);
}
