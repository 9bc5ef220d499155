#pragma once

#include <agent/spf/transport/Server.h>

#include <memory>

namespace hshd {

using Call = std::shared_ptr<agent::spf::transport::IncomingCall>;
using Client = std::shared_ptr<agent::spf::transport::ClientSession>;

/// What clients leave behind, and what ends with their connection.
class EndsWithClient {
public:
    /// Idempotent: several services may tell of the same client.
    virtual void clientGone(const Client& client) = 0;

protected:
    ~EndsWithClient() = default;
};

} // namespace hshd
