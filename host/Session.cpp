#include "host/Session.h"

namespace zelkor::host {

void Session::requireDaemon() {
    if (!host_.awaitDaemon(limit_))
        throw noDaemon("for " + std::to_string(limit_.count()) + " s");
}

NoAnswer Session::noDaemon(const std::string& howLong) {
    const auto connection = host_.connection();
    const auto socket = connection.socketPath.string();
    if (const auto offered = host_.offeredLoginServices(); !offered.empty())
        return NoAnswer("the daemon at " + socket + " offers " + offered +
                        ", and ZelkorLogin 2.1 is wanted. Update it, or have it offer version 2 (hshd "
                        "--versions)");
    if (connection.connected)
        return NoAnswer("the daemon at " + socket + " offers no login service. Update it, or see its log");
    if (const auto process = std::to_string(connection.daemonProcess); connection.daemonProcess != 0)
        return NoAnswer("the daemon (process " + process + ") does not answer: it listens at " + socket +
                            ", and said nothing " + howLong + ". " + connection.lastError + ".",
                        "If it was stopped, kill -CONT " + process +
                            " lets it go on. Otherwise it hangs, or is busy: see its log, and kill " +
                            process + " ends it");
    return NoAnswer("the daemon is absent: its socket was looked for at " + socket + " " + howLong + ". " +
                        connection.lastError + ".",
                    "Start it with:  hshd --socket-dir '" + connection.socketPath.parent_path().string() +
                        "'");
}

void Session::failUnanswered(const std::string& reason) {
    if (reason.ends_with("bad any_cast"))
        throw NoAnswer("the daemon's answer is not of the kind that was asked for: " + reason + ".",
                       "Daemon and module are of releases that do not fit; update the older one");
    throw NoAnswer("the daemon did not answer: " + reason + ".",
                   "See its log; --timeout gives it another limit");
}

} // namespace zelkor::host
