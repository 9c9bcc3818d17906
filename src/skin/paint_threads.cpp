#include "skin/paint_threads.h"

#include <QtCore/QSemaphore>
#include <QtCore/QThreadPool>
#include <algorithm>
#include <memory>

namespace kvmon {

namespace {

constexpr int kMostThreads = 4;
// A thread that has been started runs much sooner.
constexpr int kStartMs = 5000;

}  // namespace

bool HoldPaintThreads() {
    QThreadPool& pool = *QThreadPool::globalInstance();
    pool.setExpiryTimeout(-1);
    const int wanted = std::min(pool.maxThreadCount(), kMostThreads);
    pool.setMaxThreadCount(wanted);
    // Each waits for the last one, so that none does the work of two.
    struct Roll {
        QSemaphore here;
        QSemaphore leave;
    };
    const auto roll = std::make_shared<Roll>();
    for (int i = 0; i < wanted; ++i) {
        pool.start([roll] {
            roll->here.release();
            roll->leave.acquire();
        });
    }
    int running = 0;
    while (running < wanted && roll->here.tryAcquire(1, kStartMs)) {
        ++running;
    }
    roll->leave.release(wanted);
    pool.setMaxThreadCount(std::max(running, 1));
    return running > 0;
}

}  // namespace kvmon
