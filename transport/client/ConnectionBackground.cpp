// The background thread of a connection.

#include "transport/client/Connection.h"

#include <algorithm>
#include <ctime>
#include <poll.h>

namespace agent::spf::transport {

namespace {
// How soon the background thread looks whether callers still come, and so how late at most a reply or
// callback is read that nobody waits for, right after callers have stopped reading.
constexpr std::chrono::milliseconds tick{1};
} // namespace

void Connection::background() {
    while (endOverdue())
        waitAndServe(role_.offer());
}

/// False when the connection is lost.
bool Connection::endOverdue() {
    std::vector<PendingCall> late;
    {
        const foundation::MutexLock lock(mutex_);
        if (lost_)
            return false;
        late = calls_.takeOverdue(Clock::now());
    }
    for (auto& call : late)
        fail(call, overdue(call));
    if (!late.empty())
        sendWaiting();
    return true;
}

// Plain poll(2) on the socket: an event loop would watch it all the time, and be woken by every reply that a
// caller is reading. This thread watches it only while it is the reader.
void Connection::waitAndServe(ReaderRole::Background turn) {
    const bool reading = turn == ReaderRole::Background::Read;
    auto until = Clock::time_point::max();
    if (turn == ReaderRole::Background::Tick)
        until = Clock::now() + tick;
    {
        const foundation::MutexLock lock(mutex_);
        until = std::min(until, calls_.earliest());
        backgroundWakes_ = until;
    }
    const short events = static_cast<short>((reading ? POLLIN : 0) | (wantsWritable_ ? POLLOUT : 0));
    pollfd fds[] = {{wakeUp_.fd(), POLLIN, 0}, {events != 0 ? socket_->get() : -1, events, 0}};
    const auto left = std::max(until - Clock::now(), Clock::duration::zero());
    const auto whole = std::chrono::floor<std::chrono::seconds>(left);
    const timespec time{whole.count(), std::chrono::nanoseconds(left - whole).count()};
    ::ppoll(fds, 2, until == Clock::time_point::max() ? nullptr : &time, nullptr);

    if (fds[0].revents != 0)
        wakeUp_.reset();
    if ((fds[1].revents & (POLLOUT | POLLHUP | POLLERR)) != 0 && wantsWritable_.exchange(false))
        heed(writer_.resume());
    if (reading) {
        if ((fds[1].revents & ~POLLOUT) != 0)
            receive(Clock::time_point::max(), Clock::now());
        role_.pass();
    }
}

} // namespace agent::spf::transport
