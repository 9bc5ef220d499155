// One walk over every remote operation of the client, three times: against a daemon that answers, one that
// fails, and none at all.

#include "tests/component/ClientFixture.h"

#include <any>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>

namespace {

using namespace login;
using agent::spf::core::GenericPayload;
using zelkor::test::ClientFixture;
using Client = login::spf::ZelkorLogin;

constexpr auto kLevel = static_cast<LoginInfo::Level>(0x7fffff01); // any 32-bit value travels unchanged

LoginInfo someone() {
    LoginInfo info;
    info.userId = u"someone";
    info.level = LoginInfo::Level::SignedIn;
    return info;
}

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

template <class Result>
Operation query(const std::string& remote, const Result& answer, const Result& failure,
                std::function<Result(Client&)> ask) {
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
    const NegotiationTerms terms{77};
    const auto text = [](const std::string& remote, std::string (Client::*member)()) {
        return query<std::string>(remote, "some text", "", [member](Client& c) { return (c.*member)(); });
    };
    std::vector<Operation> all{
        query<LoginInfo>("getLoginInfo", someone(), {}, [](auto& c) { return c.getLoginInfo("me", kLevel); }),
        query<RequestAccessTokenResponse>("requestAccessToken", token, {},
                                          [](auto& c) { return c.requestAccessTokenAdvanced("me", kLevel); }),
        query<RequestAccessTokenResponse>("getAccessToken", token, {},
                                          [](auto& c) { return c.getAccessTokenAdvanced(); }),
        command("impersonate", [](auto& c) { c.impersonate(AccessToken("token"), someone()); }),
        query<bool>("isLoggedIn", true, false, [](auto& c) { return c.isLoggedIn("me", kLevel); }),
        query<LoginInfo>("getLoginInfoAndLogTELX", someone(), {},
                         [](auto& c) { return c.getLoginInfoAndLogTELX("me", kLevel, "context"); }),
        text("getEndpoint", &Client::getEndpoint),
        text("getRelease", &Client::getRelease),
        text("getSourceId", &Client::getSourceId),
        query<detail::LoginData>("getPersistedLoginData", someData(), {},
                                 [](auto& c) { return c.getPersistedLoginData(); }),
        command("persistIdentity", [](auto& c) { c.persistIdentity(someData()); }),
        command("clearSettings", [](auto& c) { c.clearSettings(); }),
        text("getCurrentSessionId", &Client::getCurrentSessionId),
        query<detail::NegotiationsResult>("negotiateLogout", refusal, {true, {}, {}},
                                          [terms](auto& c) { return c.negotiateLogout(terms); }),
        command("completeLogout", [](auto& c) { c.completeLogout(); }),
        query<bool>("shouldVetoSignIn", true, false, [](auto& c) { return c.shouldVetoSignIn(); }),
    };
    Operation veto = command("vetoSignIn", [](auto& c) { c.vetoSignIn(true); });
    veto.onFailure = veto.onAnswer; // swallowed
    all.push_back(veto);
    return all;
}

struct Golden {
    std::string descriptor;
    int seconds;
};

/// Lines of "name seconds descriptor".
std::map<std::string, Golden> golden() {
    std::map<std::string, Golden> rows;
    std::ifstream file(ZELKOR_GOLDEN_FILE);
    for (std::string line; std::getline(file, line);) {
        std::istringstream fields(line);
        std::string name;
        Golden row;
        if (line.starts_with('#') || !(fields >> name >> row.seconds >> row.descriptor))
            continue;
        rows[name] = row;
    }
    return rows;
}

class ClientVocabulary : public ClientFixture {
protected:
    void walkAnswering(Client& client, std::optional<int> configured) {
        const auto rows = golden();
        ASSERT_EQ(rows.size(), operations().size());
        for (const Operation& operation : operations()) {
            daemon.on(operation.remote, [&](const auto& call) { call.answer(operation.answer); });
            daemon.forgetCalls();
            log.clear();
            operation.onAnswer(client);
            const auto calls = daemon.calls();
            ASSERT_EQ(calls.size(), 1u) << operation.remote;
            const Golden& row = rows.at(operation.remote);
            EXPECT_EQ(calls[0].method, operation.remote);
            EXPECT_EQ(calls[0].descriptor, row.descriptor);
            EXPECT_EQ(calls[0].timeout, std::chrono::seconds(configured.value_or(row.seconds)));
            using Line = zelkor::test::RecordingLog::Line;
            EXPECT_EQ(log.lines(),
                      std::vector<Line>{Line(4, "Calling `" + operation.remote + "` on `ZelkorLogin-v2.1`")});
        }
    }
};

TEST_F(ClientVocabulary, EveryOperationIsOneCallOfItsRowWithItsDefaultTimeout) {
    const auto client = makeClient(std::nullopt, 10);
    appear();
    walkAnswering(*client, std::nullopt);
}

TEST_F(ClientVocabulary, AConfiguredTimeoutHoldsForEveryRowAndCanBeChanged) {
    const auto client = makeClient(3, 10);
    appear();
    walkAnswering(*client, 3);
    client->updateTimeouts(*zelkor::test::configuration(0, std::nullopt));
    walkAnswering(*client, 0);
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
        using Line = zelkor::test::RecordingLog::Line;
        EXPECT_EQ(log.lines(),
                  (std::vector<Line>{
                      Line(8, "Invokable for `ZelkorLogin-v2.1` is not yet available (calling `" +
                                  operation.remote + "`). Waiting for up to 0s..."),
                      Line(256, "ZelkorLogin-v2.1 didn't appear. Cannot call " + operation.remote)}));
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
    const auto sent = [&](auto&& run) {
        daemon.forgetCalls();
        run();
        return daemon.calls().at(0).arguments;
    };
    auto arguments =
        sent([&] { static_cast<void>(client->getLoginInfoAndLogTELX("me", kLevel, "context")); });
    EXPECT_EQ(arguments.get<std::string>(0), "me");
    EXPECT_EQ(arguments.get<int>(1), 0x7fffff01);
    EXPECT_EQ(arguments.get<std::string>(2), "context");
    arguments =
        sent([&] { EXPECT_THROW(client->impersonate(AccessToken("token"), someone()), std::runtime_error); });
    EXPECT_EQ(arguments.get<std::string>(0), "token");
    EXPECT_EQ(arguments.get<LoginInfo>(1), someone());
    arguments = sent([&] { EXPECT_THROW(client->persistIdentity(someData()), std::runtime_error); });
    EXPECT_EQ(arguments.get<detail::LoginData>(0), someData());
    arguments = sent([&] { client->vetoSignIn(true); });
    EXPECT_TRUE(arguments.get<bool>(0));
    arguments = sent([&] { EXPECT_FALSE(client->isLogoutVetoed()); });
    EXPECT_EQ(arguments.get<NegotiationTerms>(0).value, 1u);
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
