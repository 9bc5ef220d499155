#pragma once

#include "../configuration/ConfigurationStore.h"
#include "ComponentConfiguration.h"
#include "ComponentDescription.h"

#include <cppmicroservices/ListenerToken.h>
#include <foundation/thread_annotations.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace cppmicroservices::detail {

/// One declared component of a started bundle: makes a ComponentConfiguration of it where the configurations
/// ask for one, and keeps them up with configurations and services.
class Component : public std::enable_shared_from_this<Component> {
public:
    Component(ComponentDescription description, ComponentEnvironment environment,
              std::shared_ptr<ConfigurationStore> store);

    const ComponentDescription& Description() const noexcept { return *description_; }
    const std::shared_ptr<BundlePrivate>& Bundle() const noexcept { return environment_.bundle; }

    void Start();
    /// Ends all it made, and waits for constructors and changes that other threads are running.
    void Stop() EXCLUDES(mutex_);
    void SetEnabled(bool enabled) EXCLUDES(mutex_);
    void ConfigurationChanged(const std::string& pid);
    /// Whether there should be a service or object of it, and is none.
    bool IsWaiting() const EXCLUDES(mutex_);

private:
    /// By the pid that made it, which is empty unless this is a factory component.
    using Configurations = std::map<std::string, std::shared_ptr<ComponentConfiguration>>;
    using Wanted = std::map<std::string, AnyMap>;

    /// \param changed the pid whose configuration was updated, be it with the same properties; or empty
    void Refresh(const std::string& changed = {}) EXCLUDES(mutex_);
    Wanted WantedNow() const REQUIRES(mutex_);
    /// The manifest's properties overridden by those of the configurations; nothing if the policy asks for
    /// one that does not exist.
    std::optional<AnyMap> PropertiesFrom(const std::vector<std::string>& pids) const;
    std::shared_ptr<ComponentConfiguration> Make(const std::string& pid) const;
    /// \p before itself if it has the same properties, and \p updated does not ask for a new one.
    PropertiesPtr Complete(AnyMap properties, const std::string& pid, const PropertiesPtr& before,
                           bool updated) const;
    void ServicesChanged() EXCLUDES(mutex_);
    std::vector<std::shared_ptr<ComponentConfiguration>> All() const EXCLUDES(mutex_);

    const std::shared_ptr<const ComponentDescription> description_;
    const ComponentEnvironment environment_;
    const std::shared_ptr<ConfigurationStore> store_;

    /// Taken before the store's and a ComponentConfiguration's, which are leaves. Nothing foreign runs under
    /// it.
    mutable foundation::Mutex mutex_;
    bool enabled_ GUARDED_BY(mutex_);
    bool stopped_ GUARDED_BY(mutex_) = false;
    Configurations configurations_ GUARDED_BY(mutex_);
};

} // namespace cppmicroservices::detail
