#include "BoundServices.h"

#include <algorithm>
#include <utility>

namespace cppmicroservices::detail {

std::shared_ptr<BoundServices> BoundServices::Bind(const BundleContext& context,
                                                   const std::vector<ReferenceDescription>& references,
                                                   Bindings& bound) {
    for (const auto& reference : references) {
        const auto found =
            BundleContext(context).GetServiceReferences(reference.interfaceId, reference.target);
        const auto before = bound.find(reference.name);
        if (found.empty())
            bound.erase(reference.name);
        else if (before == bound.end() ||
                 std::find(found.begin(), found.end(), before->second) == found.end())
            bound[reference.name] = found.front();
    }
    return bound.size() == references.size() ? std::make_shared<BoundServices>(context, bound) : nullptr;
}

BoundServices::BoundServices(BundleContext context, Bindings bound)
    : context_(std::move(context)), bound_(std::move(bound)) {}

bool BoundServices::StillMatch(const std::vector<ReferenceDescription>& references) const {
    return std::all_of(references.begin(), references.end(), [&](const auto& reference) {
        const auto found =
            BundleContext(context_).GetServiceReferences(reference.interfaceId, reference.target);
        return std::find(found.begin(), found.end(), bound_.at(reference.name)) != found.end();
    });
}

std::shared_ptr<void> BoundServices::Get(const std::string& reference, const std::string& interfaceId) {
    const auto bound = bound_.find(reference);
    if (bound == bound_.end())
        return nullptr;
    {
        const foundation::MutexLock lock(mutex_);
        if (const auto known = objects_.find(reference); released_ || known != objects_.end())
            return released_ ? nullptr : ExtractInterface<void>(known->second, interfaceId);
    }
    // Unlocked, for a constructor may run here; threads that meet get the same object.
    const auto objects = bound->second ? context_.GetService(bound->second) : nullptr;
    if (!objects)
        return nullptr;
    const foundation::MutexLock lock(mutex_);
    if (!released_)
        objects_.emplace(reference, objects);
    return ExtractInterface<void>(objects, interfaceId);
}

bool BoundServices::IsBound(const std::string& reference, const ServiceReferenceBase& service) const {
    const auto bound = bound_.find(reference);
    return bound != bound_.end() && bound->second == service;
}

void BoundServices::Release() {
    decltype(objects_) released;
    const foundation::MutexLock lock(mutex_);
    released_ = true;
    released.swap(objects_);
}

} // namespace cppmicroservices::detail
