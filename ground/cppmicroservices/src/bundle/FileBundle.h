#pragma once

#include "../BundlePrivate.h"
#include "SharedLibrary.h"

#include <cppmicroservices/BundleActivator.h>

#include <condition_variable>
#include <memory>
#include <thread>

namespace cppmicroservices::detail {

/// A bundle installed from a file. Its library is loaded when something from it is first needed: by an
/// activator at the start, else by a component.
///
/// A start, a stop and an uninstallation take turns: each waits for one that another thread is at. Asked for
/// by the very thread that is at one (from a listener or a component's constructor), it fails.
class FileBundle final : public BundlePrivate {
public:
    FileBundle(const std::shared_ptr<FrameworkCore>& core, Identity identity, AnyMap headers);

    void Start(std::uint32_t options) override EXCLUDES(mutex_);
    void Stop(std::uint32_t options) override EXCLUDES(mutex_);
    void Uninstall() override EXCLUDES(mutex_);
    void* Symbol(const std::string& name) override EXCLUDES(mutex_);

private:
    class Turn;

    std::shared_ptr<FrameworkCore> RunningCore() const;
    using Activator = std::unique_ptr<BundleActivator, void (*)(BundleActivator*)>;

    /// Null if the manifest asks for none.
    Activator MakeActivator();
    std::exception_ptr Failure(const char* purpose) const;
    void StartFailed(const std::shared_ptr<FrameworkCore>& core) EXCLUDES(mutex_);
    /// Of the thread whose turn it is. \return what the activator threw
    std::exception_ptr StopNow(const std::shared_ptr<FrameworkCore>& core) EXCLUDES(mutex_);
    void EndStop(const std::shared_ptr<FrameworkCore>& core) EXCLUDES(mutex_);
    void SetState(Bundle::State state) EXCLUDES(mutex_);
    SharedLibrary Load() EXCLUDES(mutex_);
    bool HasContext(const SharedLibrary& library, const std::shared_ptr<BundleContextPrivate>& context) const
        EXCLUDES(mutex_);
    bool IsStoppingHere() const EXCLUDES(mutex_);

    Activator activator_{nullptr, nullptr}; ///< of the thread whose turn it is

    std::condition_variable_any turnOver_;
    std::thread::id turn_ GUARDED_BY(mutex_); ///< the thread that starts, stops or uninstalls

    SharedLibrary library_ GUARDED_BY(mutex_);
    std::shared_ptr<BundleContextPrivate> given_ GUARDED_BY(mutex_); ///< the context that the library has
};

} // namespace cppmicroservices::detail
