#pragma once

#include "tests/support/Eventually.h"

#include <gtest/gtest.h>

#include <mutex>
#include <utility>
#include <vector>

namespace zelkor::test {

/// What has happened so far, noted and looked at by any threads.
template <class T>
class Recorded {
public:
    void add(T item) {
        const std::scoped_lock lock(mutex_);
        items_.push_back(std::move(item));
    }
    std::vector<T> all() const {
        const std::scoped_lock lock(mutex_);
        return items_;
    }
    std::vector<T> take() {
        const std::scoped_lock lock(mutex_);
        return std::exchange(items_, {});
    }
    /// Waits for the one with that number, from 0.
    T at(std::size_t number) const {
        EXPECT_TRUE(eventually([&] { return all().size() > number; }));
        const auto items = all();
        return items.size() > number ? items[number] : T();
    }

private:
    mutable std::mutex mutex_;
    std::vector<T> items_;
};

} // namespace zelkor::test
