#include "Say.h"
#include "Services.h"

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>

#include <algorithm>
#include <sstream>
#include <vector>

using namespace cppmicroservices;
using conformance::Probe;

namespace {

/// All services of the bundle, without the ids that a framework counts.
void TellAll(BundleContext& context, const std::string& when) {
    Say(when);
    std::vector<std::string> lines;
    for (const auto& reference : context.GetServiceReferences<Probe>()) {
        const auto service = context.GetService(reference);
        lines.push_back("  " + reference.GetProperty("component.name").ToString() + ", scope " +
                        reference.GetProperty("service.scope").ToString() + ", n " +
                        reference.GetProperty("N").ToString() + ": " + (service ? service->Tell() : "null"));
    }
    std::sort(lines.begin(), lines.end());
    for (const auto& line : lines)
        Say(line);
}

} // namespace

int main(int, char** argv) {
    auto framework = FrameworkFactory().NewFramework();
    framework.Start();
    auto context = framework.GetBundleContext();
    std::stringstream bundles(ZELKOR_RUNTIME_BUNDLES);
    for (std::string path; std::getline(bundles, path, ';');)
        if (!path.empty())
            for (auto& bundle : context.InstallBundles(path))
                bundle.Start();
    const auto admin = context.GetService(context.GetServiceReference<service::cm::ConfigurationAdmin>());
    admin->GetConfiguration("probe.made~early")->Update({{"n", 2}}).get();
    auto bundle = context.InstallBundles(argv[1]).at(0);
    bundle.Start();
    TellAll(context, "a configuration that was there first");
    const auto late = admin->GetConfiguration("probe.made~late");
    TellAll(context, "one more, not updated");
    late->Update(AnyMap(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS)).get();
    TellAll(context, "updated with nothing");
    late->Update({{"n", 3}}).get();
    TellAll(context, "updated, no Modified");
    const auto named = admin->GetFactoryConfiguration("probe.made", "named");
    Say("pid ", named->GetPid(), ", factory pid ", named->GetFactoryPid());
    named->Update({{"n", 4}}).get();
    TellAll(context, "by its factory's pid");
    const auto unnamed = admin->CreateFactoryConfiguration("probe.made");
    unnamed->Update({{"n", 9}}).get();
    const auto made =
        context.GetServiceReferences<Probe>("(component.name=probe::Made_" + unnamed->GetPid() + ')');
    Say("unnamed: ", made.size(), " service, ", admin->ListConfigurations("(n=9)").size(), " configuration");
    unnamed->Remove().get();
    late->Remove().get();
    named->Remove().get();
    TellAll(context, "both removed");
    admin->GetConfiguration("probe.made")->Update({{"n", 5}}).get();
    admin->GetConfiguration("probe.plain~x")->Update({{"n", 6}}).get();
    TellAll(context, "a factory's plain pid, a plain one's instance");
    admin->GetConfiguration("probe.nopolicy")->Update({{"n", 7}}).get();
    const auto plain = admin->GetConfiguration("probe.plain");
    plain->Update({{"n", 8}}).get();
    TellAll(context, "the plain pid");
    plain->Remove().get();
    TellAll(context, "removed");
    bundle.Stop();
    TellAll(context, "stopped");
    bundle.Start();
    TellAll(context, "started again");
    framework.Stop();
    framework.WaitForStop(std::chrono::milliseconds::zero());
}
