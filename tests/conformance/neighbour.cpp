// A bundle with an activator and a component of its own, beside others.

#include "Say.h"
#include "Services.h"

#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/BundleInitialization.h>
#include <cppmicroservices/GetBundleContext.h>
#include <cppmicroservices/servicecomponent/detail/ComponentInstanceImpl.hpp>

using namespace cppmicroservices;
using conformance::Named;
using conformance::Probe;

CPPMICROSERVICES_INITIALIZE_BUNDLE

namespace {

struct Thing : Named {
    std::string Name() const override { return "of the activator"; }
};

/// Fails where the manifest's "fails" says.
class Activator : public BundleActivator {
public:
    Activator() { Say("  activator made"); }
    ~Activator() override { Say("  activator destroyed"); }
    void Start(BundleContext context) override {
        Say("  activator starts, the library's context is the same: ", context == GetBundleContext());
        context.RegisterService<Named>(std::make_shared<Thing>());
        FailIf(context, "start");
    }
    void Stop(BundleContext context) override {
        Say("  activator stops, its services: ", context.GetBundle().GetRegisteredServices().size());
        FailIf(context, "stop");
    }

private:
    static void FailIf(const BundleContext& context, const std::string& where) {
        const auto headers = context.GetBundle().GetHeaders();
        const auto fails = headers.find("fails");
        if (fails != headers.end() && any_cast<std::string>(fails->second) == where)
            throw std::logic_error("on purpose");
    }
};

} // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)

namespace neighbour {

struct Component : Probe {
    explicit Component(const std::shared_ptr<Named>& named)
        : text("component with a service " + named->Name()) {}
    std::string Tell() const override { return text; }
    const std::string text;
};

} // namespace neighbour

namespace component = cppmicroservices::service::component::detail;

extern "C" US_ABI_EXPORT component::ComponentInstance* NewInstance_neighbour_Component() {
    constexpr auto nothing = [](neighbour::Component*, const std::shared_ptr<Named>&) {};
    const std::vector<std::shared_ptr<component::Binder<neighbour::Component>>> binders{
        std::make_shared<component::DynamicBinder<neighbour::Component, Named>>("named", nothing, nothing)};
    return new component::ComponentInstanceImpl<neighbour::Component, std::tuple<Probe>,
                                                std::shared_ptr<Named>>({{"named"}}, binders);
}
extern "C" US_ABI_EXPORT void DeleteInstance_neighbour_Component(component::ComponentInstance* instance) {
    delete instance;
}
