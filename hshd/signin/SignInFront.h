#pragma once

#include "hshd/secrets/Secret.h"
#include "hshd/services/Client.h"

#include <functional>
#include <string>

namespace hshd {

/// What the person is asked for a sign-in.
struct CredentialQuestion {
    std::string account; ///< filled in already; may be empty
    std::string message; ///< shown above the question; may be empty
};

/// What came of asking the person.
struct PersonsAnswer {
    std::string problem; ///< why there is no answer, for the person; empty when there is one
    std::string account;
    Secret password;
    bool consent = false;
};

/// How the person at a client is asked: in a terminal, say, on a web page or in a dialog. Thread-safe; never
/// blocks.
class SignInFront {
public:
    using Answered = std::function<void(PersonsAnswer)>;

    virtual ~SignInFront() = default;

    virtual bool supportsWebRedirect() const = 0;
    /// @param answered called once, on any thread, at the latest when the front's time limit is over.
    virtual void askCredentials(const Client& client, const CredentialQuestion& question,
                                Answered answered) = 0;
    /// Whether to go on, though somebody objects.
    virtual void askConsent(const Client& client, const std::string& message, Answered answered) = 0;
};

} // namespace hshd
