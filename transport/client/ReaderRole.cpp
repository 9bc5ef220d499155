#include "transport/client/ReaderRole.h"

#include <algorithm>
#include <utility>

namespace agent::spf::transport {

ReaderRole::Turn ReaderRole::await(Waiter& waiter, Clock::time_point deadline) {
    {
        const foundation::MutexLock lock(mutex_);
        ++arrivals_;
        if (waiter.done_)
            return Turn::Done;
        if (taken_ && reader_ == waiter.thread_)
            return Turn::Read; // goes on, or reads inside a handler that it runs as the reader
        if (!taken_) {
            taken_ = true;
            reader_ = waiter.thread_;
            waiter.holdsRole_ = true;
            return Turn::Read;
        }
        followers_.push_back(&waiter);
        waiter.parked_ = true;
    }
    if (!waiter.parking_.park(deadline)) {
        {
            const foundation::MutexLock lock(mutex_);
            if (std::exchange(waiter.parked_, false)) {
                removeFollower(waiter);
                return Turn::Overdue;
            }
        }
        // Chosen just now, by somebody who is about to unpark.
        waiter.parking_.park(Clock::time_point::max());
    }
    const foundation::MutexLock lock(mutex_);
    return waiter.done_ ? Turn::Done : Turn::Read;
}

bool ReaderRole::finish(Waiter& waiter) {
    const foundation::MutexLock lock(mutex_);
    waiter.done_ = true;
    if (!std::exchange(waiter.parked_, false))
        return false;
    removeFollower(waiter);
    return true;
}

void ReaderRole::awaitDone(Waiter& waiter) {
    leave(waiter);
    {
        const foundation::MutexLock lock(mutex_);
        if (waiter.done_)
            return;
        waiter.parked_ = true;
    }
    waiter.parking_.park(Clock::time_point::max());
}

void ReaderRole::leave(Waiter& waiter) {
    Next next;
    {
        const foundation::MutexLock lock(mutex_);
        if (std::exchange(waiter.holdsRole_, false))
            next = handOn();
    }
    tell(next);
}

ReaderRole::Background ReaderRole::offer() {
    const foundation::MutexLock lock(mutex_);
    const bool quiet = std::exchange(arrivalsAtOffer_, arrivals_) == arrivals_;
    backgroundSleeps_ = quiet && taken_;
    if (!quiet)
        return Background::Tick;
    if (taken_)
        return Background::Sleep;
    taken_ = true;
    reader_ = std::this_thread::get_id();
    return Background::Read;
}

void ReaderRole::pass() {
    Next next;
    {
        const foundation::MutexLock lock(mutex_);
        next = handOn();
    }
    tell(next);
}

void ReaderRole::retire() {
    foundation::MutexLock lock(mutex_);
    retiring_ = true;
    while (taken_)
        free_.wait(lock);
    taken_ = true;
    reader_ = {};
}

ReaderRole::Next ReaderRole::handOn() {
    if (followers_.empty()) {
        taken_ = false;
        reader_ = {};
        if (retiring_)
            free_.notify_all();
        return {nullptr, std::exchange(backgroundSleeps_, false)};
    }
    Waiter* next = followers_.back();
    followers_.pop_back();
    next->parked_ = false;
    next->holdsRole_ = true;
    reader_ = next->thread_;
    return {next, false};
}

void ReaderRole::tell(Next next) const {
    if (next.reader)
        wake(*next.reader);
    else if (next.backgroundWaits)
        onFree_();
}

void ReaderRole::removeFollower(Waiter& waiter) {
    const auto found = std::find(followers_.begin(), followers_.end(), &waiter);
    if (found == followers_.end())
        return; // parked in awaitDone()
    *found = followers_.back();
    followers_.pop_back();
}

} // namespace agent::spf::transport
