#pragma once

#include "hshd/secrets/Secret.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace hshd::net {

/// A request over https; over http as well on this machine. Redirects are not followed.
struct HttpRequest {
    std::string url;
    Secret form;                  ///< the body of a POST, application/x-www-form-urlencoded; empty: a GET
    Secret authorization;         ///< the header's value; empty: none
    std::filesystem::path caFile; ///< further certificates than the system's; empty: none
    std::chrono::milliseconds connectLimit{10'000};
    std::chrono::milliseconds limit{30'000}; ///< for all of it
    std::size_t answerBytes = 1U << 20;      ///< most that an answer may have
};

struct HttpAnswer {
    enum class Failure {
        NotAllowed,  ///< neither https nor this machine
        Unreachable, ///< no such name, nobody there
        Untrusted,   ///< TLS could not be agreed on, or is somebody else's
        Timeout,
        TooLarge,
        Redirected,
        Broken, ///< no HTTP, or cut off
    };

    HttpAnswer() = default;
    HttpAnswer(HttpAnswer&&) = default;
    HttpAnswer& operator=(HttpAnswer&&) = default;
    ~HttpAnswer() { wipe(body); }

    std::optional<Failure> failure;
    std::string problem; ///< with a failure: what happened, with the host and no secret
    long status = 0;
    std::optional<std::chrono::seconds> retryAfter;
    std::string body;
};

/// Called once.
using HttpDone = std::function<void(HttpAnswer)>;

} // namespace hshd::net
