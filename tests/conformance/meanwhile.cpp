// What happens while a component's object is being constructed or changed.

#include "Host.h"
#include "Say.h"
#include "Services.h"

#include <cppmicroservices/BundleEvent.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>

#include <functional>
#include <future>

using namespace cppmicroservices;
using conformance::Named;
using conformance::Probe;

namespace {

/// Keeps whoever asks for its name waiting.
struct Gate : Named {
    std::string Name() const override {
        reached.set_value();
        opened.get_future().wait();
        return "gate";
    }
    mutable std::promise<void> reached, opened;
};
struct Thing : Named {
    std::string Name() const override { return "thing"; }
};

ServiceReference<Probe> Find(BundleContext& context, const std::string& name) {
    return context.GetServiceReferences<Probe>("(component.name=probe::" + name + ')').at(0);
}

void StopDuringAConstructor(BundleContext& context, Bundle& bundle) {
    const auto gate = std::make_shared<Gate>();
    context.RegisterService<Named>(gate, {{"k", std::string("a")}});
    context.RegisterService<Named>(std::make_shared<Thing>(), {{"k", std::string("b")}});
    auto getting = std::async(std::launch::async, [&] { return context.GetService(Find(context, "Waits")); });
    gate->reached.get_future().wait();
    std::promise<void> stopping;
    auto token = context.AddBundleListener([&](const BundleEvent& event) {
        if (event.GetBundle() == bundle && event.GetType() == BundleEvent::BUNDLE_STOPPING)
            stopping.set_value();
    });
    auto stopped = std::async(std::launch::async, [&] { bundle.Stop(); });
    stopping.get_future().wait();
    gate->opened.set_value();
    const auto got = getting.get();
    stopped.get();
    Say("stopped meanwhile: ", got ? got->Tell() : "null", ", ", bundle.GetState());
    context.RemoveListener(std::move(token));
}

void GetDuringAChange(BundleContext& context) {
    const auto admin = context.GetService(context.GetServiceReference<service::cm::ConfigurationAdmin>());
    Say(context.GetService(Find(context, "Configured"))->Tell());
    std::promise<void> reached, opened;
    const std::function<void()> gate = [&] {
        reached.set_value();
        opened.get_future().wait();
    };
    auto changed = admin->GetConfiguration("probe.configured")->Update(AnyMap({{"n", 2}, {"gate", gate}}));
    reached.get_future().wait();
    auto getting = std::async(std::launch::async,
                              [&] { return context.GetService(Find(context, "Configured"))->Tell(); });
    opened.set_value();
    changed.get();
    Say("got meanwhile: ", getting.get());
}

} // namespace

int main(int, char** argv) {
    Host host;
    auto bundle = host.context.InstallBundles(argv[1]).at(0);
    bundle.Start();
    GetDuringAChange(host.context);
    StopDuringAConstructor(host.context, bundle);
}
