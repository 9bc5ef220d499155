#include "module/v2/session/ZelkorLogin.h"

#include <stdexcept>
#include <utility>

namespace login::spf::session {

using foundation::log::logging_event_types;

namespace {

void log(logging_event_types type, const std::string& text) {
    // Calls may outlive the exit handlers.
    static auto* const logger =
        new foundation::log::basic_diagnostic_logger<char>("login.spf.session.ZelkorLogin");
    logger->log(type, text);
}

[[noreturn]] void refuseRetired(const std::string& method) {
    throw std::runtime_error("Deprecated " + method + " call used in the per-session login implementation.");
}

} // namespace

ZelkorLogin::ZelkorLogin(std::shared_ptr<login::ZelkorLogin> localLogin,
                         std::shared_ptr<login::control::LoginVetoer> localVetoer,
                         std::shared_ptr<login::detail::ZelkorLogin> localDetail,
                         std::shared_ptr<login::detail::ZelkorLoginLNUSupport> lnuSupport,
                         std::shared_ptr<login::detail::ZelkorLogin> daemonClient)
    : localLogin_(std::move(localLogin)), localVetoer_(std::move(localVetoer)),
      localDetail_(std::move(localDetail)), lnuSupport_(std::move(lnuSupport)),
      daemonClient_(std::move(daemonClient)) {
    log(logging_event_types::info, "Per-session SPF implementation created");
    lnuSupport_->setSourceId(daemonClient_->getSourceId());
    // Straight to the local service: the daemon knows this already.
    const auto remembered = daemonClient_->getPersistedLoginData();
    if (remembered.getInfo().getLevel() > LoginInfo::Level::Identified)
        localDetail_->persistIdentity(remembered);
    else
        localDetail_->completeLogout();
}

// --- one side

LoginInfo ZelkorLogin::getLoginInfo(std::string requester, LoginInfo::Level level) const {
    return localLogin_->getLoginInfo(std::move(requester), level);
}
RequestAccessTokenResponse ZelkorLogin::requestAccessTokenAdvanced(std::string requester,
                                                                   LoginInfo::Level level) {
    return localLogin_->requestAccessTokenAdvanced(std::move(requester), level);
}
RequestAccessTokenResponse ZelkorLogin::getAccessTokenAdvanced() {
    return localLogin_->getAccessTokenAdvanced();
}
ZelkorLogin::StatusListenerId ZelkorLogin::addStatusListenerV2(StatusListenerV2 listener) {
    return localLogin_->addStatusListenerV2(std::move(listener));
}
bool ZelkorLogin::removeStatusListener(StatusListenerId id) {
    return localLogin_->removeStatusListener(id);
}
ZelkorLogin::LogoutNegotiatorId ZelkorLogin::addLogoutNegotiator(Negotiator negotiator) {
    return localLogin_->addLogoutNegotiator(std::move(negotiator));
}
bool ZelkorLogin::removeLogoutNegotiator(LogoutNegotiatorId id) {
    return localLogin_->removeLogoutNegotiator(id);
}
void ZelkorLogin::impersonate(AccessToken token, LoginInfo info) {
    localLogin_->impersonate(std::move(token), std::move(info));
}

std::string ZelkorLogin::getEndpoint() {
    return localDetail_->getEndpoint();
}
std::string ZelkorLogin::getSourceId() {
    return localDetail_->getSourceId();
}
detail::LoginData ZelkorLogin::getPersistedLoginData() {
    return localDetail_->getPersistedLoginData();
}
void ZelkorLogin::clearSettings() {
    localDetail_->clearSettings();
}
std::string ZelkorLogin::getCurrentSessionId() {
    return localDetail_->getCurrentSessionId();
}
LoginInfo ZelkorLogin::getLoginInfoAndLogTELX(std::string requester, LoginInfo::Level level,
                                              const std::string& context) {
    return localDetail_->getLoginInfoAndLogTELX(std::move(requester), level, context);
}
bool ZelkorLogin::shouldVetoSignIn() {
    return localVetoer_->shouldVetoSignIn();
}

// --- both sides

std::string ZelkorLogin::getRelease() {
    auto release = daemonClient_->getRelease();
    if (!release.empty())
        return release;
    log(logging_event_types::error, "Empty release from HSH, using ZELKOR release instead.");
    return localDetail_->getRelease();
}

detail::NegotiationsResult ZelkorLogin::negotiateLogout(const NegotiationTerms& terms) {
    auto local = localDetail_->negotiateLogout(terms);
    if (!local.accepted) {
        log(logging_event_types::info, "Local sign out negotiators need to prompt the user. "
                                       "Skipping negotiations with the daemon");
        return local;
    }
    log(logging_event_types::info, "Local sign out negotiators unanimously accept. "
                                   "Negotiating further with the daemon...");
    return daemonClient_->negotiateLogout(terms);
}

void ZelkorLogin::completeLogout() {
    const ErrorCheckingLock lock(state_);
    log(logging_event_types::info, "Finalising logout (local session)...");
    localDetail_->completeLogout();
    log(logging_event_types::info, "Finalising logout (HSH daemon)...");
    daemonClient_->completeLogout();
}

void ZelkorLogin::persistIdentity(const detail::LoginData& data) {
    const ErrorCheckingLock lock(state_);
    log(logging_event_types::info, "Persisting identity (local session)...");
    localDetail_->persistIdentity(data);
    if (!data.getRememberMe()) {
        log(logging_event_types::info,
            "Skipping persisting the identity into the daemon since rememberMe=false.");
        return;
    }
    log(logging_event_types::info, "Persisting identity (HSH daemon)...");
    daemonClient_->persistIdentity(data);
}

void ZelkorLogin::vetoSignIn(bool veto) {
    log(logging_event_types::info, std::string("Veto sign in (local session): ") + (veto ? "yes" : "no"));
    localVetoer_->vetoSignIn(veto);
    if (!veto)
        return;
    log(logging_event_types::info, "Clearing login state (HSH daemon) since sign in is now vetoed");
    daemonClient_->completeLogout();
}

// --- retired

ZelkorLogin::StatusListenerId ZelkorLogin::addStatusListener(StatusListener /*listener*/) {
    refuseRetired("addStatusListener");
}
ZelkorLogin::LogoutVetoerId ZelkorLogin::addLogoutVetoer(LogoutVetoer /*vetoer*/) {
    refuseRetired("addLogoutVetoer");
}
bool ZelkorLogin::removeLogoutVetoer(LogoutVetoerId /*id*/) {
    refuseRetired("removeLogoutVetoer");
}
bool ZelkorLogin::isLogoutVetoed() {
    refuseRetired("isLogoutVetoed");
}

} // namespace login::spf::session
