// What reaches a daemon of a registration, what reaches its function from the daemon, and what goes back.

#include "module/v2/interactive/desktop/ZelkorLogin.h"
#include "tests/module/Subjects.h"

namespace {

using namespace login;
using namespace zelkor::test;
using Position = Negotiator::Position;

class RegistrationValues : public SubjectTest {
protected:
    void SetUp() override {
        daemon.appear();
        ASSERT_TRUE(log.waitFor(16, found));
        ASSERT_TRUE(daemon.waitForCalls("getLoginInfo")); // the lock is free
    }
    /// As the daemon calls what was exported by the last call of the method.
    template <class... Values>
    GenericPayload call(const std::string& method, Values... values) {
        return daemon.callbacks()->invoke(callbackOf(daemon.last(method).value()), {},
                                          GenericPayload::of(std::move(values)...));
    }

    const LoginInfo was = [] {
        auto other = someone();
        other.userId = u"before";
        return other;
    }();
    CallingDaemon daemon{framework.context(), GetParam()};
    AnyClient client = GetParam().make(10, 10, std::nullopt);
};

TEST_P(RegistrationValues, ListenersGetTheDaemonsRecordsInTheirOrder) {
    std::vector<LoginInfo> seen;
    client.login->addStatusListenerV2([&](const auto& now, const auto& before) {
        if (before == LoginInfo())
            return; // the new daemon's state
        seen.push_back(now);
        seen.push_back(before);
    });
    call(addMethod(), someone(), was);
    EXPECT_THAT(seen, ElementsAre(someone(), was));
    boost::optional<LoginInfo> now;
    client.login->addStatusListener([&](auto info) {
        if (info == was) // else the new daemon's state
            now = info;
    });
    if (version1())
        call("addStatusListener", boost::optional<LoginInfo>(was));
    else
        call("addStatusListener", was, someone());
    EXPECT_EQ(now.value(), was);
    client.end(); // before what its functions use
}

TEST_P(RegistrationValues, NegotiatorsGetTheTermsAndTheDaemonTheirAnswer) {
    NegotiatorResponse answer;
    std::vector<std::uint32_t> terms;
    client.login->addLogoutNegotiator({"editor", [&](const NegotiationTerms& asked) {
                                           terms.push_back(asked.value);
                                           return answer;
                                       }});
    EXPECT_EQ(daemon.last("addLogoutNegotiator")->arguments.get<std::string>(0), "editor");
    for (const auto decision : {Position::Object, Position::Ask, Position::Accept}) {
        answer = {decision, u"m" + std::u16string(1, u'0' + static_cast<int>(decision))};
        EXPECT_EQ(call("addLogoutNegotiator", NegotiationTerms{7}).get<NegotiatorResponse>(0), answer);
    }
    EXPECT_THAT(terms, Each(7u));

    bool veto = false;
    client.login->addLogoutVetoer([&] { return veto; });
    for (const bool now : {true, false}) {
        veto = now;
        if (version1()) {
            EXPECT_EQ(call("addLogoutVetoer").get<bool>(0), now);
        } else {
            EXPECT_EQ(daemon.last("addLogoutNegotiator")->arguments.get<std::string>(0), "vetoer");
            EXPECT_EQ(call("addLogoutNegotiator", NegotiationTerms{7}).get<NegotiatorResponse>(0),
                      (NegotiatorResponse{now ? Position::Object : Position::Accept, u""}));
        }
    }
    client.end(); // before what its functions use
}

TEST_P(RegistrationValues, AReplayKeepsTheOrderOfTheKinds) {
    client.login->addLogoutNegotiator({"editor", nullptr});
    client.login->addLogoutVetoer([] { return false; });
    client.login->addStatusListenerV2([](auto&, auto&) {});
    client.login->addStatusListener([](auto) {});
    auto next = makeDaemon(5);
    next.appear();
    ASSERT_TRUE(next.waitForCalls("getLoginInfo"));
    std::string added;
    for (const auto& call : next.calls()) {
        if (call.method.starts_with("add"))
            added += call.method.substr(3) + ' ';
    }
    EXPECT_EQ(added, version1() ? "StatusListener StatusListenerV2 LogoutVetoer LogoutNegotiator "
                                : "StatusListener StatusListener LogoutNegotiator LogoutNegotiator ");
}

TEST_P(RegistrationValues, OverTheDaemonsLimitARegistrationWaitsForOneWithRoom) {
    auto small = makeDaemon(5);
    small.limitCallbacks(2);
    small.appear();
    ASSERT_TRUE(small.waitForCalls("getLoginInfo"));
    std::vector<ZelkorLogin::StatusListenerId> ids;
    for (int i = 0; i < 3; ++i)
        ids.push_back(client.login->addStatusListenerV2([](auto&, auto&) {}));
    EXPECT_FALSE(ids[2].isEmpty());
    EXPECT_EQ(log.mentions("Too many exported callbacks on this connection (limit 2)"), 1u);
    EXPECT_EQ(small.count(addMethod()), 2u);
    small.disappear(); // the other takes over
    EXPECT_TRUE(daemon.waitForCalls(addMethod(), 3));
}

INSTANTIATE_TEST_SUITE_P(Versions, RegistrationValues, bothVersions, subjectName);

TEST(DesktopClient, EndsItsTrackingBeforeItLetsGoOfTheDesktop) {
    RecordingLog log("login.spf.interactive.ZelkorLogin");
    TestFramework framework;
    std::size_t ended = 0;
    using Desktop = zelkorconnector::serviceprocess::HasDesktopServices;
    struct Services : Desktop {};
    std::shared_ptr<Desktop> desktop(new Services, [&](Desktop* services) {
        ended = log.mentions("Destroyed tracker for ");
        delete services;
    });
    login::spf::interactive::desktop::ZelkorLogin(configuration(1, 0), std::move(desktop));
    EXPECT_EQ(ended, 1u);
}

} // namespace
