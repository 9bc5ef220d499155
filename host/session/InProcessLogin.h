#pragma once

#include <foundation/concurrent/threadpool/Executor.h>
#include <foundation/thread_annotations.h>
#include <login/ZelkorLogin.h>
#include <login/control/LoginVetoer.h>
#include <login/detail/ZelkorLogin.h>
#include <login/detail/ZelkorLoginLNUSupport.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <unordered_map>

namespace zelkor::host {

/// The in-process login services of one session: its own identity, listeners and negotiators, in memory, for
/// as long as the process lives.
///
/// Thread-safe. Listeners and negotiators run on the executor, never under a lock; listeners hear of the
/// changes in their order.
class InProcessLogin final : public login::ZelkorLogin,
                             public login::detail::ZelkorLogin,
                             public login::control::LoginVetoer,
                             public login::detail::ZelkorLoginLNUSupport {
public:
    /// Asked for the token of an identity that was taken over from the daemon, and so without one.
    using TokenSource = std::function<login::RequestAccessTokenResponse(
        const login::LoginInfo& identity, const std::string& requester, login::LoginInfo::Level level)>;

    /// @param negotiationLimit the time that each negotiator has.
    InProcessLogin(TokenSource tokenSource, std::chrono::milliseconds negotiationLimit,
                   foundation::concurrent::threadpool::Executor& executor =
                       foundation::concurrent::threadpool::Executor::instance());

    login::LoginInfo getLoginInfo(std::string requester, login::LoginInfo::Level level) const override;
    /// The status is 200 with a token, 401 when nobody is signed in, 403 when the level is too low; another
    /// when it comes from the token source.
    login::RequestAccessTokenResponse requestAccessTokenAdvanced(std::string requester,
                                                                 login::LoginInfo::Level level) override;
    login::RequestAccessTokenResponse getAccessTokenAdvanced() override;
    StatusListenerId addStatusListener(StatusListener listener) override;
    StatusListenerId addStatusListenerV2(StatusListenerV2 listener) override;
    bool removeStatusListener(StatusListenerId id) override;
    LogoutVetoerId addLogoutVetoer(LogoutVetoer vetoer) override;
    bool removeLogoutVetoer(LogoutVetoerId id) override;
    LogoutNegotiatorId addLogoutNegotiator(login::Negotiator negotiator) override;
    bool removeLogoutNegotiator(LogoutNegotiatorId id) override;
    /// @throws std::runtime_error while sign-in is vetoed.
    void impersonate(login::AccessToken token, login::LoginInfo info) override;

    std::string getEndpoint() override;
    std::string getRelease() override;
    std::string getSourceId() override;
    login::detail::LoginData getPersistedLoginData() override;
    /// Keeps the data. An identity of level SignedIn or above is also signed in; with a lower one nobody is.
    /// While sign-in is vetoed a session that is being made starts logged out, and the log says why.
    /// @throws std::runtime_error otherwise when signing in is vetoed; nothing is changed then.
    void persistIdentity(const login::detail::LoginData& data) override;
    void clearSettings() override;
    std::string getCurrentSessionId() override;
    bool isLogoutVetoed() override;
    login::detail::NegotiationsResult negotiateLogout(const login::NegotiationTerms& terms) override;
    void completeLogout() override;
    login::LoginInfo getLoginInfoAndLogTELX(std::string requester, login::LoginInfo::Level level,
                                            const std::string& context) override;

    void vetoSignIn(bool veto) override;
    bool shouldVetoSignIn() override;

    /// A session that is being made calls this first, and then on the same thread persistIdentity() or
    /// completeLogout() with what the daemon remembers.
    void setSourceId(const std::string& sourceId) override;

private:
    struct SignedIn {
        login::LoginInfo info;
        login::AccessToken token;
        std::string sessionId;
    };
    struct Listener;
    using Listeners =
        std::unordered_map<StatusListenerId, std::shared_ptr<Listener>, StatusListenerId::Hasher>;
    using Negotiators = std::unordered_map<LogoutNegotiatorId, std::shared_ptr<const login::Negotiator>,
                                           LogoutNegotiatorId::Hasher>;

    void keep(const login::detail::LoginData& data) REQUIRES(mutex_);
    /// Whether this call is a new session's, telling what it starts with.
    bool sessionStarts() REQUIRES(mutex_);
    void signIn(login::LoginInfo info, login::AccessToken token) REQUIRES(mutex_);
    void setSignedIn(std::optional<SignedIn> next) REQUIRES(mutex_);
    void refuseWhenVetoed() const REQUIRES(mutex_);

    const TokenSource tokenSource_;
    const std::chrono::milliseconds negotiationLimit_;
    foundation::concurrent::threadpool::Executor& executor_;
    const boost::uuids::uuid changes_; // the executor's queue

    mutable foundation::Mutex mutex_; // only the executor's own lock is taken under it
    std::optional<SignedIn> signedIn_ GUARDED_BY(mutex_);
    std::optional<login::detail::LoginData> persisted_ GUARDED_BY(mutex_);
    std::string sourceId_ GUARDED_BY(mutex_);
    std::thread::id starting_ GUARDED_BY(mutex_); // makes a session; none: nobody does
    bool vetoed_ GUARDED_BY(mutex_) = false;
    Listeners listeners_ GUARDED_BY(mutex_);
    Negotiators negotiators_ GUARDED_BY(mutex_);
};

} // namespace zelkor::host
