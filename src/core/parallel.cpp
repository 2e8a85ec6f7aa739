#include "parallel.h"

#include "happens_before.h"
#include "image_rows.h"

#include <QSemaphore>
#include <QThreadPool>

namespace vq {

BandPlan planRowBands(int firstRow, int rowCount) {
    BandPlan plan;
    plan.count = std::clamp(rowCount / kRowsPerBand, 1, kMaxBands);
    int64_t done = 0;
    for (int k = plan.count; k >= 1; --k) {
        const int64_t size = (rowCount - done) / k;
        plan.bands[plan.count - k] = {clampToInt(firstRow + done), clampToInt(firstRow + done + size)};
        done += size;
    }
    return plan;
}

}  // namespace vq

namespace {

void runBand(const std::function<void(int, int)>& body, int begin, int end) {
    if (!body)
        return;
    try {
        body(begin, end);
    } catch (...) {
        // A throwing body is a bug of its operation; the rows it left are
        // simply not processed, and the dispatcher still completes.
    }
}

// Blocks until `bands` releases. The slot of a calling pool thread is handed
// back for the wait (releaseThread / reserveThread), so that the bands, or
// the bands of a call made from inside a band, are never starved by threads
// that only wait; for a thread outside the pool this merely lets one more
// band run while it sleeps.
void waitForBands(QSemaphore& done, int bands) {
    if (bands <= 0)
        return;
    QThreadPool* pool = QThreadPool::globalInstance();
    pool->releaseThread();
    done.acquire(bands);
    pool->reserveThread();
    VQ_HAPPENS_AFTER(&done);
}

}  // namespace

CLineProcessTask::CLineProcessTask(const std::function<void(int, int)>& body, int begin, int end,
                                   QSemaphore* done)
    : m_body(body), m_begin(begin), m_end(end), m_done(done) {
    setAutoDelete(true);
}

CLineProcessTask::~CLineProcessTask() = default;

void CLineProcessTask::run() {
    VQ_HAPPENS_AFTER(this);
    runBand(m_body, m_begin, m_end);
    VQ_HAPPENS_BEFORE(m_done);
    m_done->release(1);
}

bool processLinesParallel(int firstRow, int rowCount, const std::function<void(int, int)>& body) {
    const vq::BandPlan plan = vq::planRowBands(firstRow, rowCount);
    QSemaphore done(0);
    QThreadPool* pool = QThreadPool::globalInstance();
    int started = 0;
    for (int k = 0; k < plan.count; ++k) {
        const vq::RowBand band = plan.bands[k];
        CLineProcessTask* task = nullptr;
        try {
            task = new CLineProcessTask(body, band.begin, band.end, &done);
        } catch (...) {
            // Out of memory for the task: run this band here instead.
            runBand(body, band.begin, band.end);
            continue;
        }
        VQ_HAPPENS_BEFORE(task);
        pool->start(task, 0);
        ++started;
    }
    waitForBands(done, started);
    return true;
}
