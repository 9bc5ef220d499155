#pragma once

namespace zelkor::host {

/// What the program's end tells a script.
enum class ExitCode : int {
    Ok = 0,            ///< done; for queries: somebody is logged in
    NotLoggedIn = 1,   ///< the daemon answered, and nobody is logged in at the level asked for
    Configuration = 2, ///< wrong usage, or the process cannot be set up as configured
    NoAnswer = 3,      ///< the daemon is absent, or did not answer in time
    Refused = 4,       ///< somebody objects
};

} // namespace zelkor::host
