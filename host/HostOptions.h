#pragma once

#include <agent/spf/transport/Connector.h>
#include <cppmicroservices/AnyMap.h>

#include <filesystem>
#include <string>
#include <vector>

namespace zelkor::host {

struct Configuration {
    std::string pid; ///< "pid~instance" for a factory component
    cppmicroservices::AnyMap properties{cppmicroservices::AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS};
};

/// One of each component that a login client process has; the client with all interfaces comes first, so that
/// it is the one that others bind.
std::vector<Configuration> defaultConfigurations();

struct HostOptions {
    std::filesystem::path module;                                        ///< the bundle's library
    std::vector<Configuration> configurations = defaultConfigurations(); ///< made in this order
    bool desktopServices = true; ///< whether this process says that it has them
    bool sessionServices = true; ///< whether it has in-process login services, which a session needs
    agent::spf::transport::ConnectorOptions connector;
};

} // namespace zelkor::host
