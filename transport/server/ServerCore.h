#pragma once

#include "transport/server/Complaints.h"
#include "transport/server/Descriptors.h"

#include <agent/spf/transport/Server.h>
#include <foundation/log/diagnostic_logger.h>

#include <boost/asio/io_context.hpp>

#include <atomic>
#include <list>
#include <optional>
#include <unordered_set>
#include <vector>

namespace agent::spf::transport {

class Session;

/// What a server's sessions share. Sessions that somebody still holds keep it alive after the server is gone.
/// `services`, `room`, `sessions` and `withoutHello` belong to the I/O thread; it empties them when the
/// server stops.
struct ServerCore {
    ServerOptions options;
    std::vector<OfferedService> services;
    boost::uuids::uuid generation;
    foundation::log::basic_diagnostic_logger<char> log{"transport"};
    boost::asio::io_context io{1};
    Room room{};
    std::optional<Complaints> complaints; // while the server runs; the I/O thread's
    std::unordered_set<std::shared_ptr<Session>> sessions;
    std::list<Session*> withoutHello;                  // the oldest first; each is one of the sessions
    std::atomic<std::size_t> waitingCallbackBytes = 0; // of all sessions
    std::atomic<std::size_t> queuedBytes = 0;          // of all sessions
    std::size_t givenUpBytes = 0;                      // by sessions that closed; the I/O thread's
};

} // namespace agent::spf::transport
