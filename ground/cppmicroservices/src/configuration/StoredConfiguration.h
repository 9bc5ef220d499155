#pragma once

#include "ConfigurationStore.h"

namespace cppmicroservices::detail {

/// The handle on one configuration of a ConfigurationStore, which it does not keep alive.
class StoredConfiguration final : public service::cm::Configuration {
public:
    StoredConfiguration(std::weak_ptr<ConfigurationStore> store, std::string pid,
                        std::shared_ptr<ConfigurationStore::Entry> entry);

    std::string GetPid() const override;
    std::string GetFactoryPid() const override;
    AnyMap GetProperties() const override;
    unsigned long GetChangeCount() const override;
    std::shared_future<void> Update(AnyMap properties) override;
    std::pair<bool, std::shared_future<void>> UpdateIfDifferent(AnyMap properties) override;
    std::shared_future<void> Remove() override;

private:
    /// \throws std::runtime_error if the store is gone.
    std::shared_ptr<ConfigurationStore> Store() const;
    /// Of an entry that has been removed: throws.
    ConfigurationStore::Entry& Existing() const;

    const std::weak_ptr<ConfigurationStore> store_;
    const std::string pid_;
    const std::shared_ptr<ConfigurationStore::Entry> entry_; ///< guarded by the store's mutex
};

} // namespace cppmicroservices::detail
