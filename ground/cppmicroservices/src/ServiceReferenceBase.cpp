#include "FrameworkCore.h"
#include "ServiceAccess.h"
#include "ServiceRecord.h"

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/ServiceReferenceBase.h>

#include <utility>

namespace cppmicroservices {

ServiceReferenceBase::ServiceReferenceBase() noexcept = default;
ServiceReferenceBase::ServiceReferenceBase(const ServiceReferenceBase&) = default;
ServiceReferenceBase::ServiceReferenceBase(ServiceReferenceBase&&) noexcept = default;
ServiceReferenceBase& ServiceReferenceBase::operator=(const ServiceReferenceBase&) = default;
ServiceReferenceBase& ServiceReferenceBase::operator=(ServiceReferenceBase&&) noexcept = default;
ServiceReferenceBase::~ServiceReferenceBase() = default;

ServiceReferenceBase::ServiceReferenceBase(std::shared_ptr<detail::ServiceRecord> record,
                                           const std::string& interfaceId)
    : record_(std::move(record)) {
    if (interfaceId.empty() && record_)
        interfaceId_ = &record_->Interfaces().front();
    else
        SetInterfaceId(interfaceId);
}

ServiceReferenceBase& ServiceReferenceBase::operator=(std::nullptr_t) noexcept {
    record_ = nullptr;
    interfaceId_ = nullptr;
    return *this;
}

ServiceReferenceBase::operator bool() const noexcept {
    return record_ && record_->IsAvailable();
}

void ServiceReferenceBase::SetInterfaceId(const std::string& interfaceId) {
    if (!record_ || (interfaceId_ && *interfaceId_ == interfaceId))
        return;
    interfaceId_ = record_->FindInterface(interfaceId);
    if (!interfaceId_)
        record_ = nullptr;
}

Any ServiceReferenceBase::GetProperty(const std::string& key) const {
    if (!record_)
        return {};
    const auto properties = record_->Properties();
    const auto* value = properties->Find(key);
    return value ? *value : Any();
}

std::vector<std::string> ServiceReferenceBase::GetPropertyKeys() const {
    return record_ ? record_->Properties()->Keys() : std::vector<std::string>();
}

Bundle ServiceReferenceBase::GetBundle() const {
    const auto core = *this ? record_->Owner().core.lock() : nullptr;
    return core ? core->Handle(record_->Owner().bundle) : Bundle();
}

std::vector<Bundle> ServiceReferenceBase::GetUsingBundles() const {
    std::vector<Bundle> bundles;
    if (const auto core = record_ ? record_->Owner().core.lock() : nullptr) {
        for (auto& user : record_->Users())
            bundles.push_back(core->Handle(std::move(user)));
    }
    return bundles;
}

bool ServiceReferenceBase::operator<(const ServiceReferenceBase& other) const {
    if (!record_ || !other.record_)
        return !record_ && other.record_;
    if (record_ == other.record_)
        return false;
    const int ranking = record_->Properties()->Ranking();
    const int otherRanking = other.record_->Properties()->Ranking();
    return ranking != otherRanking ? ranking < otherRanking : record_->Id() > other.record_->Id();
}

bool ServiceReferenceBase::IsConvertibleTo(const std::string& interfaceId) const {
    return record_ && record_->FindInterface(interfaceId);
}

std::string ServiceReferenceBase::GetInterfaceId() const {
    return interfaceId_ ? *interfaceId_ : std::string();
}

std::ostream& operator<<(std::ostream& os, const ServiceReferenceBase& reference) {
    if (const auto& record = detail::ServiceAccess::Record(reference))
        return os << "Reference to service " << record->Id() << " (" << reference.GetInterfaceId() << ')';
    return os << "Null service reference";
}

} // namespace cppmicroservices
