#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

namespace demo {

/// What a status listener was told, in its order.
class Told {
public:
    void add(std::string name) {
        const std::scoped_lock lock(mutex_);
        names_.push_back(std::move(name));
        changed_.notify_all();
    }
    std::size_t count() const {
        const std::scoped_lock lock(mutex_);
        return names_.size();
    }
    /// The newest one once there are so many; "nothing" when they do not come within half a minute.
    std::string waitFor(std::size_t count) const {
        std::unique_lock lock(mutex_);
        const auto come = [&] { return names_.size() >= count; };
        return changed_.wait_for(lock, std::chrono::seconds(30), come) ? names_.back() : "nothing";
    }

private:
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::vector<std::string> names_;
};

} // namespace demo
