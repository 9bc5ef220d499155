#include "ComponentInstanceHandle.h"

#include <boost/algorithm/string/replace.hpp>

#include <stdexcept>
#include <utility>

namespace cppmicroservices::detail {

namespace {

template <class Function>
Function* ExportOf(BundlePrivate& bundle, const std::string& prefix, const std::string& component) {
    const auto name = prefix + boost::algorithm::replace_all_copy(component, "::", "_");
    auto* address = bundle.Symbol(name);
    if (!address)
        throw std::runtime_error("The library does not export '" + name + "'; a component's bundle must.");
    return reinterpret_cast<Function*>(address);
}

} // namespace

std::shared_ptr<ComponentInstanceHandle>
ComponentInstanceHandle::Make(BundlePrivate& bundle, const std::string& component,
                              std::shared_ptr<ComponentInstanceContext> context, FaultHandler onFault) {
    auto* newInstance = ExportOf<NewFunction>(bundle, "NewInstance_", component);
    auto* deleteInstance = ExportOf<DeleteFunction>(bundle, "DeleteInstance_", component);
    auto* instance = newInstance();
    if (!instance)
        throw std::runtime_error("Its NewInstance_ function returned null.");
    const std::shared_ptr<ComponentInstanceHandle> handle(
        new ComponentInstanceHandle(instance, deleteInstance, std::move(context), std::move(onFault)));
    instance->CreateInstance(handle->context_);
    handle->Guarded("bound to its references", [&] { instance->BindReferences(handle->context_); });
    instance->Activate();
    handle->active_ = true;
    handle->interfaces_ = instance->GetInterfaceMap();
    return handle;
}

ComponentInstanceHandle::ComponentInstanceHandle(Instance* instance, DeleteFunction* deleteInstance,
                                                 std::shared_ptr<ComponentInstanceContext> context,
                                                 FaultHandler onFault)
    : instance_(instance), deleteInstance_(deleteInstance), context_(std::move(context)),
      onFault_(std::move(onFault)) {}

ComponentInstanceHandle::~ComponentInstanceHandle() {
    Deactivate();
    interfaces_ = nullptr;
    deleteInstance_(instance_);
}

bool ComponentInstanceHandle::TakesModifications() const {
    return instance_->DoesModifiedMethodExist();
}

void ComponentInstanceHandle::Modify(PropertiesPtr properties) {
    context_->SetProperties(std::move(properties));
    instance_->Modified();
}

void ComponentInstanceHandle::Bind(const std::string& reference, std::shared_ptr<void> service) {
    Guarded("bound to a service", [&] { instance_->InvokeBindMethod(reference, std::move(service)); });
}

void ComponentInstanceHandle::Unbind(const std::string& reference, std::shared_ptr<void> service) {
    Guarded("unbound from a service", [&] { instance_->InvokeUnbindMethod(reference, std::move(service)); });
}

void ComponentInstanceHandle::Deactivate() {
    if (!std::exchange(active_, false))
        return;
    Guarded("deactivated", [this] { instance_->Deactivate(); });
    Guarded("unbound from its references", [this] { instance_->UnbindReferences(); });
}

void ComponentInstanceHandle::Guarded(const char* doing, const std::function<void()>& what) noexcept {
    try {
        what();
    } catch (...) {
        onFault_(std::string("an exception was thrown when its object was ") + doing,
                 std::current_exception());
    }
}

} // namespace cppmicroservices::detail
