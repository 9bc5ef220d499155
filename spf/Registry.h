#pragma once

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

/// One kind of registrations, by the caller's ids, which never change; what the daemon knows them by changes
/// with every daemon. Not thread-safe: guarded by the client's state lock.
template <class Id, class Value>
class Registry {
public:
    struct Entry {
        std::shared_ptr<Registered<Value>> registered;
        std::optional<Id> daemonId; ///< nothing while no daemon knows of it
        boost::uuids::uuid callbackId{};
    };
    using Entries = std::unordered_map<Id, Entry, typename Id::Hasher>;

    static Entry makeEntry(Value value) {
        return {std::make_shared<Registered<Value>>(std::move(value)), std::nullopt, {}};
    }

    void add(const Id& id, Entry entry) { entries_.emplace(id, std::move(entry)); }

    /// Takes an entry out; nothing when the id is not registered.
    std::optional<Entry> remove(const Id& id) {
        auto node = entries_.extract(id);
        if (node.empty())
            return std::nullopt;
        node.mapped().registered->active = false;
        return std::move(node.mapped());
    }

    Entries& entries() noexcept { return entries_; }

    std::vector<std::shared_ptr<Registered<Value>>> all() const {
        std::vector<std::shared_ptr<Registered<Value>>> values;
        values.reserve(entries_.size());
        for (const auto& [id, entry] : entries_)
            values.push_back(entry.registered);
        return values;
    }

private:
    Entries entries_;
};

} // namespace login::spf
