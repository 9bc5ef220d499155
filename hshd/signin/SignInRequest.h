#pragma once

#include "hshd/signin/InteractiveRequest.h"

#include <atomic>
#include <functional>
#include <memory>
#include <string>

namespace hshd {

/// One sign-in, from the question to the change of state.
class SignInRequest final : public InteractiveRequest, public std::enable_shared_from_this<SignInRequest> {
public:
    struct Wish {
        LoginState::Level level;
        bool remember = false;
        bool askAlways = false; ///< also who is signed in at that level already
        std::string account;    ///< for the question; may be empty
    };
    /// With the identity and an empty text, or the empty identity and why not.
    using Done = std::function<void(login::LoginInfo, std::string error)>;

    /// @param done called once, with no lock held, on any thread.
    SignInRequest(const InteractiveParts& parts, Client client, Wish wish, Done done)
        : parts_(parts), client_(std::move(client)), wish_(std::move(wish)), done_(std::move(done)) {}

    void start() override;
    /// On the thread of start().
    void cancel(const std::string& text) override;

private:
    void signIn(Identity identity);
    void abandon(const Identity& identity);
    void finish(const std::string& error);

    const InteractiveParts parts_;
    const Client client_;
    const Wish wish_;
    const Done done_;
    std::weak_ptr<SignInAttempt> attempt_;
    std::atomic<bool> ended_{false};
};

} // namespace hshd
