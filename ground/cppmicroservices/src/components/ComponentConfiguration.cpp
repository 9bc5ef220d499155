#include "ComponentConfiguration.h"

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/PrototypeServiceFactory.h>
#include <cppmicroservices/ServiceProperties.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace cppmicroservices::detail {

namespace {

/// Of its service, which the registry knows by a factory, whatever the scope.
ServiceProperties ForService(const AnyMap& properties, ServiceScope scope) {
    ServiceProperties all(properties.begin(), properties.end());
    if (scope == ServiceScope::Singleton)
        all[Constants::SERVICE_SCOPE] = Constants::SCOPE_SINGLETON;
    return all;
}

/// What the registry asks for a component's objects.
/// \tparam Base decides whether each call of ServiceObjects gives an object of its own
template <class Base>
class Factory final : public Base {
public:
    explicit Factory(std::shared_ptr<ComponentConfiguration> component) : component_(std::move(component)) {}

    InterfaceMapConstPtr GetService(const Bundle& user,
                                    const ServiceRegistrationBase& registration) override {
        return component_->Obtain(registration.GetReference(), user);
    }
    void UngetService(const Bundle&, const ServiceRegistrationBase&,
                      const InterfaceMapConstPtr& interfaces) override {
        component_->Release(interfaces);
    }

private:
    const std::shared_ptr<ComponentConfiguration> component_;
};

} // namespace

ComponentConfiguration::ComponentConfiguration(std::shared_ptr<const ComponentDescription> description,
                                               ComponentEnvironment environment)
    : description_(std::move(description)), environment_(std::move(environment)) {}

PropertiesPtr ComponentConfiguration::ExchangeProperties(PropertiesPtr properties) {
    const foundation::MutexLock lock(mutex_);
    return std::exchange(wanted_, std::move(properties));
}

PropertiesPtr ComponentConfiguration::Properties() const {
    const foundation::MutexLock lock(mutex_);
    return wanted_;
}

void ComponentConfiguration::Dispose() {
    const foundation::MutexLock lock(mutex_);
    disposed_ = true;
}

bool ComponentConfiguration::IsSatisfied() const {
    const foundation::MutexLock lock(mutex_);
    return run_ != nullptr;
}

void ComponentConfiguration::Settle() noexcept {
    {
        const foundation::MutexLock lock(mutex_);
        noted_ = true;
        if (worker_ != std::thread::id())
            return;
        worker_ = std::this_thread::get_id();
    }
    for (;;) {
        {
            const foundation::MutexLock lock(mutex_);
            if (!std::exchange(noted_, false)) {
                worker_ = {};
                idle_.notify_all();
                return;
            }
        }
        try {
            Step();
        } catch (...) {
            environment_.onFault("it cannot be made available", std::current_exception());
        }
    }
}

void ComponentConfiguration::WaitUntilIdle() {
    const auto self = std::this_thread::get_id();
    const auto another = [self](std::thread::id id) { return id != std::thread::id() && id != self; };
    foundation::MutexLock lock(mutex_);
    while (another(worker_) || another(maker_))
        idle_.wait(lock);
}

void ComponentConfiguration::Step() {
    RunPtr run;
    PropertiesPtr wanted;
    Instances released;
    bool disposed = false;
    {
        const foundation::MutexLock lock(mutex_);
        released.swap(released_);
        run = run_;
        wanted = wanted_;
        disposed = disposed_;
    }
    for (const auto& instance : released)
        instance->Deactivate();
    released.clear();
    if (run && (disposed || !MayGoOn(*run))) {
        End(run);
        run = nullptr;
    }
    if (disposed)
        return;
    if (!run)
        Begin(wanted);
    else
        Change(run, wanted);
}

bool ComponentConfiguration::MayGoOn(const Run& run) {
    try {
        const auto now = run.services->Now();
        bindings_ = BoundServices::Next(environment_.context, description_->references, now);
        return std::ranges::all_of(description_->references, [&](const ReferenceDescription& reference) {
            const auto next = bindings_.find(reference.name);
            return next != bindings_.end() && (reference.dynamic || next->second == now.at(reference.name));
        });
    } catch (const std::runtime_error&) {
        return false; // the bundle has stopped
    }
}

