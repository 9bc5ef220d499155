#include "tests/support/RecordingLog.h"

#include <algorithm>
#include <utility>

namespace zelkor::test {

RecordingLog::RecordingLog(std::string component)
    : component_(std::move(component)), subscription_(foundation::log::subscribe([this](const auto& record) {
          if (!component_.empty() && record.component != component_)
              return;
          const std::scoped_lock lock(mutex_);
          lines_.push_back({static_cast<unsigned>(record.type), record.text});
          changed_.notify_all();
      })) {}

std::vector<RecordingLog::Line> RecordingLog::lines() const {
    const std::scoped_lock lock(mutex_);
    return lines_;
}

std::vector<RecordingLog::Line> RecordingLog::linesAt(unsigned level) const {
    auto all = lines();
    std::erase_if(all, [level](const Line& line) { return line.level != level; });
    return all;
}

std::size_t RecordingLog::count(unsigned level, std::string_view text) const {
    const std::scoped_lock lock(mutex_);
    return static_cast<std::size_t>(std::count_if(lines_.begin(), lines_.end(), [&](const Line& line) {
        return line.level == level && line.text == text;
    }));
}

bool RecordingLog::mentions(std::string_view text) const {
    const std::scoped_lock lock(mutex_);
    return std::any_of(lines_.begin(), lines_.end(),
                       [text](const Line& line) { return line.text.find(text) != std::string::npos; });
}

bool RecordingLog::waitFor(unsigned level, std::string_view text, std::size_t times) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, generousLimit, [&] {
        return static_cast<std::size_t>(std::count_if(lines_.begin(), lines_.end(), [&](const Line& line) {
                   return line.level == level && line.text == text;
               })) >= times;
    });
}

void RecordingLog::clear() {
    const std::scoped_lock lock(mutex_);
    lines_.clear();
}

void RecordingLog::forgetBelow(unsigned level) {
    const std::scoped_lock lock(mutex_);
    std::erase_if(lines_, [level](const Line& line) { return line.level < level; });
}

} // namespace zelkor::test
