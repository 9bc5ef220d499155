#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace cppmicroservices::detail {

/// The value a comparison tests against, converted once at parse time. It is a number if it begins with one.
struct LdapOperand {
    LdapOperand() = default;
    explicit LdapOperand(std::string unescaped);

    std::string text;
    std::variant<std::monostate, long long, unsigned long long> integer;
    std::optional<double> number; ///< also set where integer is
};

struct LdapNode {
    enum class Kind { And, Or, Not, Present, Equal, Substring, Approx, GreaterEqual, LessEqual };

    Kind kind = Kind::And;
    std::string attribute;
    LdapOperand operand;             ///< comparisons; Substring: the first piece
    std::vector<std::string> pieces; ///< Substring: the texts around and between the asterisks, at least two
    std::vector<LdapNode> children;  ///< And, Or, Not
};

} // namespace cppmicroservices::detail
