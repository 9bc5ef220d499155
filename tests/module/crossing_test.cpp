// Registrations, requests and calls of one client that wait for each other by way of the daemon.

#include "tests/module/Subjects.h"
#include "tests/support/OneThread.h"

namespace {

using namespace login;
using namespace zelkor::test;
using agent::spf::cppmsclientutils::Executors;

class Crossing : public SubjectTest {
protected:
    ZelkorLogin::StatusListenerId listen() {
        return client->login->addStatusListenerV2([](auto&, auto&) {});
    }
    void make(int call, int service) { client.emplace(GetParam().make(call, service, std::nullopt)); }
    void appear(CallingDaemon& which) {
        const auto before = log.count(16, found);
        which.appear();
        ASSERT_TRUE(log.waitFor(16, found, before + 1));
        // The lock is free again and the state has been asked for.
        ASSERT_TRUE(which.waitForCalls("getLoginInfo"));
    }
    void disappear(CallingDaemon& which) {
        const auto before = log.count(16, removed);
        which.disappear();
        ASSERT_TRUE(log.waitFor(16, removed, before + 1));
    }
    /// As the daemon calls what was exported by the last call of the method.
    void callBack(const std::string& method) {
        CallingDaemon::callBack(*daemon.callbacks(), daemon.last(method).value());
    }

