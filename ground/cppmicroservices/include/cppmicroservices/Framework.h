#pragma once

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkExport.h>

#include <chrono>
#include <cstdint>

namespace cppmicroservices {

/// A handle on a framework instance, seen as its system bundle.
///
/// Life: Start, use, Stop, WaitForStop; it can be started again. Stop unregisters every service; objects that
/// somebody holds live on.
class Framework : public Bundle {
public:
    /// \throws std::logic_error if \p bundle is not a framework's system bundle.
    Framework(Bundle bundle);

    /// Makes the context usable without starting any bundle; Start does this by itself.
    void Init();

    /// Waits until the framework has stopped. Do not call it from a listener that the stop itself calls.
    /// \param timeout zero waits without limit
    /// \return FRAMEWORK_STOPPED, FRAMEWORK_WAIT_TIMEDOUT, or FRAMEWORK_ERROR if the stopping thread itself
    /// asks
    FrameworkEvent WaitForStop(const std::chrono::milliseconds& timeout);

    /// \throws std::runtime_error always: a framework cannot be uninstalled.
    void Uninstall() { Bundle::Uninstall(); }
};

} // namespace cppmicroservices
