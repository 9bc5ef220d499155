#pragma once

#include <foundation/thread_annotations.h>

#include <chrono>
#include <functional>
#include <string>
#include <unordered_map>

namespace hshd {

/// Slows repeated failures down: after the third wrong password for a name, known or not, each further try
/// is held back longer, from a second up to half a minute. Ten minutes without one, or a success, forget
/// them. Thread-safe.
class SignInThrottle {
public:
    using Clock = std::chrono::steady_clock;

    explicit SignInThrottle(std::function<Clock::time_point()> now = Clock::now) : now_(std::move(now)) {}

    /// How long the next try is to be held back.
    std::chrono::milliseconds delay(const std::string& account);
    void failed(const std::string& account);
    void succeeded(const std::string& account);

private:
    struct Failures {
        int count = 0;
        Clock::time_point last{};
    };

    void forgetOld() REQUIRES(mutex_);

    const std::function<Clock::time_point()> now_;
    foundation::Mutex mutex_; // a leaf
    std::unordered_map<std::string, Failures> failures_ GUARDED_BY(mutex_);
};

} // namespace hshd
