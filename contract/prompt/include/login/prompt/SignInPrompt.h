#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace login::prompt {

struct Credentials {
    std::string account;
    std::string password; ///< overwritten once it has been sent
};

/// What the person types on another device, and where.
struct DeviceCode {
    std::string address;         ///< to be typed, on any device with a browser
    std::string completeAddress; ///< with the code in it, for a link or a QR code; may be empty
    std::string code;
    std::chrono::seconds lasts{}; ///< from now
};

/// How an application asks the person for a sign-in or sign-out that it has requested: an application derives
/// from it and offers it by a PromptOffer.
///
/// The functions are called on threads of callbacks, one at a time. The first two may take as long as the
/// person does, and return at once after cancel(); the others show something and return. Texts come from the
/// daemon and the identity provider: show them as texts, never as markup or terminal codes. An exception
/// counts as "could not be shown" and ends the sign-in.
class SignInPrompt {
public:
    virtual ~SignInPrompt() = default;

    /// Asks for account and password. Nothing: the person cancelled.
    /// @param message to be shown above; may be empty. @param account filled in already; may be empty
    virtual std::optional<Credentials> askCredentials(const std::string& message,
                                                      const std::string& account) = 0;
    /// Whether to sign out though somebody objects, as the message says. Nothing: the person cancelled.
    virtual std::optional<bool> askConsent(const std::string& message) = 0;
    /// Opens the provider's page in the person's browser. @return false when there is no browser: the person
    /// is then given a code. @see openInBrowser
    virtual bool openAddress(const std::string& address) = 0;
    /// Shows a code, until the outcome of the request comes. @return false when it cannot: the sign-in fails.
    virtual bool showCode(const DeviceCode& code) = 0;
    /// The question that is being asked is of no interest any more, nor are later ones. From any thread.
    virtual void cancel() noexcept {}
};

/// Opens an https address (or one of http on this machine) in the desktop's browser, by the program xdg-open,
/// which asks the desktop's portal where there is one. Never through a shell. Waits two seconds at most.
/// @return false without a desktop, in a remote session, without the program, when it fails, and for any
/// other address. Thread-safe.
bool openInBrowser(const std::string& address) noexcept;

} // namespace login::prompt
