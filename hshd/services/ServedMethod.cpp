#include "hshd/services/ServedMethod.h"

#include "contract/calls/Errors.h"
#include "hshd/Log.h"

#include <exception>
#include <typeinfo>

namespace hshd::detail {

using agent::spf::core::ErrorKind;
using agent::spf::core::InvocationError;
using agent::spf::core::MalformedError;
using agent::spf::transport::IncomingCall;

void failWithCurrentException(IncomingCall& call) {
    try {
        throw;
    } catch (const InvocationError& error) {
        call.fail(error.kind(), error.what());
    } catch (const std::exception& error) {
        // The text may be anybody's, so only the log of this process learns of it, and only of its type.
        logger().log(Severity::severe,
                     "`" + call.method() + "` failed unexpectedly: " + typeid(error).name());
        call.fail(ErrorKind::Remote, "`" + call.method() + "` failed in the daemon; its log has more");
    }
}

void checkArgumentCount(IncomingCall& call, std::size_t count) {
    if (call.arguments().size() != count)
        throw MalformedError("`" + call.method() + "` takes " + std::to_string(count) + " arguments, " +
                             std::to_string(call.arguments().size()) + " came");
}

void failArgument(IncomingCall& call, std::size_t index) {
    throw MalformedError("argument " + std::to_string(index) + " of `" + call.method() +
                         "` is not of the type that its descriptor says");
}

} // namespace hshd::detail
