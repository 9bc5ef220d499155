#include "PropertyTable.h"

#include "Text.h"

#include <cppmicroservices/Constants.h>

#include <stdexcept>

namespace cppmicroservices::detail {

PropertyTable::PropertyTable(const ServiceProperties& properties, const std::vector<std::string>& interfaces,
                             long serviceId, const std::string& scope)
    : entries_{{Constants::OBJECTCLASS, interfaces},
               {Constants::SERVICE_ID, serviceId},
               {Constants::SERVICE_SCOPE, scope}} {
    const auto reserved = entries_.size();
    entries_.reserve(reserved + properties.size());
    for (const auto& [key, value] : properties) {
        std::size_t same = 0;
        while (same < entries_.size() && !EqualIgnoringCase(entries_[same].first, key))
            ++same;
        if (same == entries_.size())
            entries_.emplace_back(key, value);
        else if (entries_[same].first == Constants::SERVICE_SCOPE)
            entries_[same].second = value; // the registrant knows better, as with a component's one object
        else if (same >= reserved)
            throw std::runtime_error("The service properties '" + entries_[same].first + "' and '" + key +
                                     "' differ in case only; keep one of them.");
    }
    if (const auto* ranking = Find(Constants::SERVICE_RANKING)) {
        const auto* value = any_cast<int>(ranking);
        if (!value)
            throw std::invalid_argument("The service property 'service.ranking' must be an int, not " +
                                        (ranking->Empty() ? "empty" : Demangle(ranking->Type())) + ".");
        ranking_ = *value;
    }
}

const Any* PropertyTable::Find(const std::string& key) const {
    for (const auto& [name, value] : entries_) {
        if (EqualIgnoringCase(name, key))
            return &value;
    }
    return nullptr;
}

std::vector<std::string> PropertyTable::Keys() const {
    std::vector<std::string> keys;
    keys.reserve(entries_.size());
    for (const auto& [name, value] : entries_)
        keys.push_back(name);
    return keys;
}

} // namespace cppmicroservices::detail
