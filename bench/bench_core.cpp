// The image core: the cost of the band dispatcher itself and of a minimal
// per-byte pass through it, and the conversion to the working format.
#include <vqutil/core.h>

#include "bench_support.h"
#include "core/parallel.h"

namespace {

// Row kernels take their sizes by value: a store through a byte pointer may
// alias anything, so a size read through a captured reference would be
// reloaded every iteration and block vectorisation.
void invertRow(uint8_t* p, int bytes) {
    for (int i = 0; i < bytes; ++i)
        p[i] = static_cast<uint8_t>(~p[i]);
}

void BM_DispatcherEmptyBody(benchmark::State& state) {
    for (auto _ : state)
        processLinesParallel(0, vqbench::kHeight, [](int, int) {});
    vqbench::countPixels(state, int64_t{vqbench::kWidth} * vqbench::kHeight);
}
BENCHMARK(BM_DispatcherEmptyBody)->UseRealTime()->Unit(benchmark::kMicrosecond);

// Inverts every byte of a 6000 x 4000 ARGB32 image: one read-modify-write
// pass, the floor for any point operation.
void BM_DispatcherInvertBytes(benchmark::State& state) {
    QImageEx image = vqbench::headlineArgb().copy();
    image.beginDetach();
    uint8_t* bits = image.bits();
    const qsizetype stride = image.bytesPerLine();
    const int rowBytes = image.width() * 4;
    for (auto _ : state) {
        processLinesParallel(0, image.height(), [&](int row, int end) {
            for (; row < end; ++row)
                invertRow(bits + row * stride, rowBytes);
        });
    }
    image.endDetach();
    vqbench::countPixels(state, int64_t{vqbench::kWidth} * vqbench::kHeight);
}
BENCHMARK(BM_DispatcherInvertBytes)->UseRealTime()->Unit(benchmark::kMillisecond);

void BM_ConvertGreyToArgb(benchmark::State& state) {
    const QImageEx grey = vqbench::randomImage(QImage::Format_Grayscale8);
    QImageEx argb;
    for (auto _ : state)
        convertToArgb(argb, grey);
    vqbench::countPixels(state, int64_t{vqbench::kWidth} * vqbench::kHeight);
}
BENCHMARK(BM_ConvertGreyToArgb)->Unit(benchmark::kMillisecond);

void BM_BgrToCmykRoundTrip(benchmark::State& state) {
    const QImageEx bgr = vqbench::randomImage(QImage::Format_RGB888, vqbench::kWidth, 64);
    std::vector<unsigned char> cmyk(4 * vqbench::kWidth), back(3 * vqbench::kWidth);
    for (auto _ : state) {
        for (int y = 0; y < bgr.height(); ++y) {
            QImageEx::BgrToCmyk(cmyk.data(), const_cast<uchar*>(bgr.scanLine(y)), vqbench::kWidth);
            QImageEx::CmykToBgr(back.data(), cmyk.data(), vqbench::kWidth);
        }
        benchmark::DoNotOptimize(back.data());
    }
    vqbench::countPixels(state, int64_t{vqbench::kWidth} * bgr.height());
}
BENCHMARK(BM_BgrToCmykRoundTrip)->Unit(benchmark::kMicrosecond);

}  // namespace
