#include "host/Patience.h"

#include <utility>

namespace zelkor::host {

Patience::Patience(std::function<void()> tell, std::optional<Time> end, std::function<void()> atEnd)
    : tell_(std::move(tell)), atEnd_(std::move(atEnd)), end_(end) {
    if (tell_ || end_)
        thread_ = std::thread([this] { watch(); });
}

Patience::~Patience() {
    over();
    if (thread_.joinable())
        thread_.join();
}

void Patience::over() {
    {
        const foundation::MutexLock lock(mutex_);
        over_ = true;
    }
    changed_.notify_all();
}

bool Patience::sleepUntil(Time time, foundation::MutexLock& lock) {
    while (!over_ && std::chrono::steady_clock::now() < time)
        changed_.wait_until(lock, time);
    return !over_;
}

void Patience::watch() {
    foundation::MutexLock lock(mutex_);
    const auto second = std::chrono::steady_clock::now() + std::chrono::seconds(1);
    if (tell_ && (!end_ || second < *end_)) {
        if (!sleepUntil(second, lock))
            return;
        tell_();
    }
    if (end_ && sleepUntil(*end_, lock))
        atEnd_(); // under the lock: the command says nothing any more
}

} // namespace zelkor::host
