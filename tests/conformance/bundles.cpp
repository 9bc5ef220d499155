#include "Host.h"
#include "Say.h"
#include "Services.h"

#include <cppmicroservices/BundleEvent.h>
#include <cppmicroservices/BundleVersion.h>
#include <cppmicroservices/Constants.h>

#include <filesystem>
#include <fstream>
#include <unistd.h>

using namespace cppmicroservices;
using conformance::Named;
using conformance::Probe;

namespace {

void Versions() {
    for (const char* text : {"", " 1 ", "1.2", "1.2.3", "1.2.3.a-b_c", "1.2.3.4.5", "1.x", "a", "1.2.3.$"})
        Try(std::string("version '") + text + '\'',
            [&] { Say("  ", BundleVersion::ParseVersion(text).ToString()); });
    const BundleVersion one(1, 2, 3), two(1, 2, 3, "q"), none = BundleVersion::UndefinedVersion();
    Say(one, ' ', two.GetQualifier(), ' ', one.Compare(two) < 0, one == two, two.Compare(two),
        none.IsUndefined());
    Say(BundleVersion(1, 10, 0).Compare(BundleVersion(1, 9, 9)) > 0, ' ', none);
    Try("compare with none", [&] { one.Compare(none); });
    Try("major of none", [&] { none.GetMajor(); });
}

AnyMap Headers(const AnyMap::unordered_any_map& headers) {
    return AnyMap(headers);
}

void Data(Bundle bundle, const Bundle& other) {
    auto file = bundle.GetBundleContext().GetDataFile("kept");
    std::ofstream(file) << "text";
    Say("data files: ", std::filesystem::path(file).filename().string(),
        ", apart: ", file != other.GetBundleContext().GetDataFile("kept"), ", of the framework: ",
        !bundle.GetBundleContext().GetBundle(0).GetBundleContext().GetDataFile("x").empty());
    bundle.Stop();
    bundle.Start();
    std::string text;
    std::ifstream(bundle.GetBundleContext().GetDataFile("kept")) >> text;
    Say("after a restart: ", text);
}

void Injected(BundleContext& context, const std::string& path) {
    const auto install = [&](const AnyMap& headers, const char* name = "neighbour") {
        return context.InstallBundles(path, Headers({{name, headers}})).at(0);
    };
    const auto run = [&](const AnyMap& headers, const char* name = "neighbour") {
        auto bundle = install(headers, name);
        Say(bundle.GetSymbolicName(), ' ', bundle.GetVersion(), ' ', bundle.GetState());
        Try("start", [&] { bundle.Start(); });
        Say(bundle.GetState(), ", services ", context.GetServiceReferences<Named>().size());
        Try("stop", [&] { bundle.Stop(); });
        Say(bundle.GetState(), ", services ", context.GetServiceReferences<Named>().size());
        bundle.Uninstall();
        Say(bundle.GetState(), ' ', context.GetBundles(path).size());
        Try("start of the uninstalled", [&] { bundle.Start(); });
    };
    const auto name = Constants::BUNDLE_SYMBOLICNAME;
    const Any named = std::string("neighbour");
    run(Headers({{name, named}, {"bundle.version", std::string("2")}, {"bundle.activator", true}}));
    run(Headers({{name, named}, {"bundle.activator", false}}));
    run(Headers({{name, named}, {"bundle.activator", std::string("true")}}));
    run(Headers({{name, named}, {"bundle.activator", true}, {"fails", std::string("start")}}));
    run(Headers({{name, named}, {"bundle.activator", true}, {"fails", std::string("stop")}}));
    run(Headers({{name, std::string("stranger")}, {"bundle.activator", true}}), "stranger");
    Try("version of a wrong type", [&] { install(Headers({{name, named}, {"bundle.version", 2}})); });
    Try("version of a wrong form", [&] {
        install(Headers({{name, named}, {"bundle.version", std::string("x")}}));
    });
    Try("a file that is not there", [&] {
        context.InstallBundles("/nowhere/at-all.so", Headers({{"a", AnyMap()}}));
    });
}

} // namespace

int main(int, char** argv) {
    Versions();
    const auto storage = std::filesystem::temp_directory_path() / ("conformance-" + std::to_string(getpid()));
    {
        Host host(FrameworkConfiguration{{Constants::FRAMEWORK_STORAGE, storage.string()}});
        auto& context = host.context;
        context.AddBundleListener([&](const BundleEvent& event) {
            if (event.GetBundle().GetLocation() == argv[1])
                Say("  ", event.GetType(), ' ', event.GetBundle().GetSymbolicName());
        });
        auto bundle = context.InstallBundles(argv[1]).at(0);
        Say(bundle.GetVersion(), ' ', bundle.GetState(), ' ', bundle.GetLocation() == argv[1], ' ',
            context.InstallBundles(argv[1]).at(0) == bundle, ' ',
            static_cast<bool>(bundle.GetBundleContext()));
        bundle.Start();
        const auto probes = context.GetServiceReferences<Probe>();
        Say("components ", probes.size(), ": ", context.GetService(probes.at(0))->Tell());
        Data(bundle, host.framework);
        bundle.Stop();
        Say("stopped: components ", context.GetServiceReferences<Probe>().size());
        bundle.Uninstall();
        Injected(context, argv[1]);
    }
    std::filesystem::remove_all(storage);
}
