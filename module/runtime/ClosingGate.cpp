#include "module/runtime/ClosingGate.h"

#include <algorithm>

namespace agent::spf::cppmsclientutils {

bool ClosingGate::enter() {
    const foundation::MutexLock lock(mutex_);
    if (!closed_)
        inside_.push_back(std::this_thread::get_id());
    return !closed_;
}

void ClosingGate::leave() {
    {
        const foundation::MutexLock lock(mutex_);
        inside_.erase(std::ranges::find(inside_, std::this_thread::get_id()));
    }
    left_.notify_all();
}

void ClosingGate::close(std::chrono::nanoseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    const auto self = std::this_thread::get_id();
    foundation::MutexLock lock(mutex_);
    closed_ = true;
    while (std::ranges::any_of(inside_, [self](auto thread) { return thread != self; })) {
        if (left_.wait_until(lock, deadline) == std::cv_status::timeout)
            return;
    }
}

} // namespace agent::spf::cppmsclientutils
