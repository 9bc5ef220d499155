#include "ComponentRuntime.h"

#include "../FrameworkCore.h"
#include "Component.h"
#include "DependencyLoops.h"

#include <cppmicroservices/logservice/LogService.hpp>
#include <foundation/thread_annotations.h>

#include <map>
#include <set>
#include <stdexcept>
#include <utility>
#include <vector>

namespace cppmicroservices::detail {

namespace {

using BundlePtr = std::shared_ptr<BundlePrivate>;
using ComponentPtr = std::shared_ptr<Component>;

/// The components of all started bundles. Shared with the thread of ConfigurationAdmin.
class ComponentTable {
public:
    void Add(const BundlePtr& bundle, std::vector<ComponentPtr> components) EXCLUDES(mutex_) {
        const foundation::MutexLock lock(mutex_);
        table_[bundle] = std::move(components);
    }
    std::vector<ComponentPtr> Of(const BundlePtr& bundle) const EXCLUDES(mutex_) {
        const foundation::MutexLock lock(mutex_);
        const auto found = table_.find(bundle);
        return found == table_.end() ? std::vector<ComponentPtr>() : found->second;
    }
    std::vector<ComponentPtr> Remove(const BundlePtr& bundle) EXCLUDES(mutex_) {
        auto components = Of(bundle);
        const foundation::MutexLock lock(mutex_);
        table_.erase(bundle);
        return components;
    }
    std::vector<ComponentPtr> All() const EXCLUDES(mutex_) {
        std::vector<ComponentPtr> all;
        const foundation::MutexLock lock(mutex_);
        for (const auto& [bundle, components] : table_)
            all.insert(all.end(), components.begin(), components.end());
        return all;
    }
    /// \return those that have not been told before
    std::vector<std::string> New(const std::vector<std::string>& warnings) EXCLUDES(mutex_) {
        std::vector<std::string> fresh;
        const foundation::MutexLock lock(mutex_);
        for (const auto& warning : warnings) {
            if (told_.insert(warning).second)
                fresh.push_back(warning);
        }
        return fresh;
    }

private:
    mutable foundation::Mutex mutex_; ///< a leaf
    std::map<BundlePtr, std::vector<ComponentPtr>> table_ GUARDED_BY(mutex_);
    std::set<std::string> told_ GUARDED_BY(mutex_);
};

class ComponentRuntime final : public FrameworkExtension {
public:
    void FrameworkStarting(const BundleContext& context) override {
        components_ = std::make_shared<ComponentTable>();
        store_ =
            std::make_shared<ConfigurationStore>([weak = std::weak_ptr(components_)](const std::string& pid) {
                const auto components = weak.lock();
                if (!components)
                    return;
                for (const auto& component : components->All())
                    component->ConfigurationChanged(pid);
            });
        BundleContext(context).RegisterService<service::cm::ConfigurationAdmin>(store_);
    }

    void BundleStarted(const BundlePtr& bundle) override {
        std::vector<ComponentPtr> components;
        const auto report = Reporter(bundle);
        for (auto& description : ReadComponents(bundle->Headers(), [&](const std::string& fault) {
                 report(FrameworkEvent::FRAMEWORK_ERROR, fault, nullptr);
             }))
            components.push_back(Make(bundle, std::move(description), report));
        if (components.empty())
            return;
        components_->Add(bundle, components);
        for (const auto& component : components)
            component->Start();
        const auto core = bundle->Core();
        const auto loops = FindDependencyLoops(components_->All(), MakeBundleContext(bundle->Context()));
        for (const auto& loop : components_->New(loops))
            core->Report(FrameworkEvent::FRAMEWORK_WARNING, bundle, loop);
    }

    void BundleStopping(const BundlePtr& bundle) override {
        const auto components = components_->Remove(bundle);
        // The last one first, as others of the bundle may use what came before them.
        for (auto component = components.rbegin(); component != components.rend(); ++component)
            (*component)->Stop();
    }

    void FrameworkStopping() override {
        if (store_)
            store_->Stop();
        store_ = nullptr;
    }

private:
    using Report = std::function<void(FrameworkEvent::Type, const std::string&, std::exception_ptr)>;

    /// Errors go to the log service as well, if somebody registered one.
    static void Log(FrameworkCore& core, const std::string& what, std::exception_ptr error) noexcept {
        try {
            const auto context = MakeBundleContext(core.FindBundle(0)->Context());
            const auto log = LogOf(context);
            if (log)
                log->Log(logservice::SeverityLevel::LOG_ERROR, what, std::move(error));
        } catch (...) {
            // It has been reported as an event; the framework stops, or the log itself fails.
        }
    }

    static std::shared_ptr<logservice::LogService> LogOf(BundleContext context) {
        const auto reference = context ? context.GetServiceReference<logservice::LogService>()
                                       : ServiceReference<logservice::LogService>();
        return reference ? context.GetService(reference) : nullptr;
    }

    /// Reports faults of that bundle; does nothing when the framework is gone.
    static Report Reporter(const BundlePtr& bundle) {
        return [weak = std::weak_ptr(bundle)](FrameworkEvent::Type type, const std::string& what,
                                              std::exception_ptr error) {
            const auto source = weak.lock();
            const auto core = source ? source->Core() : nullptr;
            if (!core)
                return;
            const auto message = "Bundle '" + source->Id().symbolicName + "', " + what + '.';
            core->Report(type, source, message, error);
            if (type == FrameworkEvent::FRAMEWORK_ERROR)
                Log(*core, message, std::move(error));
        };
    }

    ComponentPtr Make(const BundlePtr& bundle, ComponentDescription description, const Report& report) {
        const auto prefix = "component '" + description.name + "': ";
        ComponentEnvironment environment;
        environment.bundle = bundle;
        environment.context = MakeBundleContext(bundle->Context());
        environment.enable = [components = std::weak_ptr(components_),
                              of = std::weak_ptr(bundle)](const std::string& name, bool enabled) {
            const auto table = components.lock();
            const auto owner = of.lock();
            if (!table || !owner)
                return;
            for (const auto& component : table->Of(owner)) {
                if (name.empty() || component->Description().name == name)
                    component->SetEnabled(enabled);
            }
        };
        environment.onFault = [report, prefix](const std::string& what, std::exception_ptr error) {
            report(FrameworkEvent::FRAMEWORK_ERROR, prefix + what, std::move(error));
        };
        return std::make_shared<Component>(std::move(description), std::move(environment), store_);
    }

    // Changed at the framework's start and stop only, when no bundle starts or stops.
    std::shared_ptr<ComponentTable> components_;
    std::shared_ptr<ConfigurationStore> store_;
};

} // namespace

std::unique_ptr<FrameworkExtension> MakeComponentRuntime() {
    return std::make_unique<ComponentRuntime>();
}

} // namespace cppmicroservices::detail
