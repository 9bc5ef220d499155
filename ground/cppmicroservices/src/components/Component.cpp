#include "Component.h"

#include <cppmicroservices/servicecomponent/ComponentConstants.hpp>

#include <algorithm>
#include <atomic>
#include <set>
#include <utility>

namespace cppmicroservices::detail {

namespace constants = service::component::ComponentConstants;

namespace {

unsigned long NextComponentId() {
    static std::atomic<unsigned long> last = 0;
    return ++last;
}

} // namespace

Component::Component(ComponentDescription description, ComponentEnvironment environment,
                     std::shared_ptr<ConfigurationStore> store)
    : description_(std::make_shared<const ComponentDescription>(std::move(description))),
      environment_(std::move(environment)), store_(std::move(store)), enabled_(description_->enabled) {}

void Component::Start() {
    std::set<std::string> interfaces;
    for (const auto& reference : description_->references)
        interfaces.insert(reference.interfaceId);
    auto context = environment_.context;
    for (const auto& interfaceId : interfaces) {
        // Gone with the context, at the bundle's end.
        context.AddServiceListener(
            [weak = weak_from_this()](const ServiceEvent&) {
                if (const auto self = weak.lock())
                    self->ServicesChanged();
            },
            "(objectclass=" + interfaceId + ')');
    }
    Refresh();
}

void Component::Stop() {
    Configurations ended;
    {
        const foundation::MutexLock lock(mutex_);
        stopped_ = true;
        ended.swap(configurations_);
    }
    for (const auto& [pid, configuration] : ended) {
        configuration->Dispose();
        configuration->Settle();
    }
    for (const auto& [pid, configuration] : ended)
        configuration->WaitUntilIdle();
}

void Component::SetEnabled(bool enabled) {
    {
        const foundation::MutexLock lock(mutex_);
        enabled_ = enabled;
    }
    Refresh();
}

void Component::ConfigurationChanged(const std::string& pid) {
    const auto& pids = description_->pids;
    const auto owner = description_->factory ? pid.substr(0, pid.find('~')) : pid;
    if (description_->policy != ConfigurationPolicy::Ignore &&
        std::find(pids.begin(), pids.end(), owner) != pids.end())
        Refresh(pid);
}

bool Component::IsWaiting() const {
    const auto all = All();
    return !all.empty() && std::none_of(all.begin(), all.end(), [](const auto& configuration) {
        return configuration->IsSatisfied();
    });
}

void Component::ServicesChanged() {
    for (const auto& configuration : All())
        configuration->Settle();
}

std::vector<std::shared_ptr<ComponentConfiguration>> Component::All() const {
    std::vector<std::shared_ptr<ComponentConfiguration>> all;
    const foundation::MutexLock lock(mutex_);
    for (const auto& [pid, configuration] : configurations_)
        all.push_back(configuration);
    return all;
}

void Component::Refresh(const std::string& changed) {
    std::vector<std::shared_ptr<ComponentConfiguration>> touched;
    std::vector<PropertiesPtr> replaced; // to die unlocked
    {
        // Reading what is wanted and noting it is one step, so that of two threads the later one has the last
        // word.
        const foundation::MutexLock lock(mutex_);
        if (stopped_)
            return;
        auto wanted = WantedNow();
        std::erase_if(configurations_, [&](const auto& item) {
            if (wanted.count(item.first) > 0)
                return false;
            item.second->Dispose();
            touched.push_back(item.second);
            return true;
        });
        for (auto& [pid, properties] : wanted) {
            auto& configuration = configurations_[pid];
            if (!configuration)
                configuration = Make(pid);
            const bool updated = !changed.empty() && (!description_->factory || pid == changed);
            replaced.push_back(configuration->ExchangeProperties(
                Complete(std::move(properties), pid, configuration->Properties(), updated)));
            touched.push_back(configuration);
        }
    }
    for (const auto& configuration : touched)
        configuration->Settle();
}

std::shared_ptr<ComponentConfiguration> Component::Make(const std::string& pid) const {
    auto environment = environment_;
    if (!pid.empty())
        environment.onFault = [pid, onFault = environment_.onFault](const std::string& what,
                                                                    std::exception_ptr error) {
            onFault("configuration '" + pid + "': " + what, std::move(error));
        };
    return std::make_shared<ComponentConfiguration>(description_, std::move(environment));
}

PropertiesPtr Component::Complete(AnyMap properties, const std::string& pid, const PropertiesPtr& before,
                                  bool updated) const {
    properties[constants::COMPONENT_NAME] = pid.empty() ? description_->name : description_->name + '_' + pid;
    properties[constants::COMPONENT_ID] =
        before ? before->at(constants::COMPONENT_ID) : Any(NextComponentId());
    if (before && !updated && *before == properties)
        return before; // nobody needs to hear of it
    return std::make_shared<const AnyMap>(std::move(properties));
}

Component::Wanted Component::WantedNow() const {
    Wanted wanted;
    if (!enabled_)
        return wanted;
    if (!description_->factory) {
        if (auto properties = PropertiesFrom(description_->pids))
            wanted.emplace(std::string(), std::move(*properties));
        return wanted;
    }
    if (description_->policy == ConfigurationPolicy::Ignore)
        return wanted;
    for (const auto& factoryPid : description_->pids) {
        for (const auto& pid : store_->Instances(factoryPid)) {
            if (auto properties = PropertiesFrom({pid}))
                wanted.emplace(pid, std::move(*properties));
        }
    }
    return wanted;
}

std::optional<AnyMap> Component::PropertiesFrom(const std::vector<std::string>& pids) const {
    auto properties = description_->properties;
    if (description_->policy == ConfigurationPolicy::Ignore)
        return properties;
    for (const auto& pid : pids) {
        const auto configured = store_->Properties(pid);
        if (!configured && description_->policy == ConfigurationPolicy::Require)
            return std::nullopt;
        if (configured) {
            for (const auto& [key, value] : *configured)
                properties[key] = value;
        }
    }
    return properties;
}

} // namespace cppmicroservices::detail
