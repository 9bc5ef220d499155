#pragma once

#include "contract/calls/Errors.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace hshd {

/// How a daemon is to misbehave on purpose, for those who test against it. docs/daemon.md has the format.
struct Script {
    enum class Deed {
        Late,          ///< the answer comes `delay` later
        Never,         ///< the call is neither carried out nor answered
        Error,         ///< `errorKind` and `errorText` instead of an answer
        WrongType,     ///< carried out; the answer holds a value of another type
        CallBackFirst, ///< the function that the call brings is called, and has ended, before the call starts
        CutFrame,      ///< carried out; the connection ends in the middle of the answer
        Exit,          ///< the daemon's process ends at once, with `exitCode`
        Kill,          ///< ... by SIGKILL
    };

    /// Which calls it is about, and what happens to them.
    struct Rule {
        std::string service;   ///< empty: any
        int version = 0;       ///< 0: any
        std::string method;    ///< "*": any
        std::int64_t from = 1; ///< the first of the calls that match, counted over all clients
        std::int64_t to = 0;   ///< and the last
        Deed deed = Deed::Never;
        std::chrono::milliseconds delay{0};
        agent::spf::core::ErrorKind errorKind = agent::spf::core::ErrorKind::Remote;
        std::string errorText;
        int exitCode = 0;
    };

    /// A service that is announced once more than it would be.
    struct Announcement {
        std::string service;
        int version = 0; ///< 0: each that is offered under the name
        int ranking = 0;
    };

    std::vector<Rule> rules; ///< the first that matches is the one that counts
    std::vector<Announcement> announcements;

    /// @throws std::runtime_error naming file, rule and key, and saying what is possible there.
    static Script fromFile(const std::filesystem::path& file);
};

} // namespace hshd
