// Tone and colour adjustments on the headline 6000 x 4000 ARGB32 image.
#include <vqutil/adjust.h>

#include "bench_support.h"

#include <array>
#include <vector>

namespace {

using vqbench::kHeight;
using vqbench::kWidth;
const int64_t kPixels = int64_t{kWidth} * kHeight;

std::array<unsigned char, 256> rampTable(int offset) {
    std::array<unsigned char, 256> t{};
    for (int v = 0; v < 256; ++v)
        t[v] = static_cast<unsigned char>(std::min(255, v + offset));
    return t;
}

// A selection of the left half of the image, as a selection tool leaves it.
const QImageEx& halfMask() {
    static const QImageEx mask = [] {
        QImageEx m = QImage(kWidth, kHeight, QImage::Format_Grayscale8);
        m.fill(255u);
        for (int y = 0; y < kHeight; ++y)
            std::fill(m.scanLine(y), m.scanLine(y) + kWidth / 2, 0);
        return m;
    }();
    return mask;
}

void BM_AdjustRGBOffset(benchmark::State& state) {
    QImageEx img = vqbench::headlineArgb().copy();
    auto r = rampTable(3), g = rampTable(5), b = rampTable(7), m = rampTable(1);
    const bool master = state.range(0) != 0;
    for (auto _ : state)
        AdjustRGBOffset(img, nullptr, r.data(), g.data(), b.data(), master ? m.data() : nullptr);
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_AdjustRGBOffset)->ArgName("master")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_AdjustRGBOffsetMasked(benchmark::State& state) {
    QImageEx img = vqbench::headlineArgb().copy();
    auto r = rampTable(3), g = rampTable(5), b = rampTable(7);
    for (auto _ : state)
        AdjustRGBOffset(img, &halfMask(), r.data(), g.data(), b.data(), nullptr);
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_AdjustRGBOffsetMasked)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_AdjustCMYKOffset(benchmark::State& state) {
    QImageEx img = vqbench::headlineArgb().copy();
    auto c = rampTable(3), k = rampTable(5);
    for (auto _ : state)
        AdjustCMYKOffset(img, nullptr, c.data(), nullptr, nullptr, k.data(), nullptr);
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_AdjustCMYKOffset)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_vqDoColorLevel(benchmark::State& state) {
    QImageEx img = vqbench::headlineArgb().copy();
    ColorLevelsConfig config{};
    for (int c = 0; c < 5; ++c) {
        config.inputBlack[c] = 0.05;
        config.inputWhite[c] = 0.9;
        config.gamma[c] = 1.2;
        config.outputWhite[c] = 1.0;
    }
    for (auto _ : state)
        vqDoColorLevel(img, nullptr, &config);
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_vqDoColorLevel)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ThAutoLevel(benchmark::State& state) {
    const QImageEx source = vqbench::headlineArgb().copy();
    for (auto _ : state) {
        state.PauseTiming();
        QImageEx img = source.copy();
        state.ResumeTiming();
        benchmark::DoNotOptimize(ThAutoLevel(img));
    }
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_ThAutoLevel)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_getHistoGramValue(benchmark::State& state) {
    const QImageEx& img = vqbench::headlineArgb();
    int value[256], first[256], second[256], third[256];
    for (auto _ : state) {
        getHistoGramValue(img, value, first, second, third);
        benchmark::DoNotOptimize(value);
    }
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_getHistoGramValue)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_blackWhite(benchmark::State& state) {
    QImageEx img = vqbench::headlineArgb().copy();
    const QVector<int> weights{40, 60, 40, 60, 20, 80};
    for (auto _ : state) {
        state.PauseTiming();
        QImageEx work = img.copy();  // blackWhite's output is grey: start from colour each time
        state.ResumeTiming();
        blackWhite(work, weights);
    }
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_blackWhite)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_thresholdSplit(benchmark::State& state) {
    QImageEx img = vqbench::headlineArgb().copy();
    for (auto _ : state)
        thresholdSplit(img, 128);
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_thresholdSplit)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_invertImagePixels(benchmark::State& state) {
    QImageEx img = vqbench::headlineArgb().copy();
    for (auto _ : state)
        invertImagePixels(img);
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_invertImagePixels)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_makeGrayscale8(benchmark::State& state) {
    const QImageEx& img = vqbench::headlineArgb();
    QImageEx grey;
    for (auto _ : state)
        makeGrayscale8(grey, img, 0xFFFFFFFFu);
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_makeGrayscale8)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

namespace {

// The photographic and colour-correction passes: each changes the image in
// place, run over and over on the same copy.
template <typename Op>
void runInPlace(benchmark::State& state, Op op) {
    QImageEx img = vqbench::headlineArgb().copy();
    for (auto _ : state)
        op(img);
    vqbench::countPixels(state, kPixels);
}

void BM_DibAdjustExposure(benchmark::State& s) { runInPlace(s, [](QImageEx& i) { DibAdjustExposure(i, 0.3, 0.01, 1.1); }); }
void BM_exposure(benchmark::State& s) { runInPlace(s, [](QImageEx& i) { exposure(i, 0.5f, 1.0f); }); }
void BM_DibAdjustTemperature(benchmark::State& s) { runInPlace(s, [](QImageEx& i) { DibAdjustTemperature(i, 20); }); }
void BM_DibAdjustVibrance(benchmark::State& s) { runInPlace(s, [](QImageEx& i) { DibAdjustVibrance(i, 0.4f); }); }
void BM_CDibContrast(benchmark::State& s) { runInPlace(s, [](QImageEx& i) { CDib::Contrast(i, nullptr, 1.2, 1.1, 0.9, 0); }); }
void BM_CDibGramma(benchmark::State& s) { runInPlace(s, [](QImageEx& i) { CDib::Gramma(i, nullptr, 60, 55, 45); }); }
void BM_CDibColorBalana(benchmark::State& s) { runInPlace(s, [](QImageEx& i) { CDib::ColorBalana(i, nullptr, 5, 0, -5); }); }
void BM_CDibAdjustBrightAndContrast(benchmark::State& s) {
    runInPlace(s, [](QImageEx& i) { CDib::adjustBrightAndContrast(i, nullptr, 1.3, 0.1); });
}
void BM_CDibAdjustColor(benchmark::State& s) { runInPlace(s, [](QImageEx& i) { CDib::adjustColor(i, nullptr, 1.2, 4, 0); }); }

void BM_removeSaturation(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        QImageEx work = vqbench::headlineArgb().copy();  // grey after the first pass: start from colour
        state.ResumeTiming();
        removeSaturation(work);
    }
    vqbench::countPixels(state, kPixels);
}

}  // namespace

