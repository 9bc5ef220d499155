#include "ModuleHost.h"
#include "contract/calls/ExportedCallback.h"
#include "contract/records/NotifierUuid.h"
#include "host/ComponentLog.h"
#include "tests/support/RecordingLog.h"
#include "tests/support/RecordingLogin.h"

#include <foundation/json.h>
#include <foundation/log/subscription.h>

#include <dlfcn.h>
#include <unistd.h>

namespace zelkor::test {

using cppmicroservices::any_cast;

TEST_F(ModuleHost, DeclaresItsComponents) {
    using foundation::json::parse;
    EXPECT_EQ(bundle.GetSymbolicName(), "com_halvorin_zelkorloginclient");
    const auto headers = bundle.GetHeaders();
    EXPECT_EQ(any_cast<int>(headers.AtCompoundKey("scr.version")), 1);
    const auto declared = parse(headers.AtCompoundKey("scr.components").ToJSON()).as_array();
    std::ifstream golden(ZELKOR_COMPONENTS_GOLDEN);
    std::size_t known = 0;
    for (std::string expected; std::getline(golden, expected); ++known)
        EXPECT_EQ(known < declared.size() ? declared[known] : nullptr, parse(expected));
    EXPECT_EQ(declared.size(), known);
}

TEST_F(ModuleHost, OffersItsServicesAsConfigured) {
    daemon.appear();
    configure(detailPid);
    EXPECT_EQ(get<login::detail::ZelkorLogin>()->getRelease(), "1.2");
    configure(fullPid, {{"service.ranking", 11}});
    EXPECT_FALSE(context.GetServiceReference<login::ZelkorLogin>()) << "it needs desktop services";
    auto desktop = offerDesktopServices();

    login::LoginInfo ada;
    ada.userId = u"ada";
    ada.level = login::LoginInfo::Level::SignedIn;
    daemon.answer("getLoginInfo", ada); // a payload of this program, read in the module
    EXPECT_EQ(get<login::ZelkorLogin>()->getLoginInfo("test", login::LoginInfo::Level::SignedIn), ada);
    const auto call = daemon.calls().back();
    EXPECT_EQ(call.arguments.get<std::string>(0), "test"); // and one of the module, read here
    EXPECT_EQ(call.timeout, std::chrono::seconds(10));
    EXPECT_TRUE(get<login::control::LoginVetoer>());
    EXPECT_EQ(bestDetail(), "login::spf::ZelkorLogin_" + fullPid);
    const auto reference = context.GetServiceReference<login::ZelkorLogin>();
    EXPECT_EQ(any_cast<int>(reference.GetProperty("service.ranking")), 11);
    EXPECT_EQ(context.GetServiceReferences<login::ZelkorLogin>("(&(spfLoginClient=1)(version=2))").size(),
              1u);

    desktop.Unregister();
    EXPECT_TRUE(eventually([&] { return bestDetail() == "login::spf::detail::ZelkorLogin_" + detailPid; }));
}

TEST_F(ModuleHost, ASessionJoinsThisProcessAndTheDaemon) {
    const auto calls = std::make_shared<Calls>();
    const auto own = std::make_shared<RecordingLogin>("own", calls);
    const auto offer = [&] {
        return context.RegisterService<login::ZelkorLogin, login::detail::ZelkorLogin,
                                       login::control::LoginVetoer, login::detail::ZelkorLoginLNUSupport>(
            own);
    };
    auto offered = offer();
    auto desktop = offerDesktopServices();
    daemon.answer("getSourceId", std::string("source"));
    daemon.appear();
    EXPECT_EQ(context.GetServiceReferences<login::ZelkorLogin>("(session=true)").size(), 0u);
    configure(fullPid);
    configure(detailPid);
    EXPECT_EQ(bestDetail(), "login::spf::session::ZelkorLogin");
    EXPECT_THAT(calls->take(), testing::IsEmpty()) << "made at the first use";

    static_cast<void>(context.RegisterService<cppmicroservices::logservice::LogService>(
        std::make_shared<host::ComponentLog>()));
    const RecordingLog log("framework");
    own->failing = "completeLogout"; // there is no session then, and the next use tries again
    EXPECT_EQ(context.GetService(context.GetServiceReference<login::detail::ZelkorLogin>()), nullptr);
    EXPECT_NE(log.mentions("The component 'login::spf::session::ZelkorLogin' of the bundle "
                           "'com_halvorin_zelkorloginclient' cannot be constructed: "),
              0u);
    own->failing.clear();
    EXPECT_THAT(calls->take(), testing::ElementsAre("own.setSourceId(source)", "own.completeLogout"));
    const auto session = get<login::detail::ZelkorLogin>();
    EXPECT_EQ(session->getEndpoint(), "own");
    EXPECT_EQ(session->getRelease(), "1.2");
    EXPECT_EQ(get<login::ZelkorLogin>()->getLoginInfo("test", login::LoginInfo::Level::SignedIn).locale,
              "own");

    offered.Unregister(); // the session goes, and comes again with the reference
    EXPECT_TRUE(eventually([&] { return bestDetail() == "login::spf::ZelkorLogin_" + fullPid; }));
    calls->take();
    const auto again = offer();
    EXPECT_TRUE(eventually([&] { return bestDetail() == "login::spf::session::ZelkorLogin"; }));
    EXPECT_NE(get<login::detail::ZelkorLogin>(), session);
    EXPECT_THAT(calls->take(), testing::ElementsAre("own.setSourceId(source)", "own.completeLogout"));

    configure(fullPid, {{"timeouts::service", 0}});
    daemon.disappear();
    EXPECT_TRUE(eventually([&] { return get<login::detail::ZelkorLogin>()->getRelease() == "own"; }));
}

TEST_F(ModuleHost, TheInteractiveClientOfADesktopWinsWhereThereIsOne) {
    const auto best = [&] {
        const auto found = context.GetServiceReference<login::interactive::ZelkorLogin>();
        return found ? found.GetProperty("component.name").ToStringNoExcept() : "none";
    };
    const std::string prefix = "hv.HalvorinServiceHost.PerClientV1Service";
    configure(prefix + "~test", {{"timeouts::service", 0}});
    configure(prefix + "ForZELKOR~test", {{"timeouts::service", 0}});
    const auto plain = "login::spf::interactive::daemon::ZelkorLogin_" + prefix + "~test";
    EXPECT_EQ(best(), plain);
    auto desktop = offerDesktopServices();
    EXPECT_EQ(best(), "login::spf::interactive::desktop::ZelkorLogin_" + prefix + "ForZELKOR~test");
    const auto login = get<login::interactive::ZelkorLogin>();
    EXPECT_TRUE(login->supportsWebRedirect());
    EXPECT_THROW(login->requestLogout({}), std::runtime_error);
    desktop.Unregister();
    EXPECT_TRUE(eventually([&] { return best() == plain; }));
    EXPECT_TRUE(get<login::interactive::ZelkorLogin>()->supportsWebRedirect());
}

TEST_F(ModuleHost, TheVetoerVetoesNothingWithoutADaemonAndSwallowsFailures) {
    configure("hv.HalvorinServiceHost.LoginVetoer~test", {{"timeouts::service", 0}});
    const auto vetoer = get<login::control::LoginVetoer>();
    EXPECT_FALSE(vetoer->shouldVetoSignIn());
    EXPECT_NO_THROW(vetoer->vetoSignIn(true));
    daemon.answer("shouldVetoSignIn", true);
    daemon.appear();
    EXPECT_TRUE(eventually([&] { return vetoer->shouldVetoSignIn(); }));
    RecordingLog log("login.spf.LoginVetoerClient");
    EXPECT_NO_THROW(vetoer->vetoSignIn(true));
    EXPECT_EQ(log.count(256, "`vetoSignIn` on `ZelkorLogin-v2.1` failed: no behaviour for vetoSignIn"), 1u);
}

TEST_F(ModuleHost, AChangeOfItsConfigurationReachesTheSameObject) {
    RecordingLog log;
    configure(detailPid, {{"timeouts::service", 60}});
    const auto login = get<login::detail::ZelkorLogin>();
    std::jthread waiting([&] { EXPECT_EQ(login->getRelease(), "1.2") << "it waits with its old limit"; });
    EXPECT_TRUE(eventually([&] { return log.mentions("getRelease") > 0; })) << "the module logs here";
    configure(detailPid, {{"timeouts::service", 0}, {"timeouts::call", 7}});
    EXPECT_TRUE(eventually([&] { return login->getEndpoint().empty(); })) << "no time is left to wait";
    EXPECT_EQ(get<login::detail::ZelkorLogin>(), login);
    daemon.appear();
    waiting.join();
    EXPECT_TRUE(eventually([&] { return login->getRelease() == "1.2"; }));
    EXPECT_EQ(daemon.calls().back().timeout, std::chrono::seconds(7));
}

TEST_F(ModuleHost, AFunctionThatTheDaemonCallsBeforeItAnswersMayUseItsClient) {
    daemon.appear();
    configure(fullPid);
    const auto desktop = offerDesktopServices();
    const auto login = get<login::ZelkorLogin>();
    const auto detail = get<login::detail::ZelkorLogin>();
    daemon.on("addLogoutNegotiator", [&](const FakeDaemon::Call& call) {
        using agent::spf::core::ExportedCallback;
        const auto id = call.arguments.get<ExportedCallback>(1).getCallbackID();
        auto asked = std::async(std::launch::async, [&, id] {
            // By this program's copy of the table; the client is the module's.
            daemon.callbacks()->invoke(id, {}, FakeDaemon::Payload::of(login::NegotiationTerms{1}));
        });
        EXPECT_TRUE(comes(asked));
        call.answer(FakeDaemon::Payload::of(login::detail::createUuid()));
    });
    std::string release;
    login->addLogoutNegotiator({"asks", [&](const auto&) {
                                    release = detail->getRelease();
                                    return login::NegotiatorResponse{};
                                }});
    EXPECT_EQ(release, "1.2");
}

TEST_F(ModuleHost, WhatIsHeldWorksAsDocumentedAfterEverythingHasStopped) {
    daemon.appear();
    configure(detailPid, {{"timeouts::service", 0}});
    const auto login = get<login::detail::ZelkorLogin>();
    EXPECT_TRUE(eventually([&] { return login->getRelease() == "1.2"; }));
    bundle.Stop();
    EXPECT_EQ(login->getRelease(), "1.2") << "it still has its daemon";
    daemon.on("getRelease", [](const FakeDaemon::Call& call) { call.fail("the connection has ended"); });
    stopFramework();
    void* library = ::dlopen(MODULE_PATH, RTLD_NOW | RTLD_NOLOAD);
    ASSERT_TRUE(library);
    while (::dlclose(library) == 0 && ::dlopen(MODULE_PATH, RTLD_NOW | RTLD_NOLOAD) == nullptr) {
    }
    EXPECT_EQ(login->getRelease(), "");
    EXPECT_THROW(login->completeLogout(), std::runtime_error);
}

/// What is registered from now on for the exit runs before; the leak check, which stumbles over threads that
/// are just ending, would come after.
void leaveBeforeTheLeakCheck() {
#ifdef __SANITIZE_ADDRESS__
    std::atexit([] { ::_exit(3); });
#endif
}

TEST_F(ModuleHost, TheProcessMayExitWhileACallIsOnItsWay) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            leaveBeforeTheLeakCheck();
            daemon.appear();
            daemon.hold("getRelease");
            configure(detailPid);
            const auto login = get<login::detail::ZelkorLogin>();
            std::thread([login] { login->getRelease(); }).detach();
            daemon.waitForHeld(1);
            std::exit(3);
        },
        testing::ExitedWithCode(3), "");
}

} // namespace zelkor::test
