#pragma once

#include <cppmicroservices/FrameworkExport.h>
#include <cppmicroservices/detail/TypeName.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <unordered_map>

namespace cppmicroservices {

class ServiceFactory;

} // namespace cppmicroservices

/// The name under which T is registered: its C++ name, unless CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE gave
/// another.
template <class T>
std::string us_service_interface_iid() {
    return cppmicroservices::detail::TypeName<T>();
}

template <>
inline std::string us_service_interface_iid<void>() {
    return {};
}

/// Names the service interface; use at global namespace level, where the interface is defined.
#define CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE(_service_interface_type, _service_interface_id)           \
    template <>                                                                                              \
    inline std::string us_service_interface_iid<_service_interface_type>() {                                 \
        return _service_interface_id;                                                                        \
    }

namespace cppmicroservices {

/// One service seen through each of its interfaces, by interface name.
using InterfaceMap = std::unordered_map<std::string, std::shared_ptr<void>>;
using InterfaceMapPtr = std::shared_ptr<InterfaceMap>;
using InterfaceMapConstPtr = std::shared_ptr<const InterfaceMap>;

namespace detail {

/// Key under which an interface map carries a service factory instead of objects.
inline constexpr const char* kServiceFactoryKey = "org.cppmicroservices.factory";

template <class Interface>
std::shared_ptr<void> AsInterface(const std::shared_ptr<Interface>& object) {
    return std::const_pointer_cast<std::remove_const_t<Interface>>(object);
}

} // namespace detail

/// The interface's object in the map, or null. \p interfaceId defaults to Interface's own name.
template <class Interface>
std::shared_ptr<Interface> ExtractInterface(const InterfaceMapConstPtr& map,
                                            const std::string& interfaceId = {}) {
    if (!map)
        return nullptr;
    const auto found = map->find(interfaceId.empty() ? us_service_interface_iid<Interface>() : interfaceId);
    return found == map->end() ? nullptr : std::static_pointer_cast<Interface>(found->second);
}

/// The object of the interface of that name, of any interface if the name is empty, or null.
template <>
inline std::shared_ptr<void> ExtractInterface(const InterfaceMapConstPtr& map,
                                              const std::string& interfaceId) {
    if (!map || map->empty())
        return nullptr;
    const auto found = interfaceId.empty() ? map->begin() : map->find(interfaceId);
    return found == map->end() ? nullptr : found->second;
}

/// Null if the map holds no factory.
inline std::shared_ptr<ServiceFactory> ExtractFactory(const InterfaceMapConstPtr& map) {
    return std::static_pointer_cast<ServiceFactory>(ExtractInterface<void>(map, detail::kServiceFactoryKey));
}

/// Seen as the factory it is, so that RegisterService takes it for one.
template <class T>
std::shared_ptr<ServiceFactory> ToFactory(const std::shared_ptr<T>& factory) {
    return std::static_pointer_cast<ServiceFactory>(factory);
}

/// Builds the interface map of an implementation, or of a service factory for these interfaces:
/// `InterfaceMapConstPtr map = MakeInterfaceMap<IOne, ITwo>(std::make_shared<Impl>());`
template <class... Interfaces>
class MakeInterfaceMap {
    static_assert(sizeof...(Interfaces) > 0, "name at least one service interface");

public:
    /// \throws std::invalid_argument if \p impl is null.
    template <class Impl>
    MakeInterfaceMap(const std::shared_ptr<Impl>& impl) : map_(std::make_shared<InterfaceMap>()) {
        RejectNull(impl.get());
        if constexpr (std::is_same_v<Impl, ServiceFactory>) {
            (map_->emplace(us_service_interface_iid<Interfaces>(), nullptr), ...);
            map_->emplace(detail::kServiceFactoryKey, impl);
        } else {
            (map_->emplace(us_service_interface_iid<Interfaces>(),
                           detail::AsInterface<Interfaces>(std::shared_ptr<Interfaces>(impl))),
             ...);
        }
    }

    operator InterfaceMapPtr() const { return map_; }
    operator InterfaceMapConstPtr() const { return map_; }

private:
    static void RejectNull(const void* impl) {
        if (!impl)
            throw std::invalid_argument(
                "A service must not be null; give RegisterService an existing object.");
    }

    InterfaceMapPtr map_;
};

} // namespace cppmicroservices
