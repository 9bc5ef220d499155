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

TEST_F(CallbackExport, DecodesForTheListenerAndAnswersForTheNegotiator) {
    const auto client = makeClient(10, 10);
    appear();
    answerAdds();
    boost::optional<LoginInfo> got;
    const auto listener = client->addStatusListener([&](boost::optional<LoginInfo> now) { got = now; });
    daemon.callbacks()->invoke(lastCallback("addStatusListener"), {},
                               GenericPayload::of(someone(), LoginInfo()));
    EXPECT_EQ(got.value(), someone());

    bool veto = true;
    const auto vetoer = client->addLogoutVetoer([&] { return veto; });
    EXPECT_EQ(daemon.calls().back().arguments.get<std::string>(0), "vetoer");
    for (const auto position : {Negotiator::Position::Object, Negotiator::Position::Accept}) {
        veto = position == Negotiator::Position::Object;
        const auto answer = daemon.callbacks()->invoke(lastCallback("addLogoutNegotiator"), {},
                                                       GenericPayload::of(NegotiationTerms{1}));
        EXPECT_EQ(answer.get<NegotiatorResponse>(0), (NegotiatorResponse{position, u""}));
    }

    daemon.answer("removeStatusListener", true);
    daemon.answer("removeLogoutNegotiator", true);
    EXPECT_TRUE(client->removeStatusListener(listener));
    EXPECT_TRUE(client->removeLogoutVetoer(vetoer));
    daemon.forgetCalls();
    EXPECT_FALSE(client->removeLogoutVetoer(vetoer));
    EXPECT_TRUE(daemon.calls().empty());
    EXPECT_EQ(daemon.callbacks()->size(), 0u);
}

} // namespace
