#pragma once

#include <foundation/thread_annotations.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <optional>
#include <thread>

namespace zelkor::host {

/// Watches over a command that waits for others: tells the person after a second that it waits, and ends it
/// when its time is over, whatever it is at.
class Patience {
public:
    using Time = std::chrono::steady_clock::time_point;

    /// @param tell run after a second; may be empty. @param end when the time is over; @param atEnd what is
    /// done then, and does not return. Both on a thread of this object's.
    Patience(std::function<void()> tell, std::optional<Time> end, std::function<void()> atEnd);
    ~Patience();
    Patience(const Patience&) = delete;
    Patience& operator=(const Patience&) = delete;

    /// The command has ended, and says so itself. Does not return when the end came first.
    void over();

private:
    void watch();
    /// False when it is over before.
    bool sleepUntil(Time time, foundation::MutexLock& lock) REQUIRES(mutex_);

    const std::function<void()> tell_, atEnd_;
    const std::optional<Time> end_;
    foundation::Mutex mutex_; // held while `tell` runs
    std::condition_variable_any changed_;
    bool over_ GUARDED_BY(mutex_) = false;
    std::thread thread_;
};

} // namespace zelkor::host
