// The band dispatcher: its split of the rows, that it covers every row once,
// and that it cannot deadlock when called from pool threads or from bands.
#include "core/cancel.h"
#include "core/parallel.h"

#include <QRunnable>
#include <QThreadPool>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstdint>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

namespace {

std::vector<vq::RowBand> bandsOf(int firstRow, int rowCount) {
    const vq::BandPlan plan = vq::planRowBands(firstRow, rowCount);
    return std::vector<vq::RowBand>(plan.bands, plan.bands + plan.count);
}

// Runs `work` and fails the whole test binary if it has not finished within
// the limit: a deadlocked pool could otherwise never be torn down.
void finishesWithin(std::chrono::seconds limit, const std::function<void()>& work) {
    auto done = std::async(std::launch::async, work);
    if (done.wait_for(limit) != std::future_status::ready) {
        std::fprintf(stderr, "FATAL: the dispatcher did not finish within %lld s (deadlock)\n",
                     static_cast<long long>(limit.count()));
        std::fflush(stderr);
        std::_Exit(EXIT_FAILURE);
    }
    done.get();
}

// Sets the global pool's size for one test.
class PoolSize {
public:
    explicit PoolSize(int threads) : m_saved(QThreadPool::globalInstance()->maxThreadCount()) {
        QThreadPool::globalInstance()->setMaxThreadCount(threads);
    }
    ~PoolSize() { QThreadPool::globalInstance()->setMaxThreadCount(m_saved); }

private:
    int m_saved;
};

// A QRunnable from a lambda, as an editor would start its own tasks. The
// atomic flag publishes the task to the pool thread in terms that
// ThreadSanitizer sees (Qt's own hand-over is invisible to it).
class Task : public QRunnable {
public:
    explicit Task(std::function<void()> f) : m_f(std::move(f)) {
        setAutoDelete(true);
        m_published.store(true, std::memory_order_release);
    }
    void run() override {
        if (m_published.load(std::memory_order_acquire))
            m_f();
    }

private:
    std::function<void()> m_f;
    std::atomic<bool> m_published{false};
};

// Counts finished callers with the standard library's primitives, whose
// synchronisation ThreadSanitizer sees.
class Latch {
public:
    void arrive() {
        std::lock_guard<std::mutex> guard(m_lock);
        ++m_arrived;
        m_changed.notify_all();
    }
    void waitFor(int count) {
        std::unique_lock<std::mutex> guard(m_lock);
        m_changed.wait(guard, [&] { return m_arrived >= count; });
    }

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    int m_arrived = 0;
};

// A band body that marks each row it visits; heavy enough that bands overlap.
struct RowVisits {
    explicit RowVisits(int rows) : counts(rows) {}
    std::vector<std::atomic<int>> counts;
    void visit(int begin, int end) {
        while (begin < end)
            counts[begin++].fetch_add(1, std::memory_order_relaxed);
    }
    bool eachOnce() const {
        return std::all_of(counts.begin(), counts.end(), [](const std::atomic<int>& c) { return c.load() == 1; });
    }
};

}  // namespace

// One band per 200 rows (1 to 8), tiling the rows in order, sizes within one
// row of each other with the larger ones last: that fixes every split.
TEST(BandPlan, BandsTileTheRowsWithTheLargerOnesLast) {
    for (int rows = 0; rows <= 6000; ++rows) {
        const auto bands = bandsOf(3, rows);
        ASSERT_EQ(static_cast<int>(bands.size()), std::min(8, std::max(1, rows / 200))) << rows;
        int next = 3;
        for (size_t k = 0; k < bands.size(); ++k) {
            ASSERT_EQ(bands[k].begin, next) << rows;
            next = bands[k].end;
            const int size = bands[k].end - bands[k].begin;
            ASSERT_LE(size - (bands[0].end - bands[0].begin), 1) << rows;
            if (k > 0) {
                ASSERT_GE(size, bands[k - 1].end - bands[k - 1].begin) << rows;
            }
        }
        ASSERT_EQ(next, 3 + rows);
    }
    const auto negative = bandsOf(7, -5);
    ASSERT_EQ(negative.size(), 1u);
    EXPECT_TRUE(negative[0].begin == 7 && negative[0].end == 2) << "end below begin: the body does nothing";
    // Row numbers near the top of int do not overflow.
    EXPECT_EQ(bandsOf(INT32_MAX - 100, 1000).back().end, INT32_MAX);
}

