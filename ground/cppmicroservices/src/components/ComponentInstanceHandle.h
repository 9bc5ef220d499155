#pragma once

#include "../BundlePrivate.h"
#include "ComponentInstanceContext.h"

#include <cppmicroservices/servicecomponent/detail/ComponentInstance.hpp>

#include <functional>
#include <memory>
#include <string>

namespace cppmicroservices::detail {

/// One constructed object of a component, from NewInstance_ to DeleteInstance_, which it calls at its end.
class ComponentInstanceHandle {
public:
    /// Told what went wrong while the object was let go; there is nobody to throw it to.
    using FaultHandler = std::function<void(const std::string& what, std::exception_ptr error)>;

    /// Loads the bundle's library if need be, makes and activates the object.
    /// \param component the manifest's name, which names the exported functions
    /// \throws std::runtime_error saying what is missing, or whatever the object's constructor throws
    static std::shared_ptr<ComponentInstanceHandle> Make(BundlePrivate& bundle, const std::string& component,
                                                         std::shared_ptr<ComponentInstanceContext> context,
                                                         FaultHandler onFault);

    ~ComponentInstanceHandle();
    ComponentInstanceHandle(const ComponentInstanceHandle&) = delete;
    ComponentInstanceHandle& operator=(const ComponentInstanceHandle&) = delete;

    /// Null if the component provides no service.
    const InterfaceMapConstPtr& Interfaces() const noexcept { return interfaces_; }
    bool TakesModifications() const;
    /// Gives the object its new properties. What its Modified throws passes through.
    void Modify(PropertiesPtr properties);
    /// Gives the object a service that its reference is bound to from now on, or takes one back.
    void Bind(const std::string& reference, std::shared_ptr<void> service);
    void Unbind(const std::string& reference, std::shared_ptr<void> service);
    /// Deactivates the object and unbinds its references; once, before the end.
    void Deactivate();

private:
    using Instance = service::component::detail::ComponentInstance;
    using NewFunction = Instance*();
    using DeleteFunction = void(Instance*);

    ComponentInstanceHandle(Instance* instance, DeleteFunction* deleteInstance,
                            std::shared_ptr<ComponentInstanceContext> context, FaultHandler onFault);
    /// Calls \p what; what that throws is told as having happened when the object was \p doing.
    void Guarded(const char* doing, const std::function<void()>& what) noexcept;

    Instance* const instance_;
    DeleteFunction* const deleteInstance_;
    const std::shared_ptr<ComponentInstanceContext> context_;
    const FaultHandler onFault_;
    InterfaceMapConstPtr interfaces_;
    bool active_ = false;
};

} // namespace cppmicroservices::detail
