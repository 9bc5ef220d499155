// The exported functions through which the framework makes and destroys the components of manifest.json, one
// pair for each. The build fails when a pair is missing, and exports nothing else.

#include "module/runtime/ModuleContext.h"
#include "module/v1/ZelkorLoginImpl.h"
#include "module/v2/LoginVetoerClient.h"
#include "module/v2/ZelkorLogin.h"
#include "module/v2/interactive/desktop/ZelkorLogin.h"
#include "module/v2/session/ZelkorLogin.h"

#include <cppmicroservices/GlobalConfig.h>
#include <cppmicroservices/servicecomponent/detail/ComponentInstanceImpl.hpp>

#include <algorithm>
#include <array>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <tuple>
#include <type_traits>

namespace {

using cppmicroservices::service::component::ComponentContext;
using cppmicroservices::service::component::detail::Binder;
using cppmicroservices::service::component::detail::ComponentInstance;
using cppmicroservices::service::component::detail::ComponentInstanceImpl;
using cppmicroservices::service::component::detail::DynamicBinder;
using zelkorconnector::serviceprocess::HasDesktopServices;

/// The framework looks for this form and takes any other for none, silently; it would then make a new object
/// at each change of a configuration.
template <class Class>
constexpr bool takesModifications = std::is_void_v<decltype(std::declval<Class&>().Modified(
    std::declval<const std::shared_ptr<ComponentContext>&>(),
    std::declval<const std::shared_ptr<cppmicroservices::AnyMap>&>()))>;

/// Does nothing: a reference reaches the object through its constructor.
template <class Class, class Interface>
std::shared_ptr<Binder<Class>> binderFor(const std::string& reference) {
    constexpr auto nothing = [](Class*, const std::shared_ptr<Interface>&) {};
    return std::make_shared<DynamicBinder<Class, Interface>>(reference, nothing, nothing);
}

/// References of a component: their names in the manifest, with their interfaces.
template <class... Interfaces>
struct References {
    std::array<const char*, sizeof...(Interfaces)> names;

    template <class Class>
    std::vector<std::shared_ptr<Binder<Class>>> binders() const {
        [[maybe_unused]] std::size_t next = 0;
        return {binderFor<Class, Interfaces>(names[next++])...};
    }
};

/// The instance of a component that is made in the component's own context; see ConstructionContext.
class Instance final : public ComponentInstance {
public:
    explicit Instance(std::unique_ptr<ComponentInstance> made) : made_(std::move(made)) {}

