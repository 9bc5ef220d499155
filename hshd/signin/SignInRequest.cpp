#include "hshd/signin/SignInRequest.h"

#include "contract/calls/Errors.h"
#include "hshd/Log.h"
#include "hshd/identity/accounts/PasswordHash.h"

#include <utility>

namespace hshd {
namespace {

constexpr int mostTries = 3;
/// The same for a wrong name and a wrong password.
const std::string wrongText = "Wrong account name or password.";

} // namespace

void SignInRequest::start() {
    auto present = parts_.state.loginInfo(wish_.level);
    if (!wish_.askAlways && present.level >= wish_.level && present.level > LoginState::Level::None) {
        if (!ended_.exchange(true))
            done_(std::move(present), {});
    } else if (parts_.state.signInVetoed()) {
        finish("Signing in is vetoed at present.");
    } else if (parts_.accounts.all().empty()) {
        finish("The daemon has no accounts to sign in with; start it with --accounts.");
    } else {
        ask({});
    }
}

void SignInRequest::ask(const std::string& message) {
    // Made while the person types, or the first unknown name would take longer than a known one.
    checking_.hashing.post([] { password::unmatchable(); });
    parts_.front.askCredentials(
        client_, {wish_.account, message},
        [self = shared_from_this()](PersonsAnswer answer) { self->answered(std::move(answer)); });
}

void SignInRequest::answered(PersonsAnswer answer) {
    if (!answer.problem.empty()) {
        finish(answer.problem);
        return;
    }
    if (answer.account.size() > Accounts::longestName) {
        finish("An account name has at most " + std::to_string(Accounts::longestName) + " bytes.");
        return;
    }
    auto turn = checking_.throttle.next(answer.account);
    if (!turn)
        finish("Too many tries for this account wait already; try again in a minute.");
    else if (turn->delay().count() == 0)
        check(std::move(answer), std::move(turn));
    else
        checking_.timers.after(turn->delay(), [self = shared_from_this(), answer = std::move(answer), turn] {
            self->check(answer, turn);
        });
}

void SignInRequest::check(PersonsAnswer answer, Try turn) {
    if (ended_)
        return;
    const bool posted = checking_.hashing.post(
        [self = shared_from_this(), answer = std::move(answer), turn = std::move(turn)]() mutable {
            const Account* account = self->parts_.accounts.find(answer.account);
            bool right = false;
            try {
                // An unknown name takes as long as a known one.
                right = password::matches(account && !account->passwordHash.empty() ? account->passwordHash
                                                                                    : password::unmatchable(),
                                          answer.password.text());
            } catch (const std::exception& error) {
                self->finish(std::string("The password could not be checked: ") + error.what() + ".");
                return;
            }
            right ? turn->succeeded() : turn->failed();
            turn.reset(); // before the next one is asked for
            self->checked(right ? account : nullptr);
        });
    if (!posted)
        finish("The daemon is shutting down.");
}

void SignInRequest::checked(const Account* account) {
    if (!account) {
        logger().log(Severity::warning, "A sign-in of client " + client_->clientId() + " (process " +
                                            std::to_string(client_->pid()) +
                                            ") failed: wrong name or password");
        if (++wrong_ < mostTries && !ended_)
            ask(wrongText);
        else
            finish(wrongText);
        return;
    }
    if (account->info.level < wish_.level)
        finish("This account signs in at level " + std::to_string(static_cast<int>(account->info.level)) +
               "; level " + std::to_string(static_cast<int>(wish_.level)) + " takes more than a password.");
    else
        signIn(account->info);
}

void SignInRequest::signIn(login::LoginInfo info) {
    const bool posted = parts_.stateThread.post([self = shared_from_this(), info = std::move(info)] {
        if (self->ended_.exchange(true))
            return; // aborted: nothing is changed
        try {
            self->parts_.state.signIn(info, self->wish_.remember);
        } catch (const agent::spf::core::InvocationError& error) {
            self->done_({}, error.what());
            return;
        }
        self->done_(info, {});
    });
    if (!posted)
        finish("The daemon is shutting down.");
}

void SignInRequest::finish(const std::string& error) {
    if (!ended_.exchange(true))
        done_({}, error);
}

} // namespace hshd
