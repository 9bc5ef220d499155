#include "Say.h"
#include "Services.h"

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/BundleEvent.h>
#include <cppmicroservices/Constants.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>
#include <cppmicroservices/ServiceEvent.h>

#include <sstream>

using namespace cppmicroservices;
using conformance::Named;

namespace {

struct Thing : Named {
    std::string Name() const override { return "thing"; }
};

/// \return a registration that outlives its framework
ServiceRegistration<Named> Run() {
    Say(ServiceEvent(), ' ', BundleEvent(), ' ', FrameworkEvent());
    auto framework = FrameworkFactory().NewFramework();
    framework.Start();
    auto context = framework.GetBundleContext();
    Say(BundleEvent(BundleEvent::BUNDLE_STARTED, framework));
    Say(FrameworkEvent(FrameworkEvent::FRAMEWORK_ERROR, framework, "text"));
    Say(FrameworkEvent(FrameworkEvent::FRAMEWORK_WARNING, framework, "text",
                       std::make_exception_ptr(std::runtime_error("cause"))));
    context.AddServiceListener([](const ServiceEvent& event) { Say(event.GetType()); }, "(n>=2)");
    auto registration = context.RegisterService<Named>(std::make_shared<Thing>(), {{"n", 1}});
    for (const int n : {2, 2, 3, 1, 1, 5})
        registration.SetProperties({{"n", n}});
    // The service's id is the framework's own.
    const auto reference = registration.GetReference();
    std::ostringstream text;
    text << ServiceEvent(ServiceEvent::SERVICE_REGISTERED, reference);
    const auto id = ' ' + reference.GetProperty(Constants::SERVICE_ID).ToString();
    Say(text.str().erase(text.str().find(id), id.size()));
    registration.Unregister();
    Say("after unregistering: n=", reference.GetProperty("n").ToString());
    Try("getting it", [&] { context.GetService(reference); });
    Try("unregistering it again", [&] { registration.Unregister(); });
    Try("references by a bad filter, of a service that nobody provides",
        [&] { context.GetServiceReferences<int>("(("); });
    auto other = context.RegisterService<Named>(std::make_shared<Thing>());
    auto held = context.RegisterService<Named>(std::make_shared<Thing>());
    framework.Stop();
    framework.WaitForStop(std::chrono::milliseconds::zero());
    Try("unregistering after the framework's stop", [&] { other.Unregister(); });
    Try("using the context after the framework's stop",
        [&] { context.RegisterService<Named>(std::make_shared<Thing>()); });
    return held;
}

} // namespace

int main() {
    auto held = Run();
    Try("unregistering after the framework is gone", [&] { held.Unregister(); });
}
