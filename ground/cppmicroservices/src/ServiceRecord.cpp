#include "ServiceRecord.h"

#include "FrameworkCore.h"
#include "ServiceAccess.h"

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/PrototypeServiceFactory.h>
#include <cppmicroservices/ServiceException.h>
#include <cppmicroservices/ServiceFactory.h>

#include <algorithm>
#include <exception>
#include <utility>

namespace cppmicroservices::detail {

namespace {

std::vector<std::string> InterfaceNames(const InterfaceMap& services) {
    std::vector<std::string> names;
    for (const auto& [name, object] : services) {
        if (name != kServiceFactoryKey)
            names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

bool ProvidesAll(const InterfaceMap& made, const std::vector<std::string>& interfaces) {
    return std::all_of(interfaces.begin(), interfaces.end(), [&](const std::string& name) {
        const auto found = made.find(name);
        return found != made.end() && found->second;
    });
}

const std::string& ScopeOf(const InterfaceMapConstPtr& services) {
    const auto factory = ExtractFactory(services);
    if (!factory)
        return Constants::SCOPE_SINGLETON;
    return std::dynamic_pointer_cast<PrototypeServiceFactory>(factory) ? Constants::SCOPE_PROTOTYPE
                                                                       : Constants::SCOPE_BUNDLE;
}

} // namespace

ServiceRecord::ServiceRecord(Registrant registrant, long id, InterfaceMapConstPtr services,
                             const ServiceProperties& properties)
    : registrant_(std::move(registrant)), id_(id), interfaces_(InterfaceNames(*services)),
      scope_(ScopeOf(services)), properties_(MakeProperties(properties)), services_(std::move(services)),
      factory_(ExtractFactory(services_)) {}

const std::string* ServiceRecord::FindInterface(const std::string& interfaceId) const noexcept {
    const auto found = std::find(interfaces_.begin(), interfaces_.end(), interfaceId);
    return found == interfaces_.end() ? nullptr : &*found;
}

std::shared_ptr<const PropertyTable> ServiceRecord::Properties() const {
    const foundation::MutexLock lock(mutex_);
    return properties_;
}

std::shared_ptr<const PropertyTable>
ServiceRecord::MakeProperties(const ServiceProperties& properties) const {
    return std::make_shared<const PropertyTable>(properties, interfaces_, id_, scope_);
}

std::shared_ptr<const PropertyTable>
ServiceRecord::ExchangeProperties(std::shared_ptr<const PropertyTable> properties) {
    const foundation::MutexLock lock(mutex_);
    return state_ == State::Registered ? std::exchange(properties_, std::move(properties)) : nullptr;
}

bool ServiceRecord::IsRegistered() const {
    const foundation::MutexLock lock(mutex_);
    return state_ == State::Registered;
}

bool ServiceRecord::HasProperties(const std::shared_ptr<const PropertyTable>& properties) const {
    const foundation::MutexLock lock(mutex_);
    return properties_ == properties;
}

bool ServiceRecord::IsAvailable() const {
    const foundation::MutexLock lock(mutex_);
    return state_ != State::Gone;
}

bool ServiceRecord::BeginUnregister() {
    const foundation::MutexLock lock(mutex_);
    return std::exchange(state_, std::max(state_, State::Unregistering)) == State::Registered;
}

void ServiceRecord::EndUnregister() {
    InterfaceMapConstPtr services;
    std::shared_ptr<ServiceFactory> factory;
    std::vector<std::pair<std::shared_ptr<BundlePrivate>, InterfaceMapConstPtr>> made;
    {
        const foundation::MutexLock lock(mutex_);
        state_ = State::Gone;
        services = std::move(services_);
        factory = std::move(factory_);
        for (auto& [user, use] : uses_) {
            if (use.made)
                made.emplace_back(user, std::move(use.made));
        }
        for (const auto& [objects, user] : others_)
            made.emplace_back(user, objects);
        others_.clear();
    }
    for (const auto& [user, objects] : made)
        TakeBack(user, *factory, objects);
}

InterfaceMapConstPtr ServiceRecord::Acquire(const std::shared_ptr<BundlePrivate>& user) {
    std::shared_ptr<ServiceFactory> factory;
    bool recursion = false;
    {
        foundation::MutexLock lock(mutex_);
        for (;;) {
            if (state_ == State::Gone)
                return nullptr;
            auto& use = uses_[user];
            if (!factory_ || use.made) {
                ++use.count;
                return factory_ ? use.made : services_;
            }
            if (use.maker == std::thread::id()) {
                use.maker = std::this_thread::get_id();
                break;
            }
            recursion = use.maker == std::this_thread::get_id();
            if (recursion)
                break;
            made_.wait(lock);
        }
        factory = factory_;
    }
    if (recursion) {
        ReportFactory("asks for the service it is just creating", ServiceException::FACTORY_RECURSION);
        return nullptr;
    }

    auto made = Make(user, *factory);
    bool takeBack = false;
    {
        const foundation::MutexLock lock(mutex_);
        const auto use = uses_.find(user);
        use->second.maker = {};
        takeBack = made && state_ == State::Gone;
        if (made && !takeBack) {
            use->second.made = made;
            ++use->second.count;
        } else {
            uses_.erase(use);
        }
        made_.notify_all();
    }
    // Unregistered meanwhile: it is the caller's alone.
    if (takeBack)
        TakeBack(user, *factory, made);
    return made;
}

void ServiceRecord::Release(const std::shared_ptr<BundlePrivate>& user) {
    InterfaceMapConstPtr made;
    std::shared_ptr<ServiceFactory> factory;
    {
        const foundation::MutexLock lock(mutex_);
        const auto use = uses_.find(user);
        if (use == uses_.end() || --use->second.count > 0)
            return;
        made = std::move(use->second.made);
        factory = factory_;
        uses_.erase(use);
    }
    if (made)
        TakeBack(user, *factory, made);
}

bool ServiceRecord::IsPrototype() const noexcept {
    return scope_ == Constants::SCOPE_PROTOTYPE;
}

InterfaceMapConstPtr ServiceRecord::AcquireAnother(const std::shared_ptr<BundlePrivate>& user) {
    std::shared_ptr<ServiceFactory> factory;
    {
        const foundation::MutexLock lock(mutex_);
        factory = factory_;
    }
    auto made = factory ? Make(user, *factory) : nullptr;
    if (!made)
        return nullptr;
    {
        const foundation::MutexLock lock(mutex_);
        if (state_ != State::Gone) {
            others_.emplace_back(made, user);
            return made;
        }
    }
    TakeBack(user, *factory, made);
    return nullptr;
}

void ServiceRecord::ReleaseAnother(const InterfaceMapConstPtr& services) {
    std::shared_ptr<BundlePrivate> user;
    std::shared_ptr<ServiceFactory> factory;
    {
        const foundation::MutexLock lock(mutex_);
        const auto found =
            std::ranges::find(others_, services, [](const auto& other) { return other.first; });
        if (found == others_.end())
            return; // taken back by the unregistration
        user = found->second;
        factory = factory_;
        others_.erase(found);
    }
    TakeBack(user, *factory, services);
}

std::vector<std::shared_ptr<BundlePrivate>> ServiceRecord::Users() const {
    std::vector<std::shared_ptr<BundlePrivate>> users;
    const foundation::MutexLock lock(mutex_);
    for (const auto& [user, use] : uses_) {
        if (use.count > 0)
            users.push_back(user);
    }
    return users;
}

InterfaceMapConstPtr ServiceRecord::Make(const std::shared_ptr<BundlePrivate>& user,
                                         ServiceFactory& factory) {
    const auto core = registrant_.core.lock();
    if (!core)
        return nullptr;
    try {
        auto made = factory.GetService(core->Handle(user), ServiceAccess::Registration(shared_from_this()));
        if (made && ProvidesAll(*made, interfaces_))
            return made;
        ReportFactory(made ? "returned a service that lacks an interface it is registered for"
                           : "returned no service",
                      ServiceException::FACTORY_ERROR);
    } catch (...) {
        ReportFactory("threw an exception", ServiceException::FACTORY_EXCEPTION);
    }
    return nullptr;
}

void ServiceRecord::TakeBack(const std::shared_ptr<BundlePrivate>& user, ServiceFactory& factory,
                             const InterfaceMapConstPtr& made) {
    const auto core = registrant_.core.lock();
    if (!core)
        return;
    try {
        factory.UngetService(core->Handle(user), ServiceAccess::Registration(shared_from_this()), made);
    } catch (...) {
        ReportFactory("threw an exception while taking a service back", ServiceException::FACTORY_EXCEPTION);
    }
}

void ServiceRecord::ReportFactory(const std::string& problem, int exceptionType) const {
    const auto core = registrant_.core.lock();
    if (!core)
        return;
    ServiceException exception("The factory of service " + std::to_string(id_) + " (" + interfaces_.front() +
                                   ") " + problem + ".",
                               static_cast<ServiceException::Type>(exceptionType));
    std::string message = exception.what();
    if (const auto cause = std::current_exception()) {
        try {
            std::rethrow_exception(cause);
        } catch (const std::exception& e) {
            message += std::string(" ") + e.what();
        } catch (...) {
        }
    }
    core->Report(FrameworkEvent::FRAMEWORK_ERROR, registrant_.bundle, message,
                 std::make_exception_ptr(exception));
}

} // namespace cppmicroservices::detail
