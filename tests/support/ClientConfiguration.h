#pragma once

#include "module/runtime/Timeouts.h"
#include "tests/support/People.h"

#include <cppmicroservices/AnyMap.h>

#include <memory>
#include <optional>

namespace zelkor::test {

/// A client's configuration: its timeouts in seconds.
inline std::shared_ptr<cppmicroservices::AnyMap> configuration(std::optional<int> call,
                                                               std::optional<int> service) {
    using agent::spf::cppmsclientutils::Timeouts;
    auto map = std::make_shared<cppmicroservices::AnyMap>(cppmicroservices::AnyMap::UNORDERED_MAP);
    if (call)
        (*map)[Timeouts::callKey] = *call;
    if (service)
        (*map)[Timeouts::serviceKey] = *service;
    return map;
}

} // namespace zelkor::test
