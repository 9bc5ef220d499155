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
    Ended = 503, ///< the token has ended, and its provider gives no other at present
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
    /// Called by the command that changed the identity or its session, after the change shows in the queries,
    /// with no lock held. A renewed token is no change. Must not throw.
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
    std::optional<SignedIn> signedIn() const;
    std::vector<Revocation> revocations() const;
    std::string endpoint() const;
    std::string sourceId() const;
    login::detail::LoginData persistedLoginData() const;
    bool signInVetoed() const;

    /// Signs in `info`, vouched for by `token`, with a new session. Refused while sign-in is vetoed, for
    /// level None and for an empty token.
    void impersonate(login::AccessToken token, login::LoginInfo info);
    /// As impersonate(), with what the provider gave. @param remember so that sessions start signed in.
    void signIn(Identity identity, bool remember);
    /// What a provider gave in vain is to be revoked.
    void abandon(const Identity& identity);
    /// The session's token and grant are these from now on. @return false, with the new ones to be revoked,
    /// when it is another session by now.
    bool renew(const std::string& sessionId, login::AccessToken token, Grant grant);
    /// Signs out, unless it is another session by now. Its provider has ended it: nothing is to be revoked.
    void endSession(const std::string& sessionId);
    /// Forgets what has been revoked.
    void revoked(const Revocation& done);
    /// Signs out and forgets the persisted login data. The veto stays. What a provider gave for the session
    /// is to be revoked, here as with everything that ends it.
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

    /// Stands in for the token that an account service would issue: 244 random bits.
    static login::AccessToken newToken();

private:
    using Snapshot = std::shared_ptr<const PersistentState>;

    /// A grant that ends with the change.
    enum class Former { ToBeRevoked, EndedByProvider };

    Snapshot snapshot() const;
    /// The only way to another state: edits a copy, saves it, shows it to the queries, tells the observer.
    /// Nothing has happened when `edit` or the saving throws.
    void change(const std::function<void(PersistentState& next)>& edit, Former former = Former::ToBeRevoked);

    StateStore& store_;
    const std::string endpoint_;
    const Observer observer_;
    mutable foundation::Mutex mutex_; // a leaf; held only to copy or swap the pointer
    Snapshot current_ GUARDED_BY(mutex_);
};

} // namespace hshd
