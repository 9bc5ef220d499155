#include "host/commands/LoginEvents.h"

#include <utility>

namespace zelkor::host {

void LoginEvents::push(LoginEvent event) {
    {
        const foundation::MutexLock lock(mutex_);
        events_.push_back(std::move(event));
    }
    Interruption::wake();
}

void LoginEvents::pushFirst(LoginEvent event) {
    {
        const foundation::MutexLock lock(mutex_);
        events_.push_front(std::move(event));
    }
    Interruption::wake();
}

std::optional<LoginEvent> LoginEvents::pop() {
    const foundation::MutexLock lock(mutex_);
    if (events_.empty())
        return std::nullopt;
    auto event = std::move(events_.front());
    events_.pop_front();
    return event;
}

std::optional<LoginEvent> LoginEvents::wait() {
    while (!Interruption::came()) {
        if (auto event = pop())
            return event;
        Interruption::wait();
    }
    return std::nullopt;
}

} // namespace zelkor::host
