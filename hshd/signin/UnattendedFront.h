#pragma once

#include "hshd/signin/SignInFront.h"

#include <filesystem>

namespace hshd {

/// Answers by itself, for tests that nobody attends: always the same credentials, always the same consent.
class UnattendedFront final : public SignInFront {
public:
    /// @throws std::runtime_error unless the file is an object with the texts "account" and "password" and,
    /// if it likes, the boolean "consent".
    static UnattendedFront fromFile(const std::filesystem::path& file);

    bool supportsWebRedirect() const override { return false; }
    void askCredentials(const Client&, const CredentialQuestion&, Answered answered) override {
        answered(answer_);
    }
    void askConsent(const Client&, const std::string&, Answered answered) override { answered(answer_); }
    void openAddress(const Client&, const std::string&, Shown shown) override { shown(false, {}); }
    void showCode(const Client&, const DeviceCode&, Shown shown) override {
        shown(false, "Nobody attends who could type a code.");
    }

private:
    explicit UnattendedFront(PersonsAnswer answer) : answer_(std::move(answer)) {}

    const PersonsAnswer answer_;
};

} // namespace hshd
