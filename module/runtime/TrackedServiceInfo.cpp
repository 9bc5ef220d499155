#include "module/runtime/TrackedServiceInfo.h"

#include "contract/calls/Invokable.h"
#include "contract/calls/ServiceProperties.h"
#include "module/runtime/ServiceProp.h"

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/ServiceInterface.h>

#include <utility>

namespace agent::spf::cppmsclientutils {

TrackedServiceInfo::TrackedServiceInfo(std::string name, int version, int revision)
    : name_(std::move(name)), version_(version), revision_(revision),
      text_(name_ + "-v" + std::to_string(version) + '.' + std::to_string(revision)) {}

std::string TrackedServiceInfo::ldap() const {
    namespace properties = core::properties;
    const auto comparison = [](const std::string& key, const char* op, const std::string& value) {
        return '(' + key + op + value + ')';
    };
    return "(&" +
           comparison(cppmicroservices::Constants::OBJECTCLASS, "=",
                      us_service_interface_iid<core::Invokable>()) +
           comparison(properties::serviceName, "=", escapeFilterValue(name_)) +
           comparison(properties::serviceVersion, "=", std::to_string(version_)) +
           comparison(properties::serviceRevision, ">=", std::to_string(revision_)) + ')';
}

} // namespace agent::spf::cppmsclientutils
