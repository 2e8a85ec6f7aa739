// Many operations at once, as an editor runs them: different images on
// different threads, each operation also splitting its own work over the
// pool, with progress callbacks answering from every thread and cancel flags
// flipped by another thread. Results of the runs left alone must equal the
// same calls made one at a time. Meant for ThreadSanitizer as much as for
// the plain build.
#include <vqutil/adjust.h>
#include <vqutil/composite.h>
#include <vqutil/filters.h>
#include <vqutil/selection.h>
#include <vqutil/transform.h>

#include "test_support.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

namespace {

struct Job {
    const char* name;
    QImage::Format format;
    // Runs the operation on img; `cancel` may be flipped while it runs.
    std::function<void(QImageEx& img, bool* cancel)> run;
    bool honoursCancel;  // a cancelled run may leave a different result
};

std::vector<Job> jobs() {
    return {
        {"stack blur", QImage::Format_ARGB32, [](QImageEx& img, bool* c) { GaussianBlur(img, 6, c, false); }, true},
        {"recursive blur", QImage::Format_RGB32, [](QImageEx& img, bool* c) { GaussianBlur(img, 4, c, true); }, true},
        {"transparent blur", QImage::Format_ARGB32, [](QImageEx& img, bool* c) { transpanentBlurMore(img, 3, c); },
         true},
        {"box blur", QImage::Format_Grayscale8, [](QImageEx& img, bool*) { ThBlurMoreEx(img, 5, false, false, false); },
         false},
        {"temperature", QImage::Format_ARGB32, [](QImageEx& img, bool*) { DibAdjustTemperature(img, 40); }, false},
        {"haze", QImage::Format_RGB32, [](QImageEx& img, bool*) { DibAdjustHaze(img, 0.6f, 0.1f, 4); }, false},
        {"hsl", QImage::Format_ARGB32, [](QImageEx& img, bool*) { adjustSaturation(img, 35); }, false},
        {"unsharp", QImage::Format_ARGB32, [](QImageEx& img, bool*) { unsharp_mask_fast(img, 3, 0.8, 2); }, false},
        {"perspective", QImage::Format_ARGB32,
         [](QImageEx& img, bool*) {
             QImageEx out;
             QPoint corners[4] = {QPoint(10, 5), QPoint(img.width() - 3, 0), QPoint(0, img.height()),
                                  QPoint(img.width() + 20, img.height() - 9)};
             if (unifiedtransformEx(out, img, corners, QSize(), QRect(), Qt::SmoothTransformation, Qt::white))
                 img = out;
         },
         false},
        {"focus blur", QImage::Format_RGB32,
         [](QImageEx& img, bool*) {
             FocusBlurConfig cfg{0, 6, 0.5, 0.5, 60, 0.3, 0.5, 0, 10};
             vqDoFocusBlur(img, &cfg);
         },
         false},
    };
}

}  // namespace

TEST(Stress, OperationsOnSeveralThreadsMatchTheirSequentialResults) {
    const std::vector<Job> all = jobs();
    const int rounds = 4;
    // Sequential references, no callbacks, no cancel.
    std::vector<QImageEx> inputs, expected;
    for (size_t i = 0; i < all.size(); ++i) {
        inputs.push_back(vqtest::randomImage(251 + int(i), 187, all[i].format, uint32_t(i) + 5));
        QImageEx img = inputs.back().copy();
        bool never = false;
        all[i].run(img, &never);
        expected.push_back(img);
    }
    std::atomic<bool> stop{false};
    std::vector<std::unique_ptr<bool>> flags;
    for (size_t i = 0; i < all.size() * rounds; ++i)
        flags.push_back(std::make_unique<bool>(false));
    std::atomic<long> progressCalls{0};
    std::atomic<int> mismatches{0};

    std::vector<std::thread> workers;
    for (size_t i = 0; i < all.size(); ++i)
        workers.emplace_back([&, i] {
            for (int round = 0; round < rounds; ++round) {
                QImageEx img = inputs[i].copy();
                img.setProgressCallback([&](int) {
                    progressCalls.fetch_add(1, std::memory_order_relaxed);
                    return true;
                });
                bool* flag = flags[i * rounds + round].get();
                // Odd rounds of the jobs that poll a flag may be cancelled.
                const bool mayCancel = all[i].honoursCancel && round % 2 == 1;
                all[i].run(img, mayCancel ? flag : nullptr);
                if (!mayCancel && !vqtest::sameBytes(img, expected[i])) {
                    ADD_FAILURE() << all[i].name << " round " << round;
                    mismatches.fetch_add(1);
                }
            }
        });
    std::thread canceller([&] {
        while (!stop.load()) {
            for (auto& f : flags)
                __atomic_store_n(f.get(), true, __ATOMIC_RELAXED);
            std::this_thread::yield();
        }
    });
    for (auto& w : workers)
        w.join();
    stop = true;
    canceller.join();
    EXPECT_EQ(mismatches.load(), 0);
    EXPECT_GT(progressCalls.load(), 0);
}
