#include "hshd/services/Registrations.h"

#include "contract/calls/Errors.h"
#include "contract/records/NotifierUuid.h"
#include "hshd/Log.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace hshd {
namespace {

using agent::spf::core::RefusedError;
constexpr std::size_t longestName = 256; // bytes

} // namespace

std::string Registrations::Entry::describe() const {
    std::string text = name.empty() ? std::string() : "`" + name + "` of ";
    return text + "client " + client->clientId() + " (process " + std::to_string(client->pid()) + ")";
}

boost::uuids::uuid Registrations::add(Client client, const boost::uuids::uuid& callback, std::string name,
                                      Form form) {
    if (name.size() > longestName)
        throw RefusedError("the name of a registration must not be longer than " +
                           std::to_string(longestName) + " bytes");
    const boost::uuids::uuid id = login::detail::createUuid();
    const boost::uuids::uuid owner = client->id();
    const foundation::MutexLock lock(mutex_);
    std::size_t& count = perClient_[owner];
    if (count >= limitPerClient_)
        throw RefusedError("this client already has " + std::to_string(limitPerClient_) +
                           " registrations of this kind; remove some first");
    entries_.push_back({id, owner, std::move(client), callback, std::move(name), form});
    ++count;
    return id;
}

bool Registrations::remove(const boost::uuids::uuid& id, const agent::spf::transport::ClientSession& owner) {
    const boost::uuids::uuid ownerId = owner.id();
    Client released; // after unlocking
    const foundation::MutexLock lock(mutex_);
    const auto found = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& entry) {
        return entry.id == id && entry.owner == ownerId;
    });
    if (found == entries_.end())
        return false;
    released = std::move(found->client);
    entries_.erase(found);
    if (const auto count = perClient_.find(ownerId); --count->second == 0)
        perClient_.erase(count);
    return true;
}

void Registrations::clientGone(const Client& client) {
    const boost::uuids::uuid owner = client->id();
    std::vector<Entry> released; // after unlocking
    const foundation::MutexLock lock(mutex_);
    if (perClient_.erase(owner) == 0)
        return;
    const auto ofClient = std::stable_partition(entries_.begin(), entries_.end(),
                                                [&](const Entry& entry) { return entry.owner != owner; });
    released.assign(std::make_move_iterator(ofClient), std::make_move_iterator(entries_.end()));
    entries_.erase(ofClient, entries_.end());
}

void Registrations::dropIfGone(const Entry& entry, const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const agent::spf::core::WithdrawnError&) {
        if (remove(entry.id, *entry.client))
            logger().log(Severity::info,
                         "A registration is dropped: " + entry.describe() + " no longer has the function");
    } catch (...) {
        // It may well work the next time.
    }
}

std::optional<Registrations::Entry> Registrations::find(const boost::uuids::uuid& id) const {
    const foundation::MutexLock lock(mutex_);
    const auto found = std::ranges::find(entries_, id, &Entry::id);
    return found == entries_.end() ? std::nullopt : std::optional(*found);
}

std::vector<Registrations::Entry> Registrations::all() const {
    const foundation::MutexLock lock(mutex_);
    return entries_;
}

} // namespace hshd
