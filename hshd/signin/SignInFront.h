#pragma once

#include "hshd/secrets/Secret.h"
#include "hshd/services/Client.h"

#include <chrono>
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

/// What a person types on another device, and where.
struct DeviceCode {
    std::string address;         ///< to be typed
    std::string completeAddress; ///< with the code in it, for a picture; may be empty
    std::string code;
    std::chrono::seconds lasts{};
};

/// How the person at a client is asked: in a terminal, say, in a browser or in a dialog. Thread-safe; never
/// blocks. What is given to be called is called once, on any thread, at the latest when the front's time
/// limit is over.
class SignInFront {
public:
    using Answered = std::function<void(PersonsAnswer)>;
    /// Whether it could be shown. @param problem why not, when that ends the sign-in; else empty
    using Shown = std::function<void(bool shown, std::string problem)>;

    virtual ~SignInFront() = default;

    virtual bool supportsWebRedirect() const = 0;
    virtual void askCredentials(const Client& client, const CredentialQuestion& question,
                                Answered answered) = 0;
    /// Whether to go on, though somebody objects.
    virtual void askConsent(const Client& client, const std::string& message, Answered answered) = 0;
    /// Opens an address in the person's browser, where there is one.
    virtual void openAddress(const Client& client, const std::string& address, Shown shown) = 0;
    /// Shows a code until the sign-in ends.
    virtual void showCode(const Client& client, const DeviceCode& code, Shown shown) = 0;
};

} // namespace hshd
