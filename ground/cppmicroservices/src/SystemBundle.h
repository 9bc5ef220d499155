#pragma once

#include "BundlePrivate.h"

#include <cppmicroservices/FrameworkEvent.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <thread>

namespace cppmicroservices {

/// The framework seen as a bundle; its start and stop are the framework's.
///
/// Stop runs on a thread of its own, so that a listener or a service may ask for it. Whoever waits for the
/// stop joins that thread.
class SystemBundle final : public BundlePrivate {
public:
    SystemBundle(std::weak_ptr<detail::FrameworkCore> core, const AnyMap& properties);
    ~SystemBundle() override;

    void Init() EXCLUDES(mutex_);
    void Start(std::uint32_t options) override EXCLUDES(mutex_);
    void Stop(std::uint32_t options) override EXCLUDES(mutex_);
    /// Throws always.
    void Uninstall() override;
    void* Symbol(const std::string& name) override;
    FrameworkEvent WaitForStop(std::chrono::milliseconds timeout) EXCLUDES(mutex_);

    /// Stops on the calling thread, or waits for a stop that is under way on another one.
    void StopNow() EXCLUDES(mutex_);

private:
    bool IsStoppedLocked() const REQUIRES(mutex_);
    /// \return false if there is nothing to stop, or another thread does it
    bool BeginStop() EXCLUDES(mutex_);
    /// All but this one, the last installed first; what one throws is reported.
    void StopOthers(detail::FrameworkCore& core, const std::function<void(BundlePrivate&)>& stop);
    void RunStop(const std::shared_ptr<detail::FrameworkCore>& core) EXCLUDES(mutex_);

    std::condition_variable_any stopped_;      ///< or no longer starting
    bool starting_ GUARDED_BY(mutex_) = false; ///< a thread is telling the extensions
    std::thread stopper_ GUARDED_BY(mutex_);
    std::thread::id stopping_ GUARDED_BY(mutex_); ///< the thread in RunStop, stopper_ or another
};

} // namespace cppmicroservices
