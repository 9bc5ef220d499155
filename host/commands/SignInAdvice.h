#pragma once

#include "contract/records/LoginInfo.h"

#include <string>

namespace zelkor::host {

class Session;

/// For somebody who is told that nobody is logged in at a level.
struct SignInAdvice {
    std::string reason; ///< one line, printable
    std::string remedy; ///< what to type; may be empty
    bool vetoed = false;
    login::LoginInfo daemons; ///< whom the daemon itself has signed in, at any level

    std::string text() const { return reason + (remedy.empty() ? "" : ":  " + remedy) + "\n"; }
};

/// Asks the session and the daemon why. @throws as Host::get() and Session::ask().
SignInAdvice signInAdvice(Session& session, login::LoginInfo::Level asked);

} // namespace zelkor::host
