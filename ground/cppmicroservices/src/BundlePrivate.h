#pragma once

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/Bundle.h>
#include <foundation/thread_annotations.h>

#include <cstdint>
#include <memory>
#include <string>

namespace cppmicroservices {

class BundleContextPrivate;

namespace detail {
class FrameworkCore;
}

/// What a Bundle stands for: identity, headers and state; each kind of bundle brings its own start and stop.
class BundlePrivate : public std::enable_shared_from_this<BundlePrivate> {
public:
    struct Identity {
        long id;
        std::string location;
        std::string symbolicName;
    };

    /// \throws std::invalid_argument if the headers' "bundle.version" is none
    BundlePrivate(std::weak_ptr<detail::FrameworkCore> core, Identity identity, AnyMap headers);
    virtual ~BundlePrivate();
    BundlePrivate(const BundlePrivate&) = delete;
    BundlePrivate& operator=(const BundlePrivate&) = delete;

    /// \param options Bundle::StartOptions
    virtual void Start(std::uint32_t options) = 0;
    /// \param options Bundle::StopOptions
    virtual void Stop(std::uint32_t options) = 0;
    /// Stops it and forgets it.
    virtual void Uninstall() = 0;

    /// The address of a function that the bundle's library exports, or null if it exports none of that name.
    /// The first call loads the library and hands it the bundle's context. A library stays loaded until the
    /// process ends, so what comes from it is never left without its code.
    /// \throws std::runtime_error if the library cannot be loaded, naming the file and saying why, or if the
    /// bundle is not active.
    virtual void* Symbol(const std::string& name) = 0;

    /// Null once the framework is gone.
    std::shared_ptr<detail::FrameworkCore> Core() const { return core_.lock(); }
    const Identity& Id() const noexcept { return identity_; }
    const AnyMap& Headers() const noexcept { return headers_; }
    const BundleVersion& Version() const noexcept { return version_; }

    Bundle::State State() const EXCLUDES(mutex_);
    /// Null unless starting, active or stopping.
    std::shared_ptr<BundleContextPrivate> Context() const EXCLUDES(mutex_);

protected:
    mutable foundation::Mutex mutex_; ///< a leaf; start and stop proper run without it
    Bundle::State state_ GUARDED_BY(mutex_) = Bundle::STATE_INSTALLED;
    std::shared_ptr<BundleContextPrivate> context_ GUARDED_BY(mutex_);

private:
    const std::weak_ptr<detail::FrameworkCore> core_;
    const Identity identity_;
    const AnyMap headers_;
    const BundleVersion version_;
};

} // namespace cppmicroservices
