#pragma once

#include "tests/support/Eventually.h"

#include <foundation/concurrent/threadpool/Executor.h>

namespace zelkor::test {

/// An executor of one thread: whatever needs two of them deadlocks here.
struct OneThread : foundation::concurrent::threadpool::Executor {
    OneThread() : Executor({.minThreads = 1, .maxThreads = 1, .name = "test"}) {}
    /// Waits until all that was posted is done.
    bool settles() const {
        return eventually([this] {
            const auto now = statistics();
            return now.queues == 0 && now.waitingItems == 0;
        });
    }
};

} // namespace zelkor::test
