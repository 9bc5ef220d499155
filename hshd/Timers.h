#pragma once

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>

#include <chrono>
#include <functional>
#include <thread>

namespace hshd {

/// Runs things later, on a thread of its own. Thread-safe. What is not due at its end is dropped.
class Timers {
public:
    Timers();
    ~Timers();
    Timers(const Timers&) = delete;
    Timers& operator=(const Timers&) = delete;

    void after(std::chrono::milliseconds delay, std::function<void()> work);

private:
    boost::asio::io_context io_{1};
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> busy_{io_.get_executor()};
    std::thread thread_;
};

} // namespace hshd
