#include "host/session/InProcessLogin.h"

#include "contract/records/NotifierUuid.h"
#include "host/session/LocalNegotiation.h"

#include <foundation/log/diagnostic_logger.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

namespace zelkor::host {

using foundation::log::logging_event_types;
using login::AccessToken;
using login::LoginInfo;
using login::RequestAccessTokenResponse;
using login::detail::LoginData;

namespace {

enum TokenStatus : std::int32_t { granted = 200, notSignedIn = 401, levelTooLow = 403 };

void log(logging_event_types type, const std::string& text) {
    static auto* const logger = new foundation::log::basic_diagnostic_logger<char>("host");
    logger->log(type, text);
}

} // namespace

/// Shared with the work that is about to call it.
struct InProcessLogin::Listener {
    explicit Listener(StatusListenerV2 told) : function(std::move(told)) {}
    const StatusListenerV2 function;
    std::atomic<bool> active{true};
};

InProcessLogin::InProcessLogin(TokenSource tokenSource, std::chrono::milliseconds negotiationLimit,
                               foundation::concurrent::threadpool::Executor& executor)
    : tokenSource_(std::move(tokenSource)), negotiationLimit_(negotiationLimit), executor_(executor),
      changes_(login::detail::createUuid()) {}

// --- the identity

LoginInfo InProcessLogin::getLoginInfo(std::string /*requester*/, LoginInfo::Level level) const {
    const foundation::MutexLock lock(mutex_);
    return signedIn_ && signedIn_->info.level >= level ? signedIn_->info : LoginInfo();
}

LoginInfo InProcessLogin::getLoginInfoAndLogTELX(std::string requester, LoginInfo::Level level,
                                                 const std::string& context) {
    log(logging_event_types::info, "TELX from `" + requester + "`: " + context);
    return getLoginInfo(std::move(requester), level);
}

RequestAccessTokenResponse InProcessLogin::requestAccessTokenAdvanced(std::string requester,
                                                                      LoginInfo::Level level) {
    LoginInfo identity;
    {
        const foundation::MutexLock lock(mutex_);
        if (!signedIn_)
            return {AccessToken(), notSignedIn};
        if (signedIn_->info.level < level)
            return {AccessToken(), levelTooLow};
        if (signedIn_->token)
            return {signedIn_->token, granted};
        identity = signedIn_->info;
    }
    return tokenSource_(identity, requester, level);
}

RequestAccessTokenResponse InProcessLogin::getAccessTokenAdvanced() {
    return requestAccessTokenAdvanced({}, LoginInfo::Level::None);
}

void InProcessLogin::impersonate(AccessToken token, LoginInfo info) {
    const foundation::MutexLock lock(mutex_);
    signIn(std::move(info), std::move(token));
}

void InProcessLogin::persistIdentity(const LoginData& data) {
    {
        const foundation::MutexLock lock(mutex_);
        if (!sessionStarts() || !vetoed_)
            return keep(data);
        setSignedIn(std::nullopt);
        persisted_.reset();
    }
    log(logging_event_types::warning,
        "Sign-in is vetoed in this process: the session starts logged out, though the daemon remembers "
        "somebody. vetoSignIn(false) lifts the veto");
}

void InProcessLogin::keep(const LoginData& data) {
    if (data.info.level >= LoginInfo::Level::SignedIn) {
        const bool sameUser = signedIn_ && signedIn_->info.userId == data.info.userId;
        signIn(data.info, sameUser ? signedIn_->token : AccessToken());
    } else {
        setSignedIn(std::nullopt);
    }
    persisted_ = data;
}

bool InProcessLogin::sessionStarts() {
    if (starting_ != std::this_thread::get_id())
        return false;
    starting_ = {};
    return true;
}

void InProcessLogin::completeLogout() {
    const foundation::MutexLock lock(mutex_);
    sessionStarts();
    setSignedIn(std::nullopt);
    persisted_.reset();
}

void InProcessLogin::clearSettings() {
    const foundation::MutexLock lock(mutex_);
    persisted_.reset();
}

LoginData InProcessLogin::getPersistedLoginData() {
    const foundation::MutexLock lock(mutex_);
    return persisted_.value_or(LoginData());
}

void InProcessLogin::signIn(LoginInfo info, AccessToken token) {
    refuseWhenVetoed();
    const bool sameUser = signedIn_ && signedIn_->info.userId == info.userId;
    setSignedIn(
        SignedIn{std::move(info), std::move(token),
                 sameUser ? signedIn_->sessionId : login::detail::uuidText(login::detail::createUuid())});
}

void InProcessLogin::setSignedIn(std::optional<SignedIn> next) {
    const LoginInfo before = signedIn_ ? signedIn_->info : LoginInfo();
    signedIn_ = std::move(next);
    const LoginInfo now = signedIn_ ? signedIn_->info : LoginInfo();
    if (now == before)
        return;
    std::vector<std::shared_ptr<Listener>> told;
    for (const auto& [id, listener] : listeners_)
        told.push_back(listener);
    executor_.post(changes_, [told = std::move(told), now, before] {
        for (const auto& listener : told) {
            try {
                if (listener->active)
                    listener->function(now, before);
            } catch (...) {
                log(logging_event_types::warning, "A status listener of this process failed");
            }
        }
    });
}

void InProcessLogin::refuseWhenVetoed() const {
    if (vetoed_)
        throw std::runtime_error(
            "sign-in is vetoed in this session; lift the veto with vetoSignIn(false) first");
}

// --- what belongs to the session

std::string InProcessLogin::getEndpoint() {
    const foundation::MutexLock lock(mutex_);
    return persisted_ ? persisted_->endpoint : std::string();
}
std::string InProcessLogin::getRelease() {
    return ZELKOR_HOST_RELEASE;
}
std::string InProcessLogin::getSourceId() {
    const foundation::MutexLock lock(mutex_);
    return sourceId_;
}
std::string InProcessLogin::getCurrentSessionId() {
    const foundation::MutexLock lock(mutex_);
    return signedIn_ ? signedIn_->sessionId : std::string();
}
void InProcessLogin::setSourceId(const std::string& sourceId) {
    const foundation::MutexLock lock(mutex_);
    sourceId_ = sourceId;
    starting_ = std::this_thread::get_id();
}
void InProcessLogin::vetoSignIn(bool veto) {
    const foundation::MutexLock lock(mutex_);
    vetoed_ = veto;
}
bool InProcessLogin::shouldVetoSignIn() {
    const foundation::MutexLock lock(mutex_);
    return vetoed_;
}

// --- listeners and negotiators

InProcessLogin::StatusListenerId InProcessLogin::addStatusListenerV2(StatusListenerV2 listener) {
    const auto id = StatusListenerId::create();
    auto entry = std::make_shared<Listener>(std::move(listener));
    const foundation::MutexLock lock(mutex_);
    listeners_.emplace(id, std::move(entry));
    return id;
}

InProcessLogin::StatusListenerId InProcessLogin::addStatusListener(StatusListener listener) {
    return addStatusListenerV2([listener = std::move(listener)](const LoginInfo& now, const LoginInfo&) {
        listener(boost::optional<LoginInfo>(now));
    });
}

bool InProcessLogin::removeStatusListener(StatusListenerId id) {
    std::shared_ptr<Listener> removed; // released after the lock
    const foundation::MutexLock lock(mutex_);
    const auto node = listeners_.extract(id);
    if (!node)
        return false;
    removed = node.mapped();
    removed->active = false;
    return true;
}

InProcessLogin::LogoutNegotiatorId InProcessLogin::addLogoutNegotiator(login::Negotiator negotiator) {
    const auto id = LogoutNegotiatorId::create();
    auto entry = std::make_shared<const login::Negotiator>(std::move(negotiator));
    const foundation::MutexLock lock(mutex_);
    negotiators_.emplace(id, std::move(entry));
    return id;
}

bool InProcessLogin::removeLogoutNegotiator(LogoutNegotiatorId id) {
    Negotiators::node_type removed; // released after the lock
    const foundation::MutexLock lock(mutex_);
    removed = negotiators_.extract(id);
    return !removed.empty();
}

InProcessLogin::LogoutVetoerId InProcessLogin::addLogoutVetoer(LogoutVetoer vetoer) {
    using Position = login::Negotiator::Position;
    const auto id = addLogoutNegotiator(
        {"vetoer", [vetoer = std::move(vetoer)](const auto&) {
             return login::NegotiatorResponse{vetoer() ? Position::Object : Position::Accept, u""};
         }});
    return LogoutVetoerId(id.getValue());
}

bool InProcessLogin::removeLogoutVetoer(LogoutVetoerId id) {
    return removeLogoutNegotiator(LogoutNegotiatorId(id.getValue()));
}

login::detail::NegotiationsResult InProcessLogin::negotiateLogout(const login::NegotiationTerms& terms) {
    std::vector<std::shared_ptr<const login::Negotiator>> asked;
    {
        const foundation::MutexLock lock(mutex_);
        for (const auto& [id, negotiator] : negotiators_)
            asked.push_back(negotiator);
    }
    return negotiate(asked, terms, negotiationLimit_, executor_);
}

bool InProcessLogin::isLogoutVetoed() {
    return !negotiateLogout({login::NegotiationTerms::IsLogoutVetoed}).accepted;
}

} // namespace zelkor::host
