#pragma once

#include <foundation/log/subscription.h>
#include <foundation/thread_annotations.h>

#include <condition_variable>
#include <functional>
#include <thread>
#include <vector>

namespace foundation::log::detail {

/// One subscribed function and the threads that are in it.
class Subscriber {
public:
    Subscriber(std::function<void(const Record&)> function, SeverityFilter filter);

    SeverityFilter filter() const { return filter_; }

    /// Does nothing when closed, or when this thread is in the function already.
    void deliver(const Record& record) EXCLUDES(mutex_);

    /// No call begins afterwards. Waits for the calls on other threads, then destroys the function, unless
    /// this thread is in it: then the last owner does.
    void close() EXCLUDES(mutex_);

private:
    bool enter() EXCLUDES(mutex_);
    void leave() EXCLUDES(mutex_);

    const SeverityFilter filter_;
    /// Changed by close() only, when no thread is or can get into it.
    std::function<void(const Record&)> function_;

    /// Never held while the function runs or is destroyed.
    Mutex mutex_;
    std::condition_variable_any left_;
    bool closed_ GUARDED_BY(mutex_) = false;
    /// Kept here and not in a thread-local variable: each shared library would have one of its own.
    std::vector<std::thread::id> inside_ GUARDED_BY(mutex_);
};

} // namespace foundation::log::detail
