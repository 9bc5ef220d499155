#include "log/subscriber.h"

#include <algorithm>
#include <utility>

namespace foundation::log::detail {

Subscriber::Subscriber(std::function<void(const Record&)> function, SeverityFilter filter)
    : filter_(filter), function_(std::move(function)) {}

void Subscriber::deliver(const Record& record) {
    if (!enter()) {
        return;
    }
    try {
        function_(record);
    } catch (...) {
        // Reporting it would mean to log from within the logging of a record.
    }
    leave();
}

void Subscriber::close() {
    const auto self = std::this_thread::get_id();
    bool inside = false;
    {
        MutexLock lock(mutex_);
        closed_ = true;
        inside = std::ranges::count(inside_, self) != 0;
        while (inside_.size() > (inside ? 1u : 0u)) {
            left_.wait(lock);
        }
    }
    if (!inside) {
        function_ = nullptr;
    }
}

bool Subscriber::enter() {
    const auto self = std::this_thread::get_id();
    const MutexLock lock(mutex_);
    if (closed_ || std::ranges::count(inside_, self) != 0) {
        return false;
    }
    inside_.push_back(self);
    return true;
}

void Subscriber::leave() {
    const MutexLock lock(mutex_);
    std::erase(inside_, std::this_thread::get_id());
    left_.notify_all();
}

} // namespace foundation::log::detail
