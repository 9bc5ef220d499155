#pragma once

#include <cppmicroservices/LDAPFilter.h>
#include <foundation/thread_annotations.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace cppmicroservices {

class BundleContextPrivate;

namespace detail {

/// The listeners for one kind of event, in the order of their adding. The list is replaced, not changed:
/// events are delivered from a snapshot without the lock, and listeners die without it.
template <class Function>
class ListenerTable {
public:
    struct Entry {
        Entry(std::uint64_t i, const BundleContextPrivate* o, Function c, LDAPFilter f)
            : id(i), owner(o), call(std::move(c)), filter(std::move(f)) {}

        std::uint64_t id;
        const BundleContextPrivate* owner;
        Function call;
        LDAPFilter filter; ///< invalid for every event; service listeners only
        std::atomic<bool> removed = false;
    };
    using List = std::vector<std::shared_ptr<Entry>>;
    using Snapshot = std::shared_ptr<const List>;

    void Add(std::uint64_t id, const BundleContextPrivate* owner, Function call, LDAPFilter filter = {})
        EXCLUDES(mutex_) {
        const auto entry = std::make_shared<Entry>(id, owner, std::move(call), std::move(filter));
        Snapshot replaced;
        const foundation::MutexLock lock(mutex_);
        auto list = std::make_shared<List>(*entries_);
        list->push_back(entry);
        replaced = std::exchange(entries_, std::move(list));
    }

    void Remove(std::uint64_t id) EXCLUDES(mutex_) {
        RemoveIf([id](const Entry& entry) { return entry.id == id; });
    }

    void RemoveOwnedBy(const BundleContextPrivate* owner) EXCLUDES(mutex_) {
        RemoveIf([owner](const Entry& entry) { return entry.owner == owner; });
    }

    Snapshot All() const EXCLUDES(mutex_) {
        const foundation::MutexLock lock(mutex_);
        return entries_;
    }

private:
    template <class Condition>
    void RemoveIf(Condition condition) EXCLUDES(mutex_) {
        Snapshot replaced;
        const foundation::MutexLock lock(mutex_);
        if (std::none_of(entries_->begin(), entries_->end(),
                         [&](const auto& entry) { return condition(*entry); }))
            return;
        auto kept = std::make_shared<List>();
        for (const auto& entry : *entries_) {
            if (condition(*entry))
                entry->removed = true;
            else
                kept->push_back(entry);
        }
        replaced = std::exchange(entries_, std::move(kept));
    }

    mutable foundation::Mutex mutex_;
    Snapshot entries_ GUARDED_BY(mutex_) = std::make_shared<const List>();
};

} // namespace detail
} // namespace cppmicroservices
