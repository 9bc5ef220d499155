#include "module/runtime/ServiceProp.h"

#include "contract/calls/ServiceProperties.h"

#include <utility>

namespace agent::spf::cppmsclientutils {

namespace {

class ClientIdProp final : public ServiceProp {
public:
    explicit ClientIdProp(const std::string& id)
        // Presence, not LDAPProp(key) == "": comparing with an empty text makes the condition vanish.
        : value_(id.empty() ? "*" : escapeFilterValue(id)) {}

    cppmicroservices::LDAPPropExpr ldap() const override {
        return cppmicroservices::LDAPPropExpr('(' + toString() + ')');
    }
    std::string toString() const override { return std::string(core::properties::clientId) + '=' + value_; }

private:
    std::string value_;
};

} // namespace

std::shared_ptr<ServiceProp> clientIdProp(const std::string& id) {
    return std::make_shared<ClientIdProp>(id);
}

std::string toString(const ServiceProps& props) {
    std::string text;
    for (const auto& prop : props) {
        if (!text.empty())
            text += ", ";
        text += prop->toString();
    }
    return text;
}

std::string escapeFilterValue(std::string_view value) {
    std::string escaped;
    for (const char c : value) {
        if (c == '(' || c == ')' || c == '*' || c == '\\')
            escaped += '\\';
        escaped += c;
    }
    return escaped;
}

} // namespace agent::spf::cppmsclientutils
