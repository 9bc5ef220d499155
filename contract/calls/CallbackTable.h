#pragma once

#include "contract/calls/ExportedFunction.h"

#include <foundation/thread_annotations.h>

#include <boost/uuid/uuid.hpp>
#include <boost/uuid/uuid_hash.hpp>

#include <cstddef>
#include <memory>
#include <optional>
#include <unordered_map>
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

    /// @param callLimit after so many calls the function is removed; no limit when empty.
    /// @throws RefusedError when the table is full.
    void add(const boost::uuids::uuid& id, ExportedFunction function, std::optional<unsigned int> callLimit);
    /// Takes functions out; calls already running go on. The caller releases what it gets where foreign
    /// destructors may run. An unknown id yields nothing.
    using Withdrawn = std::vector<std::shared_ptr<const ExportedFunction>>;
    [[nodiscard]] Withdrawn remove(const std::vector<boost::uuids::uuid>& ids);

    /// Calls the function on this thread, inside a CallbackScope.
    /// @throws WithdrawnError for an unknown id, and whatever the function throws.
    GenericPayload invoke(const boost::uuids::uuid& id,
                          const foundation::concurrent::threadpool::stop_token& stop,
                          GenericPayload arguments);

    std::size_t size() const;

private:
    struct Entry {
        std::shared_ptr<const ExportedFunction> function;
        std::optional<unsigned int> callsLeft;
    };
    using Entries = std::unordered_map<boost::uuids::uuid, Entry, boost::hash<boost::uuids::uuid>>;

    std::shared_ptr<const ExportedFunction> claim(const boost::uuids::uuid& id);

    const std::size_t capacity_;
    mutable foundation::Mutex mutex_;
    Entries entries_ GUARDED_BY(mutex_);
};

} // namespace agent::spf::core
