// One walk over every remote operation of the client, three times: against a daemon that answers, one that
// fails, and none at all.

#include "tests/component/ClientFixture.h"
#include "tests/support/Vocabulary.h"

namespace {

using namespace login;
using namespace zelkor::test;
using Client = login::spf::ZelkorLogin;

constexpr auto kLevel = static_cast<LoginInfo::Level>(0x7fffff01); // any 32-bit value travels unchanged

detail::LoginData someData() {
    detail::LoginData data;
    data.refreshToken = "refresh";
    data.info = someone();
    data.rememberMe = true;
    return data;
}

/// One operation: the remote method it calls, what a daemon answers, and a check of what the caller gets for
/// that answer and of what it gets on failure.
struct Operation {
    std::string remote;
    GenericPayload answer;
    std::function<void(Client&)> onAnswer;
    std::function<void(Client&)> onFailure;
};

template <class Result, class Ask>
Operation query(const std::string& remote, const Result& answer, Ask ask, const Result& failure = {}) {
    return {remote, GenericPayload::of(answer),
            [=](Client& client) { EXPECT_EQ(ask(client), answer) << remote; },
            [=](Client& client) { EXPECT_EQ(ask(client), failure) << remote; }};
}

Operation command(const std::string& remote, std::function<void(Client&)> run) {
    return {remote,
            {},
            [=](Client& client) { EXPECT_NO_THROW(run(client)) << remote; },
            [=](Client& client) { EXPECT_THROW(run(client), std::runtime_error) << remote; }};
}

std::vector<Operation> operations() {
    const RequestAccessTokenResponse token{AccessToken("token"), 3};
    const detail::NegotiationsResult refusal{false, {u"busy"}, {u"save?"}};
    const std::string text = "some text";
    std::vector<Operation> all{
        query("getLoginInfo", someone(), [](auto& c) { return c.getLoginInfo("me", kLevel); }),
        query("requestAccessToken", token,
              [](auto& c) { return c.requestAccessTokenAdvanced("me", kLevel); }),
        query("getAccessToken", token, [](auto& c) { return c.getAccessTokenAdvanced(); }),
        command("impersonate", [](auto& c) { c.impersonate(AccessToken("token"), someone()); }),
        query("isLoggedIn", true, [](auto& c) { return c.isLoggedIn("me", kLevel); }),
        query("getLoginInfoAndLogTELX", someone(),
              [](auto& c) { return c.getLoginInfoAndLogTELX("me", kLevel, "context"); }),
        query("getEndpoint", text, [](auto& c) { return c.getEndpoint(); }),
        query("getRelease", text, [](auto& c) { return c.getRelease(); }),
        query("getSourceId", text, [](auto& c) { return c.getSourceId(); }),
        query("getPersistedLoginData", someData(), [](auto& c) { return c.getPersistedLoginData(); }),
        command("persistIdentity", [](auto& c) { c.persistIdentity(someData()); }),
        command("clearSettings", [](auto& c) { c.clearSettings(); }),
        query("getCurrentSessionId", text, [](auto& c) { return c.getCurrentSessionId(); }),
        query("negotiateLogout", refusal, [](auto& c) { return c.negotiateLogout({77}); }, {true, {}, {}}),
        command("completeLogout", [](auto& c) { c.completeLogout(); }),
        query("shouldVetoSignIn", true, [](auto& c) { return c.shouldVetoSignIn(); }),
    };
    Operation veto = command("vetoSignIn", [](auto& c) { c.vetoSignIn(true); });
    veto.onFailure = veto.onAnswer; // swallowed
    all.push_back(veto);
    return all;
}

class ClientVocabulary : public ClientFixture {
protected:
    void walkAnswering(Client& client, std::optional<int> configured) {
        const auto rows = goldenVocabulary();
        ASSERT_EQ(rows.size(), operations().size() + 4); // and the registrations
        for (const Operation& operation : operations()) {
            daemon.on(operation.remote, [&](const auto& call) { call.answer(operation.answer); });
            daemon.forgetCalls();
            log.clear();
            operation.onAnswer(client);
            const auto calls = daemon.calls();
            ASSERT_EQ(calls.size(), 1u) << operation.remote;
            const auto& row = rows.at(operation.remote);
            EXPECT_EQ(calls[0].method, operation.remote);
            EXPECT_EQ(calls[0].descriptor, row.descriptor);
            EXPECT_EQ(calls[0].timeout, std::chrono::seconds(configured.value_or(row.seconds)));
            EXPECT_THAT(log.lines(),
                        ElementsAre(Line(4, "Calling `" + operation.remote + "` on `ZelkorLogin-v2.1`")));
        }
    }
};

TEST_F(ClientVocabulary, EveryOperationIsOneCallOfItsRowWithItsDefaultOrTheConfiguredTimeout) {
    for (const std::optional<int> configured : {std::optional<int>(), std::optional(3)}) {
        auto client = makeClient(configured, 10);
        appear();
        walkAnswering(*client, configured);
        client->Modified(nullptr, configuration(0, std::nullopt));
        walkAnswering(*client, 0);
        client.reset();
        daemon.disappear();
        settle();
    }
}

TEST_F(ClientVocabulary, ARemoteFailureFollowsThePolicyOfItsRowAndIsLoggedOnce) {
    const auto client = makeClient(10, 10);
    appear();
    for (const Operation& operation : operations()) {
        daemon.on(operation.remote, [&](const auto& call) { call.fail("out of `order`\n"); });
        log.clear();
        operation.onFailure(*client);
        EXPECT_EQ(log.count(256, "`" + operation.remote + "` on `ZelkorLogin-v2.1` failed: out of `order`\n"),
                  1u);
        EXPECT_EQ(log.lines().size(), 2u) << operation.remote;
        daemon.answer(operation.remote, std::vector<int>{1}); // another type than any row's
        if (operation.answer.size() != 0)
            operation.onFailure(*client);
    }
}

TEST_F(ClientVocabulary, WithNoDaemonEveryRowEndsAtOnceWhenNotToldToWait) {
    const auto client = makeClient(10, 0);
    for (const Operation& operation : operations()) {
        log.clear();
        operation.onFailure(*client);
        EXPECT_THAT(log.lines(), ElementsAre(Line(8, waiting(operation.remote, "0s")),
                                             Line(256, "ZelkorLogin-v2.1 didn't appear. Cannot call " +
                                                           operation.remote)));
    }
    EXPECT_FALSE(client->isLogoutVetoed());
    EXPECT_FALSE(client->requestAccessToken("me", kLevel));
    EXPECT_FALSE(client->getAccessToken());
}

TEST_F(ClientVocabulary, ArgumentsArriveAsGiven) {
    const auto client = makeClient(10, 10);
    appear();
    for (const Operation& operation : operations())
        daemon.on(operation.remote, [&](const auto& call) { call.fail(""); });
    const auto sent = [&](const std::function<void()>& run) {
        daemon.forgetCalls();
        try {
            run();
        } catch (const std::runtime_error&) {
        }
        return daemon.calls().at(0).arguments;
    };
    auto got = sent([&] { (void)client->getLoginInfoAndLogTELX("me", kLevel, "context"); });
    EXPECT_EQ(got.get<std::string>(0), "me");
    EXPECT_EQ(got.get<int>(1), 0x7fffff01);
    EXPECT_EQ(got.get<std::string>(2), "context");
    got = sent([&] { client->impersonate(AccessToken("token"), someone()); });
    EXPECT_EQ(got.get<std::string>(0), "token");
    EXPECT_EQ(got.get<LoginInfo>(1), someone());
    got = sent([&] { client->persistIdentity(someData()); });
    EXPECT_EQ(got.get<detail::LoginData>(0), someData());
    got = sent([&] { client->vetoSignIn(true); });
    EXPECT_TRUE(got.get<bool>(0));
    got = sent([&] { EXPECT_FALSE(client->isLogoutVetoed()); });
    EXPECT_EQ(got.get<NegotiationTerms>(0).value, 1u);
}

TEST_F(ClientVocabulary, ATokenThatIsNotUsableIsNoToken) {
    const auto client = makeClient(10, 10);
    appear();
    daemon.answer("requestAccessToken", RequestAccessTokenResponse{AccessToken(), 5});
    EXPECT_FALSE(client->requestAccessToken("me", kLevel));
    daemon.answer("requestAccessToken", RequestAccessTokenResponse{AccessToken("t"), 0});
    EXPECT_EQ(client->requestAccessToken("me", kLevel)->getTokenString(), "t");
    daemon.answer("getAccessToken", RequestAccessTokenResponse{AccessToken("u"), 9});
    EXPECT_EQ(client->getAccessToken().getTokenString(), "u");
    daemon.answer("negotiateLogout", detail::NegotiationsResult{false, {}, {}});
    EXPECT_TRUE(client->isLogoutVetoed());
}

} // namespace
