#include "contract/records/Utf.h"
#include "demo/Chapters.h"
#include "demo/Story.h"

#include <login/interactive/ZelkorLogin.h>

#include <atomic>

namespace demo {

namespace {

using login::Negotiator;
using login::NegotiatorResponse;

/// Objects with its own message until told otherwise.
Negotiator objecting(const char* name, const std::shared_ptr<std::atomic<bool>>& objects,
                     const std::u16string& message) {
    return {name, [objects, message](const login::NegotiationTerms&) {
                return *objects ? NegotiatorResponse{Negotiator::Position::Object, message}
                                : NegotiatorResponse{Negotiator::Position::Accept, u""};
            }};
}

std::string outcome(const login::detail::NegotiationsResult& result) {
    return result.accepted ? "accepted" : "refused: " + login::toUtf8(result.objections.front());
}

} // namespace

void liveASession(Narrator& narrator, zelkor::host::Host& host, const Shell& shell) {
    narrator.chapter("A session: this process's login and the daemon's, joined");
    const Services session(host, zelkor::host::among::components);
    const Services daemonClient(host, zelkor::host::among::daemonClients);
    const auto& [login, detail, vetoer] = session;
    const auto whoIsIt = [&login = login] {
        return nameOf(login->getLoginInfo("demo", login::LoginInfo::Level::SignedIn));
    };
    narrator.say("the registry's best service is " + login.component);
    narrator.expect("the daemon remembers nobody, so the session starts logged out: getLoginInfo", whoIsIt(),
                    "nobody");
    login::detail::LoginData data;
    data.refreshToken = "demo-refresh-token";
    data.info = ada();
    detail->persistIdentity(data);
    narrator.expect("persistIdentity without remember-me: getLoginInfo", whoIsIt(), "Ada Lovelace");
    narrator.say("another process has a session of its own, and knows nothing of it:");
    shell.run({"status"}, 1, Shell::Shown::FirstLine);
    data.rememberMe = true;
    detail->persistIdentity(data);
    narrator.say("persistIdentity with remember-me; now another process starts signed in:");
    shell.run({"status"}, 0, Shell::Shown::FirstLine);

    const auto editor = std::make_shared<std::atomic<bool>>(true);
    const auto backup = std::make_shared<std::atomic<bool>>(true);
    const auto local = login->addLogoutNegotiator(objecting("editor", editor, u"unsaved text"));
    const auto remote =
        daemonClient.login->addLogoutNegotiator(objecting("backup", backup, u"a backup runs"));
    narrator.expect("negotiateLogout, both sides object: the local side is asked first",
                    outcome(detail->negotiateLogout({})), "refused: unsaved text");
    *editor = false;
    narrator.expect("the local side accepts, the daemon's side objects", outcome(detail->negotiateLogout({})),
                    "refused: a backup runs");
    *backup = false;
    narrator.expect("both accept", outcome(detail->negotiateLogout({})), "accepted");
    login->removeLogoutNegotiator(local);
    daemonClient.login->removeLogoutNegotiator(remote);
    detail->completeLogout();
    narrator.expect("completeLogout: getLoginInfo", whoIsIt(), "nobody");
    narrator.check(!daemonClient.detail->getPersistedLoginData().getRememberMe(),
                   "the daemon has forgotten the identity, too");

    detail->persistIdentity(data);
    vetoer->vetoSignIn(true);
    narrator.expect("signed in again, then vetoSignIn(true): the session is still there", whoIsIt(),
                    "Ada Lovelace");
    narrator.say("... and the daemon is logged out, so no later session starts signed in:");
    shell.run({"status"}, 1, Shell::Shown::FirstLine);
    narrator.expect("shouldVetoSignIn", yesNo(vetoer->shouldVetoSignIn()), "yes");
    vetoer->vetoSignIn(false);
    detail->completeLogout();
}

void signInAndOut(Narrator& narrator, zelkor::host::Host& host, const Shell& shell) {
    narrator.chapter("Signing in and out with a person's part in it; the answers come from a file here");
    shell.run({"login", "--remember"}, 0);
    shell.run({"login", "--again", "--level", "confirmed"}, 4);
    const auto interactive = host.get<login::interactive::ZelkorLogin>();
    narrator.say("the same from this process, by " + interactive.component);
    narrator.expect("supportsWebRedirect, in a terminal", yesNo(interactive->supportsWebRedirect()), "no");
    narrator.expect("requestLogin",
                    nameOf(interactive->requestLogin("demo", login::LoginInfo::Level::SignedIn, {})),
                    "Ada Lovelace");
    auto pending = interactive->requestLogoutAsync({});
    pending.get();
    const auto client = host.get<login::ZelkorLogin>(zelkor::host::among::daemonClients);
    narrator.expect("requestLogoutAsync, then getLoginInfo of the daemon",
                    nameOf(client->getLoginInfo("demo", login::LoginInfo::Level::SignedIn)), "nobody");
}

} // namespace demo
