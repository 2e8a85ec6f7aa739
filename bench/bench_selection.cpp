// Selection masks and the magic wand on 6000 x 4000 images.
#include <vqutil/selection.h>

#include "bench_support.h"

#include <QPainter>

#include <algorithm>
#include <random>

namespace {

using vqbench::kHeight;
using vqbench::kWidth;
const int64_t kPixels = int64_t{kWidth} * kHeight;

// A large smooth area: a red ellipse with a white hole on white.
const QImageEx& smoothScene() {
    static const QImageEx image = [] {
        QImage img(kWidth, kHeight, QImage::Format_ARGB32);
        img.fill(Qt::white);
        QPainter p(&img);
        p.setPen(Qt::NoPen);
        p.setBrush(QColor(200, 40, 40));
        p.drawEllipse(QPoint(kWidth / 2, kHeight / 2), kWidth * 5 / 12, kHeight * 9 / 20);
        p.setBrush(Qt::white);
        p.drawEllipse(QPoint(kWidth / 2, kHeight / 2), kWidth / 20, kHeight / 20);
        return QImageEx(img);
    }();
    return image;
}

// Photo-like: broad gradients with a few levels of noise on top.
const QImageEx& noisyScene() {
    static const QImageEx image = [] {
        QImage img(kWidth, kHeight, QImage::Format_ARGB32);
        std::mt19937 rng(1);
        for (int y = 0; y < kHeight; ++y) {
            QRgb* row = reinterpret_cast<QRgb*>(img.scanLine(y));
            for (int x = 0; x < kWidth; ++x) {
                const int v = std::clamp((x / 40 + y / 50) % 256 + static_cast<int>(rng() % 9) - 4, 0, 255);
                row[x] = qRgb(v, 255 - v, 128);
            }
        }
        return QImageEx(img);
    }();
    return image;
}

const QImageEx& sceneFor(benchmark::State& state) { return state.range(0) ? noisyScene() : smoothScene(); }

void BM_BouderayColor(benchmark::State& state) {
    const QImageEx& image = sceneFor(state);
    CBoundaryTrace wand;
    CDibRegion region;
    for (auto _ : state)
        wand.BouderayColor(&region, image, CPoint(kWidth / 6, kHeight / 2), 8, 0, 15);
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_BouderayColor)->ArgName("noisy")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_BouderayTrace(benchmark::State& state) {
    const QImageEx& image = sceneFor(state);
    CBoundaryTrace wand;
    CDibRegion region;
    for (auto _ : state)
        wand.BouderayTrace(&region, image, CPoint(kWidth / 6, kHeight / 2), 8, 0, 15);
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_BouderayTrace)->ArgName("noisy")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_AddSelectEllipse(benchmark::State& state) {
    CDibRegion region;
    region.InitRegion(kWidth, kHeight, 0, 255);
    for (auto _ : state)
        region.AddSelect(CRect(kWidth / 10, kHeight / 10, kWidth * 9 / 10, kHeight * 9 / 10), 1, 0);
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_AddSelectEllipse)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Union(benchmark::State& state) {
    CDibRegion a, b;
    a.InitRegion(kWidth, kHeight, 0, 255);
    b.InitRegion(kWidth, kHeight, 0, 255);
    a.AddSelect(CRect(0, 0, kWidth / 2, kHeight), 0, 0);
    b.AddSelect(CRect(kWidth / 3, 0, kWidth, kHeight), 0, 0);
    for (auto _ : state)
        a.Union(&b);
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_Union)->Unit(benchmark::kMillisecond)->UseRealTime();

// A fresh selection has nothing selected: the bounds search reads it all.
void BM_IsEmptyFresh(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        CDibRegion region;
        region.InitRegion(kWidth, kHeight, 0, 255);
        state.ResumeTiming();
        benchmark::DoNotOptimize(region.isEmpty());
    }
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_IsEmptyFresh)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
