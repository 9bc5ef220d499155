// A client's end at bad moments. The fixture's executor has one thread.

#include "tests/module/ClientFixture.h"

namespace {

using namespace login;
using namespace zelkor::test;

class ClientLifetime : public ClientFixture {};

TEST_F(ClientLifetime, MayEndInsideItsOwnListenerAtAFind) {
    auto client = makeClient(10, 0);
    std::promise<void> ended;
    client->addStatusListenerV2([&](const auto&, const auto&) {
        client.reset();
        ended.set_value();
    });
    appear();
    ASSERT_TRUE(comes(ended.get_future()));
}

TEST_F(ClientLifetime, WaitsForAListenerThatIsBeingTold) {
    auto client = makeClient(10, 0);
    std::promise<void> told;
    std::atomic<bool> endedMeanwhile{false};
    client->addStatusListenerV2([&](const auto&, const auto&) {
        told.set_value();
        endedMeanwhile = eventually([&] { return log.mentions("Destroyed tracker") != 0; }, 200ms);
    });
    daemon.answer("getLoginInfo", LoginInfo());
    daemon.appear();
    ASSERT_TRUE(comes(told.get_future()));
    client.reset();
    settle();
    EXPECT_FALSE(endedMeanwhile);
}

TEST_F(ClientLifetime, CallsAndReactionsRaceTheEnd) {
    daemon.answer("getLoginInfo", LoginInfo());
    daemon.answer("getRelease", std::string("r"));
    for (int round = 0; round < 20; ++round) {
        auto client = makeClient(10, 0);
        std::vector<std::jthread> callers;
        if (round % 2 == 0) // the last of them ends it
            callers = startThreads(4, [client](int) {
                for (int call = 0; call < 50; ++call)
                    EXPECT_THAT(client->getRelease(), AnyOf("", "r"));
            });
        std::jthread flapping([&] {
            for (int i = 0; i < 10; ++i) {
                daemon.appear();
                daemon.disappear();
            }
        });
        client.reset();
    }
}

} // namespace
