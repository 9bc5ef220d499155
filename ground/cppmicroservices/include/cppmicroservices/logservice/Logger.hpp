#pragma once

#include <cppmicroservices/ServiceReferenceBase.h>

#include <exception>
#include <string>

namespace cppmicroservices::logservice {

enum class LogLevel { Audit, Error, Warn, Info, Debug, Trace };

/// Takes the messages of one logger. Usable from any thread.
class Logger {
public:
    virtual ~Logger() = default;

    virtual void audit(const std::string& message) = 0;
    virtual void audit(const std::string& format, const std::string& arg) = 0;
    virtual void audit(const std::string& format, const std::string& arg1, const std::string& arg2) = 0;
    virtual void audit(const std::string& message, const std::exception_ptr ex) = 0;
    virtual void audit(const std::string& message, const ServiceReferenceBase& sr) = 0;
    virtual void audit(const std::string& message, const ServiceReferenceBase& sr,
                       const std::exception_ptr ex) = 0;

    virtual void debug(const std::string& message) = 0;
    virtual void debug(const std::string& format, const std::string& arg) = 0;
    virtual void debug(const std::string& format, const std::string& arg1, const std::string& arg2) = 0;
    virtual void debug(const std::string& message, const std::exception_ptr ex) = 0;
    virtual void debug(const std::string& message, const ServiceReferenceBase& sr) = 0;
    virtual void debug(const std::string& message, const ServiceReferenceBase& sr,
                       const std::exception_ptr ex) = 0;

    virtual void error(const std::string& message) = 0;
    virtual void error(const std::string& format, const std::string& arg) = 0;
    virtual void error(const std::string& format, const std::string& arg1, const std::string& arg2) = 0;
    virtual void error(const std::string& message, const std::exception_ptr ex) = 0;
    virtual void error(const std::string& message, const ServiceReferenceBase& sr) = 0;
    virtual void error(const std::string& message, const ServiceReferenceBase& sr,
                       const std::exception_ptr ex) = 0;

    virtual void info(const std::string& message) = 0;
    virtual void info(const std::string& format, const std::string& arg) = 0;
    virtual void info(const std::string& format, const std::string& arg1, const std::string& arg2) = 0;
    virtual void info(const std::string& message, const std::exception_ptr ex) = 0;
    virtual void info(const std::string& message, const ServiceReferenceBase& sr) = 0;
    virtual void info(const std::string& message, const ServiceReferenceBase& sr,
                      const std::exception_ptr ex) = 0;

    virtual void trace(const std::string& message) = 0;
    virtual void trace(const std::string& format, const std::string& arg) = 0;
    virtual void trace(const std::string& format, const std::string& arg1, const std::string& arg2) = 0;
    virtual void trace(const std::string& message, const std::exception_ptr ex) = 0;
    virtual void trace(const std::string& message, const ServiceReferenceBase& sr) = 0;
    virtual void trace(const std::string& message, const ServiceReferenceBase& sr,
                       const std::exception_ptr ex) = 0;

    virtual void warn(const std::string& message) = 0;
    virtual void warn(const std::string& format, const std::string& arg) = 0;
    virtual void warn(const std::string& format, const std::string& arg1, const std::string& arg2) = 0;
    virtual void warn(const std::string& message, const std::exception_ptr ex) = 0;
    virtual void warn(const std::string& message, const ServiceReferenceBase& sr) = 0;
    virtual void warn(const std::string& message, const ServiceReferenceBase& sr,
                      const std::exception_ptr ex) = 0;
};

} // namespace cppmicroservices::logservice
