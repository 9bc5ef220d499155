// What version 1 has of its own, besides its vocabulary.

#include "tests/module/ClientFixture.h"

namespace {

using namespace login;
using namespace zelkor::test;

class Version1 : public FixtureOf<ZelkorLoginImpl> {};

TEST_F(Version1, WhatItDoesNotHaveDoesNothingOrThrows) {
    const auto client = makeClient({}, 0);
    interactive::ZelkorLogin& requests = *client;
    requests.abort();
    requests.requestLoginAsyncInternal({}, {}, {}, {}, {});
    requests.requestLogoutAsyncInternal({}, {});
    requests.logTELXData({}, {});
    EXPECT_FALSE(client->shouldVetoSignIn());
    EXPECT_THAT([&] { client->vetoSignIn(true); },
                ThrowsMessage<std::runtime_error>("ZelkorLogin-v1.x doesn't support vetoing sign in."));
    EXPECT_THAT(log.linesAt(8), IsEmpty()) << "nothing was asked";
}

TEST_F(Version1, AnIdIsTheDaemonsUntilAnotherDaemonGivesAnother) {
    const auto client = makeClient(10, 0);
    const auto fallback = client->addStatusListenerV2([](const auto&, const auto&) {}); // nobody there
    std::vector<boost::uuids::uuid> given;
    const auto give = [&](const auto& call) {
        given.push_back(detail::createUuid());
        call.answer(GenericPayload::of(given.back()));
    };
    for (const char* method : {"addStatusListener", "addStatusListenerV2", "addLogoutVetoer"})
        daemon.on(method, give);
    daemon.answer("removeStatusListener", true);
    daemon.answer("removeLogoutVetoer", false); // what it answers is nobody's concern
    appear();
    const auto vetoer = client->addLogoutVetoer([] { return true; });
    EXPECT_EQ(vetoer.getValue(), given.at(1));
    EXPECT_TRUE(client->removeStatusListener(fallback)) << "found in the second registry";
    EXPECT_EQ(daemon.calls().back().arguments.get<boost::uuids::uuid>(0), given.at(0));
    EXPECT_FALSE(client->removeStatusListener(fallback));

    daemon.disappear();
    ASSERT_TRUE(log.waitFor(16, "Invokable for ZelkorLogin-v1.7 was removed"));
    appear();
    EXPECT_TRUE(client->removeLogoutVetoer(vetoer));
    EXPECT_EQ(daemon.calls().back().method, "removeLogoutVetoer");
    EXPECT_EQ(daemon.calls().back().arguments.get<boost::uuids::uuid>(0), given.at(2)) << "the new daemon's";

    const auto another = client->addLogoutVetoer([] { return true; });
    daemon.disappear();
    ASSERT_TRUE(log.waitFor(16, "Invokable for ZelkorLogin-v1.7 was removed", 2));
    appear();
    EXPECT_TRUE(client->removeLogoutVetoer(login::ZelkorLogin::LogoutVetoerId(given.back())));
    EXPECT_EQ(daemon.count("removeLogoutVetoer"), 2u) << "the daemon's own id takes it from the daemon";
    EXPECT_TRUE(client->removeLogoutVetoer(another)) << "and not from here";
    EXPECT_EQ(daemon.count("removeLogoutVetoer"), 2u);
}

} // namespace
