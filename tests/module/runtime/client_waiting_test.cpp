// Waiting for a daemon: how long, who with whom, and what ends it.

#include "tests/module/ClientFixture.h"

namespace {

using namespace zelkor::test;

class ClientWaiting : public ClientFixture {};

TEST_F(ClientWaiting, ADaemonThatAppearsEndsEveryWait) {
    const auto client = makeClient(10, 3600);
    daemon.answer("getRelease", std::string("2.1"));
    const auto callers = startThreads(20, [&](int) { EXPECT_EQ(client->getRelease(), "2.1"); });
    ASSERT_TRUE(log.waitFor(8, waiting("getRelease", "3600s"), 20));
    appear();
}

TEST_F(ClientWaiting, TheTimeoutEndsItAtOnceIfItIsZeroOrLessUnlessTheDaemonIsThere) {
    EXPECT_EQ(makeClient(10, 1)->getRelease(), "");
    EXPECT_EQ(log.count(8, waiting("getRelease", "1s")), 1u);
    log.clear();
    const auto client = makeClient(10, -5);
    auto properties = configuration(std::nullopt, std::nullopt);
    (*properties)["timeouts::service"] = std::string("soon");
    client->Modified(nullptr, properties); // ignored, and said so
    EXPECT_EQ(log.linesAt(256).size(), 1u);
    EXPECT_THROW(client->completeLogout(), std::runtime_error);
    EXPECT_EQ(log.count(8, waiting("completeLogout", "-5s")), 1u);
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
    const auto failWith = [](auto error) {
        return [=](const auto& call) { call.handler.onError(std::make_exception_ptr(error)); };
    };
    daemon.on("clearSettings", failWith(Special("special")));
    EXPECT_THROW(client->clearSettings(), Special);
    // Not a std::exception: passed on, or turned into the empty answer, without a line of its own.
    daemon.on("clearSettings", failWith(42));
    EXPECT_THROW(client->clearSettings(), int);
    daemon.on("getRelease", failWith(42));
    EXPECT_EQ(client->getRelease(), "");
    EXPECT_EQ(log.linesAt(256).size(), 1u);
}

} // namespace
