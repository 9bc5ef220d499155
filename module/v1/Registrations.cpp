// Status listeners, logout vetoers and negotiators: four registries that each new daemon is told of.

#include "contract/calls/Errors.h"
#include "contract/vocabulary/LoginV1.h"
#include "module/v1/ZelkorLoginImpl.h"

#include <utility>
#include <vector>

namespace login {

namespace remote = v1::remote;
using agent::spf::core::exportFunction;
using agent::spf::core::WithdrawnError;
using agent::spf::cppmsclientutils::Registered;
using agent::spf::cppmsclientutils::SharedHold;
using foundation::log::logging_event_types;
using v1::ListenerRegistry;

// --- what each kind exports

agent::spf::core::ExportedCallback ZelkorLoginImpl::exported(ExclusiveLock& lock,
                                                             agent::spf::core::ExportedFunction function,
                                                             boost::uuids::uuid& callback) {
    auto made = tracker().exportCallback(lock, std::move(function), std::nullopt);
    callback = made.getCallbackID();
    return made;
}

boost::uuids::uuid ZelkorLoginImpl::tellDaemon(ExclusiveLock& lock, const StatusListeners::Item& item,
                                               boost::uuids::uuid& callback) {
    std::function<void(boost::optional<LoginInfo>)> told = [item](boost::optional<LoginInfo> info) {
        if (item->active)
            item->value(std::move(info));
    };
    return call(lock, remote::addStatusListener, exported(lock, exportFunction(std::move(told)), callback));
}

boost::uuids::uuid ZelkorLoginImpl::tellDaemon(ExclusiveLock& lock, const StatusListenersV2::Item& item,
                                               boost::uuids::uuid& callback) {
    std::function<void(const LoginInfo&, const LoginInfo&)> told = [item](const LoginInfo& first,
                                                                          const LoginInfo& second) {
        if (item->active)
            item->value(first, second);
    };
    return call(lock, remote::addStatusListenerV2, exported(lock, exportFunction(std::move(told)), callback));
}

boost::uuids::uuid ZelkorLoginImpl::tellDaemon(ExclusiveLock& lock, const Vetoers::Item& item,
                                               boost::uuids::uuid& callback) {
    std::function<bool()> asked = [item] {
        if (!item->active)
            throw WithdrawnError("The vetoer was removed");
        return item->value();
    };
    return call(lock, remote::addLogoutVetoer, exported(lock, exportFunction(std::move(asked)), callback));
}

boost::uuids::uuid ZelkorLoginImpl::tellDaemon(ExclusiveLock& lock, const Negotiators::Item& item,
                                               boost::uuids::uuid& callback) {
    std::function<NegotiatorResponse(const NegotiationTerms&)> asked = [item](const NegotiationTerms& terms) {
        if (!item->active)
            throw WithdrawnError("The negotiator was removed");
        return item->value.negotiate(terms);
    };
    return call(lock, remote::addLogoutNegotiator, item->value.name,
                exported(lock, exportFunction(std::move(asked)), callback));
}

// --- adding, removing, replaying

template <class Id, class Callback>
Id ZelkorLoginImpl::registerRemotely(ExclusiveLock& lock, ListenerRegistry<Id, Callback>& registry,
                                     const typename ListenerRegistry<Id, Callback>::Item& item) {
    boost::uuids::uuid callback{};
    try {
        const Id daemonId(tellDaemon(lock, item, callback));
        registry.exports[daemonId] = callback;
        return daemonId;
    } catch (...) {
        // The daemon did not take it, so it must not call it.
        tracker().removeCallback(lock, callback);
        throw;
    }
}

template <class Id, class Callback>
Id ZelkorLoginImpl::add(ListenerRegistry<Id, Callback>& registry, Callback callback) {
    try {
        const Id ours = Id::create();
        const auto given = std::make_shared<Id>(ours); // shared: the work may come later
        registry.incoming().announce(ours, std::make_shared<Registered<Callback>>(std::move(callback)));
        tracker().exclusively([this, &registry, ours, given](ExclusiveLock& lock, Turn turn) {
            const auto item = registry.incoming().announced(ours);
            if (!item)
                return; // removed before its turn came
            Id id = ours;
            try {
                const Id daemonId = registerRemotely(lock, registry, item);
                // Its caller has our id by now, or gets the daemon's.
                if (turn == Turn::Later)
                    registry.currentIds[ours] = daemonId;
                else
                    *given = id = daemonId;
            } catch (...) {
                tracker().logException(std::current_exception());
            }
            // Not before: the wait for a daemon lets the lock go, and a replay that came in then would make
            // it known a second time.
            registry.entries[id] = item;
            if (!registry.incoming().take(ours))
                removeEntry(lock, registry, id); // removed meanwhile
        });
        return *given;
    } catch (...) {
        tracker().logException(std::current_exception());
        return Id();
    }
}

template <class Id, class Callback>
bool ZelkorLoginImpl::remove(ListenerRegistry<Id, Callback>& registry, const Id& id) {
    auto item = registry.incoming().take(id);
    const bool announced = item != nullptr;
    bool daemonsOnly = false;
    if (!announced) {
        SharedHold hold(tracker().state());
        item = registry.find(id);
        daemonsOnly = !item && registry.exports.contains(id);
    }
    if (daemonsOnly) { // what is registered here under another id stays, for the next daemon
        tracker().exclusively(
            [this, &registry, id](ExclusiveLock& lock, Turn) { forgetExport(lock, registry, id); });
        return true;
    }
    if (!item || !item->active.exchange(false))
        return false;
    if (!announced)
        tracker().exclusively(
            [this, &registry, id](ExclusiveLock& lock, Turn) { removeEntry(lock, registry, id); });
    return true;
}

template <class Id, class Callback>
void ZelkorLoginImpl::removeEntry(ExclusiveLock& lock, ListenerRegistry<Id, Callback>& registry,
                                  const Id& id) {
    const auto entry = registry.entries.extract(id);
    if (!entry)
        return;
    tracker().releaseLater(lock, entry.mapped());
    const Id daemonId = registry.currentId(id);
    registry.currentIds.erase(id);
    forgetExport(lock, registry, daemonId);
}

/// Unless the present daemon does not know it.
template <class Id, class Callback>
void ZelkorLoginImpl::forgetExport(ExclusiveLock& lock, ListenerRegistry<Id, Callback>& registry,
                                   const Id& daemonId) {
    if (const auto exported = registry.exports.extract(daemonId)) {
        tracker().removeCallback(lock, exported.mapped());
        takeBack(lock, registry, daemonId);
    }
}

template <class Id, class Callback>
void ZelkorLoginImpl::takeBack(ExclusiveLock& lock, const ListenerRegistry<Id, Callback>& registry,
                               const Id& daemonId) {
    try {
        call(lock, registry.removal(), daemonId.getValue());
    } catch (...) {
        tracker().logException(std::current_exception());
    }
}

/// An exception of a registration ends it.
template <class Id, class Callback>
void ZelkorLoginImpl::replay(ExclusiveLock& lock, ListenerRegistry<Id, Callback>& registry, bool foundAgain) {
    // What was exported before is gone with the former daemon, or is withdrawn when the same one was found
    // once more: it would tell a listener twice.
    const auto former = std::exchange(registry.exports, {});
    for (const auto& [id, item] : registry.entries) {
        if (item->active) // else its removal waits for the lock
            registry.currentIds[id] = registerRemotely(lock, registry, item);
    }
    if (foundAgain) {
        for (const auto& [daemonId, callback] : former)
            takeBack(lock, registry, daemonId);
    }
}

void ZelkorLoginImpl::replayAll(ExclusiveLock& lock) {
    const auto daemon = tracker().held(lock);
    const bool foundAgain = daemon == daemon_.lock();
    daemon_ = daemon;
    replay(lock, statusListeners_, foundAgain);
    replay(lock, statusListenersV2_, foundAgain);
    replay(lock, vetoers_, foundAgain);
    replay(lock, negotiators_, foundAgain);
}

void ZelkorLoginImpl::refreshStatusListeners() {
    LoginInfo info;
    try {
        info = call(remote::getLoginInfo, "CONNECTOR", 2);
    } catch (...) {
        tracker().log(logging_event_types::severe, "Failed getting LoginInfo on HSH restart.");
        tracker().logException(std::current_exception());
        return;
    }
    std::vector<StatusListeners::Item> first;
    std::vector<StatusListenersV2::Item> second;
    {
        SharedHold hold(tracker().state());
        first = statusListeners_.all();
        second = statusListenersV2_.all();
    }
    // Not from here: a listener that blocks would keep the tracker from noticing the next daemon. And a
    // listener may destroy this client: the tracker lives as long as the delivery.
    tracker().deliver([&tracker = tracker(), info = std::move(info), first = std::move(first),
                       second = std::move(second)] {
        const auto tell = [&](const auto& listener, const auto&... arguments) {
            try {
                if (listener->active && !tracker.closed())
                    listener->value(arguments...);
            } catch (...) {
                tracker.log(logging_event_types::severe, "Failed updating status listeners on HSH restart.");
                tracker.logException(std::current_exception());
            }
        };
        for (const auto& listener : first)
            tell(listener, boost::optional<LoginInfo>(info));
        for (const auto& listener : second)
            tell(listener, info, LoginInfo());
    });
}

// --- the interface

ZelkorLoginImpl::StatusListenerId ZelkorLoginImpl::addStatusListener(StatusListener listener) {
    return add(statusListeners_, std::move(listener));
}
ZelkorLoginImpl::StatusListenerId ZelkorLoginImpl::addStatusListenerV2(StatusListenerV2 listener) {
    return add(statusListenersV2_, std::move(listener));
}
bool ZelkorLoginImpl::removeStatusListener(StatusListenerId id) {
    return remove(statusListeners_, id) || remove(statusListenersV2_, id);
}
ZelkorLoginImpl::LogoutVetoerId ZelkorLoginImpl::addLogoutVetoer(LogoutVetoer vetoer) {
    return add(vetoers_, std::move(vetoer));
}
bool ZelkorLoginImpl::removeLogoutVetoer(LogoutVetoerId id) {
    return remove(vetoers_, id);
}
ZelkorLoginImpl::LogoutNegotiatorId ZelkorLoginImpl::addLogoutNegotiator(Negotiator negotiator) {
    return add(negotiators_, std::move(negotiator));
}
bool ZelkorLoginImpl::removeLogoutNegotiator(LogoutNegotiatorId id) {
    return remove(negotiators_, id);
}

} // namespace login
