#include "hshd/Timers.h"

#include <boost/asio/steady_timer.hpp>

#include <memory>
#include <utility>

namespace hshd {

Timers::Timers() : thread_([this] { io_.run(); }) {}

Timers::~Timers() {
    io_.stop();
    thread_.join();
}

void Timers::after(std::chrono::milliseconds delay, std::function<void()> work) {
    const auto timer = std::make_shared<boost::asio::steady_timer>(io_, delay);
    timer->async_wait([timer, work = std::move(work)](const boost::system::error_code& error) {
        if (!error)
            work();
    });
}

} // namespace hshd
