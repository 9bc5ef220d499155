// The client against a daemon process that misbehaves by a script.

#include "tests/system/SystemFixture.h"

#include <array>

namespace {

using namespace login;
using namespace zelkor::test;

class ScriptedDaemon : public SystemFixture {
protected:
    ScriptedDaemon()
        : SystemFixture(R"({"rules": [{"method": "addStatusListener", "on": 25, "do": "cut-frame"},
                                      {"method": "addStatusListener", "on": 40, "do": "call-back-first"},
                                      {"method": "addLogoutNegotiator", "on": 2, "do": "error"},
                                      {"method": "getLoginInfo", "on": 1, "do": "wrong-type"}]})") {}
    RecordingLog log{"login.spf.ZelkorLogin"};
};

TEST_F(ScriptedDaemon, AConnectionThatBreaksWhileRegistrationsAreMadeLosesNone) {
    start();
    std::array<std::atomic<int>, 24> told{}; // how often each is told who has signed in
    std::atomic<int> asked{0};
    const auto client = makeClient(10, 60);
    for (auto& one : told)
        client->addStatusListenerV2([&one](const LoginInfo& now, const LoginInfo& before) {
            one += now == someone() && before == LoginInfo();
        });
    const auto negotiator =
        client->addLogoutNegotiator({"counts", [&](const auto&) {
                                         ++asked;
                                         return NegotiatorResponse{Negotiator::Position::Object, u"no"};
                                     }});
    client->addStatusListener([](const auto&) {}); // breaks the connection
    ASSERT_TRUE(log.waitFor(16, "Found an invokable for ZelkorLogin-v2.1", 2));
    client->impersonate(AccessToken("t"), someone());
    for (const auto& one : told)
        EXPECT_TRUE(eventually([&] { return one == 1; }));
    EXPECT_TRUE(client->negotiateLogout({1}).accepted) << "its second registration was refused";
    daemon.kill(); // its successor starts the script anew
    daemon.start();
    ASSERT_TRUE(eventually([&] { return client->isLogoutVetoed(); }));
    EXPECT_EQ(asked, 1);
    EXPECT_TRUE(client->removeLogoutNegotiator(negotiator));
}

} // namespace
