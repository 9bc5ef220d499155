#pragma once

#include "hshd/identity/oidc/Discovery.h"
#include "hshd/identity/oidc/Exchange.h"
#include "hshd/identity/oidc/Settings.h"
#include "hshd/identity/oidc/Tokens.h"
#include "hshd/net/NetworkThread.h"
#include "hshd/state/LoginState.h"
#include "hshd/state/StateThread.h"

#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>

namespace hshd::oidc {

/// Keeps the session's access token good: has it renewed ahead of its end, and when somebody asks after it.
/// One renewal at a time, whoever asks. A new token is given to nobody before its refresh token is on the
/// disk.
///
/// What the network does to it ends no session: the old token serves while it lasts, and the next try comes
/// when the provider said, or after 1, 2, 4 seconds and so on up to a minute. A session ends when the
/// provider says that it has (invalid_grant), or tells of another person, or when there is nothing to renew
/// it with.
///
/// On the network thread.
class Renewal {
public:
    struct Parts {
        net::NetworkThread& network;
        const Settings& settings;
        Discovery& discovery;
        LoginState& state;
        StateThread& stateThread;
    };

    Renewal(const Parts& parts, Exchange::Parts exchange) : parts_(parts), exchange_(std::move(exchange)) {}

    /// It is another session, or none.
    void sessionChanged();
    /// @see IdentityProvider::renewToken
    void renew(std::chrono::steady_clock::time_point deadline, std::function<void()> tried);

private:
    using Tried = std::function<void()>;
    struct Renewed {
        std::string sessionId;
        login::AccessToken token;
        Grant grant;
    };

    bool ended() const;
    /// The next try, unless something changes before it.
    void schedule(BootClock::duration delay);
    void scheduleAhead();
    void attempt();
    void ask(const std::shared_ptr<const Metadata>& metadata);
    void answered(const SignedIn& session, const net::HttpAnswer& answer, BootClock::time_point asked);
    void save(Renewed renewed);
    void saved(bool done);
    void endSession(const SignedIn& session, const std::string& reason);
    void failed(const Problem& problem);
    void release();

    const Parts parts_;
    Exchange exchange_;
    std::string sessionId_; ///< empty: none that is renewed here
    bool underWay_ = false;
    std::optional<Renewed> unsaved_; ///< the disk would not take it
    std::list<std::shared_ptr<const Tried>> waiting_;
    std::uint64_t schedules_ = 0; ///< the last one counts
    int failures_ = 0;
    BootClock::time_point notBefore_{};
};

} // namespace hshd::oidc
