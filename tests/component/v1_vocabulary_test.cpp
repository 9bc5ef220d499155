// Each operation of the version-1 client: what it asks, how long, and what it answers when that fails.

#include "tests/support/ClientConfiguration.h"
#include "tests/support/FakeDaemon.h"
#include "tests/support/TestFramework.h"
#include "tests/support/Testing.h"
#include "v1/ZelkorLoginImpl.h"

namespace {

using namespace login;
using namespace zelkor::test;
using agent::spf::core::GenericPayload;
using Level = LoginInfo::Level;

struct Row {
    const char* method;
    std::chrono::seconds limit;
    std::function<void(ZelkorLoginImpl&)> failing; ///< makes the call and looks at what it answers
    GenericPayload answer = {};
    std::function<bool(ZelkorLoginImpl&)> answered = {}; ///< makes the call that succeeds
};

RequestAccessTokenResponse response() {
    return {AccessToken("token"), 200};
}
detail::LoginData data() {
    detail::LoginData data;
    data.refreshToken = "refresh";
    return data;
}

const std::vector<Row> rows{
    {"getLoginInfo", 130s, [](auto& c) { EXPECT_EQ(c.getLoginInfo("me", Level::SignedIn), LoginInfo()); },
     GenericPayload::of(someone()),
     [](auto& c) { return c.getLoginInfo("me", Level::SignedIn) == someone(); }},
    {"requestAccessToken", 130s, [](auto& c) { EXPECT_FALSE(c.requestAccessToken("me", Level::SignedIn)); },
     GenericPayload::of(std::string("token")),
     [](auto& c) { return c.requestAccessToken("me", Level::SignedIn)->getTokenString() == "token"; }},
    {"requestAccessTokenAdvanced", 130s,
     [](auto& c) {
         EXPECT_EQ(c.requestAccessTokenAdvanced("me", Level::SignedIn), RequestAccessTokenResponse());
     },
     GenericPayload::of(response()),
     [](auto& c) { return c.requestAccessTokenAdvanced("me", Level::SignedIn) == response(); }},
    {"getAccessToken", 130s, [](auto& c) { EXPECT_FALSE(c.getAccessToken()); },
     GenericPayload::of(std::string("token")),
     [](auto& c) { return c.getAccessToken().getTokenString() == "token"; }},
    {"getAccessTokenAdvanced", 130s,
     [](auto& c) { EXPECT_EQ(c.getAccessTokenAdvanced(), RequestAccessTokenResponse()); },
     GenericPayload::of(response()), [](auto& c) { return c.getAccessTokenAdvanced() == response(); }},
    {"impersonate", 130s,
     [](auto& c) { EXPECT_THROW(c.impersonate(AccessToken("token"), someone()), std::runtime_error); }},
    {"getLoginInfoAndLogTELX", 130s,
     [](auto& c) { EXPECT_EQ(c.getLoginInfoAndLogTELX("me", Level::SignedIn, "x"), LoginInfo()); },
     GenericPayload::of(someone()),
     [](auto& c) { return c.getLoginInfoAndLogTELX("me", Level::SignedIn, "x") == someone(); }},
    {"getEndpoint", 10s, [](auto& c) { EXPECT_EQ(c.getEndpoint(), ""); },
     GenericPayload::of(std::string("e")), [](auto& c) { return c.getEndpoint() == "e"; }},
    {"getRelease", 10s, [](auto& c) { EXPECT_EQ(c.getRelease(), ""); }},
    {"getSourceId", 10s, [](auto& c) { EXPECT_EQ(c.getSourceId(), ""); }},
    {"getCurrentSessionId", 10s, [](auto& c) { EXPECT_EQ(c.getCurrentSessionId(), ""); }},
    {"getPersistedLoginDataMFA", 10s,
     [](auto& c) { EXPECT_EQ(c.getPersistedLoginData(), detail::LoginData()); }, GenericPayload::of(data()),
     [](auto& c) { return c.getPersistedLoginData() == data(); }},
    {"persistIdentityMFA", 10s, [](auto& c) { EXPECT_THROW(c.persistIdentity(data()), std::runtime_error); }},
    {"clearSettings", 10s, [](auto& c) { EXPECT_THROW(c.clearSettings(), std::runtime_error); }},
    {"completeLogout", 10s, [](auto& c) { EXPECT_THROW(c.completeLogout(), std::runtime_error); }},
    {"isLogoutVetoed", 10s, [](auto& c) { EXPECT_FALSE(c.isLogoutVetoed()); }, GenericPayload::of(true),
     [](auto& c) { return c.isLogoutVetoed(); }},
    {"negotiateLogout", 10s,
     [](auto& c) {
         EXPECT_EQ(c.negotiateLogout({1}), (detail::NegotiationsResult{true, {}, {}}));
     },
     GenericPayload::of(detail::NegotiationsResult{false, {u"no"}, {}}),
     [](auto& c) { return !c.negotiateLogout({1}).accepted; }},
    {"supportsWebRedirect", 10s, [](auto& c) { EXPECT_TRUE(c.supportsWebRedirect()); },
     GenericPayload::of(false), [](auto& c) { return !c.supportsWebRedirect(); }},
    {"getLoginInfoId", 130s,
     [](interactive::ZelkorLogin& c) {
         EXPECT_EQ(c.getLoginInfo(std::string("me"), Level::SignedIn, std::string("id")), LoginInfo());
     },
     GenericPayload::of(someone()),
     [](interactive::ZelkorLogin& c) {
         return c.getLoginInfo(std::string("me"), Level::SignedIn, std::string("id")) == someone();
     }},
};

class Version1 : public Test {
protected:
    std::unique_ptr<ZelkorLoginImpl> makeClient(std::optional<int> call, std::optional<int> service) {
        return std::make_unique<ZelkorLoginImpl>(configuration(call, service));
    }
    TestFramework framework;
    FakeDaemon daemon{framework.context(), {"ZelkorLogin", 1, 7}};
    RecordingLog log{"login.ZelkorLoginImpl"};
};

TEST_F(Version1, EachOperationAsksItsMethodAndAnswersAsThatEnds) {
    const auto unconfigured = makeClient({}, {});
    const auto limited = makeClient(7, {});
    daemon.answer("getLoginInfo", LoginInfo());
    daemon.appear();
    ASSERT_TRUE(log.waitFor(16, "Found an invokable for ZelkorLogin-v1.7", 2));
    ASSERT_TRUE(daemon.waitForCalls("getLoginInfo", 2)); // at each find
    daemon.on("getLoginInfo", [](const auto& call) { call.fail("no"); });
    for (const auto& row : rows) {
        SCOPED_TRACE(row.method);
        for (const auto& [client, limit] : {std::pair{unconfigured.get(), row.limit}, {limited.get(), 7s}}) {
            daemon.forgetCalls();
            row.failing(*client);
            ASSERT_EQ(daemon.calls().size(), 1u);
            EXPECT_EQ(daemon.calls()[0].method, row.method);
            EXPECT_EQ(daemon.calls()[0].timeout, limit);
        }
        if (row.answered) {
            daemon.on(row.method, [&row](const auto& call) { call.answer(row.answer); });
            EXPECT_TRUE(row.answered(*limited));
        }
    }
}

TEST_F(Version1, WithNoDaemonEachFailsAtOnceWhenNotToldToWaitAndTheRestDoesNothing) {
    const auto client = makeClient({}, 0);
    for (const auto& row : rows)
        row.failing(*client);
    log.clear();
    interactive::ZelkorLogin& requests = *client;
    requests.abort();
    requests.requestLoginAsyncInternal({}, {}, {}, {}, {});
    requests.requestLogoutAsyncInternal({}, {});
    requests.logTELXData({}, {});
    EXPECT_FALSE(client->shouldVetoSignIn());
    EXPECT_THAT([&] { client->vetoSignIn(true); },
                ThrowsMessage<std::runtime_error>("ZelkorLogin-v1.x doesn't support vetoing sign in."));
    EXPECT_THAT(log.lines(), IsEmpty()) << "nothing was asked";
}

TEST_F(Version1, AnIdIsTheDaemonsUntilAnotherDaemonGivesAnother) {
    const auto client = makeClient(10, 0);
    const auto fallback = client->addStatusListenerV2([](const auto&, const auto&) {}); // nobody there
    std::vector<boost::uuids::uuid> given;
    const auto give = [&](const auto& call) {
        given.push_back(detail::createUuid());
        call.answer(GenericPayload::of(given.back()));
    };
    for (const char* method : {"addStatusListener", "addStatusListenerV2", "addLogoutVetoer"})
        daemon.on(method, give);
    daemon.answer("removeStatusListener", true);
    daemon.answer("removeLogoutVetoer", false); // what it answers is nobody's concern
    daemon.appear();
    ASSERT_TRUE(daemon.waitForCalls("addStatusListenerV2"));
    const auto vetoer = client->addLogoutVetoer([] { return true; });
    EXPECT_EQ(vetoer.getValue(), given.at(1));
    EXPECT_TRUE(client->removeStatusListener(fallback)) << "found in the second registry";
    EXPECT_EQ(daemon.calls().back().arguments.get<boost::uuids::uuid>(0), given.at(0));
    EXPECT_FALSE(client->removeStatusListener(fallback));

    daemon.disappear();
    ASSERT_TRUE(log.waitFor(16, "Invokable for ZelkorLogin-v1.7 was removed"));
    daemon.appear();
    ASSERT_TRUE(daemon.waitForCalls("addLogoutVetoer", 2));
    EXPECT_TRUE(client->removeLogoutVetoer(vetoer));
    EXPECT_EQ(daemon.calls().back().method, "removeLogoutVetoer");
    EXPECT_EQ(daemon.calls().back().arguments.get<boost::uuids::uuid>(0), given.at(2)) << "the new daemon's";
}

} // namespace
