#pragma once

#include <cppmicroservices/FrameworkExport.h>

#include <string>

/// Names of framework, bundle and service properties, and their predefined values.
namespace cppmicroservices::Constants {

inline const std::string SYSTEM_BUNDLE_LOCATION = "System Bundle";
inline const std::string SYSTEM_BUNDLE_SYMBOLICNAME = "system_bundle";

inline const std::string BUNDLE_ACTIVATOR = "bundle.activator";
inline const std::string BUNDLE_CATEGORY = "bundle.category";
inline const std::string BUNDLE_COPYRIGHT = "bundle.copyright";
inline const std::string BUNDLE_DESCRIPTION = "bundle.description";
inline const std::string BUNDLE_NAME = "bundle.name";
inline const std::string BUNDLE_VENDOR = "bundle.vendor";
inline const std::string BUNDLE_VERSION = "bundle.version";
inline const std::string BUNDLE_DOCURL = "bundle.doc_url";
inline const std::string BUNDLE_CONTACTADDRESS = "bundle.contact_address";
inline const std::string BUNDLE_SYMBOLICNAME = "bundle.symbolic_name";
inline const std::string BUNDLE_MANIFESTVERSION = "bundle.manifest_version";
inline const std::string BUNDLE_ACTIVATIONPOLICY = "bundle.activation_policy";
inline const std::string ACTIVATION_LAZY = "lazy";

inline const std::string FRAMEWORK_VERSION = "org.cppmicroservices.framework.version";
inline const std::string FRAMEWORK_VENDOR = "org.cppmicroservices.framework.vendor";
inline const std::string FRAMEWORK_STORAGE = "org.cppmicroservices.framework.storage";
inline const std::string FRAMEWORK_STORAGE_CLEAN = "org.cppmicroservices.framework.storage.clean";
inline const std::string FRAMEWORK_STORAGE_CLEAN_ONFIRSTINIT = "onFirstInit";
inline const std::string FRAMEWORK_THREADING_SUPPORT = "org.cppmicroservices.framework.threading.support";
inline const std::string FRAMEWORK_THREADING_SINGLE = "single";
inline const std::string FRAMEWORK_THREADING_MULTI = "multi";
inline const std::string FRAMEWORK_LOG = "org.cppmicroservices.framework.log";
inline const std::string FRAMEWORK_UUID = "org.cppmicroservices.framework.uuid";
inline const std::string FRAMEWORK_WORKING_DIR = "org.cppmicroservices.framework.working.dir";
inline const std::string LIBRARY_LOAD_OPTIONS = "org.cppmicroservices.library.load.options";

inline const std::string OBJECTCLASS = "objectclass";
inline const std::string SERVICE_ID = "service.id";
inline const std::string SERVICE_PID = "service.pid";
inline const std::string SERVICE_RANKING = "service.ranking";
inline const std::string SERVICE_VENDOR = "service.vendor";
inline const std::string SERVICE_DESCRIPTION = "service.description";
inline const std::string SERVICE_SCOPE = "service.scope";
inline const std::string SCOPE_SINGLETON = "singleton";
inline const std::string SCOPE_BUNDLE = "bundle";
inline const std::string SCOPE_PROTOTYPE = "prototype";

} // namespace cppmicroservices::Constants
