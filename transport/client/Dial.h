#pragma once

#include "transport/wire/FrameBuffer.h"

#include <agent/spf/transport/Limits.h>
#include <foundation/unique_fd.h>

#include <boost/uuid/uuid.hpp>

#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <sys/types.h>
#include <vector>

namespace agent::spf::transport {

/// A daemon that has said welcome.
struct Dialled {
    struct Service {
        std::string name;
        int version;
        int revision;
        int ranking;
    };

    std::shared_ptr<const foundation::UniqueFd> socket; // in blocking mode
    wire::FrameBuffer buffer;                           // may hold what came after the welcome
    boost::uuids::uuid generation;
    std::size_t peerFrameBytes;
    std::size_t methods; // that the daemon knows by a number
    std::vector<Service> services;
};

/// No connection, and why, for people.
class DialError : public std::runtime_error {
public:
    DialError(const std::string& text, bool nobodyThere)
        : std::runtime_error(text), nobodyThere_(nobodyThere) {}
    /// There is no socket, so only a change in the directory can help. Otherwise trying again later may.
    bool nobodyThere() const noexcept { return nobodyThere_; }

private:
    bool nobodyThere_;
};

/// Connects and exchanges hello and welcome; blocks for Limits::helloTimeout at most.
/// @param cancel a descriptor that ends the attempt when it becomes readable.
/// @param onReached told the process that listens at the socket, before it has said anything.
/// @throws DialError
Dialled dial(const std::filesystem::path& directory, const std::string& clientId, const Limits& limits,
             int cancel, const std::function<void(pid_t process)>& onReached);

} // namespace agent::spf::transport
