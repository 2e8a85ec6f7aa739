// Selective colour and colour replacement on the headline 6000 x 4000
// ARGB32 image.
#include <vqutil/adjust.h>

#include "bench_support.h"

namespace {

using vqbench::kHeight;
using vqbench::kWidth;
const int64_t kPixels = int64_t{kWidth} * kHeight;

void BM_selectiveColor(benchmark::State& state) {
    QImageEx img = vqbench::headlineArgb().copy();
    SelectiveColorSettings settings;
    settings.reds = {-20, 10, 15, 0};
    settings.blues = {10, 0, -25, 5};
    settings.neutrals = {3, -2, 4, 0};
    settings.blacks.black = 10;
    settings.absolute = state.range(0) != 0;
    for (auto _ : state)
        selectiveColor(img, nullptr, settings);
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_selectiveColor)->ArgName("absolute")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

// A sky replaced by two picked blues, softly: the usual three-colour pick.
void BM_replaceColor(benchmark::State& state) {
    QImageEx img = vqbench::headlineArgb().copy();
    const QVector<YUV> sources{yuvFromRgb(qRgb(70, 130, 200)), yuvFromRgb(qRgb(120, 170, 230)),
                               yuvFromRgb(qRgb(40, 90, 160))};
    const YUV target = yuvFromRgb(qRgb(200, 120, 60));
    const double feather = static_cast<double>(state.range(0));
    for (auto _ : state)
        replaceColor(img, nullptr, sources, target, 40, feather);
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_replaceColor)->ArgName("feather")->Arg(0)->Arg(30)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
