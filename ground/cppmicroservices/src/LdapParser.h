#pragma once

#include "LdapNode.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace cppmicroservices::detail {

/// Recursive descent over
///
///     filter    = "(" ( "&" filter+ | "|" filter+ | "!" filter | attribute operator value ) ")"
///     operator  = "=" | "~=" | ">=" | "<="
///
/// Blanks may stand around filters and attributes; in a value they count.
class LdapParser {
public:
    explicit LdapParser(std::string_view text) : text_(text) {}

    /// \throws std::invalid_argument
    LdapNode Parse();

private:
    /// Parsing and matching recurse; a hostile filter must not exhaust the stack.
    static constexpr int kMaxDepth = 200;

    LdapNode ParseFilter(int depth);
    void ParseChildren(LdapNode& node, int depth);
    LdapNode ParseComparison();
    std::string ParseAttribute();
    LdapNode::Kind ParseOperator();
    /// The value up to ")", unescaped and split at unescaped asterisks.
    std::vector<std::string> ParseValue(bool splitAtAsterisk);

    void SkipBlanks() noexcept;
    bool AtEnd() const noexcept { return position_ == text_.size(); }
    char Peek() const noexcept { return AtEnd() ? '\0' : text_[position_]; }
    void Expect(char c);
    [[noreturn]] void Fail(const std::string& what) const;

    std::string_view text_;
    std::size_t position_ = 0;
};

} // namespace cppmicroservices::detail
