#include "LdapParser.h"

#include "Text.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

namespace cppmicroservices::detail {

namespace {

/// The number that \p text begins with; what follows it does not count.
template <class Number>
std::optional<Number> Convert(std::string_view text) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc())
        return std::nullopt;
    return number;
}

} // namespace

LdapOperand::LdapOperand(std::string unescaped) : text(std::move(unescaped)) {
    auto digits = Trim(text);
    if (digits.starts_with('+') && !digits.starts_with("+-"))
        digits.remove_prefix(1);
    number = Convert<double>(digits);
    if (const auto value = Convert<long long>(digits))
        integer = *value;
    else if (const auto large = Convert<unsigned long long>(digits))
        integer = *large;
}

LdapNode LdapParser::Parse() {
    SkipBlanks();
    auto node = ParseFilter(0);
    SkipBlanks();
    if (!AtEnd())
        Fail("unexpected text after the filter");
    return node;
}

LdapNode LdapParser::ParseFilter(int depth) {
    if (depth > kMaxDepth)
        Fail("too deeply nested");
    Expect('(');
    SkipBlanks();
    LdapNode node;
    switch (Peek()) {
    case '&':
        node.kind = LdapNode::Kind::And;
        ParseChildren(node, depth);
        break;
    case '|':
        node.kind = LdapNode::Kind::Or;
        ParseChildren(node, depth);
        break;
    case '!':
        ++position_;
        SkipBlanks();
        node.kind = LdapNode::Kind::Not;
        node.children.push_back(ParseFilter(depth + 1));
        SkipBlanks();
        break;
    default:
        node = ParseComparison();
    }
    Expect(')');
    return node;
}

void LdapParser::ParseChildren(LdapNode& node, int depth) {
    ++position_;
    SkipBlanks();
    do {
        node.children.push_back(ParseFilter(depth + 1));
        SkipBlanks();
    } while (Peek() == '(');
}

LdapNode LdapParser::ParseComparison() {
    LdapNode node;
    node.attribute = ParseAttribute();
    node.kind = ParseOperator();
    auto pieces = ParseValue(node.kind == LdapNode::Kind::Equal);
    if (pieces.size() == 1) {
        node.operand = LdapOperand(std::move(pieces.front()));
    } else if (std::all_of(pieces.begin(), pieces.end(), [](const auto& piece) { return piece.empty(); })) {
        node.kind = LdapNode::Kind::Present;
    } else {
        node.kind = LdapNode::Kind::Substring;
        node.operand = LdapOperand(pieces.front());
        node.pieces = std::move(pieces);
    }
    return node;
}

std::string LdapParser::ParseAttribute() {
    const auto start = position_;
    while (!AtEnd() && std::string_view("=<>~()").find(Peek()) == std::string_view::npos)
        ++position_;
    const auto attribute = Trim(text_.substr(start, position_ - start));
    if (attribute.empty())
        Fail("expected a property name");
    return std::string(attribute);
}

LdapNode::Kind LdapParser::ParseOperator() {
    const char first = Peek();
    auto kind = LdapNode::Kind::Equal;
    switch (first) {
    case '=':
        break;
    case '~':
        kind = LdapNode::Kind::Approx;
        break;
    case '>':
        kind = LdapNode::Kind::GreaterEqual;
        break;
    case '<':
        kind = LdapNode::Kind::LessEqual;
        break;
    default:
        Fail("expected '=', '~=', '>=' or '<='");
    }
    if (first != '=')
        ++position_;
    Expect('=');
    return kind;
}

std::vector<std::string> LdapParser::ParseValue(bool splitAtAsterisk) {
    std::vector<std::string> pieces(1);
    // Parentheses may stand in a value as they are, if each that opens is closed.
    for (int open = 0; open > 0 || Peek() != ')'; ++position_) {
        if (AtEnd())
            Fail("expected ')'");
        open += Peek() == '(' ? 1 : Peek() == ')' ? -1 : 0;
        if (splitAtAsterisk && Peek() == '*') {
            pieces.emplace_back();
            continue;
        }
        if (Peek() == '\\')
            ++position_;
        if (AtEnd())
            Fail("expected ')'");
        pieces.back().push_back(Peek());
    }
    return pieces;
}

void LdapParser::SkipBlanks() noexcept {
    while (!AtEnd() && IsBlank(Peek()))
        ++position_;
}

void LdapParser::Expect(char c) {
    if (AtEnd() || Peek() != c)
        Fail(std::string("expected '") + c + "'");
    ++position_;
}

void LdapParser::Fail(const std::string& what) const {
    throw std::invalid_argument("Bad filter \"" + std::string(text_) + "\": " + what + " at position " +
                                std::to_string(position_) + ".");
}

} // namespace cppmicroservices::detail
