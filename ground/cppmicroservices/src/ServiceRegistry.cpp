#include "ServiceRegistry.h"

#include "BundleContextPrivate.h"

#include <algorithm>
#include <stdexcept>

namespace cppmicroservices::detail {

namespace {

void Insert(ServiceRegistry::List& list, const std::shared_ptr<ServiceRecord>& record) {
    const int ranking = record->Properties()->Ranking();
    const auto position = std::partition_point(list.begin(), list.end(), [&](const auto& other) {
        const int otherRanking = other->Properties()->Ranking();
        return otherRanking > ranking || (otherRanking == ranking && other->Id() < record->Id());
    });
    list.insert(position, record);
}

} // namespace

ServiceRegistry::ServiceRegistry() : all_(std::make_shared<const List>()), none_(all_) {}

long ServiceRegistry::NextId() {
    const foundation::MutexLock lock(mutex_);
    return ++lastId_;
}

void ServiceRegistry::Add(const std::shared_ptr<ServiceRecord>& record) {
    std::vector<Snapshot> replaced;
    const foundation::MutexLock lock(mutex_);
    if (!record->Owner().context->TakesServices())
        throw std::runtime_error("The bundle is stopping; it cannot register services any more.");
    replaced = ChangeLists(*record, [&](List& list) { Insert(list, record); });
}

void ServiceRegistry::Remove(const std::shared_ptr<ServiceRecord>& record) {
    std::vector<Snapshot> replaced;
    const foundation::MutexLock lock(mutex_);
    replaced = ChangeLists(*record, [&](List& list) { std::erase(list, record); });
}

std::shared_ptr<const PropertyTable>
ServiceRegistry::Update(const std::shared_ptr<ServiceRecord>& record,
                        std::shared_ptr<const PropertyTable> properties) {
    std::vector<Snapshot> replaced;
    const foundation::MutexLock lock(mutex_);
    const int ranking = properties->Ranking();
    auto old = record->ExchangeProperties(std::move(properties));
    if (old && old->Ranking() != ranking) {
        replaced = ChangeLists(*record, [&](List& list) {
            // A record that is just being unregistered has left the lists already.
            if (std::erase(list, record) > 0)
                Insert(list, record);
        });
    }
    return old;
}

ServiceRegistry::Snapshot ServiceRegistry::All() const {
    const foundation::MutexLock lock(mutex_);
    return all_;
}

ServiceRegistry::Snapshot ServiceRegistry::Providing(const std::string& interfaceId) const {
    const foundation::MutexLock lock(mutex_);
    const auto found = byInterface_.find(interfaceId);
    return found == byInterface_.end() ? none_ : found->second;
}

ServiceRegistry::List ServiceRegistry::Retire(BundleContextPrivate& context) {
    List records;
    const foundation::MutexLock lock(mutex_);
    context.RefuseServices();
    std::copy_if(all_->begin(), all_->end(), std::back_inserter(records),
                 [&](const auto& record) { return record->Owner().context.get() == &context; });
    return records;
}

template <class Change>
std::vector<ServiceRegistry::Snapshot> ServiceRegistry::ChangeLists(const ServiceRecord& record,
                                                                    Change change) {
    std::vector<Snapshot> replaced;
    const auto apply = [&](Snapshot& snapshot) {
        auto list = snapshot ? std::make_shared<List>(*snapshot) : std::make_shared<List>();
        change(*list);
        replaced.push_back(std::exchange(snapshot, std::move(list)));
    };
    apply(all_);
    for (const auto& interfaceId : record.Interfaces()) {
        const auto entry = byInterface_.try_emplace(interfaceId).first;
        apply(entry->second);
        if (entry->second->empty())
            byInterface_.erase(entry);
    }
    return replaced;
}

} // namespace cppmicroservices::detail
