#include "runtime/core/Errors.h"
#include "tests/system/SystemFixture.h"

#include <atomic>
#include <thread>
#include <vector>

namespace {

using namespace login;
using zelkor::test::RecordingLog;

class Restart : public zelkor::test::SystemFixture {
protected:
    const std::string found = "Found an invokable for ZelkorLogin-v2.1";
    const std::string removed = "Invokable for ZelkorLogin-v2.1 was removed";
    RecordingLog log{"login.spf.ZelkorLogin"};
};

LoginInfo someone() {
    LoginInfo info;
    info.userId = u"someone";
    info.level = LoginInfo::Level::SignedIn;
    return info;
}

TEST_F(Restart, SixtyFourThreadsCallWithoutPauseWhileTheDaemonIsKilledAHundredTimes) {
    daemon->start();
    connector->start();
    const auto client = makeClient(10, 60);
    client->impersonate(AccessToken("token"), someone());

    std::atomic<int> answered{0};
    std::vector<std::jthread> callers;
    for (int i = 0; i < 64; ++i)
        callers.emplace_back([&, i](std::stop_token stop) {
            while (!stop.stop_requested()) {
                if (i % 16 == 0) {
                    try {
                        client->vetoSignIn(false);
                        client->clearSettings();
                        ++answered;
                    } catch (const agent::spf::core::InvocationError& failure) {
                        EXPECT_EQ(failure.kind(), agent::spf::core::ErrorKind::Disconnected)
                            << failure.what();
                    }
                } else {
                    const auto info = client->getLoginInfo("restart", LoginInfo::Level::SignedIn);
                    EXPECT_TRUE(info == someone() || info == LoginInfo());
                    answered += info == someone();
                }
            }
        });
    for (std::size_t round = 1; round <= 100; ++round) {
        // Neither would come while the callers keep the lock from the tracker.
        ASSERT_TRUE(log.waitFor(16, found, round));
        const int before = answered;
        ASSERT_TRUE(zelkor::test::eventually([&] { return answered > before; }));
        daemon->kill();
        ASSERT_TRUE(log.waitFor(16, removed, round));
        log.forgetBelow(16);
        daemon->start();
    }
    for (auto& caller : callers)
        caller.request_stop();
    callers.clear();
    EXPECT_EQ(client->getLoginInfo("restart", LoginInfo::Level::SignedIn), someone());
}

TEST_F(Restart, WhatTheDaemonAnsweredForSurvivesItsViolentEnd) {
    daemon->start();
    connector->start();
    const auto client = makeClient(10, 60);
    detail::LoginData data;
    data.info = someone();
    data.rememberMe = true;
    for (int round = 0; round < 10; ++round) {
        data.deviceId = std::to_string(round);
        client->persistIdentity(data); // answered: it must be there from now on
        std::jthread next([&] {
            auto later = data;
            later.deviceId = "later";
            try {
                client->persistIdentity(later); // may or may not make it
            } catch (const std::runtime_error&) {
            }
        });
        daemon->kill();
        // Until the client has noticed, its queries answer empty.
        ASSERT_TRUE(log.waitFor(16, removed, static_cast<std::size_t>(round) + 1));
        daemon->start();
        next.join();
        auto kept = client->getPersistedLoginData();
        EXPECT_TRUE(kept.deviceId == data.deviceId || kept.deviceId == "later") << kept.deviceId;
        kept.deviceId = data.deviceId;
        EXPECT_EQ(kept, data);
    }
    EXPECT_EQ(daemon->stop(), 0);
}

} // namespace
