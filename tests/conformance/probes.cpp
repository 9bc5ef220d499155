#include "Say.h"
#include "Services.h"

#include <cppmicroservices/BundleInitialization.h>
#include <cppmicroservices/servicecomponent/detail/ComponentInstanceImpl.hpp>

#include <functional>
#include <set>
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
        if (const auto gate = properties->find("gate"); gate != properties->end())
            any_cast<std::function<void()>>(gate->second)();
        n = properties->at("n").ToString();
        ++modified;
    }
    std::string Tell() const override { return n + ", modified " + std::to_string(modified); }
    std::string n;
    int modified = 0;
};

/// Prints what is bound to it and taken back.
struct Bound : Probe {
    Bound() : number(++count) { Say("  object ", number, " made"); }
    ~Bound() override { Say("  object ", number, " destroyed"); }
    void Activate(const std::shared_ptr<ComponentContext>& context) {
        std::string located;
        for (const auto& one : context->LocateServices<Named>("named"))
            located += one->Name();
        const auto best = context->LocateService<Named>("named");
        Say("  activated, located '", located, "', first ", best ? best->Name() : "none", ", for ",
            context->GetUsingBundle() ? context->GetUsingBundle().GetSymbolicName() : "nobody");
    }
    void Deactivate(const std::shared_ptr<ComponentContext>&) { Say("  deactivated"); }
    void Bind(const std::shared_ptr<Named>& one) {
        if (!one || names.insert(one->Name()).second)
            Say("  bind ", one ? one->Name() : "nothing");
    }
    void Unbind(const std::shared_ptr<Named>& one) {
        Say("  unbind ", one ? one->Name() : "nothing");
        if (one)
            names.erase(one->Name());
    }
    std::string Tell() const override {
        std::string text = "object " + std::to_string(number) + " has";
        for (const auto& name : names)
            text += ' ' + name;
        return text;
    }
    static inline int count = 0;
    const int number;
    std::set<std::string> names;
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
extern "C" US_ABI_EXPORT ComponentInstance* NewInstance_probe_Bound() {
    const auto binder = std::make_shared<DynamicBinder<probe::Bound, Named>>("named", &probe::Bound::Bind,
                                                                             &probe::Bound::Unbind);
    return new ComponentInstanceImpl<probe::Bound, std::tuple<Probe>>({}, {binder});
}
#define DELETE(name)                                                                                         \
    extern "C" US_ABI_EXPORT void DeleteInstance_probe_##name(ComponentInstance* instance) {                 \
        delete instance;                                                                                     \
    }
DELETE(Waits)
DELETE(Throws)
DELETE(Configured)
DELETE(Bound)
