// Exporting callbacks through the daemon, by way of the client's registrations.

#include "runtime/core/Errors.h"
#include "tests/component/ClientFixture.h"

#include <future>
#include <thread>

namespace {

using namespace login;
using agent::spf::core::ExportedCallback;
using agent::spf::core::GenericPayload;
using agent::spf::core::RefusedError;
using zelkor::test::ClientFixture;
using Line = zelkor::test::RecordingLog::Line;

class CallbackExport : public ClientFixture {
protected:
    boost::uuids::uuid lastCallback(const std::string& method, std::size_t slot) {
        boost::uuids::uuid id{};
        for (const auto& call : daemon.calls())
            if (call.method == method)
                id = call.arguments.get<ExportedCallback>(slot).getCallbackID();
        return id;
    }
    void answerAdds() {
        daemon.on("addStatusListener",
                  [](const auto& call) { call.answer(GenericPayload::of(login::detail::createUuid())); });
        daemon.on("addLogoutNegotiator",
                  [](const auto& call) { call.answer(GenericPayload::of(login::detail::createUuid())); });
    }
    const std::string info = "ZelkorLogin-v2.1";
};

TEST_F(CallbackExport, WaitsWithItsOwnTextsAndReturnsTheIdAllTheSame) {
    const auto client = makeClient(10, 0);
    log.clear();
    const auto id = client->addStatusListenerV2([](const auto&, const auto&) {});
    EXPECT_FALSE(id.isEmpty());
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0],
              Line(4, "CallbackManager in `" + info + "` is not yet available. Waiting for up to 0s..."));
    EXPECT_EQ(lines[1], Line(256, info + " didn't appear."));
    EXPECT_EQ(lines[2].level, 16u);
    EXPECT_TRUE(lines[2].text.starts_with("Exception caught: "));

    answerAdds();
    appear(); // the next daemon is told
    ASSERT_TRUE(daemon.waitForCalls("addStatusListener"));
    EXPECT_TRUE(client->removeStatusListener(id));
}

TEST_F(CallbackExport, AWaitingRegistrationEndsWhenADaemonAppearsAndIsMadeOnce) {
    const auto client = makeClient(10, 3600);
    answerAdds();
    std::jthread registering([&] { EXPECT_FALSE(client->addLogoutNegotiator({"n", nullptr}).isEmpty()); });
    ASSERT_TRUE(
        log.waitFor(4, "CallbackManager in `" + info + "` is not yet available. Waiting for up to 3600s..."));
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
    EXPECT_THROW(daemon.callbacks()->invoke(lastCallback("addStatusListener", 0), {}, {}), RefusedError);
}

TEST_F(CallbackExport, DecodesForTheListenerAndAnswersForTheNegotiator) {
    const auto client = makeClient(10, 10);
    appear();
    answerAdds();
    LoginInfo sent;
    sent.userId = u"new";
    boost::optional<LoginInfo> got;
    const auto listener = client->addStatusListener([&](boost::optional<LoginInfo> now) { got = now; });
    daemon.callbacks()->invoke(lastCallback("addStatusListener", 0), {},
                               GenericPayload::of(sent, LoginInfo()));
    ASSERT_TRUE(got);
    EXPECT_EQ(*got, sent);

    bool veto = true;
    const auto vetoer = client->addLogoutVetoer([&] { return veto; });
    const auto call = daemon.calls().back();
    EXPECT_EQ(call.arguments.get<std::string>(0), "vetoer");
    const auto ask = [&] {
        return daemon.callbacks()
            ->invoke(lastCallback("addLogoutNegotiator", 1), {}, GenericPayload::of(NegotiationTerms{1}))
            .get<NegotiatorResponse>(0);
    };
    EXPECT_EQ(ask(), (NegotiatorResponse{Negotiator::Position::Object, u""}));
    veto = false;
    EXPECT_EQ(ask(), (NegotiatorResponse{Negotiator::Position::Accept, u""}));

    daemon.answer("removeStatusListener", true);
    daemon.answer("removeLogoutNegotiator", true);
    EXPECT_TRUE(client->removeStatusListener(listener));
    EXPECT_TRUE(client->removeLogoutVetoer(vetoer));
    daemon.forgetCalls();
    EXPECT_FALSE(client->removeLogoutVetoer(vetoer));
    EXPECT_TRUE(daemon.calls().empty());
    EXPECT_EQ(daemon.callbacks()->size(), 0u);
}

TEST_F(CallbackExport, ACallFromInsideACallbackDoesNotWaitBehindARegistration) {
    // The daemon holds back negotiateLogout's answer until the negotiator has answered; the negotiator asks
    // the same client; a registration waits for the lock that negotiateLogout's caller shares.
    const auto client = makeClient(10, 10);
    appear();
    answerAdds();
    static_cast<void>(
        client->addLogoutNegotiator({"asks", [&](const auto&) {
                                         static_cast<void>(client->getEndpoint());
                                         return NegotiatorResponse{Negotiator::Position::Accept, u""};
                                     }}));
    const auto callback = lastCallback("addLogoutNegotiator", 1);
    daemon.answer("getEndpoint", std::string("e"));
    daemon.hold("negotiateLogout");
    std::jthread negotiating([&] { EXPECT_TRUE(client->negotiateLogout({2}).accepted); });
    ASSERT_TRUE(daemon.waitForHeld(1));
    std::jthread registering([&] { static_cast<void>(client->addStatusListenerV2([](auto&, auto&) {})); });
    std::promise<void> answered;
    std::jthread daemonSide([&] {
        daemon.callbacks()->invoke(callback, {}, GenericPayload::of(NegotiationTerms{2}));
        answered.set_value();
    });
    ASSERT_EQ(answered.get_future().wait_for(zelkor::test::generousLimit), std::future_status::ready);
    daemon.release(GenericPayload::of(detail::NegotiationsResult{true, {}, {}}));
}

} // namespace
