// The session's own decisions: who is asked, in which order, and what a failure leaves undone.

#include "module/v2/session/ZelkorLogin.h"
#include "tests/support/People.h"
#include "tests/support/RecordingLogin.h"
#include "tests/support/Testing.h"

#include <boost/uuid/uuid_io.hpp>

#include <latch>
#include <system_error>

namespace {

using namespace login;
using namespace zelkor::test;
using Line = RecordingLog::Line;
using Level = LoginInfo::Level;

class SessionLogin : public Test {
protected:
    std::unique_ptr<spf::session::ZelkorLogin> make() {
        auto made = std::make_unique<spf::session::ZelkorLogin>(local, vetoer, detail, lnu, daemon);
        calls->take();
        log.clear();
        return made;
    }
    static login::detail::LoginData dataAt(Level level, bool remember = false) {
        auto data = dataOf(person(u"ada", level));
        data.rememberMe = remember;
        return data;
    }

    std::shared_ptr<Calls> calls = std::make_shared<Calls>();
    std::shared_ptr<RecordingLogin> service(const char* name) const {
        return std::make_shared<RecordingLogin>(name, calls);
    }
    std::shared_ptr<RecordingLogin> local = service("login"), vetoer = service("vetoer"),
                                    detail = service("detail"), lnu = service("lnu"),
                                    daemon = service("daemon");
    RecordingLog log{"login.spf.session.ZelkorLogin"};
};

TEST_F(SessionLogin, StartsAsTheDaemonRemembers) {
    for (const auto& [level, taken] : {std::pair{Level::None, "detail.completeLogout"},
                                       {Level::Identified, "detail.completeLogout"},
                                       {Level::SignedIn, "detail.persistIdentity(ada2)"},
                                       {static_cast<Level>(7), "detail.persistIdentity(ada7)"}}) {
        daemon->persisted = dataAt(level);
        const spf::session::ZelkorLogin session(local, vetoer, detail, lnu, daemon);
        EXPECT_THAT(calls->take(), ElementsAre("daemon.getSourceId", "lnu.setSourceId(daemon)",
                                               "daemon.getPersistedLoginData", taken));
    }
    EXPECT_THAT(log.lines(), Each(Line(4, "Per-session SPF implementation created")));
    for (const auto& [failing, method] :
         {std::pair{daemon, "getSourceId"}, {lnu, "setSourceId"}, {detail, "persistIdentity"}}) {
        failing->failing = method;
        daemon->persisted = dataAt(Level::SignedIn);
        EXPECT_THROW(make(), std::runtime_error);
        failing->failing.clear();
        EXPECT_EQ(failing.use_count(), 2) << "kept by a session that never was";
    }
}

TEST_F(SessionLogin, OneSideAnswersForEach) {
    const auto session = make();
    ZelkorLogin& login = *session;
    login::detail::ZelkorLogin& details = *session;
    std::string told;
    const auto listener = [&](const LoginInfo& now, const LoginInfo&) { told = now.locale; };
    const auto answer = [](const auto&) {
        return NegotiatorResponse{Negotiator::Position::Accept, u"answers"};
    };
    EXPECT_EQ(login.getLoginInfo("me", Level::SignedIn).locale, "login");
    EXPECT_EQ(login.requestAccessToken("me", Level::SignedIn)->getTokenString(), "login");
    EXPECT_EQ(login.requestAccessTokenAdvanced("me", Level::SignedIn).status, 1);
    EXPECT_EQ(login.getAccessToken().getTokenString(), "login");
    EXPECT_EQ(login.getAccessTokenAdvanced().status, 2);
    EXPECT_EQ(login.addStatusListenerV2(listener).getValue(), local->id);
    EXPECT_EQ(told, "login");
    EXPECT_TRUE(login.removeStatusListener(ZelkorLogin::StatusListenerId(local->id)));
    EXPECT_EQ(login.addLogoutNegotiator({"editor ", answer}).getValue(), local->id);
    EXPECT_TRUE(login.removeLogoutNegotiator(ZelkorLogin::LogoutNegotiatorId(local->id)));
    login.impersonate(AccessToken("token "), person(u"ada"));
    EXPECT_EQ(details.getLoginInfoAndLogTELX("me", Level::SignedIn, "c").locale, "detail");
    EXPECT_EQ(details.getEndpoint(), "detail");
    EXPECT_EQ(details.getRelease(), "daemon");
    EXPECT_EQ(details.getSourceId(), "detail");
    details.getPersistedLoginData();
    details.clearSettings();
    EXPECT_EQ(details.getCurrentSessionId(), "detail");
    EXPECT_TRUE(session->shouldVetoSignIn());
    const auto id = "(" + boost::uuids::to_string(local->id) + ")";
    EXPECT_THAT(calls->take(),
                ElementsAre("login.getLoginInfo(me2)", "login.requestAccessTokenAdvanced(me2)",
                            "login.requestAccessTokenAdvanced(me2)", "login.getAccessTokenAdvanced",
                            "login.getAccessTokenAdvanced", "login.addStatusListenerV2",
                            "login.removeStatusListener" + id, "login.addLogoutNegotiator(editor answers)",
                            "login.removeLogoutNegotiator" + id, "login.impersonate(token ada)",
                            "detail.getLoginInfoAndLogTELX(me2c)", "detail.getEndpoint", "daemon.getRelease",
                            "detail.getSourceId", "detail.getPersistedLoginData", "detail.clearSettings",
                            "detail.getCurrentSessionId", "vetoer.shouldVetoSignIn"));
    const std::pair<std::function<void()>, std::string> retired[] = {
        {[&] { login.addStatusListener({}); }, "addStatusListener"},
        {[&] { login.addLogoutVetoer({}); }, "addLogoutVetoer"},
        {[&] { login.removeLogoutVetoer({}); }, "removeLogoutVetoer"},
        {[&] { details.isLogoutVetoed(); }, "isLogoutVetoed"},
    };
    for (const auto& [call, name] : retired)
        EXPECT_THAT(call, ThrowsMessage<std::runtime_error>(
                              "Deprecated " + name + " call used in the per-session login implementation."));
    EXPECT_THAT(calls->take(), IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());

    daemon->release.clear();
    EXPECT_EQ(details.getRelease(), "detail");
    EXPECT_THAT(log.lines(), ElementsAre(Line(256, "Empty release from HSH, using ZELKOR release instead.")));
}

TEST_F(SessionLogin, ALogoutIsNegotiatedLocallyFirst) {
    const auto session = make();
    daemon->negotiated = {false, {u"daemon"}, {u"asks"}};
    EXPECT_EQ(session->negotiateLogout({5}), daemon->negotiated);
    EXPECT_THAT(calls->take(), ElementsAre("detail.negotiateLogout(5)", "daemon.negotiateLogout(5)"));
    EXPECT_THAT(log.lines(), ElementsAre(Line(4, "Local sign out negotiators unanimously accept. "
                                                 "Negotiating further with the daemon...")));
    log.clear();
    detail->negotiated = {false, {u"local"}, {}};
    EXPECT_EQ(session->negotiateLogout({5}), detail->negotiated);
    EXPECT_THAT(calls->take(), ElementsAre("detail.negotiateLogout(5)"));
    EXPECT_THAT(log.lines(), ElementsAre(Line(4, "Local sign out negotiators need to prompt the user. "
                                                 "Skipping negotiations with the daemon")));
}

TEST_F(SessionLogin, WhatChangesBothSidesChangesTheLocalOneFirst) {
    const auto session = make();
    const auto lines = [this] {
        std::vector<std::string> texts;
        for (const auto& line : log.linesAt(4))
            texts.push_back(line.text);
        log.clear();
        return texts;
    };
    const std::string persistLocal = "Persisting identity (local session)...";
    session->persistIdentity(dataAt(Level::SignedIn));
    EXPECT_THAT(calls->take(), ElementsAre("detail.persistIdentity(ada2)"));
    EXPECT_THAT(lines(),
                ElementsAre(persistLocal,
                            "Skipping persisting the identity into the daemon since rememberMe=false."));
    session->persistIdentity(dataAt(Level::SignedIn, true));
    EXPECT_THAT(calls->take(), ElementsAre("detail.persistIdentity(ada2)", "daemon.persistIdentity(ada2)"));
    EXPECT_THAT(lines(), ElementsAre(persistLocal, "Persisting identity (HSH daemon)..."));
    session->completeLogout();
    EXPECT_THAT(calls->take(), ElementsAre("detail.completeLogout", "daemon.completeLogout"));
    EXPECT_THAT(lines(),
                ElementsAre("Finalising logout (local session)...", "Finalising logout (HSH daemon)..."));
    session->vetoSignIn(false);
    EXPECT_THAT(calls->take(), ElementsAre("vetoer.vetoSignIn(no)"));
    EXPECT_THAT(lines(), ElementsAre("Veto sign in (local session): no"));
    session->vetoSignIn(true);
    EXPECT_THAT(calls->take(), ElementsAre("vetoer.vetoSignIn(yes)", "daemon.completeLogout"));
    EXPECT_THAT(lines(), ElementsAre("Veto sign in (local session): yes",
                                     "Clearing login state (HSH daemon) since sign in is now vetoed"));
}

TEST_F(SessionLogin, AFailureReachesTheCallerAndLeavesTheLockFree) {
    const auto session = make();
    const std::pair<const char*, std::function<void()>> operations[] = {
        {"completeLogout", [&] { session->completeLogout(); }},
        {"persistIdentity", [&] { session->persistIdentity(dataAt(Level::SignedIn, true)); }},
        {"negotiateLogout", [&] { session->negotiateLogout({}); }}};
    for (const auto& [method, operation] : operations) {
        detail->failing = method;
        EXPECT_THAT(operation, ThrowsMessage<std::runtime_error>("detail fails"));
        EXPECT_EQ(calls->take().size(), 1u) << "the daemon keeps what it has";
        detail->failing.clear();
        daemon->failing = method;
        EXPECT_THAT(operation, ThrowsMessage<std::runtime_error>("daemon fails"));
        EXPECT_EQ(calls->take().size(), 2u);
        daemon->failing.clear();
        auto next = std::async(std::launch::async, operation);
        ASSERT_TRUE(comes(next)) << "the lock was kept";
        calls->take();
    }
    vetoer->failing = "vetoSignIn";
    EXPECT_THAT([&] { session->vetoSignIn(true); }, ThrowsMessage<std::runtime_error>("vetoer fails"));
    EXPECT_THAT(calls->take(), ElementsAre("vetoer.vetoSignIn(yes)"));
}

// As the listeners of a service do that tells them before it returns.
TEST_F(SessionLogin, AChangeInsideAChangeIsRefusedAndTheOuterOneGoesOn) {
    const auto session = make();
    const std::pair<const char*, std::function<void()>> changes[] = {
        {"persistIdentity(ada2)", [&] { session->persistIdentity(dataAt(Level::SignedIn, true)); }},
        {"completeLogout", [&] { session->completeLogout(); }}};
    for (const auto& [outerName, outer] : changes)
        for (const auto& side : {detail, daemon})
            for (const auto& [innerName, inner] : changes) {
                std::error_code refused;
                side->meanwhile = [&, &inner = inner] {
                    try {
                        inner();
                    } catch (const std::system_error& error) {
                        refused = error.code();
                    }
                };
                outer();
                EXPECT_EQ(refused, std::errc::resource_deadlock_would_occur) << innerName;
                const auto name = std::string(outerName);
                EXPECT_THAT(calls->take(), ElementsAre("detail." + name, "daemon." + name));
            }
    detail->meanwhile = [&] { // what takes no lock is answered there
        session->vetoSignIn(true);
        session->negotiateLogout({});
        EXPECT_TRUE(session->shouldVetoSignIn());
    };
    session->completeLogout();
    EXPECT_THAT(calls->take(),
                ElementsAre("detail.completeLogout", "vetoer.vetoSignIn(yes)", "daemon.completeLogout",
                            "detail.negotiateLogout(0)", "daemon.negotiateLogout(0)",
                            "vetoer.shouldVetoSignIn", "daemon.completeLogout"));
}

TEST_F(SessionLogin, ChangesOfSeveralThreadsFollowOneAnother) {
    const auto session = make();
    {
        std::latch start(4);
        const auto threads = startThreads(4, [&](int number) {
            start.arrive_and_wait();
            for (int i = 0; i < 100; ++i)
                if ((number + i) % 2 == 0)
                    session->completeLogout();
                else
                    session->persistIdentity(dataAt(Level::SignedIn, true));
        });
    }
    const auto made = calls->take();
    ASSERT_EQ(made.size(), 800u);
    for (std::size_t i = 0; i < made.size(); i += 2)
        EXPECT_EQ(made[i + 1], "daemon" + made[i].substr(6)) << i;
}

} // namespace
