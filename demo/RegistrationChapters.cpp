#include "demo/Chapters.h"
#include "demo/Story.h"
#include "demo/Told.h"

#include <atomic>

namespace demo {

void keepRegistrations(Narrator& narrator, const Services& services, hshd::DaemonProcess& daemon) {
    const auto& [login, detail, vetoer] = services;
    narrator.chapter("A listener and a vetoer, registered once, live through three restarts");
    const auto told = std::make_shared<Told>();
    const auto veto = std::make_shared<std::atomic<bool>>(true);
    const auto listenerId = login->addStatusListenerV2(
        [told](const login::LoginInfo& now, const login::LoginInfo&) { told->add(nameOf(now)); });
    const auto vetoerId = login->addLogoutVetoer([veto] { return veto->load(); });
    for (std::size_t restart = 1; restart <= 3; ++restart) {
        daemon.kill();
        daemon.start();
        narrator.expect("restart " + std::to_string(restart) + " of 3: the listener is told",
                        told->waitFor(restart), "Ada Lovelace");
    }
    narrator.expect("the vetoer objects: isLogoutVetoed", yesNo(detail->isLogoutVetoed()), "yes");
    const login::NegotiationTerms terms{login::NegotiationTerms::IsLogoutVetoed};
    narrator.expect("negotiateLogout accepted", yesNo(detail->negotiateLogout(terms).accepted), "no");
    *veto = false;
    narrator.expect("the vetoer gives in: negotiateLogout accepted",
                    yesNo(detail->negotiateLogout(terms).accepted), "yes");
    detail->completeLogout();
    narrator.expect("completeLogout: the listener is told", told->waitFor(4), "nobody");
    narrator.expect("getLoginInfo", nameOf(login->getLoginInfo("demo", login::LoginInfo::Level::SignedIn)),
                    "nobody");
    narrator.check(login->removeStatusListener(listenerId) && login->removeLogoutVetoer(vetoerId),
                   "both are removed under the ids that they got at first");
    detail->clearSettings();
    narrator.check(!detail->getPersistedLoginData().getRememberMe(), "clearSettings: nothing is remembered");
}

} // namespace demo
