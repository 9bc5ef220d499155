#include "transport/server/PendingCallbacks.h"

#include "contract/calls/Errors.h"

#include <string>
#include <utility>

namespace agent::spf::transport {

PendingCallbacks::Added PendingCallbacks::add(core::CompletionHandler& handler, Clock::time_point deadline) {
    const foundation::MutexLock lock(mutex_);
    if (closed_)
        throw core::DisconnectedError("The client is no longer connected");
    if (entries_.size() >= capacity_)
        throw core::RefusedError("Too many callbacks to this client without an answer (limit " +
                                 std::to_string(capacity_) + ')');
    bool earliest = true;
    for (const auto& [id, entry] : entries_)
        earliest = earliest && deadline < entry.deadline;
    const auto id = next_++;
    entries_.emplace_hint(entries_.end(), id, Entry{std::move(handler), deadline});
    return {id, earliest};
}

std::optional<core::CompletionHandler> PendingCallbacks::take(std::uint64_t id) {
    const foundation::MutexLock lock(mutex_);
    if (id >= next_)
        throw core::MalformedError("a reply to a callback that was never made");
    auto entry = entries_.extract(id);
    if (entry.empty())
        return std::nullopt;
    return std::move(entry.mapped().handler);
}

std::vector<core::CompletionHandler> PendingCallbacks::takeOverdue(Clock::time_point now) {
    std::vector<core::CompletionHandler> overdue;
    const foundation::MutexLock lock(mutex_);
    for (auto at = entries_.begin(); at != entries_.end();) {
        if (at->second.deadline > now) {
            ++at;
            continue;
        }
        overdue.push_back(std::move(at->second.handler));
        at = entries_.erase(at);
    }
    return overdue;
}

std::optional<PendingCallbacks::Clock::time_point> PendingCallbacks::earliest() const {
    const foundation::MutexLock lock(mutex_);
    std::optional<Clock::time_point> earliest;
    for (const auto& [id, entry] : entries_) {
        if (!earliest || entry.deadline < *earliest)
            earliest = entry.deadline;
    }
    return earliest;
}

std::vector<core::CompletionHandler> PendingCallbacks::close() {
    std::vector<core::CompletionHandler> left;
    const foundation::MutexLock lock(mutex_);
    closed_ = true;
    for (auto& [id, entry] : entries_)
        left.push_back(std::move(entry.handler));
    entries_.clear();
    return left;
}

} // namespace agent::spf::transport
