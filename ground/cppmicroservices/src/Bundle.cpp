#include "BundlePrivate.h"
#include "FrameworkCore.h"
#include "ServiceAccess.h"

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace cppmicroservices {

Bundle::Bundle() noexcept = default;
Bundle::Bundle(std::shared_ptr<BundlePrivate> bundle, std::shared_ptr<detail::FrameworkOwner> owner) noexcept
    : d(std::move(bundle)), owner_(std::move(owner)) {}
Bundle::Bundle(const Bundle&) = default;
Bundle::Bundle(Bundle&&) noexcept = default;
Bundle& Bundle::operator=(const Bundle&) = default;
Bundle& Bundle::operator=(Bundle&&) noexcept = default;
Bundle::~Bundle() = default;

Bundle& Bundle::operator=(std::nullptr_t) noexcept {
    return *this = Bundle();
}

BundlePrivate& Bundle::Get() const {
    if (!d)
        throw std::invalid_argument("This bundle handle is null.");
    return *d;
}

bool Bundle::operator<(const Bundle& other) const {
    if (!d || !other.d)
        return !d && other.d;
    return d->Id().id < other.d->Id().id;
}

Bundle::State Bundle::GetState() const {
    return Get().State();
}

BundleContext Bundle::GetBundleContext() const {
    return MakeBundleContext(Get().Context());
}

long Bundle::GetBundleId() const {
    return Get().Id().id;
}

std::string Bundle::GetLocation() const {
    return Get().Id().location;
}

std::string Bundle::GetSymbolicName() const {
    return Get().Id().symbolicName;
}

BundleVersion Bundle::GetVersion() const {
    return Get().Version();
}

const AnyMap& Bundle::GetHeaders() const {
    return Get().Headers();
}

std::map<std::string, Any> Bundle::GetProperties() const {
    const auto& headers = GetHeaders();
    return {headers.begin(), headers.end()};
}

Any Bundle::GetProperty(const std::string& key) const {
    const auto found = GetHeaders().find(key);
    return found == GetHeaders().end() ? Any() : found->second;
}

std::vector<std::string> Bundle::GetPropertyKeys() const {
    std::vector<std::string> keys;
    for (const auto& [key, value] : GetHeaders())
        keys.push_back(key);
    return keys;
}

std::vector<ServiceReferenceU> Bundle::GetRegisteredServices() const {
    std::vector<ServiceReferenceU> references;
    if (const auto core = Get().Core()) {
        for (const auto services = core->Services().All(); const auto& record : *services) {
            if (record->Owner().bundle == d)
                references.emplace_back(detail::ServiceAccess::Reference(record));
        }
    }
    return references;
}

std::vector<ServiceReferenceU> Bundle::GetServicesInUse() const {
    std::vector<ServiceReferenceU> references;
    if (const auto core = Get().Core()) {
        for (const auto services = core->Services().All(); const auto& record : *services) {
            const auto users = record->Users();
            if (std::find(users.begin(), users.end(), d) != users.end())
                references.emplace_back(detail::ServiceAccess::Reference(record));
        }
    }
    return references;
}

void Bundle::Start() {
    Start(0);
}

void Bundle::Start(std::uint32_t options) {
    auto& bundle = Get();
    if (!owner_)
        throw std::runtime_error("The framework is ending; no bundle can be started.");
    bundle.Start(options);
}

void Bundle::Stop() {
    Stop(0);
}

void Bundle::Stop(std::uint32_t options) {
    Get().Stop(options);
}

void Bundle::Uninstall() {
    Get().Uninstall();
}

std::ostream& operator<<(std::ostream& os, const Bundle& bundle) {
    if (!bundle)
        return os << "Null bundle";
    return os << "Bundle[id=" << bundle.GetBundleId() << ", loc=" << bundle.GetLocation()
              << ", name=" << bundle.GetSymbolicName() << ", state=" << bundle.GetState() << ']';
}

std::ostream& operator<<(std::ostream& os, Bundle::State state) {
    switch (state) {
    case Bundle::STATE_UNINSTALLED:
        return os << "UNINSTALLED";
    case Bundle::STATE_INSTALLED:
        return os << "INSTALLED";
    case Bundle::STATE_RESOLVED:
        return os << "RESOLVED";
    case Bundle::STATE_STARTING:
        return os << "STARTING";
    case Bundle::STATE_STOPPING:
        return os << "STOPPING";
    case Bundle::STATE_ACTIVE:
        return os << "ACTIVE";
    }
    return os << "bundle state " << static_cast<std::uint32_t>(state);
}

} // namespace cppmicroservices
