// Hue, saturation and colour balance on the headline 6000 x 4000 ARGB32
// image. Each iteration starts from the random colours again, since
// repeated edits drift towards content that converts differently (greys,
// one hue).
#include <vqutil/adjust.h>

#include "bench_support.h"

#include <functional>

namespace {

using vqbench::kHeight;
using vqbench::kWidth;
const int64_t kPixels = int64_t{kWidth} * kHeight;

void runOnFreshCopies(benchmark::State& state, const std::function<void(QImageEx&)>& op) {
    const QImageEx& source = vqbench::headlineArgb();
    for (auto _ : state) {
        state.PauseTiming();
        QImageEx img = source.copy();
        state.ResumeTiming();
        op(img);
    }
    vqbench::countPixels(state, kPixels);
}

HSLAdjustParam range(int start, int hue, int saturation, int lightness) {
    return {0, start, start + 30, start + 60, start + 90, hue, saturation, lightness};
}

// Arg 0: a master entry only; 1: the master and all six colour ranges.
void BM_DibHSLAdjust(benchmark::State& state) {
    QList<HSLAdjustParam> params = {{1, 0, 0, 0, 0, 15, 20, -10}};
    if (state.range(0))
        for (int r = 0; r < 6; ++r)
            params << range(315 + 60 * r, 10 * r - 30, 40 - 15 * r, 5 * r - 10);
    runOnFreshCopies(state, [&](QImageEx& img) { DibHSLAdjust(img, params, false); });
}
BENCHMARK(BM_DibHSLAdjust)->ArgName("ranges")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_DibHSLAdjustColorize(benchmark::State& state) {
    const QList<HSLAdjustParam> params = {{1, 0, 0, 0, 0, 35, 40, 5}};
    runOnFreshCopies(state, [&](QImageEx& img) { DibHSLAdjust(img, params, true); });
}
BENCHMARK(BM_DibHSLAdjustColorize)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_adjustSaturation(benchmark::State& state) {
    runOnFreshCopies(state, [](QImageEx& img) { adjustSaturation(img, 35); });
}
BENCHMARK(BM_adjustSaturation)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_hueEqual(benchmark::State& state) {
    runOnFreshCopies(state, [](QImageEx& img) { hueEqual(img, 30, 60); });
}
BENCHMARK(BM_hueEqual)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_DibColorBalance(benchmark::State& state) {
    const bool keepLightness = state.range(0) != 0;
    runOnFreshCopies(state, [&](QImageEx& img) {
        DibColorBalance(img, 20, -10, 30, 15, 0, -25, -10, 20, 5, keepLightness);
    });
}
BENCHMARK(BM_DibColorBalance)->ArgName("keepLightness")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
