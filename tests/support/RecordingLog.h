#pragma once

#include "tests/support/Eventually.h"

#include <foundation/log/subscription.h>

#include <condition_variable>
#include <mutex>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace zelkor::test {

/// Everything that is logged at any level while it lives, by one component or (empty name) by all.
class RecordingLog {
public:
    explicit RecordingLog(std::string component = {});

    struct Line {
        unsigned level;
        std::string text;
        bool operator==(const Line&) const = default;
    };
    std::vector<Line> lines() const;
    std::vector<Line> linesAt(unsigned level) const;
    std::size_t count(unsigned level, std::string_view text) const;
    /// Whether some line of any component or level contains the text.
    bool mentions(std::string_view text) const;
    /// Waits for the text, whole, at that level.
    bool waitFor(unsigned level, std::string_view text, std::size_t times = 1) const;
    void clear();
    /// Forgets the lines of lower levels, where a long test would pile them up.
    void forgetBelow(unsigned level);

private:
    const std::string component_;
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::vector<Line> lines_;
    foundation::log::Subscription subscription_; // last: ends first
};

inline void PrintTo(const RecordingLog::Line& line, std::ostream* out) {
    *out << line.level << ' ' << line.text;
}

} // namespace zelkor::test
