#pragma once

#include "module/runtime/InvokableTrackingService.h"

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/servicecomponent/ComponentContext.hpp>
#include <login/control/LoginVetoer.h>

#include <memory>

namespace login::spf {

/// Stands in for the daemon's sign-in veto alone. Neither operation throws: a daemon that cannot be reached
/// vetoes nothing, and a veto that does not reach it is lost. Thread-safe; both may block, for the service
/// timeout while there is no daemon, then for the call timeout.
class LoginVetoerClient final
    : public login::control::LoginVetoer,
      public agent::spf::cppmsclientutils::InvokableTrackingService<agent::spf::core::Invokable> {
public:
    /// @param configuration the component's properties; may be null. Reads "timeouts::call" and
    /// "timeouts::service".
    explicit LoginVetoerClient(const std::shared_ptr<cppmicroservices::AnyMap>& configuration,
                               agent::spf::cppmsclientutils::Executors executors = {});

    void vetoSignIn(bool veto) override;
    bool shouldVetoSignIn() override;

    /// @see ZelkorLogin::Modified
    void Modified(const std::shared_ptr<cppmicroservices::service::component::ComponentContext>& context,
                  const std::shared_ptr<cppmicroservices::AnyMap>& properties);
};

} // namespace login::spf
