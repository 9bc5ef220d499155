#include "tests/system/SystemFixture.h"

#include <fstream>
#include <iterator>

namespace {

using namespace login;
using zelkor::test::RecordingLog;

class Secrecy : public zelkor::test::SystemFixture {
protected:
    std::string daemonLog() const {
        std::ifstream file(directory / "hshd.log");
        return {std::istreambuf_iterator<char>(file), {}};
    }
};

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
    daemon->start();
    connector->start();
    const std::string canary = "CaNaRy-4711";
    LoginInfo info;
    info.userId = u"user";
    info.level = LoginInfo::Level::SignedIn;
    detail::LoginData data;
    data.refreshToken = data.deviceId = data.accountHint = data.endpoint = data.sourceId = canary;
    data.info = info;
    data.rememberMe = true;
    std::string errors;
    const auto walk = [&](spf::ZelkorLogin& client) {
        client.vetoSignIn(true);
        errors += textOf([&] { client.impersonate(AccessToken(canary), info); });
        client.vetoSignIn(false);
        errors += textOf([&] { client.impersonate(AccessToken(canary), info); });
        errors += textOf([&] { client.persistIdentity(data); });
        static_cast<void>(client.getPersistedLoginData());
        static_cast<void>(client.requestAccessToken("secrecy", LoginInfo::Level::SignedIn));
        static_cast<void>(client.getAccessToken());
        static_cast<void>(client.getLoginInfo("secrecy", LoginInfo::Level::SignedIn));
        static_cast<void>(client.getLoginInfoAndLogTELX("secrecy", LoginInfo::Level::SignedIn, "context"));
        static_cast<void>(client.isLoggedIn("secrecy", LoginInfo::Level::SignedIn));
        static_cast<void>(client.negotiateLogout({1}));
        static_cast<void>(client.getCurrentSessionId() + client.getEndpoint() + client.getSourceId());
        errors += textOf([&] { client.completeLogout(); });
        errors += textOf([&] { client.clearSettings(); });
    };
    const auto listening = makeClient(10, 60);
    static_cast<void>(listening->addStatusListenerV2([](const auto&, const auto&) {}));
    walk(*listening);
    EXPECT_EQ(errors.find("didn't appear"), std::string::npos);
    walk(*makeClient(0, 60)); // every call overdue at once
    daemon->kill();
    walk(*makeClient(10, 0)); // and nobody there
    EXPECT_FALSE(errors.empty());
    EXPECT_EQ(errors.find(canary), std::string::npos);
    EXPECT_GT(log.lines().size(), 60u);
    EXPECT_FALSE(log.mentions(canary));
    const auto theirs = daemonLog();
    EXPECT_NE(theirs.find("context"), std::string::npos); // it did log at every level
    EXPECT_EQ(theirs.find(canary), std::string::npos);
}

} // namespace
