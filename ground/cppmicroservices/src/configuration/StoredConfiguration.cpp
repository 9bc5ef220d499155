#include "StoredConfiguration.h"

#include <stdexcept>
#include <utility>

namespace cppmicroservices::detail {

StoredConfiguration::StoredConfiguration(std::weak_ptr<ConfigurationStore> store, std::string pid,
                                         std::shared_ptr<ConfigurationStore::Entry> entry)
    : store_(std::move(store)), pid_(std::move(pid)), entry_(std::move(entry)) {}

std::shared_ptr<ConfigurationStore> StoredConfiguration::Store() const {
    auto store = store_.lock();
    if (!store)
        throw std::runtime_error("The framework that kept the configuration '" + pid_ + "' has stopped.");
    return store;
}

ConfigurationStore::Entry& StoredConfiguration::Existing() const {
    if (entry_->removed)
        throw std::runtime_error("The configuration '" + pid_ + "' has been removed; get it anew.");
    return *entry_;
}

std::string StoredConfiguration::GetPid() const {
    const auto store = Store();
    const foundation::MutexLock lock(store->mutex_);
    Existing();
    return pid_;
}

std::string StoredConfiguration::GetFactoryPid() const {
    const auto pid = GetPid();
    const auto tilde = pid.find('~');
    return tilde == std::string::npos ? std::string() : pid.substr(0, tilde);
}

AnyMap StoredConfiguration::GetProperties() const {
    const auto store = Store();
    const foundation::MutexLock lock(store->mutex_);
    return Existing().properties;
}

unsigned long StoredConfiguration::GetChangeCount() const {
    const auto store = Store();
    const foundation::MutexLock lock(store->mutex_);
    return Existing().changes;
}

std::shared_future<void> StoredConfiguration::Update(AnyMap properties) {
    const auto store = Store();
    {
        const foundation::MutexLock lock(store->mutex_);
        auto& entry = Existing();
        std::swap(entry.properties, properties); // the old ones die unlocked
        ++entry.changes;
    }
    return store->Tell(pid_);
}

std::pair<bool, std::shared_future<void>> StoredConfiguration::UpdateIfDifferent(AnyMap properties) {
    const auto store = Store();
    {
        const foundation::MutexLock lock(store->mutex_);
        auto& entry = Existing();
        if (entry.changes > 0 && entry.properties == properties) {
            std::promise<void> nothing;
            nothing.set_value();
            return {false, nothing.get_future().share()};
        }
        std::swap(entry.properties, properties);
        ++entry.changes;
    }
    return {true, store->Tell(pid_)};
}

std::shared_future<void> StoredConfiguration::Remove() {
    const auto store = Store();
    {
        const foundation::MutexLock lock(store->mutex_);
        Existing().removed = true;
        store->entries_.erase(pid_);
    }
    return store->Tell(pid_);
}

} // namespace cppmicroservices::detail
