#pragma once

#include "hshd/Timers.h"
#include "hshd/identity/IdentityProvider.h"
#include "hshd/identity/accounts/Accounts.h"
#include "hshd/identity/accounts/SignInThrottle.h"

#include <foundation/concurrent/threadpool/Executor.h>

namespace hshd {

/// The accounts of a file, with passwords. For development and tests: its access tokens are random texts that
/// nobody else knows, and last as long as the session.
class AccountsProvider final : public IdentityProvider {
public:
    /// @param front outlives it.
    AccountsProvider(Accounts accounts, SignInFront& front);

    bool supportsWebRedirect() const override { return front_.supportsWebRedirect(); }
    /// The person has three tries.
    std::weak_ptr<SignInAttempt> signIn(const Client& client, const Wish& wish, Done done) override;
    void renewToken(std::chrono::steady_clock::time_point, std::function<void()> tried) override { tried(); }
    void sessionChanged() override {}
    std::string endOfSession(const Grant&) const override { return {}; }
    /// Waits for the thread that checks passwords.
    void stop() override { hashing_.stop(); }

private:
    class Attempt;

    const Accounts accounts_;
    SignInFront& front_;
    SignInThrottle throttle_;
    Timers timers_;
    foundation::concurrent::threadpool::Executor
        hashing_; ///< of one thread: a check takes memory. Ends first
};

} // namespace hshd
