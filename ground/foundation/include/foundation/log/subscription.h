#pragma once

#include <foundation/log/severity_filter.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace foundation::log {

struct Record {
    std::chrono::system_clock::time_point time;
    logging_event_types type;
    std::string component;
    /// The kernel's thread id, as debuggers and `top -H` show it.
    std::uint64_t thread;
    /// As the caller gave it: not escaped.
    std::string text;
};

namespace detail {
class Subscriber;
}

/// Keeps a subscriber registered until it is destroyed or reset.
///
/// Ending a subscription waits until no other thread runs the function, so afterwards the function is neither
/// called nor alive. From inside the function itself it does not wait; the function then goes when its call
/// returns. Do not end a subscription while holding a lock that its function takes.
class Subscription {
public:
    Subscription() noexcept;
    Subscription(Subscription&& other) noexcept;
    Subscription& operator=(Subscription&& other) noexcept;
    ~Subscription();

    void reset() noexcept;

private:
    friend Subscription subscribe(std::function<void(const Record&)> function, SeverityFilter filter);
    explicit Subscription(std::shared_ptr<detail::Subscriber> subscriber) noexcept;

    std::shared_ptr<detail::Subscriber> subscriber_;
};

/// Calls the function with every record that passes the filter, on the thread that logs and with no lock
/// held, so several threads may be in it at once. What it throws is swallowed; records that it logs itself go
/// everywhere but back to it.
[[nodiscard]] Subscription subscribe(std::function<void(const Record&)> function,
                                     SeverityFilter filter = SeverityFilter::all());

} // namespace foundation::log
