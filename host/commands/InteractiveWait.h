#pragma once

#include "host/Host.h"
#include "host/Interruption.h"
#include "host/prompt/PromptOffer.h"

#include <login/interactive/ZelkorLogin.h>

#include <exception>
#include <functional>
#include <string>

namespace zelkor::host {

/// Waits for the outcome of an interactive request while the person is asked at this terminal. SIGINT and
/// SIGTERM abort the request.
class InteractiveWait {
public:
    using Done = std::function<void(const std::exception_ptr&)>;

    /// @throws NoAnswer when the daemon offers no sign-in.
    InteractiveWait(Host& host, login::interactive::ZelkorLogin& login);

    /// Makes the request, whose handler calls what it is given once, and waits for that.
    /// @return empty for success, else why not.
    /// @throws NoAnswer when the daemon went away.
    std::string outcomeOf(const std::function<void(Done)>& request);

private:
    login::interactive::ZelkorLogin& login_;
    Interruption interruption_{ExitCode::NoAnswer};
    PromptOffer prompt_;
};

} // namespace zelkor::host