void ComponentConfiguration::Begin(const PropertiesPtr& properties) {
    auto context = environment_.context;
    if (!context)
        return;
    bindings_ = BoundServices::Next(context, description_->references, bindings_);
    if (bindings_.size() < description_->references.size())
        return;
    const auto run = std::make_shared<Run>();
    run->services = std::make_shared<BoundServices>(context, bindings_);
    run->published = run->properties = properties;
    {
        const foundation::MutexLock lock(mutex_);
        run_ = run;
    }
    if (!description_->interfaces.empty()) {
        const auto services = std::make_shared<InterfaceMap>();
        for (const auto& interfaceId : description_->interfaces)
            services->emplace(interfaceId, nullptr);
        services->emplace(kServiceFactoryKey, FactoryOfThis());
        try {
            run->registration =
                context.RegisterService(services, ForService(*properties, description_->scope));
        } catch (...) {
            const foundation::MutexLock lock(mutex_);
            run_ = nullptr;
            throw;
        }
    }
    if (description_->immediate && description_->scope == ServiceScope::Singleton) {
        try {
            Obtain(run->registration ? run->registration.GetReference() : ServiceReferenceU(), Bundle());
        } catch (...) {
            // Reported; the service, if it has one, is there, and constructs when it is got.
        }
    }
}

std::shared_ptr<ServiceFactory> ComponentConfiguration::FactoryOfThis() {
    if (description_->scope == ServiceScope::Prototype)
        return std::make_shared<Factory<PrototypeServiceFactory>>(shared_from_this());
    return std::make_shared<Factory<ServiceFactory>>(shared_from_this());
}

void ComponentConfiguration::Change(const RunPtr& run, const PropertiesPtr& properties) {
    Instances instances;
    bool changed = false;
    {
        const foundation::MutexLock lock(mutex_);
        // A constructor that runs has the old properties; its thread comes here again at its end.
        if (maker_ != std::thread::id())
            return;
        instances = instances_;
        changed = run->properties != properties;
        if (instances.empty()) {
            for (const auto& [reference, bound] : bindings_)
                run->services->Rebind(reference, bound);
        }
        if (instances.empty() || instances.front()->TakesModifications())
            run->properties = properties;
    }
    if (instances.empty())
        return; // the service keeps its properties until there is an object that has the new ones
    Rebind(run);
    if (changed && !instances.front()->TakesModifications()) {
        instances.clear();
        End(run);
        Begin(properties);
        return;
    }
    if (changed)
        Modify(instances, properties);
    if (std::exchange(run->published, properties) != properties && run->registration)
        run->registration.SetProperties(ForService(*properties, description_->scope));
}

void ComponentConfiguration::Modify(const Instances& instances, const PropertiesPtr& properties) {
    {
        const foundation::MutexLock lock(mutex_);
        changer_ = std::this_thread::get_id();
    }
    for (const auto& instance : instances) {
        try {
            instance->Modify(properties);
        } catch (...) {
            environment_.onFault("its Modified threw an exception", std::current_exception());
        }
    }
    const foundation::MutexLock lock(mutex_);
    changer_ = {};
    idle_.notify_all();
}

void ComponentConfiguration::Rebind(const RunPtr& run) {
    const auto now = run->services->Now();
    for (const auto& reference : description_->references) {
        const auto& before = now.at(reference.name);
        const auto& next = bindings_.at(reference.name);
        if (next == before)
            continue;
        std::vector<std::shared_ptr<void>> added, taken;
        for (const auto& one : before) {
            if (std::ranges::find(next, one) == next.end())
                taken.push_back(run->services->Get(reference.name, one, reference.interfaceId));
        }
        run->services->Rebind(reference.name, next);
        for (const auto& one : next) {
            if (std::ranges::find(before, one) == before.end())
                added.push_back(run->services->Get(reference.name, one, reference.interfaceId));
        }
        Instances instances;
        {
            const foundation::MutexLock lock(mutex_);
            instances = instances_;
        }
        for (const auto& instance : instances) {
            for (const auto& service : added) {
                if (service)
                    instance->Bind(reference.name, service);
            }
            for (const auto& service : taken) {
                if (service)
                    instance->Unbind(reference.name, service);
            }
        }
    }
}

