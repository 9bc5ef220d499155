#pragma once

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/LDAPFilter.h>
#include <cppmicroservices/ServiceReferenceBase.h>
#include <cppmicroservices/ServiceRegistrationBase.h>

#include <memory>
#include <string>

namespace cppmicroservices::detail {

class ServiceRecord;

/// The way from the public handles to what they stand for, and back.
struct ServiceAccess {
    static const std::shared_ptr<ServiceRecord>& Record(const ServiceReferenceBase& reference) {
        return reference.record_;
    }
    static const std::shared_ptr<ServiceRecord>& Record(const ServiceRegistrationBase& registration) {
        return registration.record_;
    }
    /// Null if the service is not registered under \p interfaceId; its first interface if that is empty.
    static ServiceReferenceBase Reference(std::shared_ptr<ServiceRecord> record,
                                          const std::string& interfaceId = {}) {
        return ServiceReferenceBase(std::move(record), interfaceId);
    }
    static ServiceRegistrationBase Registration(std::shared_ptr<ServiceRecord> record) {
        return ServiceRegistrationBase(std::move(record));
    }
    /// Null for an invalid filter.
    static const LdapExpression* Expression(const LDAPFilter& filter) { return filter.expression_.get(); }
};

struct BundleAccess {
    static Bundle Make(std::shared_ptr<BundlePrivate> bundle, std::shared_ptr<FrameworkOwner> owner) {
        return Bundle(std::move(bundle), std::move(owner));
    }
    static const std::shared_ptr<BundlePrivate>& Private(const Bundle& bundle) { return bundle.d; }
};

} // namespace cppmicroservices::detail
