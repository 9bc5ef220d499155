#include "hshd/identity/accounts/AccountsProvider.h"

#include "hshd/Log.h"
#include "hshd/identity/accounts/PasswordHash.h"
#include "hshd/state/LoginState.h"

#include <atomic>
#include <utility>

namespace hshd {
namespace {

constexpr int mostTries = 3;
/// The same for a wrong name and a wrong password.
const std::string wrongText = "Wrong account name or password.";

foundation::concurrent::threadpool::Executor::Options oneThread() {
    foundation::concurrent::threadpool::Executor::Options options;
    options.minThreads = options.maxThreads = 1;
    options.name = "hshd-hashing";
    return options;
}

} // namespace

/// Asks for name and password until they are right. Its steps follow one another, on whichever thread the one
/// before ends; only cancel() may come between.
class AccountsProvider::Attempt final : public SignInAttempt, public std::enable_shared_from_this<Attempt> {
public:
    Attempt(AccountsProvider& provider, Client client, Wish wish, Done done)
        : provider_(provider), client_(std::move(client)), wish_(std::move(wish)), done_(std::move(done)) {}

    void cancel() override { ended_ = true; }

    void ask(const std::string& message) {
        // Made while the person types, or the first unknown name would take longer than a known one.
        provider_.hashing_.post([] { password::unmatchable(); });
        provider_.front_.askCredentials(
            client_, {wish_.account, message},
            [self = shared_from_this()](PersonsAnswer answer) { self->answered(std::move(answer)); });
    }

private:
    using Try = std::shared_ptr<SignInThrottle::Try>;

    void answered(PersonsAnswer answer) {
        if (!answer.problem.empty()) {
            fail(answer.problem);
            return;
        }
        if (answer.account.size() > Accounts::longestName) {
            fail("An account name has at most " + std::to_string(Accounts::longestName) + " bytes.");
            return;
        }
        auto turn = provider_.throttle_.next(answer.account);
        if (!turn)
            fail("Too many tries for this account wait already; try again in a minute.");
        else if (turn->delay().count() == 0)
            check(std::move(answer), std::move(turn));
        else
            provider_.timers_.after(turn->delay(), [self = shared_from_this(), answer = std::move(answer),
                                                    turn] { self->check(answer, turn); });
    }

    void check(PersonsAnswer answer, Try turn) {
        if (ended_)
            return;
        const bool posted = provider_.hashing_.post([self = shared_from_this(), answer = std::move(answer),
                                                     turn = std::move(turn)]() mutable {
            const Account* account = self->provider_.accounts_.find(answer.account);
            bool right = false;
            try {
                // An unknown name takes as long as a known one.
                right = password::matches(account && !account->passwordHash.empty() ? account->passwordHash
                                                                                    : password::unmatchable(),
                                          answer.password.view());
            } catch (const std::exception& error) {
                self->fail(std::string("The password could not be checked: ") + error.what() + ".");
                return;
            }
            right ? turn->succeeded() : turn->failed();
            turn.reset(); // before the next one is asked for
            self->checked(right ? account : nullptr);
        });
        if (!posted)
            fail("The daemon is shutting down.");
    }

    void checked(const Account* account) {
        if (!account) {
            logger().log(Severity::warning, "A sign-in of client " + client_->clientId() + " (process " +
                                                std::to_string(client_->pid()) +
                                                ") failed: wrong name or password");
            if (++wrong_ < mostTries && !ended_)
                ask(wrongText);
            else
                fail(wrongText);
        } else if (account->info.level < wish_.level) {
            fail("This account signs in at level " + std::to_string(static_cast<int>(account->info.level)) +
                 "; level " + std::to_string(static_cast<int>(wish_.level)) + " takes more than a password.");
        } else if (!ended_.exchange(true)) {
            done_({account->info, LoginState::newToken(), std::nullopt}, {});
        }
    }

    void fail(const std::string& problem) {
        if (!ended_.exchange(true))
            done_({}, problem);
    }

    AccountsProvider& provider_;
    const Client client_;
    const Wish wish_;
    const Done done_;
    int wrong_ = 0;
    std::atomic<bool> ended_{false};
};

AccountsProvider::AccountsProvider(Accounts accounts, SignInFront& front)
    : accounts_(std::move(accounts)), front_(front), hashing_(oneThread()) {}

std::weak_ptr<SignInAttempt> AccountsProvider::signIn(const Client& client, const Wish& wish, Done done) {
    if (accounts_.all().empty()) {
        done({}, "The daemon has nobody to sign in with; start it with --provider or --accounts.");
        return {};
    }
    const auto attempt = std::make_shared<Attempt>(*this, client, wish, std::move(done));
    attempt->ask({});
    return attempt;
}

} // namespace hshd
