#pragma once

#include "runtime/clientutils/RemoteMethod.h"
#include "runtime/core/Invokable.h"

#include <foundation/thread_annotations.h>

#include <boost/uuid/uuid.hpp>

#include <atomic>
#include <memory>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

namespace login::spf {

/// What a caller registered, shared by the registry and by everything that may be about to call it.
template <class Value>
struct Registered {
    explicit Registered(Value registered) : value(std::move(registered)) {}

    const Value value;
    std::atomic<bool> active{true}; ///< cleared at removal; looked at right before each call
};

/// One kind of registrations, by the caller's ids, which never change; what a daemon knows them by changes
/// with every daemon. Not thread-safe: guarded by the client's state lock, but for what is on its way in.
template <class Id, class Value>
class Registry {
public:
    using Removal = agent::spf::cppmsclientutils::RemoteMethod<bool(boost::uuids::uuid)>;
    using Item = std::shared_ptr<Registered<Value>>;

    struct Entry {
        /// The daemon's knowledge of it.
        struct Known {
            Id id;
            std::weak_ptr<agent::spf::core::Invokable> daemon;
        };

        Item registered;
        std::optional<Known> known; ///< nothing while no daemon knows of it
        boost::uuids::uuid callbackId{};
    };
    using Entries = std::unordered_map<Id, Entry, typename Id::Hasher>;

    /// @param removal the remote method that takes a registration back.
    explicit Registry(const Removal& removal) : removal_(removal) {}

    const Removal& removal() const noexcept { return removal_; }

    /// An item that is going to be added under this id. Thread-safe.
    void announce(const Id& id, Item item) {
        const foundation::MutexLock lock(incomingMutex_);
        incoming_.emplace(id, std::move(item));
    }
    /// An announced item; null when there is none. Thread-safe.
    Item announced(const Id& id) const {
        const foundation::MutexLock lock(incomingMutex_);
        const auto found = incoming_.find(id);
        return found == incoming_.end() ? nullptr : found->second;
    }
    /// Takes an announced item back; null when there is none. Thread-safe.
    Item takeAnnounced(const Id& id) {
        const foundation::MutexLock lock(incomingMutex_);
        auto node = incoming_.extract(id);
        return node ? std::move(node.mapped()) : nullptr;
    }

    void add(const Id& id, Entry entry) { entries_.emplace(id, std::move(entry)); }

    /// Takes an entry out; nothing when the id is not registered.
    std::optional<Entry> remove(const Id& id) {
        auto node = entries_.extract(id);
        if (node.empty())
            return std::nullopt;
        return std::move(node.mapped());
    }

    /// The item under the id; null when there is none.
    Item find(const Id& id) const {
        const auto found = entries_.find(id);
        return found == entries_.end() ? nullptr : found->second.registered;
    }

    Entries& entries() noexcept { return entries_; }

    std::vector<Item> all() const {
        std::vector<Item> items;
        items.reserve(entries_.size());
        for (const auto& [id, entry] : entries_)
            items.push_back(entry.registered);
        return items;
    }

private:
    const Removal& removal_;
    Entries entries_;

    mutable foundation::Mutex incomingMutex_; // a leaf
    std::unordered_map<Id, Item, typename Id::Hasher> incoming_ GUARDED_BY(incomingMutex_);
};

} // namespace login::spf
