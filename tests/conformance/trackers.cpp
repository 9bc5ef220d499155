#include "Host.h"
#include "Say.h"
#include "Services.h"

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/LDAPProp.h>
#include <cppmicroservices/ServiceTracker.h>

#include <future>
#include <optional>

using namespace cppmicroservices;
using conformance::Named;
using namespace std::chrono_literals;

namespace {

struct Thing : Named {
    std::string Name() const override { return "thing"; }
};

/// Prints what it is told, by the property n of the service.
struct Printer : ServiceTrackerCustomizer<Named, std::string> {
    std::shared_ptr<std::string> AddingService(const ServiceReference<Named>& reference) override {
        Say("  adding ", Of(reference), decline ? ", declined" : "");
        return decline ? nullptr : std::make_shared<std::string>(Of(reference));
    }
    void ModifiedService(const ServiceReference<Named>& reference,
                         const std::shared_ptr<std::string>& object) override {
        Say("  ", *object, " is now ", Of(reference));
    }
    void RemovedService(const ServiceReference<Named>& reference,
                        const std::shared_ptr<std::string>& object) override {
        Say("  removed ", *object, ", last ", Of(reference));
    }
    static std::string Of(const ServiceReference<Named>& reference) {
        return reference.GetProperty("n").ToStringNoExcept();
    }
    bool decline = false;
};

ServiceProperties N(const std::string& n, int ranking = 0) {
    return {{"n", n}, {Constants::SERVICE_RANKING, ranking}};
}
ServiceRegistration<Named> Put(BundleContext& context, const ServiceProperties& properties) {
    return context.RegisterService<Named>(std::make_shared<Thing>(), properties);
}

void FromOpenToClose(BundleContext& context, Printer& printer) {
    ServiceTracker<Named, std::string> tracker(context, &printer);
    auto early = Put(context, N("a"));
    Say("not open: ", tracker.GetTrackingCount(), ' ', tracker.GetService() == nullptr);
    tracker.Open();
    tracker.Open();
    auto late = Put(context, N("b", 1));
    Say("size ", tracker.Size(), ", best ", *tracker.GetService(), ' ',
        tracker.GetServiceReference() == late.GetReference(), ", of the first ",
        *tracker.GetService(early.GetReference()), ", services ", tracker.GetServices().size());
    ServiceTracker<Named, std::string>::TrackingMap tracked;
    tracker.GetTracked(tracked);
    Say("tracked ", tracked.size(), ", ", *tracked.at(early.GetReference()));
    const int before = tracker.GetTrackingCount();
    early.SetProperties(N("c"));
    Say("counted: ", tracker.GetTrackingCount() > before);
    late.Unregister();
    tracker.Remove(early.GetReference());
    Say("empty: ", tracker.IsEmpty());
    early.SetProperties(N("d")); // offered again
    printer.decline = true;
    Put(context, N("x")).Unregister();
    auto declined = Put(context, N("y"));
    printer.decline = false;
    declined.SetProperties(N("z"));
    declined.Unregister();
    tracker.Close();
    tracker.Close();
    early.SetProperties(N("e"));
    tracker.Open();
    tracker.Close();
    early.Unregister();
}

void Filtered(BundleContext& context, Printer& printer) {
    ServiceTracker<Named, std::string> tracker(context, LDAPFilter(LDAPProp("n") >= "m"), &printer);
    tracker.Open();
    auto registration = Put(context, N("a"));
    for (const auto* name : {"n", "o", "b", "c", "p"})
        registration.SetProperties(N(name));
    tracker.Close();
    registration.Unregister();
}

void Overridden(BundleContext& context) {
    struct Other : Thing {
        std::string Name() const override { return "other"; }
    };
    struct Own : ServiceTracker<Named> {
        using ServiceTracker::ServiceTracker;
        std::shared_ptr<Named> AddingService(const ServiceReference<Named>&) override {
            return std::make_shared<Other>();
        }
    };
    auto registration = Put(context, N("a"));
    Own own(context);
    own.Open();
    Say("override: ", own.GetService()->Name());
    own.Close();
    ServiceTracker<Named> plain(context, registration.GetReference());
    plain.Open();
    registration.Unregister();
    Say("of one reference: ", plain.IsEmpty(), ", waiting: ", plain.WaitForService(1ms) == nullptr);
    auto waiting = std::async(std::launch::async, [&] {
        ServiceTracker<Named> tracker(context);
        tracker.Open();
        return tracker.WaitForService(60s)->Name();
    });
    auto late = Put(context, N("b"));
    Say("waited for: ", waiting.get());
    late.Unregister();
    Try("a negative wait", [&] { plain.WaitForService(-1ms); });
}

} // namespace

int main() {
    Printer printer;
    std::optional<Host> host(std::in_place);
    FromOpenToClose(host->context, printer);
    Filtered(host->context, printer);
    Overridden(host->context);
    // What is open when the framework stops is told at the latest when it closes.
    ServiceTracker<Named, std::string> open(host->context, &printer), gone(host->context, &printer);
    auto registration = Put(host->context, N("last"));
    open.Open();
    host->Stop();
    open.Close();
    host.reset();
    open.Close();
    Say("after the framework: ", open.IsEmpty());
    Try("opening", [&] { gone.Open(); });
}
