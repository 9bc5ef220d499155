#pragma once

#include <string>

namespace login::interactive {

/// How a sign-in is to be shown. Sent to the daemon as JSON.
struct LoginOptions {
    bool rememberMe = false;
    bool forcePrompt = false; ///< ask even when the user is signed in at the wanted level
    std::string accountHint;  ///< pre-filled account name, may be empty
};

/// The wording of a sign-in prompt.
struct LoginPromptOptions {
    std::string title;
    std::string message;
};

/// How a sign-out is to be done. Sent to the daemon as JSON.
struct LogoutOptions {
    bool askConsent = true;     ///< ask the user when a negotiator objects
    bool forgetAccount = false; ///< also drop what is remembered for the next sign-in
};

} // namespace login::interactive
