#pragma once

#include <foundation/concurrent/threadpool/Executor.h>

#include <functional>

namespace hshd {

/// The one thread on which everything runs that changes the state, in the order posted.
class StateThread {
public:
    StateThread();
    /// Ends without running what still waits; drain() first.
    ~StateThread() = default;

    /// @return false, the work destroyed unrun, while the thread ends.
    bool post(std::function<void()> work);
    /// Waits for all that was posted before. Not from the thread itself.
    void drain();

private:
    foundation::concurrent::threadpool::Executor executor_;
};

} // namespace hshd
