#pragma once

#include "transport/client/CallReceiver.h"
#include "transport/client/ReaderRole.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace agent::spf::transport {

/// A call without a reply yet.
struct PendingCall {
    CallReceiver* receiver = nullptr;
    std::unique_ptr<CallReceiver> owned; ///< the same, unless its caller waits
    std::chrono::milliseconds timeout{};
    std::chrono::steady_clock::time_point deadline;
    ReaderRole::Waiter* waiter = nullptr; ///< to be told when the receiver has been
    std::uint32_t defines = 0;            ///< the number of the method whose texts it brings
    bool sent = true;                     ///< or waits for its turn; see CallTable::markSent()

    std::string_view method() const noexcept { return receiver->method(); }
};

/// The calls of one connection by id. Constant time and, once grown, no allocation per call. Not thread-safe.
class CallTable {
public:
    using Clock = std::chrono::steady_clock;

    /// Of the calls that are on their way to the daemon, or with it.
    std::size_t sent() const noexcept { return sent_; }
    void markSent(PendingCall& call) noexcept {
        sent_ += call.sent ? 0 : 1;
        call.sent = true;
    }
    /// @return its id, never 0.
    std::uint64_t add(PendingCall call);
    /// Null when it has ended. Valid until the next change.
    PendingCall* find(std::uint64_t id) noexcept;
    std::optional<PendingCall> take(std::uint64_t id);
    /// Whether there ever was a call with this id.
    bool issued(std::uint64_t id) const noexcept { return id != 0 && (id >> indexBits) < nextSequence_; }

    /// No call is due before this. May be earlier than the first that is, never later.
    Clock::time_point earliest() const noexcept { return earliest_; }
    std::vector<PendingCall> takeOverdue(Clock::time_point now);
    std::vector<PendingCall> takeAll();

private:
    // An id is a sequence number above the index of the slot, so that a late reply never meets the slot's
    // next call.
    static constexpr unsigned indexBits = 24;
    static constexpr std::uint64_t indexMask = (std::uint64_t{1} << indexBits) - 1;

    struct Slot {
        std::uint64_t id = 0; // 0 when free
        PendingCall call;
    };

    std::vector<Slot> slots_;
    std::vector<std::uint32_t> free_;
    std::size_t sent_ = 0;
    std::uint64_t nextSequence_ = 1;
    Clock::time_point earliest_ = Clock::time_point::max();
};

} // namespace agent::spf::transport
