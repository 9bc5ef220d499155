#pragma once

#include "host/Interruption.h"
#include "host/Session.h"

#include <login/interactive/ZelkorLogin.h>
#include <login/prompt/PromptOffer.h>

#include <exception>
#include <functional>
#include <string>

namespace zelkor::host {

/// Waits for the outcome of an interactive request while the person is asked at this terminal. SIGINT,
/// SIGTERM and the end of the time that the user gave abort the request.
class InteractiveWait {
public:
    using Done = std::function<void(const std::exception_ptr&)>;

    /// @param browser whether one may be opened for the person
    /// @throws NoAnswer when the daemon offers no sign-in.
    InteractiveWait(Session& session, login::interactive::ZelkorLogin& login, bool browser = true);

    /// Makes the request, whose handler calls what it is given once, and waits for that.
    /// @return empty for success, else why not.
    /// @throws NoAnswer when the daemon went away or does not answer, and when time is over.
    std::string outcomeOf(const std::function<void(Done)>& request);

private:
    bool late() const;
    void abort();

    Session& session_;
    login::interactive::ZelkorLogin& login_;
    Interruption interruption_{ExitCode::NoAnswer};
    login::prompt::PromptOffer prompt_;
};

} // namespace zelkor::host
