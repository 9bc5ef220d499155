// The exported functions through which the framework makes and destroys the components of manifest.json, one
// pair for each. The build fails when a pair is missing, and exports nothing else.

#include "spf/ZelkorLogin.h"

#include <cppmicroservices/GlobalConfig.h>
#include <cppmicroservices/servicecomponent/detail/ComponentInstanceImpl.hpp>

#include <array>
#include <new>
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

/// Null when memory is exhausted.
template <class Class, class Interfaces, class... References>
ComponentInstance* newInstance(const std::array<std::string, sizeof...(References)>& references) noexcept {
    static_assert(takesModifications<Class>);
    try {
        std::size_t next = 0;
        const std::vector<std::shared_ptr<Binder<Class>>> binders{
            binderFor<Class, References>(references[next++])...};
        return new (std::nothrow)
            ComponentInstanceImpl<Class, Interfaces, std::shared_ptr<References>...>(references, binders);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

} // namespace

#define ZELKOR_EXPORT extern "C" US_ABI_EXPORT

ZELKOR_EXPORT ComponentInstance* NewInstance_login_spf_ZelkorLogin() {
    using Interfaces =
        std::tuple<login::ZelkorLogin, login::detail::ZelkorLogin, login::control::LoginVetoer>;
    return newInstance<login::spf::ZelkorLogin, Interfaces, HasDesktopServices>({"DesktopServices"});
}

ZELKOR_EXPORT void DeleteInstance_login_spf_ZelkorLogin(ComponentInstance* instance) {
    delete instance;
}

ZELKOR_EXPORT ComponentInstance* NewInstance_login_spf_detail_ZelkorLogin() {
    return newInstance<login::spf::ZelkorLogin, std::tuple<login::detail::ZelkorLogin>>({});
}

ZELKOR_EXPORT void DeleteInstance_login_spf_detail_ZelkorLogin(ComponentInstance* instance) {
    delete instance;
}
