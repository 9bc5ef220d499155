#pragma once

#include "host/FailureWatch.h"
#include "host/Host.h"
#include "host/NoAnswer.h"

#include <chrono>
#include <utility>

namespace zelkor::host {

/// What a command works with: a host, and the daemon within a time limit.
class Session {
public:
    /// @param limit how long to wait for the daemon.
    /// @param direct to ask the daemon's client, past the session of this process.
    Session(HostOptions options, std::chrono::seconds limit, bool direct)
        : host_(std::move(options)), limit_(limit),
          filter_(direct ? among::daemonClients : among::components) {}

    Host& host() { return host_; }

    /// The service that answers, once the daemon is there.
    /// @throws ConfigurationError as Host::get(), NoAnswer as requireDaemon() and ask().
    template <class Interface>
    Provided<Interface> service() {
        host_.expectProvider<Interface>(filter_);
        requireDaemon();
        return ask([this] { return host_.get<Interface>(filter_); });
    }

    /// @throws NoAnswer when no daemon is found in time, saying where it was looked for and how to start it.
    void requireDaemon();

    /// Runs queries, whose answer is empty when the daemon gives none.
    /// @throws NoAnswer when the module logged that one of them failed.
    template <class Queries>
    auto ask(Queries queries) {
        const FailureWatch watch;
        auto answer = queries();
        if (const auto reason = watch.reason(); !reason.empty())
            failUnanswered(reason);
        return answer;
    }
    [[noreturn]] static void failUnanswered(const std::string& reason);

private:
    Host host_;
    const std::chrono::seconds limit_;
    const char* const filter_;
};

} // namespace zelkor::host