TEST(Dispatcher, CallsTheBodyOncePerPlannedBand) {
    for (int rows : {0, 1, 399, 400, 1799, 4000}) {
        std::mutex lock;
        std::vector<std::pair<int, int>> calls, expected;
        EXPECT_TRUE(processLinesParallel(0, rows, [&](int begin, int end) {
            std::lock_guard<std::mutex> guard(lock);
            calls.emplace_back(begin, end);
        }));
        std::sort(calls.begin(), calls.end());
        for (const vq::RowBand& b : bandsOf(0, rows))
            expected.emplace_back(b.begin, b.end);
        EXPECT_EQ(calls, expected) << rows;
    }
}

TEST(Dispatcher, SurvivesEmptyAndThrowingBodies) {
    finishesWithin(std::chrono::seconds(30), [] {
        EXPECT_TRUE(processLinesParallel(0, 1000, std::function<void(int, int)>()));
        std::atomic<int> bands{0};
        EXPECT_TRUE(processLinesParallel(0, 1000, [&](int, int) {
            bands.fetch_add(1);
            throw 42;
        }));
        EXPECT_EQ(bands.load(), 5);
    });
}

// Two operations at once, each called from a task of the global pool, on a
// pool of one and of two threads: both pool threads wait for bands that
// need a pool thread to run.
TEST(Dispatcher, TwoCallsFromPoolTasksDoNotDeadlock) {
    for (int threads : {1, 2}) {
        PoolSize size(threads);
        finishesWithin(std::chrono::seconds(60), [] {
            constexpr int kCallers = 3;
            Latch finished;
            std::vector<RowVisits> visits;
            for (int i = 0; i < kCallers; ++i)
                visits.emplace_back(1800);
            for (int i = 0; i < kCallers; ++i)
                QThreadPool::globalInstance()->start(new Task([&, i] {
                    processLinesParallel(0, 1800, [&](int b, int e) {
                        std::this_thread::sleep_for(std::chrono::milliseconds(2));
                        visits[i].visit(b, e);
                    });
                    finished.arrive();
                }));
            finished.waitFor(kCallers);
            for (const RowVisits& v : visits)
                EXPECT_TRUE(v.eachOnce());
        });
    }
}

// An operation called from inside another's band, two levels deep.
TEST(Dispatcher, NestedCallsFromBandsDoNotDeadlock) {
    for (int threads : {1, 2}) {
        PoolSize size(threads);
        finishesWithin(std::chrono::seconds(60), [] {
            std::atomic<long> innerRows{0};
            processLinesParallel(0, 1600, [&](int, int) {
                processLinesParallel(0, 800, [&](int, int) {
                    processLinesParallel(0, 400, [&](int b, int e) { innerRows.fetch_add(e - b); });
                });
            });
            EXPECT_EQ(innerRows.load(), 8L * 4 * 400);
        });
    }
}

TEST(CancelFlag, IsReadAtomicallyWhileAnotherThreadSetsIt) {
    bool cancel = false;
    EXPECT_FALSE(vq::isCancelled(nullptr));
    std::atomic<long> polls{0};
    std::thread poller([&] {
        while (!vq::isCancelled(&cancel))
            polls.fetch_add(1, std::memory_order_relaxed);
    });
    while (polls.load() == 0)  // the poller must be reading before the flag flips
        std::this_thread::yield();
    __atomic_store_n(&cancel, true, __ATOMIC_RELAXED);
    poller.join();
    EXPECT_TRUE(vq::isCancelled(&cancel));
    EXPECT_GT(polls.load(), 0);
}
