#pragma once

#include "hshd/identity/Identity.h"
#include "hshd/services/Client.h"
#include "hshd/signin/SignInFront.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace hshd {

/// A sign-in under way at a provider.
class SignInAttempt {
public:
    virtual ~SignInAttempt() = default;
    /// What comes of it is of no interest any more. From any thread.
    virtual void cancel() = 0;
};

/// Who vouches for persons: a file of accounts, say, or a service on the web. Knows how they sign in there,
/// and how a session's access token is had anew. Thread-safe; blocks no thread of the caller's.
class IdentityProvider {
public:
    struct Wish {
        login::LoginInfo::Level level;
        bool again = false;  ///< who is signed in there already proves it again
        std::string account; ///< to begin with; may be empty
    };
    /// The identity and an empty text, or why not, for the person.
    using Done = std::function<void(Identity, std::string problem)>;

    virtual ~IdentityProvider() = default;

    virtual bool supportsWebRedirect() const = 0;
    /// @param client where the person is. @param done called once, on any thread, perhaps before this
    /// returns; not any more after the attempt's cancel().
    virtual std::weak_ptr<SignInAttempt> signIn(const Client& client, const Wish& wish, Done done) = 0;

    /// Has the access token of the session renewed, which has ended.
    /// @param tried called once, on any thread, at the latest at the deadline: with the new token in the
    /// state, nobody signed in any more, or neither when the provider could not be asked.
    virtual void renewToken(std::chrono::steady_clock::time_point deadline, std::function<void()> tried) = 0;
    /// The session, or who is signed in, is another one. Called after the change shows in the state.
    virtual void sessionChanged() = 0;
    /// The address at which the person ends the session at the provider as well; empty when there is none.
    virtual std::string endOfSession(const Grant& grant) const = 0;

    /// Ends what is under way, uncalled. Nothing else is called afterwards.
    virtual void stop() = 0;
};

} // namespace hshd
