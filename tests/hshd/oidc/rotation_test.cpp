// A refresh token that the provider takes once survives a daemon that is killed at any moment.

#include "hshd/process/DaemonProcess.h"
#include "tests/hshd/oidc/ProviderFixture.h"

#include <random>

using namespace hshd::test;

namespace {

struct Rotation : ProviderFixture {
    Rotation() : ProviderFixture(R"({"accessTokenSeconds": 1})") {}

    hshd::DaemonProcess daemonWithTheState() {
        std::ofstream(place / "provider.json")
            << R"({"issuer": ")" << issuer << R"(", "clientId": "desktop"})";
        return hshd::DaemonProcess({.program = HSHD_PROGRAM,
                                    .socketDirectory = place / "run",
                                    .stateDirectory = directory.path(),
                                    .arguments = {"--provider", place / "provider.json", "--secrets", "file"},
                                    .errorFile = place / "hshd.log"});
    }
    /// The state is the daemon process's from here on.
    void handOver() {
        oidc->stop();
        stateThread.drain();
        oidc.reset();
        state.reset();
        store.reset();
    }

    TempDirectory place;
};

} // namespace

TEST_F(Rotation, ADaemonKilledAtAnyMomentLosesNoSession) {
    ASSERT_EQ(signIn().problem, "");
    handOver();
    auto daemon = daemonWithTheState();
    std::minstd_rand random(20261124);
    for (int kill = 0; kill < 200; ++kill) {
        daemon.start();
        const auto moment = std::chrono::steady_clock::now() + std::chrono::microseconds(random() % 60'000);
        eventually([&] { return std::chrono::steady_clock::now() >= moment; });
        daemon.kill();
    }
    // And in the very moment when the provider has taken the old one and the daemon knows no new one yet.
    for (int kill = 0; kill < 15; ++kill) {
        const auto before = count("refresh");
        daemon.start();
        ASSERT_TRUE(eventually([&] { return count("refresh") > before; }));
        daemon.kill();
    }
    EXPECT_GT(count("refresh"), 15);
    EXPECT_EQ(count("reuseDetected"), 0);
    restart();
    ASSERT_TRUE(state->isLoggedIn(Level::SignedIn)) << contentOf(place / "hshd.log");
    EXPECT_TRUE(takes(token().token));
    EXPECT_EQ(count("reuseDetected"), 0);
    EXPECT_EQ(count("active refresh tokens"), 1);
}
