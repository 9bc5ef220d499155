#pragma once

#include "ServiceRecord.h"

#include <foundation/thread_annotations.h>

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace cppmicroservices::detail {

/// The registered services, best first: highest ranking, then lowest id.
///
/// Lists are replaced, not changed, so readers keep a snapshot and match filters without the lock. The lock
/// is taken before a record's, and no list or record dies under it.
class ServiceRegistry {
public:
    using List = std::vector<std::shared_ptr<ServiceRecord>>;
    using Snapshot = std::shared_ptr<const List>;

    ServiceRegistry();

    long NextId() EXCLUDES(mutex_);

    /// \throws std::runtime_error if the registrant's context takes no services any more.
    void Add(const std::shared_ptr<ServiceRecord>& record) EXCLUDES(mutex_);
    void Remove(const std::shared_ptr<ServiceRecord>& record) EXCLUDES(mutex_);
    /// Exchanges the record's properties and moves it to its new place.
    /// \return the old ones, or null if the service is not registered any more
    std::shared_ptr<const PropertyTable> Update(const std::shared_ptr<ServiceRecord>& record,
                                                std::shared_ptr<const PropertyTable> properties)
        EXCLUDES(mutex_);

    Snapshot All() const EXCLUDES(mutex_);
    Snapshot Providing(const std::string& interfaceId) const EXCLUDES(mutex_);

    /// From now on Add refuses that context. \return what it has registered
    List Retire(BundleContextPrivate& context) EXCLUDES(mutex_);

private:
    /// Calls \p change on a copy of each list the record belongs to. \return the lists replaced, to die
    /// unlocked
    template <class Change>
    std::vector<Snapshot> ChangeLists(const ServiceRecord& record, Change change) REQUIRES(mutex_);

    mutable foundation::Mutex mutex_;
    long lastId_ GUARDED_BY(mutex_) = 0;
    Snapshot all_ GUARDED_BY(mutex_);
    std::unordered_map<std::string, Snapshot> byInterface_ GUARDED_BY(mutex_);
    const Snapshot none_;
};

} // namespace cppmicroservices::detail
