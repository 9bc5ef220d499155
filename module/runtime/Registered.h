#pragma once

#include <foundation/thread_annotations.h>

#include <atomic>
#include <memory>
#include <unordered_map>
#include <utility>

namespace agent::spf::cppmsclientutils {

/// What a caller registered, shared by a registry and by everything that may be about to call it.
template <class Value>
struct Registered {
    explicit Registered(Value registered) : value(std::move(registered)) {}

    const Value value;
    std::atomic<bool> active{true}; ///< cleared at removal; looked at right before each call
};

/// Registrations on their way into a registry, whose callers may have the id already. Thread-safe.
template <class Id, class Value>
class IncomingRegistrations {
public:
    using Item = std::shared_ptr<Registered<Value>>;

    void announce(const Id& id, Item item) {
        const foundation::MutexLock lock(mutex_);
        items_.emplace(id, std::move(item));
    }
    /// Null when there is none.
    Item announced(const Id& id) const {
        const foundation::MutexLock lock(mutex_);
        const auto found = items_.find(id);
        return found == items_.end() ? nullptr : found->second;
    }
    /// Takes an item back; null when there is none.
    Item take(const Id& id) {
        const foundation::MutexLock lock(mutex_);
        auto node = items_.extract(id);
        return node ? std::move(node.mapped()) : nullptr;
    }

private:
    mutable foundation::Mutex mutex_; // a leaf
    std::unordered_map<Id, Item, typename Id::Hasher> items_ GUARDED_BY(mutex_);
};

} // namespace agent::spf::cppmsclientutils
