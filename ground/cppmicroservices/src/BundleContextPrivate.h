#pragma once

#include <atomic>
#include <memory>

namespace cppmicroservices {

class BundlePrivate;

namespace detail {
class FrameworkCore;
}

/// What a BundleContext stands for: one run of a bundle, from its start to its stop. Keeps neither the bundle
/// nor the framework alive.
class BundleContextPrivate : public std::enable_shared_from_this<BundleContextPrivate> {
public:
    BundleContextPrivate(std::weak_ptr<detail::FrameworkCore> core, std::weak_ptr<BundlePrivate> bundle);

    /// Keeps both alive for the length of one call. Letting go of the core runs no foreign code: at its last
    /// owner's end the framework stops, and only then the core goes.
    struct Access {
        std::shared_ptr<detail::FrameworkCore> core;
        std::shared_ptr<BundlePrivate> bundle;
    };

    /// \throws std::runtime_error if the bundle has stopped or the framework is gone.
    Access Use() const;

    bool IsValid() const noexcept { return valid_ && !core_.expired(); }
    void Invalidate() noexcept { valid_ = false; }

    /// Changed only under the service registry's lock.
    bool TakesServices() const noexcept { return takesServices_; }
    void RefuseServices() noexcept { takesServices_ = false; }

private:
    const std::weak_ptr<detail::FrameworkCore> core_;
    const std::weak_ptr<BundlePrivate> bundle_;
    std::atomic<bool> valid_ = true;
    std::atomic<bool> takesServices_ = true;
};

} // namespace cppmicroservices
