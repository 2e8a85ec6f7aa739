// The filters on the headline 6000 x 4000 ARGB32 image, single-threaded as
// they run (the focus blur uses its own threads).
#include <vqutil/filters.h>

#include "bench_support.h"

#include <vector>

namespace {

using vqbench::kHeight;
using vqbench::kWidth;
const int64_t kPixels = int64_t{kWidth} * kHeight;

// Opaque, so that the blurs measure themselves and not the transparency bleed.
const QImageEx& opaqueArgb() {
    static const QImageEx image = [] {
        QImageEx img = vqbench::randomImage(QImage::Format_ARGB32);
        uint32_t* words = reinterpret_cast<uint32_t*>(img.bits());
        const qsizetype count = img.sizeInBytes() / 4;
        for (qsizetype i = 0; i < count; ++i)
            words[i] |= 0xFF000000u;
        return img;
    }();
    return image;
}

void BM_StackBlur(benchmark::State& state) {
    QImageEx img = opaqueArgb().copy();
    for (auto _ : state)
        GaussianBlur(img, static_cast<int>(state.range(0)), nullptr, false);
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_StackBlur)->Arg(2)->Arg(20)->Arg(200)->Unit(benchmark::kMillisecond);

void BM_RecursiveGaussian(benchmark::State& state) {
    QImageEx img = opaqueArgb().copy();
    for (auto _ : state)
        GaussianBlur(img, static_cast<int>(state.range(0)), nullptr, true);
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_RecursiveGaussian)->Arg(2)->Arg(50)->Unit(benchmark::kMillisecond);

void BM_BoxBlur(benchmark::State& state) {
    QImageEx img = opaqueArgb().copy();
    for (auto _ : state)
        ThBlurMoreEx(img, static_cast<int>(state.range(0)), false, false, false);
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_BoxBlur)->Arg(5)->Arg(50)->Unit(benchmark::kMillisecond);

void BM_UnsharpMask(benchmark::State& state) {
    QImageEx img = opaqueArgb().copy();
    for (auto _ : state)
        unsharp_mask_fast(img, 5, 0.5, 4);
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_UnsharpMask)->Unit(benchmark::kMillisecond);

void BM_SharpenMore(benchmark::State& state) {
    QImageEx img = opaqueArgb().copy();
    for (auto _ : state)
        sharpenMore(img, 50);
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_SharpenMore)->Unit(benchmark::kMillisecond);

void BM_Convolve(benchmark::State& state) {
    const int order = static_cast<int>(state.range(0));
    std::vector<double> kernel(order * order, 1.0);
    kernel[order * order / 2] = 2.0;
    const QImageEx source = opaqueArgb();
    for (auto _ : state) {
        state.PauseTiming();
        QImageEx img = source.copy();
        state.ResumeTiming();
        convolveImage(img, order, kernel.data());
    }
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_Convolve)->Arg(3)->Arg(9)->Unit(benchmark::kMillisecond);

void BM_FocusBlur(benchmark::State& state) {
    QImageEx img = opaqueArgb().copy();
    for (auto _ : state) {
        FocusBlurConfig cfg{0, 8, 0.5, 0.5, 1200, 0.3, 0.5, 0.2, 15};
        vqDoFocusBlur(img, &cfg);
    }
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_FocusBlur)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
