#include <login/ZelkorLogin.h>

#include <utility>

namespace login {

boost::optional<AccessToken> ZelkorLogin::requestAccessToken(std::string requester, LoginInfo::Level level) {
    AccessToken token = requestAccessTokenAdvanced(std::move(requester), level).token;
    if (!token)
        return boost::none;
    return token;
}

AccessToken ZelkorLogin::getAccessToken() {
    return getAccessTokenAdvanced().token;
}

bool ZelkorLogin::isLoggedIn(std::string requester, LoginInfo::Level level) const {
    const LoginInfo::Level held = getLoginInfo(std::move(requester), level).getLevel();
    return held != LoginInfo::Level::None && held >= level;
}

} // namespace login
