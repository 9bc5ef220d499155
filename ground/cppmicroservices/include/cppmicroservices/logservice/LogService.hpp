#pragma once

#include <cppmicroservices/ServiceReferenceBase.h>
#include <cppmicroservices/logservice/LoggerFactory.hpp>

#include <cstdint>
#include <exception>
#include <string>

namespace cppmicroservices::logservice {

enum class SeverityLevel : std::uint8_t {
    LOG_ERROR = 1,
    LOG_WARNING = 2,
    LOG_INFO = 3,
    LOG_DEBUG = 4,
};

/// What a host registers to hear what goes wrong in the framework: a component that cannot be constructed is
/// explained here. Called on the thread that met the fault; a call that throws is ignored.
class LogService : public LoggerFactory {
public:
    ~LogService() override = default;

    virtual void Log(SeverityLevel level, const std::string& message) = 0;
    virtual void Log(SeverityLevel level, const std::string& message, const std::exception_ptr ex) = 0;
    virtual void Log(const ServiceReferenceBase& sr, SeverityLevel level, const std::string& message) = 0;
    virtual void Log(const ServiceReferenceBase& sr, SeverityLevel level, const std::string& message,
                     const std::exception_ptr ex) = 0;
};

} // namespace cppmicroservices::logservice
