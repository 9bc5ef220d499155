#pragma once

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/FrameworkExport.h>

#include <cstdint>
#include <ostream>
#include <utility>

namespace cppmicroservices {

/// A change in a bundle's life, delivered on the thread that makes the change.
class BundleEvent {
public:
    enum Type : std::uint32_t {
        BUNDLE_INSTALLED = 0x1,
        BUNDLE_STARTED = 0x2,
        BUNDLE_STOPPED = 0x4,
        BUNDLE_UPDATED = 0x8,
        BUNDLE_UNINSTALLED = 0x10,
        BUNDLE_RESOLVED = 0x20,
        BUNDLE_UNRESOLVED = 0x40,
        BUNDLE_STARTING = 0x80,
        BUNDLE_STOPPING = 0x100,
        BUNDLE_LAZY_ACTIVATION = 0x200
    };

    BundleEvent() = default;
    BundleEvent(Type type, const Bundle& bundle) : BundleEvent(type, bundle, bundle) {}
    /// \param origin the bundle on whose behalf \p bundle was installed
    BundleEvent(Type type, Bundle bundle, Bundle origin)
        : type_(type), bundle_(std::move(bundle)), origin_(std::move(origin)) {}

    explicit operator bool() const noexcept { return type_ != Type{}; }

    Bundle GetBundle() const { return bundle_; }
    Bundle GetOrigin() const { return origin_; }
    Type GetType() const noexcept { return type_; }

private:
    Type type_{};
    Bundle bundle_;
    Bundle origin_;
};

std::ostream& operator<<(std::ostream& os, BundleEvent::Type type);
std::ostream& operator<<(std::ostream& os, const BundleEvent& event);

} // namespace cppmicroservices
