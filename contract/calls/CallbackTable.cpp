#include "contract/calls/CallbackTable.h"

#include "contract/calls/Errors.h"

#include <boost/uuid/uuid_io.hpp>

#include <string>
#include <utility>

namespace agent::spf::core {

void CallbackTable::add(const boost::uuids::uuid& id, ExportedFunction function,
                        std::optional<unsigned int> callLimit, Owner owner) {
    auto shared = std::make_shared<const ExportedFunction>(std::move(function));
    const foundation::MutexLock lock(mutex_);
    if (entries_.size() >= capacity_)
        throw RefusedError("Too many exported callbacks on this connection (limit " +
                           std::to_string(capacity_) + "): remove registrations that are no longer needed");
    idsOf_[owner].insert(id);
    entries_.insert_or_assign(id, Entry{std::move(shared), callLimit, owner});
}

CallbackTable::Withdrawn CallbackTable::remove(const boost::uuids::uuid& id, Owner owner) {
    const foundation::MutexLock lock(mutex_);
    const auto found = entries_.find(id);
    if (found == entries_.end() || found->second.owner != owner)
        return {};
    return {take(found)};
}

CallbackTable::Withdrawn CallbackTable::removeAll(Owner owner) {
    Withdrawn withdrawn;
    const foundation::MutexLock lock(mutex_);
    const auto ids = idsOf_.extract(owner);
    if (!ids)
        return withdrawn;
    withdrawn.reserve(ids.mapped().size());
    for (const auto& id : ids.mapped())
        withdrawn.push_back(entries_.extract(id).mapped().function);
    return withdrawn;
}

std::shared_ptr<const ExportedFunction> CallbackTable::take(Entries::iterator entry) {
    const auto ids = idsOf_.find(entry->second.owner);
    ids->second.erase(entry->first);
    if (ids->second.empty())
        idsOf_.erase(ids);
    auto function = std::move(entry->second.function);
    entries_.erase(entry);
    return function;
}

std::shared_ptr<const ExportedFunction> CallbackTable::claim(const boost::uuids::uuid& id) {
    const foundation::MutexLock lock(mutex_);
    const auto found = entries_.find(id);
    if (found == entries_.end())
        return nullptr;
    if (found->second.callsLeft && --*found->second.callsLeft == 0)
        return take(found); // the caller keeps the closure alive past the lock
    return found->second.function;
}

GenericPayload CallbackTable::invoke(const boost::uuids::uuid& id,
                                     const foundation::concurrent::threadpool::stop_token& stop,
                                     GenericPayload arguments) {
    const auto function = claim(id);
    if (!function)
        throw WithdrawnError("No callback with the id " + to_string(id) + " is exported on this connection");
    return function->function(stop, std::move(arguments));
}

std::size_t CallbackTable::size() const {
    const foundation::MutexLock lock(mutex_);
    return entries_.size();
}

} // namespace agent::spf::core
