#pragma once

#include "LdapNode.h"

#include <cppmicroservices/Any.h>

#include <memory>
#include <string>

namespace cppmicroservices::detail {

/// Where a filter finds the properties it compares.
class PropertyLookup {
public:
    /// Null if there is no such key.
    virtual const Any* Find(const std::string& key) const = 0;

protected:
    ~PropertyLookup() = default;
};

/// A parsed filter; immutable, so threads share it without locks.
class LdapExpression {
public:
    /// \throws std::invalid_argument as LDAPFilter's constructor
    static std::shared_ptr<const LdapExpression> Parse(const std::string& text);

    LdapExpression(LdapNode root, std::string text) : root_(std::move(root)), text_(std::move(text)) {}

    bool Matches(const PropertyLookup& properties) const { return Evaluate(root_, properties); }
    const std::string& Text() const noexcept { return text_; }

private:
    static bool Evaluate(const LdapNode& node, const PropertyLookup& properties);

    LdapNode root_;
    std::string text_;
};

} // namespace cppmicroservices::detail
