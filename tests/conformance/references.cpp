#include "Host.h"
#include "Say.h"
#include "Services.h"

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/ServiceObjects.h>

using namespace cppmicroservices;
using conformance::Named;
using conformance::Probe;

namespace {

struct Thing : Named {
    explicit Thing(std::string n) : name(std::move(n)) {}
    std::string Name() const override { return name; }
    const std::string name;
};

ServiceRegistration<Named> Put(BundleContext& context, const std::string& name, int ranking) {
    Say("+ ", name);
    return context.RegisterService<Named>(std::make_shared<Thing>(name),
                                          {{Constants::SERVICE_RANKING, ranking}});
}
void Take(ServiceRegistration<Named>& registration) {
    Say("- ", registration.GetReference().GetProperty(Constants::SERVICE_RANKING).ToString());
    registration.Unregister();
}
void Tell(BundleContext& context) {
    const auto found = context.GetServiceReference<Probe>();
    const auto probe = found ? context.GetService(found) : nullptr;
    Say(probe ? probe->Tell() : "unsatisfied");
}

Bundle Start(BundleContext& context, const std::string& path, AnyMap::unordered_any_map reference,
             AnyMap::unordered_any_map service = {}) {
    reference.insert({{"name", std::string("named")}, {"interface", std::string("conformance::Named")}});
    service.insert({"interfaces", std::vector<Any>{std::string("conformance::Probe")}});
    const AnyMap component({{"name", std::string("probe::Bound")},
                            {"implementation-class", std::string("probe::Bound")},
                            {"service", AnyMap(service)},
                            {"references", std::vector<Any>{AnyMap(reference)}}});
    const AnyMap scr({{"version", 1}, {"components", std::vector<Any>{component}}});
    const AnyMap headers({{Constants::BUNDLE_SYMBOLICNAME, std::string("probes")}, {"scr", scr}});
    auto bundle = context.InstallBundles(path, AnyMap({{"probes", headers}})).at(0);
    bundle.Start();
    return bundle;
}

void Follow(BundleContext& context, Bundle bundle) {
    Tell(context);
    auto worse = Put(context, "a", 1);
    Tell(context);
    auto better = Put(context, "b", 2);
    Tell(context);
    auto other = Put(context, "c", 1);
    Tell(context);
    Take(worse);
    Tell(context);
    Take(better);
    Tell(context);
    Take(other);
    Tell(context);
    Say("stop");
    bundle.Stop();
    bundle.Uninstall();
}

void Scopes(BundleContext& context, Bundle bundle) {
    const auto reference = context.GetServiceReference<Probe>();
    Say("scope ", reference.GetProperty(Constants::SERVICE_SCOPE).ToString());
    auto other = bundle.GetBundleContext();
    {
        const auto first = context.GetService(reference), second = context.GetService(reference);
        const auto others = other.GetService(other.GetServiceReference<Probe>());
        Say(first->Tell(), ", ", second->Tell(), ", ", others->Tell());
        const auto objects = context.GetServiceObjects(reference);
        const auto third = objects.GetService(), fourth = objects.GetService();
        Say(third->Tell(), ", ", fourth->Tell());
        auto put = Put(context, "a", 1);
        put.Unregister();
    }
    const auto held = context.GetService(reference);
    Say("stop");
    bundle.Stop();
    Say("held: ", held->Tell());
    bundle.Uninstall();
}

} // namespace

int main(int, char** argv) {
    Host host;
    for (const std::string policy : {"static", "dynamic"})
        for (const std::string option : {"reluctant", "greedy"})
            for (const std::string cardinality : {"0..1", "1..1", "0..n", "1..n"}) {
                Say("== ", policy, ' ', option, ' ', cardinality);
                Follow(host.context,
                       Start(host.context, argv[1],
                             {{"policy", policy}, {"policy-option", option}, {"cardinality", cardinality}}));
            }
    for (const std::string scope : {"singleton", "bundle", "prototype", "none"}) {
        Say("== ", scope);
        auto bundle = Start(host.context, argv[1],
                            {{"cardinality", std::string("0..1")}, {"policy", std::string("dynamic")}},
                            {{"scope", scope}});
        host.context.GetServiceReference<Probe>() ? Scopes(host.context, bundle) : bundle.Uninstall();
    }
    for (const std::string key : {"policy", "policy-option", "cardinality"}) {
        Say("== ", key);
        Follow(host.context, Start(host.context, argv[1], {{key, std::string("none")}}));
    }
}
