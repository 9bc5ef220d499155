#include "BundleContextPrivate.h"
#include "BundlePrivate.h"
#include "FrameworkCore.h"
#include "ServiceAccess.h"
#include "ServiceHolder.h"

#include <cppmicroservices/BundleContext.h>

#include <filesystem>
#include <stdexcept>
#include <utility>

namespace cppmicroservices {

namespace {

BundleContextPrivate::Access Use(const std::shared_ptr<BundleContextPrivate>& context) {
    if (!context)
        throw std::runtime_error("The bundle context is null; take it from a started bundle or framework.");
    return context->Use();
}

void CheckServices(const InterfaceMapConstPtr& services) {
    const bool factory = ExtractFactory(services) != nullptr;
    if (!services || services->size() < (factory ? 2u : 1u))
        throw std::invalid_argument("A service must be registered under at least one interface.");
    for (const auto& [interfaceId, object] : *services) {
        if (interfaceId.empty())
            throw std::invalid_argument("A service cannot be registered under an empty interface name.");
        if (!object && !factory)
            throw std::invalid_argument("The service object for '" + interfaceId + "' is null.");
    }
}

std::shared_ptr<detail::ServiceHolder> Hold(const BundleContextPrivate::Access& access,
                                            const ServiceReferenceBase& reference) {
    if (!reference)
        throw std::invalid_argument("GetService: the reference is null or its service unregistered.");
    return detail::ServiceHolder::Get(detail::ServiceAccess::Record(reference), access.bundle);
}

} // namespace

BundleContext::BundleContext() noexcept = default;

BundleContext::BundleContext(std::shared_ptr<BundleContextPrivate> context) noexcept
    : d(std::move(context)) {}

BundleContext& BundleContext::operator=(std::nullptr_t) noexcept {
    d = nullptr;
    return *this;
}

BundleContext::operator bool() const noexcept {
    return d && d->IsValid();
}

Any BundleContext::GetProperty(const std::string& key) const {
    const auto access = Use(d);
    const auto found = access.core->Properties().find(key);
    return found == access.core->Properties().end() ? Any() : found->second;
}

AnyMap BundleContext::GetProperties() const {
    return Use(d).core->Properties();
}

Bundle BundleContext::GetBundle() const {
    const auto access = Use(d);
    return access.core->Handle(access.bundle);
}

Bundle BundleContext::GetBundle(long id) const {
    const auto access = Use(d);
    auto bundle = access.core->FindBundle(id);
    return bundle ? access.core->Handle(std::move(bundle)) : Bundle();
}

std::vector<Bundle> BundleContext::GetBundles() const {
    const auto access = Use(d);
    std::vector<Bundle> bundles;
    for (auto& bundle : access.core->Bundles())
        bundles.push_back(access.core->Handle(std::move(bundle)));
    return bundles;
}

std::vector<Bundle> BundleContext::GetBundles(const std::string& location) const {
    auto bundles = GetBundles();
    std::erase_if(bundles, [&](const Bundle& bundle) { return bundle.GetLocation() != location; });
    return bundles;
}

std::vector<Bundle> BundleContext::InstallBundles(const std::string& location, const AnyMap& manifests) {
    return Use(d).core->Install(location, manifests);
}

std::string BundleContext::GetDataFile(const std::string& filename) const {
    const auto access = Use(d);
    const auto directory = access.core->DataDirectory(access.bundle->Id().id);
    if (directory.empty())
        return {};
    std::filesystem::create_directories(directory);
    return directory / filename;
}

ServiceRegistrationU BundleContext::RegisterService(const InterfaceMapConstPtr& service,
                                                    const ServiceProperties& properties) {
    const auto access = Use(d);
    CheckServices(service);
    return access.core->Register(access.bundle, d, service, properties);
}

std::vector<ServiceReferenceU> BundleContext::GetServiceReferences(const std::string& clazz,
                                                                   const std::string& filter) {
    const auto access = Use(d);
    auto& registry = access.core->Services();
    const auto services = clazz.empty() ? registry.All() : registry.Providing(clazz);
    std::vector<ServiceReferenceU> references;
    if (services->empty())
        return references; // whatever the filter
    const LDAPFilter condition = filter.empty() ? LDAPFilter() : LDAPFilter(filter);
    const auto* expression = detail::ServiceAccess::Expression(condition);
    for (const auto& record : *services) {
        if (!expression || expression->Matches(*record->Properties()))
            references.emplace_back(detail::ServiceAccess::Reference(record, clazz));
    }
    return references;
}

ServiceReferenceU BundleContext::GetServiceReference(const std::string& clazz) {
    const auto access = Use(d);
    const auto services = access.core->Services().Providing(clazz);
    return services->empty() ? ServiceReferenceU()
                             : detail::ServiceAccess::Reference(services->front(), clazz);
}

std::logic_error BundleContext::ServiceInterfaceUnnamed() {
    return std::logic_error("The service interface has no name; name another type than void.");
}

std::shared_ptr<void> BundleContext::GetService(const ServiceReferenceBase& reference) {
    const auto holder = Hold(Use(d), reference);
    return holder ? holder->Object(reference.GetInterfaceId()) : nullptr;
}

InterfaceMapConstPtr BundleContext::GetService(const ServiceReferenceU& reference) {
    const auto holder = Hold(Use(d), reference);
    return holder ? holder->Objects() : nullptr;
}

detail::ServiceObjectsBase BundleContext::ObjectsOf(const ServiceReferenceBase& reference) const {
    Use(d);
    return {d, reference};
}

ListenerToken BundleContext::AddServiceListener(const ServiceListener& listener, const std::string& filter) {
    const auto access = Use(d);
    auto& events = access.core->Events();
    const auto id = events.NextId();
    events.Services().Add(id, d.get(), listener, filter.empty() ? LDAPFilter() : LDAPFilter(filter));
    return Added(events, id);
}

ListenerToken BundleContext::AddBundleListener(const BundleListener& listener) {
    const auto access = Use(d);
    auto& events = access.core->Events();
    const auto id = events.NextId();
    events.Bundles().Add(id, d.get(), listener);
    return Added(events, id);
}

ListenerToken BundleContext::AddFrameworkListener(const FrameworkListener& listener) {
    const auto access = Use(d);
    auto& events = access.core->Events();
    const auto id = events.NextId();
    events.Frameworks().Add(id, d.get(), listener);
    return Added(events, id);
}

ListenerToken BundleContext::Added(detail::EventHub& events, std::uint64_t id) const {
    // The bundle's stop removes its listeners once; one that came too late for that must go by itself.
    if (!d->IsValid()) {
        events.Remove(id);
        Use(d);
    }
    return ListenerToken(id);
}

void BundleContext::RemoveListener(ListenerToken token) {
    Use(d).core->Events().Remove(token.id_);
}

BundleContext MakeBundleContext(BundleContextPrivate* context) {
    return BundleContext(context ? context->shared_from_this() : nullptr);
}

BundleContext MakeBundleContext(const std::shared_ptr<BundleContextPrivate>& context) {
    return BundleContext(context);
}

std::shared_ptr<BundleContextPrivate> GetPrivate(const BundleContext& context) {
    return context.d;
}

} // namespace cppmicroservices
