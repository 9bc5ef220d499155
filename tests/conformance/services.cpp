#include "Services.h"

#include "Host.h"
#include "Say.h"

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/LDAPFilter.h>
#include <cppmicroservices/ServiceEvent.h>

#include <algorithm>
#include <tuple>

using namespace cppmicroservices;
using conformance::Named;
using conformance::Probe;

namespace conformance {
struct Versioned {};
} // namespace conformance
CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE(conformance::Versioned, "org.example.Versioned (1.0)")

namespace {

struct Thing : Named, Probe {
    std::string Name() const override { return "thing"; }
    std::string Tell() const override { return "told"; }
};

ServiceRegistration<Named> Put(BundleContext& context, const ServiceProperties& properties = {}) {
    return context.RegisterService<Named>(std::make_shared<Thing>(), properties);
}

void Order(BundleContext& context) {
    std::vector<ServiceRegistration<Named>> put;
    for (const int ranking : {-10, 0, 0, 10})
        put.push_back(Put(context, {{Constants::SERVICE_RANKING, ranking}}));
    const auto say = [&] {
        std::string order;
        for (const auto& reference : context.GetServiceReferences<Named>())
            order += std::to_string(
                std::find_if(put.begin(), put.end(),
                             [&](const auto& one) { return one.GetReference() == reference; }) -
                put.begin());
        Say("order ", order, ", best ",
            context.GetServiceReference<Named>() == context.GetServiceReferences<Named>()[0]);
    };
    say();
    put[0].SetProperties({{Constants::SERVICE_RANKING, 11}});
    say();
    Say("comparison: ", put[2].GetReference() < put[1].GetReference(),
        put[1].GetReference() < put[3].GetReference());
    put.back().Unregister();
    put.pop_back();
    say();
    for (auto& one : put)
        one.Unregister();
}

void Described(BundleContext& context) {
    auto registration = context.RegisterService<Named, Probe>(
        std::make_shared<Thing>(), {{"Version", 2}, {Constants::SERVICE_SCOPE, std::string("forged")}});
    const auto reference = registration.GetReference<Probe>();
    Say(reference.GetInterfaceId(), ' ', us_service_interface_iid<conformance::Versioned>());
    for (auto keys = reference.GetPropertyKeys(); auto& key : (std::sort(keys.begin(), keys.end()), keys))
        Say("  ", key, key == Constants::SERVICE_ID ? "" : " = " + reference.GetProperty(key).ToString());
    Say("any case: ", reference.GetProperty("vERSION").ToString(),
        ", none: ", reference.GetProperty("x").Empty());
    Say("classes: ",
        any_cast<std::vector<std::string>>(reference.GetProperty(Constants::OBJECTCLASS)).size());
    Say("by filter: ", context.GetServiceReferences<Named>("(&(VERSION>=2)(objectclass=*Probe))").size(), ' ',
        context.GetServiceReferences("", "(version=2)").size());
    registration.SetProperties({{"other", 1}});
    Say("replaced: ", reference.GetProperty("version").Empty(), ' ',
        LDAPFilter("(OTHER=1)").Match(reference));
    registration.Unregister();
    Say("after the end: ", reference.GetProperty("other").ToString(), ' ', static_cast<bool>(reference));
    Try("service of it", [&] { context.GetService(reference); });
    Try("unregister", [&] { registration.Unregister(); });
    Try("properties", [&] { registration.SetProperties(ServiceProperties{}); });
    Try("reference", [&] { registration.GetReference<Named>(); });
}

void Use(BundleContext& context) {
    auto registration = Put(context);
    const auto reference = registration.GetReference();
    auto held = context.GetService(reference);
    Say("used by ", reference.GetUsingBundles().size(), ", in use ",
        context.GetBundle().GetServicesInUse().size());
    const std::weak_ptr<Named> watch = held;
    registration.Unregister();
    Say("held: ", held->Name());
    held.reset();
    Say("freed: ", watch.expired());
}

void Listeners(BundleContext& context) {
    context.AddFrameworkListener([](const FrameworkEvent& event) {
        Say("  framework: ", event.GetType(), ", an exception: ", event.GetThrowable() != nullptr);
    });
    ServiceRegistration<Probe> follower;
    auto token = context.AddServiceListener(
        [&](const ServiceEvent& event) {
            const auto reference = event.GetServiceReference<Named>();
            Say("  ", event.GetType(), ", obtainable: ", context.GetService(reference) != nullptr);
            if (event.GetType() == ServiceEvent::SERVICE_REGISTERED)
                follower = context.RegisterService<Probe>(std::make_shared<Thing>());
            else if (event.GetType() == ServiceEvent::SERVICE_UNREGISTERING)
                follower.Unregister();
        },
        "(objectclass=*Named)");
    auto registration = Put(context);
    Say("follower: ", context.GetServiceReferences<Probe>().size());
    registration.Unregister();
    Say("follower: ", context.GetServiceReferences<Probe>().size());
    context.RemoveListener(std::move(token));
    auto throwing = context.AddServiceListener([](const ServiceEvent&) { throw 42; });
    Put(context).Unregister();
    context.RemoveListener(std::move(throwing));
    Try("a bad filter", [&] { context.AddServiceListener([](const ServiceEvent&) {}, "(oops"); });
    Try("no object", [&] { context.RegisterService<Named>(std::shared_ptr<Thing>()); });
    Try("no interface",
        [&] { std::ignore = context.RegisterService(std::make_shared<const InterfaceMap>()); });
    Try("keys that differ in case", [&] { Put(context, {{"key", 1}, {"KEY", 2}}); });
    Try("no reference", [&] { context.GetService(ServiceReference<Named>()); });
    Try("no context", [] { BundleContext().GetBundle(); });
    Say("left: ", context.GetServiceReferences<Named>().size());
}

} // namespace

int main() {
    Host host;
    Order(host.context);
    Described(host.context);
    Use(host.context);
    Listeners(host.context);
}
