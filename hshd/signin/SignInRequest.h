#pragma once

#include "hshd/signin/InteractiveRequest.h"

#include <foundation/concurrent/threadpool/Executor.h>

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
    /// What only sign-ins work with; outlives them.
    struct Checking {
        SignInThrottle& throttle;
        Timers& timers;
        foundation::concurrent::threadpool::Executor& hashing; ///< of one thread: a check takes memory
    };
    /// With the identity and an empty text, or the empty identity and why not.
    using Done = std::function<void(login::LoginInfo, std::string error)>;

    /// @param done called once, with no lock held, on any thread.
    SignInRequest(const InteractiveParts& parts, const Checking& checking, Client client, Wish wish,
                  Done done)
        : parts_(parts), checking_(checking), client_(std::move(client)), wish_(std::move(wish)),
          done_(std::move(done)) {}

    void start() override;
    void cancel(const std::string& text) override { finish(text); }

private:
    void ask(const std::string& message);
    void answered(PersonsAnswer answer);
    using Try = std::shared_ptr<SignInThrottle::Try>;
    void check(PersonsAnswer answer, Try turn);
    void checked(const Account* account);
    void signIn(login::LoginInfo info);
    void finish(const std::string& error);

    const InteractiveParts parts_;
    const Checking checking_;
    const Client client_;
    const Wish wish_;
    const Done done_;
    int wrong_ = 0;
    std::atomic<bool> ended_{false};
};

} // namespace hshd
