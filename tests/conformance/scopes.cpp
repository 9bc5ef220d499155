#include "Host.h"
#include "Say.h"
#include "Services.h"

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/PrototypeServiceFactory.h>
#include <cppmicroservices/ServiceFactory.h>
#include <cppmicroservices/ServiceObjects.h>

using namespace cppmicroservices;
using conformance::Named;

namespace {

struct Thing : Named {
    explicit Thing(int n) : text("thing " + std::to_string(n)) {}
    ~Thing() override { Say("  ", text, " destroyed"); }
    std::string Name() const override { return text; }
    const std::string text;
};

/// Of a scope of its own: bundle, or prototype.
template <class Base>
class Factory : public Base {
public:
    InterfaceMapConstPtr GetService(const Bundle& bundle, const ServiceRegistrationBase&) override {
        Say("  made for ", bundle.GetSymbolicName());
        if (fails == 1)
            throw std::runtime_error("on purpose");
        if (fails == 2)
            return nullptr;
        if (fails == 3)
            return std::make_shared<const InterfaceMap>();
        return MakeInterfaceMap<Named>(std::make_shared<Thing>(++count_));
    }
    void UngetService(const Bundle& bundle, const ServiceRegistrationBase&,
                      const InterfaceMapConstPtr& service) override {
        if (service && !service->empty())
            Say("  taken back from ", bundle.GetSymbolicName(), ": ",
                std::static_pointer_cast<Named>(service->begin()->second)->Name());
    }
    int fails = 0;

private:
    int count_ = 0;
};

std::string NameOf(const std::shared_ptr<Named>& named) {
    return named ? named->Name() : "null";
}

void Use(BundleContext& mine, BundleContext other, const ServiceRegistration<Named>& registration) {
    const auto reference = registration.GetReference();
    Say("scope ", reference.GetProperty(Constants::SERVICE_SCOPE).ToString());
    {
        const auto first = mine.GetService(reference), second = mine.GetService(reference);
        const auto others = other.GetService(other.GetServiceReference<Named>());
        Say(NameOf(first), ", ", NameOf(second), ", ", NameOf(others), "; used by ",
            reference.GetUsingBundles().size());
    }
    Say("used by ", reference.GetUsingBundles().size());
    auto objects = mine.GetServiceObjects(reference);
    Say("objects of the same: ", objects.GetServiceReference() == reference);
    {
        const auto first = objects.GetService();
        auto second = objects.GetService();
        const auto plain = mine.GetService(reference);
        Say(NameOf(first), ", ", NameOf(second), ", ", NameOf(plain));
        second.reset();
        Say("one released");
    }
    auto moved = std::move(objects);
    auto kept = moved.GetService();
    const auto map = mine.GetServiceObjects(ServiceReferenceU(reference)).GetService();
    Say("map of ", map->size());
    auto last = registration;
    last.Unregister();
    Say("unregistered: ", NameOf(moved.GetService()), ", held: ", NameOf(kept));
}

template <class F>
void Run(BundleContext& mine, const BundleContext& other) {
    const auto factory = std::make_shared<F>();
    Use(mine, other, mine.RegisterService<Named>(ToFactory(factory)));
    for (int fails : {1, 2, 3}) {
        factory->fails = fails;
        auto registration = mine.RegisterService<Named>(ToFactory(factory));
        Say(NameOf(mine.GetService(registration.GetReference())));
        if (fails != 3)
            Say(NameOf(mine.GetServiceObjects(registration.GetReference()).GetService()));
        registration.Unregister();
    }
}

} // namespace

int main(int, char** argv) {
    Host host;
    auto& mine = host.context;
    auto bundle = mine.InstallBundles(argv[1]).at(0);
    bundle.Start();
    const auto other = bundle.GetBundleContext();
    Use(mine, other, mine.RegisterService<Named>(std::make_shared<Thing>(0)));
    Run<Factory<ServiceFactory>>(mine, other);
    Run<Factory<PrototypeServiceFactory>>(mine, other);
    Try("objects of no reference", [&] { mine.GetServiceObjects(ServiceReference<Named>()); });
}
