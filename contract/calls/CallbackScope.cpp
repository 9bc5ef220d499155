#include "contract/calls/CallbackScope.h"

#include <foundation/thread_annotations.h>

#include <atomic>

namespace agent::spf::core {

/// All that run now, in the order in which they began. Never destroyed: threads may be inside at the exit.
struct CallbackScope::Running {
    static Running& instance() noexcept {
        static auto* const all = new Running;
        return *all;
    }

    foundation::Mutex mutex; // a leaf
    CallbackScope* first GUARDED_BY(mutex) = nullptr;
    CallbackScope* last GUARDED_BY(mutex) = nullptr;
    std::atomic<unsigned> count{0};
};

namespace {
thread_local unsigned depth = 0;
} // namespace

CallbackScope::CallbackScope() noexcept : begin_(std::chrono::steady_clock::now()) {
    ++depth;
    auto& running = Running::instance();
    const foundation::MutexLock lock(running.mutex);
    previous_ = running.last;
    (previous_ != nullptr ? previous_->next_ : running.first) = this;
    running.last = this;
    ++running.count;
}
CallbackScope::~CallbackScope() {
    --depth;
    auto& running = Running::instance();
    const foundation::MutexLock lock(running.mutex);
    (previous_ != nullptr ? previous_->next_ : running.first) = next_;
    (next_ != nullptr ? next_->previous_ : running.last) = previous_;
    --running.count;
}
bool CallbackScope::active() noexcept {
    return depth != 0;
}
bool CallbackScope::activeAnywhere() noexcept {
    return Running::instance().count != 0;
}
std::chrono::nanoseconds CallbackScope::longest() noexcept {
    auto& running = Running::instance();
    const foundation::MutexLock lock(running.mutex);
    return running.first == nullptr ? std::chrono::nanoseconds(0)
                                    : std::chrono::steady_clock::now() - running.first->begin_;
}

} // namespace agent::spf::core
