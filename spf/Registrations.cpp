// Status listeners, logout negotiators and vetoers: kept here under ids that never change, and made known to
// each daemon that comes along.

#include "records/NotifierUuid.h"
#include "runtime/core/ExportedFunction.h"
#include "spf/RemoteMethods.h"
#include "spf/ZelkorLogin.h"

#include <utility>

namespace login::spf {

using agent::spf::core::exportFunction;
using agent::spf::cppmsclientutils::ExclusiveHold;
using agent::spf::cppmsclientutils::RemoteMethod;
using agent::spf::cppmsclientutils::SharedHold;
using foundation::log::logging_event_types;

// --- making an entry known to the daemon that is there

void ZelkorLogin::makeKnown(ExclusiveLock& lock, StatusListeners::Entry& entry) {
    std::function<void(const LoginInfo&, const LoginInfo&)> told =
        [listener = entry.registered](const LoginInfo& first, const LoginInfo& second) {
            if (listener->active)
                listener->value(first, second);
        };
    const auto callback = tracker().exportCallback(lock, exportFunction(std::move(told)), std::nullopt);
    entry.callbackId = callback.getCallbackID();
    entry.daemonId = StatusListenerId(call(lock, remote::addStatusListener, callback));
}

void ZelkorLogin::makeKnown(ExclusiveLock& lock, Negotiators::Entry& entry) {
    std::function<NegotiatorResponse(const NegotiationTerms&)> asked =
        [negotiator = entry.registered](const NegotiationTerms& terms) {
            return negotiator->value.negotiate(terms);
        };
    const auto callback = tracker().exportCallback(lock, exportFunction(std::move(asked)), std::nullopt);
    entry.callbackId = callback.getCallbackID();
    entry.daemonId =
        LogoutNegotiatorId(call(lock, remote::addLogoutNegotiator, entry.registered->value.name, callback));
}

// --- adding, removing, replaying

template <class Id, class Value>
Id ZelkorLogin::add(Registry<Id, Value>& registry, Value value) {
    ExclusiveHold hold(tracker().state());
    try {
        const Id id = Id::create();
        // Enters the registry only at the end: the wait for a daemon lets the lock go, and a replay that came
        // in then would make it known a second time.
        auto entry = registry.makeEntry(std::move(value));
        makeKnownOrLog(hold.lock(), entry);
        registry.add(id, std::move(entry));
        return id;
    } catch (...) {
        tracker().logException(std::current_exception());
        return Id();
    }
}

template <class Entry>
void ZelkorLogin::makeKnownOrLog(ExclusiveLock& lock, Entry& entry) {
    entry.daemonId.reset();
    try {
        makeKnown(lock, entry);
    } catch (...) {
        // The daemon did not take it, so it must not call it; the next daemon is told of it.
        tracker().removeCallback(lock, std::exchange(entry.callbackId, {}));
        tracker().logException(std::current_exception());
    }
}

template <class Id, class Value>
bool ZelkorLogin::remove(Registry<Id, Value>& registry, const Id& id,
                         const RemoteMethod<bool(boost::uuids::uuid)>& method) {
    ExclusiveHold hold(tracker().state());
    auto entry = registry.remove(id);
    if (!entry)
        return false;
    tracker().state().releaseLater(std::move(entry->registered));
    tracker().removeCallback(hold.lock(), entry->callbackId);
    try {
        if (entry->daemonId)
            call(hold.lock(), method, entry->daemonId->getValue());
    } catch (...) {
        tracker().logException(std::current_exception());
    }
    return true;
}

template <class Id, class Value>
void ZelkorLogin::replay(ExclusiveLock& lock, Registry<Id, Value>& registry) {
    for (auto& [id, entry] : registry.entries())
        makeKnownOrLog(lock, entry);
}

// Used by the constructor.
template void ZelkorLogin::replay(ExclusiveLock&, Registry<StatusListenerId, StatusListenerV2>&);
template void ZelkorLogin::replay(ExclusiveLock&, Registry<LogoutNegotiatorId, Negotiator>&);

void ZelkorLogin::refreshStatusListeners() {
    // A listener may destroy this client: from the first one on, only what is held here is used.
    const auto keptTracker = keepTracker();
    LoginInfo info;
    try {
        info = call(remote::getLoginInfo, "CONNECTOR", 2);
    } catch (...) {
        keptTracker->log(logging_event_types::severe, "Failed getting LoginInfo on HSH restart.");
        keptTracker->logException(std::current_exception());
        return;
    }
    const auto listeners = [&] {
        SharedHold hold(keptTracker->state());
        return statusListeners_.all();
    }();
    for (const auto& listener : listeners) {
        try {
            if (listener->active && !keptTracker->closed())
                listener->value(info, LoginInfo());
        } catch (...) {
            keptTracker->log(logging_event_types::severe, "Failed updating status listeners on HSH restart.");
            keptTracker->logException(std::current_exception());
        }
    }
}

// --- the interface

ZelkorLogin::StatusListenerId ZelkorLogin::addStatusListenerV2(StatusListenerV2 listener) {
    return add(statusListeners_, std::move(listener));
}

ZelkorLogin::StatusListenerId ZelkorLogin::addStatusListener(StatusListener listener) {
    return addStatusListenerV2([listener = std::move(listener)](const LoginInfo& info, const LoginInfo&) {
        listener(boost::optional<LoginInfo>(info));
    });
}

bool ZelkorLogin::removeStatusListener(StatusListenerId id) {
    return remove(statusListeners_, id, remote::removeStatusListener);
}

ZelkorLogin::LogoutNegotiatorId ZelkorLogin::addLogoutNegotiator(Negotiator negotiator) {
    return add(negotiators_, std::move(negotiator));
}

bool ZelkorLogin::removeLogoutNegotiator(LogoutNegotiatorId id) {
    return remove(negotiators_, id, remote::removeLogoutNegotiator);
}

ZelkorLogin::LogoutVetoerId ZelkorLogin::addLogoutVetoer(LogoutVetoer vetoer) {
    Negotiator negotiator{"vetoer", [vetoer = std::move(vetoer)](const NegotiationTerms&) {
                              const bool veto = vetoer();
                              return NegotiatorResponse{
                                  veto ? Negotiator::Position::Object : Negotiator::Position::Accept, u""};
                          }};
    return LogoutVetoerId(addLogoutNegotiator(std::move(negotiator)).getValue());
}

bool ZelkorLogin::removeLogoutVetoer(LogoutVetoerId id) {
    return removeLogoutNegotiator(LogoutNegotiatorId(id.getValue()));
}

} // namespace login::spf
