// Exporting callbacks through the daemon, by way of the client's registrations.

#include "contract/calls/Errors.h"
#include "tests/module/ClientFixture.h"

namespace {

using namespace login;
using namespace zelkor::test;
using agent::spf::core::RefusedError;

class CallbackExport : public ClientFixture {};

TEST_F(CallbackExport, WaitsWithItsOwnTextsAndReturnsTheIdAllTheSame) {
    const auto client = makeClient(10, 0);
    log.clear();
    const auto id = client->addStatusListenerV2([](const auto&, const auto&) {});
    EXPECT_FALSE(id.isEmpty());
    EXPECT_THAT(
        log.lines(),
        ElementsAre(Line(4, waitingToExport("0s")), Line(256, "ZelkorLogin-v2.1 didn't appear."),
                    AllOf(Field(&Line::level, 16u), Field(&Line::text, StartsWith("Exception caught: ")))));
    answerAdds();
    appear(); // the next daemon is told
    ASSERT_TRUE(daemon.waitForCalls("addStatusListener"));
    EXPECT_TRUE(client->removeStatusListener(id));
}

TEST_F(CallbackExport, AWaitingRegistrationEndsWhenADaemonAppearsAndIsMadeOnce) {
    const auto client = makeClient(10, 3600);
    answerAdds();
    std::jthread registering([&] { EXPECT_FALSE(client->addLogoutNegotiator({"n", nullptr}).isEmpty()); });
    ASSERT_TRUE(log.waitFor(4, waitingToExport("3600s")));
    appear();
    registering.join();
    EXPECT_EQ(daemon.count("addLogoutNegotiator"), 1u);
}

TEST_F(CallbackExport, WhatTheDaemonDidNotTakeItCannotCall) {
    const auto client = makeClient(10, 10);
    appear();
    daemon.on("addStatusListener", [](const auto& call) { call.fail("full"); });
    static_cast<void>(client->addStatusListenerV2([](const auto&, const auto&) {}));
    EXPECT_EQ(daemon.callbacks()->size(), 0u);
    EXPECT_THROW(daemon.callbacks()->invoke(lastCallback("addStatusListener"), {}, {}), RefusedError);
}

} // namespace
