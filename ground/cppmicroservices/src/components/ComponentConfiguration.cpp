#include "ComponentConfiguration.h"

#include <cppmicroservices/ServiceProperties.h>

#include <stdexcept>
#include <utility>

namespace cppmicroservices::detail {

namespace {

ServiceProperties ForService(const AnyMap& properties) {
    return {properties.begin(), properties.end()};
}

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
    bool disposed = false;
    {
        const foundation::MutexLock lock(mutex_);
        run = run_;
        wanted = wanted_;
        disposed = disposed_;
    }
    if (run && (disposed || !StillMatches(*run))) {
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

bool ComponentConfiguration::StillMatches(const Run& run) const {
    try {
        return run.services->StillMatch(description_->references);
    } catch (const std::runtime_error&) {
        return false; // the bundle has stopped
    }
}

void ComponentConfiguration::Begin(const PropertiesPtr& properties) {
    auto context = environment_.context;
    if (!context)
        return;
    const auto run = std::make_shared<Run>();
    run->services = BoundServices::Bind(context, description_->references, bindings_);
    run->published = run->properties = properties;
    if (!run->services)
        return;
    {
        const foundation::MutexLock lock(mutex_);
        run_ = run;
    }
    if (!description_->interfaces.empty()) {
        const auto services = std::make_shared<InterfaceMap>();
        for (const auto& interfaceId : description_->interfaces)
            services->emplace(interfaceId, nullptr);
        services->emplace(kServiceFactoryKey, std::static_pointer_cast<ServiceFactory>(shared_from_this()));
        try {
            run->registration = context.RegisterService(services, ForService(*properties));
        } catch (...) {
            const foundation::MutexLock lock(mutex_);
            run_ = nullptr;
            throw;
        }
    }
    if (description_->immediate) {
        try {
            Obtain(run->registration ? run->registration.GetReference() : ServiceReferenceU());
        } catch (...) {
            // Reported; the service, if it has one, is there, and constructs when it is got.
        }
    }
}

void ComponentConfiguration::Change(const RunPtr& run, const PropertiesPtr& properties) {
    std::shared_ptr<ComponentInstanceHandle> instance;
    bool changed = false;
    {
        const foundation::MutexLock lock(mutex_);
        // A constructor that runs has the old properties; its thread comes here again at its end.
        if (maker_ != std::thread::id())
            return;
        instance = instance_;
        changed = run->properties != properties;
        if (!instance || instance->TakesModifications())
            run->properties = properties;
    }
    if (!instance)
        return; // the service keeps its properties until there is an object that has the new ones
    if (changed && !instance->TakesModifications()) {
        instance = nullptr;
        End(run);
        Begin(properties);
        return;
    }
    if (changed) {
        try {
            instance->Modify(properties);
        } catch (...) {
            environment_.onFault("its Modified threw an exception", std::current_exception());
        }
    }
    if (std::exchange(run->published, properties) != properties && run->registration)
        run->registration.SetProperties(ForService(*properties));
}

void ComponentConfiguration::End(const RunPtr& run) {
    if (run->registration) {
        try {
            run->registration.Unregister();
        } catch (const std::logic_error&) {
            // The bundle's end came first.
        }
    }
    std::shared_ptr<ComponentInstanceHandle> instance;
    {
        const foundation::MutexLock lock(mutex_);
        run_ = nullptr;
        instance.swap(instance_);
    }
    if (instance)
        instance->Deactivate();
    run->services->Release();
}

InterfaceMapConstPtr ComponentConfiguration::GetService(const Bundle&,
                                                        const ServiceRegistrationBase& registration) {
    return Obtain(registration.GetReference());
}

InterfaceMapConstPtr ComponentConfiguration::Obtain(const ServiceReferenceBase& service) {
    RunPtr run;
    PropertiesPtr properties;
    {
        foundation::MutexLock lock(mutex_);
        if (maker_ == std::this_thread::get_id())
            throw std::runtime_error("The component '" + description_->name +
                                     "' asks for its own service in its constructor.");
        while (maker_ != std::thread::id())
            idle_.wait(lock);
        if (!run_)
            throw std::runtime_error("The component '" + description_->name + "' has just been deactivated.");
        if (instance_)
            return instance_->Interfaces();
        maker_ = std::this_thread::get_id();
        run = run_;
        properties = run->properties;
    }
    std::shared_ptr<ComponentInstanceHandle> made;
    std::exception_ptr failure;
    try {
        made = Construct(*run, properties, service);
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
                                  const ServiceReferenceBase& service) {
    for (const auto& reference : description_->references) {
        if (!run.services->Get(reference.name, reference.interfaceId))
            throw std::runtime_error("The service for its reference '" + reference.name + "' (" +
                                     reference.interfaceId + ") is there, but cannot be got.");
    }
    const auto context = std::make_shared<ComponentInstanceContext>(
        environment_.context, run.services, std::move(properties), service, environment_.enable);
    return ComponentInstanceHandle::Make(*environment_.bundle, description_->name, context,
                                         environment_.onFault);
}

InterfaceMapConstPtr ComponentConfiguration::EndConstruction(const RunPtr& run,
                                                             std::shared_ptr<ComponentInstanceHandle> made) {
    InterfaceMapConstPtr interfaces;
    bool changed = false;
    {
        const foundation::MutexLock lock(mutex_);
        if (made && run_ == run) {
            interfaces = made->Interfaces();
            instance_ = std::move(made);
        }
    }
    // It was deactivated meanwhile, and the object came too late for that.
    made.reset();
    {
        const foundation::MutexLock lock(mutex_);
        maker_ = {};
        // Properties that came before the object are published with it.
        changed = interfaces != nullptr || wanted_ != run->properties;
        idle_.notify_all();
    }
    if (changed)
        Settle();
    return interfaces;
}

} // namespace cppmicroservices::detail
