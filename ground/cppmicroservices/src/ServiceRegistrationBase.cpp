#include "FrameworkCore.h"
#include "ServiceAccess.h"
#include "ServiceRecord.h"

#include <cppmicroservices/ServiceRegistrationBase.h>

#include <stdexcept>
#include <utility>

namespace cppmicroservices {

namespace {

detail::ServiceRecord& Checked(const std::shared_ptr<detail::ServiceRecord>& record) {
    if (!record)
        throw std::logic_error("This service registration is null; use what RegisterService returned.");
    return *record;
}

std::logic_error Unregistered() {
    return std::logic_error("The service is unregistered already.");
}

} // namespace

ServiceRegistrationBase::ServiceRegistrationBase() noexcept = default;
ServiceRegistrationBase::ServiceRegistrationBase(std::shared_ptr<detail::ServiceRecord> record) noexcept
    : record_(std::move(record)) {}
ServiceRegistrationBase::ServiceRegistrationBase(const ServiceRegistrationBase&) = default;
ServiceRegistrationBase::ServiceRegistrationBase(ServiceRegistrationBase&&) noexcept = default;
ServiceRegistrationBase& ServiceRegistrationBase::operator=(const ServiceRegistrationBase&) = default;
ServiceRegistrationBase& ServiceRegistrationBase::operator=(ServiceRegistrationBase&&) noexcept = default;
ServiceRegistrationBase::~ServiceRegistrationBase() = default;

ServiceRegistrationBase& ServiceRegistrationBase::operator=(std::nullptr_t) noexcept {
    record_ = nullptr;
    return *this;
}

ServiceReferenceBase ServiceRegistrationBase::GetReference(const std::string& interfaceId) const {
    if (!Checked(record_).IsAvailable())
        throw Unregistered();
    if (!interfaceId.empty() && !record_->FindInterface(interfaceId))
        throw std::logic_error("The service is not registered as '" + interfaceId + "'.");
    return detail::ServiceAccess::Reference(record_, interfaceId);
}

void ServiceRegistrationBase::SetProperties(const ServiceProperties& properties) {
    const auto core = Checked(record_).Owner().core.lock();
    if (!core || !core->Modify(record_, properties))
        throw Unregistered();
}

void ServiceRegistrationBase::SetProperties(ServiceProperties&& properties) {
    SetProperties(std::as_const(properties));
}

void ServiceRegistrationBase::Unregister() {
    const auto core = Checked(record_).Owner().core.lock();
    if (core && !core->Unregister(record_) && !core->HasEnded(*record_))
        throw Unregistered();
}

} // namespace cppmicroservices
