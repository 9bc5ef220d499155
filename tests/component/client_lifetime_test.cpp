// A client's end at bad moments. The fixture's executor has one thread.

#include "tests/component/ClientFixture.h"

#include <atomic>
#include <future>
#include <thread>

namespace {

using namespace login;
using agent::spf::core::ExportedCallback;
using agent::spf::core::GenericPayload;
using zelkor::test::ClientFixture;

class ClientLifetime : public ClientFixture {
protected:
    void answerAdds() {
        daemon.on("addStatusListener",
                  [](const auto& call) { call.answer(GenericPayload::of(login::detail::createUuid())); });
    }
};

TEST_F(ClientLifetime, EndsWithCallsInFlight) {
    auto client = makeClient(10, 10);
    appear();
    daemon.hold("getRelease");
    std::vector<std::jthread> callers;
    for (int i = 0; i < 8; ++i)
        callers.emplace_back([raw = client.get()] { EXPECT_EQ(raw->getRelease(), "late"); });
    ASSERT_TRUE(daemon.waitForHeld(callers.size()));
    client.reset(); // does not wait for them
    daemon.release(GenericPayload::of(std::string("late")));
}

TEST_F(ClientLifetime, EndsWithCallsThatWaitForADaemon) {
    auto client = makeClient(10, 3600);
    std::jthread caller([raw = client.get()] { EXPECT_EQ(raw->getRelease(), ""); });
    ASSERT_TRUE(log.waitFor(8,
                            "Invokable for `ZelkorLogin-v2.1` is not yet available (calling `getRelease`). "
                            "Waiting for up to 3600s..."));
    client.reset();
    caller.join(); // long before the hour is over
}

TEST_F(ClientLifetime, EndsWithReactionsQueuedAndRunning) {
    for (int round = 0; round < 20; ++round) {
        auto client = makeClient(10, 10);
        std::jthread flapping([&] {
            for (int i = 0; i < 5; ++i) {
                daemon.appear();
                daemon.disappear();
            }
        });
        client.reset();
    }
}

TEST_F(ClientLifetime, MayEndInsideItsOwnListenerAtAFindOrACallback) {
    answerAdds();
    for (const bool atFind : {true, false}) {
        auto client = makeClient(10, 0);
        std::promise<void> ended;
        std::atomic<bool> end{false};
        if (!atFind) {
            appear();
            settle();
        }
        static_cast<void>(client->addStatusListenerV2([&](const auto&, const auto&) {
            if (!end)
                return;
            client.reset();
            ended.set_value();
        }));
        end = true;
        if (atFind) {
            appear();
        } else {
            const auto callback = daemon.calls().back().arguments.get<ExportedCallback>(0).getCallbackID();
            executor.post([&daemonCallbacks = *daemon.callbacks(), callback] {
                daemonCallbacks.invoke(callback, {}, GenericPayload::of(LoginInfo(), LoginInfo()));
            });
        }
        ASSERT_EQ(ended.get_future().wait_for(zelkor::test::generousLimit), std::future_status::ready);
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
        std::vector<std::jthread> callers;
        for (int i = 0; i < 4; ++i)
            callers.emplace_back([client] {
                for (int call = 0; call < 50; ++call) {
                    const auto release = client->getRelease();
                    EXPECT_TRUE(release.empty() || release == "r");
                }
            });
        for (int i = 0; i < 10; ++i) {
            daemon.appear();
            daemon.disappear();
        }
        client.reset(); // the last caller ends it
    }
}

} // namespace
