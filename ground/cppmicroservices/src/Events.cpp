#include <cppmicroservices/BundleEvent.h>
#include <cppmicroservices/Constants.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/ServiceEvent.h>

namespace cppmicroservices {

std::ostream& operator<<(std::ostream& os, ServiceEvent::Type type) {
    switch (type) {
    case ServiceEvent::SERVICE_REGISTERED:
        return os << "REGISTERED";
    case ServiceEvent::SERVICE_MODIFIED:
        return os << "MODIFIED";
    case ServiceEvent::SERVICE_UNREGISTERING:
        return os << "UNREGISTERING";
    case ServiceEvent::SERVICE_MODIFIED_ENDMATCH:
        return os << "MODIFIED_ENDMATCH";
    }
    return os << "service event " << static_cast<std::uint32_t>(type);
}

std::ostream& operator<<(std::ostream& os, BundleEvent::Type type) {
    switch (type) {
    case BundleEvent::BUNDLE_INSTALLED:
        return os << "INSTALLED";
    case BundleEvent::BUNDLE_STARTED:
        return os << "STARTED";
    case BundleEvent::BUNDLE_STOPPED:
        return os << "STOPPED";
    case BundleEvent::BUNDLE_UPDATED:
        return os << "UPDATED";
    case BundleEvent::BUNDLE_UNINSTALLED:
        return os << "UNINSTALLED";
    case BundleEvent::BUNDLE_RESOLVED:
        return os << "RESOLVED";
    case BundleEvent::BUNDLE_UNRESOLVED:
        return os << "UNRESOLVED";
    case BundleEvent::BUNDLE_STARTING:
        return os << "STARTING";
    case BundleEvent::BUNDLE_STOPPING:
        return os << "STOPPING";
    case BundleEvent::BUNDLE_LAZY_ACTIVATION:
        return os << "LAZY_ACTIVATION";
    }
    return os << "bundle event " << static_cast<std::uint32_t>(type);
}

std::ostream& operator<<(std::ostream& os, FrameworkEvent::Type type) {
    switch (type) {
    case FrameworkEvent::FRAMEWORK_STARTED:
        return os << "STARTED";
    case FrameworkEvent::FRAMEWORK_ERROR:
        return os << "ERROR";
    case FrameworkEvent::FRAMEWORK_WARNING:
        return os << "WARNING";
    case FrameworkEvent::FRAMEWORK_INFO:
        return os << "INFO";
    case FrameworkEvent::FRAMEWORK_STOPPED:
        return os << "STOPPED";
    case FrameworkEvent::FRAMEWORK_STOPPED_UPDATE:
        return os << "STOPPED_UPDATE";
    case FrameworkEvent::FRAMEWORK_WAIT_TIMEDOUT:
        return os << "WAIT_TIMEDOUT";
    }
    return os << "framework event " << static_cast<std::uint32_t>(type);
}

std::ostream& operator<<(std::ostream& os, const ServiceEvent& event) {
    if (!event)
        return os << "NONE";
    os << event.GetType();
    // The unbalanced parenthesis stands in the logs of every application; who parses them expects it.
    if (const auto reference = event.GetServiceReference())
        os << ' ' << reference.GetProperty(Constants::SERVICE_ID)
           << " objectClass=" << reference.GetProperty(Constants::OBJECTCLASS) << ')';
    return os;
}

std::ostream& operator<<(std::ostream& os, const BundleEvent& event) {
    if (!event)
        return os << "NONE";
    const auto bundle = event.GetBundle();
    return os << event.GetType() << " #" << bundle.GetBundleId() << " (" << bundle.GetSymbolicName() << " at "
              << bundle.GetLocation() << ')';
}

std::ostream& operator<<(std::ostream& os, const FrameworkEvent& event) {
    if (!event)
        return os << "NONE";
    os << event.GetType() << "\n " << event.GetMessage() << "\n " << event.GetBundle() << "\n Exception: ";
    if (!event.GetThrowable())
        return os << "NONE";
    try {
        std::rethrow_exception(event.GetThrowable());
    } catch (const std::exception& error) {
        return os << error.what();
    } catch (...) {
        return os << "unknown";
    }
}

} // namespace cppmicroservices
