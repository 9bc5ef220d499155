#include "hshd/process/DaemonProcess.h"
#include "tests/hshd/Remote.h"

#include <csignal>

using namespace hshd::test;

namespace {

struct HshdProcess : Test {
    TempDirectory directory;
    const std::string here = directory / "run"; // for the socket and the state

    hshd::DaemonProcess daemon(std::vector<std::string> arguments = {}, const char* errors = "errors") {
        return hshd::DaemonProcess({.program = HSHD_PROGRAM,
                                    .socketDirectory = here,
                                    .stateDirectory = here,
                                    .arguments = std::move(arguments),
                                    .errorFile = directory / errors});
    }
    std::string errors() const { return contentOf(directory / "errors"); }
    static int exitCodeOf(hshd::DaemonProcess process) {
        try {
            process.start();
            return 0;
        } catch (const hshd::StartFailure& failure) {
            return failure.exitCode();
        }
    }
};

} // namespace

TEST_F(HshdProcess, ServesClientsAndKeepsItsStateThroughAKill) {
    auto first =
        daemon({"--signed-in", "ada:3", "--endpoint", "https://e.example", "--negotiation-timeout", "0.1"});
    ASSERT_EQ(first.start(), "hshd is ready on " + here + "/hshd.sock") << errors();
    ConnectedClient client(here, {}, loginService);
    Remote remote{client.found()};
    EXPECT_EQ(remote.call<LoginInfo>("getLoginInfo", std::string("test"), 3).displayName, u"ada");
    EXPECT_EQ(remote.call<std::string>("getEndpoint"), "https://e.example");

    std::promise<void> release;
    remote.addNegotiator("sleeper", [released = release.get_future().share()](auto&) {
        released.wait();
        return NegotiatorResponse();
    });
    remote.call("impersonate", std::string("eves token"), person(u"eve"));
    EXPECT_EQ(remote.negotiation().get(),
              (NegotiationsResult{false, {u"sleeper did not answer in time"}, {}}));
    release.set_value();
    EXPECT_THAT(errors(), HasSubstr("did not answer in time"));
    const auto session = remote.call<std::string>("getCurrentSessionId");

    EXPECT_EQ(exitCodeOf(daemon({}, "second")), 1);
    EXPECT_THAT(contentOf(directory / "second"), HasSubstr("another hshd"));

    EXPECT_EQ(first.kill(), -SIGKILL);
    auto next = daemon();
    ASSERT_THAT(next.start(), HasSubstr("ready")) << errors();
    Remote again{client.found(remote.service)};
    EXPECT_EQ(again.call<LoginInfo>("getLoginInfo", std::string("test"), 2), person(u"eve"));
    EXPECT_EQ(again.call<std::string>("getCurrentSessionId"), session);
    EXPECT_EQ(next.stop(), 0) << errors();
    EXPECT_THAT(errors(), Not(HasSubstr("eves token")));
}

