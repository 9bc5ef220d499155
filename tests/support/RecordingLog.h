#pragma once

#include "tests/support/Eventually.h"

#include <foundation/log/subscription.h>

#include <algorithm>
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
    explicit RecordingLog(std::string component = {}) : component_(std::move(component)) {}

    struct Line {
        unsigned level;
        std::string text;
        bool operator==(const Line&) const = default;
        friend void PrintTo(const Line& line, std::ostream* out) { *out << line.level << ' ' << line.text; }
    };
    std::vector<Line> lines() const {
        const std::scoped_lock lock(mutex_);
        return lines_;
    }
    std::vector<Line> linesAt(unsigned level) const {
        auto all = lines();
        std::erase_if(all, [level](const Line& line) { return line.level != level; });
        return all;
    }
    std::size_t count(unsigned level, std::string_view text) const {
        const std::scoped_lock lock(mutex_);
        return countLocked(level, text);
    }
    /// How many lines of any component or level contain the text.
    std::size_t mentions(std::string_view text) const {
        return static_cast<std::size_t>(std::ranges::count_if(
            lines(), [text](const Line& line) { return line.text.find(text) != std::string::npos; }));
    }
    /// Waits for the text, whole, at that level.
    bool waitFor(unsigned level, std::string_view text, std::size_t times = 1) const {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, generousLimit, [&] { return countLocked(level, text) >= times; });
    }
    void clear() { forgetBelow(~0U); }
    /// Forgets the lines of lower levels, where a long test would pile them up.
    void forgetBelow(unsigned level) {
        const std::scoped_lock lock(mutex_);
        std::erase_if(lines_, [level](const Line& line) { return line.level < level; });
    }

private:
    std::size_t countLocked(unsigned level, std::string_view text) const {
        return static_cast<std::size_t>(std::ranges::count_if(
            lines_, [&](const Line& line) { return line.level == level && line.text == text; }));
    }

    const std::string component_;
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::vector<Line> lines_;
    foundation::log::Subscription subscription_ = foundation::log::subscribe([this](const auto& record) {
        if (!component_.empty() && record.component != component_)
            return;
        const std::scoped_lock lock(mutex_);
        lines_.push_back({static_cast<unsigned>(record.type), record.text});
        changed_.notify_all();
    }); // last: ends first
};

} // namespace zelkor::test
