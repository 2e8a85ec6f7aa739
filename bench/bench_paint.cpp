// Pens and gradient templates: building a brush template of each shape at
// the largest radius, building a gradient table, and walking it.
#include <vqutil/paint.h>

#include <benchmark/benchmark.h>

#include <memory>

namespace {

// Arg: the shape (0 circle, 1 square, 2 custom plane).
void BM_PenConfigPen(benchmark::State& state) {
    auto pen = std::make_unique<PENSTRUCT>();
    pen->SetPenShape(PENSHAPE(state.range(0)));
    pen->SetPenSize(32, 256, false);
    for (auto _ : state) {
        pen->ConfigPen();
        benchmark::DoNotOptimize(pen->scaledPlane[128][128]);
    }
}
BENCHMARK(BM_PenConfigPen)->Arg(SHAPE_CIRCLE)->Arg(SHAPE_RECT)->Arg(SHAPE_TEMPLATE)->Unit(benchmark::kMicrosecond);

void BM_PenConfigCirclePen(benchmark::State& state) {
    auto pen = std::make_unique<PENSTRUCT>();
    for (auto _ : state) {
        pen->ConfigCirclePen(32, 128);
        benchmark::DoNotOptimize(pen->templatePlane[128][128]);
    }
}
BENCHMARK(BM_PenConfigCirclePen)->Unit(benchmark::kMicrosecond);

void BM_ColorTemplateConfig4096(benchmark::State& state) {
    CColorTemplate gradient;
    gradient.SetColor(0x00FF8000, 40, 1);
    gradient.SetColor(0x000000FF, 100, 2);
    for (auto _ : state)
        benchmark::DoNotOptimize(gradient.ConfigTemplate(4096));
}
BENCHMARK(BM_ColorTemplateConfig4096)->Unit(benchmark::kMicrosecond);

void BM_ColorTemplateGetColorMillion(benchmark::State& state) {
    CColorTemplate gradient;
    gradient.ConfigTemplate(4096);
    for (auto _ : state) {
        unsigned sum = 0;
        for (int i = 0; i < 1000000; ++i)
            sum += gradient.GetColor(i).rgbGreen;
        benchmark::DoNotOptimize(sum);
    }
}
BENCHMARK(BM_ColorTemplateGetColorMillion)->Unit(benchmark::kMillisecond);

}  // namespace
