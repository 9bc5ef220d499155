#pragma once

#include <foundation/thread_annotations.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>

namespace hshd {

/// Slows guessing down, whoever guesses: all tries for a name, known or not, stand in one queue. After the
/// third wrong password each further try is held back longer, from a second up to half a minute after the one
/// before it. A try counts as wrong until it has turned out right, so many at once gain nothing. Ten minutes
/// without one, or a success, forget them. Thread-safe.
class SignInThrottle {
public:
    using Clock = std::chrono::steady_clock;

    /// A place in a name's queue, given back at its end.
    class Try {
    public:
        Try(SignInThrottle& throttle, std::string queue, std::chrono::milliseconds delay)
            : throttle_(throttle), queue_(std::move(queue)), delay_(delay) {}
        ~Try() { throttle_.end(queue_, how_); }
        Try(const Try&) = delete;
        Try& operator=(const Try&) = delete;

        /// How long the password must not be looked at.
        std::chrono::milliseconds delay() const noexcept { return delay_; }
        void failed() noexcept { how_ = How::Failed; }
        void succeeded() noexcept { how_ = How::Succeeded; }

    private:
        friend class SignInThrottle;
        enum class How { Abandoned, Failed, Succeeded };

        SignInThrottle& throttle_;
        const std::string queue_;
        const std::chrono::milliseconds delay_;
        How how_ = How::Abandoned;
    };

    explicit SignInThrottle(std::function<Clock::time_point()> now = Clock::now) : now_(std::move(now)) {}

    /// The next try for a name. Null when its turn would come in more than a minute.
    std::shared_ptr<Try> next(const std::string& account);

private:
    struct Queue {
        int wrong = 0;
        int underWay = 0;
        Clock::time_point last{}; ///< turn given, or the end of a try
    };

    void end(const std::string& queue, Try::How how);
    void forgetOld() REQUIRES(mutex_);

    const std::function<Clock::time_point()> now_;
    foundation::Mutex mutex_; // a leaf
    std::unordered_map<std::string, Queue> queues_ GUARDED_BY(mutex_);
};

} // namespace hshd
