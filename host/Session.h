#pragma once

#include "host/FailureWatch.h"
#include "host/Host.h"
#include "host/NoAnswer.h"

#include <chrono>
#include <optional>
#include <string>
#include <utility>

namespace zelkor::host {

/// What a command works with: a host, and the daemon within a time limit.
class Session {
public:
    /// @param limit how long to wait for the daemon, 5 s when not given; and for a person's part, which is
    /// not limited otherwise.
    /// @param direct to ask the daemon's client, past the session of this process.
    Session(HostOptions options, std::optional<std::chrono::seconds> limit, bool direct)
        : begin_(std::chrono::steady_clock::now()), host_(std::move(options)),
          limit_(limit.value_or(std::chrono::seconds(5))), limited_(limit.has_value()),
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

    /// Why there is none, for people. @param howLong it was waited for: "for 5 s", "so far".
    NoAnswer noDaemon(const std::string& howLong);

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

    /// When the user wants an end, whatever is missing.
    std::optional<std::chrono::steady_clock::time_point> deadline() const {
        return limited_ ? std::optional(begin_ + limit_) : std::nullopt;
    }
    std::chrono::seconds limit() const { return limit_; }

private:
    const std::chrono::steady_clock::time_point begin_;
    Host host_;
    const std::chrono::seconds limit_;
    const bool limited_;
    const char* const filter_;
};

} // namespace zelkor::host
