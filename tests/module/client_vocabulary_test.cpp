// One walk over every operation of a client that is a remote call, three times: against a daemon that
// answers, one that fails, and none at all. Both versions take it.

#include "tests/module/ClientFixture.h"
#include "tests/support/Vocabulary.h"

namespace {

using namespace login;
using namespace zelkor::test;

constexpr auto kLevel = static_cast<LoginInfo::Level>(0x7fffff01); // any 32-bit value travels unchanged

detail::LoginData someData() {
    detail::LoginData data;
    data.refreshToken = "refresh";
    data.info = someone();
    data.rememberMe = true;
    return data;
}

/// Checks that these values arrive, each in its place, and no others.
using Arrival = std::function<void(const GenericPayload&)>;
template <class... Values>
Arrival arrives(const Values&... values) {
    return [=](const GenericPayload& sent) {
        ASSERT_EQ(sent.size(), sizeof...(Values));
        [[maybe_unused]] std::size_t slot = 0;
        [[maybe_unused]] const auto check = [&]<class Value>(const Value& value) {
            EXPECT_EQ(sent.get<Value>(slot), value) << "argument " << slot;
            ++slot;
        };
        (check(values), ...);
    };
}

/// What the daemon is sent by the walk, in either version; nothing where no row is.
const std::string me = "me", context = "context", id = "id", tokenText = "token";
const std::map<std::string, Arrival> arguments{
    {"getLoginInfo", arrives(me, 0x7fffff01)},
    {"getLoginInfoId", arrives(me, 0x7fffff01, id)},
    {"getLoginInfoAndLogTELX", arrives(me, 0x7fffff01, context)},
    {"isLoggedIn", arrives(me, 0x7fffff01)},
    {"requestAccessToken", arrives(me, 0x7fffff01)},
    {"requestAccessTokenAdvanced", arrives(me, 0x7fffff01)},
    {"impersonate", arrives(tokenText, someone())},
    {"persistIdentity", arrives(someData())},
    {"persistIdentityMFA", arrives(someData())},
    {"negotiateLogout", arrives(NegotiationTerms{77})},
    {"vetoSignIn", arrives(true)},
};

template <class Client>
struct Operations {
    /// The remote method it calls, what a daemon answers, and a check of what the caller gets for that answer
    /// and of what it gets on failure.
    struct Operation {
        std::string remote;
        GenericPayload answer;
        std::function<void(Client&)> onAnswer;
        std::function<void(Client&)> onFailure;
    };
    std::vector<Operation> all;

    template <class Result, class Ask>
    void query(const std::string& remote, const Result& answer, Ask ask, const Result& failure = {}) {
        all.push_back({remote, GenericPayload::of(answer),
                       [=](Client& client) { EXPECT_EQ(ask(client), answer) << remote; },
                       [=](Client& client) { EXPECT_EQ(ask(client), failure) << remote; }});
    }
    void command(const std::string& remote, std::function<void(Client&)> run) {
        all.push_back({remote,
                       {},
                       [=](Client& client) { EXPECT_NO_THROW(run(client)) << remote; },
                       [=](Client& client) { EXPECT_THROW(run(client), std::runtime_error) << remote; }});
    }