    CallingDaemon daemon{framework.context(), GetParam()};
    std::optional<AnyClient> client;
};

TEST_P(Crossing, WhatAListenerRegistersIsMadeByTheNextDaemonWhenThisOneDiesMeanwhile) {
    make(10, 3600);
    appear(daemon);
    for (const bool removes : {false, true}) {
        const auto id = listen();
        client->login->addStatusListenerV2([this, id, removes](auto&, auto&) {
            if (removes)
                client->login->removeStatusListener(id);
            else
                static_cast<void>(listen());
        });
        daemon.hold("getRelease");
        std::jthread calling([&] { EXPECT_EQ(client->detail->getRelease(), ""); });
        ASSERT_TRUE(daemon.waitForHeld(1));
        const auto before = log.count(16, removed);
        daemon.disappear();
        callBack(addMethod()); // leaves its registration, or removal, for later: the call has the lock
        daemon.failHeld();
        ASSERT_TRUE(log.waitFor(16, removed, before + 1));
        calling.join();
        appear(daemon);
        daemon.answer("getRelease", std::string("r"));
        auto asked = std::async(std::launch::async, [&] { return client->detail->getRelease(); });
        ASSERT_TRUE(comes(asked));
        EXPECT_EQ(asked.get(), "r");
        auto more = std::async(std::launch::async, [&] { return listen(); });
        ASSERT_TRUE(comes(more));
    }
}

TEST_P(Crossing, FunctionsThatBlockDoNotKeepTheNextDaemonFromBeingFound) {
    make(10, 0);
    std::promise<void> goOn;
    const auto blocked = goOn.get_future().share();
    std::atomic<int> told{0}, done{0};
    client->login->addStatusListenerV2([&, blocked](auto&, auto&) { // told of each daemon's state
        ++told;
        blocked.wait();
    });
    client->login->addLogoutNegotiator({"n", nullptr});
    appear(daemon);
    constexpr int many = 70; // more than the pool has threads
    for (int i = 0; i < many; ++i)
        Executor::instance().post([&, blocked] {
            const agent::spf::core::CallbackScope scope;
            blocked.wait();
            ++done;
        });
    disappear(daemon);
    auto next = makeDaemon();
    appear(next);
    EXPECT_TRUE(next.waitForCalls("addLogoutNegotiator"));
    goOn.set_value();
    EXPECT_TRUE(eventually([&] { return done == many && told == 2; }));
    client->end(); // before what its functions use
}

TEST_P(Crossing, AListenerThatIsCalledBeforeItsAddIsAnsweredMayUseItsClient) {
    make(10, 10);
    appear(daemon);
    const auto first = listen();
    for (const bool fromAnotherThread : {false, true}) {
        daemon.on(addMethod(), [&](const FakeDaemon::Call& call) {
            auto called =
                std::async(std::launch::async, [&] { CallingDaemon::callBack(*daemon.callbacks(), call); });
            EXPECT_TRUE(comes(called));
            call.answer(GenericPayload::of(detail::createUuid()));
        });
        const auto release = std::make_shared<std::promise<std::string>>();
        const auto asked = std::make_shared<std::atomic<bool>>(false);
        auto got = release->get_future();
        const auto id = client->login->addStatusListenerV2([=, this](auto&, auto&) {
            if (asked->exchange(true))
                return; // the new daemon's state
            if (fromAnotherThread)
                release->set_value(std::async(std::launch::async, [&] {
                                       const auto more = listen();
                                       EXPECT_TRUE(client->login->removeStatusListener(more));
                                       for (int i = 0; i < 30; ++i)
                                           EXPECT_EQ(client->detail->getRelease(), "r");
                                       return client->detail->getRelease();
                                   }).get());
            else
                release->set_value(client->detail->getRelease());
            client->login->removeStatusListener(first); // answers at once
        });
        EXPECT_EQ(got.get(), "r");
        EXPECT_EQ(log.linesAt(16).size(), 1u); // found; nothing was caught
        EXPECT_TRUE(client->login->removeStatusListener(id));
    }
    EXPECT_TRUE(daemon.waitForCalls("removeStatusListener", 3));
}

TEST_P(Crossing, ARemovalInsideACallbackWaitsForNothing) {
    make(10, 10);
    appear(daemon);
    const auto id = listen();
    const auto another = listen();
    daemon.hold("removeStatusListener");
    auto removingAnother = std::async(std::launch::async, [&] {
        const agent::spf::core::CallbackScope scope;
        return client->login->removeStatusListener(another); // the lock is free, the daemon silent
    });
    ASSERT_TRUE(comes(removingAnother));
    ASSERT_TRUE(daemon.waitForHeld(1)); // soon after
    daemon.release(GenericPayload::of(true));
    daemon.hold(addMethod());
    std::jthread adding([&] { listen(); });
    ASSERT_TRUE(daemon.waitForHeld(1));
    auto removing = std::async(std::launch::async, [&] {
        const agent::spf::core::CallbackScope scope;
        return client->login->removeStatusListener(id);
    });
    ASSERT_TRUE(comes(removing));
    EXPECT_TRUE(removing.get());
    daemon.release(GenericPayload::of(detail::createUuid()));
    adding.join();
    ASSERT_TRUE(daemon.waitForHeld(1)); // the removal, soon after
    daemon.release(GenericPayload::of(true));
}

TEST_P(Crossing, ARegistrationInsideACallbackWaitsForNoDaemon) {
    make(10, 3600);
    auto registering = std::async(std::launch::async, [&] {
        const agent::spf::core::CallbackScope scope; // of a daemon that is gone
        return listen();
    });
    ASSERT_TRUE(comes(registering));
    EXPECT_FALSE(registering.get().isEmpty());
    daemon.appear();
    EXPECT_TRUE(daemon.waitForCalls(addMethod()));
}

TEST_P(Crossing, ARegistrationThatWaitsForADaemonIsMadeOnce) {
    make(10, 3600);
    std::jthread registering([&] { EXPECT_FALSE(listen().isEmpty()); });
    ASSERT_TRUE(eventually([&] { return log.mentions("Waiting for up to 3600s...") != 0; }));
    appear(daemon);
    registering.join();
    EXPECT_EQ(daemon.added(), 1);
}

TEST_P(Crossing, ANegotiatorGetsItsAnswersByAnyThreadWhileARegistrationWaits) {
    make(10, 10);
    appear(daemon);
    daemon.hold("negotiateLogout");
    std::jthread negotiating([&] { client->detail->negotiateLogout({1}); });
    ASSERT_TRUE(daemon.waitForHeld(1));
    std::jthread registering([&] { listen(); });
    const auto ask = [&] { EXPECT_EQ(client->detail->getRelease(), "r"); };
    auto asked = std::async(std::launch::async, [&] {
        const agent::spf::core::CallbackScope scope; // the negotiator
        ask();
        for (int i = 0; i < 3; ++i)
            std::jthread(ask).join();
    });
    ASSERT_TRUE(comes(asked));
    daemon.release(GenericPayload::of(detail::NegotiationsResult{true, {}, {}}));
}

TEST_P(Crossing, TheEndDoesNotWaitForAReplayThatHangsAndSendsNothingMore) {
    make(10, 0);
    for (int i = 0; i < 400; ++i)
        listen();
    daemon.hold(addMethod());
    daemon.appear();
    ASSERT_TRUE(daemon.waitForHeld(1));
    auto ended = std::async(std::launch::async, [&] { client->end(); });
    ASSERT_TRUE(comes(ended));
    const auto sent = daemon.count(addMethod());
    daemon.failHeld();
    EXPECT_FALSE(eventually([&] { return daemon.count(addMethod()) != sent; }, 50ms));
}

TEST_P(Crossing, ARequestInsideACallbackDoesNotWaitForTheCallThatWaitsForIt) {
    if (!version1())
        GTEST_SKIP() << "one object serves all interfaces in version 1 only";
    make(10, 10);
    appear(daemon);
    daemon.hold("negotiateLogout");
    std::jthread negotiating([&] { client->detail->negotiateLogout({1}); });
    ASSERT_TRUE(daemon.waitForHeld(1));
    std::promise<bool> succeeded;
    auto requested = std::async(std::launch::async, [&] {
        const agent::spf::core::CallbackScope scope; // a negotiator
        client->interactive->requestLoginAsync(
            "me", [&](auto, auto error) { succeeded.set_value(error == nullptr); },
            LoginInfo::Level::SignedIn, {});
    });
    ASSERT_TRUE(comes(requested));
    callBack("requestLoginAsync");
    EXPECT_TRUE(succeeded.get_future().get());
    daemon.release(GenericPayload::of(detail::NegotiationsResult{true, {}, {}}));
}

INSTANTIATE_TEST_SUITE_P(Versions, Crossing, bothVersions, subjectName);

class InteractiveCrossing : public Test {
protected:
    const Subject subject = Subject::interactiveVersion2();
    TestFramework framework;
    CallingDaemon daemon{framework.context(), subject};
    RecordingLog log{subject.component};
    OneThread executor;
    AnyClient client = subject.make(10, 10, Executors(executor));

