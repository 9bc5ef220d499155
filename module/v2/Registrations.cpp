// Status listeners, logout negotiators and vetoers: kept here under ids that never change, and made known to
// each daemon that comes along.

#include "contract/records/NotifierUuid.h"
#include "contract/calls/Errors.h"
#include "contract/calls/ExportedFunction.h"
#include "contract/vocabulary/LoginV2.h"
#include "module/v2/ZelkorLogin.h"

#include <utility>
#include <vector>

namespace login::spf {

using agent::spf::core::exportFunction;
using agent::spf::cppmsclientutils::SharedHold;
using foundation::log::logging_event_types;

namespace {

/// So many registrations are on their way to a new daemon at once: enough to wait for it once instead of once
/// for each, few enough to leave other clients of the connection their share of its pending calls.
constexpr std::size_t replayBatch = 128;

} // namespace

// --- making an entry known to the daemon that is there

/// A registration that the daemon has been told of and has not answered.
template <class Entry>
struct ZelkorLogin::OnItsWay {
    Entry* entry;
    std::optional<typename Entry::Known> before;           ///< what the same daemon knows it by already
    std::optional<PendingCall<boost::uuids::uuid>> answer; ///< nothing when telling failed
};

ZelkorLogin::PendingCall<boost::uuids::uuid> ZelkorLogin::tellDaemon(ExclusiveLock& lock,
                                                                     StatusListeners::Entry& entry) {
    std::function<void(const LoginInfo&, const LoginInfo&)> told =
        [listener = entry.registered](const LoginInfo& first, const LoginInfo& second) {
            if (listener->active)
                listener->value(first, second);
        };
    const auto callback = tracker().exportCallback(lock, exportFunction(std::move(told)), std::nullopt);
    entry.callbackId = callback.getCallbackID();
    return begin(lock, remote::addStatusListener, callback);
}

ZelkorLogin::PendingCall<boost::uuids::uuid> ZelkorLogin::tellDaemon(ExclusiveLock& lock,
                                                                     Negotiators::Entry& entry) {
    std::function<NegotiatorResponse(const NegotiationTerms&)> asked =
        [negotiator = entry.registered](const NegotiationTerms& terms) {
            if (!negotiator->active)
                throw agent::spf::core::WithdrawnError("The negotiator was removed");
            return negotiator->value.negotiate(terms);
        };
    const auto callback = tracker().exportCallback(lock, exportFunction(std::move(asked)), std::nullopt);
    entry.callbackId = callback.getCallbackID();
    return begin(lock, remote::addLogoutNegotiator, entry.registered->value.name, callback);
}

template <class Entry>
ZelkorLogin::OnItsWay<Entry> ZelkorLogin::startMakingKnown(ExclusiveLock& lock, Entry& entry) {
    OnItsWay<Entry> onItsWay{&entry, std::exchange(entry.known, std::nullopt), std::nullopt};
    entry.callbackId = {};
    try {
        onItsWay.answer = tellDaemon(lock, entry);
    } catch (...) {
        giveUp(lock, entry);
    }
    return onItsWay;
}

template <class Id, class Value>
void ZelkorLogin::finishMakingKnown(ExclusiveLock& lock, const Registry<Id, Value>& registry,
                                    OnItsWay<typename Registry<Id, Value>::Entry>& onItsWay) {
    const auto daemon = tracker().held(lock);
    if (onItsWay.answer) {
        try {
            onItsWay.entry->known = {Id(onItsWay.answer->get()), daemon};
        } catch (...) {
            giveUp(lock, *onItsWay.entry);
        }
    }
    // The daemon that was there before has been found once more, and what was exported to it then is gone: it
    // would tell the same listener twice.
    if (onItsWay.before && daemon && onItsWay.before->daemon.lock() == daemon) {
        try {
            call(lock, registry.removal(), onItsWay.before->id.getValue());
        } catch (...) {
            tracker().logException(std::current_exception());
        }
    }
}

/// The daemon did not take it, so it must not call it; the next daemon is told of it.
template <class Entry>
void ZelkorLogin::giveUp(ExclusiveLock& lock, Entry& entry) {
    tracker().removeCallback(lock, std::exchange(entry.callbackId, {}));
    tracker().logException(std::current_exception());
}

// --- adding, removing, replaying

template <class Id, class Value>
Id ZelkorLogin::add(Registry<Id, Value>& registry, Value value) {
    try {
        const Id id = Id::create();
        registry.incoming().announce(id, std::make_shared<Registered<Value>>(std::move(value)));
        tracker().exclusively(
            [this, &registry, id](ExclusiveLock& lock, auto) { enter(lock, registry, id); });
        return id;
    } catch (...) {
        tracker().logException(std::current_exception());
        return Id();
    }
}

template <class Id, class Value>
void ZelkorLogin::enter(ExclusiveLock& lock, Registry<Id, Value>& registry, const Id& id) {
    const auto item = registry.incoming().announced(id);
    if (!item)
        return; // removed before its turn came
    typename Registry<Id, Value>::Entry entry{item, std::nullopt, {}};
    auto onItsWay = startMakingKnown(lock, entry);
    finishMakingKnown(lock, registry, onItsWay);
    // Not before: the wait for a daemon lets the lock go, and a replay that came in then would make it known
    // a second time.
    if (registry.incoming().take(id))
        registry.add(id, std::move(entry));
    else
        forget(lock, registry, std::move(entry));
}

template <class Id, class Value>
bool ZelkorLogin::remove(Registry<Id, Value>& registry, const Id& id) {
    auto item = registry.incoming().take(id);
    const bool announced = item != nullptr;
    if (!announced) {
        SharedHold hold(tracker().state());
        item = registry.find(id);
    }
    if (!item || !item->active.exchange(false))
        return false;
    if (!announced)
        tracker().exclusively([this, &registry, id](ExclusiveLock& lock, auto) {
            if (auto entry = registry.remove(id))
                forget(lock, registry, std::move(*entry));
        });
    return true;
}

template <class Id, class Value>
void ZelkorLogin::forget(ExclusiveLock& lock, const Registry<Id, Value>& registry,
                         typename Registry<Id, Value>::Entry entry) {
    tracker().releaseLater(lock, std::move(entry.registered));
    tracker().removeCallback(lock, entry.callbackId);
    try {
        if (entry.known)
            call(lock, registry.removal(), entry.known->id.getValue());
    } catch (...) {
        tracker().logException(std::current_exception());
    }
}

template <class Id, class Value>
void ZelkorLogin::replay(ExclusiveLock& lock, Registry<Id, Value>& registry) {
    std::vector<OnItsWay<typename Registry<Id, Value>::Entry>> batch;
    batch.reserve(replayBatch);
    const auto finishBatch = [&] {
        for (auto& onItsWay : batch)
            finishMakingKnown(lock, registry, onItsWay);
        batch.clear();
    };
    for (auto& [id, entry] : registry.entries()) {
        if (!entry.registered->active)
            continue; // its removal waits for the lock
        batch.push_back(startMakingKnown(lock, entry));
        if (batch.size() == replayBatch)
            finishBatch();
    }
    finishBatch();
}

// Used by the constructor.
template void ZelkorLogin::replay(ExclusiveLock&, Registry<StatusListenerId, StatusListenerV2>&);
template void ZelkorLogin::replay(ExclusiveLock&, Registry<LogoutNegotiatorId, Negotiator>&);

void ZelkorLogin::refreshStatusListeners() {
    LoginInfo info;
    try {
        info = call(remote::getLoginInfo, "CONNECTOR", 2);
    } catch (...) {
        tracker().log(logging_event_types::severe, "Failed getting LoginInfo on HSH restart.");
        tracker().logException(std::current_exception());
        return;
    }
    auto listeners = [&] {
        SharedHold hold(tracker().state());
        return statusListeners_.all();
    }();
    // Not from here: a listener that blocks would keep the tracker from noticing the next daemon. And a
    // listener may destroy this client: the tracker lives as long as the delivery.
    tracker().deliver([&tracker = tracker(), info = std::move(info), listeners = std::move(listeners)] {
        for (const auto& listener : listeners) {
            try {
                if (listener->active && !tracker.closed())
                    listener->value(info, LoginInfo());
            } catch (...) {
                tracker.log(logging_event_types::severe, "Failed updating status listeners on HSH restart.");
                tracker.logException(std::current_exception());
            }
        }
    });
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
    return remove(statusListeners_, id);
}

ZelkorLogin::LogoutNegotiatorId ZelkorLogin::addLogoutNegotiator(Negotiator negotiator) {
    return add(negotiators_, std::move(negotiator));
}

bool ZelkorLogin::removeLogoutNegotiator(LogoutNegotiatorId id) {
    return remove(negotiators_, id);
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
