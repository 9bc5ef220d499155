#pragma once

#include <cppmicroservices/AnyMap.h>

#include <functional>
#include <string>
#include <vector>

namespace cppmicroservices::detail {

enum class ConfigurationPolicy { Ignore, Optional, Require };

/// Services that a component uses.
struct ReferenceDescription {
    std::string name;
    std::string interfaceId;
    std::string target;    ///< a filter, or empty
    bool optional = false; ///< the component can be without: cardinality 0..1 or 0..n
    bool multiple = false; ///< takes all: cardinality 0..n or 1..n
    bool dynamic = false;  ///< changes without a new object of the component
    bool greedy = false;   ///< changes to a better service
};

/// For whom an object of a component is made.
enum class ServiceScope { Singleton, Bundle, Prototype };

/// One component, as its bundle's manifest declares it.
struct ComponentDescription {
    std::string name;
    bool enabled = true;
    bool immediate = false;
    bool factory = false; ///< made per configuration `pid~instance`, never by the pid itself
    ConfigurationPolicy policy = ConfigurationPolicy::Ignore;
    std::vector<std::string> pids;
    std::vector<std::string> interfaces;
    ServiceScope scope = ServiceScope::Singleton;
    std::vector<ReferenceDescription> references;
    AnyMap properties{AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS};
};

/// The components in a bundle's headers. One that is malformed is left out, and \p onFault told what is wrong
/// with which key, and what to write instead.
std::vector<ComponentDescription>
ReadComponents(const AnyMap& headers, const std::function<void(const std::string& fault)>& onFault);

} // namespace cppmicroservices::detail
