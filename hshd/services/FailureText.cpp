#include "hshd/services/FailureText.h"

#include "contract/calls/Errors.h"

namespace hshd {

std::string failureText(const std::exception_ptr& error) {
    using agent::spf::core::ErrorKind;
    try {
        std::rethrow_exception(error);
    } catch (const agent::spf::core::InvocationError& failure) {
        switch (failure.kind()) {
        case ErrorKind::Remote:
            return "it failed in the client";
        case ErrorKind::Timeout:
            return "it did not end in time";
        case ErrorKind::Disconnected:
            return "the client is gone";
        case ErrorKind::Malformed:
            return "its answer could not be read";
        case ErrorKind::Refused:
            return "the client refused the call";
        case ErrorKind::Withdrawn:
            return "the client no longer has the function";
        }
        return "the call failed";
    } catch (...) {
        return "its answer is not of the expected type";
    }
}

} // namespace hshd
