// The photographic adjustments (haze, highlights and shadows, white
// balance) on the headline 6000 x 4000 ARGB32 image.
#include <vqutil/adjust.h>

#include "bench_support.h"

namespace {

const int64_t kPixels = int64_t{vqbench::kWidth} * vqbench::kHeight;

void BM_DibAdjustHaze(benchmark::State& state) {
    QImageEx img = vqbench::headlineArgb().copy();
    for (auto _ : state)
        DibAdjustHaze(img, 60, 0.1f, 7);
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_DibAdjustHaze)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_DibAdjustHighLightShadow(benchmark::State& state) {
    QImageEx img = vqbench::headlineArgb().copy();
    for (auto _ : state)
        DibAdjustHighLightShadow(img, 40, 30);
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_DibAdjustHighLightShadow)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_DibAdjustWhiteBalance(benchmark::State& state) {
    QImageEx img = vqbench::headlineArgb().copy();
    for (auto _ : state)
        DibAdjustWhiteBalance(img, 30, -10);
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_DibAdjustWhiteBalance)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_shadowHighlight(benchmark::State& state) {
    QImageEx img = vqbench::headlineArgb().copy();
    for (auto _ : state)
        shadowHighlight(img, 35, 20, 30, 50, 50, 20, 10);
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_shadowHighlight)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
