#pragma once

#include "hshd/identity/oidc/Discovery.h"
#include "hshd/identity/oidc/Settings.h"
#include "hshd/net/NetworkThread.h"
#include "hshd/state/LoginState.h"
#include "hshd/state/StateThread.h"

#include <memory>

namespace hshd::oidc {

/// Tells the provider of the tokens of ended sessions (RFC 7009), one after another. What it does not take is
/// told again, after 5, 10, 20 seconds and so on up to an hour, also by later daemons. On the network thread.
class Revoking {
public:
    struct Parts {
        net::NetworkThread& network;
        const Settings& settings;
        Discovery& discovery;
        LoginState& state;
        StateThread& stateThread;
    };

    explicit Revoking(const Parts& parts) : parts_(parts) {}

    /// There may be something to tell.
    void wake();

private:
    void tell(const Metadata& metadata, const Revocation& revocation);
    void done(const Revocation& revocation);
    void later(const Problem& problem);

    const Parts parts_;
    bool underWay_ = false;
    int failures_ = 0;
};

} // namespace hshd::oidc
