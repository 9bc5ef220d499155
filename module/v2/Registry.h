#pragma once

#include "module/runtime/Registered.h"
#include "contract/vocabulary/RemoteMethod.h"
#include "contract/calls/Invokable.h"

#include <boost/uuid/uuid.hpp>

#include <memory>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

namespace login::spf {

using agent::spf::cppmsclientutils::Registered;

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

    /// What is going to be added. Thread-safe.
    agent::spf::cppmsclientutils::IncomingRegistrations<Id, Value>& incoming() noexcept { return incoming_; }

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
    agent::spf::cppmsclientutils::IncomingRegistrations<Id, Value> incoming_;
};

} // namespace login::spf
