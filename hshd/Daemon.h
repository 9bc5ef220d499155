#pragma once

#include "hshd/Options.h"
#include "hshd/identity/IdentityProvider.h"
#include "hshd/services/InteractiveService.h"
#include "hshd/services/LoginServiceV1.h"
#include "hshd/services/LoginServiceV2.h"
#include "hshd/services/Registrations.h"
#include "hshd/services/StatusNotifier.h"
#include "hshd/state/LoginState.h"
#include "hshd/state/StateStore.h"
#include "hshd/state/StateThread.h"

#include <agent/spf/transport/Server.h>

#include <filesystem>
#include <memory>

namespace hshd {

/// A whole daemon in one process: the state, the services and the server that offers them. Used by one
/// thread.
class Daemon {
public:
    /// Reads the accounts, opens the state and signs in the account that the options name.
    /// @throws std::runtime_error saying what to do.
    explicit Daemon(const Options& options);
    /// Stops.
    ~Daemon();

    /// Clients may connect when this returns. @throws std::runtime_error saying what to do.
    void start();
    /// Disconnects the clients and finishes the changes under way. Idempotent.
    void stop();

    std::filesystem::path socketPath() const { return server_.socketPath(); }

private:
    struct Prepared;
    Daemon(const Options& options, Prepared prepared);
    LoginOperations::Parts loginParts(const Options& options);
    std::unique_ptr<IdentityProvider> makeProvider(const Options& options, Prepared&& prepared);

    // In the order of use: each is destroyed before those it uses.
    StateStore store_;
    const std::unique_ptr<Registrations> prompts_;
    const std::unique_ptr<SignInFront> front_;
    Registrations statusListeners_;
    Registrations negotiators_;
    StatusNotifier notifier_;
    LoginState state_;
    StateThread stateThread_;
    std::unique_ptr<IdentityProvider> provider_; // told of changes of the state, once made
    std::shared_ptr<LoginServiceV2> loginServiceV2_;
    std::shared_ptr<InteractiveService> interactiveService_;
    std::shared_ptr<LoginServiceV1> loginServiceV1_;
    agent::spf::transport::Server server_;
};

} // namespace hshd
