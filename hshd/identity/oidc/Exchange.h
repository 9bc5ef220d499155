#pragma once

#include "hshd/identity/oidc/Problem.h"
#include "hshd/net/NetworkThread.h"
#include "hshd/secrets/Vault.h"

#include <filesystem>
#include <functional>
#include <string>

namespace hshd::oidc {

/// Exchanges a refresh token for others so that the answer is kept whatever becomes of the daemon. Many
/// providers take a refresh token once, and end the session when it comes a second time: an answer that is
/// lost would be the session. So a process of its own asks, which a daemon's end does not end; it puts the
/// answer on the disk, sealed, before it tells it. The next daemon waits for it, and finds it.
///
/// On the network thread.
class Exchange {
public:
    struct Parts {
        net::NetworkThread& network;
        std::filesystem::path program;   ///< hshd
        std::filesystem::path directory; ///< of the state
        const Vault& vault;
    };
    /// @param asked when the request was made, perhaps by a former daemon.
    using Done = std::function<void(const net::HttpAnswer& answer, BootClock::time_point asked)>;

    explicit Exchange(Parts parts) : parts_(std::move(parts)) {}

    /// One at a time. @param refreshToken the one in the request: what is kept is its answer. @param done
    /// called once.
    void run(const net::HttpRequest& request, const Secret& refreshToken, const Done& done);
    /// The answer is in the state now.
    void forget() const;

private:
    /// The answer that was kept for the token.
    bool findKept(const std::string& about, const Done& done) const;
    void start(const net::HttpRequest& request, const std::string& about, int lock, const Done& done);

    const Parts parts_;
};

/// What the process does that Exchange starts: takes its task from the standard input and answers on the
/// standard output. @return the exit code
int runExchange();

} // namespace hshd::oidc
