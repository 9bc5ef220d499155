#include "hshd/services/Vocabulary.h"

#include "contract/calls/Errors.h"

namespace hshd::detail {
namespace {

using agent::spf::core::ErrorKind;

/// What a peer sent, short enough to send back.
std::string excerpt(const std::string& text) {
    constexpr std::size_t most = 1000;
    return text.size() <= most ? text : text.substr(0, most) + "...";
}

} // namespace

void refuseUnknown(agent::spf::transport::IncomingCall& call, const std::string& service) {
    call.fail(ErrorKind::Refused, service + " has no method `" + excerpt(call.method()) +
                                      "` (received descriptor: " + excerpt(call.descriptor()) + ")");
}

void refuseSignature(agent::spf::transport::IncomingCall& call, const std::string& service,
                     const std::string& expected) {
    call.fail(ErrorKind::Refused, "`" + call.method() + "` of " + service +
                                      " has another signature; expected descriptor: " + expected +
                                      ", received descriptor: " + excerpt(call.descriptor()));
}

} // namespace hshd::detail
