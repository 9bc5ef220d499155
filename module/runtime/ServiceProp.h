#pragma once

#include <cppmicroservices/LDAPProp.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace agent::spf::cppmsclientutils {

/// A further property that a tracked Invokable must carry. Immutable.
class ServiceProp {
public:
    virtual cppmicroservices::LDAPPropExpr ldap() const = 0;
    /// For logs.
    virtual std::string toString() const = 0;
    virtual ~ServiceProp() = default;
};

using ServiceProps = std::vector<std::shared_ptr<ServiceProp>>;

/// Asks for an Invokable of the client with this id at the daemon; with an empty id, for one of whichever
/// client this process is.
std::shared_ptr<ServiceProp> clientIdProp(const std::string& id);

struct Props {
    inline static const std::shared_ptr<ServiceProp> CLIENT_ID = clientIdProp("");
};

/// The list for logs.
std::string toString(const ServiceProps& props);

/// A value as it must stand in a filter's text.
std::string escapeFilterValue(std::string_view value);

} // namespace agent::spf::cppmsclientutils
