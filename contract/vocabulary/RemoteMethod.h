#pragma once

#include <chrono>
#include <string_view>

namespace agent::spf::cppmsclientutils {

/// A method of a remote service: its name as the daemon publishes it, its signature as the daemon knows it,
/// and the call timeout that holds when none is configured.
template <class Signature>
struct RemoteMethod;

template <class R, class... Args>
struct RemoteMethod<R(Args...)> {
    std::string_view name;
    std::chrono::seconds timeout;
};

} // namespace agent::spf::cppmsclientutils
