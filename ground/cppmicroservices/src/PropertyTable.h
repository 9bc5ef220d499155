#pragma once

#include "LdapExpression.h"

#include <cppmicroservices/ServiceProperties.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace cppmicroservices::detail {

/// The properties of a registered service at one moment: immutable, keys without regard to case. A plain
/// list, since services have few properties and a scan needs neither hashing nor a lowered copy of the key.
class PropertyTable final : public PropertyLookup {
public:
    /// \p properties plus those the framework sets, which win.
    /// \throws std::invalid_argument if two keys differ in case only, or if service.ranking is not an int.
    PropertyTable(const ServiceProperties& properties, const std::vector<std::string>& interfaces,
                  long serviceId, const std::string& scope);

    const Any* Find(const std::string& key) const override;
    std::vector<std::string> Keys() const;
    int Ranking() const noexcept { return ranking_; }

private:
    std::vector<std::pair<std::string, Any>> entries_;
    int ranking_ = 0;
};

} // namespace cppmicroservices::detail
