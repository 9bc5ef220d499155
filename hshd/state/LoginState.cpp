#include "hshd/state/LoginState.h"

#include "contract/calls/Errors.h"
#include "contract/records/NotifierUuid.h"
#include "hshd/Log.h"

#include <algorithm>
#include <sstream>
#include <utility>

namespace hshd {
namespace {

using agent::spf::core::RemoteError;
using Level = LoginState::Level;

std::string newUuidText() {
    return login::detail::uuidText(login::detail::createUuid());
}

bool holds(const std::optional<SignedIn>& signedIn, Level asked) {
    return signedIn && signedIn->info.level > Level::None && signedIn->info.level >= asked;
}

login::LoginInfo identity(const PersistentState& state) {
    return state.signedIn ? state.signedIn->info : login::LoginInfo();
}

std::string sessionOf(const PersistentState& state) {
    return state.signedIn ? state.signedIn->sessionId : std::string();
}

void refuseWhenVetoed(const PersistentState& state) {
    if (state.signInVetoed)
        throw RemoteError("sign-in is vetoed; lift the veto with vetoSignIn(false) first");
}

void addRevocations(PersistentState& next, const Grant& grant, const login::AccessToken& token) {
    constexpr std::size_t most = 32; // of them the oldest go: their providers have not answered for days
    if (grant.refreshToken)
        next.revocations.push_back({grant.provider, grant.refreshToken, true});
    next.revocations.push_back({grant.provider, Secret(token.getTokenString()), false});
    while (next.revocations.size() > most)
        next.revocations.erase(next.revocations.begin());
}

/// What the former session's provider is to be told of. A session of the same person there takes the place of
/// the former one by itself: some providers count both as one, and revoking the old would end the new.
void revokeFormer(PersistentState& next, const PersistentState& previous) {
    if (!previous.signedIn || !previous.signedIn->grant)
        return;
    const auto& former = *previous.signedIn;
    if (next.signedIn && next.signedIn->grant && next.signedIn->grant->provider == former.grant->provider &&
        next.signedIn->info.userId == former.info.userId)
        return;
    addRevocations(next, *former.grant, former.token);
}

void signInAs(PersistentState& next, login::AccessToken token, login::LoginInfo info,
              std::optional<Grant> grant = std::nullopt) {
    refuseWhenVetoed(next);
    if (info.level <= Level::None)
        throw RemoteError("cannot sign in an identity of level " +
                          std::to_string(static_cast<int>(info.level)) +
                          "; give it level 1 or above, or sign out with completeLogout");
    if (!token)
        throw RemoteError(
            "cannot sign in without an access token; pass the one that was issued to the identity");
    next.signedIn = SignedIn{std::move(info), std::move(token), newUuidText(), std::move(grant)};
}

void logChange(const StatusChange& change) {
    if (!logger().enabled(Severity::info))
        return;
    std::ostringstream text;
    text << "Login state changed to " << change.current << " from " << change.previous;
    logger().log(Severity::info, text.str());
}

} // namespace

login::AccessToken LoginState::newToken() {
    return login::AccessToken("hshd." + newUuidText() + "." + newUuidText());
}

LoginState::LoginState(StateStore& store, std::string endpoint, Observer observer)
    : store_(store), endpoint_(std::move(endpoint)), observer_(std::move(observer)) {
    auto state = std::make_shared<PersistentState>(store_.load());
    if (state->signedIn)
        state->signedIn->info.level = std::min(state->signedIn->info.level, Level::SignedIn);
    current_ = std::move(state);
}

LoginState::Snapshot LoginState::snapshot() const {
    const foundation::MutexLock lock(mutex_);
    return current_;
}

bool LoginState::isLoggedIn(Level asked) const {
    return holds(snapshot()->signedIn, asked);
}

login::LoginInfo LoginState::loginInfo(Level asked) const {
    const Snapshot state = snapshot();
    return holds(state->signedIn, asked) ? state->signedIn->info : login::LoginInfo();
}

login::RequestAccessTokenResponse LoginState::accessToken(Level asked) const {
    const Snapshot state = snapshot();
    const auto answer = [](TokenStatus status, login::AccessToken token = {}) {
        return login::RequestAccessTokenResponse{std::move(token), static_cast<std::int32_t>(status)};
    };
    if (!holds(state->signedIn, Level::None))
        return answer(TokenStatus::NotSignedIn);
    if (!holds(state->signedIn, asked))
        return answer(TokenStatus::LevelTooLow);
    if (state->signedIn->grant && state->signedIn->grant->ends <= BootClock::now())
        return answer(TokenStatus::Ended);
    return answer(TokenStatus::Granted, state->signedIn->token);
}

std::string LoginState::sessionId() const {
    return sessionOf(*snapshot());
}

std::optional<SignedIn> LoginState::signedIn() const {
    return snapshot()->signedIn;
}

std::vector<Revocation> LoginState::revocations() const {
    return snapshot()->revocations;
}

std::string LoginState::endpoint() const {
    const Snapshot state = snapshot();
    return state->endpoint.empty() ? endpoint_ : state->endpoint;
}

std::string LoginState::sourceId() const {
    return snapshot()->sourceId;
}

login::detail::LoginData LoginState::persistedLoginData() const {
    return snapshot()->remembered.value_or(login::detail::LoginData());
}

bool LoginState::signInVetoed() const {
    return snapshot()->signInVetoed;
}

void LoginState::impersonate(login::AccessToken token, login::LoginInfo info) {
    change([&](PersistentState& next) { signInAs(next, std::move(token), std::move(info)); });
}

void LoginState::signIn(Identity identity, bool remember) {
    change([&](PersistentState& next) {
        if (remember) {
            auto& data = next.remembered.emplace();
            data.info = identity.info;
            data.refreshToken =
                newUuidText(); // the provider's stays here: whoever used it would end the session
            data.rememberMe = true;
        }
        signInAs(next, std::move(identity.token), std::move(identity.info), std::move(identity.grant));
    });
}

void LoginState::abandon(const Identity& identity) {
    if (identity.grant)
        change([&](PersistentState& next) { addRevocations(next, *identity.grant, identity.token); });
}

bool LoginState::renew(const std::string& sessionId, login::AccessToken token, Grant grant) {
    bool same = false;
    change([&](PersistentState& next) {
        same = next.signedIn && next.signedIn->sessionId == sessionId;
        if (!same) {
            addRevocations(next, grant, token);
            return;
        }
        next.signedIn->token = std::move(token);
        next.signedIn->grant = std::move(grant);
    });
    return same;
}

void LoginState::endSession(const std::string& sessionId) {
    change(
        [&](PersistentState& next) {
            if (!next.signedIn || next.signedIn->sessionId != sessionId)
                return;
            next.signedIn.reset();
            next.remembered.reset();
        },
        Former::EndedByProvider);
}

void LoginState::revoked(const Revocation& done) {
    change([&](PersistentState& next) { std::erase(next.revocations, done); });
}

void LoginState::signOut(bool forgetSettings) {
    change([&](PersistentState& next) {
        next.signedIn.reset();
        next.remembered.reset();
        if (forgetSettings)
            next.endpoint.clear();
    });
}

void LoginState::persistIdentity(const login::detail::LoginData& data) {
    change([&](PersistentState& next) {
        next.remembered = data;
        if (!data.endpoint.empty())
            next.endpoint = data.endpoint;
        if (data.info.level < Level::SignedIn)
            return;
        refuseWhenVetoed(next);
        const bool sameUser = next.signedIn && next.signedIn->info.userId == data.info.userId;
        const Level level = sameUser ? std::max(next.signedIn->info.level, data.info.level) : data.info.level;
        if (!sameUser)
            next.signedIn = SignedIn{{}, newToken(), newUuidText(), std::nullopt};
        next.signedIn->info = data.info;
        next.signedIn->info.level = level;
    });
}

void LoginState::clearSettings() {
    change([](PersistentState& next) {
        next.remembered.reset();
        next.endpoint.clear();
    });
}

void LoginState::vetoSignIn(bool vetoed) {
    change([vetoed](PersistentState& next) { next.signInVetoed = vetoed; });
}

void LoginState::change(const std::function<void(PersistentState& next)>& edit, Former former) {
    const Snapshot previous = snapshot();
    PersistentState next = *previous;
    edit(next);
    if (former == Former::ToBeRevoked)
        revokeFormer(next, *previous);
    if (next == *previous)
        return;
    try {
        store_.save(next);
    } catch (const sqlite::Error& error) {
        logger().log(Severity::severe, std::string("Could not save the state: ") + error.what());
        throw RemoteError(std::string("the daemon could not save its state, so nothing was changed: ") +
                          error.what());
    }
    const bool changed = identity(next) != identity(*previous) || sessionOf(next) != sessionOf(*previous);
    const StatusChange told{identity(next), identity(*previous)};
    auto saved = std::make_shared<const PersistentState>(std::move(next));
    {
        const foundation::MutexLock lock(mutex_);
        current_.swap(saved);
    }
    if (changed) {
        logChange(told);
        observer_(told);
    }
}

} // namespace hshd
