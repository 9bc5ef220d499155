#include "BoundServices.h"

#include <algorithm>
#include <utility>

namespace cppmicroservices::detail {

namespace {

using Bound = BoundServices::Bound;

bool Contains(const Bound& bound, const ServiceReferenceBase& service) {
    return std::ranges::any_of(bound, [&](const auto& one) { return one == service; });
}

/// \param found the services there are, best first
/// \return nothing if the reference has to wait
std::optional<Bound> NextOf(const ReferenceDescription& reference, const std::optional<Bound>& before,
                            const Bound& found) {
    if (found.empty())
        return reference.optional ? std::optional<Bound>(std::in_place) : std::nullopt;
    const auto best = reference.multiple ? found : Bound{found.front()};
    if (!before || reference.greedy)
        return best;
    auto kept = *before;
    std::erase_if(kept, [&](const auto& one) { return !Contains(found, one); });
    if (reference.dynamic)
        return reference.multiple || kept.empty() ? best : kept;
    return kept.size() == before->size() ? kept : best;
}

} // namespace

BoundServices::Bindings BoundServices::Next(const BundleContext& context,
                                            const std::vector<ReferenceDescription>& references,
                                            const Bindings& before) {
    Bindings next;
    for (const auto& reference : references) {
        const auto known = before.find(reference.name);
        auto bound =
            NextOf(reference, known == before.end() ? std::nullopt : std::optional(known->second),
                   BundleContext(context).GetServiceReferences(reference.interfaceId, reference.target));
        if (bound)
            next.emplace(reference.name, std::move(*bound));
    }
    return next;
}

BoundServices::BoundServices(BundleContext context, Bindings bound)
    : context_(std::move(context)), bound_(std::move(bound)) {}

BoundServices::Bindings BoundServices::Now() const {
    const foundation::MutexLock lock(mutex_);
    return bound_;
}

void BoundServices::Rebind(const std::string& reference, Bound bound) {
    std::vector<InterfaceMapConstPtr> unbound; // to die unlocked
    const foundation::MutexLock lock(mutex_);
    for (const auto& one : bound_[reference]) {
        const auto object = objects_.find(one);
        if (!Contains(bound, one) && object != objects_.end()) {
            unbound.push_back(std::move(object->second));
            objects_.erase(object);
        }
    }
    bound_[reference].swap(bound);
}

BoundServices::Bound BoundServices::BoundTo(const std::string& reference) const {
    const foundation::MutexLock lock(mutex_);
    const auto found = bound_.find(reference);
    return found == bound_.end() ? Bound() : found->second;
}

std::shared_ptr<void> BoundServices::Get(const std::string& reference, const std::string& interfaceId) {
    const auto bound = BoundTo(reference);
    return bound.empty() ? nullptr : Get(reference, bound.front(), interfaceId);
}

std::shared_ptr<void> BoundServices::Get(const std::string& reference, const ServiceReferenceBase& service,
                                         const std::string& interfaceId) {
    if (!Contains(BoundTo(reference), service))
        return nullptr;
    const ServiceReferenceU key(service);
    {
        const foundation::MutexLock lock(mutex_);
        if (const auto known = objects_.find(key); released_ || known != objects_.end())
            return released_ ? nullptr : ExtractInterface<void>(known->second, interfaceId);
    }
    // Unlocked, for a constructor may run here; threads that meet get the same object.
    const auto objects = key ? context_.GetService(key) : nullptr;
    if (!objects)
        return nullptr;
    const foundation::MutexLock lock(mutex_);
    if (!released_)
        objects_.emplace(key, objects);
    return ExtractInterface<void>(objects, interfaceId);
}

std::vector<std::shared_ptr<void>> BoundServices::GetAll(const std::string& reference,
                                                         const std::string& interfaceId) {
    std::vector<std::shared_ptr<void>> services;
    for (const auto& one : BoundTo(reference)) {
        if (auto service = Get(reference, one, interfaceId))
            services.push_back(std::move(service));
    }
    return services;
}

void BoundServices::Release() {
    decltype(objects_) released;
    const foundation::MutexLock lock(mutex_);
    released_ = true;
    released.swap(objects_);
}

} // namespace cppmicroservices::detail
