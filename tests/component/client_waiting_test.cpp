// Waiting for a daemon: how long, who with whom, and what ends it.

#include "tests/component/ClientFixture.h"

#include <thread>
#include <vector>

namespace {

using zelkor::test::ClientFixture;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

class ClientWaiting : public ClientFixture {};

TEST_F(ClientWaiting, ParallelCallsWaitTheServiceTimeoutOnceAndTogether) {
    const auto client = makeClient(10, 1);
    const auto begin = Clock::now();
    {
        std::vector<std::jthread> callers;
        for (int i = 0; i < 20; ++i)
            callers.emplace_back([&] { EXPECT_EQ(client->getRelease(), ""); });
    }
    const auto took = Clock::now() - begin;
    EXPECT_GE(took, 1s);
    EXPECT_LT(took, 20s); // in turn they would take at least that
    EXPECT_EQ(log.count(8, "Invokable for `ZelkorLogin-v2.1` is not yet available (calling `getRelease`). "
                           "Waiting for up to 1s..."),
              20u);
    EXPECT_EQ(log.count(256, "ZelkorLogin-v2.1 didn't appear. Cannot call getRelease"), 20u);
}

TEST_F(ClientWaiting, ADaemonThatAppearsEndsEveryWait) {
    const auto client = makeClient(10, 3600);
    daemon.answer("getRelease", std::string("2.1"));
    std::vector<std::jthread> callers;
    for (int i = 0; i < 20; ++i)
        callers.emplace_back([&] { EXPECT_EQ(client->getRelease(), "2.1"); });
    ASSERT_TRUE(log.waitFor(8,
                            "Invokable for `ZelkorLogin-v2.1` is not yet available (calling `getRelease`). "
                            "Waiting for up to 3600s...",
                            20));
    appear();
}

TEST_F(ClientWaiting, ATimeoutOfZeroOrLessFailsAtOnceUnlessTheDaemonIsThere) {
    const auto client = makeClient(10, -5);
    auto properties = zelkor::test::configuration(std::nullopt, std::nullopt);
    (*properties)["timeouts::service"] = std::string("soon");
    client->updateTimeouts(*properties); // ignored, and said so
    EXPECT_EQ(log.linesAt(256).size(), 1u);
    EXPECT_THROW(client->completeLogout(), std::runtime_error);
    EXPECT_EQ(log.count(8,
                        "Invokable for `ZelkorLogin-v2.1` is not yet available (calling `completeLogout`). "
                        "Waiting for up to -5s..."),
              1u);
    daemon.on("completeLogout", [](const auto& call) { call.answer({}); });
    appear();
    EXPECT_NO_THROW(client->completeLogout());
}

TEST_F(ClientWaiting, TheSameExceptionObjectReachesTheCaller) {
    const auto client = makeClient(10, 10);
    appear();
    struct Special : std::domain_error {
        using std::domain_error::domain_error;
    };
    daemon.on("clearSettings",
              [](const auto& call) { call.handler.onError(std::make_exception_ptr(Special("special"))); });
    EXPECT_THROW(client->clearSettings(), Special);
    // Not a std::exception: passed on, or turned into the empty answer, without a line of its own.
    daemon.on("clearSettings", [](const auto& call) { call.handler.onError(std::make_exception_ptr(42)); });
    EXPECT_THROW(client->clearSettings(), int);
    daemon.on("getRelease", [](const auto& call) { call.handler.onError(std::make_exception_ptr(42)); });
    EXPECT_EQ(client->getRelease(), "");
    EXPECT_EQ(log.linesAt(256).size(), 1u);
}

} // namespace
