#pragma once

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/FrameworkExport.h>

#include <cstdint>
#include <exception>
#include <ostream>
#include <string>
#include <utility>

namespace cppmicroservices {

/// Something about the framework as a whole, or an error that has no caller to return to.
class FrameworkEvent {
public:
    enum Type : std::uint32_t {
        FRAMEWORK_STARTED = 0x1,
        FRAMEWORK_ERROR = 0x2,
        FRAMEWORK_WARNING = 0x10,
        FRAMEWORK_INFO = 0x20,
        FRAMEWORK_STOPPED = 0x40,
        FRAMEWORK_STOPPED_UPDATE = 0x80,
        FRAMEWORK_WAIT_TIMEDOUT = 0x200
    };

    FrameworkEvent() = default;
    FrameworkEvent(Type type, Bundle bundle, std::string message, std::exception_ptr exception = nullptr)
        : type_(type), bundle_(std::move(bundle)), message_(std::move(message)),
          exception_(std::move(exception)) {}

    explicit operator bool() const noexcept { return type_ != Type{}; }

    Bundle GetBundle() const { return bundle_; }
    std::string GetMessage() const { return message_; }
    std::exception_ptr GetThrowable() const { return exception_; }
    Type GetType() const noexcept { return type_; }

private:
    Type type_{};
    Bundle bundle_;
    std::string message_;
    std::exception_ptr exception_;
};

std::ostream& operator<<(std::ostream& os, FrameworkEvent::Type type);
/// Several lines: type, message, bundle, exception.
std::ostream& operator<<(std::ostream& os, const FrameworkEvent& event);

} // namespace cppmicroservices
