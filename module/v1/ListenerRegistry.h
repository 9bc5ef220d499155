#pragma once

#include "module/runtime/Registered.h"
#include "contract/vocabulary/RemoteMethod.h"

#include <boost/uuid/uuid.hpp>

#include <memory>
#include <unordered_map>
#include <utility>
#include <vector>

namespace login::v1 {

/// One kind of registrations with a version-1 daemon. The id that a caller gets is the daemon's own when the
/// daemon took the registration, and one of ours otherwise; a later daemon gives it another.
///
/// A plain store, guarded by the client's state lock, but for what is on its way in.
template <class Id, class Callback>
class ListenerRegistry {
public:
    using Removal = agent::spf::cppmsclientutils::RemoteMethod<bool(boost::uuids::uuid)>;
    using Item = std::shared_ptr<agent::spf::cppmsclientutils::Registered<Callback>>;
    template <class Value>
    using Map = std::unordered_map<Id, Value, typename Id::Hasher>;

    /// @param removal the remote method that takes a registration back.
    explicit ListenerRegistry(const Removal& removal) : removal_(removal) {}

    const Removal& removal() const noexcept { return removal_; }
    agent::spf::cppmsclientutils::IncomingRegistrations<Id, Callback>& incoming() noexcept {
        return incoming_;
    }

    /// What the present daemon calls a registration.
    Id currentId(const Id& id) const {
        const auto found = currentIds.find(id);
        return found == currentIds.end() ? id : found->second;
    }
    /// Null when the id is not registered.
    Item find(const Id& id) const {
        const auto found = entries.find(id);
        return found == entries.end() ? nullptr : found->second;
    }
    std::vector<Item> all() const {
        std::vector<Item> items;
        for (const auto& [id, item] : entries)
            items.push_back(item);
        return items;
    }

    Map<Id> currentIds; ///< of what was registered again: the caller's id, the daemon's
    Map<Item> entries;  ///< all, by the callers' ids
    Map<boost::uuids::uuid>
        exports; ///< of those that the present daemon knows: its id, the exported callback

private:
    const Removal& removal_;
    agent::spf::cppmsclientutils::IncomingRegistrations<Id, Callback> incoming_;
};

} // namespace login::v1
