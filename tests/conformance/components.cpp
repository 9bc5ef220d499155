#include "Say.h"
#include "Services.h"

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Constants.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>
#include <cppmicroservices/ServiceEvent.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>
#include <cppmicroservices/logservice/LogService.hpp>

#include <set>
#include <sstream>

using namespace cppmicroservices;
using conformance::Named;
using conformance::Probe;

namespace {

struct Thing : Named {
    explicit Thing(std::string n) : name(std::move(n)) {}
    std::string Name() const override { return name; }
    const std::string name;
};

/// Keeps the causes of errors; how many messages tell of one is up to the framework.
struct Causes : logservice::LogService {
    void Log(logservice::SeverityLevel, const std::string&) override {}
    void Log(logservice::SeverityLevel level, const std::string&, const std::exception_ptr error) override {
        try {
            if (error && level == logservice::SeverityLevel::LOG_ERROR)
                std::rethrow_exception(error);
        } catch (const std::exception& cause) {
            causes.insert(cause.what());
        }
    }
    void Log(const ServiceReferenceBase&, logservice::SeverityLevel, const std::string&) override {}
    void Log(const ServiceReferenceBase&, logservice::SeverityLevel level, const std::string& text,
             const std::exception_ptr error) override {
        Log(level, text, error);
    }
    std::shared_ptr<logservice::Logger> getLogger(const std::string&) const override { return nullptr; }
    std::shared_ptr<logservice::Logger> getLogger(const Bundle&, const std::string&) const override {
        return nullptr;
    }
    std::set<std::string> causes;
};

ServiceReference<Probe> Find(BundleContext& context, const std::string& name) {
    const auto found = context.GetServiceReferences<Probe>("(component.name=probe::" + name + ')');
    return found.empty() ? ServiceReference<Probe>() : found.front();
}

void Tell(BundleContext& context, const std::string& name) {
    const auto reference = Find(context, name);
    const auto service = reference ? context.GetService(reference) : nullptr;
    Say(name, ": ", !reference ? "no service" : !service ? "null" : service->Tell());
}

void References(BundleContext& context) {
    const auto put = [&](const char* name, const char* k, int ranking) {
        Say("register ", name);
        return context.RegisterService<Named>(std::make_shared<Thing>(name),
                                              {{"k", std::string(k)}, {Constants::SERVICE_RANKING, ranking}});
    };
    auto first = put("first a", "a", 1);
    auto better = put("better a", "a", 10);
    Tell(context, "Waits");
    auto b = put("b", "b", 1);
    Tell(context, "Waits");
    b.Unregister();
    Tell(context, "Waits");
    auto again = put("b again", "b", 1);
    Tell(context, "Waits");
    first.Unregister();
    Tell(context, "Waits");
    better.SetProperties({{"k", std::string("x")}});
    Tell(context, "Waits");
}

void Configurations(BundleContext& context) {
    const auto admin = context.GetService(context.GetServiceReference<service::cm::ConfigurationAdmin>());
    const auto configuration = admin->GetConfiguration("probe.configured");
    const auto property = [&] { Say("n=", Find(context, "Configured").GetProperty("n").ToString()); };
    configuration->Update({{"n", 2}}).get();
    property();
    Tell(context, "Configured");
    property();
    configuration->Update({{"n", 3}}).get();
    property();
    Tell(context, "Configured");
    configuration->Update({{"n", 3}}).get();
    Tell(context, "Configured");
    configuration->Remove().get();
    property();
    Tell(context, "Configured");
}

} // namespace

int main(int, char** argv) {
    auto framework = FrameworkFactory().NewFramework();
    framework.Start();
    auto context = framework.GetBundleContext();
    const auto log = std::make_shared<Causes>();
    context.RegisterService<logservice::LogService>(log);
    std::stringstream bundles(ZELKOR_RUNTIME_BUNDLES ";" + std::string(argv[1]));
    for (std::string path; std::getline(bundles, path, ';');)
        if (!path.empty())
            for (auto& bundle : context.InstallBundles(path))
                bundle.Start();
    References(context);
    for (int i = 0; i < 2; ++i)
        Tell(context, "Throws");
    for (const auto& cause : log->causes)
        Say("logged: ", cause);
    Configurations(context);
    framework.Stop();
    framework.WaitForStop(std::chrono::milliseconds::zero());
}
