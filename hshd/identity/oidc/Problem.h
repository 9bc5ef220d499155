#pragma once

#include "hshd/net/Http.h"

#include <chrono>
#include <optional>
#include <string>
#include <variant>

namespace hshd::oidc {

/// Why the provider gave not what was asked for. Holds no secret.
struct Problem {
    enum class Kind {
        Later,   ///< not reached, overloaded, out of order: the next time it may work
        Refused, ///< an OAuth error, `error`
        Wrong,   ///< what came is not what such a provider may send
    };

    Kind kind = Kind::Wrong;
    std::string text;  ///< for people
    std::string error; ///< the provider's code, such as invalid_grant
    std::optional<std::chrono::seconds> retryAfter;
};

template <class T>
using Outcome = std::variant<T, Problem>;

/// An answer that is none: no HTTP, or a status of 429, or of 500 and above. Nothing for all others.
std::optional<Problem> problemOf(const net::HttpAnswer& answer);

/// Of what came from the provider, for people: one line of printable text, not longer than `most`.
std::string excerpt(std::string_view text, std::size_t most = 200);

} // namespace hshd::oidc
