#include "demo/Chapters.h"
#include "demo/Story.h"
#include "demo/Told.h"

#include <atomic>
#include <memory>

namespace demo {

void speakVersion1(Narrator& narrator, zelkor::host::Host& host, const Shell& shell,
                   hshd::DaemonProcess& oldDaemon) {
    narrator.chapter("A daemon that only speaks version 1");
    oldDaemon.start();
    narrator.say("what needs version 2 says so:");
    shell.run({"status", "--timeout", "1"}, 3);
    const Services old(host, "(&(spfLoginClient=1)(version=1))");
    const auto& [login, detail, vetoer] = old;
    narrator.say("in this process " + login.component + " serves all login interfaces");
    const auto told = std::make_shared<Told>();
    const auto veto = std::make_shared<std::atomic<bool>>(true);
    const auto listener = login->addStatusListener(
        [told](const boost::optional<login::LoginInfo>& now) { told->add(nameOf(*now)); });
    const auto vetoerId = login->addLogoutVetoer([veto] { return veto->load(); });
    login->impersonate(login::AccessToken(token), ada());
    narrator.expect("impersonate, then getLoginInfo",
                    nameOf(login->getLoginInfo("demo", login::LoginInfo::Level::SignedIn)), "Ada Lovelace");
    narrator.expect("isLogoutVetoed", yesNo(detail->isLogoutVetoed()), "yes");
    for (int restart = 1; restart <= 3; ++restart) {
        oldDaemon.kill();
        const auto before = told->count();
        oldDaemon.start();
        if (told->waitFor(before + 1) == "nothing")
            narrator.check(false, "the listener was not told of restart " + std::to_string(restart));
    }
    narrator.expect("after three restarts: isLogoutVetoed", yesNo(detail->isLogoutVetoed()), "yes");
    *veto = false;
    narrator.expect("the vetoer gives in: isLogoutVetoed", yesNo(detail->isLogoutVetoed()), "no");
    try {
        vetoer->vetoSignIn(true);
        narrator.check(false, "vetoSignIn went through");
    } catch (const std::exception& refusal) {
        narrator.check(true, std::string("vetoSignIn throws: ") + refusal.what());
    }
    detail->completeLogout();
    narrator.expect("completeLogout, then getLoginInfo",
                    nameOf(login->getLoginInfo("demo", login::LoginInfo::Level::SignedIn)), "nobody");
    narrator.check(login->removeStatusListener(listener) && login->removeLogoutVetoer(vetoerId),
                   "both registrations are removed under their first ids");
}

} // namespace demo
