#include "module/v1/ZelkorLoginImpl.h"
#include "tests/system/SystemFixture.h"

namespace {

using namespace login;
using namespace zelkor::test;

class Secrecy : public SystemFixture {};

/// Runs something that may fail; its exception text.
template <class Action>
std::string textOf(Action action) {
    try {
        action();
        return {};
    } catch (const std::exception& error) {
        return error.what();
    }
}

TEST_F(Secrecy, NoSecretIsInAnyLogLineOrExceptionText) {
    RecordingLog log; // every component, every level
    start();
    const std::string canary = "CaNaRy-4711";
    auto data = dataOf(someone());
    data.refreshToken = data.deviceId = data.accountHint = data.endpoint = data.sourceId = canary;
    std::string errors;
    const auto walk = [&](auto& client) {
        const auto level = LoginInfo::Level::SignedIn;
        for (const bool veto : {true, false}) {
            errors += textOf([&] { client.vetoSignIn(veto); }); // version 1 has none
            errors += textOf([&] { client.impersonate(AccessToken(canary), someone()); });
        }
        errors += textOf([&] { client.persistIdentity(data); });
        client.getPersistedLoginData();
        client.requestAccessToken("secrecy", level);
        client.getAccessToken();
        client.getLoginInfo("secrecy", level);
        client.getLoginInfoAndLogTELX("secrecy", level, "context");
        static_cast<ZelkorLogin&>(client).isLoggedIn("secrecy", level);
        client.negotiateLogout({1});
        client.getCurrentSessionId() + client.getEndpoint() + client.getSourceId();
        errors += textOf([&] { client.completeLogout(); });
        errors += textOf([&] { client.clearSettings(); });
    };
    const auto listening = makeClient(10, 60);
    listening->addStatusListenerV2([](const auto&, const auto&) {});
    walk(*listening);
    ZelkorLoginImpl version1(configuration(10, 60));
    walk(version1);
    EXPECT_THAT(errors, Not(HasSubstr("didn't appear")));
    walk(*makeClient(0, 60)); // every call overdue at once
    daemon.kill();
    walk(*makeClient(10, 0)); // and nobody there
    EXPECT_THAT(errors, AllOf(Not(IsEmpty()), Not(HasSubstr(canary))));
    EXPECT_GT(log.lines().size(), 60u);
    EXPECT_FALSE(log.mentions(canary));
    // The daemon did log at every level.
    EXPECT_THAT(contentOf(directory / "hshd.log"), AllOf(HasSubstr("context"), Not(HasSubstr(canary))));
}

} // namespace
