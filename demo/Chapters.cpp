#include "demo/Chapters.h"

#include "records/Utf.h"

#include <atomic>
#include <chrono>
#include <sstream>
#include <thread>
#include <vector>

namespace demo {

namespace {

using login::LoginInfo;
using Clock = std::chrono::steady_clock;

const std::string kToken = "demo-token";

LoginInfo ada() {
    LoginInfo info;
    info.userId = u"ada";
    info.displayName = u"Ada Lovelace";
    info.email = u"ada@example.test";
    info.level = LoginInfo::Level::SignedIn;
    return info;
}

std::string nameOf(const LoginInfo& info) {
    return info.userId.empty() ? "nobody" : login::toUtf8(info.displayName);
}

std::string yesNo(bool yes) {
    return yes ? "yes" : "no";
}

std::string since(Clock::time_point begin) {
    std::ostringstream text;
    text.precision(1);
    text << std::fixed << std::chrono::duration<double>(Clock::now() - begin).count() << " s";
    return text.str();
}

void pause(std::chrono::milliseconds time) {
    std::this_thread::sleep_for(time);
}

} // namespace

void askEverything(Narrator& narrator, Client& client) {
    narrator.chapter("A client in this process asks the daemon in another one");
    narrator.expect("getLoginInfo", nameOf(client.getLoginInfo("demo", LoginInfo::Level::SignedIn)),
                    "nobody");
    narrator.expect("isLoggedIn", yesNo(client.isLoggedIn("demo", LoginInfo::Level::SignedIn)), "no");
    narrator.check(!client.requestAccessToken("demo", LoginInfo::Level::SignedIn),
                   "requestAccessToken: no token");
    narrator.check(!client.getAccessToken(), "getAccessToken: no token");
    const auto release = client.getRelease();
    narrator.check(!release.empty(), "getRelease: " + release);
    narrator.expect("getEndpoint", client.getEndpoint(), endpoint);
    const auto source = client.getSourceId();
    narrator.check(!source.empty(), "getSourceId: " + source);
    narrator.expect("getCurrentSessionId", client.getCurrentSessionId(), "");
    narrator.check(!client.getPersistedLoginData().getRememberMe(),
                   "getPersistedLoginData: nothing is remembered");
    narrator.expect("getLoginInfoAndLogTELX",
                    nameOf(client.getLoginInfoAndLogTELX("demo", LoginInfo::Level::SignedIn, "start")),
                    "nobody");
    narrator.expect("isLogoutVetoed", yesNo(client.isLogoutVetoed()), "no");
    narrator.check(client.negotiateLogout({}).accepted, "negotiateLogout: everybody accepts");
    narrator.expect("shouldVetoSignIn", yesNo(client.shouldVetoSignIn()), "no");
}

void impersonate(Narrator& narrator, Client& client) {
    narrator.chapter("Signing in, tokens, and being remembered");
    client.vetoSignIn(true);
    narrator.expect("vetoSignIn(true), then shouldVetoSignIn", yesNo(client.shouldVetoSignIn()), "yes");
    try {
        client.impersonate(login::AccessToken(kToken), ada());
        narrator.check(false, "impersonate went through a veto");
    } catch (const std::exception& refusal) {
        narrator.check(true, std::string("impersonate is refused: ") + refusal.what());
    }
    client.vetoSignIn(false);
    client.impersonate(login::AccessToken(kToken), ada());
    narrator.expect("impersonate, then getLoginInfo",
                    nameOf(client.getLoginInfo("demo", LoginInfo::Level::SignedIn)), "Ada Lovelace");
    narrator.expect("isLoggedIn", yesNo(client.isLoggedIn("demo", LoginInfo::Level::SignedIn)), "yes");
    const auto token = client.requestAccessToken("demo", LoginInfo::Level::SignedIn);
    narrator.check(token && token->getTokenString() == kToken, "requestAccessToken: the token, not shown");
    narrator.check(client.getAccessToken().getTokenString() == kToken,
                   "getAccessToken: the token, not shown");
    narrator.check(!client.getCurrentSessionId().empty(),
                   "getCurrentSessionId: " + client.getCurrentSessionId());

    login::detail::LoginData data;
    data.refreshToken = "demo-refresh-token";
    data.info = ada();
    data.rememberMe = true;
    client.persistIdentity(data);
    narrator.check(client.getPersistedLoginData() == data,
                   "persistIdentity, then getPersistedLoginData: the same data");
}

void waitForDaemon(Narrator& narrator, Host& host, hshd::DaemonProcess& daemon) {
    narrator.chapter("No daemon: a call waits for one, up to its service timeout");
    narrator.expect("SIGTERM to the daemon: exit code", std::to_string(daemon.stop()), "0");
    host.awaitDaemonGone();
    const auto impatient = host.makeClient(1);
    auto begin = Clock::now();
    narrator.expect("getRelease with a service timeout of 1 s", impatient->getRelease(), "");
    narrator.check(Clock::now() - begin >= std::chrono::seconds(1), "it came back after " + since(begin));

    const auto patient = host.makeClient(60);
    std::string release;
    begin = Clock::now();
    std::jthread caller([&] { release = patient->getRelease(); });
    narrator.say(
        "getRelease with a service timeout of 60 s is called; the daemon is started half a second later");
    pause(std::chrono::milliseconds(500));
    daemon.start();
    caller.join();
    narrator.check(!release.empty() && Clock::now() - begin < std::chrono::seconds(30),
                   "it answered " + release + " after " + since(begin));
}

void killDuringCalls(Narrator& narrator, Client& client, hshd::DaemonProcess& daemon) {
    narrator.chapter("The daemon is killed (SIGKILL) three times while eight threads call");
    const auto session = client.getCurrentSessionId();
    std::atomic<int> answered{0}, empty{0}, wrong{0};
    {
        std::vector<std::jthread> callers;
        for (int i = 0; i < 8; ++i)
            callers.emplace_back([&](std::stop_token stop) {
                while (!stop.stop_requested()) {
                    const auto name = nameOf(client.getLoginInfo("demo", LoginInfo::Level::SignedIn));
                    ++(name == "Ada Lovelace" ? answered : name == "nobody" ? empty : wrong);
                }
            });
        for (int kill = 1; kill <= 3; ++kill) {
            pause(std::chrono::milliseconds(300));
            daemon.kill();
            daemon.start();
            narrator.say("killed and restarted, " + std::to_string(kill) + " of 3");
        }
        pause(std::chrono::milliseconds(300));
    }
    narrator.check(answered > 0 && wrong == 0,
                   std::to_string(answered) + " calls answered, " + std::to_string(empty) +
                       " ended empty with their daemon, " + std::to_string(wrong) + " wrong, none hung");
    narrator.expect("getLoginInfo", nameOf(client.getLoginInfo("demo", LoginInfo::Level::SignedIn)),
                    "Ada Lovelace");
    narrator.expect("the session is the same", client.getCurrentSessionId(), session);
    narrator.check(client.getAccessToken().getTokenString() == kToken,
                   "getAccessToken: the token, not shown");
    narrator.check(client.getPersistedLoginData().getRememberMe(), "getPersistedLoginData: still remembered");

    client.completeLogout();
    narrator.expect("completeLogout, then getLoginInfo",
                    nameOf(client.getLoginInfo("demo", LoginInfo::Level::SignedIn)), "nobody");
    client.clearSettings();
    narrator.check(!client.getPersistedLoginData().getRememberMe(), "clearSettings: nothing is remembered");
}

} // namespace demo
