#pragma once

#include "host/ExitCode.h"
#include "host/Output.h"
#include "host/Session.h"

#include <foundation/json.h>

#include <string>

namespace CLI {
class App;
}

namespace zelkor::host {

struct Result {
    ExitCode code = ExitCode::Ok;
    std::string text;              ///< for the standard output
    std::string note;              ///< for the standard error stream
    foundation::json::object json; ///< instead of both, with --json
};

/// One of the program's commands.
class Command {
public:
    virtual ~Command() = default;

    virtual std::string name() const = 0;
    virtual std::string description() const = 0;
    virtual void addOptions(CLI::App&) {}
    /// Whether it waits for the daemon only, not for a person or for changes; its time is then limited.
    virtual bool waitsForDaemonOnly() const { return true; }
    /// @throws ConfigurationError, NoAnswer
    /// @param output for a command that goes on; others return all they have to say
    virtual Result run(Session& session, const Output& output) = 0;
};

/// The name under which the program asks the daemon.
inline constexpr char requester[] = "zelkorlogin";

} // namespace zelkor::host