TEST_F(HshdProcess, MistakesAreExplained) {
    const std::string accounts = directory / "accounts.json";
    const auto list = [](const std::string& text) { return R"({"accounts": [)" + text + "]}"; };
    const std::vector<std::string> withAccounts{"--accounts", accounts};
    const std::vector<std::string> scripted{"--script", accounts};
    const struct {
        std::string accounts; // or script
        std::vector<std::string> arguments;
        int exitCode;
        const char* text;
    } cases[] = {
        {"", {"--bogus"}, 2, "--bogus"},
        {"", {"--signed-in", "ada:9"}, 2, "1 (identified), 2 (signed in), 3 (confirmed)"},
        {"", {"--log-level", "loud"}, 2, "'loud'"},
        {"", {"--negotiation-timeout", "0"}, 2, "--negotiation-timeout"},
        {"", {"--accounts", accounts + "-missing"}, 1, "cannot read the accounts file"},
        {"{\"accounts\": [\n  }", withAccounts, 1, "accounts.json': invalid JSON at line 2, column 3"},
        {"[]", withAccounts, 1, R"(must be one object {"accounts": [...]})"},
        {list("7"), withAccounts, 1, "accounts[0] must be an object"},
        {list(R"({"name": "a"}, {"name": "b", "level": 4})"), withAccounts, 1,
         "accounts[1].level must be an integer from 1 to 3"},
        {list(R"({"displayName": "a"})"), withAccounts, 1, "accounts[0].name is missing"},
        {list(R"({"name": "a", "email": 1})"), withAccounts, 1, "[0].email must be a string"},
        {list(R"({"name": "a"}, {"name": "a"})"), withAccounts, 1, "accounts[1].name repeats 'a'"},
        {list(R"({"name": "a", "lvl": 1})"), withAccounts, 1, "accounts[0].lvl is not a known key"},
        {"", {"--script", accounts + "-missing"}, 1, "cannot read the script"},
        {R"({"rules": [{"method": "*", "do": "never"}, {"method": "*"}]})", scripted, 1,
         "rules[1].do must be one of call-back-first, cut-frame, error, exit, kill, late, never, wrong-type"},
        {R"({"rules": [{"do": "never"}]})", scripted, 1, "rules[0].method is missing"},
        {R"({"rules": [{"method": "*", "do": "never", "ms": 1}]})", scripted, 1,
         R"(rules[0].ms belongs to "do": "late")"},
        {R"({"rules": [{"method": "*", "do": "never", "from": 3, "to": 2}]})", scripted, 1,
         "rules[0].to must be an integer from 3"},
        {R"({"announce": [{"service": "Zelkor"}]})", scripted, 1,
         "'Zelkor', which is not offered; offered are ZelkorLogin (version 2), "},
        {R"({"rule": []})", scripted, 1, "the script.rule is not a known key; known are rules, announce"},
        {list(R"({"name": "a"})"), {"--accounts", accounts, "--signed-in", "b"}, 1, "no account 'b'"},
    };
    for (const auto& mistake : cases) {
        fs::remove(directory / "errors");
        std::ofstream(accounts) << mistake.accounts;
        EXPECT_EQ(exitCodeOf(daemon(mistake.arguments)), mistake.exitCode) << mistake.text;
        EXPECT_THAT(errors(), HasSubstr(mistake.text));
        EXPECT_FALSE(fs::exists(here)) << "a mistake must not leave a state behind";
    }
    std::ofstream(accounts) << list(R"({"name": "a", "displayName": "A\u00e9", "level": 1})");
    auto good = daemon({"--accounts", accounts, "--signed-in", "a"});
    ASSERT_THAT(good.start(), HasSubstr("ready"));
    EXPECT_THAT(errors(), HasSubstr("user: \"a\", name: \"A\u00e9\", level: 1"));
    EXPECT_EQ(good.stop(SIGINT), 0);
}

TEST_F(HshdProcess, AScriptMakesItMisbehave) {
    const std::string script = directory / "script.json";
    std::ofstream(script) << R"({
        "rules": [
            {"method": "getRelease", "on": 1, "do": "late", "ms": 20},
            {"method": "getRelease", "on": 2, "do": "error", "kind": "refused", "text": "come back later"},
            {"method": "getRelease", "on": 3, "do": "wrong-type"},
            {"method": "getEndpoint", "service": "ZelkorLogin", "version": 2, "do": "never"},
            {"method": "addStatusListener", "do": "call-back-first"},
            {"method": "getSourceId", "on": 1, "do": "cut-frame"},
            {"method": "getSourceId", "from": 2, "do": "exit", "code": 7}
        ],
        "announce": [{"service": "ZelkorLogin"}, {"service": "ZelkorLogin", "version": 2, "ranking": 5}]})";
    auto scripted = daemon({"--script", script, "--log-level", "all"});
    scripted.start();
    ConnectedClient client(here, {}, loginService);
    Remote remote{client.found()};
    const auto all = [&] { return client.context().GetServiceReferences<core::Invokable>(loginService); };
    ASSERT_TRUE(eventually([&] { return all().size() == 3; }));
    EXPECT_EQ(client.context().GetServiceReference<core::Invokable>().GetProperty("service.ranking"),
              cppmicroservices::Any(5));

    const auto release = remote.call<std::string>("getRelease");
    EXPECT_FALSE(release.empty());
    EXPECT_THROW(remote.call<std::string>("getRelease"), core::RefusedError);
    EXPECT_THROW(remote.call<std::string>("getRelease"), std::exception);
    EXPECT_EQ(remote.call<std::string>("getRelease"), release);
    auto never = remote.service->startCall<std::string>(std::chrono::seconds(1), "getEndpoint");
    EXPECT_THROW(never.result.get(), core::TimeoutError);

    std::atomic<int> called{0};
    remote.listen([&](auto&, auto&) { ++called; });
    EXPECT_EQ(called, 1) << "before the reply";

    EXPECT_THROW(remote.call<std::string>("getSourceId"), core::DisconnectedError);
    ASSERT_TRUE(eventually([&] { return client.connector().status().connections == 2; }));
    Remote again{client.found()};
    EXPECT_THROW(again.call<std::string>("getSourceId"), core::DisconnectedError);
    EXPECT_EQ(scripted.stop(), 7) << errors();
}
