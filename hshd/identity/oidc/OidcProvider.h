#pragma once

#include "hshd/identity/IdentityProvider.h"
#include "hshd/identity/oidc/Discovery.h"
#include "hshd/identity/oidc/Renewal.h"
#include "hshd/identity/oidc/Revoking.h"
#include "hshd/identity/oidc/Settings.h"
#include "hshd/net/NetworkThread.h"
#include "hshd/secrets/Vault.h"
#include "hshd/state/LoginState.h"
#include "hshd/state/StateThread.h"

#include <chrono>
#include <filesystem>

namespace hshd::oidc {

/// An OpenID Connect provider: people sign in in their browser or by a code on another device, sessions have
/// its tokens, which are renewed, and revoked when the session ends.
class OidcProvider final : public IdentityProvider {
public:
    struct Parts {
        LoginState& state;
        StateThread& stateThread;
        SignInFront& front;
        std::filesystem::path directory; ///< of the state
        const Vault& vault;
        std::filesystem::path program; ///< hshd
        std::chrono::milliseconds signInLimit;
    };

    /// @param parts outlive it.
    OidcProvider(Settings settings, const Parts& parts);
    ~OidcProvider() override;

    bool supportsWebRedirect() const override { return true; }
    std::weak_ptr<SignInAttempt> signIn(const Client& client, const Wish& wish, Done done) override;
    void renewToken(std::chrono::steady_clock::time_point deadline, std::function<void()> tried) override;
    void sessionChanged() override;
    std::string endOfSession(const Grant& grant) const override;
    void stop() override { network_.stop(); }

private:
    const Settings settings_;
    const Parts parts_;
    net::NetworkThread network_; // stopped before the others end
    Discovery discovery_;
    Renewal renewal_;
    Revoking revoking_;
};

/// Asks the provider what it offers, and tells in plain words what fits, and what does not.
/// @return the exit code: 0 when people can sign in
int checkProvider(const std::filesystem::path& file);

} // namespace hshd::oidc
