#pragma once

#include <chrono>
#include <thread>

namespace zelkor::test {

/// Far beyond anything a working system needs, sanitizers and a loaded machine included.
inline constexpr std::chrono::seconds generousLimit{60};

/// Waits until `condition()`; its last answer.
template <class Condition>
bool eventually(Condition condition, std::chrono::nanoseconds limit = generousLimit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::yield();
    }
    return true;
}

} // namespace zelkor::test
