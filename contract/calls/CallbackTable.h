#pragma once

#include "contract/calls/ExportedFunction.h"

#include <foundation/thread_annotations.h>

#include <boost/uuid/uuid.hpp>
#include <boost/uuid/uuid_hash.hpp>

#include <cstddef>
#include <memory>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace agent::spf::core {

/// The functions that one connection's daemon may call, by uuid. A transport owns one per connection and
/// calls invoke() on an executor thread; callback managers add and remove.
///
/// Thread-safe. The lock is a leaf: functions are called and destroyed outside it, so removing never waits
/// for a running callback.
class CallbackTable {
public:
    static constexpr std::size_t defaultCapacity = 10'000;

    explicit CallbackTable(std::size_t capacity = defaultCapacity) : capacity_(capacity) {}

    /// Whose functions are withdrawn together. Any address that is the owner's own.
    using Owner = const void*;

    /// @param callLimit after so many calls the function is removed; no limit when empty.
    /// @throws RefusedError when the table is full.
    void add(const boost::uuids::uuid& id, ExportedFunction function, std::optional<unsigned int> callLimit,
             Owner owner = nullptr);
    /// Takes functions of an owner out; calls already running go on. The caller releases what it gets where
    /// foreign destructors may run. An id that is not one of the owner's yields nothing.
    using Withdrawn = std::vector<std::shared_ptr<const ExportedFunction>>;
    [[nodiscard]] Withdrawn remove(const boost::uuids::uuid& id, Owner owner);
    [[nodiscard]] Withdrawn removeAll(Owner owner);

    /// Calls the function on this thread.
    /// @throws WithdrawnError for an unknown id, and whatever the function throws.
    GenericPayload invoke(const boost::uuids::uuid& id,
                          const foundation::concurrent::threadpool::stop_token& stop,
                          GenericPayload arguments);

    std::size_t size() const;

private:
    struct Entry {
        std::shared_ptr<const ExportedFunction> function;
        std::optional<unsigned int> callsLeft;
        Owner owner;
    };
    using Hash = boost::hash<boost::uuids::uuid>;
    using Entries = std::unordered_map<boost::uuids::uuid, Entry, Hash>;

    std::shared_ptr<const ExportedFunction> claim(const boost::uuids::uuid& id);
    std::shared_ptr<const ExportedFunction> take(Entries::iterator entry) REQUIRES(mutex_);

    const std::size_t capacity_;
    mutable foundation::Mutex mutex_;
    Entries entries_ GUARDED_BY(mutex_);
    std::unordered_map<Owner, std::unordered_set<boost::uuids::uuid, Hash>> idsOf_ GUARDED_BY(mutex_);
};

} // namespace agent::spf::core
