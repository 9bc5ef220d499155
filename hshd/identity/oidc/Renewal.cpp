#include "hshd/identity/oidc/Renewal.h"

#include "contract/records/Utf.h"
#include "hshd/Log.h"
#include "hshd/identity/oidc/IdToken.h"

#include <algorithm>
#include <utility>

namespace hshd::oidc {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr milliseconds earliest{60'000}; // ahead of the end; a fifth of a shorter life
constexpr seconds longestPause{60};
constexpr seconds longestRetryAfter{900};

milliseconds pauseAfter(int failures) {
    return std::min<milliseconds>(longestPause, seconds(1) * (1 << std::min(failures, 6)));
}

} // namespace

void Renewal::sessionChanged() {
    const auto session = parts_.state.signedIn();
    const bool ours = session && session->grant && session->grant->provider == parts_.settings.name();
    if (session && session->grant && !ours)
        endSession(*session, "it is one of another provider or client: " + session->grant->provider);
    const auto id = ours ? session->sessionId : std::string();
    if (id == sessionId_)
        return;
    sessionId_ = id;
    failures_ = 0;
    notBefore_ = {};
    unsaved_.reset();
    ++schedules_;
    if (ours)
        scheduleAhead();
    else
        release();
}

void Renewal::renew(std::chrono::steady_clock::time_point deadline, Tried tried) {
    if (!ended() || sessionId_.empty()) {
        tried();
        return;
    }
    const auto waiting = std::make_shared<const Tried>(std::move(tried));
    waiting_.push_back(waiting);
    const auto left = std::chrono::duration_cast<milliseconds>(deadline - std::chrono::steady_clock::now());
    parts_.network.after(left, [this, weak = std::weak_ptr(waiting)] {
        if (const auto late = weak.lock()) {
            waiting_.remove(late);
            (*late)();
        }
    });
    if (!underWay_ && BootClock::now() < notBefore_)
        release();
    else
        attempt();
}

bool Renewal::ended() const {
    return parts_.state.accessToken(LoginState::Level::None).status ==
           static_cast<std::int32_t>(TokenStatus::Ended);
}

void Renewal::schedule(BootClock::duration delay) {
    parts_.network.after(delay, [this, number = ++schedules_] {
        if (number == schedules_)
            attempt();
    });
}

void Renewal::scheduleAhead() {
    const auto session = parts_.state.signedIn();
    if (!session || !session->grant)
        return;
    const auto& grant = *session->grant;
    // Without a refresh token there is nothing to be done before the end.
    const auto ahead =
        grant.refreshToken ? std::min(earliest, (grant.ends - grant.begins) / 5) : milliseconds(0);
    schedule(std::max(milliseconds(0), grant.ends - ahead - BootClock::now()));
}

void Renewal::attempt() {
    const auto session = parts_.state.signedIn();
    if (underWay_ || !session || !session->grant || session->sessionId != sessionId_)
        return;
    underWay_ = true;
    if (unsaved_) {
        save(*unsaved_);
    } else if (!session->grant->refreshToken) {
        underWay_ = false;
        endSession(*session, "its access token has ended, and the provider gave no refresh token");
    } else {
        parts_.discovery.metadata([this](const auto& outcome) {
            if (const auto* problem = std::get_if<Problem>(&outcome))
                failed(*problem);
            else
                ask(std::get<0>(outcome));
        });
    }
}

void Renewal::ask(const std::shared_ptr<const Metadata>& metadata) {
    const auto session = parts_.state.signedIn();
    if (!session || !session->grant || session->sessionId != sessionId_) {
        underWay_ = false;
        release();
        return;
    }
    const auto& token = session->grant->refreshToken;
    exchange_.run(clientRequest(parts_.settings, metadata->tokenEndpoint,
                                {{"grant_type", "refresh_token"},
                                 {"refresh_token", token.view()},
                                 {"resource", parts_.settings.resource}}),
                  token, [this, session](const net::HttpAnswer& answer, BootClock::time_point asked) {
                      answered(*session, answer, asked);
                  });
}

void Renewal::answered(const SignedIn& session, const net::HttpAnswer& answer, BootClock::time_point asked) {
    auto outcome = readTokens(answer, asked);
    if (const auto* problem = std::get_if<Problem>(&outcome)) {
        if (problem->error == "invalid_grant") {
            underWay_ = false;
            endSession(session, problem->text);
        } else {
            exchange_.forget(); // it is asked again, with the same token
            failed(*problem);
        }
        return;
    }
    const auto& tokens = std::get<0>(outcome);
    const auto& former = *session.grant;
    if (tokens.id && claimOf(tokens.id.view(), "sub") != claimOf(former.idToken.view(), "sub")) {
        underWay_ = false;
        endSession(session, "the provider gave tokens of another person");
        return;
    }
    save({session.sessionId, login::AccessToken(std::string(tokens.access.view())),
          Grant{former.provider, tokens.refresh ? tokens.refresh : former.refreshToken, former.idToken,
                tokens.begins, tokens.ends}});
}

void Renewal::save(Renewed renewed) {
    unsaved_ = renewed;
    const bool posted = parts_.stateThread.post([this, renewed = std::move(renewed)] {
        bool done = true;
        try {
            parts_.state.renew(renewed.sessionId, renewed.token, renewed.grant);
        } catch (const std::exception&) {
            done = false; // the state has logged why
        }
        parts_.network.post([this, done] { saved(done); });
    });
    if (!posted)
        failed({Problem::Kind::Later, "the daemon is shutting down", {}, {}});
}

void Renewal::saved(bool done) {
    if (!done) {
        failed({Problem::Kind::Later, "the new token cannot be saved", {}, {}});
        return;
    }
    exchange_.forget();
    unsaved_.reset();
    underWay_ = false;
    failures_ = 0;
    notBefore_ = {};
    release();
    scheduleAhead();
}

void Renewal::endSession(const SignedIn& session, const std::string& reason) {
    logger().log(Severity::warning, "The session of `" + login::toUtf8(session.info.displayName) +
                                        "` has ended: " + reason + ". The person has to sign in again.");
    parts_.stateThread.post([this, id = session.sessionId] {
        try {
            parts_.state.endSession(id);
        } catch (const std::exception&) {
            // The state has logged why; the next start tries again.
        }
        parts_.network.post([this] {
            exchange_.forget();
            sessionChanged();
            release();
        });
    });
}

void Renewal::failed(const Problem& problem) {
    underWay_ = false;
    const auto pause = problem.retryAfter ? milliseconds(std::min(*problem.retryAfter, longestRetryAfter))
                                          : pauseAfter(failures_);
    notBefore_ = BootClock::now() + pause;
    logger().log(failures_++ == 0 ? Severity::warning : Severity::info,
                 "The access token could not be renewed: " + problem.text + ". Tried again in " +
                     std::to_string(pause.count() / 1000) + " s; until its end the old one serves.");
    schedule(pause);
    release();
}

void Renewal::release() {
    auto released = std::exchange(waiting_, {});
    for (const auto& tried : released)
        (*tried)();
}

} // namespace hshd::oidc
