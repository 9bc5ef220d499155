#include "LdapMatch.h"

#include "Text.h"

#include <algorithm>
#include <list>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace cppmicroservices::detail {

namespace {

using Kind = LdapNode::Kind;

bool MatchSubstring(std::string_view text, const std::vector<std::string>& pieces) {
    const auto& last = pieces.back();
    if (!text.starts_with(pieces.front()))
        return false;
    text.remove_prefix(pieces.front().size());
    for (std::size_t i = 1; i + 1 < pieces.size(); ++i) {
        const auto found = text.find(pieces[i]);
        if (found == std::string_view::npos)
            return false;
        text.remove_prefix(found + pieces[i].size());
    }
    return text.ends_with(last);
}

bool EqualIgnoringCaseAndBlanks(std::string_view left, std::string_view right) {
    auto a = left.begin();
    auto b = right.begin();
    for (;; ++a, ++b) {
        a = std::find_if_not(a, left.end(), IsBlank);
        b = std::find_if_not(b, right.end(), IsBlank);
        if (a == left.end() || b == right.end())
            return a == left.end() && b == right.end();
        if (Lower(*a) != Lower(*b))
            return false;
    }
}

bool MatchText(std::string_view text, const LdapNode& node) {
    switch (node.kind) {
    case Kind::Equal:
        return text == node.operand.text;
    case Kind::Substring:
        return MatchSubstring(text, node.pieces);
    case Kind::Approx:
        return EqualIgnoringCaseAndBlanks(text, node.operand.text);
    case Kind::GreaterEqual:
        return text >= node.operand.text;
    case Kind::LessEqual:
        return text <= node.operand.text;
    default:
        return false;
    }
}

/// The beginning of the value's name is enough, even an empty one.
bool MatchBool(bool value, const LdapNode& node) {
    const std::string_view name = value ? "true" : "false";
    return (node.kind == Kind::Equal || node.kind == Kind::Approx) &&
           node.operand.text.size() <= name.size() &&
           EqualIgnoringCase(node.operand.text, name.substr(0, node.operand.text.size()));
}

template <class A, class B>
bool Ordered(Kind kind, A value, B operand) {
    if constexpr (std::is_integral_v<A> && std::is_integral_v<B>) {
        return kind == Kind::GreaterEqual ? std::cmp_greater_equal(value, operand)
               : kind == Kind::LessEqual  ? std::cmp_less_equal(value, operand)
                                          : std::cmp_equal(value, operand);
    } else {
        return kind == Kind::GreaterEqual ? value >= operand
               : kind == Kind::LessEqual  ? value <= operand
                                          : value == operand;
    }
}

template <class Number>
bool MatchNumber(Number value, const LdapNode& node) {
    if constexpr (std::is_integral_v<Number>) {
        if (const auto* integer = std::get_if<long long>(&node.operand.integer))
            return Ordered(node.kind, value, *integer);
        if (const auto* integer = std::get_if<unsigned long long>(&node.operand.integer))
            return Ordered(node.kind, value, *integer);
        return false;
    } else {
        // In the property's own precision, so that 0.1f equals "0.1".
        return node.operand.number && Ordered(node.kind, value, static_cast<Number>(*node.operand.number));
    }
}

template <class Number, class... Others>
bool MatchAnyNumber(const Any& value, const LdapNode& node) {
    if (const auto* number = any_cast<Number>(&value))
        return MatchNumber(*number, node);
    if constexpr (sizeof...(Others) > 0)
        return MatchAnyNumber<Others...>(value, node);
    else
        return false;
}

template <class Strings>
bool MatchTexts(const Strings& texts, const LdapNode& node) {
    return std::any_of(texts.begin(), texts.end(),
                       [&](const std::string& text) { return MatchText(text, node); });
}

} // namespace

bool LdapMatch(const Any& value, const LdapNode& node) {
    if (node.kind == Kind::Present)
        return true;
    if (const auto* text = any_cast<std::string>(&value))
        return MatchText(*text, node);
    if (const auto* number = any_cast<int>(&value)) // first, as the usual one
        return MatchNumber(*number, node);
    if (const auto* texts = any_cast<std::vector<std::string>>(&value))
        return MatchTexts(*texts, node);
    if (const auto* flag = any_cast<bool>(&value))
        return MatchBool(*flag, node);
    if (const auto* character = any_cast<char>(&value))
        return MatchText(std::string_view(character, 1), node);
    if (const auto* text = any_cast<const char*>(&value))
        return *text && MatchText(*text, node);
    if (const auto* texts = any_cast<std::list<std::string>>(&value))
        return MatchTexts(*texts, node);
    if (const auto* list = any_cast<std::vector<Any>>(&value))
        return std::any_of(list->begin(), list->end(),
                           [&](const Any& v) { return !v.Empty() && LdapMatch(v, node); });
    return MatchAnyNumber<long, double, unsigned int, unsigned long, long long, unsigned long long, float,
                          short, unsigned short, signed char, unsigned char>(value, node);
}

} // namespace cppmicroservices::detail