    void CreateInstance(const std::shared_ptr<ComponentContext>& context) override {
        const agent::spf::cppmsclientutils::ConstructionContext belongsTo(context->GetBundleContext());
        try {
            made_->CreateInstance(context);
        } catch (const std::exception& error) {
            // A framework may pass on nothing but this text.
            throw std::runtime_error(
                "The component '" + context->GetProperties()["component.name"].ToStringNoExcept() +
                "' of the bundle '" US_STR(US_BUNDLE_NAME) "' cannot be constructed: " + error.what());
        }
    }
    void BindReferences(const std::shared_ptr<ComponentContext>& context) override {
        made_->BindReferences(context);
    }
    void UnbindReferences() override { made_->UnbindReferences(); }
    void Activate() override { made_->Activate(); }
    void Deactivate() override { made_->Deactivate(); }
    void Modified() override { made_->Modified(); }
    bool DoesModifiedMethodExist() override { return made_->DoesModifiedMethodExist(); }
    void InvokeBindMethod(const std::string& reference, std::shared_ptr<void> service) override {
        made_->InvokeBindMethod(reference, std::move(service));
    }
    void InvokeUnbindMethod(const std::string& reference, std::shared_ptr<void> service) override {
        made_->InvokeUnbindMethod(reference, std::move(service));
    }
    cppmicroservices::InterfaceMapPtr GetInterfaceMap() override { return made_->GetInterfaceMap(); }

private:
    const std::unique_ptr<ComponentInstance> made_;
};

/// Null when memory is exhausted.
/// @param injected the references that the constructor takes, in its order.
/// @param awaited those that the component only waits for.
template <class Class, class Interfaces, class... Injected, class... Awaited>
ComponentInstance* newInstance(References<Injected...> injected, References<Awaited...> awaited) noexcept {
    try {
        std::array<std::string, sizeof...(Injected)> names;
        std::copy(injected.names.begin(), injected.names.end(), names.begin());
        auto binders = injected.template binders<Class>();
        const auto further = awaited.template binders<Class>();
        binders.insert(binders.end(), further.begin(), further.end());
        return new Instance(
            std::make_unique<ComponentInstanceImpl<Class, Interfaces, std::shared_ptr<Injected>...>>(
                names, binders));
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

/// A remote client, which takes changes of its configuration.
template <class Class, class Interfaces, class... Injected>
ComponentInstance* newClient(References<Injected...> references) noexcept {
    static_assert(takesModifications<Class>);
    return newInstance<Class, Interfaces>(references, References<>{});
}

} // namespace

#define ZELKOR_EXPORT extern "C" US_ABI_EXPORT

ZELKOR_EXPORT ComponentInstance* NewInstance_ZelkorLoginImpl() {
    using Interfaces = std::tuple<login::ZelkorLogin, login::detail::ZelkorLogin,
                                  login::interactive::ZelkorLogin, login::control::LoginVetoer>;
    return newClient<login::ZelkorLoginImpl, Interfaces>(References<HasDesktopServices>{"DesktopServices"});
}

ZELKOR_EXPORT void DeleteInstance_ZelkorLoginImpl(ComponentInstance* instance) {
    delete instance;
}

ZELKOR_EXPORT ComponentInstance* NewInstance_login_spf_interactive_desktop_ZelkorLogin() {
    using Interfaces = std::tuple<login::interactive::ZelkorLogin>;
    return newClient<login::spf::interactive::desktop::ZelkorLogin, Interfaces>(
        References<HasDesktopServices>{"DesktopServices"});
}

ZELKOR_EXPORT void DeleteInstance_login_spf_interactive_desktop_ZelkorLogin(ComponentInstance* instance) {
    delete instance;
}

ZELKOR_EXPORT ComponentInstance* NewInstance_login_spf_interactive_daemon_ZelkorLogin() {
    using Interfaces = std::tuple<login::interactive::ZelkorLogin>;
    return newClient<login::spf::interactive::ZelkorLogin, Interfaces>(References<>{});
}

ZELKOR_EXPORT void DeleteInstance_login_spf_interactive_daemon_ZelkorLogin(ComponentInstance* instance) {
    delete instance;
}

ZELKOR_EXPORT ComponentInstance* NewInstance_login_spf_ZelkorLogin() {
    using Interfaces =
        std::tuple<login::ZelkorLogin, login::detail::ZelkorLogin, login::control::LoginVetoer>;
    return newClient<login::spf::ZelkorLogin, Interfaces>(References<HasDesktopServices>{"DesktopServices"});
}

ZELKOR_EXPORT void DeleteInstance_login_spf_ZelkorLogin(ComponentInstance* instance) {
    delete instance;
}

ZELKOR_EXPORT ComponentInstance* NewInstance_login_spf_LoginVetoer() {
    using Interfaces = std::tuple<login::control::LoginVetoer>;
    return newClient<login::spf::LoginVetoerClient, Interfaces>(References<>{});
}

ZELKOR_EXPORT void DeleteInstance_login_spf_LoginVetoer(ComponentInstance* instance) {
    delete instance;
}

ZELKOR_EXPORT ComponentInstance* NewInstance_login_spf_detail_ZelkorLogin() {
    return newClient<login::spf::ZelkorLogin, std::tuple<login::detail::ZelkorLogin>>(References<>{});
}

ZELKOR_EXPORT void DeleteInstance_login_spf_detail_ZelkorLogin(ComponentInstance* instance) {
    delete instance;
}

ZELKOR_EXPORT ComponentInstance* NewInstance_login_spf_session_ZelkorLogin() {
    using Interfaces =
        std::tuple<login::ZelkorLogin, login::detail::ZelkorLogin, login::control::LoginVetoer>;
    using Services = References<login::ZelkorLogin, login::control::LoginVetoer, login::detail::ZelkorLogin,
                                login::detail::ZelkorLoginLNUSupport, login::detail::ZelkorLogin>;
    return newInstance<login::spf::session::ZelkorLogin, Interfaces>(
        Services{"ZelkorLogin", "LoginVetoer", "ZelkorLoginDetail", "ZelkorLoginLNUSupport",
                 "ZelkorLoginSPFClient"},
        References<HasDesktopServices>{"DesktopServices"});
}

ZELKOR_EXPORT void DeleteInstance_login_spf_session_ZelkorLogin(ComponentInstance* instance) {
    delete instance;
}
