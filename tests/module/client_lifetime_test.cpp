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

TEST_F(ClientLifetime, EndsWithReactionsQueuedAndRunning) {
    for (int round = 0; round < 20; ++round) {
        auto client = makeClient(10, 10);
        std::jthread flapping([&] { flap(5); });
        client.reset();
    }
}

TEST_F(ClientLifetime, MayEndInsideItsOwnListenerAtAFind) {
    auto client = makeClient(10, 0);
    std::promise<void> ended;
    static_cast<void>(client->addStatusListenerV2([&](const auto&, const auto&) {
        client.reset();
        ended.set_value();
    }));
    appear();
    ASSERT_TRUE(comes(ended.get_future()));
}

TEST_F(ClientLifetime, WaitsForAListenerThatIsBeingTold) {
    auto client = makeClient(10, 0);
    std::promise<void> told;
    std::atomic<bool> endedMeanwhile{false};
    static_cast<void>(client->addStatusListenerV2([&](const auto&, const auto&) {
        told.set_value();
        endedMeanwhile = eventually([&] { return log.mentions("Destroyed tracker") != 0; }, 200ms);
    }));
    daemon.answer("getLoginInfo", LoginInfo());
    daemon.appear();
    ASSERT_TRUE(comes(told.get_future()));
    client.reset();
    settle();
    EXPECT_FALSE(endedMeanwhile);
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
