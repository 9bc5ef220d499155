#include "hshd/state/sqlite/Database.h"
#include "tests/hshd/Fakes.h"

using namespace hshd::test;
using hshd::LoginState;

namespace {

struct LoginStateTest : Test {
    TempDirectory directory;
    std::optional<hshd::StateStore> store;
    std::optional<LoginState> state_;
    std::vector<std::u16string> changes;

    LoginStateTest() { reopen(); }
    void reopen() {
        state_.reset();
        store.reset();
        store.emplace(directory.path());
        state_.emplace(*store, "https://configured.example", [this](const hshd::StatusChange& change) {
            changes.push_back(change.previous.userId + u">" + change.current.userId);
        });
    }
    LoginState& state() { return *state_; }
    AccessToken token(Level level = Level::None) { return state().accessToken(level).token; }
    std::string refusal(const std::function<void()>& command) {
        const auto before = store->load();
        try {
            command();
        } catch (const core::RemoteError& error) {
            EXPECT_EQ(store->load(), before);
            return error.what();
        }
        return "not refused";
    }
};

} // namespace

TEST_F(LoginStateTest, IdentityAndTokenAreHeldAtTheirLevel) {
    EXPECT_FALSE(state().isLoggedIn(Level::None));
    EXPECT_EQ(state().loginInfo(Level::None), LoginInfo());
    EXPECT_EQ(state().accessToken(Level::None), (RequestAccessTokenResponse{{}, 401}));
    EXPECT_EQ(state().sessionId(), "");

    state().impersonate(AccessToken("t1"), person(u"ada"));
    const std::string session = state().sessionId();
    for (const Level level : {Level(-1), Level::None, Level::Identified, Level::SignedIn}) {
        EXPECT_TRUE(state().isLoggedIn(level));
        EXPECT_EQ(state().loginInfo(level), person(u"ada"));
        EXPECT_EQ(state().accessToken(level), (RequestAccessTokenResponse{AccessToken("t1"), 200}));
    }
    EXPECT_FALSE(state().isLoggedIn(Level::Confirmed));
    EXPECT_EQ(state().loginInfo(Level::Confirmed), LoginInfo());
    EXPECT_EQ(state().accessToken(Level::Confirmed), (RequestAccessTokenResponse{{}, 403}));

    state().impersonate(AccessToken("t2"), person(u"ada")); // the same user again is a new session
    EXPECT_NE(state().sessionId(), session);
    EXPECT_EQ(token(), AccessToken("t2"));
    state().completeLogout();
    state().completeLogout(); // nothing changes, nobody is told
    EXPECT_FALSE(state().isLoggedIn(Level::None) || token());
    EXPECT_EQ(state().sessionId(), "");
    EXPECT_THAT(changes, ElementsAre(u">ada", u"ada>ada", u"ada>"));
}

TEST_F(LoginStateTest, RefusedCommandsChangeNothing) {
    state().impersonate(AccessToken("t"), person(u"ada"));
    EXPECT_THAT(refusal([&] { state().impersonate(AccessToken("x"), person(u"eve", Level::None)); }),
                HasSubstr("level 0"));
    EXPECT_THAT(refusal([&] { state().impersonate(AccessToken(), person(u"eve")); }), HasSubstr("token"));

    state().vetoSignIn(true);
    EXPECT_TRUE(state().isLoggedIn(Level::SignedIn)) << "a veto signs nobody out";
    const std::string vetoed = "sign-in is vetoed; lift the veto with vetoSignIn(false) first";
    EXPECT_EQ(refusal([&] { state().impersonate(AccessToken("x"), person(u"eve")); }), vetoed);
    EXPECT_EQ(refusal([&] { state().persistIdentity(dataOf(person(u"eve"))); }), vetoed);
    state().persistIdentity(dataOf(person(u"eve", Level::Identified))); // signs nobody in
    reopen();
    state().completeLogout();
    state().clearSettings();
    EXPECT_EQ(refusal([&] { state().signIn(identityOf(person(u"eve")), false); }), vetoed)
        << "only vetoSignIn lifts a veto";
    state().vetoSignIn(false);
    state().signIn(identityOf(person(u"eve")), true);
    EXPECT_THAT(changes, ElementsAre(u">ada", u"ada>", u">eve"));
}

