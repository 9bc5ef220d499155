#include "hshd/process/DaemonProcess.h"
#include "tests/hshd/Remote.h"

#include <csignal>
#include <random>
#include <sstream>

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
    EXPECT_EQ(remote.negotiation().get(),
              (NegotiationsResult{false, {u"sleeper did not answer in time"}, {}}));
    release.set_value();
    EXPECT_THAT(errors(), HasSubstr("did not answer in time"));
    EXPECT_EQ(exitCodeOf(daemon({}, "second")), 1);
    EXPECT_THAT(contentOf(directory / "second"), HasSubstr("another hshd"));

    remote.call("impersonate", std::string("eves token"), person(u"eve"));
    const auto session = remote.call<std::string>("getCurrentSessionId");
    EXPECT_EQ(first.kill(), -SIGKILL);
    auto next = daemon();
    ASSERT_THAT(next.start(), HasSubstr("ready")) << errors();
    Remote again{client.found(remote.service)};
    EXPECT_EQ(again.call<LoginInfo>("getLoginInfo", std::string("test"), 2), person(u"eve"));
    EXPECT_EQ(again.call<std::string>("getCurrentSessionId"), session);
    EXPECT_EQ(next.stop(), 0) << errors();
    EXPECT_THAT(errors(), Not(HasSubstr("eves token")));
}

TEST_F(HshdProcess, AKillWhileItSavesLeavesAWholeStateWithAllThatItAnsweredFor) {
    // They differ in every text, and in length: a save takes many pages.
    const auto numbered = [](int n) {
        const auto text = std::to_string(n) + std::string(static_cast<std::size_t>(n % 7 * 15'000), 'x');
        auto data = dataOf(person({text.begin(), text.end()}));
        data.endpoint = data.refreshToken = data.deviceId = text;
        return data;
    };
    auto process = daemon();
    process.start();
    ConnectedClient client(here, {}, loginService);
    Remote remote{client.found()};
    remote.call("persistIdentity", numbered(0));
    std::mt19937 random(20240517);
    int last = 0;
    for (int round = 0; round < 50; ++round) {
        std::vector<std::future<void>> saves;
        for (int i = 1; i <= 8; ++i)
            saves.push_back(
                remote.service->invokeAsync<void>(generousLimit, "persistIdentity", numbered(last + i)));
        saves.at(random() % 4).wait();
        process.kill();
        int answered = last;
        for (auto& save : saves) {
            try {
                save.get();
                ++answered;
            } catch (const core::DisconnectedError&) {
            }
        }
        process.start();
        Remote again{client.found(remote.service)};
        const auto kept = again.call<LoginData>("getPersistedLoginData");
        last = std::stoi(kept.deviceId);
        ASSERT_EQ(kept, numbered(last));
        ASSERT_EQ(again.call<LoginInfo>("getLoginInfo", std::string("test"), 2), kept.info);
        ASSERT_GE(last, answered);
        remote.service = again.service;
    }
    EXPECT_THAT(errors(), Not(HasSubstr("damaged")));
}

TEST_F(HshdProcess, MistakesAreExplained) {
    const std::string file = directory / "given.json";
    std::ifstream mistakes(HSHD_MISTAKES);
    std::size_t checked = 0;
    for (std::string line; std::getline(mistakes, line); ++checked) {
        std::istringstream columns(line);
        std::string exitCode, arguments, text, complaint;
        for (auto* column : {&exitCode, &arguments, &text, &complaint})
            std::getline(columns >> std::ws, *column, '|');
        if (line.starts_with('#'))
            continue;
        std::istringstream words(arguments);
        std::vector<std::string> command{std::istream_iterator<std::string>(words), {}};
        for (auto& word : command) {
            if (word.starts_with("FILE"))
                word.replace(0, 4, file);
        }
        std::ranges::replace(text, '~', '\n');
        std::ofstream(file) << text;
        fs::remove(directory / "errors");
        EXPECT_EQ(exitCodeOf(daemon(command)), std::stoi(exitCode)) << line;
        EXPECT_THAT(errors(), HasSubstr(complaint));
        EXPECT_FALSE(fs::exists(here)) << "a mistake must not leave a state behind";
    }
    EXPECT_GT(checked, 20u);
    std::ofstream(file) << R"({"accounts": [{"name": "a", "displayName": "A\u00e9", "level": 1}]})";
    auto good = daemon({"--accounts", file, "--signed-in", "a"});
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