BENCHMARK(BM_DibAdjustExposure)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_exposure)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_DibAdjustTemperature)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_DibAdjustVibrance)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_CDibContrast)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_CDibGramma)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_CDibColorBalana)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_CDibAdjustBrightAndContrast)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_CDibAdjustColor)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_removeSaturation)->Unit(benchmark::kMillisecond)->UseRealTime();

namespace {

// DibColorBlend per pixel of the headline image, one channel mode and one
// HSL mode.
void BM_DibColorBlend(benchmark::State& state) {
    const QImageEx& img = vqbench::headlineArgb();
    const auto* pixels = reinterpret_cast<const tagRGBQUAD*>(img.constBits());
    const tagRGBQUAD laid{40, 120, 200, 0};
    const BLENDMODE mode = static_cast<BLENDMODE>(state.range(0));
    std::vector<tagRGBQUAD> out(kPixels);
    for (auto _ : state) {
        for (int64_t i = 0; i < kPixels; ++i)
            DibColorBlend(pixels[i], laid, &out[i], mode);
        benchmark::DoNotOptimize(out.data());
    }
    vqbench::countPixels(state, kPixels);
}

}  // namespace

BENCHMARK(BM_DibColorBlend)->ArgName("mode")->Arg(BLEND_MULTIPLY)->Arg(BLEND_HUE)->Unit(benchmark::kMillisecond)->UseRealTime();
