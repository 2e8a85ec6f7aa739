// Compositing, mask bounds and whole-image transforms on the headline size.
#include <vqutil/composite.h>
#include <vqutil/transform.h>

#include "bench_support.h"

#include <cstring>

namespace {

using vqbench::kHeight;
using vqbench::kWidth;
const int64_t kPixels = int64_t{kWidth} * kHeight;

QImageEx filledMask(uint8_t value) {
    QImageEx mask = QImage(kWidth, kHeight, QImage::Format_Grayscale8);
    mask.fill(value);
    return mask;
}

void BM_MaskBoundsEmpty(benchmark::State& state) {
    const QImageEx mask = filledMask(255);
    for (auto _ : state)
        benchmark::DoNotOptimize(getMaskImageBouder(mask, true));
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_MaskBoundsEmpty)->Unit(benchmark::kMillisecond);

void BM_MaskBoundsCentreSelection(benchmark::State& state) {
    QImageEx mask = filledMask(255);
    for (int y = kHeight / 2 - 50; y < kHeight / 2 + 50; ++y)
        std::memset(mask.scanLine(y) + kWidth / 2 - 50, 0, 100);
    for (auto _ : state)
        benchmark::DoNotOptimize(getMaskImageBouder(mask, true));
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_MaskBoundsCentreSelection)->Unit(benchmark::kMillisecond);

void BM_MaskBoundsFullSelection(benchmark::State& state) {
    const QImageEx mask = filledMask(0);
    for (auto _ : state)
        benchmark::DoNotOptimize(getMaskImageBouder(mask, true));
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_MaskBoundsFullSelection)->Unit(benchmark::kMicrosecond);

void combineImageExCase(benchmark::State& state, QImage::Format format) {
    QImageEx dst = vqbench::randomImage(QImage::Format_ARGB32).convertToFormat(format);
    const QImageEx src = vqbench::randomImage(QImage::Format_ARGB32).convertToFormat(format);
    const QImageEx mask = vqbench::randomImage(QImage::Format_ARGB32).convertToFormat(QImage::Format_Grayscale8);
    QSizeF scale(1, 1);
    const QRect all(0, 0, kWidth, kHeight);
    for (auto _ : state)
        combineImageEx(dst, all, src, &mask, all, scale);
    vqbench::countPixels(state, kPixels);
}

void BM_CombineImageEx3Byte(benchmark::State& state) { combineImageExCase(state, QImage::Format_RGB888); }
BENCHMARK(BM_CombineImageEx3Byte)->Unit(benchmark::kMillisecond);

void BM_CombineImageEx4Byte(benchmark::State& state) { combineImageExCase(state, QImage::Format_ARGB32); }
BENCHMARK(BM_CombineImageEx4Byte)->Unit(benchmark::kMillisecond);

void BM_DrawImageOnImageBlend(benchmark::State& state) {
    QImageEx dst = vqbench::headlineArgb().copy();
    const QImageEx src = vqbench::randomImage(QImage::Format_ARGB32);
    const QRect all(0, 0, kWidth, kHeight);
    for (auto _ : state)
        drawImageOnImage(dst, all, src, QRect(), false, false, 15, false, false);
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_DrawImageOnImageBlend)->Unit(benchmark::kMillisecond);

void BM_CombineImageData(benchmark::State& state) {
    QImageEx dst = vqbench::randomImage(QImage::Format_ARGB32).convertToFormat(QImage::Format_Grayscale8);
    QImageEx src = vqbench::randomImage(QImage::Format_RGB32).convertToFormat(QImage::Format_Grayscale8);
    for (auto _ : state)
        combineImageData(dst, src, 3);
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_CombineImageData)->Unit(benchmark::kMillisecond);

void BM_ReplaceImageBlock(benchmark::State& state) {
    QImageEx dst = vqbench::headlineArgb().copy();
    const QImageEx src = vqbench::randomImage(QImage::Format_ARGB32);
    const QRect all(0, 0, kWidth, kHeight);
    for (auto _ : state)
        replaceImageBlock(dst, src, all);
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_ReplaceImageBlock)->Unit(benchmark::kMillisecond);

void BM_ScaleRotateImage(benchmark::State& state) {
    const QImageEx src = vqbench::randomImage(QImage::Format_ARGB32).convertToFormat(QImage::Format_Grayscale8);
    QImageEx dst;
    for (auto _ : state)
        scaleRotateImage(dst, src, kWidth, kHeight, 0.3, 255);
    vqbench::countPixels(state, int64_t{dst.width()} * dst.height());
}
BENCHMARK(BM_ScaleRotateImage)->Unit(benchmark::kMillisecond);

}  // namespace
