#pragma once

#include "host/Host.h"

#include <login/ZelkorLogin.h>
#include <login/control/LoginVetoer.h>
#include <login/detail/ZelkorLogin.h>

namespace demo {

/// The login services, as an application gets them: from the registry, by their interfaces.
struct Services {
    explicit Services(zelkor::host::Host& host, const char* filter)
        : login(host.get<login::ZelkorLogin>(filter)), detail(host.get<login::detail::ZelkorLogin>(filter)),
          vetoer(host.get<login::control::LoginVetoer>(filter)) {}

    zelkor::host::Provided<login::ZelkorLogin> login;
    zelkor::host::Provided<login::detail::ZelkorLogin> detail;
    zelkor::host::Provided<login::control::LoginVetoer> vetoer;
};

} // namespace demo
