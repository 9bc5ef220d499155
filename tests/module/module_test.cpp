#include "ModuleHost.h"
#include "tests/support/RecordingLog.h"

#include <foundation/log/subscription.h>

#include <dlfcn.h>

namespace zelkor::test {

namespace {

using cppmicroservices::Any;
using cppmicroservices::any_cast;

const std::string desktopServices = "zelkorconnector::serviceprocess::HasDesktopServices";

struct Declared {
    std::string name, factory, pid;
    int ranking;
    std::vector<std::string> interfaces, references;
};

std::vector<std::string> texts(const Any& list) {
    std::vector<std::string> result;
    for (const auto& item : any_cast<std::vector<Any>>(list))
        result.push_back(item.ToStringNoExcept());
    return result;
}

} // namespace

TEST_F(ModuleHost, DeclaresItsComponents) {
    const std::string pid = "hv.HalvorinServiceHost.";
    const std::vector<Declared> all{
        {"login::spf::ZelkorLogin",
         "ZelkorLoginFactory",
         pid + "ZelkorLogin",
         10,
         {"login::ZelkorLogin", "login::detail::ZelkorLogin", "login::control::LoginVetoer"},
         {desktopServices}},
        {"login::spf::detail::ZelkorLogin",
         "ZelkorLoginDetailsFactory",
         pid + "ZelkorLoginDetail",
         -10,
         {"login::detail::ZelkorLogin"},
         {}}};
    EXPECT_EQ(bundle.GetSymbolicName(), "com_halvorin_zelkorloginclient");
    const auto headers = bundle.GetHeaders();
    const auto components = any_cast<std::vector<Any>>(headers.AtCompoundKey("scr.components"));
    ASSERT_EQ(components.size(), all.size());
    for (std::size_t i = 0; i < all.size(); ++i) {
        SCOPED_TRACE(all[i].name);
        const auto component = any_cast<AnyMap>(components[i]);
        const auto text = [&](const char* key) { return component.AtCompoundKey(key).ToStringNoExcept(); };
        EXPECT_EQ(text("name"), all[i].name);
        EXPECT_EQ(text("implementation-class"), "login::spf::ZelkorLogin");
        EXPECT_EQ(text("factory"), all[i].factory);
        EXPECT_EQ(texts(component.at("configuration-pid")), std::vector{all[i].pid});
        EXPECT_EQ(text("configuration-policy"), "require");
        EXPECT_EQ(text("service.scope"), "singleton");
        EXPECT_EQ(texts(component.AtCompoundKey("service.interfaces")), all[i].interfaces);
        EXPECT_FALSE(any_cast<bool>(component.at("immediate")));
        EXPECT_EQ(any_cast<bool>(component.at("inject-references")), !all[i].references.empty());
        const auto properties = any_cast<AnyMap>(component.at("properties"));
        const std::map<std::string, int> expected{{"service.ranking", all[i].ranking},
                                                  {"spfLoginClient", 1},
                                                  {"timeouts::call", 10},
                                                  {"timeouts::service", 10},
                                                  {"version", 2}};
        EXPECT_EQ(properties.size(), expected.size());
        for (const auto& [key, value] : expected)
            EXPECT_EQ(any_cast<int>(properties.at(key)), value) << key;
        std::vector<std::string> references;
        for (const auto& item : component.count("references")
                                    ? any_cast<std::vector<Any>>(component.at("references"))
                                    : std::vector<Any>())
            references.push_back(any_cast<AnyMap>(item).at("interface").ToStringNoExcept());
        EXPECT_EQ(references, all[i].references);
    }
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

TEST_F(ModuleHost, TheProcessMayExitWhileACallIsOnItsWay) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
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
