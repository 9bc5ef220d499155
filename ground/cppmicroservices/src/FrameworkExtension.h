#pragma once

#include <memory>

namespace cppmicroservices {

class BundleContext;
class BundlePrivate;

namespace detail {

/// A part of the framework that lives on its bundles and services: told what starts and stops, on the thread
/// that does it and without any framework lock. A host's framework has the extensions that FrameworkFactory
/// gives it; the copy of the registry code inside a bundle knows them by this interface only.
///
/// Calls for different bundles may overlap; those for one bundle do not. What a function throws is reported
/// as a framework event and goes no further.
class FrameworkExtension {
public:
    virtual ~FrameworkExtension() = default;

    /// Before any bundle starts; \p context is the system bundle's.
    virtual void FrameworkStarting(const BundleContext& context) = 0;
    /// The bundle is active and its context is valid.
    virtual void BundleStarted(const std::shared_ptr<BundlePrivate>& bundle) = 0;
    /// The bundle's context is still valid; what it has registered so far is unregistered afterwards.
    virtual void BundleStopping(const std::shared_ptr<BundlePrivate>& bundle) = 0;
    /// After the last bundle has stopped; the system bundle's context is still valid. May be followed by
    /// another FrameworkStarting.
    virtual void FrameworkStopping() = 0;
};

} // namespace detail
} // namespace cppmicroservices
