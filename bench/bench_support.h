// Shared set-up for the benchmarks: the headline 6000 x 4000 image with
// random content, built once per process.
#pragma once

#include <vqutil/qimageex.h>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <random>

namespace vqbench {

// The headline size; VQUTIL_BENCH_SMOKE=1 (the test suite's smoke run)
// shrinks it a hundredfold so that every case just runs once, quickly.
inline bool smokeRun() {
    const char* smoke = std::getenv("VQUTIL_BENCH_SMOKE");
    return smoke && *smoke && *smoke != '0';
}
inline const int kWidth = smokeRun() ? 600 : 6000;
inline const int kHeight = smokeRun() ? 400 : 4000;

inline QImageEx randomImage(QImage::Format format, int w = kWidth, int h = kHeight) {
    QImageEx image = QImage(w, h, format);
    std::mt19937 rng(42);
    uint32_t* words = reinterpret_cast<uint32_t*>(image.bits());
    const qsizetype count = image.sizeInBytes() / 4;
    for (qsizetype i = 0; i < count; ++i)
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