TEST_F(LoginStateTest, PersistedIdentitiesSignInFromLevelTwo) {
    state().persistIdentity(dataOf(person(u"ada", Level::Identified)));
    EXPECT_FALSE(state().isLoggedIn(Level::None));
    EXPECT_EQ(state().persistedLoginData().info.userId, u"ada");
    state().persistIdentity(dataOf(person(u"ada")));
    state().persistIdentity(dataOf(person(u"ada"))); // nothing new
    EXPECT_TRUE(state().isLoggedIn(Level::SignedIn) && token());

    state().impersonate(AccessToken("eves"), person(u"eve", Level::Confirmed));
    const std::string session = state().sessionId();
    LoginInfo renamed = person(u"eve");
    renamed.displayName = u"Renamed";
    state().persistIdentity(dataOf(renamed)); // the same user: no new session, and no lower level
    EXPECT_EQ(state().sessionId(), session);
    EXPECT_EQ(token(Level::Confirmed), AccessToken("eves"));
    EXPECT_EQ(state().loginInfo(Level::Confirmed).displayName, u"Renamed");
    state().persistIdentity(dataOf(person(u"bob"))); // another user must not get eve's token
    EXPECT_NE(state().sessionId(), session);
    EXPECT_NE(token(), AccessToken("eves"));
    EXPECT_FALSE(state().isLoggedIn(Level::Confirmed));
    EXPECT_THAT(changes, ElementsAre(u">ada", u"ada>eve", u"eve>eve", u"eve>bob"));
}

TEST_F(LoginStateTest, AFailedSaveChangesNothingAndSaysSo) {
    state().impersonate(AccessToken("t"), person(u"ada"));
    hshd::sqlite::Database saboteur(directory / hshd::StateStore::fileName);
    // Fails in the middle of the save, when part of the new state is written.
    saboteur.execute(
        "CREATE TRIGGER no BEFORE INSERT ON sign_in BEGIN SELECT raise(FAIL, 'disk on fire'); END");
    EXPECT_THAT(refusal([&] { state().impersonate(AccessToken("x"), person(u"eve")); }),
                AllOf(HasSubstr("nothing was changed"), HasSubstr("disk on fire")));
    EXPECT_EQ(state().loginInfo(Level::SignedIn), person(u"ada"));
    saboteur.execute("DROP TRIGGER no");
    saboteur.execute("CREATE TRIGGER no BEFORE INSERT ON login_data BEGIN SELECT raise(FAIL, 'full'); END");
    EXPECT_THAT(refusal([&] { state().signIn(identityOf(person(u"eve")), true); }),
                HasSubstr("nothing was changed"))
        << "signing in and remembering are one change";
    EXPECT_EQ(state().loginInfo(Level::SignedIn), person(u"ada"));
    saboteur.execute("DROP TRIGGER no");
    state().signIn(identityOf(person(u"eve")), true);
    EXPECT_THAT(changes, ElementsAre(u">ada", u"ada>eve"));
}

TEST_F(LoginStateTest, ASecondFactorConfirmsOneRun) {
    state().impersonate(AccessToken("t"), person(u"ada", Level::Confirmed));
    const std::string session = state().sessionId();
    for (int restart = 0; restart < 2; ++restart) {
        EXPECT_EQ(state().isLoggedIn(Level::Confirmed), restart == 0);
        reopen();
        EXPECT_EQ(state().loginInfo(Level::SignedIn), person(u"ada", Level::SignedIn));
        EXPECT_EQ(state().accessToken(Level::Confirmed), (RequestAccessTokenResponse{{}, 403}));
        EXPECT_EQ(state().sessionId(), session);
    }
    state().impersonate(AccessToken("t"), person(u"eve", Level::Identified));
    reopen();
    EXPECT_EQ(state().loginInfo(Level::Identified).level, Level::Identified) << "only a higher level falls";
}
