#pragma once

namespace login::control {

/// Whether signing in is vetoed. Thread-safe. The order of the virtual operations is fixed.
class LoginVetoer {
public:
    virtual ~LoginVetoer() = default;

    /// Sets (true) or clears (false) the veto.
    virtual void vetoSignIn(bool veto) = 0;
    virtual bool shouldVetoSignIn() = 0;
};

} // namespace login::control
