#include "LdapExpression.h"

#include "LdapMatch.h"
#include "LdapParser.h"

#include <algorithm>

namespace cppmicroservices::detail {

std::shared_ptr<const LdapExpression> LdapExpression::Parse(const std::string& text) {
    return std::make_shared<const LdapExpression>(LdapParser(text).Parse(), text);
}

bool LdapExpression::Evaluate(const LdapNode& node, const PropertyLookup& properties) {
    const auto matches = [&](const LdapNode& child) { return Evaluate(child, properties); };
    switch (node.kind) {
    case LdapNode::Kind::And:
        return std::all_of(node.children.begin(), node.children.end(), matches);
    case LdapNode::Kind::Or:
        return std::any_of(node.children.begin(), node.children.end(), matches);
    case LdapNode::Kind::Not:
        return !matches(node.children.front());
    default:
        const Any* value = properties.Find(node.attribute);
        return value && !value->Empty() && LdapMatch(*value, node);
    }
}

} // namespace cppmicroservices::detail
