#include "TestServices.h"

#include <cppmicroservices/BundleInitialization.h>
#include <cppmicroservices/GetBundleContext.h>
#include <cppmicroservices/servicecomponent/detail/ComponentInstanceImpl.hpp>

#include <atomic>
#include <stdexcept>

using namespace cppmicroservices;
using namespace cppmicroservices::service::component;
using namespace cppmicroservices::service::component::detail;

CPPMICROSERVICES_INITIALIZE_BUNDLE

namespace {

std::atomic<int> created = 0, deleted = 0, objects = 0;

std::string TextOf(const AnyMap& properties) {
    const auto found = properties.find("text");
    return found == properties.end() ? "" : found->second.ToString();
}

} // namespace

namespace test {

struct Alive {
    Alive() { ++objects; }
    ~Alive() { --objects; }
};

/// Greets with its text, counts its modifications.
struct Probe : Greeter, Counter, Alive {
    explicit Probe(const std::shared_ptr<AnyMap>& properties) : text(TextOf(*properties)) {
        if (!GetBundleContext())
            throw std::logic_error("constructed without a context");
    }
    std::string Greet() const override { return text; }
    int Count() const override { return modified; }
    void Modified(const std::shared_ptr<ComponentContext>&, const std::shared_ptr<AnyMap>& properties) {
        latest = std::make_shared<std::string>(TextOf(*properties));
        ++modified;
    }
    const std::string text;
    std::shared_ptr<std::string> latest;
    std::atomic<int> modified = 0;
};

struct Unmodifiable : Greeter, Alive {
    explicit Unmodifiable(const std::shared_ptr<AnyMap>& properties) : text(TextOf(*properties)) {}
    std::string Greet() const override { return text; }
    /// Not the form that is looked for.
    void Modified(const std::shared_ptr<ComponentContext>&, const AnyMap&) {}
    const std::string text;
};

struct Dependent : Greeter, Alive {
    Dependent(const std::shared_ptr<AnyMap>&, const std::shared_ptr<Source>& injected) : source(injected) {}
    std::string Greet() const override { return source->Name(); }
    const std::shared_ptr<Source> source;
};

/// Throws, asks for its own service, or stops its own bundle while it is constructed, as its text says.
struct Thrower : Greeter, Alive {
    explicit Thrower(const std::shared_ptr<AnyMap>& properties) : text(TextOf(*properties)) {
        auto context = GetBundleContext();
        if (text == "throw")
            throw std::runtime_error("as it was told");
        if (text == "ask") {
            const auto own = context.GetServiceReferences<Greeter>("(component.name=test::Thrower)").at(0);
            foundItself = context.GetService(own) != nullptr;
        }
        if (text == "stop")
            context.GetBundle().Stop();
    }
    std::string Greet() const override { return foundItself ? "itself" : text; }
    const std::string text;
    bool foundItself = false;
};

} // namespace test

namespace {

using namespace test;

template <class T, class... Interfaces>
ComponentInstance* Make() {
    ++created;
    return new ComponentInstanceImpl<T, std::tuple<Interfaces...>>();
}

void Delete(ComponentInstance* instance) {
    ++deleted;
    delete instance;
}

} // namespace

#define COMPONENT(name, ...)                                                                                 \
    extern "C" US_ABI_EXPORT ComponentInstance* NewInstance_test_##name() {                                  \
        return Make<__VA_ARGS__>();                                                                          \
    }                                                                                                        \
    extern "C" US_ABI_EXPORT void DeleteInstance_test_##name(ComponentInstance* instance) {                  \
        Delete(instance);                                                                                    \
    }

COMPONENT(Plain, Probe, Greeter, Counter)
COMPONENT(Optional, Probe, Greeter, Counter)
COMPONENT(Factory, Probe, Greeter, Counter)
COMPONENT(PidWithoutPolicy, Probe, Greeter, Counter)
COMPONENT(PidAsText, Probe, Greeter, Counter)
COMPONENT(Rebuilt, Unmodifiable, Greeter)
COMPONENT(Thrower, Thrower, Greeter)

extern "C" US_ABI_EXPORT ComponentInstance* NewInstance_test_Dependent() {
    ++created;
    constexpr auto nothing = [](Dependent*, const std::shared_ptr<Source>&) {};
    const std::vector<std::shared_ptr<Binder<Dependent>>> binders{
        std::make_shared<DynamicBinder<Dependent, Source>>("Source", nothing, nothing)};
    return new ComponentInstanceImpl<Dependent, std::tuple<Greeter>, std::shared_ptr<Source>>({{"Source"}},
                                                                                              binders);
}
extern "C" US_ABI_EXPORT void DeleteInstance_test_Dependent(ComponentInstance* instance) {
    Delete(instance);
}

extern "C" US_ABI_EXPORT void component_bundle_counts(int* createdNow, int* deletedNow, int* objectsNow) {
    *createdNow = created;
    *deletedNow = deleted;
    *objectsNow = objects;
}
