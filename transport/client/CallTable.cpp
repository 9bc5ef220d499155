#include "transport/client/CallTable.h"

#include <algorithm>
#include <utility>

namespace agent::spf::transport {

std::uint64_t CallTable::add(PendingCall call) {
    if (free_.empty()) {
        free_.reserve(slots_.size() + 1); // so that take() never allocates
        slots_.emplace_back();
        free_.push_back(static_cast<std::uint32_t>(slots_.size() - 1));
    }
    const auto index = free_.back();
    free_.pop_back();
    earliest_ = std::min(earliest_, call.deadline);
    auto& slot = slots_[index];
    sent_ += call.sent ? 1 : 0;
    slot.call = std::move(call);
    slot.id = nextSequence_++ << indexBits | index;
    return slot.id;
}

PendingCall* CallTable::find(std::uint64_t id) noexcept {
    const auto index = id & indexMask;
    return id != 0 && index < slots_.size() && slots_[index].id == id ? &slots_[index].call : nullptr;
}

std::optional<PendingCall> CallTable::take(std::uint64_t id) {
    auto* call = find(id);
    if (!call)
        return std::nullopt;
    std::optional<PendingCall> taken(std::move(*call));
    const auto index = static_cast<std::uint32_t>(id & indexMask);
    slots_[index] = {};
    free_.push_back(index);
    sent_ -= taken->sent ? 1 : 0;
    return taken;
}

std::vector<PendingCall> CallTable::takeOverdue(Clock::time_point now) {
    std::vector<PendingCall> overdue;
    if (now < earliest_)
        return overdue;
    earliest_ = Clock::time_point::max();
    for (auto& slot : slots_) {
        if (slot.id == 0)
            continue;
        if (slot.call.deadline <= now)
            overdue.push_back(*take(slot.id));
        else
            earliest_ = std::min(earliest_, slot.call.deadline);
    }
    return overdue;
}

std::vector<PendingCall> CallTable::takeAll() {
    std::vector<PendingCall> all;
    for (auto& slot : slots_) {
        if (slot.id != 0)
            all.push_back(*take(slot.id));
    }
    return all;
}

} // namespace agent::spf::transport
