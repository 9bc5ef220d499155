#pragma once

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/logservice/Logger.hpp>

#include <memory>
#include <string>

namespace cppmicroservices::logservice {

/// Gives loggers by name.
class LoggerFactory {
public:
    inline static const std::string ROOT_LOGGER_NAME = "ROOT";

    virtual ~LoggerFactory() = default;

    [[nodiscard]] virtual std::shared_ptr<Logger>
    getLogger(const std::string& name = ROOT_LOGGER_NAME) const = 0;
    /// For messages on behalf of \p bundle.
    [[nodiscard]] virtual std::shared_ptr<Logger>
    getLogger(const Bundle& bundle, const std::string& name = ROOT_LOGGER_NAME) const = 0;
};

} // namespace cppmicroservices::logservice
