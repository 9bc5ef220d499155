// Requests of the interactive client: each ends once, whatever becomes of the daemon, the request and the
// client.

#include "module/v2/interactive/desktop/ZelkorLogin.h"
#include "tests/module/Subjects.h"
#include "tests/support/OneThread.h"
#include "tests/support/Recorded.h"
#include "tests/support/Rounds.h"

#include <random>

namespace {

using namespace login;
using namespace zelkor::test;
using agent::spf::core::DisconnectedError;
using Client = login::interactive::ZelkorLogin;
using Level = LoginInfo::Level;
using Line = RecordingLog::Line;

/// How a request ended.
struct Ended {
    LoginInfo info;
    std::exception_ptr error;

    std::string text() const {
        try {
            if (error)
                std::rethrow_exception(error);
        } catch (const std::exception& failure) {
            return failure.what();
        }
        return {};
    }
};

using Endings = Recorded<Ended>; ///< of one request

const login::interactive::LoginOptions loginOptions{true, true, "hint"}; ///< none is the default
const login::interactive::LogoutOptions logoutOptions{false, true};

const std::string withdrawn =
    "The request ended without an outcome: it was aborted, or the daemon or this client went away";

/// A client that requests interactively, and one of its two requests. Against a fake daemon, with an executor
/// of one thread.
class Interactive : public TestWithParam<std::tuple<Subject, bool>> {
protected:
    static const Subject& subject() { return std::get<0>(GetParam()); }
    static bool login() { return std::get<1>(GetParam()); }
    static bool version1() { return subject().name == "V1"; }
    static std::string method() { return login() ? "requestLoginAsync" : "requestLogoutWithOptionsAsync"; }
    static std::shared_ptr<Client> makeClient(int service, Executor& pool) {
        const auto made = subject().make(10, service, agent::spf::cppmsclientutils::Executors(pool));
        return {made.owner, made.interactive};
    }
    std::shared_ptr<Client> makeClient(int service) { return makeClient(service, executor); }
    void appear() {
        daemon.appear();
        settle();
    }
    void settle() { ASSERT_TRUE(executor.settles()); }
    std::shared_ptr<Endings> request(
        Client& client, const std::function<void()>& body = [] {}) const {
        auto endings = std::make_shared<Endings>();
        const auto ended = [endings, body](LoginInfo info, std::exception_ptr error) {
            endings->add({std::move(info), std::move(error)});
            body();
        };
        if (login())
            client.requestLoginAsync("me", ended, Level::SignedIn, loginOptions);
        else
            client.requestLogoutAsync([ended](std::exception_ptr error) { ended({}, std::move(error)); },
                                      logoutOptions);
        return endings;
    }
    /// The blocking form.
    LoginInfo requestAndWait(Client& client) const {
        if (login())
            return client.requestLogin("me", Level::SignedIn, loginOptions);
        client.requestLogout(logoutOptions);
        return {};
    }
    /// What the daemon calls back with.
    GenericPayload outcome(const std::string& error) const {
        return login() ? GenericPayload::of(someone(), error) : GenericPayload::of(error);
    }
    /// The daemon's outcome of the request that came last.
    void complete(const std::string& error) {
        daemon.callbacks()->invoke(callbackOf(daemon.calls().back()), {}, outcome(error));
    }

