// How long a track takes to load and the dashboard scan to run: both happen at every race start
// and at every human speed choice.
#include <benchmark/benchmark.h>

#include "core/curve_scan.h"
#include "core/track_file.h"
#include "tools/track_builder.h"

namespace {

vm::Track BigTrack() {
  vm::TrackBuilder b(5, 600);
  for (int c = 0; c < 12; ++c) b.Curve(20 + c * 48, 34 + c * 48, {60, 80, 100, 120, 140});
  return b.Build();
}

void BM_LoadTrack(benchmark::State& state) {
  const std::string text = vm::TrackFileText(BigTrack());
  vm::Track track;
  for (auto _ : state) {
    auto error = vm::LoadTrackText(track, text, "bench.trk");
    benchmark::DoNotOptimize(error);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_LoadTrack);

void BM_ScanNextCurve(benchmark::State& state) {
  const vm::Track track = BigTrack();
  int space = 1;
  for (auto _ : state) {
    benchmark::DoNotOptimize(vm::ScanNextCurve(track, space, 3));
    space = space % 600 + 1;
  }
}
BENCHMARK(BM_ScanNextCurve);

}  // namespace
