#pragma once

#include <chrono>
#include <cstdlib>
#include <future>
#include <thread>
#include <vector>

namespace zelkor::test {

/// Far beyond anything a working system needs, sanitizers and a loaded machine included. A shorter one shows
/// sooner what a fault breaks: ZELKOR_GENEROUS_SECONDS=5.
inline const std::chrono::seconds generousLimit = [] {
    const char* seconds = std::getenv("ZELKOR_GENEROUS_SECONDS");
    return std::chrono::seconds(seconds == nullptr ? 60 : std::atoi(seconds));
}();

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

/// Waits until it is ready.
template <class Future>
bool comes(Future&& future) {
    return future.wait_for(generousLimit) == std::future_status::ready;
}

/// Threads that run function(0) to function(count - 1), with a stop token before the number if it takes one.
template <class Function>
std::vector<std::jthread> startThreads(int count, Function function) {
    std::vector<std::jthread> threads;
    for (int i = 0; i < count; ++i)
        threads.emplace_back(function, i);
    return threads;
}

} // namespace zelkor::test
