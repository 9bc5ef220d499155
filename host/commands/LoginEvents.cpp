#include "host/commands/LoginEvents.h"

#include "host/commands/PrintableText.h"

#include <utility>

namespace zelkor::host {

namespace {

constexpr std::size_t maxWaiting = 256;

} // namespace

LoginEvent LoginEvent::state(const login::LoginInfo& info) {
    LoginEvent event;
    event.info.userId = info.userId.substr(0, maxText);
    event.info.displayName = info.displayName.substr(0, maxText);
    event.info.level = info.level;
    return event;
}

LoginEvent LoginEvent::daemonFound(const std::string& generation) {
    LoginEvent event;
    event.kind = Kind::DaemonFound;
    event.generation = shortened(generation);
    return event;
}

LoginEvent LoginEvent::daemonGone(const std::string& why) {
    LoginEvent event;
    event.kind = Kind::DaemonGone;
    event.why = why;
    return event;
}

void LoginEvents::push(LoginEvent event) {
    {
        const foundation::MutexLock lock(mutex_);
        if (events_.size() == maxWaiting) {
            events_.pop_front();
            ++dropped_;
        }
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
    if (dropped_ > 0) {
        LoginEvent event;
        event.kind = LoginEvent::Kind::Dropped;
        event.dropped = std::exchange(dropped_, 0);
        return event;
    }
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
