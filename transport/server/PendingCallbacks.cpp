#include "transport/server/PendingCallbacks.h"

#include "contract/calls/Errors.h"

#include <algorithm>
#include <string>
#include <utility>

namespace agent::spf::transport {

namespace {

// What an entry takes besides what it brings, so that the limit in bytes is one in number, too.
constexpr std::size_t entryBytes = 512;

// A function's callbacks run one after the other on the client, so that it gains nothing by many at once.
std::size_t atOnce(std::size_t capacity) {
    return std::max<std::size_t>(capacity / 64, 1);
}

} // namespace

void PendingCallbacks::limit(std::size_t unanswered) {
    const foundation::MutexLock lock(mutex_);
    capacity_ = std::min(capacity_, unanswered);
}

bool PendingCallbacks::add(core::CompletionHandler& handler, Callback callback) {
    const foundation::MutexLock lock(mutex_);
    if (closed_)
        throw core::DisconnectedError("The client is no longer connected");
    const auto bytes = callback.bytes + entryBytes;
    if (waitingBytes_ + bytes > waitingLimit_ || ofAll_ + bytes > waitingLimitOfAll_)
        throw core::RefusedError("Too much waits for this client, or for all: " +
                                 std::to_string(waitingBytes_) + " bytes of callbacks for this one");
    const auto id = next_++;
    const auto deadline = callback.deadline;
    const auto function = functions_.try_emplace(callback.function).first;
    due_.emplace(deadline, id);
    auto& entry = entries_.emplace_hint(entries_.end(), id, Entry{std::move(callback)})->second;
    function->second.waiting.push_back(id);
    waits(entry.callback);
    lineUp(function);
    entry.handler = std::move(handler);
    return due_.begin()->second == id;
}

bool PendingCallbacks::startSending() {
    const foundation::MutexLock lock(mutex_);
    if (turns_.empty())
        return false;
    if (sending_)
        again_ = true;
    return !std::exchange(sending_, true);
}

bool PendingCallbacks::stopSending() {
    const foundation::MutexLock lock(mutex_);
    sending_ = std::exchange(again_, false);
    return !sending_;
}

std::optional<PendingCallbacks::Due> PendingCallbacks::next(std::size_t room) {
    const foundation::MutexLock lock(mutex_);
    while (sent_ < capacity_ && !turns_.empty()) {
        const auto function = functions_.find(turns_.front());
        auto& waiting = function->second.waiting;
        if (!waiting.empty() && entries_.find(waiting.front())->second.callback.bytes > room)
            return std::nullopt;
        turns_.pop_front();
        function->second.linedUp = false;
        if (waiting.empty()) { // overdue, all of them
            lineUp(function);
            continue;
        }
        const auto id = waiting.front();
        auto& entry = entries_.find(id)->second;
        waiting.pop_front();
        waitsNoLonger(entry.callback);
        entry.sent = true;
        ++function->second.sent;
        ++sent_;
        lineUp(function);
        return Due{id, std::move(entry.callback)};
    }
    return std::nullopt;
}

std::optional<core::CompletionHandler> PendingCallbacks::take(std::uint64_t id) {
    const foundation::MutexLock lock(mutex_);
    const auto found = entries_.find(id);
    if (id >= next_ || (found != entries_.end() && !found->second.sent))
        throw core::MalformedError("a reply to a callback that was never made");
    if (found == entries_.end())
        return std::nullopt; // a second reply
    auto entry = std::move(found->second);
    entries_.erase(found);
    due_.erase({entry.callback.deadline, id});
    --sent_;
    const auto function = functions_.find(entry.callback.function);
    --function->second.sent;
    lineUp(function);
    return std::move(entry.handler);
}

std::vector<core::CompletionHandler> PendingCallbacks::takeOverdue(Clock::time_point now) {
    std::vector<core::CompletionHandler> overdue;
    const foundation::MutexLock lock(mutex_);
    while (!due_.empty() && due_.begin()->first <= now) {
        const auto found = entries_.find(due_.begin()->second);
        due_.erase(due_.begin());
        overdue.push_back(std::move(*std::exchange(found->second.handler, std::nullopt)));
        if (found->second.sent)
            continue; // the client still has it, and counts it until it answers
        const auto function = functions_.find(found->second.callback.function);
        auto& waiting = function->second.waiting;
        waiting.erase(std::lower_bound(waiting.begin(), waiting.end(), found->first));
        waitsNoLonger(found->second.callback);
        entries_.erase(found);
        lineUp(function);
    }
    return overdue;
}

std::optional<PendingCallbacks::Clock::time_point> PendingCallbacks::earliest() const {
    const foundation::MutexLock lock(mutex_);
    return due_.empty() ? std::nullopt : std::optional(due_.begin()->first);
}

std::vector<core::CompletionHandler> PendingCallbacks::close() {
    std::vector<core::CompletionHandler> left;
    const foundation::MutexLock lock(mutex_);
    closed_ = true;
    for (auto& [id, entry] : entries_) {
        if (entry.handler)
            left.push_back(std::move(*entry.handler));
        if (!entry.sent)
            waitsNoLonger(entry.callback);
    }
    entries_.clear();
    due_.clear();
    functions_.clear();
    turns_.clear();
    return left;
}

/// After each change of what a function has waiting and sent.
void PendingCallbacks::lineUp(Functions::iterator function) {
    auto& [name, now] = *function;
    if (now.linedUp)
        return;
    if (!now.waiting.empty()) {
        if (now.sent < atOnce(capacity_)) {
            turns_.push_back(name);
            now.linedUp = true;
        }
    } else if (now.sent == 0) {
        functions_.erase(function);
    }
}

void PendingCallbacks::waits(const Callback& callback) {
    waitingBytes_ += callback.bytes + entryBytes;
    ofAll_ += callback.bytes + entryBytes;
}

void PendingCallbacks::waitsNoLonger(const Callback& callback) {
    waitingBytes_ -= callback.bytes + entryBytes;
    ofAll_ -= callback.bytes + entryBytes;
}

} // namespace agent::spf::transport
