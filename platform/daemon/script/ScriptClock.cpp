#include "platform/daemon/script/ScriptClock.h"

#include <boost/asio/steady_timer.hpp>

#include <memory>
#include <utility>

namespace hshd {

ScriptClock::ScriptClock() : thread_([this] { io_.run(); }) {}

ScriptClock::~ScriptClock() {
    io_.stop();
    thread_.join();
}

void ScriptClock::after(std::chrono::milliseconds delay, std::function<void()> work) {
    const auto timer = std::make_shared<boost::asio::steady_timer>(io_, delay);
    timer->async_wait([timer, work = std::move(work)](const boost::system::error_code& error) {
        if (!error)
            work();
    });
}

} // namespace hshd
