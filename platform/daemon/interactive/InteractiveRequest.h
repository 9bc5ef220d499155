#pragma once

#include "platform/daemon/Accounts.h"
#include "platform/daemon/LoginState.h"
#include "platform/daemon/Registrations.h"
#include "platform/daemon/StateThread.h"
#include "platform/daemon/Timers.h"
#include "platform/daemon/interactive/SignInFront.h"
#include "platform/daemon/interactive/SignInThrottle.h"

#include <chrono>
#include <string>

namespace hshd {

/// What requests work with; outlives them.
struct InteractiveParts {
    LoginState& state;
    StateThread& stateThread;
    Registrations& negotiators;
    const Accounts& accounts;
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
