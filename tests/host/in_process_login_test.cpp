// The in-process login services by themselves, and under a session.

#include "host/session/InProcessLogin.h"
#include "module/v2/session/ZelkorLogin.h"
#include "tests/support/People.h"
#include "tests/support/RecordingLogin.h"
#include "tests/support/Testing.h"

namespace {

using namespace login;
using namespace zelkor::test;
using zelkor::host::InProcessLogin;
using Level = LoginInfo::Level;
using Position = Negotiator::Position;

class InProcess : public Test {
protected:
    static LoginInfo ada(Level level = Level::SignedIn) { return person(u"ada", level); }
    std::shared_ptr<InProcessLogin> make(std::chrono::milliseconds negotiationLimit = generousLimit) {
        return std::make_shared<InProcessLogin>(
            [](const LoginInfo& identity, const std::string&, Level) {
                return RequestAccessTokenResponse{AccessToken(toUtf8(identity.userId) + "'s"), 200};
            },
            negotiationLimit, executor);
    }
    static std::u16string userOf(ZelkorLogin& login) {
        return login.getLoginInfo("test", Level::None).userId;
    }

    RecordingLog log{"host"};
    foundation::concurrent::threadpool::Executor executor{{}};
};

TEST_F(InProcess, AnIdentityIsSignedInByItsLevelAndEachChangeIsTold) {
    const auto login = make();
    Recorded<std::pair<std::u16string, std::u16string>> told;
    login->addStatusListenerV2([](const LoginInfo&, const LoginInfo&) { throw 1; });
    const auto listener = login->addStatusListenerV2([&](const LoginInfo& now, const LoginInfo& before) {
        told.add({now.userId, before.userId});
        EXPECT_NO_THROW(login->getCurrentSessionId()) << "it may call the services";
    });
    EXPECT_EQ(login->getAccessTokenAdvanced().status, 401);
    login->persistIdentity(dataOf(ada()));
    EXPECT_EQ(told.at(0), std::pair(std::u16string(u"ada"), std::u16string()));
    EXPECT_EQ(login->requestAccessTokenAdvanced("test", Level::Confirmed).status, 403);
    EXPECT_EQ(login->getAccessToken().getTokenString(), "ada's");
    const auto session = login->getCurrentSessionId();
    login->impersonate(AccessToken("given"), ada(Level::Confirmed));
    EXPECT_EQ(login->getCurrentSessionId(), session) << "the same user";
    login->persistIdentity(dataOf(ada(Level::Confirmed)));
    EXPECT_EQ(login->getAccessToken().getTokenString(), "given");

    for (const auto level : {Level::None, Level::Identified}) {
        login->persistIdentity(dataOf(ada()));
        EXPECT_EQ(userOf(*login), u"ada");
        const auto data = dataOf(ada(level));
        login->persistIdentity(data);
        EXPECT_EQ(userOf(*login), u"") << "nobody is signed in at that level";
        EXPECT_EQ(login->getPersistedLoginData(), data);
    }
    EXPECT_EQ(told.at(3), std::pair(std::u16string(), std::u16string(u"ada"))); // 1 and 2: the level
    told.at(5);
    EXPECT_TRUE(login->removeStatusListener(listener));
    EXPECT_FALSE(login->removeStatusListener(listener));
    login->completeLogout();
    EXPECT_EQ(login->getPersistedLoginData(), login::detail::LoginData());
    executor.stop();
    EXPECT_EQ(told.all().size(), 6u);
}

TEST_F(InProcess, OnlyAnAcceptingAnswerIsConsent) {
    auto login = make();
    const auto answering = [](NegotiatorResponse response) {
        return [response](const NegotiationTerms&) { return response; };
    };
    login->addLogoutNegotiator({"agrees", answering({Position::Accept, u"unread"})});
    EXPECT_TRUE(login->negotiateLogout({}).accepted);
    const auto objecting = login->addLogoutNegotiator({"objects", answering({Position::Object, u"no"})});
    const auto vetoing = login->addLogoutVetoer([] { return true; });
    login->addLogoutNegotiator({"asks", answering({Position::Ask, u"sure?"})});
    auto result = login->negotiateLogout({});
    EXPECT_FALSE(result.accepted);
    EXPECT_THAT(result.objections, UnorderedElementsAre(u"no", u""));
    EXPECT_THAT(result.questions, ElementsAre(u"sure?"));
    EXPECT_TRUE(login->isLogoutVetoed());
    EXPECT_TRUE(login->removeLogoutNegotiator(objecting));
    EXPECT_TRUE(login->removeLogoutVetoer(vetoing));
    EXPECT_FALSE(login->removeLogoutVetoer(vetoing));
    EXPECT_THAT(log.lines(), IsEmpty());

    login->addLogoutNegotiator({"broken", [](const auto&) -> NegotiatorResponse { throw 1; }});
    result = login->negotiateLogout({});
    EXPECT_THAT(result.objections, ElementsAre(u"broken failed"));
    EXPECT_THAT(log.lines().at(0).text, HasSubstr("`broken` failed"));

    login = make(1ms);
    std::promise<void> released;
    login->addLogoutNegotiator({"slow", [wait = released.get_future().share()](const auto&) {
                                    wait.wait();
                                    return NegotiatorResponse{Position::Accept, u""};
                                }});
    result = login->negotiateLogout({});
    released.set_value();
    EXPECT_FALSE(result.accepted);
    EXPECT_THAT(result.objections, ElementsAre(u"slow did not answer in time"));
    EXPECT_THAT(log.lines().back().text, HasSubstr("`slow` did not answer in time"));
    executor.stop();
    EXPECT_THAT(login->negotiateLogout({}).objections, ElementsAre(u"slow could not be asked"));
}

TEST_F(InProcess, ASessionMadeUnderAVetoStartsLoggedOutAndSaysSo) {
    const auto calls = std::make_shared<Calls>();
    const auto daemon = std::make_shared<RecordingLogin>("daemon", calls);
    const auto local = make();
    const auto session = [&] {
        return std::make_unique<spf::session::ZelkorLogin>(local, local, local, local, daemon);
    };
    daemon->persisted = dataOf(ada());
    auto made = session();
    EXPECT_EQ(userOf(*made), u"ada");
    made->vetoSignIn(true);
    made = session(); // another process has signed in meanwhile
    EXPECT_EQ(userOf(*made), u"");
    EXPECT_EQ(made->getPersistedLoginData(), login::detail::LoginData());
    EXPECT_TRUE(made->shouldVetoSignIn());
    EXPECT_THAT(log.lines().at(0).text, HasSubstr("vetoSignIn(false)"));
    calls->take();
    for (int i = 0; i < 2; ++i)
        EXPECT_THROW(made->persistIdentity(dataOf(ada())), std::runtime_error);
    EXPECT_THROW(made->impersonate(AccessToken("t"), ada()), std::runtime_error);
    EXPECT_THAT(calls->take(), IsEmpty()) << "the daemon gets no identity that was refused here";
    daemon->persisted = {};
    made = session();
    EXPECT_THROW(local->persistIdentity(dataOf(ada())), std::runtime_error);
    made->vetoSignIn(false);
    made->persistIdentity(dataOf(ada()));
    EXPECT_EQ(userOf(*made), u"ada");
}

} // namespace
