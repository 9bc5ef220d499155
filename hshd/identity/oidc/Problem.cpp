#include "hshd/identity/oidc/Problem.h"

namespace hshd::oidc {

std::optional<Problem> problemOf(const net::HttpAnswer& answer) {
    using Failure = net::HttpAnswer::Failure;
    if (answer.failure) {
        // Certificates and redirections do not mend themselves, but their makers do: a session outlives them.
        const bool wrong = *answer.failure == Failure::NotAllowed;
        return Problem{wrong ? Problem::Kind::Wrong : Problem::Kind::Later, answer.problem, {}, {}};
    }
    if (answer.status == 429 || answer.status >= 500)
        return Problem{Problem::Kind::Later,
                       "the provider answered with status " + std::to_string(answer.status),
                       {},
                       answer.retryAfter};
    return std::nullopt;
}

std::string excerpt(std::string_view text, std::size_t most) {
    std::string line;
    for (const char c : text.substr(0, most))
        line += c >= ' ' && c <= '~' ? c : '?';
    return line + (text.size() > most ? "..." : "");
}

} // namespace hshd::oidc
