#pragma once

#include <cppmicroservices/Any.h>
#include <cppmicroservices/FrameworkExport.h>

#include <sstream>
#include <string>

namespace cppmicroservices {

/// The text of a filter under construction. A null expression drops out of every combination.
class LDAPPropExpr {
public:
    LDAPPropExpr() = default;
    explicit LDAPPropExpr(const std::string& expression) : text_(expression) {}

    LDAPPropExpr operator!() const;
    LDAPPropExpr& operator&=(const LDAPPropExpr& right);
    LDAPPropExpr& operator|=(const LDAPPropExpr& right);

    operator std::string() const { return text_; }

    bool IsNull() const noexcept { return text_.empty(); }

private:
    std::string text_;
};

/// A property's name in a filter under construction:
/// `LDAPFilter filter(LDAPProp("name") == "Ben" && !(LDAPProp("count") == 1));`
///
/// Values are taken over as they are, so "*" and "\" keep their meaning in filters. A comparison with an
/// empty std::string is a null expression; of an empty literal only `==` makes a comparison. An empty Any
/// throws std::logic_error.
class LDAPProp {
public:
    /// \throws std::invalid_argument if \p property is empty.
    explicit LDAPProp(std::string property);

    /// The property is present.
    operator LDAPPropExpr() const;
    /// The property is absent.
    LDAPPropExpr operator!() const;

    LDAPPropExpr operator==(const std::string& value) const { return Compare("=", value); }
    LDAPPropExpr operator==(const Any& value) const { return Compare("=", value.ToString()); }
    LDAPPropExpr operator==(bool value) const { return Compare("=", value ? "true" : "false"); }
    template <class T>
    LDAPPropExpr operator==(const T& value) const {
        return LDAPPropExpr('(' + property_ + '=' + Text(value) + ')');
    }

    LDAPPropExpr operator!=(const std::string& value) const { return !(*this == value); }
    LDAPPropExpr operator!=(const Any& value) const { return !(*this == value); }
    template <class T>
    LDAPPropExpr operator!=(const T& value) const {
        return *this != Text(value);
    }

    LDAPPropExpr operator>=(const std::string& value) const { return Compare(">=", value); }
    LDAPPropExpr operator>=(const Any& value) const { return Compare(">=", value.ToString()); }
    template <class T>
    LDAPPropExpr operator>=(const T& value) const {
        return Compare(">=", Text(value));
    }

    LDAPPropExpr operator<=(const std::string& value) const { return Compare("<=", value); }
    LDAPPropExpr operator<=(const Any& value) const { return Compare("<=", value.ToString()); }
    template <class T>
    LDAPPropExpr operator<=(const T& value) const {
        return Compare("<=", Text(value));
    }

    LDAPPropExpr Approx(const std::string& value) const { return Compare("~=", value); }
    LDAPPropExpr Approx(const Any& value) const { return Compare("~=", value.ToString()); }
    template <class T>
    LDAPPropExpr Approx(const T& value) const {
        return Compare("~=", Text(value));
    }

private:
    template <class T>
    static std::string Text(const T& value) {
        std::ostringstream os;
        os << value;
        return os.str();
    }

    LDAPPropExpr Compare(const char* op, const std::string& value) const;

    std::string property_;
};

} // namespace cppmicroservices

// At global level, where code that combines expressions through a using-directive finds them.
cppmicroservices::LDAPPropExpr operator&&(const cppmicroservices::LDAPPropExpr& left,
                                          const cppmicroservices::LDAPPropExpr& right);
cppmicroservices::LDAPPropExpr operator||(const cppmicroservices::LDAPPropExpr& left,
                                          const cppmicroservices::LDAPPropExpr& right);
