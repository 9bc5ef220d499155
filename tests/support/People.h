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

/// All of whose fields are hard to send.
inline login::LoginInfo sampleInfo() {
    // Unpaired surrogates, embedded zeros and bytes that are no UTF-8 must all arrive.
    return {u"u\xd800id",
            std::u16string(u"a\0b", 3),
            u"given",
            u"",
            std::string("\xff\0z", 3),
            u"e@x",
            static_cast<login::LoginInfo::Level>(-17),
            0x7fffffff};
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
