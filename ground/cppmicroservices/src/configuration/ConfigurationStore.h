#pragma once

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>
#include <foundation/concurrent/threadpool/Executor.h>
#include <foundation/thread_annotations.h>

#include <functional>
#include <future>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace cppmicroservices::detail {

class StoredConfiguration;

/// ConfigurationAdmin: keeps the configurations in memory, and tells of changes one after the other on a
/// thread of its own.
class ConfigurationStore final : public service::cm::ConfigurationAdmin,
                                 public std::enable_shared_from_this<ConfigurationStore> {
public:
    using ConfigurationPtr = std::shared_ptr<service::cm::Configuration>;
    /// Told the pid of a configuration that was updated or removed, without any lock.
    using ChangeHandler = std::function<void(const std::string& pid)>;

    explicit ConfigurationStore(ChangeHandler onChange);
    ~ConfigurationStore() override;

    ConfigurationPtr GetConfiguration(const std::string& pid) override EXCLUDES(mutex_);
    ConfigurationPtr CreateFactoryConfiguration(const std::string& factoryPid) override;
    ConfigurationPtr GetFactoryConfiguration(const std::string& factoryPid, const std::string& name) override;
    std::vector<ConfigurationPtr> ListConfigurations(const std::string& filter = {}) override
        EXCLUDES(mutex_);

    /// The properties of a configuration that counts.
    std::optional<AnyMap> Properties(const std::string& pid) const EXCLUDES(mutex_);
    /// The pids of the configurations `factoryPid~name` that count.
    std::vector<std::string> Instances(const std::string& factoryPid) const EXCLUDES(mutex_);

    /// Tells of no further change and waits for the one being told, unless this is the thread that tells it.
    void Stop();

private:
    friend class StoredConfiguration;

    /// What a configuration holds; owned by the store until it is removed.
    struct Entry {
        AnyMap properties{AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS};
        unsigned long changes = 0;
        bool removed = false;
        std::weak_ptr<StoredConfiguration> handle;
    };
    using EntryPtr = std::shared_ptr<Entry>;

    std::shared_future<void> Tell(const std::string& pid);
    ConfigurationPtr HandleOf(const std::string& pid, const EntryPtr& entry) REQUIRES(mutex_);

    const ChangeHandler onChange_;
    foundation::concurrent::threadpool::Executor thread_{
        {.minThreads = 1, .maxThreads = 1, .name = "configuration"}};
    mutable foundation::Mutex mutex_; ///< a leaf: guards the entries, too
    std::map<std::string, EntryPtr> entries_ GUARDED_BY(mutex_);
};

} // namespace cppmicroservices::detail
