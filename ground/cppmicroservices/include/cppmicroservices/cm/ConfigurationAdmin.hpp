#pragma once

#include <cppmicroservices/cm/Configuration.hpp>

#include <memory>
#include <string>
#include <vector>

namespace cppmicroservices::service::cm {

/// The service that keeps the configurations of a framework, for as long as the framework runs. Thread-safe.
class ConfigurationAdmin {
public:
    virtual ~ConfigurationAdmin() noexcept = default;

    /// The configuration of that pid, made if there is none; it counts from its first update on.
    virtual std::shared_ptr<Configuration> GetConfiguration(const std::string& pid) = 0;
    /// A new configuration of that factory, with a random name.
    virtual std::shared_ptr<Configuration> CreateFactoryConfiguration(const std::string& factoryPid) = 0;
    /// The configuration `factoryPid~name`, made if there is none.
    virtual std::shared_ptr<Configuration> GetFactoryConfiguration(const std::string& factoryPid,
                                                                   const std::string& name) = 0;
    /// Those that count and whose properties, with "pid" (and "factoryPid"), match; all if the filter is
    /// empty. \throws std::invalid_argument if \p filter is neither empty nor a filter.
    virtual std::vector<std::shared_ptr<Configuration>>
    ListConfigurations(const std::string& filter = {}) = 0;
};

} // namespace cppmicroservices::service::cm
