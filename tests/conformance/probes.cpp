#include "Services.h"

#include <cppmicroservices/BundleInitialization.h>
#include <cppmicroservices/servicecomponent/detail/ComponentInstanceImpl.hpp>

#include <stdexcept>

using namespace cppmicroservices;
using namespace cppmicroservices::service::component;
using namespace cppmicroservices::service::component::detail;
using conformance::Named;
using conformance::Probe;

CPPMICROSERVICES_INITIALIZE_BUNDLE

namespace probe {

struct Waits : Probe {
    Waits(const std::shared_ptr<Named>& a, const std::shared_ptr<Named>& b)
        : text(a->Name() + ' ' + b->Name()) {}
    std::string Tell() const override { return text; }
    const std::string text;
};

struct Throws : Probe {
    explicit Throws(const std::shared_ptr<AnyMap>&) { throw std::runtime_error("the disk is full"); }
    std::string Tell() const override { return ""; }
};

struct Configured : Probe {
    explicit Configured(const std::shared_ptr<AnyMap>& properties) : n(properties->at("n").ToString()) {}
    void Modified(const std::shared_ptr<ComponentContext>&, const std::shared_ptr<AnyMap>& properties) {
        n = properties->at("n").ToString();
        ++modified;
    }
    std::string Tell() const override { return n + ", modified " + std::to_string(modified); }
    std::string n;
    int modified = 0;
};

} // namespace probe

extern "C" US_ABI_EXPORT ComponentInstance* NewInstance_probe_Waits() {
    constexpr auto nothing = [](probe::Waits*, const std::shared_ptr<Named>&) {};
    const std::vector<std::shared_ptr<Binder<probe::Waits>>> binders{
        std::make_shared<DynamicBinder<probe::Waits, Named>>("A", nothing, nothing),
        std::make_shared<DynamicBinder<probe::Waits, Named>>("B", nothing, nothing)};
    return new ComponentInstanceImpl<probe::Waits, std::tuple<Probe>, std::shared_ptr<Named>,
                                     std::shared_ptr<Named>>({{"A", "B"}}, binders);
}
extern "C" US_ABI_EXPORT ComponentInstance* NewInstance_probe_Throws() {
    return new ComponentInstanceImpl<probe::Throws, std::tuple<Probe>>();
}
extern "C" US_ABI_EXPORT ComponentInstance* NewInstance_probe_Configured() {
    return new ComponentInstanceImpl<probe::Configured, std::tuple<Probe>>();
}
#define DELETE(name)                                                                                         \
    extern "C" US_ABI_EXPORT void DeleteInstance_probe_##name(ComponentInstance* instance) {                 \
        delete instance;                                                                                     \
    }
DELETE(Waits)
DELETE(Throws)
DELETE(Configured)
