// The client against a daemon process that misbehaves by a script.

#include "contract/calls/Errors.h"
#include "tests/system/SystemFixture.h"

#include <fstream>

namespace {

using namespace login;
using namespace zelkor::test;

class ScriptedDaemon : public SystemFixture {
protected:
    ScriptedDaemon() : SystemFixture(/*scripted=*/true) {}

    /// @param script with ' for ".
    void play(std::string script) {
        std::ranges::replace(script, '\'', '"');
        std::ofstream(this->script()) << script;
        start();
    }
    /// Registers listeners that count how often they are told of someone after that person, or after nobody;
    /// one number each.
    std::vector<std::shared_ptr<std::atomic<int>>> listen(ZelkorLogin& client, int count,
                                                          const LoginInfo& after = {}) {
        std::vector<std::shared_ptr<std::atomic<int>>> told;
        for (int i = 0; i < count; ++i) {
            told.push_back(std::make_shared<std::atomic<int>>(0));
            EXPECT_FALSE(client
                             .addStatusListenerV2([counter = told.back(), after](const LoginInfo& now,
                                                                                 const LoginInfo& before) {
                                 *counter += now == someone() && before == after;
                             })
                             .isEmpty());
        }
        return told;
    }

    RecordingLog log{"login.spf.ZelkorLogin"};
};

TEST_F(ScriptedDaemon, AConnectionThatBreaksWhileRegistrationsAreMadeLosesNone) {
    play(R"({'rules': [{'method': 'addStatusListener', 'on': 25, 'do': 'cut-frame'},
                       {'method': 'addStatusListener', 'on': 40, 'do': 'call-back-first'},
                       {'method': 'addLogoutNegotiator', 'on': 2, 'do': 'error'},
                       {'method': 'getLoginInfo', 'on': 1, 'do': 'wrong-type'}]})");
    const auto client = makeClient(10, 60);
    const auto told = listen(*client, 24);
    std::atomic<int> asked{0};
    const auto negotiator =
        client->addLogoutNegotiator({"counts", [&](const auto&) {
                                         ++asked;
                                         return NegotiatorResponse{Negotiator::Position::Object, u"no"};
                                     }});
    static_cast<void>(client->addStatusListener([](const auto&) {})); // breaks the connection
    ASSERT_TRUE(log.waitFor(16, "Found an invokable for ZelkorLogin-v2.1", 2));
    client->impersonate(AccessToken("t"), someone());
    for (const auto& one : told)
        EXPECT_TRUE(eventually([&] { return *one == 1; }));
    EXPECT_TRUE(client->negotiateLogout({1}).accepted) << "its second registration was refused";
    daemon.kill(); // its successor starts the script anew
    daemon.start();
    ASSERT_TRUE(eventually([&] { return client->isLogoutVetoed(); }));
    EXPECT_EQ(asked, 1);
    EXPECT_TRUE(client->removeLogoutNegotiator(negotiator));
}

TEST_F(ScriptedDaemon, ABetterOfferAndADoubleOneLeaveOneOfEachRegistration) {
    play(R"({'announce': [{'service': 'ZelkorLogin', 'ranking': 10}, {'service': 'ZelkorLogin'}]})");
    const auto client = makeClient(10, 60);
    const auto another = person(u"another");
    const auto told = listen(*client, 10, another);
    for (int restart = 0; restart < 5; ++restart) {
        // While the offers come, a listener may miss a change and be told of the state instead. A double
        // registration would be told twice for ever.
        const auto changeTellsEach = [&](int times) {
            client->completeLogout();
            client->impersonate(AccessToken("t"), another);
            client->impersonate(AccessToken("t"), someone());
            return eventually(
                [&] { return std::ranges::all_of(told, [=](auto& one) { return *one >= times; }); }, 2s);
        };
        ASSERT_TRUE(eventually([&] {
            for (const auto& one : told)
                *one = 0;
            return changeTellsEach(1) && changeTellsEach(2) &&
                   std::ranges::all_of(told, [](auto& one) { return *one == 2; });
        }));
        std::atomic<int> asked{0};
        const auto id = client->addLogoutVetoer([&] { return ++asked == 0; });
        EXPECT_FALSE(client->isLogoutVetoed());
        EXPECT_EQ(asked, 1);
        EXPECT_TRUE(client->removeLogoutVetoer(id));
        daemon.kill();
        daemon.start();
        ASSERT_TRUE(eventually([&] { return !client->getRelease().empty(); }));
    }
}

TEST_F(ScriptedDaemon, AnAnswerThatNeverComesAndAnEndInTheMiddleAreFailuresAsDocumented) {
    play(R"({'rules': [{'method': 'getEndpoint', 'do': 'never'},
                       {'method': 'getRelease', 'on': 1, 'do': 'late', 'ms': 5000},
                       {'method': 'completeLogout', 'do': 'exit', 'code': 3}]})");
    const auto client = makeClient(1, 60);
    EXPECT_EQ(client->getEndpoint(), "");
    EXPECT_EQ(client->getRelease(), "");
    EXPECT_NE(client->getRelease(), "");
    // A sanitizer may take its time to end a process.
    EXPECT_THROW(makeClient(60, 60)->completeLogout(), agent::spf::core::DisconnectedError);
    EXPECT_EQ(daemon.stop(), 3);
}

} // namespace
