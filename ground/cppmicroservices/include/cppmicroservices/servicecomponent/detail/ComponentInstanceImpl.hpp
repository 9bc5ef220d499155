#pragma once

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/servicecomponent/detail/Binders.hpp>
#include <cppmicroservices/servicecomponent/detail/ComponentInstance.hpp>

#include <array>
#include <concepts>
#include <cstddef>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace cppmicroservices::service::component::detail {

template <class T>
concept Activatable = requires(T& object, const std::shared_ptr<ComponentContext>& context) {
    { object.Activate(context) } -> std::same_as<void>;
};

template <class T>
concept Deactivatable = requires(T& object, const std::shared_ptr<ComponentContext>& context) {
    { object.Deactivate(context) } -> std::same_as<void>;
};

/// In exactly this form; any other goes unnoticed, and a change of properties then makes a new object.
template <class T>
concept Modifiable = requires(T& object, const std::shared_ptr<ComponentContext>& context,
                              const std::shared_ptr<AnyMap>& properties) {
    { object.Modified(context, properties) } -> std::same_as<void>;
};

/// The instance of a component that T implements.
///
/// T is constructed from its properties and the injected references, `(const std::shared_ptr<AnyMap>&,
/// const Refs&...)`, or from the references alone; without references from the properties or from nothing. A
/// T that could be constructed either way from references is refused, as nobody could tell which is meant.
///
/// \tparam Interfaces std::tuple of the service interfaces
/// \tparam Refs std::shared_ptr of the interface of each injected reference
template <class T, class Interfaces = std::tuple<>, class... Refs>
class ComponentInstanceImpl final : public ComponentInstance {
public:
    using Binders = std::vector<std::shared_ptr<Binder<T>>>;

    /// \param names of the injected references, in the order of Refs
    /// \param binders one for each reference that is bound
    ComponentInstanceImpl(const std::array<std::string, sizeof...(Refs)>& names = {},
                          const Binders& binders = {})
        : names_(names), binders_(binders) {}

    void CreateInstance(const std::shared_ptr<ComponentContext>& context) override {
        context_ = context;
        object_ = Create(std::index_sequence_for<Refs...>());
    }
    void BindReferences(const std::shared_ptr<ComponentContext>& context) override {
        for (const auto& binder : binders_)
            binder->Bind(context, object_);
    }
    void UnbindReferences() override {
        for (const auto& binder : binders_)
            binder->Unbind(context_, object_);
    }
    void Activate() override {
        if constexpr (Activatable<T>)
            object_->Activate(context_);
    }
    void Deactivate() override {
        if constexpr (Deactivatable<T>)
            object_->Deactivate(context_);
    }
    void Modified() override {
        if constexpr (Modifiable<T>) {
            if (object_)
                object_->Modified(context_, Properties());
        }
    }
    bool DoesModifiedMethodExist() override { return Modifiable<T>; }
    void InvokeBindMethod(const std::string& reference, std::shared_ptr<void> service) override {
        BinderOf(reference).Bind(service, object_);
    }
    void InvokeUnbindMethod(const std::string& reference, std::shared_ptr<void> service) override {
        BinderOf(reference).UnBind(service, object_);
    }
    InterfaceMapPtr GetInterfaceMap() override { return Map(static_cast<Interfaces*>(nullptr)); }

private:
    using PropertiesPtr = std::shared_ptr<AnyMap>;

    PropertiesPtr Properties() const { return std::make_shared<AnyMap>(context_->GetProperties()); }

    template <std::size_t... Is>
    std::shared_ptr<T> Create(std::index_sequence<Is...>) const {
        constexpr bool fromProperties = std::constructible_from<T, const PropertiesPtr&, const Refs&...>;
        constexpr bool withoutProperties = std::constructible_from<T, const Refs&...>;
        static_assert(fromProperties || withoutProperties,
                      "The component's class needs a constructor that takes its properties and the injected "
                      "references; it must not be abstract.");
        static_assert(sizeof...(Refs) == 0 || !(fromProperties && withoutProperties),
                      "The component's class has two constructors for the injected references.");
        if constexpr (fromProperties)
            return std::make_shared<T>(
                Properties(), context_->template LocateService<typename Refs::element_type>(names_[Is])...);
        else
            return std::make_shared<T>(
                context_->template LocateService<typename Refs::element_type>(names_[Is])...);
    }

    template <class... I>
    InterfaceMapPtr Map(std::tuple<I...>*) const {
        if constexpr (sizeof...(I) == 0)
            return nullptr;
        else
            return MakeInterfaceMap<I...>(object_);
    }

    Binder<T>& BinderOf(const std::string& reference) const {
        for (const auto& binder : binders_) {
            if (binder->GetReferenceName() == reference)
                return *binder;
        }
        throw std::out_of_range("There is no binder for the reference '" + reference + "'.");
    }

    const std::array<std::string, sizeof...(Refs)> names_;
    const Binders binders_;
    std::shared_ptr<ComponentContext> context_;
    std::shared_ptr<T> object_;
};

} // namespace cppmicroservices::service::component::detail
