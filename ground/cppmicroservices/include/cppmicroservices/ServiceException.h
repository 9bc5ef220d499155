#pragma once

#include <cppmicroservices/FrameworkExport.h>

#include <stdexcept>
#include <string>

namespace cppmicroservices {

/// Says what went wrong in obtaining a service. Arrives inside framework events; GetService itself returns
/// null.
class ServiceException : public std::runtime_error {
public:
    enum Type {
        UNSPECIFIED = 0,
        UNREGISTERED = 1,
        FACTORY_ERROR = 2,
        FACTORY_EXCEPTION = 3,
        REMOTE = 5,
        FACTORY_RECURSION = 6
    };

    explicit ServiceException(const std::string& message, Type type = UNSPECIFIED)
        : std::runtime_error(message), type_(type) {}

    Type GetType() const noexcept { return type_; }

private:
    Type type_;
};

} // namespace cppmicroservices
