// Shared set-up for the benchmarks: the headline 6000 x 4000 image with
// random content, built once per process.
#pragma once

#include <vqutil/qimageex.h>

#include <benchmark/benchmark.h>

#include <random>

namespace vqbench {

constexpr int kWidth = 6000;
constexpr int kHeight = 4000;

inline QImageEx randomImage(QImage::Format format, int w = kWidth, int h = kHeight) {
    QImageEx image = QImage(w, h, format);
    std::mt19937 rng(42);
    uint32_t* words = reinterpret_cast<uint32_t*>(image.bits());
    for (qsizetype i = 0; i < image.sizeInBytes() / 4; ++i)
        words[i] = rng();
    return image;
}

inline const QImageEx& headlineArgb() {
    static const QImageEx image = randomImage(QImage::Format_ARGB32);
    return image;
}

// Reports megapixels per second for `pixels` per iteration.
inline void countPixels(benchmark::State& state, int64_t pixels) {
    state.SetItemsProcessed(state.iterations() * pixels);
    state.counters["MP/s"] = benchmark::Counter(static_cast<double>(state.iterations() * pixels) / 1e6,
                                                benchmark::Counter::kIsRate);
}

}  // namespace vqbench
