#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace login {

/// What a logout negotiation is about.
struct NegotiationTerms {
    static constexpr std::uint32_t IsLogoutVetoed = 1; ///< "would anybody object to a logout now?"

    std::uint32_t value = 0;

    bool operator==(const NegotiationTerms&) const = default;
};

struct NegotiatorResponse;

/// A party that is asked before a logout.
struct Negotiator {
    enum class Position : std::int32_t {
        Object = 0, ///< the logout must not go on
        Ask = 1,    ///< the user must be asked first
        Accept = 2, ///< the logout may go on
    };

    std::string name;
    /// Called on a thread of the executor, possibly several times and from several negotiations at once.
    std::function<NegotiatorResponse(const NegotiationTerms&)> negotiate;
};

/// A negotiator's answer.
struct NegotiatorResponse {
    Negotiator::Position decision = Negotiator::Position::Object;
    std::u16string message; ///< for the user; may be empty

    bool operator==(const NegotiatorResponse&) const = default;
};

namespace detail {

/// The outcome of asking every negotiator.
struct NegotiationsResult {
    bool accepted = false;                  ///< every party accepted
    std::vector<std::u16string> objections; ///< messages of those who object
    std::vector<std::u16string> questions;  ///< messages of those who want the user asked

    bool operator==(const NegotiationsResult&) const = default;
};

} // namespace detail
} // namespace login
