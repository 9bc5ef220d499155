#pragma once

#include "hshd/services/Registrations.h"
#include "hshd/signin/SignInFront.h"

#include <chrono>

namespace hshd {

/// Asks by the prompt that the requesting client has registered, a function std::string(std::string) of JSON
/// objects:
///
///     {"ask": "credentials", "message": "...", "account": "..."}   ->  {"account": "...", "password": "..."}
///     {"ask": "consent", "message": "..."}                         ->  {"consent": true}
///     {"ask": "open", "address": "https://..."}                    ->  {"shown": true}
///     {"ask": "code", "address": "https://...", "completeAddress": "https://...", "code": "WXYZ-1234",
///      "seconds": 600}                                             ->  {"shown": true}
///
/// {"problem": "..."} answers each when the person did not. A password travels once, in that answer. The last
/// two are answered at once: what is shown stays until the sign-in ends.
class PromptFront final : public SignInFront {
public:
    /// @param prompts outlives the connections of their clients.
    /// @param limit the time that the person has for one question.
    PromptFront(Registrations& prompts, std::chrono::milliseconds limit) : prompts_(prompts), limit_(limit) {}

    bool supportsWebRedirect() const override { return false; }
    void openAddress(const Client& client, const std::string& address, Shown shown) override;
    void showCode(const Client& client, const DeviceCode& code, Shown shown) override;
    void askCredentials(const Client& client, const CredentialQuestion& question, Answered answered) override;
    void askConsent(const Client& client, const std::string& message, Answered answered) override;

private:
    /// @param answered with the answer's JSON text, to be wiped; or why there is none.
    void ask(const Client& client, std::string question,
             std::function<void(std::string answer, std::string problem)> answered);

    Registrations& prompts_;
    const std::chrono::milliseconds limit_;
};

} // namespace hshd
