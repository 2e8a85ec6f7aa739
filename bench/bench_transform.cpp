// The transforms on the headline 6000 x 4000 ARGB32 image, in both thread
// modes: the argument is the number of pool threads the bands may use.
#include <vqutil/transform.h>

#include "bench_support.h"

#include <QThreadPool>

namespace {

using vqbench::kHeight;
using vqbench::kWidth;
const int64_t kPixels = int64_t{kWidth} * kHeight;

// Restores the pool's thread count when a case ends.
class PoolThreads {
public:
    explicit PoolThreads(int count) : m_previous(QThreadPool::globalInstance()->maxThreadCount()) {
        QThreadPool::globalInstance()->setMaxThreadCount(count);
    }
    ~PoolThreads() { QThreadPool::globalInstance()->setMaxThreadCount(m_previous); }

private:
    int m_previous;
};

// A mild perspective: three corners pulled in by a few percent, the
// bottom-right one left where it is.
void mildPerspective(QPoint corners[4]) {
    corners[0] = QPoint(kWidth / 20, kHeight / 25);
    corners[1] = QPoint(kWidth - kWidth / 30, kHeight / 50);
    corners[2] = QPoint(kWidth / 40, kHeight - kHeight / 20);
    corners[3] = QPoint(0, 0);
}

void BM_unifiedtransformEx_Perspective(benchmark::State& state) {
    const PoolThreads threads(static_cast<int>(state.range(0)));
    const QImageEx& src = vqbench::headlineArgb();
    QPoint corners[4];
    mildPerspective(corners);
    QImageEx dst;
    for (auto _ : state)
        unifiedtransformEx(dst, src, corners, src.size(), QRect(), Qt::SmoothTransformation, Qt::transparent);
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_unifiedtransformEx_Perspective)->ArgName("threads")->Arg(1)->Arg(2)
    ->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_unifiedtransformEx_Shear(benchmark::State& state) {
    const PoolThreads threads(static_cast<int>(state.range(0)));
    const QImageEx& src = vqbench::headlineArgb();
    QImageEx dst;
    for (auto _ : state)
        unifiedtransformEx(dst, src, 0.05, 0.02, src.size(), QRect(), Qt::SmoothTransformation, Qt::transparent);
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_unifiedtransformEx_Shear)->ArgName("threads")->Arg(1)->Arg(2)
    ->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_unifiedtransform_Qt(benchmark::State& state) {
    const QImageEx& src = vqbench::headlineArgb();
    QPoint corners[4];
    mildPerspective(corners);
    QImageEx dst;
    QRect unused;
    for (auto _ : state)
        unifiedtransform(dst, unused, src, corners, true, QColor());
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_unifiedtransform_Qt)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

namespace {

// A 4 x 4 warp grid over the headline image with its inner points and one
// corner pulled by a few percent of the size.
QVector<QPointF> mildGrid(double scaleX, double scaleY) {
    QVector<QPointF> grid;
    for (int j = 0; j < 4; ++j)
        for (int i = 0; i < 4; ++i)
            grid << QPointF(scaleX * i / 3, scaleY * j / 3);
    grid[5] += QPointF(0.04 * scaleX, -0.03 * scaleY);
    grid[10] += QPointF(-0.03 * scaleX, 0.05 * scaleY);
    grid[3] += QPointF(0.02 * scaleX, -0.02 * scaleY);
    return grid;
}

void BM_bezierTransform(benchmark::State& state) {
    const PoolThreads threads(static_cast<int>(state.range(0)));
    const QImageEx& src = vqbench::headlineArgb();
    const QVector<QPointF> grid = mildGrid(src.width(), src.height());
    QImageEx dst;
    QRect placed;
    for (auto _ : state)
        bezierTransform(dst, placed, src, grid);
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_bezierTransform)->ArgName("threads")->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_freeTransform(benchmark::State& state) {
    const PoolThreads threads(static_cast<int>(state.range(0)));
    const QImageEx& src = vqbench::headlineArgb();
    QPoint c[4];
    mildPerspective(c);
    const QPointF corners[4] = {c[0], c[1], c[2], QPointF(src.width(), src.height())};
    const QVector<QPointF> mesh = state.range(1) ? mildGrid(1, 1) : QVector<QPointF>();
    QImageEx dst;
    QRect placed;
    for (auto _ : state)
        freeTransform(dst, placed, src, corners, mesh);
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_freeTransform)->ArgNames({"threads", "mesh"})->ArgsProduct({{1, 2}, {0, 1}})
    ->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_transformQImage(benchmark::State& state) {
    const PoolThreads threads(static_cast<int>(state.range(0)));
    const QImageEx& src = vqbench::headlineArgb();
    QVector<QPointF> from;
    for (int j = 0; j < 4; ++j)
        for (int i = 0; i < 4; ++i)
            from << QPointF(src.width() * i / 3.0, src.height() * j / 3.0);
    const QVector<QPointF> to = mildGrid(src.width(), src.height());
    QImageEx dst;
    QRect placed;
    for (auto _ : state)
        transformQImage(dst, placed, src, from, to);
    vqbench::countPixels(state, kPixels);
}
BENCHMARK(BM_transformQImage)->ArgName("threads")->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
