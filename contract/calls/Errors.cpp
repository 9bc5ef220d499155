#include "contract/calls/Errors.h"

namespace agent::spf::core {

std::string_view toString(ErrorKind kind) noexcept {
    switch (kind) {
    case ErrorKind::Remote:
        return "remote";
    case ErrorKind::Timeout:
        return "timeout";
    case ErrorKind::Disconnected:
        return "disconnected";
    case ErrorKind::Malformed:
        return "malformed";
    case ErrorKind::Refused:
        return "refused";
    case ErrorKind::Withdrawn:
        return "withdrawn";
    }
    return "unknown";
}

std::exception_ptr makeInvocationError(ErrorKind kind, const std::string& text) {
    switch (kind) {
    case ErrorKind::Remote:
        return std::make_exception_ptr(RemoteError(text));
    case ErrorKind::Timeout:
        return std::make_exception_ptr(TimeoutError(text));
    case ErrorKind::Disconnected:
        return std::make_exception_ptr(DisconnectedError(text));
    case ErrorKind::Malformed:
        return std::make_exception_ptr(MalformedError(text));
    case ErrorKind::Refused:
        return std::make_exception_ptr(RefusedError(text));
    case ErrorKind::Withdrawn:
        return std::make_exception_ptr(WithdrawnError(text));
    }
    return std::make_exception_ptr(InvocationError(kind, text));
}

} // namespace agent::spf::core
