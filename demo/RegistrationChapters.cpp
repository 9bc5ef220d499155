#include "demo/Chapters.h"
#include "demo/Story.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <vector>

namespace demo {

namespace {

/// What a status listener was told, in its order.
class Told {
public:
    void add(std::string name) {
        const std::scoped_lock lock(mutex_);
        names_.push_back(std::move(name));
        changed_.notify_all();
    }
    /// The newest one once there are so many; "nothing" when they do not come within half a minute.
    std::string waitFor(std::size_t count) const {
        std::unique_lock lock(mutex_);
        const auto come = [&] { return names_.size() >= count; };
        return changed_.wait_for(lock, std::chrono::seconds(30), come) ? names_.back() : "nothing";
    }

private:
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::vector<std::string> names_;
};

} // namespace

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
