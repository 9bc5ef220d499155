#pragma once

#include <chrono>
#include <cstddef>

namespace agent::spf::transport {

/// What either end accepts from the other. Over a limit the offender gets a clear error or is disconnected;
/// nobody else notices.
struct Limits {
    std::size_t frameBytes = 1U << 20U;
    int nesting = 16;
    std::size_t slots = 64;    ///< per payload
    std::size_t methods = 512; ///< that a connection knows by a number; others travel with their texts
    std::size_t pendingCallsPerConnection = 1024;
    std::size_t callbacksPerConnection = 10'000;
    std::size_t waitingCallbackBytesPerConnection = 32U << 20U; ///< of callbacks that wait for their turn
    std::size_t waitingCallbackBytes = 128U << 20U;             ///< of those to all clients together
    std::size_t queuedBytesPerConnection = 8U << 20U; ///< written by us and not yet read by the peer
    std::size_t queuedBytes = 64U << 20U;             ///< the same for all connections of a server together
    std::size_t connections = 1024;                   ///< that have said hello
    std::size_t connectionsWithoutHello = 128;        ///< beside those; over this the oldest is closed
    std::chrono::milliseconds complaintInterval{60'000};   ///< a peer that misbehaves gets one log line in it
    std::chrono::milliseconds helloTimeout{5'000};         ///< a connected peer must have said hello by then
    std::chrono::milliseconds defaultCallTimeout{130'000}; ///< for calls that bring none
};

} // namespace agent::spf::transport
