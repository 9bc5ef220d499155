#include "DependencyLoops.h"

#include <cppmicroservices/LDAPFilter.h>

#include <algorithm>
#include <set>
#include <utility>

namespace cppmicroservices::detail {

namespace {

using ComponentPtr = std::shared_ptr<Component>;

bool Provides(const ComponentDescription& component, const ReferenceDescription& reference) {
    const auto& interfaces = component.interfaces;
    return std::find(interfaces.begin(), interfaces.end(), reference.interfaceId) != interfaces.end() &&
           (reference.target.empty() || LDAPFilter(reference.target).Match(component.properties));
}

/// Walks from component to component along references that nothing satisfies.
class Search {
public:
    Search(std::vector<ComponentPtr> waiting, BundleContext context)
        : waiting_(std::move(waiting)), context_(std::move(context)) {}

    std::vector<std::string> Run() {
        for (const auto& component : waiting_)
            Visit(component);
        return loops_;
    }

private:
    void Visit(const ComponentPtr& component) {
        const auto again = std::find(path_.begin(), path_.end(), component);
        if (again != path_.end()) {
            loops_.push_back(Text({again, path_.end()}));
            return;
        }
        if (!visited_.insert(component).second)
            return;
        path_.push_back(component);
        for (const auto& reference : component->Description().references) {
            if (reference.optional ||
                !context_.GetServiceReferences(reference.interfaceId, reference.target).empty())
                continue;
            for (const auto& other : waiting_) {
                if (Provides(other->Description(), reference))
                    Visit(other);
            }
        }
        path_.pop_back();
    }

    static std::string Text(const std::vector<ComponentPtr>& loop) {
        std::string text = "These components wait for each other's services, so none can become available:";
        const char* before = " ";
        for (const auto& component : loop) {
            text += before + ("'" + component->Description().name + "' of the bundle '") +
                    component->Bundle()->Id().symbolicName + "'";
            before = ", ";
        }
        return text + ". Take one of the references out.";
    }

    const std::vector<ComponentPtr> waiting_;
    BundleContext context_;
    std::vector<ComponentPtr> path_;
    std::set<ComponentPtr> visited_;
    std::vector<std::string> loops_;
};

} // namespace

std::vector<std::string> FindDependencyLoops(const std::vector<ComponentPtr>& components,
                                             const BundleContext& context) {
    std::vector<ComponentPtr> waiting;
    std::copy_if(components.begin(), components.end(), std::back_inserter(waiting),
                 [](const auto& component) { return component->IsWaiting(); });
    return Search(std::move(waiting), context).Run();
}

} // namespace cppmicroservices::detail
