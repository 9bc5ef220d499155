#pragma once

#include <cppmicroservices/ServiceInterface.h>
#include <cppmicroservices/servicecomponent/ComponentContext.hpp>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

namespace cppmicroservices::service::component::detail {

/// Hands the service of one reference to the component's object and takes it back.
template <class T>
class Binder {
public:
    Binder(std::string name, std::string interfaceId)
        : name_(std::move(name)), interfaceId_(std::move(interfaceId)) {}
    virtual ~Binder() = default;
    Binder(const Binder&) = delete;
    Binder& operator=(const Binder&) = delete;

    virtual void Bind(const std::shared_ptr<void>& service, const std::shared_ptr<T>& object) = 0;
    virtual void UnBind(const std::shared_ptr<void>& service, const std::shared_ptr<T>& object) = 0;
    /// As above, with the service that is bound to the reference.
    virtual void Bind(const std::shared_ptr<ComponentContext>& context, const std::shared_ptr<T>& object) = 0;
    virtual void Unbind(const std::shared_ptr<ComponentContext>& context,
                        const std::shared_ptr<T>& object) = 0;

    std::string GetReferenceName() const { return name_; }
    std::string GetReferenceType() const { return interfaceId_; }

private:
    const std::string name_;
    const std::string interfaceId_;
};

/// For a reference that is only given to the constructor: every call throws std::runtime_error, which the run
/// time reports as a warning. A DynamicBinder that does nothing is silent.
template <class T, class R>
class StaticBinder final : public Binder<T> {
public:
    explicit StaticBinder(const std::string& name) : Binder<T>(name, us_service_interface_iid<R>()) {}

    void Bind(const std::shared_ptr<void>&, const std::shared_ptr<T>&) override { Refuse(); }
    void UnBind(const std::shared_ptr<void>&, const std::shared_ptr<T>&) override { Refuse(); }
    void Bind(const std::shared_ptr<ComponentContext>&, const std::shared_ptr<T>&) override { Refuse(); }
    void Unbind(const std::shared_ptr<ComponentContext>&, const std::shared_ptr<T>&) override { Refuse(); }

private:
    [[noreturn]] void Refuse() const {
        throw std::runtime_error("The reference '" + this->GetReferenceName() + "' cannot be bound later.");
    }
};

/// Calls two functions with the object and the service.
template <class T, class R>
class DynamicBinder final : public Binder<T> {
public:
    using Function = std::function<void(T*, const std::shared_ptr<R>&)>;

    DynamicBinder(const std::string& name, Function bind, Function unbind)
        : Binder<T>(name, us_service_interface_iid<R>()), bind_(std::move(bind)), unbind_(std::move(unbind)) {
    }

    void Bind(const std::shared_ptr<void>& service, const std::shared_ptr<T>& object) override {
        bind_(object.get(), Checked(service));
    }
    void UnBind(const std::shared_ptr<void>& service, const std::shared_ptr<T>& object) override {
        unbind_(object.get(), Checked(service));
    }
    void Bind(const std::shared_ptr<ComponentContext>& context, const std::shared_ptr<T>& object) override {
        bind_(object.get(), context->LocateService<R>(this->GetReferenceName()));
    }
    void Unbind(const std::shared_ptr<ComponentContext>& context, const std::shared_ptr<T>& object) override {
        unbind_(object.get(), context->LocateService<R>(this->GetReferenceName()));
    }

private:
    std::shared_ptr<R> Checked(const std::shared_ptr<void>& service) const {
        if (!service)
            throw std::runtime_error("A null service for the reference '" + this->GetReferenceName() + "'.");
        return std::static_pointer_cast<R>(service);
    }

    const Function bind_;
    const Function unbind_;
};

} // namespace cppmicroservices::service::component::detail
