#include "ComponentDescription.h"

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/LDAPFilter.h>

#include <boost/algorithm/string/join.hpp>

#include <algorithm>
#include <cstddef>
#include <set>
#include <stdexcept>
#include <utility>

namespace cppmicroservices::detail {

namespace {

/// A JSON object of the manifest whose members are read by type; a member of another type is a fault.
class Object {
public:
    explicit Object(const AnyMap& map) : map_(map) {}

    bool Has(const std::string& key) const { return map_.count(key) > 0; }

    /// The member, or null if there is none. \p expected says in words what it must be.
    template <class T>
    const T* Find(const std::string& key, const char* expected) const {
        const auto found = map_.find(key);
        if (found == map_.end())
            return nullptr;
        const auto* value = any_cast<T>(&found->second);
        if (!value)
            throw std::runtime_error("'" + key + "' must be " + expected);
        return value;
    }
    std::string Text(const std::string& key, const std::string& otherwise = {}) const {
        const auto* text = Find<std::string>(key, "a text");
        return text ? *text : otherwise;
    }
    std::string RequiredText(const std::string& key) const {
        auto text = Text(key);
        if (text.empty())
            throw std::runtime_error("'" + key + "' is missing or empty; it must be a text");
        return text;
    }
    bool Flag(const std::string& key, bool otherwise) const {
        const auto* flag = Find<bool>(key, "true or false");
        return flag ? *flag : otherwise;
    }
    std::vector<std::string> Texts(const std::string& key) const {
        std::vector<std::string> texts;
        if (const auto* items = Find<std::vector<Any>>(key, "an array of texts")) {
            for (const auto& item : *items) {
                const auto* text = any_cast<std::string>(&item);
                if (!text || text->empty())
                    throw std::runtime_error("'" + key + "' must be an array of texts");
                texts.push_back(*text);
            }
        }
        return texts;
    }
    std::vector<Any> Items(const std::string& key) const {
        const auto* items = Find<std::vector<Any>>(key, "an array of objects");
        return items ? *items : std::vector<Any>();
    }
    /// The place among \p values, of which the first is meant when the key is left out.
    std::size_t OneOf(const std::string& key, const std::vector<std::string>& values) const {
        const auto text = Text(key, values.front());
        const auto found = std::ranges::find(values, text);
        if (found == values.end())
            throw std::runtime_error("'" + key + "' is '" + text + "'; it must be one of '" +
                                     boost::algorithm::join(values, "', '") + "'");
        return static_cast<std::size_t>(found - values.begin());
    }

private:
    const AnyMap& map_;
};

const AnyMap& AsObject(const Any& item, const std::string& what) {
    const auto* object = any_cast<AnyMap>(&item);
    if (!object)
        throw std::runtime_error(what + " must be an object");
    return *object;
}

ConfigurationPolicy ReadPolicy(const Object& component) {
    const auto policy = static_cast<ConfigurationPolicy>(
        component.OneOf("configuration-policy", {"ignore", "optional", "require"}));
    // One without the other says nothing.
    return component.Has("configuration-pid") ? policy : ConfigurationPolicy::Ignore;
}

ReferenceDescription ReadReference(const Any& item) {
    const Object reference(AsObject(item, "each of 'references'"));
    const auto cardinality = reference.OneOf("cardinality", {"1..1", "1..n", "0..1", "0..n"});
    ReferenceDescription description{.name = reference.RequiredText("name"),
                                     .interfaceId = reference.RequiredText("interface"),
                                     .target = reference.Text("target"),
                                     .optional = cardinality >= 2,
                                     .multiple = cardinality % 2 == 1,
                                     .dynamic = reference.OneOf("policy", {"static", "dynamic"}) == 1,
                                     .greedy =
                                         reference.OneOf("policy-option", {"reluctant", "greedy"}) == 1};
    try {
        if (!description.target.empty())
            LDAPFilter{description.target};
    } catch (const std::exception& error) {
        throw std::runtime_error("'target' of the reference '" + description.name + "': " + error.what());
    }
    return description;
}

void ReadService(const Object& component, ComponentDescription& description) {
    const auto* map = component.Find<AnyMap>("service", "an object");
    if (!map)
        return;
    const Object service(*map);
    description.scope = static_cast<ServiceScope>(service.OneOf(
        "scope", {Constants::SCOPE_SINGLETON, Constants::SCOPE_BUNDLE, Constants::SCOPE_PROTOTYPE}));
    description.interfaces = service.Texts("interfaces");
    if (description.interfaces.empty())
        throw std::runtime_error("'interfaces' of 'service' is missing; it must be an array of texts");
}

ComponentDescription ReadComponent(const AnyMap& map) {
    const Object component(map);
    ComponentDescription description;
    description.name = component.Text("name", component.Text("implementation-class"));
    component.RequiredText("implementation-class");
    description.enabled = component.Flag("enabled", true);
    component.Flag("inject-references", false); // the factory function alone decides
    description.factory = component.Has("factory") && !component.RequiredText("factory").empty();
    description.pids = component.Texts("configuration-pid");
    description.policy = ReadPolicy(component);
    ReadService(component, description);
    description.immediate = component.Flag("immediate", description.interfaces.empty());
    std::set<std::string> names;
    for (const auto& item : component.Items("references")) {
        description.references.push_back(ReadReference(item));
        if (!names.insert(description.references.back().name).second)
            throw std::runtime_error("two 'references' have the name '" + description.references.back().name +
                                     "'");
    }
    if (const auto* properties = component.Find<AnyMap>("properties", "an object"))
        description.properties = *properties;
    const auto ranking = description.properties.find(Constants::SERVICE_RANKING);
    if (ranking != description.properties.end() && !any_cast<int>(&ranking->second))
        throw std::runtime_error("the property 'service.ranking' must be an integer");
    return description;
}

std::vector<Any> ComponentItems(const AnyMap& headers) {
    const auto* map = Object(headers).Find<AnyMap>("scr", "an object");
    if (!map)
        return {};
    const Object scr(*map);
    const auto* version = scr.Find<int>("version", "the integer 1");
    if (!version || *version != 1)
        throw std::runtime_error("'version' of 'scr' must be the integer 1");
    return scr.Items("components");
}

std::string NameOf(const Any& item) {
    if (const auto* map = any_cast<AnyMap>(&item)) {
        const auto found = map->find("name");
        if (const auto* name = found == map->end() ? nullptr : any_cast<std::string>(&found->second))
            return *name;
    }
    return "(without a name)";
}

} // namespace

std::vector<ComponentDescription>
ReadComponents(const AnyMap& headers, const std::function<void(const std::string& fault)>& onFault) {
    std::vector<ComponentDescription> components;
    std::set<std::string> names;
    try {
        for (const auto& item : ComponentItems(headers)) {
            try {
                auto component = ReadComponent(AsObject(item, "each of 'components'"));
                if (!names.insert(component.name).second)
                    throw std::runtime_error("there is another one of that name");
                components.push_back(std::move(component));
            } catch (const std::exception& error) {
                onFault("component '" + NameOf(item) + "': " + error.what() + "; the component is left out");
            }
        }
    } catch (const std::exception& error) {
        onFault(std::string("its components are left out: ") + error.what());
    }
    return components;
}

} // namespace cppmicroservices::detail
