#include "Services.h"

#include <cppmicroservices/BundleInitialization.h>
#include <cppmicroservices/servicecomponent/detail/ComponentInstanceImpl.hpp>

#include <typeinfo>

using namespace cppmicroservices;
using namespace cppmicroservices::service::component::detail;
using conformance::Probe;

CPPMICROSERVICES_INITIALIZE_BUNDLE

namespace probe {

/// Tells the type of each of its properties; is made anew when its configuration changes.
struct Made : Probe {
    explicit Made(const std::shared_ptr<AnyMap>& properties) {
        const auto type = [&](const char* key) -> std::string {
            const auto found = properties->find(key);
            if (found == properties->end())
                return " none";
            const auto& is = found->second.Type();
            return is == typeid(int)                ? " int " + found->second.ToString()
                   : is == typeid(double)           ? " double"
                   : is == typeid(bool)             ? " bool"
                   : is == typeid(std::string)      ? " text"
                   : is == typeid(std::vector<Any>) ? " list"
                   : is == typeid(AnyMap)           ? " map"
                   : is == typeid(unsigned long)    ? " unsigned long"
                                                    : " other";
        };
        for (const auto* key : {"n", "N", "x", "on", "list", "map", "component.name", "component.id"})
            text += type(key) + ';';
    }
    std::string Tell() const override { return text; }
    std::string text;
};

struct Plain : Probe {
    explicit Plain(const std::shared_ptr<AnyMap>& properties) : n(properties->at("n").ToString()) {}
    std::string Tell() const override { return "n " + n; }
    const std::string n;
};

} // namespace probe

#define COMPONENT(name, class)                                                                               \
    extern "C" US_ABI_EXPORT ComponentInstance* NewInstance_probe_##name() {                                 \
        return new ComponentInstanceImpl<class, std::tuple<Probe>>();                                        \
    }                                                                                                        \
    extern "C" US_ABI_EXPORT void DeleteInstance_probe_##name(ComponentInstance* instance) {                 \
        delete instance;                                                                                     \
    }
COMPONENT(Made, probe::Made)
COMPONENT(Plain, probe::Plain)
COMPONENT(PidAsText, probe::Plain)
COMPONENT(PidWithoutPolicy, probe::Plain)
