#pragma once

#include "hshd/state/PersistentState.h"
#include "hshd/state/StateStore.h"

#include <foundation/thread_annotations.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace hshd {

/// The daemon's own status codes of a token answer; 0 is left to clients, for "no daemon was reached".
enum class TokenStatus : std::int32_t {
    Granted = 200,
    NotSignedIn = 401,
    LevelTooLow = 403,
};

struct StatusChange {
    login::LoginInfo current;
    login::LoginInfo previous;
};

/// Who is signed in, and what is remembered.
///
/// An identity is held at its level. It counts as signed in for those who ask for that level or a lower one,
/// and for nobody when the level is None. Of a former run's identity a level above SignedIn is not kept: a
/// second factor confirms one run.
///
/// Queries may come from any thread; they see the state last saved. Commands come from one thread at a time.
/// Each is one change, saved whole: it returns when the change is on the disk, and otherwise throws
/// RemoteError, has changed nothing and told nobody.
class LoginState {
public:
    using Level = login::LoginInfo::Level;
    /// Called by the command that changed the identity, its token or its session, after the change shows in
    /// the queries, with no lock held. Must not throw.
    using Observer = std::function<void(const StatusChange&)>;

    /// @param endpoint what endpoint() answers until an identity with an endpoint of its own is persisted.
    LoginState(StateStore& store, std::string endpoint, Observer observer);

    bool isLoggedIn(Level asked) const;
    /// The identity, or the empty one unless isLoggedIn(asked).
    login::LoginInfo loginInfo(Level asked) const;
    /// The token and TokenStatus::Granted, or no token and the reason.
    login::RequestAccessTokenResponse accessToken(Level asked) const;
    /// Empty while nobody is signed in.
    std::string sessionId() const;
    std::string endpoint() const;
    std::string sourceId() const;
    login::detail::LoginData persistedLoginData() const;
    bool signInVetoed() const;

    /// Signs in `info`, vouched for by `token`, with a new session. Refused while sign-in is vetoed, for
    /// level None and for an empty token.
    void impersonate(login::AccessToken token, login::LoginInfo info);
    /// As impersonate(), with a new random token. @param remember so that sessions start signed in.
    void signIn(login::LoginInfo info, bool remember);
    /// Signs out and forgets the persisted login data. The veto stays.
    /// @param forgetSettings the endpoint that came with the data as well, as clearSettings().
    void signOut(bool forgetSettings);
    void completeLogout() { signOut(false); }
    /// Remembers the data, and its endpoint unless empty. An identity of level SignedIn or above is also
    /// signed in (refused while sign-in is vetoed): with the session, token and level of the present one when
    /// it is the same user, else with a new session and a new random token.
    void persistIdentity(const login::detail::LoginData& data);
    /// Forgets the persisted login data and the endpoint that came with it. Nobody is signed out, and the
    /// veto stays.
    void clearSettings();
    /// A veto keeps everybody from signing in until it is lifted; who is signed in stays so.
    void vetoSignIn(bool vetoed);

private:
    using Snapshot = std::shared_ptr<const PersistentState>;

    Snapshot snapshot() const;
    /// The only way to another state: edits a copy, saves it, shows it to the queries, tells the observer.
    /// Nothing has happened when `edit` or the saving throws.
    void change(const std::function<void(PersistentState& next)>& edit);

    StateStore& store_;
    const std::string endpoint_;
    const Observer observer_;
    mutable foundation::Mutex mutex_; // a leaf; held only to copy or swap the pointer
    Snapshot current_ GUARDED_BY(mutex_);
};

} // namespace hshd
