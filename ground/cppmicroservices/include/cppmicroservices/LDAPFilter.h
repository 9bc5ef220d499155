#pragma once

#include <cppmicroservices/FrameworkExport.h>

#include <memory>
#include <ostream>
#include <string>

namespace cppmicroservices {

class AnyMap;
class Bundle;
class ServiceReferenceBase;

namespace detail {
class LdapExpression;
struct ServiceAccess;
} // namespace detail

/// A filter over properties in the string form of RFC 1960, such as
/// "(&(objectclass=my.Service)(version>=2))".
///
/// Parsed once, at construction; copies share the parsed form. Matching may be done by several threads at
/// once.
/// - A missing property makes a comparison false.
/// - Numbers compare by value, whatever their type; text case-sensitively; bool as "true" or "false" in any
/// case.
/// - "~=" compares text without regard to case and blanks; a list matches if one of its elements does.
/// - In a value, "*" stands for any text and "\" takes the special meaning from "*", "(", ")" and "\".
class LDAPFilter {
public:
    /// An invalid filter, which matches nothing.
    LDAPFilter();

    /// \throws std::invalid_argument saying what is wrong, and where, if \p filter is not a filter.
    LDAPFilter(const std::string& filter);

    LDAPFilter(const LDAPFilter&);
    LDAPFilter(LDAPFilter&&) noexcept;
    LDAPFilter& operator=(const LDAPFilter&);
    LDAPFilter& operator=(LDAPFilter&&) noexcept;
    ~LDAPFilter();

    explicit operator bool() const noexcept { return expression_ != nullptr; }

    bool Match(const ServiceReferenceBase& reference) const;
    /// Matches the bundle's headers.
    bool Match(const Bundle& bundle) const;
    /// Keys compare without regard to case.
    bool Match(const AnyMap& dictionary) const;
    /// Keys compare with regard to case.
    bool MatchCase(const AnyMap& dictionary) const;

    /// The text the filter was made from.
    std::string ToString() const;

    bool operator==(const LDAPFilter& other) const;

private:
    std::shared_ptr<const detail::LdapExpression> expression_;

    friend struct detail::ServiceAccess;
};

std::ostream& operator<<(std::ostream& os, const LDAPFilter& filter);

} // namespace cppmicroservices
