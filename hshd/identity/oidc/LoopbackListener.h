#pragma once

#include "hshd/secrets/Secret.h"

#include <functional>
#include <map>
#include <memory>
#include <string>

namespace hshd::oidc {

/// Waits at this machine's loopback address, at a port that the kernel chooses, for the one request by which
/// the browser brings the provider's answer: a GET of one path with the right state, by a person's navigation
/// and not by another page's script. Everything else is refused and changes nothing; after the one nobody is
/// listened to any more. Connections are few, and bounded in time and bytes.
///
/// Has a thread of its own; thread-safe.
class LoopbackListener {
public:
    using Parameters = std::map<std::string, std::string>;

    /// @param path such as "/callback"
    /// @param came called once at most, on the listener's thread, with the request's parameters. The browser
    /// waits for answer() then, half a minute at most.
    /// @throws std::runtime_error when the machine has no loopback address to listen at.
    LoopbackListener(std::string path, Secret state, std::function<void(Parameters)> came);
    /// Closes what is open. Waits for the thread, so not from it.
    ~LoopbackListener();
    LoopbackListener(const LoopbackListener&) = delete;
    LoopbackListener& operator=(const LoopbackListener&) = delete;

    /// Where the browser is to be sent.
    const std::string& redirectUri() const noexcept { return redirectUri_; }
    /// The page that the browser gets. @param sent called on the listener's thread when it has it, or will
    /// not.
    void answer(bool signedIn, std::string text, std::function<void()> sent);

private:
    class Server;
    const std::unique_ptr<Server> server_;
    std::string redirectUri_;
};

} // namespace hshd::oidc