void ComponentConfiguration::End(const RunPtr& run) {
    if (run->registration) {
        try {
            run->registration.Unregister();
        } catch (const std::logic_error&) {
            // The bundle's end came first.
        }
    }
    Instances instances;
    bool making = false;
    {
        const foundation::MutexLock lock(mutex_);
        run_ = nullptr;
        making = maker_ != std::thread::id();
        instances.swap(instances_);
    }
    for (const auto& instance : instances)
        instance->Deactivate();
    instances.clear();
    if (!making) // a constructor may still ask for its services; its thread lets them go
        run->services->Release();
}

void ComponentConfiguration::Release(const InterfaceMapConstPtr& interfaces) {
    if (description_->scope == ServiceScope::Singleton)
        return; // kept for the next one
    {
        const foundation::MutexLock lock(mutex_);
        const auto found = std::ranges::find(instances_, interfaces, &ComponentInstanceHandle::Interfaces);
        if (found == instances_.end())
            return;
        released_.push_back(std::move(*found));
        instances_.erase(found);
    }
    Settle(); // the worker may be calling it just now
}

InterfaceMapConstPtr ComponentConfiguration::Obtain(const ServiceReferenceBase& service, const Bundle& user) {
    RunPtr run;
    PropertiesPtr properties;
    {
        foundation::MutexLock lock(mutex_);
        if (maker_ == std::this_thread::get_id())
            throw std::runtime_error("The component '" + description_->name +
                                     "' asks for its own service in its constructor.");
        while (maker_ != std::thread::id() ||
               (changer_ != std::thread::id() && changer_ != std::this_thread::get_id()))
            idle_.wait(lock);
        if (!run_)
            throw std::runtime_error("The component '" + description_->name + "' has just been deactivated.");
        if (!instances_.empty() && description_->scope == ServiceScope::Singleton)
            return instances_.front()->Interfaces();
        maker_ = std::this_thread::get_id();
        run = run_;
        properties = run->properties;
    }
    std::shared_ptr<ComponentInstanceHandle> made;
    std::exception_ptr failure;
    try {
        made = Construct(*run, properties, service, user);
    } catch (...) {
        failure = std::current_exception();
    }
    auto interfaces = EndConstruction(run, std::move(made));
    if (failure) {
        environment_.onFault("its object cannot be constructed", failure);
        std::rethrow_exception(failure);
    }
    return interfaces;
}

std::shared_ptr<ComponentInstanceHandle>
ComponentConfiguration::Construct(const Run& run, PropertiesPtr properties,
                                  const ServiceReferenceBase& service, const Bundle& user) {
    for (const auto& reference : description_->references) {
        if (!reference.optional && !run.services->Get(reference.name, reference.interfaceId))
            throw std::runtime_error("The service for its reference '" + reference.name + "' (" +
                                     reference.interfaceId + ") is there, but cannot be got.");
    }
    // The object of a singleton serves everybody.
    const auto forWhom = description_->scope == ServiceScope::Singleton ? Bundle() : user;
    const auto context = std::make_shared<ComponentInstanceContext>(
        environment_.context, run.services, std::move(properties), service, forWhom, environment_.enable);
    return ComponentInstanceHandle::Make(*environment_.bundle, description_->name, context,
                                         environment_.onFault);
}

InterfaceMapConstPtr ComponentConfiguration::EndConstruction(const RunPtr& run,
                                                             std::shared_ptr<ComponentInstanceHandle> made) {
    InterfaceMapConstPtr interfaces;
    bool changed = false, over = false;
    {
        const foundation::MutexLock lock(mutex_);
        if (made)
            interfaces = made->Interfaces();
        if (made && run_ == run)
            instances_.push_back(std::move(made));
    }
    // It was deactivated meanwhile: who asked for the object gets it, deactivated as well.
    made.reset();
    {
        const foundation::MutexLock lock(mutex_);
        maker_ = {};
        over = run_ != run;
        // Properties that came before the object are published with it.
        changed = interfaces != nullptr || wanted_ != run->properties;
        idle_.notify_all();
    }
    if (over)
        run->services->Release();
    if (changed)
        Settle();
    return interfaces;
}

} // namespace cppmicroservices::detail
