#include "contract/calls/CallbackTable.h"

#include "contract/calls/CallbackScope.h"
#include "contract/calls/Errors.h"

#include <boost/uuid/uuid_io.hpp>

#include <string>
#include <utility>

namespace agent::spf::core {

void CallbackTable::add(const boost::uuids::uuid& id, ExportedFunction function,
                        std::optional<unsigned int> callLimit) {
    auto shared = std::make_shared<const ExportedFunction>(std::move(function));
    const foundation::MutexLock lock(mutex_);
    if (entries_.size() >= capacity_)
        throw RefusedError("Too many exported callbacks on this connection (limit " +
                           std::to_string(capacity_) + "): remove registrations that are no longer needed");
    entries_.insert_or_assign(id, Entry{std::move(shared), callLimit});
}

CallbackTable::Withdrawn CallbackTable::remove(const std::vector<boost::uuids::uuid>& ids) {
    Withdrawn withdrawn;
    withdrawn.reserve(ids.size());
    const foundation::MutexLock lock(mutex_);
    for (const auto& id : ids) {
        if (const auto entry = entries_.extract(id))
            withdrawn.push_back(entry.mapped().function);
    }
    return withdrawn;
}

std::shared_ptr<const ExportedFunction> CallbackTable::claim(const boost::uuids::uuid& id) {
    const foundation::MutexLock lock(mutex_);
    const auto found = entries_.find(id);
    if (found == entries_.end())
        return nullptr;
    auto function = found->second.function;
    if (found->second.callsLeft && --*found->second.callsLeft == 0)
        entries_.erase(found); // `function` keeps the closure alive past the lock
    return function;
}

GenericPayload CallbackTable::invoke(const boost::uuids::uuid& id,
                                     const foundation::concurrent::threadpool::stop_token& stop,
                                     GenericPayload arguments) {
    const auto function = claim(id);
    if (!function)
        throw WithdrawnError("No callback with the id " + to_string(id) + " is exported on this connection");
    const CallbackScope scope;
    return function->function(stop, std::move(arguments));
}

std::size_t CallbackTable::size() const {
    const foundation::MutexLock lock(mutex_);
    return entries_.size();
}

} // namespace agent::spf::core