    RecordingLog log{subject().component};
    TestFramework framework;
    OneThread executor;
    FakeDaemon daemon{framework.context(), subject().identity};
};

TEST_P(Interactive, TheDaemonsOutcomeEndsIt) {
    const auto client = makeClient(10);
    appear();
    daemon.on(method(), [](const auto& call) { call.answer({}); });
    auto endings = request(*client);
    EXPECT_TRUE(endings->all().empty());
    log.clear();
    complete("");
    EXPECT_EQ(endings->at(0).text(), "");
    EXPECT_EQ(endings->at(0).info, login() ? someone() : LoginInfo());
    if (login()) {
        EXPECT_THAT(
            log.linesAt(4),
            ElementsAre(Field(&Line::text, AllOf(StartsWith("requestLoginAsync successful. LoginInfo is: "),
                                                 HasSubstr("someone")))));
    } else {
        EXPECT_THAT(log.lines(), IsEmpty());
    }
    EXPECT_THROW(complete("again"), std::runtime_error) << "it is over";
    endings = request(*client);
    complete("refused by the user");
    EXPECT_EQ(endings->at(0).text(), "refused by the user");
    EXPECT_EQ(endings->at(0).info, LoginInfo());
    EXPECT_THAT(log.lines(),
                Contains(Line(version1() ? 512 : 256, method() + " failed: refused by the user")));
    EXPECT_EQ(endings->all().size(), 1u);

    std::thread daemonsThread; // the outcome before the reply, and the blocking form
    daemon.on(method(), [&](const auto& call) {
        daemonsThread = std::thread([this, call] {
            daemon.callbacks()->invoke(callbackOf(call), {}, outcome(""));
            call.answer({});
        });
    });
    EXPECT_EQ(requestAndWait(*client), login() ? someone() : LoginInfo());
    daemonsThread.join();
    EXPECT_EQ(daemon.callbacks()->size(), 0u);
    const auto call = daemon.calls().back();
    if (login()) {
        EXPECT_EQ(call.arguments.get<std::string>(0), "me");
        EXPECT_EQ(call.arguments.get<int>(2), 2);
        EXPECT_EQ(call.arguments.get<std::string>(3),
                  R"({"rememberMe":true,"forcePrompt":true,"accountHint":"hint"})");
    } else {
        EXPECT_EQ(call.arguments.get<std::string>(1), R"({"askConsent":false,"forgetAccount":true})");
    }
}

TEST_P(Interactive, AFailureToStartEndsIt) {
    const auto client = makeClient(0);
    EXPECT_EQ(request(*client)->at(0).text(), subject().identity.text() + " didn't appear.");
    EXPECT_THROW(requestAndWait(*client), std::runtime_error);
    if (login())
        EXPECT_THROW(client->requestLoginAsync("me", nullptr, Level::SignedIn, {}), std::bad_function_call);
    else
        EXPECT_THROW(client->requestLogoutAsync(nullptr, {}), std::bad_function_call);
    appear();
    daemon.on(method(), [](const auto& call) { call.fail("not now"); });
    const auto endings = request(*client);
    EXPECT_EQ(endings->at(0).text(), "not now");
    EXPECT_EQ(daemon.callbacks()->size(), 0u) << "the daemon did not take it";
    daemon.on(method(), [this](const auto& call) { // an outcome, then a failure
        daemon.callbacks()->invoke(callbackOf(call), {}, outcome(""));
        call.fail("late");
    });
    EXPECT_EQ(request(*client)->all().size(), 1u);
}

TEST_P(Interactive, WhatIsWithdrawnEndsToo) {
    daemon.on(method(), [](const auto& call) { call.answer({}); });
    const std::vector<std::function<void(std::shared_ptr<Client>&)>> ways{
        [this](auto&) { daemon.disappear(); },
        [this](auto& client) {
            client->abort(); // the daemon knows no abort: that is not told
            EXPECT_EQ(daemon.count("abort"), version1() ? 0u : 1u);
            if (version1()) {
                settle();
                daemon.disappear();
            }
        },
        [](auto& client) { client.reset(); },
        [this](auto&) { // what cannot be read
            EXPECT_THROW(daemon.callbacks()->invoke(callbackOf(daemon.calls()[0]), {}, GenericPayload::of(7)),
                         std::exception);
        }};
    for (const auto& end : ways) {
        auto client = makeClient(10);
        appear();
        daemon.forgetCalls();
        const auto endings = request(*client);
        end(client);
        EXPECT_EQ(endings->at(0).text(), withdrawn);
        EXPECT_THROW(std::rethrow_exception(endings->at(0).error), DisconnectedError);
        settle();
        EXPECT_EQ(endings->all().size(), 1u);
        daemon.disappear();
        settle();
    }
    auto client = makeClient(10); // the blocking form, and a handler that ends the client
    appear();
    daemon.forgetCalls();
    auto waiting = std::async(std::launch::async, [&] { return requestAndWait(*client); });
    ASSERT_TRUE(daemon.waitForCalls(method()));
    daemon.disappear();
    ASSERT_TRUE(comes(waiting));
    EXPECT_THROW(waiting.get(), DisconnectedError);
    appear();
    std::atomic<bool> clientEnded = false;
    const auto endings = request(*client, [&] {
        client.reset();
        clientEnded = true;
    });
    daemon.disappear();
    EXPECT_EQ(endings->at(0).text(), withdrawn);
    ASSERT_TRUE(eventually([&] { return clientEnded.load(); }));
    settle();
}

TEST_P(Interactive, EachOfManyRequestsEndsOnceInWhicheverOrderThingsHappen) {
    std::minstd_rand random(4711);
    const auto chance = [&](int in) { return static_cast<int>(random() % static_cast<unsigned>(in)) == 0; };
    Executor several{{.minThreads = 1, .maxThreads = 4, .idleTimeout = 30s, .name = "several"}};
    daemon.answer("abort");
    const int count = rounds(300);
    for (int round = 0; round < count; ++round) {
        const bool early = chance(4), refuse = chance(4), abort = chance(3), gone = chance(3),
                   die = chance(3);
        auto client = makeClient(0, several);
        daemon.appear();
        ASSERT_TRUE(eventually([&] { return several.statistics().queues == 0; }));
        std::vector<std::jthread> beside;
        daemon.on(method(), [&](const auto& call) {
            const auto outcomeComes = [this, call, callbacks = daemon.callbacks()] {
                try {
                    callbacks->invoke(callbackOf(call), {}, outcome(""));
                } catch (const std::exception&) {
                    // withdrawn before
                }
            };
            if (early)
                outcomeComes();
            else
                beside.emplace_back(outcomeComes);
            refuse ? call.fail("refused") : call.answer({});
        });
        const auto endings = request(*client);
        if (abort)
            beside.emplace_back([client] { client->abort(); });
        if (gone)
            beside.emplace_back([this] { daemon.disappear(); });
        if (die)
            client.reset();
        endings->at(0);
        beside.clear();
        client.reset();
        daemon.disappear();
        daemon.forgetCalls();
        ASSERT_TRUE(eventually([&] { return several.statistics().queues == 0; }));
        ASSERT_EQ(endings->all().size(), 1u) << "round " << round;
        log.clear();
    }
}

INSTANTIATE_TEST_SUITE_P(Requests, Interactive,
                         Combine(Values(Subject::interactiveVersion2(), Subject::version1()), Bool()),
                         [](const auto& cell) {
                             return std::get<0>(cell.param).name +
                                    (std::get<1>(cell.param) ? "Login" : "Logout");
                         });

class InteractiveClient : public Test {
protected:
    TestFramework framework;
    FakeDaemon daemon{framework.context(), {"ZelkorLoginInteractive", 2, 2}};
};

TEST_F(InteractiveClient, WebRedirectIsTakenForSupportedUnlessTheDaemonSaysNo) {
    login::spf::interactive::desktop::ZelkorLogin client(
        configuration(10, 0), std::make_shared<zelkorconnector::serviceprocess::HasDesktopServices>());
    login::interactive::ZelkorLogin& interface = client;
    EXPECT_TRUE(interface.supportsWebRedirect());
    daemon.answer("supportsWebRedirect", false);
    daemon.appear();
    EXPECT_TRUE(eventually([&] { return !interface.supportsWebRedirect(); }));
    const std::pair<std::function<void()>, const char*> retired[] = {
        {[&] { interface.requestLoginAsyncInternal({}, {}, {}, {}, {}); },
         "`requestLoginAsyncInternal` shouldn't be used in the SPF client."},
        {[&] { interface.getLoginInfo({}, {}, {}); },
         "`getLoginInfo` shouldn't be used in the interactive SPF client."},
        {[&] { interface.requestLogoutAsyncInternal({}, {}); },
         "`requestLogoutAsyncInternal` shouldn't be used in the SPF client."},
        {[&] { interface.logTELXData({}, {}); }, "`logTELXData` shouldn't be used in the SPF client."}};
    for (const auto& [call, text] : retired)
        EXPECT_THAT(call, ThrowsMessage<std::runtime_error>(text));
}

} // namespace
