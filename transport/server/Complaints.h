#pragma once

#include <foundation/log/diagnostic_logger.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>

#include <chrono>
#include <cstddef>
#include <map>
#include <string>
#include <sys/types.h>

namespace agent::spf::transport {

/// The log of peers that misbehave: of each process one line at once, and how many more there were a while
/// later, so that no number of bad connections fills the disk. For the I/O thread.
class Complaints {
public:
    using Logger = foundation::log::basic_diagnostic_logger<char>;

    /// @param interval zero logs each. @param logger outlives this.
    Complaints(boost::asio::io_context& io, std::chrono::milliseconds interval, const Logger& logger)
        : interval_(interval), logger_(logger), timer_(io) {}

    void log(foundation::log::logging_event_types level, pid_t peer, const std::string& text);
    /// Says what is still unsaid, and nothing after that.
    void close();

private:
    using Clock = std::chrono::steady_clock;
    struct Peer {
        Clock::time_point until;
        std::size_t unsaid = 0;
        foundation::log::logging_event_types level{};
        std::string last;
    };

    void sayUnsaid(pid_t peer, const Peer& of) const;
    void expire();
    void arm();

    const std::chrono::milliseconds interval_;
    const Logger& logger_;
    std::map<pid_t, Peer> peers_; // those of the last interval
    boost::asio::steady_timer timer_;
};

} // namespace agent::spf::transport
