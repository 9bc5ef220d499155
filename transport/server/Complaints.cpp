#include "transport/server/Complaints.h"

#include <algorithm>

namespace agent::spf::transport {

void Complaints::log(foundation::log::logging_event_types level, pid_t peer, const std::string& text) {
    if (interval_ <= std::chrono::milliseconds::zero()) {
        logger_.log(level, text);
        return;
    }
    const auto [entry, first] = peers_.try_emplace(peer);
    Peer& of = entry->second;
    if (first) {
        of.until = Clock::now() + interval_;
        logger_.log(level, text);
        if (peers_.size() == 1)
            arm();
    } else {
        ++of.unsaid;
        of.level = level;
        of.last = text;
    }
}

void Complaints::close() {
    for (const auto& [peer, of] : peers_)
        sayUnsaid(peer, of);
    peers_.clear();
    timer_.cancel();
}

void Complaints::sayUnsaid(pid_t peer, const Peer& of) const {
    if (of.unsaid == 1)
        logger_.log(of.level, of.last);
    else if (of.unsaid > 1)
        logger_.log(of.level, std::to_string(of.unsaid) + " more bad connections of process " +
                                  std::to_string(peer) + ", the last: " + of.last);
}

void Complaints::expire() {
    const auto now = Clock::now();
    std::erase_if(peers_, [&](const auto& entry) {
        const auto& [peer, of] = entry;
        if (of.until > now)
            return false;
        sayUnsaid(peer, of);
        return true;
    });
    arm();
}

void Complaints::arm() {
    if (peers_.empty())
        return;
    const auto next =
        std::ranges::min_element(peers_, {}, [](const auto& entry) { return entry.second.until; });
    timer_.expires_at(next->second.until);
    timer_.async_wait([this](const boost::system::error_code& cancelled) {
        if (!cancelled)
            expire();
    });
}

} // namespace agent::spf::transport