    void inBothVersions() {
        const std::string text = "some text";
        query("getLoginInfo", someone(), [](login::ZelkorLogin& c) { return c.getLoginInfo("me", kLevel); });
        command("impersonate", [](auto& c) { c.impersonate(AccessToken("token"), someone()); });
        query("getLoginInfoAndLogTELX", someone(),
              [](auto& c) { return c.getLoginInfoAndLogTELX("me", kLevel, "context"); });
        query("getEndpoint", text, [](auto& c) { return c.getEndpoint(); });
        query("getRelease", text, [](auto& c) { return c.getRelease(); });
        query("getSourceId", text, [](auto& c) { return c.getSourceId(); });
        command("clearSettings", [](auto& c) { c.clearSettings(); });
        query("getCurrentSessionId", text, [](auto& c) { return c.getCurrentSessionId(); });
        query("negotiateLogout", detail::NegotiationsResult{false, {u"busy"}, {u"save?"}},
              [](auto& c) { return c.negotiateLogout({77}); }, {true, {}, {}});
        command("completeLogout", [](auto& c) { c.completeLogout(); });
    }
};

const RequestAccessTokenResponse someToken{AccessToken("token"), 3};

auto operationsOf(const spf::ZelkorLogin*) {
    Operations<spf::ZelkorLogin> o;
    o.inBothVersions();
    o.query("requestAccessToken", someToken,
            [](auto& c) { return c.requestAccessTokenAdvanced("me", kLevel); });
    o.query("getAccessToken", someToken, [](auto& c) { return c.getAccessTokenAdvanced(); });
    o.query("isLoggedIn", true, [](auto& c) { return c.isLoggedIn("me", kLevel); });
    o.query("getPersistedLoginData", someData(), [](auto& c) { return c.getPersistedLoginData(); });
    o.command("persistIdentity", [](auto& c) { c.persistIdentity(someData()); });
    o.query("shouldVetoSignIn", true, [](auto& c) { return c.shouldVetoSignIn(); });
    o.command("vetoSignIn", [](auto& c) { c.vetoSignIn(true); });
    o.all.back().onFailure = o.all.back().onAnswer; // swallowed
    return o.all;
}

auto operationsOf(const ZelkorLoginImpl*) {
    Operations<ZelkorLoginImpl> o;
    o.inBothVersions();
    const std::string token = "token";
    const auto ask = [](auto& c) {
        const auto got = c.requestAccessToken("me", kLevel);
        return got ? got->getTokenString() : "none";
    };
    o.query("requestAccessToken", token, ask, std::string("none"));
    o.query("getAccessToken", token, [](auto& c) { return c.getAccessToken().getTokenString(); });
    o.query("requestAccessTokenAdvanced", someToken,
            [](auto& c) { return c.requestAccessTokenAdvanced("me", kLevel); });
    o.query("getAccessTokenAdvanced", someToken, [](auto& c) { return c.getAccessTokenAdvanced(); });
    o.query("getPersistedLoginDataMFA", someData(), [](auto& c) { return c.getPersistedLoginData(); });
    o.command("persistIdentityMFA", [](auto& c) { c.persistIdentity(someData()); });
    o.query("isLogoutVetoed", true, [](auto& c) { return c.isLogoutVetoed(); });
    o.query("getLoginInfoId", someone(), [](interactive::ZelkorLogin& c) {
        return c.getLoginInfo(std::string("me"), kLevel, std::string("id"));
    });
    o.query(
        "supportsWebRedirect", false, [](auto& c) { return c.supportsWebRedirect(); }, true);
    return o.all;
}

template <class Client>
class Vocabulary : public FixtureOf<Client> {
protected:
    static auto operations() { return operationsOf(static_cast<const Client*>(nullptr)); }
    void walkAnswering(Client& client, std::optional<int> configured) {
        for (const auto& operation : operations()) {
            SCOPED_TRACE(operation.remote);
            this->daemon.on(operation.remote, [&](const auto& call) { call.answer(operation.answer); });
            this->daemon.forgetCalls();
            this->log.clear();
            operation.onAnswer(client);
            const auto calls = this->daemon.calls();
            ASSERT_EQ(calls.size(), 1u);
            EXPECT_EQ(calls[0].method, operation.remote);
            const auto expected = arguments.find(operation.remote);
            (expected == arguments.end() ? arrives() : expected->second)(calls[0].arguments);
            EXPECT_EQ(calls[0].timeout,
                      std::chrono::seconds(configured.value_or(golden.at(operation.remote).seconds)));
            EXPECT_THAT(this->log.lines(), ElementsAre(Line(4, "Calling `" + operation.remote + "` on `" +
                                                                   this->service + "`")));
        }
    }
    const std::map<std::string, Row> golden = goldenVocabulary(this->service);
};
using Versions = ::testing::Types<spf::ZelkorLogin, ZelkorLoginImpl>;
TYPED_TEST_SUITE(Vocabulary, Versions);

TYPED_TEST(Vocabulary, EveryOperationIsOneCallWithItsDefaultOrTheConfiguredTimeout) {
    std::set<std::string> remotes;
    for (const auto& operation : this->operations())
        remotes.insert(operation.remote);
    for (const auto& [method, row] : this->golden) {
        const bool elsewhere = method.starts_with("add") || method.starts_with("remove") ||
                               method.ends_with("Async"); // registrations and requests have their own tests
        const bool unreachable = method == "isLoggedIn" && this->service == "ZelkorLogin-v1.7";
        EXPECT_EQ(remotes.contains(method), !elsewhere && !unreachable) << method;
    }
    for (const std::optional<int> configured : {std::optional<int>(), std::optional(3)}) {
        auto client = this->makeClient(configured, 10);
        this->appear();
        this->walkAnswering(*client, configured);
        client->Modified(nullptr, configuration(0, std::nullopt));
        this->walkAnswering(*client, 0);
        client.reset();
        this->daemon.disappear();
        this->settle();
    }
}

TYPED_TEST(Vocabulary, ARemoteFailureFollowsThePolicyOfItsRowAndIsLoggedOnce) {
    const auto client = this->makeClient(10, 10);
    this->appear();
    for (const auto& operation : this->operations()) {
        this->daemon.on(operation.remote, [&](const auto& call) { call.fail("out of `order`\n"); });
        this->log.clear();
        operation.onFailure(*client);
        EXPECT_EQ(this->log.count(256, "`" + operation.remote + "` on `" + this->service +
                                           "` failed: out of `order`\n"),
                  1u);
        EXPECT_EQ(this->log.lines().size(), 2u) << operation.remote;
        this->daemon.answer(operation.remote, std::vector<int>{1}); // another type than any row's
        if (operation.answer.size() != 0)
            operation.onFailure(*client);
    }
}

TYPED_TEST(Vocabulary, WithNoDaemonEveryRowEndsAtOnceWhenNotToldToWait) {
    const auto client = this->makeClient(10, 0);
    for (const auto& operation : this->operations()) {
        this->log.clear();
        operation.onFailure(*client);
        EXPECT_THAT(this->log.lines(), ElementsAre(Line(8, this->waiting(operation.remote, "0s")),
                                                   Line(256, this->service + " didn't appear. Cannot call " +
                                                                 operation.remote)));
    }
}

class Version2Vocabulary : public ClientFixture {};

TEST_F(Version2Vocabulary, ATokenThatIsNotUsableIsNoToken) {
    const auto client = makeClient(10, 0);
    EXPECT_FALSE(client->isLogoutVetoed());
    EXPECT_FALSE(client->requestAccessToken("me", kLevel));
    EXPECT_FALSE(client->getAccessToken());
    appear();
    daemon.answer("requestAccessToken", RequestAccessTokenResponse{AccessToken(), 5});
    EXPECT_FALSE(client->requestAccessToken("me", kLevel));
    daemon.answer("requestAccessToken", RequestAccessTokenResponse{AccessToken("t"), 0});
    EXPECT_EQ(client->requestAccessToken("me", kLevel)->getTokenString(), "t");
    daemon.answer("getAccessToken", RequestAccessTokenResponse{AccessToken("u"), 9});
    EXPECT_EQ(client->getAccessToken().getTokenString(), "u");
    daemon.answer("negotiateLogout", detail::NegotiationsResult{false, {}, {}});
    EXPECT_TRUE(client->isLogoutVetoed());
    EXPECT_EQ(daemon.calls().back().arguments.get<NegotiationTerms>(0).value, 1u);
}

} // namespace