    void SetUp() override {
        daemon.appear();
        ASSERT_TRUE(log.waitFor(16, "Found an invokable for " + subject.identity.text()));
        ASSERT_TRUE(executor.settles());
    }
};

TEST_F(InteractiveCrossing, AnOutcomeMayEndTheClientWhileItAborts) {
    client.interactive->requestLogoutAsync([&](auto) { client.end(); }, {});
    daemon.on("abort", [&](const FakeDaemon::Call& call) {
        auto outcome = std::async(std::launch::async, [&] {
            CallingDaemon::callBack(*daemon.callbacks(),
                                    daemon.last("requestLogoutWithOptionsAsync").value());
        });
        EXPECT_TRUE(comes(outcome));
        call.answer({});
    });
    client.unowned().interactive->abort();
    EXPECT_EQ(client.owner, nullptr);
}

TEST_F(InteractiveCrossing, AnExecutorThatIsStoppedStillLeavesOneOutcome) {
    std::atomic<int> refused{0}, dropped{0};
    std::promise<void> goOn;
    executor.post([done = goOn.get_future().share()] { done.wait(); });
    client.interactive->requestLogoutAsync([&](auto error) { dropped += error != nullptr; }, {});
    client.interactive->abort(); // its outcome waits in the executor
    client.interactive->requestLogoutAsync([&](auto error) { refused += error != nullptr; }, {});
    std::jthread stopping([&] { executor.stop(); });
    ASSERT_TRUE(eventually([&] { return executor.stopToken().stop_requested(); }));
    EXPECT_TRUE(eventually([&] { return dropped == 1; }));
    client.end();
    EXPECT_EQ(refused, 1);
    goOn.set_value();
    stopping.join();
    EXPECT_EQ(dropped, 1);
}

TEST_F(InteractiveCrossing, AHandlerMayRequestAgainWhileACallOfTheClientWaitsForIt) {
    daemon.hold("supportsWebRedirect");
    std::promise<void> again;
    client.interactive->requestLogoutAsync(
        [&](auto) {
            client.interactive->requestLogoutAsync([](auto) {}, {});
            again.set_value();
        },
        {});
    std::jthread asking([&] { EXPECT_TRUE(client.interactive->supportsWebRedirect()); });
    ASSERT_TRUE(daemon.waitForHeld(1));
    const auto first = daemon.last("requestLogoutWithOptionsAsync").value();
    auto outcome =
        std::async(std::launch::async, [&] { CallingDaemon::callBack(*daemon.callbacks(), first); });
    EXPECT_TRUE(comes(again.get_future()));
    daemon.release(GenericPayload::of(true));
    outcome.wait();
}

} // namespace
