#pragma once

#include "hshd/identity/IdentityProvider.h"
#include "hshd/services/Registrations.h"
#include "hshd/signin/SignInFront.h"
#include "hshd/state/LoginState.h"
#include "hshd/state/StateThread.h"

#include <chrono>
#include <string>

namespace hshd {

/// What requests work with; outlives them.
struct InteractiveParts {
    LoginState& state;
    StateThread& stateThread;
    Registrations& negotiators;
    IdentityProvider& provider;
    SignInFront& front;
    std::chrono::milliseconds negotiationTimeout;
};

/// A request that waits for the person, or for others. Its steps follow one another, on whichever thread the
/// one before ends; only cancel() may come between.
class InteractiveRequest {
public:
    virtual ~InteractiveRequest() = default;

    virtual void start() = 0;
    /// Ends it with that text, unless it has ended or is just being carried out.
    virtual void cancel(const std::string& text) = 0;
};

} // namespace hshd
