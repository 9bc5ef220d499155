#pragma once

#include <cppmicroservices/ServiceInterface.h>
#include <cppmicroservices/servicecomponent/ComponentContext.hpp>

#include <memory>
#include <string>

namespace cppmicroservices::service::component::detail {

/// What the run time sees of a component's object, across the boundary of the bundle's library: a
/// NewInstance_ function makes it, the DeleteInstance_ function of the same component destroys it.
///
/// Life: CreateInstance, BindReferences, Activate, any number of Modified, Deactivate, UnbindReferences. The
/// run time makes one call at a time.
class ComponentInstance {
public:
    virtual ~ComponentInstance() noexcept = default;

    /// Constructs the component's object. What its constructor throws passes through.
    virtual void CreateInstance(const std::shared_ptr<ComponentContext>& context) = 0;
    virtual void BindReferences(const std::shared_ptr<ComponentContext>& context) = 0;
    virtual void UnbindReferences() = 0;
    virtual void Activate() = 0;
    virtual void Deactivate() = 0;
    virtual void Modified() = 0;
    virtual void InvokeUnbindMethod(const std::string& reference, std::shared_ptr<void> service) = 0;
    virtual void InvokeBindMethod(const std::string& reference, std::shared_ptr<void> service) = 0;
    /// The object by each of its interfaces; null if the component provides none.
    virtual InterfaceMapPtr GetInterfaceMap() = 0;
    /// Whether a change of properties can be told to the object.
    virtual bool DoesModifiedMethodExist() = 0;
};

} // namespace cppmicroservices::service::component::detail
