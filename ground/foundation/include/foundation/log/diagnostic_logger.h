#pragma once

#include <foundation/log/severity_filter.h>

#include <atomic>
#include <string>
#include <string_view>

namespace foundation::log {

template <class CharT>
class basic_diagnostic_logger;

/// Writes the diagnostic records of one component to the destinations of `setup` and to the subscribers.
///
/// Every copy and every thread may log at once. A caller that has to build its text asks `enabled` first: it
/// is one relaxed atomic read. Until `setup` or `subscribe` was called every record is discarded.
template <>
class basic_diagnostic_logger<char> {
public:
    explicit basic_diagnostic_logger(std::string component);

    bool enabled(logging_event_types type) const noexcept {
        return (enabled_->load(std::memory_order_relaxed) & static_cast<unsigned>(type)) != 0;
    }

    /// Takes one lock at a time and none while a subscriber runs. A record that cannot be written (no memory,
    /// full disk) is dropped.
    void log(logging_event_types type, std::string_view text) const noexcept {
        if (enabled(type)) {
            write(type, text);
        }
    }

    const std::string& component() const noexcept { return component_; }

private:
    void write(logging_event_types type, std::string_view text) const noexcept;

    std::string component_;
    /// Lives as long as the process.
    const std::atomic<unsigned>* enabled_;
};

} // namespace foundation::log
