#include "hshd/signin/SignInRequest.h"

#include "contract/calls/Errors.h"

#include <utility>

namespace hshd {

void SignInRequest::start() {
    auto present = parts_.state.loginInfo(wish_.level);
    if (!wish_.askAlways && present.level >= wish_.level && present.level > LoginState::Level::None) {
        if (!ended_.exchange(true))
            done_(std::move(present), {});
    } else if (parts_.state.signInVetoed()) {
        finish("Signing in is vetoed at present.");
    } else {
        attempt_ = parts_.provider.signIn(
            client_, {wish_.level, wish_.askAlways, wish_.account},
            [self = shared_from_this()](Identity identity, const std::string& problem) {
                problem.empty() ? self->signIn(std::move(identity)) : self->finish(problem);
            });
    }
}

void SignInRequest::cancel(const std::string& text) {
    if (const auto attempt = attempt_.lock())
        attempt->cancel();
    finish(text);
}

void SignInRequest::signIn(Identity identity) {
    const bool posted = parts_.stateThread.post([self = shared_from_this(), identity = std::move(identity)] {
        if (self->ended_.exchange(true)) { // aborted: nobody is signed in
            self->abandon(identity);
            return;
        }
        try {
            self->parts_.state.signIn(identity, self->wish_.remember);
        } catch (const agent::spf::core::InvocationError& error) {
            self->abandon(identity);
            self->done_({}, error.what());
            return;
        }
        self->done_(identity.info, {});
    });
    if (!posted)
        finish("The daemon is shutting down.");
}

void SignInRequest::abandon(const Identity& identity) {
    try {
        parts_.state.abandon(identity);
        parts_.provider.sessionChanged();
    } catch (const agent::spf::core::InvocationError&) {
        // The state cannot be saved, which is in the log: the provider keeps tokens that nobody has.
    }
}

void SignInRequest::finish(const std::string& error) {
    if (!ended_.exchange(true))
        done_({}, error);
}

} // namespace hshd
