// The band dispatcher: runs an operation's row loop in parallel bands on
// Qt's global thread pool and returns when every band has finished.
//
// The rows are cut into one band per 200 rows, at least 1 and at most 8
// bands whatever the machine, each band sized from the rows still left, so
// bands differ by at most one row, the larger ones come last, and together
// they cover the rows exactly once, top to bottom. Bands write disjoint rows
// and only read shared tables, so the bytes an operation produces do not
// depend on which thread ran which band, nor in which order.
//
// Calling order for an operation: build its tables, image.beginDetach(),
// processLinesParallel(top, bottom - top, body), image.endDetach(). The body
// is called with (firstRow, endRow) and must loop `while (row < endRow)`: an
// empty or negative row count still calls it once with endRow <= firstRow.
// Bodies must not throw; an exception is swallowed so the caller never hangs.
#pragma once

#include <QRunnable>

#include <functional>

class QSemaphore;

namespace vq {

constexpr int kRowsPerBand = 200;
constexpr int kMaxBands = 8;

struct RowBand {
    int begin;
    int end;  // one past the last row
};

struct BandPlan {
    int count = 0;
    RowBand bands[kMaxBands] = {};
};

// The band split of processLinesParallel, top to bottom.
BandPlan planRowBands(int firstRow, int rowCount);

}  // namespace vq

// Runs body over rows firstRow .. firstRow + rowCount - 1 in bands on the
// global pool and blocks until all have returned. Safe to call from a pool
// thread, including from inside another call's band: while it waits, the
// calling thread's pool slot is handed back, so the bands always find a
// thread. Always returns true.
bool processLinesParallel(int firstRow, int rowCount, const std::function<void(int, int)>& body);

// One band: calls its own copy of the body over [begin, end) and then
// releases the dispatcher's semaphore once. Deleted by the pool after run().
class CLineProcessTask final : public QRunnable {
public:
    CLineProcessTask(const std::function<void(int, int)>& body, int begin, int end, QSemaphore* done);
    void run() override;
    ~CLineProcessTask() override;

private:
    std::function<void(int, int)> m_body;
    int m_begin;
    int m_end;
    QSemaphore* m_done;
};
