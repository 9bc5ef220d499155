// A client's end at bad moments. The fixture's executor has one thread.

#include "tests/module/ClientFixture.h"

namespace {

using namespace login;
using namespace zelkor::test;

class ClientLifetime : public ClientFixture {
protected:
    void flap(int times) {
        for (int i = 0; i < times; ++i) {
            daemon.appear();
            daemon.disappear();
        }
    }
};

TEST_F(ClientLifetime, EndsWithCallsInFlight) {
    auto client = makeClient(10, 10);
    appear();
    daemon.hold("getRelease");
    const auto callers = startThreads(8, [raw = client.get()](int) { EXPECT_EQ(raw->getRelease(), "late"); });
    ASSERT_TRUE(daemon.waitForHeld(callers.size()));
    client.reset(); // does not wait for them
    daemon.release(GenericPayload::of(std::string("late")));
}

TEST_F(ClientLifetime, EndsWithCallsThatWaitForADaemon) {
    auto client = makeClient(10, 3600);
    std::jthread caller([raw = client.get()] { EXPECT_EQ(raw->getRelease(), ""); });
    ASSERT_TRUE(log.waitFor(8, waiting("getRelease", "3600s")));
    client.reset();
    caller.join(); // long before the hour is over
}

TEST_F(ClientLifetime, EndsWithReactionsQueuedAndRunning) {
    for (int round = 0; round < 20; ++round) {
        auto client = makeClient(10, 10);
        std::jthread flapping([&] { flap(5); });
        client.reset();
    }
}

TEST_F(ClientLifetime, MayEndInsideItsOwnListenerAtAFindOrACallback) {
    answerAdds();
    for (const bool atFind : {true, false}) {
        auto client = makeClient(10, 0);
        std::promise<void> ended;
        std::atomic<bool> end{false};
        if (!atFind)
            appear();
        static_cast<void>(client->addStatusListenerV2([&](const auto&, const auto&) {
            if (!end)
                return;
            client.reset();
            ended.set_value();
        }));
        end = true;
        if (atFind)
            appear();
        else
            executor.post([&callbacks = *daemon.callbacks(), id = lastCallback("addStatusListener")] {
                callbacks.invoke(id, {}, GenericPayload::of(LoginInfo(), LoginInfo()));
            });
        ASSERT_TRUE(comes(ended.get_future()));
        EXPECT_EQ(client, nullptr);
        daemon.disappear();
        daemon.forgetCalls();
    }
}

TEST_F(ClientLifetime, CallsRaceAppearancesAndTheEnd) {
    daemon.answer("getLoginInfo", LoginInfo());
    daemon.answer("getRelease", std::string("r"));
    for (int round = 0; round < 10; ++round) {
        auto client = makeClient(10, 0);
        const auto callers = startThreads(4, [client](int) {
            for (int call = 0; call < 50; ++call)
                EXPECT_THAT(client->getRelease(), AnyOf("", "r"));
        });
        flap(10);
        client.reset(); // the last caller ends it
    }
}

} // namespace
