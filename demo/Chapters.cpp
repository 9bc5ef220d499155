#include "demo/Chapters.h"

#include "demo/ShellCommand.h"
#include "demo/Story.h"

#include <cppmicroservices/Any.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace demo {

namespace {
using login::LoginInfo;
using Clock = std::chrono::steady_clock;
} // namespace

void askEverything(Narrator& narrator, const Services& services) {
    const auto& [login, detail, vetoer] = services;
    narrator.chapter("The module, loaded into this process, asks the daemon in another one");
    narrator.expect("getLoginInfo", nameOf(login->getLoginInfo("demo", LoginInfo::Level::SignedIn)),
                    "nobody");
    narrator.expect("isLoggedIn", yesNo(login->isLoggedIn("demo", LoginInfo::Level::SignedIn)), "no");
    narrator.check(!login->requestAccessToken("demo", LoginInfo::Level::SignedIn),
                   "requestAccessToken: no token");
    narrator.check(!login->getAccessToken(), "getAccessToken: no token");
    const auto release = detail->getRelease();
    narrator.check(!release.empty(), "getRelease: " + release);
    narrator.expect("getEndpoint", detail->getEndpoint(), endpoint);
    const auto source = detail->getSourceId();
    narrator.check(!source.empty(), "getSourceId: " + source);
    narrator.expect("getCurrentSessionId", detail->getCurrentSessionId(), "");
    narrator.check(!detail->getPersistedLoginData().getRememberMe(),
                   "getPersistedLoginData: nothing is remembered");
    narrator.expect("getLoginInfoAndLogTELX",
                    nameOf(detail->getLoginInfoAndLogTELX("demo", LoginInfo::Level::SignedIn, "start")),
                    "nobody");
    narrator.expect("isLogoutVetoed", yesNo(detail->isLogoutVetoed()), "no");
    narrator.check(detail->negotiateLogout({}).accepted, "negotiateLogout: everybody accepts");
    narrator.expect("shouldVetoSignIn", yesNo(vetoer->shouldVetoSignIn()), "no");
}

void impersonate(Narrator& narrator, const Services& services) {
    const auto& [login, detail, vetoer] = services;
    narrator.chapter("Signing in, tokens, and being remembered");
    vetoer->vetoSignIn(true);
    narrator.expect("vetoSignIn(true), then shouldVetoSignIn", yesNo(vetoer->shouldVetoSignIn()), "yes");
    try {
        login->impersonate(login::AccessToken(token), ada());
        narrator.check(false, "impersonate went through a veto");
    } catch (const std::exception& refusal) {
        narrator.check(true, std::string("impersonate is refused: ") + refusal.what());
    }
    vetoer->vetoSignIn(false);
    login->impersonate(login::AccessToken(token), ada());
    narrator.expect("impersonate, then getLoginInfo",
                    nameOf(login->getLoginInfo("demo", LoginInfo::Level::SignedIn)), "Ada Lovelace");
    narrator.expect("isLoggedIn", yesNo(login->isLoggedIn("demo", LoginInfo::Level::SignedIn)), "yes");
    const auto given = login->requestAccessToken("demo", LoginInfo::Level::SignedIn);
    narrator.check(given && given->getTokenString() == token, "requestAccessToken: the token, not shown");
    narrator.check(login->getAccessToken().getTokenString() == token, "getAccessToken: the token, not shown");
    narrator.check(!detail->getCurrentSessionId().empty(),
                   "getCurrentSessionId: " + detail->getCurrentSessionId());

    login::detail::LoginData data;
    data.refreshToken = "demo-refresh-token";
    data.info = ada();
    data.rememberMe = true;
    detail->persistIdentity(data);
    narrator.check(detail->getPersistedLoginData() == data,
                   "persistIdentity, then getPersistedLoginData: the same data");
}

void askFromShell(Narrator& narrator, const Shell& shell, hshd::DaemonProcess& daemon) {
    narrator.chapter("From a shell: the program zelkorlogin, with a daemon and without one");
    shell.run({"status"}, 0);
    shell.run({"status", "--all"}, 0);
    shell.run({"token", "--level", "confirmed"}, 1);
    narrator.expect("SIGTERM to the daemon: exit code", std::to_string(daemon.stop()), "0");
    shell.run({"status", "--timeout", "1"}, 3);
}

void waitForDaemon(Narrator& narrator, zelkor::host::Host& host, const Services& services,
                   hshd::DaemonProcess& daemon) {
    narrator.chapter("No daemon: a call waits for one, up to its service timeout");
    while (host.daemonPresent())
        pause(std::chrono::milliseconds(10));
    const std::string key = "timeouts::service";
    auto& detail = services.detail;
    host.configureAll(key, 1);
    auto begin = Clock::now();
    narrator.expect("getRelease, the service timeout configured to 1 s", detail->getRelease(), "");
    narrator.check(Clock::now() - begin >= std::chrono::seconds(1), "it came back after " + since(begin));

    host.configureAll(key, 60);
    std::string release;
    begin = Clock::now();
    std::jthread caller([&] { release = detail->getRelease(); });
    narrator.say("getRelease, the timeout now configured to 60 s, is called; the daemon is started half a "
                 "second later");
    pause(std::chrono::milliseconds(500));
    daemon.start();
    caller.join();
    narrator.check(!release.empty() && Clock::now() - begin < std::chrono::seconds(30),
                   "it answered " + release + " after " + since(begin));
    host.configureAll(key, 10);
    narrator.check(host.get<login::detail::ZelkorLogin>(zelkor::host::among::daemonClients).service ==
                       detail.service,
                   "all this time the service was the same object");
}

void killDuringCalls(Narrator& narrator, const Services& services, hshd::DaemonProcess& daemon) {
    const auto& [login, detail, vetoer] = services;
    narrator.chapter("The daemon is killed (SIGKILL) three times while eight threads call");
    const auto session = detail->getCurrentSessionId();
    std::atomic<int> answered{0}, empty{0}, wrong{0};
    {
        std::vector<std::jthread> callers;
        for (int i = 0; i < 8; ++i)
            callers.emplace_back([&, &login = login](const std::stop_token& stop) {
                while (!stop.stop_requested()) {
                    const auto name = nameOf(login->getLoginInfo("demo", LoginInfo::Level::SignedIn));
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
    narrator.expect("getLoginInfo", nameOf(login->getLoginInfo("demo", LoginInfo::Level::SignedIn)),
                    "Ada Lovelace");
    narrator.expect("the session is the same", detail->getCurrentSessionId(), session);
    narrator.check(login->getAccessToken().getTokenString() == token, "getAccessToken: the token, not shown");
    narrator.check(detail->getPersistedLoginData().getRememberMe(),
                   "getPersistedLoginData: still remembered");
}

} // namespace demo
