#include "module/runtime/RegistrationTable.h"

#include "contract/calls/CallbackScope.h"
#include "contract/records/NotifierUuid.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <utility>

namespace agent::spf::cppmsclientutils {

using boost::uuids::uuid;

bool Registration::active() const {
    if (removed_)
        return false;
    const auto tracker = tracker_.lock();
    return tracker && !tracker->closed();
}

// --- making one known to the daemon that is there

/// @throws what the export or the call fails with; the daemon cannot call it then.
RegistrationTable::OnItsWay RegistrationTable::tell(ExclusiveAccess& access, const Item& item) {
    const auto callback = tracker_->exportCallback(access, item->exported(item), std::nullopt);
    try {
        return {item, callback.getCallbackID(), item->announce(ExclusiveCaller(*tracker_, access), callback)};
    } catch (...) {
        tracker_->removeCallback(access, callback.getCallbackID());
        throw;
    }
}

/// Waits for the daemon's answer. @throws as tell().
void RegistrationTable::settle(ExclusiveAccess& access, OnItsWay& onItsWay) {
    const auto daemon = tracker_->held(access);
    try {
        const auto id = onItsWay.answer.get(access);
        onItsWay.item->remote_(access).known.push_back({daemon, id, onItsWay.callback});
        if (rules_.callersId == CallersId::TheDaemons) {
            const foundation::MutexLock lock(mutex_);
            byDaemonsId_[id] = onItsWay.item;
        }
    } catch (...) {
        tracker_->removeCallback(access, onItsWay.callback);
        throw;
    }
}

// --- adding

uuid RegistrationTable::add(const Item& item) {
    const auto self = shared_from_this();
    try {
        const auto id =
            std::make_shared<uuid>(login::detail::createUuid()); // shared: the work may come later
        {
            const foundation::MutexLock lock(mutex_);
            items_.emplace(*id, item);
        }
        tracker_->exclusively(
            [self, item, id](ExclusiveAccess& access, Turn turn) { self->enter(access, item, turn, *id); });
        return *id;
    } catch (...) {
        tracker_->logException(std::current_exception());
        return {};
    }
}

void RegistrationTable::enter(ExclusiveAccess& access, const Item& item, Turn turn, uuid& callersId) {
    // Later, and inside a callback, nobody waits for a daemon: the next one is told in its replay.
    const bool waits = turn == Turn::AtOnce && !core::CallbackScope::active();
    if (item->active() && (waits || tracker_->held(access))) {
        try {
            auto onItsWay = tell(access, item);
            settle(access, onItsWay);
            if (rules_.callersId == CallersId::TheDaemons && turn == Turn::AtOnce) {
                const auto daemonsId = item->remote_(access).known.back().id;
                giveDaemonsId(callersId, daemonsId);
                callersId = daemonsId;
            }
        } catch (...) {
            tracker_->logException(std::current_exception());
        }
    }
    // Not before: the wait for a daemon lets the lock go, and a replay that came in then would make it known
    // a second time.
    item->remote_(access).replayed = true;
    if (!item->active()) // removed meanwhile
        forget(access, *item, turn);
}

void RegistrationTable::giveDaemonsId(const uuid& ours, const uuid& daemons) {
    const foundation::MutexLock lock(mutex_);
    auto node = items_.extract(ours);
    if (!node) // removed meanwhile
        return;
    node.key() = daemons;
    items_.insert(std::move(node));
}

// --- removing

bool RegistrationTable::remove(const uuid& id) {
    const auto self = shared_from_this();
    Item item;
    {
        const foundation::MutexLock lock(mutex_);
        if (auto node = items_.extract(id))
            item = std::move(node.mapped());
    }
    if (!item)
        return rules_.callersId == CallersId::TheDaemons && forgetUnderDaemonsId(id);
    item->removed_ = true;
    tracker_->exclusivelyUnlessInCallback(
        [self, item](ExclusiveAccess& access, Turn turn) { self->forget(access, *item, turn); });
    return true;
}

/// The id is the present daemon's for what is registered here under another: the daemon forgets it, and the
/// next one is told all the same.
bool RegistrationTable::forgetUnderDaemonsId(const uuid& id) {
    const auto self = shared_from_this();
    Item item;
    {
        const foundation::MutexLock lock(mutex_);
        if (const auto node = byDaemonsId_.extract(id))
            item = node.mapped().lock();
    }
    if (!item || item->removed_)
        return false;
    tracker_->exclusivelyUnlessInCallback(
        [self, item](ExclusiveAccess& access, Turn turn) { self->forget(access, *item, turn); });
    return true;
}

void RegistrationTable::forget(ExclusiveAccess& access, Registration& registration, Turn turn) {
    takeBack(access, std::exchange(registration.remote_(access).known, {}), turn);
}

/// Has each daemon forget what it knows. The one that is there is waited for; at once, one is waited for that
/// may come back. The answer of another is not: it is gone, or another Invokable has taken its place.
void RegistrationTable::takeBack(ExclusiveAccess& access, const std::vector<Known>& known, Turn turn) {
    const ExclusiveCaller call(*tracker_, access);
    std::vector<PendingCall<bool>> answers;
    const auto waitForAnswers = [&] {
        for (auto& answer : std::exchange(answers, {})) {
            try {
                answer.get(access);
            } catch (...) {
                tracker_->logException(std::current_exception());
            }
        }
    };
    for (const auto& one : known) {
        tracker_->removeCallback(access, one.callback);
        if (rules_.callersId == CallersId::TheDaemons) {
            const foundation::MutexLock lock(mutex_);
            byDaemonsId_.erase(one.id);
        }
        const auto daemon = one.daemon.lock();
        const auto held = tracker_->held(access);
        const bool awaited = !held && turn == Turn::AtOnce && &one == &known.back();
        try {
            if ((held && daemon == held) || awaited)
                answers.push_back(call.begin(rules_.remoteRemove, one.id));
            else if (daemon)
                static_cast<void>(
                    daemon->invokeAsync<bool>(tracker_->callTimeout(rules_.remoteRemove.timeout),
                                              std::string(rules_.remoteRemove.name), one.id));
        } catch (...) {
            tracker_->logException(std::current_exception());
        }
        if (answers.size() == rules_.onTheirWay)
            waitForAnswers();
    }
    waitForAnswers();
}

// --- replaying

void RegistrationTable::replay(ExclusiveAccess& access) {
    // Released after the lock: what is removed meanwhile is destroyed with it.
    const auto items = std::make_shared<std::vector<Item>>(all());
    access.releaseLater(items);
    std::erase_if(*items, [&](const Item& item) { return !item->remote_(access).replayed; });
    std::vector<Known> former;
    for (const auto& item : *items)
        std::ranges::move(std::exchange(item->remote_(access).known, {}), std::back_inserter(former));
    std::exception_ptr failure;
    try {
        replayInBatches(access, *items);
    } catch (...) {
        failure = std::current_exception();
    }
    // Not before: between the two the daemon would tell nobody.
    takeBack(access, former, Turn::AtOnce);
    if (failure)
        std::rethrow_exception(failure);
}

void RegistrationTable::replayInBatches(ExclusiveAccess& access, const std::vector<Item>& items) {
    std::vector<OnItsWay> batch;
    batch.reserve(rules_.onTheirWay);
    const auto attempt = [&](const auto& step) {
        try {
            step();
        } catch (...) {
            if (rules_.replayFailure == ReplayFailure::EndsReplay)
                throw;
            tracker_->logException(std::current_exception());
        }
    };
    for (auto item = items.begin(); item != items.end() && !tracker_->closed();) {
        {
            const core::SentTogether together(tracker_->held(access));
            for (; item != items.end() && batch.size() < rules_.onTheirWay; ++item) {
                if ((*item)->active())
                    attempt([&] { batch.push_back(tell(access, *item)); });
            }
        }
        for (auto& onItsWay : batch)
            attempt([&] { settle(access, onItsWay); });
        batch.clear();
    }
}

std::vector<std::shared_ptr<Registration>> RegistrationTable::all() const {
    std::vector<Item> items;
    const foundation::MutexLock lock(mutex_);
    items.reserve(items_.size());
    for (const auto& [id, item] : items_)
        items.push_back(item);
    return items;
}

} // namespace agent::spf::cppmsclientutils
