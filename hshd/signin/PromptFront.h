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
///
/// {"problem": "..."} answers either when the person did not. A password travels once, in that answer.
class PromptFront final : public SignInFront {
public:
    /// @param prompts outlives the connections of their clients.
    /// @param limit the time that the person has for one question.
    PromptFront(Registrations& prompts, std::chrono::milliseconds limit) : prompts_(prompts), limit_(limit) {}

    bool supportsWebRedirect() const override { return false; }
    void askCredentials(const Client& client, const CredentialQuestion& question, Answered answered) override;
    void askConsent(const Client& client, const std::string& message, Answered answered) override;

private:
    void ask(const Client& client, std::string question, const Answered& answered);

    Registrations& prompts_;
    const std::chrono::milliseconds limit_;
};

} // namespace hshd
