#pragma once

#include "contract/records/LoginData.h"

#include <utility>

namespace zelkor::test {

inline login::LoginInfo person(const std::u16string& userId,
                               login::LoginInfo::Level level = login::LoginInfo::Level::SignedIn) {
    login::LoginInfo info;
    info.userId = userId;
    info.displayName = userId + u" Example"; // tells mixed records
    info.level = level;
    return info;
}

inline login::LoginInfo someone() {
    return person(u"someone");
}

/// What is kept of that person, who is to be remembered.
inline login::detail::LoginData dataOf(login::LoginInfo info) {
    login::detail::LoginData data;
    data.refreshToken = "refresh";
    data.info = std::move(info);
    data.rememberMe = true;
    return data;
}

} // namespace zelkor::test
