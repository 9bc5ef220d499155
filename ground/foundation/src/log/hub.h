#pragma once

#include "log/sinks.h"
#include "log/subscriber.h"

#include <foundation/log/setup.h>
#include <foundation/thread_annotations.h>

#include <atomic>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace foundation::log::detail {

/// Where all records of the process meet: the sinks and the subscribers.
///
/// There is one per process, though each shared library is linked with its own copy of this code; see
/// instance(). It is never destroyed, as threads may log until the process is gone.
class Hub {
public:
    static Hub& instance();

    const std::atomic<unsigned>& enabled() const { return enabled_; }

    void setup(const Options& options) EXCLUDES(setupMutex_, mutex_);
    void add(std::shared_ptr<Subscriber> subscriber) EXCLUDES(mutex_);
    void remove(const std::shared_ptr<Subscriber>& subscriber) EXCLUDES(mutex_);
    void write(const std::string& component, logging_event_types type, std::string_view text);
    void flush() { sinks_.flush(); }

private:
    using Subscribers = std::vector<std::shared_ptr<Subscriber>>;

    void updateEnabled() REQUIRES(mutex_);
    std::shared_ptr<const Subscribers> subscribers() const EXCLUDES(mutex_);

    /// Holds off a second setup(), so that the sinks and the filter noted here come from the same call.
    Mutex setupMutex_;
    Sinks sinks_;

    /// Never held while a subscriber runs or is destroyed.
    mutable Mutex mutex_;
    SeverityFilter sinkFilter_ GUARDED_BY(mutex_) = SeverityFilter::off();
    /// Replaced as a whole: a thread that logs walks the list it has taken, without the lock.
    std::shared_ptr<const Subscribers> subscribers_ GUARDED_BY(mutex_) = std::make_shared<Subscribers>();
    std::atomic<unsigned> sinkMask_ = 0;
    std::atomic<unsigned> enabled_ = 0;
};

} // namespace foundation::log::detail
