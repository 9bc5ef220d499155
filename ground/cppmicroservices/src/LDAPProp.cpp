#include <cppmicroservices/LDAPProp.h>

#include <stdexcept>

namespace cppmicroservices {

LDAPPropExpr LDAPPropExpr::operator!() const {
    return IsNull() ? *this : LDAPPropExpr("(!" + text_ + ")");
}

LDAPProp::LDAPProp(std::string property) : property_(std::move(property)) {
    if (property_.empty())
        throw std::invalid_argument("LDAPProp: the property name must not be empty.");
}

LDAPProp::operator LDAPPropExpr() const {
    return LDAPPropExpr("(" + property_ + "=*)");
}

LDAPPropExpr LDAPProp::operator!() const {
    return !static_cast<LDAPPropExpr>(*this);
}

LDAPPropExpr LDAPProp::Compare(const char* op, const std::string& value) const {
    return value.empty() ? LDAPPropExpr() : LDAPPropExpr("(" + property_ + op + value + ")");
}

} // namespace cppmicroservices

namespace {

cppmicroservices::LDAPPropExpr Join(char op, const cppmicroservices::LDAPPropExpr& left,
                                    const cppmicroservices::LDAPPropExpr& right) {
    if (left.IsNull() || right.IsNull())
        return left.IsNull() ? right : left;
    return cppmicroservices::LDAPPropExpr(std::string("(") + op + std::string(left) + std::string(right) +
                                          ")");
}

} // namespace

cppmicroservices::LDAPPropExpr operator&&(const cppmicroservices::LDAPPropExpr& left,
                                          const cppmicroservices::LDAPPropExpr& right) {
    return Join('&', left, right);
}

cppmicroservices::LDAPPropExpr operator||(const cppmicroservices::LDAPPropExpr& left,
                                          const cppmicroservices::LDAPPropExpr& right) {
    return Join('|', left, right);
}

cppmicroservices::LDAPPropExpr& cppmicroservices::LDAPPropExpr::operator&=(const LDAPPropExpr& right) {
    return *this = *this && right;
}

cppmicroservices::LDAPPropExpr& cppmicroservices::LDAPPropExpr::operator|=(const LDAPPropExpr& right) {
    return *this = *this || right;
}
