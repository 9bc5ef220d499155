#pragma once

#include <string>

/// Names of component properties, and the predefined values of manifest keys.
namespace cppmicroservices::service::component::ComponentConstants {

inline const std::string SERVICE_COMPONENT = "Service-Component";
inline const std::string COMPONENT_NAME = "component.name";
inline const std::string COMPONENT_ID = "component.id";
inline const std::string COMPONENT_FACTORY = "component.factory";
inline const std::string REFERENCE_TARGET_SUFFIX = ".target";
inline const std::string CONFIG_POLICY_IGNORE = "ignore";
inline const std::string CONFIG_POLICY_OPTIONAL = "optional";
inline const std::string CONFIG_POLICY_REQUIRE = "require";

} // namespace cppmicroservices::service::component::ComponentConstants
