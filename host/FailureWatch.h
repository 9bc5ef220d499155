#pragma once

#include <foundation/log/subscription.h>
#include <foundation/thread_annotations.h>

#include <memory>
#include <string>

namespace zelkor::host {

/// Tells an empty answer from a call that failed: queries return the empty value in both cases, and the
/// reason is in the module's log only. Watches all threads of the process, from construction to destruction.
class FailureWatch {
public:
    FailureWatch();

    /// Why a call failed since construction; empty when none did. Holds no secrets, for the log does not.
    std::string reason() const;

private:
    struct First {
        foundation::Mutex mutex; ///< nothing else is called while it is held
        std::string text GUARDED_BY(mutex);
    };

    std::shared_ptr<First> first_ = std::make_shared<First>();
    foundation::log::Subscription subscription_;
};

} // namespace zelkor::host
