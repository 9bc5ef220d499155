#include "ConfigurationStore.h"

#include "StoredConfiguration.h"

#include <cppmicroservices/LDAPFilter.h>

#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>

#include <stdexcept>
#include <utility>

namespace cppmicroservices::detail {

namespace {

void CheckPid(const std::string& pid) {
    if (pid.empty())
        throw std::invalid_argument("A configuration needs a pid that is not empty.");
}

} // namespace

ConfigurationStore::ConfigurationStore(ChangeHandler onChange) : onChange_(std::move(onChange)) {}

ConfigurationStore::~ConfigurationStore() = default;

ConfigurationStore::ConfigurationPtr ConfigurationStore::HandleOf(const std::string& pid,
                                                                  const EntryPtr& entry) {
    auto handle = entry->handle.lock();
    if (!handle) {
        handle = std::make_shared<StoredConfiguration>(weak_from_this(), pid, entry);
        entry->handle = handle;
    }
    return handle;
}

ConfigurationStore::ConfigurationPtr ConfigurationStore::GetConfiguration(const std::string& pid) {
    CheckPid(pid);
    const foundation::MutexLock lock(mutex_);
    auto& entry = entries_[pid];
    if (!entry)
        entry = std::make_shared<Entry>();
    return HandleOf(pid, entry);
}

ConfigurationStore::ConfigurationPtr
ConfigurationStore::CreateFactoryConfiguration(const std::string& factoryPid) {
    return GetFactoryConfiguration(factoryPid, to_string(boost::uuids::random_generator()()));
}

ConfigurationStore::ConfigurationPtr
ConfigurationStore::GetFactoryConfiguration(const std::string& factoryPid, const std::string& name) {
    CheckPid(factoryPid);
    return GetConfiguration(factoryPid + '~' + name);
}

std::vector<ConfigurationStore::ConfigurationPtr>
ConfigurationStore::ListConfigurations(const std::string& filter) {
    const auto condition = filter.empty() ? LDAPFilter() : LDAPFilter(filter);
    std::vector<ConfigurationPtr> found;
    const foundation::MutexLock lock(mutex_);
    for (const auto& [pid, entry] : entries_) {
        auto properties = entry->properties;
        properties["pid"] = pid;
        if (const auto tilde = pid.find('~'); tilde != std::string::npos)
            properties["factoryPid"] = pid.substr(0, tilde);
        if (entry->changes > 0 && (!condition || condition.Match(properties)))
            found.push_back(HandleOf(pid, entry));
    }
    return found;
}

std::optional<AnyMap> ConfigurationStore::Properties(const std::string& pid) const {
    const foundation::MutexLock lock(mutex_);
    const auto found = entries_.find(pid);
    if (found == entries_.end() || found->second->changes == 0)
        return std::nullopt;
    return found->second->properties;
}

std::vector<std::string> ConfigurationStore::Instances(const std::string& factoryPid) const {
    std::vector<std::string> pids;
    const auto prefix = factoryPid + '~';
    const foundation::MutexLock lock(mutex_);
    for (auto found = entries_.lower_bound(prefix);
         found != entries_.end() && found->first.starts_with(prefix); ++found) {
        if (found->second->changes > 0)
            pids.push_back(found->first);
    }
    return pids;
}

std::shared_future<void> ConfigurationStore::Tell(const std::string& pid) {
    auto told = std::make_shared<std::promise<void>>();
    auto future = told->get_future().share();
    const bool posted = thread_.post([self = shared_from_this(), pid, told] {
        self->onChange_(pid);
        told->set_value();
    });
    if (!posted)
        told->set_exception(std::make_exception_ptr(std::runtime_error(
            "The framework has stopped; the configuration '" + pid + "' reaches nobody.")));
    return future;
}

void ConfigurationStore::Stop() {
    thread_.stop();
}

} // namespace cppmicroservices::detail
