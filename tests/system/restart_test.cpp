#include "contract/calls/Errors.h"
#include "tests/system/SystemFixture.h"

namespace {

using namespace login;
using namespace zelkor::test;

class Restart : public SystemFixture {
protected:
    const std::string found = "Found an invokable for ZelkorLogin-v2.1";
    const std::string removed = "Invokable for ZelkorLogin-v2.1 was removed";
    RecordingLog log{"login.spf.ZelkorLogin"};
};

TEST_F(Restart, SixtyFourThreadsCallWithoutPauseWhileTheDaemonIsKilledAHundredTimes) {
    start();
    const auto client = makeClient(10, 60);
    client->impersonate(AccessToken("token"), someone());

    std::atomic<int> answered{0};
    auto callers = startThreads(64, [&](std::stop_token stop, int i) {
        while (!stop.stop_requested()) {
            if (i % 16 == 0) {
                try {
                    client->vetoSignIn(false);
                    client->clearSettings();
                    ++answered;
                } catch (const agent::spf::core::InvocationError& failure) {
                    EXPECT_EQ(failure.kind(), agent::spf::core::ErrorKind::Disconnected) << failure.what();
                }
            } else {
                const auto info = client->getLoginInfo("restart", LoginInfo::Level::SignedIn);
                EXPECT_THAT(info, AnyOf(someone(), LoginInfo()));
                answered += info == someone();
            }
        }
    });
    for (std::size_t round = 1; round <= 100; ++round) {
        // Neither would come while the callers keep the lock from the tracker.
        ASSERT_TRUE(log.waitFor(16, found, round));
        const int before = answered;
        ASSERT_TRUE(eventually([&] { return answered > before; }));
        daemon.kill();
        ASSERT_TRUE(log.waitFor(16, removed, round));
        log.forgetBelow(16);
        daemon.start();
    }
    for (auto& caller : callers)
        caller.request_stop();
    callers.clear();
    EXPECT_EQ(client->getLoginInfo("restart", LoginInfo::Level::SignedIn), someone());
}

} // namespace
