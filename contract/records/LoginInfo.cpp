#include "contract/records/LoginInfo.h"

#include "contract/records/Utf.h"

#include <ostream>

namespace login {

std::ostream& operator<<(std::ostream& out, const LoginInfo& info) {
    return out << "LoginInfo{user: \"" << toUtf8(info.userId) << "\", name: \"" << toUtf8(info.displayName)
               << "\", level: " << static_cast<std::int32_t>(info.level) << '}';
}

} // namespace login
