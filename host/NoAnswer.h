#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace zelkor::host {

/// The daemon is absent, or did not answer in time.
class NoAnswer : public std::runtime_error {
public:
    /// @param text one line, which may come from a daemon.
    /// @param advice what to do, a line of this program's own; may be empty.
    explicit NoAnswer(const std::string& text, std::string advice = {})
        : std::runtime_error(text), advice(std::move(advice)) {}

    const std::string advice;
};

} // namespace zelkor::host
